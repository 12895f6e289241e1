// The join of time and solution at a rate beyond what the line carries: no growth, and none lost
// but what a queue at its limit refused. The server runs in this process; one thread gives it both
// records of a pair, and the unit on link 1 counts what comes out.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <malloc.h>
#include <memory>
#include <stdexcept>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "bench/SolutionFrame.h"
#include "benchmarks/LatencyStatistics.h"
#include "benchmarks/LocalServer.h"
#include "benchmarks/ProcessMemory.h"

namespace benchmarks {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
namespace idl = aspn2_msgs::idl;

// What the queue in front of a line holds: the queue of the link passes on at once what awaits no
// response.
constexpr std::size_t queueLimit = 32;

constexpr std::int32_t clockSource = 36;
constexpr std::int32_t navigatorSource = 96;

struct Options {
    double rate = 1000;
    double seconds = 30;
    int baud = 921600;
    bool json = false;
};

/// What came out of the line. The unit's thread writes, until its end is known.
class Arrivals {
public:
    struct Arrival {
        std::size_t number;
        Clock::time_point at;
    };

    /// All memory is taken here, so that it is no growth of the server's.
    explicit Arrivals(std::size_t pairs) : list_(pairs) {}

    /// On the unit's thread. The number of a pair is its time of week and its position.
    void take(bench::LoggedFrame const& logged) {
        auto const solution = bench::SolutionFrame::decode(logged.frame);
        if (!solution) {
            return;
        }
        std::size_t const index = count_;
        auto const number = static_cast<std::size_t>(solution->gpsTimeOfWeek);
        bool const inOrder = index == 0 || number > list_[index - 1].number;
        if (index >= list_.size() || number >= list_.size() || !inOrder ||
            solution->position[0] != solution->gpsTimeOfWeek) {
            ++wrong_;
            return;
        }
        list_[index] = {number, logged.lastByte};
        count_ = index + 1;
    }

    /// From any thread.
    std::size_t count() const { return count_; }
    std::size_t wrong() const { return wrong_; }

