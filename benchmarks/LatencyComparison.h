#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "benchmarks/LatencyStatistics.h"

namespace benchmarks {

/// Latencies of one block.
struct LatencySamples {
    std::vector<double> microseconds;
    std::size_t lost = 0;  ///< what was sent and never arrived
};

/// The figures of one program at one rate.
struct LatencyResult {
    LatencySummary all;
    /// Median of the blocks' own p99: a burst of other work on the machine spoils single blocks,
    /// but decides the p99 of the whole run.
    double blockP99 = 0;
    std::size_t lost = 0;
};

/// Server and floor at one rate.
struct LatencyRow {
    double rate = 0;  ///< Hz
    LatencyResult server;
    LatencyResult floor;

    double ratio50() const { return server.all.p50 / floor.all.p50; }
    double ratio99() const { return server.all.p99 / floor.all.p99; }
    double ratioBlock99() const { return server.blockP99 / floor.blockP99; }
};

/// What the server may cost over the floor; 0 where there is no aim.
struct LatencyAims {
    double p50 = 0;
    double p99 = 0;
};

/// Measures one block: so many events, so many a second.
using MeasureBlock = std::function<LatencySamples(double rate, std::int64_t count)>;

/// Blocks of 2 s of server and floor by turns, so that what drifts on the machine meets both
/// alike; `seconds` is the time for each of them. Raises std::runtime_error when nothing arrived.
LatencyRow compareLatencies(MeasureBlock const& server, MeasureBlock const& floor, double rate,
                            double seconds);

/// Prints a row as a small table under `title`.
void print(std::string const& title, LatencyRow const& row, LatencyAims const& aims);

nlohmann::json toJson(LatencyRow const& row);

}  // namespace benchmarks
