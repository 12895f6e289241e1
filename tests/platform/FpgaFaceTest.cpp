#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/DeviceRoot.h"
#include "bench/ExampleConfiguration.h"
#include "bench/FpgaModel.h"
#include "bench/TemporaryFolder.h"
#include "face/MX_Config.h"
#include "face/MX_Devmem.h"
#include "platform/FpgaFace.h"
#include "platform/FpgaRegisters.h"

using Code = FACE::RETURN_CODE_TYPE;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

using bench::ExampleConfiguration;
using bench::FpgaModel;
using IO_Service = FACE::IOSS::Devmem::IO_Service;

char const* const processor = "Processor_Interface";
char const* const timeStamp = "TimeStamp_Interface";
char const* const peripheral = "Peripheral_Interface";
char const* const ppsSlave = "PpsSlave_Interface";
char const* const ptpClock = "PtpClock_Interface";
char const* const ptfe1 = "Ptfe_Interface1";
char const* const pulseGen1 = "PulseGen_Interface1";

constexpr std::size_t uartStamp(std::size_t uart) {
    return (uart + 64) * 8;
}
constexpr std::size_t uartDelay(std::size_t uart) {
    return (uart + 48) * 8;
}
constexpr std::size_t pulseStamp(std::size_t pulse) {
    return (pulse + 32) * 8;
}

/// What InitFpga raises, which must also be a line on standard output; empty when nothing.
std::string raisedBy(std::shared_ptr<IO_Service> const& devmem) {
    testing::internal::CaptureStdout();
    std::string text;
    try {
        FpgaFace::InitFpga(devmem);
    } catch (std::runtime_error const& error) {
        text = error.what();
    }
    std::string const output = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(text.empty() || output.find(text + "\n") != std::string::npos) << output;
    return text;
}

/// Every getter's answer for units that the FPGA of the bench has.
std::vector<unsigned long long> everyGetter() {
    return {FpgaFace::fpga_get_SystemCount(),
            FpgaFace::getUARTDataTimestampRaw(1),
            FpgaFace::getPulseTimestampRaw(1),
            FpgaFace::getUartDelay(1),
            FpgaFace::fpga_get_periph_control(1),
            FpgaFace::fpga_get_ppsSlave_control(1),
            FpgaFace::fpga_get_ptpClock_control(1),
            FpgaFace::getPtfeDivider(1),
            FpgaFace::getPtfeFirmwareId(1),
            FpgaFace::getPtfeStatus(1),
            FpgaFace::getPtfeMeasuredFreqEstimate(1),
            FpgaFace::getDfNcoRate(1),
            FpgaFace::getDtNcoPhase(1),
            FpgaFace::getDtCycles(1),
            FpgaFace::fpga_pulsegen_get_Int_phase(1),
            FpgaFace::fpga_pulsegen_get_Ext_phase(1)};
}

/// Calls everything that writes, with nothing but ones.
void everySetter() {
    FpgaFace::setUartDelay(1, 1);
    FpgaFace::setUartDelay(1, 1, 1, 1);
    FpgaFace::fpga_set_periph_control(1, 1);
    FpgaFace::fpga_reset_periph_control(1);
    FpgaFace::fpga_set_ppsSlave_control(1, 1);
    FpgaFace::fpga_set_ptpClock_control(1, 1);
    FpgaFace::fpga_ptfe_init(1, 1, 1);
    FpgaFace::fpga_ptfe_soft_reset(1);
    FpgaFace::getAndClearPtfeStatus(1);
    FpgaFace::setPtfeDefaultNcoRate(1, 1);
    FpgaFace::fpga_pulsegen_set_Int_phase(1, 1);
    FpgaFace::fpga_pulsegen_adjust_Int_phase(1, 1);
    FpgaFace::fpga_pulsegen_set_Ext_phase(1, 1);
    FpgaFace::fpga_pulsegen_adjust_Ext_phase(1, 1);
}

/// The registers of the bench behind the real memory service, on the example configuration. A test
/// changes `configuration` and `fpga` before it calls init().
class FpgaFaceTest : public testing::Test {
protected:
    FpgaFaceTest() : root(folder.path() / "dev") {
        ::setenv(bench::DeviceRoot::environmentVariable, root.path().c_str(), 1);
    }
    ~FpgaFaceTest() override { FpgaFace::DoneFpga(); }

