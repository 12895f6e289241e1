#include <algorithm>
#include <arpa/inet.h>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <utility>
#include <vector>

#include <fastdds/rtps/transport/shared_mem/SharedMemTransportDescriptor.h>
#include <fastrtps/Domain.h>
#include <fastrtps/attributes/ParticipantAttributes.h>
#include <fastrtps/participant/Participant.h>
#include <fastrtps/participant/ParticipantListener.h>
#include <fastrtps/publisher/Publisher.h>
#include <fastrtps/subscriber/Subscriber.h>
#include <gtest/gtest.h>

#include "face/MX_TSS.h"
#include "face/Topics.h"
#include "tests/face/FailingAllocation.h"
#include "tests/face/TransportFixture.h"

namespace {

using eprosima::fastrtps::Domain;
using eprosima::fastrtps::Participant;
using FACE::TSS::MX_TSS;

/// Sees what the others of a domain announce about themselves.
class Witness : public eprosima::fastrtps::ParticipantListener {
public:
    /// Looks for others over the library's own transports, or over the one given.
    explicit Witness(
        unsigned domain,
        std::shared_ptr<eprosima::fastdds::rtps::TransportDescriptorInterface> only = nullptr) {
        eprosima::fastrtps::ParticipantAttributes attributes;
        attributes.domainId = domain;
        if (only != nullptr) {
            attributes.rtps.useBuiltinTransports = false;
            attributes.rtps.userTransports.push_back(std::move(only));
        }
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        participant_ = Domain::createParticipant(attributes, this);
#pragma GCC diagnostic pop
    }
    ~Witness() override {
        Domain::removeParticipant(participant_);
    }

    struct SeenParticipant {
        std::string name;
        int leaseSeconds;
        std::vector<eprosima::fastrtps::rtps::Locator_t> unicast;  ///< where it can be reached
    };

    struct Seen {
        std::string topic;
        std::string type;
        eprosima::fastrtps::DurabilityQosPolicyKind durability;
        eprosima::fastrtps::ReliabilityQosPolicyKind reliability;
    };

    void onParticipantDiscovery(
        Participant* /*self*/, eprosima::fastrtps::rtps::ParticipantDiscoveryInfo&& info) override {
        if (info.status ==
            eprosima::fastrtps::rtps::ParticipantDiscoveryInfo::DISCOVERED_PARTICIPANT) {
            SeenParticipant seen{
                info.info.m_participantName.to_string(), info.info.m_leaseDuration.seconds, {}};
            for (auto const* locators :
                 {&info.info.default_locators.unicast, &info.info.metatraffic_locators.unicast}) {
                seen.unicast.insert(seen.unicast.end(), locators->begin(), locators->end());
            }
            participants.put(std::move(seen));
        }
    }
    void onPublisherDiscovery(Participant* /*self*/,
                              eprosima::fastrtps::rtps::WriterDiscoveryInfo&& info) override {
        if (info.status == eprosima::fastrtps::rtps::WriterDiscoveryInfo::DISCOVERED_WRITER) {
            publishers.put({info.info.topicName().to_string(), info.info.typeName().to_string(),
                            info.info.m_qos.m_durability.kind, info.info.m_qos.m_reliability.kind});
        }
    }
    void onSubscriberDiscovery(Participant* /*self*/,
                               eprosima::fastrtps::rtps::ReaderDiscoveryInfo&& info) override {
        if (info.status == eprosima::fastrtps::rtps::ReaderDiscoveryInfo::DISCOVERED_READER) {
            subscribers.put({info.info.topicName().to_string(), info.info.typeName().to_string(),
                             info.info.m_qos.m_durability.kind,
                             info.info.m_qos.m_reliability.kind});
        }
    }

