#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <thread>
#include <vector>

#include "bench/FileDescriptor.h"

namespace bench {

/// One program run beside the test, with its pipes drained all the time.
///
/// The child leads a process group of its own (a Ctrl-C at the terminal does not reach it) and is
/// killed by the kernel when the thread that started it ends, so start it from a thread that
/// outlives it: the main thread of a test. The destructor kills the whole group and reaps it, and
/// removes the shared-memory segments that a killed participant leaves.
///
/// A thread of this object drains both outputs line by line and takes the exit status. All
/// operations may be called from any thread.
class ChildProcess {
public:
    using Duration = std::chrono::milliseconds;

    struct Options {
        std::vector<std::string> arguments;              ///< without the program's own name
        std::map<std::string, std::string> environment;  ///< added to ours
        /// Sees every line of standard output on the draining thread; true when it used the line
        /// up, which then is not kept. Must not call back into the object.
        std::function<bool(const std::string& line)> lineHandler;
        std::size_t keptLines = 100000;  ///< older lines are forgotten
    };

    /// How the program ended: `signal` is 0 when it left by itself with `status`.
    struct Exit {
        int status = 0;
        int signal = 0;

        bool ok() const { return status == 0 && signal == 0; }
        std::string text() const;  ///< "exit status 1" or "signal 9 (Killed)"
    };

    /// Starts the program. Raises std::system_error when it cannot be run.
    ChildProcess(const std::filesystem::path& program, Options options);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    bool running() const;

    /// Whether the program has a handler of its own for the signal, by the kernel's word.
    bool catches(int signal) const;

    /// Sends a signal to the program; false when it has ended.
    bool signal(int number);

    /// Writes a line to its standard input; false when nobody reads there any more.
    bool writeLine(const std::string& line);
    void closeInput();

    /// Waits for the end; by then all output is taken. Nothing when `timeout` runs out first.
    std::optional<Exit> wait(Duration timeout) const;

    /// The first kept line of either output that holds `text`, waiting for it at most `timeout`.
    /// Nothing comes at once when the program has ended without it.
    std::optional<std::string> waitForLine(std::string_view text, Duration timeout) const;

    /// Waits until `count` kept lines hold `text`.
    bool waitForLines(std::string_view text, std::size_t count, Duration timeout) const;

    std::size_t countLines(std::string_view text) const;
    std::string standardOutput() const;
    std::string standardError() const;
    std::string output() const;  ///< both, in the order in which the lines were taken

private:
    struct Line {
        bool error;
        std::string text;
    };
    struct Stream {
        FileDescriptor pipe;
        bool error;
        std::string partial;
    };

    void drain();
    void take(Stream& stream);
    void finishLine(Stream& stream, std::string line);
    void reap();
    std::string text(bool output, bool error) const;

    const std::function<bool(const std::string&)> lineHandler_;
    const std::size_t keptLines_;
    pid_t pid_ = -1;            // constant after construction
    FileDescriptor exitEvent_;  // readable once the program has ended

    std::mutex inputMutex_;
    FileDescriptor input_;  // guarded by inputMutex_

    // The draining thread's own.
    Stream output_{{}, false, {}};
    Stream error_{{}, true, {}};

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::deque<Line> lines_;     // guarded by mutex_
    std::size_t forgotten_ = 0;  // guarded by mutex_: how many lines went before the first kept one
    std::set<std::string> segments_;  // guarded by mutex_: shared memory that it was seen to use
    bool reaped_ = false;             // guarded by mutex_: the process id is no longer ours
    std::optional<Exit> exit_;        // guarded by mutex_: set after the last line

    std::thread thread_;
};

/// Folder of the running program, where the build puts all of its programs.
std::filesystem::path programFolder();

}  // namespace bench
