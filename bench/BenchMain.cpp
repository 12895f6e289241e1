// zephon-bench: the simulated computer and receiver unit as a program.

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "bench/LiveRun.h"
#include "bench/Scenario.h"

namespace {

/// "NAME=VALUE" as CLI11 wants a check: empty when it is one.
std::string checkAssignment(const std::string& text) {
    return text.find('=') == std::string::npos ? "NAME=VALUE expected: " + text : "";
}

}  // namespace

int main(int argc, char** argv) {
    bench::LiveOptions options;
    std::vector<std::string> assignments;
    std::string rate;
    std::string duration;
    CLI::App app(
        "Plays a scenario with the real ZephonServer between a simulated computer and receiver "
        "unit, and shows what passes");
    app.footer(bench::scenarioGrammar);
    app.add_option("--scenario", options.scenario,
                   "File of steps (default: the demo, as installed)")
        ->check(CLI::ExistingFile)
        ->take_last();
    app.add_option("--set", assignments, "NAME=VALUE: what ${NAME} stands for in the scenario")
        ->check(checkAssignment)
        ->allow_extra_args(false);
    app.add_option("--rate", rate, "The same as --set rate=...: solutions a second")
        ->check(CLI::Range(0.1, 1000.0));
    app.add_option("--duration", duration,
                   "The same as --set duration=...s: seconds; 0 runs until Ctrl-C")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--server", options.server, "The server to run (default: next to this program)")
        ->check(CLI::ExistingFile);
    app.add_option("--configuration", options.configuration,
                   "Folder of the server's files, copied and fitted to the bench\n"
                   "(default: the example as installed)")
        ->check(CLI::ExistingDirectory)
        ->take_last();
    app.add_option("--transport", options.transport, "Transport of the server")
        ->check(CLI::IsMember({"SHM", "UDP", "TCP_Client", "TCP_Server"}))
        ->capture_default_str();
    app.add_flag("--keep", options.keep, "Leave configuration and device root standing");
    CLI11_PARSE(app, argc, argv);
    for (const std::string& assignment : assignments) {
        const std::size_t equals = assignment.find('=');
        options.variables[assignment.substr(0, equals)] = assignment.substr(equals + 1);
    }
    if (!rate.empty()) {
        options.variables["rate"] = rate;
    }
    if (!duration.empty()) {
        options.variables["duration"] = duration + "s";
    }

    // Taken by sigtimedwait alone, so blocked before any thread exists.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    try {
        return bench::runLive(options, ending);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zephon-bench: %s\n", failure.what());
        return 1;
    }
}
