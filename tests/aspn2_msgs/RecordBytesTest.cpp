// Bytes on the wire, written by hand: the peers are other programs.

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include <fastcdr/Cdr.h>
#include <fastcdr/FastBuffer.h>
#include <gtest/gtest.h>

#include "aspn2_msgs/BitReport.h"
#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/EventLog.h"
#include "aspn2_msgs/GPSLineOfSight.h"
#include "aspn2_msgs/GSSIP.h"
#include "aspn2_msgs/MaintenanceEvent.h"
#include "aspn2_msgs/MeridanePNT.h"
#include "aspn2_msgs/PositionVelocity.h"
#include "aspn2_msgs/TimeAtTheTone.h"
#include "aspn2_msgs/TopicTypes.h"

namespace {

using namespace aspn2_msgs::idl;
using aspn2_msgs::TopicPubSubType;
using Bytes = std::vector<std::uint8_t>;
using Payload = eprosima::fastrtps::rtps::SerializedPayload_t;

header exampleHeader() {
    timestamp arrival;
    arrival.sec(0x0102030405060708);
    arrival.nsec(999999999);
    arrival.time_code(2);
    timestamp valid;
    valid.sec(-1);
    valid.nsec(0);
    valid.time_code(-2);
    header head;
    head.seq_num(0x1122334455667788);
    head.timestamp_arrival(arrival);
    head.timestamp_valid(valid);
    head.device_id(0x0A600B0C);
    return head;
}

// clang-format off
Bytes const HEADER_BYTES = {
    0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,  // seq_num
    0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01,  // timestamp_arrival.sec
    0xFF, 0xC9, 0x9A, 0x3B,                          // timestamp_arrival.nsec
    0x02, 0x00, 0x00, 0x00,                          // timestamp_arrival.time_code
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,  // timestamp_valid.sec
    0x00, 0x00, 0x00, 0x00,                          // timestamp_valid.nsec
    0xFE, 0xFF, 0xFF, 0xFF,                          // timestamp_valid.time_code
    0x0C, 0x0B, 0x60, 0x0A,                          // device_id
};
// clang-format on

/// Encapsulation (CDR, low byte first), the header above and what follows it.
Bytes withHeader(Bytes const& rest) {
    Bytes bytes;
    bytes.reserve(4 + HEADER_BYTES.size() + rest.size());
    bytes.assign({0x00, 0x01, 0x00, 0x00});
    bytes.insert(bytes.end(), HEADER_BYTES.begin(), HEADER_BYTES.end());
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    return bytes;
}

template <class T>
Bytes serialize(T record) {
    Payload payload(70000);
    EXPECT_TRUE(TopicPubSubType<T>().serialize(&record, &payload));
    return Bytes(payload.data, payload.data + payload.length);
}

template <class T>
bool deserialize(Bytes const& bytes, T& record) {
    Payload payload(static_cast<std::uint32_t>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), payload.data);
    payload.length = static_cast<std::uint32_t>(bytes.size());
    return TopicPubSubType<T>().deserialize(&payload, &record);
}

template <class T>
void expectBothWays(T const& record, Bytes const& bytes) {
    EXPECT_EQ(serialize(record), bytes);
    T received;
    ASSERT_TRUE(deserialize(bytes, received));
    EXPECT_EQ(received, record);
}

TEST(RecordBytes, HeaderHasItsBytes) {
    std::array<char, 44> room{};
    eprosima::fastcdr::FastBuffer buffer(room.data(), room.size());
    eprosima::fastcdr::Cdr cdr(buffer, eprosima::fastcdr::Cdr::LITTLE_ENDIANNESS,
                               eprosima::fastcdr::Cdr::DDS_CDR);
    exampleHeader().serialize(cdr);
    EXPECT_EQ(Bytes(room.begin(), room.end()), HEADER_BYTES);
    EXPECT_EQ(cdr.getSerializedDataLength(), 44U);
    EXPECT_EQ(header::getMaxCdrSerializedSize(0), 44U);
}

