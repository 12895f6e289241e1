// What the server has and what it has told once it is connected.

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "gmock/gmock.h"
#include "tests/system/EventReader.h"
#include "tests/system/FpgaTime.h"

namespace {

using namespace std::chrono_literals;
using bench::Bench;
using bench::FpgaModel;
using bench::TopicPeer;
using testing::ElementsAre;
using testing::StartsWith;

constexpr std::size_t serverPeripheral = 29 * 4;  // offset of its control register

constexpr std::size_t uartDelay(unsigned uart) {
    return (uart + 48) * 8;
}

/// The flags of a process's descriptors of one file, in ascending order.
std::vector<int> openFlags(pid_t pid, std::filesystem::path const& file) {
    const std::string process = "/proc/" + std::to_string(pid);
    std::vector<int> flags;
    for (auto const& entry : std::filesystem::directory_iterator(process + "/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) != file) {
            continue;
        }
        std::ifstream info(process + "/fdinfo/" + entry.path().filename().string());
        for (std::string key; info >> key;) {
            std::string value;
            info >> value;
            if (key == "flags:") {
                flags.push_back(std::stoi(value, nullptr, 8));
            }
        }
    }
    std::sort(flags.begin(), flags.end());
    return flags;
}

class Connection : public testing::Test {
protected:
    void start(Bench::Options const& options = {}) {
        bench = std::make_unique<Bench>(options);
        begin();
    }
    void begin() {
        bench->start();
        ASSERT_TRUE(bench->waitUntilRunning()) << bench->report();
    }
    void stop() {
        const auto exit = bench->stop();
        ASSERT_TRUE(exit && exit->ok()) << bench->report();
    }

