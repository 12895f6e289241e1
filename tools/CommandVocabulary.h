#pragma once

#include <string>
#include <string_view>
#include <vector>

/// What ZephonServer can be told on the topic Command, for people: `zephonctl verbs`, the shell's
/// completion and the reasons that `zephonctl send` gives. Constant; any thread may read.
namespace zephonctl {

/// Who may send a verb.
enum class Sender {
    Server,         ///< any server but the human interface
    HumanInterface  ///< the human interface alone (`--as hmi`)
};

/// Which texts the server takes for a verb.
enum class Match {
    WholeText,   ///< the verb alone
    FirstField,  ///< what begins with it, up to the first comma
    Anywhere     ///< what has it anywhere; goes before the others
};

struct Verb {
    std::string name;
    Sender sender;
    Match match;
    std::string_view arguments;  ///< as they follow the verb, with their commas; or empty
    std::string_view summary;
    std::string_view answers;  ///< empty for a verb that is never answered
};

/// All verbs, in the order of docs/commands.md. One that both kinds of sender may use has two rows.
std::vector<Verb> const& vocabulary();

/// What stands before the first comma.
std::string_view verbOf(std::string_view command);

/// The row of the verb that the server takes a command for, from this kind of sender; null when
/// there is none. A verb that must be the whole text is found with arguments too.
Verb const* findVerb(std::string_view command, Sender sender);

/// Whether a command takes something away that nobody brings back. Told by its words, so that the
/// verbs of the other servers on the topic count too.
bool isDestructive(std::string_view command);

}  // namespace zephonctl
