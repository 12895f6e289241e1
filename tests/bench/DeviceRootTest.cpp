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
