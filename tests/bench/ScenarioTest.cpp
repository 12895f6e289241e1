#include <csignal>
#include <fstream>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/PntDevice.h"
#include "bench/Scenario.h"
#include "bench/TemporaryFolder.h"
#include "bench/TopicRecords.h"
#include "bench/VirtualUnits.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

Scenario parse(const std::string& text, const Scenario::Variables& given = {}) {
    return Scenario::parse(text, "test", given);
}

Step stepOf(const std::string& line) {
    const Scenario scenario = parse(line);
    EXPECT_EQ(scenario.steps.size(), 1U) << line;
    return scenario.steps.front();
}

/// The action of a line, which must be of this kind.
template <class Action>
Action actionOf(const std::string& line) {
    return std::get<Action>(stepOf(line).action);
}

template <class Condition>
Condition conditionOf(const std::string& line) {
    return std::get<Condition>(actionOf<action::Expect>(line).condition);
}

/// Why the text is refused; empty when it is not.
std::string refusal(const std::string& text, const Scenario::Variables& given = {}) {
    try {
        parse(text, given);
    } catch (const ScenarioError& error) {
        return error.what();
    }
    return {};
}

TEST(Scenario, KeepsStepsInOrderWithTheirLines) {
    const Scenario scenario =
        parse("# a comment\n\n  start server   # and one behind a step\r\n\tstop\tserver");
    EXPECT_EQ(scenario.name, "test");
    ASSERT_EQ(scenario.steps.size(), 2U);
    EXPECT_EQ(scenario.steps[0].line, 3U);
    EXPECT_EQ(scenario.steps[0].text, "start server");
    EXPECT_TRUE(std::holds_alternative<action::StartServer>(scenario.steps[0].action));
    EXPECT_EQ(scenario.steps[1].line, 4U);
    EXPECT_TRUE(std::holds_alternative<action::StopServer>(scenario.steps[1].action));
}

TEST(Scenario, ReadsWhenAStepIsDue) {
    EXPECT_EQ(stepOf("start server").start, Step::Start::Next);
    const Step at = stepOf("at 2.5s start server");
    EXPECT_EQ(at.start, Step::Start::At);
    EXPECT_EQ(at.time, 2500ms);
    const Step after = stepOf("after 500ms start server");
    EXPECT_EQ(after.start, Step::Start::After);
    EXPECT_EQ(after.time, 500ms);
    EXPECT_EQ(stepOf("at 1min start server").time, 60s);
    EXPECT_EQ(stepOf("at 0s start server").time, 0s);
    EXPECT_EQ(stepOf("at 43200min start server").time, 24h * 30);
}

TEST(Scenario, ReadsConfigure) {
    const auto step = actionOf<action::Configure>(R"(configure ZephonServer PARAM_6 "1, 2")");
    EXPECT_EQ(step.container, "ZephonServer");
    EXPECT_EQ(step.key, "PARAM_6");
    EXPECT_EQ(step.value, "1, 2");
    EXPECT_EQ(actionOf<action::Configure>(R"(configure a b "")").value, "");
}

TEST(Scenario, ReadsSignals) {
    EXPECT_EQ(actionOf<action::Signal>("signal SIGTERM").number, SIGTERM);
    EXPECT_EQ(actionOf<action::Signal>("signal SIGKILL").number, SIGKILL);
}

TEST(Scenario, ReadsHangUpAndReconnect) {
    EXPECT_EQ(actionOf<action::HangUp>("hangup link1").link, 1U);
    EXPECT_EQ(actionOf<action::Reconnect>("reconnect link3").link, 3U);
}

TEST(Scenario, ReadsPublications) {
    const auto utc = actionOf<action::Publish>("publish UTCTime gps_week=2332 variance=1e-3");
    EXPECT_EQ(utc.topic, "UTCTime");
    EXPECT_EQ(utc.fields, "gps_week=2332 variance=1e-3");
    EXPECT_EQ(actionOf<action::Publish>("publish MeridanePNT").fields, "");
    EXPECT_EQ(actionOf<action::Publish>("publish UTCTime source=96").fields, "source=96");
    const auto time = actionOf<action::Publish>("publish GPSTime source=96 variance=nan");
    EXPECT_EQ(time.topic, "GPSTime");
    EXPECT_EQ(time.fields, "source=96 variance=nan");
    const auto position = actionOf<action::Publish>("publish PositionVelocity vn_variance=inf");
    EXPECT_EQ(position.topic, "PositionVelocity");
    EXPECT_EQ(position.fields, "vn_variance=inf");
    const auto event = actionOf<action::Publish>(
        R"(publish EventLog source=39 type=3 text="100 % = \"all\" \\ # lost")");
    EventRecord record;
    ASSERT_TRUE(fromText(event.fields, record));
    EXPECT_EQ(record.type, 3);
    EXPECT_EQ(record.text, R"(100 % = "all" \ # lost)");
}

