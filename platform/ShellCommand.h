#pragma once

#include <chrono>
#include <string>

/// Runs `line` in the shell and waits until that has ended. The result is what `std::system` gives:
/// 0 for a line that ended well, -1 when no shell could be started or its end is not known.
///
/// Unlike `std::system` it hands nothing of this process on to what runs, which may outlive it: no
/// open file but the three standard ones, no real-time scheduling, no blocked signal. It leaves the
/// signal actions of this process alone. A shell that has not ended after `limit` is killed with
/// all that it waits for; the result tells that signal. What it left in the background before goes
/// on. Any thread may call.
int runShellCommand(std::string const& line, std::chrono::nanoseconds limit);
