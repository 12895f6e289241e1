#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sys/file.h>
#include <sys/mman.h>
#include <system_error>

#include <gtest/gtest.h>

#include "bench/ChildProcess.h"
#include "bench/SharedMemory.h"

namespace bench {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto deadline = 20s;

std::unique_ptr<ChildProcess> shell(const std::string& script,
                                    std::map<std::string, std::string> environment = {}) {
    ChildProcess::Options options;
    options.arguments = {"-c", script};
    options.environment = std::move(environment);
    return std::make_unique<ChildProcess>("/bin/sh", options);
}

bool exists(pid_t pid) {
    return ::kill(pid, 0) == 0;
}

bool waitUntilGone(pid_t pid) {
    const auto end = Clock::now() + deadline;
    while (exists(pid) && Clock::now() < end) {
        std::this_thread::sleep_for(1ms);
    }
    return !exists(pid);
}

TEST(ChildProcess, TakesBothOutputsAndTheExitStatus) {
    const auto child = shell("echo one; echo two >&2; printf three; exit 7");
    const auto exit = child->wait(deadline);
    ASSERT_TRUE(exit);
    EXPECT_EQ(exit->status, 7);
    EXPECT_EQ(exit->text(), "exit status 7");
    EXPECT_FALSE(exit->ok());
    EXPECT_EQ(child->standardOutput(), "one\nthree\n");
    EXPECT_EQ(child->standardError(), "two\n");
    EXPECT_FALSE(child->running());
}

TEST(ChildProcess, PassesTheEnvironment) {
    const auto child = shell("echo \"$BENCH_COLOUR $PATH\"", {{"BENCH_COLOUR", "green"}});
    ASSERT_TRUE(child->wait(deadline));
    EXPECT_EQ(child->standardOutput(), "green " + std::string(std::getenv("PATH")) + "\n");
}

TEST(ChildProcess, WaitsForALine) {
    const auto child = shell("echo early; read line; echo \"got $line\"; read line");
    EXPECT_EQ(child->waitForLine("early", deadline), "early");
    EXPECT_FALSE(child->waitForLine("got", 50ms));
    EXPECT_TRUE(child->writeLine("it"));
    EXPECT_EQ(child->waitForLine("got", deadline), "got it");
    EXPECT_TRUE(child->waitForLines("g", 1, deadline));
    EXPECT_FALSE(child->waitForLines("g", 2, 20ms));
    EXPECT_EQ(child->countLines("t"), 1U);
}

TEST(ChildProcess, WaitingEndsWithTheProgram) {
    const auto child = shell("exit 0");
    const auto begin = Clock::now();
    EXPECT_FALSE(child->waitForLine("never", 60s));
    EXPECT_LT(Clock::now() - begin, 30s);
}

TEST(ChildProcess, WaitsNoLongerThanTold) {
    const auto child = shell("sleep 60");
    const auto begin = Clock::now();
    EXPECT_FALSE(child->wait(100ms));
    EXPECT_GE(Clock::now() - begin, 100ms);
    EXPECT_LT(Clock::now() - begin, 30s);
    EXPECT_TRUE(child->running());
}

TEST(ChildProcess, SendsSignalsAndReportsThem) {
    const auto child =
        shell("trap 'echo caught; exit 3' TERM; echo ready; while :; do sleep 0.01; done");
    ASSERT_TRUE(child->waitForLine("ready", deadline));
    EXPECT_TRUE(child->signal(SIGTERM));
    EXPECT_TRUE(child->waitForLine("caught", deadline));
    ASSERT_TRUE(child->wait(deadline));
    EXPECT_EQ(child->wait(0ms)->status, 3);
    EXPECT_FALSE(child->signal(SIGTERM));
    const auto other = shell("echo ready; exec sleep 60");
    ASSERT_TRUE(other->waitForLine("ready", deadline));
    EXPECT_TRUE(other->signal(SIGABRT));
    ASSERT_TRUE(other->wait(deadline));
    EXPECT_EQ(other->wait(0ms)->signal, SIGABRT);
    EXPECT_EQ(other->wait(0ms)->text().substr(0, 9), "signal 6 ");
}

TEST(ChildProcess, DestructorKillsTheWholeGroup) {
    pid_t leader = 0;
    pid_t grandchild = 0;
    {
        const auto child = shell("sleep 60 & echo $!; wait");
        const auto line = child->waitForLine("", deadline);
        ASSERT_TRUE(line);
        leader = child->pid();
        grandchild = std::stoi(*line);
        EXPECT_TRUE(exists(grandchild));
    }
    EXPECT_FALSE(exists(leader));
    EXPECT_TRUE(waitUntilGone(grandchild));
}

TEST(ChildProcess, GrandchildThatHoldsThePipesDoesNotHoldTheEnd) {
    const auto child = shell("sleep 60 & echo $!");
    const auto exit = child->wait(deadline);
    ASSERT_TRUE(exit);
    EXPECT_TRUE(exit->ok());
    EXPECT_TRUE(waitUntilGone(std::stoi(child->standardOutput())));
}

TEST(ChildProcess, DrainsMoreThanAPipeHolds) {
    const auto child =
        shell("i=0; while [ $i -lt 20000 ]; do echo \"line $i of many\"; i=$((i+1)); done");
    ASSERT_TRUE(child->wait(deadline));
    EXPECT_EQ(child->countLines("of many"), 20000U);
}

TEST(ChildProcess, ForgetsOldLinesBeyondTheLimit) {
    ChildProcess::Options options;
    options.arguments = {"-c", "echo 1; echo 2; echo 3"};
    options.keptLines = 2;
    const ChildProcess child("/bin/sh", options);
    ASSERT_TRUE(child.wait(deadline));
    EXPECT_EQ(child.standardOutput(), "2\n3\n");
}

TEST(ChildProcess, HandlerUsesLinesUp) {
    std::string seen;  // the draining thread's until the end
    ChildProcess::Options options;
    options.arguments = {"-c", "echo mine 1; echo yours; echo mine 2"};
    options.lineHandler = [&seen](const std::string& line) {
        const bool used = line.find("mine") == 0;
        seen += used ? line + ";" : "";
        return used;
    };
    const ChildProcess child("/bin/sh", options);
    ASSERT_TRUE(child.wait(deadline));
    EXPECT_EQ(seen, "mine 1;mine 2;");
    EXPECT_EQ(child.standardOutput(), "yours\n");
}

TEST(ChildProcess, WritingAfterTheEndIsNoFault) {
    const auto child = shell("exit 0");
    ASSERT_TRUE(child->wait(deadline));
    EXPECT_FALSE(child->writeLine("hello"));
    child->closeInput();
    EXPECT_FALSE(child->writeLine("hello"));
}

TEST(ChildProcess, RaisesWhenTheProgramCannotRun) {
    EXPECT_THROW(ChildProcess("/nowhere/program", {}), std::system_error);
}

/// A segment file and its lock file, as the transport makes them.
class Segment {
public:
    explicit Segment(const std::string& tag) : name_("fastrtps_bench_" + tag) {
        file_ = FileDescriptor(::open(path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        lock_ = FileDescriptor(::open(lockPath().c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600));
        EXPECT_EQ(::ftruncate(file_.get(), 4096), 0);
    }
    ~Segment() {
        ::unlink(path().c_str());
        ::unlink(lockPath().c_str());
    }

    const std::string& name() const { return name_; }
    std::string path() const { return "/dev/shm/" + name_; }
    std::string lockPath() const { return path() + "_el"; }
    bool own() { return ::flock(lock_.get(), LOCK_EX | LOCK_NB) == 0; }
    void disown() { lock_.reset(); }
    int descriptor() const { return file_.get(); }

private:
    std::string name_;
    FileDescriptor file_;
    FileDescriptor lock_;
};

TEST(SharedMemory, RemovesOnlySegmentsOfTheDead) {
    Segment segment(std::to_string(::getpid()));
    ASSERT_TRUE(segment.own());
    EXPECT_EQ(removeDeadSegments({segment.name()}), 0);
    EXPECT_TRUE(std::filesystem::exists(segment.path()));
    segment.disown();
    EXPECT_EQ(removeDeadSegments({segment.name(), "fastrtps_bench_unknown"}), 2);
    EXPECT_FALSE(std::filesystem::exists(segment.path()));
    EXPECT_FALSE(std::filesystem::exists(segment.lockPath()));
}

TEST(SharedMemory, FindsTheSegmentsThatAProcessHasMapped) {
    const Segment segment(std::to_string(::getpid()));
    void* memory = ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, segment.descriptor(), 0);
    ASSERT_NE(memory, MAP_FAILED);
    std::set<std::string> names;
    addMappedSegments(::getpid(), names);
    ::munmap(memory, 4096);
    EXPECT_EQ(names.count(segment.name()), 1U);
}

TEST(SharedMemory, RemovesThePortsOfOneDomainOnly) {
    // Domain 232 is the last that RTPS has ports for; ports 65400 to 65649.
    const std::vector<std::string> ours{"/dev/shm/fastrtps_port65411",
                                        "/dev/shm/fastrtps_port65411_el",
                                        "/dev/shm/sem.fastrtps_port65411_mutex"};
    const std::string other = "/dev/shm/fastrtps_port65399_bench";
    for (const std::string& name : ours) {
        FileDescriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    }
    FileDescriptor(::open(other.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    EXPECT_EQ(removeDomainPorts(232), 3);
    EXPECT_FALSE(std::filesystem::exists(ours[0]));
    EXPECT_TRUE(std::filesystem::remove(other));
}

}  // namespace
}  // namespace bench
