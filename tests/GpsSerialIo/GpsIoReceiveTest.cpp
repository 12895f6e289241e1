#include <optional>
#include <stdexcept>

#include "tests/GpsSerialIo/GpsIoFixture.h"
#include "tests/face/FailingAllocation.h"

namespace gps_io_test {
namespace {

/// What the link does with what the unit sends of its own accord.
class GpsIoReceive : public GpsIoFixture {
protected:
    static Bytes joined(std::vector<Bytes> const& parts) {
        Bytes result;
        for (Bytes const& part : parts) {
            result.insert(result.end(), part.begin(), part.end());
        }
        return result;
    }

    static Bytes damaged(UnitFrame const& frame, std::size_t at) {
        Bytes bytes = frame.encode();
        bytes.at(at) ^= 0x10;
        return bytes;
    }

    /// Identifiers of all frames that the unit got, in order.
    std::vector<int> received() const {
        std::vector<int> ids;
        for (auto const& entry : unit.frames()) {
            ids.push_back(entry.frame.id);
        }
        return ids;
    }

    /// Gives a frame to the link as its read thread does; only while none runs.
    void take(UnitFrame const& frame) {
        Bytes bytes = frame.encode();
        link->OnGpsMessageReceived(bytes.data(), static_cast<unsigned int>(bytes.size()), 0);
    }
};

TEST_F(GpsIoReceive, AcknowledgesAFrameThatAsksForIt) {
    run({});
    unit.send(makeFrame(5001));
    ASSERT_TRUE(unit.waitForFrames(1, patience));
    EXPECT_EQ(unit.frames()[0].bytes,
              (Bytes{0xFF, 0x81, 0x89, 0x13, 0x00, 0x00, 0x00, 0x88, 0x78, 0xE2}));
    EXPECT_EQ(link->counters().rxCount, 1U);
}

TEST_F(GpsIoReceive, AcknowledgesAHeaderOnlyFrameThatAsksForIt) {
    run({});
    unit.send({5001, 0x9000, {}});
    ASSERT_TRUE(unit.waitForFrames(1, patience));
    EXPECT_EQ(unit.frames()[0].frame.flags, 0x8800);
}

TEST_F(GpsIoReceive, SendsNothingForAFrameThatAsksForNothing) {
    run({});
    unit.send(makeFrame(5001, 2, 0x8000));
    unit.send({5002, 0x8000, {}});
    ASSERT_TRUE(acknowledges(marker));
    EXPECT_EQ(received(), std::vector<int>{marker});
    EXPECT_EQ(link->counters().rxCount, 3U);
}

TEST_F(GpsIoReceive, TakesButDoesNotAcknowledgeAListedIdentifier) {
    configure({});
    link->addToIgnoreACKRequestList(8504);
    link->addToIgnoreACKRequestList(15050);
    link->start();
    unit.send(makeFrame(8504));
    unit.send(makeFrame(15050));
    ASSERT_TRUE(acknowledges(marker));
    EXPECT_EQ(received(), std::vector<int>{marker});
    EXPECT_EQ(link->counters().rxCount, 3U);
}

TEST_F(GpsIoReceive, QueuesTheAckBeforeThePauseOfAFrameWithLinkReadyClear) {
    configure({});
    for (std::uint16_t id = 6000; id < 6031; ++id) {
        take(makeFrame(id));
    }
    take(makeFrame(7000, 2, 0x1000));  // one place is left, and the ACK gets it
    link->start();
    ASSERT_TRUE(unit.waitForFrames(32, patience));
    EXPECT_EQ(received().back(), 7000);
}

TEST_F(GpsIoReceive, PausesForEachFrameWithLinkReadyClear) {
    run({});
    auto const begin = std::chrono::steady_clock::now();
    // A message of our own without any flag pauses too, and does not go out.
    ASSERT_TRUE(queue(makeMessage(unanswered, 2, 0)));
    unit.send({5001, 0x1000, {}});
    for (int i = 0; i < 4; ++i) {
        unit.send({5002, 0x0000, {}});
    }
    unit.send({5003, 0x9000, {}});
    ASSERT_TRUE(unit.waitForFrames(2, patience));
    EXPECT_EQ(received(), (std::vector<int>{5001, 5003})) << "a pause sends no frame";
    auto const acks = unit.frames();
    EXPECT_GE(acks[1].lastByte - begin, 400ms) << "five pauses of 100 ms";
}

TEST_F(GpsIoReceive, TakesAHandshakeFrameWithLinkReadyClear) {
    run({slow});
    unit.setReaction(handshaked, {Policy::Silence});
    ASSERT_TRUE(queue(makeMessage(handshaked), ""));
    ASSERT_TRUE(unit.waitForFrames(handshaked, 1, patience));
    unit.send({handshaked, 0x0A00, {}});
    ASSERT_TRUE(outcomes.waitFor(1));
    EXPECT_TRUE(outcomes.all()[0].success);
}

TEST_F(GpsIoReceive, ReportsEachBadChecksumAndSendsNoNak) {
    run({});
    unit.sendBytes(damaged(makeFrame(5001), 8));
    EXPECT_TRUE(output.waitFor(line("readThreadFunction", "GSSIP RX CHECKSUM ERROR (1)")));
    unit.sendBytes(damaged(makeFrame(5001), 12));
    EXPECT_TRUE(output.waitFor(line("readThreadFunction", "GSSIP RX CHECKSUM ERROR (2)")));
    ASSERT_TRUE(acknowledges(marker));
    EXPECT_EQ(received(), std::vector<int>{marker});
    EXPECT_EQ(output.count("GSSIP"), 2U) << output.text();
    EXPECT_EQ(link->counters().rxChecksumErrors, 2U);
    EXPECT_EQ(link->counters().rxCount, 1U);
}

TEST_F(GpsIoReceive, LosesNothingGoodThatFollowsBadInput) {
    Bytes noise;
    for (unsigned i = 0, value = 12345; i < 3000; ++i) {
        value = value * 1103515245U + 12345U;
        noise.push_back(static_cast<std::uint8_t>((value >> 16) & 0x7FU));  // no 0xFF in it
    }
    Bytes const whole = makeFrame(5001, 20).encode();
    struct Case {
        char const* what;
        Bytes bytes;
    };
    std::vector<Case> const cases{
        {"noise", noise},
        {"a run of FF", Bytes(1001, 0xFF)},
        {"false starts", joined({{0xFF, 0x81}, {0xFF, 0x81, 0xFF, 0x81}, {0xFF}})},
        {"a truncated header", Bytes(whole.begin(), whole.begin() + 7)},
        {"a header and little data", Bytes(whole.begin(), whole.begin() + 12)},
        {"truncated data", Bytes(whole.begin(), whole.begin() + 30)},
        {"a bad header checksum", damaged(makeFrame(5001, 20), 9)},
        {"a bad data checksum", damaged(makeFrame(5001, 20), 40)},
        {"a bad word count", damaged(makeFrame(5001, 20), 4)},
    };
    run({});
    std::uint16_t id = 6000;
    for (Case const& bad : cases) {
        SCOPED_TRACE(bad.what);
        // Four good frames of 16 bytes: more than any truncated frame still waits for.
        unit.sendBytes(joined({bad.bytes, makeFrame(id).encode(),
                               makeFrame(static_cast<std::uint16_t>(id + 1)).encode(),
                               makeFrame(static_cast<std::uint16_t>(id + 2)).encode(),
                               makeFrame(static_cast<std::uint16_t>(id + 3)).encode()}));
        id = static_cast<std::uint16_t>(id + 4);
        ASSERT_TRUE(unit.waitForFrames(static_cast<std::uint16_t>(id - 1), 1, patience));
    }
    std::vector<int> expected;
    for (int i = 6000; i < id; ++i) {
        expected.push_back(i);
    }
    EXPECT_EQ(received(), expected);
}

TEST_F(GpsIoReceive, FindsTheFramesBehindAHeaderThatAnnounces65535Words) {
    run({});
    Bytes header = UnitFrame{5001, 0x8000, {}}.encode();
    header[4] = header[5] = 0xFF;  // -1 in the sum: the checksum has to grow by 1
    header[8] = static_cast<std::uint8_t>(header[8] + 1);
    Bytes const good = makeFrame(6000).encode();
    Bytes const filling(131082 - header.size() - good.size(), 1);
    unit.sendBytes(joined({header, good, filling}));
    ASSERT_TRUE(unit.waitForFrames(6000, 1, patience));
    EXPECT_EQ(link->counters().rxChecksumErrors, 1U);
    ASSERT_TRUE(acknowledges(marker));
}

TEST_F(GpsIoReceive, DropsSilentlyWhatTheWriteQueueDoesNotTake) {
    configure({});
    for (std::uint16_t id = 6000; id < 6040; ++id) {
        take(makeFrame(id));
    }
    EXPECT_EQ(link->counters().rxCount, 40U);
    link->start();
    ASSERT_TRUE(unit.waitForFrames(32, patience));
    ASSERT_TRUE(acknowledges(marker));
    auto const ids = received();
    ASSERT_EQ(ids.size(), 33U);
    EXPECT_EQ(ids.front(), 6000);
    EXPECT_EQ(ids[31], 6031);
    EXPECT_EQ(ids.back(), marker);
    EXPECT_EQ(output.count("Link one"), 0U) << output.text();
}

TEST_F(GpsIoReceive, RefusesThe513thMessageSilently) {
    configure({});
    for (int i = 0; i < 512; ++i) {
        ASSERT_TRUE(queue(makeMessage(unanswered), i % 2 == 0 ? 0U : 1U));
    }
    EXPECT_FALSE(queue(makeMessage(unanswered), 0U));
    EXPECT_FALSE(queue(makeMessage(unanswered), 1U));
    EXPECT_EQ(output.count("Link one"), 0U) << output.text();
}

/// A link whose handling of one identifier fails.
class ThrowingLink : public GpsIo {
public:
    using GpsIo::GpsIo;
    ~ThrowingLink() override { stop(); }
    ThrowingLink(ThrowingLink const&) = delete;
    ThrowingLink& operator=(ThrowingLink const&) = delete;

