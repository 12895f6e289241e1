// What a command starts and time ends, in a server of this process whose clock the test sets.

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "messages/TrevoCommands.h"
#include "tests/system/EventReader.h"
#include "tests/system/ResponseReader.h"
#include "tests/zephon/CommandRecords.h"
#include "tests/zephon/ZephonServerFixture.h"

namespace {

using namespace std::chrono_literals;
using bench::UnitFrame;
using SteadyClock = TimedProcedure::Clock;

UnitFrame makeCommandFor(std::uint16_t unit, std::uint16_t code) {
    UnitFrame inner{5001, 0x9000, std::vector<std::uint16_t>(31)};
    inner.data[4] = code;
    return wrap(27552, unit, inner);
}

/// Commands 21 and 22, each for virtual units 1 and 2.
std::vector<UnitFrame> startFrames() {
    return {makeCommandFor(1, 21), makeCommandFor(2, 21), makeCommandFor(1, 22),
            makeCommandFor(2, 22)};
}
std::vector<UnitFrame> resetFrames() {
    return {makeCommandFor(1, 23), makeCommandFor(2, 23)};
}

class ServerPeriodic : public ZephonServerFixture {
protected:
    ServerPeriodic() {
        server = std::make_unique<ZephonServer>([this] {
            ++looks_;
            if (trouble_ == Trouble::Standard) {
                throw std::runtime_error("the clock has stopped");
            }
            if (trouble_ == Trouble::Other) {
                throw 13;
            }
            return SteadyClock::time_point(1000h) + SteadyClock::duration(now_);
        });
    }
    ~ServerPeriodic() override { server.reset(); }

    enum class Trouble { None, Standard, Other };

    void startWithDebug() {
        bench.configuration().set("ZephonServer", "Debug", "true");
        startAll();
    }
    void advance(SteadyClock::duration time) { now_ += time.count(); }
    void setTrouble(Trouble trouble) { trouble_ = trouble; }

    void humanCommand(std::string const& text) {
        server->cbCmd(makeCommandRecord(text, humanInterface));
    }

    /// Whether it starts or ends something at a virtual unit.
    static bool isOrder(UnitFrame const& frame) {
        return frame.id == bench::toVirtualUnit && frame.data.size() > 2 &&
               (frame.data[2] == 5000 || frame.data[2] == 5001);
    }

    /// Expects these orders to virtual units on link 1 and no others, once another message has
    /// followed them.
    void expectOrders(std::vector<UnitFrame> const& expected) {
        const UnitFrame last{5047, 0x9000, {1}};
        server->cbGssip(makeRecord(last, trevo));
        ASSERT_TRUE(waitForFrame(bench.unit(1), last)) << bench.report();
        std::vector<FrameBytes> wanted;
        for (auto const& frame : expected) {
            wanted.push_back(frame.encode());
        }
        std::vector<FrameBytes> got;
        for (auto const& logged : bench.unit(1).frames()) {
            if (isOrder(logged.frame) && (got.empty() || got.back() != logged.bytes)) {
                got.push_back(logged.bytes);
            }
        }
        EXPECT_TRUE(wanted == got) << bench.report();
    }

