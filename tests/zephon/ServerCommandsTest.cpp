// Commands that a server in this process publishes, as another process reads them.

#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ASPN/CmdResponseStrings.h"
#include "tests/system/CommandReader.h"
#include "tests/system/EventReader.h"
#include "tests/zephon/GssipRecords.h"
#include "tests/zephon/UnitFrames.h"
#include "tests/zephon/ZephonServerFixture.h"

namespace {

using bench::CommandRecord;
using bench::UnitFrame;
using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint16_t>;

constexpr std::uint16_t zeroize = 7;
constexpr std::uint16_t cvZeroize = 8;

// Where the inner frame of a wrapper begins, in bytes, and where it tells its word count.
constexpr std::size_t innerFrame = 12;
constexpr std::size_t innerWordCount = innerFrame + 4;

/// Message 5001 with a command.
UnitFrame makeCommandFrame(std::uint16_t code, std::size_t words = 31) {
    UnitFrame frame{5001, 0x9000, Words(words)};
    if (words > 4) {
        frame.data[4] = code;
    }
    return frame;
}

/// The same as a virtual unit sends it.
Bytes makeWrapped(std::uint16_t code, std::uint16_t unit = 1, std::size_t words = 31) {
    return wrap(27553, unit, makeCommandFrame(code, words)).encode();
}

class ServerCommands : public ZephonServerFixture {
protected:
    void startWithDebug() {
        bench.configuration().set("ZephonServer", "Debug", "true");
        startAll();
    }
    void receive(Bytes const& bytes, unsigned char source = pntDevice) {
        server->cbGssip(makeRecord(bytes, source, 1));
    }

    /// Expects these commands and no others; ends the row with one more.
    void expectCommands(std::vector<std::string> expected) {
        const CommandReader commands(bench);
        auto last = ASPN2::CmdResponse().makeCommand("LAST");
        server->sendCommandMessage(last);
        expected.emplace_back("LAST");
        ASSERT_TRUE(commands.waitFor("LAST")) << commands.report();
        std::vector<std::string> texts;
        for (auto const& command : commands.all()) {
            texts.push_back(command.text);
        }
        EXPECT_EQ(expected, texts);
    }
};

TEST_F(ServerCommands, TheEngineIsCommandedToZeroizeWhenAVirtualUnitDoes) {
    OutputCapture output;
    startWithDebug();
    receive(makeWrapped(zeroize));
    receive(makeWrapped(cvZeroize, 4));
    const CommandReader commands(bench);
    ASSERT_TRUE(commands.waitForCount(2)) << commands.report();
    const auto records = commands.all();
    ASSERT_EQ(2U, records.size()) << commands.report();
    EXPECT_EQ("TREVO_ZEROIZE", records[0].text);
    EXPECT_EQ("TREVO_CV_ZEROIZE", records[1].text);
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(CommandRecord::command, records[i].type);
        EXPECT_EQ(49, records[i].header.source);
        EXPECT_EQ(0, records[i].commandedDeviceId);
        EXPECT_EQ(static_cast<std::int64_t>(i), records[i].identifier);
        EXPECT_EQ(static_cast<std::int64_t>(i), records[i].header.sequence);
        EXPECT_EQ(records[i].header.tagSeconds, records[i].header.arrivalSeconds);
    }
    for (std::string const line : {"Sending Emergency Zeroize\n", "Sending CV Zeroize\n",
                                   "Sending Command Message: TREVO_ZEROIZE\n",
                                   "Sending Command Message: TREVO_CV_ZEROIZE\n"}) {
        EXPECT_EQ(1U, output.count(line)) << output.text();
    }
}

TEST_F(ServerCommands, NothingIsToldWithDebugOff) {
    OutputCapture output;
    startAll();
    receive(makeWrapped(zeroize));
    receive(makeWrapped(cvZeroize));
    EXPECT_EQ(0U, output.count("Sending ")) << output.text();
    expectCommands({"TREVO_ZEROIZE", "TREVO_CV_ZEROIZE"});
}

TEST_F(ServerCommands, OtherCodesAreNoCommand) {
    startAll();
    for (const std::uint16_t code :
         Words{0, 1, 6, 9, 21, 22, 23, 64, 0x0107, 0x0700, 0x0800, 0x8007, 65535}) {
        receive(makeWrapped(code));
    }
    expectCommands({});
}

TEST_F(ServerCommands, ABareCommandOfThePntDeviceIsNoCommand) {
    startAll();
    receive(makeCommandFrame(zeroize).encode());
    receive(makeCommandFrame(cvZeroize).encode());
    expectCommands({});
}

TEST_F(ServerCommands, OtherSourcesAndOtherWrappersGiveNone) {
    startAll();
    for (const unsigned char source : Bytes{trevo, halvorUnit, 46, 48}) {
        receive(makeWrapped(zeroize), source);
    }
    receive(wrap(27552, 1, makeCommandFrame(zeroize)).encode());
    auto other = makeCommandFrame(zeroize);
    for (const std::uint16_t id : Words{0, 5000, 5002, 27553, 65535}) {
        other.id = id;
        receive(wrap(27553, 1, other).encode());
    }
    expectCommands({});
}