    void OnGpsMessageReceived(unsigned char* frame, unsigned int length,
                              unsigned int context) override {
        if (frame[2] == 1) {
            throw std::runtime_error("no room for it");
        }
        if (frame[2] == 2) {
            throw 2;
        }
        if (frame[2] == 3) {
            std::runtime_error const lack("no memory is left to tell of it in one piece");
            noMemory_.emplace();
            throw lack;
        }
        noMemory_.reset();
        GpsIo::OnGpsMessageReceived(frame, length, context);
    }

private:
    std::optional<FailingAllocation> noMemory_;  // of the read thread, until the next frame
};

TEST_F(GpsIoReceive, GoesOnBehindAFrameWhoseHandlerThrows) {
    construct<FACE::IOSS::MX_SerialPort, ThrowingLink>({});
    configureLink();
    link->start();
    unit.sendBytes(joined({makeFrame(1).encode(), makeFrame(6000).encode()}));
    EXPECT_TRUE(output.waitFor(line("readThreadFunction", "EXCEPTION: no room for it")));
    ASSERT_TRUE(acknowledges(6001));
    unit.send(makeFrame(2));
    EXPECT_TRUE(output.waitFor(line("readThreadFunction", "EXCEPTION: <unknown>")));
    ASSERT_TRUE(acknowledges(6002));
    EXPECT_EQ(received(), (std::vector<int>{6000, 6001, 6002}));
    EXPECT_EQ(output.count("EXCEPTION"), 2U) << output.text();
}

TEST_F(GpsIoReceive, GoesOnBehindAnExceptionForWhoseReportThereIsNoMemory) {
    construct<FACE::IOSS::MX_SerialPort, ThrowingLink>({});
    configureLink();
    link->start();
    unit.send(makeFrame(3));
    EXPECT_TRUE(output.waitFor(
        line("readThreadFunction", "EXCEPTION: no memory is left to tell of it in one piece")));
    ASSERT_TRUE(acknowledges(6001));
    EXPECT_EQ(output.count("EXCEPTION"), 1U) << output.text();
}

TEST_F(GpsIoReceive, TakesAFloodOfFramesWithoutLoss) {
    run({});
    Bytes flood;
    for (std::uint16_t id = 6000; id < 6500; ++id) {
        Bytes const bytes = makeFrame(id, 50, 0x8000).encode();
        flood.insert(flood.end(), bytes.begin(), bytes.end());
    }
    unit.sendBytes(flood);
    EXPECT_TRUE(bench::holdsInTime([this] { return link->counters().rxCount == 500; }));
    EXPECT_EQ(link->counters().rxChecksumErrors, 0U);
}

}  // namespace
}  // namespace gps_io_test
