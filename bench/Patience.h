#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace bench {

/// The time limit of a wait for what must come. A machine that stands still for half a minute, as
/// a shared one may, must not make it fail: of each stretch between two looks at most 100 ms count.
/// One thread.
class Patience {
public:
    explicit Patience(std::chrono::milliseconds limit) : left_(limit), lastLook_(Clock::now()) {}

    /// Until the next look: what is left, and never more than counts.
    std::chrono::nanoseconds stretch() const {
        return std::min(left_, std::chrono::nanoseconds(longestStretch));
    }

    bool isOver() {
        const auto now = Clock::now();
        left_ -= std::min(std::chrono::nanoseconds(now - lastLook_),
                          std::chrono::nanoseconds(longestStretch));
        lastLook_ = now;
        return left_ <= std::chrono::nanoseconds::zero();
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds longestStretch{100};

    std::chrono::nanoseconds left_;
    Clock::time_point lastLook_;
};

/// Waits on `changed` until `condition` holds; false when it did not in time.
template <typename Condition>
bool waitFor(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
             std::chrono::milliseconds limit, Condition condition) {
    Patience patience(limit);
    while (!changed.wait_for(lock, patience.stretch(), condition)) {
        if (patience.isOver()) {
            return false;
        }
    }
    return true;
}

/// Looks again and again until `condition` holds, for what no event tells; false when it did not
/// in time.
template <typename Condition>
bool holdsInTime(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    Patience patience(limit);
    while (!condition()) {
        if (patience.isOver()) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace bench
