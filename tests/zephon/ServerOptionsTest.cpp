// Hot start, super user and output options of a server in this process: what commands store, send
// and answer, what the unit's status answers, and what the start makes of the settings file.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/system/EventReader.h"
#include "tests/system/ResponseReader.h"
#include "tests/zephon/CommandRecords.h"
#include "tests/zephon/GssipRecords.h"
#include "tests/zephon/UnitFrames.h"
#include "tests/zephon/ZephonServerFixture.h"
#include "zephon/GssipRoutes.h"
#include "zephon/StoredSettings.h"

namespace {

using bench::ExampleConfiguration;
using bench::UnitFrame;
using Bytes = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

constexpr std::uint16_t statusId = 27561;

// Message 27560 as it stands on the line.
const Bytes configRequest{0xFF, 0x81, 0xA8, 0x6B, 0x09, 0x00, 0x00, 0x90, 0x50, 0x82,
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00,
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF};
const Bytes unit2Com3IsSuperUser{0xFF, 0x81, 0xA8, 0x6B, 0x09, 0x00, 0x00, 0x90, 0x50, 0x82,
                                 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00,
                                 0x1A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xE4, 0xFF};
const Bytes noneIsSuperUser{0xFF, 0x81, 0xA8, 0x6B, 0x09, 0x00, 0x00, 0x90, 0x50, 0x82,
                            0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00,
                            0x08, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF6, 0xFF};
const Bytes unit4Com1IsZephon{0xFF, 0x81, 0xA8, 0x6B, 0x09, 0x00, 0x00, 0x90, 0x50, 0x82,
                              0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x00,
                              0x0C, 0x09, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF1, 0xF6};

/// Message 27560 that makes a unit and a port the super user.
Bytes superUserFrame(unsigned unitAndPort) {
    return UnitFrame{
        27560, 0x9000, {0, 0, 0, 0, 2, static_cast<std::uint16_t>(unitAndPort), 0, 0, 0}}
        .encode();
}

UnitFrame makeStatusFrame(std::uint16_t command, std::uint16_t unitAndPort, std::size_t words = 9) {
    UnitFrame frame{statusId, 0x8000, std::vector<std::uint16_t>(words)};
    if (words > 5) {
        frame.data[4] = command;
        frame.data[5] = unitAndPort;
    }
    return frame;
}

class ServerOptions : public ZephonServerFixture {
protected:
    void configureWith(std::string const& container, std::string const& key,
                       std::string const& value) {
        bench.configuration().set(container, key, value);
    }
    void startWithDebug() {
        configureWith("ZephonServer", "Debug", "true");
        startAll();
    }
    void command(std::string const& text) { server->cbCmd(makeCommandRecord(text, controller)); }
    void receive(Bytes const& bytes, unsigned char source = pntDevice) {
        server->cbGssip(makeRecord(bytes, source, 1));
    }

    std::filesystem::path settingsPath() {
        return bench.folder().path() /
               ExampleConfiguration::fileName(ExampleConfiguration::File::StoredSettings);
    }
    StoredSettings stored() { return StoredSettings(settingsPath().string()); }
    std::string settingsText() {
        std::ostringstream text;
        text << std::ifstream(settingsPath()).rdbuf();
        return text.str();
    }
    /// From now on nothing can be stored: a folder stands where a save wants its draft.
    void refuseSaves() { std::filesystem::create_directory(settingsPath() += ".new"); }

