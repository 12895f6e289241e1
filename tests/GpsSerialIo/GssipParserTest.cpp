#include <string>

#include <gtest/gtest.h>

#include "GpsSerialIo/GssipParser.h"
#include "tests/GpsSerialIo/ParserTraffic.h"

namespace {

const Bytes ackFrame{0xFF, 0x81, 0x89, 0x13, 0x00, 0x00, 0x00, 0x88, 0x78, 0xE2};
const Bytes oneWordFrame{0xFF, 0x81, 0x89, 0x13, 0x01, 0x00, 0x00,
                         0x80, 0x77, 0xEA, 0x34, 0x12, 0xCC, 0xED};

/// A parser with a log as its handler, under context 7.
class GssipParserTest : public testing::Test {
protected:
    GssipParserTest() { parser.ProcessMessagesWithThis(&log, 7); }

    bool load(const Bytes& bytes) { return loadPiece(parser, log, bytes.data(), bytes.size()); }

    std::size_t frames() const {
        std::size_t count = 0;
        for (const ParserEvent& event : log.events) {
            count += event.frame.empty() ? 0 : 1;
        }
        return count;
    }

    std::size_t errors() const { return log.events.size() - frames(); }

    GssipParser parser;
    EventLog log;
};

using Events = std::vector<ParserEvent>;

ParserEvent frameIn(std::size_t call, const Bytes& frame) {
    return {call, 7, frame};
}
ParserEvent errorIn(std::size_t call) {
    return {call, 7, {}};
}

Bytes corrupted(Bytes bytes, std::size_t at) {
    bytes[at] = static_cast<unsigned char>(bytes[at] ^ 0x40);
    return bytes;
}

TEST_F(GssipParserTest, EmptyCallDeliversAndChangesNothing) {
    parser.LoadBytes(nullptr, 0);
    load({});
    EXPECT_EQ(log.events, Events{});
    load(Bytes(ackFrame.begin(), ackFrame.begin() + 4));
    load({});
    EXPECT_EQ(log.events, Events{});
    load(Bytes(ackFrame.begin() + 4, ackFrame.end()));
    EXPECT_EQ(log.events, Events{frameIn(4, ackFrame)});
}

TEST_F(GssipParserTest, DeliversHeaderOnlyFrameOnceAtItsTenthByte) {
    for (const unsigned char byte : ackFrame) {
        load({byte});
    }
    EXPECT_EQ(log.events, Events{frameIn(10, ackFrame)});
}

TEST_F(GssipParserTest, DeliversFrameOfOneDataWordAtFourteenBytes) {
    for (const unsigned char byte : oneWordFrame) {
        load({byte});
    }
    EXPECT_EQ(log.events, Events{frameIn(14, oneWordFrame)});
}

TEST_F(GssipParserTest, RunOfDelimitersSynchronisesOnTheLastWithoutReport) {
    load(Bytes{0xFF} + ackFrame);
    EXPECT_EQ(log.events, Events{frameIn(1, ackFrame)});
    load(Bytes(1000, 0xFF) + oneWordFrame);
    EXPECT_EQ(log.events, (Events{frameIn(1, ackFrame), frameIn(2, oneWordFrame)}));
}

TEST_F(GssipParserTest, DropsLeadingZerosSilently) {
    load(Bytes{0x00, 0x00} + ackFrame);
    EXPECT_EQ(log.events, Events{frameIn(1, ackFrame)});
}

TEST_F(GssipParserTest, DropsNoiseWithoutDelimiterSilently) {
    load(Bytes(5000, 0x81));
    load(ackFrame);
    EXPECT_EQ(log.events, Events{frameIn(2, ackFrame)});
}

TEST_F(GssipParserTest, DelimiterBeforeAnotherByteIsDroppedSilently) {
    load(Bytes{0xFF, 0x80, 0xFF, 0x00} + ackFrame);
    EXPECT_EQ(log.events, Events{frameIn(1, ackFrame)});
}

TEST_F(GssipParserTest, ReportsBadHeaderOnceAtItsTenthByte) {
    for (const unsigned char byte : corrupted(ackFrame, 8)) {
        load({byte});
    }
    load(Bytes(100, 0));
    EXPECT_EQ(log.events, Events{errorIn(10)});
}

TEST_F(GssipParserTest, FindsFrameRightBehindABadHeader) {
    load(corrupted(ackFrame, 2) + oneWordFrame);
    EXPECT_EQ(log.events, (Events{errorIn(1), frameIn(1, oneWordFrame)}));
}

TEST_F(GssipParserTest, FindsFrameThatBeginsAnywhereInsideABadHeader) {
    for (std::size_t kept = 2; kept < 10; ++kept) {
        log.events.clear();
        const Bytes falseStart(ackFrame.begin(), ackFrame.begin() + static_cast<int>(kept));
        load(falseStart + oneWordFrame);
        EXPECT_EQ(log.events, (Events{errorIn(log.call), frameIn(log.call, oneWordFrame)})) << kept;
    }
}

TEST_F(GssipParserTest, ReportsBadDataOnceAtTheLastByte) {
    for (const unsigned char byte : corrupted(oneWordFrame, 10)) {
        load({byte});
    }
    load(Bytes(100, 0));
    EXPECT_EQ(log.events, Events{errorIn(14)});
}

TEST_F(GssipParserTest, FindsFrameInsideAFrameWithBadData) {
    const Bytes outer = corrupted(frameBytes(5331, Bytes{1, 2} + oneWordFrame + Bytes{3, 4}), 10);
    load(outer + ackFrame);
    EXPECT_EQ(log.events, (Events{errorIn(1), frameIn(1, oneWordFrame), frameIn(1, ackFrame)}));
}

TEST_F(GssipParserTest, FindsFrameAtAnOddPlaceInsideAFrameWithBadData) {
    const Bytes outer = corrupted(frameBytes(5331, Bytes{1} + oneWordFrame + Bytes{3}), 10);
    load(outer + ackFrame);
    EXPECT_EQ(log.events, (Events{errorIn(1), frameIn(1, oneWordFrame), frameIn(1, ackFrame)}));
}

TEST_F(GssipParserTest, FindsFrameThatReachesBeyondAFrameWithBadData) {
    const Bytes inner = frameBytes(5001, Bytes(40, 0x33));
    Bytes stream = headerBytes(5331, 10) + inner;
    load(Bytes(stream.begin(), stream.begin() + 32));
    EXPECT_EQ(log.events, Events{errorIn(1)});
    load(Bytes(stream.begin() + 32, stream.end()));
    EXPECT_EQ(log.events, (Events{errorIn(1), frameIn(2, inner)}));
}

TEST_F(GssipParserTest, DeliversNoFrameInsideAGoodFrame) {
    const Bytes outer = frameBytes(27553, Bytes{1, 0} + ackFrame + oneWordFrame);
    load(outer);
    EXPECT_EQ(log.events, Events{frameIn(1, outer)});
}

TEST_F(GssipParserTest, DeliversTwoFramesOfOneCallInOrder) {
    load(oneWordFrame + ackFrame);
    EXPECT_EQ(log.events, (Events{frameIn(1, oneWordFrame), frameIn(1, ackFrame)}));
}

TEST_F(GssipParserTest, DeliversTheLargestFrame) {
    Bytes data(131070);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<unsigned char>(i * 7);
    }
    const Bytes frame = frameBytes(5001, data);
    ASSERT_EQ(frame.size(), 131082U);
    const Bytes stream = frame + ackFrame;
    for (std::size_t at = 0; at < stream.size(); at += 65535) {
        const std::size_t end = std::min<std::size_t>(at + 65535, stream.size());
        load(Bytes(stream.begin() + static_cast<int>(at), stream.begin() + static_cast<int>(end)));
    }
    EXPECT_EQ(log.events, (Events{frameIn(3, frame), frameIn(3, ackFrame)}));
}

