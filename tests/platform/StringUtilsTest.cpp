#include <array>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/StringUtils.h"

using testing::ElementsAre;
using testing::IsEmpty;

TEST(StringUtils, NamesTheWhitespaceInItsOrder) {
    EXPECT_STREQ(StringUtils::WHITESPACE, " \n\r\t\f\v");
}

TEST(StringUtils, LtrimRemovesLeadingWhitespaceOnly) {
    EXPECT_EQ(StringUtils::ltrim(" \n\r\t\f\vab c \n"), "ab c \n");
    EXPECT_EQ(StringUtils::ltrim("ab"), "ab");
}

TEST(StringUtils, RtrimRemovesTrailingWhitespaceOnly) {
    EXPECT_EQ(StringUtils::rtrim(" ab c \n\r\t\f\v"), " ab c");
    EXPECT_EQ(StringUtils::rtrim("ab"), "ab");
}

TEST(StringUtils, TrimRemovesBothEnds) {
    EXPECT_EQ(StringUtils::trim("\t ab c\r\n"), "ab c");
}

TEST(StringUtils, TextOfWhitespaceAloneBecomesEmpty) {
    EXPECT_EQ(StringUtils::ltrim(" \n\r\t\f\v"), "");
    EXPECT_EQ(StringUtils::rtrim(" \n\r\t\f\v"), "");
    EXPECT_EQ(StringUtils::trim(" \n\r\t\f\v"), "");
    EXPECT_EQ(StringUtils::trim(""), "");
}

TEST(StringUtils, TrimKeepsZeroBytes) {
    const std::string text(" \0a\0 ", 5);
    EXPECT_EQ(StringUtils::trim(text), std::string("\0a\0", 3));
}

TEST(StringUtils, CstrReplaceReplacesEachCharacterOfTheSet) {
    char text[] = "a,b;c,,";
    StringUtils::cstr_replace(text, ",;", '_');
    EXPECT_STREQ(text, "a_b_c__");
}

TEST(StringUtils, CstrReplaceStandsAReplacementFromTheSet) {
    char text[] = "abba";
    StringUtils::cstr_replace(text, "ab", 'a');
    EXPECT_STREQ(text, "aaaa");
}

TEST(StringUtils, CstrReplaceLeavesTextWithoutMatchAlone) {
    char text[] = "abc";
    StringUtils::cstr_replace(text, "", '_');
    EXPECT_STREQ(text, "abc");
    StringUtils::cstr_replace(text, "xyz", '_');
    EXPECT_STREQ(text, "abc");
    char empty[] = "";
    StringUtils::cstr_replace(empty, "a", '_');
    EXPECT_STREQ(empty, "");
}

TEST(StringUtils, StrncpyProtLosesTheLastCharacterOfAFullCopy) {
    std::array<char, 5> buffer;
    buffer.fill('\xEE');
    StringUtils::strncpy_prot(buffer.data(), "abc", 3);
    EXPECT_THAT(buffer, ElementsAre('a', 'b', '\0', '\xEE', '\xEE'));
}

TEST(StringUtils, StrncpyProtFillsTheRestWithZeros) {
    std::array<char, 6> buffer;
    buffer.fill('\xEE');
    EXPECT_EQ(StringUtils::strncpy_prot(buffer.data(), "ab", 5), buffer.data());
    EXPECT_THAT(buffer, ElementsAre('a', 'b', '\0', '\0', '\0', '\xEE'));
}

TEST(StringUtils, StrncpyProtOfLengthZeroWritesNothing) {
    std::array<char, 2> buffer{'\xEE', '\xEE'};
    StringUtils::strncpy_prot(buffer.data() + 1, "abc", 0);
    EXPECT_THAT(buffer, ElementsAre('\xEE', '\xEE'));
}

TEST(StringUtils, StrncpyProtOfLengthOneLeavesAnEmptyText) {
    std::array<char, 2> buffer{'\xEE', '\xEE'};
    StringUtils::strncpy_prot(buffer.data(), "abc", 1);
    EXPECT_THAT(buffer, ElementsAre('\0', '\xEE'));
}

