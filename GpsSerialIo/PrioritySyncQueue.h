#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <utility>

#include "platform/Mutex.h"

namespace Utility {

/// Bounded queue between threads with `Levels` priorities: the higher the level, the earlier an
/// item comes out; inside a level the order is first in, first out. Producers never wait: a full
/// queue refuses.
///
/// Any number of producers and consumers may call. The mutex is a leaf: nothing is locked under
/// it. There is no closed state; a consumer polls with a short time-out and looks at its stop
/// flag in between.
template <typename T, std::size_t Levels>
class PrioritySyncQueue {
    static_assert(Levels > 0, "a queue without a level can hold nothing");

public:
    /// `capacity` bounds the items of all levels together.
    explicit PrioritySyncQueue(unsigned int capacity) : capacity_(capacity) {}

    /// Constructs an item from `args` at the back of `level` and wakes one consumer. Returns
    /// false, with nothing constructed or moved from, when the queue is full or has no such
    /// level. The constructor runs under the queue's mutex.
    template <typename... Args>
    bool emplace_back(unsigned int level, Args&&... args) {
        const platform::MutexLock lock(mutex_);
        if (level >= Levels || size() >= capacity_) {
            return false;
        }
        items_[level].emplace_back(std::forward<Args>(args)...);
        notEmpty_.notifyOne();
        return true;
    }

    /// Moves the front item of the highest level that has one into `item` and tells that level,
    /// waiting at most `timeout` for an item (steady clock; 0 or less only looks). Returns false
    /// and leaves `level` and `item` untouched when none came.
    bool pop_front(unsigned int& level, T& item, const std::chrono::nanoseconds& timeout) {
        const platform::MutexLock lock(mutex_);
        const auto deadline = platform::steadyDeadline(timeout);
        while (size() == 0) {
            // An item that came together with the end of the wait is still taken.
            if (!notEmpty_.waitUntil(mutex_, deadline) && size() == 0) {
                return false;
            }
        }
        std::size_t highest = Levels - 1;
        while (items_[highest].empty()) {
            --highest;
        }
        item = std::move(items_[highest].front());
        items_[highest].pop_front();
        level = static_cast<unsigned int>(highest);
        return true;
    }

    /// Destroys all items of all levels. Consumers that wait go on waiting.
    void clear() {
        // Destroyed after the lock: an item's destructor may be anything.
        std::array<std::deque<T>, Levels> doomed;
        const platform::MutexLock lock(mutex_);
        items_.swap(doomed);
    }

private:
    std::size_t size() const REQUIRES(mutex_) {
        std::size_t sum = 0;
        for (const std::deque<T>& level : items_) {
            sum += level.size();
        }
        return sum;
    }

    const unsigned int capacity_;
    platform::Mutex mutex_;
    platform::Condition notEmpty_;
    std::array<std::deque<T>, Levels> items_ GUARDED_BY(mutex_);
};

}  // namespace Utility
