// The alternate navigation: its device's records on the topics become message 15052 on link 1.

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <vector>

#include "bench/AltNavFrame.h"
#include "bench/Bench.h"
#include "bench/Simulation.h"
#include "gmock/gmock.h"

namespace {

using namespace std::chrono_literals;
using bench::GpsTimeRecord;
using bench::PositionVelocityRecord;
using bench::TopicPeer;
using testing::IsEmpty;

constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t instant = 1'790'000'000'250'000'000;  // Unix time, nanoseconds

class AltNavigation : public testing::Test {
protected:
    void SetUp() override {
        bench::Bench::Options options;
        options.settings.baud = 921600;
        bench = std::make_unique<bench::Bench>(options);
        bench->start();
        ASSERT_TRUE(bench->waitUntilRunning()) << bench->report();
        peer = std::make_unique<TopicPeer>(bench->peerOptions(TopicPeer::Role::AltNavUnit));
        ASSERT_TRUE(peer->waitForReaders(1, 30s)) << peer->lastFailure() << bench->report();
    }
    void TearDown() override {
        const auto exit = bench->stop();
        EXPECT_TRUE(exit && exit->ok()) << bench->report();
    }

    /// The messages so far, each once: the link sends again what was not acknowledged in time.
    std::vector<bench::LoggedFrame> messages() {
        auto frames = bench->unit(1).frames(bench::altNavigationId);
        frames.erase(std::unique(frames.begin(), frames.end(),
                                 [](bench::LoggedFrame const& a, bench::LoggedFrame const& b) {
                                     return a.bytes == b.bytes;
                                 }),
                     frames.end());
        return frames;
    }

    bool waitFor(PositionVelocityRecord const& position, GpsTimeRecord const& time) {
        return bench->unit(1).waitForFrames(1, 20s, [&](bench::LoggedFrame const& logged) {
            return logged.frame.id == bench::altNavigationId &&
                   bench::altNavigationDefects(logged.frame, position, time).empty();
        });
    }

    /// Waits for the right message and expects no other before it.
    void expectOnly(PositionVelocityRecord const& position, GpsTimeRecord const& time) {
        ASSERT_TRUE(waitFor(position, time)) << bench->report();
        ASSERT_EQ(1U, messages().size()) << bench->report();
    }

    /// A pair that matches comes last: whatever its two topics brought before has been decided.
    void expectOnlyPair(std::int64_t at) {
        auto const position = bench::positionAt(at);
        auto const time = bench::gpsTimeAt(at + second);
        ASSERT_TRUE(peer->publish(position));
        ASSERT_TRUE(peer->publish(time));
        expectOnly(position, time);
    }

