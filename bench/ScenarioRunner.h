#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "bench/ChapterTable.h"
#include "bench/ObservationLog.h"
#include "bench/RunBooks.h"
#include "bench/RunFigures.h"
#include "bench/Scenario.h"
#include "bench/ScenarioPeers.h"

namespace bench {

/// Plays a scenario on a bench: the real server, the units, and the peers in processes of their
/// own. One thread makes the object, runs it and outlives it, since it starts the processes; the
/// other operations may be called from any thread.
class ScenarioRunner {
public:
    enum class Result {
        Done,        ///< all steps were carried out, and the server left in order, or as expected
        Failed,      ///< failure() tells why
        Interrupted  ///< interrupt() ended it before its last step, and nothing had failed
    };

    struct Options {
        Bench::Options bench;  ///< observers of units and lines are replaced by the runner's own
        /// Told each step before it is carried out and each event when it comes, in a line of
        /// printable text, from several threads. Must not call back.
        RunBooks::Note note;
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
    void interrupt() { books_.seen().interrupt(); }

    /// The step that failed and why, as "NAME:LINE: STEP: reason"; after run().
    const std::string& failure() const { return failure_; }

    /// How the chapters of the scenario went; after run().
    const std::vector<ChapterResult>& chapters() const { return chapters_.results(); }

    /// The present figures; those since the figures before are for one caller only.
    RunFigures figures();

    /// The first few wrong solutions, as text.
    std::vector<std::string> defects() const { return books_.ledger().defects(); }

    /// For reports: folder, domain, and after run() the server's output.
    Bench& bench() { return bench_; }

private:
    using Clock = std::chrono::steady_clock;
    using Outcome = ObservationLog::Outcome;

    /// Ends the run from inside a step.
    class Interruption {};

    Bench::Options benchOptions(Bench::Options options);
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
    void carryOut(const action::UsePntDevice& step);
    void carryOut(const action::Chapter& step);
    void carryOut(const action::Forget& step);
    void carryOut(const action::Expect& step);
    // Each returns what was seen.
    std::string expect(const action::Running& wanted, const action::Expect& step);
    std::string expect(const action::Exit& wanted, const action::Expect& step);
    std::string expect(const action::Solutions& wanted, const action::Expect& step);
    std::string expect(const action::Register& wanted, const action::Expect& step);
    std::string expect(const action::Frame& wanted, const action::Expect& step);
    std::string expect(const action::Text& wanted, const action::Expect& step);
    std::string expectObservation(const std::string& source,
                                  const ObservationLog::Predicate& wanted,
                                  const action::Expect& step);

    bool waitFor(const std::function<bool()>& condition, Clock::time_point deadline);
    ChildProcess& server();
    std::int64_t utcOfStep() const;

    const Scenario scenario_;
    const std::chrono::milliseconds streamDelay_;
    const std::chrono::nanoseconds utcAhead_;  ///< Unix time less the steady clock's

    RunBooks books_;

    // The running thread's own.
    ChapterBook chapters_;
    bool streamCut_ = false;  ///< the stream was ended by interrupt()
    bool endJudged_ = false;  ///< a step has asked how the last server that was started ended
    std::string failure_;
    Clock::time_point zero_;  // of the scenario's clock
    Clock::time_point due_;   // of the present step

    Bench bench_;          // after the books, to which it reports
    ScenarioPeers peers_;  // after the bench, of which it asks
};

}  // namespace bench
