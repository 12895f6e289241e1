#include <cmath>
#include <limits>
#include <numeric>

#include "gmock/gmock.h"
#include "messages/Trevo8504.h"
#include "tests/messages/MessageBytes.h"

namespace {

using testing::Each;
using testing::ElementsAre;

/// A frame's data with every field written out; all else 0xEE.
Bytes exampleData() {
    Bytes data = untouchedBut(
        400, {{0, {0x80, 0x40, 0, 0, 0, 0, 0, 0}},                     // 1.0
              {8, {0x00, 0xC0, 0, 0, 0, 0, 0, 0}},                     // -0.5
              {16, {0x82, 0x21, 0xA2, 0xDA, 0x0F, 0x49}},              // pi, to 39 bits
              {22, {0x80, 0x00, 0x00, 0x00, 0x00, 0x80}},              // -0.5
              {28, {0x00, 0x41, 0, 0, 0, 0, 0, 0}},                    // 2.0
              {36, {0x80, 0x41, 0, 0, 0, 0, 0, 0}},                    // 4.0
              {44, {0x49, 0x41, 0xDA, 0x0F, 0x21, 0xA2, 0xC0, 0x68}},  // pi
              {52, {0x49, 0xC1, 0xDB, 0x0F}},                          // -pi
              {56, {0x80, 0x40, 0, 0, 0x00, 0x41, 0, 0}},              // 1, 2
              {64, {0x80, 0x41, 0, 0, 0x00, 0x40, 0, 0}},              // 4, 0.5
              {84, {0x7A, 0x45, 0x00, 0x00}},                          // 1000
              {88, {0x26, 0x20, 0x21, 0x11, 0x45, 0x01, 0x94, 0x49}},  // 2026-11-21, day 325
              {96, {0x5A, 0x85, 0x98, 0x89}},                          // status, word
              {100, {0x01, 0x02, 0x03, 0x04, 0x05, 0x06}},             // status
              {110, {0x10, 0x11, 0x12, 0x13, 0x14, 0x15}},             // words
              {116, {0x16, 0x97, 0x18, 0x19, 0x1A, 0x1B}},             // status
              {122, {0x81, 0x00, 0x00, 0x40}},                         // 1.5
              {126, {0x83, 0x00, 0x00, 0x80}},                         // -4
              {130, {0x30, 0x31}}});
    std::iota(data.begin() + 144, data.end(), static_cast<unsigned char>(0));
    return data;
}

Trevo8504Record exampleRecord() {
    Trevo8504Record record;
    record.gpsTowSeconds = 1.0;
    record.utcTodSeconds = -0.5;
    record.extended16 = 3.141592653589793;
    record.extended22 = -0.5;
    record.double28 = 2.0;
    record.double36 = 4.0;
    record.double44 = 3.141592653589793;
    record.float52 = -3.1415927F;
    record.floats56 = {1.0F, 2.0F, 4.0F, 0.5F};
    record.timeUncertainty = 1000.0F;
    record.year = 0x2026;
    record.monthDay = 0x1121;
    record.dayOfYear = 325;
    record.word94 = 0x4994;
    record.status96 = 0x5A;
    record.status97 = 0x85;
    record.word98 = 0x8998;
    record.status100 = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
    record.words110 = {0x1110, 0x1312, 0x1514};
    record.status116 = {0x16, 0x97, 0x18, 0x19, 0x1A, 0x1B};
    record.float122 = 1.5F;
    record.float126 = -4.0F;
    record.bytes130 = {0x30, 0x31};
    std::iota(record.bytes144.begin(), record.bytes144.end(), std::uint8_t{0});
    return record;
}

TEST(Trevo_8504_Msg, StartsAsAZeroedFrameOf200Words) {
    const Trevo_8504_Msg message;
    EXPECT_THAT(std::vector<std::uint16_t>(message.header, message.header + 5),
                ElementsAre(0x81FF, 8504, 200, 0x9000, 0));
    EXPECT_THAT(dataOf(message), Each(0));
}

TEST(Trevo_8504_Msg, PacksEachFieldToItsPlaceAndLeavesAllOtherBytes) {
    TrevoMsg8504 message;
    fillUntouched(message);
    message.record = exampleRecord();
    message.pack_8504();
    EXPECT_EQ(exampleData(), dataOf(message));
}

TEST(Trevo_8504_Msg, UnpacksEachFieldFromItsPlace) {
    Trevo_8504_Msg message;
    setData(message, exampleData());
    message.unpack_8504();
    const Trevo8504Record expected = exampleRecord();
    const Trevo8504Record& record = message.record;
    EXPECT_EQ(expected.gpsTowSeconds, record.gpsTowSeconds);
    EXPECT_EQ(expected.utcTodSeconds, record.utcTodSeconds);
    EXPECT_NEAR(expected.extended16, record.extended16, 1e-11);
    EXPECT_EQ(expected.extended22, record.extended22);
    EXPECT_EQ(expected.double28, record.double28);
    EXPECT_EQ(expected.double36, record.double36);
    EXPECT_EQ(expected.double44, record.double44);
    EXPECT_EQ(expected.float52, record.float52);
    EXPECT_EQ(expected.floats56, record.floats56);
    EXPECT_EQ(expected.timeUncertainty, record.timeUncertainty);
    EXPECT_EQ(expected.year, record.year);
    EXPECT_EQ(expected.monthDay, record.monthDay);
    EXPECT_EQ(expected.dayOfYear, record.dayOfYear);
    EXPECT_EQ(expected.word94, record.word94);
    EXPECT_EQ(expected.status96, record.status96);
    EXPECT_EQ(expected.status97, record.status97);
    EXPECT_EQ(expected.word98, record.word98);
    EXPECT_EQ(expected.status100, record.status100);
    EXPECT_EQ(expected.words110, record.words110);
    EXPECT_EQ(expected.status116, record.status116);
    EXPECT_EQ(expected.float122, record.float122);
    EXPECT_EQ(expected.float126, record.float126);
    EXPECT_EQ(expected.bytes130, record.bytes130);
    EXPECT_EQ(expected.bytes144, record.bytes144);
    EXPECT_EQ(exampleData(), dataOf(message)) << "the frame stays";
}

TEST(Trevo_8504_Msg, GivesBackTheFrameThatWasUnpacked) {
    Trevo_8504_Msg message;
    setData(message, exampleData());
    message.unpack_8504();
    message.pack_8504();
    EXPECT_EQ(exampleData(), dataOf(message));
}

TEST(Trevo_8504_Msg, PacksNumbersThatHaveNoWireFormAsTheLargest) {
    Trevo_8504_Msg message;
    message.record.gpsTowSeconds = std::numeric_limits<double>::infinity();
    message.record.utcTodSeconds = -std::numeric_limits<double>::infinity();
    message.record.timeUncertainty = std::copysign(std::nanf(""), 1.0F);
    message.pack_8504();
    const Bytes data = dataOf(message);
    EXPECT_THAT(Bytes(data.begin(), data.begin() + 16),
                ElementsAre(0xFF, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                            0xFF, 0xFF, 0xFF, 0xFF));
    EXPECT_THAT(Bytes(data.begin() + 84, data.begin() + 88), ElementsAre(0xFF, 0x7F, 0xFF, 0xFF));
}

TEST(Trevo_8504_Msg, DetectsAReceiverFailureByBitFourOfByte96) {
    Trevo_8504_Msg message;
    message.data[48] = 0x0010;
    EXPECT_TRUE(message.recieverFailureDetected());
    message.data[48] = 0xFFEF;
    EXPECT_FALSE(message.recieverFailureDetected());
}

TEST(Trevo_8504_Msg, SetsAReceiverFailureInFrameAndRecordAndNothingElse) {
    Trevo_8504_Msg message;
    fillUntouched(message);
    message.unpack_8504();
    message.setReceiverFailure(true);
    Bytes expected = untouchedBut(400, {{96, {0xFE, 0xEE}}});
    EXPECT_EQ(expected, dataOf(message));
    EXPECT_EQ(0xFE, message.record.status96);
    EXPECT_EQ(0xEE, message.record.status97);
    EXPECT_TRUE(message.recieverFailureDetected());
    message.setReceiverFailure(false);
    EXPECT_EQ(untouchedBut(400, {}), dataOf(message));
    EXPECT_EQ(0xEE, message.record.status96);
}

TEST(Trevo_8504_Msg, SetsTimeFigureAndSourceInFrameAndRecordAndNothingElse) {
    Trevo_8504_Msg message;
    fillUntouched(message);
    message.unpack_8504();
    message.setTimeFigure(9);
    message.setTimeSource(false);
    Bytes expected = untouchedBut(400, {{97, {0x69}}});
    EXPECT_EQ(expected, dataOf(message));
    EXPECT_EQ(0x69, message.record.status97);
    EXPECT_EQ(0xEE, message.record.status96);
    message.setTimeSource(true);
    message.setTimeFigure(0xFFF2);  // the low four bits count
    EXPECT_EQ(0xE2, message.record.status97);
}

TEST(Trevo_8504_Msg, NamesTheStatusBitsThatOthersRead) {
    Trevo_8504_Msg message;
    message.data[48] = 0x002F;
    message.data[58] = 0x8000;
    EXPECT_EQ(15, message.get<Trevo8504Layout::EngineState>());
    EXPECT_EQ(1, message.get<Trevo8504Layout::Status96Bit5>());
    EXPECT_EQ(1, message.get<Trevo8504Layout::Status117Bit7>());
    message.data[48] = 0xFFD0;
    message.data[58] = 0x7FFF;
    EXPECT_EQ(0, message.get<Trevo8504Layout::EngineState>());
    EXPECT_EQ(0, message.get<Trevo8504Layout::Status96Bit5>());
    EXPECT_EQ(0, message.get<Trevo8504Layout::Status117Bit7>());
}

TEST(Trevo_8504_Msg, CopiesFrameAndRecord) {
    Trevo_8504_Msg original;
    setData(original, exampleData());
    original.header[3] = 0x8000;
    original.record.year = 0x1999;  // other than the frame's
    Trevo_8504_Msg copy;
    copy.copy_all(original);
    EXPECT_EQ(exampleData(), dataOf(copy));
    EXPECT_EQ(0x8000, copy.header[3]);
    EXPECT_EQ(0x1999, copy.record.year);
    original.data[0] = 0;
    EXPECT_EQ(exampleData(), dataOf(copy)) << "the copy has a frame of its own";
}

TEST(Trevo_8504_Msg, TakesAFrameOfItsOwnLengthOnly) {
    EXPECT_THAT(
        lengthsTakenAsData<Trevo_8504_Msg>(
            450, [](auto& message, auto... block) { return message.ok_set_8504_gpsip(block...); }),
        ElementsAre(412, 413));
}

}  // namespace
