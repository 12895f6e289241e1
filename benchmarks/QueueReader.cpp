#include "benchmarks/QueueReader.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace benchmarks {
namespace {

// A read takes all that the queue holds, so that none cuts a record.
constexpr int queueSize = 1 << 20;

}  // namespace

QueueReader::QueueReader(std::filesystem::path const& device)
    : queue_(::open(device.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)), buffer_(queueSize) {
    if (!queue_.valid() || ::fcntl(queue_.get(), F_SETPIPE_SZ, queueSize) < 0) {
        throw std::system_error(errno, std::generic_category(), device.string());
    }
}

std::size_t QueueReader::read() {
    ssize_t const count = ::read(queue_.get(), buffer_.data(), buffer_.size());
    bytes_.assign(buffer_.begin(), buffer_.begin() + (count > 0 ? count : 0));
    return bytes_.size();
}

}  // namespace benchmarks
