#pragma once

/// While one lives, every `new` of this thread throws std::bad_alloc. Test programs that link
/// FailingAllocation.cpp only.
class FailingAllocation {
public:
    FailingAllocation();
    ~FailingAllocation();
    FailingAllocation(FailingAllocation const&) = delete;
    FailingAllocation& operator=(FailingAllocation const&) = delete;
};
