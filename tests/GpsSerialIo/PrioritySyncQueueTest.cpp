#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "GpsSerialIo/PrioritySyncQueue.h"

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

template <typename T>
using Queue = Utility::PrioritySyncQueue<T, 2>;

namespace {

/// Counts its constructions, so that a refusal that constructs shows.
struct Counted {
    static inline int made = 0;
    Counted() = default;
    explicit Counted(int) { ++made; }
};

}  // namespace

TEST(PrioritySyncQueue, YieldsTheHigherLevelFirstEvenWhenTheLowerCameFirst) {
    Queue<int> queue(4);
    EXPECT_TRUE(queue.emplace_back(0, 10));
    EXPECT_TRUE(queue.emplace_back(1, 11));

    unsigned int level = 99;
    int item = 0;
    EXPECT_TRUE(queue.pop_front(level, item, 0ns));
    EXPECT_EQ(level, 1u);
    EXPECT_EQ(item, 11);
    EXPECT_TRUE(queue.pop_front(level, item, 0ns));
    EXPECT_EQ(level, 0u);
    EXPECT_EQ(item, 10);
}

TEST(PrioritySyncQueue, KeepsTheOrderOfArrivalInsideALevel) {
    Queue<int> queue(8);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(queue.emplace_back(0, i));
        EXPECT_TRUE(queue.emplace_back(1, 10 + i));
    }
    std::vector<std::pair<unsigned int, int>> order;
    unsigned int level = 0;
    int item = 0;
    while (queue.pop_front(level, item, 0ns)) {
        order.emplace_back(level, item);
    }
    const std::vector<std::pair<unsigned int, int>> expected{{1, 10}, {1, 11}, {1, 12},
                                                             {0, 0},  {0, 1},  {0, 2}};
    EXPECT_EQ(order, expected);
}

TEST(PrioritySyncQueue, BoundsAllLevelsTogether) {
    Queue<int> queue(2);
    EXPECT_TRUE(queue.emplace_back(0, 1));
    EXPECT_TRUE(queue.emplace_back(0, 2));
    EXPECT_FALSE(queue.emplace_back(1, 3));

    unsigned int level = 0;
    int item = 0;
    EXPECT_TRUE(queue.pop_front(level, item, 0ns));
    EXPECT_TRUE(queue.emplace_back(1, 3));
    EXPECT_FALSE(queue.emplace_back(0, 4));
}

TEST(PrioritySyncQueue, RefusesALevelThatDoesNotExist) {
    Queue<int> queue(2);
    EXPECT_FALSE(queue.emplace_back(2, 1));
    EXPECT_FALSE(queue.emplace_back(0xFFFFFFFFu, 1));
    unsigned int level = 0;
    int item = 0;
    EXPECT_FALSE(queue.pop_front(level, item, 0ns));
}

TEST(PrioritySyncQueue, ConstructsNothingWhenItRefuses) {
    Counted::made = 0;
    Queue<Counted> queue(1);
    EXPECT_FALSE(queue.emplace_back(2, 1));
    EXPECT_EQ(Counted::made, 0);
    EXPECT_TRUE(queue.emplace_back(1, 1));
    EXPECT_FALSE(queue.emplace_back(1, 2));
    EXPECT_EQ(Counted::made, 1);
}

TEST(PrioritySyncQueue, ConstructsTheItemInPlaceFromItsArguments) {
    Queue<std::pair<std::unique_ptr<int>, std::string>> queue(1);
    EXPECT_TRUE(queue.emplace_back(0, std::make_unique<int>(3), "abc"));
    unsigned int level = 99;
    std::pair<std::unique_ptr<int>, std::string> item;
    EXPECT_TRUE(queue.pop_front(level, item, 0ns));
    EXPECT_EQ(level, 0u);
    ASSERT_NE(item.first, nullptr);
    EXPECT_EQ(*item.first, 3);
    EXPECT_EQ(item.second, "abc");
}

TEST(PrioritySyncQueue, LeavesLevelAndItemUntouchedWhenNoneComes) {
    Queue<int> queue(1);
    unsigned int level = 98;
    int item = 99;
    EXPECT_FALSE(queue.pop_front(level, item, 0ns));
    EXPECT_FALSE(queue.pop_front(level, item, 1ms));
    EXPECT_EQ(level, 98u);
    EXPECT_EQ(item, 99);
}

TEST(PrioritySyncQueue, WaitsTheWholeTimeoutOnTheSteadyClockWhenEmpty) {
    Queue<int> queue(1);
    unsigned int level = 0;
    int item = 0;
    const auto start = Clock::now();
    EXPECT_FALSE(queue.pop_front(level, item, 200ms));
    EXPECT_GE(Clock::now() - start, 200ms);
}

TEST(PrioritySyncQueue, WakesAConsumerThatWaitsForEver) {
    Queue<int> queue(1);
    auto consumer = std::async(std::launch::async, [&queue] {
        unsigned int level = 0;
        int item = 0;
        EXPECT_TRUE(queue.pop_front(level, item, std::chrono::nanoseconds::max()));
        return item;
    });
    EXPECT_TRUE(queue.emplace_back(1, 8));
    ASSERT_EQ(consumer.wait_for(30s), std::future_status::ready);
    EXPECT_EQ(consumer.get(), 8);
}

TEST(PrioritySyncQueue, ClearDestroysTheItemsOfAllLevels) {
    Queue<std::shared_ptr<int>> queue(2);
    const auto message = std::make_shared<int>(7);
    EXPECT_TRUE(queue.emplace_back(0, message));
    EXPECT_TRUE(queue.emplace_back(1, message));
    queue.clear();
    EXPECT_EQ(message.use_count(), 1);

    unsigned int level = 0;
    std::shared_ptr<int> item;
    EXPECT_FALSE(queue.pop_front(level, item, 0ns));
    EXPECT_TRUE(queue.emplace_back(1, message)) << "a cleared queue has room again";
}

TEST(PrioritySyncQueue, LosesNothingBetweenManyThreads) {
    constexpr int producers = 3;
    constexpr int itemsEach = 2000;
    Queue<int> queue(16);
    std::vector<std::thread> givers;
    for (int p = 0; p < producers; ++p) {
        givers.emplace_back([&queue, p] {
            for (int i = 0; i < itemsEach; ++i) {
                while (!queue.emplace_back(static_cast<unsigned int>(i % 2), p * itemsEach + i)) {
                    std::this_thread::yield();
                }
            }
        });
    }
    std::vector<int> seen(producers * itemsEach, 0);
    for (int n = 0; n < producers * itemsEach; ++n) {
        unsigned int level = 99;
        int item = -1;
        ASSERT_TRUE(queue.pop_front(level, item, 30s));
        EXPECT_EQ(level, static_cast<unsigned int>(item % 2));
        ++seen[static_cast<std::size_t>(item)];
    }
    for (std::thread& giver : givers) {
        giver.join();
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), producers * itemsEach);
}
