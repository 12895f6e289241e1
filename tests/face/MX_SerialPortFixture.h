#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <poll.h>
#include <string>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/DeviceRoot.h"
#include "bench/FileDescriptor.h"
#include "bench/Patience.h"
#include "bench/PseudoTerminal.h"
#include "bench/TemporaryFolder.h"
#include "face/MX_Config.h"
#include "face/MX_SerialPort.h"

using Code = FACE::RETURN_CODE_TYPE;
using State = FACE::IOSS::CONNECTION_STATE_TYPE;
using FACE::IOSS::IO_PARAMETER;
using FACE::IOSS::IO_PARAMETER_TRANSACTION_TYPE;
using FACE::IOSS::MX_SerialPort;
using FACE::IOSS::Serial::READ_PAYLOAD_TYPE;
using FACE::IOSS::Serial::WRITE_PAYLOAD_TYPE;
using Kind = FACE::IOSS::Serial::IO_PARAMETER_KIND;

constexpr long long second = 1'000'000'000;  // in the service's nanoseconds

/// Counts how often containers are opened.
class CountingConfig : public FACE::MX_Config {
public:
    void Open(FACE::String const& container_name, int& handle, Code::Value& rc) override {
        ++opened;
        MX_Config::Open(container_name, handle, rc);
    }
    int opened = 0;
};

/// The service with two pseudo-terminals as ttyS1 and ttyS2 and a container for each, "Port1"
/// and "Port2". A test changes `values` before it calls start().
class MX_SerialPortTest : public testing::Test {
protected:
    using Values = std::map<std::string, std::string>;

    MX_SerialPortTest() : root(folder.path() / "dev") {
        root.linkSerial(1, line.slavePath());
        root.linkSerial(2, line2.slavePath());
        ::setenv(bench::DeviceRoot::environmentVariable, root.path().c_str(), 1);
    }
    ~MX_SerialPortTest() override { ::unsetenv(bench::DeviceRoot::environmentVariable); }

    static Values plain(char const* channel) {
        return {{"ChannelNum", channel}, {"SerialMode", "0"}, {"Baudrate", "115200"},
                {"DataBits", "8"},       {"StopBits", "1"},   {"Parity", "0"},
                {"FlowControl", "0"}};
    }

    std::string configFile() {
        std::string const path = folder.path() / "io.xml";
        std::ofstream file(path);
        file << "<MX_Configurations>\n";
        for (auto const& [name, parameters] : values) {
            file << "<Connection><Name>" << name << "</Name><Parameters>";
            for (auto const& [key, value] : parameters) {
                file << '<' << key << '>' << value << "</" << key << '>';
            }
            file << "</Parameters></Connection>\n";
        }
        file << "</MX_Configurations>\n";
        return path;
    }

    /// Gives the service its configuration.
    void start() {
        Code::Value rc = Code::IN_PROGRESS;
        service.Set_Reference("Configuration", config, 0, rc);
        ASSERT_EQ(rc, Code::NO_ERROR);
        rc = Code::IN_PROGRESS;
        service.Initialize(configFile().c_str(), rc);
        ASSERT_EQ(rc, Code::NO_ERROR);
    }

    Code::Value open(char const* name, long long& handle) {
        Code::Value rc = Code::IN_PROGRESS;
        service.Open_Connection(name, second, handle, rc);
        return rc;
    }

    /// Starts the service and opens the first port.
    long long startAndOpen() {
        start();
        long long handle = -7;
        EXPECT_EQ(open("Port1", handle), Code::NO_ERROR);
        return handle;
    }

    Code::Value close(long long handle) {
        Code::Value rc = Code::IN_PROGRESS;
        service.Close_Connection(handle, rc);
        return rc;
    }

    Code::Value read(long long handle, long long timeout, READ_PAYLOAD_TYPE& payload) {
        Code::Value rc = Code::IN_PROGRESS;
        service.Read(handle, timeout, payload, rc);
        return rc;
    }

