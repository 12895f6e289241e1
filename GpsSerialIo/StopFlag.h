#pragma once

#include <chrono>

#include "platform/Mutex.h"

/// The flag by which a thread is asked to end, and the sleep that such a request cuts short.
/// Any thread may call; the mutex is a leaf.
class StopFlag {
public:
    void request() {
        const platform::MutexLock lock(mutex_);
        requested_ = true;
        wake_.notifyAll();
    }

    void clear() {
        const platform::MutexLock lock(mutex_);
        requested_ = false;
    }

    bool isRequested() const {
        const platform::MutexLock lock(mutex_);
        return requested_;
    }

    /// Sleeps (steady clock) until `duration` has passed or a stop is requested.
    void sleepFor(std::chrono::nanoseconds duration) {
        const auto deadline = platform::steadyDeadline(duration);
        const platform::MutexLock lock(mutex_);
        while (!requested_ && wake_.waitUntil(mutex_, deadline)) {
        }
    }

private:
    mutable platform::Mutex mutex_;
    platform::Condition wake_;
    bool requested_ GUARDED_BY(mutex_) = false;
};
