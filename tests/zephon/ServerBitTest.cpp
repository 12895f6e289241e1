// What the PNT device and the computer's BIT server tell of their built-in tests, in a server in
// this process.

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "aspn2_msgs/BitReport.h"
#include "bench/Patience.h"
#include "tests/system/EventReader.h"
#include "tests/zephon/CommandFixture.h"
#include "tests/zephon/GssipRecords.h"
#include "tests/zephon/MaintenanceLog.h"
#include "tests/zephon/TimeMarkFrames.h"

namespace {

using aspn2_msgs::idl::BitReport;
using bench::UnitFrame;
using testing::ElementsAre;
using testing::EndsWith;

using Words = std::vector<std::uint16_t>;

constexpr std::uint16_t fromUnit = UnitFrame::linkReady;

// ---- Frames

UnitFrame makeDeviceStatus(std::uint8_t kind, std::uint8_t byte10, std::uint8_t byte11) {
    auto frame = emptyFrame(27532, 9, fromUnit);
    frame.data[4] = kind;
    frame.data[5] = static_cast<std::uint16_t>(byte10 | byte11 << 8U);
    return frame;
}

/// The first byte of an entry of message 27535 is its type and four times its status.
constexpr std::uint16_t entry(unsigned type, unsigned status, unsigned testId) {
    return static_cast<std::uint16_t>(type | status << 2U | testId << 8U);
}

/// Message 27535 as long as its entries, which it counts unless told otherwise.
UnitFrame makeBitStatus(std::uint8_t summary, Words const& entries = {}, int count = -1) {
    auto frame = emptyFrame(27535, 5, fromUnit);
    const auto counted = count < 0 ? entries.size() : static_cast<std::size_t>(count);
    frame.data[4] = static_cast<std::uint16_t>(summary | counted << 8U);
    frame.data.insert(frame.data.end(), entries.begin(), entries.end());
    return frame;
}

/// Lays text into the words from `word` on: the first of two characters is the high byte.
void setText(UnitFrame& frame, std::size_t word, std::string const& text) {
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        frame.data[word + i / 2] = static_cast<std::uint16_t>(
            static_cast<unsigned char>(text[i]) << 8U | static_cast<unsigned char>(text[i + 1]));
    }
}

struct LabelText {
    unsigned type;
    unsigned testId;
    std::string descriptor;  ///< of an even length
};

/// Message 27536, the second of three, as long as its labels.
UnitFrame makeLabels(std::vector<LabelText> const& labels) {
    auto frame = emptyFrame(27536, 5 + 29 * labels.size(), fromUnit);
    frame.data[4] = static_cast<std::uint16_t>(labels.size() | 0x2300U);
    for (std::size_t i = 0; i < labels.size(); ++i) {
        frame.data[5 + 29 * i] = entry(labels[i].type, 0, labels[i].testId);
        setText(frame, 6 + 29 * i, labels[i].descriptor);
    }
    return frame;
}

UnitFrame makeFaultReport(std::uint8_t flags) {
    auto frame = emptyFrame(27533, 27, fromUnit);
    frame.data[4] = static_cast<std::uint16_t>(flags | 200U << 8U);
    frame.data[5] = 0xFFFD;
    setText(frame, 6, "POWER     ");
    setText(frame, 11, "BOARD 2   ");
    setText(frame, 16, "FAILED");
    setText(frame, 19, std::string("NONE\0\0SURPLUS..", 16));
    return frame;
}

UnitFrame makeLogReport(std::uint8_t flags) {
    auto frame = emptyFrame(27534, 54, fromUnit);
    frame.data[4] = flags;
    setText(frame, 5, "POWER     ");
    setText(frame, 10, "BOARD 2   ");
    setText(frame, 15, "FAILED");
    setText(frame, 18, "NONE            ");
    setText(frame, 26, std::string("SUPPLY OUT OF RANGE 4.5 V ") + std::string(30, '.'));
    return frame;
}
const std::string logDescription = "SUPPLY OUT OF RANGE 4.5 V ..............................";

UnitFrame withTime(UnitFrame frame, double time) {
    const auto words = engineDouble(time);
    std::copy(words.begin(), words.end(), frame.data.begin());
    return frame;
}

