#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>

#include "tests/system/Waiting.h"

/// `slattach` and `ifconfig` for tests: programs of these names that note how they were called, in
/// a folder to be put first on PATH. No interface comes up. One thread.
class FakeSlipTools {
public:
    /// Makes them in this folder, which must exist.
    explicit FakeSlipTools(std::filesystem::path folder) : folder_(std::move(folder)) {
        std::filesystem::create_directory(folder_ / "bin");
        write("slattach", "");
        write("ifconfig", "");
    }

    /// A value for PATH.
    std::string path() const { return (folder_ / "bin").string() + ":" + std::getenv("PATH"); }

    /// Lets `ifconfig` fail.
    void failIfconfig() { write("ifconfig", "exit 1"); }

    /// Lets `ifconfig` wait until `release()`.
    void holdIfconfig() {
        ::mkfifo(gate().c_str(), 0600);
        write("ifconfig", "read line < '" + gate().string() + "'");
    }
    /// Waits for `ifconfig` to wait.
    void release() const { std::ofstream(gate()) << "go\n"; }

    /// Waits for a call, given as it would be typed.
    bool waitForCall(std::string const& call) const {
        return holdsInTime([&] { return calls().find(call + "\n") != std::string::npos; });
    }
    /// All calls, each a line.
    std::string calls() const {
        std::ostringstream text;
        text << std::ifstream(log()).rdbuf();
        return text.str();
    }

private:
    std::filesystem::path log() const { return folder_ / "slip-calls"; }
    std::filesystem::path gate() const { return folder_ / "slip-gate"; }

    void write(std::string const& name, std::string const& action) const {
        const auto program = folder_ / "bin" / name;
        std::ofstream(program) << "#!/bin/sh\necho \"" << name << " $*\" >> '" << log().string()
                               << "'\n"
                               << action << "\n";
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    }

    std::filesystem::path folder_;
};
