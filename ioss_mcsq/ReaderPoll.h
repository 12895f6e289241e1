#pragma once

#include <chrono>
#include <poll.h>
#include <vector>

/// The descriptors that wait for data, for one `poll` after the other. A descriptor may stand here
/// twice.
///
/// One that reports a hang-up or an error does so at once and for ever. It therefore rests after
/// each such report, so that `wait` does not turn into a loop without a pause.
///
/// No lock: the owner's.
class ReaderPoll {
public:
    enum class Outcome { TIMED_OUT, READY, FAILED };

    /// How long a descriptor rests that hung up.
    static constexpr std::chrono::milliseconds rest{50};

    void add(int descriptor);

    /// Removes the first entry of the descriptor, or all of them.
    void removeFirst(int descriptor);
    void removeAll(int descriptor);

    bool empty() const { return entries_.empty(); }

    /// Waits for data at most `timeout`. A signal counts as a time-out.
    Outcome wait(std::chrono::milliseconds timeout);

    /// Those that had data in the last wait, one for each entry.
    std::vector<int> const& ready() const { return ready_; }

private:
    using Clock = std::chrono::steady_clock;

    // The complement of a descriptor is negative: `poll` passes over such an entry.
    static bool resting(pollfd const& entry) { return entry.fd < 0; }
    static int descriptorOf(pollfd const& entry) { return resting(entry) ? ~entry.fd : entry.fd; }

    std::vector<pollfd> entries_;
    std::vector<int> ready_;
    Clock::time_point restEnd_;  // when all that rest are looked at again
};
