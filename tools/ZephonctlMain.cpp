// zephonctl: commands for ZephonServer, and a look at its topics.

#include <chrono>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "ASPN/DeviceIds.h"
#include "tools/CommandOutcome.h"
#include "tools/CommandVocabulary.h"
#include "tools/SendCommand.h"
#include "tools/WatchTopics.h"

namespace {

using namespace zephonctl;

struct VerbsOptions {
    bool json = false;
    bool names = false;
};

/// The server's file, where it is installed, seen from this program.
std::filesystem::path installedConfiguration() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / ZEPHON_EXAMPLE_FOLDER /
           "zephon-server.xml";
}

int listVerbs(VerbsOptions const& options) {
    if (options.names) {
        std::set<std::string> names;
        for (auto const& verb : vocabulary()) {
            names.insert(verb.name);
        }
        fmt::print("{}\n", fmt::join(names, "\n"));
        return ExitStatus::Done;
    }
    auto list = nlohmann::ordered_json::array();
    for (auto const& verb : vocabulary()) {
        const bool human = verb.sender == Sender::HumanInterface;
        if (options.json) {
            list.push_back({{"verb", verb.name},
                            {"arguments", verb.arguments},
                            {"sender", human ? "hmi" : "server"},
                            {"summary", verb.summary},
                            {"answers", verb.answers},
                            {"destructive", isDestructive(verb.name)}});
        } else {
            fmt::print("{}{}\n    {}{}{}\n    answers: {}\n", verb.name, verb.arguments,
                       verb.summary, human ? " (--as hmi)" : "",
                       isDestructive(verb.name) ? " (destructive: --yes)" : "",
                       verb.answers.empty() ? "none" : verb.answers);
        }
    }
    if (options.json) {
        fmt::print("{}\n", list.dump());
    }
    return ExitStatus::Done;
}

/// Turns "hmi" and the numbers of servers into the number.
std::string toServerId(std::string const& text) {
    if (text == "hmi") {
        return std::to_string(ASPN2::ServerIds::HmiServer);
    }
    const bool number = !text.empty() && text.size() <= 3 &&
                        text.find_first_not_of("0123456789") == std::string::npos;
    if (!number || std::stoi(text) > 255) {
        throw CLI::ValidationError("--as", "\"" + text + "\" is neither hmi nor from 0 to 255");
    }
    return text;
}

void addConfiguration(CLI::App& command, std::filesystem::path& file) {
    command
        .add_option("-c,--config", file, "The server's top-level XML file, or its connections file")
        ->envname("ZEPHONCTL_CONFIG")
        ->capture_default_str();
}

int run(int argc, char** argv) {
    CLI::App app("Commands for ZephonServer on its topics, and a look at them.", "zephonctl");
    app.require_subcommand(1);
    app.footer(
        "Exit status of send: 0 done, 1 refused, 2 no answer, 3 nobody listens, 4 could not be "
        "sent.");

    SendOptions send;
    send.configuration = installedConfiguration();
    double timeout = 5;
    double discovery = 10;
    unsigned sender = diagnosticServer;
    auto* const sendCommandLine =
        app.add_subcommand("send", "Send a command and print the answer to it");
    sendCommandLine->add_option("text", send.text, "Verb and arguments, separated by commas")
        ->required();
    addConfiguration(*sendCommandLine, send.configuration);
    sendCommandLine->add_option("--as", sender, "Who sends: hmi, or a server id from 0 to 255")
        ->transform(CLI::Validator(
            [](std::string& text) {
                text = toServerId(text);
                return std::string();
            },
            "hmi|ID"))
        ->capture_default_str();
    sendCommandLine->add_option("--timeout", timeout, "Seconds to wait for the answers")
        ->check(CLI::Range(0.0, 86400.0))
        ->capture_default_str();
    sendCommandLine->add_option("--discovery", discovery, "Seconds to look for the server")
        ->check(CLI::Range(0.0, 86400.0))
        ->capture_default_str();
    sendCommandLine
        ->add_option("--answers", send.answers, "How many answers to wait for (some come later)")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    sendCommandLine->add_flag("--yes", send.confirmed, "Do send a verb that destroys");
    sendCommandLine->add_flag("--json", send.json, "Print JSON");

    VerbsOptions verbs;
    auto* const verbsCommandLine =
        app.add_subcommand("verbs", "List the verbs of the server, with arguments and answers");
    verbsCommandLine->add_flag("--json", verbs.json, "Print JSON");
    verbsCommandLine->add_flag("--names", verbs.names, "Print the verbs alone, one a line");

    WatchOptions watch;
    watch.configuration = installedConfiguration();
    const std::map<std::string, WatchOptions::Topics> topics{
        {"events", WatchOptions::Topics::Events},
        {"responses", WatchOptions::Topics::Responses},
        {"all", WatchOptions::Topics::All}};
    auto* const watchCommandLine =
        app.add_subcommand("watch", "Print what passes on the topics, until Ctrl-C");
    watchCommandLine->add_option("topics", watch.topics, "events, responses or all (default)")
        ->transform(CLI::CheckedTransformer(topics));
    addConfiguration(*watchCommandLine, watch.configuration);
    watchCommandLine->add_flag("--json", watch.json, "Print JSON, one object a line");

    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? ExitStatus::Done : ExitStatus::Unusable;
    }
    if (*verbsCommandLine) {
        return listVerbs(verbs);
    }
    // Standard output is for records; what the services have to say goes beside it.
    std::cout.rdbuf(std::cerr.rdbuf());
    if (*watchCommandLine) {
        return watchTopics(watch);
    }
    using std::chrono::duration;
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    send.sender = static_cast<std::uint8_t>(sender);
    send.timeout = duration_cast<milliseconds>(duration<double>(timeout));
    send.discovery = duration_cast<milliseconds>(duration<double>(discovery));
    return sendCommand(send);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (std::exception const& error) {
        fmt::print(stderr, "zephonctl: {}\n", error.what());
        return ExitStatus::Unusable;
    }
}