TEST(RecordBytes, CommandResponseHasItsBytes) {
    CommandResponse record;
    record.header(exampleHeader());
    record.commanded_device_id(0x01020304);
    record.command_identifier(-3);
    record.command_response_type(COMMAND_RESPONSE_TYPE_RESPONSE);
    record.command_response("ZP_ACK");
    // clang-format off
    expectBothWays(record, withHeader({
        0x04, 0x03, 0x02, 0x01,
        0xFD, 0xFF, 0xFF, 0xFF,
        0x01, 0x00, 0x00, 0x00,
        0x07, 0x00, 0x00, 0x00, 'Z', 'P', '_', 'A', 'C', 'K', 0x00,
    }));
    // clang-format on
}

TEST(RecordBytes, EmptyCommandResponseComesBackWhole) {
    CommandResponse record;
    record.header(exampleHeader());
    // clang-format off
    expectBothWays(record, withHeader({
        0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00,
        0x00, 0x00, 0x00, 0x00,
        0x01, 0x00, 0x00, 0x00, 0x00,
    }));
    // clang-format on
}

TEST(RecordBytes, GssipHasItsBytes) {
    GSSIP record;
    record.header(exampleHeader());
    record.num_bytes(3);
    record.data({0xFF, 0x81, 0x00});
    expectBothWays(record, withHeader({3, 0, 0, 0, 3, 0, 0, 0, 0xFF, 0x81, 0x00}));
}

TEST(RecordBytes, GssipBeyondItsBoundTravelsWhole) {
    GSSIP record;
    record.header(exampleHeader());
    record.num_bytes(300);
    std::vector<std::uint8_t> data(300);
    std::iota(data.begin(), data.end(), std::uint8_t{0});
    record.data(data);
    EXPECT_EQ(GSSIP::getCdrSerializedSize(record, 0), 52U + 300U);
    Bytes const bytes = serialize(record);
    EXPECT_EQ(bytes.size(), 56U + 300U);
    GSSIP received;
    ASSERT_TRUE(deserialize(bytes, received));
    EXPECT_EQ(received.data(), data);
}

TEST(RecordBytes, TextBeyondItsBoundTravelsWhole) {
    CommandResponse record;
    record.command_response(std::string(1000, 'a'));
    CommandResponse received;
    ASSERT_TRUE(deserialize(serialize(record), received));
    EXPECT_EQ(received.command_response(), record.command_response());
}

TEST(RecordBytes, BitReportHasItsBytes) {
    BitReport record;
    record.header(exampleHeader());
    record.bit_rollup(true);
    record.num_servers_expected(2);
    record.num_servers_available(-1);
    bit_comp_set first;
    first.server_id(0x60);
    first.has_communicated(true);
    first.error_received(true);
    bit_comp_set second;
    second.server_id(-2);
    second.warn_received(true);
    second.critical_received(true);
    record.bit_components({first, second});
    // clang-format off
    expectBothWays(record, withHeader({
        0x01, 0x00, 0x00, 0x00,  // bit_rollup and the gap behind it
        0x02, 0x00, 0x00, 0x00,
        0xFF, 0xFF, 0xFF, 0xFF,
        0x02, 0x00, 0x00, 0x00,
        0x60, 0x00, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00,
        0xFE, 0xFF, 0xFF, 0xFF, 0x00, 0x01, 0x00, 0x01,
    }));
    // clang-format on
}

TEST(RecordBytes, BitReportSizeAgreesWithItsBytes) {
    BitReport record;
    for (std::size_t components = 0; components < 5; ++components) {
        EXPECT_EQ(serialize(record).size(), 4 + 44 + 16 + 8 * components);
        EXPECT_EQ(BitReport::getCdrSerializedSize(record, 0), 44 + 16 + 8 * components);
        record.bit_components().emplace_back();
    }
}