TEST(Scenario, ReadsStreams) {
    const auto ended = actionOf<action::Stream>("stream 12.5 for 3s");
    EXPECT_EQ(ended.rate, 12.5);
    EXPECT_EQ(ended.length, 3000ms);
    EXPECT_EQ(actionOf<action::Stream>("stream 10").length, std::nullopt);
    EXPECT_EQ(actionOf<action::Stream>("stream 10 for 0s").length, std::nullopt);
    EXPECT_EQ(actionOf<action::Stream>("stream 0.1").rate, 0.1);
    EXPECT_EQ(actionOf<action::Stream>("stream 1000").rate, 1000);
    actionOf<action::StopStream>("stop stream");
    actionOf<action::WaitStream>("wait stream");
}

TEST(Scenario, ReadsFramesForALink) {
    const auto step = actionOf<action::Send>("send link2 frame 5331 flags=0x9000 1 0xFFFF");
    EXPECT_EQ(step.link, 2U);
    EXPECT_EQ(step.bytes, (UnitFrame{5331, 0x9000, {1, 0xFFFF}}.encode()));
    EXPECT_EQ(actionOf<action::Send>("send link1 frame 5000").bytes,
              (UnitFrame{5000, UnitFrame::linkReady, {}}.encode()));
    EXPECT_EQ(actionOf<action::Send>("send link1 frame 5000 7 3*0x12 0*9 8").bytes,
              (UnitFrame{5000, UnitFrame::linkReady, {7, 0x12, 0x12, 0x12, 8}}.encode()));
}

TEST(Scenario, ReadsBytesForALink) {
    EXPECT_THAT(actionOf<action::Send>("send link1 bytes FF81 00 aB").bytes,
                ElementsAre(0xFF, 0x81, 0x00, 0xAB));
}

TEST(Scenario, ReadsWhatAVirtualUnitSends) {
    const auto frame = actionOf<action::Send>("send virtual2 frame 5001 flags=0x9000 0 7");
    EXPECT_EQ(frame.link, 1U);
    // 27553 that asks for an ACK as its inner frame does, which stands behind the unit's number.
    const UnitFrame wrapper{
        27553, 0x9000, {2, 0x81FF, 5001, 2, 0x9000, 0xDA76, 0x0000, 0x0007, 0xFFF9}};
    EXPECT_EQ(frame.bytes, wrapper.encode());
    EXPECT_EQ(actionOf<action::Send>("send virtual4 bytes FF8100AB").bytes,
              (UnitFrame{27553, 0x8000, {4, 0x81FF, 0xAB00}}.encode()));
}

TEST(Scenario, ReadsAStatusInThePlaceOfAFrame) {
    EXPECT_EQ(actionOf<action::Send>("send virtual2 status 17 \"ALL GONE\"").bytes,
              wrap(fromVirtualUnit, 2, makeStatus(17, "ALL GONE")).encode());
    const auto record = actionOf<action::Inject>("inject TREVO_MX status 18");
    EXPECT_EQ(std::get<UnitFrame>(record.content).data, makeStatus(18, "").data);
}

TEST(Scenario, ReadsChapters) {
    const Scenario scenario = parse("chapter \"A part\"\nexpect running");
    EXPECT_EQ(std::get<action::Chapter>(scenario.steps[0].action).title, "A part");
    EXPECT_TRUE(std::holds_alternative<action::Forget>(stepOf("forget").action));
}

/// A PNT device without a line: what it says is kept.
struct SpokenTo {
    std::vector<UnitFrame> said;
    PntDevice device{
        [this](const UnitFrame& frame, PntDevice::Duration) { said.push_back(frame); }};

    PntDevice::State after(const std::string& line) {
        actionOf<action::UsePntDevice>("pntd " + line).use(device);
        return device.state();
    }
    UnitFrame sent(const std::string& line) {
        after("send " + line);
        return said.back();
    }
};

