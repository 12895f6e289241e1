#include <string>
#include <utility>
#include <vector>

#include <fastrtps/qos/QosPolicies.h>
#include <gtest/gtest.h>

#include "face/Listeners.h"

namespace {

using namespace FACE::TSS::Listeners;
using eprosima::fastrtps::rtps::MATCHED_MATCHING;
using eprosima::fastrtps::rtps::MatchingInfo;
using eprosima::fastrtps::rtps::REMOVED_MATCHING;

TEST(Listeners, UidIsTheEntityIdHighestByteFirst) {
    eprosima::fastrtps::rtps::GUID_t guid;
    guid.entityId.value[0] = 0x12;
    guid.entityId.value[1] = 0x34;
    guid.entityId.value[2] = 0x56;
    guid.entityId.value[3] = 0xF8;
    EXPECT_EQ(GuidToUid(guid), 0x123456F8U);
    guid.guidPrefix.value[0] = 0x99;
    guid.guidPrefix.value[11] = 0x99;
    EXPECT_EQ(GuidToUid(guid), 0x123456F8U);
    guid.entityId.value[0] = 0xFF;
    EXPECT_EQ(GuidToUid(guid), 0xFF3456F8U);
    EXPECT_EQ(GuidToUid(eprosima::fastrtps::rtps::GUID_t()), 0U);
}

/// The element's name and value for each number of the policy's kind.
template <class Policy, class Convert>
void expectElements(std::string const& name, Convert convert,
                    std::vector<std::pair<unsigned char, std::string>> const& expected) {
    for (auto const& [kind, value] : expected) {
        Policy policy;
        policy.kind = static_cast<decltype(policy.kind)>(kind);
        FACE::TSS::QoS_Element const element = convert(policy);
        EXPECT_EQ(FACE::ToStdString(element.name), name);
        EXPECT_EQ(FACE::ToStdString(element.value), value) << int{kind};
    }
}

TEST(Listeners, DurabilityHasFourKinds) {
    expectElements<eprosima::fastrtps::DurabilityQosPolicy>("DurabilityQosPolicy",
                                                            DurabilityQosPolicyToElement,
                                                            {{0, "VOLATILE_DURABILITY_QOS"},
                                                             {1, "TRANSIENT_LOCAL_DURABILITY_QOS"},
                                                             {2, "TRANSIENT_DURABILITY_QOS"},
                                                             {3, "PERSISTENT_DURABILITY_QOS"},
                                                             {4, "UNKNOWN_DURABILITY_QOS"},
                                                             {255, "UNKNOWN_DURABILITY_QOS"}});
}

TEST(Listeners, LivelinessHasThreeKinds) {
    expectElements<eprosima::fastrtps::LivelinessQosPolicy>(
        "LivelinessQosPolicy", LivelinessQosPolicyToElement,
        {{0, "AUTOMATIC_LIVELINESS_QOS"},
         {1, "MANUAL_BY_PARTICIPANT_LIVELINESS_QOS"},
         {2, "MANUAL_BY_TOPIC_LIVELINESS_QOS"},
         {3, "UNKNOWN_LIVELINESS_QOS"},
         {255, "UNKNOWN_LIVELINESS_QOS"}});
}

TEST(Listeners, ReliabilityHasTwoKinds) {
    expectElements<eprosima::fastrtps::ReliabilityQosPolicy>("ReliabilityQosPolicy",
                                                             ReliabilityQosPolicyToElement,
                                                             {{0, "UNKNOWN_RELIABILITY_QOS"},
                                                              {1, "BEST_EFFORT_RELIABILITY_QOS"},
                                                              {2, "RELIABLE_RELIABILITY_QOS"},
                                                              {3, "UNKNOWN_RELIABILITY_QOS"}});
}

template <class Listener, class Match>
void expectCounts(Match match) {
    Listener listener("Corvane");
    EXPECT_EQ(listener.participantName(), "Corvane");
    EXPECT_EQ(listener.matched(), 0U);
    MatchingInfo info;
    info.status = MATCHED_MATCHING;
    match(listener, info);
    match(listener, info);
    EXPECT_EQ(listener.matched(), 2U);
    info.status = REMOVED_MATCHING;
    match(listener, info);
    EXPECT_EQ(listener.matched(), 1U);
    match(listener, info);
    EXPECT_EQ(listener.matched(), 0U);
}

TEST(Listeners, PublishersCountTheirMatches) {
    expectCounts<PublisherListenerBase>([](PublisherListenerBase& listener, MatchingInfo& info) {
        listener.onPublicationMatched(nullptr, info);
    });
}

TEST(Listeners, SubscribersCountTheirMatches) {
    expectCounts<SubscriberListenerBase>([](SubscriberListenerBase& listener, MatchingInfo& info) {
        listener.onSubscriptionMatched(nullptr, info);
    });
}

TEST(Listeners, HeaderTellsWriterReaderAndTime) {
    eprosima::fastrtps::SampleInfo_t info;
    eprosima::fastrtps::rtps::GUID_t writer;
    writer.entityId.value[2] = 1;
    writer.entityId.value[3] = 3;
    info.sample_identity.writer_guid(writer);
    // Half a second as a fraction of 2^32.
    info.sourceTimestamp = eprosima::fastrtps::rtps::Time_t(1700000000, 0x80000000U);
    eprosima::fastrtps::rtps::GUID_t reader;
    reader.entityId.value[3] = 4;
    FACE::TSS::HEADER_TYPE const header = HeaderOf(info, reader);
    EXPECT_EQ(header.source_uid, 0x103);
    EXPECT_EQ(header.destination_uid, 4);
    EXPECT_EQ(header.timestamp, 1700000000500000000);
}

}  // namespace
