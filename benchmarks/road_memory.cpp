// Memory of the running server on the bench beside a program that has the same topics and nothing
// else: at rest, under load, and whether it grows.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "bench/SolutionFrame.h"
#include "benchmarks/ProcessMemory.h"
#include "benchmarks/Programs.h"

namespace benchmarks {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// What the server may have over the floor, KiB.
constexpr std::int64_t targetDifference = 6144;

// Programs and discovery come to rest.
constexpr auto settleTime = 4s;

// Growth counts from here on, or from the middle of a run that is shorter than twice this.
constexpr double warmUpSeconds = 60;
constexpr int mostSamples = 30;

struct Options {
    std::string server = (bench::programFolder() / "ZephonServer").string();
    double seconds = 30;
    double rate = 100;
    Settings road = roadSettings();
    bool json = false;
};

struct Sample {
    double seconds = 0;  ///< since the load began; 0 is at rest
    ProcessMemory server;
    ProcessMemory floor;
};

void printHeader() {
    fmt::print("KiB\n{:>7}  {:<8}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}\n", "s", "", "resident",
               "anon", "file", "shmem", "Pss", "unique", "threads");
}

void print(double seconds, char const* name, ProcessMemory const& memory) {
    fmt::print("{:>7.0f}  {:<8}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}{:>9}\n", seconds, name,
               memory.resident, memory.anonymous, memory.file, memory.shared, memory.proportional,
               memory.unique, memory.threads);
}

void print(Sample const& sample) {
    print(sample.seconds, "server", sample.server);
    print(sample.seconds, "floor", sample.floor);
    std::fflush(stdout);
}

nlohmann::json toJson(ProcessMemory const& memory) {
    return {{"resident_kib", memory.resident}, {"anonymous_kib", memory.anonymous},
            {"file_kib", memory.file},         {"shared_kib", memory.shared},
            {"pss_kib", memory.proportional},  {"unique_kib", memory.unique},
            {"threads", memory.threads}};
}

nlohmann::json toJson(Sample const& sample) {
    return {{"seconds", sample.seconds},
            {"server", toJson(sample.server)},
            {"floor", toJson(sample.floor)}};
}

std::int64_t difference(Sample const& sample) {
    return sample.server.resident - sample.floor.resident;
}

/// The growth of the resident size between the end of the warm-up and the last sample.
struct Growth {
    double from = 0;  ///< seconds
    double to = 0;
    std::int64_t server = 0;  ///< KiB
    std::int64_t floor = 0;
};

Growth growthOf(std::vector<Sample> const& samples) {
    Sample const& last = samples.back();
    double const begin = std::min(warmUpSeconds, last.seconds / 2);
    Sample const& first = *std::find_if(samples.begin(), samples.end(),
                                        [begin](auto const& one) { return one.seconds >= begin; });
    return {first.seconds, last.seconds, last.server.resident - first.server.resident,
            last.floor.resident - first.floor.resident};
}

std::int64_t pairsOf(Options const& options) {
    return static_cast<std::int64_t>(options.rate * options.seconds);
}

void startLoad(bench::TopicPeer& peer, Options const& options) {
    if (!peer.run(bench::TopicPeer::Schedule::fromNow(options.rate, pairsOf(options)))) {
        throw std::runtime_error("the peer fails: " + peer.lastFailure());
    }
}

/// The longest time between two publications. A peer that was held up catches up at once, and
/// such a burst may overrun the queue of a line.
class PublicationPace {
public:
    /// On the peer's draining thread.
    void note(Clock::time_point at) {
        if (last_ != Clock::time_point{}) {
            longest_ = std::max(longest_, at - last_);
        }
        last_ = at;
    }

    /// Once the peer has told that its run is done.
    std::int64_t longestMilliseconds() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(longest_).count();
    }

private:
    Clock::time_point last_;
    Clock::duration longest_{0};
};