    Mailbox<SeenParticipant> participants;
    Mailbox<Seen> publishers;
    Mailbox<Seen> subscribers;

private:
    Participant* participant_ = nullptr;
};

std::unique_ptr<MX_TSS::SubscriberListener> deafListener() {
    return std::make_unique<MX_TSS::SubscriberListener>("Tester");
}

class MX_TSSTest : public testing::Test {
protected:
    bench::DomainLock domain;
    TransportText text{domain};
};

// ---- Set_Reference and Initialize

TEST_F(MX_TSSTest, TakesOneConfigurationOnly) {
    MX_TSS tss("Tester");
    auto const config = std::make_shared<FACE::MX_Config>();
    Code::Value rc = Code::TIMED_OUT;
    tss.Set_Reference("any", nullptr, 1, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    tss.Set_Reference("any", config, 1, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    tss.Set_Reference("any", config, 1, rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
    tss.Set_Reference("any", nullptr, 1, rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
}

TEST_F(MX_TSSTest, InitializeNeedsAConfiguration) {
    MX_TSS tss("Tester");
    Code::Value rc = Code::TIMED_OUT;
    tss.Initialize("any.xml", rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
    EXPECT_FALSE(tss.isInitialized());
}

TEST_F(MX_TSSTest, AnnouncesOneParticipantByItsNameWithFiveSecondsOfLease) {
    Witness witness(domain.id());
    Transport transport(text, "Corvane");
    EXPECT_EQ(transport.initialize(), Code::NO_ERROR);
    EXPECT_EQ(transport.initialize(), Code::NO_ACTION);
    auto const seen = witness.participants.take();
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->name, "Corvane");
    EXPECT_EQ(seen->leaseSeconds, 5);
    // A participant that is made now is seen as the next one: there was no second one before.
    Transport last(text, "Last");
    EXPECT_EQ(last.initialize(), Code::NO_ERROR);
    auto const next = witness.participants.take();
    ASSERT_TRUE(next);
    EXPECT_EQ(next->name, "Last");
}

TEST_F(MX_TSSTest, AMissingFileIsToldOnStandardOutput) {
    Transport transport(text);
    transport.path = "/nonexistent/config.xml";
    testing::internal::CaptureStdout();
    EXPECT_EQ(transport.initialize(), Code::NOT_AVAILABLE);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "CFR:4 Configuration /nonexistent/config.xml was not available\n");
}

TEST_F(MX_TSSTest, AMissingDomainContainerIsToldOnStandardOutput) {
    text.domainContainer = "<Other><Name>Other</Name></Other>";
    Transport transport(text);
    testing::internal::CaptureStdout();
    EXPECT_EQ(transport.initialize(), Code::NOT_AVAILABLE);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "CFR:4 Domain FastRtps was not available\n");
    EXPECT_EQ(transport.config->open, 0);
}

TEST_F(MX_TSSTest, EverySettingIsRequiredWhateverTheTransport) {
    for (char const* key : {"DomainId", "HistoryDepth", "UseBestEffort", "BackFillHistory",
                            "UseTransport", "TcpAddress", "TcpPort"}) {
        Transport transport(TransportText(domain).set("UseTransport", "SHM").without(key));
        testing::internal::CaptureStdout();
        EXPECT_EQ(transport.initialize(), Code::INVALID_CONFIG) << key;
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  std::string("WARNING - Parameter ") + key + " not found\n");
        EXPECT_FALSE(transport.tss->isInitialized());
        EXPECT_EQ(transport.config->open, 0);
        transport.connect("Events", Code::NOT_AVAILABLE);
    }
}

TEST_F(MX_TSSTest, NumbersMayHaveAnyBase) {
    std::ostringstream hexadecimal;
    hexadecimal << "0x" << std::hex << domain.id();
    Witness witness(domain.id());
    Transport transport(text.set("DomainId", hexadecimal.str()).set("HistoryDepth", "012"));
    EXPECT_EQ(transport.initialize(), Code::NO_ERROR);
    EXPECT_TRUE(witness.participants.take());
}

TEST_F(MX_TSSTest, AnUnknownTransportMakesNoParticipant) {
    for (char const* name : {"udp", "TCP", "SHM "}) {
        Transport transport(TransportText(domain).set("UseTransport", name));
        testing::internal::CaptureStderr();
        EXPECT_EQ(transport.initialize(), Code::INVALID_CONFIG) << name;
        EXPECT_NE(
            testing::internal::GetCapturedStderr().find("Error creating participant Tester\n"),
            std::string::npos);
        EXPECT_FALSE(transport.tss->isInitialized());
        EXPECT_EQ(transport.config->open, 0);
    }
}

TEST_F(MX_TSSTest, AFailedInitializeMayBeTriedAgain) {
    Transport transport(text.without("TcpPort"));
    EXPECT_EQ(transport.initialize(), Code::INVALID_CONFIG);
    EXPECT_EQ(transport.initialize(), Code::INVALID_CONFIG);
}

TEST_F(MX_TSSTest, EachTransportMakesAParticipant) {
    for (char const* name : {"SHM", "UDP", "TCP_Client", "TCP_Server"}) {
        Transport transport(TransportText(domain).set("UseTransport", name));
        EXPECT_EQ(transport.initialize(), Code::NO_ERROR) << name;
        EXPECT_TRUE(transport.tss->isInitialized());
        EXPECT_EQ(transport.config->open, 0);
    }
}

TEST_F(MX_TSSTest, ALongNameIsNotRefused) {
    Transport transport(text, std::string(400, 'n'));
    EXPECT_EQ(transport.initialize(), Code::NO_ERROR);
}

/// A UDP socket over IPv4 that this process has bound.
struct UdpSocket {
    std::string address;
    bool nonBlocking;
};

std::vector<UdpSocket> udpSockets() {
    std::vector<UdpSocket> sockets;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        int const descriptor = std::stoi(entry.path().filename());
        sockaddr_in address{};
        socklen_t size = sizeof address;
        int type = 0;
        socklen_t typeSize = sizeof type;
        if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
            address.sin_family == AF_INET && address.sin_port != 0 &&
            ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &typeSize) == 0 &&
            type == SOCK_DGRAM) {
            sockets.push_back(
                {::inet_ntoa(address.sin_addr), (::fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0});
        }
    }
    return sockets;
}

