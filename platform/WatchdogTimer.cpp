#include "platform/WatchdogTimer.h"

#include <exception>
#include <iostream>
#include <pthread.h>

using platform::MutexLock;

namespace {

void runCallback(const std::function<void()>& callback) {
    try {
        if (callback) {
            callback();
        }
    } catch (const std::exception& e) {
        std::cerr << "WatchdogTimer callback EXCEPTION: " << e.what() << std::endl;
    } catch (...) {
        std::cerr << "WatchdogTimer callback EXCEPTION: <unknown>" << std::endl;
    }
}

}  // namespace

WatchdogTimer::~WatchdogTimer() {
    const MutexLock control(control_);
    stopThread();
}

void WatchdogTimer::start(std::chrono::nanoseconds interval, std::function<void()> callback) {
    {
        const MutexLock lock(mutex_);
        if (onTimerThread()) {
            // The thread goes round again once the callback that called us has returned. When
            // somebody waits to join it, this start counts as the earlier one and is cancelled.
            if (!stopping_) {
                running_ = true;
                interval_ = interval;
                callback_.swap(callback);
            }
            return;
        }
    }
    const MutexLock control(control_);
    stopThread();
    const MutexLock lock(mutex_);
    thread_ = std::thread(&WatchdogTimer::timerThread, this);  // first it waits for our lock
    running_ = true;
    interval_ = interval;
    callback_.swap(callback);  // what was held before goes with the argument, outside the locks
}

void WatchdogTimer::petWatchdog() {
    const MutexLock lock(mutex_);
    changed_.notifyAll();
}

void WatchdogTimer::cancelWatchdog() {
    {
        const MutexLock lock(mutex_);
        if (onTimerThread()) {
            running_ = false;
            interval_ = std::chrono::nanoseconds::zero();
            return;
        }
    }
    const MutexLock control(control_);
    stopThread();
}

void WatchdogTimer::stopThread() {
    {
        const MutexLock lock(mutex_);
        running_ = false;
        interval_ = std::chrono::nanoseconds::zero();
        stopping_ = true;
        changed_.notifyAll();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
    const MutexLock lock(mutex_);
    stopping_ = false;
}

void WatchdogTimer::timerThread() {
    ::pthread_setname_np(::pthread_self(), "watchdog");
    std::function<void()> callback;
    while (waitForExpiry(callback)) {
        runCallback(callback);
        callback = nullptr;
    }
}

/// Returns true, with the callback handed over, when the interval has passed, and false when the
/// thread is to end.
bool WatchdogTimer::waitForExpiry(std::function<void()>& callback) {
    const MutexLock lock(mutex_);
    timerThreadId_ = std::this_thread::get_id();
    while (running_) {
        // Every wake-up before the deadline takes a new one: a pet, or a spurious one, which
        // does no harm.
        const bool woken = changed_.waitUntil(mutex_, platform::steadyDeadline(interval_));
        if (!woken && running_) {
            running_ = false;
            callback.swap(callback_);
            return true;
        }
    }
    timerThreadId_ = std::thread::id();
    return false;
}
