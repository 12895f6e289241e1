#pragma once

#include <string>
#include <vector>

#include "aspn2_msgs/CommandResponse.h"

class ZephonServer;

/// The vocabulary of commands, as data. All functions are pure; any thread may call.

/// A command on its way to its handler.
struct Command {
    aspn2_msgs::idl::CommandResponse const& record;
    /// The text between commas; the verb is the first.
    std::vector<std::string> fields;
    /// The port that the command is about, as "ZP1COM2"; empty with fewer than three fields.
    std::string key;

    explicit Command(aspn2_msgs::idl::CommandResponse const& command);
};

/// What a handler answers; cbCmd makes the record of it.
struct CommandAnswer {
    enum class Kind { None, Pass, Ack, Nack, Text };

    Kind kind = Kind::None;
    std::string text;  ///< of kind Text; an empty one is no answer

    static CommandAnswer none() { return {}; }
    static CommandAnswer pass() { return {Kind::Pass, {}}; }
    static CommandAnswer ack(bool taken) { return {taken ? Kind::Ack : Kind::Nack, {}}; }
    static CommandAnswer nack() { return ack(false); }
    static CommandAnswer with(std::string text) { return {Kind::Text, std::move(text)}; }
};

/// A row of the vocabulary.
struct CommandVerb {
    enum class Match {
        WholeText,  ///< the text is the verb, without arguments
        Contains,   ///< the verb stands anywhere in the text
        FirstField  ///< what stands before the first comma is the verb
    };
    using Handler = CommandAnswer (ZephonServer::*)(Command const&);

    Match match;
    char const* verb;
    Handler handler;
};

/// The rows of a vocabulary, in the order in which they are tried. They live as long as the
/// program.
struct CommandVerbRows {
    CommandVerb const* first;
    CommandVerb const* last;

    CommandVerb const* begin() const { return first; }
    CommandVerb const* end() const { return last; }
};

/// The vocabulary that a sender may use.
CommandVerbRows commandVerbs(unsigned char senderServer);

/// The verb of a command's text, of those that its sender may use; null when the text is none.
/// The human-interface server has a vocabulary of its own, all others share one.
CommandVerb const* findCommandVerb(unsigned char senderServer, std::string const& text);
