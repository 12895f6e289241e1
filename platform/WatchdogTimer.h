#pragma once

#include <chrono>
#include <functional>
#include <thread>
#include <utility>

#include "platform/Mutex.h"

/// One-shot software watchdog: calls back once when it was neither petted nor cancelled for the
/// length of its interval.
///
/// Any thread may start, pet and cancel, the callback too. The callback runs on the timer's own
/// thread with none of the timer's locks held. A start or cancel from another thread waits for a
/// callback that runs, so the callback must not wait for such a thread. Time is the steady clock's.
class WatchdogTimer {
public:
    WatchdogTimer() = default;

    /// Cancels and joins. Not to be run by the callback: a thread cannot join itself.
    ~WatchdogTimer();

    WatchdogTimer(const WatchdogTimer&) = delete;
    WatchdogTimer& operator=(const WatchdogTimer&) = delete;

    /// Starts the timer; an earlier start is replaced and its callback no longer comes. An
    /// interval of 0 or less expires at once. An exception of the callback goes no further than
    /// a line on standard error. Throws std::system_error when no thread can be had.
    ///
    /// From the callback it arms the timer anew for the time after the callback; when another
    /// thread is starting or cancelling at that moment, that thread has the last word.
    template <typename Rep, typename Period>
    void startWatchdog(const std::chrono::duration<Rep, Period>& interval,
                       // NOLINTNEXTLINE(performance-unnecessary-value-param): moved on below
                       std::function<void()> callback) EXCLUDES(control_, mutex_) {
        start(toNanoseconds(interval), std::move(callback));
    }

    /// Starts the wait over. Without effect on a timer that does not run.
    void petWatchdog() EXCLUDES(mutex_);

    /// Stops the timer: once this has returned, no callback comes and none is running. From the
    /// callback it only undoes a new start: the thread ends when the callback has returned.
    void cancelWatchdog() EXCLUDES(control_, mutex_);

private:
    /// As duration_cast, but an interval beyond the range means "never" instead of overflowing.
    template <typename Rep, typename Period>
    static std::chrono::nanoseconds toNanoseconds(
        const std::chrono::duration<Rep, Period>& interval) {
        using Seconds = std::chrono::duration<double>;
        using std::chrono::nanoseconds;
        if (Seconds(interval) >= Seconds(nanoseconds::max())) {
            return nanoseconds::max();
        }
        if (interval <= interval.zero()) {
            return nanoseconds::zero();
        }
        return std::chrono::duration_cast<nanoseconds>(interval);
    }

    void start(std::chrono::nanoseconds interval, std::function<void()> callback)
        EXCLUDES(control_, mutex_);
    void stopThread() REQUIRES(control_) EXCLUDES(mutex_);
    void timerThread() EXCLUDES(mutex_);
    bool waitForExpiry(std::function<void()>& callback) EXCLUDES(mutex_);
    bool onTimerThread() const REQUIRES(mutex_) {
        return timerThreadId_ == std::this_thread::get_id();
    }

    // Held by a start or cancel for its whole length, the join included; so it is never taken on
    // the timer's own thread.
    platform::Mutex control_ ACQUIRED_BEFORE(mutex_);
    std::thread thread_ GUARDED_BY(control_);

    platform::Mutex mutex_;  // a leaf: nothing is locked under it and no callback runs under it
    platform::Condition changed_;
    bool running_ GUARDED_BY(mutex_) = false;
    bool stopping_ GUARDED_BY(mutex_) = false;  // another thread is about to join
    std::thread::id timerThreadId_ GUARDED_BY(mutex_);
    std::chrono::nanoseconds interval_ GUARDED_BY(mutex_){0};
    std::function<void()> callback_ GUARDED_BY(mutex_);
};