TEST_F(MX_TSSTest, UdpIsBoundToTheLoopbackAddressAndNeverWaitsToSend) {
    ASSERT_TRUE(udpSockets().empty());
    Transport transport(text.set("UseTransport", "UDP"));
    ASSERT_EQ(transport.initialize(), Code::NO_ERROR);
    auto const sockets = udpSockets();
    EXPECT_TRUE(std::any_of(sockets.begin(), sockets.end(),
                            [](UdpSocket const& socket) { return socket.nonBlocking; }));
    std::set<std::string> addresses;
    for (UdpSocket const& socket : sockets) {
        addresses.insert(socket.address);
    }
    // The second is where participants are announced.
    EXPECT_EQ(addresses, (std::set<std::string>{"127.0.0.1", "239.255.0.1"}));
}

TEST_F(MX_TSSTest, SharedMemoryIsReachedInNoOtherWay) {
    Witness witness(domain.id(),
                    std::make_shared<eprosima::fastdds::rtps::SharedMemTransportDescriptor>());
    Transport transport(text.set("UseTransport", "SHM"));
    ASSERT_EQ(transport.initialize(), Code::NO_ERROR);
    auto const seen = witness.participants.take();
    ASSERT_TRUE(seen);
    EXPECT_FALSE(seen->unicast.empty());
    for (auto const& locator : seen->unicast) {
        EXPECT_EQ(locator.kind, LOCATOR_KIND_SHM);
    }
}

// ---- Connections

class MX_TSSConnections : public MX_TSSTest {
protected:
    void SetUp() override { ASSERT_EQ(transport.initialize(), Code::NO_ERROR); }
    Transport transport{text};
};

