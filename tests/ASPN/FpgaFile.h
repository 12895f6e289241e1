#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "bench/DeviceRoot.h"
#include "face/MX_Config.h"
#include "face/MX_Devmem.h"
#include "platform/FpgaFace.h"
#include "platform/FpgaRegisters.h"
#include "tests/face/TestFolder.h"

/// A register file whose FPGA has the right clock, none of the counted units, and a system count.
/// FpgaFace holds it while this lives.
class Fpga {
public:
    explicit Fpga(std::uint64_t systemCount) : root_(std::filesystem::path(folder_ / "dev")) {
        ::setenv(bench::DeviceRoot::environmentVariable, root_.path().c_str(), 1);
        std::ofstream(memoryPath()).close();
        constexpr unsigned long pages = 16;
        std::filesystem::resize_file(memoryPath(), pages * pageSize);
        namespace Registers = FpgaRegisters;
        store(processorPage * pageSize + Registers::Processor::clockRate,
              std::uint32_t{FpgaFace::fpga_timestamp_get_ticks_per_sec()});
        store(timeStampPage * pageSize + Registers::TimeStamp::systemCount, systemCount);

        std::string regions = "<MX_Configurations>\n";
        addRegion(regions, Registers::Processor::name, processorPage);
        addRegion(regions, Registers::TimeStamp::name, timeStampPage);
        addRegion(regions, Registers::Control::peripheralName, 3);
        addRegion(regions, Registers::Control::ppsSlaveName, 4);
        addRegion(regions, Registers::Control::ptpClockName, 5);

        using Code = FACE::RETURN_CODE_TYPE;
        const auto devmem = std::make_shared<FACE::IOSS::MX_Devmem>();
        Code::Value rc = Code::NO_ACTION;
        devmem->Set_Reference("Configuration", std::make_shared<FACE::MX_Config>(), 0, rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        devmem->Initialize(folder_.write("io.xml", regions + "</MX_Configurations>\n").c_str(), rc);
        EXPECT_EQ(rc, Code::NO_ERROR);
        FpgaFace::InitFpga(devmem);
    }
    ~Fpga() { FpgaFace::DoneFpga(); }

    Fpga(const Fpga&) = delete;
    Fpga& operator=(const Fpga&) = delete;

private:
    static constexpr unsigned pageSize = 4096;
    static constexpr unsigned processorPage = 1;
    static constexpr unsigned timeStampPage = 2;

    std::string memoryPath() const { return root_.path() / "mem"; }

    static void addRegion(std::string& regions, const std::string& name, unsigned page) {
        regions += "<Memory_Region><Name>" + name + "</Name><Parameters><BaseAddress>" +
                   std::to_string(page * pageSize) + "</BaseAddress><Size>" +
                   std::to_string(pageSize) + "</Size></Parameters></Memory_Region>\n";
    }

    template <class Value>
    void store(unsigned long address, Value value) const {
        std::fstream file(memoryPath(), std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(address));
        file.write(reinterpret_cast<const char*>(&value), sizeof value);
        EXPECT_TRUE(file.flush());
    }

    TestFolder folder_;
    bench::DeviceRoot root_;
};