    std::shared_ptr<IO_Service> makeService() {
        configuration.write(folder.path());
        auto const service = std::make_shared<FACE::IOSS::MX_Devmem>();
        Code::Value rc = Code::IN_PROGRESS;
        service->Set_Reference("Configuration", std::make_shared<FACE::MX_Config>(), 0, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        service->Initialize((folder.path() / "io-devices.xml").c_str(), rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        return service;
    }
    std::string raisedByInit() { return raisedBy(makeService()); }
    void init() { FpgaFace::InitFpga(makeService()); }

    bench::TemporaryFolder folder;
    bench::DeviceRoot root;
    ExampleConfiguration configuration;
    FpgaModel fpga{root.memoryPath(), configuration.memoryRegions()};
};

/// Notes writes; reads give the offset. Each region is as large as told.
class RecordingService : public IO_Service {
public:
    using Access = std::tuple<std::string, std::uint32_t, std::int32_t, std::uint64_t>;

    std::vector<std::string> opened;
    std::vector<Access> written;
    std::map<std::string, Code::Value> openCodes;   ///< NO_ERROR for names that are not in it
    std::map<std::uint32_t, std::uint64_t> values;  ///< that Read gives, by offset
    Code::Value readCode = Code::NO_ERROR;
    Code::Value sizeCode = Code::NO_ERROR;

    void Initialize(FACE::String const& /*name*/, Code::Value& rc) override { rc = Code::NO_ERROR; }
    void Open_Connection(FACE::String const& name, long long /*timeout*/, long long& handle,
                         Code::Value& rc) override {
        opened.push_back(FACE::ToStdString(name));
        handle = static_cast<long long>(opened.size()) - 1;
        auto const code = openCodes.find(opened.back());
        rc = code != openCodes.end() ? code->second : Code::NO_ERROR;
    }
    void Read(long long /*handle*/, long long /*timeout*/, READ_PAYLOAD_TYPE& payload,
              Code::Value& rc) override {
        payload.value = values[payload.offset];
        rc = readCode;
    }
    void Write(long long handle, long long /*timeout*/, WRITE_PAYLOAD_TYPE const& payload,
               Code::Value& rc) override {
        written.emplace_back(opened.at(static_cast<std::size_t>(handle)), payload.offset,
                             payload.width, payload.value);
        rc = Code::NO_ACTION;  // nobody minds
    }
    void Get_Connection_Configuration(long long /*handle*/, long long /*timeout*/,
                                      IO_PARAMETER_TRANSACTION_TYPE& parameters,
                                      Code::Value& rc) override {
        parameters.parameters[0]->value.ulong_value(16);
        rc = sizeCode;
    }
    void Close_Connection(long long /*handle*/, Code::Value& rc) override { refuse(rc); }
    void Configure_Connection_Parameters(long long /*handle*/, long long /*timeout*/,
                                         IO_PARAMETER_TRANSACTION_TYPE const& /*parameters*/,
                                         Code::Value& rc) override {
        refuse(rc);
    }
    void Configure_Bus_Parameters(long long /*handle*/, long long /*timeout*/,
                                  IO_PARAMETER_TRANSACTION_TYPE const& /*parameters*/,
                                  Code::Value& rc) override {
        refuse(rc);
    }
    void Get_Bus_Configuration(long long /*handle*/, long long /*timeout*/,
                               IO_PARAMETER_TRANSACTION_TYPE& /*parameters*/,
                               Code::Value& rc) override {
        refuse(rc);
    }
    void Get_Connection_Status(long long /*handle*/, CONNECTION_STATUS_TYPE& /*status*/,
                               Code::Value& rc) override {
        refuse(rc);
    }
    void Get_Bus_Status(long long /*handle*/, unsigned short& /*status*/,
                        Code::Value& rc) override {
        refuse(rc);
    }
    void Register_Notification_Event(long long /*handle*/, IO_Callback& /*callback*/,
                                     Code::Value& rc) override {
        refuse(rc);
    }
    void Unregister_Notification_Event(long long /*handle*/, Code::Value& rc) override {
        refuse(rc);
    }

private:
    static void refuse(Code::Value& rc) {
        ADD_FAILURE() << "not an operation that the FPGA needs";
        rc = Code::NO_ACTION;
    }
};

/// Init on a service that notes what is written.
class FpgaFaceWrites : public testing::Test {
protected:
    FpgaFaceWrites() {
        namespace Processor = FpgaRegisters::Processor;
        service->values = {{Processor::uarts, 4},
                           {Processor::ptfes, 2},
                           {Processor::pulses, 2},
                           {Processor::periphs, 4},
                           {Processor::clockRate, 58982400}};
    }
    ~FpgaFaceWrites() override { FpgaFace::DoneFpga(); }

    std::shared_ptr<RecordingService> service = std::make_shared<RecordingService>();
};

}  // namespace

// ---- coming up

TEST_F(FpgaFaceWrites, OpensTheFixedInterfacesInOrderAndThenOneForEachUnit) {
    FpgaFace::InitFpga(service);
    EXPECT_THAT(service->opened,
                ElementsAre(processor, peripheral, timeStamp, ppsSlave, ptpClock, "Ptfe_Interface0",
                            ptfe1, "PulseGen_Interface0", pulseGen1));
    EXPECT_THAT(service->written, IsEmpty());
}

TEST_F(FpgaFaceTest, EachFixedInterfaceThatDoesNotOpenHasItsText) {
    std::map<std::string, std::string> const texts{
        {processor, "FpgaFace\\(\\) FAILED to open processor interface"},
        {peripheral, "FpgaFace\\(\\) FAILED to open peripheral interface"},
        {timeStamp, "FpgaFace\\(\\) FAILED to open timestamp interface"},
        {ppsSlave, "FpgaFace\\(\\) FAILED to open PPS Slave interface"},
        {ptpClock, "FpgaFace\\(\\) FAILED to open PTP Clock interface"}};
    for (auto const& [name, text] : texts) {
        configuration = ExampleConfiguration();
        configuration.omitContainer(name);
        EXPECT_THAT(raisedByInit(),
                    MatchesRegex("FpgaFace\\.cpp\\[[0-9]+\\]:INVALID_CONFIG " + text));
        EXPECT_THAT(everyGetter(), testing::Each(0U)) << name;
    }
}

TEST_F(FpgaFaceTest, EachCountThatCannotBeReadHasItsText) {
    std::map<std::string, std::string> const texts{{"0x20", "number of UARTs"},
                                                   {"0x24", "number of PTFEs"},
                                                   {"0x28", "number of Pulses"},
                                                   {"0x2C", "number of Periphs"},
                                                   {"0x30", "clock rate"}};
    for (auto const& [size, what] : texts) {
        configuration.set(processor, "Size", size);  // the region ends before the register
        EXPECT_THAT(raisedByInit(), MatchesRegex("FpgaFace\\.cpp\\[[0-9]+\\]:NO_ACTION FpgaFace"
                                                 "\\(\\) FAILED to read FPGA " +
                                                 what));
        EXPECT_THAT(everyGetter(), testing::Each(0U)) << what;
    }
}

TEST_F(FpgaFaceTest, AComputerWithoutRegistersFailsAtTheFirstRead) {
    std::filesystem::remove(root.memoryPath());
    EXPECT_THAT(raisedByInit(),
                MatchesRegex("FpgaFace\\.cpp\\[[0-9]+\\]:INVALID_MODE FpgaFace\\(\\) FAILED to "
                             "read FPGA number of UARTs"));
    everySetter();
    EXPECT_THAT(everyGetter(), testing::Each(0U));
}

TEST_F(FpgaFaceTest, AnEngineWithoutInterfaceHasItsNumberInTheText) {
    fpga.write32(processor, 0x24, 3);
    EXPECT_THAT(raisedByInit(), testing::EndsWith("]:INVALID_CONFIG FpgaFace() FAILED to open "
                                                  "PTFE 2 interface"));
}

TEST_F(FpgaFaceTest, APulseGeneratorWithoutInterfaceHasItsNumberInTheText) {
    configuration.omitContainer("PulseGen_Interface0");
    EXPECT_THAT(raisedByInit(), testing::EndsWith("]:INVALID_CONFIG FpgaFace() FAILED to open "
                                                  "PulseGen 0 interface"));
}

TEST_F(FpgaFaceTest, ACountThatIsNonsenseEndsAtTheFirstMissingInterface) {
    fpga.write32(processor, 0x24, 0xFFFFFFFF);
    EXPECT_THAT(raisedByInit(), testing::EndsWith("FAILED to open PTFE 2 interface"));
    fpga.write32(processor, 0x24, 2);
    fpga.write32(processor, 0x28, 0xFFFFFFFF);
    EXPECT_THAT(raisedByInit(), testing::EndsWith("FAILED to open PulseGen 2 interface"));
}

TEST_F(FpgaFaceTest, LooksAtTheClockRateWhenEveryInterfaceIsOpen) {
    fpga.write32(processor, 0x30, 1);
    fpga.write32(processor, 0x24, 3);
    EXPECT_THAT(raisedByInit(), testing::EndsWith("FAILED to open PTFE 2 interface"));
    fpga.write32(processor, 0x24, 2);
    fpga.write32(processor, 0x28, 3);
    EXPECT_THAT(raisedByInit(), testing::EndsWith("FAILED to open PulseGen 2 interface"));
}

TEST_F(FpgaFaceTest, AWrongClockRateIsAMismatch) {
    for (std::uint32_t const rate : {58982399U, 0U, 0xFFFFFFFFU}) {
        fpga.write32(processor, 0x30, rate);
        EXPECT_THAT(raisedByInit(),
                    MatchesRegex("FpgaFace\\.cpp\\[[0-9]+\\]:INVALID_MODE FpgaFace\\(\\) FPGA "
                                 "clock rate mismatch, got " +
                                 std::to_string(rate) + ", expected 58982400"));
        EXPECT_EQ(FpgaFace::fpga_get_SystemCount(), 0U);
    }
}

TEST_F(FpgaFaceTest, WithoutAMemoryServiceItRaises) {
    EXPECT_THAT(raisedBy(nullptr), testing::EndsWith("FAILED to open processor interface"));
}

TEST_F(FpgaFaceTest, AFailedStartTakesAnEarlierOneAway) {
    init();
    ASSERT_NE(FpgaFace::fpga_get_SystemCount(), 0U);
    fpga.write32(processor, 0x30, 1);
    EXPECT_NE(raisedByInit(), "");
    EXPECT_EQ(FpgaFace::fpga_get_SystemCount(), 0U);
    fpga.write32(processor, 0x30, 58982400);
    EXPECT_EQ(raisedByInit(), "") << "it may be tried again";
    EXPECT_NE(FpgaFace::fpga_get_SystemCount(), 0U);
}

// ---- not usable

TEST_F(FpgaFaceTest, BeforeTheStartGettersGiveZeroAndSettersDoNothing) {
    everySetter();
    EXPECT_THAT(everyGetter(), testing::Each(0U));
    EXPECT_EQ(FpgaFace::getFirmwareBuildStamp(), "000000-0000:00:00");
}

TEST_F(FpgaFaceTest, AfterTheEndGettersGiveZeroAndSettersDoNothing) {
    init();
    everySetter();
    fpga.uartDataArrived(1);
    ASSERT_NE(FpgaFace::getUARTDataTimestampRaw(1), 0U);
    FpgaFace::DoneFpga();
    fpga.write32(peripheral, 4, 7);
    everySetter();
    EXPECT_THAT(everyGetter(), testing::Each(0U));
    EXPECT_EQ(fpga.read32(peripheral, 4), 7U);
    FpgaFace::DoneFpga();  // once more does no harm
}

TEST_F(FpgaFaceTest, LetsGoOfTheMemoryServiceAtTheEnd) {
    std::shared_ptr<IO_Service> service = makeService();
    std::weak_ptr<IO_Service> const watched = service;
    FpgaFace::InitFpga(service);
    service.reset();
    EXPECT_FALSE(watched.expired());
    FpgaFace::DoneFpga();
    EXPECT_TRUE(watched.expired());
}

TEST_F(FpgaFaceTest, ThreadsReadWhileAnotherEndsAndStartsIt) {
    constexpr std::uint64_t stamp = 0x1122334455667788;
    fpga.write64(timeStamp, uartStamp(1), stamp);
    std::atomic<bool> stop{false};
    std::atomic<unsigned> seen{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!stop) {
                unsigned long long const value = FpgaFace::getUARTDataTimestampRaw(1);
                EXPECT_TRUE(value == stamp || value == 0) << value;
                seen += value == stamp ? 1 : 0;
                FpgaFace::setUartDelay(1, 5);
                FpgaFace::fpga_ptfe_init(0, 1, 2);
                static_cast<void>(FpgaFace::getPtfeDivider(0));
                // The lock is not fair: three readers that never rest keep a fourth thread out.
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
        });
    }
    for (unsigned round = 1; round <= 50; ++round) {
        init();  // on a service that nobody but FpgaFace holds
        while (seen < round) {
            std::this_thread::yield();
        }
        FpgaFace::DoneFpga();
        EXPECT_EQ(FpgaFace::getUARTDataTimestampRaw(1), 0U);
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
}

