// What the engine and the anti-jam unit tell of themselves, in a server in this process.

#include <algorithm>
#include <chrono>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "bench/Patience.h"
#include "tests/system/EventReader.h"
#include "tests/zephon/GssipRecords.h"
#include "tests/zephon/ReceiverFrames.h"
#include "tests/zephon/SimultaneousCalls.h"
#include "tests/zephon/ZephonServerFixture.h"

namespace {

namespace idl = aspn2_msgs::idl;
using bench::Policy;
using bench::UnitFrame;
using testing::ElementsAre;
using testing::MatchesRegex;

using Words = std::vector<std::uint16_t>;

constexpr std::uint8_t engineRuns = 0x01;
constexpr unsigned char clockDevice = 36;
constexpr unsigned char fusionNavigator = 96;

class ServerReceiverStatus : public ZephonServerFixture {
protected:
    /// Time marks wait for a fused time, so that they do not stand between the others.
    void start() {
        bench.configuration().set("ZephonServer", "PARAM_2", "TRUE");
        startAll();
    }
    void startWithEngine() {
        start();
        receive(make8504(engineRuns));
    }

    void receive(UnitFrame const& frame, unsigned char source = trevo) {
        server->cbGssip(makeRecord(frame, source));
    }
    void receive(FrameBytes const& bytes, std::size_t length, unsigned char source = trevo) {
        FrameBytes cut(length);
        std::copy_n(bytes.begin(), std::min(length, bytes.size()), cut.begin());
        server->cbGssip(makeRecord(cut, source));
    }
    void receivePair(float time) {
        receive(make5040(time));
        receive(make9391(time));
    }
    void receiveLine(std::string const& text, unsigned char source = trevo) {
        idl::EventLog record;
        record.header().device_id(0x03000000 | source << 16);
        record.eventlog(text);
        server->cbEventLog(record);
    }
    void receiveSolution(std::int64_t second) {
        idl::UTCTime utc;
        utc.header().device_id(0x03000000 | clockDevice << 16);
        utc.header().timestamp_valid().sec(second);
        server->cbUtcTime(utc);
        idl::MeridanePNT pnt;
        pnt.header().device_id(0x03000000 | fusionNavigator << 16);
        pnt.header().timestamp_valid().sec(second);
        server->cbMxPnt(pnt);
    }