    std::unique_ptr<bench::Bench> bench;
    std::unique_ptr<TopicPeer> peer;
};

TEST_F(AltNavigation, APositionAndTheTimeOfASecondLaterLeaveAsOneMessage) {
    auto const position = bench::positionAt(instant);
    auto const time = bench::gpsTimeAt(instant + second);
    ASSERT_TRUE(peer->publish(position));
    ASSERT_TRUE(peer->publish(time));
    expectOnly(position, time);
    EXPECT_EQ(0U, bench->unit(1).statistics().line.checksumErrors());
}

TEST_F(AltNavigation, ATimeOfTheSameSecondGivesNone) {
    ASSERT_TRUE(peer->publish(bench::positionAt(instant)));
    ASSERT_TRUE(peer->publish(bench::gpsTimeAt(instant)));
    expectOnlyPair(instant + 10 * second);
}

TEST_F(AltNavigation, ATimeOfASecondAndALittleLaterGivesNone) {
    ASSERT_TRUE(peer->publish(bench::positionAt(instant)));
    ASSERT_TRUE(peer->publish(bench::gpsTimeAt(instant + second + 1)));
    expectOnlyPair(instant + 10 * second);
}

TEST_F(AltNavigation, RecordsOfOtherSourcesGiveNone) {
    for (const std::int64_t source : {0, 36, 37, 39, 96}) {
        auto position = bench::positionAt(instant);
        position.header.source = source;
        auto time = bench::gpsTimeAt(instant + second);
        time.header.source = source;
        ASSERT_TRUE(peer->publish(position));
        ASSERT_TRUE(peer->publish(time));
    }
    expectOnlyPair(instant + 10 * second);
}

TEST_F(AltNavigation, NeitherSideMayBeOfAnotherSource) {
    auto position = bench::positionAt(instant);
    ASSERT_TRUE(peer->publish(position));
    auto time = bench::gpsTimeAt(instant + second);
    time.header.source = bench::PntRecord::fusionNavigator;
    ASSERT_TRUE(peer->publish(time));
    time = bench::gpsTimeAt(instant + 11 * second);
    ASSERT_TRUE(peer->publish(time));
    position = bench::positionAt(instant + 10 * second);
    position.header.source = 37;
    ASSERT_TRUE(peer->publish(position));
    expectOnlyPair(instant + 20 * second);
}

TEST_F(AltNavigation, AnInfiniteVelocityVarianceLeavesTheVelocityOut) {
    auto position = bench::positionAt(instant);
    position.velocityNorthVariance = std::numeric_limits<double>::infinity();
    auto const time = bench::gpsTimeAt(instant + second);
    ASSERT_TRUE(peer->publish(time));
    ASSERT_TRUE(peer->publish(position));
    expectOnly(position, time);
    EXPECT_EQ(3, bench->unit(1).frames(bench::altNavigationId)[0].frame.data[0]);
}

TEST_F(AltNavigation, TheFirstSecondOfAWeekTellsTheLastOfTheWeekBefore) {
    auto const position = bench::positionAt(instant);
    auto time = bench::gpsTimeAt(instant + second);
    time.gpsWeek = 2243;  // begins with the year 2023
    time.gpsTowSeconds = 0;
    ASSERT_TRUE(peer->publish(position));
    ASSERT_TRUE(peer->publish(time));
    expectOnly(position, time);
    EXPECT_EQ(2022, bench->unit(1).frames(bench::altNavigationId)[0].frame.data[1]);
}

TEST_F(AltNavigation, HostileNumbersHoldNothingUp) {
    for (const char* const text : {"gps_tow_sec=-2147483648 gps_week=-2147483648 gps_tow_nsec=nan",
                                   "gps_tow_sec=2147483647 gps_week=2147483647 gps_tow_nsec=inf",
                                   "gps_tow_sec=604801 gps_week=-1 gps_tow_nsec=-1e300"}) {
        auto time = bench::gpsTimeAt(instant + second);
        ASSERT_TRUE(bench::fromText(text, time));
        ASSERT_TRUE(peer->publish(bench::positionAt(instant)));
        ASSERT_TRUE(peer->publish(time));
    }
    auto const position = bench::positionAt(instant + 10 * second);
    auto const time = bench::gpsTimeAt(instant + 11 * second);
    ASSERT_TRUE(peer->publish(position));
    ASSERT_TRUE(peer->publish(time));
    ASSERT_TRUE(waitFor(position, time)) << bench->report();
}

TEST_F(AltNavigation, EveryPairOfARowComesOutInOrder) {
    constexpr std::size_t pairs = 20;
    auto schedule = TopicPeer::Schedule::fromNow(20, pairs);
    schedule.utcStart = instant;
    ASSERT_TRUE(peer->run(schedule));
    const auto last = instant + std::int64_t{pairs - 1} * second / 20;
    ASSERT_TRUE(waitFor(bench::positionAt(last), bench::gpsTimeAt(last + second)))
        << bench->report();
    const auto frames = messages();
    ASSERT_EQ(pairs, frames.size());
    for (std::size_t i = 0; i < pairs; ++i) {
        const auto at = instant + static_cast<std::int64_t>(i) * second / 20;
        EXPECT_THAT(bench::altNavigationDefects(frames[i].frame, bench::positionAt(at),
                                                bench::gpsTimeAt(at + second)),
                    IsEmpty())
            << i;
    }
}

}  // namespace
