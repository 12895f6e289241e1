#include <array>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "GpsSerialIo/GssipMessage.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint16_t untouched = 0xEEEE;

/// Keeps every write as it came.
class Recorder : public IWriteByteStreams {
public:
    unsigned int WriteBytes(const void* bytes, unsigned int length) override {
        const auto* first = static_cast<const unsigned char*>(bytes);
        writes.emplace_back(first, first + length);
        return length;
    }

    std::vector<Bytes> writes;
};

/// A frame of `Words` data words in a buffer of 0xEE, with more of it behind the frame.
template <std::size_t Words>
class Probe : public GssipMessage {
public:
    Probe() {
        frame.fill(untouched);
        header = frame.data();
        data = header + GSSIP_HEADER_WORDS;
        wordCount = Words;
        msgId = 5001;
        header[0] = GSSIP_DELSOH;
        header[1] = msgId;
        header[2] = Words;
        header[3] = 0x9000;
    }

    void debugPrintMessage() override { ++debugPrints; }

    std::array<std::uint16_t, GSSIP_HEADER_WORDS + Words + 8> frame{};
    int debugPrints = 0;
};

Bytes countingBytes(std::size_t length) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<unsigned char>(i);
    }
    return bytes;
}

bool set(GssipMessage& message, const Bytes& bytes) {
    return message.OkSetContent(bytes.data(), static_cast<unsigned short>(bytes.size()));
}

TEST(GssipMessage, ConstructorClearsAllMembers) {
    const GssipMessage message;
    EXPECT_EQ(message.header, nullptr);
    EXPECT_EQ(message.data, nullptr);
    EXPECT_EQ(message.wordCount, 0U);
    EXPECT_EQ(message.msgId, 0);
    EXPECT_FALSE(message.headerChecksumValid);
    EXPECT_FALSE(message.dataChecksumValid);
}

TEST(GssipMessage, CannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<GssipMessage>);
    EXPECT_FALSE(std::is_copy_assignable_v<GssipMessage>);
    EXPECT_FALSE(std::is_copy_constructible_v<Generic_MSID_Msg>);
}

TEST(GssipMessage, OkSetContentCopiesABlockOfItsOwnLength) {
    Probe<2> message;
    const Bytes block = countingBytes(16);
    EXPECT_TRUE(set(message, block));
    EXPECT_EQ(message.header[0], 0x0100);
    EXPECT_EQ(message.header[7], 0x0F0E);
    EXPECT_EQ(message.header[8], untouched);
}

TEST(GssipMessage, OkSetContentOfOddLengthWritesNothingBehindTheFrame) {
    Probe<2> message;
    EXPECT_TRUE(set(message, countingBytes(17)));
    EXPECT_EQ(message.header[7], 0x0F0E);
    EXPECT_EQ(message.header[8], untouched);
}

TEST(GssipMessage, OkSetContentRefusesAShorterBlock) {
    Probe<2> message;
    const auto before = message.frame;
    EXPECT_FALSE(set(message, countingBytes(15)));
    EXPECT_EQ(message.frame, before);
}

TEST(GssipMessage, OkSetContentRefusesALongerBlock) {
    Probe<2> message;
    const auto before = message.frame;
    EXPECT_FALSE(set(message, countingBytes(18)));
    EXPECT_EQ(message.frame, before);
}

TEST(GssipMessage, OkSetContentRefusesAHeaderOnlyBlockWhateverTheWordCount) {
    Probe<0> empty;
    EXPECT_FALSE(set(empty, countingBytes(10)));
    EXPECT_EQ(empty.header[0], GSSIP_DELSOH);
    Probe<2> message;
    message.wordCount = 0xFFFFFFFF;
    EXPECT_FALSE(set(message, countingBytes(10)));
}

TEST(GssipMessage, OkSetContentOfTwelveBytesFitsAnObjectWithoutDataAndStaysInItsHeader) {
    Probe<0> message;
    EXPECT_TRUE(set(message, countingBytes(12)));
    EXPECT_EQ(message.header[4], 0x0908);
    EXPECT_EQ(message.header[5], untouched);
}

TEST(GssipMessage, OkSetContentRefusesAnEmptyBlock) {
    Probe<0> message;
    EXPECT_FALSE(message.OkSetContent(nullptr, 0));
}

TEST(GssipMessage, OkSetContentRefusesWithoutABuffer) {
    GssipMessage message;
    EXPECT_FALSE(set(message, countingBytes(12)));
}

TEST(GssipMessage, ChecksumOfContentsCoversTheDataOnly) {
    Probe<2> message;
    message.data[0] = 0x0102;
    message.data[1] = 0x0304;
    EXPECT_EQ(message.checksumOfContents(), 0xFBFA);
}

