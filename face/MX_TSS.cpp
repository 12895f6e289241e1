#include "face/MX_TSS.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <fastdds/dds/topic/TopicDataType.hpp>
#include <fastdds/rtps/transport/TCPv4TransportDescriptor.h>
#include <fastdds/rtps/transport/UDPv4TransportDescriptor.h>
#include <fastdds/rtps/transport/shared_mem/SharedMemTransportDescriptor.h>
#include <fastrtps/Domain.h>
#include <fastrtps/attributes/ParticipantAttributes.h>
#include <fastrtps/attributes/PublisherAttributes.h>
#include <fastrtps/attributes/SubscriberAttributes.h>
#include <fastrtps/participant/Participant.h>
#include <fastrtps/publisher/Publisher.h>
#include <fastrtps/subscriber/Subscriber.h>
#include <fastrtps/utils/IPLocator.h>

#include "face/Listeners.h"
#include "face/MX_Config_Helpers.h"
#include "face/Topics.h"
#include "face/TransportLog.h"
#include "face/WanAddress.h"

namespace FACE::TSS {

namespace {

using eprosima::fastdds::dds::TopicDataType;
using eprosima::fastrtps::Domain;
using eprosima::fastrtps::ParticipantAttributes;
namespace rtps = eprosima::fastdds::rtps;

constexpr char const* DOMAIN_CONTAINER = "FastRtps";

/// An open container; closed at the end of the scope.
class Container {
public:
    Container(Configuration& configuration, String const& name) : configuration_(configuration) {
        configuration_.Open(name, handle_, code_);
    }
    ~Container() {
        if (isOpen()) {
            RETURN_CODE_TYPE::Value closed = RETURN_CODE_TYPE::NO_ERROR;
            configuration_.Close(handle_, closed);
        }
    }
    Container(Container const&) = delete;
    Container& operator=(Container const&) = delete;

