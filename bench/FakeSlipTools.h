#pragma once

#include <chrono>
#include <filesystem>
#include <string>

namespace bench {

/// `slattach` and `ifconfig` for the server: programs of these names that note how they were
/// called, in a folder to be put first on PATH. No interface comes up. One thread uses an object.
class FakeSlipTools {
public:
    /// Makes them in this folder, which must exist.
    explicit FakeSlipTools(std::filesystem::path folder);

    /// A value for PATH.
    std::string path() const;

    /// Lets `ifconfig` fail.
    void failIfconfig() const;

    /// Lets `ifconfig` wait until release(), which waits for it in turn.
    void holdIfconfig() const;
    void release() const;

    /// Waits for a call, given as it would be typed.
    bool waitForCall(const std::string& call,
                     std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
    /// All calls, each a line.
    std::string calls() const;

private:
    std::filesystem::path log() const { return folder_ / "slip-calls"; }
    std::filesystem::path gate() const { return folder_ / "slip-gate"; }
    void write(const std::string& name, const std::string& action) const;

    const std::filesystem::path folder_;
};

}  // namespace bench