    /// What has come out of link 1 since the last call.
    std::vector<FrameBytes> sent() {
        const UnitFrame mark{15051, UnitFrame::linkReady, {++marks_}};
        server->sendToAllEmulators(makeGssipCopy(makeRecord(mark, trevo)));
        EXPECT_TRUE(waitForFrame(bench.unit(1), mark)) << bench.report();
        std::vector<FrameBytes> frames;
        for (auto const& logged : bench.unit(1).frames()) {
            frames.push_back(logged.bytes);
        }
        frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
        const auto last = std::find(frames.begin(), frames.end(), mark.encode());
        auto first = frames.begin();
        if (marks_ > 1) {
            const UnitFrame before{
                15051, UnitFrame::linkReady, {static_cast<std::uint16_t>(marks_ - 1)}};
            first = std::find(frames.begin(), frames.end(), before.encode()) + 1;
        }
        return {first, last};
    }
    /// What the start sends of the super user, behind the replay of the ports.
    std::vector<FrameBytes> sentLastByTheStart() {
        const auto frames = sent();
        constexpr std::ptrdiff_t count = 2;
        return frames.size() < count ? frames
                                     : std::vector<FrameBytes>{frames.end() - count, frames.end()};
    }

    /// Expects these answers and no others; ends the row with one more.
    void expectAnswers(Texts expected) {
        const ResponseReader responses(bench);
        auto last = ASPN2::CmdResponse().makeResponse(aspn2_msgs::idl::CommandResponse(), "LAST");
        server->sendResponseMessage(last);
        expected.emplace_back("LAST");
        ASSERT_TRUE(responses.waitFor("LAST")) << responses.report();
        Texts texts;
        for (auto const& response : responses.all()) {
            texts.push_back(response.text);
        }
        EXPECT_EQ(expected, texts);
    }

