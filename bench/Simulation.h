#pragma once

#include <cstdint>

#include "bench/TopicRecords.h"

namespace bench {

/// The world that the simulated computer measures: an aircraft that flies a circle, and the clock.
/// Everything is a function of time alone, so that peers in different processes agree.

/// GPS time is ahead of UTC by this many seconds since 2017.
constexpr std::int64_t leapSeconds = 18;

/// The clock device's record for an instant, given in nanoseconds of Unix time (UTC).
UtcRecord clockAt(std::int64_t utcNanoseconds);

/// The fusion navigator's record for the same instant.
PntRecord navigatorAt(std::int64_t utcNanoseconds);

/// GPS time at an instant, as the alternate navigation device tells it.
GpsTimeRecord gpsTimeAt(std::int64_t utcNanoseconds);

/// The alternate navigation device's position at the same instant; the GPSTime that belongs to it
/// is the one of a second later.
PositionVelocityRecord positionAt(std::int64_t utcNanoseconds);

/// Geodetic position on the WGS 84 ellipsoid: degrees and metres.
struct Geodetic {
    double latitude = 0;
    double longitude = 0;
    double altitude = 0;
};
Geodetic toGeodetic(double x, double y, double z);

}  // namespace bench
