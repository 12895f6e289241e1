// What the process says, and how it ends, when a device that it needs is missing or is another.

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>

#include "bench/Bench.h"
#include "gmock/gmock.h"

namespace {

using namespace std::chrono_literals;
using bench::Bench;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

constexpr std::size_t serverPeripheral = 29 * 4;  // offset of its control register

/// Starts a server that must fail. An unhandled exception ends it, with its text as the last line.
class ConnectionFailure : public testing::Test {
protected:
    ConnectionFailure() : bench(options()) {}

    /// What a process that aborts has of shared memory stays behind, so it gets none.
    static Bench::Options options() {
        Bench::Options options;
        options.settings.transport = "UDP";
        return options;
    }

    void expectEnd(std::string const& source, std::string const& text) {
        bench.start();
        const auto exit = bench.server().wait(30s);
        ASSERT_TRUE(exit) << bench.report();
        EXPECT_EQ(SIGABRT, exit->signal) << exit->text() << bench.report();
        output = "\n" + bench.server().standardOutput();
        EXPECT_THAT(output, ContainsRegex("\n" + source + "\\.cpp\\[[0-9]+\\]:"));
        EXPECT_THAT(output, HasSubstr("]:" + text + "\n"));
        EXPECT_THAT(output, Not(HasSubstr("has exited")));
        EXPECT_THAT(output, Not(HasSubstr("started successfully")));
        EXPECT_EQ(0U, bench.fpga().read32("Peripheral_Interface", serverPeripheral));
    }
    void expectFpgaEnd(std::string const& code, std::string const& text) {
        expectEnd("FpgaFace", code + " FpgaFace() " + text);
        EXPECT_THAT(output, Not(HasSubstr("Serial Params: ")));
    }
    void expectConnectEnd() {
        expectEnd("ZephonServerMain", "INVALID_CONFIG Framework_Connect() failed");
        EXPECT_THAT(output, Not(HasSubstr("Serial Params: ")));
    }

