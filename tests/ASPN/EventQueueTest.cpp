#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ASPN/EventQueue.h"
#include "tests/ASPN/SetClock.h"
#include "tests/face/FailingAllocation.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int configType = 2;

struct Queue {
    SetClock clock;
    ASPN2::EventQueue queue{10, configType, 300s, clock};

    /// All that waits now, as "type text".
    std::vector<std::string> takeAll() {
        std::vector<std::string> taken;
        int type = -1;
        std::string text;
        while (queue.pop_front(type, text, 0ms)) {
            taken.push_back(std::to_string(type) + ' ' + text);
        }
        return taken;
    }
};

}  // namespace

TEST(EventQueue, GivesLinesOutInTheOrderInWhichTheyCame) {
    Queue q;
    EXPECT_TRUE(q.queue.push_back(3, "first"));
    EXPECT_TRUE(q.queue.push_back(1, "second"));
    EXPECT_THAT(q.takeAll(), ElementsAre("3 first", "1 second"));
}

TEST(EventQueue, DropsTheEleventhLine) {
    Queue q;
    for (int line = 1; line <= 10; ++line) {
        EXPECT_TRUE(q.queue.push_back(3, std::to_string(line)));
    }
    EXPECT_FALSE(q.queue.push_back(3, "11"));
    EXPECT_EQ(q.queue.size(), 10U);
    EXPECT_EQ(q.takeAll().back(), "3 10");
}

TEST(EventQueue, TakesLinesAgainWhenThereIsRoom) {
    Queue q;
    while (q.queue.push_back(1, "x")) {
    }
    int type = 0;
    std::string text;
    ASSERT_TRUE(q.queue.pop_front(type, text, 0ms));
    EXPECT_TRUE(q.queue.push_back(1, "y"));
    EXPECT_FALSE(q.queue.push_back(1, "z"));
}

TEST(EventQueue, OfLimitZeroKeepsNoLine) {
    ASPN2::EventQueue queue(0, configType, 300s);
    EXPECT_FALSE(queue.push_back(1, "x"));
    EXPECT_EQ(queue.size(), 0U);
}

TEST(EventQueue, AnswersFalseAndLeavesTheArgumentsWhenNothingCame) {
    Queue q;
    int type = 77;
    std::string text = "old";
    EXPECT_FALSE(q.queue.pop_front(type, text, 0ms));
    EXPECT_FALSE(q.queue.pop_front(type, text, -1ms));
    EXPECT_EQ(type, 77);
    EXPECT_EQ(text, "old");
}

TEST(EventQueue, WaitsForTheWholeTimeBeforeItAnswersFalse) {
    Queue q;
    int type = 0;
    std::string text;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(q.queue.pop_front(type, text, 50ms));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
}

TEST(EventQueue, WakesTheOneWhoWaitsWhenALineComes) {
    Queue q;
    int type = 0;
    std::string text;
    std::thread waiter([&] { EXPECT_TRUE(q.queue.pop_front(type, text, 1h)); });
    q.queue.push_back(4, "come");
    waiter.join();
    EXPECT_EQ(type, 4);
    EXPECT_EQ(text, "come");
}

TEST(EventQueue, WakesTheOneWhoWaitsWhenAConfigLineComes) {
    Queue q;
    int type = 0;
    std::string text;
    std::thread waiter([&] { EXPECT_TRUE(q.queue.pop_front(type, text, 1h)); });
    q.queue.push_back_config("config");
    waiter.join();
    EXPECT_EQ(type, configType);
    EXPECT_EQ(text, "config");
}

TEST(EventQueue, GivesAConfigLineOutAtOnceAndAgainAfterTheRepeatDuration) {
    Queue q;
    q.queue.push_back_config("c");
    EXPECT_EQ(q.queue.size(), 2U) << "the line, and its repeats";
    EXPECT_THAT(q.takeAll(), ElementsAre("2 c"));
    EXPECT_EQ(q.queue.size(), 1U);
    q.clock.advance(300s - 1ns);
    EXPECT_THAT(q.takeAll(), IsEmpty());
    q.clock.advance(1ns);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 c"));
    q.clock.advance(300s - 1ns);
    EXPECT_THAT(q.takeAll(), IsEmpty());
    q.clock.advance(1ns);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 c"));
}

