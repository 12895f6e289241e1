#include <array>
#include <cstring>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "GpsSerialIo/GssipFrame.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint16_t untouched = 0xEEEE;

/// The first `words` words of a frame, low byte first.
Bytes wireBytes(const std::uint16_t* frame, std::size_t words) {
    Bytes bytes;
    for (std::size_t i = 0; i < words; ++i) {
        bytes.push_back(static_cast<unsigned char>(frame[i] & 0xFF));
        bytes.push_back(static_cast<unsigned char>(frame[i] >> 8));
    }
    return bytes;
}

std::array<std::uint16_t, 8> untouchedFrame() {
    std::array<std::uint16_t, 8> frame{};
    frame.fill(untouched);
    return frame;
}

/// A valid frame of identifier 5001 and the data words 0x0100, 0x0101, ...
std::vector<std::uint16_t> validFrame(std::uint16_t wdcnt) {
    std::vector<std::uint16_t> frame(GSSIP_HEADER_WORDS + wdcnt + (wdcnt == 0 ? 0U : 1U));
    MakeHeader(frame.data(), 5001, wdcnt);
    std::uint16_t sum = 0;
    for (std::size_t i = 0; i < wdcnt; ++i) {
        frame[GSSIP_HEADER_WORDS + i] = static_cast<std::uint16_t>(0x0100 + i);
        sum = static_cast<std::uint16_t>(sum + frame[GSSIP_HEADER_WORDS + i]);
    }
    if (wdcnt != 0) {
        frame[GSSIP_HEADER_WORDS + wdcnt] = static_cast<std::uint16_t>(-sum);
    }
    return frame;
}

struct Verdict {
    int result;
    std::string errors;
};

Verdict store(std::uint16_t* frame) {
    testing::internal::CaptureStderr();
    const int result = OkChecksumGPSmessage(frame);
    return {result, testing::internal::GetCapturedStderr()};
}

Verdict verify(const std::uint16_t* frame) {
    testing::internal::CaptureStderr();
    const int result = ChecksumsAreOkInGPSmessage(frame);
    return {result, testing::internal::GetCapturedStderr()};
}

TEST(GssipFrame, FrameOfNDataWordsHasTwiceNPlusTwelveBytesAndTenWithoutData) {
    EXPECT_EQ(GssipFrameBytes(0), 10U);
    EXPECT_EQ(GssipFrameBytes(1), 14U);
    EXPECT_EQ(GssipFrameBytes(54), 120U);
    EXPECT_EQ(GssipFrameBytes(65535), 131082U);
}

TEST(GssipFrame, FlagsHaveTheirBits) {
    EXPECT_EQ(FLAG_LINK_READY, 0x8000);
    EXPECT_EQ(FLAG_ACK_REQUEST, 0x1000);
    EXPECT_EQ(FLAG_ACK, 0x0800);
    EXPECT_EQ(FLAG_NAK, 0x0400);
    EXPECT_EQ(FLAG_RESPONSE, 0x0200);
    EXPECT_EQ(FLAG_REJECT, 0x0100);
}

TEST(GssipFrame, SumOfWordsTakesLowByteFirstAtAnyAlignmentForEveryLength) {
    Bytes bytes(300);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0x9B));
    for (std::size_t start = 0; start < 4; ++start) {
        for (std::size_t words = 0; words < 148; ++words) {
            unsigned expected = 0;
            for (std::size_t i = 0; i < 2 * words; ++i) {
                expected += bytes[start + i] * (i % 2 == 0 ? 1U : 256U);
            }
            EXPECT_EQ(SumOfWords(bytes.data() + start, words), expected & 0xFFFF)
                << "start " << start << " words " << words;
        }
    }
}

TEST(GssipFrame, SumOfWordsWrapsModulo65536WithoutCarryFolding) {
    const std::vector<std::uint16_t> words(70000, 0xFFFF);
    EXPECT_EQ(SumOfWords(words.data(), words.size()),
              static_cast<std::uint16_t>(0x10000 - 70000 % 65536));
}

TEST(GssipFrame, ChecksumOfEmptyRangeIsZero) {
    const std::uint16_t words[] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(CalculateChecksum(words, 5, 4), 0);
}

