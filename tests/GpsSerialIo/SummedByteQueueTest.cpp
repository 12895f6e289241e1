#include <deque>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "GpsSerialIo/SummedByteQueue.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes noise(std::mt19937& random, std::size_t length) {
    Bytes bytes(length);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random());
    }
    return bytes;
}

std::uint16_t naiveSum(const SummedByteQueue& queue, std::size_t from, std::size_t to) {
    unsigned sum = 0;
    for (std::size_t i = from; i < to; i += 2) {
        sum += queue.data()[i] + queue.data()[i + 1] * 256U;
    }
    return static_cast<std::uint16_t>(sum);
}

TEST(SummedByteQueue, StartsEmptyWithoutMemory) {
    const SummedByteQueue queue;
    EXPECT_EQ(queue.size(), 0U);
    EXPECT_EQ(queue.capacity(), 0U);
}

TEST(SummedByteQueue, AppendingNothingIsAllowed) {
    SummedByteQueue queue;
    queue.append(nullptr, 0);
    EXPECT_EQ(queue.size(), 0U);
}

TEST(SummedByteQueue, KeepsBytesInOrderOverAnySequenceOfAppendsAndDrops) {
    std::mt19937 random(1);
    SummedByteQueue queue;
    std::deque<unsigned char> expected;
    for (int i = 0; i < 20000; ++i) {
        const Bytes bytes = noise(random, random() % 300);
        queue.append(bytes.data(), bytes.size());
        expected.insert(expected.end(), bytes.begin(), bytes.end());
        const std::size_t dropped = std::min<std::size_t>(random() % 320, expected.size());
        queue.drop(dropped);
        expected.erase(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(dropped));
        ASSERT_EQ(queue.size(), expected.size());
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), queue.data())) << i;
    }
}

TEST(SummedByteQueue, SumsWindowsOfBothParitiesWithAndWithoutRunningSums) {
    std::mt19937 random(2);
    SummedByteQueue queue;
    for (int i = 0; i < 20000; ++i) {
        const Bytes bytes = noise(random, random() % 100);
        queue.append(bytes.data(), bytes.size());
        if (queue.size() >= 2 && random() % 4 == 0) {
            queue.keepRunningSums(2 + random() % (queue.size() - 1));
        }
        for (int j = 0; j < 3; ++j) {
            const std::size_t from = queue.size() == 0 ? 0 : random() % queue.size();
            const std::size_t words = random() % ((queue.size() - from) / 2 + 1);
            const std::size_t to = from + 2 * words;
            ASSERT_EQ(queue.sumOfWords(from, to), naiveSum(queue, from, to)) << i;
        }
        queue.drop(std::min<std::size_t>(random() % 104, queue.size()));
    }
}

TEST(SummedByteQueue, MemoryStaysSmallWhileAppendedBytesAreDropped) {
    SummedByteQueue queue;
    const Bytes piece(128, 0x5A);
    for (int i = 0; i < 10000; ++i) {
        queue.append(piece.data(), piece.size());
        queue.drop(piece.size());
    }
    EXPECT_LE(queue.capacity(), 4096U);
}

TEST(SummedByteQueue, GivesMemoryBackAfterMuchWasPending) {
    SummedByteQueue queue;
    const Bytes piece(128, 0x5A);
    for (int i = 0; i < 1000; ++i) {
        queue.append(piece.data(), piece.size());
    }
    EXPECT_LE(queue.capacity(), 3 * queue.size());
    queue.drop(queue.size());
    for (int i = 0; i < 10000; ++i) {
        queue.append(piece.data(), piece.size());
        queue.drop(piece.size());
    }
    EXPECT_LE(queue.capacity(), 4096U);
}

TEST(SummedByteQueue, ClearRemovesEverythingAndGivesTheMemoryBack) {
    SummedByteQueue queue;
    const Bytes bytes(70000, 0x5A);
    queue.append(bytes.data(), bytes.size());
    queue.keepRunningSums(bytes.size());
    queue.clear();
    EXPECT_EQ(queue.size(), 0U);
    EXPECT_EQ(queue.capacity(), 0U);
    const Bytes more{1, 2, 3, 4};
    queue.append(more.data(), more.size());
    EXPECT_EQ(queue.sumOfWords(0, 4), 0x0604);
}

}  // namespace
