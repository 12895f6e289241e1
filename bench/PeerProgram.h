#pragma once

#include <functional>
#include <istream>
#include <string>

namespace bench {

/// The side of the program in what PeerProcess asks. Requests come on the standard input, one a
/// line: a number, a verb, its words. Answers go to the standard output: "answer <number> ok" or
/// "answer <number> failed <why>". The end of the standard input ends the program.
namespace peerProgram {

/// Writes one line, whole and at once. Any thread may call.
void say(const std::string& line);

/// Answers requests to the end of the input. `handle` gets the words behind the number, and
/// returns an empty text or why it failed.
void serve(const std::function<std::string(std::istream& words)>& handle);

}  // namespace peerProgram

}  // namespace bench
