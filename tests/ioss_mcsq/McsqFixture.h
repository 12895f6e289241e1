#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "bench/DeviceRoot.h"
#include "bench/FileDescriptor.h"
#include "bench/TemporaryFolder.h"
#include "face/ReturnCode.h"

using Bytes = std::vector<std::uint8_t>;
using Code = FACE::RETURN_CODE_TYPE;

inline Bytes bytesOf(std::string const& text) {
    return {text.begin(), text.end()};
}

/// A device root with the queues mcs0, mcs1 and mcs2, and a configuration that names them "Queue0",
/// "Queue1" and "Queue2". Other processes are played by descriptors of the test's own.
class McsqFixture : public testing::Test {
protected:
    static constexpr unsigned queues = 3;

    McsqFixture() : root(folder.path() / "dev") {
        for (unsigned port = 0; port < queues; ++port) {
            root.makeQueue(port);
            far.at(port) = bench::FileDescriptor(
                ::open(root.queuePath(port).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
            ports["Queue" + std::to_string(port)] = std::to_string(port);
        }
        ::setenv(bench::DeviceRoot::environmentVariable, root.path().c_str(), 1);
    }
    ~McsqFixture() override { ::unsetenv(bench::DeviceRoot::environmentVariable); }

    /// Writes the configuration; a connection whose port is empty has no "Port".
    std::string configFile() const {
        std::string const path = folder.path() / "io.xml";
        std::ofstream file(path);
        file << "<MX_Configurations>\n";
        for (auto const& [name, port] : ports) {
            file << "<Queue><Name>" << name << "</Name><Parameters>";
            if (!port.empty()) {
                file << "<Port>" << port << "</Port>";
            }
            file << "</Parameters></Queue>\n";
        }
        file << "</MX_Configurations>\n";
        return path;
    }

    /// Another process writes to the queue, in one piece.
    void inject(unsigned port, Bytes const& bytes) {
        ASSERT_EQ(::write(far.at(port).get(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }

    /// Another process takes all that is in the queue, at once.
    Bytes drain(unsigned port) {
        Bytes taken;
        std::array<std::uint8_t, 4096> piece{};
        for (ssize_t size = 0;
             (size = ::read(far.at(port).get(), piece.data(), piece.size())) > 0;) {
            taken.insert(taken.end(), piece.begin(), piece.begin() + size);
        }
        return taken;
    }

    bench::TemporaryFolder folder;
    bench::DeviceRoot root;
    std::array<bench::FileDescriptor, queues> far;
    std::map<std::string, std::string> ports;
};
