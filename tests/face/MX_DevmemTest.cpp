#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "face/MX_Config.h"
#include "face/MX_Devmem.h"
#include "face/MemoryMap.h"
#include "tests/face/EveryIoOperation.h"
#include "tests/face/MemoryDevice.h"

using Code = FACE::RETURN_CODE_TYPE;
using State = FACE::IOSS::CONNECTION_STATE_TYPE;
using FACE::IOSS::IO_PARAMETER;
using FACE::IOSS::IO_PARAMETER_TRANSACTION_TYPE;
using FACE::IOSS::MX_Devmem;
using FACE::IOSS::Devmem::READ_PAYLOAD_TYPE;
using FACE::IOSS::Devmem::WRITE_PAYLOAD_TYPE;
using Kind = FACE::IOSS::Devmem::IO_PARAMETER_KIND;
using testing::ElementsAre;

namespace {

/// The service with regions that a test changes before it calls start().
class MX_DevmemTest : public MemoryDevice {
protected:
    using Values = std::map<std::string, std::string>;

    std::string configFile() {
        std::string text = "<MX_Configurations>\n";
        for (auto const& [name, parameters] : values) {
            text += "<Memory_Region><Name>" + name + "</Name><Parameters>";
            for (auto const& [key, value] : parameters) {
                text += "<" + key + ">" + value + "</" + key + ">";
            }
            text += "</Parameters></Memory_Region>\n";
        }
        return folder.write("io.xml", text + "</MX_Configurations>\n");
    }

    void start() {
        Code::Value rc = Code::IN_PROGRESS;
        service->Set_Reference("Configuration", std::make_shared<FACE::MX_Config>(), 0, rc);
        ASSERT_EQ(rc, Code::NO_ERROR);
        rc = Code::IN_PROGRESS;
        service->Initialize(configFile().c_str(), rc);
        ASSERT_EQ(rc, Code::NO_ERROR);
    }

    Code::Value open(char const* name, long long& handle) {
        Code::Value rc = Code::IN_PROGRESS;
        service->Open_Connection(name, 0, handle, rc);
        return rc;
    }

    long long startAndOpen(std::string const& base, std::string const& size) {
        values["Region"] = {{"BaseAddress", base}, {"Size", size}};
        start();
        long long handle = -7;
        EXPECT_EQ(open("Region", handle), Code::NO_ERROR);
        return handle;
    }
    long long startAndOpen() { return startAndOpen("0x2000", "0x100"); }

    Code::Value close(long long handle) {
        Code::Value rc = Code::IN_PROGRESS;
        service->Close_Connection(handle, rc);
        return rc;
    }

    Code::Value read(long long handle, std::uint32_t offset, std::int32_t width,
                     std::uint64_t& value) {
        READ_PAYLOAD_TYPE payload;
        payload.offset = offset;
        payload.width = width;
        payload.value = value;
        Code::Value rc = Code::IN_PROGRESS;
        service->Read(handle, 0, payload, rc);
        value = payload.value;
        return rc;
    }
    Code::Value read(long long handle, std::uint32_t offset, std::int32_t width) {
        std::uint64_t value = 0xEEEE;
        Code::Value const rc = read(handle, offset, width, value);
        EXPECT_TRUE(rc == Code::NO_ERROR || value == 0xEEEE) << "a refusal changed the value";
        return rc;
    }

    Code::Value write(long long handle, std::uint32_t offset, std::int32_t width,
                      std::uint64_t value) {
        WRITE_PAYLOAD_TYPE payload;
        payload.offset = offset;
        payload.width = width;
        payload.value = value;
        Code::Value rc = Code::IN_PROGRESS;
        service->Write(handle, 0, payload, rc);
        return rc;
    }

