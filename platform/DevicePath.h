#pragma once

#include <string>
#include <string_view>

namespace platform {

/// The path of the device called `name`, such as "ttyS1", "mcs0" or "mem": below the folder that
/// the environment variable ZEPHON_DEVICE_ROOT names, or below /dev when it is absent or empty.
///
/// Every device is opened through this function, so that this one variable tells the bench from
/// the real computer. It is ignored when the process runs with raised privileges (set-user-id
/// and the like). Any thread may call; nobody may change the environment meanwhile.
std::string DevicePath(std::string_view name);

}  // namespace platform
