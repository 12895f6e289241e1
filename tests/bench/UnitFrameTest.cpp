#include <gtest/gtest.h>

#include "bench/UnitFrame.h"

namespace bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string defectOf(const Bytes& bytes) {
    std::string defect;
    EXPECT_FALSE(decodeFrame(bytes.data(), bytes.size(), &defect));
    return defect;
}

// Sums by hand: 81FF + 1389 + 0000 + 8800 = 11D88, and 10000 - 1D88 = E278.
const Bytes ack5001{0xFF, 0x81, 0x89, 0x13, 0x00, 0x00, 0x00, 0x88, 0x78, 0xE2};

// 81FF + 3ACA + 0002 + 8000 = 13CCB, 10000 - 3CCB = C335; data 1234 + FFFF = 11233, EDCD.
const Bytes twoWords{0xFF, 0x81, 0xCA, 0x3A, 0x02, 0x00, 0x00, 0x80,
                     0x35, 0xC3, 0x34, 0x12, 0xFF, 0xFF, 0xCD, 0xED};

TEST(UnitFrame, WritesAnAcknowledgementByteByByte) {
    EXPECT_EQ(UnitFrame::makeAck(5001).encode(), ack5001);
}

TEST(UnitFrame, WritesDataWithItsChecksum) {
    const UnitFrame frame{15050, 0x8000, {0x1234, 0xFFFF}};
    EXPECT_EQ(frame.encode(), twoWords);
}

TEST(UnitFrame, ChecksumOfZerosIsZero) {
    const UnitFrame frame{0, 0, {0, 0}};
    const Bytes bytes{0xFF, 0x81, 0, 0, 2, 0, 0, 0, 0xFF, 0x7D, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(frame.encode(), bytes);
}

TEST(UnitFrame, NamesTheHandshakeFrames) {
    EXPECT_EQ(UnitFrame::makeAck(1).flags, 0x8800);
    EXPECT_EQ(UnitFrame::makeNak(1).flags, 0x8400);
    EXPECT_EQ(UnitFrame::makeResponse(1).flags, 0x8200);
    EXPECT_EQ(UnitFrame::makeReject(1).flags, 0x8300);
    EXPECT_TRUE(UnitFrame::makeNak(1).isHandshake());
    EXPECT_FALSE((UnitFrame{1, 0x9000, {}}).isHandshake());
    EXPECT_FALSE((UnitFrame{1, 0x8800, {7}}).isHandshake());
}

TEST(UnitFrame, ReadsWhatItWrote) {
    const auto frame = decodeFrame(twoWords.data(), twoWords.size());
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->id, 15050);
    EXPECT_EQ(frame->flags, 0x8000);
    EXPECT_EQ(frame->data, (std::vector<std::uint16_t>{0x1234, 0xFFFF}));
}

TEST(UnitFrame, TellsEveryDefect) {
    Bytes bytes = twoWords;
    bytes.resize(9);
    EXPECT_EQ(defectOf(bytes), "shorter than a header");
    bytes = twoWords;
    bytes[1] = 0x82;
    EXPECT_EQ(defectOf(bytes), "does not begin with FF 81");
    bytes = twoWords;
    bytes[8] ^= 1;
    EXPECT_EQ(defectOf(bytes), "header checksum is wrong");
    bytes = twoWords;
    bytes.push_back(0);
    EXPECT_EQ(defectOf(bytes), "length does not fit the word count");
    bytes = twoWords;
    bytes[12] ^= 1;
    EXPECT_EQ(defectOf(bytes), "data checksum is wrong");
}

TEST(UnitFrame, PrintsHexadecimalPairs) {
    EXPECT_EQ(hexadecimal({0xFF, 0x81, 0x0A}), "FF 81 0A");
    EXPECT_EQ(hexadecimal({}), "");
}

TEST(UnitFrame, ReadsHexadecimalPairs) {
    EXPECT_EQ(fromHexadecimal("FF 81 0a"), (std::vector<std::uint8_t>{0xFF, 0x81, 0x0A}));
    EXPECT_EQ(fromHexadecimal(" "), std::vector<std::uint8_t>());
    for (const char* const wrong : {"F", "FF8", "FF 8", "G0", "0x", "-1"}) {
        EXPECT_EQ(fromHexadecimal(wrong), std::nullopt) << wrong;
    }
}

}  // namespace
}  // namespace bench