TEST(StringUtils, SplitToChunksLeavesTheLastPieceShorter) {
    EXPECT_THAT(StringUtils::splitToChunks("abcdefg", 3), ElementsAre("abc", "def", "g"));
    EXPECT_THAT(StringUtils::splitToChunks("abcdef", 3), ElementsAre("abc", "def"));
    EXPECT_THAT(StringUtils::splitToChunks("ab", 3), ElementsAre("ab"));
}

TEST(StringUtils, SplitToChunksOfAnEmptyTextGivesNoPiece) {
    EXPECT_THAT(StringUtils::splitToChunks("", 3), IsEmpty());
    EXPECT_THAT(StringUtils::splitToChunks("", 0), IsEmpty());
}

TEST(StringUtils, SplitToChunksOfSizeZeroLeavesTheTextInOnePiece) {
    EXPECT_THAT(StringUtils::splitToChunks("abc", 0), ElementsAre("abc"));
}

TEST(StringUtils, SplitToChunksStandsAHugeSize) {
    EXPECT_THAT(StringUtils::splitToChunks("abc", std::string::npos), ElementsAre("abc"));
}

TEST(StringUtils, SplitToChunksFillsTheVectorOfTheCaller) {
    std::vector<std::string> chunks{"old"};
    StringUtils::splitToChunks("abcd", 2, chunks);
    EXPECT_THAT(chunks, ElementsAre("ab", "cd"));
    StringUtils::splitToChunks("", 2, chunks);
    EXPECT_THAT(chunks, IsEmpty());
}

TEST(StringUtils, FindsAPartInEitherCase) {
    EXPECT_TRUE(StringUtils::containsIgnoringCase("a Word here", "wORD"));
    EXPECT_TRUE(StringUtils::containsIgnoringCase("word", "word"));
    EXPECT_TRUE(StringUtils::containsIgnoringCase("wowordrd", "WORD"));
    EXPECT_TRUE(StringUtils::containsIgnoringCase("word", ""));
    EXPECT_TRUE(StringUtils::containsIgnoringCase("", ""));
    EXPECT_FALSE(StringUtils::containsIgnoringCase("a wor", "word"));
    EXPECT_FALSE(StringUtils::containsIgnoringCase("", "word"));
}

TEST(StringUtils, TellsWhereAPartFirstStands) {
    EXPECT_EQ(2U, StringUtils::findIgnoringCase("a Word, a word", "wORD"));
    EXPECT_EQ(0U, StringUtils::findIgnoringCase("word", "WORD"));
    EXPECT_EQ(0U, StringUtils::findIgnoringCase("", ""));
    EXPECT_EQ(std::string::npos, StringUtils::findIgnoringCase("wor", "word"));
}

TEST(StringUtils, FindsNoPartThatDiffersInMoreThanTheCaseOfLetters) {
    EXPECT_FALSE(StringUtils::containsIgnoringCase("a@b", "a`b"));
    EXPECT_FALSE(StringUtils::containsIgnoringCase("a[b", "a{b"));
    EXPECT_FALSE(StringUtils::containsIgnoringCase("\xC4", "\xE4"));
}

TEST(StringUtils, JoinPutsTheSeparatorBetweenTheElements) {
    EXPECT_EQ(StringUtils::join({"a", "", "b"}, ','), "a,,b");
}

TEST(StringUtils, JoinOfOneElementGivesItWithoutSeparator) {
    EXPECT_EQ(StringUtils::join({"a"}, ','), "a");
}

TEST(StringUtils, JoinOfNothingGivesAnEmptyText) {
    EXPECT_EQ(StringUtils::join({}, ','), "");
}

TEST(StringUtils, SplitGivesEmptyPiecesBetweenButNoneAtTheEnd) {
    EXPECT_THAT(StringUtils::split("a,,b,", ','), ElementsAre("a", "", "b"));
    EXPECT_THAT(StringUtils::split(",a", ','), ElementsAre("", "a"));
    EXPECT_THAT(StringUtils::split(",", ','), ElementsAre(""));
    EXPECT_THAT(StringUtils::split("a,b,,", ','), ElementsAre("a", "b", ""));
    EXPECT_THAT(StringUtils::split("abc", ','), ElementsAre("abc"));
}

TEST(StringUtils, SplitOfAnEmptyTextGivesNoPiece) {
    EXPECT_THAT(StringUtils::split("", ','), IsEmpty());
}
