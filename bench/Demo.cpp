#include "bench/Demo.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <unistd.h>
#include <vector>

#include <fmt/format.h>

#include "bench/Bench.h"
#include "bench/DemoDisplay.h"
#include "bench/SolutionLedger.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using Clock = SolutionLedger::Clock;

// The link rests after each frame for the time that its bytes need: 12 ms for a solution at
// 115200, 1.5 ms at this rate, which leaves room for hundreds of solutions a second.
constexpr int demoBaud = 921600;

constexpr const char* timeoutLine = "GSSIP PROTOCOL TIMEOUT";
constexpr const char* exitLine = "has exited. Signal: 15";

// For what is still under way when the publishers have stopped.
constexpr auto settling = 5s;

void print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

/// Draws a block over the one before on a terminal; writes lines elsewhere.
class Screen {
public:
    void show(const DemoSnapshot& snapshot) {
        if (!terminal_) {
            print(liveLine(snapshot) + "\n");
            return;
        }
        const std::string block = liveBlock(snapshot);
        std::string text = lines_ > 0 ? fmt::format("\033[{}A", lines_) : "";
        lines_ = std::count(block.begin(), block.end(), '\n');
        for (const char c : block) {
            text += c == '\n' ? "\033[K\n" : std::string(1, c);
        }
        print(text);
    }

private:
    const bool terminal_ = ::isatty(STDOUT_FILENO) == 1;
    std::ptrdiff_t lines_ = 0;
};

class Demo {
public:
    Demo(const DemoOptions& options, const sigset_t& ending)
        : options_(options), ending_(ending), bench_(benchOptions()) {
        snapshot_.transport = options.transport;
        snapshot_.rate = options.rate;
    }

    int run() {
        if (!bringUp()) {
            return 1;
        }
        watch();
        return takeDown() ? 0 : 1;
    }

private:
    Bench::Options benchOptions() {
        Bench::Options result;
        if (!options_.server.empty()) {
            result.server = options_.server;
        }
        if (!options_.configuration.empty()) {
            result.example = options_.configuration;
        }
        result.settings.transport = options_.transport;
        result.settings.baud = demoBaud;
        result.units[0].observer = [this](const LoggedFrame& frame) { ledger_.received(frame); };
        for (auto& unit : result.units) {
            unit.keptFrames = 100;  // the demo runs for hours; the ledger has seen them
        }
        return result;
    }

    bool bringUp() {
        if (options_.keep) {
            bench_.folder().keep();
        }
        print(
            fmt::format("\nThe bench stands: a receiver unit on three pseudo-terminals at {} baud, "
                        "DDS domain {}.\nConfiguration and devices are in {}.\n",
                        demoBaud, bench_.domain().id(), bench_.folder().path().string()));
        // A server that is a TCP client reaches one neighbour, which then is both devices.
        if (options_.transport == "TCP_Client") {
            peers_.push_back(makePeer(TopicPeer::Role::Both));
        } else {
            peers_.push_back(makePeer(TopicPeer::Role::ClockDevice));
            peers_.push_back(makePeer(TopicPeer::Role::FusionNavigator));
        }
        bench_.start();
        if (!bench_.waitUntilRunning()) {
            print("The server did not come up.\n" + bench_.report());
            return false;
        }
        print(fmt::format(
            "ZephonServer runs as process {}. The peers take some seconds to find it.\n",
            bench_.server().pid()));
        for (auto& peer : peers_) {
            if (!connect(peer)) {
                print("The server is not to be found on the topics: " + peer->lastFailure() + "\n" +
                      bench_.report());
                return false;
            }
        }
        print(
            "Clock device and fusion navigator found it on the topics. Ctrl-C ends the demo.\n\n");
        return true;
    }

    std::unique_ptr<TopicPeer> makePeer(TopicPeer::Role role) {
        TopicPeer::Options options = bench_.peerOptions(role);
        options.keptPublications = 1;
        options.onClock = [this](const auto& publication) { ledger_.published(publication); };
        options.onNavigator = [this](const auto& publication) { ledger_.published(publication); };
        return std::make_unique<TopicPeer>(options);
    }

    /// Waits for the server to know the peer. Fast RTPS 2.9.1 now and then never finishes the
    /// discovery over a TCP connection that stands; a new participant is the remedy, so up to two
    /// are tried, and each is told.
    bool connect(std::unique_ptr<TopicPeer>& peer) {
        const bool tcp = options_.transport != "SHM" && options_.transport != "UDP";
        for (int spare = tcp ? 2 : 0; !peer->waitForReaders(1, 15s); --spare) {
            if (spare == 0) {
                return false;
            }
            print("A peer was not discovered over TCP; it is started anew.\n");
            const TopicPeer::Role role = peer->role();
            peer.reset();
            peer = makePeer(role);
        }
        return true;
    }

    /// Shows the figures once a second until the end is asked for or the server is gone.
    void watch() {
        const auto schedule = TopicPeer::Schedule::fromNow(
            options_.rate,
            static_cast<std::int64_t>(std::llround(options_.duration * options_.rate)), 300ms);
        for (const auto& peer : peers_) {
            peer->run(schedule);
        }
        begin_ = schedule.start;
        lastLook_ = begin_;
        const auto end = options_.duration > 0
                             ? begin_ + std::chrono::duration_cast<Clock::duration>(
                                            std::chrono::duration<double>(options_.duration))
                             : Clock::time_point::max();
        for (auto next = begin_ + 1s; bench_.server().running(); next += 1s) {
            const auto until = std::min(next, end);
            interrupted_ = endsBefore(until);
            if (interrupted_) {
                break;
            }
            look();
            if (until == end) {
                break;
            }
        }
    }

