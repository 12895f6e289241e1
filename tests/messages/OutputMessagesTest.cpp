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

TEST(Fields, ABitFieldLeavesTheOtherBitsOfItsWordAlone) {
    fields::Frame<2> frame;
    frame.fill(0xEEEE);
    fields::BitField<1, 4, 4>::set(frame, 0x123);
    EXPECT_EQ(0xEE3E, frame[6]);
    EXPECT_EQ(0x3, (fields::BitField<1, 4, 4>::get(frame)));
    EXPECT_EQ(0xEEEE, frame[5]);
    EXPECT_EQ(0xEEEE, frame[7]);
}

TEST(Fields, AMachineFieldStandsInTheMachinesOwnOrder) {
    fields::Frame<4> frame;
    frame.fill(0xEEEE);
    fields::MachineField<1, float>::set(frame, 1.0F);  // 0x3F800000
    EXPECT_EQ(0xEEEE, frame[5]);
    EXPECT_EQ(0x0000, frame[6]);
    EXPECT_EQ(0x3F80, frame[7]);
    EXPECT_EQ(0xEEEE, frame[8]);
    EXPECT_EQ(1.0F, (fields::MachineField<1, float>::get(frame)));
}

}  // namespace
