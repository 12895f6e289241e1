#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bench/Bench.h"

/// The program zephonctl in the domain of a bench.
class Zephonctl {
public:
    /// Starts it. `configuration` is the bench's own unless given.
    Zephonctl(bench::Bench& bench, std::vector<std::string> arguments,
              std::optional<std::filesystem::path> configuration = std::nullopt)
        : process_(
              bench::programFolder() / "zephonctl",
              {std::move(arguments),
               {{"ZEPHONCTL_CONFIG",
                 configuration.value_or(bench.folder().path() / "zephon-server.xml").string()}},
               {}}) {}

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