TEST_F(GssipParserTest, FalseStartHoldsEverythingUntilItsLastByteAndLosesNothing) {
    const Bytes falseStart = headerBytes(5001, 65535);
    load(falseStart);
    std::size_t sent = falseStart.size();
    std::size_t acks = 0;
    for (; sent + ackFrame.size() < 131082; sent += ackFrame.size(), ++acks) {
        load(ackFrame);
    }
    EXPECT_EQ(log.events, Events{});
    load(ackFrame);
    EXPECT_EQ(errors(), 1U);
    EXPECT_EQ(frames(), acks + 1);
}

TEST_F(GssipParserTest, ResetForgetsThePendingBytesAndKeepsTheHandler) {
    load(headerBytes(5001, 65535) + Bytes(3000, 0xFF));
    parser.reset();
    load(ackFrame);
    EXPECT_EQ(log.events, Events{frameIn(2, ackFrame)});
}

TEST_F(GssipParserTest, ResetForgetsTheSumsOfAFailedFrame) {
    load(corrupted(frameBytes(5001, headerBytes(5002, 9) + Bytes(12, 1)), 30));
    EXPECT_EQ(log.events, Events{errorIn(1)});
    parser.reset();
    load(oneWordFrame);
    EXPECT_EQ(log.events, (Events{errorIn(1), frameIn(2, oneWordFrame)}));
}