TEST(Scenario, ReadsHowThePntDeviceStands) {
    SpokenTo spoken;
    EXPECT_TRUE(spoken.after("on").answering);
    EXPECT_FALSE(spoken.after("off").answering);
    spoken.after("fault cbit 17 hard");
    auto state = spoken.after("fault other 255 intermittent");
    ASSERT_EQ(state.entries.size(), 2U);
    EXPECT_EQ(state.entries[0].type, pnt::cbit);
    EXPECT_EQ(state.entries[0].test, 17U);
    EXPECT_EQ(state.entries[0].fault, 2U);
    EXPECT_EQ(state.entries[1].type, 0U);
    EXPECT_EQ(state.entries[1].fault, 1U);
    EXPECT_THAT(spoken.after("well").entries, IsEmpty());
    state = spoken.after("label bbit 3 \"Power supply\"");
    ASSERT_EQ(state.labels.size(), 1U);
    EXPECT_EQ(state.labels[0].type, pnt::bbit);
    EXPECT_EQ(state.labels[0].test, 3U);
    EXPECT_EQ(state.labels[0].text, "Power supply");
    const pnt::Ids ids = spoken.after("ids H N S F O").ids;
    EXPECT_EQ(ids.hardware + ids.serial + ids.software + ids.firmware + ids.os, "HNSFO");
    EXPECT_EQ(spoken.after("zeroize fail").zeroize, PntDevice::Answer::Fail);
    EXPECT_EQ(spoken.after("zeroize silent").zeroize, PntDevice::Answer::Silent);
    EXPECT_EQ(spoken.after("zeroize pass").zeroize, PntDevice::Answer::Pass);
    EXPECT_EQ(spoken.after("slip closed").slip, PntDevice::Answer::Fail);
    EXPECT_EQ(spoken.after("slip silent").slip, PntDevice::Answer::Silent);
    EXPECT_EQ(spoken.after("slip open").slip, PntDevice::Answer::Pass);
    EXPECT_THAT(spoken.said, IsEmpty());
}

TEST(Scenario, ReadsWhatThePntDeviceSends) {
    SpokenTo spoken;
    spoken.after("fault post 2 hard");
    spoken.after("label post 2 Clock");
    EXPECT_EQ(spoken.sent("status").data, pnt::makeBitStatus({{1, 2, 2}}).data);
    EXPECT_EQ(spoken.sent("labels").data, pnt::makeFaultLabels({{1, 2, "Clock"}}).front().data);
    EXPECT_EQ(spoken.sent("ids").data, pnt::makeIds({}).data);
    EXPECT_EQ(spoken.sent("sanitize fail").data, pnt::makeSanitizeStatus(false).data);
    EXPECT_EQ(spoken.sent("slip open").data, pnt::makeSlipStatus(true).data);
    EXPECT_EQ(spoken.sent("transfer 4 2 passed").data, pnt::makeTransferStatus(4, 2, 3).data);
    EXPECT_EQ(spoken.sent("log \"Fan stops\"").data,
              pnt::makeLogReport({0, "LOG", "PNTD", "NONE", "NONE", "Fan stops"}).data);
    // BBIT, fault of the device, BBIT failed.
    EXPECT_EQ(spoken.sent("report bbit 9 MEMORY").data,
              pnt::makeFaultReport({0x26, 9, 0, "MEMORY", "PNTD", "FAIL", "NONE"}).data);
}

TEST(Scenario, ReadsRecordsForAQueue) {
    const auto frame = actionOf<action::Inject>("inject TREVO_MX frame 5040 7");
    EXPECT_EQ(frame.queue, "TREVO_MX");
    EXPECT_EQ(std::get<UnitFrame>(frame.content).id, 5040);
    EXPECT_THAT(std::get<UnitFrame>(frame.content).data, ElementsAre(7));
    const auto bytes = actionOf<action::Inject>("inject DT_OUT bytes 0001");
    EXPECT_THAT(std::get<std::vector<std::uint8_t>>(bytes.content), ElementsAre(0, 1));
    EXPECT_EQ(actionOf<action::Inject>("inject HALVOR_MX frame 1").queue, "HALVOR_MX");
}

TEST(Scenario, ReadsRegisters) {
    const auto set =
        actionOf<action::SetRegister>("set Processor_Interface 0x30 32 58982400").content;
    EXPECT_EQ(set.interface, "Processor_Interface");
    EXPECT_EQ(set.offset, 0x30U);
    EXPECT_EQ(set.width, 32U);
    EXPECT_EQ(set.value, 58982400U);
    EXPECT_EQ(actionOf<action::SetRegister>("set a 0 64 0xFFFFFFFFFFFFFFFF").content.value,
              0xFFFFFFFFFFFFFFFFU);
    EXPECT_EQ(actionOf<action::SetRegister>("set a 0 8 255").content.value, 255U);
    const auto wanted = conditionOf<action::Register>("expect register Ptfe_Interface0 24 16 9");
    EXPECT_EQ(wanted.interface, "Ptfe_Interface0");
    EXPECT_EQ(wanted.offset, 24U);
    EXPECT_EQ(wanted.width, 16U);
    EXPECT_EQ(wanted.value, 9U);
}

