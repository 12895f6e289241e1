#pragma once

#include <cstdlib>
#include <string>
#include <type_traits>

#include "face/Configuration.h"
#include "face/ReturnCode.h"
#include "face/String.h"

/// Typed reads and writes of single parameters over any FACE::Configuration.
///
/// They write `rc` on failure only (INVALID_CONFIG), never NO_ERROR: clear `rc`, call a row of
/// them and test it once at the end. A getter whose parameter is missing or empty leaves its
/// value as it was, and a warning on standard output. Threads: as the configuration's.
namespace MX_Config_Helpers {

namespace Details {

/// The parameter's text; empty, with a warning line on standard output, when there is none.
std::string Read_Config(FACE::Configuration& config, int handle, FACE::String const& parameter);

/// True when the whole of `value` was stored.
bool Write_Config(FACE::Configuration& config, int handle, FACE::String const& parameter,
                  std::string value);

}  // namespace Details

void Get_String_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                          FACE::String& value, FACE::RETURN_CODE_TYPE::Value& rc);

/// "true" and "false" in any case of letters; any other text is a number, true when not 0.
void Get_Boolean_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                           bool& value, FACE::RETURN_CODE_TYPE::Value& rc);

/// A number of the base that its prefix tells (0 octal, 0x hexadecimal), cut to the width of T.
/// A text that is no number reads as 0; one beyond 64 bits as the last 64-bit number.
template <class T>
void Get_Signed_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                          T& value, FACE::RETURN_CODE_TYPE::Value& rc) {
    static_assert(std::is_integral_v<T> && std::is_signed_v<T>);
    std::string const text = Details::Read_Config(config, handle, parameter);
    if (text.empty()) {
        rc = FACE::RETURN_CODE_TYPE::INVALID_CONFIG;
        return;
    }
    value = static_cast<T>(std::strtoll(text.c_str(), nullptr, 0));
}

/// The same for unsigned numbers; a minus sign gives the two's complement.
template <class T>
void Get_Unsigned_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                            T& value, FACE::RETURN_CODE_TYPE::Value& rc) {
    static_assert(std::is_integral_v<T> && std::is_unsigned_v<T>);
    std::string const text = Details::Read_Config(config, handle, parameter);
    if (text.empty()) {
        rc = FACE::RETURN_CODE_TYPE::INVALID_CONFIG;
        return;
    }
    value = static_cast<T>(std::strtoull(text.c_str(), nullptr, 0));
}

/// An invalid `value` is a failure and leaves the parameter as it was.
void Set_String_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                          FACE::String const& value, FACE::RETURN_CODE_TYPE::Value& rc);

/// Writes "TRUE" or "FALSE".
void Set_Boolean_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                           bool value, FACE::RETURN_CODE_TYPE::Value& rc);

/// Writes the decimal text.
template <class T>
void Set_Signed_Parameter(FACE::Configuration& config, int handle, FACE::String const& parameter,
                          T value, FACE::RETURN_CODE_TYPE::Value& rc) {
    static_assert(std::is_integral_v<T> && std::is_signed_v<T>);
    if (!Details::Write_Config(config, handle, parameter, std::to_string(value))) {
        rc = FACE::RETURN_CODE_TYPE::INVALID_CONFIG;
    }
}

}  // namespace MX_Config_Helpers