    /// Expects this event once, of this type.
    void expectEvent(std::string const& text, int type = 3) {
        const EventReader events(bench);
        const auto event = events.waitFor(text);
        ASSERT_TRUE(event) << events.report();
        EXPECT_EQ(type, event->type);
        EXPECT_EQ(1U, events.count(text)) << events.report();
    }
    /// Expects so many events with this text and no more; ends the row with one more.
    void expectEvents(std::size_t count, std::string const& text) {
        const EventReader events(bench);
        receive(makeStatusFrame(99, 0).encode());
        ASSERT_TRUE(events.waitFor("Configuration Status Received: 99")) << events.report();
        EXPECT_EQ(count, events.count(text)) << events.report();
    }

private:
    std::uint16_t marks_ = 0;
};

constexpr char const* readFromFile = " read from configuration file, defaulting to ";

// ---- What the start loads ------------------------------------------------------------------

TEST_F(ServerOptions, TheStartTellsTheUnitItsStoredSuperUserAndAsksForIt) {
    configureWith("ZP_Super_User", "zephonNumber", "2");
    configureWith("ZP_Super_User", "comPort", "COM3");
    startAll();
    EXPECT_EQ((std::vector<FrameBytes>{unit2Com3IsSuperUser, configRequest}), sentLastByTheStart());
}

TEST_F(ServerOptions, EachStartTellsTheSuperUserThatWasLoaded) {
    startAll();
    EXPECT_EQ((std::vector<FrameBytes>{noneIsSuperUser, configRequest}), sentLastByTheStart());
    command("SET_ZEPHON_SUPER_USER,2,COM3");
    EXPECT_EQ((std::vector<FrameBytes>{unit2Com3IsSuperUser, configRequest}), sent());
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    EXPECT_EQ((std::vector<FrameBytes>{noneIsSuperUser, configRequest}), sent());
}

TEST_F(ServerOptions, ASuperUserBeyondTheLastUnitIsRepairedAndReported) {
    OutputCapture output;
    configureWith("ZP_Super_User", "zephonNumber", "5");
    configureWith("ZP_Super_User", "comPort", "COM9");
    startWithDebug();
    EXPECT_EQ((std::vector<FrameBytes>{noneIsSuperUser, configRequest}), sentLastByTheStart());
    const std::string text =
        std::string("ZephonServer: Invalid ZP number (5)") + readFromFile + "NONE";
    expectEvent(text);
    // The server may also hear its own event, and tell that in a line that ends with the text.
    EXPECT_EQ(1U, output.count("\n" + text + "\n")) << output.text();
}

TEST_F(ServerOptions, ANegativeSuperUserCountsAsNone) {
    configureWith("ZP_Super_User", "zephonNumber", "-3");
    startAll();
    EXPECT_EQ((std::vector<FrameBytes>{noneIsSuperUser, configRequest}), sentLastByTheStart());
    expectEvents(0, "Invalid ZP");
}

TEST_F(ServerOptions, ASuperUserOnAnUnknownPortIsMovedToCom1AndReported) {
    configureWith("ZP_Super_User", "zephonNumber", "4");
    configureWith("ZP_Super_User", "comPort", "com2");
    startAll();
    EXPECT_EQ((std::vector<FrameBytes>{superUserFrame(4 | 1 << 3), configRequest}),
              sentLastByTheStart());
    expectEvent(std::string("ZephonServer: Invalid ZP COM port (com2)") + readFromFile + "COM1");
}

TEST_F(ServerOptions, AHotStartThatIsWrongInAllValuesIsReportedForEach) {
    configureWith("ZP_Hot_Start", "zephonNumber", "0");
    configureWith("ZP_Hot_Start", "comPort", "COM4");
    configureWith("ZP_Hot_Start", "HSType", "lnav");
    startAll();
    expectEvent(std::string("ZephonServer: Invalid ZP number (0)") + readFromFile + "ZP 1");
    expectEvent(std::string("ZephonServer: Invalid ZP COM port (COM4)") + readFromFile + "COM1");
    expectEvent(std::string("ZephonServer: Invalid HS type (lnav)") + readFromFile + "BOTH");
}

TEST_F(ServerOptions, ValuesThatAreMissingOrNoNumbersNeverFailTheStart) {
    configureWith("ZP_Hot_Start", "zephonNumber", "many");
    bench.configuration().omit("ZP_Hot_Start", "comPort");
    configureWith("ZP_Hot_Start", "HSType", std::string(5000, 'x'));
    bench.configuration().omit("ZP_Super_User", "zephonNumber");
    bench.configuration().omit("ZP_Super_User", "comPort");
    startAll();
    EXPECT_EQ((std::vector<FrameBytes>{noneIsSuperUser, configRequest}), sentLastByTheStart());
    expectEvent(std::string("ZephonServer: Invalid ZP number (0)") + readFromFile + "ZP 1");
}

TEST_F(ServerOptions, AMissingFileFailsTheConnectionAndLeavesTheRest) {
    bench.configuration().omit(ExampleConfiguration::File::StoredSettings);
    ASSERT_EQ(ReturnCode::NO_ERROR, configure());
    ASSERT_EQ(ReturnCode::INVALID_CONFIG, connect());
    EXPECT_EQ(1U, bench.fpga().read32("Peripheral_Interface", 29 * 4))
        << "switched on all the same";
    // Who starts it all the same has a server that tells of no super user.
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    EXPECT_EQ((std::vector<FrameBytes>{superUserFrame(0), configRequest}), sentLastByTheStart());
    command("QUERY_ZEPHON_HOT_START");
    command("QUERY_ZP_OUTPUT_CONFIG,1,COM1");
    command("SET_ZEPHON_SUPER_USER,1,COM1");
    server->cbCmd(makeCommandRecord("INIT_HOTSTART", humanInterface));
    expectAnswers({"CURRENT_ZEPHON_HOT_START,0,,", "CURRENT_ZP_OUTPUT_CONFIG,0,,",
                   "SET_ZEPHON_SUPER_USER_NACK", "INIT_HOTSTART_ACK"});
    EXPECT_EQ(std::vector<FrameBytes>(), sent()) << "a hot start of unit 0 reaches nobody";
}

TEST_F(ServerOptions, ADamagedFileFailsTheConnection) {
    bench.configuration().replace(ExampleConfiguration::File::StoredSettings,
                                  "<MX_Configurations><Super_User><Name>ZP_Super");
    ASSERT_EQ(ReturnCode::NO_ERROR, configure());
    EXPECT_EQ(ReturnCode::INVALID_CONFIG, connect());
}

TEST_F(ServerOptions, AMissingContainerFailsTheConnection) {
    for (std::string const container : {"ZP_Super_User", "ZP_Hot_Start"}) {
        bench.configuration() = ExampleConfiguration(options().settings);
        bench.configuration().omitContainer(container);
        server = std::make_unique<ZephonServer>();
        ASSERT_EQ(ReturnCode::NO_ERROR, configure());
        EXPECT_EQ(ReturnCode::INVALID_CONFIG, connect()) << container;
    }
}

TEST_F(ServerOptions, TheHotStartIsLoadedAlsoWithoutTheSuperUser) {
    bench.configuration().omitContainer("ZP_Super_User");
    configureWith("ZP_Hot_Start", "zephonNumber", "0");
    ASSERT_EQ(ReturnCode::NO_ERROR, configure());
    ASSERT_EQ(ReturnCode::INVALID_CONFIG, connect());
    expectEvent(std::string("ZephonServer: Invalid ZP number (0)") + readFromFile + "ZP 1");
}

// ---- Hot start -----------------------------------------------------------------------------

TEST_F(ServerOptions, AHotStartIsStoredApartFromWhatIsAnswered) {
    startAll();
    command("SET_ZEPHON_HOT_START,3,COM2,LNAV");
    command("QUERY_ZEPHON_HOT_START");
    expectAnswers({"CURRENT_ZEPHON_HOT_START,1,COM1,BOTH", "CURRENT_ZEPHON_HOT_START,1,COM1,BOTH"});
    const auto set = stored().readHotStart("Hot_Start");
    ASSERT_TRUE(set);
    EXPECT_EQ(3, set->zephonNumber);
    EXPECT_EQ("COM2", set->comPort);
    EXPECT_EQ("LNAV", set->type);
    const auto answered = stored().readHotStart("ZP_Hot_Start");
    ASSERT_TRUE(answered);
    EXPECT_EQ(1, answered->zephonNumber);
}

TEST_F(ServerOptions, TheAnswerTellsAHotStartAsItIsStoredAndNotRepaired) {
    configureWith("ZP_Hot_Start", "zephonNumber", "7");
    configureWith("ZP_Hot_Start", "HSType", "both");
    startAll();
    command("QUERY_ZEPHON_HOT_START,whatever");
    expectAnswers({"CURRENT_ZEPHON_HOT_START,7,COM1,both"});
}

TEST_F(ServerOptions, AHotStartThatIsNoRowIsReportedAndStoresNothing) {
    startAll();
    const std::string before = settingsText();
    const Texts bad{"SET_ZEPHON_HOT_START",
                    "SET_ZEPHON_HOT_START,2",
                    "SET_ZEPHON_HOT_START,2,COM2",
                    "SET_ZEPHON_HOT_START,x,COM2,LNAV",
                    "SET_ZEPHON_HOT_START,2,,LNAV",
                    "SET_ZEPHON_HOT_START,2,COM2, ",
                    "SET_ZEPHON_HOT_START,99999999999999999999,COM2,LNAV"};
    for (auto const& text : bad) {
        command(text);
    }
    expectAnswers(Texts(bad.size(), "CURRENT_ZEPHON_HOT_START,1,COM1,BOTH"));
    EXPECT_EQ(before, settingsText());
    expectEvents(bad.size(), "ZephonServer: writeComParams() invalid_argument EXCEPTION: ");
}

TEST_F(ServerOptions, AHotStartWithoutItsContainerIsReported) {
    bench.configuration().omitContainer("Hot_Start");
    startAll();
    command("SET_ZEPHON_HOT_START,3,COM2,LNAV");
    expectEvent(
        "ZephonServer: writeComParams() invalid_argument EXCEPTION: Unable to open Hot_Start");
    expectAnswers({"CURRENT_ZEPHON_HOT_START,1,COM1,BOTH"});
}

TEST_F(ServerOptions, AHotStartThatCannotBeWrittenIsReported) {
    startAll();
    refuseSaves();
    const std::string before = settingsText();
    command("SET_ZEPHON_HOT_START,3,COM2,LNAV");
    expectEvent(
        "ZephonServer: writeComParams() invalid_argument EXCEPTION: Unable to write Hot_Start");
    EXPECT_EQ(before, settingsText());
}

// ---- Super user ----------------------------------------------------------------------------

TEST_F(ServerOptions, ASuperUserIsStoredAndSentAndAcknowledged) {
    OutputCapture output;
    startWithDebug();
    sent();
    command("SET_ZEPHON_SUPER_USER,2,COM3");
    EXPECT_EQ((std::vector<FrameBytes>{unit2Com3IsSuperUser, configRequest}), sent());
    const auto superUser = stored().readSuperUser("ZP_Super_User");
    ASSERT_TRUE(superUser);
    EXPECT_EQ(2, superUser->zephonNumber);
    EXPECT_EQ("COM3", superUser->comPort);
    EXPECT_EQ(1U, output.count("Sending Command Configuration: 2, 3\n")) << output.text();
    expectAnswers({"SET_ZEPHON_SUPER_USER_ACK"});
}

TEST_F(ServerOptions, NobodyIsSuperUserByTheWordNone) {
    configureWith("ZP_Super_User", "zephonNumber", "3");
    startAll();
    sent();
    command("SET_ZEPHON_SUPER_USER,NONE,COM1");
    EXPECT_EQ((std::vector<FrameBytes>{noneIsSuperUser, configRequest}), sent());
    EXPECT_EQ(0, stored().readSuperUser("ZP_Super_User")->zephonNumber);
    expectAnswers({"SET_ZEPHON_SUPER_USER_ACK"});
}

TEST_F(ServerOptions, AnUnknownPortIsStoredAsGivenAndSentAsNone) {
    startAll();
    sent();
    command("SET_ZEPHON_SUPER_USER,2,PORT<&>\xC3\x9C");
    EXPECT_EQ((std::vector<FrameBytes>{superUserFrame(2), configRequest}), sent());
    EXPECT_EQ("PORT<&>\xC3\x9C", stored().readSuperUser("ZP_Super_User")->comPort);
    command("SET_ZEPHON_SUPER_USER,2,COM3");
    EXPECT_EQ((std::vector<FrameBytes>{unit2Com3IsSuperUser, configRequest}), sent());
    expectAnswers({"SET_ZEPHON_SUPER_USER_ACK", "SET_ZEPHON_SUPER_USER_ACK"});
}

TEST_F(ServerOptions, ASuperUserThatIsNoRowIsRefusedAndChangesNothing) {
    startAll();
    sent();
    const std::string before = settingsText();
    const Texts bad{"SET_ZEPHON_SUPER_USER",          "SET_ZEPHON_SUPER_USER,1",
                    "SET_ZEPHON_SUPER_USER,NONE",     "SET_ZEPHON_SUPER_USER,1,",
                    "SET_ZEPHON_SUPER_USER,1, ",      "SET_ZEPHON_SUPER_USER,,COM1",
                    "SET_ZEPHON_SUPER_USER,none,COM1"};
    for (auto const& text : bad) {
        command(text);
    }
    EXPECT_EQ(std::vector<FrameBytes>(), sent());
    EXPECT_EQ(before, settingsText());
    expectAnswers(Texts(bad.size(), "SET_ZEPHON_SUPER_USER_NACK"));
    expectEvents(bad.size(), "ZephonServer: setZephonSuperUser() invalid_argument EXCEPTION: ");
}

TEST_F(ServerOptions, ASuperUserThatCannotBeStoredIsRefusedAndNotSent) {
    startAll();
    sent();
    refuseSaves();
    const std::string before = settingsText();
    command("SET_ZEPHON_SUPER_USER,2,COM3");
    EXPECT_EQ(std::vector<FrameBytes>(), sent());
    EXPECT_EQ(before, settingsText());
    expectEvent(
        "ZephonServer: setZephonSuperUser() invalid_argument EXCEPTION: "
        "Unable to write ZP_Super_User");
    expectAnswers({"SET_ZEPHON_SUPER_USER_NACK"});
}

TEST_F(ServerOptions, AQueryAsksTheUnitAndIsAnsweredAgainByItsStatus) {
    startAll();
    sent();
    auto query = makeCommandRecord("QUERY_ZEPHON_SUPER_USER", controller);
    query.command_identifier(4711);
    server->cbCmd(query);
    EXPECT_EQ(std::vector<FrameBytes>{configRequest}, sent());
    receive(makeStatusFrame(1, 3 | 2 << 3).encode());
    receive(makeStatusFrame(1, 1 | 1 << 3).encode());
    const ResponseReader responses(bench);
    const auto answer = responses.waitFor("CURRENT_");
    ASSERT_TRUE(answer) << responses.report();
    EXPECT_EQ("CURRENT_ZEPHON_SUPER_USER,3,COM2", answer->text);
    EXPECT_EQ(4711, answer->identifier);
    EXPECT_EQ(query.header().device_id(), answer->commandedDeviceId);
    expectAnswers({"QUERY_ZEPHON_SUPER_USER_ACK", "CURRENT_ZEPHON_SUPER_USER,3,COM2"});
    expectEvent("ZephonServer: Configuration Status Received: CURRENT_ZEPHON_SUPER_USER,3,COM2", 2);
    expectEvent("ZephonServer: Configuration Status Received: CURRENT_ZEPHON_SUPER_USER,1,COM1", 2);
}

TEST_F(ServerOptions, ASetIsAnsweredAgainByTheUnitsStatus) {
    startAll();
    command("SET_ZEPHON_SUPER_USER,2,COM3");
    receive(makeStatusFrame(1, 0x1A).encode());
    expectAnswers({"SET_ZEPHON_SUPER_USER_ACK", "CURRENT_ZEPHON_SUPER_USER,2,COM3"});
}

TEST_F(ServerOptions, AStatusThatNobodyAskedForIsOnlyAnEvent) {
    OutputCapture output;
    startWithDebug();
    receive(makeStatusFrame(1, 5 | 1 << 3).encode());
    const std::string text =
        "ZephonServer: Configuration Status Received: CURRENT_ZEPHON_SUPER_USER,NONE,COM1";
    expectEvent(text, 2);
    EXPECT_EQ(1U, output.count("\n" + text + "\n")) << output.text();
    expectAnswers({});
}

TEST_F(ServerOptions, AStatusOfAnotherCommandLeavesTheQueryOpen) {
    startAll();
    command("QUERY_ZEPHON_SUPER_USER");
    receive(makeStatusFrame(3, 0x1A).encode());
    receive(makeStatusFrame(255, 0x1A).encode());
    expectEvent("ZephonServer: Configuration Status Received: 3", 2);
    expectEvent("ZephonServer: Configuration Status Received: 255", 2);
    receive(makeStatusFrame(1, 0).encode());
    expectAnswers({"QUERY_ZEPHON_SUPER_USER_ACK", "CURRENT_ZEPHON_SUPER_USER,NONE,COM1"});
}

TEST_F(ServerOptions, AStatusCutAnywhereIsIgnoredUntilItIsWhole) {
    startAll();
    command("QUERY_ZEPHON_SUPER_USER");
    const auto whole = makeStatusFrame(1, 0x1A).encode();
    ASSERT_EQ(30U, whole.size());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Bytes bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        bytes.shrink_to_fit();
        receive(bytes);
    }
    receive(whole);
    expectAnswers({"QUERY_ZEPHON_SUPER_USER_ACK", "CURRENT_ZEPHON_SUPER_USER,2,COM3"});
    expectEvents(1, "Configuration Status Received: CURRENT_");
}

