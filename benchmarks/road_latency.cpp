// Latency of a fused solution, from publication to the last byte on the line: the real server on
// the bench beside the floor program, in alternating blocks of one run.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "benchmarks/LatencyStatistics.h"
#include "benchmarks/Programs.h"
#include "benchmarks/RoadSubject.h"

namespace benchmarks {
namespace {

// What the server may cost over the floor.
constexpr double targetP50 = 1.2;
constexpr double targetP99 = 1.5;

constexpr double blockSeconds = 2;
constexpr std::int64_t warmUpPairs = 50;

struct Options {
    std::string server = (bench::programFolder() / "ZephonServer").string();
    std::vector<double> rates{10, 50, 100};
    double seconds = 60;
    Settings road = roadSettings();
    bool json = false;
};

/// The figures of one subject at one rate.
struct Result {
    LatencySummary all;
    /// Median of the blocks' own p99: a burst of other work on the machine spoils single blocks,
    /// but decides the p99 of the whole run.
    double blockP99 = 0;
    std::size_t lost = 0;
};

/// One subject's blocks at one rate.
class Series {
public:
    void add(RoadSamples const& samples) {
        microseconds_.insert(microseconds_.end(), samples.microseconds.begin(),
                             samples.microseconds.end());
        blockP99s_.push_back(summarize(samples.microseconds).p99);
        lost_ += samples.lost;
    }

    Result result() const { return {summarize(microseconds_), summarize(blockP99s_).p50, lost_}; }

private:
    std::vector<double> microseconds_;
    std::vector<double> blockP99s_;
    std::size_t lost_ = 0;
};

struct Row {
    double rate = 0;
    Result server;
    Result floor;

    double ratio50() const { return server.all.p50 / floor.all.p50; }
    double ratio99() const { return server.all.p99 / floor.all.p99; }
    double ratioBlock99() const { return server.blockP99 / floor.blockP99; }
};

/// Blocks of server and floor by turns, so that what drifts on the machine meets both alike.
Row compare(RoadSubject& server, RoadSubject& floor, double rate, double seconds) {
    int const blocks = std::max(1, static_cast<int>(std::lround(seconds / blockSeconds)));
    auto const pairs = static_cast<std::int64_t>(std::max(1.0, rate * seconds / blocks));
    Series serverSeries;
    Series floorSeries;
    for (int block = 0; block < blocks; ++block) {
        serverSeries.add(server.measure(rate, pairs));
        floorSeries.add(floor.measure(rate, pairs));
    }
    return {rate, serverSeries.result(), floorSeries.result()};
}

void print(char const* name, Result const& result) {
    fmt::print("  {:<8}{:>8}{:>8}{:>10.1f}{:>10.1f}{:>10.1f}{:>12.1f}\n", name, result.all.count,
               result.lost, result.all.p50, result.all.p99, result.all.max, result.blockP99);
}

void print(Row const& row) {
    fmt::print("{} Hz\n  {:<8}{:>8}{:>8}{:>10}{:>10}{:>10}{:>12}   us\n", row.rate, "", "frames",
               "lost", "p50", "p99", "max", "block p99");
    print("server", row.server);
    print("floor", row.floor);
    auto const verdict = [](double ratio, double target) {
        return fmt::format("{} {}", target, ratio <= target ? "met" : "missed");
    };
    fmt::print("  {:<24}{:>10.2f}{:>10.2f}{:>10.2f}{:>12.2f}\n", "ratio", row.ratio50(),
               row.ratio99(), row.server.all.max / row.floor.all.max, row.ratioBlock99());
    fmt::print("  {:<22}{:>12}{:>12}\n\n", "aim", verdict(row.ratio50(), targetP50),
               verdict(row.ratio99(), targetP99));
    std::fflush(stdout);
}

nlohmann::json toJson(Result const& result) {
    return {{"frames", result.all.count}, {"lost", result.lost},
            {"p50_us", result.all.p50},   {"p99_us", result.all.p99},
            {"max_us", result.all.max},   {"block_p99_us", result.blockP99}};
}

nlohmann::json toJson(Row const& row) {
    return {{"rate_hz", row.rate},        {"server", toJson(row.server)},
            {"floor", toJson(row.floor)}, {"ratio_p50", row.ratio50()},
            {"ratio_p99", row.ratio99()}, {"ratio_block_p99", row.ratioBlock99()}};
}

void run(Options const& options) {
    auto const serverBench = startServer(options.server, options.road);
    auto const serverPeer = startPeer(serverBench->peerOptions());

    bench::UnitModel floorLine;
    FloorProcess floorProcess("road_floor", options.road, {floorLine.devicePath()});
    auto const floorPeer = startPeer(floorProcess.peerOptions());

    RoadSubject server("server", *serverPeer, serverBench->unit(1));
    RoadSubject floor("floor", *floorPeer, floorLine);
    server.measure(100, warmUpPairs);
    floor.measure(100, warmUpPairs);

    nlohmann::json rows = nlohmann::json::array();
    for (double const rate : options.rates) {
        Row const row = compare(server, floor, rate, options.seconds);
        if (row.server.all.count == 0 || row.floor.all.count == 0) {
            throw std::runtime_error("no frame arrived\n" + serverBench->report());
        }
        if (options.json) {
            rows.push_back(toJson(row));
        } else {
            print(row);
        }
    }
    if (options.json) {
        fmt::print("{}\n", nlohmann::json{{"transport", options.road.transport},
                                          {"seconds", options.seconds},
                                          {"rows", rows}}
                               .dump(2));
    }
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    benchmarks::Options options;
    CLI::App app("Latency of a fused solution through the server, beside the floor program");
    app.add_option("--server", options.server, "The server's program")->check(CLI::ExistingFile);
    app.add_option("--rates", options.rates, "Pairs of records a second")
        ->delimiter(',')
        ->check(CLI::Range(0.1, 400.0));
    app.add_option("--seconds", options.seconds, "Time for each program at each rate")
        ->check(CLI::Range(0.1, 86400.0));
    app.add_option("--transport", options.road.transport, "Transport of the topics")
        ->check(CLI::IsMember({"SHM", "UDP"}));
    app.add_flag("--json", options.json, "Print JSON at the end, and nothing else");
    CLI11_PARSE(app, argc, argv);
    try {
        benchmarks::run(options);
    } catch (std::exception const& error) {
        std::cerr << "road_latency: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
