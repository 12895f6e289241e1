#pragma once

#include <cstdint>

#include "GpsSerialIo/GssipMessage.h"
#include "messages/WireNumbers.h"

/// Messages exchanged with the PNT device of the unit. Each record is the payload of a
/// `GpsIpWrapperMsg` and begins with a GPS time; byte 8 is the kind or command.
namespace PNTDBIT {

/// Message 27530, a command to the PNT device.
///
///     byte  0             8         9      18
///         +---------------+---------+------+
///         | GPS time      | command | zero |
///         +---------------+---------+------+
struct PntDBitCmdMsg {
    OtwDECD time;
    std::uint8_t command = 0;
    std::uint8_t rest[9] = {};
};
static_assert(sizeof(PntDBitCmdMsg) == 18, "nine data words");

/// The command that START sends once.
constexpr std::uint8_t commandStarted = 4;

}  // namespace PNTDBIT

using PntDBitCmdMsg = GpsIpWrapperMsg<PNTDBIT::PntDBitCmdMsg, 27530>;