TEST(Scenario, ReadsWhatIsExpectedOfTheServer) {
    conditionOf<action::Running>("expect running");
    conditionOf<action::Solutions>("expect solutions within 5s");
    EXPECT_EQ(conditionOf<action::Exit>("expect exit 3").status, 3);
    EXPECT_EQ(conditionOf<action::Exit>("expect exit 3").signal, 0);
    EXPECT_EQ(conditionOf<action::Exit>("expect exit SIGABRT").signal, SIGABRT);
}

TEST(Scenario, ReadsExpectedFrames) {
    const auto frame =
        conditionOf<action::Frame>("expect link1 frame 15050 flags=0x8000 1 2 within 2s");
    EXPECT_EQ(frame.source, "link1");
    EXPECT_EQ(frame.id, 15050);
    EXPECT_EQ(frame.flags, 0x8000);
    EXPECT_THAT(frame.words, ElementsAre(1, 2));
    const auto any = conditionOf<action::Frame>("expect DT_IN frame 8504");
    EXPECT_EQ(any.source, "DT_IN");
    EXPECT_EQ(any.flags, std::nullopt);
    EXPECT_THAT(any.words, IsEmpty());
    EXPECT_EQ(conditionOf<action::Frame>("expect PNTD_MX frame 1").source, "PNTD_MX");
    EXPECT_EQ(conditionOf<action::Frame>("expect virtual4 frame 1").source, "virtual4");
}

TEST(Scenario, ReadsExpectedTexts) {
    const auto event = conditionOf<action::Text>("expect EventLog \"link lost\"");
    EXPECT_EQ(event.source, "EventLog");
    EXPECT_EQ(event.text, "link lost");
    EXPECT_EQ(conditionOf<action::Text>("expect MaintenanceEvent x").source, "MaintenanceEvent");
    EXPECT_EQ(conditionOf<action::Text>("expect Command x").source, "Command");
    EXPECT_EQ(conditionOf<action::Text>("expect no Response x within 1s").source, "Response");
    EXPECT_EQ(conditionOf<action::Text>("expect line x").source, Scenario::serverLine);
}

TEST(Scenario, ReadsHowLongToWait) {
    EXPECT_EQ(actionOf<action::Expect>("expect line x").within, 30s);
    EXPECT_EQ(actionOf<action::Expect>("expect running").within, 30s);
    const auto absent = actionOf<action::Expect>("expect no line x within 0s");
    EXPECT_TRUE(absent.absent);
    EXPECT_EQ(absent.within, 0s);
    EXPECT_FALSE(actionOf<action::Expect>("expect line x within 1s").absent);
}

TEST(Scenario, ReadsWhatAnExpectationIsCalled) {
    const Scenario scenario = parse(
        "chapter Day\nexpect link1 frame 5 1 2 within 2s as \"the answer\"\n"
        "expect link1 frame 5 1 as x");
    const auto& frame = std::get<action::Expect>(scenario.steps[1].action);
    EXPECT_EQ(frame.caption, "the answer");
    EXPECT_EQ(frame.wanted, "link1 frame 5 1 2");
    EXPECT_EQ(frame.within, 2s);
    EXPECT_EQ(std::get<action::Expect>(scenario.steps[2].action).wanted, "link1 frame 5 1");
    const auto none = actionOf<action::Expect>("expect no Response \"A B\" within 0s");
    EXPECT_EQ(none.wanted, "no Response \"A B\"");
    EXPECT_EQ(none.caption, "");
}

TEST(Scenario, FillsVariablesIn) {
    const std::string text =
        "variable rate 10\nvariable what \"a ${rate}b\"\nstream ${rate} for "
        "${rate}0ms\nexpect line \"<${what}>\"";
    const Scenario own = parse(text);
    EXPECT_EQ(own.steps[0].text, "stream 10 for 100ms");
    EXPECT_EQ(own.steps[1].text, "expect line \"<a 10b>\"");
    const Scenario given = parse(text, {{"rate", "20"}});
    EXPECT_EQ(std::get<action::Stream>(given.steps[0].action).rate, 20);
    EXPECT_EQ(given.steps[1].text, "expect line \"<a 20b>\"");
}

