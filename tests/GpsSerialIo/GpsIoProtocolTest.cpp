#include <chrono>
#include <thread>

#include "GpsSerialIo/GpsIoProtocol.h"
#include "GpsSerialIo/GssipFrame.h"
#include "gtest/gtest.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr unsigned short ackRequested = FLAG_LINK_READY | FLAG_ACK_REQUEST;
constexpr unsigned short ack = FLAG_LINK_READY | FLAG_ACK;
constexpr unsigned short nak = FLAG_LINK_READY | FLAG_NAK;
constexpr unsigned short response = FLAG_LINK_READY | FLAG_RESPONSE;
constexpr unsigned short reject = FLAG_LINK_READY | FLAG_RESPONSE | FLAG_REJECT;

struct Waited {
    bool ok = false;
    bool nak = false;
    bool rejected = false;
};

Waited waitFor(GpsIoProtocol& protocol) {
    Waited result;
    result.ok = protocol.wait(result.nak, result.rejected);
    return result;
}

TEST(GpsIoProtocol, TimesAHeaderOnlyFrameWithTenCharactersMore) {
    const GpsIoProtocol protocol(9600, 0);
    EXPECT_EQ(20834, protocol.timeToSendDataWordCount(0));
    EXPECT_EQ(20834, protocol.timeToSendMessageByteCount(10));
}

TEST(GpsIoProtocol, CountsElevenBitsACharacterWithParity) {
    const GpsIoProtocol protocol(9600, 1);
    EXPECT_EQ(20 * 11 * 1000000 / 9600 + 1, protocol.timeToSendDataWordCount(0));
}

TEST(GpsIoProtocol, WrapsTheByteCountAt65536) {
    const GpsIoProtocol protocol(9600, 0);
    EXPECT_EQ(1, protocol.timeToSendMessageByteCount(65526));
    EXPECT_EQ(1 * 10 * 1000000 / 9600 + 1, protocol.timeToSendMessageByteCount(65527));
}

TEST(GpsIoProtocol, GivesNoTimeForABaudRateOfZeroOrBelow) {
    for (const int baud : {0, -1, -9600}) {
        const GpsIoProtocol protocol(baud, 0);
        EXPECT_EQ(0, protocol.timeToSendDataWordCount(31));
        EXPECT_EQ(0, protocol.timeToSendMessageByteCount(74));
        EXPECT_EQ(200000, protocol.ackTimeout());
        EXPECT_EQ(600000, protocol.responseTimeout());
    }
}

TEST(GpsIoProtocol, TakesTimeOutsFromTheBaudRate) {
    struct Row {
        int baud;
        std::int64_t ack;
        std::int64_t response;
    };
    for (const Row& row :
         {Row{300, 400000, 1200000}, Row{600, 360000, 1080000}, Row{1200, 320000, 960000},
          Row{2400, 280000, 840000}, Row{4800, 240000, 720000}, Row{9600, 200000, 600000},
          Row{19200, 160000, 480000}, Row{38400, 120000, 360000}, Row{76800, 100000, 120000},
          Row{115200, 100000, 120000}, Row{230400, 100000, 120000}, Row{460800, 100000, 120000},
          Row{921600, 100000, 120000}, Row{57600, 200000, 600000}}) {
        const GpsIoProtocol protocol(row.baud, 0);
        EXPECT_EQ(row.ack, protocol.ackTimeout()) << row.baud;
        EXPECT_EQ(row.response, protocol.responseTimeout()) << row.baud;
    }
}

TEST(GpsIoProtocol, WaitsForAckAndResponseOfAHandshakedMessage) {
    GpsIoProtocol protocol(9600, 0);
    protocol.startNewSequence(5001, 31, ackRequested);
    EXPECT_EQ(908335, protocol.timeout());
}

TEST(GpsIoProtocol, DoublesTheExtraTimeOfAMessageToAVirtualUnit) {
    GpsIoProtocol protocol(9600, 0);
    protocol.addToNoHandshakeList(27552);
    protocol.startNewSequence(27552, 0, ackRequested);
    EXPECT_EQ(20834 + 20834 + 2 * 200000, protocol.timeout());
}

TEST(GpsIoProtocol, ReturnsAtOnceWithNothingPending) {
    GpsIoProtocol protocol(300, 0);
    protocol.addToNoHandshakeList(15050);
    protocol.startNewSequence(15050, 54, FLAG_LINK_READY);
    const auto begin = Clock::now();
    const Waited result = waitFor(protocol);
    EXPECT_TRUE(result.ok);
    EXPECT_FALSE(result.nak);
    EXPECT_FALSE(result.rejected);
    EXPECT_LT(Clock::now() - begin, 4s);
}

TEST(GpsIoProtocol, SucceedsOnAckAndResponse) {
    GpsIoProtocol protocol(921600, 0);
    protocol.startNewSequence(5001, 31, ackRequested);
    protocol.newProtocolMessage(5001, ack);
    protocol.newProtocolMessage(5001, response);
    EXPECT_TRUE(waitFor(protocol).ok);
}

TEST(GpsIoProtocol, TakesAckAndResponseInOneFrame) {
    GpsIoProtocol protocol(921600, 0);
    protocol.startNewSequence(5001, 31, ackRequested);
    protocol.newProtocolMessage(5001, ack | FLAG_RESPONSE);
    EXPECT_TRUE(waitFor(protocol).ok);
}

