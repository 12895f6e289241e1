#include <cmath>
#include <limits>

#include "gmock/gmock.h"
#include "messages/OutputMessages.h"
#include "tests/messages/MessageBytes.h"

namespace {

using testing::Each;
using testing::ElementsAre;

TEST(OstrelPvtOutput, IsMessage15050WithoutAnAckRequest) {
    const OstrelPvtOutput message;
    EXPECT_EQ(0x81FF, message.header[0]);
    EXPECT_EQ(15050, message.header[1]);
    EXPECT_EQ(54, message.header[2]);
    EXPECT_EQ(0x8000, message.header[3]);
}

TEST(OstrelPvtOutput, ClearAllLeavesOnlyTheDefaultFlags) {
    OstrelPvtOutput message;
    for (std::size_t i = 0; i < 54; ++i) {
        message.data[i] = 0xEEEE;
    }
    message.clearAll();
    for (std::size_t i = 0; i < 54; ++i) {
        EXPECT_EQ(i == 49 ? 0x0140 : 0, message.data[i]) << i;
    }
}

TEST(OstrelPvtOutput, HasEveryFieldAtItsPlace) {
    using Layout = OstrelPvtLayout;
    OstrelPvtOutput message;
    fillUntouched(message);
    message.set<Layout::GpsTowSeconds>(1.0);
    message.set<Layout::UtcTodSeconds>(0.5);
    message.set<Layout::EcefPosX>(-2.0);
    message.set<Layout::EcefPosY>(2.0);
    message.set<Layout::EcefPosZ>(3.0);
    message.set<Layout::EcefVelX>(1.0F);
    message.set<Layout::EcefVelY>(2.0F);
    message.set<Layout::EcefVelZ>(-1.0F);
    message.set<Layout::Pitch>(0.5F);
    message.set<Layout::Roll>(0.25F);
    message.set<Layout::Heading>(3.0F);
    message.set<Layout::HorzPosError>(4.0F);
    message.set<Layout::VertPosError>(8.0F);
    message.set<Layout::HorzVelError>(16.0F);
    message.set<Layout::VertVelError>(32.0F);
    message.set<Layout::TimeError>(std::numeric_limits<float>::infinity());
    message.set<Layout::PitchError>(-2.0F);
    message.set<Layout::RollError>(-4.0F);
    message.set<Layout::HeadingError>(-8.0F);
    message.set<Layout::GpsWeek>(0x0201);
    message.set<Layout::SolutionFlags>(0x0403);
    message.set<Layout::ReceiverSeen>(1);
    message.set<Layout::AntiJamValid>(0);
    message.set<Layout::ReceiverStatus>(0x0605);
    message.set<Layout::ReceiverStatus2>(0x0807);
    message.set<Layout::JammingFigures>(0x0A09);
    EXPECT_EQ((Bytes{
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F,  // time of week
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xE0, 0x3F,  // time of day
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0,  // position
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x40,  //
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x08, 0x40,  //
                  0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0x40,  // velocity
                  0x00, 0x00, 0x80, 0xBF,                          //
                  0x00, 0x00, 0x00, 0x3F, 0x00, 0x00, 0x80, 0x3E,  // attitude
                  0x00, 0x00, 0x40, 0x40,                          //
                  0x00, 0x00, 0x80, 0x40, 0x00, 0x00, 0x00, 0x41,  // position errors
                  0x00, 0x00, 0x80, 0x41, 0x00, 0x00, 0x00, 0x42,  // velocity errors
                  0x00, 0x00, 0x80, 0x7F,                          // time error
                  0x00, 0x00, 0x00, 0xC0, 0x00, 0x00, 0x80, 0xC0,  // attitude errors
                  0x00, 0x00, 0x00, 0xC1,                          //
                  0x01, 0x02, 0x03, 0x04, 0xED, 0xEE,              // week, flags, status
                  0x05, 0x06, 0x07, 0x08, 0x09, 0x0A,              // status, figures
              }),
              dataOf(message));
}

TEST(AltNavPVTOutput, IsMessage15052OfZerosThatAsksForAnAck) {
    AltNavPVTOutput const message;
    EXPECT_THAT(headerOf(message), ElementsAre(0xFF, 0x81, 0xCC, 0x3A, 44, 0, 0x00, 0x90, 0, 0));
    EXPECT_THAT(dataOf(message), Each(0));
}

TEST(AltNavPVTOutput, HasEveryFieldAtItsPlace) {
    using Layout = AltNavPvtLayout;
    AltNavPVTOutput message;
    fillUntouched(message);
    message.set<Layout::SolutionValid>(Layout::solutionIsValid);
    message.set<Layout::VelocityValid>(0);
    message.set<Layout::Year>(2026);
    message.set<Layout::TimeOfYear>(1.0);
    message.set<Layout::Latitude>(0.5);
    message.set<Layout::Longitude>(-2.0);
    message.set<Layout::Altitude>(100.0F);
    message.set<Layout::LatitudeVariance>(2.0);
    message.set<Layout::LongitudeVariance>(3.0);
    message.set<Layout::LatitudeLongitudeCovariance>(0.25);
    message.set<Layout::AltitudeVariance>(4.0F);
    message.set<Layout::EastVelocity>(1.0F);
    message.set<Layout::NorthVelocity>(2.0F);
    message.set<Layout::UpVelocity>(-1.0F);
    message.set<Layout::EastVelocityVariance>(0.5F);
    message.set<Layout::NorthVelocityVariance>(0.25F);
    message.set<Layout::NorthEastVelocityCovariance>(3.0F);
    message.set<Layout::UpVelocityVariance>(8.0F);
    EXPECT_EQ((Bytes{
                  0xEB, 0xEE,                                      // 1110 1 0 11
                  0xEA, 0x07,                                      // year
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F,  // time
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xE0, 0x3F,  // latitude
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0,  // longitude
                  0x00, 0x00, 0xC8, 0x42,                          // altitude
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x40,  // latitude variance
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x08, 0x40,  // longitude variance
                  0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xD0, 0x3F,  // their covariance
                  0x00, 0x00, 0x80, 0x40,                          // altitude variance
                  0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x00, 0x40,  // east, north
                  0x00, 0x00, 0x80, 0xBF,                          // up
                  0x00, 0x00, 0x00, 0x3F, 0x00, 0x00, 0x80, 0x3E,  // their variances
                  0x00, 0x00, 0x40, 0x40, 0x00, 0x00, 0x00, 0x41,  //
              }),
              dataOf(message));
}

TEST(AltNavPVTOutput, CarriesFloatsThatAreNoNumbers) {
    AltNavPVTOutput message;
    message.set<AltNavPvtLayout::TimeOfYear>(std::numeric_limits<double>::quiet_NaN());
    message.set<AltNavPvtLayout::EastVelocityVariance>(-std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(message.get<AltNavPvtLayout::TimeOfYear>()));
    EXPECT_EQ(-std::numeric_limits<float>::infinity(),
              message.get<AltNavPvtLayout::EastVelocityVariance>());
}

TEST(AltNavPVTOutput, ClearAllZeroesTheData) {
    AltNavPVTOutput message;
    fillUntouched(message);
    message.clearAll();
    EXPECT_THAT(dataOf(message), Each(0));
    EXPECT_EQ(15052, message.header[1]);
}

TEST(MxPartNumOutput, IsMessage15053OfZerosWithoutAnAckRequest) {
    MxPartNumOutput const message;
    EXPECT_THAT(headerOf(message), ElementsAre(0xFF, 0x81, 0xCD, 0x3A, 112, 0, 0x00, 0x80, 0, 0));
    EXPECT_THAT(dataOf(message), Each(0));
}

Bytes text(char const* characters) {
    return {characters, characters + std::strlen(characters)};
}

TEST(MxPartNumOutput, HasEveryFieldAtItsPlace) {
    using Layout = MxPartNumLayout;
    MxPartNumOutput message;
    fillUntouched(message);
    message.set<Layout::GpsTime>(1.0);
    message.set<Layout::SystemBuild>("a1b2c3d4e5f6g7");
    message.set<Layout::VhdlPartNumber>("h1");
    message.set<Layout::BspPartNumber>("");
    message.set<Layout::ApplicationPartNumber>("i1j2k3l4m5n6o7tooLong");
    message.set<Layout::FpgaXpn>("p1p2p3p4p5p6p7p8");
    message.set<Layout::PapBootXpn>("q1q2q3q4q5q6q7q8");
    message.set<Layout::PspBootXpn>("r1r2r3r4r5r6r7r8");
    message.set<Layout::BslXpn>("s1s2s3s4s5s6s7s8");
    message.set<Layout::PntdSoftware>("t1t");
    message.set<Layout::PntdFirmware>("u1u2u3u4u5u6u7u8");
    message.set<Layout::PntdSerialNumber>("v1v2v3v4v5v6v7v8");
    EXPECT_EQ(untouchedBut(224, {{0, {0x80, 0x40, 0, 0, 0, 0, 0, 0}},
                                 {8, text("1a2b3c4d5e6f7g")},
                                 {22, text("1h            ")},
                                 {36, text("              ")},
                                 {50, text("1i2j3k4l5m6n7o")},
                                 {64, text("1p2p3p4p5p6p7p8p")},
                                 {80, text("1q2q3q4q5q6q7q8q")},
                                 {96, text("1r2r3r4r5r6r7r8r")},
                                 {112, text("1s2s3s4s5s6s7s8s")},
                                 {128, text("1t t            ")},
                                 {144, text("1u2u3u4u5u6u7u8u")},
                                 {160, text("1v2v3v4v5v6v7v8v")}}),
              dataOf(message));
    EXPECT_EQ("a1b2c3d4e5f6g7", message.get<Layout::SystemBuild>());
}

TEST(MxPartNumOutput, ClearAllZeroesTheData) {
    MxPartNumOutput message;
    fillUntouched(message);
    message.clearAll();
    EXPECT_THAT(dataOf(message), Each(0));
}

std::string partNumber(char const* text, unsigned length) {
    std::string field(8, '#');
    MxPartNumOutput::setPartNumber(&field[1], text, length);  // fields need no alignment
    return field;
}

TEST(MxPartNumOutput, ExchangesTheBytesOfEachWordOfAPartNumber) {
    EXPECT_EQ("#BADC###", partNumber("ABCD", 4));
}

TEST(MxPartNumOutput, CutsAPartNumberAtTheWidthGiven) {
    EXPECT_EQ("#BADC###", partNumber("ABCDEFGH", 4));
    EXPECT_EQ("########", partNumber("ABCD", 0));
}

TEST(MxPartNumOutput, FillsAShortPartNumberWithBlanks) {
    EXPECT_EQ("#BA C  #", partNumber("ABC", 6));
    EXPECT_EQ("#    ###", partNumber("", 4));
    EXPECT_EQ("#    ###", partNumber(nullptr, 4));
}

TEST(MxPartNumOutput, LeavesTheLastByteOfAnOddWidthWhereItIs) {
    EXPECT_EQ("#BADCE##", partNumber("ABCDE", 5));
}

TEST(MxPartNumOutput, ReadsAPartNumberWithoutATerminatorUpToTheWidthOnly) {
    Block const block({'A', 'B', 'C', 'D'}, 4);
    std::string field(4, '#');
    MxPartNumOutput::setPartNumber(field.data(), reinterpret_cast<char const*>(block.bytes()), 4);
    EXPECT_EQ("BADC", field);
}

TEST(MxPartNumOutput, TakesAPartNumberAsAStringToo) {
    std::string field(8, '#');
    MxPartNumOutput::setPartNumber(field.data(), std::string("ABC"), 6);
    EXPECT_EQ("BA C  ##", field);
    MxPartNumOutput::setPartNumber(field.data(), std::string("123456789"), 6);
    EXPECT_EQ("214365##", field);
}

}  // namespace
