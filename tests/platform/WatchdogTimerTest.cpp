#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/WatchdogTimer.h"

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

constexpr auto farAway = 1h;    // an interval that no test lives to see
constexpr auto patience = 30s;  // after which a test gives up on an event

/// Something that happens once on another thread.
class Event {
public:
    void set() { promise_.set_value(); }
    bool came(Clock::duration within = patience) {
        return future_.wait_for(within) == std::future_status::ready;
    }

private:
    std::promise<void> promise_;
    std::future<void> future_ = promise_.get_future();
};

}  // namespace

TEST(WatchdogTimer, CallsBackOnceAndNotBeforeItsInterval) {
    std::atomic<int> calls{0};
    Event fired;
    WatchdogTimer timer;
    const auto start = Clock::now();
    timer.startWatchdog(50ms, [&] {
        ++calls;
        fired.set();
    });
    ASSERT_TRUE(fired.came());
    EXPECT_GE(Clock::now() - start, 50ms);
    timer.cancelWatchdog();
    EXPECT_EQ(calls, 1);
}

TEST(WatchdogTimer, TakesSeconds) {
    Event fired;
    WatchdogTimer timer;
    const auto start = Clock::now();
    timer.startWatchdog(1s, [&] { fired.set(); });
    ASSERT_TRUE(fired.came());
    EXPECT_GE(Clock::now() - start, 1s);
}

TEST(WatchdogTimer, ExpiresAtOnceWithAnIntervalOfZeroOrLess) {
    for (const auto interval : {0ms, -1ms, std::chrono::milliseconds::min()}) {
        Event fired;
        WatchdogTimer timer;
        timer.startWatchdog(interval, [&] { fired.set(); });
        EXPECT_TRUE(fired.came()) << interval.count();
    }
}

