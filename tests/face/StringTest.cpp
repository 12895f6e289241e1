#include <array>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "face/String.h"
#include "tests/face/FailingAllocation.h"

using FACE::String;

namespace {

/// A view with room: 8 characters and a terminator, all 0xEE where nothing was written.
class BufferView : public testing::Test {
protected:
    BufferView() {
        buffer.fill('\xEE');
        std::memcpy(buffer.data(), "abc", 3);
    }
    std::array<char, 10> buffer{};
    String::RETURN_CODE code = String::INSUFFICIENT_MEMORY;
};

String Managed(char const* text, std::uint32_t bound) {
    String::RETURN_CODE code = String::NO_ERROR;
    String string(bound, code);
    EXPECT_EQ(string.append(String(text)), String::NO_ERROR);
    return string;
}

void ExpectInvalid(String const& string) {
    EXPECT_FALSE(string.is_valid());
    EXPECT_FALSE(string.is_managed());
    EXPECT_FALSE(string.is_bounded());
    EXPECT_EQ(string.length(), 0U);
    EXPECT_EQ(string.capacity(), 0U);
    EXPECT_EQ(string.bound(), 0U);
    EXPECT_EQ(string.buffer(), nullptr);
    EXPECT_EQ(string[0], nullptr);
    EXPECT_EQ(FACE::ToStdString(string), "");
}

}  // namespace

TEST(String, ReturnCodesHaveTheirNumbers) {
    EXPECT_EQ(String::NO_ERROR, 0);
    EXPECT_EQ(String::INSUFFICIENT_BOUND, 1);
    EXPECT_EQ(String::INSUFFICIENT_MEMORY, 2);
    EXPECT_EQ(String::PRECONDITION_VIOLATED, 3);
}

TEST(String, DefaultIsUnboundedManagedValidAndEmpty) {
    String string;
    EXPECT_TRUE(string.is_valid());
    EXPECT_TRUE(string.is_managed());
    EXPECT_FALSE(string.is_bounded());
    EXPECT_EQ(string.bound(), 0xFFFFFFFFU);
    EXPECT_EQ(string.length(), 0U);
    EXPECT_EQ(string.capacity(), 15U);
    EXPECT_STREQ(string.buffer(), "");
}

TEST(String, BoundedIsManagedAndEmpty) {
    String::RETURN_CODE code = String::PRECONDITION_VIOLATED;
    String string(4, code);
    EXPECT_EQ(code, String::NO_ERROR);
    EXPECT_TRUE(string.is_managed());
    EXPECT_TRUE(string.is_bounded());
    EXPECT_EQ(string.bound(), 4U);
    EXPECT_EQ(string.length(), 0U);
}

TEST(String, ABoundOfZeroIsRefused) {
    String::RETURN_CODE code = String::NO_ERROR;
    String string(0U, code);
    EXPECT_EQ(code, String::PRECONDITION_VIOLATED);
    ExpectInvalid(string);
}

TEST(String, TheUnboundedNumberAsBoundIsRefused) {
    String::RETURN_CODE code = String::NO_ERROR;
    String string(0xFFFFFFFFU, code);
    EXPECT_EQ(code, String::PRECONDITION_VIOLATED);
    ExpectInvalid(string);
}

TEST(String, CopyOfACStringIsManagedAndBoundedByItsLength) {
    std::array<char, 4> text{"abc"};
    String::RETURN_CODE code = String::PRECONDITION_VIOLATED;
    String string(text.data(), code);
    text[0] = 'x';
    EXPECT_EQ(code, String::NO_ERROR);
    EXPECT_TRUE(string.is_managed());
    EXPECT_EQ(string.bound(), 3U);
    EXPECT_STREQ(string.buffer(), "abc");
}

TEST(String, CopyOfANullCStringIsRefused) {
    String::RETURN_CODE code = String::NO_ERROR;
    String string(static_cast<char const*>(nullptr), code);
    EXPECT_EQ(code, String::PRECONDITION_VIOLATED);
    ExpectInvalid(string);
}

TEST(String, CopyOfACStringWithoutMemoryIsInvalid) {
    std::string const text(100, 'a');
    String::RETURN_CODE code = String::NO_ERROR;
    {
        FailingAllocation none;
        String string(text.c_str(), code);
        ExpectInvalid(string);
    }
    EXPECT_EQ(code, String::INSUFFICIENT_MEMORY);
}

