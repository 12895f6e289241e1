#include <stdexcept>
#include <utility>
#include <vector>

#include "gmock/gmock.h"
#include "messages/TrevoPortSetup.h"
#include "tests/messages/MessageBytes.h"

namespace {

std::uint16_t word(TrevoComPortSetup const& message, std::size_t number) {
    return message.data[number];
}

// Codes as numbers: what the message makes of any.
e5331_SerialBaud baudCode(unsigned code) {
    return static_cast<e5331_SerialBaud>(code);
}
e5331_SerialParity parityCode(unsigned code) {
    return static_cast<e5331_SerialParity>(code);
}
e5331_SerialProtocol protocolCode(unsigned code) {
    return static_cast<e5331_SerialProtocol>(code);
}

TEST(TrevoComPortSetup, StartsAsAZeroedFrameOfFiftyWords) {
    TrevoComPortSetup message;
    EXPECT_EQ(0x81FF, message.header[0]);
    EXPECT_EQ(5331, message.header[1]);
    EXPECT_EQ(50, message.header[2]);
    EXPECT_EQ(0x9000, message.header[3]);
    EXPECT_EQ(0, message.header[4]);
    for (std::size_t i = 0; i < 50; ++i) {
        EXPECT_EQ(0, word(message, i)) << i;
    }
}

TEST(TrevoComPortSetup, SetsReceiveParametersAndTheirMaskBitOnly) {
    TrevoComPortSetup message;
    message.setRecParams(baudCode(14), parityCode(2), protocolCode(2));
    for (std::size_t i = 0; i < 50; ++i) {
        const std::uint16_t expected = i == 18   ? 0x8000
                                       : i == 21 ? 2
                                       : i == 22 ? 14
                                       : i == 23 ? 2
                                                 : 0;
        EXPECT_EQ(expected, word(message, i)) << i;
    }
}

TEST(TrevoComPortSetup, SetsTransmitParametersAndTheirMaskBitOnly) {
    TrevoComPortSetup message;
    message.setTransParams(baudCode(7), parityCode(1), protocolCode(2));
    for (std::size_t i = 0; i < 50; ++i) {
        const std::uint16_t expected = i == 18   ? 0x4000
                                       : i == 24 ? 2
                                       : i == 25 ? 7
                                       : i == 26 ? 1
                                                 : 0;
        EXPECT_EQ(expected, word(message, i)) << i;
    }
}

TEST(TrevoComPortSetup, SetsBothDirectionsWithProtocolZero) {
    TrevoComPortSetup message;
    message.setBaud(baudCode(11), parityCode(1));
    EXPECT_EQ(0xC000, word(message, 18));
    EXPECT_EQ(0, word(message, 21));
    EXPECT_EQ(11, word(message, 22));
    EXPECT_EQ(1, word(message, 23));
    EXPECT_EQ(0, word(message, 24));
    EXPECT_EQ(11, word(message, 25));
    EXPECT_EQ(1, word(message, 26));
}

TEST(TrevoComPortSetup, StoresUnknownBaudCodesAsZero) {
    for (const unsigned short code : std::initializer_list<unsigned short>{8, 9, 15, 0xFFFF}) {
        TrevoComPortSetup message;
        message.setBaud(baudCode(5), parityCode(0));
        message.setBaud(baudCode(code), parityCode(0));
        EXPECT_EQ(0, word(message, 22)) << code;
        EXPECT_EQ(0, word(message, 25)) << code;
    }
}

TEST(TrevoComPortSetup, StoresParitiesFromThreeOnAsZero) {
    TrevoComPortSetup message;
    message.setBaud(baudCode(1), parityCode(3));
    EXPECT_EQ(0, word(message, 23));
    EXPECT_EQ(0, word(message, 26));
}

TEST(TrevoComPortSetup, StoresUnknownProtocolsAsZero) {
    for (const unsigned short protocol : std::initializer_list<unsigned short>{1, 3, 0xFFFF}) {
        TrevoComPortSetup message;
        message.setRecParams(baudCode(1), parityCode(0), protocolCode(protocol));
        message.setTransParams(baudCode(1), parityCode(0), protocolCode(protocol));
        EXPECT_EQ(0, word(message, 21)) << protocol;
        EXPECT_EQ(0, word(message, 24)) << protocol;
    }
}

TEST(TrevoComPortSetup, KeepsItsPortWhenGivenAnUnknownOne) {
    TrevoComPortSetup message;
    for (const unsigned short port : std::initializer_list<unsigned short>{0, 1, 2, 3, 15}) {
        message.setPort(static_cast<e5331_Port>(port));
        EXPECT_EQ(port, word(message, 20));
    }
    for (const unsigned short port : std::initializer_list<unsigned short>{4, 14, 16, 0xFFFF}) {
        message.setPort(static_cast<e5331_Port>(port));
        EXPECT_EQ(15, word(message, 20));
    }
}

TEST(TrevoComPortSetup, HasACodeForEachRateOfTheEngine) {
    const std::vector<std::pair<int, unsigned short>> codes = {
        {300, 1},   {600, 2},    {1200, 3},    {2400, 4},    {4800, 5},    {19200, 6},
        {76800, 7}, {38400, 10}, {115200, 11}, {230400, 12}, {460800, 13}, {921600, 14}};
    for (const auto& [baud, code] : codes) {
        EXPECT_EQ(code, static_cast<unsigned short>(toSerialBaudCode(baud))) << baud;
    }
}

TEST(TrevoComPortSetup, LeavesAnyOtherRateAtCodeZero) {
    for (const int baud : {9600, 0, -300, 57600, 1000000}) {
        EXPECT_EQ(e5331_SerialBaud::Baud9600, toSerialBaudCode(baud)) << baud;
    }
}

TEST(TrevoComPortSetup, StoresEveryBaudCodeThatTheMessageKnows) {
    for (const unsigned code : {0, 1, 2, 3, 4, 5, 6, 7, 10, 11, 12, 13, 14}) {
        TrevoComPortSetup message;
        message.setBaud(baudCode(code), parityCode(0));
        EXPECT_EQ(code, word(message, 22));
        EXPECT_EQ(code, word(message, 25));
    }
}

TEST(TrevoComPortSetup, SetsThePulseAndItsMaskBitOnly) {
    for (const unsigned char pulse : std::initializer_list<unsigned char>{0, 1, 2, 3}) {
        TrevoComPortSetup message;
        fillUntouched(message);
        message.setPulse(static_cast<e5331_Pulse>(pulse));
        Bytes expected = untouchedBut(100, {{90, {pulse, 0}}});  // bit 9 stands in 0xEEEE already
        EXPECT_EQ(expected, dataOf(message));
    }
    TrevoComPortSetup message;
    message.setPulse(e5331_Pulse::OnePpsTMark);
    EXPECT_EQ(0x0200, word(message, 18));
}

TEST(TrevoComPortSetup, MarksButKeepsThePulseWhenGivenAnUnknownOne) {
    for (const unsigned pulse : {4U, 0xFFFFU}) {
        TrevoComPortSetup message;
        message.setPulse(e5331_Pulse::TenPpsUtc);
        message.data[18] = 0;
        message.setPulse(static_cast<e5331_Pulse>(pulse));
        EXPECT_EQ(0x0200, word(message, 18));
        EXPECT_EQ(3, word(message, 45));
    }
}

TEST(TrevoComPortSetup, TellsPortsThatAreNotRedundantWithAOne) {
    TrevoComPortSetup message;
    fillUntouched(message);
    message.setRedundantComPorts(false);
    Bytes expected = untouchedBut(100, {{94, {1, 0}}});
    EXPECT_EQ(expected, dataOf(message));
    message.setRedundantComPorts(true);
    expected[94] = 0;
    EXPECT_EQ(expected, dataOf(message));
    TrevoComPortSetup fresh;
    fresh.setRedundantComPorts(true);
    EXPECT_EQ(0x0080, word(fresh, 18));
}

TEST(TrevoComPortSetup, KnowsACodeForEachNmeaSentenceWithAndWithoutTheTalker) {
    const std::vector<std::pair<std::string, unsigned>> codes = {
        {"DTM", 1}, {"GBS", 2}, {"GGA", 3},  {"GLL", 4},  {"GNS", 5},  {"GRS", 6}, {"GSA", 7},
        {"GST", 8}, {"GSV", 9}, {"HDT", 10}, {"RMC", 11}, {"VTG", 12}, {"ZDA", 13}};
    for (const auto& [sentence, code] : codes) {
        EXPECT_EQ(code, TrevoComPortSetup::nmeaSentenceCode(sentence));
        EXPECT_EQ(code, TrevoComPortSetup::nmeaSentenceCode("GP" + sentence));
    }
    EXPECT_EQ(0, TrevoComPortSetup::nmeaSentenceCode("none"));
}

TEST(TrevoComPortSetup, RaisesOutOfRangeForANameWithoutACode) {
    for (const std::string name : {"", "gga", "GPgga", "None", "GPnone", "GNGGA", "GGA ", "XYZ"}) {
        EXPECT_THROW(TrevoComPortSetup::nmeaSentenceCode(name), std::out_of_range) << name;
    }
}

TEST(TrevoComPortSetup, StoresNmeaSentencesInListOrderAndSetsNoMaskBit) {
    TrevoComPortSetup message;
    fillUntouched(message);
    message.setNMEASentenceID({"GGA", "GPZDA", "none", "RMC", "none", "DTM", "HDT"});
    Bytes expected = untouchedBut(100, {{74, {3, 0, 13, 0, 0, 0, 11, 0, 0, 0, 1, 0, 10, 0}}});
    EXPECT_EQ(expected, dataOf(message));
}

TEST(TrevoComPortSetup, WritesOnlyTheWordsOfAShortNmeaList) {
    TrevoComPortSetup message;
    fillUntouched(message);
    message.setNMEASentenceID({"VTG", "GSV"});
    Bytes expected = untouchedBut(100, {{74, {12, 0, 9, 0}}});
    EXPECT_EQ(expected, dataOf(message));
    message.setNMEASentenceID({});
    EXPECT_EQ(expected, dataOf(message));
}

TEST(TrevoComPortSetup, LooksAtSevenNmeaNamesOnly) {
    TrevoComPortSetup message;
    fillUntouched(message);
    message.setNMEASentenceID(
        {"GBS", "GBS", "GBS", "GBS", "GBS", "GBS", "GBS", "no sentence", "GGA"});
    Bytes expected = untouchedBut(100, {{74, {2, 0, 2, 0, 2, 0, 2, 0, 2, 0, 2, 0, 2, 0}}});
    EXPECT_EQ(expected, dataOf(message));
}

TEST(TrevoComPortSetup, StoresNothingOfAListWithAnUnknownNmeaName) {
    TrevoComPortSetup message;
    fillUntouched(message);
    EXPECT_THROW(message.setNMEASentenceID({"GGA", "gga"}), std::out_of_range);
    EXPECT_EQ(untouchedBut(100, {}), dataOf(message));
}

TEST(TrevoComPortSetup, TakesAFrameOfItsOwnLengthOnly) {
    EXPECT_THAT(lengthsTakenAsContent<TrevoComPortSetup>(130), testing::ElementsAre(112, 113));
}

}  // namespace