    /// Bytes 98 to 107 of the next solution.
    Words nextSolution() {
        receiveSolution(++solutions_);
        EXPECT_TRUE(bench.unit(1).waitForFrames(15050, solutions_, std::chrono::seconds(20)))
            << bench.report();
        const auto data = bench.unit(1).frames(15050).back().frame.data;
        return {data.begin() + 49, data.end()};
    }

private:
    std::size_t solutions_ = 0;
};

TEST_F(ServerReceiverStatus, APairGivesOneStatusMessageWhicheverComesFirst) {
    startWithEngine();
    auto frame5040 = make5040(100);
    frame5040.data[36] = 0x0082;  // 2.0
    frame5040.data[38] = 3;       // km
    frame5040.data[42] = 0x2442;
    auto frame9391 = make9391(100.125F);
    frame9391.data[2] = 0x0201;
    frame9391.data[12] = 0x1211;
    receive(frame5040);
    receive(frame9391);
    receive(make9391(200));
    receive(make5040(200.25));
    receive(make5040(200.25));
    auto expected = make30000(100.125F);
    expected.data[2] = 0x0201;
    expected.data[4] = 0x1211;
    expected.data[6] = 0xFFFF;  // 2 km, as far as a float goes
    expected.data[7] = 0x44F9;
    expected.data[10] = 0x2442;
    expectOnLinkOne({expected, make30000(200)});
}

TEST_F(ServerReceiverStatus, AMismatchWaitsForABetterPartner) {
    startWithEngine();
    receive(make5040(100));
    receive(make9391(100.5F));
    receive(make9391(101));
    receive(make5040(101.125));
    expectOnLinkOne({make30000(101)});
}

TEST_F(ServerReceiverStatus, The9391IsDroppedUntilATimeMarkTellsTheEnginesState) {
    start();
    const EventReader events(bench);
    receive(make9391(100));
    receive(make9391(100).encode(), 178);
    receive(make8504(0xF0));
    receive(make9391(100));
    receive(make9391(100).encode(), 178);
    receive(make5040(100));
    receive(make8504(0x08));
    receive(make9391(100.125F));
    expectOnLinkOne({make30000(100.125F)});
    receive(make9391(100).encode(), 176);
    EXPECT_TRUE(events.waitFor("Wrong 9391 wdcnt:82 ")) << events.report();
    EXPECT_EQ(1U, events.count("Wrong 9391")) << events.report();
}

TEST_F(ServerReceiverStatus, TheModeIsThatOfTheLastTimeMark) {
    startWithEngine();
    receivePair(100);
    receive(make8504(engineRuns, 0x80));
    receivePair(101);
    receive(make8504(engineRuns | 0x20, 0x80));
    receivePair(102);
    receive(make8504(engineRuns, 0x7F));
    receivePair(103);
    expectOnLinkOne({make30000(100, 3), make30000(101, 0), make30000(102, 3), make30000(103, 3)});
}

TEST_F(ServerReceiverStatus, A9391OfTheWrongLengthIsToldAndTheStoredOneStays) {
    startWithEngine();
    const EventReader events(bench);
    receive(make9391(100));
    for (const std::size_t length : {10U, 178U, 182U, 65534U}) {
        receive(make9391(200).encode(), length);
    }
    receive(make5040(100));
    expectOnLinkOne({make30000(100)});
    for (std::string const counted : {"-1", "83", "85", "32761"}) {
        const std::string text = "Wrong 9391 wdcnt:" + counted + " expected:84 unpacked:84";
        const auto event = events.waitFor(text);
        ASSERT_TRUE(event) << events.report();
        EXPECT_EQ(2, event->type);
        EXPECT_EQ(text, event->text);
    }
    EXPECT_EQ(4U, events.count("Wrong 9391")) << events.report();
}

TEST_F(ServerReceiverStatus, A5040OfTheWrongLengthIsDroppedSilently) {
    startWithEngine();
    const EventReader events(bench);
    receive(make5040(100));
    for (const std::size_t length : {10U, 186U, 190U, 65534U}) {
        receive(make5040(200).encode(), length);
    }
    receive(make9391(200));
    receive(make9391(100));
    expectOnLinkOne({make30000(100)});
    EXPECT_EQ(0U, events.count("5040")) << events.report();
}

// ---- Whether the unit acknowledges

/// A unit that is asked for ACKs of message 30000.
class ServerAckWatch : public ServerReceiverStatus {
protected:
    static constexpr char const* noAck =
        "//plexa://Corvane/ZephonServer: ZEPHON COMM ERROR No Ack/";

    /// Sends so many messages; afterwards the link is done with them.
    void sendStatus(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            receivePair(static_cast<float>(++sent_));
        }
        const UnitFrame last{5047, statusFlags, {sent_, 1}};
        receive(last);
        ASSERT_TRUE(waitForFrame(bench.unit(1), last)) << bench.report();
    }
    /// Counts the events so far, once this one has come.
    std::size_t toldUntil(EventReader const& events, std::string const& mark) {
        // Time-outs of the link may fill the queue of the events meanwhile; then the mark is lost.
        EXPECT_TRUE(bench::holdsInTime([&] {
            server->cbGssip(makeRecord(makeStatus(17, mark), pntDevice));
            return events.waitFor(mark, std::chrono::seconds(1)).has_value();
        })) << events.report();
        return events.count("No Ack");
    }

private:
    std::uint16_t sent_ = 0;
};