// ---- time stamps

TEST_F(FpgaFaceTest, TicksAreThoseOfTheClockRate) {
    EXPECT_EQ(FpgaFace::fpga_timestamp_get_ticks_per_sec(), 58982400U);
}

TEST_F(FpgaFaceTest, TheSystemCountRuns) {
    init();
    unsigned long long const first = FpgaFace::fpga_get_SystemCount();
    EXPECT_NE(first, 0U);
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (FpgaFace::fpga_get_SystemCount() == first) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    }
    EXPECT_GT(FpgaFace::fpga_get_SystemCount(), first);
}

TEST_F(FpgaFaceTest, GivesTheStampsOfEveryUartAndPulse) {
    for (std::size_t unit = 0; unit < 5; ++unit) {
        fpga.write64(timeStamp, uartStamp(unit), 0x8000000000000010 + unit);
        fpga.write64(timeStamp, pulseStamp(unit), 0x8000000000000020 + unit);
    }
    init();
    for (unsigned uart = 0; uart < 4; ++uart) {
        EXPECT_EQ(FpgaFace::getUARTDataTimestampRaw(uart), 0x8000000000000010 + uart);
    }
    EXPECT_EQ(FpgaFace::getUARTDataTimestampRaw(4), 0U) << "there are four";
    EXPECT_EQ(FpgaFace::getUARTDataTimestampRaw(0xFFFFFFFF), 0U);
    EXPECT_EQ(FpgaFace::getPulseTimestampRaw(0), 0x8000000000000020);
    EXPECT_EQ(FpgaFace::getPulseTimestampRaw(1), 0x8000000000000021);
    EXPECT_EQ(FpgaFace::getPulseTimestampRaw(2), 0U) << "there are two";
    EXPECT_EQ(FpgaFace::getPulseTimestampRaw(-1), 0U);
}

