#include <cmath>
#include <cstdint>
#include <ctime>
#include <limits>

#include <gtest/gtest.h>

#include "ASPN/TimeUtilities.h"

namespace {

constexpr int smallestInt = std::numeric_limits<int>::min();
constexpr int largestInt = std::numeric_limits<int>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

struct UtcDate {
    int day = -99;
    int week = -99;

    bool operator==(const UtcDate& other) const { return day == other.day && week == other.week; }
};

void PrintTo(const UtcDate& date, std::ostream* out) {
    *out << "day " << date.day << " of week " << date.week;
}

UtcDate resolve(double gpsSeconds, int week, double utcSeconds) {
    UtcDate date;
    TimeUtilities::ResolveUtcDate(gpsSeconds, week, utcSeconds, &date.day, &date.week);
    return date;
}

struct CivilDate {
    int year = -99;
    int month = -99;
    int day = -99;

    bool operator==(const CivilDate& other) const {
        return year == other.year && month == other.month && day == other.day;
    }
};

void PrintTo(const CivilDate& date, std::ostream* out) {
    *out << date.year << '-' << date.month << '-' << date.day;
}

CivilDate civil(int day, int week) {
    CivilDate date;
    TimeUtilities::ToCivilDate(day, week, &date.year, &date.month, &date.day);
    return date;
}

// The system's own calendar, for days since 1970.
std::tm systemCalendar(std::int64_t daysSince1970) {
    const auto time = static_cast<std::time_t>(daysSince1970 * 86400);
    std::tm calendar{};
    EXPECT_NE(gmtime_r(&time, &calendar), nullptr);
    return calendar;
}

constexpr std::int64_t firstGpsDay = 3657;  // 1980 January 6 in days since 1970
constexpr int lastRightDay = 43883;         // 2100 February 28 in days since the first GPS day

double oneDay(double seconds) {
    return TimeUtilities::normalize_to_one_day(seconds);
}
double oneWeek(double seconds) {
    return TimeUtilities::normalize_to_one_week(seconds);
}

// What normalising means, step by step.
double normalizedByLoop(double value, double period) {
    while (value > period) {
        value -= period;
    }
    while (value < 0.0) {
        value += period;
    }
    return value;
}

}  // namespace

TEST(ResolveUtcDate, KeepsTheDateWhileTheTimesOfDayAreClose) {
    EXPECT_EQ(resolve(2 * 86400.0 + 50000.0, 2100, 49982.0), (UtcDate{2, 2100}));
    EXPECT_EQ(resolve(0.0, 0, 0.0), (UtcDate{0, 0}));
}

TEST(ResolveUtcDate, GoesOneDayBackWhereGpsIsPastMidnightAlready) {
    EXPECT_EQ(resolve(3 * 86400.0 + 5.0, 2100, 86387.0), (UtcDate{2, 2100}));
}

TEST(ResolveUtcDate, GoesBackFromSundayToSaturdayOfTheWeekBefore) {
    EXPECT_EQ(resolve(5.0, 2100, 86387.0), (UtcDate{6, 2099}));
}

TEST(ResolveUtcDate, GoesOneDayOnWhereUtcIsPastMidnightAlready) {
    EXPECT_EQ(resolve(3 * 86400.0 + 86399.0, 2100, 1.0), (UtcDate{4, 2100}));
}

TEST(ResolveUtcDate, GoesOnFromSaturdayToSundayOfTheNextWeek) {
    EXPECT_EQ(resolve(6 * 86400.0 + 86399.0, 2100, 1.0), (UtcDate{0, 2101}));
}

TEST(ResolveUtcDate, KeepsTheDateAtExactlyHalfADay) {
    EXPECT_EQ(resolve(86400.0, 2100, 43200.0), (UtcDate{1, 2100}));
    EXPECT_EQ(resolve(86400.0 + 43200.0, 2100, 0.0), (UtcDate{1, 2100}));
    EXPECT_EQ(resolve(86400.0, 2100, std::nextafter(43200.0, 1e9)), (UtcDate{0, 2100}));
    EXPECT_EQ(resolve(86400.0 + 43200.5, 2100, 0.0), (UtcDate{2, 2100}));
}

