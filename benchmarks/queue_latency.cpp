// Latency of a received frame, from the write on the line to the record on the queue device: the
// real server on the bench beside the floor program, in alternating blocks of one run.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <sys/prctl.h>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "bench/PseudoTerminal.h"
#include "benchmarks/LatencyComparison.h"
#include "benchmarks/NumberedFrame.h"
#include "benchmarks/Programs.h"
#include "benchmarks/QueueReader.h"
#include "benchmarks/QueueSubject.h"

namespace benchmarks {
namespace {

constexpr LatencyAims aims{1.3, 0};
constexpr std::int64_t warmUpFrames = 100;
constexpr double warmUpRate = 200;
constexpr std::uint64_t uartStamps = 512;  // offset of the first in the region of the time stamps

struct Options {
    std::string server = (bench::programFolder() / "ZephonServer").string();
    std::vector<unsigned> links{1, 2};
    std::vector<double> rates{10, 100, 1000};
    double seconds = 20;
    bool json = false;
};

/// The floor program on a line and a queue device of its own.
class Floor {
public:
    static constexpr unsigned queue = bench::Bench::queues;

    explicit Floor(bench::Bench& bench) {
        bench.devices().makeQueue(queue);
        auto const stamps =
            bench.configuration().memoryRegions().at("TimeStamp_Interface").base + uartStamps;
        bench::ChildProcess::Options options;
        options.arguments = {line_.slavePath(), bench.devices().queuePath(queue).string(),
                             bench.devices().memoryPath().string(), std::to_string(stamps),
                             std::to_string(NumberedFrame::lineBytes)};
        process_ = startProgram("queue_floor", options);
    }

    bench::PseudoTerminal& line() { return line_; }

private:
    bench::PseudoTerminal line_;
    std::unique_ptr<bench::ChildProcess> process_;
};

MeasureBlock blocksOf(QueueSubject& subject) {
    return [&subject](double rate, std::int64_t count) { return subject.measure(rate, count); };
}

void run(Options const& options) {
    ::prctl(PR_SET_TIMERSLACK, 1UL);  // frames are due at their time, not up to 50 us later
    std::vector<bench::PseudoTerminal> lines(bench::Bench::links);
    auto const server =
        startServer(options.server, roadSettings(), [&lines](bench::Bench& prepared) {
            for (std::size_t i = 0; i < lines.size(); ++i) {
                prepared.devices().linkSerial(prepared.settings().channels.at(i),
                                              lines[i].slavePath());
            }
        });
    Floor floor(*server);
    QueueReader floorQueue(server->devices().queuePath(Floor::queue));

    nlohmann::json rows = nlohmann::json::array();
    for (unsigned const link : options.links) {
        auto const number = static_cast<std::uint16_t>(link);
        QueueReader queue(server->devices().queuePath(queueOfLink(link)));
        QueueSubject serverSubject(number, lines.at(link - 1), queue);
        QueueSubject floorSubject(number, floor.line(), floorQueue);
        serverSubject.measure(warmUpRate, warmUpFrames);
        floorSubject.measure(warmUpRate, warmUpFrames);
        for (double const rate : options.rates) {
            LatencyRow const row = compareLatencies(blocksOf(serverSubject), blocksOf(floorSubject),
                                                    rate, options.seconds);
            if (options.json) {
                rows.push_back(toJson(row));
                rows.back()["link"] = link;
            } else {
                print(fmt::format("link {}, {} frames a second", link, rate), row, aims);
            }
        }
    }
    if (options.json) {
        fmt::print("{}\n", nlohmann::json{{"seconds", options.seconds}, {"rows", rows}}.dump(2));
    }
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    benchmarks::Options options;
    CLI::App app("Latency of a received frame through the server, beside the floor program");
    app.add_option("--server", options.server, "The server's program")->check(CLI::ExistingFile);
    app.add_option("--links", options.links, "Links that are measured, one after the other")
        ->delimiter(',')
        ->check(CLI::Range(1U, bench::Bench::links));
    app.add_option("--rates", options.rates, "Frames a second")
        ->delimiter(',')
        ->check(CLI::Range(0.1, 1200.0));
    app.add_option("--seconds", options.seconds, "Time for each program at each rate and link")
        ->check(CLI::Range(0.1, 86400.0));
    app.add_flag("--json", options.json, "Print JSON at the end, and nothing else");
    CLI11_PARSE(app, argc, argv);
    try {
        benchmarks::run(options);
    } catch (std::exception const& error) {
        std::cerr << "queue_latency: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
