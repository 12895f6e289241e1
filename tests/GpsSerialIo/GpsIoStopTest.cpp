#include <sys/resource.h>

#include "tests/GpsSerialIo/GpsIoFixture.h"

namespace gps_io_test {
namespace {

/// Starting and stopping, and that stopping takes no longer than the threads' polls.
class GpsIoStop : public GpsIoFixture {
protected:
    void silence(std::uint16_t id) {
        bench::Reaction reaction;
        reaction.policy = Policy::Silence;
        unit.setReaction(id, reaction);
    }

    /// Processor time that this process takes in half a second.
    static std::chrono::microseconds processorTimeOfHalfASecond() {
        auto const used = [] {
            rusage usage{};
            ::getrusage(RUSAGE_SELF, &usage);
            return std::chrono::seconds(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                   std::chrono::microseconds(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
        };
        auto const before = used();
        std::this_thread::sleep_for(500ms);  // the time that is measured
        return used() - before;
    }

    void expectNothingReported() {
        GpsIo::Counters const counters = link->counters();
        EXPECT_EQ(counters.protocolTimeouts, 0U);
        EXPECT_EQ(counters.txChecksumErrors, 0U);
        EXPECT_EQ(counters.rejectedCount, 0U);
        EXPECT_EQ(output.count("protocolThreadFunction"), 0U) << output.text();
    }
};

TEST_F(GpsIoStop, DoesNothingOnALinkThatDoesNotRun) {
    construct({});
    link->stop();
    configureLink();
    link->stop();
    link->stop();
    link->start();
    EXPECT_TRUE(exchange());
    link->stop();
    link->stop();
}

TEST_F(GpsIoStop, ReadsForATenthOfASecondBeforeItWrites) {
    configure({});
    ASSERT_TRUE(queue(makeMessage(unanswered, 1, 0x8000)));
    auto const begin = Clock::now();
    link->start();
    EXPECT_GE(Clock::now() - begin, 100ms);
    ASSERT_TRUE(unit.waitForFrames(unanswered, 1, patience));
    EXPECT_GE(unit.frames()[0].lastByte - begin, 100ms);
}

TEST_F(GpsIoStop, KeepsMessagesThatWereQueuedWhileTheLinkStoodStill) {
    construct({});
    ASSERT_TRUE(queue(makeMessage(unanswered, 1, 0x8000)));
    configureLink();
    ASSERT_TRUE(queue(makeMessage(unanswered, 2, 0x8000)));
    auto const begin = Clock::now();
    link->start();
    ASSERT_TRUE(unit.waitForFrames(unanswered, 2, patience));
    EXPECT_GE(unit.frames()[0].lastByte - begin, 100ms) << "the reader is given a lead";
    link->stop();
    ASSERT_TRUE(queue(makeMessage(unanswered, 3, 0x8000)));
    link->stop();
    link->start();
    ASSERT_TRUE(unit.waitForFrames(unanswered, 3, patience));
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(unit.frames()[i].frame.data.size(), i + 1);
    }
}

TEST_F(GpsIoStop, EndsAMessageInFlightAtOnceWithoutAReport) {
    run({300});  // 240 words wait for 19 s
    silence(handshaked);
    ASSERT_TRUE(queue(makeMessage(handshaked, 240), "in flight"));
    ASSERT_TRUE(unit.waitForFrames(handshaked, 1, patience));
    EXPECT_LT(timeToStop(), stopLimit);
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_FALSE(outcomes.all()[0].success);
    expectNothingReported();
    EXPECT_EQ(unit.frames(handshaked).size(), 1U);
}

TEST_F(GpsIoStop, DropsTheMessagesBehindTheOneInFlight) {
    run({300});
    silence(handshaked);
    ASSERT_TRUE(queue(makeMessage(handshaked, 240), "in flight"));
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(queue(makeMessage(5002), "behind"));
    }
    ASSERT_TRUE(unit.waitForFrames(handshaked, 1, patience));
    EXPECT_LT(timeToStop(), stopLimit);
    EXPECT_EQ(outcomes.all().size(), 1U) << "the others were never begun";

