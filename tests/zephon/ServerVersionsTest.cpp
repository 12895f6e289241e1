// What the computer is built of: gathered, answered and told to the unit by a server of this
// process, whose clock the test sets.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/utsname.h>
#include <vector>

#include "ASPN/EventTypes.h"
#include "bench/Patience.h"
#include "tests/system/CommandReader.h"
#include "tests/system/EventReader.h"
#include "tests/zephon/CommandFixture.h"
#include "tests/zephon/IdFrames.h"
#include "tests/zephon/SimultaneousCalls.h"
#include "tests/zephon/TimeMarkFrames.h"

namespace {

namespace idl = aspn2_msgs::idl;
using namespace std::chrono_literals;
using bench::ExampleConfiguration;
using bench::UnitFrame;
using SteadyClock = TimedProcedure::Clock;

constexpr unsigned char altNavUnit = 38;
constexpr char const* partNumbersRequest = "REQUEST_PARTNUMBERS";
std::string const announcement = "//aspn://CORVANE/Name:2024-09-18T13:48:46Z/";
std::string const otherAnnouncement = "//aspn://CORVANE/Name:2024-09-18T13:48:45Z/";

/// Whether the thread that asks for part numbers runs in this process.
bool isAsking() {
    for (auto const& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(task.path() / "comm");
        std::string name;
        if (std::getline(file, name) && name == "part-numbers") {
            return true;
        }
    }
    return false;
}

class ServerVersions : public CommandFixture {
protected:
    ServerVersions() {
        bench.configuration().set("APPS", "build", ZEPHON_BUILD_VALUE);
        server = std::make_unique<ZephonServer>([this] {
            ++looks_;
            if (trouble_) {
                trouble_();
            }
            return SteadyClock::time_point(1000h) + SteadyClock::duration(now_);
        });
    }
    ~ServerVersions() override { server.reset(); }

    void advance(SteadyClock::duration time) { now_ += time.count(); }
    /// Waits until the thread that asks runs and has looked at the clock twice more, so that a
    /// whole round with the time of now has passed.
    void awaitRound() {
        const int seen = looks_;
        ASSERT_TRUE(bench::holdsInTime([&] { return looks_ >= seen + 2; }));
    }
    /// Called wherever the clock is looked at; to be set while no thread runs.
    void setTrouble(std::function<void()> trouble) { trouble_ = std::move(trouble); }

    void startWithDebug() {
        bench.configuration().set("ZephonServer", "Debug", "TRUE");
        startAll();
    }
    /// Time marks go on alone, each with the part numbers behind it.
    void startWithEngine() {
        bench.configuration().set("ZephonServer", "PARAM_2", "FALSE");
        startAll();
        tellEngineLines();
    }
    /// The server hears its own announcement, too, before the start or behind it: here it is of no
    /// account, since it comes before.
    void startAfterItsOwnAnnouncement() {
        bench.configuration().set("ZephonServer", "PARAM_2", "FALSE");
        connectAll();
        const EventReader events(bench);
        ASSERT_TRUE(events.waitFor("aspn://CORVANE/ZephonServer")) << events.report();
        ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
        tellEngineLines();
    }
    void tellEngineLines() {
        for (auto const& line : engineLines) {
            receiveLine(line, trevo);
        }
    }

    void receiveLine(std::string const& text, unsigned char source,
                     int type = EventTypes::INFORMATION) {
        idl::EventLog record;
        record.header().device_id(0x03000000 | source << 16);
        record.event_log_type(static_cast<idl::event_log_type_enum>(type));
        record.eventlog(text);
        server->cbEventLog(record);
    }
    void receiveAnswer(std::string const& text, unsigned char source = altNavUnit) {
        auto record = makeCommandRecord(text, source);
        record.command_response_type(idl::COMMAND_RESPONSE_TYPE_RESPONSE);
        server->cbRsp(record);
    }
    void receiveIds(UnitFrame const& frame, unsigned char source = pntDevice) {
        server->cbGssip(makeRecord(frame, source));
    }
    void command(std::string const& text, unsigned char sender = controller) {
        server->cbCmd(makeCommandRecord(text, sender));
    }

    /// Expects that the next part numbers for the unit are these.
    void expectToldToUnit(ToldNumbers const& told) {
        time_ += 1;
        server->cbGssip(makeRecord(makeMark(time_), trevo));
        EXPECT_TRUE(waitForFrame(bench.unit(1), makePartNumbers(time_, told))) << bench.report();
    }

