#include "face/ReturnCode.h"

#include <iostream>
#include <sstream>
#include <stdexcept>

namespace FACE {

namespace {

char const* NameOf(RETURN_CODE_TYPE::Value code) {
    switch (code) {
        case RETURN_CODE_TYPE::NO_ERROR:
            return "NO_ERROR";
        case RETURN_CODE_TYPE::NO_ACTION:
            return "NO_ACTION";
        case RETURN_CODE_TYPE::NOT_AVAILABLE:
            return "NOT_AVAILABLE";
        case RETURN_CODE_TYPE::INVALID_PARAM:
            return "INVALID_PARAM";
        case RETURN_CODE_TYPE::INVALID_CONFIG:
            return "INVALID_CONFIG";
        case RETURN_CODE_TYPE::INVALID_MODE:
            return "INVALID_MODE";
        case RETURN_CODE_TYPE::TIMED_OUT:
            return "TIMED_OUT";
        case RETURN_CODE_TYPE::ADDR_IN_USE:
            return "ADDR_IN_USE";
        case RETURN_CODE_TYPE::PERMISSION_DENIED:
            return "PERMISSION_DENIED";
        case RETURN_CODE_TYPE::MESSAGE_STALE:
            return "MESSAGE_STALE";
        case RETURN_CODE_TYPE::IN_PROGRESS:
            return "IN_PROGRESS";
        case RETURN_CODE_TYPE::CONNECTION_CLOSED:
            return "CONNECTION_CLOSED";
        case RETURN_CODE_TYPE::DATA_BUFFER_TOO_SMALL:
            return "DATA_BUFFER_TOO_SMALL";
        case RETURN_CODE_TYPE::DATA_OVERFLOW:
            return "DATA_OVERFLOW";
    }
    return "RC_UNKNOWN";
}

[[noreturn]] void throw_error(char const* file, int line, char const* text,
                              RETURN_CODE_TYPE::Value code) {
    std::ostringstream message;
    message << file << '[' << line << "]:" << NameOf(code) << ' ' << text;
    std::cout << message.str() << std::endl;
    throw std::runtime_error(message.str());
}

}  // namespace

String RETURN_CODE_TYPE::ToString(Value code) {
    return {NameOf(code)};
}

void Return_Code_Value_No_Error(char const* file, int line, char const* text,
                                RETURN_CODE_TYPE::Value code) {
    if (code != RETURN_CODE_TYPE::NO_ERROR) {
        throw_error(file, line, text, code);
    }
}

void Return_Code_Value_No_Error_No_Action(char const* file, int line, char const* text,
                                          RETURN_CODE_TYPE::Value code) {
    if (code != RETURN_CODE_TYPE::NO_ERROR && code != RETURN_CODE_TYPE::NO_ACTION) {
        throw_error(file, line, text, code);
    }
}

}  // namespace FACE