TEST_F(ServerOptions, AStatusThatIsLongerCounts) {
    startAll();
    for (const std::size_t words : {9U, 10U, 200U, 32000U}) {
        receive(makeStatusFrame(1, static_cast<std::uint16_t>(1 | 2 << 3), words).encode());
    }
    expectEvents(4, "Configuration Status Received: CURRENT_ZEPHON_SUPER_USER,1,COM2");
}

TEST_F(ServerOptions, AStatusInAWrapperOrOfAnotherSourceIsNone) {
    startAll();
    command("QUERY_ZEPHON_SUPER_USER");
    for (std::size_t words = 0; words <= 12; ++words) {
        receive(wrap(27553, 1, makeStatusFrame(1, 0x1A, words)).encode());
    }
    for (const unsigned char source : Bytes{trevo, halvorUnit, 46, 48}) {
        receive(makeStatusFrame(1, 0x1A).encode(), source);
    }
    receive(makeStatusFrame(1, 0x09).encode());
    expectAnswers({"QUERY_ZEPHON_SUPER_USER_ACK", "CURRENT_ZEPHON_SUPER_USER,1,COM1"});
}

// ---- Output options ------------------------------------------------------------------------

TEST_F(ServerOptions, CapabilitiesAreStoredSentAndAnswered) {
    OutputCapture output;
    startWithDebug();
    sent();
    command("SET_ZP_OUTPUT_CONFIG,4,COM1,ZEPHON");
    EXPECT_EQ(std::vector<FrameBytes>{unit4Com1IsZephon}, sent());
    command("QUERY_ZP_OUTPUT_CONFIG,4,COM1");
    EXPECT_EQ("ZEPHON", stored().readCapabilities("ZP4COM1")->receiverCapabilities);
    EXPECT_EQ(1U, output.count("Sending Option Configuration: 4, COM1, ZEPHON\n")) << output.text();
    EXPECT_LE(2U, output.count("ZP_OUTPUT_CONFIG\nZPNum: 4\nZPCOM: COM1\n"
                               "receiverCapabilities: ZEPHON\n"))
        << output.text();
    expectAnswers(
        {"CURRENT_ZP_OUTPUT_CONFIG,4,COM1,ZEPHON", "CURRENT_ZP_OUTPUT_CONFIG,4,COM1,ZEPHON"});
}

