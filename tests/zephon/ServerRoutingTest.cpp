// Routing of single records by a server in this process: what no queue device would deliver, and
// what becomes of each side.

#include <limits>
#include <memory>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "tests/system/EventReader.h"
#include "tests/zephon/GssipRecords.h"
#include "tests/zephon/SimultaneousCalls.h"
#include "tests/zephon/UnitFrames.h"
#include "tests/zephon/ZephonServerFixture.h"
#include "zephon/GssipRoutes.h"

namespace {

using bench::UnitFrame;
using testing::HasSubstr;

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint16_t>;

constexpr std::uint16_t flagWord = 0x9000;
constexpr std::uint16_t markId = 15051;

class ServerRouting : public ZephonServerFixture {
protected:
    void startWithDebug() {
        bench.configuration().set("ZephonServer", "Debug", "true");
        startAll();
    }

    /// A message that no test sends otherwise.
    static UnitFrame mark() { return {markId, UnitFrame::linkReady, {}}; }
    static std::shared_ptr<GssipMessage> markMessage() {
        return makeGssipCopy(makeRecord(mark(), trevo));
    }

    /// Waits until a message that goes after all others has come out of link 1, and expects these
    /// frames and no others before it.
    void expectOnLinkOne(std::vector<FrameBytes> expected) {
        server->sendToAllEmulators(markMessage());
        ASSERT_TRUE(waitForFrame(bench.unit(1), mark())) << bench.report();
        expected.push_back(mark().encode());
        EXPECT_EQ(expected, framesOf(bench.unit(1)));
    }
    /// The same for link 2.
    void expectOnLinkTwo(std::vector<FrameBytes> expected) {
        const UnitFrame last{8015, flagWord, {markId}};
        server->cbDtOut(makeRecord(last, halvorUnit));
        ASSERT_TRUE(waitForFrame(bench.unit(2), last)) << bench.report();
        expected.push_back(last.encode());
        EXPECT_EQ(expected, framesOf(bench.unit(2)));
    }
    void expectNothingOnLinkThree() {
        server->sendToPntdBitPort(markMessage());
        ASSERT_TRUE(waitForFrame(bench.unit(3), mark())) << bench.report();
        // That the server has started, and what it asks then.
        std::size_t count = 0;
        for (auto const& frame : framesOf(bench.unit(3))) {
            count += (frame[2] | frame[3] << 8) == 27530 ? 1 : 0;
        }
        EXPECT_EQ(2U, count) << bench.report();
        EXPECT_EQ(3U, framesOf(bench.unit(3)).size()) << bench.report();
    }
};

TEST_F(ServerRouting, CopiesOfTheEngineGoOutOnLinkOneWithTheFlagWordOfCopies) {
    startAll();
    std::vector<FrameBytes> expected;
    for (const std::uint16_t id : Words{5047, 5048, 5406, 8040, 8080}) {
        const UnitFrame asItIs{id, flagWord, {1, 0xFFFF, id}};
        server->cbGssip(makeRecord(asItIs, trevo));
        server->cbGssip(makeRecord(UnitFrame{id, 0x8000, {2, id}}, trevo));
        expected.push_back(asItIs.encode());
        expected.push_back(UnitFrame{id, flagWord, {2, id}}.encode());
    }
    expectOnLinkOne(expected);
    expectOnLinkTwo({});
    expectNothingOnLinkThree();
}

TEST_F(ServerRouting, OtherMessagesAndOtherSourcesAreCopiedNowhere) {
    startAll();
    for (const std::uint16_t id : Words{5040, 5044, 5045, 5046, 5049, 8504, 9391, 5103}) {
        server->cbGssip(makeRecord(UnitFrame{id, 0x8000, {1}}, trevo));
    }
    for (const unsigned char source : Bytes{0, 38, 40, 46, 47, 48, 49, 50, 96, 255}) {
        server->cbGssip(makeRecord(UnitFrame{5047, 0x8000, {1}}, source));
    }
    expectOnLinkOne({});
    expectOnLinkTwo({});
    expectNothingOnLinkThree();
}

TEST_F(ServerRouting, OnlyTheServerByteOfTheDeviceIdIsTheSource) {
    startAll();
    auto record = makeRecord(UnitFrame{5047, 0x8000, {1}}, trevo);
    record.header().device_id(static_cast<std::int32_t>(0xFF27FFFFU));
    server->cbGssip(record);
    expectOnLinkOne({UnitFrame{5047, flagWord, {1}}.encode()});
}

TEST_F(ServerRouting, DataTransferGoesOutOnLinkTwoWhateverTheSource) {
    startAll();
    std::vector<FrameBytes> expected;
    unsigned char source = 37;
    for (const std::uint16_t id :
         Words{5103, 5104, 5120, 5121, 5122, 5123, 5124, 5125, 5126, 5134, 5135, 8015}) {
        server->cbDtOut(makeRecord(UnitFrame{id, 0x8000, {7, id}}, source++));
        expected.push_back(UnitFrame{id, flagWord, {7, id}}.encode());
    }
    expectOnLinkTwo(expected);
    expectOnLinkOne({});
    expectNothingOnLinkThree();
}

TEST_F(ServerRouting, OtherMessagesOfTheDataTransferQueueGoNowhere) {
    startAll();
    for (const std::uint16_t id : Words{5102, 5105, 5119, 5127, 5133, 5136, 8014, 8016, 5047}) {
        server->cbDtOut(makeRecord(UnitFrame{id, 0x8000, {1}}, trevo));
    }
    expectOnLinkTwo({});
    expectOnLinkOne({});
    expectNothingOnLinkThree();
}

TEST_F(ServerRouting, NothingIsRoutedUnlessTheServerRuns) {
    OutputCapture output;
    bench.configuration().set("ZephonServer", "Debug", "true");
    connectAll();
    const auto receive = [&] {
        server->cbGssip(makeRecord(UnitFrame{5047, flagWord, {1}}, trevo));
        server->cbGssip(makeRecord(UnitFrame{2516, flagWord, {1}}, halvorUnit));
        server->cbDtOut(makeRecord(UnitFrame{5103, flagWord, {1}}, trevo));
    };
    receive();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    expectOnLinkOne({});
    expectOnLinkTwo({});
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    receive();
    EXPECT_EQ(0U, output.count("Recvd GSSIP")) << output.text();
    EXPECT_EQ(0U, output.count("DT Out")) << output.text();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    const UnitFrame copy{5048, flagWord, {2}};
    const UnitFrame transfer{8015, flagWord, {2}};
    server->cbGssip(makeRecord(copy, trevo));
    server->cbDtOut(makeRecord(transfer, trevo));
    EXPECT_TRUE(waitForFrame(bench.unit(1), copy)) << bench.report();
    EXPECT_TRUE(waitForFrame(bench.unit(2), transfer)) << bench.report();
    EXPECT_TRUE(bench.unit(1).frames(5047).empty()) << bench.report();
    EXPECT_TRUE(bench.unit(2).frames(5103).empty()) << bench.report();
}

TEST_F(ServerRouting, TheEngineIsToldForItsRoutesOnlyAndTheOthersForAllMessages) {
    OutputCapture output;
    startWithDebug();
    for (const unsigned char source : {trevo, halvorUnit, pntDevice}) {
        for (const std::uint16_t id : Words{5047, 5001, 5049}) {
            server->cbGssip(makeRecord(UnitFrame{id, flagWord, {1}}, source));
        }
    }
    EXPECT_EQ(1U, output.count("Recvd GSSIP: 5047 from Trevo\n"));
    for (const std::string id : {"5047", "5001", "5049"}) {
        EXPECT_EQ(1U, output.count("Recvd GSSIP: " + id + " from HALVOR\n"));
        EXPECT_EQ(1U, output.count("Recvd GSSIP: " + id + " from PNT-D\n"));
    }
    EXPECT_EQ(7U, output.count("Recvd GSSIP: ")) << output.text();
}

TEST_F(ServerRouting, ARefusedCopyIsToldAllTheSame) {
    OutputCapture output;
    startWithDebug();
    for (const std::size_t length : {11U, 12U, 13U, 15U, 493U, 494U, 65535U}) {
        auto bytes = UnitFrame{5048, flagWord, {1, 2}}.encode();
        bytes.resize(length);
        server->cbGssip(makeRecord(bytes, trevo));
    }
    expectOnLinkOne({});
    EXPECT_EQ(7U, output.count("Recvd GSSIP: 5048 from Trevo\n")) << output.text();
}

TEST_F(ServerRouting, RecordsWithoutAHeaderAndLongerThanAFrameAreDroppedUntold) {
    OutputCapture output;
    startWithDebug();
    const auto whole = UnitFrame{5048, flagWord, {1, 2}}.encode();
    for (const unsigned char source : {trevo, halvorUnit, pntDevice}) {
        for (std::size_t length = 0; length < 10; ++length) {
            auto bytes = whole;
            auto told = makeRecord(bytes, source);
            told.num_bytes(static_cast<std::int32_t>(length));
            server->cbGssip(told);
            server->cbDtOut(told);
            bytes.resize(length);
            bytes.shrink_to_fit();
            auto cut = makeRecord(bytes, source);
            cut.num_bytes(16);
            server->cbGssip(cut);
            server->cbDtOut(cut);
        }
        auto negative = makeRecord(whole, source);
        negative.num_bytes(-16);
        server->cbGssip(negative);
        server->cbDtOut(negative);
        auto bytes = whole;
        bytes.resize(65536);
        server->cbGssip(makeRecord(bytes, source));
        server->cbDtOut(makeRecord(bytes, source));
    }
    EXPECT_EQ(0U, output.count("Recvd GSSIP")) << output.text();
    EXPECT_EQ(0U, output.count("ZP: ")) << output.text();
    expectOnLinkOne({});
    expectOnLinkTwo({});
}

TEST_F(ServerRouting, ACopyHasWhatTheRecordTellsAndWhatIsThere) {
    startAll();
    const auto first = UnitFrame{5048, flagWord, {1, 2}}.encode();
    auto record = makeRecord(first, trevo);
    record.num_bytes(1'000'000);
    server->cbGssip(record);
    const auto second = UnitFrame{5048, flagWord, {3, 4}}.encode();
    auto bytes = second;
    bytes.resize(100, 0xEE);
    record = makeRecord(bytes, trevo);
    record.num_bytes(static_cast<std::int32_t>(second.size()));
    server->cbGssip(record);
    expectOnLinkOne({first, second});
}

TEST_F(ServerRouting, DataTransferIsToldWithTheFlagWordThatItCameWith) {
    OutputCapture output;
    startWithDebug();
    const auto queue = [&](UnitFrame const& frame) { server->cbDtOut(makeRecord(frame, trevo)); };
    queue({5103, 0x8000, {1, 2, 3}});
    queue({5104, 0x9000, {}});
    queue({5126, 0xABCD, std::vector<std::uint16_t>(240)});
    queue({5105, 0x8000, {1}});
    const std::string text = output.text();
    EXPECT_THAT(text, HasSubstr("ZP: Queuing DT message (5103) 3 words, flagword: 8000\n"
                                "ZP: DT Out starting\n"));
    EXPECT_THAT(text, HasSubstr("ZP: Queuing DT message (5104) 0 words, flagword: 9000\n"
                                "ZP: DT Out ending\n"));
    EXPECT_THAT(text, HasSubstr("ZP: Queuing DT message (5126) 240 words, flagword: abcd\n"));
    EXPECT_EQ(5U, output.count("ZP: ")) << text;
}

TEST_F(ServerRouting, NothingIsToldWithDebugOff) {
    OutputCapture output;
    startAll();
    for (const unsigned char source : {trevo, halvorUnit, pntDevice}) {
        server->cbGssip(makeRecord(UnitFrame{5047, flagWord, {1}}, source));
        server->cbDtOut(makeRecord(UnitFrame{5103, flagWord, {1}}, source));
    }
    EXPECT_EQ(0U, output.count("Recvd GSSIP")) << output.text();
    EXPECT_EQ(0U, output.count("ZP: ")) << output.text();
}

TEST_F(ServerRouting, ABareCommandOfThePntDeviceProducesNothing) {
    startAll();
    for (std::uint16_t code = 0; code < 10; ++code) {
        std::vector<std::uint16_t> data(31);
        data[4] = code;
        server->cbGssip(makeRecord(UnitFrame{5001, flagWord, data}, pntDevice, 1));
    }
    expectOnLinkOne({});
    expectOnLinkTwo({});
    expectNothingOnLinkThree();
}

/// A message of any id on its way out, without checksums.
std::shared_ptr<GssipMessage> makeMessage(std::uint16_t id, std::size_t words,
                                          std::uint16_t flags = UnitFrame::linkReady) {
    auto message = std::make_shared<Generic_MSID_Msg>();
    message->header[1] = message->msgId = id;
    message->header[3] = flags;
    message->set_gpsip_wdcnt(static_cast<unsigned short>(words));
    for (std::size_t i = 0; i < words; ++i) {
        message->data[i] = static_cast<std::uint16_t>(id + 257 * i);
    }
    return message;
}

/// The same message as the unit gets it for one of its virtual units.
FrameBytes wrapped(std::uint16_t unit, GssipMessage const& message) {
    return wrap(
               27552, unit,
               {message.msgId, message.header[3], {message.data, message.data + message.wordCount}})
        .encode();
}

TEST_F(ServerRouting, AMessageForOneVirtualUnitGoesOutOnLinkOneInAWrapper) {
    startAll();
    std::vector<FrameBytes> expected;
    for (const std::uint16_t unit : Words{1, 2, 3, 4}) {
        const auto message = makeMessage(5332, unit * 10U);
        server->sendToEmulator(unit, message);
        expected.push_back(wrapped(unit, *message));
    }
    expectOnLinkOne(expected);
    expectOnLinkTwo({});
    expectNothingOnLinkThree();
    for (const std::uint16_t unit : Words{1, 2, 3, 4}) {
        const auto arrived = bench.virtualUnits().frames(unit, 5332);
        ASSERT_FALSE(arrived.empty()) << bench.report();
        EXPECT_TRUE(arrived[0].wrapped);
        EXPECT_EQ(unit * 10U, arrived[0].frame.data.size());
        EXPECT_EQ(arrived[0].bytes, arrived.back().bytes) << "no message of another unit";
    }
    EXPECT_EQ(0U, bench.virtualUnits().defects()) << bench.report();
}

TEST_F(ServerRouting, TheWrapperAsksForAnAckWhenTheMessageDoes) {
    startAll();
    const auto message = makeMessage(5000, 3, flagWord);
    server->sendToEmulator(2, message);
    expectOnLinkOne({wrapped(2, *message)});
    EXPECT_EQ(flagWord, bench.unit(1).frames(27552).back().frame.flags);
}

TEST_F(ServerRouting, AMessageWithoutDataIsWrappedWithoutADataChecksum) {
    startAll();
    const auto message = makeMessage(5001, 0);
    server->sendToEmulator(1, message);
    expectOnLinkOne({wrapped(1, *message)});
    EXPECT_FALSE(bench.virtualUnits().frames(1, 5001).empty()) << bench.report();
    EXPECT_EQ(0U, bench.virtualUnits().defects()) << bench.report();
    EXPECT_EQ(6U, bench.unit(1).frames(27552).back().frame.data.size());
}

TEST_F(ServerRouting, NoOtherNumberIsAVirtualUnit) {
    OutputCapture output;
    startWithDebug();
    for (const int unit : {0, 5, -1, 256 + 1, 65536 + 1, 2'147'483'647, -2'147'483'647 - 1}) {
        server->sendToEmulator(unit, makeMessage(5332, 10));
        server->sendToEmulator(unit, makeMessage(5332, 235));
    }
    expectOnLinkOne({});
    EXPECT_EQ(0U, output.count("Unable to wrap")) << output.text();
}

TEST_F(ServerRouting, AMessageOf234DataWordsFitsTheWrapperAndOneOf235IsReported) {
    OutputCapture output;
    startWithDebug();
    const EventReader events(bench);
    const auto longest = makeMessage(5332, 234);
    server->sendToEmulator(3, makeMessage(5332, 235));
    server->sendToEmulator(3, longest);
    expectOnLinkOne({wrapped(3, *longest)});
    EXPECT_EQ(241U, bench.unit(1).frames(27552).back().frame.data.size());
    const auto arrived = bench.virtualUnits().frames(3, 5332);
    ASSERT_FALSE(arrived.empty()) << bench.report();
    EXPECT_EQ(Words(longest->data, longest->data + 234), arrived[0].frame.data);
    EXPECT_EQ(0U, bench.virtualUnits().defects()) << bench.report();
    const std::string text =
        "ZephonServer: Unable to wrap an input message (5332) to the PNT-D, likely the message is "
        "too large";
    EXPECT_EQ(1U, output.count("\n" + text + "\n")) << output.text();
    const auto event = events.waitFor(text);
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    EXPECT_EQ(1U, events.count("Unable to wrap")) << events.report();
}

TEST_F(ServerRouting, AMessageThatIsTooLongIsNotToldOnTheConsoleWithDebugOff) {
    OutputCapture output;
    startAll();
    const EventReader events(bench);
    server->sendToEmulator(1, makeMessage(5332, 240));
    EXPECT_TRUE(events.waitFor("Unable to wrap an input message (5332)")) << events.report();
    EXPECT_EQ(0U, output.count("Unable to wrap")) << output.text();
}

TEST_F(ServerRouting, MessagesForVirtualUnitsAreLostBeforeTheLinksExist) {
    server->sendToEmulator(1, makeMessage(5332, 10));
    startAll();
    expectOnLinkOne({});
}

TEST(ServerRoutingOfAnyRecord, ReadsNoByteThatDidNotArrive) {
    // Without links nothing waits, and AddressSanitizer sees each read.
    const auto server = std::make_unique<ZephonServer>();
    FACE::RETURN_CODE_TYPE::Value code = FACE::RETURN_CODE_TYPE::NO_ACTION;
    server->Request_State_Transition(ZephonServer::RequestedState::START, code);
    ASSERT_EQ(FACE::RETURN_CODE_TYPE::NO_ERROR, code);
    const Words ids{5001, 5044, 27532, 27533, 27534, 27535, 27536, 27553, 27558, 27561,
                    2516, 2518, 15051, 5040,  5047,  5048,  5406,  8040,  8080,  8504,
                    9391, 5103, 5104,  5120,  5126,  5134,  5135,  8015,  0,     65535};
    std::vector<std::size_t> lengths(600);
    std::iota(lengths.begin(), lengths.end(), 0);
    lengths.insert(lengths.end(), {65534, 65535, 65536, 65546, 131072});
    for (const std::size_t length : lengths) {
        for (const std::uint16_t id : ids) {
            auto bytes = UnitFrame{id, flagWord, {}}.encode();
            bytes.resize(length, 0xEE);
            bytes.shrink_to_fit();
            for (const unsigned char source : {trevo, halvorUnit, pntDevice}) {
                auto record = makeRecord(bytes, source);
                server->cbGssip(record);
                server->cbDtOut(record);
                record.num_bytes(std::numeric_limits<std::int32_t>::max());
                server->cbGssip(record);
                server->cbDtOut(record);
            }
        }
    }
}

TEST_F(ServerRouting, MessagesForVirtualUnitsBeyondTheLinksQueueAreLostSilently) {
    constexpr std::size_t room = 512;
    OutputCapture output;
    bench.configuration().omitContainer("ZP1COM1");  // no settings take any of the room
    connectAll();
    const std::string before = output.text();
    std::vector<FrameBytes> expected;
    for (std::uint16_t number = 0; number < room + 100; ++number) {
        const auto message = makeMessage(5332, 1, flagWord);  // the link waits for each ACK
        message->data[0] = number;
        server->sendToEmulator(1, message);
        if (number < room) {
            expected.push_back(wrapped(1, *message));
        }
    }
    EXPECT_EQ(before, output.text());
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    ASSERT_TRUE(bench.unit(1).waitForFrames(1, std::chrono::minutes(2), [&](auto const& logged) {
        return logged.bytes == expected.back();
    })) << bench.report();
    expectOnLinkOne(expected);
}

TEST_F(ServerRouting, DataTransferBeyondTheLinksQueueIsLostAndNothingElse) {
    constexpr std::uint16_t room = 512;
    constexpr std::uint16_t sent = room + 200;
    startAll();
    // While the first waits for its ACK the others pile up.
    bench.unit(2).setReaction(8015, {bench::Policy::Standard, std::chrono::milliseconds(100)});
    for (std::uint16_t number = 0; number < sent; ++number) {
        server->cbDtOut(makeRecord(UnitFrame{8015, flagWord, {number}}, halvorUnit));
    }
    bench.unit(2).setReaction(8015, {});
    for (std::uint16_t number = 0; number < room; ++number) {
        ASSERT_TRUE(waitForFrame(bench.unit(2), UnitFrame{8015, flagWord, {number}})) << number;
    }
    // What found room goes out before what comes now.
    const UnitFrame last{8015, flagWord, {sent}};
    server->cbDtOut(makeRecord(last, halvorUnit));
    ASSERT_TRUE(waitForFrame(bench.unit(2), last)) << bench.report();
    std::set<FrameBytes> arrived;  // a late ACK makes the link send a frame again
    for (auto const& frame : framesOf(bench.unit(2))) {
        arrived.insert(frame);
    }
    EXPECT_LT(arrived.size(), sent - 100U);
}

TEST_F(ServerRouting, RecordsAndMessagesOfManyThreadsAllArrive) {
    constexpr std::uint16_t count = 60;  // of each kind; together they fit a link's queue
    startAll();
    const auto frameOf = [](std::uint16_t id, int number) {
        return UnitFrame{id, flagWord, {static_cast<std::uint16_t>(number)}};
    };
    {
        SimultaneousCalls calls(count);
        for (const std::uint16_t id : Words{5047, 8080}) {
            calls.start([this, id, frameOf](int number) {
                server->cbGssip(makeRecord(frameOf(id, number), trevo));
            });
        }
        calls.start([this](int number) {
            auto const word = static_cast<std::uint16_t>(number);
            server->sendToEmulator(1 + word % 4, makeMessage(5332, word, flagWord));
        });
        calls.start([this, frameOf](int number) {
            server->cbDtOut(makeRecord(frameOf(5120, number), halvorUnit));
        });
    }
    for (std::uint16_t number = 0; number < count; ++number) {
        ASSERT_TRUE(waitForFrame(bench.unit(1), frameOf(5047, number))) << number;
        ASSERT_TRUE(waitForFrame(bench.unit(1), frameOf(8080, number))) << number;
        const auto unit = static_cast<std::uint16_t>(1 + number % 4);
        ASSERT_TRUE(
            waitForFrame(bench.unit(1), wrapped(unit, *makeMessage(5332, number, flagWord))))
            << number;
        ASSERT_TRUE(waitForFrame(bench.unit(2), frameOf(5120, number))) << number;
    }
}

/// What the unit reports of itself, on the event log.
class StatusRouting : public ServerRouting {
protected:
    /// Expects these lines of status messages on the event log, and no others; ends the row with
    /// one more.
    void expectEvents(EventReader const& events, std::vector<std::string> expected) {
        server->cbGssip(makeRecord(makeStatus(17, "LAST"), pntDevice, 9));
        expected.emplace_back("ZephonServer Em#9 5044,ID:,17,LAST");
        ASSERT_TRUE(events.waitFor(expected.back())) << events.report();
        std::vector<std::string> lines;
        for (auto const& event : events.all()) {
            const auto at = event.text.find("ZephonServer ");
            if (event.text.find("5044") != std::string::npos && at != std::string::npos) {
                EXPECT_EQ(2, event.type);
                lines.push_back(event.text.substr(at));
            }
        }
        EXPECT_EQ(expected, lines);
    }
};

TEST_F(StatusRouting, StatusSeventeenAndEighteenOfAnEmulatorAreEvents) {
    startAll();
    const EventReader events(bench);
    server->cbGssip(makeRecord(makeStatus(17, "ZEROIZE STARTED"), pntDevice, 1));
    server->cbGssip(makeRecord(makeStatus(18, "01234567890123456789012345678901"), pntDevice, 255));
    server->cbGssip(makeRecord(makeStatus(18, ""), pntDevice, 0));
    expectEvents(events, {"ZephonServer Em#1 5044,ID:,17,ZEROIZE STARTED",
                          "ZephonServer Em#255 5044,ID:,18,01234567890123456789012345678901",
                          "ZephonServer Em#0 5044,ID:,18,"});
}

TEST_F(StatusRouting, StatusSeventeenAndEighteenOfAVirtualUnitAreEvents) {
    startAll();
    const EventReader events(bench);
    for (const std::uint16_t unit : Words{0, 1, 4, 5, 65535}) {
        server->cbGssip(
            makeRecord(wrap(27553, unit, makeStatus(17, "ZEROIZE STARTED")), pntDevice, 1));
    }
    server->cbGssip(makeRecord(wrap(27553, 2, makeStatus(18, "DONE")), pntDevice, 1));
    expectEvents(events, {"ZephonServer vZephon#0 5044,ID:,17,ZEROIZE STARTED",
                          "ZephonServer vZephon#1 5044,ID:,17,ZEROIZE STARTED",
                          "ZephonServer vZephon#4 5044,ID:,17,ZEROIZE STARTED",
                          "ZephonServer vZephon#5 5044,ID:,17,ZEROIZE STARTED",
                          "ZephonServer vZephon#65535 5044,ID:,17,ZEROIZE STARTED",
                          "ZephonServer vZephon#2 5044,ID:,18,DONE"});
}

TEST_F(StatusRouting, AnyOtherStatusIsNoEvent) {
    startAll();
    const EventReader events(bench);
    for (const std::uint16_t status : Words{0, 16, 19, 20, 273, 65535}) {
        server->cbGssip(makeRecord(makeStatus(status, "NONE"), pntDevice, 1));
        server->cbGssip(makeRecord(wrap(27553, 1, makeStatus(status, "NONE")), pntDevice, 1));
    }
    expectEvents(events, {});
}

TEST_F(StatusRouting, OnlyAStatusMessageOfTheRightLengthIsTaken) {
    OutputCapture output;
    startWithDebug();
    const EventReader events(bench);
    const auto whole = makeStatus(17, "CUT").encode();
    for (std::size_t length = 10; length < 80; ++length) {
        if (length / 2 != whole.size() / 2) {
            auto bytes = whole;
            bytes.resize(length);
            bytes.shrink_to_fit();
            server->cbGssip(makeRecord(bytes, pntDevice, 1));
        }
    }
    EXPECT_EQ(0U, output.count("Unpacked 5044")) << output.text();
    expectEvents(events, {});
}

TEST_F(StatusRouting, AnInnerFrameThatIsCutOrCutsAnotherIsLeftAlone) {
    startAll();
    const EventReader events(bench);
    const auto whole = wrap(27553, 1, makeStatus(17, "CUT")).encode();
    for (std::size_t length = 10; length < 600; ++length) {
        if (length / 2 != whole.size() / 2) {
            auto bytes = whole;
            bytes.resize(length);
            bytes.shrink_to_fit();
            server->cbGssip(makeRecord(bytes, pntDevice, 1));
        }
    }
    expectEvents(events, {});
}

TEST_F(StatusRouting, ChecksumsInsideAWrapperAreNotVerified) {
    startAll();
    const EventReader events(bench);
    auto bytes = wrap(27553, 3, makeStatus(17, "SPOILT")).encode();
    bytes[12 + 8] ^= 0xFFU;            // inner header checksum
    bytes[bytes.size() - 4] ^= 0xFFU;  // inner data checksum
    server->cbGssip(makeRecord(bytes, pntDevice, 1));
    expectEvents(events, {"ZephonServer vZephon#3 5044,ID:,17,SPOILT"});
}

TEST_F(StatusRouting, OtherFramesInsideAWrapperAreIgnored) {
    OutputCapture output;
    startAll();
    const EventReader events(bench);
    auto other = makeStatus(17, "OTHER");
    for (const std::uint16_t id : Words{0, 5043, 5045, 27553, 65535}) {
        other.id = id;
        server->cbGssip(makeRecord(wrap(27553, 1, other), pntDevice, 1));
    }
    server->cbGssip(makeRecord(wrap(27553, 1, {5044, 0x9000, {}}), pntDevice, 1));
    server->cbGssip(makeRecord(wrap(27553, 1, {5044, 0x9000, {1}}), pntDevice, 1));
    expectEvents(events, {});
}

TEST_F(StatusRouting, AStatusOnTheDirectPathIsToldWithDebugAndAWrappedOneIsNot) {
    OutputCapture output;
    startWithDebug();
    server->cbGssip(makeRecord(wrap(27553, 1, makeStatus(17, "INSIDE")), pntDevice, 1));
    EXPECT_EQ(0U, output.count("Unpacked 5044")) << output.text();
    server->cbGssip(makeRecord(makeStatus(16, "DIRECT"), pntDevice, 1));
    const std::string arrival = "Recvd GSSIP: 5044 from PNT-D\n";
    const std::string content = "Unpacked 5044 16\nUnpacked 5044 word count 21\n";
    EXPECT_EQ(1U, output.count(arrival)) << output.text();
    EXPECT_EQ(1U, output.count(content)) << output.text();
    const std::string text = output.text();  // the links may tell of theirs between the two
    EXPECT_LT(text.find(arrival), text.find(content)) << text;
    auto bytes = makeStatus(16, "DIRECT").encode();
    bytes[4] = 0xFF;  // the word count that is told, not the one that came
    bytes[5] = 0xFF;
    server->cbGssip(makeRecord(bytes, pntDevice, 1));
    EXPECT_EQ(1U, output.count("Unpacked 5044 16\nUnpacked 5044 word count 65535\n"))
        << output.text();
}

TEST_F(StatusRouting, TheEngineAndTheHalvorUnitHaveNoSuchStatus) {
    startAll();
    const EventReader events(bench);
    for (const unsigned char source : {trevo, halvorUnit}) {
        server->cbGssip(makeRecord(makeStatus(17, "OTHER"), source, 1));
        server->cbGssip(makeRecord(wrap(27553, 1, makeStatus(17, "OTHER")), source, 1));
    }
    expectEvents(events, {});
}

}  // namespace
