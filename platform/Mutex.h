#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// Lock annotations. clang checks them (-Wthread-safety, see scripts/check-tidy); for other
// compilers they are comments. GUARDED_BY stands behind a member, the others behind the
// parameter list of a function.
#if defined(__clang__)
#define ZEPHON_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZEPHON_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(name) ZEPHON_THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY ZEPHON_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(mutex) ZEPHON_THREAD_ANNOTATION(guarded_by(mutex))
#define PT_GUARDED_BY(mutex) ZEPHON_THREAD_ANNOTATION(pt_guarded_by(mutex))
#define REQUIRES(...) ZEPHON_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) ZEPHON_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) ZEPHON_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) ZEPHON_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) ZEPHON_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) ZEPHON_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) ZEPHON_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define RETURN_CAPABILITY(mutex) ZEPHON_THREAD_ANNOTATION(lock_returned(mutex))
#define NO_THREAD_SAFETY_ANALYSIS ZEPHON_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace platform {

class Condition;

/// A std::mutex that clang's lock analysis knows. Not recursive.
/// It is Lockable, so std::scoped_lock takes two of them; for one, use MutexLock.
class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }
    bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

private:
    friend class Condition;
    std::mutex mutex_;
};

/// Holds a Mutex for the length of a scope.
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexLock() RELEASE() { mutex_.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};

/// A std::condition_variable that waits on a Mutex, without the second lock that
/// std::condition_variable_any carries. Callers test their condition in a loop in their own
/// scope, where the lock analysis sees it: waits may end without a notification.
class Condition {
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    void notifyOne() noexcept { condition_.notify_one(); }
    void notifyAll() noexcept { condition_.notify_all(); }

    /// Lets go of `mutex` while it waits and holds it again on return.
    void wait(Mutex& mutex) REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
        condition_.wait(lock);
        static_cast<void>(lock.release());  // the caller's lock stays held
    }

    /// As wait(), until `deadline` at the latest. Steps of the system clock do not matter.
    /// Returns false when the deadline has passed.
    bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
        const std::cv_status status = condition_.wait_until(lock, deadline);
        static_cast<void>(lock.release());  // the caller's lock stays held
        return status == std::cv_status::no_timeout;
    }

private:
    std::condition_variable condition_;
};

/// The time `timeout` from now on the steady clock; the far end of the clock instead of an
/// overflow for a time-out that stands for "for ever". A negative time-out lies in the past.
inline std::chrono::steady_clock::time_point steadyDeadline(std::chrono::nanoseconds timeout) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point now = Clock::now();
    if (timeout > Clock::time_point::max() - now) {
        return Clock::time_point::max();
    }
    return now + timeout;
}

}  // namespace platform
