#include "bench/RunBooks.h"

#include <array>
#include <utility>

#include <fmt/format.h>

#include "bench/DemoDisplay.h"
#include "bench/QueueRecord.h"
#include "bench/Scenario.h"

namespace bench {
namespace {

constexpr const char* timeoutLine = "GSSIP PROTOCOL TIMEOUT";

const char* typeName(std::int64_t eventType) {
    constexpr std::array<const char*, 6> names{"other",   "diagnostic", "information",
                                               "failure", "link lost",  "reserved"};
    return eventType >= 0 && eventType < static_cast<std::int64_t>(names.size())
               ? names[static_cast<std::size_t>(eventType)]
               : "unknown type";
}

}  // namespace

RunBooks::RunBooks(Note note)
    : note_(std::move(note)), begin_(Clock::now()), lastFigures_(begin_) {}

void RunBooks::see(unsigned link, const LoggedFrame& frame) {
    if (link == 1) {
        ledger_.received(frame);
    }
    seen_.add({"link" + std::to_string(link), frame.frame, ""});
}

void RunBooks::seeVirtual(unsigned unit, const VirtualFrame& frame) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        settings_.take(unit, frame);
    }
    seen_.add({"virtual" + std::to_string(unit), frame.frame, ""});
}

void RunBooks::see(const std::string& line) {
    if (line.find(timeoutLine) != std::string::npos) {
        ++handshakeTimeouts_;
    }
    if (!line.empty()) {
        seen_.add(Observation{Scenario::serverLine, UnitFrame(), line});
    }
}

void RunBooks::see(const EventRecord& event) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++events_;
    }
    note(fmt::format("EventLog {}, source {}: {}", typeName(event.type), event.header.source,
                     printable(event.text)));
    seen_.add(Observation{std::string(EventRecord::topic), UnitFrame(), event.text});
}

void RunBooks::see(const MaintenanceRecord& fault) {
    const std::string text = fault.identity + " " + fault.description;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++faults_;
    }
    note(fmt::format("MaintenanceEvent criticality {}, source {}: {}", fault.criticality,
                     fault.header.source, printable(text)));
    seen_.add(Observation{std::string(MaintenanceRecord::topic), UnitFrame(), text});
}

void RunBooks::see(const CommandFields& record, std::string_view topic) {
    note(fmt::format("{}, source {}: {}", topic, record.header.source, printable(record.text)));
    seen_.add(Observation{std::string(topic), UnitFrame(), record.text});
}

void RunBooks::see(const QueueRead& read) {
    const auto records = decodeRecords(read.bytes);
    if (!records) {
        note(fmt::format("{}: {} bytes that are no record", read.queue, read.bytes.size()));
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        queueRecords_[read.queue] += records->size();
    }
    for (const QueueRecord& record : *records) {
        std::string defect;
        auto frame = decodeFrame(record.data.data(), record.data.size(), &defect);
        if (frame) {
            seen_.add({read.queue, std::move(*frame), ""});
        } else {
            note(fmt::format("{}: a record without a frame: {}", read.queue, defect));
        }
    }
}

void RunBooks::countQueueRecord(const std::string& queue) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++queueRecords_[queue];
}

void RunBooks::settle() {
    const auto latencies = ledger_.settle(Clock::now());
    const std::lock_guard<std::mutex> lock(mutex_);
    recent_.insert(recent_.end(), latencies.begin(), latencies.end());
}

void RunBooks::finish() {
    const auto rest = ledger_.finish();
    const std::lock_guard<std::mutex> lock(mutex_);
    recent_.insert(recent_.end(), rest.begin(), rest.end());
}

void RunBooks::note(const std::string& line) const {
    if (note_) {
        note_(line);
    }
}

void RunBooks::setRate(double rate) {
    const std::lock_guard<std::mutex> lock(mutex_);
    rate_ = rate;
}

RunFigures RunBooks::figures() {
    settle();
    RunFigures figures;
    figures.totals = ledger_.totals();
    figures.solution = ledger_.lastSolution();
    figures.handshakeTimeouts = handshakeTimeouts_;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto now = Clock::now();
    all_.insert(all_.end(), recent_.begin(), recent_.end());
    figures.recent = LatencySummary::of(std::exchange(recent_, {}));
    figures.overall = LatencySummary::of(all_);
    figures.framesPerSecond =
        static_cast<double>(figures.totals.frames -
                            std::exchange(framesBefore_, figures.totals.frames)) /
        std::chrono::duration<double>(now - std::exchange(lastFigures_, now)).count();
    figures.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - begin_);
    figures.rate = rate_;
    figures.events = events_;
    figures.faults = faults_;
    figures.queueRecords = queueRecords_;
    figures.settings = settings_.lines();
    return figures;
}

}  // namespace bench
