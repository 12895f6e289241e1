#include "bench/TopicEndpoints.h"

#include <algorithm>
#include <stdexcept>
#include <type_traits>

#include <fastrtps/Domain.h>
#include <fastrtps/attributes/PublisherAttributes.h>
#include <fastrtps/attributes/SubscriberAttributes.h>
#include <fastrtps/publisher/Publisher.h>
#include <fastrtps/subscriber/SampleInfo.h>
#include <fastrtps/subscriber/Subscriber.h>

#include "bench/PeerProgram.h"
#include "bench/Simulation.h"
#include "bench/TopicMessages.h"
#include "bench/TopicPeerProtocol.h"

namespace bench {

namespace rtps = eprosima::fastrtps;
namespace idl = aspn2_msgs::idl;
using Clock = std::chrono::steady_clock;
using peerProgram::say;

TopicWriter::TopicWriter(rtps::Participant* participant, const TopicOptions& options,
                         const std::string& name)
    : name_(name), bestEffort_(options.bestEffort), matches_(*participant) {
    rtps::PublisherAttributes attributes;
    attributes.topic.topicName = name;
    attributes.topic.topicDataType = recordType(name);
    attributes.topic.topicKind = rtps::rtps::NO_KEY;
    attributes.topic.historyQos.kind = rtps::KEEP_LAST_HISTORY_QOS;
    attributes.topic.historyQos.depth = options.historyDepth;
    attributes.topic.resourceLimitsQos.max_samples = options.historyDepth;
    attributes.topic.resourceLimitsQos.max_instances = 1;
    attributes.topic.resourceLimitsQos.max_samples_per_instance = options.historyDepth;
    attributes.topic.resourceLimitsQos.allocated_samples = options.historyDepth;
    attributes.qos.m_reliability.kind =
        bestEffort_ ? rtps::BEST_EFFORT_RELIABILITY_QOS : rtps::RELIABLE_RELIABILITY_QOS;
    attributes.qos.m_durability.kind = rtps::TRANSIENT_LOCAL_DURABILITY_QOS;
    // The library asks for an acknowledgement every 3 s, and waitForReaders awaits several.
    attributes.times.heartbeatPeriod = rtps::Duration_t(0, 200'000'000);
    attributes.historyMemoryPolicy = rtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE;
    publisher_ = rtps::Domain::createPublisher(participant, attributes, this);
    if (publisher_ == nullptr) {
        throw std::runtime_error("cannot publish " + name);
    }
}

void TopicWriter::onPublicationMatched(rtps::Publisher* /*publisher*/,
                                       rtps::rtps::MatchingInfo& info) {
    matches_.take(info);
}

template <class Record>
bool TopicWriter::write(const Record& record) {
    auto message = makeMessage(record);
    return publisher_->write(&message);
}

/// Publishes and reports it with its time.
template <class Record>
bool TopicWriter::publish(Record record) {
    record.header.sequence = ++sequence_;
    auto message = makeMessage(record);
    const auto at = Clock::now().time_since_epoch();
    if (!publisher_->write(&message)) {
        return false;
    }
    say(std::string(peerProtocol::published) + name_ + " " +
        std::to_string(std::chrono::nanoseconds(at).count()) + " " + toText(record));
    return true;
}

bool TopicWriter::waitForReaders(int count, Clock::time_point deadline) {
    if (!matches_.wait(count, deadline)) {
        return false;
    }
    if (bestEffort_) {
        return true;
    }
    withRecordOf(name_, [this](auto nobody) {
        nobody.header.source = 0;
        if constexpr (std::is_same_v<decltype(nobody), BitRecord>) {
            nobody.kind = BitRecord::healthOnly;
        }
        write(nobody);
    });
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::max(deadline - Clock::now(), Clock::duration::zero()));
    return publisher_->wait_for_all_acked(
        rtps::Duration_t(static_cast<long double>(left.count()) / 1000));
}

bool TopicWriter::publishAt(std::int64_t instant) {
    constexpr std::int64_t oneSecond = 1'000'000'000;
    if (name_ == UtcRecord::topic) {
        return publish(clockAt(instant));
    }
    if (name_ == PntRecord::topic) {
        return publish(navigatorAt(instant));
    }
    if (name_ == PositionVelocityRecord::topic) {
        return publish(positionAt(instant));
    }
    return name_ == GpsTimeRecord::topic && publish(gpsTimeAt(instant + oneSecond));
}

std::string TopicWriter::publishText(const std::string& fields) {
    std::string failure;
    withRecordOf(name_, [&](auto record) {
        if (!fromText(fields, record)) {
            failure = "cannot read the fields";
        } else if (!publish(record)) {
            failure = "the transport refused the record";
        }
    });
    return failure;
}

TopicReader::TopicReader(rtps::Participant* participant, const TopicOptions& options,
                         const std::string& name)
    : name_(name), take_(takeFor(name)), matches_(*participant) {
    rtps::SubscriberAttributes attributes;
    attributes.topic.topicName = name_;
    attributes.topic.topicDataType = recordType(name_);
    attributes.topic.topicKind = rtps::rtps::NO_KEY;
    attributes.topic.historyQos.kind = rtps::KEEP_LAST_HISTORY_QOS;
    attributes.topic.historyQos.depth = options.historyDepth;
    if (!options.bestEffort) {
        attributes.qos.m_reliability.kind = rtps::RELIABLE_RELIABILITY_QOS;
        attributes.qos.m_durability.kind = rtps::TRANSIENT_LOCAL_DURABILITY_QOS;
    }
    attributes.historyMemoryPolicy = rtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE;
    if (rtps::Domain::createSubscriber(participant, attributes, this) == nullptr) {
        throw std::runtime_error("cannot watch " + name_);
    }
}

void TopicReader::onSubscriptionMatched(rtps::Subscriber* /*subscriber*/,
                                        rtps::rtps::MatchingInfo& info) {
    matches_.take(info);
}

void TopicReader::onNewDataMessage(rtps::Subscriber* subscriber) {
    (this->*take_)(*subscriber);
}

TopicReader::Take TopicReader::takeFor(std::string_view topic) {
    if (topic == EventRecord::topic) {
        return &TopicReader::takeAll<idl::EventLog>;
    }
    return topic == MaintenanceRecord::topic ? &TopicReader::takeAll<idl::MaintenanceEvent>
                                             : &TopicReader::takeAll<idl::CommandResponse>;
}

template <class Message>
void TopicReader::takeAll(rtps::Subscriber& subscriber) {
    Message message;
    rtps::SampleInfo_t info;
    while (subscriber.takeNextData(&message, &info)) {
        if (info.sampleKind == rtps::rtps::ALIVE &&
            !matches_.isOwn(info.sample_identity.writer_guid())) {
            say(std::string(peerProtocol::received) + name_ + " " + toText(plainRecord(message)));
        }
    }
}

std::string TopicReader::waitForWriters(int count, Clock::time_point deadline) {
    return matches_.wait(count, deadline)
               ? std::string()
               : name_ + " has " + std::to_string(matches_.count()) + " writers";
}

}  // namespace bench