/// Message 27531 as the server sends it.
UnitFrame makeBoxStatus(double time, std::uint8_t kind, bool failed) {
    auto frame = withTime(emptyFrame(27531, 9), time);
    frame.data[4] = kind;
    frame.data[5] = failed ? 1 : 0;
    return frame;
}

/// Message 27530 as the server sends it.
UnitFrame makeDeviceCommand(double time, std::uint8_t command, std::uint16_t timeOut = 0) {
    auto frame = withTime(emptyFrame(27530, 9), time);
    frame.data[4] = command;
    frame.data[5] = timeOut;
    return frame;
}

/// Message 5044 as the server sends it.
UnitFrame makeSystemCbitResult(double time, std::uint16_t status, std::string const& text) {
    auto frame = withTime(emptyFrame(5044, 21), time);
    frame.data[4] = status;
    setText(frame, 5, text);
    return frame;
}

BitReport makeBitReport(unsigned instance, bool good) {
    BitReport record;
    record.header().device_id(static_cast<std::int32_t>(0x03250000U | instance));
    record.bit_rollup(good);
    return record;
}

// ---- The server

class ServerBit : public CommandFixture {
protected:
    void startWithDebug() {
        bench.configuration().set("ZephonServer", "Debug", "true");
        startAll();
    }

    void receive(UnitFrame const& frame, unsigned char source = pntDevice) {
        server->cbGssip(makeRecord(frame, source));
    }
    void receive(FrameBytes bytes, std::size_t length) {
        bytes.resize(length);
        server->cbGssip(makeRecord(std::move(bytes), pntDevice));
    }
    void command(std::string const& text, unsigned char sender = controller) {
        server->cbCmd(makeCommandRecord(text, sender));
    }
    void respond(std::string const& text, unsigned char sender = trevo) {
        auto record = makeCommandRecord(text, sender);
        record.command_response_type(aspn2_msgs::idl::COMMAND_RESPONSE_TYPE_RESPONSE);
        server->cbRsp(record);
    }
    void endEngineCbit() { respond("REQUEST_COMPONENT_CBIT_PASS"); }

    /// Expects that nothing else was published: what is published now comes next.
    void expectNoFaultsBehind(MaintenanceLog& log) {
        receive(makeBitStatus(0, {entry(3, 2, 254)}));
        EXPECT_THAT(log.next(1), ElementsAre("CBIT Tst: 254 Hard"));
    }

    /// Expects these messages about built-in tests on link 3, behind those that were expected
    /// before, and no others. A frame like the one before it is the link's repetition of that.
    void expectOnLinkThree(std::vector<UnitFrame> const& expected) {
        const auto last = makeBoxStatus(0, ++marks_ | 0x80U, false);
        PNTDBIT::CorvaneStatusMsg payload;
        payload.data[4] = last.data[4];
        server->sendToPntdBitPort(PNTDBIT::makeMessage(payload));
        ASSERT_TRUE(waitForFrame(bench.unit(3), last)) << bench.report();
        for (auto const& frame : expected) {
            expectedOnLinkThree_.push_back(frame.encode());
        }
        expectedOnLinkThree_.push_back(last.encode());
        std::vector<FrameBytes> frames;
        for (auto const& logged : bench.unit(3).frames()) {
            auto const& frame = logged.frame;
            if (frame.id == 27531 ||
                (frame.id == 27530 && (frame.data[4] == 1 || frame.data[4] == 2))) {
                frames.push_back(logged.bytes);
            }
        }
        frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
        EXPECT_EQ(expectedOnLinkThree_, frames) << bench.report();
    }

    /// Expects this event, of this type and behind whatever the reporter puts in front.
    void expectEvent(EventReader const& events, int type, std::string const& text) {
        const auto event = events.waitFor(text);
        ASSERT_TRUE(event) << text << "\n" << events.report();
        EXPECT_EQ(type, event->type) << events.report();
        EXPECT_THAT(event->text, EndsWith(text));
    }

private:
    std::uint8_t marks_ = 0;
    std::vector<FrameBytes> expectedOnLinkThree_;
};

// ---- Message 27532