    bool isOpen() const { return code_ == RETURN_CODE_TYPE::NO_ERROR; }
    RETURN_CODE_TYPE::Value code() const { return code_; }
    int handle() const { return handle_; }

private:
    Configuration& configuration_;
    int handle_ = -1;
    RETURN_CODE_TYPE::Value code_ = RETURN_CODE_TYPE::NO_ERROR;
};

void printUnavailable(RETURN_CODE_TYPE::Value code, char const* what, std::string const& name) {
    std::ostringstream line;
    line << "CFR:" << static_cast<int>(code) << ' ' << what << ' ' << name
         << " was not available\n";
    std::cout << line.str() << std::flush;
}

void addSharedMemory(ParticipantAttributes& attributes) {
    attributes.rtps.userTransports.push_back(
        std::make_shared<rtps::SharedMemTransportDescriptor>());
}

void addUdp(ParticipantAttributes& attributes) {
    auto const udp = std::make_shared<rtps::UDPv4TransportDescriptor>();
    udp->non_blocking_send = true;
    udp->interfaceWhiteList.emplace_back("127.0.0.1");
    attributes.rtps.userTransports.push_back(udp);
}

void addTcpClient(ParticipantAttributes& attributes, std::string const& address,
                  std::uint32_t port) {
    attributes.rtps.userTransports.push_back(std::make_shared<rtps::TCPv4TransportDescriptor>());
    eprosima::fastrtps::rtps::Locator_t server;
    server.kind = LOCATOR_KIND_TCPv4;
    eprosima::fastrtps::rtps::IPLocator::setIPv4(server, address);
    server.port = port;
    // Once only, as this list does it.
    attributes.rtps.builtin.initialPeersList.push_back(server);
}

void addTcpServer(ParticipantAttributes& attributes, std::string const& address,
                  std::uint32_t port) {
    auto const tcp = std::make_shared<rtps::TCPv4TransportDescriptor>();
    auto const wan = wanAddressOf(address);
    tcp->set_WAN_address(wan[0], wan[1], wan[2], wan[3]);
    tcp->add_listener_port(static_cast<std::uint16_t>(port));
    attributes.rtps.userTransports.push_back(tcp);
}

}  // namespace

struct MX_TSS::Settings {
    std::uint32_t domainId = 0;
    std::int32_t historyDepth = 0;
    bool bestEffort = false;
    bool backFill = false;
    String transport;
    String tcpAddress;
    std::uint32_t tcpPort = 0;
};

MX_TSS::MX_TSS(std::string const& participant_name) : participantName_(participant_name) {}

MX_TSS::~MX_TSS() {
    // Before the table: the library uses its types and listeners to the end.
    if (initialized_) {
        Domain::removeParticipant(participant_);
    }
}

void MX_TSS::Set_Reference(String const& /*interface_name*/,
                           std::shared_ptr<Configuration> const& configuration, long long /*id*/,
                           RETURN_CODE_TYPE::Value& rc) {
    if (configuration_ != nullptr) {
        rc = RETURN_CODE_TYPE::NOT_AVAILABLE;
    } else if (configuration == nullptr) {
        rc = RETURN_CODE_TYPE::INVALID_PARAM;
    } else {
        configuration_ = configuration;
        rc = RETURN_CODE_TYPE::NO_ERROR;
    }
}

void MX_TSS::Initialize(String const& config_name, RETURN_CODE_TYPE::Value& rc) {
    if (initialized_) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
        return;
    }
    if (configuration_ == nullptr) {
        rc = RETURN_CODE_TYPE::NOT_AVAILABLE;
        return;
    }
    RETURN_CODE_TYPE::Value loaded = RETURN_CODE_TYPE::NO_ERROR;
    configuration_->Initialize(config_name, loaded);
    if (loaded != RETURN_CODE_TYPE::NO_ERROR) {
        printUnavailable(loaded, "Configuration", ToStdString(config_name));
        rc = RETURN_CODE_TYPE::NOT_AVAILABLE;
        return;
    }
    Container const container(*configuration_, DOMAIN_CONTAINER);
    if (!container.isOpen()) {
        printUnavailable(container.code(), "Domain", DOMAIN_CONTAINER);
        rc = RETURN_CODE_TYPE::NOT_AVAILABLE;
        return;
    }
    Settings settings;
    if (!readSettings(settings, container.handle())) {
        rc = RETURN_CODE_TYPE::INVALID_CONFIG;
        return;
    }
    try {
        createParticipant(settings);
        initialized_ = true;
        rc = RETURN_CODE_TYPE::NO_ERROR;
    } catch (std::exception const& error) {
        std::cerr << std::string(error.what()) + '\n';
        rc = RETURN_CODE_TYPE::INVALID_CONFIG;
    }
}

bool MX_TSS::readSettings(Settings& settings, int handle) {
    using namespace MX_Config_Helpers;
    Configuration& from = *configuration_;
    RETURN_CODE_TYPE::Value code = RETURN_CODE_TYPE::NO_ERROR;
    Get_Unsigned_Parameter(from, handle, "DomainId", settings.domainId, code);
    Get_Signed_Parameter(from, handle, "HistoryDepth", settings.historyDepth, code);
    Get_Boolean_Parameter(from, handle, "UseBestEffort", settings.bestEffort, code);
    Get_Boolean_Parameter(from, handle, "BackFillHistory", settings.backFill, code);
    Get_String_Parameter(from, handle, "UseTransport", settings.transport, code);
    Get_String_Parameter(from, handle, "TcpAddress", settings.tcpAddress, code);
    Get_Unsigned_Parameter(from, handle, "TcpPort", settings.tcpPort, code);
    return code == RETURN_CODE_TYPE::NO_ERROR;
}

void MX_TSS::createParticipant(Settings const& settings) {
    ParticipantAttributes attributes;
    attributes.domainId = settings.domainId;
    attributes.rtps.builtin.discovery_config.leaseDuration = eprosima::fastrtps::Duration_t(5, 0);
    attributes.rtps.setName(participantName_.c_str());
    attributes.rtps.useBuiltinTransports = false;

    std::string const transport = ToStdString(settings.transport);
    std::string const address = ToStdString(settings.tcpAddress);
    if (transport == "SHM") {
        addSharedMemory(attributes);
    } else if (transport == "UDP") {
        addUdp(attributes);
    } else if (transport == "TCP_Client") {
        addTcpClient(attributes, address, settings.tcpPort);
    } else if (transport == "TCP_Server") {
        addTcpServer(attributes, address, settings.tcpPort);
    }  // any other: none, and the library refuses

    Details::logTransportToStandardError();
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    participant_ = Domain::createParticipant(attributes, nullptr);
#pragma GCC diagnostic pop
    if (participant_ == nullptr) {
        throw std::runtime_error("Error creating participant " + participantName_);
    }
    historyDepth_ = settings.historyDepth;
    bestEffort_ = settings.bestEffort;
    backFill_ = settings.backFill;
}