TEST_F(GssipParserTest, NullHandlerLeavesTheEarlierOne) {
    parser.ProcessMessagesWithThis(nullptr, 9);
    load(ackFrame);
    EXPECT_EQ(log.events, Events{frameIn(1, ackFrame)});
}

TEST_F(GssipParserTest, GivesBackTheContextOfTheLatestRegistration) {
    parser.ProcessMessagesWithThis(&log, 0xFFFFFFFF);
    load(corrupted(ackFrame, 3) + ackFrame);
    EXPECT_EQ(log.events, (Events{{1, 0xFFFFFFFF, {}}, {1, 0xFFFFFFFF, ackFrame}}));
}

TEST(GssipParser, ConsumesFramesAndErrorsWithoutAHandler) {
    GssipParser parser;
    EventLog log;
    const Bytes stream = ackFrame + corrupted(ackFrame, 3) + corrupted(oneWordFrame, 11);
    loadPiece(parser, log, stream.data(), stream.size());
    parser.ProcessMessagesWithThis(&log, 7);
    loadPiece(parser, log, oneWordFrame.data(), oneWordFrame.size());
    EXPECT_EQ(log.events, Events{frameIn(2, oneWordFrame)});
}

TEST_F(GssipParserTest, HandlerThatThrowsForAFrameHearsOfItOnceAndTheNextCallGoesOn) {
    log.throwEvery = 1;
    EXPECT_FALSE(load(oneWordFrame + ackFrame));
    EXPECT_EQ(log.events, Events{frameIn(1, oneWordFrame)});
    EXPECT_FALSE(load({}));
    EXPECT_TRUE(load({}));
    EXPECT_EQ(log.events, (Events{frameIn(1, oneWordFrame), frameIn(2, ackFrame)}));
}

TEST_F(GssipParserTest, HandlerThatThrowsForABadHeaderHearsOfItOnce) {
    log.throwEvery = 1;
    EXPECT_FALSE(load(corrupted(ackFrame, 3) + oneWordFrame));
    EXPECT_FALSE(load({}));
    EXPECT_EQ(log.events, (Events{errorIn(1), frameIn(2, oneWordFrame)}));
}

TEST_F(GssipParserTest, HandlerThatThrowsForBadDataHearsOfItOnce) {
    log.throwEvery = 1;
    EXPECT_FALSE(load(corrupted(frameBytes(5331, oneWordFrame), 24)));
    EXPECT_FALSE(load(ackFrame));
    EXPECT_FALSE(load({}));
    EXPECT_EQ(log.events, (Events{errorIn(1), frameIn(2, oneWordFrame), frameIn(3, ackFrame)}));
}

