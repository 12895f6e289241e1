#pragma once

#include <string>
#include <string_view>

#include "tools/CommandVocabulary.h"

namespace zephonctl {

/// The exit statuses of zephonctl.
namespace ExitStatus {
constexpr int Done = 0;      ///< pass, ACK, a CURRENT record, the ping's answer
constexpr int Refused = 1;   ///< fail, NACK, or an answer of another kind
constexpr int NoAnswer = 2;  ///< none came in time
constexpr int Nobody = 3;    ///< nobody listens to commands
constexpr int Unusable = 4;  ///< wrong usage, configuration or transport; nothing was sent
}  // namespace ExitStatus

/// The exit status of an answer to `command`. Pure; any thread.
int statusOf(std::string_view command, std::string_view answer);

/// Why no answer to `command` came, as far as its words tell. Pure; any thread.
std::string reasonForSilence(std::string_view command, Sender sender);

}  // namespace zephonctl
