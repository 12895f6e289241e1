#include "bench/LiveRun.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <thread>
#include <unistd.h>

#include <fmt/format.h>

#include "bench/Bench.h"
#include "bench/DemoDisplay.h"
#include "bench/ScenarioRunner.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// The link rests after each frame for the time that its bytes need: 12 ms for a solution at
// 115200, 1.5 ms at this rate, which leaves room for hundreds of solutions a second.
constexpr int liveBaud = 921600;

constexpr auto figuresEvery = 1s;

// Bounds the time between the end of the run and that of the display.
constexpr auto signalsEvery = 20ms;

// As a shell tells of a program that Ctrl-C has ended.
constexpr int interruptedStatus = 130;

/// Standard output: lines that pass upwards, and below them, on a terminal, a block that is drawn
/// anew in its place. Any thread may call.
class Screen {
public:
    bool terminal() const { return terminal_; }

    void line(const std::string& text) {
        const std::lock_guard<std::mutex> lock(mutex_);
        print(home() + erasing(text + "\n") + block_);
    }

    /// For a terminal only.
    void block(const std::string& text) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const std::string up = home();
        block_ = erasing(text);
        lines_ = std::count(text.begin(), text.end(), '\n');
        print(up + block_);
    }

    /// Leaves the block where it is: what comes now passes below it.
    void leaveBlock() {
        const std::lock_guard<std::mutex> lock(mutex_);
        block_.clear();
        lines_ = 0;
    }

private:
    std::string home() const { return lines_ > 0 ? fmt::format("\033[{}A", lines_) : ""; }

    /// The text with what takes away the rest of the lines that it is drawn over.
    std::string erasing(const std::string& text) const {
        std::string result;
        for (const char c : text) {
            result += c == '\n' && terminal_ ? "\033[K\n" : std::string(1, c);
        }
        return result;
    }

    static void print(const std::string& text) {
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
    }

    const bool terminal_ = ::isatty(STDOUT_FILENO) == 1;
    std::mutex mutex_;  // guards all below and the order of the output; a leaf
    std::string block_;
    std::ptrdiff_t lines_ = 0;
};

/// Shows the figures once a second and passes the ending signals on, on a thread of its own.
class Watch {
public:
    Watch(ScenarioRunner& runner, Screen& screen, const sigset_t& ending)
        : runner_(runner), screen_(screen), ending_(ending), thread_([this] { run(); }) {}
    ~Watch() {
        stop_ = true;
        thread_.join();
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

private:
    void run() {
        auto next = Clock::now() + figuresEvery;
        while (!stop_) {
            const timespec timeout{0, std::chrono::nanoseconds(signalsEvery).count()};
            if (::sigtimedwait(&ending_, nullptr, &timeout) > 0) {
                runner_.interrupt();
            }
            if (Clock::now() >= next) {
                next += figuresEvery;
                show(runner_.figures());
            }
        }
    }

    void show(const RunFigures& figures) {
        if (screen_.terminal()) {
            screen_.block(liveBlock(figures));
        } else if (figures.rate > 0) {
            screen_.line(liveLine(figures));
        }
    }

    ScenarioRunner& runner_;
    Screen& screen_;
    const sigset_t ending_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

ScenarioRunner::Options runnerOptions(const LiveOptions& options, Screen& screen) {
    ScenarioRunner::Options result;
    if (!options.server.empty()) {
        result.bench.server = options.server;
    }
    if (!options.configuration.empty()) {
        result.bench.example = options.configuration;
    }
    result.bench.settings.transport = options.transport;
    result.bench.settings.baud = liveBaud;
    result.note = [&screen, begin = Clock::now()](const std::string& line) {
        const std::chrono::duration<double> elapsed = Clock::now() - begin;
        screen.line(fmt::format("{:9.3f} s  {}", elapsed.count(), line));
    };
    return result;
}

std::string summary(ScenarioRunner& runner, ScenarioRunner::Result result) {
    const RunFigures figures = runner.figures();
    const SolutionLedger::Totals& totals = figures.totals;
    std::string text = "\nResult\n";
    const auto row = [&text](const std::string& name, const std::string& value) {
        text += fmt::format("  {:<28}{}\n", name, value);
    };
    if (totals.records + totals.frames > 0) {
        const LatencySummary& latency = figures.overall;
        row("published", fmt::format("{} pairs of UTCTime and MeridanePNT", totals.pairs));
        row("solutions on link 1", std::to_string(totals.frames));
        row("  right, byte for byte", std::to_string(totals.right));
        row("  wrong", std::to_string(totals.wrong + totals.unexplained));
        row("  missing", std::to_string(totals.missing));
        row("publication to last byte",
            latency.count == 0 ? "no frame"
                               : fmt::format("p50 {:.0f} us, p99 {:.0f} us, max {:.0f} us",
                                             latency.p50, latency.p99, latency.max));
    }
    for (unsigned link = 1; link <= Bench::links; ++link) {
        row(fmt::format("frames on link {}", link), framesById(figures.links.at(link - 1)));
    }
    row("checksum errors", std::to_string(figures.checksumErrors()));
    row("handshake time-outs", std::to_string(figures.handshakeTimeouts));
    row("events",
        fmt::format("{} on EventLog, {} on MaintenanceEvent", figures.events, figures.faults));
    row("queue records", queueTraffic(figures));
    for (const std::string& setting : figures.settings) {
        row(&setting == &figures.settings.front() ? "settings" : "", setting);
    }
    for (const std::string& defect : runner.defects()) {
        row("!", defect);
    }
    const std::string table = chapterTable(runner.chapters());
    text += (table.empty() ? "" : "\n") + table;
    switch (result) {
        case ScenarioRunner::Result::Done:
            return text + "\nAll went well.\n";
        case ScenarioRunner::Result::Interrupted:
            return text + "\nEnded before its last step; nothing had failed.\n";
        case ScenarioRunner::Result::Failed:
            break;
    }
    return text + "\n" + runner.bench().report() + "\nFAILED: " + runner.failure() + "\n";
}

}  // namespace

int runLive(const LiveOptions& options, const sigset_t& ending) {
    const auto file = options.scenario.empty()
                          ? ExampleConfiguration::installedFolder() / "scenarios" / "demo.scenario"
                          : options.scenario;
    Screen screen;
    ScenarioRunner runner(Scenario::load(file, options.variables), runnerOptions(options, screen));
    Bench& bench = runner.bench();
    if (options.keep) {
        bench.folder().keep();
    }
    screen.line(fmt::format(
        "\nThe bench stands: a receiver unit on three pseudo-terminals at {} baud, DDS domain {}.\n"
        "Configuration and devices are in {}. Now {}; Ctrl-C ends it.\n",
        liveBaud, bench.domain().id(), bench.folder().path().string(), file.filename().string()));
    ScenarioRunner::Result result{};
    {
        const Watch watch(runner, screen, ending);
        result = runner.run();
    }
    screen.leaveBlock();
    screen.line(summary(runner, result));
    if (options.keep) {
        screen.line("Left standing: " + bench.folder().path().string());
    }
    switch (result) {
        case ScenarioRunner::Result::Done:
            return 0;
        case ScenarioRunner::Result::Interrupted:
            return interruptedStatus;
        case ScenarioRunner::Result::Failed:
            break;
    }
    return 1;
}

}  // namespace bench
