#pragma once

#include "face/ReturnCode.h"

namespace FACE::IOSS::Serial {

/// What a serial service offers beside IO_Service to the owner of a thread that writes: the means
/// to get that thread back from a line that takes no bytes (flow control, a peer that does not
/// read). Ask for it with `std::dynamic_pointer_cast<Serial::Write_Control>(service)`; a service
/// that is without it has writes that never wait.
///
/// To stop a writing thread: set its stop flag, Abandon_Writes, join, Resume_Writes.
///
/// Any thread may call, while the connection is being written to as well. Both give NO_ERROR, or
/// INVALID_PARAM for a bad handle. They hold for a closed connection too, and outlast closing and
/// reopening it.
class Write_Control {
public:
    virtual ~Write_Control() = default;

    /// From now on no Write of this connection waits for the line: the one that waits returns
    /// within 100 ms, a later one at once with what the line takes without waiting. As ever,
    /// DATA_OVERFLOW tells of bytes left behind, NO_ACTION that not one was taken.
    virtual void Abandon_Writes(long long handle, RETURN_CODE_TYPE::Value& return_code) = 0;

    /// Writes wait again. A connection begins so.
    virtual void Resume_Writes(long long handle, RETURN_CODE_TYPE::Value& return_code) = 0;
};

}  // namespace FACE::IOSS::Serial
