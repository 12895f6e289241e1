#include "bench/DemoDisplay.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "bench/Simulation.h"

namespace bench {
namespace {

constexpr double degreesOfRadian = 180 / 3.14159265358979323846;

double microseconds(SolutionLedger::Clock::duration duration) {
    return std::chrono::duration<double, std::micro>(duration).count();
}

std::string text(const LatencySummary& latency) {
    if (latency.count == 0) {
        return "no frame yet";
    }
    return fmt::format("p50 {:5.0f} us   p99 {:5.0f} us   max {:5.0f} us", latency.p50, latency.p99,
                       latency.max);
}

std::string placeText(const SolutionFrame& solution) {
    const Geodetic place =
        toGeodetic(solution.position[0], solution.position[1], solution.position[2]);
    return fmt::format("{:.5f} {}, {:.5f} {}, {:.0f} m", std::abs(place.latitude),
                       place.latitude < 0 ? 'S' : 'N', std::abs(place.longitude),
                       place.longitude < 0 ? 'W' : 'E', place.altitude);
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

std::uint64_t DemoSnapshot::checksumErrors() const {
    std::uint64_t sum = 0;
    for (const UnitModel::Statistics& link : links) {
        sum += link.line.checksumErrors();
    }
    return sum;
}

std::string framesById(const UnitModel::Statistics& statistics) {
    std::string text;
    for (const auto& [id, count] : statistics.framesById) {
        text += fmt::format("{}{} x {}", text.empty() ? "" : ", ", id, count);
    }
    return text.empty() ? "none" : text;
}

std::string liveBlock(const DemoSnapshot& snapshot) {
    const SolutionLedger::Totals& totals = snapshot.totals;
    std::string text = fmt::format("  running    {:>10.0f} s   transport {}, {:g} pairs a second\n",
                                   std::chrono::duration<double>(snapshot.elapsed).count(),
                                   snapshot.transport, snapshot.rate);
    text += fmt::format("  published  {:>10} records of UTCTime and MeridanePNT, {} pairs\n",
                        totals.records, totals.pairs);
    text +=
        fmt::format("  link 1     {:>10} frames of message 15050: {} right, {} wrong, {} missing\n",
                    totals.frames, totals.right, totals.wrong + totals.unexplained, totals.missing);
    text += fmt::format("  rate       {:>10.1f} frames a second\n", snapshot.framesPerSecond);
    text += fmt::format("  latency    last second  {}\n", bench::text(snapshot.lastSecond));
    text += fmt::format("             overall      {}\n", bench::text(snapshot.overall));
    text += fmt::format("  faults     {:>10} checksum errors, {} handshake time-outs\n",
                        snapshot.checksumErrors(), snapshot.handshakeTimeouts);
    for (std::size_t i = 0; i < snapshot.links.size(); ++i) {
        text += fmt::format("  {} {}\n",
                            i == 0 ? fmt::format("frames     link {}:", i + 1)
                                   : fmt::format("           link {}:", i + 1),
                            framesById(snapshot.links[i]));
    }
    if (snapshot.solution) {
        const SolutionFrame& solution = *snapshot.solution;
        text += fmt::format("  solution   GPS week {}, time of week {:.3f} s\n", solution.gpsWeek,
                            solution.gpsTimeOfWeek);
        text += fmt::format(
            "             {}, {:.1f} m/s, heading {:05.1f}\n", placeText(solution),
            std::sqrt(std::pow(solution.velocity[0], 2) + std::pow(solution.velocity[1], 2) +
                      std::pow(solution.velocity[2], 2)),
            solution.attitude[2] * degreesOfRadian);
    } else {
        text += "  solution   none yet\n\n";
    }
    return text;
}

std::string liveLine(const DemoSnapshot& snapshot) {
    std::string text = fmt::format(
        "{:>5.0f} s  {} records  {} frames  {:.1f}/s  {}  {} wrong  {} checksum errors  {} "
        "time-outs",
        std::chrono::duration<double>(snapshot.elapsed).count(), snapshot.totals.records,
        snapshot.totals.frames, snapshot.framesPerSecond, bench::text(snapshot.lastSecond),
        snapshot.totals.wrong + snapshot.totals.unexplained, snapshot.checksumErrors(),
        snapshot.handshakeTimeouts);
    if (snapshot.solution) {
        text += fmt::format("  week {} tow {:.3f}  {}", snapshot.solution->gpsWeek,
                            snapshot.solution->gpsTimeOfWeek, placeText(*snapshot.solution));
    }
    return text;
}

}  // namespace bench