TEST_F(MX_TSSTest, EverythingIsRefusedBeforeInitialize) {
    Transport transport(text);
    EXPECT_EQ(transport.connect("Events", Code::NOT_AVAILABLE), -1);
    Code::Value rc = Code::TIMED_OUT;
    transport.tss->Destroy_Connection(0, rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
    EXPECT_EQ(transport.unregisterSender(0), Code::NOT_AVAILABLE);
    EXPECT_EQ(transport.unregisterCallback(0), Code::NOT_AVAILABLE);
}

TEST_F(MX_TSSConnections, IdsCountFromZero) {
    EXPECT_EQ(transport.connect("Events"), 0);
    EXPECT_EQ(transport.connect("Commands"), 1);
    EXPECT_EQ(transport.connect("MoreEvents"), 2);
    EXPECT_EQ(transport.config->open, 0);
}

TEST_F(MX_TSSConnections, AKnownNameGivesItsIdWithoutReadingTheConfiguration) {
    EXPECT_EQ(transport.connect("Events"), 0);
    EXPECT_EQ(transport.connect("Commands"), 1);
    int const attempts = transport.config->attempts;
    EXPECT_EQ(transport.connect("Events"), 0);
    EXPECT_EQ(transport.connect("Commands"), 1);
    EXPECT_EQ(transport.config->attempts, attempts);
}

TEST_F(MX_TSSConnections, AnUnknownContainerIsRefused) {
    EXPECT_EQ(transport.connect("Nowhere", Code::INVALID_CONFIG), -1);
}

TEST_F(MX_TSSConnections, BothParametersAreRequired) {
    EXPECT_EQ(transport.connect("WithoutSupport", Code::INVALID_CONFIG), -1);
    EXPECT_EQ(transport.connect("WithoutType", Code::INVALID_CONFIG), -1);
    EXPECT_EQ(transport.config->open, 0);
    EXPECT_EQ(transport.connect("Events"), 0);
}

TEST_F(MX_TSSConnections, AnUnknownSupportIsToldOnStandardError) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(transport.connect("NoSuchSupport", Code::NO_ACTION), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "!!!!! Could NOT register topic 0 with participant Tester\n");
    EXPECT_EQ(transport.config->open, 0);
    EXPECT_EQ(transport.connect("Events"), 0);
}

TEST_F(MX_TSSConnections, TypesAreRegisteredUnderTheConfiguredName) {
    EXPECT_FALSE(transport.tss->isTopicRegistered("Other::Name"));
    long long const id = transport.connect("Renamed");
    EXPECT_TRUE(transport.tss->isTopicRegistered("Other::Name"));
    EXPECT_FALSE(transport.tss->isTopicRegistered("aspn2_msgs::idl::GSSIP"));
    EXPECT_EQ(transport.at(id).typeName(), "Other::Name");
    EXPECT_EQ(transport.at(id).name(), "Renamed");
}

TEST_F(MX_TSSConnections, ConnectionsOfOneTypeShareItsRegistration) {
    long long const first = transport.connect("Events");
    long long const second = transport.connect("MoreEvents");
    EXPECT_NE(first, second);
    EXPECT_NE(transport.at(first).type(), transport.at(second).type());
    EXPECT_NO_THROW(transport.tss->registerPublisher(transport.at(second)));
    EXPECT_TRUE(transport.at(second).isPublisher());
}

TEST_F(MX_TSSConnections, ANullTypeIsNotRegistered) {
    EXPECT_FALSE(transport.tss->okRegisterTopic(nullptr));
}

