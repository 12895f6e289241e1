// This program answers the scheduler's calls itself where a test says so: what is asked for must
// show whether or not the machine grants it. All other calls go to the system.

#include <cerrno>
#include <cstring>
#include <optional>
#include <sched.h>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "platform/ProcessScheduling.h"

namespace {

/// What the scheduler was asked, and what it is to answer.
struct Scheduler {
    bool answersRange = true;  // false: the range of priorities fails
    bool grants = true;
    bool tellsAffinity = true;
    int policy = -1;
    int priority = -1;
    pid_t process = -1;
    std::optional<std::vector<unsigned>> processors;  // of the affinity asked for
};

Scheduler* scheduler = nullptr;  // null: the system answers

int failWith(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" {

int sched_get_priority_min(int policy) noexcept {
    if (scheduler != nullptr && !scheduler->answersRange) {
        return failWith(EINVAL);
    }
    return static_cast<int>(syscall(SYS_sched_get_priority_min, policy));
}

int sched_get_priority_max(int policy) noexcept {
    if (scheduler != nullptr && !scheduler->answersRange) {
        return failWith(EINVAL);
    }
    return static_cast<int>(syscall(SYS_sched_get_priority_max, policy));
}

int sched_setscheduler(pid_t process, int policy, const struct sched_param* parameters) noexcept {
    if (scheduler == nullptr) {
        return static_cast<int>(syscall(SYS_sched_setscheduler, process, policy, parameters));
    }
    scheduler->process = process;
    scheduler->policy = policy;
    scheduler->priority = parameters->sched_priority;
    return scheduler->grants ? 0 : failWith(EPERM);
}

int sched_setaffinity(pid_t process, size_t size, const cpu_set_t* set) noexcept {
    if (scheduler == nullptr) {
        return static_cast<int>(syscall(SYS_sched_setaffinity, process, size, set));
    }
    scheduler->process = process;
    scheduler->processors.emplace();
    for (unsigned number = 0; number < size * 8; ++number) {
        if (CPU_ISSET_S(number, size, set)) {
            scheduler->processors->push_back(number);
        }
    }
    return scheduler->grants ? 0 : failWith(EPERM);
}

int sched_getaffinity(pid_t process, size_t size, cpu_set_t* set) noexcept {
    if (scheduler == nullptr) {
        std::memset(set, 0, size);
        return syscall(SYS_sched_getaffinity, process, size, set) < 0 ? -1 : 0;
    }
    if (!scheduler->tellsAffinity) {
        return failWith(EPERM);
    }
    std::memset(set, 0, size);
    for (const unsigned number : *scheduler->processors) {
        CPU_SET_S(number, size, set);
    }
    return 0;
}

}  // extern "C"

namespace {

class ProcessScheduling : public testing::Test {
protected:
    void SetUp() override { scheduler = &answers_; }
    void TearDown() override { scheduler = nullptr; }

    Scheduler answers_;
};

std::string outputOf(bool expected, unsigned processor) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(okSetCpuAffinity(processor), expected);
    return testing::internal::GetCapturedStdout();
}

/// Runs `body` in a process of its own, whose exit status it returns.
template <typename Body>
int inChildProcess(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(body());
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status);
}

}  // namespace

TEST_F(ProcessScheduling, AsksForFirstInFirstOutOnItself) {
    EXPECT_TRUE(okSetRealtimeProcessPriority(50));
    EXPECT_EQ(answers_.process, 0);
    EXPECT_EQ(answers_.policy, SCHED_FIFO);
    EXPECT_EQ(answers_.priority, 50);
}

TEST_F(ProcessScheduling, APriorityOfZeroAsksForTheMinimum) {
    EXPECT_TRUE(okSetRealtimeProcessPriority(0));
    EXPECT_EQ(answers_.priority, sched_get_priority_min(SCHED_FIFO));
    EXPECT_TRUE(okSetRealtimeProcessPriority(-5));
    EXPECT_EQ(answers_.priority, sched_get_priority_min(SCHED_FIFO));
}