TEST_F(ServerOptions, CapabilitiesThatAreNoRowChangeAndSendNothing) {
    startAll();
    sent();
    const std::string before = settingsText();
    command("SET_ZP_OUTPUT_CONFIG,1,COM1,zephon");
    command("SET_ZP_OUTPUT_CONFIG,1,COM1");
    command("SET_ZP_OUTPUT_CONFIG,1,COM1,");
    command("SET_ZP_OUTPUT_CONFIG,5,COM1,ZEPHON");
    command("SET_ZP_OUTPUT_CONFIG,1,COM4,ZEPHON");
    command("SET_ZP_OUTPUT_CONFIG,_Super,_User,ZEPHON");
    command("SET_ZP_OUTPUT_CONFIG");
    command("QUERY_ZP_OUTPUT_CONFIG,1");
    EXPECT_EQ(std::vector<FrameBytes>(), sent());
    EXPECT_EQ(before, settingsText());
    const std::string current = "CURRENT_ZP_OUTPUT_CONFIG,1,COM1,CORVANE";
    const std::string empty = "CURRENT_ZP_OUTPUT_CONFIG,0,,";
    expectAnswers({current, current, current, empty, empty, "CURRENT_ZP_OUTPUT_CONFIG,0,COM1,",
                   empty, empty});
}