TEST(GssipMessage, ChecksumOfContentsIsZeroWithoutData) {
    Probe<2> message;
    message.wordCount = 0;
    EXPECT_EQ(message.checksumOfContents(), 0);
    message.wordCount = 2;
    message.data = nullptr;
    EXPECT_EQ(message.checksumOfContents(), 0);
}

TEST(GssipMessage, ChecksumOfAValidHeaderIsZero) {
    Probe<2> message;
    message.header[4] = 0;
    EXPECT_EQ(message.calculateHeaderChecksum(), 0xDA76);
    EXPECT_EQ(message.checksumOfHeader(), 0xDA76);
    message.setHeaderChecksum();
    EXPECT_EQ(message.header[4], 0xDA76);
    EXPECT_EQ(message.checksumOfHeader(), 0);
}

TEST(GssipMessage, InsertChecksumStoresBothAndMarksThemValid) {
    Probe<2> message;
    message.data[0] = 1;
    message.data[1] = 2;
    message.insert_checksum();
    EXPECT_EQ(message.header[4], 0xDA76);
    EXPECT_EQ(message.header[7], 0xFFFD);
    EXPECT_EQ(message.header[8], untouched);
    EXPECT_TRUE(message.headerChecksumValid);
    EXPECT_TRUE(message.dataChecksumValid);
}

TEST(GssipMessage, InsertChecksumWithoutDataLeavesTheDataMarkAndWordFive) {
    Probe<0> message;
    message.insert_checksum();
    EXPECT_EQ(message.header[4], message.calculateHeaderChecksum());
    EXPECT_EQ(message.header[5], untouched);
    EXPECT_TRUE(message.headerChecksumValid);
    EXPECT_FALSE(message.dataChecksumValid);
}

TEST(GssipMessage, InsertChecksumDoesNothingWhenTheWordCountsDisagree) {
    Probe<2> message;
    message.header[2] = 1;
    const auto before = message.frame;
    message.insert_checksum();
    EXPECT_EQ(message.frame, before);
    EXPECT_FALSE(message.headerChecksumValid);
    EXPECT_FALSE(message.dataChecksumValid);
}

TEST(GssipMessage, OperationsWithoutABufferDoNothing) {
    GssipMessage message;
    Recorder line;
    message.setHeaderChecksum();
    message.insert_checksum();
    message.clearContents();
    message.WriteMessage(&line);
    EXPECT_FALSE(message.headerChecksumValid);
    EXPECT_TRUE(line.writes.empty());
}

TEST(GssipMessage, WriteMessageSendsTheWholeFrameInOneWrite) {
    Probe<2> message;
    message.data[0] = 1;
    message.data[1] = 0x0200;
    Recorder line;
    message.WriteMessage(&line);
    ASSERT_EQ(line.writes.size(), 1U);
    EXPECT_EQ(line.writes[0], (Bytes{0xFF, 0x81, 0x89, 0x13, 0x02, 0x00, 0x00, 0x90, 0x76, 0xDA,
                                     0x01, 0x00, 0x00, 0x02, 0xFF, 0xFD}));
    EXPECT_EQ(message.debugPrints, 1);
}

TEST(GssipMessage, WriteMessageWithoutDataSendsTenBytesAndNeverWritesWordFive) {
    Probe<0> message;
    message.header[3] = 0x8800;
    Recorder line;
    message.WriteMessage(&line);
    ASSERT_EQ(line.writes.size(), 1U);
    EXPECT_EQ(line.writes[0], (Bytes{0xFF, 0x81, 0x89, 0x13, 0x00, 0x00, 0x00, 0x88, 0x78, 0xE2}));
    EXPECT_EQ(message.header[5], untouched);
}

TEST(GssipMessage, WriteMessageWithoutASinkChangesNothing) {
    Probe<2> message;
    const auto before = message.frame;
    message.WriteMessage(nullptr);
    EXPECT_EQ(message.frame, before);
    EXPECT_FALSE(message.headerChecksumValid);
}

TEST(GssipMessage, FreshObjectWhoseWordCountsDisagreeWritesNothing) {
    Probe<2> message;
    message.header[2] = 1;
    Recorder line;
    message.WriteMessage(&line);
    EXPECT_TRUE(line.writes.empty());
    EXPECT_EQ(message.debugPrints, 0);
}

TEST(GssipMessage, DataWithoutAValidChecksumIsNotWritten) {
    Probe<2> message;
    message.header[2] = 1;
    message.headerChecksumValid = true;
    Recorder line;
    message.WriteMessage(&line);
    EXPECT_TRUE(line.writes.empty());
}

