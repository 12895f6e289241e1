// What the engine and the anti-jam unit tell of themselves, from the queue devices and the event
// log to the unit.

#include <memory>
#include <string>
#include <vector>

#include "bench/Patience.h"
#include "bench/Simulation.h"
#include "tests/system/EventReader.h"
#include "tests/system/QueueFixture.h"
#include "tests/zephon/ReceiverFrames.h"
#include "tests/zephon/UnitFrames.h"

namespace {

using bench::Policy;
using bench::TopicPeer;
using bench::UnitFrame;
using testing::ElementsAre;
using Words = std::vector<std::uint16_t>;

constexpr unsigned char trevo = 39;
constexpr unsigned char halvorUnit = 47;
constexpr std::int64_t instant = 1'790'000'000'000'000'000;  // Unix time, nanoseconds
constexpr std::int64_t second = 1'000'000'000;

class ReceiverStatus : public QueueFixture {
protected:
    /// Time marks wait for a fused time, so that they do not stand between the others.
    ReceiverStatus() {
        bench.configuration().set("ZephonServer", "PARAM_2", "TRUE");
        bench.configuration().set("ZephonServer", "Debug", "TRUE");
    }

    void startWithComputer() {
        start();
        computer = std::make_unique<TopicPeer>(bench.peerOptions());
        ASSERT_TRUE(computer->waitForReaders(1, patience)) << computer->lastFailure();
    }

    void fromEngine(UnitFrame const& frame) { write("TREVO_MX", frame, trevo); }
    void fromHalvor(UnitFrame const& frame) { write("HALVOR_MX", frame, halvorUnit); }

    /// Waits until what was written to both queues before has come through.
    void waitForTheQueues() {
        const UnitFrame engine{5047, statusFlags, {++marks_}};
        auto halvor = emptyFrame(15051, 100);
        halvor.data[99] = marks_;
        fromEngine(engine);
        fromHalvor(halvor);
        ASSERT_TRUE(waitForFrame(bench.unit(1), engine)) << bench.report();
        ASSERT_TRUE(waitForFrame(bench.unit(1), halvor)) << bench.report();
    }
    /// The messages that have come out of link 1, without those that mark the end of something.
    std::vector<FrameBytes> sentToUnit() {
        std::vector<FrameBytes> frames;
        for (auto const& bytes : framesOf(bench.unit(1))) {
            const auto frame = bench::decodeFrame(bytes.data(), bytes.size());
            if (!frame->isHandshake() && frame->id != 5047 && frame->id != 15051) {
                frames.push_back(bytes);
            }
        }
        return frames;
    }

    /// Bytes 98 to 107 of the next solution.
    Words nextSolution() {
        ++solutions_;
        const std::int64_t at = instant + static_cast<std::int64_t>(solutions_) * second;
        EXPECT_TRUE(computer->publish(bench::clockAt(at))) << computer->lastFailure();
        EXPECT_TRUE(computer->publish(bench::navigatorAt(at))) << computer->lastFailure();
        EXPECT_TRUE(bench.unit(1).waitForFrames(15050, solutions_, patience)) << bench.report();
        const auto data = bench.unit(1).frames(15050).back().frame.data;
        return {data.begin() + 49, data.end()};
    }

