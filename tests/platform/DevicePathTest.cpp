#include <cstdlib>

#include <gtest/gtest.h>

#include "platform/DevicePath.h"

using platform::DevicePath;

namespace {

/// Sets the variable for the length of a test.
class DeviceRoot {
public:
    explicit DeviceRoot(const char* path) { set(path); }
    ~DeviceRoot() { ::unsetenv("ZEPHON_DEVICE_ROOT"); }
    DeviceRoot(const DeviceRoot&) = delete;
    DeviceRoot& operator=(const DeviceRoot&) = delete;

    void set(const char* path) { ::setenv("ZEPHON_DEVICE_ROOT", path, 1); }
};

}  // namespace

TEST(DevicePath, LiesInDevWithoutTheVariable) {
    ::unsetenv("ZEPHON_DEVICE_ROOT");
    EXPECT_EQ(DevicePath("ttyS1"), "/dev/ttyS1");
    EXPECT_EQ(DevicePath("mem"), "/dev/mem");
}

TEST(DevicePath, LiesInDevWhenTheVariableIsEmpty) {
    const DeviceRoot root("");
    EXPECT_EQ(DevicePath("mcs0"), "/dev/mcs0");
}

TEST(DevicePath, LiesInTheFolderThatTheVariableNames) {
    const DeviceRoot root("/tmp/bench");
    EXPECT_EQ(DevicePath("ttyS12"), "/tmp/bench/ttyS12");
}

TEST(DevicePath, ReadsTheVariableAtEachCall) {
    DeviceRoot root("/tmp/one");
    EXPECT_EQ(DevicePath("mem"), "/tmp/one/mem");
    root.set("/tmp/two");
    EXPECT_EQ(DevicePath("mem"), "/tmp/two/mem");
}
