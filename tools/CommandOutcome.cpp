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
    if (auto const* const verb = findVerb(command, sender)) {
        if (verb->match == Match::WholeText && command != verb->name) {
            return verb->name + " takes no arguments, so the server ignores this text";
        }
        return verb->answers.empty() ? verb->name + " is never answered"
                                     : "no answer to " + verb->name + " in time";
    }
    const bool human = sender == Sender::HumanInterface;
    if (auto const* const verb =
            findVerb(command, human ? Sender::Server : Sender::HumanInterface)) {
        return verb->name + (human ? " is no verb for the human interface"
                                   : " is a verb for the human interface alone (--as hmi)");
    }
    constexpr std::size_t longest = 60;
    return "\"" + printable(verbOf(command).substr(0, longest)) +
           "\" is no verb of ZephonServer, which ignores what it does not know";
}

}  // namespace zephonctl