TEST_F(ServerOptions, CapabilitiesWithoutTheirContainerAreReportedAndNotSent) {
    startAll();
    sent();
    std::filesystem::remove(settingsPath());
    command("SET_ZP_OUTPUT_CONFIG,3,COM2,ZEPHON");
    EXPECT_EQ(std::vector<FrameBytes>(), sent());
    EXPECT_FALSE(std::filesystem::exists(settingsPath()));
    expectEvent("ZephonServer: setZephonOutputConfig() EXCEPTION: Unable to open ZP3COM2");
    expectAnswers({"CURRENT_ZP_OUTPUT_CONFIG,0,,"});
}

TEST_F(ServerOptions, CapabilitiesThatCannotBeWrittenAreReportedAndSent) {
    startAll();
    sent();
    refuseSaves();
    command("SET_ZP_OUTPUT_CONFIG,4,COM1,ZEPHON");
    EXPECT_EQ(std::vector<FrameBytes>{unit4Com1IsZephon}, sent());
    expectEvent("ZephonServer: setZephonOutputConfig() EXCEPTION: Unable to write ZP4COM1");
    expectAnswers({"CURRENT_ZP_OUTPUT_CONFIG,4,COM1,CORVANE"});
}

// ---- Hostile texts -------------------------------------------------------------------------

