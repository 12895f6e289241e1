// What commands do to the ports of the virtual units: to the file, on link 1, and as answers; and
// what the server replays when it connects.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/StringUtils.h"
#include "tests/system/EventReader.h"
#include "tests/system/ResponseReader.h"
#include "tests/zephon/CommandRecords.h"
#include "tests/zephon/ZephonServerFixture.h"
#include "zephon/StoredSettings.h"

namespace {

using bench::ExampleConfiguration;
using bench::UnitFrame;
using testing::HasSubstr;
using Words = std::vector<std::uint16_t>;
using Places = std::map<std::size_t, std::uint16_t>;

constexpr std::uint16_t portSetup = 5331;
constexpr std::uint16_t messageConnects = 30001;

/// A message as a virtual unit gets it; words that are not given are 0.
UnitFrame makeSetting(std::uint16_t unit, std::uint16_t id, Places const& words) {
    UnitFrame inner{id, 0x9000, Words(id == portSetup ? 50 : 85)};
    for (auto const& [place, word] : words) {
        inner.data.at(place) = word;
    }
    return wrap(27552, unit, inner);
}
UnitFrame makeSetup(std::uint16_t unit, Places const& words) {
    return makeSetting(unit, portSetup, words);
}
UnitFrame makeConnects(std::uint16_t unit, Places const& words) {
    return makeSetting(unit, messageConnects, words);
}

/// 5331 of the ports as they are shipped, and 5331 or 30001 of what they put out.
std::vector<UnitFrame> shipped(std::uint16_t unit, std::uint16_t port) {
    switch (port) {
        case 1:
            return {
                makeSetup(unit, {{18, 0xC280}, {20, 1}, {22, 6}, {25, 6}, {45, 1}, {47, 1}}),
                makeConnects(
                    unit, {{0, 2}, {2, 1}, {3, 1}, {4, 2}, {5, 5040}, {6, 1}, {7, 5044}, {8, 1}})};
        case 2:
            return {makeSetup(unit, {{18, 0xC200}, {20, 2}, {22, 6}, {25, 6}}),
                    makeConnects(unit, {{0, 2}, {2, 2}, {3, 2}})};
        default:
            return {makeSetup(unit, {{18, 0xC200}, {20, 3}, {22, 6}, {24, 2}, {25, 6}}),
                    makeSetup(unit, {{18, 0x4000}, {20, 3}, {24, 2}, {25, 6}, {37, 3}})};
    }
}

void append(std::vector<UnitFrame>& frames, std::vector<UnitFrame> const& more) {
    frames.insert(frames.end(), more.begin(), more.end());
}

class ServerPorts : public ZephonServerFixture {
protected:
    /// Starts a server that has nothing to replay: the walk over the ports ends at the first.
    void startWithoutReplay() {
        bench.configuration().omitContainer("ZP1COM1");
        startAll();
        responses_ = std::make_unique<ResponseReader>(bench);
    }
    void setDebug() { bench.configuration().set("ZephonServer", "Debug", "true"); }

