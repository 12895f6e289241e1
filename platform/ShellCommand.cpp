#include "platform/ShellCommand.h"

#include <cerrno>
#include <csignal>
#include <optional>
#include <sched.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

/// What a new process gets, and what it does not get.
class SpawnSettings {
public:
    SpawnSettings() {
        ::posix_spawn_file_actions_init(&files_);
        ::posix_spawn_file_actions_addclosefrom_np(&files_, STDERR_FILENO + 1);
        ::posix_spawnattr_init(&attributes_);
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes_, &signals);
        ::sigaddset(&signals, SIGPIPE);
        ::posix_spawnattr_setsigdefault(&attributes_, &signals);
        const sched_param normal{};
        ::posix_spawnattr_setschedpolicy(&attributes_, SCHED_OTHER);
        ::posix_spawnattr_setschedparam(&attributes_, &normal);
        ::posix_spawnattr_setpgroup(&attributes_, 0);  // a group of its own, to be killed as one
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                     POSIX_SPAWN_SETSCHEDULER |
                                                     POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnSettings() {
        ::posix_spawnattr_destroy(&attributes_);
        ::posix_spawn_file_actions_destroy(&files_);
    }
    SpawnSettings(SpawnSettings const&) = delete;
    SpawnSettings& operator=(SpawnSettings const&) = delete;

    posix_spawn_file_actions_t const* files() const { return &files_; }
    posix_spawnattr_t const* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
};

std::optional<pid_t> start(std::string const& line) {
    std::string shell = "sh";
    std::string option = "-c";
    std::string command = line;
    char* const arguments[] = {shell.data(), option.data(), command.data(), nullptr};
    const SpawnSettings settings;
    pid_t process = 0;
    if (::posix_spawn(&process, "/bin/sh", settings.files(), settings.attributes(), arguments,
                      environ) != 0) {
        return std::nullopt;
    }
    return process;
}

/// How the process has ended; nothing while it runs.
std::optional<int> endOf(pid_t process, int options) {
    int status = -1;
    pid_t ended = -1;
    do {
        ended = ::waitpid(process, &status, options);
    } while (ended == -1 && errno == EINTR);
    if (ended == 0) {
        return std::nullopt;
    }
    return ended == process ? status : -1;
}

}  // namespace

int runShellCommand(std::string const& line, std::chrono::nanoseconds limit) {
    constexpr std::chrono::milliseconds lookAgain{5};
    const auto process = start(line);
    if (!process) {
        return -1;
    }
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < deadline) {
        if (const auto status = endOf(*process, WNOHANG)) {
            return *status;
        }
        std::this_thread::sleep_for(lookAgain);
    }
    ::kill(-*process, SIGKILL);
    return *endOf(*process, 0);
}
