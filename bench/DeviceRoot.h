#pragma once

#include <filesystem>
#include <string>

namespace bench {

/// The folder that stands for /dev: `ttyS<n>` are symbolic links to pseudo-terminals.
/// The program under test finds it through the environment variable named here.
/// Calls come from one thread at a time.
class DeviceRoot {
public:
    static constexpr const char* environmentVariable = "ZEPHON_DEVICE_ROOT";

    /// Makes `folder`. Raises std::filesystem::filesystem_error.
    explicit DeviceRoot(std::filesystem::path folder);

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path serialPath(unsigned channel) const;

    /// Points ttyS<channel> at `device`, replacing an earlier link in one step.
    void linkSerial(unsigned channel, const std::string& device) const;

    /// Takes ttyS<channel> away: opening it fails from then on.
    void removeSerial(unsigned channel) const;

private:
    std::filesystem::path path_;
};

}  // namespace bench