    std::string path() const {
        return (std::filesystem::path(file).parent_path() /
                ExampleConfiguration::fileName(ExampleConfiguration::File::StoredSettings))
            .string();
    }
    std::string content() const {
        std::ifstream stream(path(), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }
    StoredPort storedPort(std::string const& key) const {
        return StoredSettings(path()).readPort(key).value_or(StoredPort());
    }
    StoredMessages storedMessages(std::string const& key) const {
        return StoredSettings(path()).readMessages(key).value_or(StoredMessages());
    }

    void command(std::string const& text) { server->cbCmd(makeCommandRecord(text, controller)); }

    /// Gives a command and returns its answer.
    std::string answer(std::string const& text) {
        command(text);
        ++answers_;
        if (!responses_->waitForCount(answers_)) {
            return "no answer";
        }
        return responses_->all()[answers_ - 1].text;
    }

    /// Expects these settings on link 1 and no others, in this order, once another message has
    /// followed them.
    void expectSettings(std::vector<UnitFrame> const& expected) {
        const UnitFrame last{5047, 0x9000, {1}};
        server->cbGssip(makeRecord(last, trevo));
        ASSERT_TRUE(waitForFrame(bench.unit(1), last)) << bench.report();
        std::vector<FrameBytes> frames;
        for (auto const& logged : bench.unit(1).frames(27552)) {
            if (isSetting(logged.bytes)) {
                frames.push_back(logged.bytes);
            }
        }
        frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
        std::vector<FrameBytes> bytes;
        for (auto const& frame : expected) {
            bytes.push_back(frame.encode());
        }
        EXPECT_EQ(bytes, frames) << bench.report();
        EXPECT_EQ(0U, bench.virtualUnits().defects()) << bench.report();
    }

    std::unique_ptr<ResponseReader> responses_;

private:
    std::size_t answers_ = 0;
};

// ---- Sets ---------------------------------------------------------------------------------

TEST_F(ServerPorts, APortIsStoredSentAndAnswered) {
    startWithoutReplay();
    EXPECT_EQ("CURRENT_ZEPHON_COM,2,COM1,115200,Odd,10 PPS UTC,300,Even,On,GPS",
              answer("SET_ZEPHON_COM,2,COM1,115200,Odd,10 PPS UTC,300,Even,On,GPS"));
    const auto port = storedPort("ZP2COM1");
    EXPECT_EQ(2, port.zephonNumber);
    EXPECT_EQ("COM1", port.comPort);
    EXPECT_EQ(115200, port.transBaud);
    EXPECT_EQ("Odd", port.transParity);
    EXPECT_EQ("10 PPS UTC", port.ppsOut);
    EXPECT_EQ(300, port.recBaud);
    EXPECT_EQ("Even", port.recParity);
    EXPECT_EQ("On", port.com2Redundant);
    EXPECT_EQ("GPS", port.solutionSource);
    EXPECT_EQ(19200, storedPort("ZP3COM1").transBaud) << "the other ports keep what they have";
    EXPECT_EQ("5040,5044", storedMessages("ZP2COM1").messageConnects);
    expectSettings(
        {makeSetup(2, {{18, 0xC280}, {20, 1}, {22, 1}, {23, 2}, {25, 11}, {26, 1}, {45, 3}})});
}

TEST_F(ServerPorts, AnIcdOutputIsStoredAndSentAsTwoMessages) {
    startWithoutReplay();
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,4,COM3,153D,5040,65535",
              answer("SET_ZEPHON_MESSAGE_OUTPUT,4,COM3,153D,5040,65535"));
    EXPECT_EQ("153D", storedMessages("ZP4COM3").mode);
    EXPECT_EQ("5040,65535", storedMessages("ZP4COM3").messageConnects);
    expectSettings(
        {makeSetup(4, {{18, 0x4000}, {20, 3}, {25, 6}}),
         makeConnects(4, {{0, 2}, {2, 4}, {3, 4}, {4, 2}, {5, 5040}, {6, 4}, {7, 65535}, {8, 4}})});
}

TEST_F(ServerPorts, NoneStoresNoneAndSendsNoEntries) {
    startWithoutReplay();
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,2,COM1,153D,none",
              answer("SET_ZEPHON_MESSAGE_OUTPUT,2,COM1,153D,none"));
    EXPECT_EQ("none", storedMessages("ZP2COM1").messageConnects);
    expectSettings({makeSetup(2, {{18, 0x4000}, {20, 1}, {25, 6}}),
                    makeConnects(2, {{0, 2}, {2, 1}, {3, 1}})});
}

TEST_F(ServerPorts, AnNmeaOutputIsOneMessageAndItsEighthSentenceHasNoPlace) {
    startWithoutReplay();
    const std::string sentences = "DTM,GBS,GGA,GLL,GNS,GRS,GSA,GST";
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,3,COM2,NMEA," + sentences,
              answer("SET_ZEPHON_MESSAGE_OUTPUT,3,COM2,NMEA," + sentences));
    EXPECT_EQ(sentences, storedMessages("ZP3COM2").messageConnects);
    expectSettings({makeSetup(3, {{18, 0x4000},
                                  {20, 2},
                                  {24, 2},
                                  {25, 6},
                                  {37, 1},
                                  {38, 2},
                                  {39, 3},
                                  {40, 4},
                                  {41, 5},
                                  {42, 6},
                                  {43, 7}})});
}

