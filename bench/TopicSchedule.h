#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace bench {

/// A row of instants, and what is published at each, on a thread of its own. One thread uses an
/// object.
class TopicSchedule {
public:
    /// Called on the schedule's thread at the offset of an instant from the first, in nanoseconds.
    using Publish = std::function<void(std::int64_t offset)>;

    TopicSchedule() = default;
    ~TopicSchedule() { stop(); }
    TopicSchedule(const TopicSchedule&) = delete;
    TopicSchedule& operator=(const TopicSchedule&) = delete;

    /// `count` instants (0: without end), `rate` a second, from `begin` on; ends one that runs.
    /// Its own end is reported.
    void start(double rate, std::int64_t count, std::chrono::steady_clock::time_point begin,
               Publish publish);

    /// Ends it, and returns when it has.
    void stop();

private:
    void run(double rate, std::int64_t count, std::chrono::steady_clock::time_point begin,
             const Publish& publish);

    std::mutex mutex_;
    std::condition_variable changed_;
    bool stop_ = false;  // guarded by mutex_
    std::thread thread_;
};

}  // namespace bench
