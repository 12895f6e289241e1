#pragma once

#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "bench/DeviceRoot.h"
#include "bench/FileDescriptor.h"
#include "tests/face/TestFolder.h"

/// A file as the memory device. Each test has a process of its own, and so a descriptor.
class MemoryDevice : public testing::Test {
protected:
    static constexpr long fileSize =
        0x1'0000'0000 + 0x10000;  // every address that 32 bits tell; sparse

    MemoryDevice() : root(std::filesystem::path(folder / "dev")) {
        ::setenv(bench::DeviceRoot::environmentVariable, root.path().c_str(), 1);
        makeDevice();
    }

    void makeDevice() {
        memory = bench::FileDescriptor(
            ::open(root.memoryPath().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        ASSERT_EQ(::ftruncate(memory.get(), fileSize), 0);
    }

    /// The bytes at a physical address.
    std::vector<unsigned> bytes(std::uint64_t address, std::size_t count) const {
        std::vector<std::uint8_t> data(count);
        EXPECT_EQ(::pread(memory.get(), data.data(), count, static_cast<off_t>(address)),
                  static_cast<ssize_t>(count));
        return {data.begin(), data.end()};
    }

    void setBytes(std::uint64_t address, std::vector<std::uint8_t> const& data) {
        EXPECT_EQ(::pwrite(memory.get(), data.data(), data.size(), static_cast<off_t>(address)),
                  static_cast<ssize_t>(data.size()));
    }

    /// The descriptors of this process on the device, without the test's own.
    std::vector<int> descriptors() const {
        std::vector<int> found;
        for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;  // the folder's own descriptor is in the list
            int const number = std::stoi(entry.path().filename());
            if (std::filesystem::read_symlink(entry, gone) == root.memoryPath() &&
                number != memory.get()) {
                found.push_back(number);
            }
        }
        return found;
    }

    TestFolder folder;
    bench::DeviceRoot root;
    bench::FileDescriptor memory;
};