TEST_F(ServerPorts, APortTakesItsProtocolFromWhatItPutsOut) {
    startWithoutReplay();
    answer("SET_ZEPHON_COM,2,COM3,9600,None,Off,9600,None,Off,GPS");
    expectSettings({makeSetup(2, {{18, 0xC200}, {20, 3}, {24, 2}})});
}

TEST_F(ServerPorts, BadFieldsChangeNeitherFileNorUnitAndGetANack) {
    startWithoutReplay();
    const std::string before = content();
    for (std::string const values :
         {",5,COM1,9600,None,Off,9600,None,Off,GPS", ",0,COM1,9600,None,Off,9600,None,Off,GPS",
          ",-1,COM1,9600,None,Off,9600,None,Off,GPS", ",,COM1,9600,None,Off,9600,None,Off,GPS",
          ",2,COM4,9600,None,Off,9600,None,Off,GPS", ",2,COM1,14400,None,Off,9600,None,Off,GPS",
          ",2,COM1,9600,none,Off,9600,None,Off,GPS", ",2,COM1,9600,None,On,9600,None,Off,GPS",
          ",2,COM1,9600,None,Off,14400,None,Off,GPS", ",2,COM1,9600,None,Off,9600,Mark,Off,GPS",
          ",2,COM1,9600,None,Off,9600,None,on,GPS", ",2,COM1,9600,None,Off,9600,None,Off,gps",
          ",2,COM1,9600,None,Off,9600,None,Off,", ",2,COM1,9600,None,Off,9600,None,Off", ",2,COM1",
          ",", ""}) {
        EXPECT_EQ("SET_ZEPHON_COM_NACK", answer("SET_ZEPHON_COM" + values)) << values;
    }
    for (std::string const values :
         {",5,COM1,153D,none", ",0,COM1,153D,none", ",2,COM0,153D,none", ",2,COM1,153d,none",
          ",2,COM1,153D,65536", ",2,COM1,153D,-1", ",2,COM1,153D,5040,x", ",2,COM1,153D,GGA",
          ",2,COM1,NMEA,5040", ",2,COM1,NMEA,GGA,,ZDA", ",2,COM1,153D,", ",2,COM1,153D", ",2",
          ""}) {
        EXPECT_EQ("SET_ZEPHON_MESSAGE_OUTPUT_NACK", answer("SET_ZEPHON_MESSAGE_OUTPUT" + values))
            << values;
    }
    EXPECT_EQ(before, content());
    expectSettings({});
}

TEST_F(ServerPorts, HostileTextsInEveryFieldGetANack) {
    startWithoutReplay();
    const std::string before = content();
    const auto tryAll = [this](std::string const& good) {
        const auto fields = StringUtils::split(good, ',');
        for (std::size_t place = 1; place < fields.size(); ++place) {
            for (std::string const& text :
                 {std::string(100'000, '9'), std::string(100'000, ' '), std::string("\xC3\xA9"),
                  std::string("\xFF\xFE"), std::string(1, '\0'), std::string("%s%n"),
                  std::string("<a>&amp;"), std::string("-2147483649")}) {
                auto changed = fields;
                changed[place] = text;
                EXPECT_EQ(fields[0] + "_NACK", answer(StringUtils::join(changed, ',')))
                    << place << text.substr(0, 20);
            }
        }
    };
    tryAll("SET_ZEPHON_COM,2,COM1,9600,None,Off,9600,None,Off,GPS");
    tryAll("SET_ZEPHON_MESSAGE_OUTPUT,2,COM1,153D,5040,5044");
    tryAll("SET_ZEPHON_MESSAGE_OUTPUT,2,COM1,NMEA,GGA");
    EXPECT_EQ(before, content());
    expectSettings({});
}

