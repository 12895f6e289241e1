#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>

#include "bench/ChildProcess.h"

namespace bench {

/// A neighbour of the server: a program that takes numbered requests on its standard input and
/// answers each (PeerProgram.h). All operations may be called from any thread.
class PeerProcess {
public:
    using Duration = std::chrono::milliseconds;

    /// Longer than any request without a time-out of its own takes on a loaded machine.
    static constexpr std::chrono::seconds requestTimeout{20};

    /// Starts the program. Raises std::system_error when it cannot run.
    PeerProcess(const std::filesystem::path& program, ChildProcess::Options options);

    /// Lets the program end in its own way; kills it when that takes too long.
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    /// Sends a request and waits for its answer; false when it failed.
    bool request(const std::string& text, Duration timeout = requestTimeout);

    /// Why the last request failed; empty when it did not.
    std::string lastFailure() const;

    ChildProcess& child() { return child_; }
    const ChildProcess& child() const { return child_; }

private:
    mutable std::mutex mutex_;    // guards the two below; a leaf
    std::uint64_t requests_ = 0;  // made so far
    std::string failure_;
    ChildProcess child_;
};

}  // namespace bench
