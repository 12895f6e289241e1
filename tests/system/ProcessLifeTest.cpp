// How the process begins and ends, seen from outside.

#include <csignal>
#include <cstdlib>
#include <string>

#include "bench/Bench.h"
#include "bench/Patience.h"
#include "gmock/gmock.h"

namespace {

using namespace std::chrono_literals;
using bench::Bench;
using bench::ChildProcess;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// How often a test tries to hit a moment, on a machine that may hold it up.
constexpr int attempts = 5;

ChildProcess runServer(std::vector<std::string> arguments) {
    ChildProcess::Options options;
    options.arguments = std::move(arguments);
    return {bench::programFolder() / "ZephonServer", options};
}

TEST(ProcessLife, WithoutAnArgumentItTellsItsUsageAndEndsWithOne) {
    auto server = runServer({});
    const auto exit = server.wait(10s);
    ASSERT_TRUE(exit);
    EXPECT_EQ(1, exit->status);
    EXPECT_EQ(0, exit->signal);
    const std::string program = (bench::programFolder() / "ZephonServer").string();
    EXPECT_EQ("Usage: " + program + " <top-level-config-file> \n", server.output());
}

TEST(ProcessLife, WithTwoArgumentsItTellsItsUsageAndEndsWithOne) {
    auto server = runServer({"one.xml", "two.xml"});
    const auto exit = server.wait(10s);
    ASSERT_TRUE(exit);
    EXPECT_EQ(1, exit->status);
    EXPECT_THAT(server.standardOutput(), EndsWith(" <top-level-config-file> \n"));
}

class EndingSignal : public testing::TestWithParam<int> {};

TEST_P(EndingSignal, EndsTheRunInOrderAndIsNamedInTheLastLine) {
    Bench bench;
    bench.start();
    ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    ASSERT_TRUE(bench.server().signal(GetParam()));
    const auto exit = bench.server().wait(20s);
    ASSERT_TRUE(exit) << bench.report();
    EXPECT_TRUE(exit->ok()) << exit->text() << bench.report();
    const std::string output = bench.server().standardOutput();
    EXPECT_THAT(output, HasSubstr("ZephonServer stopped successfully.\n"));
    EXPECT_THAT(output, HasSubstr("\n!!!!!! "));
    EXPECT_THAT(output, EndsWith(" has exited. Signal: " + std::to_string(GetParam()) + "\n"));
}

INSTANTIATE_TEST_SUITE_P(ProcessLife, EndingSignal,
                         testing::Values(SIGQUIT, SIGILL, SIGABRT, SIGBUS, SIGTERM, SIGTRAP, SIGSYS,
                                         SIGFPE, SIGINT),
                         [](auto const& parameter) { return sigabbrev_np(parameter.param); });

TEST(ProcessLife, BeginsToStopWithinOnePollOfASignal) {
    Bench bench;
    bench.start();
    ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(bench.server().signal(SIGTERM));
    ASSERT_TRUE(bench.server().waitForLine("stopped successfully.", 20s)) << bench.report();
    // 500 ms of the poll and three links of three threads with 200 ms each; the rest is room for
    // a busy machine.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms + 9 * 200ms + 15s);
}

class FaultSignal : public testing::TestWithParam<int> {};

TEST_P(FaultSignal, TakesItsDefaultActionTheSecondTime) {
    // A test that is held up meanwhile finds that the stop has ended in order.
    for (int attempt = 0; attempt < attempts; ++attempt) {
        Bench bench;
        bench.start();
        ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
        ASSERT_TRUE(bench.server().catches(GetParam()));
        bench.server().signal(GetParam());
        // The handler has gone as soon as the first one was taken; the stop takes longer.
        ASSERT_TRUE(bench::holdsInTime([&] { return !bench.server().catches(GetParam()); }, 20s));
        bench.server().signal(GetParam());
        const auto exit = bench.server().wait(20s);
        ASSERT_TRUE(exit) << bench.report();
        if (!exit->ok()) {
            EXPECT_EQ(GetParam(), exit->signal) << exit->text();
            return;
        }
    }
    FAIL() << "no second signal came in time";
}

INSTANTIATE_TEST_SUITE_P(ProcessLife, FaultSignal, testing::Values(SIGILL, SIGBUS, SIGFPE),
                         [](auto const& parameter) { return sigabbrev_np(parameter.param); });

class UncaughtSignal : public testing::TestWithParam<int> {};

TEST_P(UncaughtSignal, KeepsItsDefaultAction) {
    Bench::Options options;
    // A sanitizer takes SIGSEGV for itself.
    for (const std::string name : {"ASAN_OPTIONS", "TSAN_OPTIONS"}) {
        const char* const present = std::getenv(name.c_str());
        options.environment[name] =
            (present != nullptr ? std::string(present) + ":" : std::string()) + "handle_segv=0";
    }
    Bench bench(options);
    bench.start();
    ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    EXPECT_FALSE(bench.server().catches(GetParam()));
    bench.server().signal(GetParam());
    const auto exit = bench.server().wait(20s);
    ASSERT_TRUE(exit) << bench.report();
    EXPECT_EQ(GetParam(), exit->signal) << exit->text();
    EXPECT_THAT(bench.server().standardOutput(), Not(HasSubstr("has exited")));
}

INSTANTIATE_TEST_SUITE_P(ProcessLife, UncaughtSignal, testing::Values(SIGHUP, SIGPIPE, SIGSEGV),
                         [](auto const& parameter) { return sigabbrev_np(parameter.param); });

TEST(ProcessLife, ASignalDuringTheStartEndsItAtOnce) {
    // A test that is held up meanwhile finds that the start has ended.
    for (int attempt = 0; attempt < attempts; ++attempt) {
        Bench bench;
        bench.start();
        // The links are configured; each of the three then takes 100 ms to start.
        ASSERT_TRUE(bench.server().waitForLine("Serial Params: ", 30s)) << bench.report();
        bench.server().signal(SIGTERM);
        const auto exit = bench.server().wait(20s);
        ASSERT_TRUE(exit) << bench.report();
        if (!exit->ok()) {
            EXPECT_EQ(SIGTERM, exit->signal) << exit->text();
            EXPECT_THAT(bench.server().standardOutput(), Not(HasSubstr("has exited")));
            return;
        }
    }
    FAIL() << "no signal came during a start";
}

TEST(ProcessLife, TellsItsPartNumberAtTheConnection) {
    Bench bench;
    bench.start();
    ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    const std::string output = bench.server().standardOutput();
    EXPECT_THAT(output, HasSubstr("\nZephonServer XPN: 074-8125-600B  "));
    EXPECT_THAT(output, HasSubstr("\nZephonServer started successfully.\n"));
}

TEST(ProcessLife, LeavesNoSharedMemoryBehindAfterAStopInOrder) {
    Bench bench;
    bench.start();
    ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    const std::string maps = "/proc/" + std::to_string(bench.server().pid()) + "/maps";
    std::vector<std::string> segments;
    std::ifstream file(maps);
    for (std::string line; std::getline(file, line);) {
        const auto place = line.find("/dev/shm/fastrtps_");
        // Port segments are shared with other participants and may outlive one of them.
        if (place != std::string::npos && line.find("fastrtps_port") == std::string::npos) {
            segments.push_back(line.substr(place));
        }
    }
    ASSERT_FALSE(segments.empty());
    const auto exit = bench.stop();
    ASSERT_TRUE(exit && exit->ok()) << bench.report();
    for (auto const& segment : segments) {
        EXPECT_FALSE(std::filesystem::exists(segment)) << segment;
    }
}

}  // namespace
