#include "bench/Simulation.h"

#include <cmath>

namespace bench {
namespace {

constexpr double pi = 3.14159265358979323846;
constexpr double degree = pi / 180;

// WGS 84: equatorial radius in metres and first eccentricity squared.
constexpr double earthRadius = 6378137.0;
constexpr double eccentricity2 = 6.69437999014e-3;

constexpr std::int64_t secondsOfDay = 86400;
constexpr std::int64_t secondsOfWeek = 7 * secondsOfDay;

// 1980-01-06, where GPS time begins, in Unix time.
constexpr std::int64_t gpsEpoch = 315964800;

// The track: a circle flown to the right, at standard rate.
constexpr double centreLatitude = 48.0 * degree;
constexpr double centreLongitude = 11.0 * degree;
constexpr double altitude = 3000.0;  // m
constexpr double speed = 120.0;      // m/s
constexpr double turnRate = 3.0 * degree;
constexpr double turnRadius = speed / turnRate;
constexpr double gravity = 9.80665;

struct Vector {
    double x;
    double y;
    double z;
};

/// Radius of curvature of the ellipsoid in the prime vertical.
double normalRadius(double latitude) {
    return earthRadius / std::sqrt(1 - eccentricity2 * std::pow(std::sin(latitude), 2));
}

/// From east, north and up at the centre of the circle to the axes of the Earth.
Vector rotate(double east, double north, double up) {
    const double sinLat = std::sin(centreLatitude);
    const double cosLat = std::cos(centreLatitude);
    const double sinLon = std::sin(centreLongitude);
    const double cosLon = std::cos(centreLongitude);
    return {-sinLon * east - sinLat * cosLon * north + cosLat * cosLon * up,
            cosLon * east - sinLat * sinLon * north + cosLat * sinLon * up,
            cosLat * north + sinLat * up};
}

}  // namespace

UtcRecord clockAt(std::int64_t utcNanoseconds) {
    UtcRecord record;
    record.header.setTag(utcNanoseconds);
    const std::int64_t utc = record.header.tagSeconds;
    const std::int64_t gps = utc - gpsEpoch + leapSeconds;
    record.gpsWeek = gps / secondsOfWeek;
    record.gpsTowSeconds = gps % secondsOfWeek;
    record.utcTodSeconds = utc % secondsOfDay;
    record.gpsTowNanoseconds = static_cast<double>(record.header.tagNanoseconds);
    record.utcTodNanoseconds = record.gpsTowNanoseconds;
    record.timeVariance = 4e-16;  // 20 ns
    return record;
}

PntRecord navigatorAt(std::int64_t utcNanoseconds) {
    const UtcRecord clock = clockAt(utcNanoseconds);
    PntRecord record;
    record.header.setTag(utcNanoseconds);
    record.gpsWeek = clock.gpsWeek;
    record.gpsTime = static_cast<double>(clock.gpsTowSeconds) + clock.gpsTowNanoseconds * 1e-9;
    record.utcTime = static_cast<double>(clock.utcTodSeconds) + clock.utcTodNanoseconds * 1e-9;

    const double heading = std::fmod(turnRate * record.gpsTime, 2 * pi);
    const double height = normalRadius(centreLatitude);
    const Vector centre{(height + altitude) * std::cos(centreLatitude) * std::cos(centreLongitude),
                        (height + altitude) * std::cos(centreLatitude) * std::sin(centreLongitude),
                        (height * (1 - eccentricity2) + altitude) * std::sin(centreLatitude)};
    // Turning right, the centre of the circle lies to the right of the heading.
    const Vector offset =
        rotate(-turnRadius * std::cos(heading), turnRadius * std::sin(heading), 0);
    const Vector velocity = rotate(speed * std::sin(heading), speed * std::cos(heading), 0);
    record.positionX = centre.x + offset.x;
    record.positionY = centre.y + offset.y;
    record.positionZ = centre.z + offset.z;
    record.velocityX = velocity.x;
    record.velocityY = velocity.y;
    record.velocityZ = velocity.z;
    record.roll = std::atan(speed * turnRate / gravity);
    record.pitch = 2 * degree;
    record.heading = heading;
    record.horizontalPositionError = 1.5;
    record.verticalPositionError = 2.25;
    record.horizontalVelocityError = 0.05;
    record.verticalVelocityError = 0.08;
    record.timeError = 2e-8;
    record.rollError = 0.05 * degree;
    record.pitchError = 0.06 * degree;
    record.headingError = 0.1 * degree;
    record.assurance = 2;
    return record;
}

GpsTimeRecord gpsTimeAt(std::int64_t utcNanoseconds) {
    const UtcRecord clock = clockAt(utcNanoseconds);
    GpsTimeRecord record;
    record.header.setTag(utcNanoseconds);
    record.gpsTowSeconds = clock.gpsTowSeconds;
    record.gpsTowNanoseconds = clock.gpsTowNanoseconds;
    record.gpsWeek = clock.gpsWeek;
    record.timeVariance = clock.timeVariance;
    return record;
}

PositionVelocityRecord positionAt(std::int64_t utcNanoseconds) {
    const PntRecord pnt = navigatorAt(utcNanoseconds);
    const Geodetic position = toGeodetic(pnt.positionX, pnt.positionY, pnt.positionZ);
    PositionVelocityRecord record;
    record.header.setTag(utcNanoseconds);
    record.latitude = position.latitude * degree;
    record.longitude = position.longitude * degree;
    record.altitude = position.altitude;

    const double sinLat = std::sin(record.latitude);
    const double cosLat = std::cos(record.latitude);
    const double sinLon = std::sin(record.longitude);
    const double cosLon = std::cos(record.longitude);
    const double outward = cosLon * pnt.velocityX + sinLon * pnt.velocityY;  // from the axis
    record.velocityNorth = cosLat * pnt.velocityZ - sinLat * outward;
    record.velocityEast = cosLon * pnt.velocityY - sinLon * pnt.velocityX;
    record.velocityDown = -cosLat * outward - sinLat * pnt.velocityZ;

    constexpr double positionError = 30.0 / earthRadius;  // rad, 30 m
    record.latitudeVariance = positionError * positionError;
    record.longitudeVariance = 2 * positionError * positionError;
    record.latitudeLongitudeCovariance = 0.25 * positionError * positionError;
    record.altitudeVariance = 400;
    record.velocityNorthVariance = 0.25;
    record.velocityEastVariance = 0.5;
    record.velocityNorthEastCovariance = 0.125;
    record.velocityDownVariance = 1;
    return record;
}

Geodetic toGeodetic(double x, double y, double z) {
    const double fromAxis = std::hypot(x, y);
    double latitude = std::atan2(z, fromAxis * (1 - eccentricity2));
    double height = 0;
    for (int i = 0; i < 6; ++i) {  // converges to micrometres near the ground
        const double normal = normalRadius(latitude);
        height = fromAxis / std::cos(latitude) - normal;
        latitude = std::atan2(z, fromAxis * (1 - eccentricity2 * normal / (normal + height)));
    }
    return {latitude / degree, std::atan2(y, x) / degree, height};
}

}  // namespace bench
