#include "benchmarks/AllocationCount.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

// The C library's own, behind the names that are taken over below. `new` comes to malloc.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

std::atomic<std::uint64_t> allocations{0};

void count() {
    allocations.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
    count();
    return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size) noexcept {
    count();
    return __libc_calloc(number, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    count();
    return __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    count();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    count();
    *memory = __libc_memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}
}

namespace benchmarks {

std::uint64_t allocationCount() {
    return allocations.load(std::memory_order_relaxed);
}

}  // namespace benchmarks
