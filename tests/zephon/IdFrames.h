#pragma once

#include <algorithm>
#include <cstdint>

#include "bench/PntMessages.h"
#include "tests/zephon/ReceiverFrames.h"

/// What is said between the server and the PNT device about the device's identifiers.

constexpr std::uint16_t identifierCommand = 6;

/// Message 27530, command 6; the time is that of the last time mark.
inline bench::UnitFrame makeIdRequest(double gpsTow = 0) {
    auto frame = emptyFrame(27530, 9, 0x9000);
    const auto time = engineDouble(gpsTow);
    std::copy(time.begin(), time.end(), frame.data.begin());
    frame.data[4] = identifierCommand;
    return frame;
}

using bench::pnt::makeIds;
