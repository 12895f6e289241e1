#include "bench/DemoDisplay.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "bench/Simulation.h"

namespace bench {
namespace {

constexpr double degreesOfRadian = 180 / 3.14159265358979323846;

std::string text(const LatencySummary& latency) {
    if (latency.count == 0) {
        return "no frame";
    }
    return fmt::format("p50 {:5.0f}  p99 {:5.0f}  max {:5.0f} us", latency.p50, latency.p99,
                       latency.max);
}

/// What a message is, with a space before it; nothing for one that the demo does not expect.
const char* messageName(std::uint16_t id) {
    switch (id) {
        case 15050:
            return " fused solution";
        case 27530:
            return " PNT device command";
        default:
            return "";
    }
}

std::string placeText(const SolutionFrame& solution) {
    const Geodetic place =
        toGeodetic(solution.position[0], solution.position[1], solution.position[2]);
    return fmt::format("{:.5f} {}, {:.5f} {}, {:.0f} m", std::abs(place.latitude),
                       place.latitude < 0 ? 'S' : 'N', std::abs(place.longitude),
                       place.longitude < 0 ? 'W' : 'E', place.altitude);
}

}  // namespace

std::string printable(const std::string& text) {
    constexpr std::size_t longest = 240;
    std::string result = text.substr(0, longest);
    std::replace_if(
        result.begin(), result.end(), [](char c) { return c < ' ' || c > '~'; }, '.');
    return text.size() > longest ? result + "..." : result;
}

std::string framesById(const UnitModel::Statistics& statistics) {
    std::string text;
    for (const auto& [id, count] : statistics.framesById) {
        text += fmt::format("{}{} x {}{}", text.empty() ? "" : ", ", count, id, messageName(id));
    }
    return text.empty() ? "none" : text;
}

std::string queueTraffic(const RunFigures& figures) {
    std::string text;
    for (const auto& [queue, records] : figures.queueRecords) {
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", queue, records);
    }
    return text.empty() ? "none" : text;
}

std::string liveBlock(const RunFigures& figures) {
    const SolutionLedger::Totals& totals = figures.totals;
    std::string text = fmt::format("  running     {:.0f} s, {:g} pairs a second, transport {}\n",
                                   std::chrono::duration<double>(figures.elapsed).count(),
                                   figures.rate, figures.transport);
    text += fmt::format("  published   {} pairs of UTCTime and MeridanePNT ({} records)\n",
                        totals.pairs, totals.records);
    text += fmt::format("  arrived     {} solutions (message 15050) on link 1, {:.1f} a second\n",
                        totals.frames, figures.framesPerSecond);
    text += fmt::format("              {} right byte for byte, {} wrong, {} missing\n",
                        totals.right, totals.wrong + totals.unexplained, totals.missing);
    text += fmt::format("  latency     last second   {}\n", bench::text(figures.recent));
    text += fmt::format("              since start   {}\n", bench::text(figures.overall));
    text += fmt::format("  faults      {} checksum errors, {} handshake time-outs\n",
                        figures.checksumErrors(), figures.handshakeTimeouts);
    for (std::size_t i = 0; i < figures.links.size(); ++i) {
        text += fmt::format("  {:<12}link {}: {}\n", i == 0 ? "frames" : "", i + 1,
                            framesById(figures.links[i]));
    }
    text += fmt::format("  events      {} on EventLog, {} on MaintenanceEvent\n", figures.events,
                        figures.faults);
    text += fmt::format("  queues      {}\n", queueTraffic(figures));
    if (figures.solution) {
        const SolutionFrame& solution = *figures.solution;
        text += fmt::format("  solution    GPS week {}, time of week {:.3f} s\n", solution.gpsWeek,
                            solution.gpsTimeOfWeek);
        text += fmt::format(
            "              {}, {:.1f} m/s, heading {:.1f} deg\n", placeText(solution),
            std::sqrt(std::pow(solution.velocity[0], 2) + std::pow(solution.velocity[1], 2) +
                      std::pow(solution.velocity[2], 2)),
            solution.attitude[2] * degreesOfRadian);
    } else {
        text += "  solution    none yet\n\n";
    }
    return text;
}

std::string liveLine(const RunFigures& figures) {
    const SolutionLedger::Totals& totals = figures.totals;
    std::string text = fmt::format(
        "{:>5.0f} s  {} of {} pairs right  {:.1f}/s  {}  {} checksum errors  {} time-outs",
        std::chrono::duration<double>(figures.elapsed).count(), totals.right, totals.pairs,
        figures.framesPerSecond, bench::text(figures.recent), figures.checksumErrors(),
        figures.handshakeTimeouts);
    if (figures.events + figures.faults > 0) {
        text += fmt::format("  {} events", figures.events + figures.faults);
    }
    if (!figures.queueRecords.empty()) {
        text += "  queues " + queueTraffic(figures);
    }
    const std::uint64_t wrong = totals.wrong + totals.unexplained;
    if (wrong + totals.missing > 0) {
        text += fmt::format("  {} WRONG  {} MISSING", wrong, totals.missing);
    }
    return text;
}

}  // namespace bench
