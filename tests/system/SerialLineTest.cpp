// What the unit sees on the serial lines, and what it may do to them.

#include <string>

#include "bench/Bench.h"
#include "bench/Simulation.h"
#include "bench/SolutionFrame.h"
#include "gmock/gmock.h"
#include "tests/system/LinkProbe.h"

namespace {

using namespace std::chrono_literals;
using bench::Bench;
using bench::LoggedFrame;
using bench::Policy;
using bench::SolutionFrame;
using bench::TopicPeer;
using bench::UnitFrame;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint16_t startedCommand = 27530;

/// How often a link has carried the message that the server has started.
std::size_t countStarts(bench::UnitModel const& unit) {
    std::size_t count = 0;
    for (auto const& logged : unit.frames(startedCommand)) {
        count += logged.frame.data.at(4) == 4 ? 1 : 0;
    }
    return count;
}
constexpr std::int64_t instant = 1'790'000'000'000'000'000;  // Unix time, nanoseconds

class SerialLine : public testing::Test {
protected:
    SerialLine() : bench(options()) {}

    static Bench::Options options() {
        Bench::Options options;
        options.settings.baud = 921600;
        return options;
    }

    void start() {
        bench.start();
        ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    }

    void connectPeer() {
        peer = std::make_unique<TopicPeer>(bench.peerOptions());
        ASSERT_TRUE(peer->waitForReaders(1, 30s)) << bench.report();
    }

    /// One more solution reaches link 1, right to the byte.
    void expectSolution() {
        const std::size_t before = bench.unit(1).frames(SolutionFrame::id).size();
        const std::int64_t at = instant + static_cast<std::int64_t>(before) * 1'000'000'000;
        const auto utc = bench::clockAt(at);
        const auto pnt = bench::navigatorAt(at);
        ASSERT_TRUE(peer->publish(utc));
        ASSERT_TRUE(peer->publish(pnt));
        ASSERT_TRUE(bench.unit(1).waitForFrames(SolutionFrame::id, before + 1, 20s))
            << bench.report();
        const auto frames = bench.unit(1).frames(SolutionFrame::id);
        EXPECT_THAT(bench::solutionDefects(frames.back().frame, utc, pnt), IsEmpty());
    }

    void stop() {
        const auto exit = bench.stop();
        ASSERT_TRUE(exit && exit->ok()) << bench.report();
    }