TEST_F(ServerPorts, SurplusFieldsOfAPortAreLeftAlone) {
    startWithoutReplay();
    EXPECT_EQ("CURRENT_ZEPHON_COM,2,COM2,9600,None,Off,9600,None,Off,GPS",
              answer("SET_ZEPHON_COM,2,COM2,9600,None,Off,9600,None,Off,GPS," +
                     std::string(100'000, ',')));
    expectSettings({makeSetup(2, {{18, 0xC200}, {20, 2}})});
}

TEST_F(ServerPorts, AListOfManyMessagesIsStoredWholeAndFortyAreSent) {
    startWithoutReplay();
    std::string list = "7";
    for (int i = 1; i < 20'000; ++i) {
        list += ",7";
    }
    command("SET_ZEPHON_MESSAGE_OUTPUT,2,COM1,153D," + list);
    EXPECT_EQ(list, storedMessages("ZP2COM1").messageConnects);
    Places words = {{0, 2}, {2, 1}, {3, 1}, {4, 40}};
    for (std::size_t entry = 0; entry < 40; ++entry) {
        words[5 + 2 * entry] = 7;
        words[6 + 2 * entry] = 1;
    }
    expectSettings({makeSetup(2, {{18, 0x4000}, {20, 1}, {25, 6}}), makeConnects(2, words)});
}

// ---- Queries ------------------------------------------------------------------------------

TEST_F(ServerPorts, QueriesTellWhatIsStoredAndSendNothing) {
    startWithoutReplay();
    EXPECT_EQ("CURRENT_ZEPHON_COM,2,COM1,19200,None,1PPS UTC,19200,None,Off,Meridane",
              answer("QUERY_ZEPHON_COM,2,COM1"));
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,2,COM1,153D,5040,5044",
              answer("QUERY_ZEPHON_MESSAGE_OUTPUT,2,COM1,surplus"));
    expectSettings({});
}

TEST_F(ServerPorts, AQueryOfAPortThatIsNotThereIsAnsweredWithEmptyValues) {
    startWithoutReplay();
    for (std::string const port : {",9,COM1", ",2,COM9", ",2", ",", "", ",\xFF,\xFF", ",1,COM1"}) {
        EXPECT_EQ("CURRENT_ZEPHON_COM,0,,0,,,0,,,", answer("QUERY_ZEPHON_COM" + port)) << port;
        EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,0,,,",
                  answer("QUERY_ZEPHON_MESSAGE_OUTPUT" + port));
    }
    EXPECT_EQ("CURRENT_ZEPHON_COM,0,,0,,,0,,,",
              answer("QUERY_ZEPHON_COM," + std::string(100'000, '2') + ",COM1"));
    EXPECT_EQ("CURRENT_ZEPHON_COM,0,,0,,,0,,,",
              answer(std::string("QUERY_ZEPHON_COM,2,COM1\0", 24)));
    expectSettings({});
}

// ---- A COM2 that repeats COM1 -------------------------------------------------------------

TEST_F(ServerPorts, ASetOfARedundantCom2ChangesTheFileAndSendsNothing) {
    bench.configuration().set("ZP2COM1", "COM2_Redundant", "On");
    startWithoutReplay();
    EXPECT_EQ("CURRENT_ZEPHON_COM,2,COM2,300,Odd,Off,300,Odd,Off,GPS",
              answer("SET_ZEPHON_COM,2,COM2,300,Odd,Off,300,Odd,Off,GPS"));
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,2,COM2,153D,5044",
              answer("SET_ZEPHON_MESSAGE_OUTPUT,2,COM2,153D,5044"));
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,2,COM2,NMEA,GGA",
              answer("SET_ZEPHON_MESSAGE_OUTPUT,2,COM2,NMEA,GGA"));
    EXPECT_EQ(300, storedPort("ZP2COM2").transBaud);
    EXPECT_EQ("GGA", storedMessages("ZP2COM2").messageConnects);
    expectSettings({});
}

TEST_F(ServerPorts, TheReplayPassesOverARedundantCom2) {
    bench.configuration().set("ZP1COM1", "COM2_Redundant", "On");
    bench.configuration().omitContainer("ZP2COM1");
    startAll();
    std::vector<UnitFrame> expected = {
        makeSetup(1, {{18, 0xC280}, {20, 1}, {22, 6}, {25, 6}, {45, 1}}), shipped(1, 1)[1]};
    append(expected, shipped(1, 3));
    expectSettings(expected);
}

TEST_F(ServerPorts, InSmallLettersTheReplayPassesOverCom2AndASetSendsIt) {
    bench.configuration().set("ZP1COM1", "COM2_Redundant", "on");
    bench.configuration().omitContainer("ZP2COM1");
    startAll();
    command("SET_ZEPHON_COM,1,COM2,9600,None,Off,9600,None,Off,GPS");
    std::vector<UnitFrame> expected = {
        makeSetup(1, {{18, 0xC280}, {20, 1}, {22, 6}, {25, 6}, {45, 1}}), shipped(1, 1)[1]};
    append(expected, shipped(1, 3));
    expected.push_back(makeSetup(1, {{18, 0xC200}, {20, 2}}));
    expectSettings(expected);
}

// ---- The replay ---------------------------------------------------------------------------

TEST_F(ServerPorts, AllTwelvePortsAreReplayedInOrderAsTheFirstOnLinkOne) {
    connectAll();
    server->sendToEmulator(1, std::make_shared<TrevoComPortSetup>());
    EXPECT_TRUE(bench.unit(1).frames().empty()) << "nothing goes out before the start";
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    std::vector<UnitFrame> expected;
    for (std::uint16_t unit = 1; unit <= 4; ++unit) {
        for (std::uint16_t port = 1; port <= 3; ++port) {
            append(expected, shipped(unit, port));
        }
    }
    ASSERT_EQ(24U, expected.size());
    expected.push_back(makeSetup(1, {}));
    expectSettings(expected);
}

TEST_F(ServerPorts, OnlyAConnectReplaysAndNotASecondStart) {
    bench.configuration().omitContainer("ZP1COM2");
    startAll();
    expectSettings(shipped(1, 1));
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    server->cbGssip(makeRecord(UnitFrame{5048, 0x9000, {2}}, trevo));
    ASSERT_TRUE(waitForFrame(bench.unit(1), UnitFrame{5048, 0x9000, {2}})) << bench.report();
    expectSettings(shipped(1, 1));
}

TEST_F(ServerPorts, WhatWasSetIsReplayedByTheNextServer) {
    bench.configuration().omitContainer("ZP1COM2");
    startAll();
    command("SET_ZEPHON_COM,1,COM1,600,Odd,Off,600,Odd,Off,GPS");
    command("SET_ZEPHON_MESSAGE_OUTPUT,1,COM1,NMEA,ZDA");
    const UnitFrame last{5048, 0x9000, {1}};
    server->cbGssip(makeRecord(last, trevo));
    ASSERT_TRUE(waitForFrame(bench.unit(1), last)) << bench.report();
    const std::size_t before = bench.unit(1).frames().size();
    server.reset();
    server = std::make_unique<ZephonServer>();
    ReturnCode::Value code = ReturnCode::IN_PROGRESS;
    server->Configure(file.c_str(), code);
    ASSERT_EQ(ReturnCode::NO_ERROR, code);
    ASSERT_EQ(ReturnCode::NO_ERROR, connect());
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    server->cbGssip(makeRecord(UnitFrame{5048, 0x9000, {2}}, trevo));
    ASSERT_TRUE(waitForFrame(bench.unit(1), UnitFrame{5048, 0x9000, {2}})) << bench.report();
    const auto frames = bench.unit(1).frames();
    std::vector<FrameBytes> settings;
    for (std::size_t i = before; i < frames.size(); ++i) {
        if (frames[i].frame.id == 27552) {
            settings.push_back(frames[i].bytes);
        }
    }
    settings.erase(std::unique(settings.begin(), settings.end()), settings.end());
    EXPECT_EQ(
        (std::vector<FrameBytes>{
            makeSetup(1,
                      {{18, 0xC280}, {20, 1}, {22, 2}, {23, 1}, {24, 2}, {25, 2}, {26, 1}, {47, 1}})
                .encode(),
            makeSetup(1, {{18, 0x4000}, {20, 1}, {24, 2}, {25, 2}, {26, 1}, {37, 13}}).encode()}),
        settings)
        << bench.report();
}

TEST_F(ServerPorts, AMissingContainerEndsTheReplayAndNotTheConnect) {
    bench.configuration().omitContainer("ZP2COM2");
    testing::internal::CaptureStderr();
    startAll();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::ContainsRegex("[0-9]+ Invalid Serial Port : \n"));
    std::vector<UnitFrame> expected = shipped(1, 1);
    append(expected, shipped(1, 2));
    append(expected, shipped(1, 3));
    append(expected, shipped(2, 1));
    expectSettings(expected);
}

TEST_F(ServerPorts, AValueWithoutACodeEndsTheReplayThere) {
    bench.configuration().set("ZP1COM2", "transBaud", "14400");
    testing::internal::CaptureStderr();
    startAll();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::ContainsRegex("[0-9]+ Invalid Serial Baud Rate : 14400\n"));
    expectSettings(shipped(1, 1));
}

