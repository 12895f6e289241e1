#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include <gtest/gtest.h>

#include "bench/DeviceRoot.h"
#include "bench/PseudoTerminal.h"
#include "bench/TemporaryFolder.h"

namespace bench {
namespace {

TEST(DeviceRoot, LinksSerialPortsToTerminals) {
    const TemporaryFolder folder;
    const DeviceRoot root(folder.path() / "dev");
    const PseudoTerminal terminal;
    root.linkSerial(3, terminal.slavePath());
    EXPECT_EQ(std::filesystem::read_symlink(folder.path() / "dev/ttyS3"), terminal.slavePath());
    EXPECT_EQ(root.memoryPath(), folder.path() / "dev/mem");
}

TEST(DeviceRoot, ReplacesAndRemovesALink) {
    const TemporaryFolder folder;
    const DeviceRoot root(folder.path() / "dev");
    root.linkSerial(1, "/nowhere/a");
    root.linkSerial(1, "/nowhere/b");
    EXPECT_EQ(std::filesystem::read_symlink(root.serialPath(1)), "/nowhere/b");
    root.removeSerial(1);
    EXPECT_FALSE(std::filesystem::is_symlink(root.serialPath(1)));
}

TEST(DeviceRoot, MakesQueuesThatNeitherEndWaitsFor) {
    const TemporaryFolder folder;
    DeviceRoot root(folder.path() / "dev");
    root.makeQueue(4);
    EXPECT_EQ(root.queuePath(4), folder.path() / "dev/mcs4");
    const FileDescriptor reader(::open(root.queuePath(4).c_str(), O_RDONLY | O_CLOEXEC));
    const FileDescriptor writer(::open(root.queuePath(4).c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_EQ(::write(writer.get(), "ab", 2), 2);
    char bytes[2] = {};
    EXPECT_EQ(::read(reader.get(), bytes, 2), 2);
    EXPECT_EQ(bytes[1], 'b');
}

TEST(DeviceRoot, RemovesAQueueAndRefusesToMakeOneTwice) {
    const TemporaryFolder folder;
    DeviceRoot root(folder.path() / "dev");
    root.makeQueue(0);
    EXPECT_THROW(root.makeQueue(0), std::system_error);
    root.removeQueue(0);
    EXPECT_FALSE(std::filesystem::exists(root.queuePath(0)));
    root.makeQueue(0);
    EXPECT_TRUE(std::filesystem::is_fifo(root.queuePath(0)));
}

TEST(TemporaryFolder, GoesWithAllThatIsInIt) {
    std::filesystem::path path;
    {
        const TemporaryFolder folder;
        path = folder.path();
        std::filesystem::create_directories(path / "a/b");
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(TemporaryFolder, StaysWhenToldSo) {
    std::filesystem::path path;
    {
        TemporaryFolder folder;
        folder.keep();
        path = folder.path();
    }
    EXPECT_TRUE(std::filesystem::remove(path));
}

}  // namespace
}  // namespace bench
