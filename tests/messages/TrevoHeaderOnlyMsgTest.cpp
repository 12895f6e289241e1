#include "gmock/gmock.h"
#include "messages/TrevoHeaderOnlyMsg.h"
#include "tests/messages/MessageBytes.h"

namespace {

using testing::ElementsAre;

TEST(TrevoHeaderOnlyMsg, StartsWithoutAnIdentifierAndAsksForAnAck) {
    TrevoHeaderOnlyMsg message;
    EXPECT_THAT(writtenBy(message), ElementsAre(0xFF, 0x81, 0, 0, 0, 0, 0x00, 0x90, 0x01, 0xEE));
}

TEST(TrevoHeaderOnlyMsg, IsAnAcknowledgementByteByByte) {
    TrevoHeaderOnlyMsg message(5001, 0x8800);
    EXPECT_EQ(5001, message.msgId);
    EXPECT_THAT(writtenBy(message),
                ElementsAre(0xFF, 0x81, 0x89, 0x13, 0x00, 0x00, 0x00, 0x88, 0x78, 0xE2));
}

TEST(TrevoHeaderOnlyMsg, RewritesTheWholeHeader) {
    TrevoHeaderOnlyMsg message(5001, 0x8800);
    writtenBy(message);
    message.setMsgIdAndFlag(8015, 0);
    EXPECT_EQ(0x81FF, message.header[0]);
    EXPECT_EQ(8015, message.header[1]);
    EXPECT_EQ(0, message.header[2]);
    EXPECT_EQ(0, message.header[3]);
    EXPECT_EQ(0, message.header[4]);
    EXPECT_EQ(8015, message.msgId);
}

}  // namespace