    std::unique_ptr<TopicPeer> computer;

private:
    std::uint16_t marks_ = 0;
    std::size_t solutions_ = 0;
};

TEST_F(ReceiverStatus, APairBehindATimeMarkIsOneMessageOnLinkOne) {
    start();
    fromEngine(make9391(99));  // the engine's state is not known yet
    fromEngine(make8504(0x01, 0x80));
    auto frame5040 = make5040(100.25);
    frame5040.data[36] = 0x0082;  // 2.0
    frame5040.data[38] = 1;       // ft
    frame5040.data[42] = 0x2442;
    frame5040.data[49] = 0xFFF9;
    frame5040.data[61] = 0xFFFF;
    frame5040.data[74] = 0xFF9C;
    auto frame9391 = make9391(100);
    frame9391.data[2] = 0x0201;
    frame9391.data[3] = 0x0403;
    frame9391.data[12] = 0x1211;
    fromEngine(frame5040);
    fromEngine(frame9391);
    waitForTheQueues();
    const UnitFrame expected{
        30000, statusFlags, {0x0000, 0x42C8, 0x0201, 0x0403, 0x1211, 0, 0x0EBF, 0x3F1C, 0, 0,
                             0x2442, 0x0009, 0x0001, 0,      0,      0, 0xFF9C, 0,      0, 0}};
    EXPECT_EQ(std::vector<FrameBytes>{expected.encode()}, sentToUnit()) << bench.report();
    stop();
    EXPECT_TRUE(framesOf(bench.unit(2)).empty()) << bench.report();
}

TEST_F(ReceiverStatus, AUnitWithoutAcksIsToldAtTheSeventhMessage) {
    bench.unit(1).setReaction(30000, {Policy::Silence});
    start();
    const EventReader events(bench);
    fromEngine(make8504(0x01));
    const auto send = [this](int from, int to) {
        for (int time = from; time <= to; ++time) {
            fromEngine(make5040(time));
            fromEngine(make9391(static_cast<float>(time)));
        }
        waitForTheQueues();
    };
    send(1, 6);
    // A line of the unit's follows what has been told so far.
    ASSERT_TRUE(bench::holdsInTime([&] {  // the queue of the events may be full of time-outs
        bench.unit(1).send(makeStatus(17, "SIX MESSAGES"));
        return events.waitFor("SIX MESSAGES", std::chrono::seconds(1)).has_value();
    })) << events.report();
    EXPECT_EQ(0U, events.count("No Ack")) << events.report();
    send(7, 7);
    const auto event = events.waitFor("//plexa://Corvane/ZephonServer: ZEPHON COMM ERROR No Ack/");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(4, event->type);
    EXPECT_EQ(1U, events.count("No Ack")) << events.report();
    EXPECT_EQ(7U, sentToUnit().size()) << bench.report();
    stop();
}

TEST_F(ReceiverStatus, AUnitThatAcknowledgesIsNotTold) {
    start();
    const EventReader events(bench);
    fromEngine(make8504(0x01));
    for (int time = 1; time <= 9; ++time) {
        fromEngine(make5040(time));
        fromEngine(make9391(static_cast<float>(time)));
        waitForTheQueues();
    }
    bench.unit(1).send(makeStatus(17, "NINE MESSAGES"));
    ASSERT_TRUE(events.waitFor("NINE MESSAGES")) << events.report();
    EXPECT_EQ(0U, events.count("No Ack")) << events.report();
    EXPECT_EQ(9U, sentToUnit().size()) << bench.report();
}

TEST_F(ReceiverStatus, JammingFiguresStandInExactlyOneSolution) {
    startWithComputer();
    EXPECT_THAT(nextSolution(), ElementsAre(testing::_, 0, 0, 0, 0));
    fromHalvor(make2516(0x3, 0xA));
    waitForTheQueues();
    EXPECT_THAT(nextSolution(), ElementsAre(testing::_, 2, 0, 0, 0x00A3));
    EXPECT_THAT(nextSolution(), ElementsAre(testing::_, 0, 0, 0, 0));
    stop();
}

TEST_F(ReceiverStatus, TheEnginesStatusWordsStandInEverySolution) {
    startWithComputer();
    fromEngine(make8040(0xFFFF, 0xFFFF));
    waitForTheQueues();
    EXPECT_THAT(nextSolution(), ElementsAre(testing::_, 1, 0x3FFD, 0xFFC1, 0));
    EXPECT_THAT(nextSolution(), ElementsAre(testing::_, 1, 0x3FFD, 0xFFC1, 0));
    EXPECT_TRUE(waitForFrame(bench.unit(1), make8040(0xFFFF, 0xFFFF))) << bench.report();
    stop();
}

TEST_F(ReceiverStatus, ReradModeOfTheEngineClearsItsFlag) {
    startWithComputer();
    EventReader events(bench);
    ASSERT_TRUE(events.peer().waitForReaders(1, patience));
    // Lines come in order: once the server has printed one, it has taken the one before.
    const auto publish = [&](std::string const& text, std::int64_t source,
                             std::string const& next) {
        bench::EventRecord line;
        line.header.source = source;
        line.text = text;
        ASSERT_TRUE(events.peer().publish(line));
        line.text = next;
        ASSERT_TRUE(events.peer().publish(line));
        ASSERT_TRUE(bench.server().waitForLines("Recvd EventLog: " + next, 1, patience))
            << bench.report();
    };
    publish("Rerad mode ENABLED", halvorUnit, "of another source");
    EXPECT_EQ(0x0100, nextSolution()[0] & 0x0100);
    publish("rerad MODE enabled", trevo, "of the engine");
    EXPECT_EQ(0, nextSolution()[0] & 0x0100);
    publish("Rerad mode DISABLED", trevo, "of no effect");
    EXPECT_EQ(0, nextSolution()[0] & 0x0100);
    stop();
}

TEST_F(ReceiverStatus, PartNumbersOfTheAntiJamUnitLeaveUnderTheUnitsNumber) {
    start();
    auto frame = makeFrame(2518, 90);
    fromHalvor(frame);
    waitForTheQueues();
    frame.id = 15054;
    frame.flags = statusFlags;
    EXPECT_EQ(std::vector<FrameBytes>{frame.encode()}, sentToUnit()) << bench.report();
}

TEST_F(ReceiverStatus, ThreatsAndTheEnginesStatusTextGoOn) {
    start();
    auto threats = makeFrame(15051, 100);
    auto text = makeStatus(17, "OF THE ENGINE");
    text.flags = UnitFrame::linkReady;
    fromHalvor(threats);
    fromEngine(text);
    threats.flags = text.flags = statusFlags;
    EXPECT_TRUE(waitForFrame(bench.unit(1), threats)) << bench.report();
    EXPECT_TRUE(waitForFrame(bench.unit(1), text)) << bench.report();
}

TEST_F(ReceiverStatus, WhatIsTooShortOrTooLongGivesNothingButTheToldEvent) {
    start();
    const EventReader events(bench);
    fromEngine(make8504(0x01));
    fromEngine(make5040(100));
    for (const int change : {-1, 1}) {
        const auto length = [change](int words) {
            return static_cast<std::size_t>(words + change);
        };
        fromEngine(emptyFrame(5040, length(88)));
        fromEngine(emptyFrame(9391, length(84)));
        fromEngine(emptyFrame(5044, length(21)));
        fromHalvor(emptyFrame(2516, length(32)));
        fromHalvor(emptyFrame(2518, length(90)));
        fromHalvor(emptyFrame(15051, length(100)));
    }
    fromEngine(make9391(100));
    waitForTheQueues();
    EXPECT_EQ(std::vector<FrameBytes>{make30000(100).encode()}, sentToUnit()) << bench.report();
    for (std::string const counted : {"83", "85"}) {
        const std::string text = "Wrong 9391 wdcnt:" + counted + " expected:84 unpacked:84";
        const auto event = events.waitFor(text);
        ASSERT_TRUE(event) << events.report();
        EXPECT_EQ(2, event->type);
        EXPECT_EQ(text, event->text);
    }
    EXPECT_EQ(2U, events.count("wdcnt")) << events.report();
    EXPECT_EQ(3U, framesOf(bench.unit(1)).size()) << "besides two that mark the end";
    stop();
}

}  // namespace