TEST(GssipMessage, HeaderWithoutAValidChecksumIsNotWritten) {
    Probe<2> message;
    message.header[2] = 1;
    message.dataChecksumValid = true;
    Recorder line;
    message.WriteMessage(&line);
    EXPECT_TRUE(line.writes.empty());
}

TEST(GssipMessage, LaterDisagreementOfTheWordCountsSendsTheStaleChecksums) {
    Probe<2> message;
    message.data[0] = 1;
    message.data[1] = 2;
    message.insert_checksum();
    message.data[0] = 9;
    message.header[2] = 1;
    Recorder line;
    message.WriteMessage(&line);
    ASSERT_EQ(line.writes.size(), 1U);
    EXPECT_EQ(line.writes[0], (Bytes{0xFF, 0x81, 0x89, 0x13, 0x01, 0x00, 0x00, 0x90, 0x76, 0xDA,
                                     0x09, 0x00, 0x02, 0x00, 0xFD, 0xFF}));
}

TEST(GssipMessage, ClearContentsZeroesTheDataAndLeavesTheChecksumWord) {
    Probe<2> message;
    message.clearContents();
    EXPECT_EQ(message.data[0], 0);
    EXPECT_EQ(message.data[1], 0);
    EXPECT_EQ(message.data[2], untouched);
    EXPECT_EQ(message.header[4], untouched);
}

TEST(GssipMessage, ClearContentsWithoutDataDoesNothing) {
    Probe<2> message;
    message.wordCount = 0;
    message.clearContents();
    EXPECT_EQ(message.data[0], untouched);
    message.wordCount = 2;
    message.data = nullptr;
    message.clearContents();
    EXPECT_EQ(message.frame[5], untouched);
}

TEST(GssipMessage, SetWordCountShortensTheFrameThatIsWritten) {
    Probe<3> message;
    message.clearContents();
    message.set_gpsip_wdcnt(1);
    EXPECT_EQ(message.wordCount, 1U);
    EXPECT_EQ(message.header[2], 1);
    Recorder line;
    message.WriteMessage(&line);
    ASSERT_EQ(line.writes.size(), 1U);
    EXPECT_EQ(line.writes[0], (Bytes{0xFF, 0x81, 0x89, 0x13, 0x01, 0x00, 0x00, 0x90, 0x77, 0xDA,
                                     0x00, 0x00, 0x00, 0x00}));
}

TEST(Generic_MSID_Msg, ConstructedForTheLargestFrame) {
    const Generic_MSID_Msg message;
    EXPECT_EQ(message.wordCount, 240U);
    EXPECT_EQ(message.msgId, 0xFFFF);
    EXPECT_EQ(message.header[0], 0x81FF);
    EXPECT_EQ(message.header[1], 0);
    EXPECT_EQ(message.header[2], 0);
    EXPECT_EQ(message.header[3], 0x9000);
    EXPECT_EQ(message.data, message.header + 5);
    for (std::size_t i = 4; i < 246; ++i) {
        EXPECT_EQ(message.header[i], 0) << i;
    }
    EXPECT_FALSE(message.headerChecksumValid);
    EXPECT_FALSE(message.dataChecksumValid);
}

TEST(Generic_MSID_Msg, AcceptsEveryEvenLengthFrom14To492) {
    for (std::size_t length = 14; length <= 492; length += 2) {
        Generic_MSID_Msg message;
        const Bytes block = countingBytes(length);
        EXPECT_TRUE(set(message, block)) << length;
        EXPECT_EQ(message.wordCount, length / 2 - 6) << length;
        EXPECT_EQ(message.msgId, 0x0302);
        const auto last = static_cast<std::uint16_t>(block[length - 2] | block[length - 1] << 8);
        EXPECT_EQ(message.header[length / 2 - 1], last) << length;
        if (length < 492) {
            EXPECT_EQ(message.header[length / 2], 0) << length;
        }
    }
}

TEST(Generic_MSID_Msg, AcceptsAHeaderOnlyFrame) {
    Generic_MSID_Msg message;
    EXPECT_TRUE(set(message, countingBytes(10)));
    EXPECT_EQ(message.wordCount, 0U);
    EXPECT_EQ(message.header[4], 0x0908);
    EXPECT_EQ(message.header[5], 0);
}

/// A refused block sets the marks and the identifier, and nothing else.
void expectRefused(std::size_t length) {
    Generic_MSID_Msg message;
    EXPECT_FALSE(set(message, countingBytes(length))) << length;
    EXPECT_TRUE(message.headerChecksumValid);
    EXPECT_TRUE(message.dataChecksumValid);
    EXPECT_EQ(message.msgId, length >= 4 ? 0x0302 : 0xFFFF) << length;
    EXPECT_EQ(message.wordCount, 240U) << length;
    EXPECT_EQ(message.header[0], 0x81FF) << length;
    EXPECT_EQ(message.header[1], 0) << length;
}

