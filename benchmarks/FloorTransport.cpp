#include "benchmarks/FloorTransport.h"

#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>

#include <fastdds/rtps/transport/UDPv4TransportDescriptor.h>
#include <fastdds/rtps/transport/shared_mem/SharedMemTransportDescriptor.h>

namespace benchmarks {
namespace {

namespace fastrtps = eprosima::fastrtps;
namespace transport = eprosima::fastdds::rtps;

std::shared_ptr<transport::TransportDescriptorInterface> makeTransport(std::string const& name) {
    if (name == "SHM") {
        return std::make_shared<transport::SharedMemTransportDescriptor>();
    }
    if (name == "UDP") {
        auto descriptor = std::make_shared<transport::UDPv4TransportDescriptor>();
        descriptor->non_blocking_send = true;
        descriptor->interfaceWhiteList.emplace_back("127.0.0.1");
        return descriptor;
    }
    throw std::invalid_argument("the transport is \"" + name + "\": it must be SHM or UDP");
}

sigset_t endSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    return set;
}

}  // namespace

FloorSettings parseFloorSettings(int argc, char** argv) {
    if (argc < 4) {
        throw std::invalid_argument("arguments: DOMAIN TRANSPORT HISTORY_DEPTH ...");
    }
    FloorSettings settings;
    settings.domain = static_cast<unsigned>(std::stoul(argv[1]));
    settings.transport = argv[2];
    settings.historyDepth = std::stoi(argv[3]);
    return settings;
}

void blockEndSignals() {
    sigset_t const set = endSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void waitForEndSignal() {
    sigset_t const set = endSignals();
    int number = 0;
    while (sigwait(&set, &number) != 0) {
    }
}

void announceReady() {
    std::puts("ready");
    std::fflush(stdout);
}

FloorParticipant::FloorParticipant(FloorSettings settings) : settings_(std::move(settings)) {
    fastrtps::ParticipantAttributes attributes;
    attributes.domainId = settings_.domain;
    attributes.rtps.builtin.discovery_config.leaseDuration = fastrtps::Duration_t(5, 0);
    attributes.rtps.setName("Floor");
    attributes.rtps.useBuiltinTransports = false;
    attributes.rtps.userTransports.push_back(makeTransport(settings_.transport));
    participant_ = fastrtps::Domain::createParticipant(attributes);
    if (participant_ == nullptr) {
        throw std::runtime_error("no participant could be made");
    }
}

FloorParticipant::~FloorParticipant() {
    close();
}

void FloorParticipant::close() {
    if (participant_ != nullptr) {
        fastrtps::Domain::removeParticipant(participant_);
        participant_ = nullptr;
    }
}

void FloorParticipant::registerType(eprosima::fastdds::dds::TopicDataType& support) {
    eprosima::fastdds::dds::TopicDataType* known = nullptr;
    if (!fastrtps::Domain::getRegisteredType(participant_, support.getName(), &known) &&
        !fastrtps::Domain::registerType(participant_, &support)) {
        throw std::runtime_error(std::string("the type was refused: ") + support.getName());
    }
}

/// What readers and writers have in common.
template <class Attributes>
Attributes FloorParticipant::attributesOf(char const* topic, char const* type) const {
    Attributes attributes;
    attributes.topic.topicName = topic;
    attributes.topic.topicDataType = type;
    attributes.topic.topicKind = fastrtps::rtps::NO_KEY;
    attributes.topic.historyQos.kind = fastrtps::KEEP_LAST_HISTORY_QOS;
    attributes.topic.historyQos.depth = settings_.historyDepth;
    attributes.topic.resourceLimitsQos.max_samples = settings_.historyDepth;
    attributes.topic.resourceLimitsQos.max_instances = 1;
    attributes.topic.resourceLimitsQos.max_samples_per_instance = settings_.historyDepth;
    attributes.topic.resourceLimitsQos.allocated_samples = settings_.historyDepth;
    attributes.qos.m_reliability.kind = fastrtps::RELIABLE_RELIABILITY_QOS;
    attributes.historyMemoryPolicy = fastrtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE;
    return attributes;
}

void FloorParticipant::makeReader(char const* topic, char const* type,
                                  fastrtps::SubscriberListener& listener) {
    auto attributes = attributesOf<fastrtps::SubscriberAttributes>(topic, type);
    attributes.qos.m_durability.kind = fastrtps::VOLATILE_DURABILITY_QOS;
    if (fastrtps::Domain::createSubscriber(participant_, attributes, &listener) == nullptr) {
        throw std::runtime_error(std::string("no reader could be made of ") + topic);
    }
}

fastrtps::Publisher& FloorParticipant::makeWriter(char const* topic, char const* type) {
    auto attributes = attributesOf<fastrtps::PublisherAttributes>(topic, type);
    attributes.qos.m_durability.kind = fastrtps::TRANSIENT_LOCAL_DURABILITY_QOS;
    auto* const writer = fastrtps::Domain::createPublisher(participant_, attributes);
    if (writer == nullptr) {
        throw std::runtime_error(std::string("no writer could be made of ") + topic);
    }
    return *writer;
}

}  // namespace benchmarks