TEST_F(ServerPorts, AMessageIdentifierOutOfRangeEndsTheReplayThere) {
    bench.configuration().set("ZP1COM1", "messageConnects", "5040,65536");
    testing::internal::CaptureStderr();
    startAll();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::ContainsRegex("[0-9]+ Invalid\n"));
    expectSettings({shipped(1, 1)[0]});
}

TEST_F(ServerPorts, APortWithAnEmptyLastValueSendsItsOutputOnlyAndTheReplayGoesOn) {
    bench.configuration().set("ZP1COM1", "solutionSource", "");
    bench.configuration().set("ZP1COM2", "messageConnects", "");
    bench.configuration().omitContainer("ZP2COM1");
    startAll();
    std::vector<UnitFrame> expected = {shipped(1, 1)[1]};
    append(expected, shipped(1, 2));
    append(expected, shipped(1, 3));
    expectSettings(expected);
}

TEST_F(ServerPorts, AModeThatIsNoneSendsNoOutputAndTheReplayGoesOn) {
    bench.configuration().set("ZP1COM1", "solutionSource", "");  // its line is not sent either
    bench.configuration().set("ZP1COM1", "mode", "153E");
    bench.configuration().omitContainer("ZP1COM3");
    startAll();
    expectSettings(shipped(1, 2));
}

