#include <gtest/gtest.h>

#include "gmock/gmock.h"
#include "tools/CommandOutcome.h"

namespace {

using namespace zephonctl;
using testing::HasSubstr;

TEST(CommandOutcome, CountsPassAckAndCurrentAsDone) {
    EXPECT_EQ(0, statusOf("SYSTEM_MODE_SELECT_LIVE", "SYSTEM_MODE_SELECT_LIVE_PASS"));
    EXPECT_EQ(0, statusOf("INIT_HOTSTART,1,COM1,BOTH", "INIT_HOTSTART_ACK"));
    EXPECT_EQ(0, statusOf("QUERY_ZEPHON_COM,1,COM1", "CURRENT_ZEPHON_COM,1,COM1"));
}

TEST(CommandOutcome, CountsTheServersNameAsDoneForAPingOnly) {
    EXPECT_EQ(0, statusOf("BITSERVER_PING", "ZephonServer"));
    EXPECT_EQ(1, statusOf("BITSERVER_PING", "HalvorServer"));
    EXPECT_EQ(0, statusOf("REQUEST_PARTNUMBERS", "PARTNUMBERS,SW1:1.2"));
    EXPECT_EQ(1, statusOf("BITSERVER_PING", "PARTNUMBERS,SW1:1.2"));
    EXPECT_EQ(1, statusOf("INIT_HOTSTART", "ZephonServer"));
}

TEST(CommandOutcome, CountsFailAndNackAsRefused) {
    EXPECT_EQ(1, statusOf("INIT_HOTSTART", "INIT_HOTSTART_FAIL"));
    EXPECT_EQ(1, statusOf("INIT_HOTSTART", "INIT_HOTSTART_NACK"));
}

TEST(CommandOutcome, CountsAnswersOfAnotherKindAsRefused) {
    for (char const* const answer : {"", "_", "ACK", "PASS", "INIT_HOTSTART", "XCURRENT_ZEPHON"}) {
        EXPECT_EQ(1, statusOf("INIT_HOTSTART", answer)) << answer;
    }
}

TEST(CommandOutcome, TellsWhyThereIsNoAnswer) {
    EXPECT_EQ("INIT_SINCGARS is never answered",
              reasonForSilence("INIT_SINCGARS", Sender::HumanInterface));
    EXPECT_EQ("no answer to QUERY_ZEPHON_COM in time",
              reasonForSilence("QUERY_ZEPHON_COM,1,COM1", Sender::Server));
    EXPECT_THAT(reasonForSilence("SYSTEM_MODE_SELECT_LIVE,1", Sender::Server),
                HasSubstr("takes no arguments"));
    EXPECT_THAT(reasonForSilence("INIT_SINCGARS", Sender::Server), HasSubstr("--as hmi"));
    EXPECT_THAT(reasonForSilence("BITSERVER_PING", Sender::HumanInterface),
                HasSubstr("no verb for the human interface"));
    EXPECT_THAT(reasonForSilence("", Sender::Server), HasSubstr("\"\" is no verb"));
}

TEST(CommandOutcome, TellsThatAVerbIsLateWhoseTextTheServerTakes) {
    EXPECT_EQ("no answer to REQUEST_COMPONENT_CBIT in time",
              reasonForSilence("REQUEST_COMPONENT_CBIT,5", Sender::Server));
    EXPECT_EQ("no answer to REQUEST_COMPONENT_CBIT in time",
              reasonForSilence("BITSERVER_PING,REQUEST_COMPONENT_CBIT", Sender::Server));
    EXPECT_EQ("no answer to QUERY_ZEPHON_SUPER_USER in time",
              reasonForSilence("QUERY_ZEPHON_SUPER_USER,1", Sender::Server));
    EXPECT_EQ("REQUEST_CBIT is never answered",
              reasonForSilence("NOW REQUEST_CBIT", Sender::Server));
    EXPECT_EQ("REQUEST_CBIT is no verb for the human interface",
              reasonForSilence("NOW REQUEST_CBIT", Sender::HumanInterface));
}

TEST(CommandOutcome, TellsThatATextIsIgnoredBeforeThatItsVerbIsNeverAnswered) {
    EXPECT_EQ("INIT_SINCGARS takes no arguments, so the server ignores this text",
              reasonForSilence("INIT_SINCGARS,1", Sender::HumanInterface));
}

TEST(CommandOutcome, CutsAHugeVerbAndHidesControlCharactersInTheReason) {
    const std::string reason = reasonForSilence(std::string(100000, '\n'), Sender::Server);
    EXPECT_LT(reason.size(), 400U);
    EXPECT_EQ(std::string::npos, reason.find('\n'));
}

}  // namespace