TEST_F(MX_TSSConnections, DestroyDoesNothing) {
    long long const id = transport.connect("Events");
    for (long long each : {id, 99LL, -1LL}) {
        Code::Value rc = Code::TIMED_OUT;
        transport.tss->Destroy_Connection(each, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
    }
    EXPECT_EQ(transport.at(id).name(), "Events");
}

TEST_F(MX_TSSConnections, AnUnknownIdRaisesOutOfRange) {
    try {
        transport.tss->connectionMap_mutex_at(3);
        FAIL();
    } catch (std::out_of_range const& error) {
        EXPECT_STREQ(error.what(), "map::at");
    }
}

TEST(MX_TSSTableKey, NegativeIdsAreNoneAndLargeOnesAreCut) {
    EXPECT_EQ(MX_TSS::tableKey(-1), 0xFFFFFFFFU);
    EXPECT_EQ(MX_TSS::tableKey(-0x7FFFFFFFFFFFFFFF), 0xFFFFFFFFU);
    EXPECT_EQ(MX_TSS::tableKey(0), 0U);
    EXPECT_EQ(MX_TSS::tableKey(0x100000007), 7U);
}

// ---- Endpoints

TEST_F(MX_TSSConnections, UnregisteringWhatIsNotThereIsNoError) {
    long long const id = transport.connect("Events");
    EXPECT_EQ(transport.unregisterSender(id), Code::NO_ERROR);
    EXPECT_EQ(transport.unregisterCallback(id), Code::NO_ERROR);
}

TEST_F(MX_TSSConnections, UnregisteringAnUnknownIdIsRefused) {
    transport.connect("Events");
    for (long long id : {-1LL, 1LL, 0xFFFFFFFFLL}) {
        EXPECT_EQ(transport.unregisterSender(id), Code::INVALID_PARAM) << id;
        EXPECT_EQ(transport.unregisterCallback(id), Code::INVALID_PARAM) << id;
    }
}

TEST_F(MX_TSSConnections, IdsAreCutTo32Bits) {
    auto& connection = transport.at(transport.connect("Events"));
    transport.tss->registerPublisher(connection);
    EXPECT_EQ(transport.unregisterSender(0x100000000), Code::NO_ERROR);
    EXPECT_FALSE(connection.isPublisher());
}

TEST_F(MX_TSSConnections, EndpointsComeAndGo) {
    long long const id = transport.connect("Events");
    auto& connection = transport.at(id);
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(connection.isPublisher());
        EXPECT_FALSE(connection.isSubscriber());
        transport.tss->registerPublisher(connection);
        EXPECT_TRUE(connection.isPublisher());
        EXPECT_FALSE(connection.isSubscriber());
        transport.tss->registerSubscriber(connection, deafListener());
        EXPECT_TRUE(connection.isPublisher());
        EXPECT_TRUE(connection.isSubscriber());
        EXPECT_EQ(connection.publisherListener()->participantName(), "Tester");
        EXPECT_TRUE(transport.publisherHas(id, 1));
        EXPECT_TRUE(transport.subscriberHas(id, 1));
        EXPECT_EQ(transport.unregisterSender(id), Code::NO_ERROR);
        EXPECT_FALSE(connection.isPublisher());
        EXPECT_EQ(connection.publisherListener(), nullptr);
        EXPECT_TRUE(transport.subscriberHas(id, 0));
        EXPECT_EQ(transport.unregisterCallback(id), Code::NO_ERROR);
        EXPECT_FALSE(connection.isSubscriber());
        EXPECT_EQ(connection.subscriberListener(), nullptr);
    }
}

TEST_F(MX_TSSConnections, AConnectionIsMovedWithItsEndpoints) {
    FACE::TSS::TransportConnection connection("Topic", "Type",
                                              FACE::TSS::Topics::GetPubSubType("GSSIPPubSubType"));
    FACE::TSS::TransportConnection moved(std::move(connection));
    EXPECT_EQ(moved.name(), "Topic");
    EXPECT_NE(moved.type(), nullptr);
    EXPECT_FALSE(moved.isPublisher());
}

