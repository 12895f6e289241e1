#include <cmath>

#include "gmock/gmock.h"
#include "messages/TrevoStatus.h"
#include "tests/messages/MessageBytes.h"

namespace {

using testing::Each;
using testing::ElementsAre;

std::vector<std::uint16_t> headOf(const GssipMessage& message) {
    return {message.header, message.header + 5};
}

TEST(TrevoStatus, StartsAsZeroedFrames) {
    EXPECT_THAT(headOf(Trevo_5040_Msg()), ElementsAre(0x81FF, 5040, 88, 0x9000, 0));
    EXPECT_THAT(headOf(Trevo_5044_Msg()), ElementsAre(0x81FF, 5044, 21, 0x9000, 0));
    EXPECT_THAT(headOf(Trevo_8040_Msg()), ElementsAre(0x81FF, 8040, 25, 0x9000, 0));
    EXPECT_THAT(headOf(Trevo_9391_Msg()), ElementsAre(0x81FF, 9391, 84, 0x9000, 0));
    EXPECT_THAT(dataOf(Trevo_5040_Msg()), Each(0));
    EXPECT_THAT(dataOf(Trevo_5044_Msg()), Each(0));
    EXPECT_THAT(dataOf(Trevo_8040_Msg()), Each(0));
    EXPECT_THAT(dataOf(Trevo_9391_Msg()), Each(0));
}

// ---- 5040

TEST(Trevo_5040_Msg, UnpacksEachFieldFromItsPlace) {
    Trevo_5040_Msg message;
    Bytes data = untouchedBut(
        176,
        {{0, {0x80, 0x40, 0, 0, 0, 0, 0, 0}},  // 1.0
         {36, {0x01, 0x10, 0x02, 0x20, 0x03, 0x30, 0x04, 0x40, 0x05, 0x50, 0x06, 0x60, 0x07, 0x70}},
         {50, {0x25, 0x00}},
         {66, {0xF3, 0xFF}},
         {72, {0x82, 0, 0, 0x00}},  // 2.0
         {76, {0xA1, 0xEE}},
         {84, {0x42, 0x24}},
         {88, {0x80, 0, 0, 0x80}},  // -0.5
         {92, {0x46, 0x00}},
         {98, {0x49, 0xFF}},
         {122, {0x01, 0x00}},
         {142, {0x71, 0x17, 0x72, 0x27, 0x73, 0x37}},
         {148, {0x9C, 0xFF}},  // -100
         {150, {0x75, 0x57, 0x76, 0x67, 0x77, 0xFF}},
         {156, {0x81, 0, 0, 0x40}},  // 1.5
         {160, {0x8B, 0x00}},
         {164, {0x83, 0, 0, 0x00}},  // 4.0
         {168, {0x35, 0xEE}}});
    setData(message, data);
    message.unpack_5040();
    const Trevo5040Record& record = message.record;
    EXPECT_EQ(1.0, record.time);
    EXPECT_THAT(record.words18,
                ElementsAre(0x1001, 0x2002, 0x3003, 0x4004, 0x5005, 0x6006, 0x7007));
    EXPECT_EQ(0x0025, record.word25);
    EXPECT_EQ(3, record.nibble33);
    EXPECT_EQ(2.0F, record.distance36);
    EXPECT_EQ(1, record.distanceUnit38);
    EXPECT_EQ(0x2442, record.word42);
    EXPECT_EQ(-0.5F, record.float44);
    EXPECT_EQ(6, record.nibble46);
    EXPECT_EQ(9, record.nibble49);
    EXPECT_TRUE(record.flag61);
    EXPECT_EQ(0x1771, record.word71);
    EXPECT_EQ(0x2772, record.word72);
    EXPECT_EQ(0x3773, record.word73);
    EXPECT_EQ(-1.0, record.value74);
    EXPECT_EQ(0x5775, record.word75);
    EXPECT_EQ(0x6776, record.word76);
    EXPECT_EQ(7, record.nibble77);
    EXPECT_EQ(1.5F, record.float78);
    EXPECT_EQ(11, record.nibble80);
    EXPECT_EQ(4.0F, record.distance82);
    EXPECT_EQ(5, record.distanceUnit84);
    EXPECT_EQ(data, dataOf(message)) << "the frame stays";
}

TEST(Trevo_5040_Msg, TakesOnlyBitZeroOfTheFlagWord) {
    Trevo_5040_Msg message;
    message.data[61] = 0xFFFE;
    message.unpack_5040();
    EXPECT_FALSE(message.record.flag61);
}

TEST(Trevo_5040_Msg, DividesHundredthsWithTheirSign) {
    Trevo_5040_Msg message;
    message.data[74] = 0x8000;
    message.unpack_5040();
    EXPECT_EQ(-327.68, message.record.value74);
    message.data[74] = 0x7FFF;
    message.unpack_5040();
    EXPECT_EQ(327.67, message.record.value74);
}

TEST(Trevo_5040_Msg, UnpacksFiniteNumbersFromAnyWords) {
    Trevo_5040_Msg message;
    for (const std::uint16_t word :
         std::initializer_list<std::uint16_t>{0x0000, 0x0001, 0x5555, 0x8000, 0xEEEE, 0xFFFF}) {
        std::fill_n(message.data, 88, word);
        message.unpack_5040();
        EXPECT_TRUE(std::isfinite(message.record.time));
        EXPECT_TRUE(std::isfinite(message.record.float44));
        EXPECT_TRUE(std::isfinite(message.record.distance36));
    }
}

TEST(Trevo_5040_Msg, TakesAFrameOfItsOwnLengthOnly) {
    EXPECT_THAT(
        lengthsTakenAsData<Trevo_5040_Msg>(
            220, [](auto& message, auto... block) { return message.ok_set_5040_gpsip(block...); }),
        ElementsAre(188, 189));
}

TEST(Trevo_5040_Msg, IsLeftAloneByAFrameOfAnotherLength) {
    Trevo_5040_Msg message;
    fillUntouched(message);
    const Block block = receivedBlock(5040, 186);
    EXPECT_FALSE(message.ok_set_5040_gpsip(block.bytes(), block.length()));
    EXPECT_EQ(untouchedBut(176, {}), dataOf(message));
}

// ---- 5044

TEST(Trevo_5044_Msg, UnpacksTimeStatusAndSwappedText) {
    Trevo_5044_Msg message;
    Bytes data = {0x80, 0x40, 0, 0, 0, 0, 0, 0, 0x12, 0x34};
    const std::string wire = "aFliru eofnu des eaflil go      ";
    data.insert(data.end(), wire.begin(), wire.end());
    ASSERT_EQ(42U, data.size());
    setData(message, data);
    message.unpack_5044();
    EXPECT_EQ(1.0, message.record.time);
    EXPECT_EQ(0x3412, message.record.statusId);
    EXPECT_EQ("Failure found see fail log      ", message.record.text);
}

TEST(Trevo_5044_Msg, CutsTheTextAtItsFirstNul) {
    Trevo_5044_Msg message;
    fillUntouched(message);
    message.data[5] = 0x4142;
    message.data[6] = 0x4300;  // "ABC" and NUL
    message.unpack_5044();
    EXPECT_EQ("ABC", message.record.text);
}

TEST(Trevo_5044_Msg, CutsATextWithoutTerminatorAtItsWidth) {
    Trevo_5044_Msg message;
    fillUntouched(message);
    message.unpack_5044();
    EXPECT_EQ(std::string(32, '\xEE'), message.record.text);
}

TEST(Trevo_5044_Msg, WritesItsTextOverItsOwnBytesOnly) {
    Trevo_5044_Msg message;
    fillUntouched(message);
    message.set<Trevo5044Layout::Text>("ABC");
    Bytes expected(10, 0xEE);
    const std::string wire = "BA C";
    expected.insert(expected.end(), wire.begin(), wire.end());
    expected.resize(42, ' ');
    EXPECT_EQ(expected, dataOf(message));
}

TEST(Trevo_5044_Msg, TakesAFrameOfItsOwnLengthOnly) {
    EXPECT_THAT(
        lengthsTakenAsData<Trevo_5044_Msg>(
            90, [](auto& message, auto... block) { return message.ok_set_5044_gpsip(block...); }),
        ElementsAre(54, 55));
}

// ---- 8040

TEST(Trevo_8040_Msg, UnpacksTheTimeAndCopiesAllOtherWords) {
    Trevo_8040_Msg message;
    Bytes data = untouchedBut(
        50, {{0, {0x00, 0xC0, 0, 0, 0, 0, 0, 0}}, {10, {0x05, 0x50}}, {18, {0x09, 0x90}}});
    setData(message, data);
    message.unpack_8040();
    EXPECT_EQ(-0.5, message.record.time);
    std::array<std::uint16_t, 21> expected;
    expected.fill(0xEEEE);
    expected[1] = 0x5005;
    expected[5] = 0x9009;
    EXPECT_EQ(expected, message.record.words4);
    EXPECT_EQ(0x5005, message.get<Trevo8040Layout::ReceiverStatus>());
    EXPECT_EQ(0x9009, message.get<Trevo8040Layout::ReceiverStatus2>());
}

TEST(Trevo_8040_Msg, TakesAFrameOf20WordsWithTheRightIdentifier) {
    Trevo_8040_Msg message;
    fillUntouched(message);
    const Block block = receivedBlock(8040, 52);
    EXPECT_TRUE(message.ok_set_8040_gpsip(block.bytes(), block.length()));
    Bytes expected(50, 0);
    std::fill_n(expected.begin(), 42, 0x5A);
    EXPECT_EQ(expected, dataOf(message)) << "what did not arrive is zero";
}

TEST(Trevo_8040_Msg, TakesEveryLengthFromAHeaderTo25Words) {
    for (std::size_t length = 0; length <= 100; ++length) {
        Trevo_8040_Msg message;
        const Block block = receivedBlock(8040, length);
        EXPECT_EQ(length >= 10 && length <= 63,
                  message.ok_set_8040_gpsip(block.bytes(), block.length()))
            << length;
    }
}

TEST(Trevo_8040_Msg, IsLeftAloneByAFrameThatIsTooShortOrTooLong) {
    Trevo_8040_Msg message;
    fillUntouched(message);
    for (const unsigned short length : std::initializer_list<unsigned short>{0, 9, 64, 200}) {
        const Block block = receivedBlock(8040, length);
        EXPECT_FALSE(message.ok_set_8040_gpsip(block.bytes(), block.length()));
        EXPECT_EQ(untouchedBut(50, {}), dataOf(message));
    }
}

TEST(Trevo_8040_Msg, RefusesAnotherIdentifier) {
    Trevo_8040_Msg message;
    const Block block = receivedBlock(8041, 62);
    EXPECT_FALSE(message.ok_set_8040_gpsip(block.bytes(), block.length()));
}

// ---- 9391

TEST(Trevo_9391_Msg, KeepsItsWordsAsTheyCame) {
    Trevo_9391_Msg message;
    Bytes data = untouchedBut(
        168, {{0, {0x00, 0x00, 0x80, 0x3F}}, {4, {0x78, 0x56, 0x34, 0x12}}, {24, {0x0C, 0xC0}}});
    setData(message, data);
    EXPECT_EQ(1.0F, message.get<Trevo9391Layout::Time>());
    EXPECT_EQ(0x12345678U, message.get<Trevo9391Layout::Words2>());
    EXPECT_EQ(0xC00C, message.get<Trevo9391Layout::Word12>());
}

TEST(Trevo_9391_Msg, TakesAFrameOfItsOwnLengthOnly) {
    EXPECT_THAT(
        lengthsTakenAsData<Trevo_9391_Msg>(
            220, [](auto& message, auto... block) { return message.ok_set_9391_gpsip(block...); }),
        ElementsAre(180, 181));
}

}  // namespace
