#include "tools/SiblingConfiguration.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "ASPN/DeviceIds.h"
#include "face/MX_Config_Helpers.h"

namespace zephonctl {

namespace {

using ReturnCode = FACE::RETURN_CODE_TYPE;

constexpr char const* participantContainer = "FastRtps";
constexpr char const* transportKey = "UseTransport";

/// The text of a key; empty when there is none.
std::string textOf(FACE::Configuration& config, char const* container, char const* key) {
    int handle = 0;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Open(container, handle, code);
    if (code != ReturnCode::NO_ERROR) {
        return {};
    }
    FACE::String text;
    MX_Config_Helpers::Get_String_Parameter(config, handle, key, text, code);
    config.Close(handle, code);
    return FACE::ToStdString(text);
}

bool hasContainer(FACE::Configuration& config, char const* container) {
    int handle = 0;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Open(container, handle, code);
    if (code != ReturnCode::NO_ERROR) {
        return false;
    }
    config.Close(handle, code);
    return true;
}

}  // namespace

TransportFiles findTransportFiles(std::filesystem::path const& file) {
    FACE::MX_Config config;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Initialize(file.c_str(), code);
    if (code != ReturnCode::NO_ERROR) {
        throw std::runtime_error(file.string() + " cannot be read as a configuration");
    }
    if (hasContainer(config, participantContainer)) {
        return {file, {}};
    }
    const std::string connections =
        textOf(config, ASPN2::ServerIds::ZephonServer_name, "Connections");
    if (connections.empty()) {
        throw std::runtime_error(file.string() +
                                 " is neither the server's top-level file nor its connections");
    }
    return {file.parent_path() / connections, textOf(config, "Meridane", "System")};
}

bool isForTcpClient(std::filesystem::path const& connections) {
    FACE::MX_Config config;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Initialize(connections.c_str(), code);
    return textOf(config, participantContainer, transportKey) == "TCP_Client";
}

void SiblingConfiguration::Initialize(FACE::String const& file_name, ReturnCode& rc) {
    file_.Initialize(file_name, rc);
    if (rc != FACE::RETURN_CODE_TYPE::NO_ERROR) {
        return;
    }
    // Each command has an identifier of its own, so what is old is not taken for an answer.
    replaced_["BackFillHistory"] = "TRUE";
    const std::string transport = textOf(file_, participantContainer, transportKey);
    if (transport == "TCP_Server") {
        replaced_[transportKey] = "TCP_Client";
    } else if (transport == "TCP_Client") {
        replaced_[transportKey] = "TCP_Server";
    }
}

void SiblingConfiguration::Open(FACE::String const& container_name, int& handle, ReturnCode& rc) {
    file_.Open(container_name, handle, rc);
}

void SiblingConfiguration::Get_Size(int handle, FACE::String const& parameter, int& size,
                                    ReturnCode& rc) {
    file_.Get_Size(handle, parameter, size, rc);
    const auto replaced = replaced_.find(FACE::ToStdString(parameter));
    if (rc == FACE::RETURN_CODE_TYPE::NO_ERROR && replaced != replaced_.end()) {
        size = static_cast<int>(replaced->second.size());
    }
}

void SiblingConfiguration::Read(int handle, FACE::String const& parameter, void* buffer,
                                int buffer_size, int& bytes_read, ReturnCode& rc) {
    file_.Read(handle, parameter, buffer, buffer_size, bytes_read, rc);
    const auto replaced = replaced_.find(FACE::ToStdString(parameter));
    if (rc != FACE::RETURN_CODE_TYPE::NO_ERROR || replaced == replaced_.end()) {
        return;
    }
    bytes_read = std::min(buffer_size, static_cast<int>(replaced->second.size()));
    std::memset(buffer, 0, static_cast<std::size_t>(buffer_size));
    std::memcpy(buffer, replaced->second.data(), static_cast<std::size_t>(bytes_read));
}

void SiblingConfiguration::Write(int /*handle*/, FACE::String const& /*parameter*/,
                                 void* /*buffer*/, int /*buffer_size*/, int& bytes_written,
                                 ReturnCode& rc) {
    bytes_written = 0;
    rc = FACE::RETURN_CODE_TYPE::NO_ACTION;
}

void SiblingConfiguration::Seek(int handle, WHENCE_TYPE::Value whence, int offset, ReturnCode& rc) {
    file_.Seek(handle, whence, offset, rc);
}

void SiblingConfiguration::Close(int handle, ReturnCode& rc) {
    file_.Close(handle, rc);
}

}  // namespace zephonctl