TEST(EventQueue, RepeatsConfigLinesInTheOrderOfTheirTimes) {
    Queue q;
    q.queue.push_back_config("a");
    q.clock.advance(100s);
    q.queue.push_back_config("b");
    q.takeAll();
    q.clock.advance(200s);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 a"));
    q.clock.advance(100s);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 b"));
    q.clock.advance(200s);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 a"));
}

TEST(EventQueue, RepeatsOnceWhenSeveralRepeatDurationsHavePassed) {
    Queue q;
    q.queue.push_back_config("a");
    q.queue.push_back_config("b");
    q.takeAll();
    q.clock.advance(10000s);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 a", "2 b"));
}

TEST(EventQueue, KeepsAConfigLineThatIsDueWhileThereIsNoMemory) {
    Queue q;
    std::string const line(100, 'c');  // more than a string holds within itself
    q.queue.push_back_config(line);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 " + line));
    q.clock.advance(300s);
    bool raised = false;
    {
        FailingAllocation const noMemory;
        int type = -1;
        std::string text;
        try {
            q.queue.pop_front(type, text, 0ms);
        } catch (std::bad_alloc const&) {
            raised = true;
        }
    }
    EXPECT_TRUE(raised);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 " + line));
    q.clock.advance(300s);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 " + line));
}

TEST(EventQueue, KeepsAConfigLineWhoseSuccessorFindsNoMemory) {
    Queue q;
    std::string const line(100, 'c');  // more than a string holds within itself
    std::string const successor(100, 's');
    const unsigned id = q.queue.push_back_config(line);
    q.takeAll();
    bool raised = false;
    {
        FailingAllocation const noMemory;
        try {
            q.queue.push_back_config(successor, id);
        } catch (std::bad_alloc const&) {
            raised = true;
        }
    }
    EXPECT_TRUE(raised);
    EXPECT_EQ(q.queue.size(), 1U);
    q.clock.advance(300s);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 " + line));
    EXPECT_EQ(q.queue.push_back_config(successor, id), id);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 " + successor));
    EXPECT_EQ(q.queue.size(), 1U) << "the new one alone";
}

TEST(EventQueue, StandsARepeatDurationOfZero) {
    SetClock clock;
    ASPN2::EventQueue queue(10, configType, 0s, clock);
    queue.push_back_config("c");
    int type = 0;
    std::string text;
    ASSERT_TRUE(queue.pop_front(type, text, 0ms));
    ASSERT_TRUE(queue.pop_front(type, text, 0ms));
    EXPECT_EQ(text, "c");
}

TEST(EventQueue, TakesConfigLinesAndTheirRepeatsAlsoWhenFull) {
    Queue q;
    while (q.queue.push_back(1, "x")) {
    }
    q.queue.push_back_config("c");
    EXPECT_EQ(q.queue.size(), 12U);
    q.clock.advance(300s);
    std::vector<std::string> const taken = q.takeAll();
    EXPECT_EQ(taken.size(), 12U);
    EXPECT_EQ(std::count(taken.begin(), taken.end(), "2 c"), 2);
}

TEST(EventQueue, ConfigLinesTakeRoomFromTheOthers) {
    Queue q;
    for (int line = 0; line < 10; ++line) {
        q.queue.push_back_config("c");
    }
    EXPECT_FALSE(q.queue.push_back(1, "x"));
}

TEST(EventQueue, NumbersConfigLinesFromOne) {
    Queue q;
    EXPECT_EQ(q.queue.push_back_config("a"), 1U);
    EXPECT_EQ(q.queue.push_back_config("b"), 2U);
}

TEST(EventQueue, ReplacesAConfigLineAndItsRepeats) {
    Queue q;
    const unsigned id = q.queue.push_back_config("old");
    q.clock.advance(100s);
    EXPECT_EQ(q.queue.push_back_config("new", id), id);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 old", "2 new"));
    q.clock.advance(200s);
    EXPECT_THAT(q.takeAll(), IsEmpty()) << "it is due a whole repeat duration after it came";
    q.clock.advance(100s);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 new"));
    EXPECT_EQ(q.queue.size(), 1U);
}

TEST(EventQueue, KeepsTheOrderOfRepeatsWhenALineIsReplaced) {
    Queue q;
    const unsigned id = q.queue.push_back_config("a");
    q.queue.push_back_config("b");
    q.clock.advance(100s);
    q.queue.push_back_config("a2", id);
    q.takeAll();
    q.clock.advance(200s);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 b"));
}

