#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include <fastrtps/participant/Participant.h>
#include <fastrtps/publisher/PublisherListener.h>
#include <fastrtps/subscriber/SubscriberListener.h>

#include "bench/TopicParticipant.h"

namespace bench {

/// Counts the endpoints of other programs that match one of this program. An endpoint of this very
/// program says nothing about the server's. Any thread may call.
class Matches {
public:
    explicit Matches(const eprosima::fastrtps::Participant& participant)
        : own_(participant.getGuid().guidPrefix) {}

    bool isOwn(const eprosima::fastrtps::rtps::GUID_t& endpoint) const {
        return endpoint.guidPrefix == own_;
    }

    void take(const eprosima::fastrtps::rtps::MatchingInfo& info) {
        if (isOwn(info.remoteEndpointGuid)) {
            return;
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        count_ += info.status == eprosima::fastrtps::rtps::MATCHED_MATCHING ? 1 : -1;
        changed_.notify_all();
    }

    bool wait(int count, std::chrono::steady_clock::time_point deadline) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_until(lock, deadline, [&] { return count_ >= count; });
    }

    int count() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return count_;
    }

private:
    const eprosima::fastrtps::rtps::GuidPrefix_t own_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;  // guarded by mutex_
};

/// One topic that this peer publishes, and how many readers know of it. Any thread may call.
class TopicWriter : public eprosima::fastrtps::PublisherListener {
public:
    /// Raises std::runtime_error when the library refuses.
    TopicWriter(eprosima::fastrtps::Participant* participant, const TopicOptions& options,
                const std::string& name);

    const std::string& name() const { return name_; }

    void onPublicationMatched(eprosima::fastrtps::Publisher* publisher,
                              eprosima::fastrtps::rtps::MatchingInfo& info) override;

    /// Waits until `count` readers are matched on both sides. The library tells a writer when it
    /// has found a reader, but the reader may not know the writer yet and would miss what is
    /// published now. A reliable reader acknowledges only once it does, so a first record of no
    /// source is written, which every server ignores, and its acknowledgement awaited. Readers
    /// that are best effort acknowledge nothing. A BIT report counts whoever sends it: its first
    /// is one that tells good health and asks for nothing.
    bool waitForReaders(int count, std::chrono::steady_clock::time_point deadline);

    int matched() { return matches_.count(); }

    /// Publishes what the topic's maker tells of an instant (UTC, nanoseconds) and reports it;
    /// false when nobody makes such records by the clock, or the transport refuses.
    bool publishAt(std::int64_t instant);

    /// Publishes the record that the text tells and reports it; empty or why not.
    std::string publishText(const std::string& fields);

private:
    template <class Record>
    bool write(const Record& record);
    template <class Record>
    bool publish(Record record);

    const std::string name_;
    const bool bestEffort_;
    Matches matches_;
    eprosima::fastrtps::Publisher* publisher_ = nullptr;
    std::atomic<std::int64_t> sequence_{0};
};

/// Reads one topic and reports what others publish on it. Any thread may call.
class TopicReader : public eprosima::fastrtps::SubscriberListener {
public:
    /// Raises std::runtime_error when the library refuses.
    TopicReader(eprosima::fastrtps::Participant* participant, const TopicOptions& options,
                const std::string& name);

    void onSubscriptionMatched(eprosima::fastrtps::Subscriber* subscriber,
                               eprosima::fastrtps::rtps::MatchingInfo& info) override;
    void onNewDataMessage(eprosima::fastrtps::Subscriber* subscriber) override;

    /// Empty once the topic has `count` writers, or what is missing.
    std::string waitForWriters(int count, std::chrono::steady_clock::time_point deadline);

private:
    using Take = void (TopicReader::*)(eprosima::fastrtps::Subscriber&);

    static Take takeFor(std::string_view topic);
    template <class Message>
    void takeAll(eprosima::fastrtps::Subscriber& subscriber);

    const std::string name_;
    const Take take_;
    Matches matches_;
};

}  // namespace bench
