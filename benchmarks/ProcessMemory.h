#pragma once

#include <cstdint>
#include <sys/types.h>

namespace benchmarks {

/// What the kernel counts for a process, in KiB.
struct ProcessMemory {
    std::int64_t resident = 0;      ///< VmRSS: all pages in memory, shared ones too
    std::int64_t anonymous = 0;     ///< RssAnon: heap and stacks
    std::int64_t file = 0;          ///< RssFile: programs and libraries
    std::int64_t shared = 0;        ///< RssShmem: segments of the transport
    std::int64_t proportional = 0;  ///< Pss: shared pages divided among their users
    std::int64_t unique = 0;        ///< pages that this process alone has
    std::int64_t threads = 0;       ///< a number, not KiB
};

/// Reads the figures of a running process. Raises std::runtime_error when they cannot be had.
ProcessMemory readProcessMemory(pid_t pid);

}  // namespace benchmarks
