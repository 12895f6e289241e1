#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "aspn2_msgs/CommandResponse.h"
#include "benchmarks/FloorTransport.h"
#include "benchmarks/LatencyComparison.h"

namespace benchmarks {

/// Commands a program that answers, over the library alone. One thread uses an object.
class CommandSubject {
public:
    explicit CommandSubject(FloorSettings const& settings);
    CommandSubject(CommandSubject const&) = delete;
    CommandSubject& operator=(CommandSubject const&) = delete;

    /// Publishes the command again and again until an answer comes. Raises std::runtime_error when
    /// none does.
    void awaitAnswers(std::string const& text);

    /// Publishes `count` commands, `rate` a second, taking `texts` by turns, and waits for their
    /// answers. Each latency is from right before the publication to the answer's callback.
    LatencySamples measure(std::vector<std::string> const& texts, double rate, std::int64_t count);

private:
    using Clock = std::chrono::steady_clock;
    using Record = aspn2_msgs::idl::CommandResponse;

    /// One command, by the place of its identifier behind `first_`.
    struct Exchange {
        Clock::time_point published;
        Clock::time_point answered;
        bool isAnswered = false;
    };
    struct Take {
        CommandSubject& subject;
        void operator()(Record const& record) const { subject.take(record); }
    };

    void publish(std::string const& text);
    void take(Record const& record);
    bool waitForAnswers(std::size_t count, Clock::time_point end);

    std::mutex mutex_;
    std::condition_variable answered_;
    std::int32_t first_ = 0;           // identifier of the block's first; guarded by mutex_
    std::vector<Exchange> exchanges_;  // of the block; guarded by mutex_
    std::size_t answers_ = 0;          // of the block; guarded by mutex_

    FloorListener<Record, Take> listener_;
    FloorParticipant participant_;
    eprosima::fastrtps::Publisher& commands_;
};

}  // namespace benchmarks