TEST(GssipFrame, ChecksumOfOneWordIsItsNegation) {
    const std::uint16_t words[] = {1, 0x1234, 3};
    EXPECT_EQ(CalculateChecksum(words, 1, 1), 0xEDCC);
}

TEST(GssipFrame, ChecksumRangeIncludesBothEnds) {
    const std::uint16_t words[] = {0x1000, 1, 2, 4, 0x2000};
    EXPECT_EQ(CalculateChecksum(words, 1, 3), static_cast<std::uint16_t>(-7));
}

TEST(GssipFrame, CoveredWordsAndChecksumSumToZero) {
    std::uint16_t words[] = {0xFFFF, 0x8001, 0xABCD, 0x7FFF, 0};
    words[4] = CalculateChecksum(words, 0, 3);
    EXPECT_EQ(SumOfWords(words, 5), 0);
}

TEST(GssipFrame, HeaderWithGivenFlagWordIsFiveWordsAndReturnsItsChecksum) {
    auto frame = untouchedFrame();
    const std::uint16_t checksum = MakeHdrSpecifyFlagWd(frame.data(), 0x3ACA, 0x9000, 3);
    EXPECT_EQ(wireBytes(frame.data(), 6),
              (Bytes{0xFF, 0x81, 0xCA, 0x3A, 0x03, 0x00, 0x00, 0x90, 0x34, 0xB3, 0xEE, 0xEE}));
    EXPECT_EQ(checksum, 0xB334);
}

TEST(GssipFrame, HeaderRequestsNoAckByDefault) {
    auto frame = untouchedFrame();
    const std::uint16_t checksum = MakeHeader(frame.data(), 0x1389, 0x0102);
    EXPECT_EQ(wireBytes(frame.data(), 6),
              (Bytes{0xFF, 0x81, 0x89, 0x13, 0x02, 0x01, 0x00, 0x80, 0x76, 0xE9, 0xEE, 0xEE}));
    EXPECT_EQ(checksum, 0xE976);
}

TEST(GssipFrame, AckForIdentifier5001IsTheseTenBytes) {
    auto frame = untouchedFrame();
    const std::uint16_t checksum = MakeACK(frame.data(), 5001);
    EXPECT_EQ(wireBytes(frame.data(), 6),
              (Bytes{0xFF, 0x81, 0x89, 0x13, 0x00, 0x00, 0x00, 0x88, 0x78, 0xE2, 0xEE, 0xEE}));
    EXPECT_EQ(checksum, 0xE278);
}

TEST(GssipFrame, NakForIdentifier5001IsTheseTenBytes) {
    auto frame = untouchedFrame();
    const std::uint16_t checksum = MakeNAK(frame.data(), 5001);
    EXPECT_EQ(wireBytes(frame.data(), 6),
              (Bytes{0xFF, 0x81, 0x89, 0x13, 0x00, 0x00, 0x00, 0x84, 0x78, 0xE6, 0xEE, 0xEE}));
    EXPECT_EQ(checksum, 0xE678);
}

TEST(GssipFrame, StoresBothChecksums) {
    std::array<std::uint16_t, 9> frame{0x81FF, 5001, 2, 0x9000, untouched, 1, 2, untouched, 0xEEEE};
    const Verdict verdict = store(frame.data());
    EXPECT_EQ(verdict.result, 1);
    EXPECT_EQ(verdict.errors, "");
    EXPECT_EQ(frame[4], 0xDA76);
    EXPECT_EQ(frame[7], 0xFFFD);
    EXPECT_EQ(frame[8], untouched);
}

TEST(GssipFrame, StoresOnlyTheHeaderChecksumWithoutData) {
    std::array<std::uint16_t, 6> frame{0x81FF, 5001, 0, 0x8800, untouched, untouched};
    EXPECT_EQ(store(frame.data()).result, 1);
    EXPECT_EQ(frame[4], 0xE278);
    EXPECT_EQ(frame[5], untouched);
}

