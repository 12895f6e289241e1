#include "bench/TopicParticipant.h"

#include <array>
#include <memory>
#include <utility>

#include <fastdds/dds/log/Log.hpp>
#include <fastdds/dds/log/StdoutErrConsumer.hpp>
#include <fastdds/rtps/transport/TCPv4TransportDescriptor.h>
#include <fastdds/rtps/transport/UDPv4TransportDescriptor.h>
#include <fastdds/rtps/transport/shared_mem/SharedMemTransportDescriptor.h>
#include <fastrtps/Domain.h>
#include <fastrtps/attributes/ParticipantAttributes.h>
#include <fastrtps/utils/IPLocator.h>

#include "aspn2_msgs/TopicTypes.h"
#include "bench/TopicMessages.h"

namespace bench {

namespace rtps = eprosima::fastrtps;
namespace dds = eprosima::fastdds;
namespace idl = aspn2_msgs::idl;

namespace {

/// The library keeps a pointer to each.
void registerTypes(rtps::Participant* participant) {
    static idl::UTCTimePubSubType utc;
    static idl::MeridanePNTPubSubType solution;
    static idl::GPSTimePubSubType gpsTime;
    static idl::PositionVelocityPubSubType position;
    static idl::EventLogPubSubType event;
    static idl::MaintenanceEventPubSubType maintenance;
    static idl::CommandResponsePubSubType command;
    static idl::BitReportPubSubType bit;
    const std::array<dds::dds::TopicDataType*, 8> types{&utc,   &solution,    &gpsTime, &position,
                                                        &event, &maintenance, &command, &bit};
    for (dds::dds::TopicDataType* const type : types) {
        rtps::Domain::registerType(participant, type);
    }
}

}  // namespace

rtps::Participant* createParticipant(const TopicOptions& options) {
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
    rtps::Participant* const participant = rtps::Domain::createParticipant(attributes);
    if (participant != nullptr) {
        registerTypes(participant);
    }
    return participant;
}

void keepLibraryOffStandardOutput() {
    dds::dds::Log::ClearConsumers();
    auto consumer = std::make_unique<dds::dds::StdoutErrConsumer>();
    consumer->stderr_threshold(dds::dds::Log::Kind::Info);
    dds::dds::Log::RegisterConsumer(std::move(consumer));
}

}  // namespace bench
