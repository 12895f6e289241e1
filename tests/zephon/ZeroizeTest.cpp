// The wait for the end of a zeroize, without topics and links.

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <random>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "bench/Patience.h"
#include "gmock/gmock.h"
#include "tests/platform/NoNewThreads.h"
#include "zephon/Zeroize.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

enum class Who { Timer, Unit, Device };

/// Set by a thread that brings an answer; the timer's thread does not.
thread_local Who caller = Who::Timer;

/// What happened, in its order. Starts and the unit's answers happen under the object's lock.
struct Event {
    enum class Kind { Accepted, Refused, Ordered, Answer };

    Kind kind;
    std::int32_t command = 0;  ///< identifier
    Who who = Who::Timer;      ///< of an answer
    bool passed = false;       ///< of an answer
};

class ZeroizeWait : public testing::Test {
protected:
    bool start(std::int32_t identifier, std::chrono::nanoseconds limit = 1h) {
        Zeroize::Record command;
        command.command_identifier(identifier);
        bool taken = false;
        zeroize.start(
            command, limit,
            [&](bool accepted) {
                taken = accepted;
                log({accepted ? Event::Kind::Accepted : Event::Kind::Refused, identifier});
            },
            [&] {
                log({Event::Kind::Ordered, identifier});
            });
        return taken;
    }
    void tellStatus(bool passed) {
        caller = Who::Unit;
        zeroize.takeUnitStatus(passed);
    }
    void tellSanitized(bool passed) {
        caller = Who::Device;
        zeroize.takeSanitizeStatus(passed);
    }

    void log(Event const& event) {
        const std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(event);
    }
    std::vector<Event> events() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return events_;
    }
    std::vector<Event> takeEvents() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(events_, {});
    }
    /// Answers as "<identifier> <who> <passed>".
    std::vector<std::string> answers() const {
        std::vector<std::string> texts;
        for (auto const& event : events()) {
            if (event.kind == Event::Kind::Answer) {
                texts.push_back(std::to_string(event.command) +
                                (event.who == Who::Timer  ? " time "
                                 : event.who == Who::Unit ? " unit "
                                                          : " device ") +
                                (event.passed ? "pass" : "fail"));
            }
        }
        return texts;
    }
    std::size_t count(Event::Kind kind) const {
        const auto all = events();
        return static_cast<std::size_t>(std::count_if(
            all.begin(), all.end(), [kind](auto const& event) { return event.kind == kind; }));
    }
    bool waitForAnswers(std::size_t number) const {
        return bench::holdsInTime([&] { return answers().size() >= number; });
    }

    /// The next answer that the unit brings takes so long to give.
    std::atomic<std::chrono::microseconds> delay{0us};

    Zeroize zeroize{[this](auto const& command, bool passed) {
        log({Event::Kind::Answer, command.command_identifier(), caller, passed});
        if (caller != Who::Timer) {
            std::this_thread::sleep_for(delay.exchange(0us));
        }
    }};

private:
    mutable std::mutex mutex_;  // a leaf
    std::vector<Event> events_;
};

std::size_t threadCount() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

TEST_F(ZeroizeWait, IsOrderedOnceAndAnsweredByTheUnitsStatus) {
    EXPECT_TRUE(start(1));
    tellStatus(true);
    EXPECT_TRUE(start(2));
    tellStatus(false);
    EXPECT_THAT(answers(), ElementsAre("1 unit pass", "2 unit fail"));
    EXPECT_EQ(2U, count(Event::Kind::Ordered));
}

TEST_F(ZeroizeWait, IsOrderedAndAnsweredAtOnceWithoutAThreadForTheTime) {
    caller = Who::Timer;  // whose place this thread takes
    {
        const NoNewThreads none;
        EXPECT_THROW(start(1), std::system_error);
        EXPECT_THROW(start(2), std::system_error);  // is refused, and ends the time of the first
    }
    EXPECT_THAT(answers(), ElementsAre("1 time fail", "1 time fail"));
    EXPECT_EQ(1U, count(Event::Kind::Ordered));
    EXPECT_EQ(1U, count(Event::Kind::Refused));
    tellStatus(true);
    EXPECT_TRUE(start(3));
}

TEST_F(ZeroizeWait, IsTakenOnBeforeItIsOrdered) {
    start(1);
    const auto all = events();
    ASSERT_EQ(2U, all.size());
    EXPECT_EQ(Event::Kind::Accepted, all[0].kind);
    EXPECT_EQ(Event::Kind::Ordered, all[1].kind);
}

TEST_F(ZeroizeWait, ItsTimeRunsWhenItIsOrdered) {
    // The time-out is told although the order is still being given.
    Zeroize::Record const command;
    zeroize.start(
        command, 0s, [](bool) {}, [this] { EXPECT_TRUE(waitForAnswers(1)); });
    EXPECT_THAT(answers(), ElementsAre("0 time fail"));
}

