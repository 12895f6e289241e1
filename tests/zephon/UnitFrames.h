#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/UnitModel.h"

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

/// Message 5044 with a status and a text of up to 32 characters.
inline bench::UnitFrame makeStatus(std::uint16_t status, std::string text) {
    bench::UnitFrame frame{5044, 0x9000, {0, 0, 0, 0, status}};
    text.resize(32);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        frame.data.push_back(static_cast<std::uint16_t>(static_cast<unsigned char>(text[i]) << 8U |
                                                        static_cast<unsigned char>(text[i + 1])));
    }
    return frame;
}

/// A frame inside another, for or from one virtual unit.
inline bench::UnitFrame wrap(std::uint16_t id, std::uint16_t unit, bench::UnitFrame const& inner) {
    bench::UnitFrame outer{id,
                           static_cast<std::uint16_t>(bench::UnitFrame::linkReady |
                                                      (inner.flags & bench::UnitFrame::ackRequest)),
                           {unit}};
    const auto bytes = inner.encode();
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        outer.data.push_back(static_cast<std::uint16_t>(bytes[i] | bytes[i + 1] << 8U));
    }
    return outer;
}
