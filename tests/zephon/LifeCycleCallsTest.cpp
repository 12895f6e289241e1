#include <atomic>
#include <chrono>
#include <csignal>
#include <pthread.h>
#include <thread>

#include "gtest/gtest.h"
#include "zephon/LifeCycleCalls.h"

namespace {

using ReturnCode = FACE::RETURN_CODE_TYPE;

class LifeCycleCalls : public testing::Test {
protected:
    ~LifeCycleCalls() override { transactionPollMs = 200; }
};

TEST_F(LifeCycleCalls, PollsEvery200Milliseconds) {
    EXPECT_EQ(200, transactionPollMs);
}

TEST_F(LifeCycleCalls, SetsInProgressBeforeTheFirstCall) {
    ReturnCode::Value seen = ReturnCode::NO_ERROR;
    ReturnCode::Value code = ReturnCode::INVALID_MODE;
    callOnceTransactionally(
        [&](ReturnCode::Value& rc) {
            seen = rc;
            rc = ReturnCode::NO_ACTION;
        },
        code);
    EXPECT_EQ(ReturnCode::IN_PROGRESS, seen);
    EXPECT_EQ(ReturnCode::NO_ACTION, code);
}

TEST_F(LifeCycleCalls, CallsAgainWhileTheAnswerIsInProgress) {
    transactionPollMs = 0;
    int calls = 0;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    callOnceTransactionally(
        [&](ReturnCode::Value& rc) {
            rc = ++calls < 1000 ? ReturnCode::IN_PROGRESS : ReturnCode::INVALID_CONFIG;
        },
        code);
    EXPECT_EQ(1000, calls);
    EXPECT_EQ(ReturnCode::INVALID_CONFIG, code);
}

TEST_F(LifeCycleCalls, SleepsThePollTimeBetweenTwoTries) {
    transactionPollMs = 20;
    int calls = 0;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    const auto begin = std::chrono::steady_clock::now();
    callOnceTransactionally(
        [&](ReturnCode::Value& rc) {
            rc = ++calls < 4 ? ReturnCode::IN_PROGRESS : ReturnCode::NO_ERROR;
        },
        code);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
}

extern "C" void ignoreSignal(int) {}

TEST_F(LifeCycleCalls, GoesOnSleepingAfterAnInterruption) {
    struct sigaction action {};
    action.sa_handler = ignoreSignal;
    ASSERT_EQ(0, ::sigaction(SIGUSR1, &action, nullptr));
    std::atomic<bool> done{false};
    std::thread interrupter([&done, sleeper = ::pthread_self()] {
        while (!done) {
            ::pthread_kill(sleeper, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    transactionPollMs = 100;
    bool again = false;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    const auto begin = std::chrono::steady_clock::now();
    callOnceTransactionally(
        [&](ReturnCode::Value& rc) {
            rc = again ? ReturnCode::NO_ERROR : ReturnCode::IN_PROGRESS;
            again = true;
        },
        code);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
    done = true;
    interrupter.join();
}

TEST_F(LifeCycleCalls, RaisesOnAnEmptyFunction) {
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    EXPECT_THROW(callOnceTransactionally(nullptr, code), std::bad_function_call);
}

}  // namespace
