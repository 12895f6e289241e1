// The system clock is stepped while a consumer waits. This program answers clock_gettime itself,
// so that the step is seen by everything in it and by nothing else on the machine.

#include <atomic>
#include <chrono>
#include <future>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "GpsSerialIo/PrioritySyncQueue.h"
#include "GpsSerialIo/SyncQueue.h"

namespace {

std::atomic<long> systemClockStep{0};  // seconds

}  // namespace

extern "C" int clock_gettime(clockid_t clock, struct timespec* now) noexcept {
    const long result = syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && clock == CLOCK_REALTIME) {
        now->tv_sec += systemClockStep;
    }
    return static_cast<int>(result);
}

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

/// Runs `pop` on a thread of its own and steps the system clock by `seconds` meanwhile.
template <typename Pop>
Clock::duration timeOfPopWithStep(long seconds, Pop pop) {
    const auto before = std::chrono::system_clock::now();
    std::promise<void> waiting;
    auto consumer = std::async(std::launch::async, [&] {
        const auto start = Clock::now();
        waiting.set_value();
        EXPECT_FALSE(pop());
        return Clock::now() - start;
    });
    waiting.get_future().wait();
    systemClockStep = seconds;
    const auto step = std::chrono::system_clock::now() - before;
    EXPECT_GT(std::chrono::abs(step), 1h) << "the step does not reach the C++ clock";
    EXPECT_EQ(consumer.wait_for(20s), std::future_status::ready);
    const auto elapsed = consumer.get();
    systemClockStep = 0;
    return elapsed;
}

class ClockStep : public testing::TestWithParam<long> {};

}  // namespace

TEST_P(ClockStep, DoesNotChangeTheWaitOfASyncQueue) {
    Utility::SyncQueue<int> queue(1);
    int item = 0;
    const auto elapsed =
        timeOfPopWithStep(GetParam(), [&] { return queue.pop_front(item, 200ms); });
    EXPECT_GE(elapsed, 200ms);
    EXPECT_LT(elapsed, 20s);
}

TEST_P(ClockStep, DoesNotChangeTheWaitOfAPrioritySyncQueue) {
    Utility::PrioritySyncQueue<int, 2> queue(1);
    unsigned int level = 0;
    int item = 0;
    const auto elapsed =
        timeOfPopWithStep(GetParam(), [&] { return queue.pop_front(level, item, 200ms); });
    EXPECT_GE(elapsed, 200ms);
    EXPECT_LT(elapsed, 20s);
}

INSTANTIATE_TEST_SUITE_P(SystemClock, ClockStep, testing::Values(-7200, 7200));
