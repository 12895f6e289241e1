// zephon-bench: the simulated computer and receiver unit as a program.

#include <csignal>
#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

#include "bench/Demo.h"

int main(int argc, char** argv) {
    bench::DemoOptions options;
    CLI::App app("A simulated navigation computer and receiver unit around the real ZephonServer");
    app.require_subcommand(1);
    CLI::App* demo = app.add_subcommand(
        "demo", "Publishes fused solutions and checks what reaches the unit's serial line");
    demo->add_option("--server", options.server, "The server to run (default: next to this one)")
        ->check(CLI::ExistingFile);
    demo->add_option("--configuration", options.configuration,
                     "Folder of the server's files, copied and fitted to the bench\n"
                     "(default: the example as installed)")
        ->check(CLI::ExistingDirectory)
        ->take_last();
    demo->add_option("--duration", options.duration, "Seconds; 0 runs until Ctrl-C")
        ->check(CLI::NonNegativeNumber);
    demo->add_option("--rate", options.rate, "Solutions a second")
        ->check(CLI::Range(0.1, 1000.0))
        ->capture_default_str();
    demo->add_option("--transport", options.transport, "Transport of the server")
        ->check(CLI::IsMember({"SHM", "UDP", "TCP_Client", "TCP_Server"}))
        ->capture_default_str();
    demo->add_flag("--keep", options.keep, "Leave configuration and device root standing");
    CLI11_PARSE(app, argc, argv);

    // Taken by sigtimedwait alone, so blocked before any thread exists.
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    try {
        return bench::runDemo(options, ending);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zephon-bench: %s\n", failure.what());
        return 1;
    }
}
