// Zeroize and SLIP channel: commands that a server in this process takes, what the unit gets and
// tells, and the answers as another process reads them.

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/Patience.h"
#include "tests/system/EventReader.h"
#include "tests/zephon/CommandFixture.h"

namespace {

using bench::UnitFrame;
using std::chrono::seconds;
using Words = std::vector<std::uint16_t>;

constexpr std::uint16_t kindSanitize = 2;
constexpr std::uint16_t kindSlip = 3;

/// Message 27530 with these words behind the time.
UnitFrame makeOrder(std::uint16_t command, std::uint16_t mode = 0, std::uint16_t start = 0) {
    return {27530, 0x9000, {0, 0, 0, 0, command, mode, start, 0, 0}};
}

/// Message 27532 of this kind.
UnitFrame makeDeviceStatus(std::uint16_t kind, std::uint16_t result) {
    return {27532, 0x8000, {0, 0, 0, 0, kind, result, 0, 0, 0}};
}

/// How many threads of this process wait for the end of a time.
std::size_t timersThatRun() {
    std::size_t count = 0;
    for (auto const& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm"), name);
        count += name == "watchdog" ? 1 : 0;
    }
    return count;
}

/// A server whose commands the PNT device and the virtual units answer.
class UnitCommands : public CommandFixture {
protected:
    void startWith(char const* zeroizeTimeout) {
        bench.configuration().set("ZephonServer", "PARAM_5", zeroizeTimeout);
        startAll();
    }
    void startWithDebug() {
        bench.configuration().set("ZephonServer", "Debug", "true");
        startAll();
    }
    void command(std::string const& text, unsigned char sender = controller) {
        auto record = makeCommandRecord(text, sender);
        record.command_identifier(++identifier);
        server->cbCmd(record);
    }
    /// Message 5044 on the direct path, and as a virtual unit sends it.
    void tellStatus(std::uint16_t status, unsigned char emulator = 1) {
        server->cbGssip(makeRecord(makeStatus(status, "Zeroize"), pntDevice, emulator));
    }
    void tellWrappedStatus(std::uint16_t status, std::uint16_t unit) {
        server->cbGssip(makeRecord(wrap(27553, unit, makeStatus(status, "Zeroize")), pntDevice));
    }
    void tellDevice(std::uint16_t kind, std::uint16_t result) {
        server->cbGssip(makeRecord(makeDeviceStatus(kind, result), pntDevice));
    }

    /// Expects these frames on link 3 behind the two of the start, and no others.
    void expectOrders(std::vector<UnitFrame> expected) {
        const UnitFrame last = makeOrder(99);
        auto message = std::make_shared<Generic_MSID_Msg>();
        const auto bytes = last.encode();
        ASSERT_TRUE(message->OkSetContent(bytes.data(), static_cast<unsigned short>(bytes.size())));
        server->sendToPntdBitPort(message);
        ASSERT_TRUE(waitForFrame(bench.unit(3), last)) << bench.report();
        std::vector<FrameBytes> frames{makeOrder(4).encode(), makeOrder(6).encode()};
        for (auto const& frame : expected) {
            frames.push_back(frame.encode());
        }
        frames.push_back(bytes);
        EXPECT_EQ(frames, framesOf(bench.unit(3))) << bench.report();
    }