TEST_F(ServerOptions, HostileTextsLeaveTheFileReadable) {
    startAll();
    const Texts verbs{"SET_ZEPHON_HOT_START",    "SET_ZEPHON_SUPER_USER",
                      "SET_ZP_OUTPUT_CONFIG",    "QUERY_ZEPHON_HOT_START",
                      "QUERY_ZEPHON_SUPER_USER", "QUERY_ZP_OUTPUT_CONFIG"};
    const Texts arguments{std::string(100'000, ','),
                          ",1," + std::string(50'000, 'x') + "," + std::string(40'000, 'y'),
                          ",1,]]>,</HSType>",
                          ",1,\x01\x7F\xFF,\xC0\x80",
                          std::string(",1,COM\0", 7) + "1,BOTH",
                          ",-99999999999,COM1,BOTH"};
    for (auto const& verb : verbs) {
        for (auto const& argument : arguments) {
            command(verb + argument);
        }
    }
    EXPECT_TRUE(stored().readHotStart("Hot_Start"));
    EXPECT_TRUE(stored().readSuperUser("ZP_Super_User"));
    command("SET_ZEPHON_SUPER_USER,2,COM3");
    command("SET_ZEPHON_HOT_START,2,COM3,MNAV");
    EXPECT_EQ(2, stored().readSuperUser("ZP_Super_User")->zephonNumber);
    EXPECT_EQ("COM3", stored().readSuperUser("ZP_Super_User")->comPort);
    EXPECT_EQ("MNAV", stored().readHotStart("Hot_Start")->type);
}

TEST_F(ServerOptions, CommandsAndStatusesOfManyThreadsDoNotDisturbEachOther) {
    startAll();
    std::vector<std::thread> threads;
    for (const char unit : {'1', '2', '3', '4'}) {
        threads.emplace_back([this, unit] {
            for (int i = 0; i < 5; ++i) {
                command(std::string("SET_ZP_OUTPUT_CONFIG,") + unit + ",COM1,ZEPHON");
                command(std::string("SET_ZEPHON_HOT_START,") + unit + ",COM1,LNAV");
                command("QUERY_ZEPHON_SUPER_USER");
                receive(makeStatusFrame(1, 0x09).encode());
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (const char unit : {'1', '2', '3', '4'}) {
        const auto key = std::string("ZP") + unit + "COM1";
        EXPECT_EQ("ZEPHON", stored().readCapabilities(key)->receiverCapabilities);
    }
    EXPECT_EQ("LNAV", stored().readHotStart("Hot_Start")->type);
}

}  // namespace
