#include "bench/SolutionLedger.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace bench {
namespace {

constexpr std::size_t notedDefects = 10;

}  // namespace

SolutionLedger::Pair& SolutionLedger::entry(std::int64_t tag) {
    ++totals_.records;
    return pairs_[tag];
}

void SolutionLedger::published(const Publication<UtcRecord>& publication) {
    if (publication.record.header.source != UtcRecord::clockDevice) {
        return;  // the navigator's, or nobody's: no side of a solution
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    Pair& pair = entry(publication.record.header.tag());
    pair.utc = publication;
    totals_.pairs += pair.pnt ? 1 : 0;
}

void SolutionLedger::published(const Publication<PntRecord>& publication) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Pair& pair = entry(publication.record.header.tag());
    pair.pnt = publication;
    totals_.pairs += pair.utc ? 1 : 0;
}

void SolutionLedger::received(const LoggedFrame& frame) {
    if (frame.frame.id == SolutionFrame::id) {
        const std::lock_guard<std::mutex> lock(mutex_);
        frames_.push_back(frame);
        ++totals_.frames;
    }
}

/// The complete pair whose time of week stands at the head of the frame's data.
SolutionLedger::Pairs::iterator SolutionLedger::pairOf(const UnitFrame& frame) {
    const auto solution = SolutionFrame::decode(frame);
    return std::find_if(pairs_.begin(), pairs_.end(), [&solution](const auto& entry) {
        const Pair& pair = entry.second;
        if (!solution || !pair.utc || !pair.pnt) {
            return false;
        }
        double expected = 0;
        std::memcpy(&expected, expectedSolution(pair.utc->record, pair.pnt->record).data(),
                    sizeof expected);
        return expected == solution->gpsTimeOfWeek;
    });
}

void SolutionLedger::judge(const LoggedFrame& frame, Pairs::iterator pair, Latencies& latencies) {
    // Frames come in the order of their pairs, so what is older has been passed over.
    for (auto older = pairs_.begin(); older != pair; older = pairs_.erase(older)) {
        if (older->second.utc && older->second.pnt) {
            ++totals_.missing;
            note("no frame for the pair tagged " + std::to_string(older->first) + " ns");
        }
    }
    const auto& [utc, pnt] = pair->second;
    const auto defects = solutionDefects(frame.frame, utc->record, pnt->record);
    ++(defects.empty() ? totals_.right : totals_.wrong);
    for (const std::string& defect : defects) {
        note("frame of the pair tagged " + std::to_string(pair->first) + " ns: " + defect);
    }
    latencies.push_back(frame.lastByte - std::max(utc->at, pnt->at));
    lastSolution_ = SolutionFrame::decode(frame.frame);
    pairs_.erase(pair);
}

void SolutionLedger::note(const std::string& defect) {
    if (defects_.size() < notedDefects) {
        defects_.push_back(defect);
    }
}

/// Called with the lock held. Frames that came before the given time and have no pair are given up.
SolutionLedger::Latencies SolutionLedger::judgeFrames(Clock::time_point unexplainedBefore) {
    Latencies latencies;
    while (!frames_.empty()) {
        const LoggedFrame& frame = frames_.front();
        const auto pair = pairOf(frame.frame);
        if (pair != pairs_.end()) {
            judge(frame, pair, latencies);
        } else if (frame.lastByte < unexplainedBefore) {
            ++totals_.unexplained;
            note("a frame belongs to no pair: " + hexadecimal(frame.bytes));
        } else {
            break;
        }
        frames_.pop_front();
    }
    return latencies;
}

SolutionLedger::Latencies SolutionLedger::settle(Clock::time_point now) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return judgeFrames(now - patience);
}

SolutionLedger::Latencies SolutionLedger::finish() {
    const std::lock_guard<std::mutex> lock(mutex_);
    Latencies latencies = judgeFrames(Clock::time_point::max());
    for (const auto& [tag, pair] : std::exchange(pairs_, {})) {
        if (pair.utc && pair.pnt) {
            ++totals_.missing;
            note("no frame for the pair tagged " + std::to_string(tag) + " ns");
        }
    }
    return latencies;
}

SolutionLedger::Totals SolutionLedger::totals() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return totals_;
}

std::optional<SolutionFrame> SolutionLedger::lastSolution() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lastSolution_;
}

std::vector<std::string> SolutionLedger::defects() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return defects_;
}

}  // namespace bench
