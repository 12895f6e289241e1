#include <cmath>
#include <limits>

#include "gmock/gmock.h"
#include "messages/CrmMessages.h"
#include "tests/messages/MessageBytes.h"

namespace {

using testing::Each;
using testing::ElementsAre;

TEST(CRM30000_Msg, IsATwentyWordMessageOfZerosThatAsksForAnAck) {
    CRM30000_Msg const message;
    EXPECT_THAT(headerOf(message), ElementsAre(0xFF, 0x81, 0x30, 0x75, 20, 0, 0x00, 0x90, 0, 0));
    EXPECT_THAT(dataOf(message), Each(0));
}

Crm30000Record filledRecord() {
    Crm30000Record record;
    record.time = 1.0F;
    record.from9391Words2To3 = 0x04030201;
    record.from9391Word12 = 0x1211;
    record.reserved = 0x1413;
    record.distanceOf5040Word36 = 2.0F;
    record.distanceOf5040Word82 = -1.0F;
    record.from5040Word42 = 0x2221;
    record.from5040Word49 = 0x2423;
    record.from5040Word61 = 0x2625;
    record.from5040Word71 = 0x2827;
    record.from5040Word72 = 0x3231;
    record.from5040Word73 = 0x3433;
    record.from5040Word74 = 0x3635;
    record.from5040Word75 = 0x3837;
    record.from5040Word77 = 0x4241;
    record.mode = 0x43;
    record.spare = 0x44;
    return record;
}

Bytes const filledData = {
    0x00, 0x00, 0x80, 0x3F,                          // time
    0x01, 0x02, 0x03, 0x04,                          // words 2 and 3 of 9391
    0x11, 0x12,                                      // word 12 of 9391
    0x13, 0x14,                                      // reserved
    0x00, 0x00, 0x00, 0x40,                          // distance
    0x00, 0x00, 0x80, 0xBF,                          // distance
    0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28,  // four words
    0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38,  // four words
    0x41, 0x42,                                      // word 77 of 5040
    0x43, 0x44,                                      // mode and spare
};

TEST(CRM30000_Msg, PacksItsRecordIntoAllFortyBytes) {
    CRM30000_Msg message;
    fillUntouched(message);
    message.record = filledRecord();
    message.pack_30000();
    EXPECT_EQ(filledData, dataOf(message));
}

TEST(CRM30000_Msg, LeavesBytesTenAndElevenAtZeroUnlessTold) {
    CRM30000_Msg message;
    fillUntouched(message);
    message.pack_30000();
    EXPECT_THAT(dataOf(message), Each(0));
}

TEST(CRM30000_Msg, UnpacksAllFortyBytesIntoItsRecord) {
    CRM30000_Msg message;
    Bytes const frame = frameOf(30000, filledData);
    ASSERT_TRUE(message.ok_set_30000_gpsip(frame.data(), 52));
    EXPECT_EQ(0.0F, message.record.time);  // the record waits for the unpacking
    message.unpack_30000();
    EXPECT_EQ(1.0F, message.record.time);
    EXPECT_EQ(0x04030201U, message.record.from9391Words2To3);
    EXPECT_EQ(0x1211, message.record.from9391Word12);
    EXPECT_EQ(0x1413, message.record.reserved);
    EXPECT_EQ(2.0F, message.record.distanceOf5040Word36);
    EXPECT_EQ(-1.0F, message.record.distanceOf5040Word82);
    EXPECT_EQ(0x2221, message.record.from5040Word42);
    EXPECT_EQ(0x2423, message.record.from5040Word49);
    EXPECT_EQ(0x2625, message.record.from5040Word61);
    EXPECT_EQ(0x2827, message.record.from5040Word71);
    EXPECT_EQ(0x3231, message.record.from5040Word72);
    EXPECT_EQ(0x3433, message.record.from5040Word73);
    EXPECT_EQ(0x3635, message.record.from5040Word74);
    EXPECT_EQ(0x3837, message.record.from5040Word75);
    EXPECT_EQ(0x4241, message.record.from5040Word77);
    EXPECT_EQ(0x43, message.record.mode);
    EXPECT_EQ(0x44, message.record.spare);
    fillUntouched(message);
    message.pack_30000();
    EXPECT_EQ(filledData, dataOf(message));
}

TEST(CRM30000_Msg, CarriesFloatsThatAreNoNumbersBitForBit) {
    Bytes data(40, 0xFF);  // a NaN with all its bits set
    Bytes const frame = frameOf(30000, data);
    CRM30000_Msg message;
    ASSERT_TRUE(message.ok_set_30000_gpsip(frame.data(), 52));
    message.unpack_30000();
    EXPECT_TRUE(std::isnan(message.record.time));
    fillUntouched(message);
    message.pack_30000();
    EXPECT_EQ(data, dataOf(message));
}

TEST(CRM30000_Msg, TakesAFrameOfTwentyWordsOnly) {
    EXPECT_THAT(lengthsTakenAsData<CRM30000_Msg>(120,
                                                 [](CRM30000_Msg& message, auto... block) {
                                                     return message.ok_set_30000_gpsip(block...);
                                                 }),
                ElementsAre(52, 53));
}

TEST(CRM30001_Msg, IsAnEightyFiveWordMessageOfZerosThatAsksForAnAck) {
    CRM30001_Msg const message;
    EXPECT_THAT(headerOf(message), ElementsAre(0xFF, 0x81, 0x31, 0x75, 85, 0, 0x00, 0x90, 0, 0));
    EXPECT_THAT(dataOf(message), Each(0));
}

TEST(CRM30001_Msg, PacksOperationPortsAndEntries) {
    CRM30001_Msg message;
    fillUntouched(message);
    message.record.operation = Crm30001Layout::operationConnect;
    message.record.selectPorts(4);
    EXPECT_TRUE(message.record.addEntry(5040, 4));
    EXPECT_TRUE(message.record.addEntry(0xFFFF, 1));
    message.pack_30001();
    Bytes expected(170, 0);
    Bytes const head = {2, 0, 0, 0, 4, 0, 4, 0, 2, 0, 0xB0, 0x13, 4, 0, 0xFF, 0xFF, 1, 0};
    std::copy(head.begin(), head.end(), expected.begin());
    EXPECT_EQ(expected, dataOf(message));
}

TEST(CRM30001_Msg, ClearsTheReservedBitOfTheFirstPortSelectionOnly) {
    CRM30001_Msg message;
    message.record.selectPorts(0x8003);
    EXPECT_EQ(0x0003, message.record.firstPortSelect);
    EXPECT_EQ(0x8003, message.record.secondPortSelect);
}

TEST(CRM30001_Msg, HasPlaceForFortyEntriesAndCountsNoMore) {
    CRM30001_Msg message;
    for (std::uint16_t i = 0; i < 40; ++i) {
        EXPECT_TRUE(message.record.addEntry(i, 1)) << i;
    }
    EXPECT_FALSE(message.record.addEntry(99, 1));
    EXPECT_EQ(40, message.record.entryCount);
    message.pack_30001();
    Bytes const data = dataOf(message);
    EXPECT_EQ((Bytes{39, 0, 1, 0}), Bytes(data.begin() + 166, data.end()));
}

TEST(CRM30001_Msg, GivesNoPlaceBehindACountFromOutsideThatIsTooHigh) {
    CRM30001_Msg message;
    Bytes const frame = frameOf(30001, Bytes(170, 0xFF));
    ASSERT_TRUE(message.ok_set_30001_gpsip(frame.data(), 182));
    message.unpack_30001();
    EXPECT_EQ(0xFFFF, message.record.entryCount);
    EXPECT_FALSE(message.record.addEntry(1, 1));
    EXPECT_EQ(0xFFFF, message.record.entries[39].messageId);
}

TEST(CRM30001_Msg, UnpacksAndPacksAllBytesUnchanged) {
    Bytes data(170);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<unsigned char>(i + 1);
    }
    Bytes const frame = frameOf(30001, data);
    CRM30001_Msg message;
    ASSERT_TRUE(message.ok_set_30001_gpsip(frame.data(), 182));
    message.unpack_30001();
    EXPECT_EQ(0x0201, message.record.operation);
    EXPECT_EQ(0x0403, message.record.marker);
    EXPECT_EQ(0x0605, message.record.firstPortSelect);
    EXPECT_EQ(0x0807, message.record.secondPortSelect);
    EXPECT_EQ(0x0A09, message.record.entryCount);
    EXPECT_EQ(0x0C0B, message.record.entries[0].messageId);
    EXPECT_EQ(0x0E0D, message.record.entries[0].portSelect);
    EXPECT_EQ(0xA8A7, message.record.entries[39].messageId);
    EXPECT_EQ(0xAAA9, message.record.entries[39].portSelect);
    fillUntouched(message);
    message.pack_30001();
    EXPECT_EQ(data, dataOf(message));
}

TEST(CRM30001_Msg, TakesAFrameOfEightyFiveWordsOnly) {
    EXPECT_THAT(lengthsTakenAsData<CRM30001_Msg>(300,
                                                 [](CRM30001_Msg& message, auto... block) {
                                                     return message.ok_set_30001_gpsip(block...);
                                                 }),
                ElementsAre(182, 183));
}

}  // namespace
