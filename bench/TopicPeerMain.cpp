// zephon-topic-peer: one participant of its own that publishes what the clock device, the fusion
// navigator and the alternate navigation device publish, and reads and writes the event log,
// commands and their answers. Requests come on standard input (TopicPeerProtocol.h).

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <iostream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fastdds/dds/log/Log.hpp>
#include <fastdds/dds/log/StdoutErrConsumer.hpp>
#include <fastdds/rtps/transport/TCPv4TransportDescriptor.h>
#include <fastdds/rtps/transport/UDPv4TransportDescriptor.h>
#include <fastdds/rtps/transport/shared_mem/SharedMemTransportDescriptor.h>
#include <fastrtps/Domain.h>
#include <fastrtps/attributes/ParticipantAttributes.h>
#include <fastrtps/attributes/PublisherAttributes.h>
#include <fastrtps/attributes/SubscriberAttributes.h>
#include <fastrtps/participant/Participant.h>
#include <fastrtps/publisher/Publisher.h>
#include <fastrtps/publisher/PublisherListener.h>
#include <fastrtps/subscriber/SampleInfo.h>
#include <fastrtps/subscriber/Subscriber.h>
#include <fastrtps/subscriber/SubscriberListener.h>
#include <fastrtps/utils/IPLocator.h>

#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/EventLog.h"
#include "aspn2_msgs/GPSTime.h"
#include "aspn2_msgs/MaintenanceEvent.h"
#include "aspn2_msgs/MeridanePNT.h"
#include "aspn2_msgs/PositionVelocity.h"
#include "aspn2_msgs/TopicTypes.h"
#include "aspn2_msgs/UTCTime.h"
#include "bench/PeerProgram.h"
#include "bench/Simulation.h"
#include "bench/TopicPeerProtocol.h"
#include "bench/TopicRecords.h"