TEST(Scenario, VariableIsPartOfAWordWhateverItHolds) {
    const Scenario scenario =
        parse("variable x -\nexpect line ${x}", {{"x", "a # \"b\" ${x} within"}});
    const auto expected = std::get<action::Expect>(scenario.steps[0].action);
    EXPECT_EQ(std::get<action::Text>(expected.condition).text, "a # \"b\" ${x} within");
}

TEST(Scenario, KnowsWhetherSolutionsArePublished) {
    EXPECT_TRUE(parse("stream 10").publishesSolutions());
    EXPECT_TRUE(parse("start server\npublish UTCTime").publishesSolutions());
    EXPECT_TRUE(parse("publish MeridanePNT").publishesSolutions());
    EXPECT_TRUE(parse("publish GPSTime source=96").publishesSolutions());
    EXPECT_FALSE(parse("publish PositionVelocity").publishesSolutions());
    EXPECT_FALSE(parse("publish EventLog text=x").publishesSolutions());
    EXPECT_FALSE(parse("start server").publishesSolutions());
}

TEST(Scenario, KnowsWhetherAlternateNavigationIsPublished) {
    EXPECT_TRUE(parse("start server\npublish PositionVelocity").publishesAltNavigation());
    EXPECT_TRUE(parse("publish GPSTime").publishesAltNavigation());
    EXPECT_FALSE(parse("stream 10\npublish UTCTime").publishesAltNavigation());
    EXPECT_FALSE(parse("publish EventLog text=x").publishesAltNavigation());
}

TEST(Scenario, KnowsWhetherCommandsAreExchanged) {
    EXPECT_FALSE(Scenario::parse("expect EventLog Command", "test").exchangesCommands());
    EXPECT_FALSE(Scenario::parse("publish EventLog text=Command", "test").exchangesCommands());
    EXPECT_TRUE(Scenario::parse("publish Command text=A,1", "test").exchangesCommands());
    EXPECT_TRUE(Scenario::parse("publish Response text=A_ACK", "test").exchangesCommands());
    EXPECT_TRUE(Scenario::parse("expect Command A", "test").exchangesCommands());
    EXPECT_TRUE(Scenario::parse("expect no Response A within 1s", "test").exchangesCommands());
    EXPECT_FALSE(Scenario::parse("publish Command text=A,1", "test").publishesSolutions());
}

TEST(Scenario, KnowsWhetherBitReportsArePublished) {
    EXPECT_FALSE(Scenario::parse("publish Command text=A", "test").publishesBitReports());
    EXPECT_TRUE(Scenario::parse("publish BitReport kind=1 passed=0", "test").publishesBitReports());
}

TEST(Scenario, TellsTheLineOfAnError) {
    EXPECT_EQ(refusal("start server\n# x\n\nfly home\n"), "test:4: unknown step \"fly\"");
}