    /// Waits until the periodic thread has looked at the clock twice more, so that a round with
    /// the time of now has passed.
    void awaitRound() {
        const int seen = looks_;
        const auto deadline = SteadyClock::now() + 20s;
        while (looks_ < seen + 2) {
            ASSERT_LT(SteadyClock::now(), deadline);
            std::this_thread::sleep_for(5ms);
        }
    }

private:
    // Read by the server's threads.
    std::atomic<SteadyClock::rep> now_{0};
    std::atomic<Trouble> trouble_{Trouble::None};
    std::atomic<int> looks_{0};
};

std::vector<UnitFrame> operator+(std::vector<UnitFrame> all, std::vector<UnitFrame> const& more) {
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

TEST_F(ServerPeriodic, SincgarsStartsAtOnceAndIsResetAfterMoreThan45Seconds) {
    OutputCapture output;
    startWithDebug();
    humanCommand("INIT_SINCGARS");
    EXPECT_EQ(1U, output.count("Starting SINCGARS\n")) << output.text();
    advance(45s);
    awaitRound();
    EXPECT_EQ(0U, output.count("SINCGARS RESET")) << output.text();
    advance(1ns);
    EXPECT_TRUE(waitForFrame(bench.unit(1), makeCommandFor(2, 23))) << bench.report();
    EXPECT_EQ(1U, output.count("SINCGARS RESET\n")) << output.text();
    expectOrders(startFrames() + resetFrames());
}

TEST_F(ServerPeriodic, ASecondSincgarsBeginsItsTimeAnew) {
    startAll();
    humanCommand("INIT_SINCGARS");
    advance(44s);
    awaitRound();
    humanCommand("INIT_SINCGARS");
    advance(44s);
    awaitRound();
    expectOrders(startFrames() + startFrames());
    advance(1s + 1ns);
    EXPECT_TRUE(waitForFrame(bench.unit(1), makeCommandFor(2, 23))) << bench.report();
}

TEST_F(ServerPeriodic, OneSincgarsHasOneReset) {
    OutputCapture output;
    startWithDebug();
    humanCommand("INIT_SINCGARS");
    advance(46s);
    ASSERT_TRUE(waitForFrame(bench.unit(1), makeCommandFor(2, 23))) << bench.report();
    humanCommand("INIT_SINCGARS");
    awaitRound();
    EXPECT_EQ(1U, output.count("SINCGARS RESET")) << output.text();
    expectOrders(startFrames() + resetFrames() + startFrames());
}

TEST_F(ServerPeriodic, SincgarsHasNoAnswer) {
    startAll();
    humanCommand("INIT_SINCGARS");
    auto last = ASPN2::CmdResponse().makeResponse({}, "LAST");
    server->sendResponseMessage(last);
    const ResponseReader responses(bench);
    ASSERT_TRUE(responses.waitForCount(1)) << responses.report();
    EXPECT_EQ("LAST", responses.all().front().text);
}

TEST_F(ServerPeriodic, WhatRanAtTheStopEndsAtOnceAfterTheNextStart) {
    OutputCapture output;
    startWithDebug();
    humanCommand("INIT_SINCGARS");
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    advance(46s);
    EXPECT_EQ(0U, output.count("SINCGARS RESET")) << output.text();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    EXPECT_TRUE(output.waitFor("SINCGARS RESET\n")) << output.text();
    EXPECT_TRUE(waitForFrame(bench.unit(1), makeCommandFor(2, 23))) << bench.report();
}

TEST_F(ServerPeriodic, WhatARoundRaisesIsAnEventAndTheRoundsGoOn) {
    OutputCapture output;
    startWithDebug();
    const EventReader events(bench);
    humanCommand("INIT_SINCGARS");
    setTrouble(Trouble::Standard);
    const std::string text =
        "ZephonServer: periodicThreadFunction() EXCEPTION: the clock has stopped";
    const auto event = events.waitFor(text);
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    EXPECT_LE(1U, output.count("\n" + text + "\n")) << output.text();
    setTrouble(Trouble::Other);
    EXPECT_TRUE(events.waitFor("ZephonServer: periodicThreadFunction() EXCEPTION: unknown"))
        << events.report();
    setTrouble(Trouble::None);
    advance(46s);
    EXPECT_TRUE(output.waitFor("SINCGARS RESET\n")) << output.text();
}

TEST_F(ServerPeriodic, WhatACommandRaisesReachesTheEventLogAndNotWhoPublished) {
    startAll();
    const EventReader events(bench);
    ResponseReader human(bench);
    ASSERT_TRUE(human.peer().waitForReaders()) << human.peer().lastFailure();
    bench::CommandRecord command;
    command.text = "INIT_SINCGARS";
    setTrouble(Trouble::Standard);
    ASSERT_TRUE(human.peer().publish(command));
    const auto event = events.waitFor("ZephonServer: cbCmd() EXCEPTION: the clock has stopped");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    setTrouble(Trouble::Other);
    ASSERT_TRUE(human.peer().publish(command));
    EXPECT_TRUE(events.waitFor("ZephonServer: cbCmd() EXCEPTION: unknown")) << events.report();
    setTrouble(Trouble::None);
    command.text = "BITSERVER_PING";
    command.header.source = controller;
    ASSERT_TRUE(human.peer().publish(command));
    EXPECT_TRUE(human.waitFor("ZephonServer")) << human.report();
}

TEST_F(ServerPeriodic, CommandsRaceWithTheRoundsAndTheStop) {
    startAll();
    for (int round = 0; round < 3; ++round) {
        std::atomic<bool> done{false};
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([this, &done] {
                while (!done) {
                    humanCommand("INIT_SINCGARS");
                    advance(46s);
                    server->cbCmd(makeCommandRecord("BITSERVER_PING", controller));
                    std::this_thread::sleep_for(20ms);
                }
            });
        }
        awaitRound();
        EXPECT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
        done = true;
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    }
}

TEST_F(ServerPeriodic, AServerThatIsNotStoppedEndsItsThreads) {
    startAll();
    humanCommand("INIT_SINCGARS");
    server.reset();
}

}  // namespace
