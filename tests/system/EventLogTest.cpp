// What the links report on the event log, and how it stands beside their lines on the console.

#include <string>
#include <vector>

#include "bench/Bench.h"
#include "bench/Patience.h"
#include "bench/Simulation.h"
#include "bench/SolutionFrame.h"
#include "bench/VirtualUnits.h"
#include "gmock/gmock.h"
#include "tests/system/EventReader.h"
#include "tests/system/LinkProbe.h"

namespace {

using namespace std::chrono_literals;
using bench::Bench;
using bench::Policy;
using bench::SolutionFrame;
using bench::UnitFrame;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

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
constexpr std::int64_t information = 2;
constexpr std::int64_t failure = 3;

const std::string fromLink = "GpsIo\\.cpp\\[[0-9]+\\]:";

std::string escaped(std::string const& text) {
    std::string result;
    for (const char c : text) {
        if (std::string("()[].").find(c) != std::string::npos) {
            result += '\\';
        }
        result += c;
    }
    return result;
}

class EventLog : public testing::Test {
protected:
    EventLog() : events(bench) {}

    void start() {
        bench.start();
        ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    }
    void stop() {
        const auto exit = bench.stop();
        ASSERT_TRUE(exit && exit->ok()) << bench.report();
    }

    /// The line is on the event log, once and with the name of its source, and on the console, once
    /// and without it.
    void expectFailure(std::string const& line) {
        const auto event = events.waitFor(line);
        ASSERT_TRUE(event) << events.report() << bench.report();
        EXPECT_EQ(failure, event->type) << line;
        EXPECT_THAT(event->text, MatchesRegex(fromLink + escaped(line)));
        EXPECT_EQ(1U, events.count(line)) << events.report();
        expectOnConsole(line);
    }
    void expectInformation(std::string const& line) {
        const auto event = events.waitFor(line);
        ASSERT_TRUE(event) << events.report() << bench.report();
        EXPECT_EQ(information, event->type) << line;
        EXPECT_EQ(line, event->text);
        expectOnConsole(line);
    }
    void expectOnConsole(std::string const& line) {
        ASSERT_TRUE(bench.server().waitForLine(line, 20s)) << bench.report();
        EXPECT_THAT("\n" + bench.server().standardOutput(), HasSubstr("\n" + line + "\n"));
        EXPECT_EQ(1U, bench.server().countLines(line)) << bench.report();
    }

    std::vector<std::uint8_t> damagedFrame() {
        auto bytes = UnitFrame{8015, UnitFrame::linkReady, {1, 2, 3, 4}}.encode();
        bytes[12] ^= 0x10U;
        return bytes;
    }