namespace bench {
namespace {

namespace rtps = eprosima::fastrtps;
namespace dds = eprosima::fastdds;
namespace idl = aspn2_msgs::idl;
using Clock = std::chrono::steady_clock;
using peerProgram::say;

struct Options {
    std::string name = "TopicPeer";
    unsigned domain = 0;
    std::string transport = "SHM";
    std::string address = "127.0.0.1";
    std::uint16_t port = 5100;
    int historyDepth = 20;
    bool bestEffort = false;
    std::vector<std::string> topics;   ///< to publish
    std::vector<std::string> watched;  ///< to read
};

idl::header makeHeader(const RecordHeader& plain) {
    idl::header header;
    header.seq_num(plain.sequence);
    header.timestamp_valid().sec(plain.tagSeconds);
    header.timestamp_valid().nsec(static_cast<std::int32_t>(plain.tagNanoseconds));
    header.timestamp_arrival(header.timestamp_valid());
    header.device_id(static_cast<std::int32_t>(plain.source << 16));
    return header;
}

idl::UTCTime makeMessage(const UtcRecord& plain) {
    idl::UTCTime message;
    message.header(makeHeader(plain.header));
    message.gps_tow_sec(static_cast<std::int32_t>(plain.gpsTowSeconds));
    message.gps_tow_nsec(plain.gpsTowNanoseconds);
    message.gps_week(static_cast<std::int32_t>(plain.gpsWeek));
    message.utc_tod_sec(static_cast<std::int32_t>(plain.utcTodSeconds));
    message.utc_tod_nsec(plain.utcTodNanoseconds);
    message.covariance()[0][0] = plain.timeVariance;
    return message;
}

idl::MeridanePNT makeMessage(const PntRecord& plain) {
    idl::MeridanePNT message;
    message.header(makeHeader(plain.header));
    message.GPS_Time(plain.gpsTime);
    message.UTC_Time(plain.utcTime);
    message.ECEF_Pos_X(plain.positionX);
    message.ECEF_Pos_Y(plain.positionY);
    message.ECEF_Pos_Z(plain.positionZ);
    message.ECEF_Vel_X(plain.velocityX);
    message.ECEF_Vel_Y(plain.velocityY);
    message.ECEF_Vel_Z(plain.velocityZ);
    message.Roll(plain.roll);
    message.Pitch(plain.pitch);
    message.Heading(plain.heading);
    message.Horz_PosError(plain.horizontalPositionError);
    message.Vert_PosError(plain.verticalPositionError);
    message.Horz_Vel_Error(plain.horizontalVelocityError);
    message.Vert_VelError(plain.verticalVelocityError);
    message.Time_Error(plain.timeError);
    message.Roll_Error(plain.rollError);
    message.Pitch_Error(plain.pitchError);
    message.Heading_Error(plain.headingError);
    message.GPS_Week(plain.gpsWeek);
    message.MX_PNT_Solution_Assurance(
        static_cast<idl::MX_PNT_Solution_Assurance_enum>(plain.assurance));
    return message;
}

idl::GPSTime makeMessage(const GpsTimeRecord& plain) {
    idl::GPSTime message;
    message.header(makeHeader(plain.header));
    message.gps_tow_sec(static_cast<std::int32_t>(plain.gpsTowSeconds));
    message.gps_tow_nsec(plain.gpsTowNanoseconds);
    message.gps_week(static_cast<std::int32_t>(plain.gpsWeek));
    message.covariance()[0][0] = plain.timeVariance;
    return message;
}

idl::PositionVelocity makeMessage(const PositionVelocityRecord& plain) {
    idl::PositionVelocity message;
    message.header(makeHeader(plain.header));
    message.position().latitude(plain.latitude);
    message.position().longitude(plain.longitude);
    message.position().altitude(plain.altitude);
    message.velocity() = {plain.velocityNorth, plain.velocityEast, plain.velocityDown};
    auto& covariance = message.covariance();
    covariance[0][0] = plain.latitudeVariance;
    covariance[1][1] = plain.longitudeVariance;
    covariance[0][1] = covariance[1][0] = plain.latitudeLongitudeCovariance;
    covariance[2][2] = plain.altitudeVariance;
    covariance[3][3] = plain.velocityNorthVariance;
    covariance[4][4] = plain.velocityEastVariance;
    covariance[3][4] = covariance[4][3] = plain.velocityNorthEastCovariance;
    covariance[5][5] = plain.velocityDownVariance;
    return message;
}

idl::EventLog makeMessage(const EventRecord& plain) {
    idl::EventLog message;
    message.header(makeHeader(plain.header));
    message.event_log_type(static_cast<idl::event_log_type_enum>(plain.type));
    message.eventlog(plain.text);
    return message;
}

idl::CommandResponse makeMessage(const CommandFields& plain) {
    idl::CommandResponse message;
    message.header(makeHeader(plain.header));
    message.commanded_device_id(static_cast<std::int32_t>(plain.commandedDeviceId));
    message.command_identifier(static_cast<std::int32_t>(plain.identifier));
    message.command_response_type(static_cast<idl::command_response_type_enum>(plain.type));
    message.command_response(plain.text);
    return message;
}

RecordHeader plainHeader(const idl::header& header) {
    const idl::timestamp& valid = header.timestamp_valid();
    const idl::timestamp& arrival = header.timestamp_arrival();
    return {header.seq_num(),   valid.sec(),   valid.nsec(),   (header.device_id() >> 16) & 0xFF,
            header.device_id(), arrival.sec(), arrival.nsec(), valid.time_code()};
}

EventRecord plainRecord(const idl::EventLog& message) {
    return {plainHeader(message.header()), message.event_log_type(), message.eventlog()};
}

/// The characters before the first NUL, or all.
template <std::size_t N>
std::string textOf(const std::array<char, N>& characters) {
    return {characters.begin(), std::find(characters.begin(), characters.end(), '\0')};
}

MaintenanceRecord plainRecord(const idl::MaintenanceEvent& message) {
    return {plainHeader(message.header()), message.criticality_id(),
            message.category_id(),         message.location_id(),
            message.outcome_id(),          message.repeat_in_seconds(),
            textOf(message.identity()),    textOf(message.description())};
}

CommandFields plainRecord(const idl::CommandResponse& message) {
    return {plainHeader(message.header()), message.commanded_device_id(),
            message.command_identifier(), message.command_response_type(),
            message.command_response()};
}

/// What the record of a topic is called.
std::string recordType(std::string_view topic) {
    const bool command = topic == CommandRecord::topic || topic == ResponseRecord::topic;
    return "aspn2_msgs::idl::" + std::string(command ? "CommandResponse" : topic);
}

/// Calls `action` with a fresh record of the topic; false when none is published here.
template <class Action>
bool withRecordOf(std::string_view topic, Action action) {
    const auto attempt = [&](auto record) {
        const bool same = topic == decltype(record)::topic;
        if (same) {
            action(record);
        }
        return same;
    };
    return attempt(UtcRecord()) || attempt(PntRecord()) || attempt(GpsTimeRecord()) ||
           attempt(PositionVelocityRecord()) || attempt(EventRecord()) ||
           attempt(CommandRecord()) || attempt(ResponseRecord());
}

/// The participant with the transport of this side of the wire.
rtps::Participant* createParticipant(const Options& options) {
    rtps::ParticipantAttributes attributes;
    attributes.domainId = options.domain;
    attributes.rtps.setName(options.name.c_str());
    attributes.rtps.useBuiltinTransports = false;
    attributes.rtps.builtin.discovery_config.leaseDuration = rtps::Duration_t(5, 0);
    if (options.transport == "SHM") {
        attributes.rtps.userTransports.push_back(
            std::make_shared<dds::rtps::SharedMemTransportDescriptor>());
    } else if (options.transport == "UDP") {
        const auto udp = std::make_shared<dds::rtps::UDPv4TransportDescriptor>();
        udp->interfaceWhiteList.emplace_back("127.0.0.1");
        udp->non_blocking_send = true;
        attributes.rtps.userTransports.push_back(udp);
    } else {
        const auto tcp = std::make_shared<dds::rtps::TCPv4TransportDescriptor>();
        tcp->enable_tcp_nodelay = true;  // else records wait for each other, 40 ms and more
        if (options.transport == "TCP_Server") {
            tcp->set_WAN_address(options.address);
            tcp->add_listener_port(options.port);
        } else {
            rtps::rtps::Locator_t server;
            server.kind = LOCATOR_KIND_TCPv4;
            rtps::rtps::IPLocator::setIPv4(server, options.address);
            server.port = options.port;
            attributes.rtps.builtin.initialPeersList.push_back(server);
        }
        attributes.rtps.userTransports.push_back(tcp);
    }
    return rtps::Domain::createParticipant(attributes);
}

/// Counts the endpoints of other programs that match one of this program. An endpoint of this very
/// program says nothing about the server's.
class Matches {
public:
    explicit Matches(const rtps::Participant& participant)
        : own_(participant.getGuid().guidPrefix) {}