/// Calls the parser from inside the first report.
class Meddler : public IHandleGpsipMessages {
public:
    explicit Meddler(GssipParser& parser) : parser_(parser) {}

    void OnGpsMessageReceived(unsigned char* frame, unsigned int length, unsigned int) override {
        received.emplace_back(frame, frame + length);
        if (received.size() == 1) {
            if (more.empty()) {
                parser_.reset();
            } else {
                parser_.LoadBytes(more.data(), static_cast<unsigned short>(more.size()));
            }
        }
    }

    void OnParserChecksumError(unsigned int) override { ++errors; }

    Bytes more;  ///< to load; empty: reset
    std::vector<Bytes> received;
    int errors = 0;

private:
    GssipParser& parser_;
};

TEST(GssipParser, HandlerMayResetTheParser) {
    GssipParser parser;
    Meddler handler(parser);
    parser.ProcessMessagesWithThis(&handler, 0);
    const Bytes stream = ackFrame + oneWordFrame;
    parser.LoadBytes(stream.data(), static_cast<unsigned short>(stream.size()));
    parser.LoadBytes(oneWordFrame.data(), static_cast<unsigned short>(oneWordFrame.size()));
    EXPECT_EQ(handler.received, (std::vector<Bytes>{ackFrame, oneWordFrame}));
}

TEST(GssipParser, HandlerMayLoadBytes) {
    GssipParser parser;
    Meddler handler(parser);
    parser.ProcessMessagesWithThis(&handler, 0);
    handler.more = Bytes(60000, 0) + oneWordFrame;
    const Bytes stream = ackFrame + ackFrame;
    parser.LoadBytes(stream.data(), static_cast<unsigned short>(stream.size()));
    EXPECT_EQ(handler.received, (std::vector<Bytes>{ackFrame, ackFrame, oneWordFrame}));
    EXPECT_EQ(handler.errors, 0);
}

std::string standardErrorOf(GssipParser& parser, const Bytes& bytes) {
    testing::internal::CaptureStderr();
    parser.LoadBytes(bytes.data(), static_cast<unsigned short>(bytes.size()));
    return testing::internal::GetCapturedStderr();
}

TEST_F(GssipParserTest, DebugDumpsAFrameWithBadDataAndItsSum) {
    parser.doDebug(1);
    EXPECT_EQ(standardErrorOf(parser, corrupted(oneWordFrame, 10)),
              "81FF 1389 0001 8000 EA77 1274 EDCC \nSum:0040\n");
    EXPECT_EQ(errors(), 1U);
}

TEST_F(GssipParserTest, DebugDumpsNothingForGoodFramesAndBadHeaders) {
    parser.doDebug(1);
    EXPECT_EQ(standardErrorOf(parser, ackFrame + oneWordFrame + corrupted(ackFrame, 4)), "");
    EXPECT_EQ(log.events.size(), 3U);
}

TEST_F(GssipParserTest, DebugDumpsAlsoWithoutAHandler) {
    GssipParser lonely;
    lonely.doDebug(1);
    EXPECT_EQ(standardErrorOf(lonely, corrupted(oneWordFrame, 13)),
              "81FF 1389 0001 8000 EA77 1234 ADCC \nSum:C000\n");
}

TEST_F(GssipParserTest, WithoutDebugNothingIsPrinted) {
    EXPECT_EQ(standardErrorOf(parser, corrupted(oneWordFrame, 10)), "");
    parser.doDebug(1);
    parser.doDebug(0);
    EXPECT_EQ(standardErrorOf(parser, corrupted(oneWordFrame, 10)), "");
    EXPECT_EQ(errors(), 2U);
}

TEST_F(GssipParserTest, ResetKeepsDebug) {
    parser.doDebug(1);
    parser.reset();
    EXPECT_NE(standardErrorOf(parser, corrupted(oneWordFrame, 10)), "");
}

}  // namespace
