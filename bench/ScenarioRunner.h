#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "bench/ObservationLog.h"
#include "bench/QueuePeer.h"
#include "bench/RunFigures.h"
#include "bench/Scenario.h"
#include "bench/SolutionLedger.h"
#include "bench/TopicPeer.h"
#include "bench/UnitSettings.h"

namespace bench {

/// Plays a scenario on a bench: the real server, the units, and the peers in processes of their
/// own. One thread makes the object, runs it and outlives it, since it starts the processes; the
/// other operations may be called from any thread.
class ScenarioRunner {
public:
    enum class Result {
        Done,        ///< all steps were carried out, and a server that still ran left in order
        Failed,      ///< failure() tells why
        Interrupted  ///< interrupt() ended it before its last step, and nothing had failed
    };

    struct Options {
        Bench::Options bench;  ///< observers of units and lines are replaced by the runner's own
        /// Told each step before it is carried out and each event when it comes, in a line of
        /// printable text, from several threads. Must not call back.
        std::function<void(const std::string& line)> note;
        /// From the step that starts a stream to its first pair: all peers must have heard of the
        /// schedule by then.
        std::chrono::milliseconds streamDelay{300};
    };

    /// Brings up the bench. Raises as Bench does.
    ScenarioRunner(Scenario scenario, Options options);
    ~ScenarioRunner();
    ScenarioRunner(const ScenarioRunner&) = delete;
    ScenarioRunner& operator=(const ScenarioRunner&) = delete;

    /// Plays the scenario, once. Raises std::system_error when a program cannot be run.
    Result run();

    /// Ends a "wait stream", after which the scenario goes on, unless nothing was published yet; at
    /// any other place the scenario.
    void interrupt() { seen_.interrupt(); }

    /// The step that failed and why, as "NAME:LINE: STEP: reason"; after run().
    const std::string& failure() const { return failure_; }

    /// The present figures; those since the figures before are for one caller only.
    RunFigures figures();

    /// The first few wrong solutions, as text.
    std::vector<std::string> defects() const { return ledger_.defects(); }

    /// For reports: folder, domain, and after run() the server's output.
    Bench& bench() { return bench_; }

private:
    using Clock = std::chrono::steady_clock;
    using Outcome = ObservationLog::Outcome;

    /// Ends the run from inside a step.
    class StepFailure;
    class Interruption {};

    struct Peer {
        std::unique_ptr<TopicPeer> peer;
        std::size_t runs = 0;  ///< schedules that it was given
    };

    Bench::Options benchOptions(Bench::Options options);
    void startPeers();
    std::unique_ptr<TopicPeer> makePeer(TopicPeer::Role role);
    void connectPeers(Clock::time_point deadline);
    void play();
    void waitUntilDue(const Step& step);
    void leave();

    void carryOut(const action::Configure& step);
    void carryOut(const action::StartServer& step);
    void carryOut(const action::StopServer& step);
    void carryOut(const action::Signal& step);
    void carryOut(const action::HangUp& step);
    void carryOut(const action::Reconnect& step);
    void carryOut(const action::Publish& step);
    void carryOut(const action::Stream& step);
    void carryOut(const action::StopStream& step);
    void carryOut(const action::WaitStream& step);
    void carryOut(const action::Send& step);
    void carryOut(const action::Inject& step);
    void carryOut(const action::SetRegister& step);
    void carryOut(const action::Expect& step);
    void expect(const action::Running& wanted, const action::Expect& step);
    void expect(const action::Exit& wanted, const action::Expect& step);
    void expect(const action::Solutions& wanted, const action::Expect& step);
    void expect(const action::Register& wanted, const action::Expect& step);
    void expect(const action::Frame& wanted, const action::Expect& step);
    void expect(const action::Text& wanted, const action::Expect& step);
    void expectObservation(const std::string& source, const ObservationLog::Predicate& wanted,
                           const action::Expect& step);

    template <class Record>
    void publish(Record record, const std::string& fields);
    bool waitFor(const std::function<bool()>& condition, Clock::time_point deadline);
    ChildProcess& server();
    bool streamIsOver() const;
    void settle();
    void see(unsigned link, const LoggedFrame& frame);
    void see(unsigned unit, const VirtualFrame& frame);
    void see(const std::string& line);
    void see(const EventRecord& event);
    void see(const MaintenanceRecord& fault);
    void see(const CommandFields& record, std::string_view topic);
    void see(const QueueRead& read);
    void note(const std::string& line) const;

    const Scenario scenario_;
    const std::function<void(const std::string&)> note_;
    const std::chrono::milliseconds streamDelay_;
    const std::string transport_;
    const Clock::time_point begin_;
    const std::chrono::nanoseconds utcAhead_;  ///< Unix time less the steady clock's

    ObservationLog seen_;
    SolutionLedger ledger_;
    std::atomic<std::size_t> handshakeTimeouts_{0};

    mutable std::mutex mutex_;  // guards the figures; a leaf but for the ledger's
    double rate_ = 0;
    std::uint64_t events_ = 0;
    std::uint64_t faults_ = 0;
    std::map<std::string, std::uint64_t> queueRecords_;
    UnitSettings settings_;
    SolutionLedger::Latencies recent_;
    SolutionLedger::Latencies all_;
    std::uint64_t framesBefore_ = 0;
    Clock::time_point lastFigures_;

    // The running thread's own.
    std::int64_t injected_ = 0;
    bool streamCut_ = false;  ///< the stream was ended by interrupt()
    std::string failure_;
    Clock::time_point zero_;  // of the scenario's clock
    Clock::time_point due_;   // of the present step

    Bench bench_;  // after all that it reports to
    std::vector<Peer> peers_;
    std::unique_ptr<QueuePeer> queues_;
};

}  // namespace bench
