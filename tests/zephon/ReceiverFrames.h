#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "bench/UnitFrame.h"

/// Messages by which the GPS engine and the anti-jam unit tell of their state, as they send them.

constexpr std::uint16_t statusFlags = bench::UnitFrame::linkReady | bench::UnitFrame::ackRequest;

inline bench::UnitFrame emptyFrame(std::uint16_t id, std::size_t words,
                                   std::uint16_t flags = statusFlags) {
    return {id, flags, std::vector<std::uint16_t>(words)};
}

/// The words of a double as the engine writes it: sign, eight bits of exponent (excess 128), then
/// the fraction from 0.5 without its first bit; high word first.
inline std::array<std::uint16_t, 4> engineDouble(double value) {
    if (value == 0) {
        return {};
    }
    int exponent = 0;
    const double fraction = std::frexp(std::abs(value), &exponent);
    std::uint64_t bits = static_cast<std::uint64_t>(std::ldexp(fraction, 56)) - (1ULL << 55U);
    bits |= static_cast<std::uint64_t>(exponent + 128) << 55U;
    bits |= value < 0 ? 1ULL << 63U : 0;
    return {static_cast<std::uint16_t>(bits >> 48U), static_cast<std::uint16_t>(bits >> 32U),
            static_cast<std::uint16_t>(bits >> 16U), static_cast<std::uint16_t>(bits)};
}

/// Message 5040 with its time and no more.
inline bench::UnitFrame make5040(double time) {
    auto frame = emptyFrame(5040, 88);
    const auto words = engineDouble(time);
    std::copy(words.begin(), words.end(), frame.data.begin());
    return frame;
}

/// Message 9391 with its time and no more.
inline bench::UnitFrame make9391(float time) {
    auto frame = emptyFrame(9391, 84);
    std::memcpy(frame.data.data(), &time, sizeof time);
    return frame;
}

/// Message 8504 with these bytes 96 and 117 and no more.
inline bench::UnitFrame make8504(std::uint8_t status96, std::uint8_t status117 = 0) {
    auto frame = emptyFrame(8504, 200);
    frame.data[48] = status96;
    frame.data[58] = static_cast<std::uint16_t>(status117 << 8U);
    return frame;
}

/// Message 8040 with these data words 5 and 9 and no more.
inline bench::UnitFrame make8040(std::uint16_t word5, std::uint16_t word9) {
    auto frame = emptyFrame(8040, 25);
    frame.data[5] = word5;
    frame.data[9] = word9;
    return frame;
}

/// Message 2516 with these figures and no more.
inline bench::UnitFrame make2516(unsigned figureL1, unsigned figureL2) {
    auto frame = emptyFrame(2516, 32);
    frame.data[16] = static_cast<std::uint16_t>(figureL1 << 4U | figureL2 << 8U);
    return frame;
}

/// Message 30000 as a pair of 5040 and 9391 with this time and no more gives it.
inline bench::UnitFrame make30000(float time, std::uint16_t mode = 3) {
    auto frame = emptyFrame(30000, 20);
    std::memcpy(frame.data.data(), &time, sizeof time);
    frame.data[19] = mode;
    return frame;
}
