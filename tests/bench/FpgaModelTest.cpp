#include <atomic>
#include <fcntl.h>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "bench/ExampleConfiguration.h"
#include "bench/FileDescriptor.h"
#include "bench/FpgaModel.h"
#include "bench/TemporaryFolder.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

const char* const processor = "Processor_Interface";
const char* const timeStamp = "TimeStamp_Interface";
constexpr std::size_t systemCount = 128;

constexpr std::size_t pulseStamp(std::size_t pulse) {
    return (pulse + 32) * 8;
}
constexpr std::size_t uartStamp(std::size_t uart) {
    return (uart + 64) * 8;
}

class FpgaModelTest : public testing::Test {
protected:
    std::uint64_t now() const { return FpgaModel::ticksAt(FpgaModel::Clock::now()); }

    TemporaryFolder folder;
    FpgaModel::Regions regions = ExampleConfiguration().memoryRegions();
    FpgaModel fpga{folder.path() / "mem", regions};
};

TEST_F(FpgaModelTest, TellsWhatItIs) {
    EXPECT_EQ(fpga.read32(processor, 0x00), 0x4352564EU);  // "CRVN"
    EXPECT_EQ(fpga.read32(processor, 0x04), 0x54494D45U);  // "TIME"
    EXPECT_EQ(fpga.read32(processor, 0x08), 0x20240918U);
    EXPECT_EQ(fpga.read32(processor, 0x0C), 0x1348U);
    EXPECT_EQ(fpga.read32(processor, 0x10), 0x3037342DU);  // "074-"
    EXPECT_EQ(fpga.read32(processor, 0x14), 0x38313235U);  // "8125"
    EXPECT_EQ(fpga.read32(processor, 0x18), 0x2D303032U);  // "-002"
    EXPECT_EQ(fpga.read32(processor, 0x1C), 0x41303031U);  // "A001"
    EXPECT_EQ(fpga.read32(processor, 0x20), 4U);
    EXPECT_EQ(fpga.read32(processor, 0x24), 2U);
    EXPECT_EQ(fpga.read32(processor, 0x28), 2U);
    EXPECT_EQ(fpga.read32(processor, 0x2C), 64U);
    EXPECT_EQ(fpga.read32(processor, 0x30), 58982400U);
}

TEST_F(FpgaModelTest, HasARegionForEachUnitThatItCounts) {
    EXPECT_EQ(regions.size(), 5U + 2 + 2);
    for (const char* const name :
         {"Peripheral_Interface", "PpsSlave_Interface", "PtpClock_Interface", "Ptfe_Interface0",
          "Ptfe_Interface1", "PulseGen_Interface0", "PulseGen_Interface1"}) {
        EXPECT_EQ(fpga.read32(name, 0), 0U) << name;
    }
}

TEST_F(FpgaModelTest, KeepsWhatIsWrittenAtTheRegionsAddress) {
    fpga.write("Ptfe_Interface1", 200, 64, 0x1122334455667788);
    EXPECT_EQ(fpga.read("Ptfe_Interface1", 200, 64), 0x1122334455667788U);
    EXPECT_EQ(fpga.read("Ptfe_Interface1", 200, 32), 0x55667788U);
    EXPECT_EQ(fpga.read("Ptfe_Interface1", 206, 16), 0x1122U);
    EXPECT_EQ(fpga.read("Ptfe_Interface1", 201, 8), 0x77U);
    fpga.write("Ptfe_Interface1", 204, 8, 0xFFEE);
    EXPECT_EQ(fpga.read64("Ptfe_Interface1", 200), 0x112233EE55667788U);

    const FileDescriptor memory(::open((folder.path() / "mem").c_str(), O_RDONLY | O_CLOEXEC));
    std::uint64_t value = 0;
    const auto address = static_cast<off_t>(regions.at("Ptfe_Interface1").base + 200);
    ASSERT_EQ(::pread(memory.get(), &value, sizeof value, address), 8);
    EXPECT_EQ(value, 0x112233EE55667788U);
}

TEST_F(FpgaModelTest, RefusesWhatIsNoRegister) {
    EXPECT_THROW(fpga.read32("Nowhere_Interface", 0), std::out_of_range);
    EXPECT_THROW(fpga.read32(processor, 0x100), std::out_of_range);
    EXPECT_THROW(fpga.read64(processor, 0xFC), std::out_of_range);
    EXPECT_THROW(fpga.read(processor, 0, 24), std::out_of_range);
    EXPECT_THROW(fpga.read32(processor, 2), std::out_of_range) << "not at a multiple of its width";
    EXPECT_THROW(fpga.write32(processor, static_cast<std::size_t>(-4), 1), std::out_of_range);
}

TEST_F(FpgaModelTest, WaitsForAValueNoLongerThanTold) {
    EXPECT_FALSE(fpga.waitFor(processor, 0x40, 32, 5, 20ms));
    std::thread other([this] { fpga.write32(processor, 0x40, 5); });
    EXPECT_TRUE(fpga.waitFor(processor, 0x40, 32, 5, 20s));
    other.join();
}

