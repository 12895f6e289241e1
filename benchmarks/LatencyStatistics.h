#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace benchmarks {

/// The figures that a row of latencies comes down to, in microseconds.
struct LatencySummary {
    std::size_t count = 0;
    double p50 = 0;
    double p99 = 0;
    double max = 0;
};

/// Percentiles by nearest rank: each is a value that was measured. All zero without a value.
inline LatencySummary summarize(std::vector<double> microseconds) {
    if (microseconds.empty()) {
        return {};
    }
    std::sort(microseconds.begin(), microseconds.end());
    auto const at = [&microseconds](double share) {
        auto const rank = std::ceil(share * static_cast<double>(microseconds.size()));
        return microseconds[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
    };
    return {microseconds.size(), at(0.50), at(0.99), microseconds.back()};
}

}  // namespace benchmarks
