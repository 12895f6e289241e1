#pragma once

#include <csignal>
#include <filesystem>
#include <string>

#include "bench/Scenario.h"

namespace bench {

/// How zephon-bench was called.
struct LiveOptions {
    std::filesystem::path scenario;       ///< empty: the demo as installed
    Scenario::Variables variables;        ///< in place of the scenario's own values
    std::filesystem::path server;         ///< empty: next to this program
    std::filesystem::path configuration;  ///< folder of the example; empty: the installed one
    std::string transport = "SHM";        ///< of the server
    bool keep = false;                    ///< leave configuration and device root standing
};

/// Plays a scenario and shows live what passes, and in the end how it went. `ending` are the
/// signals that end a stream, or the scenario; the caller has blocked them in all threads. Returns
/// the exit status: 0 when all steps were carried out and the server left in order, 130 when a
/// signal ended the scenario before its last step and nothing had failed, 1 when something had.
/// Raises ScenarioError, and what the bench raises.
int runLive(const LiveOptions& options, const sigset_t& ending);

}  // namespace bench