TEST(ResolveUtcDate, AnswersForMadSecondsAndWeeks) {
    EXPECT_EQ(resolve(notANumber, 5, 0.0), (UtcDate{0, 5}));
    EXPECT_EQ(resolve(0.0, 5, notANumber), (UtcDate{0, 5}));
    EXPECT_EQ(resolve(infinity, 5, 0.0), (UtcDate{largestInt, 5}));
    EXPECT_EQ(resolve(-infinity, 5, 0.0), (UtcDate{smallestInt, 5}));
    EXPECT_EQ(resolve(1e300, 5, 0.0), (UtcDate{largestInt, 5}));
    EXPECT_EQ(resolve(-1e300, 5, 0.0), (UtcDate{smallestInt, 5}));
    EXPECT_EQ(resolve(0.0, smallestInt, 86399.0), (UtcDate{6, smallestInt}));
    EXPECT_EQ(resolve(7 * 86400.0 - 1.0, largestInt, 0.0), (UtcDate{0, largestInt}));
}

TEST(ToCivilDate, BeginsIn1980OnJanuary6) {
    EXPECT_EQ(civil(0, 0), (CivilDate{1980, 1, 6}));
}

TEST(ToCivilDate, AgreesWithTheSystemsCalendarUntilFebruary2100) {
    for (int count = -5; count <= lastRightDay; ++count) {
        const std::tm expected = systemCalendar(firstGpsDay + count);
        const CivilDate date{expected.tm_year + 1900, expected.tm_mon + 1, expected.tm_mday};
        ASSERT_EQ(civil(count, 0), date);
        ASSERT_EQ(civil(count % 7, count / 7), date) << "in days and weeks";
    }
    EXPECT_EQ(civil(lastRightDay, 0), (CivilDate{2100, 2, 28}));
}

TEST(ToCivilDate, CountsALeapDayIn2100) {
    EXPECT_EQ(civil(lastRightDay + 1, 0), (CivilDate{2100, 2, 29}));
    EXPECT_EQ(civil(lastRightDay + 2, 0), (CivilDate{2100, 3, 1}));
}

TEST(ToCivilDate, GivesADateForAnyDayAndWeek) {
    for (const int day : {smallestInt, -1, 0, 6, largestInt}) {
        for (const int week : {smallestInt, -1, 0, 2100, largestInt}) {
            const CivilDate date = civil(day, week);
            EXPECT_GE(date.month, 1);
            EXPECT_LE(date.month, 12);
            EXPECT_GE(date.day, 1);
            EXPECT_LE(date.day, 31);
        }
    }
    EXPECT_EQ(civil(-1, 0), (CivilDate{1980, 1, 5}));
    EXPECT_EQ(civil(6, -1), (CivilDate{1980, 1, 5}));
}

TEST(ToDayOfYear, AgreesWithTheSystemsCalendarFrom1980To2100) {
    for (std::int64_t day = firstGpsDay - 5;; ++day) {
        const std::tm expected = systemCalendar(day);
        const int year = expected.tm_year + 1900;
        if (year > 2100) {
            break;
        }
        ASSERT_EQ(TimeUtilities::ToDayOfYear(year, expected.tm_mon + 1, expected.tm_mday),
                  expected.tm_yday + 1)
            << year << ' ' << expected.tm_yday;
    }
}

TEST(ToDayOfYear, KnowsTheLeapYears) {
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2023, 12, 31), 365);
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2024, 12, 31), 366);
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2000, 12, 31), 366);
    EXPECT_EQ(TimeUtilities::ToDayOfYear(1900, 12, 31), 365);
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2100, 3, 1), 60);
}

TEST(ToDayOfYear, GivesZeroForAMonthBelowOne) {
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2024, 0, 15), 0);
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2024, -3, 15), 0);
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2024, smallestInt, 15), 0);
}

TEST(ToDayOfYear, AnswersForMadDates) {
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2023, 13, 1), 335) << "as December";
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2023, largestInt, 1), 335);
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2023, 12, largestInt), largestInt);
    EXPECT_EQ(TimeUtilities::ToDayOfYear(2023, 1, smallestInt), smallestInt);
    EXPECT_EQ(TimeUtilities::ToDayOfYear(smallestInt, 3, 1), 61) << "a leap year";
    EXPECT_EQ(TimeUtilities::ToDayOfYear(largestInt, 3, 1), 60);
}

