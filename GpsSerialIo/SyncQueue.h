#pragma once

#include <chrono>
#include <deque>
#include <utility>

#include "platform/Mutex.h"

namespace Utility {

/// Bounded first-in first-out queue between threads. Producers never wait: a full queue refuses.
///
/// Any number of producers and consumers may call. The mutex is a leaf: nothing is locked under
/// it. There is no closed state; a consumer polls with a short time-out and looks at its stop
/// flag in between.
template <typename T>
class SyncQueue {
public:
    /// `capacity` is the number of items held at most.
    explicit SyncQueue(unsigned int capacity) : capacity_(capacity) {}

    /// Appends `item` and wakes one consumer. Returns false, with `item` not taken, when full.
    bool push_back(T&& item) { return append(std::move(item)); }
    bool push_back(const T& item) { return append(item); }

    /// Moves the front item into `item`, waiting at most `timeout` for one (steady clock; 0 or
    /// less only looks). Returns false and leaves `item` untouched when none came.
    bool pop_front(T& item, const std::chrono::nanoseconds& timeout) {
        const platform::MutexLock lock(mutex_);
        const auto deadline = platform::steadyDeadline(timeout);
        while (items_.empty()) {
            // An item that came together with the end of the wait is still taken.
            if (!notEmpty_.waitUntil(mutex_, deadline) && items_.empty()) {
                return false;
            }
        }
        item = std::move(items_.front());
        items_.pop_front();
        return true;
    }

    /// Destroys all items. Consumers that wait go on waiting.
    void clear() {
        std::deque<T> doomed;  // destroyed after the lock: an item's destructor may be anything
        const platform::MutexLock lock(mutex_);
        items_.swap(doomed);
    }

private:
    template <typename Item>
    bool append(Item&& item) {
        const platform::MutexLock lock(mutex_);
        if (items_.size() >= capacity_) {
            return false;
        }
        items_.push_back(std::forward<Item>(item));
        notEmpty_.notifyOne();
        return true;
    }

    const unsigned int capacity_;
    platform::Mutex mutex_;
    platform::Condition notEmpty_;
    std::deque<T> items_ GUARDED_BY(mutex_);
};

}  // namespace Utility
