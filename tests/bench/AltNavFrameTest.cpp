#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "bench/AltNavFrame.h"

namespace bench {
namespace {

class AltNavFrameTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(
            fromText("lat=1 lon=2 alt=3 vn=4 ve=5 vd=6 lat_variance=7 lon_variance=8 "
                     "lat_lon_covariance=9 alt_variance=10 vn_variance=11 ve_variance=12 "
                     "vn_ve_covariance=13 vd_variance=14",
                     position));
        // Week 2332 begins on 2024 September 15, day 259 of the year.
        ASSERT_TRUE(fromText("gps_week=2332 gps_tow_sec=86402 gps_tow_nsec=25e7", time));
    }
    UnitFrame right() const {
        UnitFrame frame{15052, 0x9000, {}};
        const DataArea area = expectedAltNavigation(position, time);
        for (std::size_t i = 0; i < area.size(); i += 2) {
            frame.data.push_back(static_cast<std::uint16_t>(area[i] | (area[i + 1] << 8)));
        }
        return frame;
    }

    PositionVelocityRecord position;
    GpsTimeRecord time;
};

TEST_F(AltNavFrameTest, EveryFieldLiesAtItsPlace) {
    const DataArea area = expectedAltNavigation(position, time);
    ASSERT_EQ(area.size(), 88U);
    EXPECT_EQ(takeAt<std::uint16_t>(area, 0), 7);
    EXPECT_EQ(takeAt<std::uint16_t>(area, 2), 2024);
    EXPECT_EQ(takeAt<double>(area, 4), 259 * 86400 + 1.25);
    EXPECT_EQ(takeAt<double>(area, 12), 1);
    EXPECT_EQ(takeAt<double>(area, 20), 2);
    EXPECT_EQ(takeAt<float>(area, 28), 3);
    EXPECT_EQ(takeAt<double>(area, 32), 7);
    EXPECT_EQ(takeAt<double>(area, 40), 8);
    EXPECT_EQ(takeAt<double>(area, 48), 9);
    const std::vector<float> floats{10, 5, 4, -6, 12, 11, 13, 14};
    for (std::size_t i = 0; i < floats.size(); ++i) {
        EXPECT_EQ(takeAt<float>(area, 56 + 4 * i), floats[i]) << i;
    }
}

TEST_F(AltNavFrameTest, FirstSecondOfAWeekTellsTheLastOfTheWeekBefore) {
    time.gpsWeek = 2243;  // begins with the year 2023
    time.gpsTowSeconds = 0;
    const DataArea area = expectedAltNavigation(position, time);
    EXPECT_EQ(takeAt<std::uint16_t>(area, 2), 2022);
    EXPECT_EQ(takeAt<double>(area, 4), 365 * 86400 - 1 + 0.25);
}

TEST_F(AltNavFrameTest, HasNoVelocityWhenItsVarianceIsInfinite) {
    position.velocityNorthVariance = std::numeric_limits<double>::infinity();
    const DataArea area = expectedAltNavigation(position, time);
    EXPECT_EQ(takeAt<std::uint16_t>(area, 0), 3);
    EXPECT_EQ(takeAt<float>(area, 60), 0);
    EXPECT_EQ(takeAt<float>(area, 64), 0);
    EXPECT_EQ(takeAt<float>(area, 68), 0);
    EXPECT_EQ(takeAt<float>(area, 84), 14);
}

TEST_F(AltNavFrameTest, EverySingleWrongByteIsFound) {
    EXPECT_TRUE(altNavigationDefects(right(), position, time).empty());
    for (std::size_t i = 0; i < 88; ++i) {
        UnitFrame wrong = right();
        std::uint16_t& word = wrong.data[i / 2];
        word = static_cast<std::uint16_t>(word ^ (i % 2 == 0 ? 0x0010U : 0x1000U));
        EXPECT_EQ(altNavigationDefects(wrong, position, time).size(), 1U) << i;
    }
}

TEST_F(AltNavFrameTest, NamesTheDefect) {
    UnitFrame frame = right();
    frame.data[0] = 3;
    frame.flags = 0x8000;
    EXPECT_EQ(altNavigationDefects(frame, position, time),
              (std::vector<std::string>{"flag word is 32768", "byte 0 (validity) is 03, not 07"}));
    EXPECT_FALSE(altNavigationDefects(UnitFrame{15052, 0x9000, {1}}, position, time).empty());
}

}  // namespace
}  // namespace bench