    static READ_PAYLOAD_TYPE wanted(std::uint32_t size) {
        READ_PAYLOAD_TYPE payload;
        payload.data.resize(size);
        return payload;
    }

    static std::string text(READ_PAYLOAD_TYPE const& payload) {
        return {payload.data.begin(), payload.data.end()};
    }

    Code::Value write(long long handle, std::string const& bytes) {
        WRITE_PAYLOAD_TYPE payload;
        for (char const byte : bytes) {
            payload.data.append(static_cast<std::uint8_t>(byte));
        }
        Code::Value rc = Code::IN_PROGRESS;
        service.Write(handle, 0, payload, rc);
        return rc;
    }

    State::Value state(long long handle) {
        FACE::IOSS::CONNECTION_STATUS_TYPE status;
        Code::Value rc = Code::IN_PROGRESS;
        service.Get_Connection_Status(handle, status, rc);
        return rc == Code::NO_ERROR ? status.state : State::CLOSED;
    }

    Code::Value configure(long long handle, std::vector<IO_PARAMETER> const& parameters) {
        IO_PARAMETER_TRANSACTION_TYPE transaction;
        for (IO_PARAMETER const& each : parameters) {
            transaction.parameters.append(each);
        }
        Code::Value rc = Code::IN_PROGRESS;
        service.Configure_Bus_Parameters(handle, 0, transaction, rc);
        return rc;
    }

    static IO_PARAMETER baudRate(std::int32_t value) {
        IO_PARAMETER parameter;
        parameter.kind = Kind::BAUD_RATE;
        parameter.value.long_value(value);
        return parameter;
    }
    static IO_PARAMETER channel(std::uint8_t value) {
        IO_PARAMETER parameter;
        parameter.kind = Kind::CHANNEL;
        parameter.value.octet_value(value);
        return parameter;
    }

    /// What the driver of a line is set to.
    static termios terminal(bench::PseudoTerminal const& of) {
        bench::FileDescriptor const slave(
            ::open(of.slavePath().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        termios settings{};
        EXPECT_EQ(::tcgetattr(slave.get(), &settings), 0);
        return settings;
    }

    /// Sends bytes to the service's side and waits until they are there.
    static void send(bench::PseudoTerminal& from, std::string const& bytes) {
        std::vector<std::uint8_t> const data(bytes.begin(), bytes.end());
        ASSERT_EQ(from.write(data.data(), data.size()), data.size());
        bench::FileDescriptor const slave(
            ::open(from.slavePath().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
        pollfd arrival{slave.get(), POLLIN, 0};
        ASSERT_EQ(::poll(&arrival, 1, 30000), 1);
    }

    /// Takes what arrives at the far end until `count` bytes are there or 30 s are over.
    static std::string receive(bench::PseudoTerminal& at, std::size_t count) {
        std::string received;
        bench::holdsInTime([&] {
            std::uint8_t buffer[4096];
            std::size_t const got = at.read(buffer, sizeof buffer);
            received.append(buffer, buffer + got);
            return received.size() >= count;
        });
        return received;
    }

    /// The descriptors of this process on the slave side of `of`.
    static std::vector<int> descriptorsOn(bench::PseudoTerminal const& of) {
        std::vector<int> found;
        for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;  // the folder's own descriptor is in the list
            if (std::filesystem::read_symlink(entry, gone) == of.slavePath()) {
                found.push_back(std::stoi(entry.path().filename()));
            }
        }
        return found;
    }

    bench::TemporaryFolder folder;
    bench::DeviceRoot root;
    bench::PseudoTerminal line;
    bench::PseudoTerminal line2;
    std::map<std::string, Values> values{{"Port1", plain("1")}, {"Port2", plain("2")}};
    std::shared_ptr<CountingConfig> config = std::make_shared<CountingConfig>();
    MX_SerialPort service;
};