TEST(WatchdogTimer, NeverExpiresWithAnIntervalBeyondTheClock) {
    std::atomic<int> calls{0};
    {
        WatchdogTimer timer;
        timer.startWatchdog(std::chrono::seconds::max(), [&] { ++calls; });
        timer.petWatchdog();
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_EQ(calls, 0);
}

TEST(WatchdogTimer, NeverCallsBackWhilePettedAtShorterIntervals) {
    constexpr auto interval = 500ms;
    for (int attempt = 0; attempt < 10; ++attempt) {
        std::atomic<int> calls{0};
        WatchdogTimer timer;
        timer.startWatchdog(interval, [&] { ++calls; });
        const auto start = Clock::now();
        auto pet = start;
        Clock::duration longest{0};
        while (pet - start < 3 * interval) {
            std::this_thread::sleep_for(10ms);
            timer.petWatchdog();
            longest = std::max(longest, Clock::now() - pet);
            pet = Clock::now();
        }
        timer.cancelWatchdog();
        if (longest < interval) {
            EXPECT_EQ(calls, 0);
            return;
        }
        // The machine held this thread up, so the watchdog was right to bark.
    }
    FAIL() << "the machine is too busy to pet in time";
}

TEST(WatchdogTimer, CallsBackAWholeIntervalAfterTheLastPet) {
    Event fired;
    WatchdogTimer timer;
    timer.startWatchdog(200ms, [&] { fired.set(); });
    std::this_thread::sleep_for(20ms);
    const auto pet = Clock::now();
    timer.petWatchdog();
    ASSERT_TRUE(fired.came());
    EXPECT_GE(Clock::now() - pet, 200ms);
}

TEST(WatchdogTimer, NeverCallsBackOnceCancelled) {
    std::atomic<int> calls{0};
    WatchdogTimer timer;
    for (int i = 0; i < 200; ++i) {
        timer.startWatchdog(1ms, [&] { ++calls; });
        timer.cancelWatchdog();
        const int after = calls;  // it may have expired just before
        std::this_thread::sleep_for(i % 20 == 0 ? 3ms : 0ms);
        EXPECT_EQ(calls, after);
    }
    timer.startWatchdog(farAway, [&] { ++calls; });
    const auto start = Clock::now();
    timer.cancelWatchdog();
    EXPECT_LT(Clock::now() - start, patience);
}

TEST(WatchdogTimer, CancelWaitsForACallbackThatRuns) {
    Event entered;
    std::promise<void> release;
    std::atomic<bool> done{false};
    WatchdogTimer timer;
    timer.startWatchdog(0ms, [&, gate = release.get_future().share()] {
        entered.set();
        gate.wait();
        done = true;
    });
    ASSERT_TRUE(entered.came());
    auto cancel = std::async(std::launch::async, [&] {
        timer.cancelWatchdog();
        return done.load();
    });
    release.set_value();
    ASSERT_EQ(cancel.wait_for(patience), std::future_status::ready);
    EXPECT_TRUE(cancel.get());
}

TEST(WatchdogTimer, ASecondStartReplacesTheFirst) {
    std::atomic<int> first{0};
    Event second;
    WatchdogTimer timer;
    timer.startWatchdog(farAway, [&] { ++first; });
    timer.startWatchdog(1ms, [&] { second.set(); });
    EXPECT_TRUE(second.came());
    EXPECT_EQ(first, 0);
}

TEST(WatchdogTimer, StartsAgainAfterItExpired) {
    WatchdogTimer timer;
    for (int i = 0; i < 3; ++i) {
        Event fired;
        timer.startWatchdog(1ms, [&] { fired.set(); });
        EXPECT_TRUE(fired.came());
        timer.cancelWatchdog();
    }
}

TEST(WatchdogTimer, TheDestructorCancels) {
    std::atomic<int> calls{0};
    const auto captured = std::make_shared<int>(1);
    {
        WatchdogTimer timer;
        timer.startWatchdog(farAway, [&calls, captured] { ++calls; });
        EXPECT_EQ(captured.use_count(), 2);
    }
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(captured.use_count(), 1) << "the callback is destroyed with the timer";
}

TEST(WatchdogTimer, ToleratesPetAndCancelWithoutAStart) {
    WatchdogTimer timer;
    timer.petWatchdog();
    timer.cancelWatchdog();
    timer.cancelWatchdog();
}

TEST(WatchdogTimer, ToleratesAnEmptyCallback) {
    WatchdogTimer timer;
    timer.startWatchdog(0ms, nullptr);
    Event fired;
    timer.startWatchdog(0ms, [&] { fired.set(); });
    EXPECT_TRUE(fired.came());
}

TEST(WatchdogTimer, RunsTheCallbackWithoutItsLock) {
    Event fired;
    WatchdogTimer timer;
    timer.startWatchdog(0ms, [&] {
        timer.petWatchdog();
        fired.set();
    });
    EXPECT_TRUE(fired.came());
}

TEST(WatchdogTimer, LetsItsCallbackCancel) {
    Event fired;
    WatchdogTimer timer;
    timer.startWatchdog(0ms, [&] {
        timer.cancelWatchdog();
        fired.set();
    });
    ASSERT_TRUE(fired.came());

    Event again;
    timer.startWatchdog(1ms, [&] { again.set(); });
    EXPECT_TRUE(again.came()) << "it starts again after a cancel of its own";
}

TEST(WatchdogTimer, LetsItsCallbackStartItAnew) {
    std::atomic<int> calls{0};
    Event third;
    WatchdogTimer timer;
    std::function<void()> callback = [&] {
        if (++calls == 3) {
            third.set();
        } else {
            timer.startWatchdog(1ms, callback);
        }
    };
    timer.startWatchdog(1ms, callback);
    ASSERT_TRUE(third.came());
    timer.cancelWatchdog();
    EXPECT_EQ(calls, 3);
}

TEST(WatchdogTimer, ACallbacksCancelUndoesItsStart) {
    std::atomic<int> calls{0};
    Event fired;
    WatchdogTimer timer;
    timer.startWatchdog(0ms, [&] {
        timer.startWatchdog(0ms, [&] { ++calls; });
        timer.cancelWatchdog();
        fired.set();
    });
    ASSERT_TRUE(fired.came());
    timer.cancelWatchdog();
    EXPECT_EQ(calls, 0);
}

TEST(WatchdogTimer, ACancelFromOutsideEndsATimerThatAlwaysStartsItself) {
    for (int i = 0; i < 100; ++i) {
        std::atomic<int> calls{0};
        Event running;
        WatchdogTimer timer;
        std::function<void()> callback = [&] {
            if (++calls == 2) {
                running.set();
            }
            timer.startWatchdog(0ms, callback);
        };
        timer.startWatchdog(0ms, callback);
        ASSERT_TRUE(running.came());
        timer.cancelWatchdog();
        const int after = calls;
        std::this_thread::yield();
        EXPECT_EQ(calls, after);
    }
}

TEST(WatchdogTimer, KeepsAnExceptionOfTheCallbackAndSaysSo) {
    testing::internal::CaptureStderr();
    WatchdogTimer timer;
    Event thrown;
    timer.startWatchdog(0ms, [&] {
        thrown.set();
        throw std::runtime_error("no unit");
    });
    ASSERT_TRUE(thrown.came());
    timer.cancelWatchdog();
    Event unknown;
    timer.startWatchdog(0ms, [&] {
        unknown.set();
        throw 1;  // NOLINT(hicpp-exception-baseclass)
    });
    ASSERT_TRUE(unknown.came());
    timer.cancelWatchdog();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "WatchdogTimer callback EXCEPTION: no unit\n"
              "WatchdogTimer callback EXCEPTION: <unknown>\n");
}

TEST(WatchdogTimer, StandsStartsPetsAndCancelsFromManyThreads) {
    std::atomic<int> calls{0};
    {
        WatchdogTimer timer;
        std::vector<std::thread> users;
        for (int user = 0; user < 4; ++user) {
            users.emplace_back([&timer, &calls, user] {
                for (int i = 0; i < 300; ++i) {
                    switch ((i + user) % 4) {
                        case 0:
                            timer.startWatchdog(std::chrono::microseconds(i % 7 * 50), [&] {
                                ++calls;
                                timer.startWatchdog(10us, [&] { ++calls; });
                            });
                            break;
                        case 1:
                            timer.petWatchdog();
                            break;
                        case 2:
                            timer.startWatchdog(farAway, [&] { ++calls; });
                            break;
                        default:
                            timer.cancelWatchdog();
                    }
                }
            });
        }
        for (std::thread& user : users) {
            user.join();
        }
        timer.cancelWatchdog();
        const int after = calls;
        Event fired;
        timer.startWatchdog(0ms, [&] { fired.set(); });
        EXPECT_TRUE(fired.came());
        EXPECT_EQ(calls, after);
    }
}
