// The program's own walk through its life: which step comes after which, and what it leaves behind
// when one of them fails. The server is a stand-in whose steps fail on request.

#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/ChildProcess.h"
#include "bench/Patience.h"
#include "face/ReturnCode.h"

namespace {

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::StartsWith;
using Code = FACE::RETURN_CODE_TYPE;

const std::vector<std::string> steps = {"Initialize()",
                                        "Configure()",
                                        "Framework_Connect()",
                                        "Request_State_Transition(START)",
                                        "Request_State_Transition(STOP)",
                                        "Framework_Disconnect()",
                                        "Finalize()"};
constexpr std::size_t lastStepUp = 3;

class LifeCycleMain : public testing::Test {
protected:
    /// Starts the program; `step` is answered with `answer`.
    void start(std::string const& step, Code::Value answer) {
        bench::ChildProcess::Options options;
        options.arguments = {"any.xml"};
        options.environment = {{"STEP", step}, {"ANSWER", std::to_string(answer)}};
        program = std::make_unique<bench::ChildProcess>(bench::programFolder() / "life-cycle-main",
                                                        options);
    }

    /// Sends SIGTERM once the program has its handlers, the last one included.
    void stop() {
        ASSERT_TRUE(bench::holdsInTime([this] { return program->catches(SIGINT); }))
            << program->output();
        ASSERT_TRUE(program->signal(SIGTERM));
    }

    bench::ChildProcess::Exit end() {
        const auto exit = program->wait(30s);
        EXPECT_TRUE(exit) << program->output();
        return exit.value_or(bench::ChildProcess::Exit{-1, -1});
    }

    static std::string stepsUntil(std::size_t last) {
        std::string text;
        for (std::size_t step = 0; step <= last; ++step) {
            text += "step " + steps.at(step) + "\n";
        }
        return text;
    }

    std::unique_ptr<bench::ChildProcess> program;
};

TEST_F(LifeCycleMain, WalksUpWaitsForASignalAndWalksDown) {
    start("none", Code::NO_ERROR);
    stop();
    EXPECT_TRUE(end().ok());
    EXPECT_EQ(stepsUntil(steps.size() - 1) + "!!!!!! " +
                  (bench::programFolder() / "life-cycle-main").string() +
                  " has exited. Signal: 15\ndestroyed\n",
              program->standardOutput());
}

class StepOfLife : public LifeCycleMain, public testing::WithParamInterface<std::size_t> {
protected:
    std::string const& step() const { return steps.at(GetParam()); }
    bool isUp() const { return GetParam() <= lastStepUp; }
};

TEST_P(StepOfLife, EndsTheProcessWithItsTextWhenItFails) {
    start(step(), Code::NOT_AVAILABLE);
    if (!isUp()) {
        stop();
    }
    EXPECT_EQ(SIGABRT, end().signal);
    const std::string output = program->standardOutput();
    EXPECT_THAT(output, StartsWith(stepsUntil(GetParam()) + "ZephonServerMain.cpp["));
    EXPECT_THAT(output, EndsWith("]:NOT_AVAILABLE " + step() + " failed\n"));
}

TEST_P(StepOfLife, MayAnswerThatItDidNothing) {
    start(step(), Code::NO_ACTION);
    stop();
    EXPECT_TRUE(end().ok());
    EXPECT_THAT(program->standardOutput(), StartsWith(stepsUntil(steps.size() - 1)));
}

TEST_P(StepOfLife, IsTakenAgainWhileItIsInProgressUnlessItConfigures) {
    start(step(), Code::IN_PROGRESS);
    if (step() == "Configure()") {
        EXPECT_EQ(SIGABRT, end().signal);
        EXPECT_THAT(program->standardOutput(), EndsWith("]:IN_PROGRESS Configure() failed\n"));
        return;
    }
    stop();
    EXPECT_TRUE(end().ok());
    std::string expected = stepsUntil(GetParam());
    expected += "step " + step() + "\n";
    EXPECT_THAT(program->standardOutput(), StartsWith(expected));
    EXPECT_EQ(steps.size() + 1, program->countLines("step "));
}

INSTANTIATE_TEST_SUITE_P(All, StepOfLife, testing::Range(std::size_t{0}, steps.size()));

}  // namespace
