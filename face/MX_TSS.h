#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "face/Configuration.h"
#include "face/TransportConnection.h"
#include "face/TransportServices.h"
#include "platform/Mutex.h"

namespace eprosima::fastdds::dds {
class TopicDataType;
}
namespace eprosima::fastrtps {
class Participant;
}  // namespace eprosima::fastrtps

namespace FACE::TSS {

/// The transport over Fast RTPS: one participant and its connections, each of which is one topic
/// that may be written and read. `MX_TypedTS` sends and receives on them.
///
/// Settings, in the container "FastRtps" (all are required):
///
/// | Parameter | Meaning |
/// |---|---|
/// | DomainId | DDS domain |
/// | HistoryDepth | samples that each endpoint keeps |
/// | UseBestEffort | endpoints do not repeat what is lost |
/// | BackFillHistory | subscribers ask for what was published before they came |
/// | UseTransport | SHM, UDP (loopback only), TCP_Client or TCP_Server |
/// | TcpAddress, TcpPort | the server's address (TCP_Client) or our own (TCP_Server) |
///
/// A connection has a container of its name, which is the topic's too, with "TopicType" (the type
/// name on the wire) and "PubSubType" (the record, such as "GSSIPPubSubType").
///
/// Threads: `Set_Reference`, `Initialize`, `Create_Connection`, `Register_...` and `Unregister_...`
/// belong to the control path, one call at a time. Sending may go on in any thread beside them.
/// Connections are never removed, so a reference to one stays good. Destroy the object when
/// nobody sends any more; callbacks may come until the destructor has removed the participant.
class MX_TSS : public Base, public Configuration_Injectable::Injectable {
public:
    using PublisherListener = Listeners::PublisherListenerBase;
    using SubscriberListener = Listeners::SubscriberListenerBase;

    using Connection_t = TransportConnection;

    explicit MX_TSS(std::string const& participant_name);
    ~MX_TSS() override;
    MX_TSS(MX_TSS const&) = delete;
    MX_TSS& operator=(MX_TSS const&) = delete;

    /// NOT_AVAILABLE when one is held already, INVALID_PARAM for null.
    void Set_Reference(String const& interface_name,
                       std::shared_ptr<Configuration> const& configuration, long long id,
                       RETURN_CODE_TYPE::Value& rc) override;

    /// Creates the participant. NO_ACTION when there is one, NOT_AVAILABLE without a configuration
    /// or when `config_name` or its "FastRtps" is missing, INVALID_CONFIG for a missing parameter
    /// or when the library refuses. After a failure it may be tried again.
    void Initialize(String const& config_name, RETURN_CODE_TYPE::Value& rc) override;

    /// `connection_id` becomes that of the connection of this name, or -1. `pattern` and
    /// `direction` are not used. NOT_AVAILABLE before `Initialize`, INVALID_CONFIG when the
    /// container or a parameter is missing, NO_ACTION when the type cannot be registered.
    void Create_Connection(String const& connection_name, long long pattern,
                           long long& connection_id, int& direction,
                           RETURN_CODE_TYPE::Value& rc) override;

    /// Does nothing: a connection lives as long as the service. NOT_AVAILABLE before `Initialize`.
    void Destroy_Connection(long long connection_id, RETURN_CODE_TYPE::Value& rc) override;

    /// Removes the publisher, if there is one, when the sends in progress have ended; further ones
    /// are refused. Not from a topic callback, which may run inside such a send.
    /// NOT_AVAILABLE before `Initialize`, INVALID_PARAM for an unknown id.
    void Unregister_Sender(long long connection_id, RETURN_CODE_TYPE::Value& rc) override;

    /// Removes the subscriber, if there is one; when it returns, its callback is not called any
    /// more. Not from that callback. Codes as Unregister_Sender.
    void Unregister_Callback(long long connection_id, RETURN_CODE_TYPE::Value& rc) override;

    // For MX_TypedTS.

    bool isInitialized() const noexcept { return initialized_; }
    std::string const& participantName() const noexcept { return participantName_; }

    /// The key of the table for an id: a negative one becomes 0xFFFFFFFF, which is never in use,
    /// any other is cut to 32 bits.
    static std::uint32_t tableKey(long long connection_id) noexcept;

    /// Raises std::out_of_range ("map::at") for an unknown id. Any thread.
    Connection_t& connectionMap_mutex_at(std::uint32_t id);

    /// Gives the connection a publisher. Raises std::runtime_error when the library refuses.
    void registerPublisher(Connection_t& connection);

    /// Gives the connection a subscriber that reports to `listener`. Raises std::runtime_error
    /// when the library refuses.
    void registerSubscriber(Connection_t& connection, std::unique_ptr<SubscriberListener> listener);

    /// Makes the participant know the type, unless it knows one of that name. False for null.
    bool okRegisterTopic(eprosima::fastdds::dds::TopicDataType* type);
    bool isTopicRegistered(char const* type_name);

private:
    struct Settings;

    bool readSettings(Settings& settings, int handle);
    void createParticipant(Settings const& settings);
    eprosima::fastdds::dds::TopicDataType* registeredType(char const* type_name);
    template <class Attributes>
    void fillAttributes(Attributes& attributes, Connection_t const& connection) const;
    [[noreturn]] void raise(char const* what, Connection_t const& connection) const;
    template <class Remove>
    void unregister(long long connection_id, RETURN_CODE_TYPE::Value& rc, Remove remove);

    // Written on the control path before connections exist, constant from then on; the flag is
    // what other threads look at.
    std::atomic<bool> initialized_{false};
    std::shared_ptr<Configuration> configuration_;
    std::string const participantName_;
    eprosima::fastrtps::Participant* participant_ = nullptr;  // ours, back through the library
    std::int32_t historyDepth_ = 0;
    bool bestEffort_ = false;
    bool backFill_ = false;

    platform::Mutex connectionMutex_;  // a leaf
    std::map<std::uint32_t, Connection_t> connections_ GUARDED_BY(connectionMutex_);
};

}  // namespace FACE::TSS