TEST_F(ServerAckWatch, TellsTheSixthMissAtTheSeventhSendAndEachFurtherOne) {
    startWithEngine();
    const EventReader events(bench);
    bench.unit(1).setReaction(30000, {Policy::Silence});
    sendStatus(6);
    EXPECT_EQ(0U, toldUntil(events, "SIX")) << events.report();
    sendStatus(1);
    EXPECT_EQ(1U, toldUntil(events, "SEVEN")) << events.report();
    sendStatus(2);
    EXPECT_EQ(3U, toldUntil(events, "NINE")) << events.report();
    const auto event = events.waitFor("No Ack");
    EXPECT_EQ(4, event->type);
    EXPECT_THAT(event->text,
                MatchesRegex("ZephonServerReceiverStatus\\.cpp\\[[0-9]+\\]:" + std::string(noAck)));
    for (int number = 1; number <= 9; ++number) {
        EXPECT_TRUE(waitForFrame(bench.unit(1), make30000(static_cast<float>(number))))
            << "sent all the same: " << number;
    }
}

TEST_F(ServerAckWatch, CountsFromTheStartOnceTheUnitHasAnswered) {
    startWithEngine();
    const EventReader events(bench);
    bench.unit(1).setReaction(30000, {Policy::Silence});
    sendStatus(5);
    bench.unit(1).setReaction(30000, {Policy::Standard});
    sendStatus(1);
    bench.unit(1).setReaction(30000, {Policy::Silence});
    sendStatus(6);
    EXPECT_EQ(0U, toldUntil(events, "TWELVE")) << events.report();
    sendStatus(1);
    EXPECT_EQ(1U, toldUntil(events, "THIRTEEN")) << events.report();
}

TEST_F(ServerAckWatch, TellsNothingOfAUnitThatAnswers) {
    startWithEngine();
    const EventReader events(bench);
    for (int i = 0; i < 10; ++i) {
        sendStatus(1);
    }
    EXPECT_EQ(0U, toldUntil(events, "TEN")) << events.report();
}

TEST_F(ServerAckWatch, ARefusalIsNoAck) {
    startWithEngine();
    const EventReader events(bench);
    bench.unit(1).setReaction(30000, {Policy::Nak});
    sendStatus(7);
    EXPECT_TRUE(events.waitFor(noAck)) << events.report();
}

// ---- What rides in message 15050

TEST_F(ServerReceiverStatus, The8040GivesItsBitsToEverySolutionAndIsCopied) {
    start();
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 0, 0, 0, 0));
    receive(make8040(0xFFFF, 0xFFFF));
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 1, 0x3FFD, 0xFFC1, 0));
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 1, 0x3FFD, 0xFFC1, 0));
    receive(make8040(0x1004, 0x4080));
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 1, 0x1004, 0x4080, 0));
    EXPECT_TRUE(waitForFrame(bench.unit(1), make8040(0xFFFF, 0xFFFF))) << bench.report();
    EXPECT_TRUE(waitForFrame(bench.unit(1), make8040(0x1004, 0x4080))) << bench.report();
}

TEST_F(ServerReceiverStatus, AShort8040CountsAsZerosAndALongOneNotAtAll) {
    start();
    receive(make8040(0xFFFF, 0xFFFF));
    receive(make8040(0, 0).encode(), 64);
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 1, 0x3FFD, 0xFFC1, 0));
    receive(make8040(0xFFFF, 0xFFFF).encode(), 22);  // words 0 to 5
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 1, 0x3FFD, 0, 0));
}

TEST_F(ServerReceiverStatus, The2516ShowsInExactlyOneSolution) {
    start();
    receive(make2516(0x3, 0xA), halvorUnit);
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 2, 0, 0, 0x00A3));
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 0, 0, 0, 0));
    receive(make8040(0x0001, 0));
    receive(make2516(0xF, 0x1), halvorUnit);
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 3, 1, 0, 0x001F));
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 1, 1, 0, 0));
}

TEST_F(ServerReceiverStatus, A2516OfTheWrongLengthOrSourceShowsNowhere) {
    start();
    for (const std::size_t length : {10U, 74U, 78U, 65534U}) {
        receive(make2516(0x3, 0xA).encode(), length, halvorUnit);
    }
    receive(make2516(0x3, 0xA), trevo);
    receive(make2516(0x3, 0xA), pntDevice);
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 0, 0, 0, 0));
}

