#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/UnitModel.h"
#include "bench/VirtualUnits.h"

/// Frames for the unit and from it.

using FrameBytes = std::vector<std::uint8_t>;

/// Whether a frame is a setting of the unit: 27560, or 5331 or 30001 in a wrapper.
inline bool isSetting(FrameBytes const& frame) {
    constexpr std::size_t id = 2;
    constexpr std::size_t innerId = 14;
    const auto word = [&](std::size_t at) {
        return at + 1 < frame.size() ? frame[at] | frame[at + 1] << 8 : 0;
    };
    return word(id) == 27560 ||
           (word(id) == 27552 && (word(innerId) == 5331 || word(innerId) == 30001));
}

/// What has come out of a link, without the stored settings that the server sends at its start. On
/// a busy machine an ACK may come too late, and the link sends a frame once more: here a frame
/// that repeats the one before it counts as that repetition. So a test sends no two frames alike
/// in a row.
inline std::vector<FrameBytes> framesOf(bench::UnitModel const& unit) {
    std::vector<FrameBytes> frames;
    for (auto const& logged : unit.frames()) {
        if (!isSetting(logged.bytes)) {
            frames.push_back(logged.bytes);
        }
    }
    frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
    return frames;
}

/// Waits for this very frame.
inline bool waitForFrame(bench::UnitModel const& unit, FrameBytes const& bytes) {
    return unit.waitForFrames(1, std::chrono::seconds(20), [&](bench::LoggedFrame const& logged) {
        return logged.bytes == bytes;
    });
}
inline bool waitForFrame(bench::UnitModel const& unit, bench::UnitFrame const& frame) {
    return waitForFrame(unit, frame.encode());
}

using bench::makeStatus;
using bench::wrap;
