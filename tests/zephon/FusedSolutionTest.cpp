#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "gmock/gmock.h"
#include "zephon/FusedSolution.h"

namespace {

namespace idl = aspn2_msgs::idl;
using testing::ElementsAreArray;

constexpr double infinity = std::numeric_limits<double>::infinity();

idl::UTCTime utcAt(std::int64_t sec, std::int32_t nsec) {
    idl::UTCTime record;
    record.header().timestamp_valid().sec(sec);
    record.header().timestamp_valid().nsec(nsec);
    return record;
}

idl::MeridanePNT pntAt(std::int64_t sec, std::int32_t nsec) {
    idl::MeridanePNT record;
    record.header().timestamp_valid().sec(sec);
    record.header().timestamp_valid().nsec(nsec);
    return record;
}

/// Whether a pair with these tags makes an output.
bool matches(std::int64_t utcSec, std::int32_t utcNsec, std::int64_t pntSec, std::int32_t pntNsec) {
    FusedSolution join;
    join.store(utcAt(utcSec, utcNsec));
    join.store(pntAt(pntSec, pntNsec));
    return join.takeOutput() != nullptr;
}

std::shared_ptr<OstrelPvtOutput> outputOf(FusedSolution& join, idl::UTCTime const& utc,
                                          idl::MeridanePNT const& pnt) {
    join.store(utc);
    join.store(pnt);
    return join.takeOutput();
}

std::uint16_t word(OstrelPvtOutput const& output, std::size_t byteOffset) {
    return output.data[byteOffset / 2];
}

float timeErrorFor(double variance) {
    idl::UTCTime utc = utcAt(1, 0);
    utc.covariance()[0][0] = variance;
    FusedSolution join;
    const auto output = outputOf(join, utc, pntAt(1, 0));
    float value = 0;
    std::memcpy(&value, &output->data[40], sizeof value);
    return value;
}

TEST(FusedSolution, MatchesTagsLessThanTwoMillisecondsApart) {
    EXPECT_TRUE(matches(100, 0, 100, 0));
    EXPECT_TRUE(matches(100, 0, 100, 1900000));
    EXPECT_TRUE(matches(100, 1900000, 100, 0));
    EXPECT_TRUE(matches(100, 0, 100, 1999999));
    EXPECT_TRUE(matches(100, 999500000, 101, 500000));
}

TEST(FusedSolution, RefusesTagsTwoMillisecondsApart) {
    EXPECT_FALSE(matches(100, 0, 100, 2000000));
    EXPECT_FALSE(matches(100, 2000000, 100, 0));
    EXPECT_FALSE(matches(100, 0, 101, 0));
    EXPECT_FALSE(matches(100, 999000000, 101, 1000000));
}

TEST(FusedSolution, TakesTagsOfAnySize) {
    constexpr auto largest = std::numeric_limits<std::int64_t>::max();
    constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
    EXPECT_FALSE(matches(largest, 0, smallest, 0));
    EXPECT_TRUE(matches(largest, 0, largest, 0));
    EXPECT_TRUE(matches(smallest, 5, smallest, 6));
    EXPECT_FALSE(matches(0, std::numeric_limits<std::int32_t>::max(), 0,
                         std::numeric_limits<std::int32_t>::min()));
    EXPECT_TRUE(matches(2, 0, 0, 2000000000));
}

TEST(FusedSolution, WaitsForBothSides) {
    FusedSolution join;
    EXPECT_EQ(nullptr, join.takeOutput());
    join.store(utcAt(1, 0));
    EXPECT_EQ(nullptr, join.takeOutput());

    FusedSolution other;
    other.store(pntAt(1, 0));
    EXPECT_EQ(nullptr, other.takeOutput());
}

TEST(FusedSolution, LetsAMatchingSolutionFollowOneThatDidNotMatch) {
    FusedSolution join;
    join.store(utcAt(100, 0));
    join.store(pntAt(100, 2000000));
    EXPECT_EQ(nullptr, join.takeOutput());
    join.store(pntAt(100, 0));
    EXPECT_NE(nullptr, join.takeOutput());
}

TEST(FusedSolution, GivesNothingForASecondTimeAloneAfterAnOutput) {
    FusedSolution join;
    ASSERT_NE(nullptr, outputOf(join, utcAt(1, 0), pntAt(1, 0)));
    join.store(utcAt(1, 0));
    EXPECT_EQ(nullptr, join.takeOutput());
}

TEST(FusedSolution, CountsItsMatches) {
    FusedSolution join;
    outputOf(join, utcAt(1, 0), pntAt(1, 0));
    outputOf(join, utcAt(2, 0), pntAt(3, 0));
    outputOf(join, utcAt(4, 0), pntAt(4, 0));
    EXPECT_EQ(2U, join.solutionCount());
}

TEST(FusedSolution, FillsTheWholeFrameByteByByte) {
    idl::UTCTime utc = utcAt(1, 0);
    utc.gps_week(2300);  // 0x08FC
    utc.gps_tow_sec(2);  // 2.5 = 0x4004000000000000
    utc.gps_tow_nsec(500000000);
    utc.utc_tod_sec(1);  // 1.25 = 0x3FF4000000000000
    utc.utc_tod_nsec(250000000);
    utc.covariance()[0][0] = 4;  // root 2 = 0x40000000
    utc.covariance()[0][1] = 7;
    idl::MeridanePNT pnt = pntAt(1, 0);
    pnt.ECEF_Pos_X(-1);     // 0xBFF0000000000000
    pnt.ECEF_Pos_Y(3);      // 0x4008000000000000
    pnt.ECEF_Pos_Z(0.5);    // 0x3FE0000000000000
    pnt.ECEF_Vel_X(1);      // 0x3F800000
    pnt.ECEF_Vel_Y(-1);     // 0xBF800000
    pnt.ECEF_Vel_Z(2);      // 0x40000000
    pnt.Pitch(3);           // 0x40400000
    pnt.Roll(4);            // 0x40800000
    pnt.Heading(5);         // 0x40A00000
    pnt.Horz_PosError(6);   // 0x40C00000
    pnt.Vert_PosError(7);   // 0x40E00000
    pnt.Horz_Vel_Error(8);  // 0x41000000
    pnt.Vert_VelError(9);   // 0x41100000
    pnt.Pitch_Error(10);    // 0x41200000
    pnt.Roll_Error(11);     // 0x41300000
    pnt.Heading_Error(12);  // 0x41400000
    pnt.MX_PNT_Solution_Assurance(static_cast<idl::MX_PNT_Solution_Assurance_enum>(2));

    FusedSolution join;
    join.receiver.receiverStatus = 0x3FFF0003;
    join.receiver.receiverStatus2 = 0xFFFF;
    join.receiver.jfom = 0x95;
    join.receiver.jfomFresh = true;
    const auto output = outputOf(join, utc, pnt);
    ASSERT_NE(nullptr, output);

    const std::array<unsigned char, 118> expected = {
        0xFF, 0x81, 0xCA, 0x3A, 0x36, 0x00, 0x00, 0x80, 0x00, 0x00,  // header
        0,    0,    0,    0,    0,    0,    0x04, 0x40,              // time of week
        0,    0,    0,    0,    0,    0,    0xF4, 0x3F,              // time of day
        0,    0,    0,    0,    0,    0,    0xF0, 0xBF,              // ECEF position
        0,    0,    0,    0,    0,    0,    0x08, 0x40,              //
        0,    0,    0,    0,    0,    0,    0xE0, 0x3F,              //
        0,    0,    0x80, 0x3F, 0,    0,    0x80, 0xBF, 0,    0,
        0x00, 0x40,  // ECEF velocity
        0,    0,    0x40, 0x40, 0,    0,    0x80, 0x40, 0,    0,
        0xA0, 0x40,                                      // pitch, roll, heading
        0,    0,    0xC0, 0x40, 0,    0,    0xE0, 0x40,  // position errors
        0,    0,    0x00, 0x41, 0,    0,    0x10, 0x41,  // velocity errors
        0,    0,    0x00, 0x40,                          // time error
        0,    0,    0x20, 0x41, 0,    0,    0x30, 0x41, 0,    0,
        0x40, 0x41,  // attitude errors
        0xFC, 0x08,  // week
        0x48, 0x01,  // flags, assurance 2
        0x03, 0x00,  // receiver seen, AJ valid
        0xFD, 0x3F,  // from 8040 word 5
        0xC1, 0xFF,  // from 8040 word 9
        0x95, 0x00,  // jamming figures
    };
    std::array<unsigned char, 118> frame{};
    std::memcpy(frame.data(), output->header, frame.size());
    EXPECT_THAT(frame, ElementsAreArray(expected));
}

TEST(FusedSolution, PutsTheLowTwoBitsOfTheAssuranceInTheFlags) {
    for (const std::uint32_t assurance : {0U, 1U, 2U, 3U, 4U, 7U, 0xFFFFFFFFU}) {
        idl::MeridanePNT pnt = pntAt(1, 0);
        pnt.MX_PNT_Solution_Assurance(static_cast<idl::MX_PNT_Solution_Assurance_enum>(assurance));
        FusedSolution join;
        const auto output = outputOf(join, utcAt(1, 0), pnt);
        EXPECT_EQ(0x0140 | (assurance & 3) << 2, word(*output, 98)) << assurance;
    }
}

TEST(FusedSolution, ForgetsTheAssuranceOfTheSolutionBefore) {
    FusedSolution join;
    idl::MeridanePNT pnt = pntAt(1, 0);
    pnt.MX_PNT_Solution_Assurance(static_cast<idl::MX_PNT_Solution_Assurance_enum>(3));
    outputOf(join, utcAt(1, 0), pnt);
    EXPECT_EQ(0x0140, word(*outputOf(join, utcAt(2, 0), pntAt(2, 0)), 98));
}

TEST(FusedSolution, SendsTheJammingFiguresOnce) {
    FusedSolution join;
    join.receiver.receiverStatus = 0x2;
    join.receiver.jfom = 0x95;
    join.receiver.jfomFresh = true;
    const auto first = outputOf(join, utcAt(1, 0), pntAt(1, 0));
    EXPECT_EQ(0x0002, word(*first, 100));
    EXPECT_EQ(0x0095, word(*first, 106));
    const auto second = outputOf(join, utcAt(2, 0), pntAt(2, 0));
    EXPECT_EQ(0, word(*second, 100));
    EXPECT_EQ(0, word(*second, 106));
}

TEST(FusedSolution, KeepsTheFiguresForTheNextOutputWhenAPairDoesNotMatch) {
    FusedSolution join;
    join.receiver.jfom = 0x95;
    join.receiver.jfomFresh = true;
    EXPECT_EQ(nullptr, outputOf(join, utcAt(1, 0), pntAt(2, 0)));
    EXPECT_EQ(0x0095, word(*outputOf(join, utcAt(3, 0), pntAt(3, 0)), 106));
}

TEST(FusedSolution, CarriesTheBitsOfTheEnginesStatusInEveryOutput) {
    FusedSolution join;
    join.receiver.takeEngineStatus(0xFFFF, 0xFFFF);
    for (int second = 1; second <= 2; ++second) {
        const auto output = outputOf(join, utcAt(second, 0), pntAt(second, 0));
        EXPECT_EQ(0x0140, word(*output, 98));
        EXPECT_EQ(0x0001, word(*output, 100));
        EXPECT_EQ(0x3FFD, word(*output, 102));
        EXPECT_EQ(0xFFC1, word(*output, 104));
        EXPECT_EQ(0, word(*output, 106));
    }
    join.receiver.takeEngineStatus(0, 0);
    const auto output = outputOf(join, utcAt(3, 0), pntAt(3, 0));
    EXPECT_EQ(0x0001, word(*output, 100)) << "that the engine was heard stays";
    EXPECT_EQ(0, word(*output, 102));
    EXPECT_EQ(0, word(*output, 104));
}

TEST(FusedSolution, PutsEachBitOfTheEnginesStatusInItsPlace) {
    for (unsigned bit = 0; bit < 16; ++bit) {
        const auto value = static_cast<std::uint16_t>(1U << bit);
        FusedSolution join;
        join.receiver.takeEngineStatus(value, value);
        const auto output = outputOf(join, utcAt(1, 0), pntAt(1, 0));
        EXPECT_EQ(value & 0x3FFD, word(*output, 102)) << bit;
        EXPECT_EQ(value & 0xFFC1, word(*output, 104)) << bit;
    }
}

TEST(FusedSolution, ChangesNoOtherBitsOfTheStatusWords) {
    FusedSolution::ReceiverStatus status;
    status.receiverStatus = 0xC002FFFE;
    status.receiverStatus2 = 0x003E;
    status.takeEngineStatus(0xFFFF, 0xFFFF);
    EXPECT_EQ(0xFFFFFFFF, status.receiverStatus);
    EXPECT_EQ(0xFFFF, status.receiverStatus2);
    status.takeEngineStatus(0, 0);
    EXPECT_EQ(0xC002FFFF, status.receiverStatus);
    EXPECT_EQ(0x003E, status.receiverStatus2);
    status = {};
    status.takeEngineStatus(0xFFFF, 0xFFFF);
    EXPECT_EQ(0x3FFD0001U, status.receiverStatus);
    EXPECT_EQ(0xFFC1, status.receiverStatus2);
}

TEST(FusedSolution, CarriesJammingFiguresInExactlyOneOutput) {
    FusedSolution join;
    join.receiver.takeJammingFigures(0x3, 0xA);
    EXPECT_EQ(0x2U, join.receiver.receiverStatus);
    const auto first = outputOf(join, utcAt(1, 0), pntAt(1, 0));
    EXPECT_EQ(0x0002, word(*first, 100));
    EXPECT_EQ(0x00A3, word(*first, 106));
    const auto second = outputOf(join, utcAt(2, 0), pntAt(2, 0));
    EXPECT_EQ(0, word(*second, 100));
    EXPECT_EQ(0, word(*second, 106));
    join.receiver.takeJammingFigures(0x12, 0xF4);
    const auto third = outputOf(join, utcAt(3, 0), pntAt(3, 0));
    EXPECT_EQ(0x0002, word(*third, 100));
    EXPECT_EQ(0x0042, word(*third, 106));
}

TEST(FusedSolution, ClearsTheFlagOfTheReradModeForGood) {
    FusedSolution join;
    join.takeReradMode();
    idl::MeridanePNT pnt = pntAt(1, 0);
    pnt.MX_PNT_Solution_Assurance(static_cast<idl::MX_PNT_Solution_Assurance_enum>(3));
    EXPECT_EQ(0x004C, word(*outputOf(join, utcAt(1, 0), pnt), 98));
    join.takeReradMode();
    EXPECT_EQ(0x0040, word(*outputOf(join, utcAt(2, 0), pntAt(2, 0)), 98));
}

TEST(FusedSolution, TakesTheSquareRootOfTheTimeVariance) {
    EXPECT_EQ(0.0F, timeErrorFor(0));
    EXPECT_EQ(0.5F, timeErrorFor(0.25));
    EXPECT_EQ(static_cast<float>(std::sqrt(1e-16)), timeErrorFor(1e-16));
}

TEST(FusedSolution, GivesAnInfiniteTimeErrorForAVarianceThatIsNone) {
    for (const double variance : {infinity, -infinity, std::nan(""), -1.0, -1e-300}) {
        EXPECT_EQ(std::numeric_limits<float>::infinity(), timeErrorFor(variance)) << variance;
    }
}

TEST(FusedSolution, NarrowsWhatNoFloatHolds) {
    idl::MeridanePNT pnt = pntAt(1, 0);
    pnt.ECEF_Vel_X(1e300);
    pnt.ECEF_Vel_Y(-infinity);
    pnt.ECEF_Vel_Z(std::nan(""));
    FusedSolution join;
    const auto output = outputOf(join, utcAt(1, 0), pnt);
    EXPECT_EQ(std::numeric_limits<float>::infinity(), output->get<OstrelPvtLayout::EcefVelX>());
    EXPECT_EQ(-std::numeric_limits<float>::infinity(), output->get<OstrelPvtLayout::EcefVelY>());
    EXPECT_TRUE(std::isnan(output->get<OstrelPvtLayout::EcefVelZ>()));
}

TEST(FusedSolution, KeepsTheLowSixteenBitsOfTheWeek) {
    idl::UTCTime utc = utcAt(1, 0);
    utc.gps_week(-1);
    FusedSolution join;
    EXPECT_EQ(0xFFFF, word(*outputOf(join, utc, pntAt(1, 0)), 96));
}

}  // namespace
