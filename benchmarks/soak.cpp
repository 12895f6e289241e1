// The running server for hours: navigation at full rate while things go wrong around it. Does it
// grow, in memory or threads, and is anything lost that it does not tell?

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include "bench/SolutionFrame.h"
#include "bench/SolutionLedger.h"
#include "benchmarks/Disturbances.h"
#include "benchmarks/ProcessMemory.h"
#include "benchmarks/Programs.h"

namespace benchmarks {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Growth counts from here on, or from the middle of a run that is shorter than twice this.
constexpr double warmUpSeconds = 300;
constexpr int samples = 60;
// What an allocator still needs to reach its highest water; a leak of one small block for each
// solution at 100 Hz is a hundred times this in an hour.
constexpr std::int64_t longestGrowth = 256;  // KiB

struct Options {
    std::string server = (bench::programFolder() / "ZephonServer").string();
    double seconds = 3600;
    double rate = 100;
    double pause = 5;
};

struct Sample {
    double seconds = 0;
    ProcessMemory memory;
};

/// The longest time between two events. One thread notes them, another may ask.
class Pauses {
public:
    void note(Clock::time_point at) {
        if (last_ != Clock::time_point{}) {
            longest_ = std::max(longest_.load(), at - last_);
        }
        last_ = at;
    }

    /// Since this was asked last, in seconds.
    double takeLongest() {
        return std::chrono::duration<double>(longest_.exchange(Clock::duration{0})).count();
    }

private:
    Clock::time_point last_;  // of the thread that notes
    // That thread alone makes it longer; a pause that ends while it is asked may count twice.
    std::atomic<Clock::duration> longest_{Clock::duration{0}};
};

/// Pairs that the peer published faster than the line takes their frames: a machine that held it up
/// has it catch up in a burst, and one of more than the line's queue holds overruns that queue.
class Bursts {
public:
    /// On the peer's draining thread.
    void note(Clock::time_point at) {
        auto const gap = at - last_;
        inBurst_ = gap < frameTime ? inBurst_ + 1 : 0;
        overrun_ += inBurst_ > queued ? 1 : 0;
        last_ = at;
    }

    /// Once the peer has told that its run is done.
    std::uint64_t overrun() const { return overrun_; }

private:
    static constexpr auto frameTime = 1500us;  // of a solution's frame at 921600 baud
    static constexpr int queued = 20;          // the queue holds 32, also of others

