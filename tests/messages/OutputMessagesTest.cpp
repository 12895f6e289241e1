#include "gtest/gtest.h"
#include "messages/OutputMessages.h"

namespace {

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

}  // namespace
