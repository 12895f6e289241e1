#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "bench/FileDescriptor.h"

namespace bench {

/// The folder that stands for /dev: `ttyS<n>` are symbolic links to pseudo-terminals, `mcs<n>`
/// named pipes, `mem` a file that stands for physical memory, once FpgaModel has made it.
/// The program under test finds it through the environment variable named here.
/// Calls come from one thread at a time.
class DeviceRoot {
public:
    static constexpr const char* environmentVariable = "ZEPHON_DEVICE_ROOT";

    /// Makes `folder`. Raises std::filesystem::filesystem_error.
    explicit DeviceRoot(std::filesystem::path folder);

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path serialPath(unsigned channel) const;

    std::filesystem::path memoryPath() const { return path_ / "mem"; }

    /// Points ttyS<channel> at `device`, replacing an earlier link in one step.
    void linkSerial(unsigned channel, const std::string& device) const;

    /// Takes ttyS<channel> away: opening it fails from then on.
    void removeSerial(unsigned channel) const;

    std::filesystem::path queuePath(unsigned port) const;

    /// Makes the queue device mcs<port>: a pipe that is held open at both ends as long as this
    /// object lives, so that no open of it blocks and no writer lacks a reader. Raises
    /// std::system_error.
    void makeQueue(unsigned port);

    /// Takes mcs<port> away: opening it fails from then on.
    void removeQueue(unsigned port);

private:
    std::filesystem::path path_;
    std::map<unsigned, FileDescriptor> queues_;
};

}  // namespace bench