TEST_F(FpgaFaceTest, AStampBehindTheRegionIsZeroWhateverTheCountSays) {
    fpga.write32(processor, 0x20, 0xFFFFFFFF);
    init();
    EXPECT_EQ(FpgaFace::getUARTDataTimestampRaw(63), 0U);
    for (unsigned const uart : {64U, 0x1FFFFFFFU, 0x20000000U, 0xFFFFFFFEU}) {
        EXPECT_EQ(FpgaFace::getUARTDataTimestampRaw(uart), 0U) << uart;
        FpgaFace::setUartDelay(uart, 5);
    }
    fpga.uartDataArrived(0);
    EXPECT_EQ(FpgaFace::getUARTDataTimestampRaw(0x20000000), 0U) << "no offset goes round";
}

TEST_F(FpgaFaceTest, KeepsTheDelayOfEachUart) {
    init();
    FpgaFace::setUartDelay(3, 0xFFFFFFFE);
    EXPECT_EQ(fpga.read32(timeStamp, uartDelay(3)), 0xFFFFFFFEU);
    EXPECT_EQ(FpgaFace::getUartDelay(3), 0xFFFFFFFEU);
    EXPECT_EQ(fpga.read32(timeStamp, uartDelay(3) + 4), 0U) << "32 bits";
    FpgaFace::setUartDelay(4, 5);
    EXPECT_EQ(fpga.read32(timeStamp, uartDelay(4)), 0U);
    EXPECT_EQ(FpgaFace::getUartDelay(4), 0U);
}

