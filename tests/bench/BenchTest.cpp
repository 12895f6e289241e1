#include <csignal>
#include <fstream>

#include <gtest/gtest.h>

#include "bench/Bench.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

constexpr auto deadline = 20s;

/// A bench around a shell script that plays the server's outward part.
class BenchTest : public testing::Test {
protected:
    void prepare(const std::string& script, Bench::Options options = {}) {
        options.server = scripts.path() / "server";
        std::ofstream(options.server) << "#!/bin/sh\n" << script << "\n";
        std::filesystem::permissions(options.server, std::filesystem::perms::owner_all);
        bench = std::make_unique<Bench>(std::move(options));
    }

    TemporaryFolder scripts;
    std::unique_ptr<Bench> bench;
};

const std::string orderly =
    "trap 'echo \"!!!!!! server has exited. Signal: 15\"; exit 0' TERM\n"
    "trap : INT\n"
    "echo 'ZephonServer started successfully.'\n"
    "while :; do sleep 0.01; done";

TEST_F(BenchTest, StartsWaitsAndStops) {
    prepare(orderly);
    bench->start();
    ASSERT_TRUE(bench->waitUntilRunning(deadline)) << bench->report();
    const auto exit = bench->stop(deadline);
    ASSERT_TRUE(exit) << bench->report();
    EXPECT_TRUE(exit->ok());
    EXPECT_NE(bench->report().find("has exited. Signal: 15"), std::string::npos);
}

TEST_F(BenchTest, RunsAgainAfterAStop) {
    prepare(orderly);
    for (int i = 0; i < 2; ++i) {
        bench->start();
        ASSERT_TRUE(bench->waitUntilRunning(deadline)) << bench->report();
        ASSERT_TRUE(bench->stop(deadline));
    }
}

TEST_F(BenchTest, IsNotRunningWhileSignalsWouldJustKill) {
    // The line comes from a subshell, when the process itself is past its shell's handlers.
    prepare("(sleep 0.2; echo 'ZephonServer started successfully.') &\nexec sleep 60");
    bench->start();
    EXPECT_FALSE(bench->waitUntilRunning(1s));
    EXPECT_TRUE(bench->server().running());
}

TEST_F(BenchTest, NoticesAServerThatDiesAtOnce) {
    prepare("echo broken >&2\nexit 3");
    bench->start();
    EXPECT_FALSE(bench->waitUntilRunning(deadline));
    EXPECT_EQ(bench->server().wait(deadline)->status, 3);
    EXPECT_NE(bench->report().find("exit status 3"), std::string::npos);
    EXPECT_NE(bench->report().find("broken"), std::string::npos);
}

TEST_F(BenchTest, StopGivesUpOnAServerThatStays) {
    prepare("trap : TERM\necho ready\nwhile :; do sleep 0.01; done");
    bench->start();
    ASSERT_TRUE(bench->server().waitForLine("ready", deadline));
    EXPECT_FALSE(bench->stop(100ms));
}

TEST_F(BenchTest, GivesTheServerItsFileAndItsDevices) {
    Bench::Options options;
    options.environment = {{"BENCH_COLOUR", "green"}};
    options.settings.channels = {4, 5, 6};
    prepare("echo \"file $1\"; echo \"$BENCH_COLOUR\"; ls \"$ZEPHON_DEVICE_ROOT\"; cat \"$1\"",
            options);
    bench->configuration().set("ZephonServer", "PARAM_5", "77");
    bench->start();
    ASSERT_TRUE(bench->server().wait(deadline));
    const std::string output = bench->server().standardOutput();
    EXPECT_NE(output.find("file " + (bench->folder().path() / "zephon-server.xml").string()),
              std::string::npos);
    EXPECT_NE(output.find("green\nmcs0\nmcs1\nmcs2\nmcs3\nmcs4\nmem\nttyS4\nttyS5\nttyS6\n"),
              std::string::npos)
        << output;
    EXPECT_NE(output.find("<PARAM_5>77</PARAM_5>"), std::string::npos);
}