    Clock::time_point last_;
    int inBurst_ = 0;
    std::uint64_t overrun_ = 0;
};

/// How long nothing of the navigation was published, and how long nothing of it came out.
struct Stillness {
    Pauses publisher;
    Pauses line;
};

std::unique_ptr<bench::Bench> startBench(Options const& options, bench::SolutionLedger& ledger,
                                         Pauses& line) {
    bench::Bench::Options bench;
    bench.server = options.server;
    bench.settings = roadSettings();
    for (auto& unit : bench.units) {
        unit.keptFrames = 2000;
    }
    bench.virtualUnits.keptFrames = 2000;
    bench.units[0].observer = [&](auto const& logged) {
        if (logged.frame.id == bench::SolutionFrame::id) {
            ledger.received(logged);
            line.note(logged.lastByte);
        }
    };
    auto server = std::make_unique<bench::Bench>(bench);
    server->start();
    if (!server->waitUntilRunning()) {
        throw std::runtime_error("the server does not come up\n" + server->report());
    }
    return server;
}

void print(Sample const& sample) {
    fmt::print("{:>7.0f} s  resident {} KiB, anonymous {} KiB, threads {}\n", sample.seconds,
               sample.memory.resident, sample.memory.anonymous, sample.memory.threads);
    std::fflush(stdout);
}

/// Prints the end of the run; whether all was as it must be, and all `pairs` were published.
bool judge(std::vector<Sample> const& taken, Disturbances const& disturbances,
           bench::SolutionLedger const& ledger, Bursts const& bursts, std::uint64_t pairs) {
    bool good = true;
    fmt::print("\n{:<28}{:>8}{:>8}\n", "disturbance", "made", "told");
    for (auto const& count : disturbances.counts()) {
        fmt::print("{:<28}{:>8}{:>8}\n", count.name, count.tried, count.told);
        good = good && count.tried == count.told;
    }
    auto const totals = ledger.totals();
    fmt::print("\n{} pairs, {} right frames, {} wrong, {} missing, {} unexplained\n", totals.pairs,
               totals.right, totals.wrong, totals.missing, totals.unexplained);
    fmt::print("published in bursts beyond the queue of the line: {}\n", bursts.overrun());
    for (auto const& defect : ledger.defects()) {
        fmt::print("  {}\n", defect);
    }
    Sample const& last = taken.back();
    double const begin = std::min(warmUpSeconds, last.seconds / 2);
    auto const first = std::find_if(taken.begin(), taken.end(),
                                    [begin](auto const& one) { return one.seconds >= begin; });
    fmt::print("from {:.0f} s to {:.0f} s: resident {:+} KiB, anonymous {:+} KiB, threads {:+}\n",
               first->seconds, last.seconds, last.memory.resident - first->memory.resident,
               last.memory.anonymous - first->memory.anonymous,
               last.memory.threads - first->memory.threads);
    auto const growth = std::max(last.memory.resident - first->memory.resident,
                                 last.memory.anonymous - first->memory.anonymous);
    return good && totals.pairs == pairs && growth <= longestGrowth && totals.wrong == 0 &&
           totals.unexplained == 0 && totals.missing <= bursts.overrun() &&
           last.memory.threads == first->memory.threads;
}

bool run(Options const& options) {
    bench::SolutionLedger ledger;
    Stillness stillness;
    auto const server = startBench(options, ledger, stillness.line);
    auto peerOptions = server->peerOptions();
    peerOptions.keptPublications = 1000;
    peerOptions.onClock = [&ledger](auto const& publication) { ledger.published(publication); };
    Bursts bursts;
    peerOptions.onNavigator = [&](auto const& publication) {
        ledger.published(publication);
        bursts.note(publication.at);
        stillness.publisher.note(publication.at);
    };
    auto const navigator = startPeer(peerOptions);
    Disturbances disturbances(*server);

    auto const pairs = static_cast<std::int64_t>(options.rate * options.seconds);
    if (!navigator->run(bench::TopicPeer::Schedule::fromNow(options.rate, pairs))) {
        throw std::runtime_error("the peer fails: " + navigator->lastFailure());
    }
    std::vector<Sample> taken;
    auto const begin = Clock::now();
    auto const since = [begin] {
        return std::chrono::duration<double>(Clock::now() - begin).count();
    };
    double const step = options.seconds / samples;
    std::uint64_t known = 0;  // pairs that are missing
    while (since() < options.seconds) {
        char const* const name = disturbances.next();
        ledger.settle(Clock::now());
        auto const published = stillness.publisher.takeLongest();
        auto const written = stillness.line.takeLongest();
        if (auto const missing = ledger.totals().missing; missing != known) {
            fmt::print(
                "{:>7.0f} s  {} pairs missing, {}; longest pauses: publisher {:.3f} s, line "
                "{:.3f} s\n",
                since(), missing - known, name, published, written);
            known = missing;
        }
        if (taken.empty() || since() >= taken.back().seconds + step) {
            taken.push_back({since(), readProcessMemory(server->server().pid())});
            print(taken.back());
        }
        std::this_thread::sleep_for(std::chrono::duration<double>(options.pause));
    }
    if (!navigator->waitUntilDone(1, 60s)) {
        throw std::runtime_error("the peer does not end its run");
    }
    std::this_thread::sleep_for(bench::SolutionLedger::patience);
    ledger.finish();
    taken.push_back({since(), readProcessMemory(server->server().pid())});
    print(taken.back());
    auto const good = judge(taken, disturbances, ledger, bursts, static_cast<std::uint64_t>(pairs));
    auto const exit = server->stop();
    fmt::print("the server: {}\n", exit ? exit->text() : "does not end");
    return good && exit && exit->ok();
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    benchmarks::Options options;
    CLI::App app("The running server at full navigation rate, with disturbances");
    app.add_option("--server", options.server, "The server's program")->check(CLI::ExistingFile);
    app.add_option("--seconds", options.seconds, "Duration")->check(CLI::Range(10.0, 604800.0));
    app.add_option("--rate", options.rate, "Pairs of records a second")
        ->check(CLI::Range(0.1, 400.0));
    app.add_option("--pause", options.pause, "Seconds between two disturbances")
        ->check(CLI::Range(0.0, 3600.0));
    CLI11_PARSE(app, argc, argv);
    try {
        return benchmarks::run(options) ? 0 : 1;
    } catch (std::exception const& error) {
        std::cerr << "soak: " << error.what() << '\n';
        return 1;
    }
}
