#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "gmock/gmock.h"
#include "tests/messages/MessageBytes.h"
#include "tests/zephon/GssipRecords.h"
#include "zephon/TimeMark.h"

namespace {

namespace idl = aspn2_msgs::idl;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr auto largest32 = std::numeric_limits<std::int32_t>::max();
constexpr auto smallest32 = std::numeric_limits<std::int32_t>::min();
constexpr auto largest64 = std::numeric_limits<std::int64_t>::max();
constexpr auto smallest64 = std::numeric_limits<std::int64_t>::min();

constexpr bool alone = false;
constexpr bool merged = true;
constexpr bool failed = true;
constexpr bool sound = false;

constexpr std::size_t markBytes = 400;

template <typename Record>
Record tagged(Record record, std::int64_t sec, std::int32_t nsec) {
    record.header().timestamp_valid().sec(sec);
    record.header().timestamp_valid().nsec(nsec);
    return record;
}

/// A mark with 0xEE wherever nothing is written.
idl::GSSIP markAt(std::int64_t sec, std::int32_t nsec,
                  std::map<std::size_t, Bytes> const& written = {}) {
    return tagged(makeRecord(frameOf(8504, untouchedBut(markBytes, written)), trevo), sec, nsec);
}

/// 2026 November 21, 18:00:18.25 by GPS.
idl::GPSTime gpsAt(std::int64_t sec, std::int32_t nsec) {
    idl::GPSTime record;
    record.gps_week(2445);
    record.gps_tow_sec(583218);
    record.gps_tow_nsec(250'000'000);
    record.covariance()[0][0] = 1e-18;
    return tagged(record, sec, nsec);
}

/// 2026 November 21, 18:00:00.5 by UTC, to 1.4 us.
idl::UTCTime utcAt(std::int64_t sec, std::int32_t nsec) {
    idl::UTCTime record;
    record.gps_week(2445);
    record.gps_tow_sec(583218);
    record.gps_tow_nsec(500'000'000);
    record.utc_tod_sec(64800);
    record.utc_tod_nsec(500'000'000);
    record.covariance()[0][0] = 2e-12;
    return tagged(record, sec, nsec);
}

/// What comes of a mark with fused times, all of one instant; null when nothing does.
std::shared_ptr<Trevo_8504_Msg> outputOf(idl::GPSTime const& gps, idl::UTCTime const& utc) {
    TimeMark join;
    EXPECT_TRUE(join.store(markAt(100, 0), sound));
    join.store(gps);
    join.store(utc);
    return join.takeOutput(merged, sound);
}

Bytes part(Bytes const& data, std::size_t offset, std::size_t length) {
    const auto begin = data.begin() + static_cast<std::ptrdiff_t>(offset);
    return {begin, begin + static_cast<std::ptrdiff_t>(length)};
}

// ---- Alone --------------------------------------------------------------------------------

TEST(TimeMark, GoesOnAloneAsTheEngineGaveItButForTheFailureBit) {
    TimeMark join;
    ASSERT_TRUE(join.store(markAt(1, 0), sound));
    const auto sent = join.takeOutput(alone, sound);
    ASSERT_NE(nullptr, sent);
    EXPECT_EQ((Bytes{0xFF, 0x81, 0x38, 0x21, 0xC8, 0x00, 0x00, 0x90, 0x00, 0x00}), headerOf(*sent));
    EXPECT_EQ(untouchedBut(markBytes, {}), dataOf(*sent)) << "bit 4 of 0xEE is clear";

    ASSERT_TRUE(join.store(markAt(2, 0, {{96, {0x1F}}}), sound));
    EXPECT_EQ(untouchedBut(markBytes, {{96, {0x0F}}}), dataOf(*join.takeOutput(alone, sound)));
    ASSERT_TRUE(join.store(markAt(3, 0), failed));
    EXPECT_EQ(untouchedBut(markBytes, {{96, {0xFE}}}), dataOf(*join.takeOutput(alone, failed)));
}

TEST(TimeMark, CarriesTheFailureOfTheMomentInWhichItIsSent) {
    TimeMark join;
    ASSERT_TRUE(join.store(markAt(1, 0), sound));
    EXPECT_TRUE(join.takeOutput(alone, failed)->recieverFailureDetected());
    ASSERT_TRUE(join.store(markAt(2, 0), failed));
    EXPECT_FALSE(join.takeOutput(alone, sound)->recieverFailureDetected());
}

TEST(TimeMark, ShowsTheFailureInTheStoredFrameAndRecord) {
    TimeMark join;
    ASSERT_TRUE(join.store(markAt(1, 0), failed));
    EXPECT_TRUE(join.last8504().recieverFailureDetected());
    EXPECT_EQ(0xFE, join.last8504().record.status96);
    ASSERT_TRUE(join.store(markAt(2, 0, {{96, {0xFF}}}), sound));
    EXPECT_FALSE(join.last8504().recieverFailureDetected());
    EXPECT_EQ(0xEF, join.last8504().record.status96);
}

TEST(TimeMark, GoesOnAloneOnlyOnce) {
    TimeMark join;
    EXPECT_FALSE(join.isDue(alone));
    EXPECT_EQ(nullptr, join.takeOutput(alone, sound));
    ASSERT_TRUE(join.store(markAt(1, 0), sound));
    EXPECT_TRUE(join.isDue(alone));
    EXPECT_NE(nullptr, join.takeOutput(alone, sound));
    EXPECT_FALSE(join.isDue(alone));
    EXPECT_EQ(nullptr, join.takeOutput(alone, sound));
}

TEST(TimeMark, AloneLooksAtNoFusedTime) {
    TimeMark join;
    join.store(gpsAt(1, 0));
    join.store(utcAt(1, 0));
    EXPECT_EQ(nullptr, join.takeOutput(alone, sound)) << "fused time alone is no mark";
    ASSERT_TRUE(join.store(markAt(1, 0), sound));
    EXPECT_EQ(untouchedBut(markBytes, {}), dataOf(*join.takeOutput(alone, sound)));
    ASSERT_TRUE(join.store(markAt(1, 0), sound));
    EXPECT_FALSE(join.isDue(merged)) << "the fused times were spent with the mark";
}

TEST(TimeMark, IsAllZeroBeforeTheFirst) {
    const TimeMark join;
    EXPECT_EQ(Bytes(markBytes), dataOf(join.last8504()));
    EXPECT_EQ(0.0, join.last8504().record.gpsTowSeconds);
    EXPECT_EQ(0, join.last8504().get<Trevo8504Layout::EngineState>());
}

TEST(TimeMark, StaysReadableWhenItIsSpent) {
    TimeMark join;
    ASSERT_TRUE(join.store(markAt(1, 0, {{0, {0x80, 0x40, 0, 0, 0, 0, 0, 0}}}), sound));
    join.takeOutput(alone, sound);
    EXPECT_EQ(1.0, join.last8504().record.gpsTowSeconds);
}

TEST(TimeMark, OfAnotherLengthIsRefusedAndChangesNothing) {
    TimeMark join;
    ASSERT_TRUE(join.store(markAt(1, 0), sound));
    const Bytes whole = frameOf(8504, Bytes(600, 0x11));
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        Bytes bytes = part(whole, 0, length);
        bytes.shrink_to_fit();
        auto record = tagged(makeRecord(bytes, trevo), 9, 0);
        record.num_bytes(largest32);
        if (length != 412 && length != 413) {
            EXPECT_FALSE(join.store(record, failed)) << length;
        }
    }
    EXPECT_EQ(untouchedBut(markBytes, {}), dataOf(join.last8504()));
    join.store(gpsAt(1, 0));
    join.store(utcAt(1, 0));
    EXPECT_TRUE(join.isDue(merged)) << "its time is the old one too";
    TimeMark fresh;
    EXPECT_FALSE(fresh.store(makeRecord(part(whole, 0, 100), trevo), sound));
    EXPECT_FALSE(fresh.isDue(alone));
}

