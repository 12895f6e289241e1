#include "face/MX_Config_Helpers.h"

#include <algorithm>
#include <iostream>
#include <utility>

namespace MX_Config_Helpers {

using FACE::RETURN_CODE_TYPE;

namespace {

/// Locale-free: settings read alike wherever the process runs.
std::string Lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

}  // namespace

std::string Details::Read_Config(FACE::Configuration& config, int handle,
                                 FACE::String const& parameter) {
    std::string text;
    int size = 0;
    RETURN_CODE_TYPE::Value rc = RETURN_CODE_TYPE::NO_ERROR;
    config.Get_Size(handle, parameter, size, rc);
    if (rc == RETURN_CODE_TYPE::NO_ERROR && size > 0) {
        text.resize(static_cast<std::size_t>(size));
        int bytesRead = 0;
        config.Read(handle, parameter, text.data(), size, bytesRead, rc);
        bool const read = rc == RETURN_CODE_TYPE::NO_ERROR;
        text.resize(read ? static_cast<std::size_t>(std::clamp(bytesRead, 0, size)) : 0);
    }
    if (text.empty()) {
        std::cout << "WARNING - Parameter " << FACE::ToStdString(parameter) << " not found"
                  << std::endl;
    }
    return text;
}

bool Details::Write_Config(FACE::Configuration& config, int handle, FACE::String const& parameter,
                           std::string value) {
    int const size = static_cast<int>(value.size());
    int bytesWritten = 0;
    RETURN_CODE_TYPE::Value rc = RETURN_CODE_TYPE::NO_ERROR;
    config.Write(handle, parameter, value.data(), size, bytesWritten, rc);
    return rc == RETURN_CODE_TYPE::NO_ERROR && bytesWritten == size;
}

void Get_String_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                          FACE::String& value, RETURN_CODE_TYPE::Value& rc) {
    std::string const text = Details::Read_Config(config, handle, parameter);
    auto code = FACE::String::PRECONDITION_VIOLATED;
    FACE::String const copy(text.c_str(), code);
    if (text.empty() || code != FACE::String::NO_ERROR) {
        rc = RETURN_CODE_TYPE::INVALID_CONFIG;
        return;
    }
    value = copy;
}

void Get_Boolean_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                           bool& value, RETURN_CODE_TYPE::Value& rc) {
    std::string const text = Lowered(Details::Read_Config(config, handle, parameter));
    if (text.empty()) {
        rc = RETURN_CODE_TYPE::INVALID_CONFIG;
        return;
    }
    value = text == "true" || (text != "false" && std::strtoll(text.c_str(), nullptr, 0) != 0);
}

void Set_String_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                          FACE::String const& value, RETURN_CODE_TYPE::Value& rc) {
    if (!value.is_valid() ||
        !Details::Write_Config(config, handle, parameter, FACE::ToStdString(value))) {
        rc = RETURN_CODE_TYPE::INVALID_CONFIG;
    }
}

void Set_Boolean_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                           bool value, RETURN_CODE_TYPE::Value& rc) {
    if (!Details::Write_Config(config, handle, parameter, value ? "TRUE" : "FALSE")) {
        rc = RETURN_CODE_TYPE::INVALID_CONFIG;
    }
}

}  // namespace MX_Config_Helpers