TEST(GssipFrame, DataChecksumOfZeroDataIsZero) {
    std::array<std::uint16_t, 9> frame{0x81FF, 5001, 3, 0x8000, untouched, 0, 0, 0, untouched};
    EXPECT_EQ(store(frame.data()).result, 1);
    EXPECT_EQ(frame[8], 0);
}

TEST(GssipFrame, StoringAcceptsTheLargestWordCount) {
    std::vector<std::uint16_t> frame(GSSIP_HEADER_WORDS + 32501, 1);
    frame[0] = GSSIP_DELSOH;
    frame[2] = 32500;
    EXPECT_EQ(store(frame.data()).result, 1);
    EXPECT_EQ(frame[GSSIP_HEADER_WORDS + 32500], static_cast<std::uint16_t>(-32500));
}

TEST(GssipFrame, StoringRefusesTooLargeWordCountButRefreshesTheHeaderChecksum) {
    std::array<std::uint16_t, 6> frame{0x81FF, 5001, 32501, 0x9000, untouched, untouched};
    const Verdict verdict = store(frame.data());
    EXPECT_EQ(verdict.result, 0);
    EXPECT_EQ(verdict.errors, "Bad wdcnt (32501) checksumming Msg(5001) \n");
    EXPECT_EQ(frame[4], CalculateChecksum(frame.data(), 0, 3));
    EXPECT_EQ(frame[5], untouched);
}

TEST(GssipFrame, StoringRefusesWrongDelimiterButRefreshesTheHeaderChecksum) {
    std::array<std::uint16_t, 7> frame{0x81FE, 5001, 1, 0x9000, untouched, 7, untouched};
    const Verdict verdict = store(frame.data());
    EXPECT_EQ(verdict.result, 0);
    EXPECT_EQ(verdict.errors,
              "No delsoh checksumming Msg(5001) delsoh:81FE cnt:    1 flag:9000  hck:DA78\n");
    EXPECT_EQ(frame[4], 0xDA78);
    EXPECT_EQ(frame[6], untouched);
}

TEST(GssipFrame, StoringDoesNotLookAtTheDelimiterWithoutData) {
    std::array<std::uint16_t, 6> frame{0x0000, 5001, 0, 0x9000, untouched, untouched};
    const Verdict verdict = store(frame.data());
    EXPECT_EQ(verdict.result, 1);
    EXPECT_EQ(verdict.errors, "");
}

TEST(GssipFrame, VerifiesGoodFrames) {
    for (const std::uint16_t wdcnt : std::vector<std::uint16_t>{0, 1, 31, 54, 106}) {
        const auto frame = validFrame(wdcnt);
        const Verdict verdict = verify(frame.data());
        EXPECT_EQ(verdict.result, 1) << wdcnt;
        EXPECT_EQ(verdict.errors, "") << wdcnt;
    }
}

TEST(GssipFrame, VerifyingReportsBadHeaderChecksum) {
    auto frame = validFrame(2);
    frame[4] = static_cast<std::uint16_t>(frame[4] + 3);
    const auto before = frame;
    const Verdict verdict = verify(frame.data());
    EXPECT_EQ(verdict.result, 0);
    EXPECT_EQ(verdict.errors, "Bad header chksum (3) verifying checksums Msg(5001) \n");
    EXPECT_EQ(frame, before);
}

TEST(GssipFrame, VerifyingRefusesMoreThan106Words) {
    const auto frame = validFrame(107);
    const Verdict verdict = verify(frame.data());
    EXPECT_EQ(verdict.result, 0);
    EXPECT_EQ(verdict.errors, "Bad wdcnt (107) verifying checksums Msg(5001) \n");
}

TEST(GssipFrame, VerifyingReportsBadDataChecksum) {
    auto frame = validFrame(2);
    frame[6] = static_cast<std::uint16_t>(frame[6] - 1);
    const Verdict verdict = verify(frame.data());
    EXPECT_EQ(verdict.result, 0);
    EXPECT_EQ(verdict.errors, "Bad data chksum (65535) verifying checksums Msg(5001) \n");
}

std::string printed(const std::uint16_t* frame) {
    testing::internal::CaptureStdout();
    PrintMessageInHex(frame);
    return testing::internal::GetCapturedStdout();
}