TEST_F(ServerBit, ADataTransferIsToldWithUnitPortAndOutcome) {
    startAll();
    const EventReader events(bench);
    receive(makeDeviceStatus(1, 0x09, 1).encode(), 28);  // a word short
    receive(makeDeviceStatus(1, 0x09, 1).encode(), 32);  // and one more
    receive(makeDeviceStatus(0, 0x0A, 2));               // a kind that nobody knows
    receive(makeDeviceStatus(4, 0x0A, 2));
    std::vector<std::string> const expected{
        "Data Transfer Status ZP:1 COM1 In Progress", "Data Transfer Status ZP:4 COM3 Failed",
        "Data Transfer Status ZP:2 COM2 Passed", "Data Transfer Status ZP:7 COM0 NA"};
    receive(makeDeviceStatus(1, 0xE9, 0xFD));  // other bits than those of a field do not count
    receive(makeDeviceStatus(1, 0x1C, 2));
    receive(makeDeviceStatus(1, 0x12, 3));
    receive(makeDeviceStatus(1, 0x07, 4));
    for (auto const& text : expected) {
        auto const event = events.waitFor(text);
        ASSERT_TRUE(event) << events.report();
        EXPECT_EQ(text, event->text);
        EXPECT_EQ(2, event->type);
    }
    EXPECT_EQ(expected.size(), events.count("Data Transfer")) << events.report();
}

// ---- Message 27535

TEST_F(ServerBit, TheSummaryIsAFailureByItsTestsAndNotByTheSystemAlone) {
    startAll();
    const EventReader events(bench);
    const std::string front = "ZephonServer: PNTD BIT= ";
    receive(makeBitStatus(0));
    expectEvent(events, 2, front + "SYS:Pass POST:Pass BBIT:Pass CBIT:Pass");
    receive(makeBitStatus(1));
    expectEvent(events, 2, front + "SYS:Fail POST:Pass BBIT:Pass CBIT:Pass");
    receive(makeBitStatus(2));
    expectEvent(events, 3, front + "SYS:Pass POST:Fail BBIT:Pass CBIT:Pass");
    receive(makeBitStatus(4));
    expectEvent(events, 3, front + "SYS:Pass POST:Pass BBIT:Fail CBIT:Pass");
    receive(makeBitStatus(0xF8));  // the high bits say nothing
    expectEvent(events, 3, front + "SYS:Pass POST:Pass BBIT:Pass CBIT:Fail");
    command("REQUEST_COMPONENT_CBIT");
    receive(makeBitStatus(3));
    expectEvent(events, 2, front + "SYS:Fail POST:Fail BBIT:Pass CBIT:Pass");
    receive(makeBitStatus(6));
    expectEvent(events, 3, front + "SYS:Pass POST:Fail BBIT:Fail CBIT:Pass");
}

TEST_F(ServerBit, EachFaultedTestBecomesAMaintenanceEvent) {
    MaintenanceLog log(bench);
    startAll();
    receive(makeLabels({{3, 7, "OSCILLATOR"}, {1, 255, "ZETA"}, {1, 255, "ALPHA!"}}));
    receive(makeLabels({{3, 7, "OSCILLATOR"}, {0, 9, std::string(56, 'x')}}));
    receive(makeBitStatus(0, {entry(3, 2, 7), entry(1, 1, 255), entry(2, 0, 1), entry(2, 2, 0),
                              entry(3, 3, 7), entry(3, 3, 8), entry(0, 2, 9)}));
    const auto first = log.next();
    EXPECT_STREQ("CBIT Tst: 7 Hard: OSCILLATOR", first.description().data());
    EXPECT_STREQ("PNT-D", first.identity().data());
    EXPECT_EQ(4, first.criticality_id());
    EXPECT_EQ(3, first.outcome_id());
    EXPECT_EQ(49, first.location_id());
    EXPECT_EQ(5, first.category_id());
    EXPECT_EQ(0, first.repeat_in_seconds());
    EXPECT_EQ(1, first.fault_sources()[0].lru_id());
    EXPECT_EQ(2, first.fault_sources()[0].component_id());
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_EQ(0, first.fault_sources().at(i).lru_id());
        EXPECT_EQ(0, first.fault_sources().at(i).component_id());
    }
    const auto post = log.next();
    EXPECT_STREQ("POST Tst: 255 Intrm: ALPHA!", post.description().data());
    EXPECT_EQ(3, post.category_id());
    const auto background = log.next();
    EXPECT_STREQ("BBIT Tst: 0 Hard", background.description().data());
    EXPECT_EQ(7, background.category_id());
    EXPECT_THAT(log.next(2), ElementsAre("CBIT Tst: 7 : OSCILLATOR", "CBIT Tst: 8 "));
    const auto odd = log.next();
    EXPECT_EQ((" Tst: 9 Hard: " + std::string(56, 'x')).substr(0, 55), odd.description().data());
    EXPECT_EQ(0, odd.category_id());
    expectNoFaultsBehind(log);
}

