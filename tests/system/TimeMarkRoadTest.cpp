// Time marks of the engine on their way to the unit, and the part numbers that follow them.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/Simulation.h"
#include "tests/system/QueueFixture.h"
#include "tests/zephon/TimeMarkFrames.h"
#include "tests/zephon/UnitFrames.h"

namespace {

using bench::QueueRecord;
using bench::TopicPeer;
using bench::UnitFrame;
using Frames = std::vector<FrameBytes>;

constexpr unsigned char trevo = 39;
constexpr unsigned char fusionNavigator = 96;

class TimeMarkRoad : public QueueFixture {
protected:
    void startWith(std::string const& merge) {
        bench.configuration().set("ZephonServer", "PARAM_2", merge);
        bench.configuration().set("ZephonServer", "PARAM_3", "TRUE");
        start();
    }
    void connect(TopicPeer::Role role) {
        computer = std::make_unique<TopicPeer>(bench.peerOptions(role));
        // A topic may take a heartbeat's period, and one is awaited after the other.
        ASSERT_TRUE(computer->waitForReaders(1, Seconds(60))) << computer->lastFailure();
    }

    void write(UnitFrame const& frame, std::int64_t validNanoseconds = mark) {
        QueueRecord record;
        record.deviceId = 0x03000000 | trevo << 16;
        record.validity.seconds = validNanoseconds / oneSecond;
        record.validity.nanoseconds = static_cast<std::int32_t>(validNanoseconds % oneSecond);
        record.data = frame.encode();
        ASSERT_TRUE(siblings.write("TREVO_MX", record)) << siblings.lastFailure();
    }
    /// Waits until what the engine has written before has come through.
    void waitForTheEngine() {
        write({5047, statusFlags, {++lastNumber}});
        ASSERT_TRUE(waitForFrame(bench.unit(1), UnitFrame{5047, statusFlags, {lastNumber}}))
            << bench.report();
    }

    void publishLine(std::string const& text) {
        bench::EventRecord record;
        record.text = text;
        ASSERT_TRUE(computer->publish(record)) << computer->lastFailure();
    }

    /// The navigator's times of the instant `mark`, tagged `offset` nanoseconds from it.
    void publishGps(std::int64_t gpsTow, std::int64_t offset) {
        bench::GpsTimeRecord record;
        record.header.source = fusionNavigator;
        record.header.setTag(mark + offset);
        record.gpsWeek = fusedWeek;
        record.gpsTowSeconds = gpsTow;
        record.timeVariance = fusedVariance;
        ASSERT_TRUE(computer->publish(record)) << computer->lastFailure();
    }
    void publishUtc(std::int64_t gpsTow, std::int64_t offset) {
        bench::UtcRecord record;
        record.header.source = fusionNavigator;
        record.header.setTag(mark + offset);
        record.gpsWeek = fusedWeek;
        record.gpsTowSeconds = gpsTow;
        record.utcTodSeconds = utcOf(gpsTow);
        record.timeVariance = fusedVariance;
        ASSERT_TRUE(computer->publish(record)) << computer->lastFailure();
    }
    static std::int64_t utcOf(std::int64_t gpsTow) {
        return gpsTow - 6 * 86400 - bench::leapSeconds;
    }
    static UnitFrame mergedMark(std::int64_t gpsTow) {
        return makeMergedMark(static_cast<double>(gpsTow), static_cast<double>(utcOf(gpsTow)));
    }

    /// Waits until all times that were published before have been taken: on each topic a record
    /// follows that comes out at the unit.
    void waitForTheNavigator() {
        ++solutions;
        const std::int64_t instant = mark + static_cast<std::int64_t>(solutions) * oneSecond;
        ASSERT_TRUE(computer->publish(bench::clockAt(instant)));
        ASSERT_TRUE(computer->publish(bench::navigatorAt(instant)));
        ASSERT_TRUE(computer->publish(bench::positionAt(instant)));
        ASSERT_TRUE(computer->publish(bench::gpsTimeAt(instant + oneSecond)));
        ASSERT_TRUE(bench.unit(1).waitForFrames(15050, solutions, patience)) << bench.report();
        ASSERT_TRUE(bench.unit(1).waitForFrames(15052, solutions, patience)) << bench.report();
    }

    Frames marks() { return framesWithId(8504); }
    Frames framesWithId(std::uint16_t id) {
        Frames frames = framesOf(bench.unit(1));
        frames.erase(std::remove_if(frames.begin(), frames.end(),
                                    [id](FrameBytes const& bytes) {
                                        return (bytes[2] | bytes[3] << 8U) != id;
                                    }),
                     frames.end());
        return frames;
    }

