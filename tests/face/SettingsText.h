#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "face/MX_Config.h"

/// A settings file with one long value and one behind it, laid out as a save does it.
inline std::string SettingsText(std::string const& value) {
    return "<MX_Configurations>\n    <A>\n        <Name>a</Name>\n        <Parameters>\n"
           "            <Key>" +
           value +
           "</Key>\n            <Last>end</Last>\n        </Parameters>\n    </A>\n"
           "</MX_Configurations>\n";
}

/// The value as a new start reads it; what went wrong where there is none.
inline std::string StartedWith(std::string const& path,
                               FACE::FileCalls& calls = FACE::FileCalls::Real()) {
    using Code = FACE::RETURN_CODE_TYPE;
    FACE::MX_Config config(calls);
    Code::Value rc = Code::TIMED_OUT;
    config.Initialize(path.c_str(), rc);
    if (rc != Code::NO_ERROR) {
        return "not initialized";
    }
    int handle = -1;
    int size = -1;
    int bytes = -1;
    config.Open("a", handle, rc);
    config.Get_Size(handle, "Last", size, rc);
    if (rc != Code::NO_ERROR || size != 3) {
        return "not whole";
    }
    config.Get_Size(handle, "Key", size, rc);
    std::vector<char> value(rc == Code::NO_ERROR ? static_cast<std::size_t>(size) : 0);
    config.Read(handle, "Key", value.data(), static_cast<int>(value.size()), bytes, rc);
    return rc == Code::NO_ERROR ? std::string(value.begin(), value.end()) : "no value";
}

/// A start and a write. TIMED_OUT when the start failed.
inline FACE::RETURN_CODE_TYPE::Value Saved(std::string const& path, std::string value,
                                           FACE::FileCalls& calls = FACE::FileCalls::Real()) {
    using Code = FACE::RETURN_CODE_TYPE;
    FACE::MX_Config config(calls);
    Code::Value rc = Code::TIMED_OUT;
    config.Initialize(path.c_str(), rc);
    if (rc != Code::NO_ERROR) {
        return Code::TIMED_OUT;
    }
    int handle = -1;
    int bytes = -1;
    config.Open("a", handle, rc);
    config.Write(handle, "Key", value.data(), static_cast<int>(value.size()), bytes, rc);
    return rc;
}
