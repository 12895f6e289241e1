#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include "platform/Mutex.h"

/// A procedure that a command starts and the periodic thread ends some time later.
///
/// Whoever needs the flag alone reads it without the lock. It is written under the lock, together
/// with the time.
class TimedProcedure {
public:
    using Clock = std::chrono::steady_clock;

    bool isRunning() const { return running_; }

    /// Starts it, or starts its time anew.
    void start(Clock::time_point now) REQUIRES(mutex) {
        started_ = now;
        running_ = true;
    }
    void end() REQUIRES(mutex) { running_ = false; }

    /// Whether it has run for more than `duration`; exactly that is not enough.
    bool isOver(Clock::time_point now, Clock::duration duration) const REQUIRES(mutex) {
        return running_ && now - started_ > duration;
    }

    mutable platform::Mutex mutex;

private:
    std::atomic<bool> running_{false};
    Clock::time_point started_ GUARDED_BY(mutex);
};

/// What a hot start from the human interface transfers.
struct HotStartSettings {
    unsigned short unit = 0;  ///< virtual unit, 1 to 4
    std::string port;         ///< "COM1" to "COM3"
    std::string type;         ///< "LNAV", "MNAV" or "BOTH"
};
