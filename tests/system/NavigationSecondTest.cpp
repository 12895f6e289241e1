// A whole second of navigation, as the unit gets it: solution, alternate navigation, time mark,
// part numbers and status.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/AltNavFrame.h"
#include "bench/Simulation.h"
#include "bench/SolutionFrame.h"
#include "tests/system/QueueFixture.h"
#include "tests/zephon/TimeMarkFrames.h"
#include "tests/zephon/UnitFrames.h"

namespace {

using bench::TopicPeer;
using bench::UnitFrame;

constexpr unsigned char trevo = 39;
constexpr unsigned char fusionNavigator = 96;
constexpr std::int64_t oneSecond = 1'000'000'000;
constexpr std::int64_t instant = 1'795'284'000 * oneSecond;  // 2026 November 21, 18:00 UTC
constexpr std::int64_t gpsTow = 583218;
constexpr std::int64_t utcTod = 64800;

class NavigationSecond : public QueueFixture {
protected:
    void startWithComputer() {
        bench.configuration().set("ZephonServer", "PARAM_2", "TRUE");
        bench.configuration().set("ZephonServer", "Debug", "TRUE");
        start();
        computer = std::make_unique<TopicPeer>(bench.peerOptions(TopicPeer::Role::All));
        // A topic may take a heartbeat's period, and one is awaited after the other.
        ASSERT_TRUE(computer->waitForReaders(1, Seconds(60))) << computer->lastFailure();
        for (std::string const& line : engineLines) {
            bench::EventRecord record;
            record.text = line;
            ASSERT_TRUE(computer->publish(record)) << computer->lastFailure();
        }
        ASSERT_TRUE(bench.server().waitForLine("Recvd EventLog: " + engineLines.back(), patience))
            << bench.report();
    }

    void fromEngine(UnitFrame const& frame) {
        bench::QueueRecord record;
        record.deviceId = 0x03000000 | trevo << 16;
        record.validity.seconds = instant / oneSecond;
        record.data = frame.encode();
        ASSERT_TRUE(siblings.write("TREVO_MX", record)) << siblings.lastFailure();
    }

    template <class Record>
    void publishFusedTime(Record record) {
        record.header.source = fusionNavigator;
        record.header.setTag(instant);
        record.gpsWeek = fusedWeek;
        record.gpsTowSeconds = gpsTow;
        record.timeVariance = fusedVariance;
        ASSERT_TRUE(computer->publish(record)) << computer->lastFailure();
    }

    /// What link 1 has carried besides the acknowledgements, each frame once: the link sends again
    /// what the unit was slow to acknowledge.
    std::vector<FrameBytes> sentToUnit() {
        std::vector<FrameBytes> frames;
        for (auto const& bytes : framesOf(bench.unit(1))) {
            const auto frame = bench::decodeFrame(bytes.data(), bytes.size());
            if (!frame->isHandshake() &&
                std::find(frames.begin(), frames.end(), bytes) == frames.end()) {
                frames.push_back(bytes);
            }
        }
        return frames;
    }

    std::unique_ptr<TopicPeer> computer;
};

TEST_F(NavigationSecond, ReachesTheUnitMessageByMessage) {
    startWithComputer();

    const auto utc = bench::clockAt(instant);
    const auto pnt = bench::navigatorAt(instant);
    ASSERT_TRUE(computer->publish(utc));
    ASSERT_TRUE(computer->publish(pnt));
    ASSERT_TRUE(bench.unit(1).waitForFrames(bench::SolutionFrame::id, 1, patience))
        << bench.report();
    EXPECT_THAT(
        bench::solutionDefects(bench.unit(1).frames(bench::SolutionFrame::id)[0].frame, utc, pnt),
        testing::IsEmpty());

    const auto position = bench::positionAt(instant);
    const auto time = bench::gpsTimeAt(instant + oneSecond);
    ASSERT_TRUE(computer->publish(position));
    ASSERT_TRUE(computer->publish(time));
    ASSERT_TRUE(bench.unit(1).waitForFrames(bench::altNavigationId, 1, patience)) << bench.report();
    EXPECT_THAT(bench::altNavigationDefects(bench.unit(1).frames(bench::altNavigationId)[0].frame,
                                            position, time),
                testing::IsEmpty());

    UnitFrame mark = makeMark(static_cast<double>(gpsTow));
    mark.data[48] = 0x0007;  // an engine that navigates
    fromEngine(mark);
    publishFusedTime(bench::GpsTimeRecord());
    bench::UtcRecord fusedUtc;
    fusedUtc.utcTodSeconds = utcTod;
    publishFusedTime(fusedUtc);
    UnitFrame merged = makeMergedMark(static_cast<double>(gpsTow), static_cast<double>(utcTod));
    merged.data[48] = static_cast<std::uint16_t>(merged.data[48] | 0x0007U);
    const UnitFrame partNumbers = makePartNumbers(static_cast<double>(gpsTow));
    ASSERT_TRUE(waitForFrame(bench.unit(1), merged)) << bench.report();
    ASSERT_TRUE(waitForFrame(bench.unit(1), partNumbers)) << bench.report();

    const UnitFrame engineStatus = make8040(0x1234, 0x5678);
    fromEngine(engineStatus);
    fromEngine(make5040(static_cast<double>(gpsTow)));
    fromEngine(make9391(static_cast<float>(gpsTow)));
    ASSERT_TRUE(waitForFrame(bench.unit(1), engineStatus)) << bench.report();
    ASSERT_TRUE(bench.unit(1).waitForFrames(30000, 1, patience)) << bench.report();
    stop();

    // All there is, and each message once.
    std::vector<std::uint16_t> ids;
    for (auto const& bytes : sentToUnit()) {
        ids.push_back(static_cast<std::uint16_t>(bytes[2] | bytes[3] << 8U));
    }
    EXPECT_THAT(ids, testing::UnorderedElementsAre(bench::SolutionFrame::id, bench::altNavigationId,
                                                   8504, 15053, 8040, 30000));
    EXPECT_EQ(0U, bench.unit(1).statistics().line.checksumErrors());
}

}  // namespace