TEST_F(ServerReceiverStatus, TheReradLineOfTheEngineClearsTheFlagForGood) {
    start();
    receiveLine("rerad MODE enabled", clockDevice);
    receiveLine("rerad MODE enabled", halvorUnit);
    receiveLine("rerad MODE disabled");
    receiveLine("rerad MODE enable");
    receiveLine("");
    EXPECT_EQ(0x0140, nextSolution()[0]);
    receiveLine("12:00:00 rerad MODE enabled, from now on");
    EXPECT_EQ(0x0040, nextSolution()[0]);
    receiveLine("Rerad mode DISABLED");
    EXPECT_EQ(0x0040, nextSolution()[0]);
}

TEST_F(ServerReceiverStatus, NothingIsTakenInUnlessTheServerRuns) {
    bench.configuration().set("ZephonServer", "PARAM_2", "TRUE");
    connectAll();
    receive(make8040(0xFFFF, 0xFFFF));
    receive(make2516(0x3, 0xA), halvorUnit);
    receive(make8504(engineRuns));
    receive(make5040(100));
    receiveLine("Rerad mode ENABLED");
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    EXPECT_THAT(nextSolution(), ElementsAre(0x0140, 0, 0, 0, 0));
    receive(make9391(100));
    receive(make8504(engineRuns));
    receive(make9391(100));
    receive(make5040(101));
    receivePair(102);
    ASSERT_TRUE(waitForFrame(bench.unit(1), make30000(102))) << bench.report();
    EXPECT_EQ(2U, framesOf(bench.unit(1)).size()) << "the solution and one status";
}

// ---- What is handed on

/// A frame with data that counts up.
UnitFrame makeCounting(std::uint16_t id, std::size_t words, std::uint16_t flags) {
    auto frame = emptyFrame(id, words, flags);
    for (std::size_t i = 0; i < words; ++i) {
        frame.data[i] = static_cast<std::uint16_t>(0x0101 * i + id);
    }
    return frame;
}

TEST_F(ServerReceiverStatus, The2518LeavesAs15054) {
    start();
    auto first = makeCounting(2518, 90, statusFlags);
    auto second = makeCounting(2518, 90, 0x8000);
    second.data[0] = 0xFFFF;
    receive(first, halvorUnit);
    receive(second, halvorUnit);
    first.id = second.id = 15054;
    second.flags = statusFlags;
    expectOnLinkOne({first, second});
    const FrameBytes header{0xFF, 0x81, 0xCE, 0x3A, 90, 0, 0x00, 0x90, 0xD9, 0xB2};
    const auto bytes = bench.unit(1).frames(15054).at(0).bytes;
    EXPECT_EQ(header, FrameBytes(bytes.begin(), bytes.begin() + 10));
}

TEST_F(ServerReceiverStatus, ThreatsAndTheEnginesStatusGoOnWithTheFlagWordOfCopies) {
    start();
    std::vector<UnitFrame> expected;
    for (const std::uint16_t flags : Words{0x9000, 0x8000, 0x0000, 0xFFFF}) {
        auto threats = makeCounting(15051, 100, flags);
        auto status = makeStatus(flags, "ENGINE");
        status.flags = flags;
        threats.data[99] = flags;
        receive(threats, halvorUnit);
        receive(status, trevo);
        threats.flags = status.flags = 0x9000;
        expected.push_back(threats);
        expected.push_back(status);
    }
    expectOnLinkOne(expected);
}

TEST_F(ServerReceiverStatus, TheEnginesStatusIsNoEvent) {
    start();
    const EventReader events(bench);
    receive(makeStatus(17, "OF THE ENGINE"), trevo);
    server->cbGssip(makeRecord(makeStatus(17, "OF THE UNIT"), pntDevice, 1));
    EXPECT_TRUE(events.waitFor("OF THE UNIT")) << events.report();
    EXPECT_EQ(0U, events.count("OF THE ENGINE")) << events.report();
}

