#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "face/MemoryMap.h"
#include "tests/face/MemoryDevice.h"

using testing::ElementsAre;

namespace {

std::string raisedByMap(unsigned base, unsigned size) {
    try {
        MemoryMap const map(base, size);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "nothing";
}

using MemoryMapTest = MemoryDevice;

TEST_F(MemoryMapTest, ShowsTheRegionThroughItsFirstByte) {
    setBytes(0x3004, {1, 2, 3});
    MemoryMap const map(0x3004, 8);
    EXPECT_EQ(map.getPointerToBase()[2], 3);
    map.getPointerToBase()[0] = 9;
    EXPECT_THAT(bytes(0x3003, 3), ElementsAre(0, 9, 2));
}

TEST_F(MemoryMapTest, ReachesTheLastOfThe32BitAddresses) {
    setBytes(0xFFFFFFF0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    MemoryMap const map(0xFFFFFFF0, 16);
    EXPECT_EQ(map.getPointerToBase()[15], 16);
}

TEST_F(MemoryMapTest, ASecondMapReusesTheDescriptor) {
    MemoryMap const first(0x1000, 8);
    ASSERT_EQ(descriptors().size(), 1U);
    MemoryMap const second(0x2000, 8);
    EXPECT_THAT(descriptors(), ElementsAre(MemoryDeviceFileDescriptor::Instance().descriptor()));
}

TEST_F(MemoryMapTest, TheDescriptorOutlivesTheMaps) {
    { MemoryMap const map(0x1000, 8); }
    EXPECT_THAT(descriptors(), ElementsAre(MemoryDeviceFileDescriptor::Instance().descriptor()));
}

TEST_F(MemoryMapTest, ReleasesItsMappingAtItsEnd) {
    auto const mappings = [this] {
        std::ifstream maps("/proc/self/maps");
        std::size_t count = 0;
        for (std::string line; std::getline(maps, line);) {
            count += line.find(root.memoryPath().string()) == std::string::npos ? 0 : 1;
        }
        return count;
    };
    {
        MemoryMap const first(0x1000, 8);
        MemoryMap const second(0x4000, 0x3000);
        EXPECT_EQ(mappings(), 2U);
    }
    EXPECT_EQ(mappings(), 0U);
}

TEST_F(MemoryMapTest, OpensTheDeviceForBothDirectionsAndSynchronously) {
    MemoryDeviceFileDescriptor const& device = MemoryDeviceFileDescriptor::Instance();
    int const flags = ::fcntl(device.descriptor(), F_GETFL);
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
    EXPECT_EQ(flags & O_SYNC, O_SYNC);
    EXPECT_EQ(::fcntl(device.descriptor(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(device.pageSize(), static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)));
}

TEST_F(MemoryMapTest, RaisesWithoutTheDeviceAndTriesAgainLater) {
    std::filesystem::remove(root.memoryPath());
    EXPECT_EQ(raisedByMap(0x1000, 8), "Unable to open /dev/mem file descriptor.");
    EXPECT_EQ(raisedByMap(0x1000, 8), "Unable to open /dev/mem file descriptor.");
    makeDevice();
    EXPECT_EQ(raisedByMap(0x1000, 8), "nothing");
}

TEST_F(MemoryMapTest, RaisesWhenTheDeviceCannotBeMapped) {
    std::filesystem::remove(root.memoryPath());
    std::filesystem::create_symlink("/dev/null", root.memoryPath());
    EXPECT_EQ(raisedByMap(0x1000, 8), "Unable to map memory space.");
}

}  // namespace
