#include <cstdint>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ioss_mcsq/GssipTopicSerializer.h"
#include "tests/aspn2_msgs/PlainCdr.h"
#include "tests/ioss_mcsq/AllocationCount.h"

namespace {

using aspn2_msgs::idl::GSSIP;
using Bytes = std::vector<unsigned char>;

GSSIP recordOf(std::size_t dataBytes) {
    GSSIP record = records::filled<GSSIP>(dataBytes);
    record.num_bytes(static_cast<std::int32_t>(dataBytes));
    return record;
}

/// Decodes a copy, so that a byte read behind the end shows to the sanitizer.
bool decode(Bytes bytes, GSSIP& record) {
    bytes.shrink_to_fit();
    return GssipTopicSerializer::Deserialize(bytes.data(), static_cast<int>(bytes.size()), &record);
}

TEST(GssipTopicSerializer, CountsTheFixedPartAndTheData) {
    for (std::size_t const size : {0U, 1U, 2U, 100U, 300U, 70'000U}) {
        GSSIP const record = recordOf(size);
        EXPECT_EQ(GssipTopicSerializer::GetSerializedSize(&record), 56 + size);
    }
}

TEST(GssipTopicSerializer, WritesCdr) {
    GSSIP record;
    record.header().seq_num(0x0102030405060708);
    record.header().timestamp_arrival().sec(1);
    record.header().timestamp_arrival().nsec(2);
    record.header().timestamp_arrival().time_code(3);
    record.header().timestamp_valid().sec(-1);
    record.header().timestamp_valid().nsec(5);
    record.header().timestamp_valid().time_code(6);
    record.header().device_id(0x3B310001);
    record.num_bytes(3);
    record.data({0xA1, 0xA2, 0xA3});
    Bytes bytes{1, 2, 3};
    ASSERT_TRUE(GssipTopicSerializer::Serialize(record, bytes));
    EXPECT_EQ(bytes, (Bytes{
                         0,    1,    0,    0,                             //
                         0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01,  //
                         1,    0,    0,    0,    0,    0,    0,    0,     //
                         2,    0,    0,    0,    3,    0,    0,    0,     //
                         0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,  //
                         5,    0,    0,    0,    6,    0,    0,    0,     //
                         0x01, 0x00, 0x31, 0x3B,                          //
                         3,    0,    0,    0,    3,    0,    0,    0,     //
                         0xA1, 0xA2, 0xA3,
                     }));
}

TEST(GssipTopicSerializer, AgreesWithPlainCdrAndComesBack) {
    for (std::size_t const size : {0U, 1U, 7U, 300U, 70'000U}) {
        GSSIP const record = recordOf(size);
        Bytes bytes;
        ASSERT_TRUE(GssipTopicSerializer::Serialize(record, bytes));
        EXPECT_EQ(bytes, records::encoded(record));
        GSSIP back;
        EXPECT_TRUE(decode(bytes, back));
        EXPECT_TRUE(back == record);
    }
}

TEST(GssipTopicSerializer, ReadsTheOtherByteOrder) {
    GSSIP const record = recordOf(9);
    GSSIP back;
    EXPECT_TRUE(decode(records::encoded(record, true), back));
    EXPECT_TRUE(back == record);
}

TEST(GssipTopicSerializer, AllocatesOneBufferForARecord) {
    GSSIP const record = recordOf(484);
    Bytes bytes;
    GssipTopicSerializer::Serialize(record, bytes);  // the type support comes with the first
    Bytes fresh;
    AllocationCount const allocations;
    ASSERT_TRUE(GssipTopicSerializer::Serialize(record, fresh));
    EXPECT_EQ(allocations.count(), 1U);
}

TEST(GssipTopicSerializer, DecodesTheFirstOfSeveralRecords) {
    GSSIP const record = recordOf(5);
    Bytes bytes = records::encoded(record);
    Bytes const next = records::encoded(recordOf(8));
    bytes.insert(bytes.end(), next.begin(), next.end());
    GSSIP back;
    EXPECT_TRUE(decode(bytes, back));
    EXPECT_TRUE(back == record);
}

TEST(GssipTopicSerializer, RefusesEveryCut) {
    Bytes const whole = records::encoded(recordOf(5));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        GSSIP back;
        EXPECT_FALSE(decode(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)), back))
            << size;
    }
}

TEST(GssipTopicSerializer, RefusesNoBytesAtAll) {
    GSSIP back;
    unsigned char byte = 0;
    EXPECT_FALSE(GssipTopicSerializer::Deserialize(nullptr, 0, &back));
    EXPECT_FALSE(GssipTopicSerializer::Deserialize(nullptr, 100, &back));
    EXPECT_FALSE(GssipTopicSerializer::Deserialize(&byte, -1, &back));
}

TEST(GssipTopicSerializer, TakesNoMemoryForALengthThatCannotBe) {
    Bytes bytes = records::encoded(recordOf(4));
    for (unsigned const high : {0xFFU, 0x7FU, 0x00U}) {
        // The length of the data: 0xHHFFFFFF.
        bytes[52] = bytes[53] = bytes[54] = 0xFF;
        bytes[55] = static_cast<unsigned char>(high);
        GSSIP back;
        EXPECT_FALSE(decode(bytes, back));
        EXPECT_EQ(back.data().capacity(), 0U);
    }
}

TEST(GssipTopicSerializer, RefusesAnEncapsulationThatIsNone) {
    Bytes bytes = records::encoded(recordOf(4));
    bytes[0] = 0x42;
    GSSIP back;
    EXPECT_FALSE(decode(bytes, back));
}

TEST(GssipTopicSerializer, LeavesTheCallersBytesAlone) {
    // Bytes that are not of the heap: to release them would end the process.
    static unsigned char garbage[100] = {0x42, 0x42};
    GSSIP back;
    EXPECT_FALSE(GssipTopicSerializer::Deserialize(garbage, sizeof garbage, &back));
    EXPECT_EQ(garbage[0], 0x42);
    GSSIP const record = recordOf(4);
    static unsigned char good[60];
    Bytes const bytes = records::encoded(record);
    std::copy(bytes.begin(), bytes.end(), good);
    EXPECT_TRUE(GssipTopicSerializer::Deserialize(good, sizeof good, &back));
    EXPECT_TRUE(back == record);
}

}  // namespace