TEST_F(ServerCommands, NoneIsPublishedUnlessTheServerRuns) {
    connectAll();
    receive(makeWrapped(zeroize));
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    expectCommands({});
}

TEST_F(ServerCommands, TheNumberOfTheVirtualUnitDoesNotMatter) {
    startAll();
    for (const std::uint16_t unit : Words{0, 5, 65535}) {
        receive(makeWrapped(zeroize, unit));
    }
    expectCommands({"TREVO_ZEROIZE", "TREVO_ZEROIZE", "TREVO_ZEROIZE"});
}

TEST_F(ServerCommands, ChecksumsInsideTheWrapperAreNotVerified) {
    startAll();
    auto bytes = makeWrapped(zeroize);
    bytes[innerFrame + 8] ^= 0xFFU;
    bytes[bytes.size() - 4] ^= 0xFFU;
    receive(bytes);
    expectCommands({"TREVO_ZEROIZE"});
}

TEST_F(ServerCommands, WhatArrivedCountsAndNotWhatTheInnerFrameTells) {
    startAll();
    for (const std::size_t words : {0U, 1U, 3U, 4U, 5U, 6U, 31U, 32U, 234U}) {
        auto bytes = makeWrapped(zeroize, 1, words);
        bytes[innerWordCount] = 0xFF;
        bytes[innerWordCount + 1] = 0xFF;
        bytes.shrink_to_fit();
        receive(bytes);
    }
    expectCommands(std::vector<std::string>(5, "TREVO_ZEROIZE"));
}

TEST_F(ServerCommands, AWrapperCutAnywhereGivesACommandOnlyWithItsCode) {
    startAll();
    const auto whole = makeWrapped(cvZeroize, 2, 5);
    for (std::size_t length = 10; length < whole.size() - 1; ++length) {
        Bytes bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        bytes.shrink_to_fit();
        receive(bytes);
    }
    receive(whole);
    expectCommands({"TREVO_CV_ZEROIZE"});
}

TEST_F(ServerCommands, AWrapperThatIsTooLongIsDropped) {
    startAll();
    auto bytes = makeWrapped(zeroize);
    bytes.resize(495);
    receive(bytes);
    bytes.resize(65535);
    receive(bytes);
    bytes.resize(494);
    receive(bytes);
    expectCommands({"TREVO_ZEROIZE"});
}

TEST_F(ServerCommands, WhatCannotBePublishedIsReported) {
    startAll();
    const EventReader events(bench);
    auto command = ASPN2::CmdResponse().makeCommand("WHO_HEARS");
    command.header().timestamp_valid().sec(1234567890);
    // Topics of other records, and one that the server only reads.
    std::size_t expected = 0;
    for (long long connection = 2; connection < 9; ++connection) {
        server->sendCmdRspMessage(connection, command);
        ++expected;
    }
    const std::string text =
        "ZephonServer: Could not publish CommandResponse for TOV = 1234567890, WHO_HEARS";
    const auto event = events.waitFor(text);
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    command.command_response("LAST");
    server->sendCmdRspMessage(2, command);
    ASSERT_TRUE(events.waitFor("1234567890, LAST")) << events.report();
    EXPECT_EQ(expected, events.count(text)) << events.report();
}

TEST_F(ServerCommands, AConnectionThatDoesNotExistIsReportedWithItsReason) {
    startAll();
    const EventReader events(bench);
    auto command = ASPN2::CmdResponse().makeCommand("WHO_HEARS");
    testing::internal::CaptureStderr();
    server->sendCmdRspMessage(-1, command);
    server->sendCmdRspMessage(std::numeric_limits<long long>::max(), command);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("map::at\nmap::at\n"));
    EXPECT_TRUE(events.waitFor("Could not publish CommandResponse for TOV = ")) << events.report();
}

TEST_F(ServerCommands, CommandsOfManyThreadsAllArriveWithNumbersOfTheirOwn) {
    constexpr std::size_t each = 4;  // together they fit the history of the topic
    startAll();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (std::size_t number = 0; number < each; ++number) {
                receive(makeWrapped(zeroize));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const CommandReader commands(bench);
    ASSERT_TRUE(commands.waitForCount(4 * each)) << commands.report();
    std::set<std::int64_t> identifiers;
    for (auto const& command : commands.all()) {
        EXPECT_EQ("TREVO_ZEROIZE", command.text);
        identifiers.insert(command.identifier);
    }
    EXPECT_EQ(4 * each, identifiers.size()) << commands.report();
}

TEST(ServerCommandsUnconnected, ACommandIsLostWithoutHarm) {
    const auto server = std::make_unique<ZephonServer>();
    auto command = ASPN2::CmdResponse().makeCommand("WHO_HEARS");
    server->sendCommandMessage(command);
    EXPECT_EQ("WHO_HEARS", command.command_response());
}

}  // namespace