    int state(long long handle) {
        FACE::IOSS::CONNECTION_STATUS_TYPE status;
        status.timestamp = 7;
        Code::Value rc = Code::IN_PROGRESS;
        service->Get_Connection_Status(handle, status, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        EXPECT_EQ(status.timestamp, 0);
        EXPECT_EQ(status.available, 1);
        return status.state;
    }

    static IO_PARAMETER parameter(std::uint16_t kind, std::uint32_t value) {
        IO_PARAMETER result;
        result.kind = kind;
        result.value.ulong_value(value);
        return result;
    }

    Code::Value configure(long long handle, std::vector<IO_PARAMETER> const& parameters) {
        IO_PARAMETER_TRANSACTION_TYPE transaction;
        for (IO_PARAMETER const& each : parameters) {
            transaction.parameters.append(each);
        }
        Code::Value rc = Code::IN_PROGRESS;
        service->Configure_Connection_Parameters(handle, 0, transaction, rc);
        return rc;
    }

    /// Base address and size as the service tells them.
    std::vector<std::uint32_t> region(long long handle) {
        IO_PARAMETER_TRANSACTION_TYPE transaction;
        transaction.parameters.append(parameter(Kind::BASE_ADDRESS, 0xEEEE));
        transaction.parameters.append(parameter(Kind::SIZE, 0xEEEE));
        Code::Value rc = Code::IN_PROGRESS;
        service->Get_Connection_Configuration(handle, 0, transaction, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        std::vector<std::uint32_t> found;
        for (IO_PARAMETER const& each : transaction.parameters) {
            std::uint32_t value = 0xEEEE;
            FACE::IOSS::IO_PARAMETER_VALUE_TYPE::RETURN_CODE code{};
            each.value.ulong_value(value, code);
            found.push_back(value);
        }
        return found;
    }

    std::map<std::string, Values> values;
    std::unique_ptr<MX_Devmem> service = std::make_unique<MX_Devmem>();
};

}  // namespace

// ---- configuration and opening

TEST_F(MX_DevmemTest, TakesOneConfigurationAndInitializesOnce) {
    Code::Value rc = Code::IN_PROGRESS;
    service->Initialize(configFile().c_str(), rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG) << "no reference";
    service->Set_Reference("Configuration", nullptr, 0, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    start();
    service->Set_Reference("Configuration", std::make_shared<FACE::MX_Config>(), 0, rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
    service->Initialize("/nowhere.xml", rc);
    EXPECT_EQ(rc, Code::NO_ACTION);
}

TEST_F(MX_DevmemTest, OpensRegionsUnderHandlesThatCountFromZero) {
    values["A"] = {{"BaseAddress", "0x1000"}, {"Size", "16"}};
    values["B"] = {{"BaseAddress", "8192"}, {"Size", "020"}};
    start();
    long long handle = -7;
    EXPECT_EQ(open("A", handle), Code::NO_ERROR);
    EXPECT_EQ(handle, 0);
    EXPECT_EQ(open("B", handle), Code::NO_ERROR);
    EXPECT_EQ(handle, 1);
    EXPECT_EQ(state(0), 2);
    EXPECT_THAT(region(0), ElementsAre(0x1000, 16));
    EXPECT_THAT(region(1), ElementsAre(8192, 16));
}

TEST_F(MX_DevmemTest, ASecondOpenGivesTheSameHandle) {
    long long const first = startAndOpen();
    long long handle = -7;
    EXPECT_EQ(open("Region", handle), Code::NO_ERROR);
    EXPECT_EQ(handle, first);
}

TEST_F(MX_DevmemTest, RefusesAnUnknownContainerAndAnInvalidName) {
    start();
    long long handle = -7;
    EXPECT_EQ(open("Region", handle), Code::INVALID_CONFIG);
    EXPECT_EQ(handle, -1);
    handle = -7;
    EXPECT_EQ(open(nullptr, handle), Code::INVALID_PARAM);
    EXPECT_EQ(handle, -1);
}

TEST_F(MX_DevmemTest, RefusesAContainerWithoutAddressOrSize) {
    values["NoBase"] = {{"Size", "16"}};
    values["NoSize"] = {{"BaseAddress", "0x1000"}};
    values["Neither"] = {};
    start();
    for (std::string const missing : {"Base", "Size"}) {
        testing::internal::CaptureStdout();
        long long handle = -7;
        EXPECT_EQ(open(("No" + missing).c_str(), handle), Code::INVALID_CONFIG);
        EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr(missing));
        EXPECT_EQ(handle, -1);
    }
    testing::internal::CaptureStdout();
    long long handle = -7;
    EXPECT_EQ(open("Neither", handle), Code::INVALID_CONFIG);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "WARNING - Parameter BaseAddress not found\nWARNING - Parameter Size not found\n");
    Code::Value rc = Code::IN_PROGRESS;
    FACE::IOSS::CONNECTION_STATUS_TYPE status;
    service->Get_Connection_Status(0, status, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM) << "no connection was added";
}

TEST_F(MX_DevmemTest, AClosedRegionOpensAgainUnderItsHandle) {
    long long const first = startAndOpen();
    EXPECT_EQ(write(first, 4, 32, 5), Code::NO_ERROR);
    EXPECT_EQ(close(first), Code::NO_ERROR);
    EXPECT_EQ(read(first, 4, 32), Code::CONNECTION_CLOSED);
    long long handle = -7;
    EXPECT_EQ(open("Region", handle), Code::NO_ERROR);
    EXPECT_EQ(handle, first);
    std::uint64_t value = 0;
    EXPECT_EQ(read(handle, 4, 32, value), Code::NO_ERROR);
    EXPECT_EQ(value, 5U);
}

// ---- registers

TEST_F(MX_DevmemTest, ReadsEachWidthZeroExtended) {
    long long const handle = startAndOpen();
    setBytes(0x2008, {0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8});
    std::map<int, std::uint64_t> const expected{
        {8, 0xF1}, {16, 0xF2F1}, {32, 0xF4F3F2F1}, {64, 0xF8F7F6F5F4F3F2F1}};
    for (auto const& [width, content] : expected) {
        std::uint64_t value = 0xEEEEEEEEEEEEEEEE;
        EXPECT_EQ(read(handle, 8, width, value), Code::NO_ERROR);
        EXPECT_EQ(value, content) << width;
    }
}

TEST_F(MX_DevmemTest, ClearsTheTimeOfAReadPayload) {
    long long const handle = startAndOpen();
    READ_PAYLOAD_TYPE payload;
    payload.timestamp = 7;
    payload.width = 32;
    Code::Value rc = Code::IN_PROGRESS;
    service->Read(handle, 0, payload, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(payload.timestamp, 0);
}

TEST_F(MX_DevmemTest, WritesTheLowBitsOfTheWidthOnly) {
    long long const handle = startAndOpen();
    constexpr std::uint64_t value = 0x8877665544332211;
    for (int const width : {8, 16, 32, 64}) {
        std::vector<std::uint8_t> const before(10, 0xEE);
        setBytes(0x2007, before);
        EXPECT_EQ(write(handle, 8, width, value), Code::NO_ERROR);
        std::vector<unsigned> expected(before.begin(), before.end());
        for (std::size_t i = 0; i < static_cast<std::size_t>(width) / 8; ++i) {
            expected[1 + i] = static_cast<unsigned>(value >> (8 * i)) & 0xFF;
        }
        EXPECT_EQ(bytes(0x2007, 10), expected) << width;
    }
}

TEST_F(MX_DevmemTest, TheLastRegisterOfARegionIsTheLast) {
    long long const handle = startAndOpen();
    EXPECT_EQ(read(handle, 0x100 - 4, 32), Code::NO_ERROR);
    EXPECT_EQ(read(handle, 0x100 - 3, 32), Code::NO_ACTION);
    EXPECT_EQ(write(handle, 0x100 - 4, 32, 1), Code::NO_ERROR);
    EXPECT_EQ(write(handle, 0x100 - 3, 32, 1), Code::NO_ACTION);
    EXPECT_EQ(read(handle, 0x100 - 8, 64), Code::NO_ERROR);
    EXPECT_EQ(read(handle, 0x100 - 7, 64), Code::NO_ACTION);
    EXPECT_EQ(read(handle, 0xFF, 8), Code::NO_ERROR);
    EXPECT_EQ(read(handle, 0x100, 8), Code::NO_ACTION);
    EXPECT_EQ(read(handle, 0xFFFFFFFF, 8), Code::NO_ACTION);
    EXPECT_EQ(read(handle, 0xFFFFFFFC, 32), Code::NO_ACTION);
}

TEST_F(MX_DevmemTest, RefusesOtherWidths) {
    long long const handle = startAndOpen();
    for (int const width : {24, 0, -8, 1, 65, 128, 0x40000020}) {
        EXPECT_EQ(read(handle, 0, width), Code::NO_ACTION) << width;
        EXPECT_EQ(write(handle, 0, width, 1), Code::NO_ACTION) << width;
    }
    EXPECT_THAT(bytes(0x2000, 4), ElementsAre(0, 0, 0, 0));
}

TEST_F(MX_DevmemTest, RefusesARegisterThatOneAccessDoesNotReach) {
    long long const handle = startAndOpen();
    std::map<int, std::uint32_t> const offsets{{16, 1}, {32, 2}, {64, 4}};
    for (auto const& [width, offset] : offsets) {
        EXPECT_EQ(read(handle, offset, width), Code::NO_ACTION) << width;
        EXPECT_EQ(write(handle, offset, width, 1), Code::NO_ACTION) << width;
        EXPECT_EQ(read(handle, 2 * offset, width), Code::NO_ERROR) << width;
    }
    EXPECT_THAT(bytes(0x2000, 8), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0));
}

TEST_F(MX_DevmemTest, LooksAtTheAddressToTellIt) {
    long long const handle = startAndOpen("0x2002", "0x100");
    EXPECT_EQ(read(handle, 0, 32), Code::NO_ACTION);
    EXPECT_EQ(write(handle, 4, 32, 1), Code::NO_ACTION);
    EXPECT_EQ(read(handle, 0, 16), Code::NO_ERROR);
    EXPECT_EQ(read(handle, 2, 32), Code::NO_ERROR);
    EXPECT_EQ(read(handle, 6, 64), Code::NO_ERROR);
}

TEST_F(MX_DevmemTest, RefusesARegisterThatIsWiderThanItsRegion) {
    long long const handle = startAndOpen("0x2000", "2");
    EXPECT_EQ(read(handle, 0, 16), Code::NO_ERROR);
    EXPECT_EQ(read(handle, 0, 32), Code::NO_ACTION);
    EXPECT_EQ(write(handle, 0, 64, 1), Code::NO_ACTION);
    EXPECT_EQ(read(handle, 0xFFFFFFFE, 32), Code::NO_ACTION);
}

TEST_F(MX_DevmemTest, ARegionWithoutSizeHasNoRegister) {
    long long const handle = startAndOpen("0x2000", "0");
    EXPECT_EQ(state(handle), 2);
    EXPECT_EQ(read(handle, 0, 8), Code::NO_ACTION);
}

TEST_F(MX_DevmemTest, MapsARegionThatCrossesAPageWhole) {
    std::uint64_t const page = MemoryDeviceFileDescriptor::Instance().pageSize();
    long long const handle =
        startAndOpen(std::to_string(3 * page - 8), std::to_string(2 * page + 16));
    auto const size = static_cast<std::uint32_t>(2 * page + 16);
    for (std::uint32_t offset = 0; offset < size; offset += 8) {
        ASSERT_EQ(write(handle, offset, 64, 0x0101010101010101), Code::NO_ERROR) << offset;
    }
    EXPECT_EQ(bytes(3 * page - 8, size), std::vector<unsigned>(size, 1));
    EXPECT_THAT(bytes(3 * page - 9, 1), ElementsAre(0));
    EXPECT_THAT(bytes(3 * page - 8 + size, 1), ElementsAre(0));
}

TEST_F(MX_DevmemTest, AnyThreadUsesAHandle) {
    long long const handle = startAndOpen();
    std::vector<std::thread> threads;
    for (std::uint32_t number = 0; number < 4; ++number) {
        threads.emplace_back([this, handle, number] {
            for (std::uint64_t i = 0; i < 1000; ++i) {
                EXPECT_EQ(write(handle, 8 * number, 64, i), Code::NO_ERROR);
                EXPECT_EQ(write(handle, 0x80, 32, number), Code::NO_ERROR);
                std::uint64_t value = 0;
                EXPECT_EQ(read(handle, 8 * number, 64, value), Code::NO_ERROR);
                EXPECT_EQ(value, i);
                EXPECT_EQ(read(handle, 0x80, 32, value), Code::NO_ERROR);
                EXPECT_LT(value, 4U);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// ---- a region that cannot be mapped

TEST_F(MX_DevmemTest, OpensWithoutTheDeviceAndRefusesAccess) {
    std::filesystem::remove(root.memoryPath());
    long long const handle = startAndOpen();
    EXPECT_EQ(handle, 0);
    EXPECT_EQ(state(handle), 4);
    EXPECT_EQ(read(handle, 0, 32), Code::INVALID_MODE);
    EXPECT_EQ(write(handle, 0, 32, 1), Code::INVALID_MODE);
    EXPECT_EQ(read(handle, 0, 24), Code::INVALID_MODE);
}

TEST_F(MX_DevmemTest, OpensADeviceThatCannotBeMappedAndRefusesAccess) {
    std::filesystem::remove(root.memoryPath());
    std::filesystem::create_symlink("/dev/null", root.memoryPath());
    long long const handle = startAndOpen();
    EXPECT_EQ(state(handle), 4);
    EXPECT_EQ(read(handle, 0, 32), Code::INVALID_MODE);
    EXPECT_EQ(close(handle), Code::NO_ERROR);
}

TEST_F(MX_DevmemTest, AnotherOpenAfterACloseMapsADeviceThatHasCome) {
    std::filesystem::remove(root.memoryPath());
    long long handle = startAndOpen();
    EXPECT_EQ(open("Region", handle), Code::NO_ERROR);
    EXPECT_EQ(state(handle), 4);
    makeDevice();
    EXPECT_EQ(close(handle), Code::NO_ERROR);
    EXPECT_EQ(open("Region", handle), Code::NO_ERROR);
    EXPECT_EQ(state(handle), 2);
    EXPECT_EQ(read(handle, 0, 32), Code::NO_ERROR);
}

// ---- settings

TEST_F(MX_DevmemTest, AnOpenRegionCannotBeMoved) {
    long long const handle = startAndOpen();
    EXPECT_EQ(configure(handle, {parameter(Kind::BASE_ADDRESS, 0x5000)}), Code::NO_ACTION);
    EXPECT_THAT(region(handle), ElementsAre(0x2000, 0x100));
    EXPECT_EQ(write(handle, 0, 8, 7), Code::NO_ERROR);
    EXPECT_THAT(bytes(0x2000, 1), ElementsAre(7));
}

TEST_F(MX_DevmemTest, AClosedRegionMovesWithTheNextOpen) {
    long long handle = startAndOpen();
    ASSERT_EQ(close(handle), Code::NO_ERROR);
    EXPECT_EQ(configure(handle, {parameter(Kind::BASE_ADDRESS, 0x4000), parameter(Kind::SIZE, 8),
                                 parameter(Kind::BASE_ADDRESS, 0x5000)}),
              Code::NO_ERROR);
    EXPECT_THAT(region(handle), ElementsAre(0x5000, 8));
    ASSERT_EQ(open("Region", handle), Code::NO_ERROR);
    EXPECT_EQ(write(handle, 7, 8, 7), Code::NO_ERROR);
    EXPECT_EQ(write(handle, 8, 8, 7), Code::NO_ACTION);
    EXPECT_THAT(bytes(0x5007, 1), ElementsAre(7));
}

TEST_F(MX_DevmemTest, ChangesNothingWhenAnElementIsWrong) {
    long long const handle = startAndOpen();
    ASSERT_EQ(close(handle), Code::NO_ERROR);
    IO_PARAMETER mistyped = parameter(Kind::SIZE, 8);
    mistyped.value.long_value(8);
    IO_PARAMETER const moved = parameter(Kind::BASE_ADDRESS, 0x4000);
    EXPECT_EQ(configure(handle, {moved, mistyped}), Code::INVALID_PARAM);
    EXPECT_EQ(configure(handle, {mistyped, moved}), Code::INVALID_PARAM);
    EXPECT_EQ(configure(handle, {moved, parameter(2, 8)}), Code::INVALID_PARAM);
    EXPECT_THAT(region(handle), ElementsAre(0x2000, 0x100));
}

TEST_F(MX_DevmemTest, DoesNothingWithAnInvalidTransaction) {
    long long const handle = startAndOpen();
    FACE::Sequence<IO_PARAMETER>::RETURN_CODE code{};
    IO_PARAMETER_TRANSACTION_TYPE transaction;
    transaction.parameters = FACE::Sequence<IO_PARAMETER>(0, code);
    ASSERT_FALSE(transaction.parameters.is_valid());
    Code::Value rc = Code::IN_PROGRESS;
    service->Get_Connection_Configuration(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    service->Configure_Connection_Parameters(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ACTION) << "it is open";
    ASSERT_EQ(close(handle), Code::NO_ERROR);
    service->Configure_Connection_Parameters(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_THAT(region(handle), ElementsAre(0x2000, 0x100));
}

TEST_F(MX_DevmemTest, RefusesAnUnknownKindInAQueryAndFillsTheOthers) {
    long long const handle = startAndOpen();
    IO_PARAMETER_TRANSACTION_TYPE transaction;
    transaction.parameters.append(parameter(2, 7));
    transaction.parameters.append(parameter(Kind::SIZE, 0));
    Code::Value rc = Code::IN_PROGRESS;
    service->Get_Connection_Configuration(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    EXPECT_EQ(transaction.parameters[1]->value.ulong_value(), 0x100U);
}

// ---- every operation

TEST_F(MX_DevmemTest, RefusesABadHandleInEveryOperationButThoseOfTheBus) {
    startAndOpen();
    for (long long const handle : {-1LL, 1LL, 0x1FFFFFFFFLL, 0x100000001LL}) {
        for (auto const& [operation, code] : everyIoOperation(*service, handle)) {
            bool const ofBus =
                operation == "Configure_Bus_Parameters" || operation == "Get_Bus_Configuration";
            EXPECT_EQ(code, ofBus ? Code::NO_ACTION : Code::INVALID_PARAM)
                << operation << ' ' << handle;
        }
    }
    EXPECT_EQ(state(0), 2);
}

TEST_F(MX_DevmemTest, LooksAtTheLow32BitsOfAHandle) {
    startAndOpen();
    EXPECT_EQ(write(0x500000000LL, 0, 8, 7), Code::NO_ERROR);
    EXPECT_THAT(bytes(0x2000, 1), ElementsAre(7));
}

TEST_F(MX_DevmemTest, AnswersEveryOperationOnAnOpenConnection) {
    long long const handle = startAndOpen();
    std::map<std::string, Code::Value> const expected{
        {"Read", Code::NO_ACTION},  // the payloads ask for no bits
        {"Write", Code::NO_ACTION},
        {"Configure_Connection_Parameters", Code::NO_ACTION},
        {"Get_Connection_Configuration", Code::NO_ERROR},
        {"Configure_Bus_Parameters", Code::NO_ACTION},
        {"Get_Bus_Configuration", Code::NO_ACTION},
        {"Get_Connection_Status", Code::NO_ERROR},
        {"Get_Bus_Status", Code::NO_ERROR},
        {"Register_Notification_Event", Code::NO_ACTION},
        {"Unregister_Notification_Event", Code::NO_ACTION},
        {"Close_Connection", Code::NO_ERROR}};
    EXPECT_EQ(everyIoOperation(*service, handle), expected);
}

TEST_F(MX_DevmemTest, AnswersEveryOperationOnAClosedConnection) {
    long long const handle = startAndOpen();
    ASSERT_EQ(close(handle), Code::NO_ERROR);
    std::map<std::string, Code::Value> const expected{
        {"Read", Code::CONNECTION_CLOSED},
        {"Write", Code::CONNECTION_CLOSED},
        {"Configure_Connection_Parameters", Code::NO_ERROR},
        {"Get_Connection_Configuration", Code::NO_ERROR},
        {"Configure_Bus_Parameters", Code::NO_ACTION},
        {"Get_Bus_Configuration", Code::NO_ACTION},
        {"Get_Connection_Status", Code::CONNECTION_CLOSED},
        {"Get_Bus_Status", Code::NO_ERROR},
        {"Register_Notification_Event", Code::CONNECTION_CLOSED},
        {"Unregister_Notification_Event", Code::NO_ACTION},
        {"Close_Connection", Code::CONNECTION_CLOSED}};
    EXPECT_EQ(everyIoOperation(*service, handle), expected);
}