    Bench bench;
    std::unique_ptr<TopicPeer> peer;
};

TEST_F(SerialLine, TheStartIsToldToThePntDeviceOnLinkThree) {
    start();
    ASSERT_TRUE(bench.unit(3).waitForFrames(startedCommand, 1, 20s)) << bench.report();
    EXPECT_THAT(bench.unit(3).frames(startedCommand).front().bytes,
                ElementsAre(0xFF, 0x81, 0x8A, 0x6B, 0x09, 0x00, 0x00, 0x90, 0x6E, 0x82,  //
                            0, 0, 0, 0, 0, 0, 0, 0, 0x04, 0, 0, 0, 0, 0, 0, 0, 0, 0,     //
                            0xFC, 0xFF));
    EXPECT_THAT(bench.unit(1).frames(startedCommand), IsEmpty());
    EXPECT_THAT(bench.unit(2).frames(startedCommand), IsEmpty());
    stop();
    // Its ACK ends the matter, unless it came too late and the link sent the message again.
    EXPECT_TRUE(countStarts(bench.unit(3)) == 1 ||
                bench.server().countLines("GSSIP PROTOCOL TIMEOUT (1st) Zephon3") > 0)
        << bench.report();
}

TEST_F(SerialLine, AnUnansweredMessageIsSentTwiceAndToldTwice) {
    bench.unit(3).setReaction(startedCommand, {Policy::Silence});
    start();
    ASSERT_TRUE(bench.server().waitForLine(
        "ZephonServer: protocolThreadFunction() GSSIP PROTOCOL TIMEOUT (2nd) Zephon3 (27530) (1)",
        20s))
        << bench.report();
    EXPECT_THAT(bench.server().standardOutput(),
                HasSubstr("ZephonServer: protocolThreadFunction() GSSIP PROTOCOL TIMEOUT (1st) "
                          "Zephon3 (27530) (0)\n"));
    EXPECT_TRUE(bench.unit(3).waitForFrames(startedCommand, 2, 20s)) << bench.report();
    stop();
    EXPECT_EQ(2U, countStarts(bench.unit(3)));
}

TEST_F(SerialLine, ANakIsToldAndTheMessageSentOnceMore) {
    // Each time: one that comes too late on a busy machine is no NAK but a time-out.
    bench.unit(3).setReaction(startedCommand, {Policy::Nak, 0ms, 0});
    start();
    constexpr std::uint16_t started = 4;  // what the first of these commands tells
    ASSERT_TRUE(bench.unit(3).waitForFrames(2, 20s, [](auto const& logged) {
        return logged.frame.id == startedCommand && logged.frame.data.at(4) == started;
    })) << bench.report();
    EXPECT_TRUE(bench.server().waitForLine(
        "ZephonServer: protocolThreadFunction() GSSIP TX CHECKSUM ERROR (27530) (1)", 20s))
        << bench.report();
}

TEST_F(SerialLine, FramesThatWantAnAckGetOneOnEveryLink) {
    start();
    for (unsigned link = 1; link <= Bench::links; ++link) {
        EXPECT_TRUE(answers(bench, link, 5044)) << bench.report();
    }
    stop();
}

TEST_F(SerialLine, TheAckRequestsOfListedMessagesAreLeftUnanswered) {
    start();
    bench.unit(3).send({27535, UnitFrame::linkReady | UnitFrame::ackRequest, {1}});
    EXPECT_TRUE(answers(bench, 3, 27558))
        << bench.report();  // what was sent first has been taken by then
    EXPECT_TRUE(bench.unit(3).frames(27535).empty()) << bench.report();
}

TEST_F(SerialLine, NoiseOnTheLineLosesNothingGood) {
    start();
    connectPeer();
    // No word count that a false start could hold on to for long.
    std::vector<std::uint8_t> noise;
    for (int i = 0; i < 2000; ++i) {
        noise.push_back(static_cast<std::uint8_t>((i * 7919) >> 3 & 0xFF));
    }
    noise.insert(noise.end(), 300, 0xFF);
    bench.unit(1).sendBytes(noise);
    expectSolution();
    EXPECT_TRUE(answers(bench, 1, 5044)) << bench.report();

    auto damaged = UnitFrame{8015, UnitFrame::linkReady, {1, 2, 3, 4}}.encode();
    damaged[12] ^= 0x10U;
    bench.unit(1).sendBytes(damaged);
    ASSERT_TRUE(bench.server().waitForLine("GSSIP RX CHECKSUM ERROR (", 20s)) << bench.report();
    EXPECT_TRUE(answers(bench, 1, 5048)) << bench.report();
    expectSolution();
    stop();
}

TEST_F(SerialLine, AHugeWordCountHoldsItsLineOnlyUntilItsBytesHaveCome) {
    start();
    connectPeer();
    UnitFrame huge{8015, UnitFrame::linkReady, std::vector<std::uint16_t>(65535, 0)};
    auto bytes = huge.encode();
    ASSERT_EQ(131082U, bytes.size());
    const auto inner = UnitFrame{5044, UnitFrame::linkReady | UnitFrame::ackRequest, {}}.encode();
    std::copy(inner.begin(), inner.end(), bytes.begin() + 1000);
    bytes[2000] = 1;  // spoils the data checksum
    bench.unit(1).sendBytes(std::move(bytes));
    ASSERT_TRUE(bench.server().waitForLine("GSSIP RX CHECKSUM ERROR (1)", 60s)) << bench.report();
    EXPECT_TRUE(bench.unit(1).waitForFrames(1, 20s, [](LoggedFrame const& logged) {
        return logged.frame.id == 5044 && logged.frame.has(UnitFrame::ack);
    })) << bench.report();
    expectSolution();
    stop();
}

TEST_F(SerialLine, ALinkThatHangsUpLeavesTheOthersAloneAndTheStopInOrder) {
    start();
    connectPeer();
    bench.unit(2).hangUp();
    expectSolution();
    EXPECT_TRUE(answers(bench, 3, 5044)) << bench.report();
    stop();
}

TEST_F(SerialLine, AUnitThatReadsNothingDoesNotHoldUpTheStop) {
    start();
    connectPeer();
    bench.unit(1).stopReading();
    ASSERT_TRUE(peer->run(TopicPeer::Schedule::fromNow(400, 1200)));
    ASSERT_TRUE(peer->waitUntilDone(1, 30s));
    stop();
}

TEST_F(SerialLine, WithDebugBothDirectionsAreDumped) {
    bench.configuration().set("ZephonServer", "Debug", "true");
    start();
    EXPECT_TRUE(answers(bench, 1, 5044)) << bench.report();
    stop();
    const std::string output = bench.server().standardOutput();
    EXPECT_THAT(output, HasSubstr("R:Header:  81FF 13B4 0003 9000"));
    EXPECT_THAT(output, HasSubstr("T:Header:  81FF 13B4 0000 8800"));
}

}  // namespace