    bool isOwn(const rtps::rtps::GUID_t& endpoint) const { return endpoint.guidPrefix == own_; }

    void take(const rtps::rtps::MatchingInfo& info) {
        if (isOwn(info.remoteEndpointGuid)) {
            return;
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        count_ += info.status == rtps::rtps::MATCHED_MATCHING ? 1 : -1;
        changed_.notify_all();
    }

    bool wait(int count, Clock::time_point deadline) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_until(lock, deadline, [&] { return count_ >= count; });
    }

    int count() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return count_;
    }

private:
    const rtps::rtps::GuidPrefix_t own_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;  // guarded by mutex_
};

/// One topic of this peer: its writer, and how many readers know of it.
class Topic : public rtps::PublisherListener {
public:
    Topic(rtps::Participant* participant, const Options& options, const std::string& name)
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

    const std::string& name() const { return name_; }

    void onPublicationMatched(rtps::Publisher*, rtps::rtps::MatchingInfo& info) override {
        matches_.take(info);
    }

    /// Waits until `count` readers are matched on both sides. The library tells a writer when it
    /// has found a reader, but the reader may not know the writer yet and would miss what is
    /// published now. A reliable reader acknowledges only once it does, so a first record of no
    /// source is written, which every server ignores, and its acknowledgement awaited. Readers
    /// that are best effort acknowledge nothing.
    bool waitForReaders(int count, Clock::time_point deadline) {
        if (!matches_.wait(count, deadline)) {
            return false;
        }
        if (bestEffort_) {
            return true;
        }
        withRecordOf(name_, [this](auto nobody) {
            nobody.header.source = 0;
            write(nobody);
        });
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::max(deadline - Clock::now(), Clock::duration::zero()));
        return publisher_->wait_for_all_acked(
            rtps::Duration_t(static_cast<long double>(left.count()) / 1000));
    }

    int matched() { return matches_.count(); }

    template <class Record>
    bool write(const Record& record) {
        auto message = makeMessage(record);
        return publisher_->write(&message);
    }

    /// Publishes and reports it with its time.
    template <class Record>
    bool publish(Record record) {
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

private:
    const std::string name_;
    const bool bestEffort_;
    Matches matches_;
    rtps::Publisher* publisher_ = nullptr;
    std::atomic<std::int64_t> sequence_{0};
};

/// Reads one topic and reports what others publish on it.
class Watch : public rtps::SubscriberListener {
public:
    Watch(rtps::Participant* participant, const Options& options, const std::string& name)
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

    void onSubscriptionMatched(rtps::Subscriber*, rtps::rtps::MatchingInfo& info) override {
        matches_.take(info);
    }

    void onNewDataMessage(rtps::Subscriber* subscriber) override { (this->*take_)(*subscriber); }