TEST(TimeMark, GoesOutBehindAHeaderOfItsOwnWhateverTheEngineTells) {
    Bytes frame = frameOf(8504, untouchedBut(markBytes, {}));
    const Bytes mad{0x12, 0x34, 0xFF, 0xFF, 0xFF, 0xFF, 0x34, 0x12, 0x55, 0x55};
    std::copy(mad.begin(), mad.end(), frame.begin());
    TimeMark join;
    ASSERT_TRUE(join.store(makeRecord(frame, trevo), sound));
    const auto sent = join.takeOutput(alone, sound);
    const Bytes written = writtenBy(*sent);
    ASSERT_EQ(412U, written.size());
    EXPECT_EQ((Bytes{0xFF, 0x81, 0x38, 0x21, 0xC8, 0x00, 0x00, 0x90}), part(written, 0, 8));
}

// ---- With the fused time ------------------------------------------------------------------

TEST(TimeMark, CarriesTheFusedTimeInItsPlacesAndLeavesAllOtherBytes) {
    const auto sent = outputOf(gpsAt(100, 0), utcAt(100, 0));
    ASSERT_NE(nullptr, sent);
    EXPECT_EQ((Bytes{0xFF, 0x81, 0x38, 0x21, 0xC8, 0x00, 0x00, 0x90, 0x00, 0x00}), headerOf(*sent));
    const Bytes expected = untouchedBut(
        markBytes, {{0, {0x0E, 0x4A, 0x24, 0x63, 0x00, 0x00, 0x00, 0x00}},  // 583218.25
                    {8, {0x7D, 0x48, 0x80, 0x20, 0x00, 0x00, 0x00, 0x00}},  // 64800.5
                    // A decoded double lacks the low three bits of the wire's fraction.
                    {34, {0xE8}},
                    {42, {0xE8}},
                    {50, {0xE8}},
                    {84, {0xBD, 0x36, 0x02, 0xD0}},              // the root of 2e-12
                    {88, {0x26, 0x20, 0x21, 0x11, 0x45, 0x01}},  // 2026, 11-21, day 325
                    {97, {0x65}}});                              // own time, figure 5
    EXPECT_EQ(expected, dataOf(*sent));
}

