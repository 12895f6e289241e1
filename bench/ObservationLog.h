#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "bench/UnitFrame.h"

namespace bench {

/// Something that the server did and the bench saw: a frame on a link or a queue, a record of a
/// topic, or a line of output. `text` is the record's or the line's; a frame has none.
struct Observation {
    std::string source;
    UnitFrame frame;
    std::string text;
};

/// What was seen and not asked for yet, and the waiting for it. Each observation satisfies one
/// take(); of each source the oldest leave beyond a limit. Any thread may call; its mutex is a
/// leaf.
class ObservationLog {
public:
    using Clock = std::chrono::steady_clock;
    using Predicate = std::function<bool(const Observation&)>;
    enum class Outcome { Seen, TimedOut, Interrupted };

    explicit ObservationLog(std::size_t keptOfEachSource = 10000) : kept_(keptOfEachSource) {}

    void add(Observation observation);

    /// Takes the oldest observation of the source that satisfies the predicate, waiting for it
    /// until the deadline. The predicate is called with the lock held.
    Outcome take(const std::string& source, const Predicate& wanted, Clock::time_point deadline);

    /// Waits for nothing: TimedOut once it is that time.
    Outcome pause(Clock::time_point until);

    /// Forgets all that was not taken, and what had left before.
    void forget();

    /// Ends this wait and all later ones, until resume().
    void interrupt();
    void resume();

    /// The youngest observations of the source that were not taken, the oldest of them first.
    std::deque<Observation> rest(const std::string& source, std::size_t most) const;

    /// How many observations of the source have left beyond the limit.
    std::size_t dropped(const std::string& source) const;

private:
    struct Source {
        std::deque<Observation> seen;
        std::size_t dropped = 0;
    };

    const std::size_t kept_;
    mutable std::mutex mutex_;  // guards all below
    std::condition_variable changed_;
    std::map<std::string, Source> bySource_;
    bool interrupted_ = false;
};

}  // namespace bench
