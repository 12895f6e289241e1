#include <cstring>
#include <memory>
#include <string>

#include "gtest/gtest.h"
#include "messages/WireText.h"

namespace {

/// A field on the heap of exactly its width, so that AddressSanitizer sees a byte too far.
class Field {
public:
    explicit Field(const std::string& content)
        : width(content.size()), bytes(new char[content.size()]) {
        std::memcpy(bytes.get(), content.data(), width);
    }
    std::string content() const { return {bytes.get(), width}; }

    const std::size_t width;
    const std::unique_ptr<char[]> bytes;
};

/// A field in which each byte is 0xEE.
Field untouched(std::size_t width) {
    return Field(std::string(width, '\xEE'));
}

TEST(WireText, ExchangesTheTwoBytesOfEachWord) {
    const Field field("ABCD");
    wiretext::swapPairs(field.bytes.get(), field.width);
    EXPECT_EQ("BADC", field.content());
}

TEST(WireText, LeavesTheLastByteOfAnOddWidthInItsPlace) {
    const Field field("ABC");
    wiretext::swapPairs(field.bytes.get(), field.width);
    EXPECT_EQ("BAC", field.content());
}

TEST(WireText, SwapsNothingInAFieldOfNoWidthOrOneByte) {
    const Field one("A");
    wiretext::swapPairs(one.bytes.get(), 1);
    EXPECT_EQ("A", one.content());
    wiretext::swapPairs(nullptr, 0);
}

TEST(WireText, ReadsUpToTheFirstNul) {
    const Field field(std::string("AB\0CD\0", 6));
    EXPECT_EQ("AB", wiretext::get(field.bytes.get(), field.width));
}

TEST(WireText, ReadsAFieldWithoutTerminatorToItsWidth) {
    const Field field("ABCD");
    EXPECT_EQ("ABCD", wiretext::get(field.bytes.get(), field.width));
}

TEST(WireText, ReadsNothingFromAFieldThatBeginsWithNul) {
    const Field field(std::string("\0BCD", 4));
    EXPECT_EQ("", wiretext::get(field.bytes.get(), field.width));
}

TEST(WireText, ReadsSwappedTextUpToTheFirstNul) {
    const Field field(std::string("BADC\0E", 6));  // ABCD, E, NUL
    EXPECT_EQ("ABCDE", wiretext::getSwapped(field.bytes.get(), field.width));
}

TEST(WireText, LooksForTheNulAfterTheSwapAndNotBefore) {
    const Field field(std::string("B\0DC", 4));  // NUL, B, C, D
    EXPECT_EQ("", wiretext::getSwapped(field.bytes.get(), field.width));
}

TEST(WireText, ReadsSwappedTextWithoutTerminatorToItsWidth) {
    const Field even("BADC");
    EXPECT_EQ("ABCD", wiretext::getSwapped(even.bytes.get(), even.width));
    const Field odd("BADCE");
    EXPECT_EQ("ABCDE", wiretext::getSwapped(odd.bytes.get(), odd.width));
}

TEST(WireText, ReadsAnEmptyTextFromAFieldOfNoWidth) {
    EXPECT_EQ("", wiretext::get("", 0));
    EXPECT_EQ("", wiretext::getSwapped("", 0));
}

TEST(WireText, PadsAShortTextWithBlanks) {
    const Field field = untouched(6);
    wiretext::set(field.bytes.get(), field.width, "ABC");
    EXPECT_EQ("ABC   ", field.content());
}

TEST(WireText, CutsALongTextAtTheWidth) {
    const Field field = untouched(4);
    wiretext::set(field.bytes.get(), field.width, "ABCDEFGH");
    EXPECT_EQ("ABCD", field.content());
}

TEST(WireText, FillsAFieldWithBlanksForAnEmptyText) {
    const Field field = untouched(4);
    wiretext::setSwapped(field.bytes.get(), field.width, {});
    EXPECT_EQ("    ", field.content());
}

TEST(WireText, PadsWithBlanksBeforeItSwaps) {
    const Field field = untouched(6);
    wiretext::setSwapped(field.bytes.get(), field.width, "ABC");
    EXPECT_EQ("BA C  ", field.content());
}

TEST(WireText, SwapsATextOfTheFieldsWidth) {
    const Field field = untouched(4);
    wiretext::setSwapped(field.bytes.get(), field.width, "ABCDE");
    EXPECT_EQ("BADC", field.content());
}

TEST(WireText, TouchesNoByteOutsideTheField) {
    const Field memory = untouched(8);
    wiretext::setSwapped(memory.bytes.get() + 1, 4, "ABCD");  // any alignment
    EXPECT_EQ(
        "\xEE"
        "BADC\xEE\xEE\xEE",
        memory.content());
}

}  // namespace
