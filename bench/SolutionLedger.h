#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "bench/SolutionFrame.h"
#include "bench/TopicPeer.h"
#include "bench/UnitModel.h"

namespace bench {

/// Keeps the books of the road from the topics to the line: which pairs were published, and which
/// solution came out for each, right to the byte, and how long it took.
///
/// Reports of publications come through pipes and may arrive after the frame that they explain, so
/// nothing is judged before settle() or finish(). Any thread may call; its mutex is a leaf.
class SolutionLedger {
public:
    using Clock = std::chrono::steady_clock;
    using Latencies = std::vector<Clock::duration>;

    struct Totals {
        std::uint64_t records = 0;  ///< published, of both kinds
        std::uint64_t pairs = 0;    ///< time tags that both kinds were published for
        std::uint64_t frames = 0;   ///< solutions on the line
        std::uint64_t right = 0;    ///< of them, equal to what the pair must give
        std::uint64_t wrong = 0;    ///< of them, different from it
        std::uint64_t missing = 0;  ///< pairs without a frame, after a younger one had its frame
        std::uint64_t unexplained = 0;  ///< frames that belong to no pair

        /// Every pair gave one right frame, and no frame is without its pair.
        std::uint64_t waiting() const { return pairs - right - wrong - missing; }
        bool allRight() const {
            return right == pairs && wrong == 0 && missing == 0 && unexplained == 0;
        }
    };

    /// Only the clock device's records are a side of a pair.
    void published(const Publication<UtcRecord>& publication);
    void published(const Publication<PntRecord>& publication);
    void received(const LoggedFrame& frame);

    /// Judges the frames whose pair has been reported. A frame that is still unexplained `patience`
    /// after it came is counted as such. Returns the latencies of the frames judged now, from the
    /// later publication of the pair to the frame's last byte.
    Latencies settle(Clock::time_point now);

    /// Judges all: what has no pair, or no frame, by now will not get it any more.
    Latencies finish();

    static constexpr std::chrono::seconds patience{2};

    Totals totals() const;
    std::optional<SolutionFrame> lastSolution() const;

    /// The first few things that went wrong, as text.
    std::vector<std::string> defects() const;

private:
    struct Pair {
        std::optional<Publication<UtcRecord>> utc;
        std::optional<Publication<PntRecord>> pnt;
    };

    using Pairs = std::map<std::int64_t, Pair>;  // by time tag

    Latencies judgeFrames(Clock::time_point unexplainedBefore);
    Pairs::iterator pairOf(const UnitFrame& frame);
    void judge(const LoggedFrame& frame, Pairs::iterator pair, Latencies& latencies);
    void note(const std::string& defect);
    Pair& entry(std::int64_t tag);

    mutable std::mutex mutex_;  // guards all below
    Pairs pairs_;               // published, and no frame judged for them yet
    std::deque<LoggedFrame> frames_;
    Totals totals_;
    std::optional<SolutionFrame> lastSolution_;
    std::vector<std::string> defects_;
};

}  // namespace bench
