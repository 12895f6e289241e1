#include <array>
#include <vector>

#include "gmock/gmock.h"
#include "messages/TrevoMessages.h"

namespace {

using testing::ElementsAre;

class Sink : public IWriteByteStreams {
public:
    unsigned int WriteBytes(void const* bytes, unsigned int length) override {
        auto const* const begin = static_cast<unsigned char const*>(bytes);
        written.assign(begin, begin + length);
        return length;
    }
    std::vector<unsigned char> written;
};

std::vector<unsigned char> bytesOf(GssipMessage& message) {
    Sink sink;
    message.WriteMessage(&sink);
    return sink.written;
}

std::uint16_t word(TrevoComPortSetup const& message, std::size_t number) {
    return message.data[number];
}

TEST(TrevoHeaderOnlyMsg, StartsWithoutAnIdentifierAndAsksForAnAck) {
    TrevoHeaderOnlyMsg message;
    EXPECT_THAT(bytesOf(message), ElementsAre(0xFF, 0x81, 0, 0, 0, 0, 0x00, 0x90, 0x01, 0xEE));
}

TEST(TrevoHeaderOnlyMsg, IsAnAcknowledgementByteByByte) {
    TrevoHeaderOnlyMsg message(5001, 0x8800);
    EXPECT_EQ(5001, message.msgId);
    EXPECT_THAT(bytesOf(message),
                ElementsAre(0xFF, 0x81, 0x89, 0x13, 0x00, 0x00, 0x00, 0x88, 0x78, 0xE2));
}

TEST(TrevoHeaderOnlyMsg, RewritesTheWholeHeader) {
    TrevoHeaderOnlyMsg message(5001, 0x8800);
    bytesOf(message);
    message.setMsgIdAndFlag(8015, 0);
    EXPECT_EQ(0x81FF, message.header[0]);
    EXPECT_EQ(8015, message.header[1]);
    EXPECT_EQ(0, message.header[2]);
    EXPECT_EQ(0, message.header[3]);
    EXPECT_EQ(0, message.header[4]);
    EXPECT_EQ(8015, message.msgId);
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
    message.setRecParams(14, 2, 2);
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
    message.setTransParams(7, 1, 2);
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
    message.setBaud(11, 1);
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
        message.setBaud(5, 0);
        message.setBaud(code, 0);
        EXPECT_EQ(0, word(message, 22)) << code;
        EXPECT_EQ(0, word(message, 25)) << code;
    }
}

TEST(TrevoComPortSetup, StoresParitiesFromThreeOnAsZero) {
    TrevoComPortSetup message;
    message.setBaud(1, 3);
    EXPECT_EQ(0, word(message, 23));
    EXPECT_EQ(0, word(message, 26));
}

TEST(TrevoComPortSetup, StoresUnknownProtocolsAsZero) {
    for (const unsigned short protocol : std::initializer_list<unsigned short>{1, 3, 0xFFFF}) {
        TrevoComPortSetup message;
        message.setRecParams(1, 0, protocol);
        message.setTransParams(1, 0, protocol);
        EXPECT_EQ(0, word(message, 21)) << protocol;
        EXPECT_EQ(0, word(message, 24)) << protocol;
    }
}

TEST(TrevoComPortSetup, KeepsItsPortWhenGivenAnUnknownOne) {
    TrevoComPortSetup message;
    for (const unsigned short port : std::initializer_list<unsigned short>{0, 1, 2, 3, 15}) {
        message.setPort(port);
        EXPECT_EQ(port, word(message, 20));
    }
    for (const unsigned short port : std::initializer_list<unsigned short>{4, 14, 16}) {
        message.setPort(port);
        EXPECT_EQ(15, word(message, 20));
    }
}

TEST(TrevoComPortSetup, HasACodeForEachRateOfTheEngine) {
    const std::vector<std::pair<int, unsigned short>> codes = {
        {300, 1},   {600, 2},    {1200, 3},    {2400, 4},    {4800, 5},    {19200, 6},
        {76800, 7}, {38400, 10}, {115200, 11}, {230400, 12}, {460800, 13}, {921600, 14}};
    for (const auto& [baud, code] : codes) {
        EXPECT_EQ(code, toSerialBaudCode(baud)) << baud;
    }
}

TEST(TrevoComPortSetup, LeavesAnyOtherRateAtCodeZero) {
    for (const int baud : {9600, 0, -300, 57600, 1000000}) {
        EXPECT_EQ(0, toSerialBaudCode(baud)) << baud;
    }
}

}  // namespace