TEST(Generic_MSID_Msg, RefusesABlockOf494Bytes) {
    expectRefused(494);
}

TEST(Generic_MSID_Msg, RefusesABlockOf493Bytes) {
    expectRefused(493);
}

TEST(Generic_MSID_Msg, RefusesTheLongestBlock) {
    expectRefused(65535);
}

TEST(Generic_MSID_Msg, RefusesABlockOf11Bytes) {
    expectRefused(11);
}

TEST(Generic_MSID_Msg, RefusesABlockOf12Bytes) {
    expectRefused(12);
}

TEST(Generic_MSID_Msg, RefusesABlockOf13Bytes) {
    expectRefused(13);
}

TEST(Generic_MSID_Msg, RefusesEveryOddLength) {
    for (std::size_t length = 15; length <= 491; length += 2) {
        expectRefused(length);
    }
}

TEST(Generic_MSID_Msg, RefusesEveryBlockShorterThanAHeader) {
    for (std::size_t length = 4; length <= 9; ++length) {
        expectRefused(length);
    }
}

TEST(Generic_MSID_Msg, ReadsNothingOfABlockBelowFourBytes) {
    for (std::size_t length = 0; length <= 3; ++length) {
        expectRefused(length);
    }
    Generic_MSID_Msg message;
    EXPECT_FALSE(message.OkSetContent(nullptr, 3));
    EXPECT_EQ(message.msgId, 0xFFFF);
}

TEST(Generic_MSID_Msg, WritesBackAFrameThatItTook) {
    const Bytes frame{0xFF, 0x81, 0x89, 0x13, 0x02, 0x00, 0x00, 0x90,
                      0x76, 0xDA, 0x01, 0x00, 0x00, 0x02, 0xFF, 0xFD};
    Generic_MSID_Msg message;
    ASSERT_TRUE(set(message, frame));
    Recorder line;
    message.WriteMessage(&line);
    ASSERT_EQ(line.writes.size(), 1U);
    EXPECT_EQ(line.writes[0], frame);
}

struct SmallPayload {
    std::uint8_t kind;
    std::uint8_t spare;
    std::uint16_t value;
};

using SmallMsg = GpsIpWrapperMsg<SmallPayload, 5044>;

TEST(GpsIpWrapperMsg, BindsPayloadAndIdentifier) {
    SmallMsg message;
    EXPECT_EQ(SmallMsg::msgId, 5044);
    EXPECT_EQ(static_cast<GssipMessage&>(message).msgId, 5044);
    EXPECT_EQ(message.wordCount, 2U);
    EXPECT_EQ(message.header[0], 0x81FF);
    EXPECT_EQ(message.header[1], 5044);
    EXPECT_EQ(message.header[2], 2);
    EXPECT_EQ(message.header[3], 0x8000);
    EXPECT_EQ(message.data, message.header + 5);
    EXPECT_EQ(message.data[0], 0);
    EXPECT_EQ(message.data[1], 0);
}

TEST(GpsIpWrapperMsg, WritesThePayloadAsFrame) {
    SmallMsg message;
    message.setPayload({0x11, 0x22, 0x4433});
    message.header[3] = static_cast<std::uint16_t>(message.header[3] | FLAG_ACK_REQUEST);
    Recorder line;
    message.WriteMessage(&line);
    ASSERT_EQ(line.writes.size(), 1U);
    EXPECT_EQ(line.writes[0], (Bytes{0xFF, 0x81, 0xB4, 0x13, 0x02, 0x00, 0x00, 0x90, 0x4B, 0xDA,
                                     0x11, 0x22, 0x33, 0x44, 0xBC, 0x99}));
}

TEST(GpsIpWrapperMsg, TakesAFrameOfItsOwnLength) {
    const Bytes frame{0xFF, 0x81, 0xB4, 0x13, 0x02, 0x00, 0x00, 0x90,
                      0x4B, 0xDA, 0x11, 0x22, 0x33, 0x44, 0xBC, 0x99};
    SmallMsg message;
    ASSERT_TRUE(set(message, frame));
    EXPECT_EQ(message.payload().kind, 0x11);
    EXPECT_EQ(message.payload().spare, 0x22);
    EXPECT_EQ(message.payload().value, 0x4433);
}

TEST(GpsIpWrapperMsg, RefusesAFrameOfAnotherLength) {
    SmallMsg message;
    EXPECT_FALSE(set(message, countingBytes(14)));
    EXPECT_FALSE(set(message, countingBytes(18)));
    EXPECT_EQ(message.header[1], 5044);
}

}  // namespace
