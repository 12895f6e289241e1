// What a command starts and time ends, in a server of this process whose clock the test sets.

#include <array>
#include <atomic>
#include <chrono>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "messages/TrevoCommands.h"
#include "tests/system/EventReader.h"
#include "tests/system/ResponseReader.h"
#include "tests/zephon/CommandFixture.h"

namespace {

using namespace std::chrono_literals;
using aspn2_msgs::idl::CommandResponse;
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

enum Port : std::uint16_t { com1 = 1, com2, com3 };
enum Scenario : std::uint16_t { lnav = 2, mnav, both };

/// The request of a data transfer at a virtual unit.
UnitFrame makeHotStartFor(std::uint16_t unit, Port port, Scenario scenario) {
    UnitFrame inner{5000, 0x9000, std::vector<std::uint16_t>(10)};
    inner.data[4] = 0x2400;
    inner.data[7] = port;
    inner.data[9] = scenario;
    return wrap(27552, unit, inner);
}

class ServerPeriodic : public CommandFixture {
protected:
    ServerPeriodic() {
        server = std::make_unique<ZephonServer>([this] {
            if (isAskingForPartNumbers()) {
                return SteadyClock::time_point();  // not what is tested here
            }
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

    CommandResponse command(std::string const& text, std::int32_t identifier = 0) {
        auto record = makeCommandRecord(text, controller);
        record.command_identifier(identifier);
        server->cbCmd(record);
        return record;
    }

    /// Whether the calling thread is the one of the server that asks for part numbers.
    static bool isAskingForPartNumbers() {
        std::array<char, 16> name{};
        pthread_getname_np(pthread_self(), name.data(), name.size());
        return std::string(name.data()) == "part-numbers";
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
    expectAnswers({});
}

// ---- Hot start ----------------------------------------------------------------------------

TEST_F(ServerPeriodic, AHotStartIsAcknowledgedAndPassesAfterMoreThan30Seconds) {
    OutputCapture output;
    startWithDebug();
    const auto record = command("INIT_HOTSTART,2,COM3,MNAV", 77);
    advance(30s);
    awaitRound();
    EXPECT_EQ(0U, output.count("HotStart RESET")) << output.text();
    advance(1ns);
    const ResponseReader responses(bench);
    ASSERT_TRUE(responses.waitForCount(2)) << responses.report();
    EXPECT_EQ(1U, output.count("HotStart RESET\n")) << output.text();
    const auto answers = responses.all();
    EXPECT_EQ("INIT_HOTSTART_ACK", answers[0].text);
    EXPECT_EQ("INIT_HOTSTART_PASS", answers[1].text);
    for (auto const& answer : answers) {
        EXPECT_EQ(77, answer.identifier);
        EXPECT_EQ(record.header().device_id(), answer.commandedDeviceId);
        EXPECT_EQ(bench::ResponseRecord::response, answer.type);
    }
    expectOrders({makeHotStartFor(2, com3, mnav)});
}

TEST_F(ServerPeriodic, WhileOneRunsTheNextIsRefusedOnBothRoutes) {
    startAll();
    command("INIT_HOTSTART,1,COM1,LNAV");
    command("INIT_HOTSTART,2,COM2,MNAV");
    humanCommand("INIT_HOTSTART");
    command("INIT_HOTSTART");
    expectAnswers(
        {"INIT_HOTSTART_ACK", "INIT_HOTSTART_NACK", "INIT_HOTSTART_NACK", "INIT_HOTSTART_NACK"});
    expectOrders({makeHotStartFor(1, com1, lnav)});
}

TEST_F(ServerPeriodic, AfterOneHasEndedTheNextRuns) {
    startAll();
    const ResponseReader responses(bench);
    command("INIT_HOTSTART,1,COM1,LNAV");
    advance(31s);
    ASSERT_TRUE(responses.waitForCount(2)) << responses.report();
    humanCommand("INIT_HOTSTART");
    advance(31s);
    ASSERT_TRUE(responses.waitForCount(4)) << responses.report();
    expectAnswers(
        {"INIT_HOTSTART_ACK", "INIT_HOTSTART_PASS", "INIT_HOTSTART_ACK", "INIT_HOTSTART_PASS"});
}

TEST_F(ServerPeriodic, TheEndAnswersTheLastCommandAlsoWhenThatWasRefused) {
    startAll();
    command("INIT_HOTSTART,1,COM1,LNAV", 1);
    command("INIT_HOTSTART,2,COM2,MNAV", 2);
    auto human = makeCommandRecord("INIT_HOTSTART", humanInterface);
    human.command_identifier(3);
    server->cbCmd(human);  // is refused before it is kept
    advance(31s);
    const ResponseReader responses(bench);
    const auto pass = responses.waitFor("INIT_HOTSTART_PASS");
    ASSERT_TRUE(pass) << responses.report();
    EXPECT_EQ(2, pass->identifier);
}

TEST_F(ServerPeriodic, TheHumanInterfaceStartsWhatIsSet) {
    startAll();
    command("SET_ZEPHON_HOT_START,3,COM2,BOTH");
    humanCommand("INIT_HOTSTART");
    expectOrders({makeHotStartFor(3, com2, both)});
    const ResponseReader responses(bench);
    EXPECT_TRUE(responses.waitFor("INIT_HOTSTART_ACK")) << responses.report();
}

TEST_F(ServerPeriodic, AnArgumentOfTheHumanInterfaceIsNotItsVerb) {
    startAll();
    humanCommand("INIT_HOTSTART,1,COM1,LNAV");
    expectAnswers({});
    expectOrders({});
}

TEST_F(ServerPeriodic, MissingArgumentsAreRefusedWithAnEventAndNothingRuns) {
    OutputCapture output;
    startWithDebug();
    const EventReader events(bench);
    const std::vector<std::string> bad{"INIT_HOTSTART", "INIT_HOTSTART,1", "INIT_HOTSTART,1,COM1",
                                       "INIT_HOTSTART,1,COM1,"};
    for (auto const& text : bad) {
        command(text);
    }
    const std::string text =
        "ZephonServer: cbCmd() InitHotStart EXCEPTION: unit, port and type are needed";
    EXPECT_EQ(bad.size(), output.count("\n" + text + "\n")) << output.text();
    const auto event = events.waitFor(text);
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    command("INIT_HOTSTART,1,COM1,LNAV");
    expectAnswers({"INIT_HOTSTART_NACK", "INIT_HOTSTART_NACK", "INIT_HOTSTART_NACK",
                   "INIT_HOTSTART_NACK", "INIT_HOTSTART_ACK"});
    expectOrders({makeHotStartFor(1, com1, lnav)});
}

TEST_F(ServerPeriodic, AUnitThatIsNoNumberIsRefusedWithAnEvent) {
    startAll();
    const EventReader events(bench);
    const std::vector<std::string> bad{
        "", "x", "-", "COM1", "\xFF", "99999999999", std::string(100000, '9')};
    for (auto const& unit : bad) {
        command("INIT_HOTSTART," + unit + ",COM1,LNAV");
    }
    const auto event = events.waitFor("ZephonServer: cbCmd() InitHotStart EXCEPTION: stoi");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    expectAnswers(std::vector<std::string>(bad.size(), "INIT_HOTSTART_NACK"));
    expectOrders({});
}

TEST_F(ServerPeriodic, AUnitThatDoesNotExistIsAcknowledgedAndReachesNobody) {
    startAll();
    command("INIT_HOTSTART,5,COM1,LNAV");
    expectAnswers({"INIT_HOTSTART_ACK"});
    expectOrders({});
}

TEST_F(ServerPeriodic, OtherPortsAndTypesFallBackToTheFirst) {
    startAll();
    command("INIT_HOTSTART,4," + std::string(50000, 'P') + "," + std::string(50000, 'T'));
    expectAnswers({"INIT_HOTSTART_ACK"});
    expectOrders({makeHotStartFor(4, com1, lnav)});
}

TEST_F(ServerPeriodic, WhatAHotStartRaisesIsRefusedWithAnEventOnBothRoutes) {
    startAll();
    const EventReader events(bench);
    setTrouble(Trouble::Standard);
    command("INIT_HOTSTART,1,COM1,LNAV");
    EXPECT_TRUE(
        events.waitFor("ZephonServer: cbCmd() InitHotStart EXCEPTION: the clock has stopped"))
        << events.report();
    setTrouble(Trouble::Other);
    humanCommand("INIT_HOTSTART");
    EXPECT_TRUE(events.waitFor("ZephonServer: cbCmd() InitHotStart EXCEPTION: unknown"))
        << events.report();
    setTrouble(Trouble::None);
    command("INIT_HOTSTART,1,COM1,LNAV");
    expectAnswers({"INIT_HOTSTART_NACK", "INIT_HOTSTART_NACK", "INIT_HOTSTART_ACK"});
}

TEST_F(ServerPeriodic, AHotStartThatRunsAtTheStopEndsAtOnceAfterTheNextStart) {
    startAll();
    command("INIT_HOTSTART,1,COM1,LNAV");
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    advance(31s);
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    const ResponseReader responses(bench);
    EXPECT_TRUE(responses.waitFor("INIT_HOTSTART_PASS")) << responses.report();
}

// ---- The rounds ---------------------------------------------------------------------------

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

TEST_F(ServerPeriodic, APassThatNoTopicTakesIsReportedAndTheRoundsGoOn) {
    OutputCapture output;
    startWithDebug();
    command("INIT_HOTSTART,1,COM1,LNAV");
    humanCommand("INIT_SINCGARS");
    const auto reporting = takeTopicsAway();
    const EventReader events(bench);
    advance(31s);
    const auto event = events.waitFor("Could not publish CommandResponse");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    EXPECT_THAT(event->text,
                testing::MatchesRegex(".*:ZephonServer: Could not publish CommandResponse for "
                                      "TOV = [0-9]+, INIT_HOTSTART_PASS"));
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
                    humanCommand("INIT_HOTSTART");
                    command("INIT_HOTSTART,1,COM1,LNAV");
                    advance(46s);
                    command("SET_ZEPHON_HOT_START,2,COM2,BOTH");
                    command("BITSERVER_PING");
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

TEST_F(ServerPeriodic, TheStopIsNotHeldUp) {
    startAll();
    command("INIT_HOTSTART,1,COM1,LNAV");
    humanCommand("INIT_SINCGARS");
    const auto before = SteadyClock::now();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    // Not for 30 or 45 seconds, on however busy a machine.
    EXPECT_LT(SteadyClock::now() - before, 10s);
}

TEST_F(ServerPeriodic, AServerThatIsNotStoppedEndsItsThreads) {
    startAll();
    humanCommand("INIT_SINCGARS");
    server.reset();
}

}  // namespace