    link->start();
    ASSERT_TRUE(queue(makeMessage(marker, 1, 0x8000)));
    ASSERT_TRUE(unit.waitForFrames(marker, 1, patience));
    EXPECT_EQ(unit.frames(5002).size(), 0U);
}

TEST_F(GpsIoStop, CutsTheSleepOfALongLineTimeShort) {
    run({300});  // 240 words take 16 s, and so long does the writer sleep
    ASSERT_TRUE(queue(makeMessage(unanswered, 240, 0x8000)));
    ASSERT_TRUE(queue(makeMessage(unanswered, 1, 0x8000)));
    ASSERT_TRUE(unit.waitForFrames(unanswered, 1, patience));
    EXPECT_LT(timeToStop(), stopLimit);
    EXPECT_EQ(unit.frames().size(), 1U) << "the second frame waited in the write queue";

    link->start();
    ASSERT_TRUE(queue(makeMessage(marker, 1, 0x8000)));
    ASSERT_TRUE(unit.waitForFrames(marker, 1, patience));
    EXPECT_EQ(unit.frames().size(), 2U) << "and was dropped there";
}

TEST_F(GpsIoStop, EndsOnASilentLine) {
    run({});
    EXPECT_LT(timeToStop(), stopLimit);
}

TEST_F(GpsIoStop, EndsUnderAFloodOfInput) {
    run({});
    Bytes flood;
    while (flood.size() < 4000000) {
        Bytes const bytes = makeFrame(5001, 50).encode();
        flood.insert(flood.end(), bytes.begin(), bytes.end());
    }
    unit.sendBytes(std::move(flood));
    ASSERT_TRUE(unit.waitForFrames(1, patience));
    EXPECT_LT(timeToStop(), stopLimit);
}

TEST_F(GpsIoStop, GivesUpAWriteOnALineThatTakesNoBytes) {
    run({patient, 0, true});
    blockLine();
    ASSERT_TRUE(queue(makeMessage(unanswered, 240, 0x8000)));
    ASSERT_TRUE(output.waitFor("T:Header:  81FF 3ACA"));  // the write itself is next
    EXPECT_LT(timeToStop(), stopLimit);
    EXPECT_EQ(link->counters().writeErrors, 1U);
    EXPECT_EQ(output.count("Link one: WriteBytes() GSSIP WRITE ERROR (1), msgid = 15050, "
                           "wdcnt = 240, flagWord = 0x8000\n"),
              1U)
        << output.text();

    unit.resumeReading();
    link->start();
    EXPECT_TRUE(exchange()) << "the line is as good as before";
}

TEST_F(GpsIoStop, WaitsForALineThatTakesNoBytesForAWhile) {
    run({patient, 0, true});
    blockLine();
    ASSERT_TRUE(queue(makeMessage(unanswered, 240, 0x8000)));
    ASSERT_TRUE(output.waitFor("T:Header:  81FF 3ACA"));
    EXPECT_LT(processorTimeOfHalfASecond(), 250ms) << "it waits without spinning";
    unit.resumeReading();
    EXPECT_TRUE(unit.waitForFrames(unanswered, 1, patience)) << unit.describe();
    EXPECT_EQ(link->counters().writeErrors, 0U);
}

TEST_F(GpsIoStop, DoesNotSpinOnAHungUpLineAndStopsInTime) {
    run({});
    ASSERT_TRUE(exchange());
    unit.hangUp();
    EXPECT_LT(processorTimeOfHalfASecond(), 250ms);
    EXPECT_LT(timeToStop(), stopLimit);
}

TEST_F(GpsIoStop, GoesOnAfterAHangUpOnceTheLineIsOpenedAgain) {
    run({});
    ASSERT_TRUE(exchange());
    unit.hangUp();
    ASSERT_TRUE(queue(makeMessage(unanswered, 3, 0x8000)));
    EXPECT_TRUE(
        output.waitFor("Link one: WriteBytes() GSSIP WRITE ERROR (1), msgid = 15050, "
                       "wdcnt = 3, flagWord = 0x8000\n"))
        << output.text();
    ASSERT_TRUE(queue(makeMessage(marker, 0, 0x9000)));
    EXPECT_TRUE(
        output.waitFor("Link one: WriteBytes() GSSIP WRITE ERROR (2), msgid = 15051, "
                       "wdcnt = 0, flagWord = 0x9000\n"))
        << output.text();

    unit.reconnect();
    devices.root.linkSerial(channel, unit.devicePath());
    link->stop();
    auto code = FACE::RETURN_CODE_TYPE::NO_ACTION;
    serial->Close_Connection(0, code);
    ASSERT_EQ(code, FACE::RETURN_CODE_TYPE::NO_ERROR);
    configureLink();
    link->start();
    EXPECT_TRUE(exchange());
    EXPECT_TRUE(acknowledges(marker));
    EXPECT_EQ(link->counters().writeErrors, 2U);
}

TEST_F(GpsIoStop, ForgetsHalfAFrame) {
    run({});
    Bytes const frame = makeFrame(5001, 50).encode();
    // What follows would complete the first half to a frame.
    unit.sendBytes({frame.begin(), frame.begin() + 60});
    ASSERT_TRUE(unit.waitUntilSent(patience));
    unsigned int const before = link->counters().rxCount;
    link->stop();
    link->start();
    unit.sendBytes({frame.begin() + 60, frame.end()});
    ASSERT_TRUE(acknowledges(marker));
    EXPECT_EQ(link->counters().rxCount, before + 1) << "the marker alone";
    EXPECT_EQ(link->counters().rxChecksumErrors, 0U);
}

TEST_F(GpsIoStop, WorksAgainAfterASecondStart) {
    run({});
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(exchange());
        EXPECT_TRUE(acknowledges(marker));
        link->start();  // stops first
    }
    EXPECT_TRUE(exchange());
    EXPECT_EQ(link->counters().rxCount, 8U) << "the counters go on";
}

TEST_F(GpsIoStop, IsRunByTheDestructor) {
    run({300});
    silence(handshaked);
    ASSERT_TRUE(queue(makeMessage(handshaked, 240), "in flight"));
    ASSERT_TRUE(unit.waitForFrames(handshaked, 1, patience));
    auto const begin = Clock::now();
    link.reset();
    EXPECT_LT(Clock::now() - begin, stopLimit);
    EXPECT_EQ(outcomes.all().size(), 1U);
}

TEST_F(GpsIoStop, DropsWhatArrivedWhileTheLinkStoodStill) {
    configure({patient, 0, true});
    unit.send(makeFrame(6000));
    ASSERT_TRUE(unit.waitUntilSent(patience));
    link->start();
    ASSERT_TRUE(acknowledges(marker));
    EXPECT_EQ(unit.frames(6000).size(), 0U);
    EXPECT_EQ(output.count("GpsIo::flush() number of bytes flushed: 1\n"), 1U) << output.text();
}

}  // namespace
}  // namespace gps_io_test
