#include "bench/DeviceRoot.h"

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

}  // namespace bench
