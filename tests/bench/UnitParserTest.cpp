#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "bench/UnitParser.h"

namespace bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

class UnitParserTest : public testing::Test {
protected:
    void feed(const Bytes& bytes, std::size_t piece = SIZE_MAX) {
        for (std::size_t at = 0; at < bytes.size(); at += std::min(piece, bytes.size() - at)) {
            parser.feed(bytes.data() + at, std::min(piece, bytes.size() - at));
        }
    }

    std::vector<Bytes> delivered;
    UnitParser parser{[this](const UnitFrame&, const Bytes& bytes) { delivered.push_back(bytes); }};
};

const Bytes good = UnitFrame{5331, 0x9000, {1, 2, 0x81FF, 4}}.encode();
const Bytes small = UnitFrame::makeAck(77).encode();

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST_F(UnitParserTest, DeliversAFrameOnItsLastByte) {
    Bytes allButOne = good;
    allButOne.pop_back();
    feed(allButOne, 1);
    EXPECT_TRUE(delivered.empty());
    feed({good.back()});
    EXPECT_EQ(delivered, std::vector<Bytes>{good});
}

TEST_F(UnitParserTest, DeliversFramesThatComeTogetherInOrder) {
    feed(good + small + good);
    EXPECT_EQ(delivered, (std::vector<Bytes>{good, small, good}));
    EXPECT_EQ(parser.counters().frames, 3U);
    EXPECT_EQ(parser.counters().bytes, 2 * good.size() + small.size());
    EXPECT_EQ(parser.counters().skippedBytes, 0U);
}

TEST_F(UnitParserTest, FindsTheFrameBehindNoiseAndRunsOfFF) {
    feed(Bytes{0, 0, 0x81, 0xFF, 0xFF, 0xFF} + good);
    EXPECT_EQ(delivered, std::vector<Bytes>{good});
    EXPECT_EQ(parser.counters().skippedBytes, 6U);
    EXPECT_EQ(parser.counters().checksumErrors(), 0U);
}

TEST_F(UnitParserTest, CountsABadHeaderAndFindsTheFrameInsideIt) {
    Bytes broken = small;
    broken.resize(6);
    feed(broken + good);
    EXPECT_EQ(delivered, std::vector<Bytes>{good});
    EXPECT_EQ(parser.counters().headerErrors, 1U);
}

TEST_F(UnitParserTest, CountsABadDataSumAndFindsTheFrameInsideTheData) {
    UnitFrame outer{1, 0x8000, {}};
    for (std::size_t i = 0; i < small.size(); i += 2) {
        outer.data.push_back(static_cast<std::uint16_t>(small[i] + 256 * small[i + 1]));
    }
    Bytes broken = outer.encode();
    broken.back() ^= 1;
    feed(broken);
    EXPECT_EQ(delivered, std::vector<Bytes>{small});
    EXPECT_EQ(parser.counters().dataErrors, 1U);
}

TEST_F(UnitParserTest, DoesNotWaitForTheDataOfAnAbsurdWordCount) {
    Bytes header{0xFF, 0x81, 1, 0, 0xFF, 0xFF, 0x00, 0x80};
    // 81FF + 0001 + FFFF + 8000 = 201FF; 10000 - 01FF = FE01
    header.push_back(0x01);
    header.push_back(0xFE);
    feed(header + good);
    EXPECT_EQ(delivered, std::vector<Bytes>{good});
    EXPECT_EQ(parser.counters().headerErrors, 1U);
}

TEST_F(UnitParserTest, ResetForgetsTheBeginningOfAFrame) {
    feed(Bytes(good.begin(), good.begin() + 8));
    parser.reset();
    feed(small);
    EXPECT_EQ(delivered, std::vector<Bytes>{small});
}

TEST_F(UnitParserTest, LosesNoFrameBetweenRandomNoiseInRandomPieces) {
    std::mt19937 random(20240918);  // NOLINT(cert-msc51-cpp): the same stream every time
    Bytes stream;
    std::vector<Bytes> expected;
    for (int i = 0; i < 500; ++i) {
        for (auto n = random() % 20; n > 0; --n) {
            // Noise without 0x81 holds no beginning of a frame.
            const auto byte = static_cast<std::uint8_t>(random());
            stream.push_back(byte == 0x81 ? std::uint8_t{0xFF} : byte);
        }
        UnitFrame frame{static_cast<std::uint16_t>(random()), 0x8000, {}};
        for (auto n = random() % 60; n > 0; --n) {
            frame.data.push_back(static_cast<std::uint16_t>(random()));
        }
        expected.push_back(frame.encode());
        stream = stream + expected.back();
    }
    for (std::size_t at = 0; at < stream.size();) {
        const std::size_t piece = std::min<std::size_t>(1 + random() % 200, stream.size() - at);
        parser.feed(stream.data() + at, piece);
        at += piece;
    }
    EXPECT_EQ(delivered, expected);
    EXPECT_EQ(parser.counters().checksumErrors(), 0U);
}

}  // namespace
}  // namespace bench