TEST_F(FpgaFaceTest, ReckonsTheDelayFromTheRate) {
    init();
    auto const delay = [](unsigned baud, unsigned chars, unsigned bits) {
        FpgaFace::setUartDelay(1, baud, chars, bits);
        return FpgaFace::getUartDelay(1);
    };
    EXPECT_EQ(delay(9600, 10, 10), 614400U);
    EXPECT_EQ(delay(115200, 10, 11), 56320U);
    EXPECT_EQ(delay(921600, 10, 10), 6400U);
    EXPECT_EQ(delay(576001, 10, 10), 10239U) << "10239.98: cut, not rounded";
    EXPECT_EQ(delay(1, 72, 1), 4246732800U);
    EXPECT_EQ(delay(1, 73, 1), 0xFFFFFFFFU) << "the register's largest";
    EXPECT_EQ(delay(0, 10, 10), 0xFFFFFFFFU);
    EXPECT_EQ(delay(1, 0xFFFFFFFF, 0xFFFFFFFF), 0xFFFFFFFFU);
    EXPECT_EQ(delay(9600, 0, 10), 0U);
}

// ---- control registers

TEST_F(FpgaFaceTest, ReachesThePeripheralControls) {
    init();
    FpgaFace::fpga_set_periph_control(29, 1);
    EXPECT_EQ(fpga.read32(peripheral, 29 * 4), 1U);
    fpga.write32(peripheral, 63 * 4, 0xFFFFFFFF);
    EXPECT_EQ(FpgaFace::fpga_get_periph_control(63), 0xFFFFFFFFU);
    EXPECT_EQ(FpgaFace::fpga_reset_periph_control(63), 0xFFFFFFFFU);
    EXPECT_EQ(fpga.read32(peripheral, 63 * 4), 0U);
}

