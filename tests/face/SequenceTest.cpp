#include <array>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "face/Sequence.h"
#include "face/String.h"
#include "tests/face/FailingAllocation.h"

namespace {

using Octets = FACE::Sequence<std::uint8_t>;

class SequenceView : public testing::Test {
protected:
    SequenceView() { buffer.fill(0xEE); }
    std::array<std::uint8_t, 6> buffer{};
    Octets::RETURN_CODE code = Octets::INSUFFICIENT_MEMORY;
};

std::vector<int> Elements(Octets const& sequence) {
    return {sequence.begin(), sequence.end()};
}

void ExpectInvalid(Octets& sequence) {
    EXPECT_FALSE(sequence.is_valid());
    EXPECT_FALSE(sequence.is_managed());
    EXPECT_FALSE(sequence.is_bounded());
    EXPECT_EQ(sequence.length(), 0U);
    EXPECT_EQ(sequence.capacity(), 0U);
    EXPECT_EQ(sequence.bound(), 0U);
    EXPECT_EQ(sequence.buffer(), nullptr);
    EXPECT_EQ(sequence[0], nullptr);
    EXPECT_EQ(sequence.append(1), Octets::PRECONDITION_VIOLATED);
    EXPECT_EQ(sequence.resize(0), Octets::PRECONDITION_VIOLATED);
    EXPECT_EQ(sequence.set_length(0), Octets::PRECONDITION_VIOLATED);
    sequence.clear();
    EXPECT_FALSE(sequence.is_valid());
}

}  // namespace

TEST(Sequence, DefaultIsUnboundedManagedValidAndEmpty) {
    Octets sequence;
    EXPECT_TRUE(sequence.is_valid());
    EXPECT_TRUE(sequence.is_managed());
    EXPECT_FALSE(sequence.is_bounded());
    EXPECT_EQ(sequence.bound(), 0xFFFFFFFFU);
    EXPECT_EQ(sequence.length(), 0U);
    EXPECT_EQ(sequence.capacity(), 0U);
}

TEST(Sequence, ABoundOfZeroIsRefused) {
    Octets::RETURN_CODE code = Octets::NO_ERROR;
    Octets sequence(0U, code);
    EXPECT_EQ(code, Octets::PRECONDITION_VIOLATED);
    ExpectInvalid(sequence);
}

TEST(Sequence, TheUnboundedNumberAsBoundIsRefused) {
    Octets::RETURN_CODE code = Octets::NO_ERROR;
    Octets sequence(0xFFFFFFFFU, code);
    EXPECT_EQ(code, Octets::PRECONDITION_VIOLATED);
    ExpectInvalid(sequence);
}

TEST(Sequence, AppendReachesTheBoundAndNotBeyond) {
    Octets::RETURN_CODE code = Octets::PRECONDITION_VIOLATED;
    Octets sequence(2, code);
    EXPECT_EQ(code, Octets::NO_ERROR);
    EXPECT_EQ(sequence.append(1), Octets::NO_ERROR);
    EXPECT_EQ(sequence.append(2), Octets::NO_ERROR);
    EXPECT_EQ(sequence.append(3), Octets::INSUFFICIENT_BOUND);
    EXPECT_EQ(Elements(sequence), (std::vector<int>{1, 2}));
}

TEST(Sequence, CopyOfAnArrayIsManagedAndAsLongAsItsBound) {
    std::vector<std::uint8_t> array(131072, 7);
    Octets::RETURN_CODE code = Octets::PRECONDITION_VIOLATED;
    Octets const sequence(static_cast<std::uint8_t const*>(array.data()), 131072, code);
    array[0] = 8;
    EXPECT_EQ(code, Octets::NO_ERROR);
    EXPECT_TRUE(sequence.is_managed());
    EXPECT_EQ(sequence.length(), 131072U);
    EXPECT_EQ(sequence.bound(), 131072U);
    EXPECT_EQ(*sequence[0], 7);
    EXPECT_EQ(*sequence[131071], 7);
    EXPECT_EQ(sequence[131072], nullptr);
}

TEST(Sequence, CopyOfANullArrayIsRefused) {
    Octets::RETURN_CODE code = Octets::NO_ERROR;
    Octets sequence(static_cast<std::uint8_t const*>(nullptr), 3, code);
    EXPECT_EQ(code, Octets::PRECONDITION_VIOLATED);
    ExpectInvalid(sequence);
}