TEST(RecordBytes, MaintenanceEventHasItsBytes) {
    MaintenanceEvent record;
    record.header(exampleHeader());
    for (std::size_t i = 0; i < 4; ++i) {
        record.fault_sources()[i].lru_id(static_cast<std::int32_t>(i + 1));
        record.fault_sources()[i].component_id(-static_cast<std::int32_t>(i));
    }
    record.criticality_id(5);
    record.category_id(6);
    record.location_id(7);
    record.outcome_id(8);
    record.repeat_in_seconds(3600);
    std::copy_n("PNTD-0042", 9, record.identity().begin());
    std::copy_n("line lost", 9, record.description().begin());
    // clang-format off
    Bytes rest = {
        1, 0, 0, 0, 0x00, 0x00, 0x00, 0x00,
        2, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF,
        3, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF,
        4, 0, 0, 0, 0xFD, 0xFF, 0xFF, 0xFF,
        5, 0, 0, 0,  6, 0, 0, 0,  7, 0, 0, 0,  8, 0, 0, 0,
        0x10, 0x0E, 0, 0,
        'P', 'N', 'T', 'D', '-', '0', '0', '4', '2', 0, 0, 0, 0, 0, 0, 0,
        'l', 'i', 'n', 'e', ' ', 'l', 'o', 's', 't',
    };
    // clang-format on
    rest.resize(rest.size() + 56 - 9, 0);
    expectBothWays(record, withHeader(rest));
}

TEST(RecordBytes, PositionVelocityHasItsBytes) {
    PositionVelocity record;
    record.header(exampleHeader());
    record.position().latitude(1.0);
    record.position().longitude(-2.0);
    record.position().altitude(0.5);
    record.velocity({3.0, 4.0, -0.25});
    record.covariance()[0][1] = 8.0;
    record.covariance()[1][0] = -8.0;
    record.covariance()[5][5] = 100.0;
    // clang-format off
    Bytes rest = {
        0, 0, 0, 0,  // the header ends at 44, the doubles begin at a multiple of eight
        0, 0, 0, 0, 0, 0, 0xF0, 0x3F,
        0, 0, 0, 0, 0, 0, 0x00, 0xC0,
        0, 0, 0, 0, 0, 0, 0xE0, 0x3F,
        0, 0, 0, 0, 0, 0, 0x08, 0x40,
        0, 0, 0, 0, 0, 0, 0x10, 0x40,
        0, 0, 0, 0, 0, 0, 0xD0, 0xBF,
        0, 0, 0, 0, 0, 0, 0x00, 0x00,  // covariance, row by row
        0, 0, 0, 0, 0, 0, 0x20, 0x40,
    };
    rest.resize(rest.size() + std::size_t{4} * 8);
    Bytes const secondRow = {0, 0, 0, 0, 0, 0, 0x20, 0xC0};
    rest.insert(rest.end(), secondRow.begin(), secondRow.end());
    rest.resize(rest.size() + std::size_t{28} * 8);
    Bytes const last = {0, 0, 0, 0, 0, 0, 0x59, 0x40};
    rest.insert(rest.end(), last.begin(), last.end());
    // clang-format on
    expectBothWays(record, withHeader(rest));
}

TEST(RecordBytes, TypeSizesAreThoseOfTheBounds) {
    EXPECT_EQ(TimeAtTheTonePubSubType().m_typeSize, 4U + 44U);
    EXPECT_EQ(GSSIPPubSubType().m_typeSize, 4U + 44U + 8U + 100U);
    EXPECT_EQ(CommandResponsePubSubType().m_typeSize, 4U + 44U + 12U + 4U + 256U);
    EXPECT_EQ(EventLogPubSubType().m_typeSize, 4U + 44U + 4U + 4U + 256U);
    EXPECT_EQ(BitReportPubSubType().m_typeSize, 4U + 44U + 16U + 800U);
    EXPECT_EQ(MaintenanceEventPubSubType().m_typeSize, 4U + 44U + 52U + 72U);
    EXPECT_EQ(MeridanePNTPubSubType().m_typeSize, 4U + 48U + 20U * 8U + 4U);
    EXPECT_EQ(PositionVelocityPubSubType().m_typeSize, 4U + 48U + 42U * 8U);
}