TEST_F(FpgaFaceTest, PeripheralControlsEndWithTheCount) {
    fpga.write32(processor, 0x2C, 8);
    fpga.write32(peripheral, 8 * 4, 7);
    init();
    for (int const index : {8, 63, 64, -1, -2147483647 - 1, 2147483647}) {
        FpgaFace::fpga_set_periph_control(index, 1);
        EXPECT_EQ(FpgaFace::fpga_get_periph_control(index), 0U) << index;
        EXPECT_EQ(FpgaFace::fpga_reset_periph_control(index), 0U) << index;
    }
    EXPECT_EQ(fpga.read32(peripheral, 8 * 4), 7U);
    EXPECT_EQ(fpga.read32(peripheral, 63 * 4), 0U);
}

TEST_F(FpgaFaceTest, ANegativeControlIsNoneWhateverTheCountSays) {
    fpga.write32(processor, 0x2C, 0xFFFFFFFF);
    fpga.write32(peripheral, 0, 7);
    init();
    for (int const index : {-1, -2147483647 - 1, 0x40000000, 64}) {
        EXPECT_EQ(FpgaFace::fpga_get_periph_control(index), 0U) << index;
    }
}

TEST_F(FpgaFaceTest, PpsAndPtpControlsFillTheirRegions) {
    configuration.set(ptpClock, "Size", "0x2A");  // ten registers and a half
    init();
    FpgaFace::fpga_set_ppsSlave_control(15, 3);
    EXPECT_EQ(fpga.read32(ppsSlave, 15 * 4), 3U);
    EXPECT_EQ(FpgaFace::fpga_get_ppsSlave_control(15), 3U);
    FpgaFace::fpga_set_ptpClock_control(9, 4);
    EXPECT_EQ(fpga.read32(ptpClock, 9 * 4), 4U);
    EXPECT_EQ(FpgaFace::fpga_get_ptpClock_control(9), 4U);
    fpga.write32(ptpClock, 10 * 4, 7);
    for (int const index : {16, -1, 0x40000000}) {
        FpgaFace::fpga_set_ppsSlave_control(index, 5);
        EXPECT_EQ(FpgaFace::fpga_get_ppsSlave_control(index), 0U) << index;
    }
    for (int const index : {10, 16, -1, 0x40000000}) {
        FpgaFace::fpga_set_ptpClock_control(index, 5);
        EXPECT_EQ(FpgaFace::fpga_get_ptpClock_control(index), 0U) << index;
    }
    EXPECT_EQ(fpga.read32(ppsSlave, 0), 0U);
    EXPECT_EQ(fpga.read32(ptpClock, 10 * 4), 7U);
}

TEST_F(FpgaFaceWrites, AnInterfaceWhoseSizeIsUnknownHasNoControls) {
    service->sizeCode = Code::INVALID_PARAM;
    FpgaFace::InitFpga(service);
    FpgaFace::fpga_set_ppsSlave_control(0, 1);
    FpgaFace::fpga_set_ptpClock_control(0, 1);
    EXPECT_THAT(service->written, IsEmpty());
}

// ---- frequency engines

