#pragma once

#include <cstdint>

#include "ASPN/DeviceIds.h"
#include "aspn2_msgs/header.h"

/// The server that a record of a topic or queue comes from, and its instance there.
inline std::uint8_t senderOf(aspn2_msgs::idl::header const& header) {
    return ASPN2::serverIdOf(static_cast<std::uint32_t>(header.device_id()));
}
inline std::uint8_t senderInstanceOf(aspn2_msgs::idl::header const& header) {
    return ASPN2::instanceOf(static_cast<std::uint32_t>(header.device_id()));
}