void MX_TSS::Create_Connection(String const& connection_name, long long /*pattern*/,
                               long long& connection_id, int& /*direction*/,
                               RETURN_CODE_TYPE::Value& rc) {
    connection_id = -1;
    if (!initialized_ || configuration_ == nullptr) {
        rc = RETURN_CODE_TYPE::NOT_AVAILABLE;
        return;
    }
    std::string const name = ToStdString(connection_name);
    {
        platform::MutexLock const lock(connectionMutex_);
        for (auto const& [id, connection] : connections_) {
            if (connection.name() == name) {
                connection_id = id;
                rc = RETURN_CODE_TYPE::NO_ERROR;
                return;
            }
        }
    }
    Container const container(*configuration_, connection_name);
    if (!container.isOpen()) {
        rc = RETURN_CODE_TYPE::INVALID_CONFIG;
        return;
    }
    String typeName;
    String supportName;
    RETURN_CODE_TYPE::Value code = RETURN_CODE_TYPE::NO_ERROR;
    MX_Config_Helpers::Get_String_Parameter(*configuration_, container.handle(), "TopicType",
                                            typeName, code);
    MX_Config_Helpers::Get_String_Parameter(*configuration_, container.handle(), "PubSubType",
                                            supportName, code);
    if (code != RETURN_CODE_TYPE::NO_ERROR) {
        rc = RETURN_CODE_TYPE::INVALID_CONFIG;
        return;
    }
    Connection_t connection(name, ToStdString(typeName),
                            Topics::GetPubSubType(ToStdString(supportName)));
    if (connection.type() != nullptr) {
        // The library finds types by the name that they bear.
        connection.type()->setName(connection.typeName().c_str());
    }
    if (!okRegisterTopic(connection.type())) {
        std::ostringstream line;
        line << "!!!!! Could NOT register topic " << static_cast<void const*>(connection.type())
             << " with participant " << participantName_ << '\n';
        std::cerr << line.str();
        rc = RETURN_CODE_TYPE::NO_ACTION;
        return;
    }
    connection.setTypeInUse(registeredType(connection.typeName().c_str()));

    platform::MutexLock const lock(connectionMutex_);
    auto const id = static_cast<std::uint32_t>(connections_.size());
    connections_.emplace(id, std::move(connection));
    connection_id = id;
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_TSS::Destroy_Connection(long long /*connection_id*/, RETURN_CODE_TYPE::Value& rc) {
    rc = initialized_ ? RETURN_CODE_TYPE::NO_ERROR : RETURN_CODE_TYPE::NOT_AVAILABLE;
}

template <class Remove>
void MX_TSS::unregister(long long connection_id, RETURN_CODE_TYPE::Value& rc, Remove remove) {
    if (!initialized_) {
        rc = RETURN_CODE_TYPE::NOT_AVAILABLE;
        return;
    }
    try {
        remove(connectionMap_mutex_at(tableKey(connection_id)));
        rc = RETURN_CODE_TYPE::NO_ERROR;
    } catch (std::out_of_range const&) {
        rc = RETURN_CODE_TYPE::INVALID_PARAM;
    } catch (...) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
    }
}

void MX_TSS::Unregister_Sender(long long connection_id, RETURN_CODE_TYPE::Value& rc) {
    unregister(connection_id, rc, [](Connection_t& connection) {
        if (auto* const publisher = connection.withdrawPublisher()) {
            Domain::removePublisher(publisher);
            connection.clearPublisher();
        }
    });
}

