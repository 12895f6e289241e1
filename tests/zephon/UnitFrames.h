#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

#include "bench/UnitModel.h"
#include "bench/VirtualUnits.h"

/// Frames for the unit and from it.

/// What has come out of a link. On a busy machine an ACK may come too late, and the link sends a
/// frame once more: here a frame that repeats the one before it counts as that repetition. So a
/// test sends no two frames alike in a row.

using FrameBytes = std::vector<std::uint8_t>;

inline std::vector<FrameBytes> framesOf(bench::UnitModel const& unit) {
    std::vector<FrameBytes> frames;
    for (auto const& logged : unit.frames()) {
        frames.push_back(logged.bytes);
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