    std::unique_ptr<Bench> bench;
};

TEST_F(Connection, HoldsBothEndsOfEveryQueueDeviceAndOneDescriptorOfTheMemory) {
    start();
    const pid_t server = bench->server().pid();
    for (unsigned port = 0; port < 5; ++port) {
        const auto flags = openFlags(server, bench->devices().queuePath(port));
        ASSERT_EQ(2U, flags.size()) << port;
        EXPECT_EQ(O_RDONLY, flags[0] & O_ACCMODE) << port;
        EXPECT_EQ(O_WRONLY, flags[1] & O_ACCMODE) << port;
        EXPECT_NE(0, flags[1] & O_NONBLOCK) << port;  // a full queue must not hold up a link
    }
    const auto memory = openFlags(server, bench->devices().memoryPath());
    ASSERT_EQ(1U, memory.size());
    EXPECT_EQ(O_RDWR, memory[0] & O_ACCMODE);
    EXPECT_EQ(O_SYNC, memory[0] & O_SYNC);
    stop();
}

TEST_F(Connection, SwitchesItsPeripheralOn) {
    bench = std::make_unique<Bench>();
    EXPECT_EQ(0U, bench->fpga().read32("Peripheral_Interface", serverPeripheral));
    begin();
    EXPECT_EQ(1U, bench->fpga().read32("Peripheral_Interface", serverPeripheral));
    for (std::size_t offset = 0; offset < 64 * 4; offset += 4) {
        if (offset != serverPeripheral) {
            EXPECT_EQ(0U, bench->fpga().read32("Peripheral_Interface", offset)) << offset / 4;
        }
    }
}

TEST_F(Connection, LeavesAPeripheralThatTheFpgaDoesNotHaveAlone) {
    Bench::Options options;
    options.fpga.periphs = 29;  // counted from 0
    start(options);
    EXPECT_EQ(0U, bench->fpga().read32("Peripheral_Interface", serverPeripheral));
}

TEST_F(Connection, SwitchesItsPeripheralOnOnlyWhenAllElseIsConnected) {
    Bench::Options options;
    options.settings.transport = "UDP";  // shared memory would stay behind
    bench = std::make_unique<Bench>(options);
    bench->configuration().set("Zephon3", "ChannelNum", "77");
    bench->start();
    const auto exit = bench->server().wait(30s);
    ASSERT_TRUE(exit) << bench->report();
    EXPECT_EQ(SIGABRT, exit->signal) << exit->text();
    // The links before it came up, so the registers were at hand.
    EXPECT_NE(0U, bench->fpga().read32("TimeStamp_Interface", uartDelay(2)));
    EXPECT_EQ(0U, bench->fpga().read32("Peripheral_Interface", serverPeripheral));
}

TEST_F(Connection, TellsTheUartsHowLongTenCharactersTake) {
    Bench::Options options;
    options.settings.channels = {4, 2, 9};
    bench = std::make_unique<Bench>(options);
    bench->configuration().set("Zephon1", "Baudrate", "9600");
    bench->configuration().set("Zephon2", "Parity", "1");  // 115200 baud, a bit more a character
    bench->configuration().set("Zephon3", "Baudrate", "12345");  // no whole number of ticks
    begin();
    EXPECT_EQ(614400U, bench->fpga().read32("TimeStamp_Interface", uartDelay(4)));
    EXPECT_EQ(56320U, bench->fpga().read32("TimeStamp_Interface", uartDelay(2)));
    EXPECT_EQ(477783U, bench->fpga().read32("TimeStamp_Interface", uartDelay(9)));
    for (const unsigned other : {0U, 1U, 3U}) {
        EXPECT_EQ(0U, bench->fpga().read32("TimeStamp_Interface", uartDelay(other))) << other;
    }
}

TEST_F(Connection, AnnouncesItselfOnTheEventLog) {
    bench = std::make_unique<Bench>();
    EventReader const events(*bench);
    const auto before = FpgaModel::Clock::now().time_since_epoch();
    bench->fpga().pulseArrived(0);  // brings the count up to date
    begin();
    ASSERT_TRUE(events.waitFor("ZephonServer started successfully.")) << bench->report();
    stop();
    ASSERT_TRUE(events.waitFor("ZephonServer stopped successfully.")) << events.report();
    const auto after = FpgaModel::Clock::now().time_since_epoch();

    std::vector<std::string> texts;
    std::int64_t sequence = 0;
    std::int64_t previous = std::chrono::nanoseconds(before).count() - 1'000'000 - 8;
    for (auto const& event : events.all()) {
        EXPECT_EQ(sequence++, event.header.sequence);
        if (event.text.find("PROTOCOL TIMEOUT") != std::string::npos) {
            continue;  // of an ACK that was late
        }
        texts.push_back(event.text);
        EXPECT_EQ(2, event.type) << event.text;
        EXPECT_EQ(0x03313B00, event.header.deviceId) << event.text;
        EXPECT_EQ(100, event.header.timeCode) << event.text;
        EXPECT_EQ(event.header.tagSeconds, event.header.arrivalSeconds);
        EXPECT_EQ(event.header.tagNanoseconds, event.header.arrivalNanoseconds);
        // The model counts from the origin of the clock, and lags by less than a millisecond.
        EXPECT_GE(event.header.tag(), previous) << event.text;
        EXPECT_LE(event.header.tag(), std::chrono::nanoseconds(after).count());
        EXPECT_TRUE(isTimeOfTicks(event.header.tag())) << event.header.tag();
        previous = event.header.tag();
    }
    EXPECT_THAT(texts, ElementsAre("//aspn://CORVANE/ZephonServer:" ZEPHON_BUILD_STAMP "/",
                                   StartsWith("ZephonServer XPN: 074-8125-600B  "),
                                   StartsWith("PartNumbers\nBSP PN: 074-8125-001\n"),
                                   "ZephonServer started successfully.",
                                   "ZephonServer stopped successfully."));
}

TEST_F(Connection, TellsALateReaderWhatCameBeforeIt) {
    start();
    EventReader const events(*bench);
    ASSERT_TRUE(events.waitFor("ZephonServer started successfully.")) << events.report();
    EXPECT_EQ("//aspn://CORVANE/ZephonServer:" ZEPHON_BUILD_STAMP "/", events.all()[0].text);
    EXPECT_EQ(0, events.all()[0].header.sequence);
    stop();
}

struct System {
    char const* name;
    std::int64_t deviceId;
};

void PrintTo(System const& system, std::ostream* out) {
    *out << system.name;
}

class DeviceOfTheSystem : public Connection, public testing::WithParamInterface<System> {};

TEST_P(DeviceOfTheSystem, StandsInTheEventLog) {
    bench = std::make_unique<Bench>();
    bench->configuration().set("Meridane", "System", GetParam().name);
    EventReader const events(*bench);
    begin();
    const auto started = events.waitFor("started successfully.");
    ASSERT_TRUE(started) << bench->report();
    EXPECT_EQ(GetParam().deviceId, started->header.deviceId);
}

INSTANTIATE_TEST_SUITE_P(Connection, DeviceOfTheSystem,
                         testing::Values(System{"OSTREL", 0x01313B00}, System{"ILMAR", 0x02313B00},
                                         System{"ostrel", 0x00313B00}),
                         [](auto const& parameter) { return std::string(parameter.param.name); });

TEST_F(Connection, OffersTheMaintenanceEventsToTheirReaders) {
    bench = std::make_unique<Bench>();
    EventReader events(*bench);
    begin();
    EXPECT_TRUE(events.peer().waitForWriters(1, 20s)) << events.peer().lastFailure();
    stop();
}

TEST_F(Connection, CanBeMadeAgainByTheNextProcess) {
    start();
    stop();
    begin();
    stop();
}

}  // namespace