TEST_F(ServerBit, WhatTheUnitSendsOnItsBitPortIsPublishedByName) {
    MaintenanceLog log(bench);
    startAll();
    const EventReader events(bench);
    bench.unit(3).send(makeLabels({{2, 17, "FAN BLOCKED."}}));
    bench.unit(3).send(makeBitStatus(4, {entry(2, 1, 17)}));
    EXPECT_STREQ("BBIT Tst: 17 Intrm: FAN BLOCKED.", log.next().description().data());
    expectEvent(events, 3, "ZephonServer: PNTD BIT= SYS:Pass POST:Pass BBIT:Fail CBIT:Pass");
}

TEST_F(ServerBit, ACountBeyondWhatArrivedReadsNoEntryMore) {
    MaintenanceLog log(bench);
    OutputCapture output;
    startWithDebug();
    receive(makeBitStatus(0, {entry(1, 2, 1), entry(1, 2, 2)}, 255));
    receive(makeBitStatus(0, {entry(1, 2, 3), entry(1, 2, 4)}, 1));
    receive(makeBitStatus(0, {entry(1, 2, 5)}, 0));
    EXPECT_THAT(log.next(3),
                ElementsAre("POST Tst: 1 Hard", "POST Tst: 2 Hard", "POST Tst: 3 Hard"));
    EXPECT_EQ(3U, output.count("\nBitType: ")) << output.text();
    receive(makeBitStatus(0, Words(195, entry(2, 0, 9)), 255));
    EXPECT_EQ(195U, output.count("\nBitType: BBIT TestId: 9 Fault Status: NoFlt"));
    expectNoFaultsBehind(log);
}

// ---- Messages that are no good

TEST_F(ServerBit, AMessageThatCannotBeReadIsAnEventAndNothingMore) {
    MaintenanceLog log(bench);
    OutputCapture output;
    startWithDebug();
    const EventReader events(bench);
    struct Case {
        std::uint16_t id;
        std::string name;
        UnitFrame good;
        std::vector<std::size_t> lengths;
        std::size_t printed;
    };
    const std::vector<Case> cases{
        {27535, "PntdBitStatusMsg", makeBitStatus(0xFF, {entry(3, 2, 7)}), {10, 21, 414}, 3},
        {27533, "PntdFaultReportMsg", makeFaultReport(0x15), {10, 64, 68}, 0},
        {27534, "PntdLogReportMsg", makeLogReport(0), {10, 118, 122}, 0},
        {27536, "PntdFaultLabelsMsg", makeLabels({{3, 7, "LABEL!"}}), {10, 21, 198}, 0}};
    for (auto const& one : cases) {
        for (const std::size_t length : one.lengths) {
            receive(one.good.encode(), length);
        }
        const std::string text = "ZephonServer: Error decoding a " + one.name + " (" +
                                 std::to_string(one.id) + ") off the GSSIP topic.";
        expectEvent(events, 3, text);
        EXPECT_TRUE(bench::holdsInTime([&] { return events.count(text) == one.lengths.size(); }))
            << events.report();
        EXPECT_EQ(one.printed, output.count("\n" + text + "\n")) << output.text();
    }
    EXPECT_EQ(0U, events.count("PNTD BIT=")) << events.report();
    EXPECT_EQ(0U, events.count("PNTD RPT")) << events.report();
    EXPECT_EQ(0U, output.count("labels in this message"));
    expectNoFaultsBehind(log);
    receive(makeLabels({{1, 1, "AB"}}));  // the refused ones left no label
    EXPECT_EQ(1U, output.count("Total FaultLabel Count: 1\n")) << output.text();
}

// ---- Messages 27533 and 27534

