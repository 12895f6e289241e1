#include "tests/face/FailingAllocation.h"

#include <cstdlib>
#include <new>

namespace {
thread_local bool failing = false;
}

FailingAllocation::FailingAllocation() {
    failing = true;
}
FailingAllocation::~FailingAllocation() {
    failing = false;
}

// Both forms that end in the `delete` below: what one of them gave must be free's.
void* operator new(std::size_t size, std::nothrow_t const& /*tag*/) noexcept {
    return failing ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