    /// Expects so many requests of the identifiers, no two in a row alike, and no more once another
    /// message has followed them.
    void expectIdRequests(std::size_t expected) {
        ++markers_;
        auto marker = std::make_shared<Generic_MSID_Msg>();
        const auto bytes = UnitFrame{5999, 0x8000, {markers_}}.encode();
        ASSERT_TRUE(marker->OkSetContent(bytes.data(), static_cast<unsigned short>(bytes.size())));
        server->sendToPntdBitPort(marker);
        ASSERT_TRUE(waitForFrame(bench.unit(3), bytes)) << bench.report();
        std::size_t count = 0;
        for (auto const& frame : framesOf(bench.unit(3))) {
            const auto decoded = bench::decodeFrame(frame.data(), frame.size());
            count += decoded->id == 27530 && decoded->data.at(4) == identifierCommand ? 1 : 0;
        }
        EXPECT_EQ(expected, count) << bench.report();
    }

private:
    double time_ = 0;
    std::uint16_t markers_ = 0;
    std::function<void()> trouble_;
    std::atomic<int> looks_{0};
    std::atomic<SteadyClock::rep> now_{0};
};

// ---- Numbers of the PNT device, from the alternate navigation unit --------------------------

TEST_F(ServerVersions, TheAnswerOfTheAlternateNavigationUnitIsToldToTheUnit) {
    startWithEngine();
    ToldNumbers told;
    receiveAnswer("PARTNUMBERS,SW1:other", controller);
    receiveAnswer("PARTNUMBER,SW1:other");
    receiveAnswer(" PARTNUMBERS,SW1:other");
    receiveAnswer("");
    expectToldToUnit(told);
    receiveAnswer("PARTNUMBERS,SW1:S-1,BAD:7,FW1:F-2  ,HWSN1:0123456789ABCDEFGH");
    told.pntdSoftware = "S-1";
    told.pntdFirmware = "F-2";
    told.pntdSerialNumber = "0123456789ABCDEF";
    expectToldToUnit(told);
    receiveAnswer("PARTNUMBERS,SW1:" + std::string(100'000, 'X') + std::string("\0,FW1:1", 7));
    told = {};
    told.pntdSoftware = std::string(16, 'X');
    expectToldToUnit(told);
}

TEST_F(ServerVersions, AnAnswerIsNotTakenBeforeTheServerRuns) {
    bench.configuration().set("ZephonServer", "PARAM_2", "FALSE");
    connectAll();
    receiveAnswer("PARTNUMBERS,SW1:S-1");
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    for (auto const& line : engineLines) {
        receiveLine(line, trevo);
    }
    expectToldToUnit({});
}

TEST_F(ServerVersions, PartNumbersAreAskedForASecondAfterTheStartAndThenEveryTenSeconds) {
    startAll();
    const CommandReader commands(bench, CommandReader::PartNumberRequests::Heard);
    awaitRound();
    const auto countAfter = [&](SteadyClock::duration time, std::string const& mark) {
        advance(time);
        awaitRound();
        auto last = ASPN2::CmdResponse().makeCommand(mark);
        server->sendCommandMessage(last);
        EXPECT_TRUE(commands.waitFor(mark)) << commands.report();
        return commands.count(partNumbersRequest);
    };
    EXPECT_EQ(0U, countAfter(999ms, "A"));
    EXPECT_EQ(1U, countAfter(1ms, "B"));
    EXPECT_EQ(1U, countAfter(9999ms, "C"));
    EXPECT_EQ(2U, countAfter(1ms, "D"));
    EXPECT_EQ(3U, countAfter(10s, "E"));
    for (auto const& record : commands.all()) {
        if (record.text == partNumbersRequest) {
            EXPECT_EQ(bench::CommandRecord::command, record.type);
            EXPECT_EQ(49, record.header.source);
            EXPECT_EQ(0, record.commandedDeviceId);
        }
    }
}

TEST_F(ServerVersions, TheThreadEndsWhenTheNumbersAreKnownAndIsNotNeededAgain) {
    startAll();
    EXPECT_TRUE(isAsking());
    receiveAnswer("PARTNUMBERS,SW1:S-1");
    EXPECT_TRUE(bench::holdsInTime([] { return !isAsking(); }));
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    EXPECT_TRUE(bench::holdsInTime([] { return !isAsking(); }));
}

TEST_F(ServerVersions, TheThreadEndsWithAStopAndAsksAnewAfterTheNextStart) {
    startAll();
    awaitRound();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    // Though its clock stands still. A thread that has been joined may be listed for a moment.
    EXPECT_TRUE(bench::holdsInTime([] { return !isAsking(); }));
    advance(1h);
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    const CommandReader commands(bench, CommandReader::PartNumberRequests::Heard);
    awaitRound();
    EXPECT_EQ(0U, commands.count(partNumbersRequest)) << commands.report();
    advance(1s);
    EXPECT_TRUE(commands.waitFor(partNumbersRequest)) << commands.report();
}

TEST_F(ServerVersions, ARequestIsToldWithDebugOn) {
    OutputCapture output;
    startWithDebug();
    awaitRound();
    advance(1s);
    EXPECT_TRUE(output.waitFor("Sending Command Message: REQUEST_PARTNUMBERS\n")) << output.text();
}

TEST_F(ServerVersions, ARequestThatCannotBePublishedIsReported) {
    startAll();
    awaitRound();
    // Without its topics it has no event log either; the reporter is the process's, though.
    ASSERT_EQ(ReturnCode::NO_ERROR, disconnect());
    ZephonServer reporting;
    ReturnCode::Value code = ReturnCode::IN_PROGRESS;
    reporting.Configure(file.c_str(), code);
    reporting.Framework_Connect(file.c_str(), code);
    ASSERT_EQ(ReturnCode::NO_ERROR, code);
    const EventReader events(bench);
    advance(1s);
    const auto event = events.waitFor("Could not publish Command");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    EXPECT_THAT(event->text, testing::MatchesRegex(
                                 ".*:ZephonServer: Could not publish Command for TOV = [0-9]+"));
    advance(10s);
    EXPECT_TRUE(bench::holdsInTime([&] {
        return events.count("Could not publish Command for") == 2;
    })) << events.report();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
}

TEST_F(ServerVersions, WhatIsRaisedWhileAskingIsAnEventAndEndsTheThread) {
    const auto startWith = [this](std::function<void()> trouble) {
        setTrouble(std::move(trouble));
        ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
        EXPECT_TRUE(bench::holdsInTime([] { return !isAsking(); }));
        EXPECT_EQ(ReportedState::RUNNING, state());
        ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    };
    connectAll();
    const EventReader events(bench);
    const std::string told = "ZephonServer: requestPartNumbersThread() EXCEPTION: ";
    startWith([] { throw std::runtime_error("the clock has stopped"); });
    const auto event = events.waitFor(told + "the clock has stopped");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    startWith([] { throw std::runtime_error(""); });
    startWith([] { throw 13; });
    EXPECT_TRUE(bench::holdsInTime([&] { return events.count(told + "<unknown>") == 2; }))
        << events.report();
}

// ---- Identifiers of the PNT device, from itself ---------------------------------------------

TEST_F(ServerVersions, TheDeviceIsAskedAtTheStartAndWithEachRequestUntilItHasTold) {
    startWithEngine();
    ASSERT_TRUE(waitForFrame(bench.unit(3), makeIdRequest())) << bench.report();
    EXPECT_EQ(4, bench.unit(3).frames(27530).front().frame.data.at(4)) << "behind the start";
    expectIdRequests(1);
    server->cbGssip(makeRecord(makeMark(583218), trevo));
    command(partNumbersRequest);
    ASSERT_TRUE(waitForFrame(bench.unit(3), makeIdRequest(583218))) << bench.report();
    server->cbGssip(makeRecord(makeMark(583219), trevo));
    command(partNumbersRequest);
    ASSERT_TRUE(waitForFrame(bench.unit(3), makeIdRequest(583219))) << bench.report();
    receiveIds(makeIds({"HW-1", "SN-1", "SW-1", "FW-1", "OS-1"}));
    server->cbGssip(makeRecord(makeMark(583220), trevo));
    command(partNumbersRequest);
    expectIdRequests(3);
    expectAnswers({"PARTNUMBERS,SW1:SW-1,FW1:FW-1,HWPN1:HW-1,HWSN1:SN-1,OS1:OS-1"});
}

TEST_F(ServerVersions, TheServersOwnRequestAsksTheDeviceToo) {
    startAll();
    ASSERT_TRUE(waitForFrame(bench.unit(3), makeIdRequest())) << bench.report();
    server->cbGssip(makeRecord(makeMark(583218), trevo));
    awaitRound();
    advance(1s);
    EXPECT_TRUE(waitForFrame(bench.unit(3), makeIdRequest(583218))) << bench.report();
}

TEST_F(ServerVersions, TheAnswerBearsTheCommandsIdentifierAndTopicZero) {
    startAll();
    receiveIds(makeIds({"", "", "SW-1", "", ""}));
    auto record = makeCommandRecord(partNumbersRequest, controller);
    record.command_identifier(77);
    server->cbCmd(record);
    const ResponseReader responses(bench);
    const auto answer = responses.waitFor("PARTNUMBERS,");
    ASSERT_TRUE(answer) << responses.report();
    EXPECT_EQ("PARTNUMBERS,SW1:SW-1,FW1:,HWPN1:,HWSN1:,OS1:", answer->text);
    EXPECT_EQ(77, answer->identifier);
    EXPECT_EQ(record.header().device_id(), answer->commandedDeviceId);
    EXPECT_EQ(0x03310200, answer->header.deviceId) << std::hex << answer->header.deviceId;
}

TEST_F(ServerVersions, OnlyTheWholeTextOfAServerIsTheCommand) {
    startAll();
    receiveIds(makeIds({"", "", "SW-1", "", ""}));
    command("REQUEST_PARTNUMBERS,1");
    command("REQUEST_PARTNUMBERS ");
    command(partNumbersRequest, humanInterface);
    expectAnswers({});
}

TEST_F(ServerVersions, TheIdentifiersAreCutAtTheirWidthAndAtTheFirstZero) {
    startAll();
    receiveIds(makeIds({"0123456789ABCDEF", std::string("SN\0-1", 5), "SW  ", " FW", ""}));
    command(partNumbersRequest);
    receiveIds(makeIds({"HW-2", "SN-2", "SW-2", "FW-2", "OS-2"}));
    command(partNumbersRequest);
    expectAnswers({"PARTNUMBERS,SW1:SW,FW1: FW,HWPN1:0123456789ABCDEF,HWSN1:SN,OS1:",
                   "PARTNUMBERS,SW1:SW-2,FW1:FW-2,HWPN1:HW-2,HWSN1:SN-2,OS1:OS-2"});
}

TEST_F(ServerVersions, IdentifiersOfAnotherLengthOrSourceAreNone) {
    startAll();
    const auto bytes = makeIds({"HW", "SN", "SW", "FW", "OS"}).encode();
    for (const std::size_t length : {std::size_t{10}, bytes.size() - 2, bytes.size() - 1}) {
        server->cbGssip(
            makeRecord({bytes.begin(), bytes.begin() + static_cast<long>(length)}, pntDevice));
    }
    auto longer = bytes;
    longer.resize(bytes.size() + 2);
    server->cbGssip(makeRecord(longer, pntDevice));
    longer.resize(65535);
    server->cbGssip(makeRecord(longer, pntDevice));
    receiveIds(makeIds({"HW", "SN", "SW", "FW", "OS"}), trevo);
    receiveIds(makeIds({"HW", "SN", "SW", "FW", "OS"}), halvorUnit);
    server->cbGssip(makeRecord(makeMark(583218), trevo));
    command(partNumbersRequest);
    expectIdRequests(2);
    expectAnswers({});
}

// ---- What is installed and what is announced ------------------------------------------------

TEST_F(ServerVersions, TheInstalledNumbersAreTheUnitsOnceTheyMatchWhatRuns) {
    utsname kernel{};
    ASSERT_EQ(0, uname(&kernel));
    bench.configuration().set("BSP", "sysinfo_release", kernel.release);
    bench.configuration().set("BSP", "sysinfo_version", kernel.version);
    OutputCapture output;
    bench.configuration().set("ZephonServer", "Debug", "TRUE");
    startWithEngine();
    ToldNumbers told;
    told.bsp = "074-8125-001";
    expectToldToUnit(told);
    EXPECT_EQ(0U, output.count("FPGA Buildstamp")) << output.text();
    EXPECT_EQ(0U, output.count("bsp_ver")) << output.text();
}

TEST_F(ServerVersions, WhatDoesNotMatchIsBlankAndToldWithDebugOn) {
    utsname kernel{};
    ASSERT_EQ(0, uname(&kernel));
    bench.configuration().set("VHDL", "timestamp", "2024-09-18T13:49:00Z");
    bench.configuration().set("BSP", "sysinfo_release", kernel.release);
    bench.configuration().set("APPS", "build", "another one");
    bench.configuration().set("ZephonServer", "Debug", "TRUE");
    OutputCapture output;
    startWithEngine();
    ToldNumbers told;
    told.vhdl.clear();
    told.application = "074-8125-600-D";  // EV does not fit
    expectToldToUnit(told);
    EXPECT_EQ(1U, output.count("ZephonServer: FPGA Buildstamp 202409-1813:48:00 doesn't match "
                               "version identifier 2024-09-18T13:49:00Z\n"))
        << output.text();
    EXPECT_EQ(1U, output.count(std::string("bsp_ver: sys:") + kernel.sysname +
                               " rel:" + kernel.release + " ver:" + kernel.version + "\n"))
        << output.text();
}

TEST_F(ServerVersions, AMissingKeyOrSectionLeavesItsNumberBlank) {
    bench.configuration().omit("VHDL", "pn");
    bench.configuration().omitContainer("BSP");
    OutputCapture output;
    startWithEngine();
    ToldNumbers told;
    told.vhdl.clear();
    expectToldToUnit(told);
    EXPECT_EQ(0U, output.count("bsp_ver")) << "debug is off\n" << output.text();
}

TEST_F(ServerVersions, TheInstalledNumbersAreAConfigurationEvent) {
    connectAll();
    const EventReader events(bench);
    const auto event = events.waitFor("PartNumbers");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(2, event->type);
    EXPECT_EQ(std::string("PartNumbers\nBSP PN: 074-8125-001\nBSP RL: 6.1.0-example\n"
                          "BSP VR: #1 SMP example\nVHD PN: 074-8125-002\n"
                          "VHD BT: 2024-09-18T13:48:00Z\nAPP PN: 074-8125-600\nAPP BD: ") +
                  ZEPHON_BUILD_VALUE + "\nAPP BT: 2024-09-18T13:48:46Z\nCONFIG: Example",
              event->text);
}

TEST_F(ServerVersions, WithoutItsFileTheConnectFailsAndTheRestIsDone) {
    bench.configuration().set("ZephonServer", "PARAM_2", "FALSE");
    bench.configuration().omit(ExampleConfiguration::File::Versions);
    ASSERT_EQ(ReturnCode::NO_ERROR, configure());
    EXPECT_EQ(ReturnCode::INVALID_CONFIG, connect());
    EXPECT_EQ(1U, bench.fpga().read32("Peripheral_Interface", 29 * 4)) << "the last step";
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    tellEngineLines();
    ToldNumbers told;
    told.vhdl.clear();
    told.application = "00000";
    expectToldToUnit(told);
}

TEST_F(ServerVersions, TheBuildIsReportedOnceAllServersHaveAnnouncedIt) {
    bench.configuration().set("APPS", "build", "R1.2");
    startAfterItsOwnAnnouncement();
    ToldNumbers told;
    told.application = "074-8125-600-D";
    receiveLine(announcement, 53);
    receiveLine(announcement, 47);
    receiveLine(otherAnnouncement, 48, EventTypes::FAILURE);
    receiveLine(otherAnnouncement, 47);
    expectToldToUnit(told);
    receiveLine(announcement, trevo);  // the third of three: any server counts
    told.systemBuild = "R1.2";
    expectToldToUnit(told);
}

TEST_F(ServerVersions, ASingleMismatchReportsADevelopmentBuild) {
    bench.configuration().set("APPS", "build", "R1.2");
    startAfterItsOwnAnnouncement();
    ToldNumbers told;
    told.application = "074-8125-600-D";
    receiveLine(otherAnnouncement, 53);
    receiveLine(announcement, 47);
    expectToldToUnit(told);
    receiveLine(announcement, 48);
    told.systemBuild = "DEVELOPMENT";
    expectToldToUnit(told);
}

TEST_F(ServerVersions, NothingIsAnnouncedBeforeTheServerRuns) {
    bench.configuration().set("ZephonServer", "PARAM_2", "FALSE");
    connectAll();
    for (const unsigned char source : std::vector<unsigned char>{47, 48, 53}) {
        receiveLine(announcement, source);
    }
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    tellEngineLines();
    expectToldToUnit({});
}

TEST_F(ServerVersions, AllThatIsKnownMayComeAtOnce) {
    startWithEngine();
    {
        SimultaneousCalls calls(100);
        calls.start([this](int i) { receiveAnswer("PARTNUMBERS,SW1:" + std::to_string(i)); });
        calls.start([this](int i) {
            receiveIds(makeIds({"HW", "SN", "SW-" + std::to_string(i), "FW", "OS"}));
        });
        calls.start([this](int i) { receiveLine(announcement, static_cast<unsigned char>(i)); });
        calls.start([this](int i) { server->cbGssip(makeRecord(makeMark(1000.0 + i), trevo)); });
        calls.start([this](int) { command(partNumbersRequest); });
    }
    ToldNumbers told;
    told.pntdSoftware = "99";
    told.systemBuild = ZEPHON_BUILD_VALUE;
    expectToldToUnit(told);
}

}  // namespace
