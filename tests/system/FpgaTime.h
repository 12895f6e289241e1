#pragma once

#include <cstdint>

/// The time in nanoseconds that a record tells for a count of the FPGA's clock of 58,982,400 Hz.
/// 4608 ticks are 78,125 ns exactly, and a constant delay of 8 ns is taken off.
constexpr std::int64_t timeOfTicks(std::int64_t ticks) {
    return ticks / 4608 * 78125 + ticks % 4608 * 78125 / 4608 - 8;
}

/// True when some count gives exactly this time.
constexpr bool isTimeOfTicks(std::int64_t nanoseconds) {
    const std::int64_t about =
        (nanoseconds + 8) / 78125 * 4608 + (nanoseconds + 8) % 78125 * 4608 / 78125;
    return timeOfTicks(about) == nanoseconds || timeOfTicks(about + 1) == nanoseconds;
}