    Bench bench;
    EventReader events;
};

TEST_F(EventLog, TellsTheFirstTimeOutAsInformationAndTheSecondAsFailure) {
    bench.unit(3).setReaction(startedCommand, {Policy::Silence});
    start();
    const std::string line = "ZephonServer: protocolThreadFunction() GSSIP PROTOCOL TIMEOUT ";
    expectInformation(line + "(1st) Zephon3 (27530) (0)");
    expectFailure(line + "(2nd) Zephon3 (27530) (1)");
    EXPECT_TRUE(bench.unit(3).waitForFrames(startedCommand, 2, 20s)) << bench.report();
    stop();
    EXPECT_EQ(2U, countStarts(bench.unit(3)));
}

TEST_F(EventLog, TellsWhatTheUnitTookAsDamaged) {
    bench.unit(3).setReaction(startedCommand, {Policy::Nak});
    start();
    expectFailure("ZephonServer: protocolThreadFunction() GSSIP TX CHECKSUM ERROR (27530) (1)");
    ASSERT_TRUE(bench.unit(3).waitForFrames(startedCommand, 2, 20s)) << bench.report();
    stop();
}

TEST_F(EventLog, TellsWhatTheUnitRejected) {
    // At this rate the link waits for seconds, so that the answer comes in time.
    bench.configuration().set("Zephon3", "Baudrate", "300");
    bench.unit(3).setReaction(startedCommand, {Policy::Silence});
    start();
    ASSERT_TRUE(bench.unit(3).waitForFrames(startedCommand, 1, 20s)) << bench.report();
    bench.unit(3).send(
        {startedCommand,
         UnitFrame::linkReady | UnitFrame::ack | UnitFrame::response | UnitFrame::reject,
         {}});
    expectFailure("ZephonServer: protocolThreadFunction() GSSIP MSG REJECTED (27530) (1)");
    stop();
    EXPECT_EQ(1U, countStarts(bench.unit(3)));
}

TEST_F(EventLog, TellsDamagedFramesOfEveryLinkAndCountsThemByLink) {
    start();
    const std::string line = "ZephonServer: readThreadFunction() GSSIP RX CHECKSUM ERROR ";
    for (unsigned link = 1; link <= Bench::links; ++link) {
        bench.unit(link).sendBytes(damagedFrame());
        ASSERT_TRUE(bench.server().waitForLines(line + "(1)", link, 20s)) << bench.report();
    }
    bench.unit(2).sendBytes(damagedFrame());
    expectFailure(line + "(2)");
    EXPECT_EQ(3U, events.count(line + "(1)")) << events.report();
    stop();
}

TEST_F(EventLog, TellsWhatCouldNotBeWritten) {
    start();
    bench::TopicPeer solutions(bench.peerOptions());
    std::int64_t at = instant;
    const auto publishPair = [&] {
        at += 1'000'000'000;
        return solutions.publish(bench::clockAt(at)) && solutions.publish(bench::navigatorAt(at));
    };
    while (!bench.unit(1).waitForFrames(SolutionFrame::id, 1, 100ms)) {
        ASSERT_LT(at, instant + 200'000'000'000) << bench.report();
        ASSERT_TRUE(publishPair());  // the server may not have found its publisher yet
    }
    UnitFrame const good = bench.unit(1).frames(SolutionFrame::id).front().frame;
    bench.unit(1).hangUp();
    ASSERT_TRUE(publishPair());
    std::ostringstream line;
    line << "ZephonServer: WriteBytes() GSSIP WRITE ERROR (1), msgid = 15050, wdcnt = "
         << good.data.size() << ", flagWord = 0x" << std::hex << good.flags;
    expectFailure(line.str());
    EXPECT_TRUE(answers(bench, 2, 5044)) << bench.report();
    EXPECT_TRUE(answers(bench, 3, 5044)) << bench.report();
    stop();
}

TEST_F(EventLog, ThinsABurstOutAndGoesOnWithItsNumbers) {
    constexpr int damaged = 60;
    start();
    ASSERT_TRUE(events.waitFor("started successfully.")) << events.report();
    for (int i = 0; i < damaged; ++i) {
        bench.unit(1).sendBytes(damagedFrame());
    }
    const std::string line = "ZephonServer: readThreadFunction() GSSIP RX CHECKSUM ERROR ";
    ASSERT_TRUE(bench.server().waitForLines(line, damaged, 20s)) << bench.report();
    // Ten lines wait at most, and ten a second leave: room comes back.
    ASSERT_TRUE(events.waitFor(line + "(1)")) << events.report();
    // What is heard was queued behind all the rest, which then has left but for some lines.
    ASSERT_TRUE(bench::holdsInTime([&] {
        bench.unit(1).send(bench::makeStatus(17, "ROOM"));
        return events.waitFor("ROOM", 1s).has_value();
    })) << events.report();
    bench.unit(2).sendBytes(damagedFrame());
    ASSERT_TRUE(bench.server().waitForLines(line + "(1)", 2, 20s)) << bench.report();
    stop();
    ASSERT_TRUE(events.waitFor("stopped successfully.")) << events.report();
    EXPECT_EQ(2U, events.count(line + "(1)")) << events.report();
    EXPECT_LT(events.count(line), static_cast<std::size_t>(damaged)) << events.report();
    std::int64_t number = 0;
    for (auto const& event : events.all()) {
        EXPECT_EQ(number++, event.header.sequence) << events.report();
    }
}

TEST_F(EventLog, StaysQuietWhileNothingGoesWrong) {
    start();
    for (unsigned link = 1; link <= Bench::links; ++link) {
        EXPECT_TRUE(answers(bench, link, 5044)) << bench.report();
    }
    stop();
    ASSERT_TRUE(events.waitFor("stopped successfully.")) << events.report();
    // But for an ACK that came too late, on a machine that stood still for a while.
    EXPECT_EQ(5U, events.all().size() - events.count("PROTOCOL TIMEOUT")) << events.report();
}

}  // namespace
