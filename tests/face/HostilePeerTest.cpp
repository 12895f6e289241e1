// What strangers put on our topics.

#include <cstdint>
#include <string>
#include <vector>

#include <fastdds/dds/log/Log.hpp>
#include <gtest/gtest.h>

#include "aspn2_msgs/BitReport.h"
#include "aspn2_msgs/EventLog.h"
#include "bench/Patience.h"
#include "tests/face/RawWriter.h"
#include "tests/face/TypedTransport.h"

namespace {

using aspn2_msgs::idl::BitReport;
using aspn2_msgs::idl::EventLog;
using Bytes = std::vector<std::uint8_t>;

/// A whole record behind its encapsulation: header of zeroes, then `rest`.
Bytes record(Bytes const& rest) {
    Bytes bytes(4 + 44 + rest.size());
    bytes[1] = 1;
    std::copy(rest.begin(), rest.end(), bytes.begin() + 48);
    return bytes;
}

Bytes eventRecord(char letter) {
    return record({2, 0, 0, 0, 2, 0, 0, 0, static_cast<std::uint8_t>(letter), 0});
}

class HostilePeerTest : public testing::Test {
protected:
    HostilePeerTest() {
        text.set("HistoryDepth", "50");
        text.connections = {
            {"Events", TransportText::topic("aspn2_msgs::idl::EventLog", "EventLogPubSubType")},
            {"Bits", TransportText::topic("aspn2_msgs::idl::BitReport", "BitReportPubSubType")}};
    }

    bench::DomainLock domain;
    TransportText text{domain};
    Mailbox<Received<EventLog>> events;
    Mailbox<Received<BitReport>> reports;
};

TEST_F(HostilePeerTest, WhatIsNoRecordReachesNoCallbackAndWhatFollowsDoes) {
    Transport transport(text);
    ASSERT_EQ(transport.initialize(), Code::NO_ERROR);
    Typed<BitReport> typed(transport.tss);
    long long const id = transport.connect("Bits");
    ASSERT_EQ(typed.registerCallback(id, into(reports)), Code::NO_ERROR);
    RawWriter peer(domain.id(), "Bits", "aspn2_msgs::idl::BitReport");
    ASSERT_TRUE(bench::holdsInTime([&] { return peer.matched() == 1; }) &&
                transport.subscriberHas(id, 1));

    Bytes const good = record({1, 0, 0, 0, 7, 0, 0, 0, 8, 0, 0, 0, 1, 0, 0, 0,  //
                               9, 0, 0, 0, 1, 0, 0, 1});
    Bytes badBoolean = good;
    badBoolean[48] = 2;
    Bytes badEncapsulation = good;
    badEncapsulation[1] = 0x77;
    Bytes endless = good;
    std::fill_n(endless.begin() + 60, 4, 0xFF);
    Bytes const truncated(good.begin(), good.end() - 1);
    for (Bytes const& hostile : {badBoolean, badEncapsulation, endless, truncated, Bytes{0},
                                 Bytes{0, 1, 0, 0}, Bytes(5000, 0xFF)}) {
        peer.write(hostile);
        peer.write(good);
        auto const received = reports.take();
        ASSERT_TRUE(received);
        EXPECT_EQ(received->record.num_servers_expected(), 7);
        ASSERT_EQ(received->record.bit_components().size(), 1U);
        EXPECT_TRUE(received->record.bit_components()[0].critical_received());
    }
    EXPECT_EQ(reports.size(), 0U);
}

TEST_F(HostilePeerTest, DisposedAndUnregisteredSamplesReachNoCallback) {
    Transport transport(text);
    ASSERT_EQ(transport.initialize(), Code::NO_ERROR);
    Typed<EventLog> typed(transport.tss);
    long long const id = transport.connect("Events");
    ASSERT_EQ(typed.registerCallback(id, into(events)), Code::NO_ERROR);
    RawWriter peer(domain.id(), "Events", "aspn2_msgs::idl::EventLog");
    ASSERT_TRUE(bench::holdsInTime([&] { return peer.matched() == 1; }) &&
                transport.subscriberHas(id, 1));
    peer.write(eventRecord('a'));
    peer.write(eventRecord('b'), eprosima::fastrtps::rtps::NOT_ALIVE_DISPOSED);
    peer.write(eventRecord('c'), eprosima::fastrtps::rtps::NOT_ALIVE_UNREGISTERED);
    peer.write(eventRecord('d'), eprosima::fastrtps::rtps::NOT_ALIVE_DISPOSED_UNREGISTERED);
    peer.write(eventRecord('e'));
    for (auto const& [letter, transaction] : {std::pair{"a", 1LL}, std::pair{"e", 5LL}}) {
        auto const received = events.take();
        ASSERT_TRUE(received);
        EXPECT_EQ(received->record.eventlog(), letter);
        EXPECT_EQ(received->transaction, transaction);
    }
    EXPECT_EQ(events.size(), 0U);
}

TEST_F(HostilePeerTest, WhatTheLibraryReportsIsAPlainLineOnStandardError) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    {
        Transport transport(text.set("UseTransport", "none"));
        EXPECT_EQ(transport.initialize(), Code::INVALID_CONFIG);
        eprosima::fastdds::dds::Log::Flush();
    }
    std::string const errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_NE(errors.find("FastRTPS error [PARTICIPANT] Problem creating RTPSParticipant\n"),
              std::string::npos)
        << errors;
    EXPECT_EQ(errors.find('\x1B'), std::string::npos);
}

}  // namespace
