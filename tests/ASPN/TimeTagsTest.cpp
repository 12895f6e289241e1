#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "ASPN/TimeTags.h"

using ASPN2::arrivalOf;
using ASPN2::setValidity;
using ASPN2::TimeCodeHelper;
using ASPN2::timestamp;
using ASPN2::validityOf;
using std::chrono::nanoseconds;
using WireHeader = aspn2_msgs::idl::header;

namespace {

constexpr auto smallest64 = std::numeric_limits<std::int64_t>::min();
constexpr auto largest64 = std::numeric_limits<std::int64_t>::max();
constexpr auto smallest32 = std::numeric_limits<std::int32_t>::min();
constexpr auto largest32 = std::numeric_limits<std::int32_t>::max();

__extension__ using Wide = __int128;

// What the ticks are worth, with room for every intermediate result.
std::int64_t referenceNanoseconds(unsigned long long ticks) {
    const Wide exact = static_cast<Wide>(ticks) * 1'000'000'000 / 58'982'400;
    return exact > largest64 ? largest64 : static_cast<std::int64_t>(exact - 8);
}

void expectStamp(const timestamp& stamp, std::int64_t sec, std::int32_t nsec, std::int32_t code) {
    EXPECT_EQ(stamp.sec, sec);
    EXPECT_EQ(stamp.nsec, nsec);
    EXPECT_EQ(stamp.time_code, code);
}

// A header of either type in which every field differs.
template <class Header>
Header filledHeader();

template <>
ASPN2::header filledHeader() {
    return {-7, {1, 2, 3}, {-4, -5, 6}, -8};
}

template <>
WireHeader filledHeader() {
    WireHeader of;
    of.seq_num(-7);
    of.timestamp_arrival().sec(1);
    of.timestamp_arrival().nsec(2);
    of.timestamp_arrival().time_code(3);
    of.timestamp_valid().sec(-4);
    of.timestamp_valid().nsec(-5);
    of.timestamp_valid().time_code(6);
    of.device_id(-8);
    return of;
}

std::int64_t numberOf(const ASPN2::header& of) {
    return of.seq_num;
}
std::int64_t numberOf(const WireHeader& of) {
    return of.seq_num();
}
std::int32_t deviceOf(const ASPN2::header& of) {
    return of.device_id;
}
std::int32_t deviceOf(const WireHeader& of) {
    return of.device_id();
}

template <class Header>
Header validAt(std::int64_t sec, std::int32_t nsec) {
    Header of;
    setValidity({sec, nsec, 100}, of);
    return of;
}

}  // namespace

TEST(TimeCodeHelper, BeginsInLiveModeAndSwitches) {
    TimeCodeHelper code;
    EXPECT_EQ(code.getTimeCode(), 100);
    code.setSimMode();
    EXPECT_EQ(code.getTimeCode(), 101);
    code.setLiveMode();
    EXPECT_EQ(code.getTimeCode(), 100);
}

TEST(TimeCodeHelper, IsOneForTheProcess) {
    EXPECT_EQ(&TimeCodeHelper::Instance(), &TimeCodeHelper::Instance());
    EXPECT_EQ(TimeCodeHelper::Instance().getTimeCode(), 100);
}

