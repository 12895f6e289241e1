#include <gtest/gtest.h>

#include "zephon/TimedProcedure.h"

namespace {

using namespace std::chrono_literals;
using Clock = TimedProcedure::Clock;

const Clock::time_point start = Clock::time_point{} + 1000h;

bool isOver(TimedProcedure& procedure, Clock::time_point now, Clock::duration duration) {
    const platform::MutexLock lock(procedure.mutex);
    return procedure.isOver(now, duration);
}

void startAt(TimedProcedure& procedure, Clock::time_point now) {
    const platform::MutexLock lock(procedure.mutex);
    procedure.start(now);
}

TEST(TimedProcedure, ExactlyItsDurationIsNotEnough) {
    for (const Clock::duration duration : {Clock::duration(45s), Clock::duration(30s)}) {
        TimedProcedure procedure;
        startAt(procedure, start);
        EXPECT_FALSE(isOver(procedure, start, duration));
        EXPECT_FALSE(isOver(procedure, start + duration - 1ns, duration));
        EXPECT_FALSE(isOver(procedure, start + duration, duration));
        EXPECT_TRUE(isOver(procedure, start + duration + 1ns, duration));
        EXPECT_TRUE(isOver(procedure, start + 1000h, duration));
    }
}

TEST(TimedProcedure, ASecondStartBeginsItsTimeAnew) {
    TimedProcedure procedure;
    startAt(procedure, start);
    startAt(procedure, start + 44s);
    EXPECT_FALSE(isOver(procedure, start + 45s + 1ns, 45s));
    EXPECT_FALSE(isOver(procedure, start + 89s, 45s));
    EXPECT_TRUE(isOver(procedure, start + 89s + 1ns, 45s));
}

TEST(TimedProcedure, OneThatDoesNotRunIsNeverOver) {
    TimedProcedure procedure;
    EXPECT_FALSE(procedure.isRunning());
    EXPECT_FALSE(isOver(procedure, start, 45s));
    startAt(procedure, start);
    EXPECT_TRUE(procedure.isRunning());
    {
        const platform::MutexLock lock(procedure.mutex);
        procedure.end();
    }
    EXPECT_FALSE(procedure.isRunning());
    EXPECT_FALSE(isOver(procedure, start + 1000h, 45s));
}

TEST(TimedProcedure, AnInstantBeforeItsStartEndsNothing) {
    TimedProcedure procedure;
    startAt(procedure, start);
    EXPECT_FALSE(isOver(procedure, start - 1ns, 45s));
    EXPECT_FALSE(isOver(procedure, Clock::time_point{}, 45s));
}

}  // namespace