    /// Waits until the given time; true when one of the ending signals came before.
    bool endsBefore(Clock::time_point time) const {
        const auto left = std::max(time - Clock::now(), Clock::duration::zero());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        const timespec timeout{seconds.count(), (left - seconds).count()};
        return ::sigtimedwait(&ending_, nullptr, &timeout) > 0;
    }

    void look() {
        const auto now = Clock::now();
        const std::uint64_t framesBefore = snapshot_.totals.frames;
        const auto latencies = ledger_.settle(now);
        all_.insert(all_.end(), latencies.begin(), latencies.end());
        snapshot_.totals = ledger_.totals();
        snapshot_.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - begin_);
        snapshot_.framesPerSecond = static_cast<double>(snapshot_.totals.frames - framesBefore) /
                                    std::chrono::duration<double>(now - lastLook_).count();
        snapshot_.lastSecond = LatencySummary::of(latencies);
        snapshot_.overall = LatencySummary::of(all_);
        for (unsigned link = 1; link <= Bench::links; ++link) {
            snapshot_.links.at(link - 1) = bench_.unit(link).statistics();
        }
        snapshot_.handshakeTimeouts = bench_.server().countLines(timeoutLine);
        snapshot_.solution = ledger_.lastSolution();
        lastLook_ = now;
        screen_.show(snapshot_);
    }

    /// Stops the publishers, lets the last frames come, ends the server, and judges.
    bool takeDown() {
        bool ok = true;
        for (const auto& peer : peers_) {
            ok = peer->stop() && peer->waitUntilDone(1, settling) && ok;
        }
        const auto deadline = Clock::now() + settling;
        while (ledger_.totals().waiting() > 0 && Clock::now() < deadline) {
            const auto latencies = ledger_.settle(Clock::now());
            all_.insert(all_.end(), latencies.begin(), latencies.end());
            std::this_thread::sleep_for(1ms);
        }
        const auto exit = bench_.stop();
        peers_.clear();
        const auto rest = ledger_.finish();
        all_.insert(all_.end(), rest.begin(), rest.end());
        const bool saidGoodbye = bench_.server().countLines(exitLine) == 1;
        ok = ok && exit && exit->ok() && saidGoodbye;
        return summarise(
            exit ? exit->text() + (saidGoodbye ? ", in order" : ", without its last line")
                 : "it did not end after SIGTERM",
            ok);
    }

    bool summarise(const std::string& serverEnd, bool ok) {
        const SolutionLedger::Totals totals = ledger_.totals();
        snapshot_.totals = totals;
        std::string text = "\nResult\n";
        const auto row = [&text](const std::string& name, const std::string& value) {
            text += fmt::format("  {:<28}{}\n", name, value);
        };
        const LatencySummary latency = LatencySummary::of(all_);
        std::uint64_t checksumErrors = 0;
        row("published", fmt::format("{} pairs of UTCTime and MeridanePNT", totals.pairs));
        row("solutions on link 1", std::to_string(totals.frames));
        row("  right, byte for byte", std::to_string(totals.right));
        row("  wrong", std::to_string(totals.wrong + totals.unexplained));
        row("  missing", std::to_string(totals.missing));
        row("publication to last byte",
            latency.count == 0 ? "no frame"
                               : fmt::format("p50 {:.0f} us, p99 {:.0f} us, max {:.0f} us",
                                             latency.p50, latency.p99, latency.max));
        for (unsigned link = 1; link <= Bench::links; ++link) {
            const auto statistics = bench_.unit(link).statistics();
            checksumErrors += statistics.line.checksumErrors();
            row(fmt::format("frames on link {}", link), framesById(statistics));
        }
        row("checksum errors", std::to_string(checksumErrors));
        row("handshake time-outs", std::to_string(bench_.server().countLines(timeoutLine)));
        row("server", serverEnd);
        for (const std::string& defect : ledger_.defects()) {
            row("!", defect);
        }
        // Who ends the demo before the first pair has seen nothing fail.
        const bool early = interrupted_ && totals.pairs == 0;
        ok = ok && totals.allRight() && (totals.pairs > 0 || early) && checksumErrors == 0;
        if (!ok) {
            text += "\nOutput of the server:\n" + bench_.server().output();
        }
        if (options_.keep) {
            text += "\nLeft standing: " + bench_.folder().path().string() + "\n";
        }
        text += !ok     ? "\nSomething went WRONG, see above.\n"
                : early ? "\nEnded before anything was published.\n"
                        : "\nAll went well.\n";
        print(text);
        return ok;
    }

    const DemoOptions options_;
    const sigset_t ending_;
    SolutionLedger ledger_;  // before what reports to it
    Bench bench_;
    std::vector<std::unique_ptr<TopicPeer>> peers_;
    Screen screen_;
    DemoSnapshot snapshot_;
    SolutionLedger::Latencies all_;
    bool interrupted_ = false;  // one of the ending signals came
    Clock::time_point begin_;
    Clock::time_point lastLook_;
};

}  // namespace

int runDemo(const DemoOptions& options, const sigset_t& ending) {
    return Demo(options, ending).run();
}

}  // namespace bench