TEST_F(BufferView, IsUnmanagedAndPutsAZeroBehindTheText) {
    String string(buffer.data(), 3, 8, code);
    EXPECT_EQ(code, String::NO_ERROR);
    EXPECT_TRUE(string.is_valid());
    EXPECT_FALSE(string.is_managed());
    EXPECT_TRUE(string.is_bounded());
    EXPECT_EQ(string.bound(), 8U);
    EXPECT_EQ(string.capacity(), 8U);
    EXPECT_EQ(string.length(), 3U);
    EXPECT_EQ(string.buffer(), buffer.data());
    EXPECT_EQ(buffer[3], '\0');
    EXPECT_EQ(buffer[4], '\xEE');
}

TEST_F(BufferView, MayBeFull) {
    String string(buffer.data(), 8, 8, code);
    EXPECT_EQ(code, String::NO_ERROR);
    EXPECT_EQ(string.length(), 8U);
    EXPECT_EQ(buffer[8], '\0');
    EXPECT_EQ(buffer[9], '\xEE');
}

TEST_F(BufferView, OfANullBufferIsRefused) {
    ExpectInvalid(String(nullptr, 3, 8, code));
    EXPECT_EQ(code, String::PRECONDITION_VIOLATED);
}

TEST_F(BufferView, OfABoundOfZeroIsRefused) {
    ExpectInvalid(String(buffer.data(), 0, 0, code));
    EXPECT_EQ(code, String::PRECONDITION_VIOLATED);
    EXPECT_EQ(buffer[0], 'a');
}

TEST_F(BufferView, OfTheUnboundedNumberIsRefused) {
    ExpectInvalid(String(buffer.data(), 3, 0xFFFFFFFFU, code));
    EXPECT_EQ(code, String::PRECONDITION_VIOLATED);
    EXPECT_EQ(buffer[3], '\xEE');
}

TEST_F(BufferView, LongerThanItsBoundIsRefusedAndTheBufferUntouched) {
    ExpectInvalid(String(buffer.data(), 4, 3, code));
    EXPECT_EQ(code, String::PRECONDITION_VIOLATED);
    EXPECT_EQ(buffer[3], '\xEE');
    EXPECT_EQ(buffer[4], '\xEE');
}

TEST(String, OfACStringIsAViewBoundedByItsLength) {
    char const* text = "abc";
    String const string(text);
    EXPECT_TRUE(string.is_valid());
    EXPECT_FALSE(string.is_managed());
    EXPECT_TRUE(string.is_bounded());
    EXPECT_EQ(string.bound(), 3U);
    EXPECT_EQ(string.length(), 3U);
    EXPECT_EQ(string.capacity(), 3U);
    EXPECT_EQ(string.buffer(), text);
}

TEST(String, OfAnEmptyCStringIsValid) {
    String const string("");
    EXPECT_TRUE(string.is_valid());
    EXPECT_EQ(string.bound(), 0U);
    EXPECT_EQ(string.length(), 0U);
    EXPECT_STREQ(string.buffer(), "");
}

TEST(String, OfANullCStringReadsAsEmptyAndRefusesAppends) {
    String string(static_cast<char const*>(nullptr));
    ExpectInvalid(string);
    EXPECT_EQ(string.append(String("a")), String::PRECONDITION_VIOLATED);
    EXPECT_EQ(string.append('a'), String::PRECONDITION_VIOLATED);
    ExpectInvalid(string);
}

TEST(String, AViewOfALiteralIsNeverWrittenTo) {
    String string("abc");
    EXPECT_EQ(string.append('d'), String::INSUFFICIENT_BOUND);
    EXPECT_EQ(string.append(String("d")), String::INSUFFICIENT_BOUND);
    EXPECT_EQ(string.append(String("")), String::NO_ERROR);
    string.clear();
    EXPECT_EQ(string.append('d'), String::INSUFFICIENT_BOUND);
    EXPECT_EQ(string.append(String("d")), String::INSUFFICIENT_BOUND);
    EXPECT_EQ(string.length(), 0U);
}

TEST(String, ClearOfAViewOfALiteralPointsItAtAnEmptyText) {
    char const* text = "abc";
    String string(text);
    string.clear();
    EXPECT_TRUE(string.is_valid());
    EXPECT_EQ(string.length(), 0U);
    EXPECT_STREQ(string.buffer(), "");
    EXPECT_STREQ(text, "abc");
}

TEST(String, ClearOfAManagedStringKeepsItsBound) {
    String string = Managed("abc", 5);
    string.clear();
    EXPECT_EQ(string.length(), 0U);
    EXPECT_STREQ(string.buffer(), "");
    EXPECT_EQ(string.bound(), 5U);
}