TEST(TimeMark, WithFusedTimeTooCarriesTheFailureOfTheMoment) {
    TimeMark join;
    ASSERT_TRUE(join.store(markAt(1, 0), sound));
    join.store(gpsAt(1, 0));
    join.store(utcAt(1, 0));
    const auto sent = join.takeOutput(merged, failed);
    EXPECT_EQ((Bytes{0xFE, 0x65}), part(dataOf(*sent), 96, 2));
    EXPECT_EQ(0xFE, sent->record.status96);
}

TEST(TimeMark, TakesFigureAndUncertaintyFromTheVarianceOfUtc) {
    struct Case {
        double variance;
        unsigned char figure;
        Bytes uncertainty;
    };
    for (auto const& [variance, figure, uncertainty] : {
             Case{0.0, 1, {0x00, 0x00, 0x00, 0x00}},
             Case{1e-18, 1, {0x89, 0x31, 0x5F, 0x70}},
             Case{4e-16, 3, {0xAB, 0x33, 0x77, 0xCC}},
             Case{1e-4, 8, {0x23, 0x3D, 0x0A, 0xD7}},
             Case{std::nextafter(1e-4, 1), 9, {0x7A, 0x45, 0x00, 0x00}},
             Case{1.0, 9, {0x7A, 0x45, 0x00, 0x00}},
             Case{1e300, 9, {0x7A, 0x45, 0x00, 0x00}},
         }) {
        auto utc = utcAt(100, 0);
        utc.covariance()[0][0] = variance;
        const auto sent = outputOf(gpsAt(100, 0), utc);
        ASSERT_NE(nullptr, sent) << variance;
        EXPECT_EQ(figure, sent->data[48] >> 8U & 0x0FU) << variance;
        EXPECT_EQ(uncertainty, part(dataOf(*sent), 84, 4)) << variance;
    }
}

