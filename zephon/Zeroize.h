#pragma once

#include <chrono>
#include <functional>
#include <utility>

#include "aspn2_msgs/CommandResponse.h"
#include "platform/Mutex.h"
#include "platform/WatchdogTimer.h"

/// The wait for the end of a zeroize: from a command that starts one to the unit's answer, with a
/// time limit behind it. Any thread may call.
///
///     state    event             does                                   next
///     idle     start             accepts, starts the time, orders       waiting
///     waiting  start             refuses, starts the time anew          waiting
///     waiting  end of the time   answers that it failed                 waiting, no time runs
///     any      a unit's status   stops the time, answers                idle
///     waiting  sanitize status   stops the time, answers                idle
///     idle     sanitize status   nothing                                idle
///
/// Starts and the unit's answers come one after the other: each is done, its answer given, before
/// the next. The end of the time comes beside a refused start or before what stops the time, and
/// never after that. An answer is made to the command that was accepted last, and to an empty one
/// while none has been.
class Zeroize {
public:
    using Record = aspn2_msgs::idl::CommandResponse;
    /// Answers a command. Runs on the thread that brought the unit's answer, with the lock of this
    /// object held, or on the timer's own: so it must not call this object.
    using Answer = std::function<void(Record const& command, bool passed)>;

    explicit Zeroize(Answer answer) : answer_(std::move(answer)) {}

    /// Takes a command. `tell(accepted)` is called at once; of one that is accepted `order()` is
    /// called when the time runs. Both under the lock. Without a thread for the time, the unit is
    /// ordered all the same, the answer is at once that the time has ended, and the exception goes
    /// on to the caller.
    template <typename Tell, typename Order>
    void start(Record const& command, std::chrono::nanoseconds limit, Tell tell, Order order)
        EXCLUDES(mutex_) {
        const platform::MutexLock lock(mutex_);
        const bool accepted = !zeroizeStarted_;
        tell(accepted);
        zeroizeStarted_ = true;
        if (accepted) {
            zeroizeCommand_ = command;
        }
        try {
            zeroizeWatchdog_.startWatchdog(limit, [this] { generateSendZeroizeFailed(); });
        } catch (...) {
            if (accepted) {
                order();
            }
            generateSendZeroizeFailed();
            throw;
        }
        if (accepted) {
            order();
        }
    }

    /// A virtual unit has told the end of a zeroize, whoever ordered it.
    void takeUnitStatus(bool passed) EXCLUDES(mutex_);

    /// The PNT device has told the end of a sanitize; an answer only when one is awaited.
    void takeSanitizeStatus(bool passed) EXCLUDES(mutex_);

    /// Stops the time, without an answer. An answer that is just given has been when this returns.
    void cancel() EXCLUDES(mutex_);

private:
    void answer(bool passed) REQUIRES(mutex_);
    void generateSendZeroizeFailed();

    const Answer answer_;

    // Held while the timer is cancelled, which waits for its callback: so that takes no lock.
    platform::Mutex mutex_;
    bool zeroizeStarted_ GUARDED_BY(mutex_) = false;
    // Changed under the lock, and only by a start that is accepted: no time runs then. Read under
    // the lock, and by the timer's callback.
    Record zeroizeCommand_;
    WatchdogTimer zeroizeWatchdog_;  // synchronises itself; its thread uses the rest
};
