// What the virtual units of the receiver unit say, and what the other servers hear of it.

#include <string>
#include <vector>

#include "tests/system/CommandReader.h"
#include "tests/system/EventReader.h"
#include "tests/system/QueueFixture.h"
#include "tests/zephon/UnitFrames.h"

namespace {

using bench::CommandRecord;
using bench::UnitFrame;
using bench::VirtualUnits;
using Words = std::vector<std::uint16_t>;

constexpr std::uint16_t zeroize = 7;
constexpr std::uint16_t cvZeroize = 8;

/// Message 5001 with a command.
UnitFrame makeCommand(std::uint16_t code, std::size_t words = 31) {
    UnitFrame frame{5001, UnitFrame::linkReady | UnitFrame::ackRequest, Words(words)};
    frame.data.at(4) = code;
    return frame;
}

std::vector<std::string> textsOf(CommandReader const& commands) {
    std::vector<std::string> texts;
    for (auto const& command : commands.all()) {
        texts.push_back(command.text);
    }
    return texts;
}

class VirtualUnit : public QueueFixture {
protected:
    void startWithDebug() {
        bench.configuration().set("ZephonServer", "Debug", "TRUE");
        start();
    }

    /// Expects that these commands have been heard and, once the last of them has, no others.
    void expectCommands(CommandReader const& commands, std::vector<std::string> const& expected) {
        EXPECT_TRUE(commands.waitForCount(expected.size())) << commands.report() << bench.report();
        stop();
        EXPECT_EQ(expected, textsOf(commands)) << bench.report();
    }
};

TEST_F(VirtualUnit, AZeroizeAtItsPanelIsOneCommandToTheEngine) {
    const CommandReader commands(bench);
    startWithDebug();
    bench.virtualUnits().send(1, makeCommand(zeroize));
    expectCommands(commands, {"TREVO_ZEROIZE"});
    const CommandRecord command = commands.all().at(0);
    EXPECT_EQ(49, command.header.source);
    EXPECT_EQ(CommandRecord::command, command.type);
    EXPECT_EQ(0, command.commandedDeviceId);
    EXPECT_EQ(1U, bench.server().countLines("Sending Emergency Zeroize"));
    EXPECT_EQ(1U, bench.server().countLines("Sending Command Message: TREVO_ZEROIZE"));
}

TEST_F(VirtualUnit, ACvZeroizeAtItsPanelIsOneCommandToTheEngine) {
    const CommandReader commands(bench);
    startWithDebug();
    bench.virtualUnits().send(4, makeCommand(cvZeroize));
    expectCommands(commands, {"TREVO_CV_ZEROIZE"});
    EXPECT_EQ(1U, bench.server().countLines("Sending CV Zeroize"));
    EXPECT_EQ(1U, bench.server().countLines("Sending Command Message: TREVO_CV_ZEROIZE"));
}

TEST_F(VirtualUnit, OtherCodesAndABareCommandAreNone) {
    const CommandReader commands(bench);
    start();
    for (const std::uint16_t code : Words{0, 6, 9, 21, 64, 0x0107, 65535}) {
        bench.virtualUnits().send(2, makeCommand(code));
    }
    bench.unit(1).send(makeCommand(zeroize));
    bench.unit(3).send(makeCommand(cvZeroize));
    bench.unit(1).send(wrap(27552, 1, makeCommand(zeroize)));
    bench.virtualUnits().send(2, makeCommand(cvZeroize));
    expectCommands(commands, {"TREVO_CV_ZEROIZE"});
}

TEST_F(VirtualUnit, TheNumberOfWhoCommandsDoesNotMatter) {
    const CommandReader commands(bench);
    start();
    for (const std::uint16_t unit : Words{0, 5, 65535}) {
        bench.unit(1).send(wrap(27553, unit, makeCommand(zeroize)));
    }
    expectCommands(commands, {"TREVO_ZEROIZE", "TREVO_ZEROIZE", "TREVO_ZEROIZE"});
}

TEST_F(VirtualUnit, WrongChecksumsInsideTheWrapperDoNotMatter) {
    const CommandReader commands(bench);
    start();
    auto inner = makeCommand(zeroize).encode();
    inner[8] ^= 0xFFU;
    inner.back() ^= 0xFFU;
    bench.virtualUnits().sendBytes(1, inner);
    expectCommands(commands, {"TREVO_ZEROIZE"});
}

TEST_F(VirtualUnit, AFrameLongerThanItsWrapperIsTakenAsFarAsItCame) {
    const CommandReader commands(bench);
    start();
    const auto inner = makeCommand(zeroize).encode();  // tells 31 words
    for (const std::size_t length : {0U, 2U, 10U, 12U, 18U, 20U}) {
        // Up to the time before the code; the word at the end counts as a checksum.
        bench.virtualUnits().sendBytes(
            3, {inner.begin(), inner.begin() + static_cast<std::ptrdiff_t>(length)});
    }
    auto whole = makeCommand(cvZeroize, 5).encode();
    whole[4] = 0xFF;  // tells 65535 words
    whole[5] = 0xFF;
    bench.virtualUnits().sendBytes(3, whole);
    expectCommands(commands, {"TREVO_CV_ZEROIZE"});
}

TEST_F(VirtualUnit, AZeroizeThatHasEndedIsAnEventWithItsNumber) {
    const EventReader events(bench);
    start();
    // One after the other: more lines than a few at once overflow the event queue.
    for (const std::uint16_t unit : Words{1, 2, 3, 4, 0, 5, 65535}) {
        for (const std::uint16_t status : Words{16, 17, 18, 19}) {
            bench.unit(1).send(wrap(27553, unit, makeStatus(status, "ZEROIZE")));
        }
        const std::string begin = "ZephonServer vZephon#" + std::to_string(unit) + " 5044,ID:,";
        for (std::string const status : {"17", "18"}) {
            const auto event = events.waitFor(begin + status + ",ZEROIZE");
            ASSERT_TRUE(event) << begin << status << events.report();
            EXPECT_EQ(2, event->type);
            EXPECT_EQ(1U, events.count(begin + status)) << events.report();
        }
    }
    EXPECT_EQ(14U, events.count(",ZEROIZE")) << events.report();
}

TEST_F(VirtualUnit, AStatusOfAnotherLengthThanItsOwnIsNoEvent) {
    const EventReader events(bench);
    start();
    const auto whole = makeStatus(17, "CUT").encode();
    for (const std::size_t length : {10U, 12U, 22U, 52U}) {
        bench.virtualUnits().sendBytes(
            1, {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
    }
    auto longer = whole;
    longer.insert(longer.end(), 2, 0);
    bench.virtualUnits().sendBytes(1, longer);
    bench.virtualUnits().send(1, makeStatus(17, "WHOLE"));
    ASSERT_TRUE(events.waitFor("vZephon#1 5044,ID:,17,WHOLE")) << events.report();
    EXPECT_EQ(0U, events.count("CUT")) << events.report();
}

TEST_F(VirtualUnit, WhatComesForAllIsSeenByEach) {
    start();
    bench::QueueRecord record;
    record.deviceId = 0x03000000 | 39 << 16;
    record.data = makeFrame(8080, 7, UnitFrame::linkReady | UnitFrame::ackRequest).encode();
    ASSERT_TRUE(siblings.write("TREVO_MX", record)) << siblings.lastFailure();
    for (unsigned unit = 1; unit <= VirtualUnits::count; ++unit) {
        ASSERT_TRUE(bench.virtualUnits().waitForFrames(unit, 8080, 1, patience)) << bench.report();
        EXPECT_EQ(record.data, bench.virtualUnits().frames(unit, 8080).at(0).bytes);
    }
    EXPECT_EQ(0U, bench.virtualUnits().defects()) << bench.report();
}

}  // namespace
