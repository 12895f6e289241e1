#include <string>

#include "zephon/ZephonServer.h"

using ASPN2::ServerIds;
using aspn2_msgs::idl::CommandResponse;

namespace {

constexpr char const* partNumbersWord = "PARTNUMBERS";

}  // namespace

void ZephonServer::cbRsp(CommandResponse const& record) {
    if (!isRunning()) {
        return;
    }
    std::string const& text = record.command_response();
    const auto sender = ASPN2::serverIdOf(static_cast<std::uint32_t>(record.header().device_id()));
    if (sender == ServerIds::AltNavUnit && text.rfind(partNumbersWord, 0) == 0) {
        takePntdVersions(text);
    } else if (sender == ServerIds::Trevo) {
        takeEngineCbit(record);
    }
}

void ZephonServer::takePntdVersions(std::string const& text) {
    VersionStatus versions;
    versions.decodeResponse(text.c_str());
    const platform::MutexLock lock(versionMutex_);
    partNumbers_.takePntdVersions(versions);
}
