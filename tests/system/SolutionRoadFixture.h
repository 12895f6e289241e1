#pragma once

#include <chrono>
#include <memory>
#include <ostream>
#include <string>

#include "bench/Bench.h"
#include "bench/Simulation.h"
#include "bench/SolutionFrame.h"
#include "gmock/gmock.h"

/// Everything up and matched: server, units and one peer that is clock and navigator.
class SolutionRoad : public testing::Test {
protected:
    using Seconds = std::chrono::seconds;

    void connect(bench::Bench::Options options) {
        options.settings.baud = 921600;
        bench = std::make_unique<bench::Bench>(options);
        bench->start();
        ASSERT_TRUE(bench->waitUntilRunning()) << bench->report();
        connectPeer(bench->peerOptions());
    }
    void connect() { connect(bench::Bench::Options()); }

    /// Over TCP the library's discovery stays unfinished now and then, whatever the time; a new
    /// peer finds the server then. The other transports get no second try.
    void connectPeer(bench::TopicPeer::Options const& options) {
        const bool tcp = options.serverTransport.rfind("TCP", 0) == 0;
        const int tries = tcp ? 15 : 1;
        for (int i = 0; i < tries; ++i) {
            peer.reset();
            peer = std::make_unique<bench::TopicPeer>(options);
            if (peer->waitForReaders(1, Seconds(tcp ? 8 : 30))) {
                return;
            }
        }
        FAIL() << peer->lastFailure() << bench->report();
    }

    bool waitForSolutions(std::size_t count) {
        return bench->unit(1).waitForFrames(bench::SolutionFrame::id, count, Seconds(20));
    }
    std::vector<bench::LoggedFrame> solutions() {
        return bench->unit(1).frames(bench::SolutionFrame::id);
    }

    /// The `count` pairs of the peers' first run came out, in order and right to the byte.
    void expectEveryPair(bench::TopicPeer& clock, bench::TopicPeer& navigator, std::size_t count) {
        ASSERT_TRUE(clock.waitUntilDone(1, Seconds(30)));
        ASSERT_TRUE(navigator.waitUntilDone(1, Seconds(30)));
        ASSERT_TRUE(waitForSolutions(count)) << bench->report();
        const auto utc = clock.clockPublications();
        const auto pnt = navigator.navigatorPublications();
        const auto frames = solutions();
        ASSERT_EQ(count, frames.size());
        ASSERT_EQ(count, utc.size());
        ASSERT_EQ(count, pnt.size());
        for (std::size_t i = 0; i < count; ++i) {
            EXPECT_THAT(bench::solutionDefects(frames[i].frame, utc[i].record, pnt[i].record),
                        testing::IsEmpty())
                << i;
        }
        EXPECT_EQ(0U, bench->unit(1).statistics().line.checksumErrors());
    }

    /// A pair that matches comes last: whatever was published before it has then been decided.
    void expectOnlySolution(std::int64_t at) {
        const bench::UtcRecord utc = bench::clockAt(at);
        const bench::PntRecord pnt = bench::navigatorAt(at);
        ASSERT_TRUE(peer->publish(utc));
        ASSERT_TRUE(peer->publish(pnt));
        ASSERT_TRUE(waitForSolutions(1)) << bench->report();
        EXPECT_THAT(bench::solutionDefects(solutions().front().frame, utc, pnt),
                    testing::IsEmpty());
        EXPECT_EQ(1U, solutions().size());
    }

    void stop() {
        const auto exit = bench->stop();
        ASSERT_TRUE(exit && exit->ok()) << bench->report();
    }

    std::unique_ptr<bench::Bench> bench;
    std::unique_ptr<bench::TopicPeer> peer;
};

struct Way {
    char const* transport;
    bool bestEffort;
    bool backFill;
};

inline void PrintTo(Way const& way, std::ostream* out) {
    *out << way.transport;
}

inline std::string nameOfWay(testing::TestParamInfo<Way> const& way) {
    return std::string(way.param.transport) + (way.param.bestEffort ? "_BestEffort" : "_Reliable") +
           (way.param.backFill ? "_BackFill" : "");
}

class EveryTransport : public SolutionRoad, public testing::WithParamInterface<Way> {};

TEST_P(EveryTransport, CarriesEveryPairToTheLineByteForByte) {
    constexpr std::size_t pairs = 30;
    bench::Bench::Options options;
    options.settings.transport = GetParam().transport;
    options.settings.bestEffort = GetParam().bestEffort;
    options.settings.backFill = GetParam().backFill;
    connect(options);
    ASSERT_TRUE(peer->run(bench::TopicPeer::Schedule::fromNow(20, pairs)));
    expectEveryPair(*peer, *peer, pairs);
    stop();
}
