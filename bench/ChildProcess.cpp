#include "bench/ChildProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "bench/Patience.h"
#include "bench/SharedMemory.h"

namespace bench {
namespace {

// How often the mapped segments of the running child are noted.
constexpr std::chrono::milliseconds segmentPeriod{250};

struct Pipe {
    FileDescriptor reading;
    FileDescriptor writing;
};

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail(errno, "pipe");
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

// A socket, not a pipe: a write to it after the child's end can be told not to raise SIGPIPE.
Pipe makeInput() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        fail(errno, "socketpair");
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

std::vector<std::string> mergedEnvironment(const std::map<std::string, std::string>& added) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (added.count(text.substr(0, text.find('='))) == 0) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : added) {
        result.push_back(std::string(name).append("=").append(value));
    }
    return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

/// Everything that the child does before the program takes over. Other threads of the parent may
/// have held locks at the fork, so only calls that are safe in a signal handler are allowed.
[[noreturn]] void becomeProgram(pid_t parent, const std::array<int, 3>& streams, int report,
                                char* const* arguments, char* const* environment) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(127);  // the parent died before the line above took effect
    }
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        action.sa_handler = SIG_DFL;
        ::sigaction(number, &action, nullptr);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    bool ok = true;
    for (int i = 0; i < 3; ++i) {
        ok = ok && ::dup2(streams[static_cast<std::size_t>(i)], i) == i;
    }
    if (ok) {
        ::execve(arguments[0], arguments, environment);
    }
    const int error = errno;
    const ssize_t told = ::write(report, &error, sizeof error);
    ::_exit(told == sizeof error ? 127 : 126);
}

void setNonBlocking(int descriptor) {
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

}  // namespace

std::string ChildProcess::Exit::text() const {
    if (signal != 0) {
        const char* name = ::sigdescr_np(signal);
        return "signal " + std::to_string(signal) + " (" + (name == nullptr ? "?" : name) + ")";
    }
    return "exit status " + std::to_string(status);
}

ChildProcess::ChildProcess(const std::filesystem::path& program, Options options)
    : lineHandler_(std::move(options.lineHandler)), keptLines_(options.keptLines) {
    Pipe input = makeInput();
    Pipe output = makePipe();
    Pipe error = makePipe();
    Pipe report = makePipe();
    std::vector<std::string> argumentTexts{program.string()};
    argumentTexts.insert(argumentTexts.end(), options.arguments.begin(), options.arguments.end());
    std::vector<std::string> environmentTexts = mergedEnvironment(options.environment);
    const std::vector<char*> arguments = pointers(argumentTexts);
    const std::vector<char*> environment = pointers(environmentTexts);
    const std::array<int, 3> streams{input.reading.get(), output.writing.get(),
                                     error.writing.get()};
    const pid_t parent = ::getpid();

    pid_ = ::fork();
    if (pid_ < 0) {
        fail(errno, "fork");
    }
    if (pid_ == 0) {
        becomeProgram(parent, streams, report.writing.get(), arguments.data(), environment.data());
    }
    ::setpgid(pid_, pid_);  // here too: whichever of the two comes first
    report.writing.reset();
    int childError = 0;
    ssize_t told = 0;
    do {
        told = ::read(report.reading.get(), &childError, sizeof childError);
    } while (told < 0 && errno == EINTR);
    if (told > 0) {
        ::waitpid(pid_, nullptr, 0);
        fail(childError, program.string());
    }
    // The C library's own wrapper lacks its C linkage in Debian 12.
    exitEvent_ = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
    if (!exitEvent_.valid()) {
        const int reason = errno;
        ::kill(-pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        fail(reason, "pidfd_open");
    }
    input_ = std::move(input.writing);
    output_.pipe = std::move(output.reading);
    error_.pipe = std::move(error.reading);
    setNonBlocking(output_.pipe.get());
    setNonBlocking(error_.pipe.get());
    thread_ = std::thread([this] { drain(); });
}

ChildProcess::~ChildProcess() {
    signal(SIGKILL);
    thread_.join();
}

bool ChildProcess::running() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return !exit_.has_value();
}

bool ChildProcess::catches(int signal) const {
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    const std::string key = "SigCgt:";
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, key.size(), key) == 0) {
            const unsigned long long mask = std::stoull(line.substr(key.size()), nullptr, 16);
            return ((mask >> (signal - 1)) & 1) != 0;
        }
    }
    return false;
}

bool ChildProcess::signal(int number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (reaped_) {
        return false;
    }
    addMappedSegments(pid_, segments_);  // the last look, should the signal kill it
    return ::kill(pid_, number) == 0;
}

