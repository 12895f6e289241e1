#include <cmath>
#include <limits>

#include "gmock/gmock.h"
#include "messages/ConfigMessages.h"
#include "tests/messages/MessageBytes.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

Bytes const configCmdHead = {0xFF, 0x81, 0xA8, 0x6B, 9, 0, 0x00, 0x90, 0, 0};
Bytes const configStatusHead = {0xFF, 0x81, 0xA9, 0x6B, 9, 0, 0x00, 0x80, 0, 0};

TEST(Config_Cmd_Msg, IsMessage27560OfZerosThatAsksForAnAck) {
    Config_Cmd_Msg const message;
    EXPECT_EQ(configCmdHead, headerOf(message));
    EXPECT_THAT(dataOf(message), Each(0));
}

TEST(Config_Cmd_Msg, HasThreeCommandsInByteEight) {
    std::vector<std::pair<eConfigCmdCommand, unsigned char>> const commands = {
        {eConfigCmdCommand::request, 1},
        {eConfigCmdCommand::superUser, 2},
        {eConfigCmdCommand::option, 3}};
    for (auto const& [command, byte] : commands) {
        Config_Cmd_Msg message;
        fillUntouched(message);
        message.SetConfigCommand(command);
        EXPECT_EQ(untouchedBut(18, {{8, {byte}}}), dataOf(message));
    }
}

TEST(Config_Cmd_Msg, PutsUnitAndPortIntoByteTenAndKeepsItsUpperBits) {
    Config_Cmd_Msg message;
    fillUntouched(message);  // 1110 1110
    message.SetPortConfig(eConfigCmdZephon::zephon4, eConfigCmdCom::com1);
    EXPECT_EQ(untouchedBut(18, {{10, {0xEC}}}), dataOf(message));  // 111 01 100
    message.SetPortConfig(eConfigCmdZephon::none, eConfigCmdCom::none);
    EXPECT_EQ(untouchedBut(18, {{10, {0xE0}}}), dataOf(message));
    message.clearAll();
    message.SetPortConfig(eConfigCmdZephon::zephon1, eConfigCmdCom::com3);
    EXPECT_EQ(0x19, dataOf(message)[10]);
}

TEST(Config_Cmd_Msg, NumbersUnitsAndPorts) {
    for (unsigned unit = 0; unit <= 7; ++unit) {
        for (unsigned port = 0; port <= 3; ++port) {
            Config_Cmd_Msg message;
            message.SetPortConfig(static_cast<eConfigCmdZephon>(unit),
                                  static_cast<eConfigCmdCom>(port));
            EXPECT_EQ(unit + 8 * port, dataOf(message)[10]);
        }
    }
}

TEST(Config_Cmd_Msg, LetsUnitsAndPortsOutOfRangeTouchNothingElse) {
    Config_Cmd_Msg message;
    message.SetPortConfig(static_cast<eConfigCmdZephon>(0xF9), static_cast<eConfigCmdCom>(0xFE));
    Bytes expected(18, 0);
    expected[10] = 0x11;  // unit 1, port 2
    EXPECT_EQ(expected, dataOf(message));
}

TEST(Config_Cmd_Msg, PutsTheOptionTimesEightAndItsValueIntoByteEleven) {
    using Layout = ConfigCmdLayout;
    Config_Cmd_Msg message;
    fillUntouched(message);
    message.SetOutputConfig(eConfigCmdZephon::zephon2, eConfigCmdCom::com2,
                            Layout::receiverCapabilities, Layout::capabilitiesCorvane);
    EXPECT_EQ(untouchedBut(18, {{10, {0xF2, 8}}}), dataOf(message));  // 111 10 010
    message.SetOutputConfig(eConfigCmdZephon::zephon2, eConfigCmdCom::com2,
                            Layout::receiverCapabilities, Layout::capabilitiesZephon);
    EXPECT_EQ(untouchedBut(18, {{10, {0xF2, 9}}}), dataOf(message));
}

TEST(Config_Cmd_Msg, LetsAnOptionOutOfRangeTouchNothingElse) {
    Config_Cmd_Msg message;
    fillUntouched(message);
    message.SetOutputConfig(eConfigCmdZephon::none, eConfigCmdCom::none, 0xFFFFFFFF, 0x1FF);
    EXPECT_EQ(untouchedBut(18, {{10, {0xE0, 0xFF}}}), dataOf(message));
}