TEST(EventQueue, AppendsWhenTheReplacedIdIsUnknown) {
    Queue q;
    EXPECT_EQ(q.queue.push_back_config("a", 0), 1U);
    EXPECT_EQ(q.queue.push_back_config("b", 4000000000U), 2U);
    EXPECT_EQ(q.queue.size(), 4U);
    EXPECT_EQ(q.queue.push_back_config("b2", 2), 2U);
}

TEST(EventQueue, AConfigLineThatChangesFastDoesNotGrowAFullQueue) {
    Queue q;
    const unsigned id = q.queue.push_back_config("0");
    const unsigned other = q.queue.push_back_config("other");
    for (int change = 1; change <= 1000; ++change) {
        q.queue.push_back_config(std::to_string(change), id);
    }
    EXPECT_EQ(q.queue.push_back_config("other 2", other), other);
    EXPECT_EQ(q.queue.size(), 10U + 2U);
    // The youngest is the last of its kind, as who reads them takes it.
    EXPECT_THAT(q.takeAll(), ElementsAre("2 0", "2 other 2", "2 1", "2 2", "2 3", "2 4", "2 5",
                                         "2 6", "2 7", "2 1000"));
    q.clock.advance(300s);
    std::vector<std::string> const repeated = q.takeAll();
    EXPECT_THAT(repeated, ElementsAre("2 1000", "2 other 2"));
}

TEST(EventQueue, AConfigLineThatComesToAFullQueueWaitsInItOnce) {
    Queue q;
    const unsigned id = q.queue.push_back_config("0");
    q.takeAll();
    while (q.queue.push_back(1, "x")) {
    }
    for (int change = 1; change <= 1000; ++change) {
        q.queue.push_back_config(std::to_string(change), id);
    }
    std::vector<std::string> const taken = q.takeAll();
    EXPECT_EQ(taken.size(), 11U);
    EXPECT_EQ(taken.back(), "2 1000");
}

TEST(EventQueue, ErasedConfigLinesComeNoMore) {
    Queue q;
    const unsigned id = q.queue.push_back_config("a");
    q.queue.push_back_config("b");
    q.takeAll();
    q.queue.eraseConfig(id);
    q.queue.eraseConfig(id);
    q.queue.eraseConfig(99);
    q.clock.advance(300s);
    EXPECT_THAT(q.takeAll(), ElementsAre("2 b"));
}

TEST(EventQueue, GivesAnErasedIdToNobodyElse) {
    Queue q;
    const unsigned id = q.queue.push_back_config("a");
    q.queue.eraseConfig(id);
    EXPECT_NE(q.queue.push_back_config("b"), id);
    EXPECT_NE(q.queue.push_back_config("c", id), id);
}

TEST(EventQueue, DrainingGivesOutWhatWaitedThen) {
    Queue q;
    q.queue.push_back(1, "a");
    q.queue.push_back(1, "b");
    q.queue.drain();
    q.queue.push_back(1, "late");
    EXPECT_THAT(q.takeAll(), ElementsAre("1 a", "1 b"));
    EXPECT_EQ(q.queue.size(), 1U);
    q.queue.resume();
    EXPECT_THAT(q.takeAll(), ElementsAre("1 late"));
}

TEST(EventQueue, DrainingEndsAWait) {
    Queue q;
    int type = 0;
    std::string text;
    std::thread waiter([&] { EXPECT_FALSE(q.queue.pop_front(type, text, 1h)); });
    q.queue.drain();
    waiter.join();
}

TEST(EventQueue, LosesNothingBetweenManyPushersAndOneWhoTakes) {
    constexpr int pushers = 4;
    constexpr int linesEach = 500;
    ASPN2::EventQueue queue(1000000, configType, 300s);
    std::vector<std::thread> threads;
    for (int pusher = 0; pusher < pushers; ++pusher) {
        threads.emplace_back([&queue, pusher] {
            for (int line = 0; line < linesEach; ++line) {
                queue.push_back(pusher, std::to_string(line));
            }
        });
    }
    std::vector<int> next(pushers, 0);
    for (int taken = 0; taken < pushers * linesEach; ++taken) {
        int type = 0;
        std::string text;
        ASSERT_TRUE(queue.pop_front(type, text, 20s));
        EXPECT_EQ(text, std::to_string(next.at(static_cast<std::size_t>(type))++));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(queue.size(), 0U);
}
