#include <cmath>

#include <gtest/gtest.h>

#include "bench/Simulation.h"

namespace bench {
namespace {

constexpr std::int64_t second = 1'000'000'000;

TEST(Simulation, GpsWeekBeginsEighteenSecondsBeforeMidnightOfUtc) {
    // Sunday 2024-09-15 00:00:00 UTC; GPS weeks run from 1980-01-06.
    const UtcRecord midnight = clockAt(1726358400 * second + 250'000'000);
    EXPECT_EQ(midnight.gpsWeek, 2332);
    EXPECT_EQ(midnight.gpsTowSeconds, 18);
    EXPECT_EQ(midnight.gpsTowNanoseconds, 250e6);
    EXPECT_EQ(midnight.utcTodSeconds, 0);
    EXPECT_EQ(midnight.header.tagSeconds, 1726358400);
    EXPECT_EQ(midnight.header.tagNanoseconds, 250'000'000);
    EXPECT_EQ(midnight.header.source, 36);
    const UtcRecord before = clockAt((1726358400 - 19) * second);
    EXPECT_EQ(before.gpsWeek, 2331);
    EXPECT_EQ(before.gpsTowSeconds, 604799);
    EXPECT_EQ(before.utcTodSeconds, 86381);
}

TEST(Simulation, PlatformStaysOnItsCircleAtItsHeight) {
    for (std::int64_t t = 1726358400; t < 1726358400 + 120; t += 7) {
        const PntRecord record = navigatorAt(t * second);
        const Geodetic place = toGeodetic(record.positionX, record.positionY, record.positionZ);
        EXPECT_NEAR(place.latitude, 48.0, 0.05);
        EXPECT_NEAR(place.longitude, 11.0, 0.05);
        EXPECT_NEAR(place.altitude, 3000, 1);
        EXPECT_EQ(record.header.tag(), clockAt(t * second).header.tag());
    }
}

TEST(Simulation, VelocityIsTheChangeOfThePosition) {
    const std::int64_t t = 1726400000 * second;
    const PntRecord before = navigatorAt(t - 500'000);
    const PntRecord now = navigatorAt(t);
    const PntRecord after = navigatorAt(t + 500'000);
    EXPECT_NEAR((after.positionX - before.positionX) / 1e-3, now.velocityX, 0.01);
    EXPECT_NEAR((after.positionY - before.positionY) / 1e-3, now.velocityY, 0.01);
    EXPECT_NEAR((after.positionZ - before.positionZ) / 1e-3, now.velocityZ, 0.01);
}

TEST(Simulation, GpsTimeIsThatOfTheClock) {
    const GpsTimeRecord time = gpsTimeAt(1726358400 * second + 250'000'000);
    EXPECT_EQ(time.gpsWeek, 2332);
    EXPECT_EQ(time.gpsTowSeconds, 18);
    EXPECT_EQ(time.gpsTowNanoseconds, 250e6);
    EXPECT_EQ(time.header.tag(), 1726358400 * second + 250'000'000);
    EXPECT_EQ(time.header.source, 38);
}

TEST(Simulation, AlternateNavigationTellsTheSamePlaceAndVelocity) {
    for (std::int64_t t = 1726358400; t < 1726358400 + 120; t += 7) {
        const PntRecord pnt = navigatorAt(t * second);
        const Geodetic place = toGeodetic(pnt.positionX, pnt.positionY, pnt.positionZ);
        const PositionVelocityRecord position = positionAt(t * second);
        EXPECT_EQ(position.header.tag(), pnt.header.tag());
        EXPECT_EQ(position.header.source, 38);
        EXPECT_NEAR(position.latitude * 180 / M_PI, place.latitude, 1e-9);
        EXPECT_NEAR(position.longitude * 180 / M_PI, place.longitude, 1e-9);
        EXPECT_NEAR(position.altitude, place.altitude, 1e-6);
        // 120 m/s on the heading; north and east bend a little over the circle.
        EXPECT_NEAR(position.velocityNorth, 120 * std::cos(pnt.heading), 0.1);
        EXPECT_NEAR(position.velocityEast, 120 * std::sin(pnt.heading), 0.1);
        EXPECT_NEAR(position.velocityDown, 0, 0.1);
    }
}

TEST(Simulation, GeodeticOfKnownPlaces) {
    const Geodetic equator = toGeodetic(6378137.0 + 100, 0, 0);
    EXPECT_NEAR(equator.latitude, 0, 1e-9);
    EXPECT_NEAR(equator.longitude, 0, 1e-9);
    EXPECT_NEAR(equator.altitude, 100, 1e-6);
    const Geodetic munich = toGeodetic(4177777.0, 855128.0, 4727235.0);
    EXPECT_NEAR(munich.latitude, 48.14, 0.02);
    EXPECT_NEAR(munich.longitude, 11.57, 0.02);
}

}  // namespace
}  // namespace bench