TEST(GssipFrame, PrintsHeaderOnlyFrameInOneLine) {
    const auto frame = validFrame(0);
    EXPECT_EQ(printed(frame.data()),
              "Header:  81FF 1389 0000 8000 EA78; msgId: 5001 Wdcnt:    0\n");
}

TEST(GssipFrame, PrintsTenDataWordsToALine) {
    const auto frame = validFrame(12);
    EXPECT_EQ(printed(frame.data()),
              "Header:  81FF 1389 000C 8000 EA6C; msgId: 5001 Wdcnt:   12\n"
              "Data:  0  0100 0101 0102 0103 0104 | 0105 0106 0107 0108 0109 \n"
              "Data: 10  010A 010B \n"
              "DataCks:  F3BE\n");
}

TEST(GssipFrame, PrintsNoEmptyLineAfterAFullOne) {
    const auto frame = validFrame(10);
    EXPECT_EQ(printed(frame.data()),
              "Header:  81FF 1389 000A 8000 EA6E; msgId: 5001 Wdcnt:   10\n"
              "Data:  0  0100 0101 0102 0103 0104 | 0105 0106 0107 0108 0109 \n"
              "DataCks:  F5D3\n");
}

TEST(GssipFrame, PrintsTheBarAfterTheFifthWordAlsoWhenItIsTheLast) {
    const auto frame = validFrame(5);
    EXPECT_EQ(printed(frame.data()),
              "Header:  81FF 1389 0005 8000 EA73; msgId: 5001 Wdcnt:    5\n"
              "Data:  0  0100 0101 0102 0103 0104 | \n"
              "DataCks:  FAF6\n");
}

TEST(GssipFrame, PrintsPrefixAndUnalignedBytesOfTheGivenLength) {
    const auto frame = validFrame(1);
    Bytes bytes{0xEE};
    const Bytes wire = wireBytes(frame.data(), frame.size());
    bytes.insert(bytes.end(), wire.begin(), wire.end());
    testing::internal::CaptureStdout();
    PrintMessageInHex(bytes.data() + 1, wire.size(), "R:");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "R:Header:  81FF 1389 0001 8000 EA77; msgId: 5001 Wdcnt:    1\n"
              "Data:  0  0100 \n"
              "DataCks:  FF00\n");
}

/// The text of exactly `length` heap bytes, so that the address sanitizer sees any reading
/// behind them.
std::string formatted(const Bytes& bytes, std::size_t length) {
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[length]);
    std::memcpy(exact.get(), bytes.data(), length);
    return FormatMessageInHex(exact.get(), length);
}

TEST(GssipFrame, FormatsNothingBehindTheLengthReceived) {
    auto frame = validFrame(3);
    frame[2] = 65535;
    const Bytes wire = wireBytes(frame.data(), frame.size());
    const std::string header = "Header:  81FF 1389 FFFF 8000 EA75; msgId: 5001 Wdcnt:65535\n";
    EXPECT_EQ(formatted(wire, 10), header);
    EXPECT_EQ(formatted(wire, 15), header + "Data:  0  0100 0101 \n");
    EXPECT_EQ(formatted(wire, 18), header + "Data:  0  0100 0101 0102 FCFD \n");
}

TEST(GssipFrame, FormatsNoDataChecksumThatDidNotArrive) {
    const auto frame = validFrame(2);
    const Bytes wire = wireBytes(frame.data(), frame.size());
    EXPECT_EQ(formatted(wire, 14),
              "Header:  81FF 1389 0002 8000 EA76; msgId: 5001 Wdcnt:    2\n"
              "Data:  0  0100 0101 \n");
}

TEST(GssipFrame, FormatsTheWholeWordsOfATruncatedHeader) {
    const auto frame = validFrame(0);
    const Bytes wire = wireBytes(frame.data(), frame.size());
    EXPECT_EQ(formatted(wire, 0), "Header: \n");
    EXPECT_EQ(formatted(wire, 7), "Header:  81FF 1389 0000\n");
    EXPECT_EQ(formatted(wire, 9), "Header:  81FF 1389 0000 8000\n");
}

}  // namespace