    /// Empty once the topic has `count` writers, or what is missing.
    std::string waitForWriters(int count, Clock::time_point deadline) {
        return matches_.wait(count, deadline)
                   ? std::string()
                   : name_ + " has " + std::to_string(matches_.count()) + " writers";
    }

private:
    using Take = void (Watch::*)(rtps::Subscriber&);

    static Take takeFor(std::string_view topic) {
        if (topic == EventRecord::topic) {
            return &Watch::takeAll<idl::EventLog>;
        }
        return topic == MaintenanceRecord::topic ? &Watch::takeAll<idl::MaintenanceEvent>
                                                 : &Watch::takeAll<idl::CommandResponse>;
    }

    template <class Message>
    void takeAll(rtps::Subscriber& subscriber) {
        Message message;
        rtps::SampleInfo_t info;
        while (subscriber.takeNextData(&message, &info)) {
            if (info.sampleKind == rtps::rtps::ALIVE &&
                !matches_.isOwn(info.sample_identity.writer_guid())) {
                say(std::string(peerProtocol::received) + name_ + " " +
                    toText(plainRecord(message)));
            }
        }
    }

    const std::string name_;
    const Take take_;
    Matches matches_;
};

using Watches = std::vector<std::unique_ptr<Watch>>;

std::string waitForWriters(const Watches& watches, int count, Clock::time_point deadline) {
    for (const auto& watch : watches) {
        std::string failure = watch->waitForWriters(count, deadline);
        if (!failure.empty()) {
            return failure;
        }
    }
    return {};
}

/// Publishes what the topic's maker tells of an instant (UTC, nanoseconds).
bool publishAt(Topic& topic, std::int64_t instant) {
    constexpr std::int64_t oneSecond = 1'000'000'000;
    if (topic.name() == UtcRecord::topic) {
        return topic.publish(clockAt(instant));
    }
    if (topic.name() == PntRecord::topic) {
        return topic.publish(navigatorAt(instant));
    }
    if (topic.name() == PositionVelocityRecord::topic) {
        return topic.publish(positionAt(instant));
    }
    return topic.name() == GpsTimeRecord::topic && topic.publish(gpsTimeAt(instant + oneSecond));
}

/// The running schedule, on a thread of its own.
class Schedule {
public:
    Schedule() = default;
    ~Schedule() { stop(); }
    Schedule(const Schedule&) = delete;
    Schedule& operator=(const Schedule&) = delete;

    void start(const std::vector<Topic*>& topics, double rate, std::int64_t count,
               std::int64_t begin, std::int64_t utc) {
        stop();
        stop_ = false;
        thread_ = std::thread([=] { run(topics, rate, count, begin, utc); });
    }