    static constexpr std::int64_t oneSecond = 1'000'000'000;
    static constexpr std::int64_t mark = 1'795'284'000 * oneSecond;  // 2026 November 21, 18:00 UTC
    std::unique_ptr<TopicPeer> computer;
    std::uint16_t lastNumber = 0;
    std::size_t solutions = 0;
};

TEST_F(TimeMarkRoad, AMarkPassesThroughAsItIsWithoutFusedTime) {
    startWith("FALSE");
    UnitFrame frame = makeFrame(8504, 200, statusFlags);  // every byte with a value of its own
    frame.data[48] = static_cast<std::uint16_t>(frame.data[48] | 0x0010U);
    write(frame);
    frame.data[48] = static_cast<std::uint16_t>(frame.data[48] & ~0x0010U);
    ASSERT_TRUE(waitForFrame(bench.unit(1), frame)) << bench.report();
    write(makeMark(7.0, UnitFrame::linkReady));
    ASSERT_TRUE(waitForFrame(bench.unit(1), makeMark(7.0))) << bench.report();
    waitForTheEngine();
    stop();
    EXPECT_EQ((Frames{frame.encode(), makeMark(7.0).encode()}), marks());
    EXPECT_EQ(2U, bench.server().countLines("PassThrough 8504 as-is: ")) << bench.report();
    EXPECT_EQ(0U, bench.server().countLines("receivedFusion")) << bench.report();
}

TEST_F(TimeMarkRoad, AMarkWaitsForTheNavigatorsTimesAndCarriesThem) {
    startWith("TRUE");
    connect(TopicPeer::Role::All);
    write(makeMark(1.0));
    waitForTheEngine();
    publishGps(583218, 99'999'999);
    waitForTheNavigator();
    EXPECT_EQ(Frames(), marks()) << "UTC is missing";
    publishUtc(583218, -100'000'000);
    ASSERT_TRUE(waitForFrame(bench.unit(1), mergedMark(583218))) << bench.report();
    stop();
    EXPECT_EQ(Frames{mergedMark(583218).encode()}, marks());
    EXPECT_EQ(1U, bench.server().countLines("receivedFusionGPSTimeAtTM: ")) << bench.report();
    EXPECT_EQ(1U, bench.server().countLines("receivedFusionUTCTimeAtTM: ")) << bench.report();
    EXPECT_EQ(0U, bench.server().countLines("PassThrough")) << bench.report();
}

TEST_F(TimeMarkRoad, AMarkStaysUnsentUntilACloserGpsTimeComes) {
    startWith("TRUE");
    connect(TopicPeer::Role::All);
    write(makeMark(1.0));
    waitForTheEngine();
    publishUtc(583218, 0);
    publishGps(583217, 110'000'000);
    waitForTheNavigator();
    EXPECT_EQ(Frames(), marks());
    write(makeMark(2.0));  // replaces the first
    waitForTheEngine();
    EXPECT_EQ(Frames(), marks());
    publishGps(583218, 50'000'000);
    ASSERT_TRUE(waitForFrame(bench.unit(1), mergedMark(583218))) << bench.report();
    waitForTheEngine();
    stop();
    EXPECT_EQ(Frames{mergedMark(583218).encode()}, marks());
}

TEST_F(TimeMarkRoad, PartNumbersFollowEachMarkOnceTheEngineHasToldItsFour) {
    bench.configuration().set("ZephonServer", "Debug", "TRUE");  // tells what has been read
    startWith("FALSE");
    connect(TopicPeer::Role::EventLogger);
    for (std::size_t i = 0; i + 1 < engineLines.size(); ++i) {
        publishLine(engineLines[i]);
        ASSERT_TRUE(bench.server().waitForLines("Recvd EventLog: " + engineLines[i], 1, patience))
            << bench.report();
    }
    double time = 1;
    const auto writeMark = [&] {
        write(makeMark(time));
        ASSERT_TRUE(waitForFrame(bench.unit(1), makeMark(time))) << bench.report();
        time += 1;
    };
    for (int i = 0; i < 3; ++i) {
        writeMark();
    }
    waitForTheEngine();
    EXPECT_EQ(Frames(), framesWithId(15053));

    publishLine(engineLines.back());
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (framesWithId(15053).empty() && std::chrono::steady_clock::now() < deadline) {
        writeMark();
        waitForTheEngine();
    }
    for (int i = 0; i < 3; ++i) {
        writeMark();
    }
    waitForTheEngine();
    stop();

    // Of each mark since the first that the numbers have followed.
    const std::size_t following = framesWithId(15053).size();
    ASSERT_GE(following, 4U) << bench.report();
    Frames expected;
    for (std::size_t i = following; i > 0; --i) {
        expected.push_back(makePartNumbers(time - static_cast<double>(i)).encode());
    }
    EXPECT_EQ(expected, framesWithId(15053));
}

}  // namespace
