// The server as a switch: records of the queue devices on their way to the links.

#include <string>
#include <vector>

#include "tests/system/EventReader.h"
#include "tests/system/QueueFixture.h"
#include "tests/zephon/UnitFrames.h"

namespace {

using bench::QueueRecord;
using bench::UnitFrame;
using Words = std::vector<std::uint16_t>;
using Frames = std::vector<FrameBytes>;

constexpr unsigned char trevo = 39;
constexpr unsigned char halvor = 47;
constexpr std::uint16_t copyFlags = UnitFrame::linkReady | UnitFrame::ackRequest;

Words const copiedIds{5047, 5048, 5406, 8040, 8080};
Words const dataTransferIds{5103, 5104, 5120, 5121, 5122, 5123, 5124, 5125, 5126, 5134, 5135, 8015};

class Routing : public QueueFixture {
protected:
    void startWithDebug() {
        bench.configuration().set("ZephonServer", "Debug", "TRUE");
        start();
    }
    void expectLines(std::string const& line, std::size_t count = 1) {
        EXPECT_TRUE(bench.server().waitForLines(line, count, patience)) << line << bench.report();
        EXPECT_EQ(count, bench.server().countLines(line)) << bench.report();
    }
};

TEST_F(Routing, TheEnginesOutputComesToTheUnitsAsItStands) {
    start();
    Frames expected;
    for (const std::uint16_t id : copiedIds) {
        const UnitFrame frame = makeFrame(id, id % 240, copyFlags);
        write("TREVO_MX", frame, trevo);
        expected.push_back(frame.encode());
    }
    ASSERT_TRUE(waitForFrame(bench.unit(1), expected.back())) << bench.report();
    ASSERT_TRUE(bench.unit(3).waitForFrames(27530, 1, patience)) << bench.report();
    stop();
    EXPECT_EQ(expected, framesOf(bench.unit(1)));
    EXPECT_EQ(Frames(), framesOf(bench.unit(2)));
    for (auto const& logged : bench.unit(3).frames()) {
        EXPECT_EQ(27530, logged.frame.id) << "only what the server itself has for the device";
    }
}

TEST_F(Routing, AnotherFlagWordIsReplacedAndTheHeaderChecksumFollows) {
    start();
    // Id 5047, two data words, flag word 0x8000.
    QueueRecord record;
    record.deviceId = 0x03000000 | trevo << 16;
    record.data = {0xFF, 0x81, 0xB7, 0x13, 0x02, 0x00, 0x00, 0x80,
                   0x48, 0xEA, 0x02, 0x01, 0xFE, 0xFF, 0x00, 0xFF};
    ASSERT_TRUE(siblings.write("TREVO_MX", record)) << siblings.lastFailure();
    auto expected = record.data;
    expected[7] = 0x90;
    expected[9] = 0xDA;
    ASSERT_TRUE(bench.unit(1).waitForFrames(5047, 1, patience)) << bench.report();
    EXPECT_EQ(Frames{expected}, framesOf(bench.unit(1)));
}

TEST_F(Routing, OfTheEngineOnlyTheListedMessagesAreCopied) {
    start();
    for (std::uint16_t id = 5030; id < 5060; ++id) {
        write("TREVO_MX", makeFrame(id, 3, copyFlags), trevo);
    }
    for (const std::uint16_t id : Words{5405, 5407, 8039, 8041, 8079, 8081, 9391, 8504, 5103}) {
        write("TREVO_MX", makeFrame(id, 3, copyFlags), trevo);
    }
    write("TREVO_MX", makeFrame(8080, 3, copyFlags), halvor);
    write("TREVO_MX", makeFrame(8080, 5, copyFlags), trevo);
    ASSERT_TRUE(bench.unit(1).waitForFrames(8080, 1, patience)) << bench.report();
    stop();
    Frames expected;
    for (const std::uint16_t id : Words{5047, 5048}) {
        expected.push_back(makeFrame(id, 3, copyFlags).encode());
    }
    expected.push_back(makeFrame(8080, 5, copyFlags).encode());
    EXPECT_EQ(expected, framesOf(bench.unit(1)));
}

TEST_F(Routing, DataTransferComesToLinkTwo) {
    startWithDebug();
    Frames expected;
    for (const std::uint16_t id : dataTransferIds) {
        write("DT_OUT", makeFrame(id, id % 240, UnitFrame::linkReady), halvor);
        expected.push_back(makeFrame(id, id % 240, copyFlags).encode());
    }
    ASSERT_TRUE(waitForFrame(bench.unit(2), expected.back())) << bench.report();
    stop();
    EXPECT_EQ(expected, framesOf(bench.unit(2)));
    EXPECT_EQ(Frames(), framesOf(bench.unit(1)));
    for (const std::uint16_t id : dataTransferIds) {
        expectLines("ZP: Queuing DT message (" + std::to_string(id) + ") " +
                    std::to_string(id % 240) + " words, flagword: 8000");
    }
    expectLines("ZP: DT Out starting");
    expectLines("ZP: DT Out ending");
}

TEST_F(Routing, OtherMessagesOfTheDataTransferQueueAreDropped) {
    startWithDebug();
    for (const std::uint16_t id :
         Words{5102, 5105, 5119, 5127, 5133, 5136, 8014, 8016, 5047, 8040, 0, 65535}) {
        write("DT_OUT", makeFrame(id, 3, copyFlags), trevo);
    }
    write("DT_OUT", makeFrame(8015, 241, copyFlags), trevo);  // a word too many
    write("DT_OUT", makeFrame(8015, 240, copyFlags), trevo);
    ASSERT_TRUE(bench.unit(2).waitForFrames(8015, 1, patience)) << bench.report();
    stop();
    EXPECT_EQ(Frames{makeFrame(8015, 240, copyFlags).encode()}, framesOf(bench.unit(2)));
    EXPECT_EQ(Frames(), framesOf(bench.unit(1)));
    expectLines("ZP: Queuing DT message");
}

TEST_F(Routing, EachSourceIsToldInItsOwnWay) {
    startWithDebug();
    for (const std::uint16_t id : Words{5040, 5047, 5049}) {
        write("TREVO_MX", makeFrame(id, 3), trevo);
        write("HALVOR_MX", makeFrame(id, 3), halvor);
    }
    bench.unit(3).send(makeFrame(5049, 3));
    expectLines("Recvd GSSIP: 5049 from HALVOR");
    expectLines("Recvd GSSIP: 5049 from PNT-D");
    expectLines("Recvd GSSIP: 5040 from Trevo");
    expectLines("Recvd GSSIP: 5047 from Trevo");
    expectLines("Recvd GSSIP: 5047 from HALVOR");
    expectLines("Recvd GSSIP: 5040 from HALVOR");
    stop();
    EXPECT_EQ(6U, bench.server().countLines("Recvd GSSIP: ")) << bench.report();
}

TEST_F(Routing, ACopyThatIsRefusedIsToldAndTheNextGoesOut) {
    startWithDebug();
    write("TREVO_MX", makeFrame(5048, 241), trevo);
    write("TREVO_MX", makeFrame(5047, 240), trevo);
    ASSERT_TRUE(bench.unit(1).waitForFrames(5047, 1, patience)) << bench.report();
    expectLines("Recvd GSSIP: 5048 from Trevo");
    stop();
    EXPECT_EQ(Frames{makeFrame(5047, 240, copyFlags).encode()}, framesOf(bench.unit(1)));
}

TEST_F(Routing, TrafficOfAllQueuesGoesItsWaysAtOnce) {
    constexpr std::size_t count = 100;
    start();
    Frames copies;
    Frames transfers;
    for (std::size_t i = 0; i < count; ++i) {
        copies.push_back(makeFrame(8080, i, copyFlags).encode());
        transfers.push_back(makeFrame(5125, i, copyFlags).encode());
        write("TREVO_MX", makeFrame(8080, i, copyFlags), trevo);
        write("DT_OUT", makeFrame(5125, i, copyFlags), halvor);
        write("HALVOR_MX", makeFrame(15051, i, copyFlags), halvor);
        bench.unit(1).send(makeFrame(5001, i));
    }
    ASSERT_TRUE(waitForFrame(bench.unit(1), copies.back())) << bench.report();
    ASSERT_TRUE(waitForFrame(bench.unit(2), transfers.back())) << bench.report();
    stop();
    EXPECT_EQ(copies, framesOf(bench.unit(1)));
    EXPECT_EQ(transfers, framesOf(bench.unit(2)));
}

TEST_F(Routing, WhatTheUnitReportsOfItselfStandsOnTheEventLog) {
    const EventReader events(bench);
    start();
    bench.unit(1).send(makeStatus(17, "ZEROIZE STARTED"));
    bench.unit(3).send(makeStatus(18, "ZEROIZE DONE"));
    bench.unit(1).send(makeStatus(16, "OF NO INTEREST"));
    bench.unit(1).send(wrap(27553, 2, makeStatus(19, "OF NO INTEREST")));
    bench.unit(1).send(wrap(27553, 2, makeStatus(17, "ZEROIZE STARTED")));
    for (std::string const text : {"ZephonServer Em#1 5044,ID:,17,ZEROIZE STARTED",
                                   "ZephonServer Em#3 5044,ID:,18,ZEROIZE DONE",
                                   "ZephonServer vZephon#2 5044,ID:,17,ZEROIZE STARTED"}) {
        const auto event = events.waitFor(text);
        ASSERT_TRUE(event) << text << events.report();
        EXPECT_EQ(2, event->type);
        EXPECT_EQ(1U, events.count(text)) << events.report();
    }
    EXPECT_EQ(0U, events.count("OF NO INTEREST")) << events.report();
}

}  // namespace
