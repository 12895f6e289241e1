#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "platform/Mutex.h"

namespace ASPN2 {

/// The lines that wait for publication, and the configuration lines that come again and again so
/// that a log that starts late learns them too.
///
/// Any thread may call. The mutex is a leaf and held for one push or pop only.
class EventQueue {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// At most `limit` lines wait. Configuration lines go beyond it, have the type
    /// `configEventType` and come again each time `repeatDuration` has passed on `clock`.
    EventQueue(unsigned limit, int configEventType, std::chrono::nanoseconds repeatDuration,
               Clock clock = std::chrono::steady_clock::now);

    /// Returns false when the queue is full: then the line is lost.
    bool push_back(int type, std::string text) EXCLUDES(mutex_);

    /// Queues a configuration line now and for its repeats. Returns its id, from 1 on.
    unsigned push_back_config(const std::string& text) EXCLUDES(mutex_);

    /// The same in place of the line `id`, which it returns. An unknown id replaces nothing: the
    /// line gets an id of its own. When the queue is full and the replaced line still waits in it,
    /// the new one takes its place there, so that a line which changes fast fills no memory.
    unsigned push_back_config(const std::string& text, unsigned id) EXCLUDES(mutex_);

    /// Ends the repeats of a configuration line; an unknown id is ignored.
    void eraseConfig(unsigned id) EXCLUDES(mutex_);

    /// Queues the configuration lines that are due, then takes the oldest line, waiting at most
    /// `wait`. Returns false and leaves `type` and `text` untouched when none came.
    bool pop_front(int& type, std::string& text, std::chrono::nanoseconds wait) EXCLUDES(mutex_);

    /// From now on pop_front gives out what waits at this moment, and then nothing more at once,
    /// until `resume`. Lines may be pushed all the same.
    void drain() EXCLUDES(mutex_);
    void resume() EXCLUDES(mutex_);

    /// Lines that wait, and configuration lines that come again.
    std::size_t size() const EXCLUDES(mutex_);

private:
    struct EventItem {
        unsigned configId = 0;  // 0: no configuration line
        int type = 0;
        std::string text;
    };
    struct ConfigItem {
        EventItem event;
        std::chrono::steady_clock::time_point nextRepeat;
    };

    unsigned appendConfig(const std::string& text, unsigned id) REQUIRES(mutex_);
    void queueConfig(EventItem event) REQUIRES(mutex_);
    void appendEvent(EventItem event) REQUIRES(mutex_);
    std::deque<ConfigItem>::iterator findConfig(unsigned id) REQUIRES(mutex_);
    void repeatConfigs() REQUIRES(mutex_);

    const unsigned limit_;
    const int configEventType_;
    const std::chrono::nanoseconds repeatDuration_;
    const Clock clock_;

    mutable platform::Mutex mutex_;
    platform::Condition changed_;
    std::deque<EventItem> events_ GUARDED_BY(mutex_);
    std::deque<ConfigItem> configs_ GUARDED_BY(mutex_);  // in the order of their repeats
    unsigned lastId_ GUARDED_BY(mutex_) = 0;
    std::optional<std::size_t> leftToDrain_ GUARDED_BY(mutex_);
};

}  // namespace ASPN2
