#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bench/Bench.h"

/// The server's top-level file on a bench.
inline std::filesystem::path configurationOf(bench::Bench& bench) {
    return bench.folder().path() / "zephon-server.xml";
}

/// The program zephonctl in the domain of a bench.
class Zephonctl {
public:
    /// Starts it with the bench's configuration.
    Zephonctl(bench::Bench& bench, std::vector<std::string> arguments)
        : process_(
              bench::programFolder() / "zephonctl",
              {std::move(arguments), {{"ZEPHONCTL_CONFIG", configurationOf(bench).string()}}, {}}) {
    }

    bench::ChildProcess& process() { return process_; }

    /// Its exit status; -1 when it does not end in time or was ended by a signal.
    int status() {
        const auto exit = process_.wait(std::chrono::seconds(60));
        return exit && exit->signal == 0 ? exit->status : -1;
    }
    std::string output() const { return process_.standardOutput(); }
    std::string errors() const { return process_.standardError(); }

private:
    bench::ChildProcess process_;
};