TEST_F(FpgaFaceWrites, InitialisesAnEngineInOrder) {
    FpgaFace::InitFpga(service);
    FpgaFace::fpga_ptfe_init(1, 1000, 25);
    EXPECT_THAT(service->written, ElementsAre(RecordingService::Access(ptfe1, 0, 32, 24),
                                              RecordingService::Access(ptfe1, 64, 32, 1),
                                              RecordingService::Access(ptfe1, 144, 32, 1000),
                                              RecordingService::Access(ptfe1, 152, 32, 1000),
                                              RecordingService::Access(ptfe1, 288, 32, 160)));
    EXPECT_EQ(FpgaFace::getPtfeDivider(1), 25U);
    EXPECT_EQ(FpgaFace::getPtfeDivider(0), 0U);
}

TEST_F(FpgaFaceWrites, AnEngineBeyondTheCountIsLeftAlone) {
    FpgaFace::InitFpga(service);
    for (unsigned const ptfe : {2U, 0xFFFFFFFFU}) {
        FpgaFace::fpga_ptfe_init(ptfe, 1000, 25);
        FpgaFace::fpga_ptfe_soft_reset(ptfe);
        FpgaFace::setPtfeDefaultNcoRate(ptfe, 5);
        EXPECT_EQ(FpgaFace::getAndClearPtfeStatus(ptfe), 0U);
        EXPECT_EQ(FpgaFace::getPtfeDivider(ptfe), 0U);
    }
    EXPECT_THAT(service->written, IsEmpty());
}

TEST_F(FpgaFaceWrites, ASoftResetIsAPulseOfAtLeastAMicrosecond) {
    FpgaFace::InitFpga(service);
    auto const begin = std::chrono::steady_clock::now();
    FpgaFace::fpga_ptfe_soft_reset(0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::nanoseconds(1000));
    EXPECT_THAT(service->written,
                ElementsAre(RecordingService::Access("Ptfe_Interface0", 128, 32, 1),
                            RecordingService::Access("Ptfe_Interface0", 128, 32, 0)));
}

TEST_F(FpgaFaceWrites, ClearsAStatusByWritingItBack) {
    service->values[24] = 0x80000005;
    FpgaFace::InitFpga(service);
    EXPECT_EQ(FpgaFace::getAndClearPtfeStatus(1), 0x80000005U);
    EXPECT_THAT(service->written, ElementsAre(RecordingService::Access(ptfe1, 24, 32, 0x80000005)));
}

