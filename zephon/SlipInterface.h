#pragma once

#include <functional>
#include <string>

#include "messages/PntdMessages.h"

/// The computer's side of the SLIP channel: the shell commands that bring its interface up.

/// Runs a command line; the result is 0 for one that ended well.
using RunCommand = std::function<int(std::string const& line)>;

/// Hears what went wrong, in a few words.
using TellFailure = std::function<void(char const* what)>;

/// Attaches the serial line to the interface `sl0`, which goes on in the background, and gives the
/// interface its addresses. Between the two it waits until the interface is there, half a second
/// at most. True when both commands ended well; what attaches may still fail later.
bool openSlipInterface(PNTDBIT::ePntd_ProgStart start, RunCommand const& run,
                       TellFailure const& tell);
