#pragma once

#include <csignal>
#include <filesystem>
#include <string>

namespace bench {

/// The demonstration that ./run-demo shows: the real server between two topic peers and three
/// receiver units, with live figures.
struct DemoOptions {
    std::filesystem::path server;         ///< empty: next to this program
    std::filesystem::path configuration;  ///< folder of the example; empty: the installed one
    double duration = 0;                  ///< seconds; 0: until SIGINT or SIGTERM
    double rate = 10;                     ///< pairs of records a second
    std::string transport = "SHM";        ///< of the server
    bool keep = false;                    ///< leave configuration and device root standing
};

/// Runs it. `ending` are the signals that end it; the caller has blocked them in all threads.
/// Returns the exit status: 0 only when every pair came out as one right frame, no checksum was
/// wrong and the server ended in order.
int runDemo(const DemoOptions& options, const sigset_t& ending);

}  // namespace bench
