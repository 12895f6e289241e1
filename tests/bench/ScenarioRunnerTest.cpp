#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "bench/Patience.h"
#include "bench/ScenarioRunner.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;
using Result = ScenarioRunner::Result;

constexpr auto deadline = 60s;

/// Kills the child of this program whose command line holds the text, and waits until it is gone.
void killChild(const std::string& text) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream status(entry.path() / "status");
        std::ifstream arguments(entry.path() / "cmdline");
        const std::string state(std::istreambuf_iterator<char>(status), {});
        const std::string command(std::istreambuf_iterator<char>(arguments), {});
        if (state.find("\nPPid:\t" + std::to_string(::getpid()) + "\n") != std::string::npos &&
            command.find(text) != std::string::npos) {
            const pid_t child = std::stoi(entry.path().filename());
            EXPECT_EQ(::kill(child, SIGKILL), 0);
            const auto end = std::chrono::steady_clock::now() + deadline;
            while (::kill(child, 0) == 0 && std::chrono::steady_clock::now() < end) {
                std::this_thread::sleep_for(1ms);
            }
            return;
        }
    }
    ADD_FAILURE() << "no child " << text;
}

/// What a run tells of itself.
class Notes {
public:
    void add(const std::string& line) {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(line);
        changed_.notify_all();
    }
    void clear() {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines_.clear();
    }
    bool wait(const std::string& text) {
        std::unique_lock<std::mutex> lock(mutex_);
        return bench::waitFor(changed_, lock, deadline, [&] {
            return std::any_of(lines_.begin(), lines_.end(), [&](const std::string& line) {
                return line.find(text) != std::string::npos;
            });
        });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
};

class ScenarioRunnerTest : public testing::Test {
protected:
    void prepare(const std::string& scenario, Bench::Options bench = {}) {
        bench.settings.baud = 921600;
        ScenarioRunner::Options options;
        options.bench = std::move(bench);
        options.note = [this](const std::string& line) { notes.add(line); };
        options.streamDelay = streamDelay;
        notes.clear();
        runner = std::make_unique<ScenarioRunner>(Scenario::parse(scenario, "test"), options);
    }

    /// A shell script in the place of the server.
    Bench::Options script(const std::string& text) {
        Bench::Options options;
        options.server = scripts.path() / "server";
        std::ofstream(options.server) << "#!/bin/sh\n" << text << "\n";
        std::filesystem::permissions(options.server, std::filesystem::perms::owner_all);
        return options;
    }

    void expectDone() {
        EXPECT_EQ(runner->run(), Result::Done) << runner->failure() << "\n"
                                               << runner->bench().report();
    }

    void expectFailure(const std::string& reason) {
        EXPECT_EQ(runner->run(), Result::Failed) << runner->bench().report();
        EXPECT_EQ(runner->failure(), reason);
    }

    /// Does what the scenario waits for at its gate.
    std::thread atGate(std::function<void()> what) {
        return std::thread([this, what = std::move(what)] {
            EXPECT_TRUE(notes.wait("expect register"));
            what();
            runner->bench().fpga().write32("Ptfe_Interface0", 24, 7);
        });
    }

