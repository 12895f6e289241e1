#include "tools/CommandOutcome.h"

#include "ASPN/CmdResponseStrings.h"
#include "ASPN/DeviceIds.h"
#include "tools/RecordText.h"

namespace zephonctl {

namespace {

bool beginsWith(std::string_view text, std::string_view begin) {
    return text.substr(0, begin.size()) == begin;
}

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

int statusOf(std::string_view command, std::string_view answer) {
    namespace Words = Sys::ResponseString;
    const bool done = endsWith(answer, Words::Pass) || endsWith(answer, Words::Ack) ||
                      beginsWith(answer, "CURRENT_") ||
                      (verbOf(command) == Sys::CommandString::BitServerPing &&
                       answer == ASPN2::ServerIds::ZephonServer_name) ||
                      (verbOf(command) == Sys::CommandString::RequestPartNumbers &&
                       beginsWith(answer, "PARTNUMBERS"));
    return done ? ExitStatus::Done : ExitStatus::Refused;
}

std::string reasonForSilence(std::string_view command, Sender sender) {
    constexpr std::size_t longest = 60;
    const std::string name = printable(verbOf(command).substr(0, longest));
    if (auto const* const verb = findVerb(command, sender)) {
        if (verb->answers.empty()) {
            return name + " is never answered";
        }
        if (verb->arguments.empty() && command != verb->name) {
            return name + " takes no arguments, so the server ignores this text";
        }
        return "no answer to " + name + " in time";
    }
    const bool human = sender == Sender::HumanInterface;
    if (findVerb(command, human ? Sender::Server : Sender::HumanInterface) != nullptr) {
        return name + (human ? " is no verb for the human interface"
                             : " is a verb for the human interface alone (--as hmi)");
    }
    return "\"" + name + "\" is no verb of ZephonServer, which ignores what it does not know";
}

}  // namespace zephonctl
