#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include "bench/SolutionFrame.h"

namespace bench {
namespace {

UnitFrame frameOf(const SolutionFrame::Area& area) {
    UnitFrame frame{15050, 0x8000, {}};
    for (std::size_t i = 0; i < area.size(); i += 2) {
        frame.data.push_back(static_cast<std::uint16_t>(area[i] | (area[i + 1] << 8)));
    }
    return frame;
}

template <class T>
T read(const SolutionFrame::Area& area, std::size_t offset) {
    T value;
    std::memcpy(&value, area.data() + offset, sizeof value);
    return value;
}

class SolutionFrameTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(
            fromText("gps_tow_sec=1 gps_tow_nsec=5e8 utc_tod_sec=2 utc_tod_nsec=25e7 gps_week=2332 "
                     "variance=0.25",
                     utc));
        ASSERT_TRUE(fromText(
            "x=3 y=4 z=5 vx=6 vy=7 vz=8 pitch=9 roll=10 heading=11 horz_pos_error=12 "
            "vert_pos_error=13 horz_vel_error=14 vert_vel_error=15 pitch_error=16 roll_error=17 "
            "heading_error=18 assurance=3",
            pnt));
    }

    UtcRecord utc;
    PntRecord pnt;
};

TEST_F(SolutionFrameTest, EveryFieldLiesAtItsPlace) {
    const auto area = expectedSolution(utc, pnt);
    EXPECT_EQ(read<double>(area, 0), 1.5);
    EXPECT_EQ(read<double>(area, 8), 2.25);
    for (const int i : {0, 1, 2}) {
        EXPECT_EQ(read<double>(area, static_cast<std::size_t>(16 + 8 * i)), 3 + i);
    }
    const std::vector<float> floats{6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0.5F, 16, 17, 18};
    for (std::size_t i = 0; i < floats.size(); ++i) {
        EXPECT_EQ(read<float>(area, 40 + 4 * i), floats[i]) << i;
    }
    EXPECT_EQ(read<std::uint16_t>(area, 96), 2332);
    EXPECT_EQ(read<std::uint16_t>(area, 98), 0x014C);
    EXPECT_EQ(read<double>(area, 100), 0.0);
}

TEST_F(SolutionFrameTest, UnknownTimeErrorIsInfinite) {
    for (const char* text : {"variance=inf", "variance=nan", "variance=-1"}) {
        ASSERT_TRUE(fromText(text, utc));
        EXPECT_EQ(read<float>(expectedSolution(utc, pnt), 80),
                  std::numeric_limits<float>::infinity());
    }
}

TEST_F(SolutionFrameTest, DecodesWhatIsExpected) {
    const auto solution = SolutionFrame::decode(frameOf(expectedSolution(utc, pnt)));
    ASSERT_TRUE(solution);
    EXPECT_EQ(solution->gpsTimeOfWeek, 1.5);
    EXPECT_EQ(solution->utcTimeOfDay, 2.25);
    EXPECT_EQ(solution->position, (std::array<double, 3>{3, 4, 5}));
    EXPECT_EQ(solution->velocity, (std::array<float, 3>{6, 7, 8}));
    EXPECT_EQ(solution->attitude, (std::array<float, 3>{9, 10, 11}));
    EXPECT_EQ(solution->gpsWeek, 2332);
    EXPECT_EQ(solution->solutionFlags, 0x014C);
    EXPECT_FALSE(SolutionFrame::decode(UnitFrame{15050, 0x8000, {1, 2}}));
    EXPECT_FALSE(SolutionFrame::decode(UnitFrame{15052, 0x8000, {}}));
}

TEST_F(SolutionFrameTest, EverySingleWrongByteIsFound) {
    const auto right = expectedSolution(utc, pnt);
    EXPECT_TRUE(solutionDefects(frameOf(right), utc, pnt).empty());
    for (std::size_t i = 0; i < right.size(); ++i) {
        auto wrong = right;
        wrong[i] ^= 0x10;
        EXPECT_EQ(solutionDefects(frameOf(wrong), utc, pnt).size(), 1U) << i;
    }
}

TEST_F(SolutionFrameTest, NamesTheDefect) {
    UnitFrame frame = frameOf(expectedSolution(utc, pnt));
    frame.data[49] = 0x0140;
    frame.flags = 0x9000;
    EXPECT_EQ(
        solutionDefects(frame, utc, pnt),
        (std::vector<std::string>{"flag word is 36864", "byte 98 (solution flags) is 40, not 4C"}));
    frame = frameOf(expectedSolution(utc, pnt));
    frame.data.push_back(0);
    EXPECT_EQ(solutionDefects(frame, utc, pnt), std::vector<std::string>{"data words: 55"});
}

}  // namespace
}  // namespace bench
