// The main road: records on the topics become frames of message 15050 on link 1.

#include <string>

#include "tests/system/SolutionRoadFixture.h"

namespace {

using namespace std::chrono_literals;
using bench::Bench;
using bench::PntRecord;
using bench::TopicPeer;
using bench::UtcRecord;
using testing::IsEmpty;

constexpr std::int64_t instant = 1'790'000'000'000'000'000;  // Unix time, nanoseconds

INSTANTIATE_TEST_SUITE_P(SolutionRoad, EveryTransport,
                         testing::Values(Way{"SHM", false, false}, Way{"SHM", true, false},
                                         Way{"SHM", false, true}, Way{"UDP", false, false},
                                         Way{"UDP", true, true}),
                         nameOfWay);

TEST_F(SolutionRoad, ClockAndNavigatorMayBeProcessesOfTheirOwn) {
    constexpr std::size_t pairs = 30;
    Bench::Options options;
    options.settings.baud = 921600;
    bench = std::make_unique<Bench>(options);
    bench->start();
    ASSERT_TRUE(bench->waitUntilRunning()) << bench->report();
    TopicPeer clock(bench->peerOptions(TopicPeer::Role::ClockDevice));
    TopicPeer navigator(bench->peerOptions(TopicPeer::Role::FusionNavigator));
    ASSERT_TRUE(clock.waitForReaders(1, 30s));
    ASSERT_TRUE(navigator.waitForReaders(1, 30s));
    for (std::size_t i = 0; i < pairs; ++i) {
        auto const at = instant + static_cast<std::int64_t>(i) * 50'000'000;
        UtcRecord const utc = bench::clockAt(at);
        PntRecord const pnt = bench::navigatorAt(at);
        // The server keeps one record of each side, and one process may be held up for long.
        ASSERT_TRUE(clock.publish(utc));
        ASSERT_TRUE(navigator.publish(pnt));
        ASSERT_TRUE(waitForSolutions(i + 1)) << bench->report();
        EXPECT_THAT(bench::solutionDefects(solutions()[i].frame, utc, pnt), IsEmpty());
    }
    EXPECT_EQ(pairs, solutions().size());
    stop();
}

TEST_F(SolutionRoad, TagsLessThanTwoMillisecondsApartMatch) {
    connect();
    UtcRecord const utc = bench::clockAt(instant);
    PntRecord pnt = bench::navigatorAt(instant);
    pnt.header.setTag(utc.header.tag() + 1'900'000);
    ASSERT_TRUE(peer->publish(utc));
    ASSERT_TRUE(peer->publish(pnt));
    ASSERT_TRUE(waitForSolutions(1)) << bench->report();
    EXPECT_THAT(bench::solutionDefects(solutions().front().frame, utc, pnt), IsEmpty());
}

TEST_F(SolutionRoad, TagsTwoMillisecondsApartWaitForABetterSolution) {
    connect();
    UtcRecord const utc = bench::clockAt(instant);
    PntRecord late = bench::navigatorAt(instant);
    late.header.setTag(utc.header.tag() + 2'000'000);
    late.positionX = 1;
    PntRecord const right = bench::navigatorAt(instant);
    ASSERT_TRUE(peer->publish(utc));
    ASSERT_TRUE(peer->publish(late));
    ASSERT_TRUE(peer->publish(right));
    ASSERT_TRUE(waitForSolutions(1)) << bench->report();
    EXPECT_THAT(bench::solutionDefects(solutions().front().frame, utc, right), IsEmpty());
    EXPECT_EQ(1U, solutions().size());
}

TEST_F(SolutionRoad, ASecondTimeAloneGivesNothing) {
    connect();
    UtcRecord const first = bench::clockAt(instant);
    ASSERT_TRUE(peer->publish(first));
    ASSERT_TRUE(peer->publish(bench::navigatorAt(instant)));
    ASSERT_TRUE(waitForSolutions(1)) << bench->report();
    ASSERT_TRUE(peer->publish(first));

    const std::int64_t later = instant + 1'000'000'000;
    UtcRecord const utc = bench::clockAt(later);
    PntRecord const pnt = bench::navigatorAt(later);
    ASSERT_TRUE(peer->publish(utc));
    ASSERT_TRUE(peer->publish(pnt));
    ASSERT_TRUE(waitForSolutions(2)) << bench->report();
    EXPECT_THAT(bench::solutionDefects(solutions()[1].frame, utc, pnt), IsEmpty());
    EXPECT_EQ(2U, solutions().size());
}

TEST_F(SolutionRoad, TimeOfTheNavigatorDoesNotFeedTheSolution) {
    connect();
    UtcRecord utc = bench::clockAt(instant);
    utc.header.source = PntRecord::fusionNavigator;
    ASSERT_TRUE(peer->publish(utc));
    ASSERT_TRUE(peer->publish(bench::navigatorAt(instant)));
    expectOnlySolution(instant + 1'000'000'000);
}

TEST_F(SolutionRoad, SolutionsOfAnotherServerAreIgnored) {
    connect();
    PntRecord pnt = bench::navigatorAt(instant);
    pnt.header.source = 38;
    ASSERT_TRUE(peer->publish(bench::clockAt(instant)));
    ASSERT_TRUE(peer->publish(pnt));
    expectOnlySolution(instant + 1'000'000'000);
}

TEST_F(SolutionRoad, AVarianceThatIsNoneGoesOutAsAnInfiniteTimeError) {
    connect();
    UtcRecord utc = bench::clockAt(instant);
    utc.timeVariance = std::numeric_limits<double>::quiet_NaN();
    ASSERT_TRUE(peer->publish(utc));
    ASSERT_TRUE(peer->publish(bench::navigatorAt(instant)));
    ASSERT_TRUE(waitForSolutions(1)) << bench->report();
    auto const data = solutions().front().frame.data;
    EXPECT_EQ(0x0000, data[40]);
    EXPECT_EQ(0x7F80, data[41]);
}

TEST_F(SolutionRoad, BackFilledSamplesFromBeforeTheStartMakeNoTrouble) {
    Bench::Options options;
    options.settings.baud = 921600;
    options.settings.backFill = true;
    bench = std::make_unique<Bench>(options);
    peer = std::make_unique<TopicPeer>(bench->peerOptions());
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(peer->publish(bench::clockAt(instant + i * 1'000'000'000LL)));
    }
    bench->start();
    ASSERT_TRUE(bench->waitUntilRunning()) << bench->report();
    ASSERT_TRUE(peer->waitForReaders(1, 30s)) << bench->report();
    // What reached the server before it ran is dropped, what came after is stored; either way a
    // new pair makes its one solution.
    expectOnlySolution(instant + 100'000'000'000);
    stop();
}

TEST_F(SolutionRoad, GoesOnAfterAPeerWasKilled) {
    connect();
    peer->process().signal(9);
    ASSERT_TRUE(peer->process().wait(10s));
    peer = std::make_unique<TopicPeer>(bench->peerOptions());
    // The library needs its time to find out that the killed one's shared memory is nobody's.
    ASSERT_TRUE(peer->waitForReaders(1, 90s)) << bench->report();
    expectOnlySolution(instant);
    stop();
}

}  // namespace