TEST(GpsIoProtocol, TimesOutWithoutTheResponseAndLeavesTheArgumentsAlone) {
    GpsIoProtocol protocol(921600, 0);
    protocol.startNewSequence(5001, 31, ackRequested);
    protocol.newProtocolMessage(5001, ack);
    bool nakArgument = true;
    bool rejectedArgument = true;
    const auto begin = Clock::now();
    EXPECT_FALSE(protocol.wait(nakArgument, rejectedArgument));
    EXPECT_GE(Clock::now() - begin, std::chrono::microseconds(protocol.timeout()));
    EXPECT_TRUE(nakArgument);
    EXPECT_TRUE(rejectedArgument);
}

TEST(GpsIoProtocol, IsNotWokenByAResponseThatComesBeforeTheAck) {
    GpsIoProtocol protocol(300, 0);
    protocol.startNewSequence(5001, 31, ackRequested);
    protocol.newProtocolMessage(5001, response);
    std::thread unit([&] { protocol.newProtocolMessage(5001, ack); });
    EXPECT_TRUE(waitFor(protocol).ok);
    unit.join();

    GpsIoProtocol fast(921600, 0);
    fast.startNewSequence(5001, 31, ackRequested);
    fast.newProtocolMessage(5001, response);
    EXPECT_FALSE(waitFor(fast).ok);
}

TEST(GpsIoProtocol, IgnoresAnAckOfAnotherIdentifier) {
    GpsIoProtocol protocol(921600, 0);
    protocol.addToNoHandshakeList(5101);
    protocol.startNewSequence(5101, 0, ackRequested);
    protocol.newProtocolMessage(5102, ack);
    EXPECT_FALSE(waitFor(protocol).ok);
}

TEST(GpsIoProtocol, EndsOnANak) {
    GpsIoProtocol protocol(300, 0);
    protocol.startNewSequence(5001, 31, ackRequested);
    protocol.newProtocolMessage(5001, nak);
    const Waited result = waitFor(protocol);
    EXPECT_TRUE(result.ok);
    EXPECT_TRUE(result.nak);
    EXPECT_FALSE(result.rejected);
}

TEST(GpsIoProtocol, TakesTheRejectOfAFrameThatIsNakAndResponse) {
    GpsIoProtocol protocol(300, 0);
    protocol.startNewSequence(5001, 31, ackRequested);
    protocol.newProtocolMessage(5001, nak | reject);
    const Waited result = waitFor(protocol);
    EXPECT_TRUE(result.nak);
    EXPECT_TRUE(result.rejected);
}

TEST(GpsIoProtocol, ForgetsANakWhenTheAckFollows) {
    GpsIoProtocol protocol(300, 0);
    protocol.startNewSequence(5001, 31, ackRequested);
    protocol.newProtocolMessage(5001, nak);
    protocol.newProtocolMessage(5001, ack);
    EXPECT_FALSE(waitFor(protocol).nak);
}

TEST(GpsIoProtocol, TellsARejectedMessage) {
    GpsIoProtocol protocol(300, 0);
    protocol.startNewSequence(5001, 31, ackRequested);
    protocol.newProtocolMessage(5001, ack);
    protocol.newProtocolMessage(5001, reject);
    const Waited result = waitFor(protocol);
    EXPECT_TRUE(result.ok);
    EXPECT_TRUE(result.rejected);
}

TEST(GpsIoProtocol, StartsEachSequenceWithoutTheLastOnesResult) {
    GpsIoProtocol protocol(300, 0);
    protocol.addToNoHandshakeList(15050);
    protocol.startNewSequence(5001, 31, ackRequested);
    protocol.newProtocolMessage(5001, nak | reject);
    protocol.startNewSequence(15050, 54, FLAG_LINK_READY);
    const Waited result = waitFor(protocol);
    EXPECT_FALSE(result.nak);
    EXPECT_FALSE(result.rejected);
}

TEST(GpsIoProtocol, CountsALateAckForARetransmissionOfTheSameIdentifier) {
    GpsIoProtocol protocol(300, 0);
    protocol.addToNoHandshakeList(5101);
    protocol.startNewSequence(5101, 0, ackRequested);
    protocol.startNewSequence(5101, 0, ackRequested);
    protocol.newProtocolMessage(5101, ack);
    EXPECT_TRUE(waitFor(protocol).ok);
}

TEST(GpsIoProtocol, WakesAWaiterWhenItsWaitIsAbandoned) {
    GpsIoProtocol protocol(300, 0);
    protocol.startNewSequence(5001, 31, ackRequested);
    const auto begin = Clock::now();
    std::thread stopper([&] { protocol.abandonWaits(); });
    EXPECT_FALSE(waitFor(protocol).ok);
    EXPECT_LT(Clock::now() - begin, 4s);
    stopper.join();
}

TEST(GpsIoProtocol, StaysAbandonedForASequenceThatBeginsLater) {
    GpsIoProtocol protocol(300, 0);
    protocol.abandonWaits();
    protocol.startNewSequence(5001, 31, ackRequested);
    const auto begin = Clock::now();
    EXPECT_FALSE(waitFor(protocol).ok);
    EXPECT_LT(Clock::now() - begin, 4s);
    protocol.allowWaits();
    protocol.startNewSequence(5001, 31, ackRequested);
    protocol.newProtocolMessage(5001, ack);
    protocol.newProtocolMessage(5001, response);
    EXPECT_TRUE(waitFor(protocol).ok);
}

}  // namespace
