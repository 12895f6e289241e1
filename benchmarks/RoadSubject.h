#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "bench/TopicPeer.h"
#include "bench/UnitModel.h"
#include "benchmarks/LatencyComparison.h"

namespace benchmarks {

/// A program that turns pairs of records into frames on a line, with the two ends that measure
/// it. One thread.
class RoadSubject {
public:
    /// None of the two is owned.
    RoadSubject(std::string name, bench::TopicPeer& peer, bench::UnitModel& line)
        : name_(std::move(name)), peer_(peer), line_(line) {}

    std::string const& name() const { return name_; }

    /// Publishes `count` pairs, `rate` a second, and waits for their frames. Each latency is from
    /// right before the later record of the pair is handed to the transport, in the peer's
    /// process, to right after the read that brought the last byte of the frame. A pair that no
    /// frame came of is lost. Raises std::runtime_error when the peer fails.
    LatencySamples measure(double rate, std::int64_t count);

private:
    std::string name_;
    bench::TopicPeer& peer_;
    bench::UnitModel& line_;
    std::size_t runs_ = 0;
};

}  // namespace benchmarks
