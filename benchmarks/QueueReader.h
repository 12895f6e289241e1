#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "bench/FileDescriptor.h"

namespace benchmarks {

/// The reading end of a queue device, a named pipe, in the measuring process itself: the time of
/// a read is then that of its return. Never blocks. One thread.
class QueueReader {
public:
    /// Gives the queue room for 1 MiB, so that a reader whom a busy machine holds up loses nothing.
    /// Raises std::system_error when the device does not open.
    explicit QueueReader(std::filesystem::path const& device);

    /// For poll().
    int descriptor() const { return queue_.get(); }

    /// Takes all that waits and returns the number of bytes, 0 for none.
    std::size_t read();

    /// What the last read() took.
    std::vector<std::uint8_t> const& bytes() const { return bytes_; }

private:
    bench::FileDescriptor queue_;
    std::vector<std::uint8_t> buffer_;
    std::vector<std::uint8_t> bytes_;
};

}  // namespace benchmarks