TEST(Sequence, CopyOfAnArrayWithoutMemoryIsInvalid) {
    std::array<std::uint8_t, 3> const array{1, 2, 3};
    Octets::RETURN_CODE code = Octets::NO_ERROR;
    FailingAllocation none;
    Octets sequence(array.data(), 3, code);
    EXPECT_EQ(code, Octets::INSUFFICIENT_MEMORY);
    EXPECT_FALSE(sequence.is_valid());
}

TEST_F(SequenceView, IsUnmanagedAndLeavesTheBufferAlone) {
    Octets sequence(buffer.data(), 2, 5, code);
    EXPECT_EQ(code, Octets::NO_ERROR);
    EXPECT_TRUE(sequence.is_valid());
    EXPECT_FALSE(sequence.is_managed());
    EXPECT_TRUE(sequence.is_bounded());
    EXPECT_EQ(sequence.bound(), 5U);
    EXPECT_EQ(sequence.capacity(), 5U);
    EXPECT_EQ(sequence.length(), 2U);
    EXPECT_EQ(sequence.buffer(), buffer.data());
    for (std::uint8_t const byte : buffer) {
        EXPECT_EQ(byte, 0xEE);
    }
}

TEST_F(SequenceView, OfANullBufferIsRefused) {
    Octets sequence(static_cast<std::uint8_t*>(nullptr), 0, 5, code);
    EXPECT_EQ(code, Octets::PRECONDITION_VIOLATED);
    ExpectInvalid(sequence);
}

TEST_F(SequenceView, OfABoundOfZeroIsRefused) {
    Octets sequence(buffer.data(), 0, 0, code);
    EXPECT_EQ(code, Octets::PRECONDITION_VIOLATED);
    ExpectInvalid(sequence);
}

TEST_F(SequenceView, OfTheUnboundedNumberIsRefused) {
    Octets sequence(buffer.data(), 2, 0xFFFFFFFFU, code);
    EXPECT_EQ(code, Octets::PRECONDITION_VIOLATED);
    ExpectInvalid(sequence);
}

TEST_F(SequenceView, LongerThanItsBoundIsRefused) {
    Octets sequence(buffer.data(), 6, 5, code);
    EXPECT_EQ(code, Octets::PRECONDITION_VIOLATED);
    ExpectInvalid(sequence);
}

TEST_F(SequenceView, AppendWritesInPlaceUpToTheBound) {
    Octets sequence(buffer.data(), 4, 5, code);
    EXPECT_EQ(sequence.append(1), Octets::NO_ERROR);
    EXPECT_EQ(sequence.append(2), Octets::INSUFFICIENT_BOUND);
    EXPECT_EQ(buffer[4], 1);
    EXPECT_EQ(buffer[5], 0xEE);
}

TEST_F(SequenceView, LengthMovesWithinTheBoundAndKeepsTheBytes) {
    Octets sequence(buffer.data(), 2, 5, code);
    for (std::uint32_t const length : {5U, 0U, 3U}) {
        EXPECT_EQ(sequence.set_length(length), Octets::NO_ERROR);
        EXPECT_EQ(sequence.length(), length);
    }
    EXPECT_EQ(sequence.set_length(6), Octets::INSUFFICIENT_BOUND);
    EXPECT_EQ(sequence.resize(6), Octets::INSUFFICIENT_BOUND);
    EXPECT_EQ(sequence.length(), 3U);
    EXPECT_EQ(buffer[2], 0xEE);
}

TEST_F(SequenceView, CopyIsManagedWithTheBoundOfTheView) {
    Octets const view(buffer.data(), 2, 5, code);
    Octets const copy(view);
    buffer[0] = 1;
    EXPECT_TRUE(copy.is_managed());
    EXPECT_EQ(copy.bound(), 5U);
    EXPECT_EQ(Elements(copy), (std::vector<int>{0xEE, 0xEE}));
}

TEST_F(SequenceView, AssignedToItselfBecomesManaged) {
    Octets view(buffer.data(), 2, 5, code);
    Octets const& same = view;
    view = same;
    buffer[0] = 1;
    EXPECT_TRUE(view.is_managed());
    EXPECT_EQ(Elements(view), (std::vector<int>{0xEE, 0xEE}));
}

TEST(Sequence, ReadOnlyViewDoesNotGrowAlsoAfterClear) {
    static constexpr std::array<std::uint8_t, 3> bytes{1, 2, 3};
    Octets view(bytes.data(), 3);
    EXPECT_TRUE(view.is_valid());
    EXPECT_FALSE(view.is_managed());
    EXPECT_EQ(view.bound(), 3U);
    EXPECT_EQ(view.buffer(), bytes.data());
    EXPECT_EQ(view.append(4), Octets::INSUFFICIENT_BOUND);
    view.clear();
    EXPECT_EQ(view.length(), 0U);
    EXPECT_EQ(view.append(4), Octets::INSUFFICIENT_BOUND);
}