TEST(Scenario, RefusesWhatItDoesNotUnderstand) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"at", "a time is missing"},
        {"at 5s", "a step is missing"},
        {"after soon start server", "\"soon\" is no time: a number and ms, s or min, such as 2.5s"},
        {"at 5 start server", "\"5\" is no time: a number and ms, s or min, such as 2.5s"},
        {"at 5 s start server", "\"5\" is no time: a number and ms, s or min, such as 2.5s"},
        {"at -1s start server", "\"-1s\" is no time: a number and ms, s or min, such as 2.5s"},
        {"at infs start server", "\"infs\" is no time: a number and ms, s or min, such as 2.5s"},
        {"at 1e9s start server", "\"1e9s\" is no time: a number and ms, s or min, such as 2.5s"},
        {"at 43201min start server", "\"43201min\" is more than 30 days"},
        {"at 1s at 2s start server", "unknown step \"at\""},
        {"configure ZephonServer Debug", "a value is missing"},
        {"start", "\"server\" is missing"},
        {"start stream", "expected \"server\" in place of \"stream\""},
        {"start server now", "unexpected \"now\""},
        {"stop it", "\"it\" is neither \"server\" nor \"stream\""},
        {"wait", "\"stream\" is missing"},
        {"signal TERM", "\"TERM\" is no signal that is known here"},
        {"hangup", "a link is missing"},
        {"hangup link4", "\"link4\" is no link: link1, link2 or link3"},
        {"reconnect 1", "\"1\" is no link: link1, link2 or link3"},
        {"publish", "a topic is missing"},
        {"publish Altitude",
         "\"Altitude\" is no topic to publish: UTCTime, MeridanePNT, PositionVelocity, GPSTime, "
         "EventLog, Command, Response or BitReport"},
        {"publish BitReport text=x",
         "\"text=x\" is no field of BitReport, or its value is no number"},
        {"publish PositionVelocity x=1",
         "\"x=1\" is no field of PositionVelocity, or its value is no number"},
        {"publish GPSTime lat=1", "\"lat=1\" is no field of GPSTime, or its value is no number"},
        {"publish UTCTime now", "\"now\" is no FIELD=VALUE"},
        {"publish UTCTime x=1", "\"x=1\" is no field of UTCTime, or its value is no number"},
        {"publish UTCTime gps_week=1.5",
         "\"gps_week=1.5\" is no field of UTCTime, or its value is no number"},
        {"publish UTCTime \"gps_week=1 seq=2\"",
         "\"gps_week=1 seq=2\" is no field of UTCTime, or its value is no number"},
        {"publish UTCTime \"seq=1 gps_week\"=1",
         "\"seq=1 gps_week=1\" is no field of UTCTime, or its value is no number"},
        {"publish UTCTime \"seq gps_week\"=1",
         "\"seq gps_week=1\" is no field of UTCTime, or its value is no number"},
        {"stream", "a rate is missing"},
        {"stream 0", "\"0\" is no rate: 0.1 to 1000 pairs a second"},
        {"stream 1000.1", "\"1000.1\" is no rate: 0.1 to 1000 pairs a second"},
        {"stream 10Hz", "\"10Hz\" is no rate: 0.1 to 1000 pairs a second"},
        {"stream nan", "\"nan\" is no rate: 0.1 to 1000 pairs a second"},
        {"stream 10 for", "a time is missing"},
        {"stream 10 until 5s", "unexpected \"until\""},
        {"send", "a link or a virtual unit is missing"},
        {"send link4 frame 1",
         "\"link4\" is neither link1, link2 or link3 nor virtual1 to virtual4"},
        {"send virtual5 frame 1",
         "\"virtual5\" is neither link1, link2 or link3 nor virtual1 to virtual4"},
        {"send virtual0 frame 1",
         "\"virtual0\" is neither link1, link2 or link3 nor virtual1 to virtual4"},
        {"send virtual1 bytes FF81FF", "a wrapper holds whole words, at most 65534"},
        {"publish Command id=1", "\"id=1\" is no field of Command, or its value is no number"},
        {"publish Response type=x",
         "\"type=x\" is no field of Response, or its value is no number"},
        {"send link1", "\"frame\", \"bytes\" or \"status\" is missing"},
        {"send link1 FF", "\"FF\" is neither \"frame\" nor \"bytes\" nor \"status\""},
        {"send link1 frame", "a message id is missing"},
        {"send link1 frame 65536", "\"65536\" is no message id: a number from 0 to 65535"},
        {"send link1 frame -1", "\"-1\" is no message id: a number from 0 to 65535"},
        {"send link1 frame 0x", "\"0x\" is no message id: a number from 0 to 65535"},
        {"send link1 frame 5 flags=", "\"\" is no flag word: a number from 0 to 65535"},
        {"send link1 frame 5 x*0", "\"x\" is no count: a number from 0 to 65535"},
        {"send link1 frame 5 x", "\"x\" is no data word: a number from 0 to 65535"},
        {"send link1 frame 5 1 flags=1", "\"flags=1\" is no data word: a number from 0 to 65535"},
        {"send link1 bytes", "a byte is missing"},
        {"send link1 bytes F", "\"F\" is no row of bytes: pairs of hexadecimal digits"},
        {"send link1 bytes 0xFF", "\"0xFF\" is no row of bytes: pairs of hexadecimal digits"},
        {"send link1 bytes FF -1", "\"-1\" is no row of bytes: pairs of hexadecimal digits"},
        {"inject DT_IN frame 1",
         "\"DT_IN\" is no queue to inject into: TREVO_MX, HALVOR_MX or DT_OUT"},
        {"set Processor_Interface", "an offset is missing"},
        {"set a 0x100000000 32 0", "\"0x100000000\" is no offset: a number from 0 to 4294967295"},
        {"set a 0 24 0", "\"24\" is no width: 8, 16, 32 or 64 bits"},
        {"set a 0 8 256", "\"256\" is no value of 8 bits: a number from 0 to 255"},
        {"set a 0 64 18446744073709551616",
         "\"18446744073709551616\" is no value of 64 bits: a number from 0 to "
         "18446744073709551615"},
        {"expect", "what to expect is missing"},
        {"expect rain",
         "cannot expect \"rain\": running, exit, solutions, register, a link, a virtual unit, "
         "PNTD_MX, DT_IN, EventLog, MaintenanceEvent, Command, Response or line"},
        {"expect exit", "an exit status or a signal is missing"},
        {"expect exit 256", "\"256\" is no exit status: a number from 0 to 255"},
        {"expect link1 15050", "expected \"frame\" in place of \"15050\""},
        {"expect line", "a text is missing"},
        {"expect line \"\"", "an empty text is in every line"},
        {"expect line two words", "unexpected \"words\""},
        {"expect line x within", "a time is missing"},
        {"expect no running", "\"no\" stands before a frame, a record or a line only"},
        {"expect no line x", "\"no\" needs \"within\" and the time to wait"},
        {"expect line x as", "a text is missing"},
        {"expect line x as two words", "unexpected \"words\""},
        {"send link1 status", "a status is missing"},
        {"send link1 status x", "\"x\" is no status: a number from 0 to 65535"},
        {"chapter", "a title is missing"},
        {"chapter two words", "unexpected \"words\""},
        {"pntd", "use of the PNT device is missing"},
        {"pntd fly",
         "\"fly\" is no use of the PNT device: on, off, fault, well, label, ids, zeroize, slip, "
         "send"},
        {"pntd on now", "unexpected \"now\""},
        {"pntd fault warm 1 hard", "\"warm\" is no kind of test: other, post, bbit, cbit"},
        {"pntd fault post 256 hard", "\"256\" is no test: a number from 0 to 255"},
        {"pntd fault post 1 soft", "\"soft\" is no kind of fault: intermittent, hard, other"},
        {"pntd label post 1 " + std::string(57, 'x'), "a label has more than 56 characters"},
        {"pntd ids a b c d", "a version of the OS is missing"},
        {"pntd ids a b c d " + std::string(17, 'x'),
         "a version of the OS has more than 16 characters"},
        {"pntd zeroize maybe", "\"maybe\" is no answer: pass, fail, silent"},
        {"pntd slip pass", "\"pass\" is no answer: open, closed, silent"},
        {"pntd send news",
         "\"news\" is no message: status, labels, ids, log, report, sanitize, slip, transfer"},
        {"pntd send report cbit 1 12345678901", "a category has more than 10 characters"},
        {"pntd send transfer 8 1 passed", "\"8\" is no unit: a number from 0 to 7"},
        {"variable", "a name is missing"},
        {"variable rate", "a value is missing"},
        {"variable 1x 2", "\"1x\" is no name: letters, digits and _"},
        {"variable a-b 2", "\"a-b\" is no name: letters, digits and _"},
        {"variable rate 1 2", "unexpected \"2\""},
        {"stream ${rate}", "variable \"rate\" has no value"},
        {"stream ${rate", "\"${\" without \"}\""},
        {"expect line \"x", "a quote is not closed"},
        {R"(expect line "\n")", "a backslash stands before \" or \\ only"},
        {"expect line \"\\", "a backslash stands before \" or \\ only"},
    };
    for (const auto& [line, reason] : cases) {
        EXPECT_EQ(refusal("\n" + line), "test:2: " + reason) << line;
    }
}