void MX_TSS::Unregister_Callback(long long connection_id, RETURN_CODE_TYPE::Value& rc) {
    unregister(connection_id, rc, [](Connection_t& connection) {
        if (auto* const subscriber = connection.subscriber()) {
            Domain::removeSubscriber(subscriber);
            connection.clearSubscriber();
        }
    });
}

std::uint32_t MX_TSS::tableKey(long long connection_id) noexcept {
    return connection_id < 0 ? 0xFFFFFFFFU : static_cast<std::uint32_t>(connection_id);
}

MX_TSS::Connection_t& MX_TSS::connectionMap_mutex_at(std::uint32_t id) {
    platform::MutexLock const lock(connectionMutex_);
    return connections_.at(id);
}

template <class Attributes>
void MX_TSS::fillAttributes(Attributes& attributes, Connection_t const& connection) const {
    attributes.topic.topicDataType = connection.typeName();
    attributes.topic.topicName = connection.name();
    attributes.topic.topicKind = eprosima::fastrtps::rtps::NO_KEY;
    attributes.topic.historyQos.kind = eprosima::fastrtps::KEEP_LAST_HISTORY_QOS;
    attributes.topic.historyQos.depth = historyDepth_;
    attributes.topic.resourceLimitsQos.max_samples = historyDepth_;
    attributes.topic.resourceLimitsQos.max_instances = 1;
    attributes.topic.resourceLimitsQos.max_samples_per_instance = historyDepth_;
    attributes.topic.resourceLimitsQos.allocated_samples = historyDepth_;
    attributes.qos.m_reliability.kind = bestEffort_
                                            ? eprosima::fastrtps::BEST_EFFORT_RELIABILITY_QOS
                                            : eprosima::fastrtps::RELIABLE_RELIABILITY_QOS;
    attributes.historyMemoryPolicy =
        eprosima::fastrtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE;
}

void MX_TSS::raise(char const* what, Connection_t const& connection) const {
    throw std::runtime_error("Participant " + participantName_ + what + connection.name());
}

void MX_TSS::registerPublisher(Connection_t& connection) {
    auto listener = std::make_unique<PublisherListener>(participantName_);
    eprosima::fastrtps::PublisherAttributes attributes;
    fillAttributes(attributes, connection);
    // Always: who wants the history, the reader decides.
    attributes.qos.m_durability.kind = eprosima::fastrtps::TRANSIENT_LOCAL_DURABILITY_QOS;
    if (!attributes.topic.checkQos() || !attributes.qos.checkQos()) {
        raise(" invalid publisher QOS for topic: ", connection);
    }
    auto* const publisher = Domain::createPublisher(participant_, attributes, listener.get());
    if (publisher == nullptr) {
        raise(" error creating publisher for topic: ", connection);
    }
    connection.setPublisher(std::move(listener), publisher);
}

void MX_TSS::registerSubscriber(Connection_t& connection,
                                std::unique_ptr<SubscriberListener> listener) {
    eprosima::fastrtps::SubscriberAttributes attributes;
    fillAttributes(attributes, connection);
    attributes.qos.m_durability.kind = backFill_
                                           ? eprosima::fastrtps::TRANSIENT_LOCAL_DURABILITY_QOS
                                           : eprosima::fastrtps::VOLATILE_DURABILITY_QOS;
    if (!attributes.topic.checkQos() || !attributes.qos.checkQos()) {
        raise(" invalid subscriber QOS for topic: ", connection);
    }
    auto* const subscriber = Domain::createSubscriber(participant_, attributes, listener.get());
    if (subscriber == nullptr) {
        raise(" error creating subscriber for topic: ", connection);
    }
    connection.setSubscriber(std::move(listener), subscriber);
}

bool MX_TSS::okRegisterTopic(TopicDataType* type) {
    return type != nullptr &&
           (isTopicRegistered(type->getName()) || Domain::registerType(participant_, type));
}

bool MX_TSS::isTopicRegistered(char const* type_name) {
    return registeredType(type_name) != nullptr;
}

TopicDataType* MX_TSS::registeredType(char const* type_name) {
    TopicDataType* type = nullptr;
    return Domain::getRegisteredType(participant_, type_name, &type) ? type : nullptr;
}

}  // namespace FACE::TSS
