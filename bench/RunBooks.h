#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "bench/FrameLog.h"
#include "bench/ObservationLog.h"
#include "bench/QueuePeer.h"
#include "bench/RunFigures.h"
#include "bench/SolutionLedger.h"
#include "bench/TopicPeer.h"
#include "bench/UnitModel.h"
#include "bench/UnitSettings.h"
#include "bench/VirtualUnits.h"

namespace bench {

/// What comes to light in a run, from whichever thread sees it: kept for those who await it, told
/// to who listens, and counted. Any thread may call. The log, the ledger and the figures have a
/// mutex each; they are held one at a time.
class RunBooks {
public:
    using Note = std::function<void(const std::string& line)>;

    /// `note` is told each event in a line of printable text. May be empty.
    explicit RunBooks(Note note);

    // What the units, the peers and the server's output report.
    void see(unsigned link, const LoggedFrame& frame);
    void seeVirtual(unsigned unit, const VirtualFrame& frame);
    void see(const std::string& line);
    void see(const EventRecord& event);
    void see(const MaintenanceRecord& fault);
    void see(const CommandFields& record, std::string_view topic);
    void see(const QueueRead& read);

    /// A record was put into a queue.
    void countQueueRecord(const std::string& queue);

    /// Puts the books of solutions in order as far as their time has come.
    void settle();
    /// The stream is over: what has no frame by now has none.
    void finish();

    void note(const std::string& line) const;
    void setRate(double rate);

    /// All that the books know of the run; the figures since those before are for one caller only.
    /// Transport and links are the caller's.
    RunFigures figures();

    ObservationLog& seen() { return seen_; }
    SolutionLedger& ledger() { return ledger_; }
    const SolutionLedger& ledger() const { return ledger_; }

private:
    using Clock = std::chrono::steady_clock;

    const Note note_;
    const Clock::time_point begin_;

    ObservationLog seen_;
    SolutionLedger ledger_;
    std::atomic<std::size_t> handshakeTimeouts_{0};

    mutable std::mutex mutex_;  // guards the figures; a leaf
    double rate_ = 0;
    std::uint64_t events_ = 0;
    std::uint64_t faults_ = 0;
    std::map<std::string, std::uint64_t> queueRecords_;
    UnitSettings settings_;
    SolutionLedger::Latencies recent_;
    SolutionLedger::Latencies all_;
    std::uint64_t framesBefore_ = 0;
    Clock::time_point lastFigures_;
};

}  // namespace bench
