#include "gmock/gmock.h"
#include "messages/TrevoCommands.h"
#include "tests/messages/MessageBytes.h"

namespace {

using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

// ---- 5000

TEST(Trevo_5000_Msg, StartsAsAZeroedFrameOfTenWords) {
    const Trevo_5000_Msg message;
    EXPECT_THAT(std::vector<std::uint16_t>(message.header, message.header + 5),
                ElementsAre(0x81FF, 5000, 10, 0x9000, 0));
    EXPECT_EQ(5000, message.msgId);
    EXPECT_EQ(10U, message.wordCount);
    EXPECT_EQ(Bytes(20, 0), dataOf(message));
}

TEST(Trevo_5000_Msg, SetsADataTransferAndKeepsAllOtherBits) {
    TrevoMsg5000 message;
    fillUntouched(message);
    message.setDataTransfer(true, false, true, false, e5000_XferScenario::MNAV,
                            e5000_DataPort::COM2);
    Bytes expected = untouchedBut(20, {{9, {0x6E}}, {14, {0xE2, 0xEE}}, {18, {3, 0}}});
    EXPECT_EQ(expected, dataOf(message));
}

TEST(Trevo_5000_Msg, HasABitForEachFlag) {
    constexpr auto both = e5000_XferScenario::BOTH;
    constexpr auto com3 = e5000_DataPort::COM3;
    Trevo_5000_Msg message;
    message.setDataTransfer(true, false, false, false, both, com3);
    EXPECT_EQ(0x0400, message.data[4]);
    message.setDataTransfer(false, true, false, false, both, com3);
    EXPECT_EQ(0x1000, message.data[4]);
    message.setDataTransfer(false, false, true, false, both, com3);
    EXPECT_EQ(0x2000, message.data[4]);
    message.setDataTransfer(false, false, false, true, both, com3);
    EXPECT_EQ(0x8000, message.data[4]);
    EXPECT_EQ(3, message.data[7]);
    EXPECT_EQ(4, message.data[9]);
}

TEST(Trevo_5000_Msg, DropsBitsOfAPortThatHaveNoPlace) {
    Trevo_5000_Msg message;
    message.setDataTransfer(false, false, false, false, static_cast<e5000_XferScenario>(0xFFFF),
                            static_cast<e5000_DataPort>(0xFFF5));
    EXPECT_EQ(5, message.data[7]);
    EXPECT_EQ(0xFFFF, message.data[9]);
}

TEST(Trevo_5000_Msg, NumbersScenariosAndPortsAsTheEngineDoes) {
    EXPECT_EQ(2, static_cast<int>(e5000_XferScenario::LNAV));
    EXPECT_EQ(3, static_cast<int>(e5000_XferScenario::MNAV));
    EXPECT_EQ(4, static_cast<int>(e5000_XferScenario::BOTH));
    EXPECT_EQ(1, static_cast<int>(e5000_DataPort::COM1));
    EXPECT_EQ(2, static_cast<int>(e5000_DataPort::COM2));
    EXPECT_EQ(3, static_cast<int>(e5000_DataPort::COM3));
}

TEST(Trevo_5000_Msg, TakesAFrameOfItsOwnLengthOnly) {
    EXPECT_THAT(
        lengthsTakenAsData<Trevo_5000_Msg>(
            60, [](auto& message, auto... block) { return message.ok_set_5000_gpsip(block...); }),
        ElementsAre(32, 33));
}

// ---- 5001

TEST(TrevoCommandMsg, StartsAsAZeroedFrameOf31Words) {
    const TrevoCommandMsg message;
    EXPECT_THAT(std::vector<std::uint16_t>(message.header, message.header + 5),
                ElementsAre(0x81FF, 5001, 31, 0x9000, 0));
    EXPECT_EQ(Bytes(62, 0), dataOf(message));
}

TEST(TrevoCommandMsg, SetsASimpleCommandAndZeroesAllElse) {
    TrevoCommandMsg message;
    fillUntouched(message);
    message.setSimpleModeCommand(e5001_Command::SincgarsReset);
    Bytes expected(62, 0);
    expected[8] = 23;
    EXPECT_EQ(expected, dataOf(message));
    EXPECT_EQ(e5001_Command::SincgarsReset, message.getSimpleModeCommand());
}

TEST(TrevoCommandMsg, SetsAMistModeBehindItsKeyAndZeroesAllElse) {
    TrevoCommandMsg message;
    fillUntouched(message);
    message.setMistMode(static_cast<e5001_Mist_Command>(0x1234));
    Bytes expected(62, 0);
    expected[8] = 64;
    expected[10] = 0x23;  // 14371
    expected[11] = 0x38;
    expected[12] = 0x34;
    expected[13] = 0x12;
    EXPECT_EQ(expected, dataOf(message));
}

TEST(TrevoCommandMsg, NumbersItsCommandsAsTheEngineDoes) {
    EXPECT_EQ(7, static_cast<int>(e5001_Command::Zeroize));
    EXPECT_EQ(8, static_cast<int>(e5001_Command::CVZeroize));
    EXPECT_EQ(21, static_cast<int>(e5001_Command::SincgarsFirst));
    EXPECT_EQ(22, static_cast<int>(e5001_Command::SincgarsSecond));
    EXPECT_EQ(23, static_cast<int>(e5001_Command::SincgarsReset));
    EXPECT_EQ(64, static_cast<int>(e5001_Command::Mist));
}

/// Whether the message takes a block of `length` bytes, and what it prints.
std::pair<bool, std::string> offer(TrevoCommandMsg& message, std::size_t length) {
    const Block block = receivedBlock(5001, length);
    CaptureStdout();
    const bool taken = message.ok_set_5001_gpsip(block.bytes(), block.length());
    return {taken, GetCapturedStdout()};
}

TEST(TrevoCommandMsg, CutsAFrameOf60WordsTo31AndAcceptsIt) {
    TrevoCommandMsg message;
    const auto [taken, printed] = offer(message, 132);
    EXPECT_TRUE(taken);
    EXPECT_EQ(
        "Info: Incoming 5001 message of 60 words truncated to only contain 31 words : Message "
        "accepted\n",
        printed);
    EXPECT_EQ(Bytes(62, 0x5A), dataOf(message));
    EXPECT_EQ(0x5A5A, message.header[36]);
}

TEST(TrevoCommandMsg, RefusesAFrameOfFourWords) {
    TrevoCommandMsg message;
    fillUntouched(message);
    const auto [taken, printed] = offer(message, 20);
    EXPECT_FALSE(taken);
    EXPECT_EQ(
        "Warning: Incoming 5001 message must be at least 5 words (GPS Time and command) but only "
        "contains 4 words : Message ignored\n",
        printed);
    EXPECT_EQ(untouchedBut(62, {}), dataOf(message));
}

TEST(TrevoCommandMsg, TellsHowMuchIsMissingFromABlockWithoutData) {
    TrevoCommandMsg message;
    EXPECT_THAT(offer(message, 10).second, testing::HasSubstr("only contains -1 words"));
    EXPECT_THAT(offer(message, 0).second, testing::HasSubstr("only contains -6 words"));
}

TEST(TrevoCommandMsg, TakesAFrameOfFiveTo31WordsInSilence) {
    for (std::size_t length = 22; length <= 75; ++length) {
        TrevoCommandMsg message;
        fillUntouched(message);
        const auto [taken, printed] = offer(message, length);
        EXPECT_TRUE(taken);
        EXPECT_EQ("", printed);
        Bytes expected = untouchedBut(62, {});
        std::fill_n(expected.begin(), std::min<std::size_t>(length - 10, 62), 0x5A);
        EXPECT_EQ(expected, dataOf(message)) << length;
        EXPECT_EQ(static_cast<e5001_Command>(0x5A5A), message.getSimpleModeCommand());
    }
}

TEST(TrevoCommandMsg, TakesEveryLengthFromFiveWordsOn) {
    TrevoCommandMsg message;
    CaptureStdout();
    const auto taken =
        acceptedLengths(200, [&](auto* b, auto n) { return message.ok_set_5001_gpsip(b, n); });
    GetCapturedStdout();
    EXPECT_EQ(200U - 22U + 1U, taken.size());
    EXPECT_EQ(22, taken.front());
}

TEST(TrevoCommandMsg, IsNotWrittenWithTheWordCountOfAnotherLength) {
    TrevoCommandMsg message;
    offer(message, 132);
    message.insert_checksum();
    EXPECT_FALSE(message.dataChecksumValid);
    EXPECT_EQ(31U, message.wordCount);
}

}  // namespace