    /// Once nothing comes any more.
    Arrival const& operator[](std::size_t index) const { return list_[index]; }

private:
    std::vector<Arrival> list_;
    std::atomic<std::size_t> count_{0};
    std::atomic<std::size_t> wrong_{0};
};

/// What was given to the server: when, and how long the call took that made the pair.
struct Given {
    Clock::time_point at;
    double microseconds = 0;
};

struct MemorySample {
    std::int64_t heapBytes = 0;  ///< in use
    std::int64_t residentKib = 0;
};

MemorySample memoryNow() {
    return {static_cast<std::int64_t>(::mallinfo2().uordblks),
            readProcessMemory(::getpid()).resident};
}

struct Loss {
    std::size_t atLimit = 0;   ///< the queue held all that it can
    std::size_t withRoom = 0;  ///< it did not
};

/// Goes through all pairs: one that has not come out is accounted for when, at the time that it was
/// made, as many as the queue holds had been made before it and had not come out yet.
Loss lossOf(std::vector<Given> const& given, Arrivals const& arrivals) {
    Loss loss;
    std::size_t accepted = 0;  // of the pairs so far
    std::size_t out = 0;       // of these, arrived by then
    for (std::size_t number = 0; number < given.size(); ++number) {
        while (out < arrivals.count() && arrivals[out].at <= given[number].at) {
            ++out;
        }
        if (accepted < arrivals.count() && arrivals[accepted].number == number) {
            ++accepted;
        } else if (accepted - std::min(out, accepted) >= queueLimit) {
            ++loss.atLimit;
        } else {
            ++loss.withRoom;
        }
    }
    return loss;
}

/// Gives the server the pairs at their times, and samples the memory in the middle: the queue is
/// full by then, as it is at the end.
MemorySample feed(ZephonServer& server, Options const& options, std::vector<Given>& given) {
    idl::UTCTime utc;
    utc.header().device_id(clockSource << 16);
    idl::MeridanePNT pnt;
    pnt.header().device_id(navigatorSource << 16);
    MemorySample middle;
    auto const begin = Clock::now();
    for (std::size_t number = 0; number < given.size(); ++number) {
        auto const tag = static_cast<std::int32_t>(number);
        utc.header().timestamp_valid().sec(tag);
        utc.gps_tow_sec(tag);
        pnt.header().timestamp_valid().sec(tag);
        pnt.ECEF_Pos_X(tag);
        std::this_thread::sleep_until(
            begin + std::chrono::duration_cast<Clock::duration>(
                        std::chrono::duration<double>(static_cast<double>(number) / options.rate)));
        bool const clockFirst = number % 2 == 0;
        clockFirst ? server.cbUtcTime(utc) : server.cbMxPnt(pnt);
        auto const before = Clock::now();
        clockFirst ? server.cbMxPnt(pnt) : server.cbUtcTime(utc);
        given[number] = {before,
                         std::chrono::duration<double, std::micro>(Clock::now() - before).count()};
        if (number == given.size() / 2) {
            middle = memoryNow();
        }
    }
    return middle;
}

/// Waits until the line has been quiet for longer than a full queue takes for one frame.
void drain(Arrivals const& arrivals) {
    std::size_t before = 0;
    do {
        before = arrivals.count() + arrivals.wrong();
        std::this_thread::sleep_for(500ms);
    } while (arrivals.count() + arrivals.wrong() != before);
}

/// True when no solution was wrong, or lost where the queue had room.
bool run(Options const& options) {
    auto const pairs = static_cast<std::size_t>(options.rate * options.seconds);
    std::vector<Given> given(pairs);
    Arrivals arrivals(pairs);
    bench::Bench::Options benchOptions;
    benchOptions.settings.baud = options.baud;
    benchOptions.units[0].keptFrames = 1;  // the bench is in this process too: its logs would grow
    benchOptions.virtualUnits.keptFrames = 1;
    benchOptions.units[0].observer = [&](auto const& logged) { arrivals.take(logged); };
    bench::Bench bench(benchOptions);
    auto const server = std::make_unique<ZephonServer>();
    connect(*server, bench);
    start(*server);

    MemorySample const middle = feed(*server, options, given);
    MemorySample const end = memoryNow();
    drain(arrivals);

    Loss const loss = lossOf(given, arrivals);
    std::vector<double> times;
    times.reserve(pairs);
    for (Given const& one : given) {
        times.push_back(one.microseconds);
    }
    LatencySummary const call = summarize(std::move(times));
    std::int64_t const heap = end.heapBytes - middle.heapBytes;
    std::int64_t const resident = end.residentKib - middle.residentKib;
    if (options.json) {
        fmt::print("{}\n", nlohmann::json{{"rate_hz", options.rate},
                                          {"baud", options.baud},
                                          {"pairs", pairs},
                                          {"frames", arrivals.count()},
                                          {"refused_by_full_queue", loss.atLimit},
                                          {"lost", loss.withRoom},
                                          {"wrong", arrivals.wrong()},
                                          {"call_us_p50", call.p50},
                                          {"call_us_p99", call.p99},
                                          {"call_us_max", call.max},
                                          {"heap_growth_bytes", heap},
                                          {"resident_growth_kib", resident}}
                               .dump(2));
    } else {
        fmt::print("{} pairs, {:.0f} a second, line at {} baud\n", pairs, options.rate,
                   options.baud);
        fmt::print("  frames on the line         {:>9}\n", arrivals.count());
        fmt::print("  refused by the full queue  {:>9}\n", loss.atLimit);
        fmt::print("  lost with room in it       {:>9}\n", loss.withRoom);
        fmt::print("  wrong or out of order      {:>9}\n", arrivals.wrong());
        fmt::print("  the call that makes a pair: p50 {:.2f} us, p99 {:.2f} us, max {:.0f} us\n",
                   call.p50, call.p99, call.max);
        fmt::print("  from the middle to the end: heap in use {:+} bytes, resident {:+} KiB\n",
                   heap, resident);
    }
    return loss.withRoom == 0 && arrivals.wrong() == 0;
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    benchmarks::Options options;
    CLI::App app("The join of time and solution at a high rate");
    app.add_option("--rate", options.rate, "Pairs a second")->check(CLI::Range(1.0, 100000.0));
    app.add_option("--seconds", options.seconds, "Time of the run")
        ->check(CLI::Range(1.0, 86400.0));
    app.add_option("--baud", options.baud, "Rate of the line")
        ->check(CLI::IsMember({115200, 230400, 460800, 921600}));
    app.add_flag("--json", options.json, "Print JSON at the end, and nothing else");
    CLI11_PARSE(app, argc, argv);
    try {
        return benchmarks::run(options) ? 0 : 1;
    } catch (std::exception const& error) {
        std::cerr << "fused_join: " << error.what() << '\n';
        return 1;
    }
}
