#include "tests/ioss_mcsq/AllocationCount.h"

#include <cstdlib>
#include <new>

namespace {
thread_local std::size_t allocations = 0;
}

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);

void* __wrap_malloc(std::size_t size) {
    ++allocations;
    return __real_malloc(size);
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    ++allocations;
    return __real_calloc(count, size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
    ++allocations;
    return __real_realloc(memory, size);
}
}

AllocationCount::AllocationCount() : before_(allocations) {}

std::size_t AllocationCount::count() const {
    return allocations - before_;
}

void* operator new(std::size_t size) {
    void* const memory = std::malloc(size == 0 ? 1 : size);
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
