#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "bench/SolutionFrame.h"
#include "bench/SolutionLedger.h"
#include "bench/UnitModel.h"

namespace bench {

/// Latencies in brief, in microseconds. Of no samples, all are 0.
struct LatencySummary {
    std::size_t count = 0;
    double p50 = 0;
    double p99 = 0;
    double max = 0;

    static LatencySummary of(SolutionLedger::Latencies latencies);
};

/// What the demo knows at one moment.
struct DemoSnapshot {
    std::string transport;
    double rate = 0;  ///< asked for, pairs a second
    std::chrono::milliseconds elapsed{0};
    SolutionLedger::Totals totals;
    double framesPerSecond = 0;  ///< over the last second
    LatencySummary lastSecond;
    LatencySummary overall;
    std::array<UnitModel::Statistics, Bench::links> links;
    std::size_t handshakeTimeouts = 0;
    std::optional<SolutionFrame> solution;

    std::uint64_t checksumErrors() const;
};

/// The block that a terminal shows, a fixed number of lines.
std::string liveBlock(const DemoSnapshot& snapshot);

/// The same on one line, for a log.
std::string liveLine(const DemoSnapshot& snapshot);

/// The frames of one link by message id, such as "120 x 15050 fused solution".
std::string framesById(const UnitModel::Statistics& statistics);

}  // namespace bench