void run(Options const& options) {
    auto const server = startServer(options.server, options.road);
    FloorProcess floor("memory_floor", options.road, {});
    PublicationPace pace;
    auto peerOptions = server->peerOptions();
    peerOptions.onNavigator = [&pace](auto const& publication) { pace.note(publication.at); };
    auto const serverPeer = startPeer(peerOptions);
    auto const floorPeer = startPeer(floor.peerOptions());
    std::this_thread::sleep_for(settleTime);

    std::vector<Sample> samples;
    auto const take = [&](double seconds) {
        samples.push_back({seconds, readProcessMemory(server->server().pid()),
                           readProcessMemory(floor.process().pid())});
        if (!options.json) {
            print(samples.back());
        }
    };
    if (!options.json) {
        printHeader();
    }
    take(0);
    startLoad(*serverPeer, options);
    startLoad(*floorPeer, options);
    auto const begin = Clock::now();
    double const step = std::max(1.0, options.seconds / mostSamples);
    for (int index = 1; index * step <= options.seconds; ++index) {
        std::chrono::duration<double> const due(index * step);
        std::this_thread::sleep_until(begin + std::chrono::duration_cast<Clock::duration>(due));
        take(due.count());
    }

    if (!serverPeer->waitUntilDone(1, 10s) || !floorPeer->waitUntilDone(1, 10s)) {
        throw std::runtime_error("a peer does not end its run");
    }
    auto const sent = pairsOf(options);
    server->unit(1).waitForFrames(bench::SolutionFrame::id, static_cast<std::size_t>(sent), 2s);
    auto const frames = server->unit(1).statistics().framesById[bench::SolutionFrame::id];
    Growth const growth = growthOf(samples);
    if (options.json) {
        nlohmann::json list = nlohmann::json::array();
        for (Sample const& sample : samples) {
            list.push_back(toJson(sample));
        }
        fmt::print("{}\n", nlohmann::json{{"rate_hz", options.rate},
                                          {"pairs", sent},
                                          {"longest_pause_ms", pace.longestMilliseconds()},
                                          {"frames", frames},
                                          {"samples", list},
                                          {"growth",
                                           {{"from_s", growth.from},
                                            {"to_s", growth.to},
                                            {"server_kib", growth.server},
                                            {"floor_kib", growth.floor}}}}
                               .dump(2));
        return;
    }
    auto const verdict = [](std::int64_t kib) {
        return kib <= targetDifference ? "met" : "missed";
    };
    std::int64_t const atRest = difference(samples.front());
    std::int64_t const loaded = difference(samples.back());
    fmt::print("\n{} pairs published, at most {} ms apart; {} frames on the line\n", sent,
               pace.longestMilliseconds(), frames);
    fmt::print("server above floor, at rest:    {:>6} KiB, aim {} {}\n", atRest, targetDifference,
               verdict(atRest));
    fmt::print("server above floor, under load: {:>6} KiB, aim {} {}\n", loaded, targetDifference,
               verdict(loaded));
    fmt::print("growth from {:.0f} s to {:.0f} s: server {} KiB, floor {} KiB\n", growth.from,
               growth.to, growth.server, growth.floor);
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    benchmarks::Options options;
    CLI::App app("Memory of the running server, beside a program with the same topics");
    app.add_option("--server", options.server, "The server's program")->check(CLI::ExistingFile);
    app.add_option("--seconds", options.seconds, "Duration of the load")
        ->check(CLI::Range(2.0, 86400.0));
    app.add_option("--rate", options.rate, "Pairs of records a second")
        ->check(CLI::Range(0.1, 400.0));
    app.add_option("--transport", options.road.transport, "Transport of the topics")
        ->check(CLI::IsMember({"SHM", "UDP"}));
    app.add_flag("--json", options.json, "Print JSON at the end, and nothing else");
    CLI11_PARSE(app, argc, argv);
    try {
        benchmarks::run(options);
    } catch (std::exception const& error) {
        std::cerr << "road_memory: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
