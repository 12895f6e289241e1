#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fastdds/dds/topic/TopicDataType.hpp>
#include <fastrtps/Domain.h>
#include <fastrtps/attributes/ParticipantAttributes.h>
#include <fastrtps/attributes/PublisherAttributes.h>
#include <gtest/gtest.h>

#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/EventLog.h"
#include "aspn2_msgs/GSSIP.h"
#include "bench/Patience.h"
#include "face/MX_TypedTS.h"
#include "tests/face/TypedTransport.h"

namespace {

using aspn2_msgs::idl::CommandResponse;
using aspn2_msgs::idl::EventLog;
using aspn2_msgs::idl::GSSIP;

EventLog event(std::string const& text) {
    EventLog record;
    record.event_log_type(aspn2_msgs::idl::EVENT_LOG_TYPE_INFORMATION);
    record.eventlog(text);
    return record;
}

/// A base that is no MX_TSS.
class ForeignBase : public FACE::TSS::Base {
public:
    void Initialize(FACE::String const& /*name*/, Code::Value& /*rc*/) override {}
    void Create_Connection(FACE::String const& /*name*/, long long /*pattern*/, long long& /*id*/,
                           int& /*direction*/, Code::Value& /*rc*/) override {}
    void Destroy_Connection(long long /*id*/, Code::Value& /*rc*/) override {}
    void Unregister_Sender(long long /*id*/, Code::Value& /*rc*/) override {}
    void Unregister_Callback(long long /*id*/, Code::Value& /*rc*/) override {}
};

class MX_TypedTSTest : public testing::Test {
protected:
    void start() { ASSERT_EQ(transport.initialize(), Code::NO_ERROR); }

