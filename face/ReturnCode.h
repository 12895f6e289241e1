#pragma once

#include <cstdint>

#include "face/String.h"

namespace FACE {

/// What a service operation reports, last in its argument list.
struct RETURN_CODE_TYPE {
    enum Value : std::int32_t {
        NO_ERROR = 0,
        NO_ACTION = 1,  ///< nothing was done and, in most services, nothing is wrong
        NOT_AVAILABLE = 2,
        INVALID_PARAM = 3,
        INVALID_CONFIG = 4,
        INVALID_MODE = 5,
        TIMED_OUT = 6,
        ADDR_IN_USE = 7,
        PERMISSION_DENIED = 8,
        MESSAGE_STALE = 9,
        IN_PROGRESS = 10,
        CONNECTION_CLOSED = 11,
        DATA_BUFFER_TOO_SMALL = 12,
        DATA_OVERFLOW = 13
    };

    /// The enumerator's name; "RC_UNKNOWN" for any other number.
    static String ToString(Value code);
};

/// Returns when `code` is NO_ERROR. Otherwise writes "file[line]:CODE text" and a line end to
/// standard output and throws std::runtime_error with that text. For failures that can only end
/// the process or the thread.
void Return_Code_Value_No_Error(char const* file, int line, char const* text,
                                RETURN_CODE_TYPE::Value code);

/// The same, but NO_ACTION passes too.
void Return_Code_Value_No_Error_No_Action(char const* file, int line, char const* text,
                                          RETURN_CODE_TYPE::Value code);

}  // namespace FACE