TEST(ToMonthDay, IsTheInverseOfToDayOfYearInAllKindsOfYears) {
    for (const int year : {1900, 1980, 1999, 2000, 2023, 2024, 2096, 2100, 2400}) {
        const int days = TimeUtilities::ToDayOfYear(year, 12, 31);
        int lastMonth = 1;
        int lastDay = 0;
        for (int dayOfYear = 1; dayOfYear <= days; ++dayOfYear) {
            int month = 0;
            int day = 0;
            ASSERT_EQ(TimeUtilities::ToMonthDay(year, dayOfYear, &month, &day), month);
            ASSERT_EQ(TimeUtilities::ToDayOfYear(year, month, day), dayOfYear);
            // The day after the last one: the next of its month or the first of the next month.
            if (month == lastMonth) {
                ASSERT_EQ(day, lastDay + 1) << year << ' ' << dayOfYear;
            } else {
                ASSERT_EQ(month, lastMonth + 1) << year << ' ' << dayOfYear;
                ASSERT_EQ(day, 1) << year << ' ' << dayOfYear;
                ASSERT_GE(lastDay, 28) << year << ' ' << dayOfYear;
            }
            lastMonth = month;
            lastDay = day;
        }
        EXPECT_EQ(lastMonth, 12);
        EXPECT_EQ(lastDay, 31);
    }
}

TEST(ToMonthDay, AgreesWithTheSystemsCalendarFrom1980To2100) {
    for (std::int64_t count = firstGpsDay - 5;; ++count) {
        const std::tm expected = systemCalendar(count);
        const int year = expected.tm_year + 1900;
        if (year > 2100) {
            break;
        }
        int month = 0;
        int day = 0;
        TimeUtilities::ToMonthDay(year, expected.tm_yday + 1, &month, &day);
        ASSERT_EQ(month, expected.tm_mon + 1);
        ASSERT_EQ(day, expected.tm_mday);
    }
}

TEST(ToMonthDay, LandsInDecemberForAllThatComesLater) {
    int month = 0;
    int day = 0;
    EXPECT_EQ(TimeUtilities::ToMonthDay(2023, 335, &month, &day), 12);
    EXPECT_EQ(day, 1);
    EXPECT_EQ(TimeUtilities::ToMonthDay(2023, 366, &month, &day), 12);
    EXPECT_EQ(day, 32);
    EXPECT_EQ(TimeUtilities::ToMonthDay(2024, largestInt, &month, &day), 12);
    EXPECT_EQ(month, 12);
    EXPECT_EQ(day, largestInt - 335);
}

TEST(ToMonthDay, LandsInJanuaryForAllThatComesBefore) {
    int month = 0;
    int day = 99;
    EXPECT_EQ(TimeUtilities::ToMonthDay(2024, 0, &month, &day), 1);
    EXPECT_EQ(day, 0);
    EXPECT_EQ(TimeUtilities::ToMonthDay(2024, smallestInt, &month, &day), 1);
    EXPECT_EQ(month, 1);
    EXPECT_EQ(day, smallestInt);
}

TEST(TimeVar2Tfom, StepsAtTheSquareOfEachDecade) {
    // The decades in seconds, squared where the program runs, not by the compiler.
    const volatile double decades[] = {1e-9, 1e-8, 1e-7, 1e-6, 1e-5, 1e-4, 1e-3, 1e-2};
    int figure = 1;
    for (const volatile double& decade : decades) {
        const double limit = decade * decade;
        EXPECT_EQ(TimeUtilities::TimeVar2Tfom(std::nextafter(limit, 0.0)), figure);
        EXPECT_EQ(TimeUtilities::TimeVar2Tfom(limit), figure) << "at " << limit;
        EXPECT_EQ(TimeUtilities::TimeVar2Tfom(std::nextafter(limit, 1.0)), figure + 1)
            << "just above " << limit;
        ++figure;
    }
}

