#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "bench/TopicRecords.h"

namespace bench {
namespace {

TEST(TopicRecords, UtcTextComesBackExactly) {
    UtcRecord record;
    record.header = {5, 1700000000, 123456789, 36};
    record.gpsTowSeconds = 604799;
    record.gpsTowNanoseconds = 0.1;
    record.gpsWeek = 2300;
    record.utcTodSeconds = 86399;
    record.utcTodNanoseconds = 1.0 / 3.0;
    record.timeVariance = std::numeric_limits<double>::infinity();
    UtcRecord other;
    ASSERT_TRUE(fromText(toText(record), other));
    EXPECT_EQ(toText(other), toText(record));
    EXPECT_EQ(other.header.tag(), 1700000000123456789);
    EXPECT_EQ(other.gpsTowNanoseconds, 0.1);
    EXPECT_TRUE(std::isinf(other.timeVariance));
}

TEST(TopicRecords, PntTextComesBackExactly) {
    PntRecord record;
    ASSERT_TRUE(fromText(
        "seq=1 tag_sec=2 tag_nsec=3 source=4 x=5.1 y=6 z=7 vx=8 vy=9 vz=10 roll=11 pitch=12 "
        "heading=13 horz_pos_error=14 vert_pos_error=15 horz_vel_error=16 vert_vel_error=17 "
        "roll_error=18 pitch_error=19 heading_error=20 gps_week=21 gps_time=22 utc_time=23 "
        "time_error=24 assurance=3",
        record));
    EXPECT_EQ(record.positionX, 5.1);
    EXPECT_EQ(record.verticalVelocityError, 17);
    EXPECT_EQ(record.headingError, 20);
    EXPECT_EQ(record.assurance, 3);
    PntRecord other;
    ASSERT_TRUE(fromText(toText(record), other));
    EXPECT_EQ(toText(other), toText(record));
}

TEST(TopicRecords, GpsTimeTextComesBackExactly) {
    GpsTimeRecord record;
    EXPECT_EQ(record.header.source, 38);
    ASSERT_TRUE(
        fromText("seq=1 tag_sec=2 tag_nsec=3 source=96 gps_tow_sec=-5 gps_tow_nsec=0.1 gps_week=7 "
                 "variance=nan",
                 record));
    EXPECT_EQ(record.header.tag(), 2'000'000'003);
    EXPECT_EQ(record.header.source, 96);
    EXPECT_EQ(record.gpsTowSeconds, -5);
    EXPECT_EQ(record.gpsTowNanoseconds, 0.1);
    EXPECT_EQ(record.gpsWeek, 7);
    GpsTimeRecord other;
    ASSERT_TRUE(fromText(toText(record), other));
    EXPECT_EQ(toText(other), toText(record));
    EXPECT_TRUE(std::isnan(other.timeVariance));
}

TEST(TopicRecords, PositionVelocityTextComesBackExactly) {
    PositionVelocityRecord record;
    EXPECT_EQ(record.header.source, 38);
    ASSERT_TRUE(
        fromText("seq=1 tag_sec=2 tag_nsec=3 source=4 lat=5.1 lon=6 alt=7 vn=8 ve=9 vd=10 "
                 "lat_variance=11 lon_variance=12 lat_lon_covariance=13 alt_variance=14 "
                 "vn_variance=inf ve_variance=16 vn_ve_covariance=17 vd_variance=18",
                 record));
    EXPECT_EQ(record.latitude, 5.1);
    EXPECT_EQ(record.velocityDown, 10);
    EXPECT_EQ(record.longitudeVariance, 12);
    EXPECT_TRUE(std::isinf(record.velocityNorthVariance));
    EXPECT_EQ(record.velocityNorthEastCovariance, 17);
    PositionVelocityRecord other;
    ASSERT_TRUE(fromText(toText(record), other));
    EXPECT_EQ(toText(other), toText(record));
}

TEST(TopicRecords, FieldsThatAreNotNamedStay) {
    UtcRecord record;
    record.gpsWeek = 7;
    ASSERT_TRUE(fromText("variance=nan", record));
    EXPECT_EQ(record.gpsWeek, 7);
    EXPECT_EQ(record.header.source, UtcRecord::clockDevice);
    EXPECT_TRUE(std::isnan(record.timeVariance));
}

TEST(TopicRecords, RefusesUnknownFieldsAndBadNumbers) {
    UtcRecord record;
    EXPECT_FALSE(fromText("altitude=3", record));
    EXPECT_FALSE(fromText("gps_week", record));
    EXPECT_FALSE(fromText("gps_week=", record));
    EXPECT_FALSE(fromText("gps_week=1.5", record));
    EXPECT_FALSE(fromText("gps=1", record));
    EXPECT_FALSE(fromText("variance=much", record));
}

TEST(TopicRecords, EventTextComesBackExactly) {
    EventRecord record;
    record.header = {5, 1700000000, 123456789, 59, 0x53B3B02, 7, 8, 100};
    record.type = 3;
    record.text = std::string("50% of\tline 2\n\x80=x\0y", 19);
    const std::string text = toText(record);
    EXPECT_EQ(text,
              "seq=5 tag_sec=1700000000 tag_nsec=123456789 source=59 device=87767810 "
              "arrival_sec=7 arrival_nsec=8 time_code=100 type=3 "
              "text=50%25%20of%09line%202%0A%80=x%00y");
    EventRecord other;
    other.text = "old";
    ASSERT_TRUE(fromText(text, other));
    EXPECT_EQ(other.text, record.text);
    EXPECT_EQ(other.type, 3);
    ASSERT_TRUE(fromText("text=", other));
    EXPECT_EQ(other.text, "");
}

TEST(TopicRecords, RefusesTextsWithBrokenCodes) {
    EventRecord record;
    EXPECT_FALSE(fromText("text=%", record));
    EXPECT_FALSE(fromText("text=a%2", record));
    EXPECT_FALSE(fromText("text=%zz", record));
    EXPECT_FALSE(fromText("text=%-1", record));
    EXPECT_FALSE(fromText("text=two words", record));
}

TEST(TopicRecords, CommandsAndAnswersComeBackExactly) {
    CommandRecord record;
    EXPECT_EQ(record.header.source, 48);
    EXPECT_EQ(record.type, 0);
    EXPECT_EQ(ResponseRecord().type, 1);
    ASSERT_TRUE(fromText("source=38 commanded=53559296 identifier=-7 type=1 text=A,B%20C", record));
    EXPECT_EQ(record.commandedDeviceId, 53559296);
    EXPECT_EQ(record.identifier, -7);
    EXPECT_EQ(record.text, "A,B C");
    EXPECT_EQ(toText(record),
              "seq=0 tag_sec=0 tag_nsec=0 source=38 device=0 arrival_sec=0 arrival_nsec=0 "
              "time_code=0 commanded=53559296 identifier=-7 type=1 text=A,B%20C");
    ResponseRecord other;
    ASSERT_TRUE(fromText(toText(record), other));
    EXPECT_EQ(toText(other), toText(record));
    EXPECT_FALSE(fromText("identity=1", record));
}

TEST(TopicRecords, MaintenanceTextComesBackExactly) {
    MaintenanceRecord record;
    ASSERT_TRUE(fromText(
        "seq=1 tag_sec=2 tag_nsec=3 source=59 criticality=4 category=5 location=6 outcome=7 "
        "repeat=-8 identity=PNT-D description=no%20answer",
        record));
    EXPECT_EQ(record.repeatSeconds, -8);
    EXPECT_EQ(record.identity, "PNT-D");
    EXPECT_EQ(record.description, "no answer");
    MaintenanceRecord other;
    ASSERT_TRUE(fromText(toText(record), other));
    EXPECT_EQ(toText(other), toText(record));
}

}  // namespace
}  // namespace bench
