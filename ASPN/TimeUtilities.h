#pragma once

/// Calendar and time-of-week arithmetic. All are free of state; any thread may call. Pointers
/// must not be null. Any number may come in, a NaN or a week of -2,000,000,000 too: the result
/// then means nothing, but it is a number and it comes at once.
class TimeUtilities {
public:
    TimeUtilities() = delete;

    /// The day of the week (0 is Sunday) and the GPS week that UTC has, from the GPS seconds of
    /// the week, the GPS week and the UTC seconds of the day: where the two times of day are more
    /// than half a day apart, one of them is beyond midnight already. Seconds of the week that no
    /// `int` of days can hold count as day 0 or as the last one.
    static void ResolveUtcDate(double gpsSeconds, int week, double utcSeconds, int* day,
                               int* weekOut);

    /// The date of a day of a GPS week; day 0 of week 0 is 1980 January 6. The day may lie outside
    /// of its week. Right from 1900 March 1 until 2100 February 28: the formula counts a leap day
    /// every fourth year and thus finds one in 2100.
    static void ToCivilDate(int day, int week, int* year, int* month, int* dayOfMonth);

    /// January 1 is 1. A month below 1 gives 0, one above 12 counts as December; the day is not
    /// tested against the length of the month.
    static int ToDayOfYear(int year, int month, int day);

    /// The inverse of ToDayOfYear. Returns the month. What lies behind the year is a late day of
    /// December, what lies before it a day of January that is 0 or negative.
    static int ToMonthDay(int year, int dayOfYear, int* month, int* day);

    /// The time figure of merit, 1 (at most 1 ns) to 9, of a variance in square seconds: one step
    /// for each decade of its root. A NaN and the infinities give 9.
    static int TimeVar2Tfom(double variance);

    /// The same instant in [0, 86400.0]: whole days are taken off a value above 86400.0 and put
    /// onto one below 0, and no more than it takes. So 86400.0 stays, and 172800.0 becomes it.
    /// A NaN and the infinities give 0.
    static double normalize_to_one_day(double seconds);

    /// The same for [0, 604800.0].
    static double normalize_to_one_week(double seconds);
};