bool ChildProcess::writeLine(const std::string& line) {
    const std::lock_guard<std::mutex> lock(inputMutex_);
    const std::string text = line + "\n";
    std::size_t sent = 0;
    while (input_.valid() && sent < text.size()) {
        const ssize_t count =
            ::send(input_.get(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return sent == text.size();
}

void ChildProcess::closeInput() {
    const std::lock_guard<std::mutex> lock(inputMutex_);
    input_.reset();
}

std::optional<ChildProcess::Exit> ChildProcess::wait(Duration timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    waitFor(changed_, lock, timeout, [this] { return exit_.has_value(); });
    return exit_;
}

std::optional<std::string> ChildProcess::waitForLine(std::string_view text,
                                                     Duration timeout) const {
    std::optional<std::string> found;
    std::size_t next = 0;
    std::unique_lock<std::mutex> lock(mutex_);
    waitFor(changed_, lock, timeout, [&] {
        for (next = std::max(next, forgotten_); next < forgotten_ + lines_.size(); ++next) {
            const std::string& line = lines_[next - forgotten_].text;
            if (line.find(text) != std::string::npos) {
                found = line;
                return true;
            }
        }
        return exit_.has_value();
    });
    return found;
}

bool ChildProcess::waitForLines(std::string_view text, std::size_t count, Duration timeout) const {
    std::size_t next = 0;
    std::size_t seen = 0;
    std::unique_lock<std::mutex> lock(mutex_);
    waitFor(changed_, lock, timeout, [&] {
        for (next = std::max(next, forgotten_); next < forgotten_ + lines_.size(); ++next) {
            seen += lines_[next - forgotten_].text.find(text) != std::string::npos ? 1 : 0;
        }
        return seen >= count || exit_.has_value();
    });
    return seen >= count;
}

std::size_t ChildProcess::countLines(std::string_view text) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::size_t count = 0;
    for (const Line& line : lines_) {
        count += line.text.find(text) != std::string::npos ? 1 : 0;
    }
    return count;
}

std::string ChildProcess::text(bool output, bool error) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string result;
    for (const Line& line : lines_) {
        if (line.error ? error : output) {
            result += line.text + "\n";
        }
    }
    return result;
}

std::string ChildProcess::standardOutput() const {
    return text(true, false);
}
std::string ChildProcess::standardError() const {
    return text(false, true);
}
std::string ChildProcess::output() const {
    return text(true, true);
}

void ChildProcess::drain() {
    auto nextLook = std::chrono::steady_clock::now() + segmentPeriod;
    while (true) {
        std::array<pollfd, 3> events{pollfd{output_.pipe.get(), POLLIN, 0},
                                     pollfd{error_.pipe.get(), POLLIN, 0},
                                     pollfd{exitEvent_.get(), POLLIN, 0}};
        ::poll(events.data(), events.size(), static_cast<int>(segmentPeriod.count()));
        take(output_);
        take(error_);
        if (events[2].revents != 0) {
            break;
        }
        if (const auto now = std::chrono::steady_clock::now(); now >= nextLook) {
            const std::lock_guard<std::mutex> lock(mutex_);
            addMappedSegments(pid_, segments_);
            nextLook = now + segmentPeriod;
        }
    }
    // The ended child's last words are in the pipes by now.
    take(output_);
    take(error_);
    for (Stream* stream : {&output_, &error_}) {
        if (!stream->partial.empty()) {
            finishLine(*stream, std::exchange(stream->partial, {}));
        }
    }
    reap();
}

/// Takes all that is in the pipe now.
void ChildProcess::take(Stream& stream) {
    std::array<char, 16384> buffer;
    while (stream.pipe.valid()) {
        const ssize_t count = ::read(stream.pipe.get(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return;
        }
        if (count == 0) {
            stream.pipe.reset();  // the other end is closed
            return;
        }
        stream.partial.append(buffer.data(), static_cast<std::size_t>(count));
        std::size_t begin = 0;
        for (std::size_t end = 0; (end = stream.partial.find('\n', begin)) != std::string::npos;
             begin = end + 1) {
            finishLine(stream, stream.partial.substr(begin, end - begin));
        }
        stream.partial.erase(0, begin);
    }
}

void ChildProcess::finishLine(Stream& stream, std::string line) {
    if (!stream.error && lineHandler_ && lineHandler_(line)) {
        return;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back({stream.error, std::move(line)});
    if (lines_.size() > keptLines_) {
        lines_.pop_front();
        ++forgotten_;
    }
    changed_.notify_all();
}

void ChildProcess::reap() {
    const std::lock_guard<std::mutex> lock(mutex_);
    // While the ended leader is not reaped its number cannot be given away, so the group is ours.
    ::kill(-pid_, SIGKILL);
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    reaped_ = true;
    removeDeadSegments(segments_);
    exit_ = WIFSIGNALED(status) ? Exit{0, WTERMSIG(status)} : Exit{WEXITSTATUS(status), 0};
    changed_.notify_all();
}

std::filesystem::path programFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

}  // namespace bench