TEST_F(ServerPorts, WithoutAModeTheReplayEndsAtThatPort) {
    bench.configuration().omit("ZP1COM2", "mode");
    testing::internal::CaptureStderr();
    startAll();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(" Invalid Serial Protocol : \n"));
    expectSettings(shipped(1, 1));
}

// ---- A file that does not do its part -----------------------------------------------------

TEST_F(ServerPorts, WithoutTheFileASetIsAnEventAndSendsNothing) {
    OutputCapture output;
    setDebug();
    startWithoutReplay();
    const EventReader events(bench);
    std::filesystem::remove(path());
    EXPECT_EQ("CURRENT_ZEPHON_COM,0,,0,,,0,,,",
              answer("SET_ZEPHON_COM,2,COM1,9600,None,Off,9600,None,Off,GPS"));
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,0,,,",
              answer("SET_ZEPHON_MESSAGE_OUTPUT,2,COM1,153D,5040"));
    for (std::string const text :
         {"ZephonServer: setZephonCom() EXCEPTION: Unable to open ZP2COM1",
          "ZephonServer: setZephonMsgConnects() EXCEPTION: Unable to open ZP2COM1"}) {
        const auto event = events.waitFor(text);
        ASSERT_TRUE(event) << events.report();
        EXPECT_EQ(3, event->type);
    }
    EXPECT_EQ(1U,
              output.count("\nZephonServer: setZephonCom() EXCEPTION: Unable to open ZP2COM1\n"));
    EXPECT_FALSE(std::filesystem::exists(path()));
    expectSettings({});
}

