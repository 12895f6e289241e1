#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "bench/FileDescriptor.h"
#include "platform/ShellCommand.h"
#include "tests/face/TestFolder.h"

using namespace std::chrono_literals;

namespace {

constexpr auto patience = 60s;  // after which a test gives up on a shell

int run(std::string const& line) {
    return runShellCommand(line, patience);
}

std::atomic<int> interruptions{0};
void countInterruption(int /*signal*/) {
    ++interruptions;
}

}  // namespace

TEST(ShellCommand, GivesTheStatusOfItsLine) {
    EXPECT_EQ(0, run("true"));
    const int status = run("exit 3");
    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(3, WEXITSTATUS(status));
}

TEST(ShellCommand, APartInTheBackgroundGoesOn) {
    const TestFolder folder;
    EXPECT_EQ(0, run("sleep 600 & echo $! > " + folder / "pid"));
    const int background = std::stoi(FileContent(folder / "pid"));
    EXPECT_EQ(0, ::kill(background, SIGKILL)) << "it has ended";
}

TEST(ShellCommand, HandsNoOpenFileOn) {
    constexpr int number = 100;
    const bench::FileDescriptor file(::dup2(STDIN_FILENO, number));
    ASSERT_EQ(number, file.get());
    EXPECT_EQ(0, run("test -e /proc/$$/fd/2"));
    EXPECT_EQ(0, run("test ! -e /proc/$$/fd/100"));
}

TEST(ShellCommand, RunsUnderNormalScheduling) {
    constexpr char const* policyOfAProcess = "cut -d ' ' -f 41 /proc/self/stat > ";
    const TestFolder folder;
    std::thread([&] {
        const sched_param none{};
        ASSERT_EQ(0, ::sched_setscheduler(0, SCHED_BATCH, &none));  // needs no privilege
        EXPECT_EQ(0, run(policyOfAProcess + folder / "policy"));
    }).join();
    EXPECT_EQ(std::to_string(SCHED_OTHER) + "\n", FileContent(folder / "policy"));
}

TEST(ShellCommand, TheSignalsThatItsCallerBlocksReachIt) {
    int status = 0;
    std::thread([&status] {
        sigset_t signals;
        ::sigfillset(&signals);
        ASSERT_EQ(0, ::pthread_sigmask(SIG_BLOCK, &signals, nullptr));
        status = run("kill -TERM $$");
    }).join();
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(SIGTERM, WTERMSIG(status));
}

TEST(ShellCommand, AnInterruptionOfThisProcessIsNotLostMeanwhile) {
    auto* const before = std::signal(SIGINT, countInterruption);
    EXPECT_EQ(0, run("kill -INT $PPID"));
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (interruptions == 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(1, interruptions);
    std::signal(SIGINT, before);
}

TEST(ShellCommand, AShellThatDoesNotEndIsKilledWithWhatItWaitsFor) {
    const TestFolder folder;
    const std::string alive = folder / "alive";  // open for writing as long as one of them lives
    ASSERT_EQ(0, ::mkfifo(alive.c_str(), 0600));
    const bench::FileDescriptor reader(::open(alive.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_LE(0, reader.get());
    const int status = runShellCommand("exec 1> " + alive + "; sleep 600; true", 300ms);
    ASSERT_TRUE(WIFSIGNALED(status)) << status;
    EXPECT_EQ(SIGKILL, WTERMSIG(status));
    ASSERT_EQ(0, ::fcntl(reader.get(), F_SETFL, 0));
    char byte = 0;
    EXPECT_EQ(0, ::read(reader.get(), &byte, 1));  // waits for the last one
}
