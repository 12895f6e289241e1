#include <climits>

#include "tests/face/MX_ConfigFixture.h"

TEST(MX_Config, WhencesHaveTheirNumbers) {
    EXPECT_EQ(Whence::SEEK_SET, 0);
    EXPECT_EQ(Whence::SEEK_CUR, 1);
    EXPECT_EQ(Whence::SEEK_END, 2);
}

TEST_F(MX_ConfigFile, SeekFromTheStartCountsTheContainersOfTheTag) {
    int const handle = open("two");
    EXPECT_EQ(seek(handle, Whence::SEEK_SET, 0), Code::NO_ERROR);
    EXPECT_EQ(read(handle, ""), "one");
    EXPECT_EQ(seek(handle, Whence::SEEK_SET, 1), Code::NO_ERROR);
    EXPECT_EQ(read(handle, ""), "two");
    EXPECT_EQ(seek(handle, Whence::SEEK_SET, 2), Code::NO_ERROR);
    EXPECT_EQ(read(handle, ""), "three");
    EXPECT_EQ(seek(handle, Whence::SEEK_SET, 3), Code::INVALID_PARAM);
    EXPECT_EQ(seek(handle, Whence::SEEK_SET, -1), Code::INVALID_PARAM);
    EXPECT_EQ(read(handle, ""), "three");
}

TEST_F(MX_ConfigFile, SeekFromThePresentPlaceGoesBothWays) {
    int const handle = open("one");
    EXPECT_EQ(seek(handle, Whence::SEEK_CUR, 2), Code::NO_ERROR);
    EXPECT_EQ(read(handle, ""), "three");
    EXPECT_EQ(seek(handle, Whence::SEEK_CUR, -1), Code::NO_ERROR);
    EXPECT_EQ(read(handle, ""), "two");
    EXPECT_EQ(seek(handle, Whence::SEEK_CUR, 0), Code::NO_ERROR);
    EXPECT_EQ(read(handle, ""), "two");
    EXPECT_EQ(seek(handle, Whence::SEEK_CUR, -2), Code::INVALID_PARAM);
    EXPECT_EQ(read(handle, ""), "two");
}

TEST_F(MX_ConfigFile, SeekStepsOverSiblingsOfAnotherTagWithoutCounting) {
    int const handle = open("one");
    EXPECT_EQ(seek(handle, Whence::SEEK_CUR, 1), Code::NO_ERROR);
    EXPECT_EQ(read(handle, ""), "two");
    EXPECT_EQ(read(handle, "Key"), "2");
}

TEST_F(MX_ConfigFile, SeekPassesOverContainersWithoutAName) {
    int const handle = open("two");
    EXPECT_EQ(seek(handle, Whence::SEEK_CUR, 1), Code::NO_ERROR);
    EXPECT_EQ(read(handle, "Key"), "3");
}

TEST_F(MX_ConfigFile, SeekFromTheEndGoesToTheFrontForAPositiveOffset) {
    int const handle = open("one");
    EXPECT_EQ(seek(handle, Whence::SEEK_END, 0), Code::NO_ERROR);
    EXPECT_EQ(read(handle, ""), "three");
    EXPECT_EQ(seek(handle, Whence::SEEK_END, 2), Code::NO_ERROR);
    EXPECT_EQ(read(handle, ""), "one");
    EXPECT_EQ(seek(handle, Whence::SEEK_END, 3), Code::INVALID_PARAM);
    EXPECT_EQ(seek(handle, Whence::SEEK_END, -1), Code::INVALID_PARAM);
    EXPECT_EQ(read(handle, ""), "one");
}

TEST_F(MX_ConfigFile, SeekByOneCountsTheContainersAndKeepsTheLast) {
    int const handle = open("Server");
    int count = 1;
    while (seek(handle, Whence::SEEK_CUR, 1) == Code::NO_ERROR) {
        ++count;
    }
    EXPECT_EQ(count, 3);
    EXPECT_EQ(seek(handle, Whence::SEEK_CUR, 1), Code::INVALID_PARAM);
    EXPECT_EQ(read(handle, ""), "three");
}

TEST_F(MX_ConfigFile, SeekWithAnUnknownWhenceIsAnInvalidConfiguration) {
    int const handle = open("one");
    EXPECT_EQ(seek(handle, static_cast<Whence::Value>(3), 1), Code::INVALID_CONFIG);
    EXPECT_EQ(read(handle, ""), "one");
}

TEST_F(MX_ConfigFile, SeekByTheLargestOffsetsEndsAtTheSiblings) {
    int const handle = open("one");
    for (int const offset : {INT_MAX, INT_MIN}) {
        for (auto const whence : {Whence::SEEK_SET, Whence::SEEK_CUR, Whence::SEEK_END}) {
            EXPECT_EQ(seek(handle, whence, offset), Code::INVALID_PARAM);
        }
    }
    EXPECT_EQ(read(handle, ""), "one");
}