TEST_F(ServerBit, AFaultReportIsToldUnlessItsFlagsContradict) {
    OutputCapture output;
    startWithDebug();
    const EventReader events(bench);
    const std::string invalid =
        "ZephonServer: Error validating a PntdFaultReportMsg (27533) off the GSSIP topic.";
    for (const std::uint8_t flags : FrameBytes{0x11, 0x22, 0x43, 0x0C}) {
        receive(makeFaultReport(flags));
    }
    expectEvent(events, 3, invalid);
    const std::string text =
        "ZephonServer: PNTD BIT= PNTD:Fail POST:Fail BBIT:Pass CBIT:Pass for test 200 5 category "
        "POWER      location BOARD 2    outcome FAILED relation NONE";
    receive(makeFaultReport(0x15));
    expectEvent(events, 2, text);
    EXPECT_EQ(1U, output.count("\n" + text + "\n")) << output.text();
    EXPECT_EQ(1U, events.count("PNTD BIT=")) << events.report();
    EXPECT_TRUE(bench::holdsInTime([&] { return events.count(invalid) == 4; })) << events.report();
}

TEST_F(ServerBit, ALogReportIsToldUnlessItsFlagsContradict) {
    OutputCapture output;
    startWithDebug();
    const EventReader events(bench);
    const std::string invalid =
        "ZephonServer: Error validating a PntdLogReportMsg (27534) off the GSSIP topic.";
    for (const std::uint8_t flags : FrameBytes{0x06, 0x18}) {
        receive(makeLogReport(flags));
    }
    expectEvent(events, 3, invalid);
    receive(makeLogReport(0x15));
    const std::string text = "ZephonServer: PNTD RPT: " + logDescription;
    expectEvent(events, 2, text);
    EXPECT_EQ(2U, events.count(invalid)) << events.report();
    EXPECT_EQ(1U, output.count("\n" + text + "\n")) << output.text();
    EXPECT_EQ(1U, output.count("\nZephonServer: PNTD BIT= 2 5 category POWER      location BOARD 2 "
                               "   outcome FAILED relation NONE             description " +
                               logDescription + "\n"))
        << output.text();
}

// ---- Message 27536

TEST_F(ServerBit, LabelsAreListedWithTheirNumberWithDebugOn) {
    OutputCapture output;
    startWithDebug();
    const std::string list =
        "\nZephonServer: PNTD BIT= labels in this message= 2 message 2 of 3\n"
        " BIT Type 1 TestId 255 Descriptor= ZETA\n"
        " BIT Type 2 TestId 0 Descriptor= ALPHA!\n"
        "Total FaultLabel Count: 2\n";
    receive(makeLabels({{1, 255, "ZETA"}, {2, 0, "ALPHA!"}}));
    EXPECT_EQ(1U, output.count(list)) << output.text();
    receive(makeLabels({{1, 255, "ZETA"}, {2, 0, "ALPHA!"}}));  // a repeat
    EXPECT_EQ(2U, output.count(list)) << output.text();
    auto cut = makeLabels({{1, 1, "ONE!"}, {1, 2, "TWO!"}}).encode();
    receive(cut, cut.size() - 2);  // the second did not arrive whole
    EXPECT_EQ(1U, output.count(" labels in this message= 2 message 2 of 3\n"
                               " BIT Type 1 TestId 1 Descriptor= ONE!\n"
                               "Total FaultLabel Count: 3\n"))
        << output.text();
}

// ---- BitReport

TEST_F(ServerBit, TheComputersStateGoesToTheUnitEvenBeforeTheStart) {
    const std::string good = "No failures    detected         ";
    const std::string bad = "Failures found see fail log     ";
    OutputCapture output;
    bench.configuration().set("ZephonServer", "Debug", "true");
    bench.configuration().set("ZephonServer", "PARAM_2", "FALSE");  // marks go on at once
    connectAll();
    server->cbBit(makeBitReport(2, false));
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    expectOnLinkThree({makeBoxStatus(0, 1, true)});
    receive(makeMark(100.5), trevo);
    server->cbBit(makeBitReport(1, false));
    server->cbBit(makeBitReport(1, true));
    receive(makeMark(200), trevo);
    server->cbBit(makeBitReport(0, true));
    server->cbBit(makeBitReport(255, true));
    auto failedMark = makeMark(100.5);
    failedMark.data[48] = 0x10;
    expectOnLinkOne({failedMark, makeSystemCbitResult(100.5, 19, bad),
                     makeSystemCbitResult(100.5, 20, good), makeMark(200)});
    EXPECT_EQ(1U, output.count("\nRequest BitStatus command sent to PNT-D\n")) << output.text();
    expectOnLinkThree({makeBoxStatus(100.5, 1, true), makeBoxStatus(100.5, 1, false),
                       makeBoxStatus(200, 1, false), makeDeviceCommand(200, 2),
                       makeBoxStatus(200, 1, false)});
}