TEST(TimeMark, LetsUtcHaveTheLastWordOnDateFigureAndUncertainty) {
    auto gps = gpsAt(100, 0);
    gps.gps_week(1000);
    gps.covariance()[0][0] = 1.0;
    EXPECT_EQ(dataOf(*outputOf(gpsAt(100, 0), utcAt(100, 0))),
              dataOf(*outputOf(gps, utcAt(100, 0))));
    auto utc = utcAt(100, 0);
    utc.covariance()[0][0] = 1.0;
    const Bytes data = dataOf(*outputOf(gpsAt(100, 0), utc));
    EXPECT_EQ((Bytes{0x7A, 0x45, 0x00, 0x00}), part(data, 84, 4)) << "though GPS knows better";
    EXPECT_EQ(0x69, data[97]);
}

TEST(TimeMark, CarriesTheDateOfUtcAlsoWhereGpsHasAnother) {
    struct Case {
        std::int32_t week;
        std::int32_t gpsSeconds;
        std::int32_t utcSeconds;
        Bytes date;
    };
    constexpr std::int32_t day = 86400;
    for (auto const& [week, gpsSeconds, utcSeconds, date] : {
             Case{2347, 2 * day + 43218, 43200, {0x24, 0x20, 0x31, 0x12, 0x6E, 0x01}},  // leap year
             Case{2347, 3 * day + 17, 86399, {0x24, 0x20, 0x31, 0x12, 0x6E, 0x01}},
             Case{2347, 3 * day + 18, 0, {0x25, 0x20, 0x01, 0x01, 0x01, 0x00}},
             Case{2452, 17, 86399, {0x27, 0x20, 0x02, 0x01, 0x02, 0x00}},  // and another week
             Case{2452, 18, 0, {0x27, 0x20, 0x03, 0x01, 0x03, 0x00}},
             Case{2512, 2 * day + 43218, 43200, {0x28, 0x20, 0x29, 0x02, 0x3C, 0x00}},
             Case{2512, 3 * day + 43218, 43200, {0x28, 0x20, 0x01, 0x03, 0x3D, 0x00}},
             Case{0, 43200, 43200, {0x80, 0x19, 0x06, 0x01, 0x06, 0x00}},
             Case{0, 0, 86382, {0x80, 0x19, 0x05, 0x01, 0x05, 0x00}},
             Case{6268, 6 * day + 43218, 43200, {0x00, 0x21, 0x27, 0x02, 0x3A, 0x00}},
         }) {
        auto utc = utcAt(100, 0);
        utc.gps_week(week);
        utc.gps_tow_sec(gpsSeconds);
        utc.utc_tod_sec(utcSeconds);
        const auto sent = outputOf(gpsAt(100, 0), utc);
        ASSERT_NE(nullptr, sent) << week << ' ' << gpsSeconds;
        EXPECT_EQ(date, part(dataOf(*sent), 88, 6)) << week << ' ' << gpsSeconds;
    }
}

TEST(TimeMark, TakesWholeDaysOffTheTimeOfDayForTheDateOnly) {
    auto utc = utcAt(100, 0);
    utc.utc_tod_sec(64800 + 2 * 86400);
    const Bytes data = dataOf(*outputOf(gpsAt(100, 0), utc));
    EXPECT_EQ((Bytes{0x26, 0x20, 0x21, 0x11, 0x45, 0x01}), part(data, 88, 6));
    EXPECT_EQ((Bytes{0x68, 0x49, 0x20, 0x08, 0x00, 0x00, 0x00, 0x00}), part(data, 8, 8))
        << "237600.5";
}

TEST(TimeMark, TakesATimeOfWeekJustAboveAWholeDayAsTheNextDay) {
    auto utc = utcAt(100, 0);
    utc.gps_tow_sec(86400);
    utc.gps_tow_nsec(250'000'000);
    utc.utc_tod_sec(0);
    utc.utc_tod_nsec(250'000'000);
    EXPECT_EQ((Bytes{0x26, 0x20, 0x16, 0x11, 0x40, 0x01}),
              part(dataOf(*outputOf(gpsAt(100, 0), utc)), 88, 6))
        << "Monday";
}

