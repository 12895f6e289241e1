#include "ASPN/TimeUtilities.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

constexpr double secondsPerDay = 86400.0;
constexpr double secondsPerWeek = 604800.0;
constexpr int daysPerWeek = 7;
constexpr int december = 12;

int toInt(std::int64_t value) {
    return static_cast<int>(std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

// The whole part; the nearest int where there is none, 0 for a NaN.
int toInt(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    return static_cast<int>(std::clamp<double>(value, std::numeric_limits<int>::min(),
                                               std::numeric_limits<int>::max()));
}

bool isLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

// The days of the year before the first of a month, 1 to 12.
int daysBefore(int year, int month) {
    constexpr std::array<int, december> days{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    constexpr int february = 2;
    return days.at(static_cast<std::size_t>(month - 1)) +
           (month > february && isLeapYear(year) ? 1 : 0);
}

// What comes of taking `period` off while the value is above it and adding it while it is below
// 0, in one step however far it is.
double normalize(double value, double period) {
    if (!std::isfinite(value)) {
        return 0.0;
    }
    if (value >= 0.0 && value <= period) {
        return value;
    }
    const double rest = std::fmod(value, period);
    if (value > period) {
        return rest > 0.0 ? rest : period;
    }
    return rest < 0.0 ? rest + period : 0.0;
}

}  // namespace

void TimeUtilities::ResolveUtcDate(double gpsSeconds, int week, double utcSeconds, int* day,
                                   int* weekOut) {
    constexpr double halfDay = 43200.0;
    std::int64_t resolvedDay = toInt(gpsSeconds / secondsPerDay);
    std::int64_t resolvedWeek = week;
    const double apart = gpsSeconds - secondsPerDay * static_cast<double>(resolvedDay) - utcSeconds;
    if (apart < -halfDay) {
        if (resolvedDay == 0) {
            resolvedDay = daysPerWeek;
            --resolvedWeek;
        }
        --resolvedDay;
    } else if (apart > halfDay) {
        ++resolvedDay;
        if (resolvedDay == daysPerWeek) {
            resolvedDay = 0;
            ++resolvedWeek;
        }
    }
    *day = toInt(resolvedDay);
    *weekOut = toInt(resolvedWeek);
}

void TimeUtilities::ToCivilDate(int day, int week, int* year, int* month, int* dayOfMonth) {
    // From the Julian day, by the usual formula for years that begin in March. All in doubles,
    // which hold every day that two ints can name exactly.
    const double julianDay =
        day + static_cast<double>(week) * daysPerWeek + 44244 + 2400000.5 + 0.5;
    const double a = std::floor(julianDay);
    const double c = std::floor((a + 1537.0 - 122.1) / 365.25);
    const double e = a + 1537.0 - std::floor(c * 365.25);
    const double f = std::floor(e / 30.6001);
    const double monthOfYear = f - 1 - 12 * std::floor(f / 14);
    *dayOfMonth = toInt(std::floor(julianDay - a + e - std::floor(f * 30.6001)));
    *month = toInt(monthOfYear);
    *year = toInt(c - 4715 - std::floor((monthOfYear + 7) / 10));
}

int TimeUtilities::ToDayOfYear(int year, int month, int day) {
    if (month < 1) {
        return 0;
    }
    return toInt(std::int64_t{day} + daysBefore(year, std::min(month, december)));
}

int TimeUtilities::ToMonthDay(int year, int dayOfYear, int* month, int* day) {
    *month = december;
    while (*month > 1 && dayOfYear <= daysBefore(year, *month)) {
        --*month;
    }
    *day = dayOfYear - daysBefore(year, *month);
    return *month;
}

int TimeUtilities::TimeVar2Tfom(double variance) {
    // The squares as a computer multiplies them, some of which are not the nearest doubles to
    // the powers of ten.
    constexpr std::array<double, 8> limits{1e-9 * 1e-9, 1e-8 * 1e-8, 1e-7 * 1e-7, 1e-6 * 1e-6,
                                           1e-5 * 1e-5, 1e-4 * 1e-4, 1e-3 * 1e-3, 1e-2 * 1e-2};
    constexpr int worst = 9;
    if (!std::isfinite(variance)) {
        return worst;
    }
    const auto* const limit = std::lower_bound(limits.begin(), limits.end(), variance);
    return static_cast<int>(limit - limits.begin()) + 1;
}

double TimeUtilities::normalize_to_one_day(double seconds) {
    return normalize(seconds, secondsPerDay);
}

double TimeUtilities::normalize_to_one_week(double seconds) {
    return normalize(seconds, secondsPerWeek);
}