    std::int32_t identifier = 100;
};

class ServerZeroize : public UnitCommands {};

TEST_F(ServerZeroize, OfTwoStartsInARowOneIsRefusedAndOneCommandGoesToTheDevice) {
    OutputCapture output;
    startWithDebug();
    command("START_ZEROIZE");
    command("START_ZEROIZE");
    const ResponseReader responses(bench);
    ASSERT_TRUE(responses.waitForCount(2)) << responses.report();
    const auto answers = responses.all();
    EXPECT_EQ("START_ZEROIZE_ACK", answers[0].text);
    EXPECT_EQ(101, answers[0].identifier);
    EXPECT_EQ("START_ZEROIZE_NACK", answers[1].text);
    EXPECT_EQ(102, answers[1].identifier);
    for (auto const& answer : answers) {
        EXPECT_EQ(bench::ResponseRecord::response, answer.type);
        EXPECT_EQ(49, answer.header.source);
    }
    expectOrders({makeOrder(3)});
    EXPECT_EQ(1U, output.count("Zeroize command sent to PNT-D\n")) << output.text();
}

TEST_F(ServerZeroize, IsAnsweredByTheFirstStatusOnEitherPath) {
    startAll();
    command("START_DESTROY");
    tellStatus(17);
    command("START_ZEROIZE");
    tellWrappedStatus(18, 3);
    command("START_DESTROY");
    tellWrappedStatus(18, 4);
    command("START_ZEROIZE");
    tellStatus(17, 0);
    expectAnswers({"START_DESTROY_ACK", "COMPONENT_DESTROY_PASS", "START_ZEROIZE_ACK",
                   "COMPONENT_ZEROIZE_FAIL", "START_DESTROY_ACK", "COMPONENT_DESTROY_FAIL",
                   "START_ZEROIZE_ACK", "COMPONENT_ZEROIZE_PASS"});
}

TEST_F(ServerZeroize, TheAnswerGoesToTheSenderOfTheCommandThatWasTakenOn) {
    startAll();
    command("START_ZEROIZE", 53);
    command("START_DESTROY", 39);
    tellStatus(17);
    const ResponseReader responses(bench);
    const auto answer = responses.waitFor("COMPONENT_");
    ASSERT_TRUE(answer) << responses.report();
    EXPECT_EQ("COMPONENT_ZEROIZE_PASS", answer->text);
    EXPECT_EQ(101, answer->identifier);
    EXPECT_EQ(makeCommandRecord("", 53).header().device_id(), answer->commandedDeviceId);
}

TEST_F(ServerZeroize, OtherStatusesAreNoAnswer) {
    startAll();
    command("START_ZEROIZE");
    for (const std::uint16_t status : Words{0, 1, 16, 19, 20, 17 + 256, 0x1100, 65535}) {
        tellStatus(status);
        tellWrappedStatus(status, 1);
    }
    server->cbGssip(makeRecord(makeStatus(17, "Zeroize"), trevo));  // the engine's own
    expectAnswers({"START_ZEROIZE_ACK"});
}

TEST_F(ServerZeroize, AStrayStatusIsAnsweredForTheStoredCommandOrTheEmptyOne) {
    startAll();
    tellStatus(17);
    tellWrappedStatus(18, 1);
    command("START_ZEROIZE");
    tellStatus(17);
    tellStatus(18, 2);
    expectAnswers({"COMPONENT_DESTROY_PASS", "COMPONENT_DESTROY_FAIL", "START_ZEROIZE_ACK",
                   "COMPONENT_ZEROIZE_PASS", "COMPONENT_ZEROIZE_FAIL"});
}

TEST_F(ServerZeroize, ASanitizeStatusAnswersByItsBitAndIsAnEvent) {
    OutputCapture output;
    startWithDebug();
    command("START_ZEROIZE");
    tellDevice(kindSanitize, 0x0001);
    command("START_DESTROY");
    tellDevice(kindSanitize, 0xFFFE);
    const EventReader events(bench);
    const auto passed = events.waitFor("ZephonServer: Sanitize: PNTD SANITIZE:Pass");
    const auto failed = events.waitFor("ZephonServer: Sanitize: PNTD SANITIZE:Fail");
    ASSERT_TRUE(passed && failed) << events.report();
    EXPECT_EQ(2, passed->type);
    EXPECT_EQ(3, failed->type);
    expectAnswers({"START_ZEROIZE_ACK", "COMPONENT_ZEROIZE_PASS", "START_DESTROY_ACK",
                   "COMPONENT_DESTROY_FAIL"});
    EXPECT_EQ(1U, output.count("\nZephonServer: Sanitize: PNTD SANITIZE:Pass\n")) << output.text();
    EXPECT_EQ(1U, output.count("\nZephonServer: Sanitize: PNTD SANITIZE:Fail\n")) << output.text();
}

TEST_F(ServerZeroize, ASanitizeStatusWithNoZeroizeUnderWayGivesOnlyTheEvent) {
    OutputCapture output;
    startAll();
    tellDevice(kindSanitize, 1);
    tellDevice(kindSanitize, 0);
    const EventReader events(bench);
    EXPECT_TRUE(events.waitFor("SANITIZE:Pass")) << events.report();
    EXPECT_TRUE(events.waitFor("SANITIZE:Fail")) << events.report();
    expectAnswers({});
    EXPECT_EQ(0U, output.count("Sanitize")) << output.text();
}

TEST_F(ServerZeroize, ATruncatedOrUnknownDeviceStatusIsNeitherAnswerNorEvent) {
    startAll();
    command("START_ZEROIZE");
    auto shorter = makeDeviceStatus(kindSanitize, 1);
    shorter.data.pop_back();
    auto longer = makeDeviceStatus(kindSanitize, 1);
    longer.data.push_back(0);
    for (auto const& frame : {shorter, longer, makeDeviceStatus(0, 1), makeDeviceStatus(4, 1)}) {
        server->cbGssip(makeRecord(frame, pntDevice));
    }
    tellDevice(kindSanitize, 0);
    const EventReader events(bench);
    EXPECT_TRUE(events.waitFor("SANITIZE:Fail")) << events.report();
    EXPECT_EQ(0U, events.count("SANITIZE:Pass")) << events.report();
    expectAnswers({"START_ZEROIZE_ACK", "COMPONENT_ZEROIZE_FAIL"});
}

TEST_F(ServerZeroize, AfterItsTimeStartsAreRefusedUntilALateStatusAnswersAgain) {
    startWith("0");
    const ResponseReader responses(bench);
    command("START_DESTROY");
    ASSERT_TRUE(responses.waitForCount(2)) << responses.report();
    command("START_ZEROIZE");  // refused, and the time runs once more
    ASSERT_TRUE(responses.waitForCount(4)) << responses.report();
    tellStatus(17);
    command("START_ZEROIZE");
    ASSERT_TRUE(responses.waitForCount(7)) << responses.report();
    std::vector<std::string> texts;
    for (auto const& response : responses.all()) {
        texts.push_back(response.text);
    }
    EXPECT_EQ((std::vector<std::string>{"START_DESTROY_ACK", "COMPONENT_DESTROY_FAIL",
                                        "START_ZEROIZE_NACK", "COMPONENT_DESTROY_FAIL",
                                        "COMPONENT_DESTROY_PASS", "START_ZEROIZE_ACK",
                                        "COMPONENT_ZEROIZE_FAIL"}),
              texts);
}

TEST_F(ServerZeroize, ItsTimeRunsOnWhenTheDeviceIsGoneAndTheServerStops) {
    startWith("1");
    bench.unit(3).hangUp();
    command("START_ZEROIZE");
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    tellStatus(17);  // nobody listens any more
    const ResponseReader responses(bench);
    EXPECT_TRUE(responses.waitFor("COMPONENT_ZEROIZE_FAIL")) << responses.report();
    expectAnswers({"START_ZEROIZE_ACK", "COMPONENT_ZEROIZE_FAIL"});
}

TEST_F(ServerZeroize, AnAnswerThatNoTopicTakesIsReported) {
    startAll();
    command("START_ZEROIZE");
    ASSERT_EQ(ReturnCode::NO_ERROR, disconnect());
    ZephonServer reporting;
    ReturnCode::Value code = ReturnCode::IN_PROGRESS;
    reporting.Configure(file.c_str(), code);
    reporting.Framework_Connect(file.c_str(), code);
    ASSERT_EQ(ReturnCode::NO_ERROR, code);
    const EventReader events(bench);
    tellStatus(18);
    const auto event = events.waitFor("Could not publish CommandResponse for ");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    EXPECT_THAT(event->text,
                testing::MatchesRegex(".*:ZephonServer: Could not publish CommandResponse for "
                                      "START_ZEROIZE = [0-9]+, COMPONENT_ZEROIZE_FAIL"));
}

TEST_F(ServerZeroize, WhatIsNotTheWholeTextOrFromTheHumanInterfaceStartsNone) {
    connectAll();
    command("START_ZEROIZE");
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    command("START_ZEROIZE,1");
    command("START_DESTROY ");
    command("START_ZEROIZE", humanInterface);
    command("START_DESTROY", humanInterface);
    expectAnswers({});
    expectOrders({});
}

TEST_F(ServerZeroize, AStormOfStartsAndStatusesIsAnsweredExactly) {
    constexpr std::size_t rounds = 25;
    constexpr std::size_t each = 4;  // a round's answers fit the history of the topic
    startWith("1000");
    const ResponseReader responses(bench);
    command("BITSERVER_PING");
    ASSERT_TRUE(responses.waitForCount(1)) << responses.report();
    for (std::size_t round = 1; round <= rounds; ++round) {
        std::vector<std::thread> threads;
        for (const bool wrapped : {false, true}) {
            threads.emplace_back([this] {
                for (std::size_t i = 0; i < each; ++i) {
                    server->cbCmd(makeCommandRecord("START_ZEROIZE", controller));
                }
            });
            threads.emplace_back([this, wrapped] {
                for (std::size_t i = 0; i < each; ++i) {
                    if (wrapped) {
                        tellWrappedStatus(18, 2);
                    } else {
                        tellStatus(17);
                    }
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        ASSERT_TRUE(responses.waitForCount(1 + round * 4 * each)) << round << responses.report();
    }
    tellStatus(17);
    EXPECT_TRUE(bench::holdsInTime([] { return timersThatRun() == 0; }));
    EXPECT_TRUE(responses.waitForCount(2 + rounds * 4 * each)) << responses.report();
    EXPECT_EQ(rounds * 2 * each, responses.count("START_ZEROIZE_"));
    EXPECT_EQ(rounds * each + 1, responses.count("_PASS"));
    EXPECT_EQ(rounds * each, responses.count("_FAIL"));
}

class ServerSlip : public UnitCommands {
protected:
    ServerSlip() { setenv("PATH", tools.path().c_str(), 1); }
    ~ServerSlip() override { setenv("PATH", path.c_str(), 1); }

    const std::string path = std::getenv("PATH");
    bench::FakeSlipTools const& tools = bench.slipTools();
};

TEST_F(ServerSlip, PassesWhenTheDeviceOpensItsSide) {
    OutputCapture output;
    startWithDebug();
    command("PNTD_SLIP");
    tellDevice(kindSlip, 0xFFFF);
    tellDevice(kindSlip, 0);  // kept only
    expectAnswers({"PNTD_SLIP_PASS"});
    expectOrders({makeOrder(7, 3, 1)});
    EXPECT_TRUE(tools.waitForCall("slattach -s 921600 -p slip -L /dev/ttyS5")) << tools.calls();
    EXPECT_TRUE(
        tools.waitForCall("ifconfig sl0 192.168.200.1 pointopoint 192.168.200.2 mtu 65534 up"))
        << tools.calls();
    EXPECT_EQ(1U, output.count("Request SLIP channel sent to PNT-D\n")) << output.text();
}

TEST_F(ServerSlip, TheDebugStartIsSlowerAndOtherArgumentsAreTheNormalOne) {
    startAll();
    command("PNTD_SLIP,DEBUG");
    tellDevice(kindSlip, 1);
    EXPECT_TRUE(tools.waitForCall("slattach -s 115200 -p slip -L /dev/ttyS5")) << tools.calls();
    command("PNTD_SLIP,OTHER");
    tellDevice(kindSlip, 1);
    EXPECT_TRUE(tools.waitForCall("slattach -s 921600 -p slip -L /dev/ttyS5")) << tools.calls();
    expectAnswers({"PNTD_SLIP_PASS", "PNTD_SLIP_PASS"});
    expectOrders({makeOrder(7), makeOrder(7, 3, 1)});
}

TEST_F(ServerSlip, AnEarlyStatusIsAnsweredWhenTheShellCommandsHaveEnded) {
    tools.holdIfconfig();
    startAll();
    std::thread commander([this] { command("PNTD_SLIP"); });
    const bool held =
        tools.waitForCall("ifconfig sl0 192.168.200.1 pointopoint 192.168.200.2 mtu 65534 up");
    tellDevice(kindSlip, 1);
    auto mark = ASPN2::CmdResponse().makeResponse(aspn2_msgs::idl::CommandResponse(), "HELD");
    server->sendResponseMessage(mark);
    tools.release();
    commander.join();
    EXPECT_TRUE(held) << tools.calls();
    expectAnswers({"HELD", "PNTD_SLIP_PASS"});
}

TEST_F(ServerSlip, FailsWhenTheDeviceRefuses) {
    startAll();
    command("PNTD_SLIP");
    tellDevice(kindSlip, 0xFFFE);
    expectAnswers({"PNTD_SLIP_FAIL"});
}

TEST_F(ServerSlip, FailsWhenTheAddressesAreRefused) {
    tools.failIfconfig();
    testing::internal::CaptureStderr();
    startWithDebug();
    command("PNTD_SLIP");
    tellDevice(kindSlip, 1);
    expectAnswers({"PNTD_SLIP_FAIL"});
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos,
              told.find("ZephonServer : an error occurred when ifconfig SLIP.\n"))
        << told;
}

TEST_F(ServerSlip, NothingOfAFailureIsToldWithDebugOff) {
    tools.failIfconfig();
    testing::internal::CaptureStderr();
    startAll();
    command("PNTD_SLIP");
    tellDevice(kindSlip, 1);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::string::npos, told.find("an error occurred")) << told;
    expectAnswers({"PNTD_SLIP_FAIL"});
}

TEST_F(ServerSlip, FailsOnceAfterTenSecondsWhenTheDeviceIsSilentAlsoOnceTheServerHasStopped) {
    startAll();
    const auto before = std::chrono::steady_clock::now();
    command("PNTD_SLIP,,extra");
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    const ResponseReader responses(bench);
    ASSERT_TRUE(responses.waitFor("PNTD_SLIP_FAIL")) << responses.report();
    EXPECT_LE(seconds(10), std::chrono::steady_clock::now() - before);
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    tellDevice(kindSlip, 1);
    expectAnswers({"PNTD_SLIP_FAIL"});
}

TEST_F(ServerSlip, AnIfconfigThatHangsIsEndedWithTheTime) {
    tools.holdIfconfig();
    startAll();
    command("PNTD_SLIP");  // returns though nobody releases it
    tellDevice(kindSlip, 1);
    expectAnswers({"PNTD_SLIP_FAIL"});
}

TEST_F(ServerSlip, ACommandThatAnotherReplacesIsAnsweredToo) {
    startAll();
    tellDevice(kindSlip, 1);  // of nobody's command
    command("PNTD_SLIP");
    command("PNTD_SLIP,DEBUG");
    tellDevice(kindSlip, 1);
    const ResponseReader responses(bench);
    ASSERT_TRUE(responses.waitForCount(2)) << responses.report();
    EXPECT_EQ(101, responses.all()[0].identifier);
    EXPECT_EQ(102, responses.all()[1].identifier);
    expectAnswers({"PNTD_SLIP_FAIL", "PNTD_SLIP_PASS"});
}

TEST_F(ServerSlip, TheDisconnectEndsItsTimeAndThatOfAZeroizeWithoutAnAnswer) {
    startWith("1000");
    const ResponseReader responses(bench);
    command("START_ZEROIZE");
    command("PNTD_SLIP");
    EXPECT_TRUE(bench::holdsInTime([] { return timersThatRun() == 2; }));
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    EXPECT_EQ(2U, timersThatRun());
    ASSERT_TRUE(responses.waitForCount(1)) << responses.report();
    ASSERT_EQ(ReturnCode::NO_ERROR, disconnect());
    EXPECT_TRUE(bench::holdsInTime([] { return timersThatRun() == 0; }, seconds(5)));
    EXPECT_EQ(1U, responses.all().size()) << responses.report();
}

TEST_F(ServerSlip, IsNotOpenedForTheHumanInterfaceNorBeforeTheStart) {
    connectAll();
    command("PNTD_SLIP");
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    command("PNTD_SLIP", humanInterface);
    command("PNTD_SLIPS");
    expectAnswers({});
    expectOrders({});
    EXPECT_EQ("", tools.calls());
}

}  // namespace
