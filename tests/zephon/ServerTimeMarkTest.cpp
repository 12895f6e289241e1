// Time marks and part numbers in a server in this process.

#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/system/EventReader.h"
#include "tests/zephon/GssipRecords.h"
#include "tests/zephon/TimeMarkFrames.h"
#include "tests/zephon/ZephonServerFixture.h"

namespace {

namespace idl = aspn2_msgs::idl;
using bench::UnitFrame;
using testing::MatchesRegex;

constexpr unsigned char clockDevice = 36;
constexpr unsigned char altNavUnit = 38;
constexpr unsigned char fusionNavigator = 96;

template <typename Record>
Record made(Record record, unsigned char source, double validAt) {
    record.header().device_id(0x03000000 | source << 16);
    record.header().timestamp_valid().sec(static_cast<std::int64_t>(validAt));
    record.header().timestamp_valid().nsec(
        static_cast<std::int32_t>((validAt - std::floor(validAt)) * 1e9));
    return record;
}

class ServerTimeMark : public ZephonServerFixture {
protected:
    void startWith(std::string const& merge, std::string const& told = "FALSE") {
        bench.configuration().set("ZephonServer", "PARAM_2", merge);
        bench.configuration().set("ZephonServer", "PARAM_3", told);
        startAll();
    }

    void receiveMark(double gpsTow, double validAt) {
        server->cbGssip(made(makeRecord(makeMark(gpsTow), trevo), trevo, validAt));
    }
    void receiveGps(std::int32_t gpsTow, double validAt, unsigned char source = fusionNavigator) {
        idl::GPSTime record;
        record.gps_week(fusedWeek);
        record.gps_tow_sec(gpsTow);
        record.covariance()[0][0] = fusedVariance;
        server->cbGpsTime(made(record, source, validAt));
    }
    /// 18 leap seconds ahead of UTC, on the sixth day of the week.
    void receiveUtc(std::int32_t gpsTow, double validAt, unsigned char source = fusionNavigator) {
        idl::UTCTime record;
        record.gps_week(fusedWeek);
        record.gps_tow_sec(gpsTow);
        record.utc_tod_sec(utcOf(gpsTow));
        record.covariance()[0][0] = fusedVariance;
        server->cbUtcTime(made(record, source, validAt));
    }
    static std::int32_t utcOf(std::int32_t gpsTow) { return gpsTow - 6 * 86400 - 18; }
    static UnitFrame mergedMark(std::int32_t gpsTow) {
        return makeMergedMark(gpsTow, utcOf(gpsTow));
    }