TEST(TimeVar2Tfom, HasTheSmallestFigureForNoVarianceAndBelow) {
    EXPECT_EQ(TimeUtilities::TimeVar2Tfom(0.0), 1);
    EXPECT_EQ(TimeUtilities::TimeVar2Tfom(-0.0), 1);
    EXPECT_EQ(TimeUtilities::TimeVar2Tfom(-1.0), 1);
    EXPECT_EQ(TimeUtilities::TimeVar2Tfom(std::numeric_limits<double>::denorm_min()), 1);
}

TEST(TimeVar2Tfom, HasTheLargestFigureForAllThatIsNoFiniteNumber) {
    EXPECT_EQ(TimeUtilities::TimeVar2Tfom(notANumber), 9);
    EXPECT_EQ(TimeUtilities::TimeVar2Tfom(infinity), 9);
    EXPECT_EQ(TimeUtilities::TimeVar2Tfom(-infinity), 9);
    EXPECT_EQ(TimeUtilities::TimeVar2Tfom(1.0), 9);
    EXPECT_EQ(TimeUtilities::TimeVar2Tfom(std::numeric_limits<double>::max()), 9);
}

TEST(Normalize, LeavesTheEndsOfThePeriodAsTheyAre) {
    EXPECT_EQ(oneWeek(604800.0), 604800.0);
    EXPECT_EQ(oneDay(86400.0), 86400.0);
    EXPECT_EQ(oneWeek(0.0), 0.0);
    EXPECT_EQ(oneDay(0.0), 0.0);
    EXPECT_EQ(oneDay(43200.25), 43200.25);
}

TEST(Normalize, AddsAPeriodBelowZero) {
    EXPECT_EQ(oneDay(-1.0), 86399.0);
    EXPECT_EQ(oneWeek(-1.0), 604799.0);
    EXPECT_EQ(oneDay(-86400.0), 0.0);
    EXPECT_FALSE(std::signbit(oneDay(-86400.0)));
    EXPECT_EQ(oneDay(-86400.5), 86399.5);
}

TEST(Normalize, TakesOffOnlyWhatIsAboveThePeriod) {
    EXPECT_EQ(oneDay(86400.5), 0.5);
    EXPECT_EQ(oneDay(2 * 86400.0), 86400.0);
    EXPECT_EQ(oneWeek(5 * 604800.0), 604800.0);
    EXPECT_EQ(oneWeek(604801.0), 1.0);
}

TEST(Normalize, AgreesWithTheStepsOneByOne) {
    // Halves and quarters, so that the steps themselves do not round.
    for (double value = -400'000.0; value <= 400'000.0; value += 123.25) {
        ASSERT_EQ(oneDay(value), normalizedByLoop(value, 86400.0)) << value;
    }
    for (double value = -3'000'000.0; value <= 3'000'000.0; value += 604.5) {
        ASSERT_EQ(oneWeek(value), normalizedByLoop(value, 604800.0)) << value;
    }
    for (int periods = -5; periods <= 5; ++periods) {
        ASSERT_EQ(oneDay(periods * 86400.0), normalizedByLoop(periods * 86400.0, 86400.0));
        ASSERT_EQ(oneWeek(periods * 604800.0), normalizedByLoop(periods * 604800.0, 604800.0));
    }
}

TEST(Normalize, GivesZeroForAllThatIsNoFiniteNumber) {
    for (const double value : {notANumber, infinity, -infinity}) {
        EXPECT_EQ(oneDay(value), 0.0);
        EXPECT_EQ(oneWeek(value), 0.0);
    }
}

TEST(Normalize, ComesToAnEndForTheLargestValues) {
    for (const double value : {std::numeric_limits<double>::max(), 1e18, 1e300}) {
        for (const double sign : {1.0, -1.0}) {
            EXPECT_GE(oneDay(sign * value), 0.0);
            EXPECT_LE(oneDay(sign * value), 86400.0);
            EXPECT_GE(oneWeek(sign * value), 0.0);
            EXPECT_LE(oneWeek(sign * value), 604800.0);
        }
    }
    EXPECT_LE(oneDay(-std::numeric_limits<double>::denorm_min()), 86400.0);
}