    TemporaryFolder scripts;
    std::chrono::milliseconds streamDelay = ScenarioRunner::Options().streamDelay;
    Notes notes;
    std::unique_ptr<ScenarioRunner> runner;
};

const std::string running = "start server\nexpect running within 60s\n";

const std::string gate = "expect register Ptfe_Interface0 24 32 7 within 60s\n";

const std::string orderly =
    "trap 'echo \"!!!!!! server has exited. Signal: 15\"; exit 0' TERM\n"
    "echo up\n"
    "while :; do sleep 0.01; done";

const std::string disorderly = "trap 'exit 4' TERM\necho up\nwhile :; do sleep 0.01; done";

TEST_F(ScenarioRunnerTest, PublishedPairGivesItsFrame) {
    prepare(running +
            "publish UTCTime\n"
            "publish MeridanePNT assurance=1\n"
            "expect link1 frame 15050 flags=0x8000\n"
            "expect solutions within 10s\n"
            "expect no link1 frame 15050 within 0s\n"
            "stop server\n"
            "expect exit 0\n");
    expectDone();
    const RunFigures figures = runner->figures();
    EXPECT_EQ(figures.totals.pairs, 1U);
    EXPECT_EQ(figures.totals.right, 1U);
    EXPECT_EQ(figures.overall.count, 1U);
    EXPECT_EQ(figures.links[0].framesById.at(15050), 1U);
}

TEST_F(ScenarioRunnerTest, PublishedPositionAndItsTimeGiveTheAlternateNavigation) {
    prepare(running +
            "publish PositionVelocity\n"
            "publish GPSTime source=96\n"
            "publish UTCTime source=96\n"
            "expect no link1 frame 15052 within 100ms\n"
            "at 0s publish PositionVelocity\n"
            "at 0s publish GPSTime\n"
            "expect link1 frame 15052 flags=0x9000 7\n"
            "expect no link1 frame 15050 within 0s\n");
    expectDone();
    auto const frames = runner->bench().unit(1).frames(15052);
    ASSERT_FALSE(frames.empty());
    for (auto const& frame : frames) {  // the link sends one again whose ACK comes late
        EXPECT_EQ(frames.front().bytes, frame.bytes);
    }
    EXPECT_EQ(runner->figures().totals.records, 0U) << "no side of a solution";
}

TEST_F(ScenarioRunnerTest, StreamGivesOneRightFrameForEachPair) {
    prepare(running +
            "stream 10 for 500ms\n"
            "wait stream\n"
            "expect solutions within 10s\n");
    expectDone();  // the server is stopped at the end, too
    EXPECT_EQ(runner->figures().totals.right, 5U);
    EXPECT_EQ(runner->figures().rate, 10);
    EXPECT_TRUE(runner->bench().server().wait(0s)->ok());
}

TEST_F(ScenarioRunnerTest, PairWithoutItsFrameFailsTheSolutions) {
    prepare(running +
            "hangup link1\n"
            "publish UTCTime\n"
            "publish MeridanePNT\n"
            "expect solutions within 200ms\n");
    expectFailure(
        "test:6: expect solutions within 200ms: of 1 pairs 0 gave a right frame, 0 a wrong one "
        "and 1 none; 0 frames belong to no pair, 0 were damaged");
}

TEST_F(ScenarioRunnerTest, FramesPassBothWaysAlsoWhenAnotherLineIsGone) {
    prepare(running +
            "expect link3 frame 27530 flags=0x9000 0 0 0 0 4\n"
            "send link2 frame 5000 flags=0x9000 1 2\n"
            "expect link2 frame 5000 flags=0x8800\n"
            "send link2 bytes FF81 8813 0000 0090 EFEA\n"
            "expect line \"GSSIP RX CHECKSUM ERROR\"\n"
            "hangup link1\n"
            "send link2 frame 5001 flags=0x9000\n"
            "expect link2 frame 5001\n"
            "stop server\n");
    expectDone();
}

TEST_F(ScenarioRunnerTest, LineComesBackAfterAHangUp) {
    // A frame 5000 without data.
    prepare("hangup link1\nreconnect link1\nstart server\nexpect link1 frame 5000\n",
            script("printf '\\377\\201\\210\\023\\000\\000\\000\\200\\171\\352' "
                   ">\"$ZEPHON_DEVICE_ROOT/ttyS1\"\nexec sleep 60"));
    EXPECT_EQ(runner->run(), Result::Failed);  // for the end of this server
    EXPECT_EQ(runner->failure(), "test: at the end: the server left with signal 15 (Terminated)");
}

TEST_F(ScenarioRunnerTest, UnmetExpectationFailsTheRunAndTellsWhatCameInstead) {
    prepare(running +
            "expect link3 frame 27530 4 within 2s\n"
            "stop server\n");
    EXPECT_EQ(runner->run(), Result::Failed) << runner->bench().report();
    // Others that the server sends at its start may stand behind this one.
    EXPECT_THAT(runner->failure(),
                testing::StartsWith(
                    "test:3: expect link3 frame 27530 4 within 2s: it did not come; what came "
                    "at last:\n  frame 27530 flags=0x9000 0x0000 0x0000 0x0000 0x0000 0x0004 "
                    "0x0000 0x0000 0x0000 ... (9 words)"));
}

TEST_F(ScenarioRunnerTest, EventsOfAnotherProcessAreHeard) {
    prepare(
        "expect EventLog \"link lost\" within 30s\n"
        "expect no EventLog \"link lost\" within 0s\n");
    TopicPeer other(runner->bench().peerOptions(TopicPeer::Role::EventLogger));
    EventRecord event;
    event.type = 4;
    event.text = "Zephon1 link lost\x1B[2J";
    ASSERT_TRUE(other.publish(event)) << other.lastFailure();
    expectDone();
    EXPECT_EQ(runner->figures().events, 1U);
    EXPECT_TRUE(notes.wait("EventLog link lost, source 39: Zephon1 link lost.[2J"));
}

TEST_F(ScenarioRunnerTest, EventsArePublished) {
    Notes heard;
    prepare("publish EventLog text=\"XPN: 12\" type=1\nafter 30s stop stream\n");
    TopicPeer::Options options = runner->bench().peerOptions(TopicPeer::Role::EventLogger);
    options.onEvent = [&heard](const EventRecord& event) {
        heard.add(std::to_string(event.header.source) + ":" + std::to_string(event.type) + ":" +
                  event.text);
    };
    const TopicPeer other(options);
    std::thread later([this, &heard] {
        EXPECT_TRUE(heard.wait("39:1:XPN: 12"));
        runner->interrupt();
    });
    EXPECT_EQ(runner->run(), Result::Interrupted) << runner->failure();
    later.join();
}

TEST_F(ScenarioRunnerTest, VirtualUnitsSpeakAndHear) {
    prepare(
        "start server\n"
        "expect running within 60s\n"
        "send virtual3 frame 5001 flags=0x9000 0 0 0 0 7\n"
        "expect Command TREVO_ZEROIZE\n"
        "expect no Command TREVO within 0s\n"
        "send virtual2 frame 5044 0 0 0 0 18 0x4441 0x4D41 0x4745 0 0 0 0 0 0 0 0 0 0 0 0 0\n"
        "expect EventLog \"vZephon#2 5044,ID:,18,DAMAGE\"\n"
        "publish UTCTime\n"
        "publish MeridanePNT\n"
        "expect virtual1 frame 15050\n"
        "expect virtual4 frame 15050\n"
        "expect no virtual4 frame 15050 within 0s\n"
        "stop server\n");
    expectDone();
    EXPECT_EQ(runner->bench().virtualUnits().defects(), 0U);
}

TEST_F(ScenarioRunnerTest, CommandsAndAnswersArePublishedAndHeard) {
    prepare(
        "publish Command source=38 text=\"INIT_HOTSTART,1\"\n"
        "publish Response identifier=7 text=INIT_HOTSTART_ACK\n"
        "expect Response STARTED within 30s\n");
    auto options = runner->bench().peerOptions(TopicPeer::Role::HumanInterface);
    Notes heard;
    options.onCommand = [&](const CommandRecord& command) {
        heard.add(std::to_string(command.header.source) + ":" + command.text);
    };
    options.onResponse = [&](const ResponseRecord& answer) {
        heard.add(std::to_string(answer.identifier) + ":" + answer.text);
    };
    TopicPeer other(options);
    ResponseRecord answer;
    answer.text = "SERVER_STARTED";
    ASSERT_TRUE(other.publish(answer)) << other.lastFailure();
    expectDone();
    EXPECT_TRUE(heard.wait("38:INIT_HOTSTART,1"));
    EXPECT_TRUE(heard.wait("7:INIT_HOTSTART_ACK"));
    EXPECT_TRUE(notes.wait("Response, source 48: SERVER_STARTED"));
}

TEST_F(ScenarioRunnerTest, ServerLinesAreExpected) {
    prepare("start server\nexpect line up\nexpect no line down within 50ms\nstop server\n",
            script(orderly));
    expectDone();
}

TEST_F(ScenarioRunnerTest, LineThatMustNotComeFailsTheRun) {
    prepare("start server\nexpect no line up within 20s\n", script(orderly));
    expectFailure("test:2: expect no line up within 20s: it came");
}

TEST_F(ScenarioRunnerTest, AbsenceIsInDoubtWhenTheOldestAreNotKept) {
    const std::string talk = "start server\nexpect exit 0 within 60s\n";
    prepare(talk + "expect no line gone within 0s\n", script("echo gone\nseq 10001"));
    expectFailure(
        "test:3: expect no line gone within 0s: it may have come: the oldest 2 are kept no more "
        "(\"forget\" makes room)");
    prepare(talk + "forget\nexpect no line gone within 0s\n", script("echo gone\nseq 10001"));
    expectDone();
}

TEST_F(ScenarioRunnerTest, AbsenceIsInDoubtWhenAPeerHasEnded) {
    const std::vector<std::pair<std::string, std::string>> peers{
        {"EventLogger", "EventLog x"},
        {"HumanInterface", "Response x"},
        {"zephon-queue-peer", "DT_IN frame 1"},
    };
    for (const auto& [peer, wanted] : peers) {
        prepare(gate + "expect no " + wanted + " within 0s\n");
        std::thread later = atGate([name = peer] { killChild(name); });
        const std::string program = peer == "zephon-queue-peer" ? peer : "zephon-topic-peer";
        expectFailure("test:2: expect no " + wanted + " within 0s: " + program +
                      " has ended: signal 9 (Killed)");
        later.join();
    }
}

TEST_F(ScenarioRunnerTest, MissingLineTellsThatNothingCame) {
    prepare("start server\nexpect line up within 50ms\n", script("sleep 60"));
    expectFailure("test:2: expect line up within 50ms: it did not come; nothing else did");
}

TEST_F(ScenarioRunnerTest, ServerIsKilledAndStartedAgain) {
    prepare(
        "start server\nexpect line up\nsignal SIGKILL\nexpect exit SIGKILL\n"
        "start server\nexpect line up\nstop server\n",
        script(orderly));
    expectDone();
}

TEST_F(ScenarioRunnerTest, EndOfTheServerIsComparedWithTheExpected) {
    prepare("start server\nexpect exit 0 within 20s\n", script("exit 3"));
    expectFailure("test:2: expect exit 0 within 20s: it was exit status 3");
}

TEST_F(ScenarioRunnerTest, ServerThatStaysFailsTheExpectedEnd) {
    prepare("start server\nexpect exit 0 within 50ms\n", script(orderly));
    expectFailure("test:2: expect exit 0 within 50ms: the server still runs");
}

TEST_F(ScenarioRunnerTest, ServerThatDiesIsNotRunning) {
    prepare("start server\nexpect running\n", script("exit 3"));
    expectFailure("test:2: expect running: the server has ended: exit status 3");
}

TEST_F(ScenarioRunnerTest, ServerThatLeavesBadlyAtTheEndFailsTheRun) {
    prepare("start server\nexpect line up\n", script(disorderly));
    expectFailure("test: at the end: the server left with exit status 4");
}

TEST_F(ScenarioRunnerTest, ServerThatCrashesAfterTheLastExpectationFailsTheRun) {
    prepare("start server\n" + gate, script("exit 3"));
    std::thread later =
        atGate([this] { EXPECT_TRUE(runner->bench().server().wait(deadline).has_value()); });
    expectFailure("test: at the end: the server left with exit status 3");
    later.join();
}

TEST_F(ScenarioRunnerTest, ServerIsNotStartedAnewAfterAnUnnoticedEnd) {
    prepare("start server\n" + gate + "start server\n", script("exit 3"));
    std::thread later =
        atGate([this] { EXPECT_TRUE(runner->bench().server().wait(deadline).has_value()); });
    expectFailure("test:3: start server: the server has ended: exit status 3");
    later.join();
}

TEST_F(ScenarioRunnerTest, ServerThatLeavesWithoutAWordFailsItsStop) {
    prepare("start server\nexpect line up\nstop server\n",
            script("trap 'exit 0' TERM\necho up\nwhile :; do sleep 0.01; done"));
    expectFailure("test:3: stop server: the server left without its last line");
}

TEST_F(ScenarioRunnerTest, StepsThatNeedTheServerFailWithoutIt) {
    for (const std::string step :
         {"stop server", "signal SIGTERM", "expect exit 0", "expect running"}) {
        prepare(step);
        expectFailure("test:1: " + step + ": the server was not started");
    }
}

TEST_F(ScenarioRunnerTest, ServerIsNotStartedTwice) {
    prepare("start server\nexpect line up\nstart server", script(orderly));
    expectFailure("test:3: start server: the server runs already");
}

TEST_F(ScenarioRunnerTest, SignalToAnEndedServerFails) {
    prepare("start server\nexpect exit 0\nsignal SIGTERM", script("exit 0"));
    expectFailure("test:3: signal SIGTERM: the server does not run");
}

TEST_F(ScenarioRunnerTest, ConfigurationIsChangedBeforeTheStart) {
    prepare(
        "configure ZephonServer PARAM_5 77\nstart server\nexpect line <PARAM_5>77<\nexpect line "
        "up\n",
        script("cat \"$1\"\n" + orderly));
    expectDone();
}

TEST_F(ScenarioRunnerTest, UnknownConfigurationKeyFailsItsStep) {
    prepare("configure ZephonServer Colour 7\nstart server\n", script(orderly));
    EXPECT_EQ(runner->run(), Result::Failed);
    EXPECT_THAT(runner->failure(), StartsWith("test:1: configure ZephonServer Colour 7: "));
    EXPECT_THAT(runner->failure(), HasSubstr("Colour"));
}

TEST_F(ScenarioRunnerTest, RecordsOfAQueueAreExpected) {
    prepare(
        "expect DT_IN frame 8504 flags=0x8000 1 2 within 30s\n"
        "expect DT_IN frame 8505\n"
        "expect no DT_IN frame 8504 within 0s\n"
        "expect no PNTD_MX frame 8504 within 0s\n");
    QueuePeer server(runner->bench().queuePeerOptions());
    // Both at once, and behind bytes that are nothing.
    ASSERT_TRUE(server.write("DT_IN", QueuePeer::Bytes{1, 2, 3})) << server.lastFailure();
    std::thread later([this, &server] {
        EXPECT_TRUE(notes.wait("DT_IN: 3 bytes that are no record"));
        QueueRecord record;
        record.data = UnitFrame{8504, UnitFrame::linkReady, {1, 2, 3}}.encode();
        QueuePeer::Bytes bytes = record.encode();
        record.data = UnitFrame{8505, UnitFrame::linkReady, {}}.encode();
        const QueuePeer::Bytes more = record.encode();
        bytes.insert(bytes.end(), more.begin(), more.end());
        record.data = {1, 2};
        EXPECT_TRUE(server.write("PNTD_MX", record)) << server.lastFailure();
        EXPECT_TRUE(notes.wait("PNTD_MX: a record without a frame: shorter than a header"));
        EXPECT_TRUE(server.write("DT_IN", bytes)) << server.lastFailure();
    });
    expectDone();
    later.join();
    EXPECT_EQ(runner->figures().queueRecords.at("DT_IN"), 2U);
    EXPECT_EQ(runner->figures().queueRecords.at("PNTD_MX"), 1U);
}

TEST_F(ScenarioRunnerTest, RecordsAndBytesAreInjected) {
    prepare(
        "inject TREVO_MX frame 5040 flags=0x9000 7\n"
        "inject TREVO_MX frame 5044\n"
        "inject DT_OUT bytes FF81 00\n");
    QueuePeer server(runner->bench().queuePeerOptions());
    expectDone();
    ASSERT_TRUE(server.startReading("TREVO_MX")) << server.lastFailure();
    ASSERT_TRUE(server.startReading("DT_OUT")) << server.lastFailure();
    ASSERT_TRUE(server.waitForRecords("TREVO_MX", 2, deadline));
    const auto records = server.records("TREVO_MX");
    ASSERT_EQ(records->size(), 2U);
    EXPECT_EQ(records->front().data, (UnitFrame{5040, 0x9000, {7}}.encode()));
    EXPECT_EQ(records->back().data, (UnitFrame{5044, 0x8000, {}}.encode()));
    EXPECT_EQ(records->back().sequence, 1);
    EXPECT_GT(records->back().validity.seconds, 1'700'000'000);
    EXPECT_FALSE(server.waitForRecords("DT_OUT", 1, deadline));  // at once: it is no record
    ASSERT_EQ(server.reads("DT_OUT").size(), 1U);
    EXPECT_EQ(server.reads("DT_OUT").front().bytes, (QueuePeer::Bytes{0xFF, 0x81, 0x00}));
    EXPECT_EQ(runner->figures().queueRecords.at("TREVO_MX"), 2U);
}

TEST_F(ScenarioRunnerTest, PntDeviceSpeaksAndChaptersAreTold) {
    prepare(
        "chapter \"The device answers the start\"\n"
        "pntd label cbit 4 Clock\n"
        "pntd on\n" +
        running +
        "expect PNTD_MX frame 27536 0 0 0 0 0x1101 0x0403 as \"what its test is called\"\n"
        "chapter \"It speaks unasked\"\n"
        "pntd fault cbit 4 hard\n"
        "pntd send status\n"
        "expect PNTD_MX frame 27535 0 0 0 0 0x0109 0x040B\n"
        "chapter Night\n"
        "expect line never within 0s as \"what never comes\"\n"
        "chapter \"Another day\"\n"
        "expect line never within 0s\n");
    EXPECT_EQ(runner->run(), Result::Failed);
    using State = ChapterResult::State;
    const auto& chapters = runner->chapters();
    ASSERT_EQ(chapters.size(), 4U);
    EXPECT_EQ(chapters[0].state, State::Passed) << runner->failure();
    EXPECT_EQ(chapters[0].met, 2U);
    ASSERT_EQ(chapters[0].checks.size(), 1U);
    EXPECT_EQ(chapters[0].checks[0].what, "what its test is called");
    EXPECT_EQ(chapters[0].checks[0].seen, "frame 27536, 34 words");
    EXPECT_EQ(chapters[1].state, State::Passed) << runner->failure();
    EXPECT_EQ(chapters[2].state, State::Failed);
    EXPECT_FALSE(chapters[2].checks.at(0).ok);
    EXPECT_EQ(chapters[3].state, State::NotReached);
}

TEST_F(ScenarioRunnerTest, FailureAtTheEndIsTheLastChapters) {
    prepare("chapter Day\nstart server\nexpect line up\n", script(disorderly));
    expectFailure("test: at the end: the server left with exit status 4");
    ASSERT_EQ(runner->chapters().size(), 1U);
    EXPECT_EQ(runner->chapters()[0].state, ChapterResult::State::Failed);
    EXPECT_EQ(runner->chapters()[0].checks.at(0).what, "at the end");
    EXPECT_EQ(runner->chapters()[0].checks.at(0).seen, "the server left with exit status 4");
}

TEST_F(ScenarioRunnerTest, FailureAfterAnInterruptIsThePresentChapters) {
    prepare("chapter Day\nstart server\nexpect line up\nexpect line down within 60s\n",
            script(disorderly));
    std::thread later([this] {
        EXPECT_TRUE(notes.wait("expect line down"));
        runner->interrupt();
    });
    expectFailure("test: at the end: the server left with exit status 4");
    later.join();
    EXPECT_EQ(runner->chapters().at(0).state, ChapterResult::State::Failed);
    EXPECT_EQ(runner->chapters().at(0).met, 1U);
}

TEST_F(ScenarioRunnerTest, RegistersAreSetAndExpected) {
    prepare(
        "expect register Processor_Interface 0x20 32 4 within 0s\n"
        "set Ptfe_Interface0 24 32 0xFFFF0001\n"
        "expect register Ptfe_Interface0 24 64 0xFFFF0001 within 0s\n"
        "expect register Ptfe_Interface0 26 8 0xFF within 0s\n"
        "expect register Ptfe_Interface0 24 16 2 within 0s\n");
    expectFailure("test:5: expect register Ptfe_Interface0 24 16 2 within 0s: it holds 1 (0x1)");
    EXPECT_EQ(runner->bench().fpga().read32("Ptfe_Interface0", 24), 0xFFFF0001);
}

TEST_F(ScenarioRunnerTest, RegisterThatIsSetLaterIsAwaited) {
    prepare("expect register Ptfe_Interface0 24 32 7 within 60s\n");
    std::thread later([this] {
        EXPECT_TRUE(notes.wait("expect register"));
        runner->bench().fpga().write32("Ptfe_Interface0", 24, 7);
    });
    expectDone();
    later.join();
}

TEST_F(ScenarioRunnerTest, RegisterThatThereIsNotFailsItsStep) {
    prepare("set Nowhere_Interface 0 32 1\n");
    EXPECT_EQ(runner->run(), Result::Failed);
    EXPECT_THAT(runner->failure(), StartsWith("test:1: set Nowhere_Interface 0 32 1: "));
    prepare("set Ptfe_Interface0 0xFFFFFFFF 8 1\n");
    EXPECT_EQ(runner->run(), Result::Failed);
    EXPECT_THAT(runner->failure(), StartsWith("test:1: set Ptfe_Interface0 0xFFFFFFFF 8 1: "));
}

TEST_F(ScenarioRunnerTest, StepsKeepTheirTimes) {
    const auto begin = std::chrono::steady_clock::now();
    prepare("at 200ms start server\nexpect line up\nafter 100ms stop server\n", script(orderly));
    expectDone();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 300ms);
}

TEST_F(ScenarioRunnerTest, InterruptEndsAStreamAndTheScenarioGoesOn) {
    prepare(
        "start server\nexpect line up\nstream 100\nwait stream\nexpect no line down within 0s\n",
        script(orderly));
    std::thread later([this] {
        EXPECT_TRUE(notes.wait("wait stream"));
        runner->interrupt();
    });
    expectDone();
    later.join();
    EXPECT_TRUE(notes.wait("the stream is stopped"));
    EXPECT_TRUE(notes.wait("expect no line down"));
}

TEST_F(ScenarioRunnerTest, InterruptBeforeTheFirstPairIsNoFailure) {
    streamDelay = deadline;  // however late the interrupt comes
    prepare("start server\nexpect line up\nstream 0.1\nwait stream\nexpect solutions\n",
            script(orderly));
    std::thread later([this] {
        EXPECT_TRUE(notes.wait("stream 0.1"));
        runner->interrupt();
    });
    EXPECT_EQ(runner->run(), Result::Interrupted) << runner->failure();
    later.join();
    EXPECT_EQ(runner->figures().totals.pairs, 0U);
    EXPECT_TRUE(runner->bench().server().wait(0s)->ok());
}

TEST_F(ScenarioRunnerTest, InterruptEndsTheScenarioElsewhereAndTheServerInOrder) {
    prepare("start server\nexpect line up\nexpect line down within 60s\n", script(orderly));
    std::thread later([this] {
        EXPECT_TRUE(notes.wait("expect line down"));
        runner->interrupt();
    });
    EXPECT_EQ(runner->run(), Result::Interrupted) << runner->failure();
    later.join();
    EXPECT_TRUE(runner->bench().server().wait(0s)->ok());
}

TEST_F(ScenarioRunnerTest, StreamIsNotWaitedForWhenTheServerDies) {
    prepare("start server\nstream 100\nwait stream\n", script("exit 0"));
    expectFailure("test:3: wait stream: the server has ended");
}

TEST_F(ScenarioRunnerTest, StreamIsNotWaitedForWhenItsPublisherDies) {
    for (const std::string wait : {"wait stream", "expect solutions within 60s"}) {
        prepare("stream 100\n" + wait + "\n");
        std::thread later([this, wait] {
            EXPECT_TRUE(notes.wait(wait));
            killChild("ClockAndNavigator");
        });
        expectFailure("test:2: " + wait + ": zephon-topic-peer has ended: signal 9 (Killed)");
        later.join();
    }
}

TEST_F(ScenarioRunnerTest, FailureLeavesNothingRunning) {
    prepare("start server\nexpect line up\nstream 100\nexpect line down within 0s\n",
            script(orderly));
    expectFailure("test:4: expect line down within 0s: it did not come; nothing else did");
    const pid_t server = runner->bench().server().pid();
    runner.reset();
    EXPECT_NE(::kill(server, 0), 0);
}

}  // namespace
}  // namespace bench