// ---- Waiting ------------------------------------------------------------------------------

TEST(TimeMark, WaitsForBothFusedTimesInAnyOrder) {
    using Step = void (*)(TimeMark&);
    const std::vector<Step> steps{[](TimeMark& join) { join.store(markAt(5, 0), sound); },
                                  [](TimeMark& join) { join.store(gpsAt(5, 0)); },
                                  [](TimeMark& join) { join.store(utcAt(5, 0)); }};
    std::vector<std::size_t> order{0, 1, 2};
    do {
        TimeMark join;
        steps[order[0]](join);
        EXPECT_EQ(nullptr, join.takeOutput(merged, sound));
        steps[order[1]](join);
        EXPECT_EQ(nullptr, join.takeOutput(merged, sound));
        steps[order[2]](join);
        EXPECT_TRUE(join.isDue(merged));
        EXPECT_NE(nullptr, join.takeOutput(merged, sound));
        EXPECT_EQ(nullptr, join.takeOutput(merged, sound)) << "all three are spent";
        steps[order[0]](join);
        steps[order[1]](join);
        EXPECT_EQ(nullptr, join.takeOutput(merged, sound)) << "the third is spent too";
    } while (std::next_permutation(order.begin(), order.end()));
}

/// Whether a mark at 100 s, and fused times so far from it, come together.
bool matches(idl::header const& gps, idl::header const& utc) {
    auto gpsTime = gpsAt(0, 0);
    gpsTime.header(gps);
    auto utcTime = utcAt(0, 0);
    utcTime.header(utc);
    return outputOf(gpsTime, utcTime) != nullptr;
}
idl::header at(std::int64_t sec, std::int32_t nsec) {
    return gpsAt(sec, nsec).header();
}

TEST(TimeMark, MatchesFusedTimesUpToATenthOfASecondAway) {
    const idl::header mark = at(100, 0);
    for (auto const& near : {at(100, 100'000'000), at(99, 900'000'000), at(100, -100'000'000),
                             at(99, 1'000'000'000), at(98, 2'100'000'000)}) {
        EXPECT_TRUE(matches(near, mark)) << near.timestamp_valid().nsec();
        EXPECT_TRUE(matches(mark, near)) << near.timestamp_valid().nsec();
    }
    for (auto const& far : {at(100, 100'000'001), at(99, 899'999'999), at(100, 110'000'000),
                            at(101, 0), at(99, 0), at(0, 0), at(-100, 0)}) {
        EXPECT_FALSE(matches(far, mark)) << far.timestamp_valid().nsec();
        EXPECT_FALSE(matches(mark, far)) << far.timestamp_valid().nsec();
    }
    EXPECT_TRUE(matches(at(99, 900'000'000), at(100, 100'000'000))) << "each by itself";
}

