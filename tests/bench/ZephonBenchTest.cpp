// The program zephon-bench, and the example scenarios that are shipped with it.

#include <csignal>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/ChildProcess.h"
#include "bench/ExampleConfiguration.h"
#include "bench/TemporaryFolder.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

constexpr auto deadline = 90s;

std::string example(const std::string& name) {
    return ExampleConfiguration::installedFolder() / "scenarios" / (name + ".scenario");
}

/// The program with these arguments.
class Program : public ChildProcess {
public:
    explicit Program(std::vector<std::string> arguments)
        : ChildProcess(programFolder() / "zephon-bench", options(std::move(arguments))) {}

    int status(std::chrono::milliseconds timeout = deadline) const {
        const auto exit = wait(timeout);
        return exit && exit->signal == 0 ? exit->status : -1;
    }

private:
    static Options options(std::vector<std::string> arguments) {
        Options result;
        result.arguments = std::move(arguments);
        return result;
    }
};

class ZephonBench : public testing::Test {
protected:
    std::string file(const std::string& text) {
        const auto path = folder.path() / "small.scenario";
        std::ofstream(path) << text;
        return path;
    }

    TemporaryFolder folder;
};

TEST_F(ZephonBench, PlaysTheDemosDayWhenNothingElseIsAsked) {
    const Program program({"--duration", "1", "--rate", "5"});
    EXPECT_EQ(program.status(4min), 0) << program.output();
    const std::string output = program.standardOutput();
    EXPECT_THAT(output, HasSubstr("\nA zeroize by each of its roads: as expected, "));
    EXPECT_THAT(output, HasSubstr("\n11 of 11 chapters and "));
    EXPECT_THAT(output, HasSubstr("\n    wrong                     0\n"));
    EXPECT_THAT(output, HasSubstr("\n    missing                   0\n"));
    EXPECT_THAT(output, HasSubstr("All went well."));
}

TEST_F(ZephonBench, PlaysTheNavigationForTheGivenTime) {
    const Program program({"--scenario", example("navigation"), "--duration", "1", "--rate", "5"});
    EXPECT_EQ(program.status(), 0) << program.output();
    const std::string output = program.standardOutput();
    EXPECT_THAT(output, HasSubstr("stream 5 for 1s"));
    EXPECT_THAT(output, HasSubstr("  published                   5 pairs"));
    EXPECT_THAT(output, HasSubstr("    right, byte for byte      5\n"));
    EXPECT_THAT(output, HasSubstr("EventLog information"));
    EXPECT_THAT(output, HasSubstr("ZephonServer started successfully."));
    EXPECT_THAT(output, HasSubstr("  queue records               DT_IN 1, PNTD_MX 2, TREVO_MX 4"));
    EXPECT_THAT(output,
                HasSubstr("  settings                    ZP1COM1 transmit 19200 None 153D, "));
    EXPECT_THAT(output,
                HasSubstr("\n                              ZP4COM3 transmit 19200 None NMEA, "));
    EXPECT_THAT(output, HasSubstr("All went well."));
}

TEST_F(ZephonBench, EndsTheNavigationInOrderOnCtrlC) {
    Program program({"--scenario", example("navigation"), "--set", "rate=5"});
    ASSERT_TRUE(program.waitForLines(": wait stream", 1, deadline)) << program.output();
    ASSERT_TRUE(program.waitForLines(" pairs right", 3, deadline)) << program.output();
    ASSERT_TRUE(program.signal(SIGINT));
    EXPECT_EQ(program.status(), 0) << program.output();
    EXPECT_THAT(program.standardOutput(), HasSubstr("the stream is stopped"));
    EXPECT_THAT(program.standardOutput(), HasSubstr("All went well."));
}

TEST_F(ZephonBench, NavigationSecondScenarioHolds) {
    const Program program({"--scenario", example("navigation-second")});
    EXPECT_EQ(program.status(), 0) << program.output();
}

TEST_F(ZephonBench, LostLineScenarioHolds) {
    const Program program({"--scenario", example("lost-line"), "--set", "rate=5"});
    EXPECT_EQ(program.status(), 0) << program.output();
}

TEST_F(ZephonBench, DamagedFramesScenarioHolds) {
    const Program program({"--scenario", example("damaged-frames")});
    EXPECT_EQ(program.status(), 0) << program.output();
}

TEST_F(ZephonBench, SettingsScenarioHolds) {
    const Program program({"--scenario", example("settings")});
    EXPECT_EQ(program.status(), 0) << program.output();
    EXPECT_THAT(program.standardOutput(),
                HasSubstr("ZP2COM1 transmit 115200 None 153D, receive 9600 Odd 153D, pulse 10 PPS "
                          "UTC, redundant Off, messages 8504, capabilities CORVANE, hot start "
                          "LNAV\n"));
}

TEST_F(ZephonBench, FailedStepIsToldAndGivesStatusOne) {
    const Program program({"--scenario", file("expect line x within 0s\n")});
    EXPECT_EQ(program.status(), 1);
    EXPECT_THAT(program.standardOutput(),
                HasSubstr("FAILED: small.scenario:1: expect line x within 0s: it did not come"));
}

TEST_F(ZephonBench, AScenarioThatASignalEndsBeforeItsLastStepIsNotASuccess) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Program program({"--scenario", file("expect line x within 60s\n")});
        ASSERT_TRUE(program.waitForLine("line 1: expect line x", deadline)) << program.output();
        ASSERT_TRUE(program.signal(signal));
        EXPECT_EQ(program.status(), 130) << program.output();
        EXPECT_THAT(program.standardOutput(),
                    HasSubstr("Ended before its last step; nothing had failed."));
    }
}

TEST_F(ZephonBench, ARunThatConfiguresNothingTellsOfNoSettings) {
    const Program program({"--scenario", file("after 1ms expect no line x within 0s\n")});
    EXPECT_EQ(program.status(), 0) << program.output();
    EXPECT_THAT(program.standardOutput(), HasSubstr("All went well."));
    EXPECT_THAT(program.standardOutput(), Not(HasSubstr("settings")));
}

TEST_F(ZephonBench, UnreadableScenarioIsToldAndNothingStarts) {
    const Program program({"--scenario", file("start server\nfly home\n")});
    EXPECT_EQ(program.status(), 1);
    EXPECT_EQ(program.standardError(), "zephon-bench: small.scenario:2: unknown step \"fly\"\n");
    EXPECT_EQ(program.standardOutput(), "");
}

TEST_F(ZephonBench, UnknownVariableIsTold) {
    const Program program({"--scenario", file("start server\n"), "--rate", "5"});
    EXPECT_EQ(program.status(), 1);
    EXPECT_EQ(program.standardError(), "zephon-bench: small.scenario: has no variable \"rate\"\n");
}

TEST_F(ZephonBench, HelpTellsTheLanguage) {
    const Program program({"--help"});
    EXPECT_EQ(program.status(), 0);
    EXPECT_THAT(program.standardOutput(), HasSubstr("expect [no] WHAT [within TIME]"));
}

}  // namespace
}  // namespace bench
