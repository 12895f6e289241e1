#pragma once

#include <cstdint>

namespace benchmarks {

/// How often memory has been taken from the heap since the start, by any thread of a program that
/// links AllocationCount.cpp: `new`, malloc, calloc, realloc and aligned allocations alike.
std::uint64_t allocationCount();

}  // namespace benchmarks
