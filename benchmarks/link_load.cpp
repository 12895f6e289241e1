// Three links at the full rate of their lines, both ways: no frame may be lost, and the processor
// time is told beside that of a plain relay of the same bytes, in alternating blocks of one run. A
// third block each time loads the whole server, as far as its siblings can.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <iostream>
#include <sys/prctl.h>

#include <CLI/CLI.hpp>
#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "benchmarks/LoadedProgram.h"
#include "benchmarks/NumberedFrame.h"

namespace benchmarks {
namespace {

constexpr double blockSeconds = 5;
constexpr double warmUpSeconds = 0.5;
constexpr double startSeconds = 3;  // until the server has said what it says at its start

// Its siblings leave the server's write queues some room: what finds 32 frames there is lost.
constexpr double feedOfServer = 0.8;
constexpr std::chrono::milliseconds burstOfServer{20};  // later than that, and a burst fills them

struct Options {
    double seconds = 30;
    std::size_t piece = 64;
    bool json = false;
};

/// Frames a second and line towards the lines.
double outgoingRate(LoadResult const& result, double seconds) {
    return static_cast<double>(result.towardsLines) / seconds / LoadedProgram::links;
}

void print(char const* name, LoadResult const& result) {
    fmt::print("  {:<8}{:>12}{:>12}{:>8}{:>9}{:>14.2f}{:>12.1f}\n", name, result.onQueues,
               result.onLines, result.lost(), result.defects, 100 * result.share(),
               result.microsecondsPerFrame());
}

nlohmann::json toJson(LoadResult const& result) {
    return {{"towards_queues", result.towardsQueues},
            {"on_queues", result.onQueues},
            {"towards_lines", result.towardsLines},
            {"on_lines", result.onLines},
            {"lost", result.lost()},
            {"defects", result.defects},
            {"seconds", result.seconds},
            {"processor_share", result.share()},
            {"processor_us_per_frame", result.microsecondsPerFrame()}};
}

/// True when every frame arrived, and no line was full when a byte was due.
bool isWhole(LoadResult const& result) {
    return result.lost() == 0 && result.defects == 0;
}

/// True when the links were whole.
bool run(Options const& options) {
    ::prctl(PR_SET_TIMERSLACK, 1UL);  // pieces leave at their time, not up to 50 us later
    LoadedLinks links(options.piece);
    LoadedRelays relays(options.piece, links.bench().devices());
    LoadedServer server;
    server.run(startSeconds);
    double const rate = outgoingRate(links.run(warmUpSeconds), warmUpSeconds);
    relays.setFeedRate(rate);
    relays.run(warmUpSeconds);
    server.setFeedRate(feedOfServer * rate);
    server.run(warmUpSeconds);

    int const blocks = std::max(1, static_cast<int>(std::lround(options.seconds / blockSeconds)));
    double const seconds = options.seconds / blocks;
    LoadResult linksResult;
    LoadResult relaysResult;
    LoadResult serverResult;
    for (int block = 0; block < blocks; ++block) {
        LoadResult const result = links.run(seconds);
        linksResult.add(result);
        relays.setFeedRate(outgoingRate(result, seconds));
        relaysResult.add(relays.run(seconds));
        serverResult.add(server.run(seconds));
    }
    linksResult.defects += links.finish();

    auto const delay = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::max(links.longestDelay(), relays.longestDelay()));
    double const ratio = linksResult.processorSeconds / linksResult.seconds /
                         (relaysResult.processorSeconds / relaysResult.seconds);
    double const sent = outgoingRate(linksResult, options.seconds);
    double const sentShare = sent * NumberedFrame::lineBytes / LoadedProgram::lineBytesPerSecond;
    bool const serverCounts = server.longestDelay() < burstOfServer;
    bool const whole = isWhole(linksResult) && (isWhole(serverResult) || !serverCounts);
    bool const comparable = isWhole(relaysResult);
    double const serverRatio =
        serverResult.microsecondsPerFrame() / relaysResult.microsecondsPerFrame();
    if (options.json) {
        fmt::print("{}\n", nlohmann::json{{"links", toJson(linksResult)},
                                          {"socat", toJson(relaysResult)},
                                          {"server", toJson(serverResult)},
                                          {"processor_ratio", ratio},
                                          {"server_ratio_per_frame", serverRatio},
                                          {"server_counts", serverCounts},
                                          {"relays_kept_up", comparable},
                                          {"load_late_ms", delay.count()},
                                          {"outgoing_frames_per_second", sent},
                                          {"outgoing_line_share", sentShare}}
                               .dump(2));
    } else {
        fmt::print("{} links, {} s each, {} bytes at a time\n", LoadedProgram::links,
                   options.seconds, options.piece);
        fmt::print("  {:<8}{:>12}{:>12}{:>8}{:>9}{:>14}{:>12}\n", "", "on queues", "on lines",
                   "lost", "defects", "% of one core", "us a frame");
        print("links", linksResult);
        print("socat", relaysResult);
        print("server", serverResult);
        fmt::print("  processor time, ratio: {:.2f}{}\n", ratio,
                   comparable ? "" : " (counts for nothing: the relays fell behind)");
        fmt::print("  the whole server, processor time of a frame, ratio: {:.2f}{}\n", serverRatio,
                   serverCounts ? "" : " (its losses count for nothing: the load came in bursts)");
        fmt::print("  towards the unit: {:.0f} frames a second and line, {:.0f} % of the line\n",
                   sent, 100 * sentShare);
        fmt::print("  the load itself was late by at most {} ms\n", delay.count());
        fmt::print("  {}\n", whole ? "no frame lost" : "FRAMES WERE LOST OR DAMAGED");
    }
    return whole;
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    benchmarks::Options options;
    CLI::App app("Three links under full load, beside a plain relay of the same bytes");
    app.add_option("--seconds", options.seconds, "Time for each of both")
        ->check(CLI::Range(0.5, 86400.0));
    app.add_option("--piece", options.piece, "Bytes that a line hands over at a time")
        ->check(CLI::Range(1, 4096));
    app.add_flag("--json", options.json, "Print JSON at the end, and nothing else");
    CLI11_PARSE(app, argc, argv);
    try {
        return benchmarks::run(options) ? 0 : 1;
    } catch (std::exception const& error) {
        std::cerr << "link_load: " << error.what() << '\n';
        return 1;
    }
}
