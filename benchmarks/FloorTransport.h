#pragma once

#include <string>
#include <utility>

#include <fastrtps/Domain.h>
#include <fastrtps/attributes/PublisherAttributes.h>
#include <fastrtps/attributes/SubscriberAttributes.h>
#include <fastrtps/participant/Participant.h>
#include <fastrtps/publisher/Publisher.h>
#include <fastrtps/subscriber/SampleInfo.h>
#include <fastrtps/subscriber/Subscriber.h>
#include <fastrtps/subscriber/SubscriberListener.h>

#include "aspn2_msgs/TopicPubSubType.h"
#include "aspn2_msgs/TopicTypes.h"

namespace benchmarks {

/// What the floor programs are told of the transport: the same figures as the server beside which
/// they are measured.
struct FloorSettings {
    unsigned domain = 0;
    std::string transport;  ///< "SHM" or "UDP"
    int historyDepth = 0;
};

/// Reads "DOMAIN TRANSPORT DEPTH", the first three arguments of every floor program. Raises
/// std::invalid_argument with the reason.
// No library for arguments: its code would count as part of the floor.
FloorSettings parseFloorSettings(int argc, char** argv);

/// Blocks the signals that end a floor program, in this thread and those that it starts later.
/// To be called before the first thread is made.
void blockEndSignals();

/// Waits for one of them.
void waitForEndSignal();

/// Tells whoever started the program that its endpoints stand.
void announceReady();

/// Takes each sample and hands it on, on the transport's own thread: what a topic costs when
/// nothing stands between the library and its user. `Handler` is called with the record.
template <class Record, class Handler>
class FloorListener final : public eprosima::fastrtps::SubscriberListener {
public:
    explicit FloorListener(Handler handler) : handler_(std::move(handler)) {}

    void onNewDataMessage(eprosima::fastrtps::Subscriber* subscriber) override {
        Record record;
        eprosima::fastrtps::SampleInfo_t info;
        if (subscriber->takeNextData(&record, &info) &&
            info.sampleKind == eprosima::fastrtps::rtps::ALIVE) {
            handler_(record);
        }
    }

private:
    Handler handler_;
};

/// One participant with the attributes and the endpoint quality that the server uses, made
/// straight on the library. Everything goes with the participant. One thread.
class FloorParticipant {
public:
    /// Raises std::runtime_error when the library refuses.
    explicit FloorParticipant(FloorSettings settings);
    ~FloorParticipant();
    FloorParticipant(FloorParticipant const&) = delete;
    FloorParticipant& operator=(FloorParticipant const&) = delete;

    /// Ends readers and writers before the destructor, for listeners that are made after it.
    void close();

    /// Registers the type `Record` and makes a reader of `topic`; a volatile one, as the server's
    /// are without back-fill. `listener` must outlive this object.
    template <class Record>
    void subscribe(char const* topic, eprosima::fastrtps::SubscriberListener& listener) {
        addType<Record>();
        makeReader(topic, aspn2_msgs::TypeName<Record>, listener);
    }

    /// The writer is the participant's.
    template <class Record>
    eprosima::fastrtps::Publisher& publish(char const* topic) {
        addType<Record>();
        return makeWriter(topic, aspn2_msgs::TypeName<Record>);
    }

private:
    template <class Record>
    void addType() {
        // The library frees the supports only with the process; the server's live as long too.
        static aspn2_msgs::TopicPubSubType<Record> support;
        support.setName(aspn2_msgs::TypeName<Record>);
        registerType(support);
    }

    void registerType(eprosima::fastdds::dds::TopicDataType& support);
    void makeReader(char const* topic, char const* type,
                    eprosima::fastrtps::SubscriberListener& listener);
    eprosima::fastrtps::Publisher& makeWriter(char const* topic, char const* type);

    template <class Attributes>
    Attributes attributesOf(char const* topic, char const* type) const;

    FloorSettings settings_;
    eprosima::fastrtps::Participant* participant_ = nullptr;
};

}  // namespace benchmarks
