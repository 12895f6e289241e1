#include "zephon/TimeMark.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "ASPN/TimeUtilities.h"
#include "messages/WireNumbers.h"
#include "zephon/GssipRoutes.h"

namespace {

using namespace std::chrono_literals;
namespace idl = aspn2_msgs::idl;

constexpr std::chrono::nanoseconds reach = 100ms;  // fused time at most so far from the mark

constexpr double secondsPerWeek = 604800.0;
constexpr int lastWeek = 6268;  // the last one whose dates ToCivilDate knows, February 2100

constexpr int noFigure = 9;                    // of a time that is worse than 10 ms
constexpr float defaultUncertainty = 1000.0F;  // s

bool isTimeInWeek(double seconds) {
    return seconds >= 0.0 && seconds < secondsPerWeek;  // a NaN is not
}

bool isVariance(double variance) {
    return std::isfinite(variance) && variance >= 0.0;
}

template <typename Record>
double gpsSecondsOf(Record const& record) {
    return record.gps_tow_sec() + record.gps_tow_nsec() * 1e-9;
}

double utcSecondsOf(idl::UTCTime const& record) {
    return record.utc_tod_sec() + record.utc_tod_nsec() * 1e-9;
}

template <typename Record>
bool isUsableGpsTime(Record const& record) {
    return isTimeInWeek(gpsSecondsOf(record)) && record.gps_week() >= 0 &&
           record.gps_week() <= lastWeek && isVariance(record.covariance()[0][0]);
}

}  // namespace

bool TimeMark::store(idl::GSSIP const& record, bool receiverFailed) {
    if (!mark_.ok_set_8504_gpsip(record.data().data(), gssipFrameLength(record))) {
        return false;
    }
    mark_.unpack_8504();
    mark_.setReceiverFailure(receiverFailed);
    markTime_ = ASPN2::validityOf(record.header());
    received8504_ = true;
    return true;
}

void TimeMark::store(idl::GPSTime const& record) {
    gpsTime_ = record;
    receivedMxGpsTime_ = true;
}

void TimeMark::store(idl::UTCTime const& record) {
    utcTime_ = record;
    receivedMxUtcTime_ = true;
}

bool TimeMark::isWithinReach(idl::header const& fused) const {
    const auto apart = ASPN2::nanosecondsBetween(markTime_, ASPN2::validityOf(fused));
    return apart >= -reach && apart <= reach;
}

bool TimeMark::isDue(bool merge) const {
    if (!merge) {
        return received8504_;
    }
    return received8504_ && receivedMxGpsTime_ && receivedMxUtcTime_ &&
           isWithinReach(gpsTime_.header()) && isWithinReach(utcTime_.header()) &&
           isUsableGpsTime(gpsTime_) && isUsableGpsTime(utcTime_) &&
           isTimeInWeek(utcSecondsOf(utcTime_));
}

std::shared_ptr<Trevo_8504_Msg> TimeMark::takeOutput(bool merge, bool receiverFailed) {
    if (!isDue(merge)) {
        return nullptr;
    }
    // The data of the mark behind a fresh header: what the engine's header told of id and length
    // was never looked at.
    auto message = std::make_shared<Trevo_8504_Msg>();
    std::copy_n(mark_.data, mark_.wordCount, message->data);
    if (merge) {
        message->record = mark_.record;
        this->merge(*message);
    }
    message->setReceiverFailure(receiverFailed);
    received8504_ = false;
    receivedMxGpsTime_ = false;
    receivedMxUtcTime_ = false;
    return message;
}

void TimeMark::merge(Trevo_8504_Msg& message) const {
    // Of the GPS record only its time shows: date and quality are those of the UTC record.
    const double gpsSeconds = gpsSecondsOf(utcTime_);
    const double utcSeconds = utcSecondsOf(utcTime_);
    int day = 0;
    int week = 0;
    TimeUtilities::ResolveUtcDate(gpsSeconds, utcTime_.gps_week(),
                                  TimeUtilities::normalize_to_one_day(utcSeconds), &day, &week);
    int year = 0;
    int month = 0;
    int dayOfMonth = 0;
    TimeUtilities::ToCivilDate(day, week, &year, &month, &dayOfMonth);

    const double variance = utcTime_.covariance()[0][0];
    const int figure = TimeUtilities::TimeVar2Tfom(variance);

    Trevo8504Record& record = message.record;
    record.gpsTowSeconds = gpsSecondsOf(gpsTime_);
    record.utcTodSeconds = utcSeconds;
    record.timeUncertainty =
        figure == noFigure ? defaultUncertainty : static_cast<float>(std::sqrt(variance));
    record.year = static_cast<std::uint16_t>(ToNBCD(static_cast<unsigned>(year)));
    record.monthDay =
        static_cast<std::uint16_t>(ToNBCD(static_cast<unsigned>(month * 100 + dayOfMonth)));
    record.dayOfYear =
        static_cast<std::uint16_t>(TimeUtilities::ToDayOfYear(year, month, dayOfMonth));
    message.setTimeSource(false);
    message.setTimeFigure(static_cast<unsigned>(figure));
    message.pack_8504();
}
