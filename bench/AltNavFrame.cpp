#include "bench/AltNavFrame.h"

#include <cmath>
#include <ctime>

namespace bench {
namespace {

constexpr std::size_t bytes = 88;
constexpr std::int64_t gpsEpoch = 315964800;  // 1980-01-06, where GPS time begins, in Unix time
constexpr std::int64_t secondsOfWeek = 604800;

const std::vector<FieldPlace> places{{0, "validity"},
                                     {2, "year"},
                                     {4, "time of year"},
                                     {12, "latitude"},
                                     {20, "longitude"},
                                     {28, "altitude"},
                                     {32, "latitude variance"},
                                     {40, "longitude variance"},
                                     {48, "latitude and longitude covariance"},
                                     {56, "altitude variance"},
                                     {60, "velocity east"},
                                     {64, "velocity north"},
                                     {68, "velocity up"},
                                     {72, "velocity east variance"},
                                     {76, "velocity north variance"},
                                     {80, "velocity north and east covariance"},
                                     {84, "velocity up variance"}};

}  // namespace

DataArea expectedAltNavigation(const PositionVelocityRecord& position, const GpsTimeRecord& time) {
    // The C library's calendar, on a clock without leap seconds as GPS time has none.
    const std::time_t second = gpsEpoch + time.gpsWeek * secondsOfWeek + time.gpsTowSeconds - 1;
    std::tm date{};
    gmtime_r(&second, &date);
    const int secondOfDay = (date.tm_hour * 60 + date.tm_min) * 60 + date.tm_sec;

    DataArea area(bytes);
    const bool moving = !std::isinf(position.velocityNorthVariance);
    putAt(area, 0, static_cast<std::uint16_t>(moving ? 7 : 3));
    putAt(area, 2, static_cast<std::uint16_t>(date.tm_year + 1900));
    putAt(area, 4, 86400.0 * date.tm_yday + secondOfDay + time.gpsTowNanoseconds * 1e-9);
    putAt(area, 12, position.latitude);
    putAt(area, 20, position.longitude);
    putAt(area, 28, static_cast<float>(position.altitude));
    putAt(area, 32, position.latitudeVariance);
    putAt(area, 40, position.longitudeVariance);
    putAt(area, 48, position.latitudeLongitudeCovariance);
    putAt(area, 56, static_cast<float>(position.altitudeVariance));
    putAt(area, 60, static_cast<float>(moving ? position.velocityEast : 0));
    putAt(area, 64, static_cast<float>(moving ? position.velocityNorth : 0));
    putAt(area, 68, static_cast<float>(moving ? -position.velocityDown : 0));
    putAt(area, 72, static_cast<float>(position.velocityEastVariance));
    putAt(area, 76, static_cast<float>(position.velocityNorthVariance));
    putAt(area, 80, static_cast<float>(position.velocityNorthEastCovariance));
    putAt(area, 84, static_cast<float>(position.velocityDownVariance));
    return area;
}

std::vector<std::string> altNavigationDefects(const UnitFrame& frame,
                                              const PositionVelocityRecord& position,
                                              const GpsTimeRecord& time) {
    return frameDefects(frame, altNavigationId, UnitFrame::linkReady | UnitFrame::ackRequest,
                        expectedAltNavigation(position, time), places);
}

}  // namespace bench
