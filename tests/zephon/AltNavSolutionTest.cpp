#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "gmock/gmock.h"
#include "zephon/AltNavSolution.h"

namespace {

namespace idl = aspn2_msgs::idl;
using testing::ElementsAreArray;
using L = AltNavPvtLayout;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr float infinityF = std::numeric_limits<float>::infinity();
constexpr auto maxInt = std::numeric_limits<std::int32_t>::max();
constexpr auto minInt = std::numeric_limits<std::int32_t>::min();

idl::PositionVelocity positionAt(std::int64_t sec, std::int32_t nsec) {
    idl::PositionVelocity record;
    record.header().timestamp_valid().sec(sec);
    record.header().timestamp_valid().nsec(nsec);
    return record;
}

idl::GPSTime timeAt(std::int64_t sec, std::int32_t nsec) {
    idl::GPSTime record;
    record.header().timestamp_valid().sec(sec);
    record.header().timestamp_valid().nsec(nsec);
    return record;
}

std::shared_ptr<AltNavPVTOutput> outputOf(AltNavSolution& join,
                                          idl::PositionVelocity const& position,
                                          idl::GPSTime const& time) {
    join.store(position);
    join.store(time);
    return join.takeOutput();
}

/// Whether a pair with these tags makes an output.
bool matches(std::int64_t positionSec, std::int32_t positionNsec, std::int64_t timeSec,
             std::int32_t timeNsec) {
    AltNavSolution join;
    return outputOf(join, positionAt(positionSec, positionNsec), timeAt(timeSec, timeNsec)) !=
           nullptr;
}

/// The output for this GPS time.
std::shared_ptr<AltNavPVTOutput> outputFor(std::int32_t week, std::int32_t secondOfWeek,
                                           double nanoseconds = 0) {
    idl::GPSTime time = timeAt(2, 0);
    time.gps_week(week);
    time.gps_tow_sec(secondOfWeek);
    time.gps_tow_nsec(nanoseconds);
    AltNavSolution join;
    return outputOf(join, positionAt(1, 0), time);
}

/// The output for this position.
std::shared_ptr<AltNavPVTOutput> outputFor(idl::PositionVelocity const& position) {
    AltNavSolution join;
    return outputOf(join, position, timeAt(2, 0));
}

idl::PositionVelocity movingPosition() {
    idl::PositionVelocity position = positionAt(1, 0);
    position.velocity() = {1, 2, 3};
    position.covariance()[3][3] = 5;
    position.covariance()[3][4] = 6;
    position.covariance()[4][4] = 7;
    position.covariance()[5][5] = 8;
    return position;
}

TEST(AltNavSolution, MatchesATimeTaggedOneSecondAfterThePosition) {
    EXPECT_TRUE(matches(100, 0, 101, 0));
    EXPECT_TRUE(matches(100, 250000000, 101, 250000000));
    EXPECT_TRUE(matches(-1, 999999999, 0, 999999999));
}

TEST(AltNavSolution, RefusesATimeTaggedInTheSameSecond) {
    EXPECT_FALSE(matches(100, 0, 100, 0));
    EXPECT_FALSE(matches(100, 0, 100, 999999999));
}

TEST(AltNavSolution, RefusesTagsThatAreNotExactlyOneSecondApart) {
    EXPECT_FALSE(matches(100, 0, 101, 1));
    EXPECT_FALSE(matches(100, 1, 101, 0));
    EXPECT_FALSE(matches(100, 0, 102, 0));
    EXPECT_FALSE(matches(101, 0, 100, 0));
    EXPECT_FALSE(matches(100, 1000000000, 102, 0)) << "parts are compared as they stand";
}

TEST(AltNavSolution, TakesTagsOfAnySize) {
    constexpr auto largest = std::numeric_limits<std::int64_t>::max();
    constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
    EXPECT_FALSE(matches(largest, 0, smallest, 0));
    EXPECT_FALSE(matches(largest, 0, largest, 0));
    EXPECT_TRUE(matches(largest - 1, maxInt, largest, maxInt));
    EXPECT_TRUE(matches(smallest, minInt, smallest + 1, minInt));
}

TEST(AltNavSolution, WaitsForBothSides) {
    AltNavSolution join;
    EXPECT_EQ(nullptr, join.takeOutput());
    join.store(positionAt(0, 0));
    EXPECT_EQ(nullptr, join.takeOutput());

    // The side that is missing would match as it is: nothing but its absence tells.
    AltNavSolution other;
    other.store(timeAt(1, 0));
    EXPECT_EQ(nullptr, other.takeOutput());
}

TEST(AltNavSolution, MatchesWhicheverSideComesFirst) {
    AltNavSolution join;
    join.store(timeAt(2, 0));
    join.store(positionAt(1, 0));
    EXPECT_NE(nullptr, join.takeOutput());
}

TEST(AltNavSolution, KeepsThePositionUntilItsTimeComes) {
    AltNavSolution join;
    EXPECT_EQ(nullptr, outputOf(join, positionAt(100, 0), timeAt(100, 0)));
    join.store(timeAt(101, 0));
    EXPECT_NE(nullptr, join.takeOutput());
}

TEST(AltNavSolution, KeepsTheTimeUntilItsPositionComes) {
    AltNavSolution join;
    EXPECT_EQ(nullptr, outputOf(join, positionAt(90, 0), timeAt(101, 0)));
    join.store(positionAt(100, 0));
    EXPECT_NE(nullptr, join.takeOutput());
}

TEST(AltNavSolution, UsesTheNewestOfEachSide) {
    AltNavSolution join;
    idl::PositionVelocity older = positionAt(1, 0);
    older.position().latitude(0.25);
    join.store(older);
    idl::PositionVelocity newer = positionAt(1, 0);
    newer.position().latitude(0.5);
    join.store(newer);
    join.store(timeAt(2, 0));
    EXPECT_EQ(0.5, join.takeOutput()->get<L::Latitude>());

    join.store(timeAt(2, 0));
    join.store(timeAt(3, 0));
    join.store(positionAt(1, 0));
    EXPECT_EQ(nullptr, join.takeOutput());
}

TEST(AltNavSolution, SpendsBothSidesWithAnOutput) {
    AltNavSolution join;
    ASSERT_NE(nullptr, outputOf(join, positionAt(1, 0), timeAt(2, 0)));
    EXPECT_EQ(nullptr, join.takeOutput());
    join.store(timeAt(2, 0));
    EXPECT_EQ(nullptr, join.takeOutput());
    join.store(positionAt(1, 0));
    EXPECT_NE(nullptr, join.takeOutput());
    join.store(positionAt(1, 0));
    EXPECT_EQ(nullptr, join.takeOutput());
}

TEST(AltNavSolution, FillsTheWholeFrameByteByByte) {
    idl::PositionVelocity position = positionAt(100, 5);
    position.position().latitude(0.5);  // 0x3FE0000000000000
    position.position().longitude(-1);  // 0xBFF0000000000000
    position.position().altitude(3);    // 0x40400000
    position.velocity() = {4, 5, 6};    // 0x40800000, 0x40A00000, 0x40C00000
    double value = 1;
    for (auto& row : position.covariance()) {
        for (double& element : row) {
            element = value++;  // element n is n + 1
        }
    }
    idl::GPSTime time = timeAt(101, 5);
    time.gps_week(2300);              // day 0 of it is 2024 February 4, day 35 of the year
    time.gps_tow_sec(2 * 86400 + 2);  // February 6, one second after midnight, less one second
    time.gps_tow_nsec(500000000);     // 36 * 86400 + 1.5 = 3110401.5 = 0x4147BB00C0000000
    AltNavSolution join;
    const auto output = outputOf(join, position, time);
    ASSERT_NE(nullptr, output);

    const std::array<unsigned char, 98> expected = {
        0xFF, 0x81, 0xCC, 0x3A, 0x2C, 0x00, 0x00, 0x90, 0x00, 0x00,  // header
        0x07, 0x00,                                                  // valid, with velocity
        0xE8, 0x07,                                                  // 2024
        0,    0,    0,    0xC0, 0x00, 0xBB, 0x47, 0x41,              // time of year
        0,    0,    0,    0,    0,    0,    0xE0, 0x3F,              // latitude
        0,    0,    0,    0,    0,    0,    0xF0, 0xBF,              // longitude
        0,    0,    0x40, 0x40,                                      // altitude
        0,    0,    0,    0,    0,    0,    0xF0, 0x3F,              // element 0
        0,    0,    0,    0,    0,    0,    0x20, 0x40,              // element 7
        0,    0,    0,    0,    0,    0,    0x00, 0x40,              // element 1
        0,    0,    0x70, 0x41,                                      // element 14
        0,    0,    0xA0, 0x40,                                      // east
        0,    0,    0x80, 0x40,                                      // north
        0,    0,    0xC0, 0xC0,                                      // up
        0,    0,    0xE8, 0x41,                                      // element 28
        0,    0,    0xB0, 0x41,                                      // element 21
        0,    0,    0xB8, 0x41,                                      // element 22
        0,    0,    0x10, 0x42,                                      // element 35
    };
    std::array<unsigned char, 98> frame{};
    std::memcpy(frame.data(), output->header, frame.size());
    EXPECT_THAT(frame, ElementsAreArray(expected));
}

TEST(AltNavSolution, TellsTheSecondBeforeTheTime) {
    // The first second of 2024 is a Monday's, the second day of week 2295.
    constexpr std::int32_t newYear = 86400;
    const auto first = outputFor(2295, newYear + 1, 250000000);
    EXPECT_EQ(2024, first->get<L::Year>());
    EXPECT_EQ(0.25, first->get<L::TimeOfYear>());
    const auto before = outputFor(2295, newYear, 250000000);
    EXPECT_EQ(2023, before->get<L::Year>());
    EXPECT_EQ(365 * 86400.0 - 1 + 0.25, before->get<L::TimeOfYear>());
}

TEST(AltNavSolution, TellsTheLastSecondOfTheWeekBeforeForTheFirstOfAWeek) {
    // Week 2300 begins on 2024 February 4: 34 days are past then.
    const auto output = outputFor(2300, 0);
    EXPECT_EQ(2024, output->get<L::Year>());
    EXPECT_EQ(34 * 86400.0 - 1, output->get<L::TimeOfYear>());
    EXPECT_EQ(34 * 86400.0, outputFor(2300, 1)->get<L::TimeOfYear>());
    EXPECT_EQ(outputFor(2299, 604800)->get<L::TimeOfYear>(), output->get<L::TimeOfYear>());
}

TEST(AltNavSolution, CrossesTheYearWithTheWeek) {
    // Week 2243 begins on 2023 January 1.
    const auto output = outputFor(2243, 0);
    EXPECT_EQ(2022, output->get<L::Year>());
    EXPECT_EQ(365 * 86400.0 - 1, output->get<L::TimeOfYear>());
    EXPECT_EQ(2023, outputFor(2243, 1)->get<L::Year>());
    EXPECT_EQ(0.0, outputFor(2243, 1)->get<L::TimeOfYear>());
}

TEST(AltNavSolution, TellsTheDayBeforeTheFirstOfAllWeeks) {
    // 1980 January 5, the day before week 0.
    const auto output = outputFor(0, 0);
    EXPECT_EQ(1980, output->get<L::Year>());
    EXPECT_EQ(5 * 86400.0 - 1, output->get<L::TimeOfYear>());
}

TEST(AltNavSolution, CountsTheLeapDay) {
    // 2024 December 31 is a Tuesday of week 2347 and day 366.
    const auto output = outputFor(2347, 2 * 86400 + 1);
    EXPECT_EQ(2024, output->get<L::Year>());
    EXPECT_EQ(365 * 86400.0, output->get<L::TimeOfYear>());
}

TEST(AltNavSolution, TakesTimesOfAnySize) {
    for (const std::int32_t week : {minInt, minInt + 1, -1, 0, 2300, maxInt}) {
        for (const std::int32_t second : {minInt, minInt + 1, -604800, -1, 604801, maxInt}) {
            const auto output = outputFor(week, second);
            EXPECT_TRUE(std::isfinite(output->get<L::TimeOfYear>())) << week << " " << second;
        }
    }
    EXPECT_EQ(infinity, outputFor(2300, 1, infinity)->get<L::TimeOfYear>());
    EXPECT_TRUE(std::isnan(outputFor(2300, 1, std::nan(""))->get<L::TimeOfYear>()));
}

TEST(AltNavSolution, LeavesTheVelocityOutWhenItsVarianceIsInfinite) {
    for (const double variance : {infinity, -infinity}) {
        idl::PositionVelocity position = movingPosition();
        position.covariance()[3][3] = variance;
        const auto output = outputFor(position);
        EXPECT_EQ(0x0003, output->data[0]);
        for (std::size_t word = 30; word < 36; ++word) {
            EXPECT_EQ(0, output->data[word]) << word;
        }
        EXPECT_EQ(7.0F, output->get<L::EastVelocityVariance>());
        EXPECT_EQ(variance > 0 ? infinityF : -infinityF, output->get<L::NorthVelocityVariance>());
        EXPECT_EQ(6.0F, output->get<L::NorthEastVelocityCovariance>());
        EXPECT_EQ(8.0F, output->get<L::UpVelocityVariance>());
    }
}

TEST(AltNavSolution, TakesTheVelocityWhenItsVarianceIsNoNumber) {
    idl::PositionVelocity position = movingPosition();
    position.covariance()[3][3] = std::nan("");
    const auto output = outputFor(position);
    EXPECT_EQ(0x0007, output->data[0]);
    EXPECT_EQ(2.0F, output->get<L::EastVelocity>());
    EXPECT_EQ(1.0F, output->get<L::NorthVelocity>());
    EXPECT_EQ(-3.0F, output->get<L::UpVelocity>());
    EXPECT_TRUE(std::isnan(output->get<L::NorthVelocityVariance>()));
}

TEST(AltNavSolution, AsksNoOtherVarianceWhetherTheVelocityIsValid) {
    idl::PositionVelocity position = movingPosition();
    for (auto& row : position.covariance()) {
        row.fill(infinity);
    }
    position.covariance()[3][3] = std::numeric_limits<double>::max();
    const auto output = outputFor(position);
    EXPECT_EQ(0x0007, output->data[0]);
    EXPECT_EQ(2.0F, output->get<L::EastVelocity>());
    EXPECT_EQ(infinityF, output->get<L::NorthVelocityVariance>()) << "no float holds it";
    EXPECT_EQ(infinity, output->get<L::LatitudeVariance>());
}

TEST(AltNavSolution, ForgetsTheVelocityOfTheSolutionBefore) {
    AltNavSolution join;
    outputOf(join, movingPosition(), timeAt(2, 0));
    idl::PositionVelocity position = movingPosition();
    position.header().timestamp_valid().sec(2);
    position.covariance()[3][3] = infinity;
    EXPECT_EQ(0.0F, outputOf(join, position, timeAt(3, 0))->get<L::EastVelocity>());
}

TEST(AltNavSolution, NarrowsWhatNoFloatHolds) {
    idl::PositionVelocity position = movingPosition();
    position.position().altitude(-1e300);
    position.velocity() = {1e300, -infinity, std::nan("")};
    position.covariance()[2][2] = std::nan("");
    const auto output = outputFor(position);
    EXPECT_EQ(-infinityF, output->get<L::Altitude>());
    EXPECT_EQ(infinityF, output->get<L::NorthVelocity>());
    EXPECT_EQ(-infinityF, output->get<L::EastVelocity>());
    EXPECT_TRUE(std::isnan(output->get<L::UpVelocity>()));
    EXPECT_TRUE(std::isnan(output->get<L::AltitudeVariance>()));
}

}  // namespace