TEST_F(ServerPorts, AFileThatIsCutAnywhereOrNoXmlIsAsGoodAsNone) {
    startWithoutReplay();
    const std::string whole = content();
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, whole.size() / 2, whole.rfind("</MX_Configurations>")}) {
        std::ofstream(path(), std::ios::binary) << whole.substr(0, size);
        const std::string before = content();
        EXPECT_EQ("CURRENT_ZEPHON_COM,0,,0,,,0,,,",
                  answer("SET_ZEPHON_COM,2,COM1,9600,None,Off,9600,None,Off,GPS"))
            << size;
        EXPECT_EQ(before, content()) << size;
    }
    std::ofstream(path(), std::ios::binary) << whole;
    EXPECT_EQ("CURRENT_ZEPHON_COM,2,COM1,19200,None,1PPS UTC,19200,None,Off,Meridane",
              answer("QUERY_ZEPHON_COM,2,COM1"));
    expectSettings({});
}

TEST_F(ServerPorts, WhatCannotBeWrittenIsAnEventAndSentAllTheSame) {
    startWithoutReplay();
    const EventReader events(bench);
    const std::string before = content();
    std::filesystem::create_directory(path() + ".new");  // no save can make its draft
    EXPECT_EQ("CURRENT_ZEPHON_COM,2,COM2,19200,None,Off,19200,None,Off,Meridane",
              answer("SET_ZEPHON_COM,2,COM2,9600,None,Off,9600,None,Off,GPS"));
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,2,COM2,153D,none",
              answer("SET_ZEPHON_MESSAGE_OUTPUT,2,COM2,153D,5040"));
    for (std::string const text :
         {"ZephonServer: writeComParams() invalid_argument EXCEPTION: Unable to write ZP2COM2",
          "ZephonServer: setZPConfig() Failed."}) {
        const auto event = events.waitFor(text);
        ASSERT_TRUE(event) << events.report();
        EXPECT_EQ(3, event->type);
    }
    EXPECT_EQ(before, content());
    expectSettings({makeSetup(2, {{18, 0xC200}, {20, 2}}),
                    makeSetup(2, {{18, 0x4000}, {20, 2}, {25, 6}}),
                    makeConnects(2, {{0, 2}, {2, 2}, {3, 2}, {4, 1}, {5, 5040}, {6, 2}})});
}

TEST_F(ServerPorts, AValueThatIsEmptyInTheFileStaysSoAndTheOthersAreWritten) {
    bench.configuration().set("ZP2COM2", "ppsOut", "");
    startWithoutReplay();
    const EventReader events(bench);
    EXPECT_EQ("CURRENT_ZEPHON_COM,2,COM2,9600,Odd,,9600,Odd,Off,GPS",
              answer("SET_ZEPHON_COM,2,COM2,9600,Odd,Off,9600,Odd,Off,GPS"));
    EXPECT_TRUE(events.waitFor("writeComParams() invalid_argument EXCEPTION: ")) << events.report();
    expectSettings({makeSetup(2, {{18, 0xC200}, {20, 2}, {23, 1}, {26, 1}})});
}

TEST_F(ServerPorts, AModeOfTheFileWithoutACodeIsAnEventAndThePortIsStored) {
    bench.configuration().set("ZP2COM2", "mode", "153E");
    startWithoutReplay();
    const EventReader events(bench);
    EXPECT_EQ("CURRENT_ZEPHON_COM,2,COM2,9600,None,Off,9600,None,Off,GPS",
              answer("SET_ZEPHON_COM,2,COM2,9600,None,Off,9600,None,Off,GPS"));
    EXPECT_TRUE(
        events.waitFor("ZephonServer: setZephonCom() EXCEPTION: Invalid Serial Protocol : 153E"))
        << events.report();
    expectSettings({});
}

