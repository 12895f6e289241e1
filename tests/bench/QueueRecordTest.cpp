#include <gtest/gtest.h>

#include "bench/QueueRecord.h"
#include "ioss_mcsq/GssipTopicSerializer.h"

namespace bench {
namespace {

using aspn2_msgs::idl::GSSIP;

QueueRecord example() {
    QueueRecord record;
    record.sequence = -3;
    record.arrival = {1'700'000'000, 999'999'999, 2};
    record.validity = {-1, 5, 6};
    record.deviceId = 0x3B310001;
    record.data = {0xFF, 0x81, 0xCA, 0x3A, 0x00};
    return record;
}

TEST(QueueRecord, EncodesAsTheServerDoes) {
    GSSIP record;
    record.header().seq_num(-3);
    record.header().timestamp_arrival().sec(1'700'000'000);
    record.header().timestamp_arrival().nsec(999'999'999);
    record.header().timestamp_arrival().time_code(2);
    record.header().timestamp_valid().sec(-1);
    record.header().timestamp_valid().nsec(5);
    record.header().timestamp_valid().time_code(6);
    record.header().device_id(0x3B310001);
    record.num_bytes(5);
    record.data({0xFF, 0x81, 0xCA, 0x3A, 0x00});
    std::vector<unsigned char> bytes;
    ASSERT_TRUE(GssipTopicSerializer::Serialize(record, bytes));
    EXPECT_EQ(example().encode(), bytes);
}

TEST(QueueRecord, DecodesWhatItEncoded) {
    const QueueRecord first = example();
    QueueRecord second;
    second.told = 7;
    auto bytes = first.encode();
    const auto more = second.encode();
    bytes.insert(bytes.end(), more.begin(), more.end());
    const auto records = decodeRecords(bytes);
    ASSERT_TRUE(records);
    ASSERT_EQ(records->size(), 2U);
    EXPECT_EQ(records->at(0).encode(), first.encode());
    EXPECT_EQ(records->at(0).validity.seconds, -1);
    EXPECT_EQ(records->at(0).told, std::nullopt);
    EXPECT_EQ(records->at(1).told, 7);
    EXPECT_EQ(decodeRecords({})->size(), 0U);
}

TEST(QueueRecord, RefusesWhatIsNoRecord) {
    const auto whole = example().encode();
    for (std::size_t size = 1; size < whole.size(); ++size) {
        EXPECT_FALSE(decodeRecords({whole.begin(), whole.begin() + static_cast<long>(size)}));
    }
    auto wrong = whole;
    wrong[1] = 0;
    EXPECT_FALSE(decodeRecords(wrong));
    wrong = whole;
    wrong[55] = 0xFF;
    EXPECT_FALSE(decodeRecords(wrong));
    wrong = whole;
    wrong.push_back(0);
    EXPECT_FALSE(decodeRecords(wrong));
}

}  // namespace
}  // namespace bench