TEST_F(ZeroizeWait, IsAnsweredByTheSanitizeStatusThatComesFirst) {
    start(1);
    tellSanitized(true);
    tellSanitized(false);
    start(2);
    tellSanitized(false);
    EXPECT_THAT(answers(), ElementsAre("1 device pass", "2 device fail"));
}

TEST_F(ZeroizeWait, ASanitizeStatusWithNoZeroizeUnderWayGivesNoAnswer) {
    tellSanitized(true);
    tellSanitized(false);
    start(1);
    tellStatus(true);
    tellSanitized(true);
    EXPECT_THAT(answers(), ElementsAre("1 unit pass"));
}

TEST_F(ZeroizeWait, EachStatusOfAUnitIsAnsweredAndTheFirstMakesItIdle) {
    start(1);
    tellStatus(true);
    tellStatus(false);
    EXPECT_TRUE(start(2));
    EXPECT_THAT(answers(), ElementsAre("1 unit pass", "1 unit fail"));
}

TEST_F(ZeroizeWait, AStrayStatusAnswersTheEmptyCommandWhileNoneHasCome) {
    tellStatus(true);
    EXPECT_THAT(answers(), ElementsAre("0 unit pass"));
    EXPECT_TRUE(start(1));
}

TEST_F(ZeroizeWait, ASecondStartIsRefusedAndTheFirstStaysTheOneToAnswer) {
    EXPECT_TRUE(start(1));
    EXPECT_FALSE(start(2));
    EXPECT_FALSE(start(3));
    EXPECT_EQ(1U, count(Event::Kind::Ordered));
    tellStatus(true);
    EXPECT_THAT(answers(), ElementsAre("1 unit pass"));
}

TEST_F(ZeroizeWait, ARefusedStartBeginsTheTimeAnew) {
    start(1, 1h);
    EXPECT_FALSE(start(2, 0s));
    ASSERT_TRUE(waitForAnswers(1));
    EXPECT_THAT(answers(), ElementsAre("1 time fail"));
}

TEST_F(ZeroizeWait, ATimeThatWasBegunAnewEndsNoMoreByItself) {
    start(1, 200ms);
    const bool early = start(2, 1h);
    const auto before = answers();  // empty, but on a machine that stood still
    std::this_thread::sleep_for(300ms);
    EXPECT_FALSE(early);
    EXPECT_EQ(before, answers());
}

TEST_F(ZeroizeWait, AfterItsTimeEveryStartIsRefusedAndTimedUntilALateAnswer) {
    start(1, 0s);
    ASSERT_TRUE(waitForAnswers(1));
    EXPECT_FALSE(start(2, 0s));
    ASSERT_TRUE(waitForAnswers(2));
    EXPECT_FALSE(start(3, 1h));
    tellStatus(true);
    EXPECT_TRUE(start(4));
    EXPECT_THAT(answers(), ElementsAre("1 time fail", "1 time fail", "1 unit pass"));
}

TEST_F(ZeroizeWait, ALateSanitizeStatusAnswersToo) {
    start(1, 0s);
    ASSERT_TRUE(waitForAnswers(1));
    tellSanitized(true);
    EXPECT_TRUE(start(2));
    EXPECT_THAT(answers(), ElementsAre("1 time fail", "1 device pass"));
}

TEST_F(ZeroizeWait, ATimeBelowZeroEndsAtOnce) {
    start(1, -1s);
    EXPECT_TRUE(waitForAnswers(1));
}

TEST_F(ZeroizeWait, IsCancelledWithoutAnAnswer) {
    start(1, 50ms);
    zeroize.cancel();
    const auto before = answers();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(before, answers());
    zeroize.cancel();
}

TEST_F(ZeroizeWait, LeavesNoThreadBehind) {
    const std::size_t before = threadCount();
    start(1);
    tellStatus(true);
    EXPECT_TRUE(bench::holdsInTime([&] { return threadCount() <= before; }));
    start(2, 0s);
    ASSERT_TRUE(waitForAnswers(2));
    EXPECT_TRUE(bench::holdsInTime([&] { return threadCount() <= before; }));
}

/// Meets the others at a round's begin and end.
class Gate {
public:
    explicit Gate(int threads) : threads_(threads) {}

    void meet() {
        std::unique_lock<std::mutex> lock(mutex_);
        const int round = round_;
        if (++arrived_ == threads_) {
            arrived_ = 0;
            ++round_;
            opened_.notify_all();
        } else {
            opened_.wait(lock, [&] { return round_ != round; });
        }
    }

private:
    const int threads_;
    std::mutex mutex_;  // guards the counts; a leaf
    std::condition_variable opened_;
    int arrived_ = 0;
    int round_ = 0;
};

constexpr int units = 4;