TEST_F(FpgaModelTest, TheSystemCountRunsWithTheClock) {
    const std::uint64_t begin = fpga.read64(timeStamp, systemCount);
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (fpga.read64(timeStamp, systemCount) < begin + FpgaModel::ticksPerSecond / 20) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    }
    EXPECT_LE(fpga.read64(timeStamp, systemCount), now());
    fpga.uartDataArrived(0);
    const std::uint64_t before = now();
    fpga.uartDataArrived(0);
    EXPECT_GE(fpga.read64(timeStamp, systemCount), before) << "a stamp brings it up to date";
}

TEST(FpgaModel, TicksAreThoseOfTheClockWithoutOverflow) {
    using Time = FpgaModel::Clock::time_point;
    EXPECT_EQ(FpgaModel::ticksAt(Time(0s)), 0U);
    EXPECT_EQ(FpgaModel::ticksAt(Time(1s)), 58982400U);
    EXPECT_EQ(FpgaModel::ticksAt(Time(78125ns)), 4608U);
    EXPECT_EQ(FpgaModel::ticksAt(Time(16ns)), 0U);
    EXPECT_EQ(FpgaModel::ticksAt(Time(17ns)), 1U);
    constexpr std::uint64_t tenYears = 10ULL * 365 * 86400;
    EXPECT_EQ(FpgaModel::ticksAt(Time(std::chrono::seconds(tenYears))), tenYears * 58982400U);
}

TEST_F(FpgaModelTest, TheSystemCountNeverRunsBackwards) {
    std::atomic<bool> stop{false};
    std::vector<std::thread> uarts;
    for (const std::uint32_t uart : {0U, 1U}) {
        uarts.emplace_back([this, uart, &stop] {
            while (!stop) {
                fpga.uartDataArrived(uart);
            }
        });
    }
    std::uint64_t last = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t count = fpga.read64(timeStamp, systemCount);
        ASSERT_GE(count, last);
        last = count;
    }
    stop = true;
    for (std::thread& thread : uarts) {
        thread.join();
    }
}

TEST_F(FpgaModelTest, StampsMoveWithWhatArrivesAlone) {
    EXPECT_EQ(fpga.read64(timeStamp, uartStamp(3)), 0U);
    const std::uint64_t before = now();
    fpga.uartDataArrived(3);
    const std::uint64_t first = fpga.read64(timeStamp, uartStamp(3));
    EXPECT_GE(first, before);
    EXPECT_LE(first, fpga.read64(timeStamp, systemCount));
    fpga.uartDataArrived(3);
    EXPECT_GE(fpga.read64(timeStamp, uartStamp(3)), first);
    EXPECT_EQ(fpga.read64(timeStamp, uartStamp(2)), 0U);

    fpga.pulseArrived(1);
    EXPECT_GE(fpga.read64(timeStamp, pulseStamp(1)), before);
    EXPECT_EQ(fpga.read64(timeStamp, pulseStamp(0)), 0U);
}

TEST_F(FpgaModelTest, ANumberThatItDoesNotHaveIsNothing) {
    fpga.uartDataArrived(4);
    fpga.uartDataArrived(0xFFFFFFFF);
    fpga.pulseArrived(2);
    EXPECT_EQ(fpga.read64(timeStamp, uartStamp(4)), 0U);
    EXPECT_EQ(fpga.read64(timeStamp, pulseStamp(2)), 0U);
}

TEST(FpgaModel, StampsNothingBehindTheEndOfItsRegion) {
    const TemporaryFolder folder;
    FpgaModel::Options options;
    options.uarts = 1000;
    FpgaModel fpga(folder.path() / "mem", {{timeStamp, {0x1000, 0x400}}}, options);
    fpga.uartDataArrived(64);
    fpga.uartDataArrived(999);
    EXPECT_EQ(fpga.read64(timeStamp, 0x3F8), 0U);
    fpga.uartDataArrived(63);
    EXPECT_NE(fpga.read64(timeStamp, 0x3F8), 0U);
}

TEST(FpgaModel, DoesWithoutRegionsThatNobodyNames) {
    const TemporaryFolder folder;
    FpgaModel fpga(folder.path() / "mem", {});
    fpga.uartDataArrived(0);
    EXPECT_THROW(fpga.read32(processor, 0), std::out_of_range);
}

TEST(FpgaModel, MapsRegionsThatShareAPageAndTheLastOfMemory) {
    const TemporaryFolder folder;
    FpgaModel fpga(folder.path() / "mem",
                   {{"A", {0x1FF8, 16}}, {"B", {0x2008, 8}}, {"C", {0xFFFFFFF8, 8}}});
    fpga.write64("A", 0, 1);
    fpga.write64("A", 8, 2);
    fpga.write64("B", 0, 3);
    fpga.write64("C", 0, 4);
    EXPECT_EQ(fpga.read64("A", 0), 1U);
    EXPECT_EQ(fpga.read64("A", 8), 2U);
    EXPECT_EQ(fpga.read64("B", 0), 3U);
    EXPECT_EQ(fpga.read64("C", 0), 4U);
}

TEST(FpgaModel, RaisesWhereItCannotMakeItsFile) {
    EXPECT_THROW(FpgaModel("/nowhere/mem", {}), std::system_error);
}

}  // namespace
}  // namespace bench
