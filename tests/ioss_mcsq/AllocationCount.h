#pragma once

#include <cstddef>

/// Counts the allocations of this thread, by `new` and by the C functions, from its construction
/// on. For test programs that link AllocationCount.cpp, with the linker's --wrap.
class AllocationCount {
public:
    AllocationCount();
    std::size_t count() const;

private:
    std::size_t before_;
};
