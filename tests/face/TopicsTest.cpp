#include <memory>
#include <string>
#include <vector>

#include <fastdds/dds/topic/TopicDataType.hpp>
#include <gtest/gtest.h>

#include "face/Topics.h"

namespace {

using FACE::TSS::Topics::GetPubSubType;

std::vector<std::string> const KEYS = {
    "AltitudePubSubType",
    "BitReportPubSubType",
    "BitEntryStatusPubSubType",
    "ChallengedEnvironmentPubSubType",
    "ChannelStatusPubSubType",
    "CommandResponsePubSubType",
    "DeltaTimeAndFrequencyPubSubType",
    "EventLogPubSubType",
    "GNSSPubSubType",
    "GNSSSubframePubSubType",
    "GPSTimePubSubType",
    "IMUPubSubType",
    "MaintenanceEventPubSubType",
    "MeasurementIncorporationStatusPubSubType",
    "MeridanePNTPubSubType",
    "NavigationModePubSubType",
    "PositionVelocityPubSubType",
    "PositionVelocityAttitudePubSubType",
    "ThreeAxisMagnetometerPubSubType",
    "TimeAtTheTonePubSubType",
    "UtcDownlinkPubSubType",
    "UTCTimePubSubType",
    "GSSIPPubSubType",
    "Velocity3DPubSubType",
    "ReceiverStatusPubSubType",
    "GPSLineOfSightPubSubType",
    "GPSCryptoStatusPubSubType",
    "AssuranceStatePubSubType",
    "PlatformDynamicsPubSubType",
    "TimeSyncPubSubType",
    "SVStatusPubSubType",
    "ForwardReverseStatusPubSubType",
};

TEST(Topics, EachKeyGivesTheSupportOfItsRecord) {
    ASSERT_EQ(KEYS.size(), 32U);
    for (std::string const& key : KEYS) {
        auto const type = GetPubSubType(key);
        ASSERT_NE(type, nullptr) << key;
        std::string const record = key.substr(0, key.size() - std::string("PubSubType").size());
        EXPECT_EQ(type->getName(), "aspn2_msgs::idl::" + record);
        EXPECT_GT(type->m_typeSize, 47U);
    }
}

TEST(Topics, EachCallGivesANewSupport) {
    EXPECT_NE(GetPubSubType("GSSIPPubSubType"), GetPubSubType("GSSIPPubSubType"));
}

TEST(Topics, OnlyExactKeysCount) {
    for (char const* key :
         {"", "GSSIP", "gssippubsubtype", "GSSIPPubsubType", "GSSIPPubSubType ", " GSSIPPubSubType",
          "headerPubSubType", "aspn2_msgs::idl::GSSIPPubSubType"}) {
        EXPECT_EQ(GetPubSubType(key), nullptr) << key;
    }
    EXPECT_EQ(GetPubSubType(std::string("GSSIPPubSubType\0", 16)), nullptr);
}

}  // namespace
