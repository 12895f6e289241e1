#include "benchmarks/LatencyComparison.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include <fmt/core.h>

namespace benchmarks {
namespace {

constexpr double blockSeconds = 2;

/// One program's blocks at one rate.
class Series {
public:
    void add(LatencySamples const& samples) {
        microseconds_.insert(microseconds_.end(), samples.microseconds.begin(),
                             samples.microseconds.end());
        blockP99s_.push_back(summarize(samples.microseconds).p99);
        lost_ += samples.lost;
    }

    LatencyResult result() const {
        if (microseconds_.empty()) {
            throw std::runtime_error("no frame arrived");
        }
        return {summarize(microseconds_), summarize(blockP99s_).p50, lost_};
    }

private:
    std::vector<double> microseconds_;
    std::vector<double> blockP99s_;
    std::size_t lost_ = 0;
};

void print(char const* name, LatencyResult const& result) {
    fmt::print("  {:<8}{:>8}{:>8}{:>10.1f}{:>10.1f}{:>10.1f}{:>12.1f}\n", name, result.all.count,
               result.lost, result.all.p50, result.all.p99, result.all.max, result.blockP99);
}

std::string verdict(double ratio, double aim) {
    return aim == 0 ? "" : fmt::format("{} {}", aim, ratio <= aim ? "met" : "missed");
}

nlohmann::json toJson(LatencyResult const& result) {
    return {{"frames", result.all.count}, {"lost", result.lost},
            {"p50_us", result.all.p50},   {"p99_us", result.all.p99},
            {"max_us", result.all.max},   {"block_p99_us", result.blockP99}};
}

}  // namespace

LatencyRow compareLatencies(MeasureBlock const& server, MeasureBlock const& floor, double rate,
                            double seconds) {
    int const blocks = std::max(1, static_cast<int>(std::lround(seconds / blockSeconds)));
    auto const count = static_cast<std::int64_t>(std::max(1.0, rate * seconds / blocks));
    Series serverSeries;
    Series floorSeries;
    for (int block = 0; block < blocks; ++block) {
        serverSeries.add(server(rate, count));
        floorSeries.add(floor(rate, count));
    }
    return {rate, serverSeries.result(), floorSeries.result()};
}

void print(std::string const& title, LatencyRow const& row, LatencyAims const& aims) {
    fmt::print("{}\n  {:<8}{:>8}{:>8}{:>10}{:>10}{:>10}{:>12}   us\n", title, "", "frames", "lost",
               "p50", "p99", "max", "block p99");
    print("server", row.server);
    print("floor", row.floor);
    fmt::print("  {:<24}{:>10.2f}{:>10.2f}{:>10.2f}{:>12.2f}\n", "ratio", row.ratio50(),
               row.ratio99(), row.server.all.max / row.floor.all.max, row.ratioBlock99());
    fmt::print("  {:<22}{:>12}{:>12}\n\n", "aim", verdict(row.ratio50(), aims.p50),
               verdict(row.ratio99(), aims.p99));
    std::fflush(stdout);
}

nlohmann::json toJson(LatencyRow const& row) {
    return {{"rate_hz", row.rate},        {"server", toJson(row.server)},
            {"floor", toJson(row.floor)}, {"ratio_p50", row.ratio50()},
            {"ratio_p99", row.ratio99()}, {"ratio_block_p99", row.ratioBlock99()}};
}

}  // namespace benchmarks
