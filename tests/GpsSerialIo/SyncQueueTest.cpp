#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GpsSerialIo/SyncQueue.h"

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Utility::SyncQueue;

TEST(SyncQueue, YieldsItemsInTheOrderOfTheirArrival) {
    SyncQueue<int> queue(4);
    EXPECT_TRUE(queue.push_back(1));
    EXPECT_TRUE(queue.push_back(2));
    EXPECT_TRUE(queue.push_back(3));

    int item = 0;
    EXPECT_TRUE(queue.pop_front(item, 0ns));
    EXPECT_EQ(item, 1);
    EXPECT_TRUE(queue.pop_front(item, 0ns));
    EXPECT_EQ(item, 2);
    EXPECT_TRUE(queue.pop_front(item, 0ns));
    EXPECT_EQ(item, 3);
}

TEST(SyncQueue, RefusesTheItemBeyondItsCapacityAndTakesOneMoreAfterAPop) {
    SyncQueue<int> queue(32);
    for (int i = 0; i < 32; ++i) {
        EXPECT_TRUE(queue.push_back(i)) << i;
    }
    EXPECT_FALSE(queue.push_back(32));

    int item = -1;
    EXPECT_TRUE(queue.pop_front(item, 0ns));
    EXPECT_EQ(item, 0);
    EXPECT_TRUE(queue.push_back(33));
    EXPECT_FALSE(queue.push_back(34));
}

TEST(SyncQueue, DoesNotTakeARefusedItem) {
    SyncQueue<std::unique_ptr<int>> queue(1);
    EXPECT_TRUE(queue.push_back(std::make_unique<int>(1)));
    auto refused = std::make_unique<int>(2);
    EXPECT_FALSE(queue.push_back(std::move(refused)));
    ASSERT_NE(refused, nullptr);  // that it stays is the contract
    EXPECT_EQ(*refused, 2);       // NOLINT(bugprone-use-after-move)
}

TEST(SyncQueue, OfCapacityZeroRefusesEverything) {
    SyncQueue<int> queue(0);
    EXPECT_FALSE(queue.push_back(1));
}

TEST(SyncQueue, MovesTheItemOut) {
    SyncQueue<std::shared_ptr<int>> queue(1);
    const auto message = std::make_shared<int>(7);
    EXPECT_TRUE(queue.push_back(message));
    EXPECT_EQ(message.use_count(), 2);
    std::shared_ptr<int> item;
    EXPECT_TRUE(queue.pop_front(item, 0ns));
    EXPECT_EQ(item, message);
    EXPECT_EQ(message.use_count(), 2);
}

TEST(SyncQueue, LeavesTheItemUntouchedWhenNoneComes) {
    SyncQueue<int> queue(1);
    int item = 99;
    EXPECT_FALSE(queue.pop_front(item, 0ns));
    EXPECT_FALSE(queue.pop_front(item, 1ms));
    EXPECT_FALSE(queue.pop_front(item, -1s));
    EXPECT_EQ(item, 99);
}

TEST(SyncQueue, StillTestsTheQueueWithATimeoutOfZero) {
    SyncQueue<int> queue(1);
    EXPECT_TRUE(queue.push_back(5));
    int item = 0;
    EXPECT_TRUE(queue.pop_front(item, 0ns));
    EXPECT_EQ(item, 5);
}

TEST(SyncQueue, WaitsTheWholeTimeoutOnTheSteadyClockWhenEmpty) {
    SyncQueue<int> queue(1);
    int item = 0;
    const auto start = Clock::now();
    EXPECT_FALSE(queue.pop_front(item, 200ms));
    EXPECT_GE(Clock::now() - start, 200ms);
}

TEST(SyncQueue, WakesAConsumerThatWaitsForEver) {
    SyncQueue<int> queue(1);
    auto consumer = std::async(std::launch::async, [&queue] {
        int item = 0;
        EXPECT_TRUE(queue.pop_front(item, std::chrono::nanoseconds::max()));
        return item;
    });
    EXPECT_TRUE(queue.push_back(8));
    ASSERT_EQ(consumer.wait_for(30s), std::future_status::ready);
    EXPECT_EQ(consumer.get(), 8);
}

TEST(SyncQueue, ClearDestroysAllItems) {
    SyncQueue<std::shared_ptr<int>> queue(2);
    const auto message = std::make_shared<int>(7);
    EXPECT_TRUE(queue.push_back(message));
    EXPECT_TRUE(queue.push_back(message));
    queue.clear();
    EXPECT_EQ(message.use_count(), 1);

    std::shared_ptr<int> item;
    EXPECT_FALSE(queue.pop_front(item, 0ns));
    EXPECT_TRUE(queue.push_back(message)) << "a cleared queue has room again";
}

TEST(SyncQueue, ClearDoesNotWakeAConsumer) {
    SyncQueue<int> queue(1);
    auto consumer = std::async(std::launch::async, [&queue] {
        int item = 0;
        const auto start = Clock::now();
        EXPECT_FALSE(queue.pop_front(item, 100ms));
        return Clock::now() - start;
    });
    while (consumer.wait_for(1ms) != std::future_status::ready) {
        queue.clear();
    }
    EXPECT_GE(consumer.get(), 100ms);
}

TEST(SyncQueue, LetsAnItemsDestructorUseTheQueueDuringClear) {
    struct Item {
        SyncQueue<std::shared_ptr<Item>>& queue;
        explicit Item(SyncQueue<std::shared_ptr<Item>>& owner) : queue(owner) {}
        Item(const Item&) = delete;
        Item& operator=(const Item&) = delete;
        ~Item() {
            std::shared_ptr<Item> other;
            EXPECT_FALSE(queue.pop_front(other, 0ns));
        }
    };
    SyncQueue<std::shared_ptr<Item>> queue(1);
    EXPECT_TRUE(queue.push_back(std::make_shared<Item>(queue)));
    queue.clear();
}

TEST(SyncQueue, HandsEachItemToExactlyOneOfManyConsumers) {
    constexpr int producers = 3;
    constexpr int consumers = 3;
    constexpr int itemsEach = 2000;
    SyncQueue<int> queue(16);
    std::atomic<bool> stop{false};
    std::vector<std::vector<int>> received(consumers);

    std::vector<std::thread> takers;
    for (int c = 0; c < consumers; ++c) {
        takers.emplace_back([&queue, &stop, &mine = received[static_cast<std::size_t>(c)]] {
            int item = 0;
            for (;;) {
                const bool last = stop;  // read first: what was pushed before the flag is taken
                if (queue.pop_front(item, 5ms)) {
                    mine.push_back(item);
                } else if (last) {
                    return;
                }
            }
        });
    }
    std::vector<std::thread> givers;
    for (int p = 0; p < producers; ++p) {
        givers.emplace_back([&queue, p] {
            for (int i = 0; i < itemsEach; ++i) {
                while (!queue.push_back(p * itemsEach + i)) {
                    std::this_thread::yield();
                }
            }
        });
    }
    for (std::thread& giver : givers) {
        giver.join();
    }
    stop = true;
    for (std::thread& taker : takers) {
        taker.join();
    }

    std::vector<int> seen(producers * itemsEach, 0);
    for (const std::vector<int>& mine : received) {
        for (const int item : mine) {
            ++seen[static_cast<std::size_t>(item)];
        }
    }
    EXPECT_THAT(seen, testing::Each(1));
}
