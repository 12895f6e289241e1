#include "bench/RunFigures.h"

#include <algorithm>

namespace bench {
namespace {

double microseconds(SolutionLedger::Clock::duration duration) {
    return std::chrono::duration<double, std::micro>(duration).count();
}

}  // namespace

LatencySummary LatencySummary::of(SolutionLedger::Latencies latencies) {
    LatencySummary summary;
    summary.count = latencies.size();
    if (latencies.empty()) {
        return summary;
    }
    std::sort(latencies.begin(), latencies.end());
    // The smallest value that the given part of all values does not exceed.
    const auto percentile = [&latencies](std::size_t percent) {
        const std::size_t rank = (latencies.size() * percent + 99) / 100;
        return microseconds(latencies[std::max<std::size_t>(rank, 1) - 1]);
    };
    summary.p50 = percentile(50);
    summary.p99 = percentile(99);
    summary.max = microseconds(latencies.back());
    return summary;
}

std::uint64_t RunFigures::checksumErrors() const {
    std::uint64_t sum = 0;
    for (const UnitModel::Statistics& link : links) {
        sum += link.line.checksumErrors();
    }
    return sum;
}

}  // namespace bench