TEST(RecordBytes, EnumerationsHaveTheNumbersOfTheWire) {
    EXPECT_EQ(COMMAND_RESPONSE_TYPE_COMMAND, 0U);
    EXPECT_EQ(COMMAND_RESPONSE_TYPE_RESPONSE, 1U);
    EXPECT_EQ(EVENT_LOG_TYPE_OTHER, 0U);
    EXPECT_EQ(EVENT_LOG_TYPE_DIAGNOSTIC, 1U);
    EXPECT_EQ(EVENT_LOG_TYPE_INFORMATION, 2U);
    EXPECT_EQ(EVENT_LOG_TYPE_FAILURE, 3U);
    EXPECT_EQ(EVENT_LOG_TYPE_LINK_LOST, 4U);
    EXPECT_EQ(EVENT_LOG_TYPE_RESERVED, 5U);
}

TEST(RecordBytes, UnlistedEnumerationValuesAreKept) {
    // A newer peer may know more of them.
    Bytes bytes = withHeader({0xFE, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0, 0});
    EventLog record;
    ASSERT_TRUE(deserialize(bytes, record));
    EXPECT_EQ(static_cast<std::uint32_t>(record.event_log_type()), 0xFFFFFFFEU);
    EXPECT_EQ(serialize(record), bytes);
}

TEST(RecordBytes, ALengthBeyondThePayloadTakesNoMemory) {
    for (std::uint32_t length : {0xFFFFFFFFU, 0x7FFFFFFFU, 0x10000U, 5U}) {
        Bytes const tail = {static_cast<std::uint8_t>(length),
                            static_cast<std::uint8_t>(length >> 8U),
                            static_cast<std::uint8_t>(length >> 16U),
                            static_cast<std::uint8_t>(length >> 24U),
                            0,
                            0,
                            0,
                            0};
        Bytes report = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
        report.insert(report.end(), tail.begin(), tail.end());
        BitReport bits;
        EXPECT_FALSE(deserialize(withHeader(report), bits));
        EXPECT_EQ(bits.bit_components().capacity(), 0U);

        Bytes message = {0, 0, 0, 0};
        message.insert(message.end(), tail.begin(), tail.end());
        GSSIP gssip;
        EXPECT_FALSE(deserialize(withHeader(message), gssip));
        EXPECT_EQ(gssip.data().capacity(), 0U);

        Bytes command = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
        command.insert(command.end(), tail.begin(), tail.end());
        CommandResponse text;
        EXPECT_FALSE(deserialize(withHeader(command), text));
        EXPECT_TRUE(text.command_response().empty());
    }
}

TEST(RecordBytes, AFalseLengthTakesAtMostOneElementForEachByteThatFollows) {
    // The CDR library tests a length against the bytes that are left before it makes room.
    Bytes rest = {0, 0, 0, 0, 0xE8, 0x03, 0, 0};
    rest.resize(rest.size() + 1000, 0);
    GPSLineOfSight record;
    EXPECT_FALSE(deserialize(withHeader(rest), record));
    EXPECT_LE(record.obs().capacity(), 1000U);
}

TEST(RecordBytes, ATextWithoutTerminatorEndsWithItsLength) {
    CommandResponse record;
    ASSERT_TRUE(deserialize(withHeader({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                        3, 0, 0, 0, 'a', 'b', 'c'}),
                            record));
    EXPECT_EQ(record.command_response(), "abc");
}

TEST(RecordBytes, ATextOfLengthZeroIsEmpty) {
    CommandResponse record;
    record.command_response("before");
    ASSERT_TRUE(deserialize(withHeader({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), record));
    EXPECT_EQ(record.command_response(), "");
}

}  // namespace