TEST_F(ServerReceiverStatus, FramesOfTheWrongLengthAreHandedOnNowhere) {
    start();
    for (const int change : {-100, -2, 2, 60000}) {
        const auto changed = [change](FrameBytes const& bytes) {
            return static_cast<std::size_t>(std::max(10, static_cast<int>(bytes.size()) + change));
        };
        for (const auto& [id, words, source] :
             {std::tuple{2518, 90, halvorUnit}, {15051, 100, halvorUnit}, {5044, 21, trevo}}) {
            const auto bytes = makeCounting(static_cast<std::uint16_t>(id),
                                            static_cast<std::size_t>(words), statusFlags)
                                   .encode();
            receive(bytes, changed(bytes), source);
        }
    }
    expectOnLinkOne({});
}

TEST_F(ServerReceiverStatus, AFrameThatCountsOtherWordsThanItHasIsDroppedBeforeTheLink) {
    OutputCapture output;
    start();
    for (const auto& [id, words, source] :
         {std::tuple{2518, 90, halvorUnit}, {15051, 100, halvorUnit}, {5044, 21, trevo}}) {
        for (const std::uint8_t counted : FrameBytes{0, 1, 255}) {
            auto bytes = makeCounting(static_cast<std::uint16_t>(id),
                                      static_cast<std::size_t>(words), statusFlags)
                             .encode();
            bytes[4] = counted;
            receive(bytes, bytes.size(), source);
        }
    }
    expectOnLinkOne({});
    for (std::string const id : {"2518", "15054", "15051", "5044"}) {
        EXPECT_EQ(0U, output.count("Zephon1 (" + id + ") ")) << output.text();
    }
}

TEST(ServerReceiverStatusOfAnyRecord, ReadsNoByteThatDidNotArrive) {
    // Without links nothing waits, and AddressSanitizer sees each read.
    const auto server = std::make_unique<ZephonServer>();
    FACE::RETURN_CODE_TYPE::Value code = FACE::RETURN_CODE_TYPE::NO_ACTION;
    server->Request_State_Transition(ZephonServer::RequestedState::START, code);
    ASSERT_EQ(FACE::RETURN_CODE_TYPE::NO_ERROR, code);
    server->cbGssip(makeRecord(make8504(0xFF, 0xFF), trevo));  // from now on 9391 is taken
    for (const auto& [id, source] : {std::pair{5040, trevo},
                                     {9391, trevo},
                                     {8040, trevo},
                                     {5044, trevo},
                                     {2516, halvorUnit},
                                     {2518, halvorUnit},
                                     {15051, halvorUnit}}) {
        for (std::size_t length = 10; length < 450; ++length) {
            FrameBytes bytes(length, 0xEE);
            bytes[2] = static_cast<std::uint8_t>(id);
            bytes[3] = static_cast<std::uint8_t>(id >> 8);
            bytes.shrink_to_fit();
            auto record = makeRecord(bytes, source);
            server->cbGssip(record);
            record.num_bytes(0x7FFFFFFF);
            server->cbGssip(record);
        }
    }
}

TEST_F(ServerReceiverStatus, InputsOfManyThreadsMeetOnce) {
    startWithEngine();
    {
        SimultaneousCalls calls(100);
        calls.start([this](int i) { receive(make5040(i)); });
        calls.start([this](int i) { receive(make9391(static_cast<float>(i))); });
        calls.start([this](int) { receive(make8504(engineRuns)); });
        calls.start(
            [this](int i) { receive(make2516(static_cast<unsigned>(i) & 15U, 1), halvorUnit); });
        calls.start([this](int i) { receiveSolution(1000 + i); });
        calls.start([this](int) { receiveLine("Rerad mode ENABLED"); });
    }
    receivePair(5000);
    ASSERT_TRUE(waitForFrame(bench.unit(1), make30000(5000))) << bench.report();
    std::set<float> times;
    for (auto const& bytes : framesOf(bench.unit(1))) {
        const auto frame = bench::decodeFrame(bytes.data(), bytes.size());
        if (frame && frame->id == 30000) {
            float time = 0;
            std::memcpy(&time, frame->data.data(), sizeof time);
            EXPECT_TRUE(times.insert(time).second) << time << " went out twice";
        }
    }
}

}  // namespace