TEST(Sequence, ReadOnlyViewMayBeEmpty) {
    static constexpr std::uint8_t byte = 1;
    Octets const view(&byte, 0);
    EXPECT_TRUE(view.is_valid());
    EXPECT_EQ(view.length(), 0U);
}

TEST(Sequence, ReadOnlyViewOfNullIsInvalid) {
    Octets view(nullptr, 3);
    ExpectInvalid(view);
}

TEST(Sequence, CopyOfAnInvalidSequenceIsInvalid) {
    Octets const invalid(nullptr, 3);
    Octets copy(invalid);
    ExpectInvalid(copy);
}

TEST(Sequence, CopyWithoutMemoryIsInvalid) {
    Octets source;
    ASSERT_EQ(source.append(1), Octets::NO_ERROR);
    FailingAllocation none;
    Octets copy(source);
    EXPECT_FALSE(copy.is_valid());
}

TEST(Sequence, AppendWithoutMemoryIsRefused) {
    Octets sequence;
    FailingAllocation none;
    EXPECT_EQ(sequence.append(1), Octets::INSUFFICIENT_MEMORY);
    EXPECT_EQ(sequence.resize(5), Octets::INSUFFICIENT_MEMORY);
    EXPECT_TRUE(sequence.is_valid());
    EXPECT_EQ(sequence.length(), 0U);
}

TEST(Sequence, SetLengthOfAManagedSequenceStaysWithinItsCapacity) {
    Octets sequence;
    ASSERT_EQ(sequence.resize(8), Octets::NO_ERROR);
    std::uint32_t const capacity = sequence.capacity();
    EXPECT_EQ(sequence.set_length(capacity + 1), Octets::INSUFFICIENT_BOUND);
    EXPECT_EQ(sequence.length(), 8U);
    EXPECT_EQ(sequence.set_length(3), Octets::NO_ERROR);
    FailingAllocation none;
    EXPECT_EQ(sequence.set_length(8), Octets::NO_ERROR);
    EXPECT_EQ(sequence.length(), 8U);
}

TEST(Sequence, ResizeOfAManagedSequenceGrowsItWithZeros) {
    Octets sequence;
    ASSERT_EQ(sequence.append(9), Octets::NO_ERROR);
    EXPECT_EQ(sequence.resize(3), Octets::NO_ERROR);
    EXPECT_EQ(Elements(sequence), (std::vector<int>{9, 0, 0}));
}

TEST(Sequence, ResizeOfAManagedSequenceStaysWithinItsBound) {
    Octets::RETURN_CODE code = Octets::NO_ERROR;
    Octets sequence(3, code);
    EXPECT_EQ(sequence.resize(4), Octets::INSUFFICIENT_BOUND);
    EXPECT_EQ(sequence.resize(3), Octets::NO_ERROR);
    EXPECT_EQ(sequence.length(), 3U);
}

TEST(Sequence, ClearKeepsTheBound) {
    Octets::RETURN_CODE code = Octets::NO_ERROR;
    Octets sequence(3, code);
    ASSERT_EQ(sequence.append(1), Octets::NO_ERROR);
    sequence.clear();
    EXPECT_EQ(sequence.length(), 0U);
    EXPECT_EQ(sequence.bound(), 3U);
}

TEST(Sequence, ElementsAreReachedAndChangedByIndexAndInALoop) {
    Octets sequence;
    for (std::uint8_t i = 1; i <= 4; ++i) {
        ASSERT_EQ(sequence.append(i), Octets::NO_ERROR);
    }
    *sequence[0] = 10;
    EXPECT_EQ(std::accumulate(sequence.begin(), sequence.end(), 0), 19);
    EXPECT_EQ(sequence[4], nullptr);
}

TEST(Sequence, HoldsElementsThatOwnMemory) {
    struct Named {
        FACE::String name;
    };
    FACE::Sequence<Named> sequence;
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(sequence.append({FACE::String("a text that is longer than fifteen")}),
                  FACE::Sequence<Named>::NO_ERROR);
    }
    FACE::Sequence<Named> const copy(sequence);
    sequence.clear();
    EXPECT_EQ(copy.length(), 100U);
    EXPECT_STREQ(copy[99]->name.buffer(), "a text that is longer than fifteen");
}