void expectRaised(std::string const& text, std::function<void()> const& action) {
    try {
        action();
        ADD_FAILURE() << "not raised: " << text;
    } catch (std::runtime_error const& error) {
        EXPECT_EQ(error.what(), text);
    }
}

TEST_F(MX_TSSTest, AnImpossibleHistoryIsAnInvalidQos) {
    Transport transport(text.set("HistoryDepth", "0"));
    ASSERT_EQ(transport.initialize(), Code::NO_ERROR);
    auto& connection = transport.at(transport.connect("Events"));
    expectRaised("Participant Tester invalid publisher QOS for topic: Events",
                 [&] { transport.tss->registerPublisher(connection); });
    expectRaised("Participant Tester invalid subscriber QOS for topic: Events",
                 [&] { transport.tss->registerSubscriber(connection, deafListener()); });
    EXPECT_FALSE(connection.isPublisher());
    EXPECT_FALSE(connection.isSubscriber());
}

TEST_F(MX_TSSConnections, AnEndpointThatTheLibraryRefusesRaises) {
    FACE::TSS::TransportConnection connection("Loose", "Unregistered",
                                              FACE::TSS::Topics::GetPubSubType("GSSIPPubSubType"));
    expectRaised("Participant Tester error creating publisher for topic: Loose",
                 [&] { transport.tss->registerPublisher(connection); });
    expectRaised("Participant Tester error creating subscriber for topic: Loose",
                 [&] { transport.tss->registerSubscriber(connection, deafListener()); });
    EXPECT_FALSE(connection.isPublisher());
    EXPECT_FALSE(connection.isSubscriber());
}

struct Qualities {
    char const* bestEffort;
    char const* backFill;
    eprosima::fastrtps::ReliabilityQosPolicyKind reliability;
    eprosima::fastrtps::DurabilityQosPolicyKind readerDurability;
};

void PrintTo(Qualities const& qualities, std::ostream* out) {
    *out << "best effort " << qualities.bestEffort << ", back-fill " << qualities.backFill;
}

class MX_TSSQualities : public MX_TSSTest, public testing::WithParamInterface<Qualities> {};

TEST_P(MX_TSSQualities, AreAnnouncedToOthers) {
    Qualities const& expected = GetParam();
    Witness witness(domain.id());
    Transport transport(
        text.set("UseBestEffort", expected.bestEffort).set("BackFillHistory", expected.backFill));
    ASSERT_EQ(transport.initialize(), Code::NO_ERROR);
    auto& connection = transport.at(transport.connect("Renamed"));
    transport.tss->registerPublisher(connection);
    transport.tss->registerSubscriber(connection, deafListener());

    auto const publisher = witness.publishers.take();
    ASSERT_TRUE(publisher);
    EXPECT_EQ(publisher->topic, "Renamed");
    EXPECT_EQ(publisher->type, "Other::Name");
    EXPECT_EQ(publisher->reliability, expected.reliability);
    EXPECT_EQ(publisher->durability, eprosima::fastrtps::TRANSIENT_LOCAL_DURABILITY_QOS);

    auto const subscriber = witness.subscribers.take();
    ASSERT_TRUE(subscriber);
    EXPECT_EQ(subscriber->topic, "Renamed");
    EXPECT_EQ(subscriber->type, "Other::Name");
    EXPECT_EQ(subscriber->reliability, expected.reliability);
    EXPECT_EQ(subscriber->durability, expected.readerDurability);
}