    void receiveLine(std::string const& text, unsigned char source = trevo) {
        idl::EventLog record;
        record.eventlog(text);
        server->cbEventLog(made(record, source, 0));
    }
    void receiveEngineLines() {
        for (auto const& line : engineLines) {
            receiveLine(line);
        }
    }
};

TEST_F(ServerTimeMark, AloneAMarkPassesThroughWithTheFlagWordOfCopies) {
    startWith("FALSE");
    receiveMark(1.0, 100);
    server->cbGssip(makeRecord(makeMark(2.0, 0x8000), trevo));
    expectOnLinkOne({makeMark(1.0), makeMark(2.0)});
}

TEST_F(ServerTimeMark, AloneAMarkShowsNoReceiverFailureWhileTheBoxHasNone) {
    startWith("FALSE");
    auto mark = makeMark(1.0);
    mark.data[48] = 0x001F;
    server->cbGssip(makeRecord(mark, trevo));
    mark.data[48] = 0x000F;
    expectOnLinkOne({mark});
}

TEST_F(ServerTimeMark, AloneNeedsNoFusedTimeAndFusedTimeSendsNothing) {
    startWith("FALSE");
    receiveGps(583218, 100);
    receiveUtc(583218, 100);
    receiveMark(1.0, 100);
    receiveGps(583219, 101);
    receiveUtc(583219, 101);
    expectOnLinkOne({makeMark(1.0)});
}

TEST_F(ServerTimeMark, MergedWaitsForGpsAndUtcTimeOfTheSameInstant) {
    startWith("TRUE");
    receiveMark(1.0, 100);
    receiveGps(583218, 100.05);
    receiveUtc(583218, 99.95);
    receiveUtc(583219, 101);
    receiveMark(2.0, 101);
    receiveGps(583219, 101);
    receiveMark(3.0, 102);  // alone
    expectOnLinkOne({mergedMark(583218), mergedMark(583219)});
}

TEST_F(ServerTimeMark, MergedStaysUnsentUntilACloserGpsTimeComes) {
    startWith("TRUE");
    receiveMark(1.0, 100);
    receiveUtc(583218, 100);
    receiveGps(583218, 100.11);
    receiveMark(2.0, 100);  // replaces the first
    receiveGps(583217, 100.05);
    expectOnLinkOne({makeMergedMark(583217, utcOf(583218))});
}

TEST_F(ServerTimeMark, OnlyTheNavigatorsTimesAreMerged) {
    startWith("TRUE");
    receiveMark(1.0, 100);
    receiveGps(583218, 100, altNavUnit);
    receiveUtc(583218, 100, clockDevice);
    receiveGps(583218, 100, trevo);
    receiveUtc(583218, 100, trevo);
    receiveGps(583218, 100);
    receiveUtc(583218, 100, clockDevice);
    expectOnLinkOne({});
}

TEST_F(ServerTimeMark, TheNavigatorsUtcTimeDoesNotFeedTheFusedSolution) {
    startWith("TRUE");
    receiveUtc(583218, 100);
    server->cbMxPnt(made(idl::MeridanePNT(), fusionNavigator, 100));
    expectOnLinkOne({});
}

TEST_F(ServerTimeMark, AMarkOfAnotherLengthIsDroppedSilently) {
    OutputCapture output;
    startWith("FALSE");
    receiveEngineLines();
    const std::size_t before = output.text().size();
    for (const std::size_t words : {0U, 1U, 199U, 201U, 240U}) {
        server->cbGssip(makeRecord(emptyFrame(8504, words), trevo));
    }
    expectOnLinkOne({});
    std::istringstream told(output.text().substr(before));
    for (std::string line; std::getline(told, line);) {
        EXPECT_THAT(line, testing::HasSubstr("PROTOCOL TIMEOUT"));  // of an ACK that was late
    }
}

TEST_F(ServerTimeMark, AMarkOfAnotherSourceIsNone) {
    startWith("FALSE");
    for (const unsigned char source : {halvorUnit, pntDevice, fusionNavigator}) {
        server->cbGssip(makeRecord(makeMark(1.0), source));
    }
    expectOnLinkOne({});
}

TEST_F(ServerTimeMark, NothingIsTakenBeforeTheStart) {
    bench.configuration().set("ZephonServer", "PARAM_2", "TRUE");
    connectAll();
    receiveEngineLines();
    receiveGps(583218, 100);
    receiveUtc(583218, 100);
    receiveMark(1.0, 100);
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    receiveMark(2.0, 100);
    expectOnLinkOne({});
}

TEST_F(ServerTimeMark, WhatIsStoredOutlivesAStop) {
    startWith("TRUE");
    receiveEngineLines();
    receiveGps(583218, 100);
    receiveUtc(583218, 100);
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    receiveMark(1.0, 100);  // not taken
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    receiveMark(2.0, 100);
    expectOnLinkOne({mergedMark(583218), makePartNumbers(2.0)});
}

// ---- What is told of it -------------------------------------------------------------------

TEST_F(ServerTimeMark, APassThroughIsToldOnTheConsoleAndTheEventLogWhenAsked) {
    OutputCapture output;
    startWith("FALSE", "TRUE");
    const EventReader events(bench);
    receiveMark(1.0, 100);
    const auto event = events.waitFor("PassThrough 8504 as-is");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(1, event->type);
    EXPECT_EQ(1U, events.count("PassThrough 8504 as-is")) << events.report();
    EXPECT_EQ(0U, events.count("receivedFusion")) << events.report();
    EXPECT_EQ(1U, output.count("\nPassThrough 8504 as-is: "));
    const std::string text = output.text();
    const auto begin = text.find("PassThrough 8504 as-is: ");
    EXPECT_THAT(text.substr(begin, text.find('\n', begin) - begin),
                MatchesRegex("PassThrough 8504 as-is: [0-9]+, [^,]*ZephonServerTimeMark.cpp"));
}

TEST_F(ServerTimeMark, WithDebugTheEnginesMarkIsToldBehindWhatBecameOfIt) {
    OutputCapture output;
    bench.configuration().set("ZephonServer", "Debug", "TRUE");
    startWith("FALSE", "TRUE");
    receiveMark(1.0, 100);
    const std::string text = output.text();
    const auto handled = text.find("PassThrough 8504 as-is: ");
    ASSERT_NE(std::string::npos, handled) << text;
    EXPECT_NE(std::string::npos, text.find("Recvd GSSIP: 8504 from Trevo\n", handled)) << text;
    EXPECT_EQ(1U, output.count("Recvd GSSIP: 8504 from Trevo\n")) << text;
}

TEST_F(ServerTimeMark, AMergeIsToldForBothTimesWhenAsked) {
    OutputCapture output;
    startWith("TRUE", "TRUE");
    const EventReader events(bench);
    receiveMark(1.0, 100);
    receiveGps(583218, 100);
    EXPECT_EQ(0U, output.count("receivedFusion")) << output.text();
    receiveUtc(583218, 100);
    for (std::string const told : {"receivedFusionGPSTimeAtTM", "receivedFusionUTCTimeAtTM"}) {
        const auto event = events.waitFor(told);
        ASSERT_TRUE(event) << events.report();
        EXPECT_EQ(1, event->type);
        EXPECT_EQ(1U, events.count(told)) << events.report();
        EXPECT_EQ(1U, output.count("\n" + told + ": "));
        const std::string text = output.text();
        const auto begin = text.find(told + ": ");
        EXPECT_THAT(text.substr(begin, text.find('\n', begin) - begin),
                    MatchesRegex(told + ": [0-9]+, [^,]*ZephonServerTimeMark.cpp"));
    }
    EXPECT_EQ(0U, output.count("PassThrough")) << output.text();
    EXPECT_EQ(0U, events.count("PassThrough")) << events.report();
}

TEST_F(ServerTimeMark, NothingIsToldUnlessAsked) {
    OutputCapture output;
    startWith("TRUE");
    receiveMark(1.0, 100);
    receiveGps(583218, 100);
    receiveUtc(583218, 100);
    expectOnLinkOne({mergedMark(583218)});
    EXPECT_EQ(0U, output.count("receivedFusion")) << output.text();
}

// ---- Part numbers -------------------------------------------------------------------------

TEST_F(ServerTimeMark, PartNumbersFollowEachMarkFromTheFourthLineOn) {
    startWith("FALSE");
    std::vector<UnitFrame> expected;
    double time = 0;
    for (auto const& line : engineLines) {
        time += 1;
        receiveMark(time, time);
        expected.push_back(makeMark(time));
        receiveLine(line);
    }
    while (time < 8) {
        time += 1;
        receiveMark(time, time);
        expected.push_back(makeMark(time));
        expected.push_back(makePartNumbers(time));
    }
    expectOnLinkOne(expected);
}

TEST_F(ServerTimeMark, PartNumbersFollowAMarkThatWaitsToo) {
    startWith("TRUE");
    receiveEngineLines();
    receiveMark(1.0, 100);
    receiveGps(583218, 100);
    receiveUtc(583218, 100);
    expectOnLinkOne({makePartNumbers(1.0), mergedMark(583218)});
}

TEST_F(ServerTimeMark, PartNumbersComeFromTheEnginesLinesOnly) {
    startWith("FALSE");
    for (std::size_t i = 0; i + 1 < engineLines.size(); ++i) {
        receiveLine(engineLines[i]);
    }
    for (const unsigned char source : {clockDevice, altNavUnit, halvorUnit, pntDevice}) {
        receiveLine(engineLines.back(), source);
    }
    receiveMark(1.0, 100);
    receiveLine(engineLines.back());
    receiveMark(2.0, 101);
    expectOnLinkOne({makeMark(1.0), makeMark(2.0), makePartNumbers(2.0)});
}

// ---- Several threads ----------------------------------------------------------------------

TEST_F(ServerTimeMark, InputsThatRaceSendEachMarkOnce) {
    constexpr std::int32_t rounds = 100;
    OutputCapture output;
    startWith("TRUE", "TRUE");
    const std::int32_t first = 583218;
    std::vector<UnitFrame> expected;
    for (std::int32_t tow = first; tow < first + rounds; ++tow) {
        std::thread gps([this, tow] { receiveGps(tow, tow); });
        std::thread utc([this, tow] { receiveUtc(tow, tow); });
        receiveMark(tow, tow);
        gps.join();
        utc.join();
        expected.push_back(mergedMark(tow));
    }
    expectOnLinkOne(expected);
    // A frame that came twice may be the link's repetition; the console tells what was sent.
    EXPECT_EQ(std::size_t{rounds}, output.count("receivedFusionUTCTimeAtTM: "));
}

}  // namespace