    bench::DomainLock domain;
    TransportText text{domain};
    Mailbox<Received<EventLog>> mailbox;  // outlives the transport, whose callbacks fill it
    Transport transport{text};
    Typed<EventLog> typed{transport.tss};
};

class MX_TypedTSStarted : public MX_TypedTSTest {
protected:
    void SetUp() override { start(); }
};

// ---- Set_Reference

TEST_F(MX_TypedTSTest, TakesOneTransportOnly) {
    FACE::TSS::Details::MX_TypedTS<EventLog> ts;
    Code::Value rc = Code::TIMED_OUT;
    ts.Set_Reference("any", nullptr, 3, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    ts.Set_Reference("any", std::make_shared<ForeignBase>(), 3, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    ts.Set_Reference("any", transport.tss, 3, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    ts.Set_Reference("any", transport.tss, 3, rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
    ts.Set_Reference("any", nullptr, 3, rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
}

TEST_F(MX_TypedTSTest, WithoutATransportNothingIsAvailable) {
    FACE::TSS::Details::MX_TypedTS<EventLog> ts;
    Code::Value rc = Code::TIMED_OUT;
    long long transaction = 0;
    ts.Register_Sender(0, rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
    ts.Register_Callback(0, into(mailbox), rc = Code::TIMED_OUT);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
    ts.Send_Message(0, 0, transaction, EventLog(), rc = Code::TIMED_OUT);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
}

TEST_F(MX_TypedTSTest, BeforeInitializeNothingIsAvailable) {
    EXPECT_EQ(typed.registerSender(0), Code::NOT_AVAILABLE);
    EXPECT_EQ(typed.registerCallback(0, into(mailbox)), Code::NOT_AVAILABLE);
    EXPECT_EQ(typed.send(0, event("lost")), Code::NOT_AVAILABLE);
}

// ---- Receive_Message

void expectReceiveRaises(Typed<EventLog>& typed, long long id) {
    long long transaction = 0;
    EventLog record;
    FACE::TSS::HEADER_TYPE header;
    FACE::Sequence<FACE::TSS::QoS_Element> policies;
    Code::Value rc = Code::TIMED_OUT;
    try {
        typed.ts.Receive_Message(id, 0, transaction, record, header, policies, rc);
        FAIL() << "it did not raise";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "MX_TypedTS::Receive_Message() is not supported.");
    }
    EXPECT_EQ(rc, Code::TIMED_OUT);
}

TEST_F(MX_TypedTSTest, ReceiveMessageRaisesWhateverTheArguments) {
    expectReceiveRaises(typed, 0);
    start();
    expectReceiveRaises(typed, -1);
    long long const id = transport.connect("Events");
    ASSERT_EQ(typed.registerCallback(id, into(mailbox)), Code::NO_ERROR);
    expectReceiveRaises(typed, id);
}

// ---- Codes

TEST_F(MX_TypedTSStarted, UnknownIdsAreRefused) {
    transport.connect("Events");
    for (long long id : {-1LL, -5000000000LL, 1LL, 0xFFFFFFFFLL}) {
        EXPECT_EQ(typed.registerSender(id), Code::INVALID_PARAM) << id;
        EXPECT_EQ(typed.registerCallback(id, into(mailbox)), Code::INVALID_PARAM) << id;
        EXPECT_EQ(typed.send(id, event("lost")), Code::INVALID_PARAM) << id;
    }
}

TEST_F(MX_TypedTSStarted, SendingNeedsASender) {
    long long const id = transport.connect("Events");
    EXPECT_EQ(typed.send(id, event("lost")), Code::NOT_AVAILABLE);
    ASSERT_EQ(typed.registerCallback(id, into(mailbox)), Code::NO_ERROR);
    EXPECT_EQ(typed.send(id, event("lost")), Code::NOT_AVAILABLE);
    ASSERT_EQ(typed.registerSender(id), Code::NO_ERROR);
    EXPECT_EQ(typed.send(id, event("kept")), Code::NO_ERROR);
    ASSERT_EQ(transport.unregisterSender(id), Code::NO_ERROR);
    EXPECT_EQ(typed.send(id, event("lost")), Code::NOT_AVAILABLE);
}

TEST_F(MX_TypedTSTest, PublishAnswersFalseWithoutATransport) {
    FACE::TSS::Details::MX_TypedTS<EventLog> ts;
    EXPECT_FALSE(ts.Publish(0, event("lost")));
    EXPECT_FALSE(typed.ts.Publish(0, event("lost")));  // not initialized
}

TEST_F(MX_TypedTSStarted, PublishTellsWhetherTheRecordWasTaken) {
    long long const id = transport.connect("Events");
    EXPECT_FALSE(typed.ts.Publish(id, event("without a sender")));
    ASSERT_EQ(typed.registerCallback(id, into(mailbox)), Code::NO_ERROR);
    ASSERT_EQ(typed.registerSender(id), Code::NO_ERROR);
    ASSERT_TRUE(transport.publisherHas(id, 1));
    EXPECT_TRUE(typed.ts.Publish(id, event("taken")));
    EXPECT_EQ(mailbox.take()->record.eventlog(), "taken");
    EXPECT_FALSE(typed.ts.Publish(transport.connect("Commands"), event("another type")));
}

TEST_F(MX_TypedTSStarted, PublishRaisesForAnUnknownId) {
    EXPECT_THROW(typed.ts.Publish(77, event("lost")), std::out_of_range);
    EXPECT_THROW(typed.ts.Publish(-1, event("lost")), std::out_of_range);
}

TEST_F(MX_TypedTSStarted, ASecondSenderIsNoActionAndTheFirstStays) {
    long long const id = transport.connect("Events");
    ASSERT_EQ(typed.registerSender(id), Code::NO_ERROR);
    auto const* const first = transport.at(id).publisherListener();
    EXPECT_EQ(typed.registerSender(id), Code::NO_ACTION);
    EXPECT_EQ(transport.at(id).publisherListener(), first);
    EXPECT_EQ(typed.send(id, event("one")), Code::NO_ERROR);
}

TEST_F(MX_TypedTSStarted, ASecondCallbackIsNoActionAndTheFirstStays) {
    long long const id = transport.connect("Events");
    auto const before = FACE::TSS::Details::MX_TypedTS<EventLog>::subscriber_entry.load();
    ASSERT_EQ(typed.registerCallback(id, into(mailbox)), Code::NO_ERROR);
    Mailbox<Received<EventLog>> never;
    EXPECT_EQ(typed.registerCallback(id, into(never)), Code::NO_ACTION);
    EXPECT_EQ(FACE::TSS::Details::MX_TypedTS<EventLog>::subscriber_entry, before + 1);
    ASSERT_EQ(typed.registerSender(id), Code::NO_ERROR);
    ASSERT_TRUE(transport.subscriberHas(id, 1) && transport.publisherHas(id, 1));
    ASSERT_EQ(typed.send(id, event("one")), Code::NO_ERROR);
    EXPECT_TRUE(mailbox.take());
    EXPECT_EQ(never.size(), 0U);
}

TEST_F(MX_TypedTSStarted, AConnectionOfAnotherTypeIsRefused) {
    long long const id = transport.connect("Commands");
    EXPECT_EQ(typed.registerSender(id), Code::INVALID_PARAM);
    EXPECT_EQ(typed.registerCallback(id, into(mailbox)), Code::INVALID_PARAM);
    Typed<CommandResponse> owner(transport.tss);
    ASSERT_EQ(owner.registerSender(id), Code::NO_ERROR);
    EXPECT_EQ(typed.send(id, event("read as a command")), Code::INVALID_PARAM);
    EXPECT_EQ(typed.registerSender(id), Code::INVALID_PARAM);
}

TEST_F(MX_TypedTSStarted, ATypeNameThatAnotherRecordUsesIsRefused) {
    // The library would encode with the support of the first connection of that name.
    long long const first = transport.connect("Events");
    long long const second = transport.connect("Disguised");
    Typed<GSSIP> gssip(transport.tss);
    EXPECT_EQ(gssip.registerSender(second), Code::INVALID_PARAM);
    EXPECT_EQ(typed.registerSender(second), Code::INVALID_PARAM);
    EXPECT_EQ(typed.registerSender(first), Code::NO_ERROR);
}

TEST_F(MX_TypedTSTest, ARefusedEndpointIsAClosedConnectionWithItsTextOnStandardError) {
    Transport impossible(text.set("HistoryDepth", "0"));
    ASSERT_EQ(impossible.initialize(), Code::NO_ERROR);
    Typed<EventLog> events(impossible.tss);
    long long const id = impossible.connect("Events");
    testing::internal::CaptureStderr();
    EXPECT_EQ(events.registerSender(id), Code::CONNECTION_CLOSED);
    EXPECT_NE(testing::internal::GetCapturedStderr().find(
                  "Participant Tester invalid publisher QOS for topic: Events\n"),
              std::string::npos);
    auto const before = FACE::TSS::Details::MX_TypedTS<EventLog>::subscriber_entry.load();
    testing::internal::CaptureStderr();
    EXPECT_EQ(events.registerCallback(id, into(mailbox)), Code::CONNECTION_CLOSED);
    EXPECT_NE(testing::internal::GetCapturedStderr().find(
                  "Participant Tester invalid subscriber QOS for topic: Events\n"),
              std::string::npos);
    EXPECT_EQ(FACE::TSS::Details::MX_TypedTS<EventLog>::subscriber_entry, before);
    EXPECT_EQ(events.send(id, event("lost")), Code::NOT_AVAILABLE);
}

/// A type whose records cannot be encoded.
class Unencodable : public eprosima::fastdds::dds::TopicDataType {
public:
    Unencodable() {
        m_typeSize = 8;
        setName("Unencodable");
    }
    bool serialize(void* /*record*/,
                   eprosima::fastrtps::rtps::SerializedPayload_t* /*payload*/) override {
        return false;
    }
    bool deserialize(eprosima::fastrtps::rtps::SerializedPayload_t* /*payload*/,
                     void* /*record*/) override {
        return false;
    }
    std::function<std::uint32_t()> getSerializedSizeProvider(void* /*record*/) override {
        return [] { return 8U; };
    }
    void* createData() override { return new int(0); }
    void deleteData(void* record) override { delete static_cast<int*>(record); }
    bool getKey(void* /*record*/, eprosima::fastrtps::rtps::InstanceHandle_t* /*handle*/,
                bool /*force*/) override {
        return false;
    }
};

TEST_F(MX_TypedTSStarted, ARecordThatTheLibraryDoesNotTakeIsAnOverflow) {
    using eprosima::fastrtps::Domain;
    Unencodable type;
    eprosima::fastrtps::ParticipantAttributes participantAttributes;
    participantAttributes.domainId = domain.id();
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    auto* const participant = Domain::createParticipant(participantAttributes);
#pragma GCC diagnostic pop
    ASSERT_TRUE(participant != nullptr && Domain::registerType(participant, &type));
    eprosima::fastrtps::PublisherAttributes attributes;
    attributes.topic.topicName = "Elsewhere";
    attributes.topic.topicDataType = type.getName();
    auto* const publisher = Domain::createPublisher(participant, attributes);
    ASSERT_NE(publisher, nullptr);

    long long const id = transport.connect("Events");
    transport.at(id).setPublisher(nullptr, publisher);
    EXPECT_EQ(typed.send(id, event("not taken")), Code::DATA_OVERFLOW);
    EXPECT_FALSE(typed.ts.Publish(id, event("not taken")));
    transport.at(id).clearPublisher();
    Domain::removeParticipant(participant);
}

// ---- The road of a record

TEST_F(MX_TypedTSStarted, OwnRecordsComeOnTheSendingThreadBeforeSendReturns) {
    long long const id = transport.connect("Events");
    ASSERT_EQ(typed.registerCallback(id, into(mailbox)), Code::NO_ERROR);
    ASSERT_EQ(typed.registerSender(id), Code::NO_ERROR);
    ASSERT_TRUE(transport.subscriberHas(id, 1) && transport.publisherHas(id, 1));
    ASSERT_EQ(typed.send(id, event("mine")), Code::NO_ERROR);
    ASSERT_EQ(mailbox.size(), 1U);
    EXPECT_EQ(mailbox.take()->thread, std::this_thread::get_id());
}

TEST_F(MX_TypedTSStarted, ACallbackMaySendOnItsOwnConnection) {
    long long const id = transport.connect("Events");
    ASSERT_EQ(typed.registerCallback(
                  id,
                  [&](long long connection, long long transaction, EventLog const& record,
                      FACE::TSS::HEADER_TYPE const& header,
                      FACE::Sequence<FACE::TSS::QoS_Element> const& policies, Code::Value& code) {
                      into(mailbox)(connection, transaction, record, header, policies, code);
                      if (record.eventlog() == "question") {
                          EXPECT_EQ(typed.send(id, event("answer")), Code::NO_ERROR);
                      }
                  }),
              Code::NO_ERROR);
    ASSERT_EQ(typed.registerSender(id), Code::NO_ERROR);
    ASSERT_TRUE(transport.subscriberHas(id, 1) && transport.publisherHas(id, 1));
    ASSERT_EQ(typed.send(id, event("question")), Code::NO_ERROR);
    EXPECT_EQ(mailbox.take()->record.eventlog(), "question");
    EXPECT_EQ(mailbox.take()->record.eventlog(), "answer");
}

TEST_F(MX_TypedTSStarted, ACallbackIsGivenAllThatBelongsToARecord) {
    Transport peer(text, "Peer");
    ASSERT_EQ(peer.initialize(), Code::NO_ERROR);
    Typed<EventLog> sender(peer.tss);
    peer.connect("Commands");  // so that the ids of both sides differ
    long long const there = peer.connect("Events");
    long long const here = transport.connect("Events");
    ASSERT_EQ(typed.registerCallback(here, into(mailbox)), Code::NO_ERROR);
    ASSERT_EQ(sender.registerSender(there), Code::NO_ERROR);
    ASSERT_TRUE(transport.subscriberHas(here, 1) && peer.publisherHas(there, 1));

    auto const before = std::chrono::system_clock::now().time_since_epoch();
    ASSERT_EQ(sender.send(there, event("first")), Code::NO_ERROR);
    ASSERT_EQ(sender.send(there, event("second")), Code::NO_ERROR);
    auto const after = std::chrono::system_clock::now().time_since_epoch();

    auto const first = mailbox.take();
    auto const second = mailbox.take();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->connection, here);
    EXPECT_EQ(first->record, event("first"));
    EXPECT_EQ(second->record, event("second"));
    EXPECT_EQ(first->transaction, 1);
    EXPECT_EQ(second->transaction, 2);
    EXPECT_EQ(first->code, Code::NO_ERROR);
    // RTPS: the last byte of an entity id tells a writer (3) from a reader (4), without key.
    EXPECT_EQ(first->header.source_uid & 0xFF, 0x03);
    EXPECT_EQ(first->header.destination_uid & 0xFF, 0x04);
    EXPECT_EQ(first->header.source_uid, second->header.source_uid);
    EXPECT_GT(first->header.source_uid, 0);
    // The library keeps times as fractions of 2^-32 s: a rounding step is below one nanosecond.
    EXPECT_GE(first->header.timestamp + 2, std::chrono::nanoseconds(before).count());
    EXPECT_LE(second->header.timestamp - 2, std::chrono::nanoseconds(after).count());
    std::vector<std::pair<std::string, std::string>> const policies = {
        {"DurabilityQosPolicy", "VOLATILE_DURABILITY_QOS"},
        {"LivelinessQosPolicy", "AUTOMATIC_LIVELINESS_QOS"},
        {"ReliabilityQosPolicy", "RELIABLE_RELIABILITY_QOS"}};
    EXPECT_EQ(first->policies, policies);
}

TEST_F(MX_TypedTSTest, PoliciesAreThoseOfTheReader) {
    Transport other(text.set("UseBestEffort", "1").set("BackFillHistory", "TRUE"), "Other");
    ASSERT_EQ(other.initialize(), Code::NO_ERROR);
    Typed<EventLog> events(other.tss);
    long long const id = other.connect("Events");
    ASSERT_EQ(events.registerCallback(id, into(mailbox)), Code::NO_ERROR);
    ASSERT_EQ(events.registerSender(id), Code::NO_ERROR);
    ASSERT_TRUE(other.subscriberHas(id, 1) && other.publisherHas(id, 1));
    ASSERT_EQ(events.send(id, event("one")), Code::NO_ERROR);
    auto const received = mailbox.take();
    ASSERT_TRUE(received);
    std::vector<std::pair<std::string, std::string>> const policies = {
        {"DurabilityQosPolicy", "TRANSIENT_LOCAL_DURABILITY_QOS"},
        {"LivelinessQosPolicy", "AUTOMATIC_LIVELINESS_QOS"},
        {"ReliabilityQosPolicy", "BEST_EFFORT_RELIABILITY_QOS"}};
    EXPECT_EQ(received->policies, policies);
}

TEST_F(MX_TypedTSStarted, RecordsBeyondTheirBoundsArriveWhole) {
    Typed<GSSIP> gssip(transport.tss);
    Mailbox<Received<GSSIP>> messages;
    long long const id = transport.connect("Renamed");
    ASSERT_EQ(gssip.registerCallback(id, into(messages)), Code::NO_ERROR);
    ASSERT_EQ(gssip.registerSender(id), Code::NO_ERROR);
    ASSERT_TRUE(transport.subscriberHas(id, 1) && transport.publisherHas(id, 1));
    GSSIP message;
    message.data(std::vector<std::uint8_t>(5000, 0x5A));
    ASSERT_EQ(gssip.send(id, message), Code::NO_ERROR);
    auto const received = messages.take();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->record, message);
    ASSERT_EQ(transport.unregisterCallback(id), Code::NO_ERROR);
}

// ---- History

TEST_F(MX_TypedTSTest, BackFilledReadersGetTheHistoryThatTheWriterKeeps) {
    text.set("HistoryDepth", "3").set("BackFillHistory", "true");
    Transport writer(text, "Writer");
    ASSERT_EQ(writer.initialize(), Code::NO_ERROR);
    Typed<EventLog> sender(writer.tss);
    long long const there = writer.connect("Events");
    ASSERT_EQ(sender.registerSender(there), Code::NO_ERROR);
    for (char const* each : {"1", "2", "3", "4", "5"}) {
        ASSERT_EQ(sender.send(there, event(each)), Code::NO_ERROR);
    }
    Transport late(text, "Late");
    ASSERT_EQ(late.initialize(), Code::NO_ERROR);
    Typed<EventLog> receiver(late.tss);
    ASSERT_EQ(receiver.registerCallback(late.connect("Events"), into(mailbox)), Code::NO_ERROR);
    for (char const* each : {"3", "4", "5"}) {
        auto const received = mailbox.take();
        ASSERT_TRUE(received);
        EXPECT_EQ(received->record.eventlog(), each);
    }
}

TEST_F(MX_TypedTSStarted, VolatileReadersGetOnlyWhatComesAfterThem) {
    Transport writer(text, "Writer");
    ASSERT_EQ(writer.initialize(), Code::NO_ERROR);
    Typed<EventLog> sender(writer.tss);
    long long const there = writer.connect("Events");
    ASSERT_EQ(sender.registerSender(there), Code::NO_ERROR);
    ASSERT_EQ(sender.send(there, event("before")), Code::NO_ERROR);
    long long const here = transport.connect("Events");
    ASSERT_EQ(typed.registerCallback(here, into(mailbox)), Code::NO_ERROR);
    ASSERT_TRUE(transport.subscriberHas(here, 1) && writer.publisherHas(there, 1));
    ASSERT_EQ(sender.send(there, event("after")), Code::NO_ERROR);
    auto const received = mailbox.take();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->record.eventlog(), "after");
}

// ---- Callbacks that fail

TEST_F(MX_TypedTSStarted, WhatACallbackRaisesEndsOnStandardError) {
    long long const id = transport.connect("Events");
    int calls = 0;
    ASSERT_EQ(typed.registerCallback(
                  id,
                  [&](long long, long long, EventLog const&, FACE::TSS::HEADER_TYPE const&,
                      FACE::Sequence<FACE::TSS::QoS_Element> const&, Code::Value&) {
                      if (++calls == 1) {
                          throw std::runtime_error("no such thing");
                      }
                      throw 5;  // NOLINT(misc-throw-by-value-catch-by-reference)
                  }),
              Code::NO_ERROR);
    ASSERT_EQ(typed.registerSender(id), Code::NO_ERROR);
    ASSERT_TRUE(transport.subscriberHas(id, 1) && transport.publisherHas(id, 1));
    testing::internal::CaptureStderr();
    EXPECT_EQ(typed.send(id, event("one")), Code::NO_ERROR);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Tester: callback of connection 0 raised: no such thing\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(typed.send(id, event("two")), Code::NO_ERROR);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Tester: callback of connection 0 raised: unknown exception\n");
    EXPECT_EQ(calls, 2);
}

TEST_F(MX_TypedTSStarted, AnEmptyCallbackEndsOnStandardErrorToo) {
    long long const id = transport.connect("Events");
    ASSERT_EQ(typed.registerCallback(id, nullptr), Code::NO_ERROR);
    ASSERT_EQ(typed.registerSender(id), Code::NO_ERROR);
    ASSERT_TRUE(transport.subscriberHas(id, 1) && transport.publisherHas(id, 1));
    testing::internal::CaptureStderr();
    EXPECT_EQ(typed.send(id, event("one")), Code::NO_ERROR);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Tester: callback of connection 0 raised: bad_function_call\n");
}

// ---- Threads

TEST_F(MX_TypedTSStarted, SendingMayGoOnWhileTheSenderIsRemoved) {
    long long const id = transport.connect("Events");
    std::atomic<bool> stop{false};
    std::atomic<unsigned> sent{0};
    std::atomic<unsigned> refused{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!stop) {
                switch (typed.send(id, event("again"))) {
                    case Code::NO_ERROR:
                        ++sent;
                        break;
                    case Code::NOT_AVAILABLE:
                        ++refused;
                        break;
                    default:
                        ADD_FAILURE();
                }
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        unsigned const sentBefore = sent;
        unsigned const refusedBefore = refused;
        EXPECT_EQ(typed.registerSender(id), Code::NO_ERROR);
        EXPECT_TRUE(bench::holdsInTime([&] { return sent > sentBefore; }));
        EXPECT_EQ(transport.unregisterSender(id), Code::NO_ERROR);
        EXPECT_TRUE(bench::holdsInTime([&] { return refused > refusedBefore; }));
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(MX_TypedTSStarted, AnUnregisteredCallbackIsNotCalledAnyMore) {
    Transport peer(text, "Peer");
    ASSERT_EQ(peer.initialize(), Code::NO_ERROR);
    Typed<EventLog> sender(peer.tss);
    long long const there = peer.connect("Events");
    long long const here = transport.connect("Events");
    ASSERT_EQ(sender.registerSender(there), Code::NO_ERROR);
    std::atomic<bool> stop{false};
    std::thread sending([&] {
        while (!stop) {
            EXPECT_EQ(sender.send(there, event("again")), Code::NO_ERROR);
        }
    });
    for (int round = 0; round < 20; ++round) {
        auto calls = std::make_unique<std::atomic<unsigned>>(0);
        auto const count = [&counter = *calls](long long, long long, EventLog const&,
                                               FACE::TSS::HEADER_TYPE const&,
                                               FACE::Sequence<FACE::TSS::QoS_Element> const&,
                                               Code::Value&) { ++counter; };
        EXPECT_EQ(typed.registerCallback(here, count), Code::NO_ERROR);
        EXPECT_TRUE(bench::holdsInTime([&] { return *calls > 0; }));
        EXPECT_EQ(transport.unregisterCallback(here), Code::NO_ERROR);
        calls.reset();  // a call after this reads freed memory, which the sanitizers see
    }
    stop = true;
    sending.join();
}

}  // namespace