TEST_F(BufferView, ClearPutsAZeroAtItsStart) {
    String string(buffer.data(), 3, 8, code);
    string.clear();
    EXPECT_EQ(string.length(), 0U);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], 'b');
    EXPECT_EQ(string.bound(), 8U);
}

TEST(String, ClearLeavesAnInvalidStringAlone) {
    String string(static_cast<char const*>(nullptr));
    string.clear();
    ExpectInvalid(string);
}

TEST_F(BufferView, CopyIsManagedWithTheBoundOfTheView) {
    String string(buffer.data(), 3, 8, code);
    String const copy(string);
    buffer[0] = 'x';
    EXPECT_TRUE(copy.is_managed());
    EXPECT_EQ(copy.bound(), 8U);
    EXPECT_STREQ(copy.buffer(), "abc");
}

TEST(String, CopyOfAManagedStringHasItsTextAndBound) {
    String const source = Managed("abc", 5);
    String const copy(source);
    EXPECT_TRUE(copy.is_managed());
    EXPECT_EQ(copy.bound(), 5U);
    EXPECT_STREQ(copy.buffer(), "abc");
}

TEST(String, CopyOfAnInvalidStringIsInvalid) {
    String const invalid(static_cast<char const*>(nullptr));
    ExpectInvalid(String(invalid));
}

TEST(String, CopyWithoutMemoryIsInvalid) {
    String::RETURN_CODE code = String::NO_ERROR;
    String const string(std::string(100, 'a').c_str(), code);
    FailingAllocation none;
    String const copy(string);
    ExpectInvalid(copy);
}

TEST_F(BufferView, AssignedToAnyTargetLeavesItManagedWithItsOwnText) {
    std::array<char, 5> other{"zzzz"};
    String view(buffer.data(), 3, 8, code);
    String managed = Managed("yy", 2);
    String unmanaged(other.data(), 2, 4, code);
    String invalid(static_cast<char const*>(nullptr));
    for (String* target : {&managed, &unmanaged, &invalid}) {
        *target = view;
    }
    buffer[0] = 'x';
    for (String* target : {&managed, &unmanaged, &invalid}) {
        EXPECT_TRUE(target->is_valid());
        EXPECT_TRUE(target->is_managed());
        EXPECT_EQ(target->bound(), 8U);
        EXPECT_STREQ(target->buffer(), "abc");
    }
    EXPECT_STREQ(other.data(), "zz");
}

TEST_F(BufferView, AssignedToItselfBecomesManaged) {
    String view(buffer.data(), 3, 8, code);
    String const& same = view;
    view = same;
    buffer[0] = 'x';
    EXPECT_TRUE(view.is_managed());
    EXPECT_STREQ(view.buffer(), "abc");
}

TEST(String, AManagedStringAssignedToItselfStays) {
    String string = Managed("abc", 5);
    String const& same = string;
    string = same;
    EXPECT_STREQ(string.buffer(), "abc");
    EXPECT_EQ(string.bound(), 5U);
}

TEST(String, AssigningAnInvalidStringMakesTheTargetInvalid) {
    String string = Managed("abc", 5);
    string = String(static_cast<char const*>(nullptr));
    ExpectInvalid(string);
}

TEST(String, AssigningWithoutMemoryMakesTheTargetInvalid) {
    String::RETURN_CODE code = String::NO_ERROR;
    String const source(std::string(100, 'a').c_str(), code);
    String target;
    {
        FailingAllocation none;
        target = source;
    }
    ExpectInvalid(target);
}

TEST(String, BufferCanBeWrittenInPlace) {
    String string = Managed("abc", 5);
    string.buffer()[1] = 'x';
    *string[2] = 'y';
    EXPECT_STREQ(string.buffer(), "axy");
}

TEST(String, IndexPastTheEndGivesTheTerminator) {
    String string = Managed("abc", 5);
    String const& constant = string;
    EXPECT_EQ(*string[1], 'b');
    EXPECT_EQ(string[3], string.buffer() + 3);
    EXPECT_EQ(string[1000000], string.buffer() + 3);
    EXPECT_EQ(constant[0xFFFFFFFFU], constant.buffer() + 3);
    EXPECT_EQ(*constant[0xFFFFFFFFU], '\0');
}

TEST_F(BufferView, IndexPastTheEndGivesTheTerminatorInTheBuffer) {
    String const string(buffer.data(), 3, 8, code);
    EXPECT_EQ(string[7], buffer.data() + 3);
}

