#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
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

/// What a scenario's run knows at one moment.
struct RunFigures {
    std::string transport;
    double rate = 0;  ///< of the stream, pairs a second; 0: none was asked for
    std::chrono::milliseconds elapsed{0};
    SolutionLedger::Totals totals;
    double framesPerSecond = 0;  ///< solutions, since the figures before
    LatencySummary recent;       ///< since the figures before
    LatencySummary overall;
    std::array<UnitModel::Statistics, Bench::links> links;
    std::size_t handshakeTimeouts = 0;
    std::optional<SolutionFrame> solution;
    std::uint64_t events = 0;                           ///< records of EventLog
    std::uint64_t faults = 0;                           ///< records of MaintenanceEvent
    std::map<std::string, std::uint64_t> queueRecords;  ///< by queue, in either direction
    std::vector<std::string> settings;                  ///< UnitSettings::lines()

    std::uint64_t checksumErrors() const;
};

}  // namespace bench