TEST(Config_Cmd_Msg, ClearsTimeAndContents) {
    Config_Cmd_Msg message;
    fillUntouched(message);
    message.clearAll();
    EXPECT_THAT(dataOf(message), Each(0));
    EXPECT_EQ(configCmdHead, headerOf(message));
}

TEST(Config_Cmd_Msg, HoldsItsTimeInTheFirstEightBytes) {
    Config_Cmd_Msg message;
    fillUntouched(message);
    message.set<ConfigCmdLayout::GpsTime>(1.0);
    EXPECT_EQ(untouchedBut(18, {{0, {0x80, 0x40, 0, 0, 0, 0, 0, 0}}}), dataOf(message));
    for (double const time :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        message.set<ConfigCmdLayout::GpsTime>(time);
        EXPECT_TRUE(std::isfinite(message.get<ConfigCmdLayout::GpsTime>().AsDouble()));
    }
}

TEST(Config_Cmd_Msg, TakesNoContentOfAnyLength) {
    EXPECT_THAT(lengthsTakenAsContent<Config_Cmd_Msg>(64), IsEmpty());
    Block const block(30);
    Config_Cmd_Msg message;
    EXPECT_FALSE(message.OkSetContent(block.bytes(), block.length()));
    EXPECT_EQ(configCmdHead, headerOf(message));
}

TEST(Config_Status_Msg, IsMessage27561OfZeros) {
    Config_Status_Msg const message;
    EXPECT_EQ(configStatusHead, headerOf(message));
    EXPECT_THAT(dataOf(message), Each(0));
}

TEST(Config_Status_Msg, TakesNineWordsFromThirtyBytesOnAndNoneBelow) {
    std::vector<unsigned> expected;
    for (unsigned length = 30; length <= 100; ++length) {
        expected.push_back(length);
    }
    EXPECT_EQ(expected, lengthsTakenAsContent<Config_Status_Msg>(100));
}

TEST(Config_Status_Msg, KeepsItsOwnHeader) {
    Block const block(30);
    Config_Status_Msg message;
    ASSERT_TRUE(message.OkSetContent(block.bytes(), block.length()));
    EXPECT_EQ(configStatusHead, headerOf(message));
}

TEST(Config_Status_Msg, TellsUnitAndPortOfTheSuperUser) {
    Bytes data(18, 0);
    data[8] = 1;
    data[10] = 0xFB;  // 111 11 011
    data[11] = 9;
    Bytes const frame = frameOf(27561, data);
    Config_Status_Msg message;
    ASSERT_TRUE(message.OkSetContent(frame.data(), 30));
    EXPECT_TRUE(message.IsSuperUserConfigCommand());
    EXPECT_EQ(3, message.get<ConfigStatusLayout::Unit>());
    EXPECT_EQ(3, message.get<ConfigStatusLayout::Port>());
    EXPECT_EQ(9, message.get<ConfigStatusLayout::OutputConfig>());
}

TEST(Config_Status_Msg, TellsTheSuperUserByCommandOneAlone) {
    Config_Status_Msg message;
    for (unsigned command = 0; command <= 0xFF; ++command) {
        message.set<ConfigStatusLayout::Command>(static_cast<std::uint16_t>(command));
        EXPECT_EQ(command == 1, message.IsSuperUserConfigCommand()) << command;
    }
}

TEST(Config_Status_Msg, HasItsFieldsWhereTheCommandHasThem) {
    Config_Status_Msg message;
    fillUntouched(message);
    message.set<ConfigStatusLayout::GpsTime>(1.0);
    message.set<ConfigStatusLayout::Command>(1);
    message.set<ConfigStatusLayout::Unit>(5);
    message.set<ConfigStatusLayout::Port>(2);
    message.set<ConfigStatusLayout::OutputConfig>(9);
    EXPECT_EQ(untouchedBut(18, {{0, {0x80, 0x40, 0, 0, 0, 0, 0, 0, 1}}, {10, {0xF5, 9}}}),
              dataOf(message));
    message.clearAll();
    EXPECT_THAT(dataOf(message), Each(0));
}

}  // namespace