TEST_F(ServerBit, AReportOfTheTopicReachesTheUnit) {
    startAll();
    TransportText text(bench.domain());
    text.set("BackFillHistory", "true");
    text.set("UseTransport", bench.peerOptions().serverTransport);
    text.connections = {
        {"BitReport", TransportText::topic("aspn2_msgs::idl::BitReport", "BitReportPubSubType")}};
    Transport transport(text, "BIT");
    ASSERT_EQ(Code::NO_ERROR, transport.initialize());
    Typed<BitReport> reports(transport.tss);
    const auto connection = transport.connect("BitReport");
    ASSERT_EQ(Code::NO_ERROR, reports.registerSender(connection));
    // What is published before the two know each other is nobody's.
    EXPECT_TRUE(bench::holdsInTime([&] {
        EXPECT_EQ(Code::NO_ERROR, reports.send(connection, makeBitReport(0, false)));
        return bench.unit(3).waitForFrames(27531, 1, std::chrono::milliseconds(100));
    })) << bench.report();
    EXPECT_EQ(makeBoxStatus(0, 1, true).encode(), bench.unit(3).frames(27531).front().bytes);
    EXPECT_TRUE(waitForFrame(bench.unit(3), makeDeviceCommand(0, 2))) << bench.report();
}

// ---- Commanded tests

TEST_F(ServerBit, AComponentCbitIsAnsweredByTheFirstStatusAfterTheEnginesEnd) {
    OutputCapture output;
    bench.configuration().set("Meridane", "CommandedBitTimeout", "300");
    startWithDebug();
    const EventReader events(bench);
    receive(makeMark(100), trevo);
    endEngineCbit();  // of no command
    expectEvent(events, 2, "ZephonServer TREVO CBIT Cmplt REQUEST_COMPONENT_CBIT_PASS");
    command("REQUEST_COMPONENT_CBIT,ALL");  // which makes that end none of its own
    receive(makeBitStatus(0));
    respond("REQUEST_COMPONENT_CBIT_PASS", halvorUnit);  // not the engine
    respond("REQUEST_COMPONENT_CBIT_ACK");
    respond("REQUEST_COMPONENT_CBIT");
    receive(makeBitStatus(0));
    const std::string ended = "ZephonServer TREVO CBIT Cmplt A_REQUEST_COMPONENT_CBIT_FAIL,1";
    respond("A_REQUEST_COMPONENT_CBIT_FAIL,1");
    expectEvent(events, 2, ended);
    receive(makeBitStatus(2));  // no entry is faulted
    receive(makeBitStatus(0));
    command("X_REQUEST_COMPONENT_CBIT");
    endEngineCbit();
    command("REQUEST_CBIT");
    receive(makeBitStatus(0, {entry(1, 0, 1), entry(2, 1, 2)}));  // not published, yet found
    receive(makeBitStatus(0));
    expectAnswers({"REQUEST_COMPONENT_CBIT_ACK", "REQUEST_COMPONENT_CBIT_PASS",
                   "X_REQUEST_COMPONENT_CBIT_ACK", "X_REQUEST_COMPONENT_CBIT_FAIL"});
    expectOnLinkThree({makeBoxStatus(100, 2, false), makeDeviceCommand(0, 1, 300),
                       makeBoxStatus(100, 2, false), makeDeviceCommand(0, 1, 300),
                       makeBoxStatus(100, 2, false)});
    EXPECT_EQ(1U, output.count("\n" + ended + "\n")) << output.text();
    EXPECT_EQ(1U, output.count("\nSending Response Message: X_REQUEST_COMPONENT_CBIT_FAIL\n"));
}