    Bench bench;
    std::string output;
};

TEST_F(ConnectionFailure, NoMemoryDevice) {
    std::filesystem::remove(bench.devices().memoryPath());
    expectFpgaEnd("INVALID_MODE", "FAILED to read FPGA number of UARTs");
}

TEST_F(ConnectionFailure, MemoryDeviceThatCannotBeMapped) {
    std::filesystem::remove(bench.devices().memoryPath());
    std::filesystem::create_directory(bench.devices().memoryPath());
    expectFpgaEnd("INVALID_MODE", "FAILED to read FPGA number of UARTs");
}

struct Step {
    char const* name;
    char const* container;
    char const* text;
};

void PrintTo(Step const& step, std::ostream* out) {
    *out << step.name;
}

class MissingRegion : public ConnectionFailure, public testing::WithParamInterface<Step> {};

TEST_P(MissingRegion, IsNamed) {
    bench.configuration().omitContainer(GetParam().container);
    expectFpgaEnd("INVALID_CONFIG", std::string("FAILED to open ") + GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    ConnectionFailure, MissingRegion,
    testing::Values(Step{"Processor", "Processor_Interface", "processor interface"},
                    Step{"Peripheral", "Peripheral_Interface", "peripheral interface"},
                    Step{"TimeStamp", "TimeStamp_Interface", "timestamp interface"},
                    Step{"PpsSlave", "PpsSlave_Interface", "PPS Slave interface"},
                    Step{"PtpClock", "PtpClock_Interface", "PTP Clock interface"},
                    Step{"FirstPtfe", "Ptfe_Interface0", "PTFE 0 interface"},
                    Step{"SecondPtfe", "Ptfe_Interface1", "PTFE 1 interface"},
                    Step{"FirstPulseGen", "PulseGen_Interface0", "PulseGen 0 interface"},
                    Step{"SecondPulseGen", "PulseGen_Interface1", "PulseGen 1 interface"}),
    [](auto const& parameter) { return std::string(parameter.param.name); });

TEST_F(ConnectionFailure, RegionWithoutAnAddress) {
    bench.configuration().omit("TimeStamp_Interface", "BaseAddress");
    expectFpgaEnd("INVALID_CONFIG", "FAILED to open timestamp interface");
    EXPECT_THAT(output, HasSubstr("WARNING - Parameter BaseAddress not found\n"));
}

TEST_F(ConnectionFailure, RegionWithoutASize) {
    bench.configuration().omit("TimeStamp_Interface", "Size");
    expectFpgaEnd("INVALID_CONFIG", "FAILED to open timestamp interface");
    EXPECT_THAT(output, HasSubstr("WARNING - Parameter Size not found\n"));
}

/// Each count stands four bytes behind the one before it, and the rate behind the last; a region
/// that ends before one of them fails its read alone.
struct Register {
    char const* name;
    char const* regionSize;
    char const* text;
};

void PrintTo(Register const& place, std::ostream* out) {
    *out << place.name;
}

class MissingRegister : public ConnectionFailure, public testing::WithParamInterface<Register> {};

TEST_P(MissingRegister, IsNamed) {
    bench.configuration().set("Processor_Interface", "Size", GetParam().regionSize);
    expectFpgaEnd("NO_ACTION", std::string("FAILED to read FPGA ") + GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(ConnectionFailure, MissingRegister,
                         testing::Values(Register{"Uarts", "0x20", "number of UARTs"},
                                         Register{"Ptfes", "0x24", "number of PTFEs"},
                                         Register{"Pulses", "0x28", "number of Pulses"},
                                         Register{"Periphs", "0x2C", "number of Periphs"},
                                         Register{"ClockRate", "0x30", "clock rate"}),
                         [](auto const& parameter) { return std::string(parameter.param.name); });

TEST_F(ConnectionFailure, MorePtfesThanConfigured) {
    bench.fpga().write32("Processor_Interface", 0x24, 3);
    expectFpgaEnd("INVALID_CONFIG", "FAILED to open PTFE 2 interface");
}

TEST_F(ConnectionFailure, MorePulseGeneratorsThanConfigured) {
    bench.fpga().write32("Processor_Interface", 0x28, 3);
    expectFpgaEnd("INVALID_CONFIG", "FAILED to open PulseGen 2 interface");
}

TEST_F(ConnectionFailure, CountsThatAreNonsense) {
    for (const std::size_t count : {0x20, 0x24, 0x28, 0x2C}) {
        bench.fpga().write32("Processor_Interface", count, 0xFFFFFFFF);
    }
    expectFpgaEnd("INVALID_CONFIG", "FAILED to open PTFE 2 interface");
}

TEST_F(ConnectionFailure, AnotherClockRate) {
    bench.fpga().write32("Processor_Interface", 0x30, 50'000'000);
    expectFpgaEnd("INVALID_MODE", "FPGA clock rate mismatch, got 50000000, expected 58982400");
}

struct Queue {
    char const* name;
    unsigned port;
};

void PrintTo(Queue const& queue, std::ostream* out) {
    *out << queue.name;
}

class QueueFailure : public ConnectionFailure, public testing::WithParamInterface<Queue> {
protected:
    std::string path() { return bench.devices().queuePath(GetParam().port).string(); }
    std::string errors() { return bench.server().standardError(); }
    std::string refusal() { return "Unable to open output pipe file: " + path() + "\n"; }
};

TEST_P(QueueFailure, WithoutItsContainer) {
    bench.configuration().omitContainer(GetParam().name);
    expectConnectEnd();
}

TEST_P(QueueFailure, WithoutItsPort) {
    bench.configuration().omit(GetParam().name, "Port");
    expectConnectEnd();
    EXPECT_THAT(output, HasSubstr("WARNING - Parameter Port not found\n"));
}

TEST_P(QueueFailure, WithoutItsDevice) {
    bench.devices().removeQueue(GetParam().port);
    expectConnectEnd();
    EXPECT_THAT(errors(), HasSubstr(refusal()));
}

TEST_P(QueueFailure, WithADeviceThatCannotBeWritten) {
    bench.devices().removeQueue(GetParam().port);
    std::filesystem::create_directory(path());  // opens for reading only, whoever asks
    expectConnectEnd();
    EXPECT_THAT(errors(), HasSubstr(refusal()));
}

INSTANTIATE_TEST_SUITE_P(ConnectionFailure, QueueFailure,
                         testing::Values(Queue{"TREVO_MX", 0}, Queue{"HALVOR_MX", 1},
                                         Queue{"DT_OUT", 2}, Queue{"PNTD_MX", 3},
                                         Queue{"DT_IN", 4}),
                         [](auto const& parameter) { return std::string(parameter.param.name); });

TEST_F(ConnectionFailure, WhatDoesNotDependOnTheTopicsIsTriedAndToldToo) {
    bench.configuration().omit(bench::ExampleConfiguration::File::Connections);
    bench.devices().removeQueue(0);
    expectConnectEnd();
    EXPECT_THAT(output, HasSubstr("CFR:"));
    EXPECT_THAT(bench.server().standardError(),
                HasSubstr("Unable to open output pipe file: " +
                          bench.devices().queuePath(0).string() + "\n"));
}

TEST_F(ConnectionFailure, QueuesAreOpenedInTheirOrderUpToTheFirstThatFails) {
    bench.devices().removeQueue(2);
    bench.devices().removeQueue(3);
    expectConnectEnd();
    const std::string errors = bench.server().standardError();
    EXPECT_THAT(errors, HasSubstr(bench.devices().queuePath(2).string()));
    EXPECT_THAT(errors, Not(HasSubstr(bench.devices().queuePath(3).string())));
}

TEST_F(ConnectionFailure, DevicesFileWithoutItsSecondLink) {
    bench.configuration().omitContainer("Zephon2");
    expectEnd("GpsIo", "INVALID_CONFIG Unable to open I/O connection");
    EXPECT_THAT(output, HasSubstr("\nSerial Params: 1, 115200, 0\n"));  // the first came up
    EXPECT_THAT(output, Not(HasSubstr("Serial Params: 3")));
}

}  // namespace
