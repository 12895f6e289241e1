#include "zephon/AltNavSolution.h"

#include <cmath>
#include <cstdint>

#include "ASPN/TimeUtilities.h"
#include "messages/WireNumbers.h"

namespace idl = aspn2_msgs::idl;

namespace {

constexpr int daysPerWeek = 7;
constexpr std::int64_t secondsPerDay = 86400;
constexpr std::int64_t secondsPerWeek = daysPerWeek * secondsPerDay;

using Layout = AltNavPvtLayout;

/// The year and the seconds since its start of the second before this time.
void fillTime(AltNavPVTOutput& output, idl::GPSTime const& time) {
    // In 64 bits: what comes in may be any number of 32 bits.
    std::int64_t secondOfWeek = std::int64_t{time.gps_tow_sec()} - 1;
    int firstDay = 0;
    if (secondOfWeek < 0) {
        // A day of the week before, counted from this week, so that no week is left without one
        // before it.
        secondOfWeek += secondsPerWeek;
        firstDay = -daysPerWeek;
    }
    const int day = firstDay + static_cast<int>(secondOfWeek / secondsPerDay);
    const std::int64_t secondOfDay = secondOfWeek % secondsPerDay;

    int year = 0;
    int month = 0;
    int dayOfMonth = 0;
    TimeUtilities::ToCivilDate(day, time.gps_week(), &year, &month, &dayOfMonth);
    const int dayOfYear = TimeUtilities::ToDayOfYear(year, month, dayOfMonth);
    output.set<Layout::Year>(static_cast<std::uint16_t>(year));
    output.set<Layout::TimeOfYear>(static_cast<double>(secondsPerDay) * (dayOfYear - 1.0) +
                                   static_cast<double>(secondOfDay) + time.gps_tow_nsec() * 1e-9);
}

void fillPosition(AltNavPVTOutput& output, idl::PositionVelocity const& record) {
    auto const& position = record.position();
    auto const& covariance = record.covariance();
    output.set<Layout::Latitude>(position.latitude());
    output.set<Layout::Longitude>(position.longitude());
    output.set<Layout::Altitude>(NarrowToFloat(position.altitude()));
    output.set<Layout::LatitudeVariance>(covariance[0][0]);
    output.set<Layout::LongitudeVariance>(covariance[1][1]);
    output.set<Layout::LatitudeLongitudeCovariance>(covariance[0][1]);
    output.set<Layout::AltitudeVariance>(NarrowToFloat(covariance[2][2]));
}

/// Velocities come as north, east, down.
void fillVelocity(AltNavPVTOutput& output, idl::PositionVelocity const& record) {
    auto const& covariance = record.covariance();
    const bool valid = !std::isinf(covariance[3][3]);
    output.set<Layout::VelocityValid>(valid ? 1 : 0);
    if (valid) {
        auto const& velocity = record.velocity();
        output.set<Layout::EastVelocity>(NarrowToFloat(velocity[1]));
        output.set<Layout::NorthVelocity>(NarrowToFloat(velocity[0]));
        output.set<Layout::UpVelocity>(NarrowToFloat(-velocity[2]));
    }
    output.set<Layout::EastVelocityVariance>(NarrowToFloat(covariance[4][4]));
    output.set<Layout::NorthVelocityVariance>(NarrowToFloat(covariance[3][3]));
    output.set<Layout::NorthEastVelocityCovariance>(NarrowToFloat(covariance[3][4]));
    output.set<Layout::UpVelocityVariance>(NarrowToFloat(covariance[5][5]));
}

}  // namespace

void AltNavSolution::store(idl::PositionVelocity const& record) {
    positionVelocity_ = record;
    positionVelocityReceived_ = true;
}

void AltNavSolution::store(idl::GPSTime const& record) {
    gpsTime_ = record;
    gpsTimeReceived_ = true;
}

bool AltNavSolution::isPair() const {
    if (!positionVelocityReceived_ || !gpsTimeReceived_) {
        return false;
    }
    auto const& position = positionVelocity_.header().timestamp_valid();
    auto const& time = gpsTime_.header().timestamp_valid();
    std::int64_t nextSecond = 0;
    return !__builtin_add_overflow(position.sec(), std::int64_t{1}, &nextSecond) &&
           nextSecond == time.sec() && position.nsec() == time.nsec();
}

std::shared_ptr<AltNavPVTOutput> AltNavSolution::takeOutput() {
    if (!isPair()) {
        return nullptr;
    }
    auto output = std::make_shared<AltNavPVTOutput>();
    output->set<Layout::SolutionValid>(Layout::solutionIsValid);
    fillTime(*output, gpsTime_);
    fillPosition(*output, positionVelocity_);
    fillVelocity(*output, positionVelocity_);
    positionVelocityReceived_ = false;
    gpsTimeReceived_ = false;
    return output;
}
