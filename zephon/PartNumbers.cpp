#include "zephon/PartNumbers.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace {

constexpr std::string_view engineStart = "GPS";
constexpr std::string_view numberMark = "XPN: ";
constexpr std::size_t numberWidth = 16;

struct EngineNumber {
    std::string_view key;
    std::string PartNumbers::*number;
};

// The first that a line holds is the one that it tells.
constexpr std::array engineNumbers{
    EngineNumber{"PAP_Boot_XPN", &PartNumbers::papBootXpn},
    EngineNumber{"PSP_Boot_XPN", &PartNumbers::pspBootXpn},
    EngineNumber{"FPGA_XPN", &PartNumbers::fpgaXpn},
    EngineNumber{"BSL_XPN", &PartNumbers::bslXpn},
};

std::string padded(std::string text) {
    text.resize(numberWidth, ' ');
    return text;
}

}  // namespace

void PartNumbers::takeEngineLine(std::string const& line) {
    const std::size_t mark = line.find(numberMark);
    if (versionComplete || line.compare(0, engineStart.size(), engineStart) != 0 ||
        mark == std::string::npos) {
        return;
    }
    for (auto const& [key, number] : engineNumbers) {
        if (line.find(key) != std::string::npos) {
            this->*number = line.substr(mark + numberMark.size(), numberWidth);
            break;
        }
    }
    versionComplete =
        !papBootXpn.empty() && !pspBootXpn.empty() && !fpgaXpn.empty() && !bslXpn.empty();
}

void PartNumbers::takePntdVersions(VersionStatus const& versions) {
    pntdSoftware = padded(versions.getSoftware1Version());
    pntdFirmware = padded(versions.getFirmware1Version());
    pntdSerialNumber = padded(versions.getSerialNumber1());
}

std::shared_ptr<MxPartNumOutput> PartNumbers::makeOutput(double gpsTimeOfWeek) const {
    if (!versionComplete) {
        return nullptr;
    }
    auto output = std::make_shared<MxPartNumOutput>();
    using L = MxPartNumLayout;
    output->set<L::GpsTime>(gpsTimeOfWeek);
    output->set<L::SystemBuild>(systemBuildReported);
    output->set<L::VhdlPartNumber>(vhdlPartNumber);
    output->set<L::BspPartNumber>(bspPartNumber);
    output->set<L::ApplicationPartNumber>(appPartNumber);
    output->set<L::FpgaXpn>(fpgaXpn);
    output->set<L::PapBootXpn>(papBootXpn);
    output->set<L::PspBootXpn>(pspBootXpn);
    output->set<L::BslXpn>(bslXpn);
    output->set<L::PntdSoftware>(pntdSoftware);
    output->set<L::PntdFirmware>(pntdFirmware);
    output->set<L::PntdSerialNumber>(pntdSerialNumber);
    return output;
}