TEST(String, AppendReachesTheBoundAndNotBeyond) {
    String string = Managed("abc", 4);
    EXPECT_EQ(string.append('d'), String::NO_ERROR);
    EXPECT_EQ(string.append('e'), String::INSUFFICIENT_BOUND);
    EXPECT_STREQ(string.buffer(), "abcd");
    EXPECT_EQ(string.length(), 4U);
}

TEST(String, AppendOfAStringReachesTheBoundAndNotBeyond) {
    String string = Managed("abc", 5);
    EXPECT_EQ(string.append(String("def")), String::INSUFFICIENT_BOUND);
    EXPECT_STREQ(string.buffer(), "abc");
    EXPECT_EQ(string.append(String("de")), String::NO_ERROR);
    EXPECT_STREQ(string.buffer(), "abcde");
}

TEST(String, AppendOfAnInvalidStringIsRefused) {
    String string = Managed("abc", 5);
    EXPECT_EQ(string.append(String(static_cast<char const*>(nullptr))),
              String::PRECONDITION_VIOLATED);
    EXPECT_STREQ(string.buffer(), "abc");
}

TEST(String, AppendOfAnEmptyStringChangesNothing) {
    String string = Managed("abc", 3);
    EXPECT_EQ(string.append(String()), String::NO_ERROR);
    EXPECT_STREQ(string.buffer(), "abc");
}

TEST(String, AppendToAnUnboundedStringGrowsIt) {
    String string;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(string.append(String("0123456789")), String::NO_ERROR);
    }
    EXPECT_EQ(string.length(), 10000U);
    EXPECT_GE(string.capacity(), 10000U);
    EXPECT_FALSE(string.is_bounded());
}

TEST(String, AppendWithoutMemoryIsRefused) {
    String::RETURN_CODE code = String::NO_ERROR;
    String const tail(std::string(100, 'a').c_str(), code);
    String string;
    FailingAllocation none;
    EXPECT_EQ(string.append(tail), String::INSUFFICIENT_MEMORY);
    EXPECT_EQ(string.length(), 0U);
    EXPECT_TRUE(string.is_valid());
}

TEST(String, AppendToItselfDoublesAManagedString) {
    String string = Managed("abc", 6);
    EXPECT_EQ(string.append(string), String::NO_ERROR);
    EXPECT_STREQ(string.buffer(), "abcabc");
    EXPECT_EQ(string.append(string), String::INSUFFICIENT_BOUND);
}

TEST_F(BufferView, AppendWritesInPlaceWithAZeroBehind) {
    String string(buffer.data(), 3, 8, code);
    EXPECT_EQ(string.append(String("de")), String::NO_ERROR);
    EXPECT_STREQ(buffer.data(), "abcde");
    EXPECT_EQ(buffer[6], '\xEE');
    EXPECT_EQ(string.append('f'), String::NO_ERROR);
    EXPECT_STREQ(buffer.data(), "abcdef");
    EXPECT_EQ(string.length(), 6U);
}

TEST_F(BufferView, AppendReachesTheBoundAndNotBeyond) {
    String string(buffer.data(), 3, 8, code);
    EXPECT_EQ(string.append(String("defghi")), String::INSUFFICIENT_BOUND);
    EXPECT_EQ(string.append(String("defgh")), String::NO_ERROR);
    EXPECT_EQ(string.append('i'), String::INSUFFICIENT_BOUND);
    EXPECT_STREQ(buffer.data(), "abcdefgh");
    EXPECT_EQ(buffer[9], '\xEE');
}

TEST_F(BufferView, AppendToItselfIsSafe) {
    String string(buffer.data(), 3, 8, code);
    EXPECT_EQ(string.append(string), String::NO_ERROR);
    EXPECT_STREQ(buffer.data(), "abcabc");
}

TEST_F(BufferView, AppendOfATextThatOverlapsTheEndIsSafe) {
    std::memcpy(buffer.data(), "abcdef", 6);
    String const tail(buffer.data() + 2, 4, 4, code);  // "cdef", partly where it is going to
    String string(buffer.data(), 4, 8, code);          // "abcd", the zero falls on the 'e'
    EXPECT_EQ(string.append(tail), String::NO_ERROR);
    EXPECT_EQ(string.length(), 8U);
    EXPECT_EQ(std::memcmp(buffer.data(), "abcdcd\0f", 9), 0);
}

TEST(String, ToStdStringKeepsEmbeddedZeros) {
    String string = Managed("ab", 5);
    EXPECT_EQ(string.append('\0'), String::NO_ERROR);
    EXPECT_EQ(string.append('c'), String::NO_ERROR);
    EXPECT_EQ(FACE::ToStdString(string), std::string("ab\0c", 4));
}