TEST_F(ProcessScheduling, APriorityOfTwoHundredAsksForTheMaximum) {
    EXPECT_TRUE(okSetRealtimeProcessPriority(200));
    EXPECT_EQ(answers_.priority, sched_get_priority_max(SCHED_FIFO));
}

TEST_F(ProcessScheduling, KeepsThePrioritiesAtTheEndsOfTheRange) {
    EXPECT_TRUE(okSetRealtimeProcessPriority(1));
    EXPECT_EQ(answers_.priority, 1);
    EXPECT_TRUE(okSetRealtimeProcessPriority(99));
    EXPECT_EQ(answers_.priority, 99);
}

TEST_F(ProcessScheduling, TakesOneToNinetyNineWhenTheRangeIsNotTold) {
    answers_.answersRange = false;
    EXPECT_TRUE(okSetRealtimeProcessPriority(0));
    EXPECT_EQ(answers_.priority, 1);
    EXPECT_TRUE(okSetRealtimeProcessPriority(200));
    EXPECT_EQ(answers_.priority, 99);
}

TEST_F(ProcessScheduling, TellsThatThePriorityWasRefused) {
    answers_.grants = false;
    EXPECT_FALSE(okSetRealtimeProcessPriority(10));
}

TEST_F(ProcessScheduling, ProcessorOneIsTheSystemsProcessorZero) {
    EXPECT_EQ(outputOf(true, 1), "Has CPU Affinity for CPU0\n");
    EXPECT_EQ(answers_.process, 0);
    EXPECT_EQ(answers_.processors, std::vector<unsigned>{0});
}

TEST_F(ProcessScheduling, TheLastProcessorIsNumber1024) {
    EXPECT_EQ(outputOf(true, 1024), "Has CPU Affinity for CPU1023\n");
    EXPECT_EQ(answers_.processors, std::vector<unsigned>{1023});
}

TEST_F(ProcessScheduling, AProcessorNumberOutsideTheSetAsksForNoProcessor) {
    for (const unsigned processor : {0u, 1025u, 0xFFFFFFFFu}) {
        EXPECT_EQ(outputOf(true, processor), "") << processor;
        EXPECT_EQ(answers_.processors, std::vector<unsigned>{}) << processor;
    }
}

TEST_F(ProcessScheduling, PrintsNothingWhenTheAffinityIsRefused) {
    answers_.grants = false;
    EXPECT_EQ(outputOf(false, 1), "");
}

TEST_F(ProcessScheduling, FailsWhenTheAffinityCannotBeReadBack) {
    answers_.tellsAffinity = false;
    EXPECT_EQ(outputOf(false, 1), "");
}

TEST(ProcessSchedulingOfTheSystem, BindsToTheFirstProcessorWhereThisProcessMayUseIt) {
    cpu_set_t mine;
    ASSERT_EQ(sched_getaffinity(0, sizeof mine, &mine), 0);
    if (!CPU_ISSET(0, &mine)) {
        GTEST_SKIP() << "the machine keeps processor 0 from this process";
    }
    EXPECT_EQ(inChildProcess([] {
                  cpu_set_t bound;
                  if (!okSetCpuAffinity(1) || sched_getaffinity(0, sizeof bound, &bound) != 0) {
                      return 1;
                  }
                  return CPU_COUNT(&bound) == 1 && CPU_ISSET(0, &bound) ? 0 : 2;
              }),
              0);
}

TEST(ProcessSchedulingOfTheSystem, RefusesAnEmptySetOfProcessors) {
    EXPECT_EQ(outputOf(false, 0), "");
}

TEST(ProcessSchedulingOfTheSystem, AnswersWhatTheSchedulerShowsAfterwards) {
    EXPECT_EQ(inChildProcess([] {
                  const bool ok = okSetRealtimeProcessPriority(0);
                  sched_param parameters{};
                  if (sched_getparam(0, &parameters) != 0) {
                      return 1;
                  }
                  const bool realtime =
                      sched_getscheduler(0) == SCHED_FIFO && parameters.sched_priority == 1;
                  return ok == realtime ? 0 : 2;
              }),
              0);
}
