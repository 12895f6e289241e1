#include <limits>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tools/RecordText.h"

namespace {

using namespace zephonctl;

constexpr std::int64_t instant = 1726667326250000000;

TEST(RecordText, WritesTimesInUtcWithMilliseconds) {
    EXPECT_EQ("2024-09-18T13:48:46.250Z", timeText(instant));
    EXPECT_EQ("1970-01-01T00:00:00.000Z", timeText(0));
    EXPECT_EQ("1969-12-31T23:59:59.999Z", timeText(-1));
}

TEST(RecordText, WritesTheEndsOfTime) {
    EXPECT_EQ("2262-04-11T23:47:16.854Z", timeText(std::numeric_limits<std::int64_t>::max()));
    EXPECT_EQ("1677-09-21T00:12:43.145Z", timeText(std::numeric_limits<std::int64_t>::min()));
}

TEST(RecordText, WritesControlCharactersAsNumbers) {
    EXPECT_EQ("a\\x00\\x0A\\x1B[0m\\x7F", printable(std::string("a\0\n\x1B[0m\x7F", 8)));
    EXPECT_EQ("\\xC2\\x80a\\xC2\\x9B31m\\xC2\\x9F", printable("\xC2\x80"
                                                              "a\xC2\x9B"
                                                              "31m\xC2\x9F"));
    EXPECT_EQ("\xC3\xA9", printable("\xC3\xA9"));
    EXPECT_EQ("\xC2\xA0\xC3\x9B\xC2", printable("\xC2\xA0\xC3\x9B\xC2"));  // others
    EXPECT_EQ("", printable(""));
}

TEST(RecordText, NamesServers) {
    EXPECT_EQ("ZephonServer", serverNameOf(0x03310200));
    EXPECT_EQ("server 0", serverNameOf(0));
    EXPECT_EQ("server 255", serverNameOf(0xFFFFFFFF));
}

TEST(RecordText, WritesACommandAndAnAnswerAsLines) {
    aspn2_msgs::idl::CommandResponse record;
    record.header().device_id(0x03300200);
    record.command_identifier(-1);
    record.command_response("INIT_SINCGARS");
    EXPECT_EQ("2024-09-18T13:48:46.250Z Command  HmiServer command 4294967295: INIT_SINCGARS",
              lineOf(sightingOf("Command", instant, record)));
    record.command_response_type(aspn2_msgs::idl::COMMAND_RESPONSE_TYPE_RESPONSE);
    record.command_identifier(7);
    EXPECT_EQ("2024-09-18T13:48:46.250Z Response HmiServer response 7: INIT_SINCGARS",
              lineOf(sightingOf("Response", instant, record)));
}

TEST(RecordText, NamesTheKindsOfEvents) {
    aspn2_msgs::idl::EventLog record;
    record.eventlog("text");
    const char* const kinds[] = {"OTHER",     "DIAGNOSTIC", "INFORMATION", "FAILURE",
                                 "LINK_LOST", "OTHER",      "OTHER"};
    for (int type = 0; type < 7; ++type) {
        record.event_log_type(static_cast<aspn2_msgs::idl::event_log_type_enum>(type));
        EXPECT_EQ(kinds[type], sightingOf("EventLog", instant, record).kind);
    }
}

TEST(RecordText, WritesJsonOfAnyBytes) {
    Sighting sighting{instant, "EventLog", 0x03310200, "FAILURE", "\"\\\n\xFF\xC3\xA9"};
    const auto object = nlohmann::json::parse(jsonOf(sighting));
    EXPECT_EQ("\"\\\n\xEF\xBF\xBD\xC3\xA9", object.at("text"));
    EXPECT_EQ("EventLog", object.at("topic"));
    EXPECT_EQ("ZephonServer", object.at("source"));
    EXPECT_EQ("FAILURE", object.at("kind"));
    EXPECT_EQ("2024-09-18T13:48:46.250Z", object.at("time"));
}

TEST(RecordText, WritesJsonWithoutControlCharacters) {
    Sighting sighting{instant, "EventLog", 0x03310200, "FAILURE",
                      "\x1B[1m\x7F\xC2\x9B"
                      "31m"};
    const std::string line = jsonOf(sighting);
    for (const char character : line) {
        EXPECT_TRUE(character >= ' ' && character <= '~') << line;
    }
    EXPECT_EQ(sighting.text, nlohmann::json::parse(line).at("text"));
}

}  // namespace