TEST_F(ZeroizeWait, AnAnswerBeforeAtAndAfterTheEndOfItsTimeFromFourUnitsAtOnce) {
    constexpr int rounds = 10000;
    const std::size_t threadsBefore = threadCount();
    // Two threads for the four units: on a busy machine each further one costs seconds.
    Gate gate(3);
    std::vector<std::thread> threads;
    for (int unit = 0; unit < units; unit += 2) {
        threads.emplace_back([&] {
            for (int round = 0; round < rounds; ++round) {
                gate.meet();
                tellStatus(round % 2 == 0);
                tellStatus(round % 2 != 0);
                gate.meet();
            }
        });
    }

    std::mt19937 random(1);
    std::uniform_int_distribution<int> nearly(0, 300);
    int timeouts = 0;
    int sanitized = 0;
    bool good = true;
    for (int round = 0; round < rounds; ++round) {
        const std::chrono::nanoseconds limits[] = {1h, std::chrono::microseconds(nearly(random)),
                                                   0s};
        const bool accepted = start(round, limits[round % 3]);
        const bool after = round % 3 == 2;
        const bool timeWasUp = !after || waitForAnswers(1);
        if (round % 3 == 1) {
            // Now and then the time would end while the answer is being given.
            delay = std::chrono::microseconds(round % 2 == 0 ? 400 : 0);
            std::this_thread::sleep_for(std::chrono::microseconds(nearly(random)));
        }
        gate.meet();
        tellSanitized(true);
        gate.meet();
        delay = 0us;
        // Nothing is under way any more: each status has stopped the time.
        const auto all = takeEvents();
        std::vector<Event> told;
        std::copy_if(all.begin(), all.end(), std::back_inserter(told), [round](auto const& event) {
            return event.kind == Event::Kind::Answer && event.command == round;
        });
        const auto by = [&told](Who who) {
            return std::count_if(told.begin(), told.end(),
                                 [who](auto const& event) { return event.who == who; });
        };
        const bool timeFirst = !told.empty() && told.front().who == Who::Timer;
        const std::size_t next = timeFirst ? 1 : 0;
        const bool deviceNext = told.size() > next && told[next].who == Who::Device;
        const auto passes = std::count_if(told.begin(), told.end(), [](auto const& event) {
            return event.who == Who::Unit && event.passed;
        });
        const bool exact = by(Who::Unit) == units && passes == units / 2 &&
                           by(Who::Timer) == (timeFirst ? 1 : 0) &&
                           by(Who::Device) == (deviceNext ? 1 : 0) && all.size() == told.size() + 2;
        const bool timed = round % 3 == 0 ? !timeFirst : !after || timeFirst;
        good = good && accepted && timeWasUp && exact && timed;
        timeouts += timeFirst && round % 3 == 1 ? 1 : 0;
        sanitized += deviceNext ? 1 : 0;
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(good);
    EXPECT_TRUE(bench::holdsInTime([&] { return threadCount() <= threadsBefore; }));
    // Each of the ways has been gone.
    EXPECT_LT(0, timeouts);
    EXPECT_LT(0, sanitized);
}

TEST_F(ZeroizeWait, AStormOfStartsAndStatusesKeepsToTheTable) {
    constexpr int each = 500;
    const std::size_t threadsBefore = threadCount();
    std::atomic<int> accepted{0};
    std::vector<std::thread> threads;
    for (int starter = 0; starter < 3; ++starter) {
        threads.emplace_back([&, starter] {
            for (int i = 0; i < each; ++i) {
                accepted +=
                    start(1 + starter * each + i, std::chrono::microseconds(i % 100)) ? 1 : 0;
            }
        });
    }
    for (int unit = 0; unit < units; ++unit) {
        threads.emplace_back([&] {
            for (int i = 0; i < each; ++i) {
                tellStatus(i % 2 == 0);
                tellSanitized(i % 2 == 0);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    zeroize.cancel();

    bool waiting = false;
    std::int32_t last = 0;
    int times = 0;  // that have begun and may still end
    int units5044 = 0;
    for (auto const& event : takeEvents()) {
        switch (event.kind) {
            case Event::Kind::Accepted:
                ASSERT_FALSE(waiting);
                waiting = true;
                last = event.command;
                times = 1;
                break;
            case Event::Kind::Refused:
                ASSERT_TRUE(waiting);
                ++times;
                break;
            case Event::Kind::Ordered:
                ASSERT_EQ(last, event.command);
                break;
            case Event::Kind::Answer:
                ASSERT_EQ(last, event.command);
                if (event.who == Who::Timer) {
                    ASSERT_TRUE(waiting);
                    ASSERT_FALSE(event.passed);
                    ASSERT_LE(1, times--);
                } else {
                    ASSERT_TRUE(waiting || event.who == Who::Unit);
                    units5044 += event.who == Who::Unit ? 1 : 0;
                    waiting = false;
                }
                break;
        }
    }
    EXPECT_LE(1, accepted);
    EXPECT_EQ(units * each, units5044);
    EXPECT_TRUE(bench::holdsInTime([&] { return threadCount() <= threadsBefore; }));
}

}  // namespace