TEST(TimeMark, ComparesTimesOfAnySize) {
    for (auto const& far :
         {at(largest64, 0), at(largest64, largest32), at(smallest64, 0), at(smallest64, smallest32),
          at(100, largest32), at(100, smallest32), at(9'223'372'136, 854'775'808)}) {
        EXPECT_FALSE(matches(far, at(100, 0)));
        EXPECT_FALSE(matches(at(100, 0), far));
    }
    for (auto const& [sec, nsec] : {std::pair{largest64, largest32}, {smallest64, smallest32}}) {
        TimeMark join;
        ASSERT_TRUE(join.store(markAt(sec, nsec), sound));
        join.store(gpsAt(sec, nsec));
        join.store(utcAt(sec, nsec));
        EXPECT_TRUE(join.isDue(merged));
        join.store(utcAt(-sec / 2, nsec));
        EXPECT_FALSE(join.isDue(merged));
    }
}

TEST(TimeMark, StaysUnsentUntilACloserGpsTimeComes) {
    TimeMark join;
    ASSERT_TRUE(join.store(markAt(100, 0), sound));
    join.store(utcAt(100, 0));
    join.store(gpsAt(100, 110'000'000));
    EXPECT_EQ(nullptr, join.takeOutput(merged, sound));
    EXPECT_EQ(nullptr, join.takeOutput(merged, sound));
    join.store(gpsAt(100, 90'000'000));
    EXPECT_NE(nullptr, join.takeOutput(merged, sound));
}

TEST(TimeMark, IsReplacedByALaterOne) {
    TimeMark join;
    ASSERT_TRUE(join.store(markAt(100, 0, {{200, {0x01}}}), sound));
    join.store(utcAt(101, 0));
    join.store(gpsAt(101, 0));
    EXPECT_EQ(nullptr, join.takeOutput(merged, sound));
    ASSERT_TRUE(join.store(markAt(101, 0, {{200, {0x02}}}), sound));
    const auto sent = join.takeOutput(merged, sound);
    ASSERT_NE(nullptr, sent);
    EXPECT_EQ(0x02, dataOf(*sent)[200]);
    EXPECT_EQ(nullptr, join.takeOutput(merged, sound));
}

// ---- Fused times that cannot be -----------------------------------------------------------

/// Expects that nothing goes out and nothing is spent with this time, and that a good one then
/// completes the mark.
template <typename Record>
void expectAbsent(Record const& bad, Record const& good) {
    TimeMark join;
    ASSERT_TRUE(join.store(markAt(100, 0), sound));
    join.store(gpsAt(100, 0));
    join.store(utcAt(100, 0));
    join.store(bad);
    EXPECT_FALSE(join.isDue(merged));
    EXPECT_EQ(nullptr, join.takeOutput(merged, sound));
    join.store(good);
    EXPECT_NE(nullptr, join.takeOutput(merged, sound));
}

template <typename Record>
void expectBadGpsTimesAbsent(Record const& good) {
    for (const double nsec : {notANumber, infinity, -infinity, 1e300, -1e300, 1e15, -1e15}) {
        SCOPED_TRACE(nsec);
        Record bad = good;
        bad.gps_tow_nsec(nsec);
        expectAbsent(bad, good);
    }
    for (const std::int32_t sec : {largest32, smallest32, -1, 604800}) {
        SCOPED_TRACE(sec);
        Record bad = good;
        bad.gps_tow_sec(sec);
        expectAbsent(bad, good);
    }
    for (const std::int32_t week : {largest32, smallest32, -1, 6269}) {
        SCOPED_TRACE(week);
        Record bad = good;
        bad.gps_week(week);
        expectAbsent(bad, good);
    }
    for (const double variance : {notANumber, infinity, -infinity, -1e-18, -1e300}) {
        SCOPED_TRACE(variance);
        Record bad = good;
        bad.covariance()[0][0] = variance;
        expectAbsent(bad, good);
    }
}

TEST(TimeMark, CountsAGpsTimeThatCannotBeAsAbsent) {
    expectBadGpsTimesAbsent(gpsAt(100, 0));
}

TEST(TimeMark, CountsAUtcTimeThatCannotBeAsAbsent) {
    expectBadGpsTimesAbsent(utcAt(100, 0));
    for (const double nsec : {notANumber, infinity, -infinity, 1e300, -1e300}) {
        SCOPED_TRACE(nsec);
        auto bad = utcAt(100, 0);
        bad.utc_tod_nsec(nsec);
        expectAbsent(bad, utcAt(100, 0));
    }
    for (const std::int32_t sec : {largest32, smallest32, -1, 604800}) {
        SCOPED_TRACE(sec);
        auto bad = utcAt(100, 0);
        bad.utc_tod_sec(sec);
        expectAbsent(bad, utcAt(100, 0));
    }
}

TEST(TimeMark, AloneGoesOnBesideAFusedTimeThatCannotBe) {
    TimeMark join;
    auto bad = gpsAt(100, 0);
    bad.gps_tow_nsec(notANumber);
    join.store(bad);
    ASSERT_TRUE(join.store(markAt(100, 0), sound));
    EXPECT_NE(nullptr, join.takeOutput(alone, sound));
}

}  // namespace
