// Commands from another process, and what the real server answers and does: one verb of each kind.

#include <string>
#include <vector>

#include "tests/system/EventReader.h"
#include "tests/system/QueueFixture.h"
#include "tests/system/ResponseReader.h"

namespace {

using bench::CommandRecord;
using bench::ResponseRecord;

constexpr int controller = 53;

class Command : public QueueFixture {
protected:
    void startWithCommander() {
        start();
        commander_ = std::make_unique<ResponseReader>(bench);
        ASSERT_TRUE(commander_->peer().waitForReaders()) << commander_->peer().lastFailure();
    }
    void command(std::string const& text, int sender = controller) {
        CommandRecord record;
        record.header.source = sender;
        record.identifier = ++identifier_;
        record.text = text;
        ASSERT_TRUE(commander_->peer().publish(record)) << commander_->peer().lastFailure();
    }

    /// Expects these answers and no others, once the server has stopped.
    void expectAnswers(std::vector<std::string> const& expected) {
        EXPECT_TRUE(commander_->waitForCount(expected.size())) << commander_->report();
        stop();
        std::vector<std::string> texts;
        for (auto const& response : commander_->all()) {
            texts.push_back(response.text);
        }
        EXPECT_EQ(expected, texts) << bench.report();
    }

    ResponseReader& responses() { return *commander_; }

private:
    std::unique_ptr<ResponseReader> commander_;
    std::int64_t identifier_ = 100;
};

TEST_F(Command, APingHasTheServersNameAndTheCommandsIdentifier) {
    startWithCommander();
    command("BITSERVER_PING");
    expectAnswers({"ZephonServer"});
    const ResponseRecord answer = responses().all().front();
    EXPECT_EQ(101, answer.identifier);
    EXPECT_EQ(ResponseRecord::response, answer.type);
    EXPECT_EQ(49, answer.header.source);
}

TEST_F(Command, AModePassesAndItsOrderCounts) {
    startWithCommander();
    command("SYSTEM_MODE_SELECT_SIMULATION");
    command("SYSTEM_MODE_SELECT_LIVE,1");
    command("SYSTEM_MODE_SELECT_LIVE");
    expectAnswers({"SYSTEM_MODE_SELECT_SIMULATION_PASS", "SYSTEM_MODE_SELECT_LIVE_PASS"});
}

TEST_F(Command, AQueryHasTheRecordOfThePortAndABadSetANack) {
    startWithCommander();
    command("SET_ZEPHON_COM,5,COM1,9600,None,Off,9600,None,Off,GPS");
    command("QUERY_ZEPHON_COM,2,COM1");
    ASSERT_TRUE(responses().waitForCount(2)) << responses().report();
    const auto answers = responses().all();
    EXPECT_EQ("SET_ZEPHON_COM_NACK", answers[0].text);
    EXPECT_EQ(0U, answers[1].text.find("CURRENT_ZEPHON_COM,2,COM1,")) << answers[1].text;
}

TEST_F(Command, WhatIsNoVerbAndWhatIsNoCommandHasNoAnswer) {
    startWithCommander();
    for (auto const& text : {std::string("NO_SUCH_VERB,1"), std::string(), std::string(5000, ','),
                             std::string(5000, 'A')}) {
        command(text);
        command(text, CommandRecord::humanInterface);
    }
    command("BITSERVER_PING", CommandRecord::humanInterface);
    CommandRecord response;
    response.header.source = controller;
    response.type = CommandRecord::response;
    response.text = "BITSERVER_PING";
    ASSERT_TRUE(responses().peer().publish(response)) << responses().peer().lastFailure();
    command("BITSERVER_PING");
    expectAnswers({"ZephonServer"});
}

TEST_F(Command, SincgarsStartsAtTwoVirtualUnitsAtOnce) {
    startWithCommander();
    command("INIT_SINCGARS", CommandRecord::humanInterface);
    for (const unsigned unit : {1U, 2U}) {
        for (const unsigned code : {21U, 22U}) {
            EXPECT_TRUE(bench.virtualUnits().waitForFrames(
                unit, 1, patience,
                [code](bench::VirtualFrame const& frame) {
                    return frame.frame.id == 5001 && frame.frame.data.at(4) == code;
                }))
                << bench.report();
        }
    }
    expectAnswers({});
}

TEST_F(Command, AZeroizeIsAnsweredByTheUnitOrByItsTimeAndSlipByTheDevice) {
    bench.configuration().set("ZephonServer", "PARAM_5", "10");
    startWithCommander();
    const EventReader events(bench);
    const auto waitForOrder = [this](std::uint16_t order) {
        return bench.unit(3).waitForFrames(1, patience, [order](bench::LoggedFrame const& frame) {
            return frame.frame.id == 27530 && frame.frame.data.at(4) == order;
        });
    };

    command("START_ZEROIZE");
    EXPECT_TRUE(waitForOrder(3)) << bench.report();
    bench.virtualUnits().send(2, bench::makeStatus(17, "Zeroized"));
    EXPECT_TRUE(responses().waitForCount(2)) << responses().report();
    command("START_DESTROY");
    EXPECT_TRUE(responses().waitForCount(4)) << responses().report();  // the time is up
    command("START_ZEROIZE");
    EXPECT_TRUE(responses().waitForCount(5)) << responses().report();
    bench.unit(3).send({27532, 0x8000, {0, 0, 0, 0, 2, 1, 0, 0, 0}});
    EXPECT_TRUE(responses().waitForCount(6)) << responses().report();
    EXPECT_TRUE(events.waitFor("ZephonServer: Sanitize: PNTD SANITIZE:Pass")) << events.report();

    command("PNTD_SLIP");
    EXPECT_TRUE(waitForOrder(7)) << bench.report();
    bench.unit(3).send({27532, 0x8000, {0, 0, 0, 0, 3, 1, 0, 0, 0}});
    EXPECT_TRUE(bench.slipTools().waitForCall("slattach -s 921600 -p slip -L /dev/ttyS5"))
        << bench.slipTools().calls();
    expectAnswers({"START_ZEROIZE_ACK", "COMPONENT_ZEROIZE_PASS", "START_DESTROY_ACK",
                   "COMPONENT_DESTROY_FAIL", "START_ZEROIZE_NACK", "COMPONENT_DESTROY_PASS",
                   "PNTD_SLIP_PASS"});
}

TEST_F(Command, AHotStartIsAcknowledgedAtOnceAndPassesAfterHalfAMinute) {
    const auto before = std::chrono::steady_clock::now();
    startWithCommander();
    command("INIT_HOTSTART,4,COM2,BOTH");
    command("INIT_HOTSTART", CommandRecord::humanInterface);
    EXPECT_TRUE(bench.virtualUnits().waitForFrames(
        4, 1, patience, [](bench::VirtualFrame const& frame) { return frame.frame.id == 5000; }))
        << bench.report();
    // The one that takes so long: its clock is the machine's own.
    EXPECT_TRUE(responses().waitForCount(2)) << responses().report();
    EXPECT_EQ(0U, responses().count("_PASS")) << responses().report();
    ASSERT_TRUE(responses().waitFor("INIT_HOTSTART_PASS", Seconds(30) + patience))
        << responses().report();
    EXPECT_GE(std::chrono::steady_clock::now() - before, Seconds(30));
    expectAnswers({"INIT_HOTSTART_ACK", "INIT_HOTSTART_NACK", "INIT_HOTSTART_PASS"});
}

TEST_F(Command, AHotStartWithoutArgumentsIsAnEventAndRefused) {
    startWithCommander();
    const EventReader events(bench);
    command("INIT_HOTSTART,1");
    const auto event = events.waitFor("ZephonServer: cbCmd() InitHotStart EXCEPTION: ");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
    expectAnswers({"INIT_HOTSTART_NACK"});
}

}  // namespace