    void stop() {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            stop_ = true;
            changed_.notify_all();
        }
        if (thread_.joinable()) {
            thread_.join();
        }
    }

private:
    void run(const std::vector<Topic*>& topics, double rate, std::int64_t count, std::int64_t begin,
             std::int64_t utc) {
        for (std::int64_t tick = 0; count == 0 || tick < count; ++tick) {
            const auto offset = static_cast<std::int64_t>(static_cast<double>(tick) * 1e9 / rate);
            const Clock::time_point due{std::chrono::nanoseconds(begin + offset)};
            {
                std::unique_lock<std::mutex> lock(mutex_);
                if (changed_.wait_until(lock, due, [this] { return stop_; })) {
                    break;
                }
            }
            for (Topic* const topic : topics) {
                if (!publishAt(*topic, utc + offset)) {
                    std::cerr << "cannot publish " << topic->name() << std::endl;
                }
            }
        }
        say(std::string(peerProtocol::done));
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool stop_ = false;  // guarded by mutex_
    std::thread thread_;
};

/// Publishes the record that the text tells; empty or why not.
std::string publishText(Topic& topic, const std::string& fields) {
    std::string failure;
    withRecordOf(topic.name(), [&](auto record) {
        if (!fromText(fields, record)) {
            failure = "cannot read the fields";
        } else if (!topic.publish(record)) {
            failure = "the transport refused the record";
        }
    });
    return failure;
}

/// Carries out one request; the text is empty or tells why it failed.
std::string handle(std::istream& words, std::vector<std::unique_ptr<Topic>>& topics,
                   Watches& watches, Schedule& schedule) {
    std::string verb;
    words >> verb;
    const auto find = [&topics](std::string_view name) {
        const auto found = std::find_if(topics.begin(), topics.end(),
                                        [&](const auto& topic) { return topic->name() == name; });
        return found == topics.end() ? nullptr : found->get();
    };
    if (verb == "match" || verb == "writers") {
        int count = 0;
        std::int64_t milliseconds = 0;
        words >> count >> milliseconds;
        const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
        if (verb == "writers") {
            return waitForWriters(watches, count, deadline);
        }
        for (const auto& topic : topics) {
            if (!words || !topic->waitForReaders(count, deadline)) {
                return topic->name() + " is known to " + std::to_string(topic->matched()) +
                       " readers";
            }
        }
        return {};
    }
    if (verb == "publish") {
        std::string name;
        std::string fields;
        std::getline(words >> name, fields);
        Topic* const topic = find(name);
        return topic == nullptr ? "no topic " + name : publishText(*topic, fields);
    }
    if (verb == "run") {
        double rate = 0;
        std::int64_t count = 0;
        std::int64_t begin = 0;
        std::int64_t utc = 0;
        words >> rate >> count >> begin >> utc;
        if (!words || !(rate > 0)) {
            return "run needs rate, count, start and time";
        }
        std::vector<Topic*> scheduled;
        for (std::string name; words >> name;) {
            Topic* const topic = find(name);
            if (topic == nullptr) {
                return "no topic " + name;
            }
            scheduled.push_back(topic);
        }
        schedule.start(scheduled, rate, count, begin, utc);
        return {};
    }
    if (verb == "stop") {
        schedule.stop();
        return {};
    }
    return "unknown verb " + verb;
}

int run(const Options& options) {
    // Standard output is for answers; the library's own lines go to standard error.
    dds::dds::Log::ClearConsumers();
    auto consumer = std::make_unique<dds::dds::StdoutErrConsumer>();
    consumer->stderr_threshold(dds::dds::Log::Kind::Info);
    dds::dds::Log::RegisterConsumer(std::move(consumer));

    rtps::Participant* participant = createParticipant(options);
    if (participant == nullptr) {
        std::cerr << "cannot create a participant" << std::endl;
        return 1;
    }
    idl::UTCTimePubSubType utcType;
    idl::MeridanePNTPubSubType pntType;
    rtps::Domain::registerType(participant, &utcType);
    rtps::Domain::registerType(participant, &pntType);
    idl::EventLogPubSubType eventType;
    idl::MaintenanceEventPubSubType maintenanceType;
    rtps::Domain::registerType(participant, &eventType);
    rtps::Domain::registerType(participant, &maintenanceType);
    idl::GPSTimePubSubType gpsTimeType;
    idl::PositionVelocityPubSubType positionVelocityType;
    rtps::Domain::registerType(participant, &gpsTimeType);
    rtps::Domain::registerType(participant, &positionVelocityType);
    idl::CommandResponsePubSubType commandType;
    rtps::Domain::registerType(participant, &commandType);
    {
        Watches watches;
        for (const std::string& name : options.watched) {
            watches.push_back(std::make_unique<Watch>(participant, options, name));
        }
        std::vector<std::unique_ptr<Topic>> topics;
        for (const std::string& name : options.topics) {
            topics.push_back(std::make_unique<Topic>(participant, options, name));
        }
        Schedule schedule;
        say(std::string(peerProtocol::ready));
        peerProgram::serve(
            [&](std::istream& words) { return handle(words, topics, watches, schedule); });
        schedule.stop();
        // Writers and readers go with the participant, their listeners after it.
        rtps::Domain::removeParticipant(participant);
    }
    return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    bench::Options options;
    CLI::App app("One peer of the simulated computer; commands on standard input");
    app.add_option("--name", options.name, "Name of the participant");
    app.add_option("--domain", options.domain, "DDS domain");
    app.add_option("--transport", options.transport, "Transport of this side")
        ->check(CLI::IsMember({"SHM", "UDP", "TCP_Client", "TCP_Server"}));
    app.add_option("--address", options.address, "TCP address of the server side");
    app.add_option("--port", options.port, "TCP port of the server side");
    app.add_option("--depth", options.historyDepth, "History depth");
    app.add_flag("--best-effort", options.bestEffort, "Publish without acknowledgement");
    app.add_option("--topic", options.topics, "Topic to publish; may be given several times")
        ->check(CLI::IsMember({"UTCTime", "MeridanePNT", "GPSTime", "PositionVelocity", "EventLog",
                               "Command", "Response"}));
    app.add_option("--watch", options.watched, "Topic to read; may be given several times")
        ->check(CLI::IsMember({"EventLog", "MaintenanceEvent", "Command", "Response"}));
    CLI11_PARSE(app, argc, argv);
    try {
        return bench::run(options);
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << std::endl;
        return 1;
    }
}