TEST_F(FpgaFaceTest, ReadsAnEnginesRegisters) {
    fpga.write64(ptfe1, 8, 0xEEEEEEEE'00000001);
    fpga.write64(ptfe1, 16, 0xEEEEEEEE'00000002);
    fpga.write64(ptfe1, 24, 0xEEEEEEEE'00000003);
    fpga.write64(ptfe1, 32, 0x1111111111111111);
    fpga.write64(ptfe1, 48, 0x2222222222222222);
    fpga.write64(ptfe1, 56, 0xEEEEEEEE'00000004);
    init();
    EXPECT_EQ(FpgaFace::getPtfeFirmwareId(1), 1U);
    EXPECT_EQ(FpgaFace::getPtfeMeasuredFreqEstimate(1), 2U);
    EXPECT_EQ(FpgaFace::getPtfeStatus(1), 3U);
    EXPECT_EQ(FpgaFace::getDfNcoRate(1), 0x1111111111111111U);
    EXPECT_EQ(FpgaFace::getDtNcoPhase(1), 0x2222222222222222U);
    EXPECT_EQ(FpgaFace::getDtCycles(1), 4U);
    FpgaFace::setPtfeDefaultNcoRate(1, 0x3333333333333333);
    EXPECT_EQ(fpga.read64(ptfe1, 200), 0x3333333333333333U);
    for (unsigned const ptfe : {2U, 0xFFFFFFFFU}) {
        EXPECT_EQ(FpgaFace::getPtfeFirmwareId(ptfe), 0U);
        EXPECT_EQ(FpgaFace::getPtfeMeasuredFreqEstimate(ptfe), 0U);
        EXPECT_EQ(FpgaFace::getPtfeStatus(ptfe), 0U);
        EXPECT_EQ(FpgaFace::getDfNcoRate(ptfe), 0U);
        EXPECT_EQ(FpgaFace::getDtNcoPhase(ptfe), 0U);
        EXPECT_EQ(FpgaFace::getDtCycles(ptfe), 0U);
    }
}

// ---- pulse generators

TEST_F(FpgaFaceTest, SetsReadsAndAdjustsThePhasesOfAPulseGenerator) {
    init();
    FpgaFace::fpga_pulsegen_set_Int_phase(1, 100);
    FpgaFace::fpga_pulsegen_set_Ext_phase(1, 200);
    EXPECT_EQ(fpga.read32(pulseGen1, 4), 100U);
    EXPECT_EQ(fpga.read32(pulseGen1, 8), 200U);
    FpgaFace::fpga_pulsegen_adjust_Int_phase(1, -30);
    FpgaFace::fpga_pulsegen_adjust_Ext_phase(1, 30);
    EXPECT_EQ(FpgaFace::fpga_pulsegen_get_Int_phase(1), 70U);
    EXPECT_EQ(FpgaFace::fpga_pulsegen_get_Ext_phase(1), 230U);
    FpgaFace::fpga_pulsegen_adjust_Int_phase(1, -71);
    EXPECT_EQ(FpgaFace::fpga_pulsegen_get_Int_phase(1), 0xFFFFFFFFU);
    FpgaFace::fpga_pulsegen_adjust_Int_phase(1, 2);
    EXPECT_EQ(FpgaFace::fpga_pulsegen_get_Int_phase(1), 1U);
    EXPECT_EQ(fpga.read32(pulseGen1, 8), 230U);
    EXPECT_EQ(fpga.read32("PulseGen_Interface0", 4), 0U);
}

TEST_F(FpgaFaceWrites, APulseGeneratorBeyondTheCountIsLeftAlone) {
    service->values[4] = service->values[8] = 5;
    FpgaFace::InitFpga(service);
    for (unsigned const pulse : {2U, 0xFFFFFFFFU}) {
        FpgaFace::fpga_pulsegen_set_Int_phase(pulse, 1);
        FpgaFace::fpga_pulsegen_set_Ext_phase(pulse, 1);
        FpgaFace::fpga_pulsegen_adjust_Int_phase(pulse, 1);
        FpgaFace::fpga_pulsegen_adjust_Ext_phase(pulse, 1);
        EXPECT_EQ(FpgaFace::fpga_pulsegen_get_Int_phase(pulse), 0U);
        EXPECT_EQ(FpgaFace::fpga_pulsegen_get_Ext_phase(pulse), 0U);
    }
    EXPECT_THAT(service->written, IsEmpty());
}

TEST_F(FpgaFaceWrites, AFailedReadGivesZeroAndAdjustsNothing) {
    FpgaFace::InitFpga(service);
    service->values[4] = 5;
    service->values[FpgaRegisters::TimeStamp::systemCount] = 5;
    service->readCode = Code::NO_ACTION;
    EXPECT_EQ(FpgaFace::fpga_get_SystemCount(), 0U);
    EXPECT_EQ(FpgaFace::fpga_pulsegen_get_Int_phase(0), 0U);
    FpgaFace::fpga_pulsegen_adjust_Int_phase(0, 1);
    EXPECT_THAT(service->written, IsEmpty());
}

// ---- firmware

TEST_F(FpgaFaceTest, TellsWhenTheFirmwareWasBuilt) {
    fpga.write32(processor, 0x0C, 0xFFFF1348);
    init();
    EXPECT_EQ(FpgaFace::getFirmwareBuildStamp(), "202409-1813:48:00");
}

TEST_F(FpgaFaceTest, TellsWhatTheFirmwareIs) {
    init();
    EXPECT_EQ(FpgaFace::getFirmwareConfiguration(),
              "Corvane FPGA Firmware:, CRVNTIME,Date YMD:,2024-09-18,Time  HHMM:,13:48,"
              "XPN:,074--8125--002Rev:A001");
}

TEST_F(FpgaFaceTest, AShortNameLeavesNoZeroBytesInTheText) {
    fpga.write32(processor, 0x04, 0x41000000);
    fpga.write32(processor, 0x18, 0);
    init();
    EXPECT_EQ(FpgaFace::getFirmwareConfiguration(),
              "Corvane FPGA Firmware:, CRVNA,Date YMD:,2024-09-18,Time  HHMM:,13:48,"
              "XPN:,074--8125-Rev:A001");
}

TEST_F(FpgaFaceTest, DigitsThatAreNoneAreTold) {
    fpga.write32(processor, 0x08, 0xFFFFFFFF);
    init();
    EXPECT_EQ(FpgaFace::getFirmwareBuildStamp(), "151515151515-151513:48:00");
}