TEST_F(ServerPorts, ARateOfTheFileWithoutACodeIsAnEventAndTheOutputIsStored) {
    bench.configuration().set("ZP2COM2", "transBaud", "many");
    startWithoutReplay();
    const EventReader events(bench);
    EXPECT_EQ("CURRENT_ZEPHON_MESSAGE_OUTPUT,2,COM2,NMEA,GGA",
              answer("SET_ZEPHON_MESSAGE_OUTPUT,2,COM2,NMEA,GGA"));
    EXPECT_TRUE(events.waitFor(
        "ZephonServer: setZephonMsgConnects() EXCEPTION: Invalid Serial Baud Rate : 0"))
        << events.report();
    expectSettings({});
}

// ---- The console --------------------------------------------------------------------------

TEST_F(ServerPorts, WithDebugARecordIsABlockOnTheConsole) {
    OutputCapture output;
    setDebug();
    startWithoutReplay();
    answer("QUERY_ZEPHON_COM,2,COM1");
    answer("QUERY_ZEPHON_MESSAGE_OUTPUT,2,COM1");
    EXPECT_EQ(1U, output.count("ZP_PORT\nZPNum: 2\nZPCOM: COM1\ntransBaud: 19200\n"
                               "transParity: None\nppsOut: 1PPS UTC\nrecBaud: 19200\n"
                               "recPar: None\ncom2Red: Off\nsolutionSource: Meridane\n"))
        << output.text();
    EXPECT_EQ(1U, output.count("ZPNum: 2\nZPCOM: COM1\nmode: 153D\nmessageConnects: 5040,5044\n"))
        << output.text();
}

TEST_F(ServerPorts, WithoutDebugNothingOfPortsIsToldOnTheConsole) {
    OutputCapture output;
    testing::internal::CaptureStderr();
    startWithoutReplay();
    testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    answer("QUERY_ZEPHON_COM,2,COM1");
    answer("QUERY_ZEPHON_MESSAGE_OUTPUT,2,COM1");
    answer("SET_ZEPHON_COM,2,COM9,9600,None,Off,9600,None,Off,GPS");
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ(0U, output.count("ZPNum")) << output.text();
}

TEST_F(ServerPorts, WithDebugWhatIsWrongWithAFieldIsToldOnStandardError) {
    setDebug();
    startWithoutReplay();
    testing::internal::CaptureStderr();
    answer("SET_ZEPHON_COM,2,COM9,9600,None,Off,9600,None,Off,GPS");
    answer("SET_ZEPHON_MESSAGE_OUTPUT,2,COM1,153D,65536");
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_THAT(text, testing::ContainsRegex("[0-9]+ Invalid Serial Port : COM9\n"));
    EXPECT_THAT(text, testing::ContainsRegex("[0-9]+ Invalid\n"));
}

// ---- Threads ------------------------------------------------------------------------------

TEST_F(ServerPorts, SetsOfManyThreadsAreEachAnsweredWithTheirOwnValues) {
    startWithoutReplay();
    constexpr int each = 4;  // together they fit the history of the topic
    const std::vector<std::string> values = {",300,None,Off,300,None,Off,GPS",
                                             ",600,Odd,1PPS UTC,600,Odd,On,Meridane",
                                             ",1200,Even,10 PPS UTC,1200,Even,Off,GPS"};
    std::vector<std::thread> threads;
    for (auto const& value : values) {
        threads.emplace_back([this, value] {
            for (int number = 0; number < each; ++number) {
                command("SET_ZEPHON_COM,2,COM1" + value);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(responses_->waitForCount(values.size() * each)) << responses_->report();
    for (auto const& value : values) {
        EXPECT_EQ(static_cast<std::size_t>(each),
                  responses_->count("CURRENT_ZEPHON_COM,2,COM1" + value))
            << responses_->report();
    }
}

}  // namespace