TEST(Scenario, RefusesAVariableThatHasAValueAlready) {
    EXPECT_EQ(refusal("variable a 1\nvariable a 2\nstart server"),
              "test:2: variable \"a\" has a value already");
}

TEST(Scenario, RefusesAGivenVariableThatTheFileDoesNotHave) {
    EXPECT_EQ(refusal("start server", {{"rate", "3"}}), "test: has no variable \"rate\"");
}

TEST(Scenario, RefusesATextWithoutSteps) {
    EXPECT_EQ(refusal(""), "test: has no steps");
    EXPECT_EQ(refusal("# nothing\nvariable a 1\n"), "test: has no steps");
}

TEST(Scenario, RefusesAChapterThatExpectsNothing) {
    EXPECT_EQ(refusal("expect line a\nchapter Day\nstart server\n\nchapter Night\nexpect line b"),
              "test:2: the chapter expects nothing");
    EXPECT_EQ(refusal("chapter Day\nexpect no line a within 0s\nchapter Night\nstop server\n"),
              "test:3: the chapter expects nothing");
}

TEST(Scenario, RefusesACaptionThatNoChapterHolds) {
    EXPECT_EQ(refusal("expect line a as \"the first\""),
              "test:1: \"as\" needs a chapter before it");
    EXPECT_EQ(refusal("start server\nexpect line a as x\nchapter Day\nexpect line b\n"),
              "test:2: \"as\" needs a chapter before it");
}

