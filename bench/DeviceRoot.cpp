#include "bench/DeviceRoot.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace bench {

DeviceRoot::DeviceRoot(std::filesystem::path folder) : path_(std::move(folder)) {
    std::filesystem::create_directories(path_);
}

std::filesystem::path DeviceRoot::serialPath(unsigned channel) const {
    return path_ / ("ttyS" + std::to_string(channel));
}

void DeviceRoot::linkSerial(unsigned channel, const std::string& device) const {
    const std::filesystem::path link = serialPath(channel);
    const std::filesystem::path fresh = link.string() + ".new";
    std::filesystem::remove(fresh);
    std::filesystem::create_symlink(device, fresh);
    std::filesystem::rename(fresh, link);
}

void DeviceRoot::removeSerial(unsigned channel) const {
    std::filesystem::remove(serialPath(channel));
}

std::filesystem::path DeviceRoot::queuePath(unsigned port) const {
    return path_ / ("mcs" + std::to_string(port));
}

void DeviceRoot::makeQueue(unsigned port) {
    const std::string path = queuePath(port).string();
    if (::mkfifo(path.c_str(), 0600) != 0) {
        throw std::system_error(errno, std::generic_category(), "mkfifo " + path);
    }
    FileDescriptor queue(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!queue.valid()) {
        throw std::system_error(errno, std::generic_category(), "open " + path);
    }
    queues_[port] = std::move(queue);
}

void DeviceRoot::removeQueue(unsigned port) {
    std::filesystem::remove(queuePath(port));
    queues_.erase(port);
}

}  // namespace bench
