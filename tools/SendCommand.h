#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace zephonctl {

/// The server id of zephonctl itself, DiagnosticServer.
constexpr std::uint8_t diagnosticServer = 125;

/// What `zephonctl send` was told.
struct SendOptions {
    std::filesystem::path configuration;
    std::string text;
    std::uint8_t sender = diagnosticServer;  ///< server id of who commands
    std::chrono::milliseconds discovery{0};
    std::chrono::milliseconds timeout{0};
    std::size_t answers = 1;  ///< how many are awaited
    bool confirmed = false;   ///< --yes
    bool json = false;
};

/// Finds the server, sends the command, and prints the answers to standard output. Returns the
/// exit status. Raises std::runtime_error when the transport cannot be used.
int sendCommand(SendOptions const& options);

}  // namespace zephonctl
