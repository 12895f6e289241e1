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

void* operator new(std::size_t size) {
    void* memory = failing ? nullptr : std::malloc(size == 0 ? 1 : size);
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