TEST_F(ServerBit, ATimeOutBeyond300GoesOutAsNone) {
    OutputCapture output;
    bench.configuration().set("Meridane", "CommandedBitTimeout", "301");
    startAll();
    const EventReader events(bench);
    command("REQUEST_COMPONENT_CBIT", humanInterface);  // not of its vocabulary
    command("XX_REQUEST_CBIT_YY", humanInterface);
    command("REQUEST_COMPONENT_CBIT");
    endEngineCbit();
    expectAnswers({"REQUEST_COMPONENT_CBIT_ACK"});
    expectOnLinkThree({makeDeviceCommand(0, 1, 0), makeBoxStatus(0, 2, false)});
    // The end is an event also with debug off, and then only there.
    expectEvent(events, 2, "ZephonServer TREVO CBIT Cmplt REQUEST_COMPONENT_CBIT_PASS");
    EXPECT_EQ(0U, output.count("TREVO CBIT")) << output.text();
}

TEST_F(ServerBit, BackgroundTestsAreNotPublishedFromASystemCbitToItsReport) {
    MaintenanceLog log(bench);
    startAll();
    const auto status = [](unsigned testId) {
        return makeBitStatus(0, {entry(2, 2, testId), entry(3, 2, testId), entry(1, 2, testId)});
    };
    receive(status(1));
    command("XX_REQUEST_CBIT_YY");
    receive(status(2));
    server->cbBit(makeBitReport(0, true));
    receive(status(3));
    server->cbBit(makeBitReport(1, true));
    receive(status(4));
    EXPECT_THAT(
        log.next(10),
        ElementsAre("BBIT Tst: 1 Hard", "CBIT Tst: 1 Hard", "POST Tst: 1 Hard", "CBIT Tst: 2 Hard",
                    "POST Tst: 2 Hard", "CBIT Tst: 3 Hard", "POST Tst: 3 Hard", "BBIT Tst: 4 Hard",
                    "CBIT Tst: 4 Hard", "POST Tst: 4 Hard"));
    expectNoFaultsBehind(log);
    expectAnswers({});
}

// ---- Many at once

TEST_F(ServerBit, AStormOnAllThreadsLosesNoAnswerAndMakesNone) {
    constexpr std::size_t rounds = 5;
    OutputCapture output;  // of what finds a full queue of events or a busy topic
    startAll();
    const ResponseReader responses(bench);
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < 3; ++number) {
        threads.emplace_back([this, &done, number] {
            Words entries(195, entry(2, 0, number));
            entries.back() = entry(3, 2, number);
            for (unsigned i = 0; !done; ++i) {
                receive(makeLabels({{3, i % 256, "L" + std::to_string(100 + number)}}));
                receive(makeBitStatus(0xFF, entries, 255));
                receive(makeFaultReport(static_cast<std::uint8_t>(i)));
                receive(makeLogReport(static_cast<std::uint8_t>(i)));
                receive(makeDeviceStatus(1, 1, 1));
                receive(makeBitStatus(0xFF, entries).encode(), i % 500);
                receive(makeLabels({{3, 7, "SHORT!"}}).encode(), i % 250);
            }
        });
    }
    threads.emplace_back([this, &done] {
        for (unsigned i = 0; !done; ++i) {
            server->cbBit(makeBitReport(i % 3, i % 2 == 0));
            receive(makeMark(i), trevo);
            command("REQUEST_CBIT");
        }
    });
    for (std::size_t round = 1; round <= rounds; ++round) {
        command("REQUEST_COMPONENT_CBIT");
        endEngineCbit();
        EXPECT_TRUE(responses.waitForCount(2 * round)) << responses.report();
    }
    done = true;
    for (auto& thread : threads) {
        thread.join();
    }
    receive(makeBitStatus(0));
    auto last = ASPN2::CmdResponse().makeResponse(aspn2_msgs::idl::CommandResponse(), "LAST");
    server->sendResponseMessage(last);
    EXPECT_TRUE(responses.waitFor("LAST")) << responses.report();
    EXPECT_EQ(rounds, responses.count("REQUEST_COMPONENT_CBIT_ACK")) << responses.report();
    EXPECT_EQ(rounds, responses.count("_PASS") + responses.count("_FAIL")) << responses.report();
}

}  // namespace
