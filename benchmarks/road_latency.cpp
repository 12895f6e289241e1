// Latency of a fused solution, from publication to the last byte on the line: the real server on
// the bench beside the floor program, in alternating blocks of one run.

#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "benchmarks/LatencyComparison.h"
#include "benchmarks/Programs.h"
#include "benchmarks/RoadSubject.h"

namespace benchmarks {
namespace {

// What the server may cost over the floor.
constexpr LatencyAims aims{1.2, 1.5};

constexpr std::int64_t warmUpPairs = 50;

struct Options {
    std::string server = (bench::programFolder() / "ZephonServer").string();
    std::vector<double> rates{10, 50, 100};
    double seconds = 60;
    Settings road = roadSettings();
    bool json = false;
};

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
        auto const measureWith = [](RoadSubject& subject) {
            return [&subject](double hertz, std::int64_t pairs) {
                return subject.measure(hertz, pairs);
            };
        };
        LatencyRow const row =
            compareLatencies(measureWith(server), measureWith(floor), rate, options.seconds);
        if (options.json) {
            rows.push_back(toJson(row));
        } else {
            print(fmt::format("{} Hz", row.rate), row, aims);
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
