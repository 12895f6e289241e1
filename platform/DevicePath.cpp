#include "platform/DevicePath.h"

#include <cstdlib>

namespace platform {

std::string DevicePath(std::string_view name) {
    const char* root = ::secure_getenv("ZEPHON_DEVICE_ROOT");
    std::string path = root != nullptr && *root != '\0' ? root : "/dev";
    path += '/';
    path += name;
    return path;
}

}  // namespace platform
