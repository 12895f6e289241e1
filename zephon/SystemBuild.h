#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// Which build the computer's servers are of, taken together. Each announces when it was built in
/// a line of the event log, "//aspn://CORVANE/Name:2024-09-18T13:48:46Z/"; one that differs from
/// what was installed makes the system a development build.
///
/// Holds no lock and does no I/O: the server guards it with its version lock.
class SystemBuild {
public:
    /// How many servers announce themselves.
    void expect(int servers) { servers_ = static_cast<std::size_t>(servers); }
    /// What is installed: the name of the build, unless it is empty, and the time that the servers
    /// are to announce.
    void install(std::string const& build, std::string const& timestamp);

    /// Takes a line of the event log. The first announcement of each server counts; a line too
    /// short for a time counts without one. True when it is the announcement that all had waited
    /// for, or a later one.
    bool takeLine(unsigned char server, int type, std::string const& line);

    std::string const& name() const { return name_; }

private:
    std::size_t servers_ = 0;
    std::string name_ = "DEVELOPMENT";
    std::string timestamp_;
    std::vector<unsigned char> seen_;
};