TEST(FpgaTicks, AreNanosecondsLessEight) {
    EXPECT_EQ(ASPN2::nanosecondsOf(58'982'400ULL).count(), 999'999'992);
    EXPECT_EQ(ASPN2::nanosecondsOf(0ULL).count(), -8);
    EXPECT_EQ(ASPN2::nanosecondsOf(1ULL).count(), 16 - 8) << "16.95 ns, cut";
    EXPECT_EQ(ASPN2::nanosecondsOf(4'608ULL).count(), 78'125 - 8);
}

TEST(FpgaTicks, AreRightWhereTheProductLeaves64Bits) {
    constexpr unsigned long long lastInSigned = largest64 / 78'125;
    for (unsigned long long ticks = lastInSigned - 3; ticks <= lastInSigned + 3; ++ticks) {
        EXPECT_EQ(ASPN2::nanosecondsOf(ticks).count(), referenceNanoseconds(ticks)) << ticks;
    }
}

TEST(FpgaTicks, StopAtTheLargestTimeInsteadOfWrapping) {
    EXPECT_EQ(ASPN2::nanosecondsOf(std::numeric_limits<unsigned long long>::max()),
              nanoseconds::max());
    // The first count that 64-bit nanoseconds cannot hold, and its neighbours.
    const auto end = static_cast<unsigned long long>(static_cast<Wide>(largest64) * 4'608 / 78'125);
    for (unsigned long long ticks = end - 5'000; ticks <= end + 5'000; ++ticks) {
        ASSERT_EQ(ASPN2::nanosecondsOf(ticks).count(), referenceNanoseconds(ticks)) << ticks;
    }
    EXPECT_LT(ASPN2::nanosecondsOf(end), nanoseconds::max());
    EXPECT_EQ(ASPN2::nanosecondsOf(end + 1), nanoseconds::max());
}

TEST(FpgaTicks, AgreeWith128BitArithmeticAtAnySize) {
    std::mt19937_64 random(20240918);
    for (int round = 0; round < 200'000; ++round) {
        const unsigned long long ticks = random() >> (random() % 64);
        ASSERT_EQ(ASPN2::nanosecondsOf(ticks).count(), referenceNanoseconds(ticks)) << ticks;
    }
}

TEST(Timestamp, CutsTowardsZero) {
    expectStamp(ASPN2::timestampOf(nanoseconds(999'999'992)), 0, 999'999'992, 100);
    expectStamp(ASPN2::timestampOf(nanoseconds(1'000'000'000)), 1, 0, 100);
    expectStamp(ASPN2::timestampOf(nanoseconds(-8)), 0, -8, 100);
    expectStamp(ASPN2::timestampOf(nanoseconds(-1'000'000'008)), -1, -8, 100);
    expectStamp(ASPN2::timestampOf(nanoseconds::max()), 9'223'372'036, 854'775'807, 100);
    expectStamp(ASPN2::timestampOf(nanoseconds::min()), -9'223'372'036, -854'775'808, 100);
}

TEST(Timestamp, CarriesTheTimeCodeOfTheMode) {
    TimeCodeHelper::Instance().setSimMode();
    const timestamp simulated = ASPN2::timestampOf(nanoseconds(1));
    TimeCodeHelper::Instance().setLiveMode();
    expectStamp(simulated, 0, 1, 101);
    expectStamp(ASPN2::timestampOf(nanoseconds(1)), 0, 1, 100);
}

TEST(Timestamp, GivesBackItsNanoseconds) {
    for (const std::int64_t time : {std::int64_t{0}, std::int64_t{-8}, std::int64_t{999'999'992},
                                    std::int64_t{-1'000'000'001}, largest64, smallest64}) {
        EXPECT_EQ(ASPN2::nanosecondsOf(ASPN2::timestampOf(nanoseconds(time))).count(), time);
    }
}

TEST(Timestamp, StopsAtTheEndsOfTheRangeForForgedSeconds) {
    EXPECT_EQ(ASPN2::nanosecondsOf(timestamp{largest64, largest32, 0}), nanoseconds::max());
    EXPECT_EQ(ASPN2::nanosecondsOf(timestamp{largest64, smallest32, 0}), nanoseconds::max());
    EXPECT_EQ(ASPN2::nanosecondsOf(timestamp{smallest64, smallest32, 0}), nanoseconds::min());
    EXPECT_EQ(ASPN2::nanosecondsOf(timestamp{smallest64, largest32, 0}), nanoseconds::min());
    EXPECT_EQ(ASPN2::nanosecondsOf(timestamp{9'223'372'036, 854'775'808, 0}), nanoseconds::max());
    EXPECT_EQ(ASPN2::nanosecondsOf(timestamp{-9'223'372'036, -854'775'809, 0}), nanoseconds::min());
    EXPECT_EQ(ASPN2::nanosecondsOf(timestamp{0, largest32, 0}).count(), largest32);
    EXPECT_EQ(ASPN2::nanosecondsOf(timestamp{0, smallest32, 0}).count(), smallest32);
}

TEST(Timestamp, TellsTheExactTimeBetweenTwo) {
    const auto between = [](timestamp const& before, timestamp const& after) {
        return ASPN2::nanosecondsBetween(before, after).count();
    };
    EXPECT_EQ(between({100, 0, 0}, {100, 100'000'001, 0}), 100'000'001);
    EXPECT_EQ(between({100, 100'000'001, 0}, {100, 0, 0}), -100'000'001);
    EXPECT_EQ(between({99, 900'000'000, 100}, {100, 0, 101}), 100'000'000) << "whatever the code";
    EXPECT_EQ(between({-1, -500'000'000, 0}, {1, 500'000'000, 0}), 3'000'000'000);
    EXPECT_EQ(between({0, smallest32, 0}, {0, largest32, 0}), 4'294'967'295);
    EXPECT_EQ(between({largest64, largest32, 0}, {largest64, smallest32, 0}), -4'294'967'295);
    EXPECT_EQ(between({smallest64, 5, 0}, {smallest64, 6, 0}), 1);
}

TEST(Timestamp, TellsTheEndOfTheRangeForTimesTooFarApart) {
    for (auto const& far : {timestamp{largest64, smallest32, 0}, timestamp{largest64, largest32, 0},
                            timestamp{9'223'372'036, 854'775'808, 0}}) {
        EXPECT_EQ(ASPN2::nanosecondsBetween({0, 0, 0}, far), nanoseconds::max());
        EXPECT_EQ(ASPN2::nanosecondsBetween({smallest64, 0, 0}, far), nanoseconds::max());
    }
    for (auto const& far :
         {timestamp{smallest64, smallest32, 0}, timestamp{smallest64, largest32, 0},
          timestamp{-9'223'372'036, -854'775'809, 0}}) {
        EXPECT_EQ(ASPN2::nanosecondsBetween({0, 0, 0}, far), nanoseconds::min());
        EXPECT_EQ(ASPN2::nanosecondsBetween({largest64, 0, 0}, far), nanoseconds::min());
    }
}

// Both header types do the same.
template <class Header>
class TimeTags : public testing::Test {};

struct HeaderNames {
    template <class Header>
    static std::string GetName(int /*index*/) {
        return std::is_same_v<Header, WireHeader> ? "WireHeader" : "PlainHeader";
    }
};

using HeaderTypes = testing::Types<ASPN2::header, WireHeader>;
TYPED_TEST_SUITE(TimeTags, HeaderTypes, HeaderNames);

TYPED_TEST(TimeTags, SetOnlyTheTimeOfValidityFromTicks) {
    auto of = filledHeader<TypeParam>();
    ASPN2::setToV_fromFpgaTicks(58'982'400ULL, of);
    expectStamp(validityOf(of), 0, 999'999'992, 100);
    expectStamp(arrivalOf(of), 1, 2, 3);
    EXPECT_EQ(numberOf(of), -7);
    EXPECT_EQ(deviceOf(of), -8);
}

TYPED_TEST(TimeTags, SetOnlyTheTimeOfArrivalFromTicks) {
    auto of = filledHeader<TypeParam>();
    ASPN2::setToA_fromFpgaTicks(0, of);
    expectStamp(arrivalOf(of), 0, -8, 100);
    expectStamp(validityOf(of), -4, -5, 6);
    EXPECT_EQ(numberOf(of), -7);
    EXPECT_EQ(deviceOf(of), -8);
}

TYPED_TEST(TimeTags, SetBothTimesFromTicks) {
    auto of = filledHeader<TypeParam>();
    ASPN2::setToVandToA_fromFpgaTicks(2 * 58'982'400ULL, of);
    expectStamp(validityOf(of), 1, 999'999'992, 100);
    expectStamp(arrivalOf(of), 1, 999'999'992, 100);
    EXPECT_EQ(numberOf(of), -7);
    EXPECT_EQ(deviceOf(of), -8);
}

TYPED_TEST(TimeTags, SetOnlyTheTimeOfValidityFromNanoseconds) {
    auto of = filledHeader<TypeParam>();
    ASPN2::setToV_fromNSec(nanoseconds(-1'500'000'000), of);
    expectStamp(validityOf(of), -1, -500'000'000, 100);
    expectStamp(arrivalOf(of), 1, 2, 3);
}

TYPED_TEST(TimeTags, SetBothTimesFromNanoseconds) {
    auto of = filledHeader<TypeParam>();
    ASPN2::setToVandToA_fromNSec(std::chrono::seconds(3), of);
    expectStamp(validityOf(of), 3, 0, 100);
    expectStamp(arrivalOf(of), 3, 0, 100);
    EXPECT_EQ(numberOf(of), -7);
    EXPECT_EQ(deviceOf(of), -8);
}

TYPED_TEST(TimeTags, GiveTheTimeOfArrivalAsNanoseconds) {
    auto of = filledHeader<TypeParam>();
    EXPECT_EQ(ASPN2::getNSec_fromToA(of).count(), 1'000'000'002);
    ASPN2::setToA_fromFpgaTicks(0, of);
    EXPECT_EQ(ASPN2::getNSec_fromToA(of).count(), -8);
}

TYPED_TEST(TimeTags, DifferInSecondsOfTheTimesOfValidity) {
    const auto late = validAt<TypeParam>(1'000'000'000, 250'000'000);
    const auto early = validAt<TypeParam>(999'999'999, 750'000'000);
    EXPECT_DOUBLE_EQ(ASPN2::deltaTov(late, early), 0.5);
    EXPECT_DOUBLE_EQ(ASPN2::deltaTov(early, late), -0.5);
    EXPECT_EQ(ASPN2::deltaTov(late, late), 0.0);
}

TYPED_TEST(TimeTags, DifferByOneNanosecondAtAnyDate) {
    const auto late = validAt<TypeParam>(9'000'000'000, 0);
    const auto early = validAt<TypeParam>(8'999'999'999, 999'999'999);
    EXPECT_EQ(ASPN2::deltaTov(late, early), 1e-9);
    EXPECT_EQ(ASPN2::deltaTov(early, late), -1e-9);
}

TYPED_TEST(TimeTags, DifferRightlyEvenWithForgedSeconds) {
    const auto last = validAt<TypeParam>(largest64, largest32);
    const auto first = validAt<TypeParam>(smallest64, smallest32);
    EXPECT_DOUBLE_EQ(ASPN2::deltaTov(last, first), std::ldexp(1.0, 64));
    EXPECT_DOUBLE_EQ(ASPN2::deltaTov(first, last), -std::ldexp(1.0, 64));
    EXPECT_DOUBLE_EQ(
        ASPN2::deltaTov(validAt<TypeParam>(0, largest32), validAt<TypeParam>(0, smallest32)),
        4.294967295);
}

TYPED_TEST(TimeTags, CopyTheTimesAloneToBothHeaderTypes) {
    const auto from = filledHeader<TypeParam>();
    ASPN2::header plain;
    WireHeader wire;
    ASPN2::setToVandToA_fromTo(from, plain);
    ASPN2::setToVandToA_fromTo(from, wire);
    for (const auto& stamps : {std::pair(validityOf(plain), arrivalOf(plain)),
                               std::pair(validityOf(wire), arrivalOf(wire))}) {
        expectStamp(stamps.first, -4, -5, 6);
        expectStamp(stamps.second, 1, 2, 3);
    }
    EXPECT_EQ(plain.seq_num, 0);
    EXPECT_EQ(plain.device_id, 0);
    EXPECT_EQ(wire.seq_num(), 0);
    EXPECT_EQ(wire.device_id(), 0);
}

TEST(TimeTags, DifferBetweenTheTwoHeaderTypes) {
    EXPECT_EQ(ASPN2::deltaTov(validAt<WireHeader>(10, 100'000'000), validAt<ASPN2::header>(10, 0)),
              0.1);
}

TEST(TimeTags, CopyAWholeHeaderInBothDirections) {
    ASPN2::header plain;
    ASPN2::copyHeader_fromTo(filledHeader<WireHeader>(), plain);
    EXPECT_EQ(plain.seq_num, -7);
    expectStamp(plain.timestamp_valid, -4, -5, 6);
    expectStamp(plain.timestamp_arrival, 1, 2, 3);
    EXPECT_EQ(plain.device_id, -8);

    WireHeader wire;
    ASPN2::copyHeader_fromTo(plain, wire);
    EXPECT_EQ(wire, filledHeader<WireHeader>());
}
