#include "zephon/VersionInfo.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "face/MX_Config.h"
#include "face/MX_Config_Helpers.h"

namespace {

using ReturnCode = FACE::RETURN_CODE_TYPE;

/// The value of a key, with what is missing told on standard output; empty then.
void read(FACE::Configuration& config, int handle, char const* key, std::string& value) {
    FACE::String text;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    MX_Config_Helpers::Get_String_Parameter(config, handle, key, text, code);
    value = code == ReturnCode::NO_ERROR ? FACE::ToStdString(text) : std::string();
}

template <typename Read>
void readSection(FACE::Configuration& config, char const* section, Read readKeys) {
    int handle = 0;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Open(section, handle, code);
    if (code == ReturnCode::NO_ERROR) {
        readKeys(handle);
        config.Close(handle, code);
    }
}

std::string digitsOf(std::string const& text) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
                 [](char c) { return c >= '0' && c <= '9'; });
    return digits;
}

}  // namespace

bool VersionInfo::load(FACE::String const& file) {
    FACE::MX_Config config;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Initialize(file, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    VersionInfo info;
    readSection(config, "BSP", [&](int handle) {
        read(config, handle, "pn", info.bspPartNumber);
        read(config, handle, "sysinfo_release", info.bspRelease);
        read(config, handle, "sysinfo_version", info.bspVersion);
    });
    readSection(config, "VHDL", [&](int handle) {
        read(config, handle, "pn", info.vhdlPartNumber);
        read(config, handle, "timestamp", info.vhdlTimestamp);
    });
    readSection(config, "APPS", [&](int handle) {
        read(config, handle, "pn", info.appPartNumber);
        read(config, handle, "build", info.appBuild);
        read(config, handle, "timestamp", info.appTimestamp);
    });
    *this = std::move(info);
    return true;
}

std::string VersionInfo::describe(std::string const& configuration) const {
    return "PartNumbers\nBSP PN: " + bspPartNumber + "\nBSP RL: " + bspRelease +
           "\nBSP VR: " + bspVersion + "\nVHD PN: " + vhdlPartNumber +
           "\nVHD BT: " + vhdlTimestamp + "\nAPP PN: " + appPartNumber + "\nAPP BD: " + appBuild +
           "\nAPP BT: " + appTimestamp + "\nCONFIG: " + configuration;
}

bool VersionInfo::isOfFpga(std::string const& buildStamp) const {
    const std::string digits = digitsOf(vhdlTimestamp);
    return !digits.empty() && digits == digitsOf(buildStamp);
}

bool VersionInfo::isOfKernel(std::string const& release, std::string const& version) const {
    return release == bspRelease && version == bspVersion;
}

std::string VersionInfo::applicationPartNumber(std::string const& ownBuild) const {
    return appBuild == ownBuild ? appPartNumber : appPartNumber + "-DEV";
}