TEST_F(BenchTest, TheServersCommandsForTheSlipChannelTouchNoInterface) {
    prepare("slattach -s 115200 & ifconfig sl0 up; echo \"status $?\"; wait");
    bench->start();
    EXPECT_TRUE(bench->slipTools().waitForCall("slattach -s 115200", deadline));
    EXPECT_TRUE(bench->slipTools().waitForCall("ifconfig sl0 up", deadline));
    ASSERT_TRUE(bench->server().wait(deadline));
    EXPECT_EQ(bench->server().standardOutput(), "status 0\n");
    bench->slipTools().failIfconfig();
    bench->start();
    ASSERT_TRUE(bench->server().wait(deadline));
    EXPECT_EQ(bench->server().standardOutput(), "status 1\n");
}

TEST_F(BenchTest, EachLinkEndsAtItsUnit) {
    prepare("for n in 1 2 3; do printf \"$n$n\" >\"$ZEPHON_DEVICE_ROOT/ttyS$n\"; done");
    bench->start();
    ASSERT_TRUE(bench->server().wait(deadline)) << bench->report();
    for (const unsigned link : {1U, 2U, 3U}) {
        UnitModel& unit = bench->unit(link);
        const auto end = std::chrono::steady_clock::now() + deadline;
        while (unit.statistics().line.bytes < 2 && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_EQ(unit.statistics().line.bytes, 2U);
    }
    EXPECT_THROW(bench->unit(0), std::out_of_range);
    EXPECT_THROW(bench->unit(4), std::out_of_range);
}

TEST_F(BenchTest, WhatAUnitSendsStampsTheUartOfItsChannel) {
    Bench::Options options;
    options.settings.channels = {4, 5, 6};
    prepare("true", options);
    EXPECT_EQ(bench->fpga().read32("Processor_Interface", 0x20), 7U) << "UARTs 0 to 6";
    const auto stamp = [this](unsigned uart) {
        return bench->fpga().read64("TimeStamp_Interface", (std::size_t{uart} + 64) * 8);
    };
    const auto before = FpgaModel::ticksAt(std::chrono::steady_clock::now());
    bench->unit(2).sendBytes({1, 2, 3});
    ASSERT_TRUE(bench->unit(2).waitUntilSent(deadline));
    EXPECT_GE(stamp(5), before);
    EXPECT_LE(stamp(5), FpgaModel::ticksAt(std::chrono::steady_clock::now()));
    EXPECT_EQ(stamp(4), 0U);
    EXPECT_EQ(stamp(6), 0U);
}

TEST_F(BenchTest, TheServerFindsTheRegistersInItsMemoryDevice) {
    // The build date stands at the address of the example's processor region, lowest byte first.
    prepare("od -An -tx1 -j$((0x40000008)) -N4 \"$ZEPHON_DEVICE_ROOT/mem\"");
    bench->start();
    ASSERT_TRUE(bench->server().wait(deadline)) << bench->report();
    EXPECT_EQ(bench->server().standardOutput(), " 18 09 24 20\n");
}

TEST_F(BenchTest, LinkComesBackUnderTheSameName) {
    prepare("true");
    const auto link = bench->devices().serialPath(2);
    bench->unit(2).hangUp();
    bench->reconnect(2);
    EXPECT_EQ(std::filesystem::read_symlink(link), bench->unit(2).devicePath());
}

TEST_F(BenchTest, BenchesHaveDomainsAndPortsOfTheirOwn) {
    const Bench one;
    const Bench other;
    EXPECT_NE(one.settings().domain, other.settings().domain);
    EXPECT_NE(one.settings().port, other.settings().port);
    const auto peer = one.peerOptions(TopicPeer::Role::ClockDevice);
    EXPECT_EQ(peer.domain, one.settings().domain);
    EXPECT_EQ(peer.port, one.settings().port);
    EXPECT_EQ(peer.role, TopicPeer::Role::ClockDevice);
}

TEST_F(BenchTest, LeavesNothingBehind) {
    std::filesystem::path folder;
    pid_t server = 0;
    {
        prepare(orderly);
        folder = bench->folder().path();
        bench->start();
        ASSERT_TRUE(bench->waitUntilRunning(deadline));
        server = bench->server().pid();
        bench.reset();
    }
    EXPECT_FALSE(std::filesystem::exists(folder));
    EXPECT_NE(::kill(server, 0), 0);
}

}  // namespace
}  // namespace bench