TEST(Scenario, RefusesControlCharacters) {
    for (const char c : {'\0', '\x1B', '\x7F', '\x0B'}) {
        EXPECT_EQ(refusal(std::string("start server #") + c),
                  "test:1: the line holds a control character");
    }
    EXPECT_EQ(refusal("start server # \xC3\xBC"), "");
}

TEST(Scenario, RefusesWhatIsTooLong) {
    EXPECT_EQ(refusal(std::string(1'000'001, '#')), "test: is longer than 1000000 bytes");
    EXPECT_EQ(refusal("expect line " + std::string(70'000, 'x')), "test:1: a word is too long");
    std::string doubling = "variable v0 " + std::string(100, 'x') + "\n";
    for (int i = 1; i < 60; ++i) {
        const std::string before = "${v" + std::to_string(i - 1) + "}";
        doubling += "variable v" + std::to_string(i) + " " + before + before + "\n";
    }
    EXPECT_EQ(refusal(doubling), "test:11: a word is too long");
    std::string wrapped = "send virtual1 frame 5";
    for (int i = 0; i < 65'529; ++i) {
        wrapped += " 1";
    }
    EXPECT_EQ(refusal(wrapped), "test:1: a wrapper holds whole words, at most 65534");
    std::string words = "send link1 frame 5";
    for (int i = 0; i < 65'536; ++i) {
        words += " 1";
    }
    EXPECT_EQ(refusal(words), "test:1: a frame has at most 65535 data words");
    EXPECT_EQ(refusal("send link1 frame 5 0 65535*0"),
              "test:1: a frame has at most 65535 data words");
}

TEST(Scenario, ShortensLongWordsInItsReasons) {
    EXPECT_EQ(refusal(std::string(100, 'x')),
              "test:1: unknown step \"" + std::string(60, 'x') + "...\"");
}

TEST(Scenario, AnyBytesAreReadOrRefused) {
    // All that is wrong must come as a ScenarioError; the seeds are what files really hold.
    const std::string seed =
        "variable a 1\nat 1s send link1 frame 5 flags=0x9000 1 2 # x\nexpect no line \"a \\\" "
        "${a}\" within 2s\ninject DT_OUT bytes FF81\npublish EventLog text=\"x y\"\n";
    std::uint32_t random = 1;
    const auto next = [&random] { return random = random * 1664525U + 1013904223U; };
    for (int i = 0; i < 20'000; ++i) {
        std::string text = seed;
        for (unsigned changes = next() % 8 + 1; changes > 0; --changes) {
            const std::size_t place = (next() >> 8) % text.size();
            if (next() % 4 == 0) {
                text.erase(place, (next() >> 8) % 10);
                text += ' ';
            } else {
                text[place] = static_cast<char>(next() >> 24);
            }
        }
        try {
            parse(text);
        } catch (const ScenarioError& error) {
            EXPECT_EQ(std::string(error.what()).rfind("test", 0), 0U);
        }
    }
}

TEST(Scenario, LoadsAFile) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "small.scenario";
    std::ofstream(file) << "variable x 1\nstream ${x}\n";
    const Scenario scenario = Scenario::load(file, {{"x", "2"}});
    EXPECT_EQ(scenario.name, "small.scenario");
    EXPECT_EQ(std::get<action::Stream>(scenario.steps[0].action).rate, 2);
}

TEST(Scenario, TellsOfAFileThatCannotBeRead) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "none.scenario";
    const auto load = [](const std::filesystem::path& path) -> std::string {
        try {
            Scenario::load(path);
        } catch (const ScenarioError& error) {
            return error.what();
        }
        return {};
    };
    EXPECT_EQ(load(file), file.string() + ": cannot be read");
    EXPECT_EQ(load(folder.path()), folder.path().string() + ": cannot be read");
    EXPECT_EQ(load("/dev/zero"), "zero: is longer than 1000000 bytes");
}

TEST(Scenario, GrammarNamesEveryVerb) {
    const std::string grammar = scenarioGrammar;
    for (const char* verb : {"configure", "start server", "stop server", "signal",  "publish",
                             "stream",    "stop stream",  "wait stream", "send",    "inject",
                             "hangup",    "reconnect",    "set",         "expect",  "variable",
                             "at",        "after",        "pntd",        "chapter", "forget"}) {
        EXPECT_NE(grammar.find(verb), std::string::npos) << verb;
    }
}

}  // namespace
}  // namespace bench
