// Commands that a server in this process takes, and its answers as another process reads them.

#include <atomic>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "ASPN/TimeTags.h"
#include "tests/face/FailingAllocation.h"
#include "tests/system/EventReader.h"
#include "tests/system/ResponseReader.h"
#include "tests/zephon/CommandFixture.h"

namespace {

using ASPN2::TimeCodeHelper;
using aspn2_msgs::idl::CommandResponse;
using bench::ResponseRecord;

class ServerDispatch : public CommandFixture {
protected:
    ~ServerDispatch() override { TimeCodeHelper::Instance().setLiveMode(); }

    void startWithDebug() {
        bench.configuration().set("ZephonServer", "Debug", "true");
        startAll();
    }
    void command(std::string const& text, unsigned char sender = controller) {
        server->cbCmd(makeCommandRecord(text, sender));
    }
};

TEST_F(ServerDispatch, ThePingIsAnsweredWithTheServersName) {
    startAll();
    auto ping = makeCommandRecord("BITSERVER_PING", controller);
    ping.command_identifier(77);
    server->cbCmd(ping);
    const ResponseReader responses(bench);
    ASSERT_TRUE(responses.waitForCount(1)) << responses.report();
    auto const response = responses.all().front();
    EXPECT_EQ("ZephonServer", response.text);
    EXPECT_EQ(ResponseRecord::response, response.type);
    EXPECT_EQ(77, response.identifier);
    EXPECT_EQ(ping.header().device_id(), response.commandedDeviceId);
    EXPECT_EQ(49, response.header.source);
}

TEST_F(ServerDispatch, TheModeOfTimeIsSelectedAndAnsweredWithPass) {
    startAll();
    command("SYSTEM_MODE_SELECT_SIMULATION");
    EXPECT_EQ(TimeCodeHelper::SIMULATION, TimeCodeHelper::Instance().getTimeCode());
    command("SYSTEM_MODE_SELECT_LIVE");
    EXPECT_EQ(TimeCodeHelper::LIVE, TimeCodeHelper::Instance().getTimeCode());
    expectAnswers({"SYSTEM_MODE_SELECT_SIMULATION_PASS", "SYSTEM_MODE_SELECT_LIVE_PASS"});
}

TEST_F(ServerDispatch, AModeWithAnArgumentIsNoVerb) {
    startAll();
    command("SYSTEM_MODE_SELECT_SIMULATION,1");
    EXPECT_EQ(TimeCodeHelper::LIVE, TimeCodeHelper::Instance().getTimeCode());
    TimeCodeHelper::Instance().setSimMode();
    command("SYSTEM_MODE_SELECT_LIVE,1");
    EXPECT_EQ(TimeCodeHelper::SIMULATION, TimeCodeHelper::Instance().getTimeCode());
    expectAnswers({});
}

TEST_F(ServerDispatch, OfTheWholeVocabularyNothingIsDoneBeforeTheStart) {
    connectAll();
    command("SYSTEM_MODE_SELECT_SIMULATION");
    command("BITSERVER_PING");
    command("INIT_SINCGARS", humanInterface);
    EXPECT_EQ(TimeCodeHelper::LIVE, TimeCodeHelper::Instance().getTimeCode());
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    expectAnswers({});
    expectOnLinkOne({});
}

TEST_F(ServerDispatch, NothingIsDoneAfterTheStop) {
    startAll();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    command("SYSTEM_MODE_SELECT_SIMULATION");
    command("BITSERVER_PING");
    EXPECT_EQ(TimeCodeHelper::LIVE, TimeCodeHelper::Instance().getTimeCode());
    expectAnswers({});
}

TEST_F(ServerDispatch, ARecordThatIsNoCommandIsLeftAlone) {
    startAll();
    for (const unsigned char sender : {controller, humanInterface}) {
        for (const std::string text :
             {"SYSTEM_MODE_SELECT_SIMULATION", "BITSERVER_PING", "INIT_SINCGARS"}) {
            auto record = makeCommandRecord(text, sender);
            record.command_response_type(aspn2_msgs::idl::COMMAND_RESPONSE_TYPE_RESPONSE);
            server->cbCmd(record);
        }
    }
    EXPECT_EQ(TimeCodeHelper::LIVE, TimeCodeHelper::Instance().getTimeCode());
    expectAnswers({});
    expectOnLinkOne({});
}

TEST_F(ServerDispatch, UnknownVerbsAreLeftAloneWhateverTheirLength) {
    startAll();
    for (const unsigned char sender : {controller, humanInterface}) {
        for (const char filler : {'A', ',', '\0', '\n', '\xFF', '%'}) {
            for (const std::size_t length : {0U, 1U, 2U, 255U, 256U, 65535U, 65536U, 100000U}) {
                command(std::string(length, filler), sender);
            }
        }
        command("NO_SUCH_VERB,1,COM1", sender);
        command("BITSERVER_PING" + std::string(99986, 'G'), sender);
    }
    expectAnswers({});
    expectOnLinkOne({});
}

TEST_F(ServerDispatch, TheVocabularyOfTheOthersIsNoneOfTheHumanInterface) {
    startAll();
    command("SYSTEM_MODE_SELECT_SIMULATION", humanInterface);
    command("BITSERVER_PING", humanInterface);
    command("INIT_SINCGARS", controller);
    EXPECT_EQ(TimeCodeHelper::LIVE, TimeCodeHelper::Instance().getTimeCode());
    expectAnswers({});
    expectOnLinkOne({});
}

TEST_F(ServerDispatch, AnAnswerIsToldWithDebugOn) {
    OutputCapture output;
    startWithDebug();
    command("BITSERVER_PING");
    const ResponseReader responses(bench);
    ASSERT_TRUE(responses.waitForCount(1)) << responses.report();
    const auto seconds = std::to_string(responses.all().front().header.tagSeconds);
    EXPECT_EQ(1U,
              output.count("\nZephonServer::cbCmd(): TOVsec = " + seconds + ", ZephonServer\n"));
    auto response = ASPN2::CmdResponse().makeResponse(CommandResponse(), "LATER");
    server->sendResponseMessage(response);
    EXPECT_EQ(1U, output.count("\nSending Response Message: LATER\n"));
}

TEST_F(ServerDispatch, NothingIsToldWithDebugOff) {
    OutputCapture output;
    startAll();
    command("BITSERVER_PING");
    command("INIT_SINCGARS", humanInterface);
    expectAnswers({"ZephonServer"});
    EXPECT_EQ(0U, output.count("TOVsec")) << output.text();
    EXPECT_EQ(0U, output.count("Sending Response Message")) << output.text();
    EXPECT_EQ(0U, output.count("SINCGARS")) << output.text();
}

TEST_F(ServerDispatch, AnAnswerThatNoTopicTakesIsReported) {
    startAll();
    const auto reporting = takeTopicsAway();
    const EventReader events(bench);
    command("BITSERVER_PING");
    const auto event = events.waitFor("Could not publish Set TimeCode change Response");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    EXPECT_THAT(event->text,
                testing::MatchesRegex(".*:ZephonServer: Could not publish Set TimeCode "
                                      "change Response for TOV = [0-9]+, "
                                      "ZephonServer"));
}

TEST_F(ServerDispatch, WhatACommandRaisesIsALineOnStandardErrorAndNoAnswer) {
    startAll();
    const auto ping = makeCommandRecord("BITSERVER_PING", controller);
    testing::internal::CaptureStderr();
    {
        const FailingAllocation noMemory;
        EXPECT_THROW(server->cbCmd(ping), std::bad_alloc);
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::ContainsRegex("[0-9]+ std::bad_alloc\n"));
    command("SYSTEM_MODE_SELECT_LIVE");
    expectAnswers({"SYSTEM_MODE_SELECT_LIVE_PASS"});
}

TEST_F(ServerDispatch, CommandsOfManyThreadsAreAllAnswered) {
    constexpr int each = 4;  // together they fit the history of the topic
    startAll();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int number = 0; number < each; ++number) {
                command("BITSERVER_PING");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const ResponseReader responses(bench);
    EXPECT_TRUE(responses.waitForCount(4 * each)) << responses.report();
}

TEST(ServerDispatchUnconnected, AnAnswerIsLostWithoutHarm) {
    // The record is no command of a running server: nothing to answer, and no topic to do it on.
    const auto server = std::make_unique<ZephonServer>();
    server->cbCmd(makeCommandRecord("BITSERVER_PING", controller));
    FACE::RETURN_CODE_TYPE::Value code{};
    server->Request_State_Transition(ZephonServer::RequestedState::START, code);
    server->cbCmd(makeCommandRecord("BITSERVER_PING", controller));
    server->Request_State_Transition(ZephonServer::RequestedState::STOP, code);
    EXPECT_EQ(FACE::RETURN_CODE_TYPE::NO_ERROR, code);
}

}  // namespace