INSTANTIATE_TEST_SUITE_P(
    All, MX_TSSQualities,
    testing::Values(Qualities{"false", "false", eprosima::fastrtps::RELIABLE_RELIABILITY_QOS,
                              eprosima::fastrtps::VOLATILE_DURABILITY_QOS},
                    Qualities{"true", "false", eprosima::fastrtps::BEST_EFFORT_RELIABILITY_QOS,
                              eprosima::fastrtps::VOLATILE_DURABILITY_QOS},
                    Qualities{"false", "true", eprosima::fastrtps::RELIABLE_RELIABILITY_QOS,
                              eprosima::fastrtps::TRANSIENT_LOCAL_DURABILITY_QOS},
                    Qualities{"true", "true", eprosima::fastrtps::BEST_EFFORT_RELIABILITY_QOS,
                              eprosima::fastrtps::TRANSIENT_LOCAL_DURABILITY_QOS}),
    [](auto const& test) {
        return std::string(std::string(test.param.bestEffort) == "true" ? "BestEffort"
                                                                        : "Reliable") +
               (std::string(test.param.backFill) == "true" ? "BackFilled" : "Volatile");
    });

/// The attributes that both kinds of endpoint have alike.
template <class Attributes>
void expectAttributes(Attributes const& attributes, int depth) {
    auto const& topic = attributes.topic;
    EXPECT_EQ(topic.topicName.to_string(), "Renamed");
    EXPECT_EQ(topic.topicDataType.to_string(), "Other::Name");
    EXPECT_EQ(topic.topicKind, eprosima::fastrtps::rtps::NO_KEY);
    EXPECT_EQ(topic.historyQos.kind, eprosima::fastrtps::KEEP_LAST_HISTORY_QOS);
    EXPECT_EQ(topic.historyQos.depth, depth);
    EXPECT_EQ(topic.resourceLimitsQos.max_samples, depth);
    EXPECT_EQ(topic.resourceLimitsQos.max_instances, 1);
    EXPECT_EQ(topic.resourceLimitsQos.max_samples_per_instance, depth);
    EXPECT_EQ(topic.resourceLimitsQos.allocated_samples, depth);
    EXPECT_EQ(attributes.historyMemoryPolicy,
              eprosima::fastrtps::rtps::PREALLOCATED_WITH_REALLOC_MEMORY_MODE);
}

TEST_F(MX_TSSTest, EndpointsKeepAHistoryOfTheConfiguredDepthWithoutKeys) {
    Transport transport(text.set("HistoryDepth", "7"));
    ASSERT_EQ(transport.initialize(), Code::NO_ERROR);
    auto& connection = transport.at(transport.connect("Renamed"));
    transport.tss->registerPublisher(connection);
    transport.tss->registerSubscriber(connection, deafListener());
    FACE::TSS::TransportConnection::PublisherLoan const publisher(connection);
    expectAttributes(publisher.get()->getAttributes(), 7);
    expectAttributes(connection.subscriber()->getAttributes(), 7);
}

TEST_F(MX_TSSConnections, PoliciesForWhichThereIsNoMemoryAreLeftOut) {
    auto& connection = transport.at(transport.connect("Events"));
    transport.tss->registerSubscriber(connection, deafListener());
    auto const& subscriber = *connection.subscriber();
    EXPECT_EQ(FACE::TSS::Listeners::PoliciesOf(subscriber).length(), 3U);
    std::optional<FACE::Sequence<FACE::TSS::QoS_Element>> policies;
    {
        FailingAllocation const failing;
        policies = FACE::TSS::Listeners::PoliciesOf(subscriber);
    }
    EXPECT_TRUE(policies->is_valid());
    EXPECT_EQ(policies->length(), 0U);
}

TEST_F(MX_TSSTest, TheDestructorTakesEndpointsDown) {
    Witness witness(domain.id());
    Transport other(text, "Other");
    ASSERT_EQ(other.initialize(), Code::NO_ERROR);
    long long const id = other.connect("Events");
    other.tss->registerPublisher(other.at(id));
    {
        Transport transport(text);
        ASSERT_EQ(transport.initialize(), Code::NO_ERROR);
        auto& connection = transport.at(transport.connect("Events"));
        transport.tss->registerSubscriber(connection, deafListener());
        EXPECT_TRUE(other.publisherHas(id, 1));
    }
    EXPECT_TRUE(other.publisherHas(id, 0));
}

}  // namespace
