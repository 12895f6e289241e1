#pragma once

#include <chrono>
#include <cstdint>

#include "bench/Bench.h"

/// Has the unit send a frame that wants an ACK, and waits for it: the link is alive and has dealt
/// with all that came before.
inline bool answers(bench::Bench& bench, unsigned link, std::uint16_t id) {
    using bench::UnitFrame;
    const auto isAck = [id](bench::LoggedFrame const& logged) {
        return logged.frame.id == id && logged.frame.has(UnitFrame::ack);
    };
    std::size_t before = 0;
    for (auto const& logged : bench.unit(link).frames(id)) {
        before += isAck(logged) ? 1 : 0;
    }
    bench.unit(link).send({id, UnitFrame::linkReady | UnitFrame::ackRequest, {1, 2, 3}});
    return bench.unit(link).waitForFrames(before + 1, std::chrono::seconds(20), isAck);
}
