#include <array>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "bench/FileDescriptor.h"
#include "ioss_mcsq/ReaderPoll.h"

namespace {

using Outcome = ReaderPoll::Outcome;
using std::chrono::milliseconds;
using Descriptors = std::vector<int>;

constexpr milliseconds forLong{20000};

/// A pipe; both ends are open until a test closes one.
struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
        reader = bench::FileDescriptor(ends[0]);
        writer = bench::FileDescriptor(ends[1]);
    }
    void put() const { EXPECT_EQ(::write(writer.get(), "x", 1), 1); }

    bench::FileDescriptor reader;
    bench::FileDescriptor writer;
};

TEST(ReaderPoll, TellsWhoHasData) {
    ReaderPoll poll;
    EXPECT_TRUE(poll.empty());
    std::array<Pipe, 3> pipes;
    for (Pipe const& pipe : pipes) {
        poll.add(pipe.reader.get());
    }
    EXPECT_FALSE(poll.empty());
    pipes[2].put();
    pipes[0].put();
    EXPECT_EQ(poll.wait(forLong), Outcome::READY);
    EXPECT_EQ(poll.ready(), (Descriptors{pipes[0].reader.get(), pipes[2].reader.get()}));
}

TEST(ReaderPoll, TimesOutWithNobodyReady) {
    ReaderPoll poll;
    Pipe const pipe;
    poll.add(pipe.reader.get());
    pipe.put();
    EXPECT_EQ(poll.wait(forLong), Outcome::READY);
    char byte = 0;
    EXPECT_EQ(::read(pipe.reader.get(), &byte, 1), 1);
    EXPECT_EQ(poll.wait(milliseconds(1)), Outcome::TIMED_OUT);
    EXPECT_EQ(poll.ready(), Descriptors());
}

TEST(ReaderPoll, RemovesOneEntryOrAllOfADescriptor) {
    ReaderPoll poll;
    Pipe const pipe;
    pipe.put();
    int const reader = pipe.reader.get();
    poll.add(reader);
    poll.add(reader);
    poll.add(reader);
    poll.removeFirst(reader);
    EXPECT_EQ(poll.wait(forLong), Outcome::READY);
    EXPECT_EQ(poll.ready(), (Descriptors{reader, reader}));
    poll.removeFirst(reader + 1);
    poll.removeAll(reader);
    EXPECT_TRUE(poll.empty());
}

TEST(ReaderPoll, LetsADescriptorRestThatHungUp) {
    ReaderPoll poll;
    Pipe gone;
    Pipe const lively;
    gone.writer.reset();
    poll.add(gone.reader.get());
    poll.add(lively.reader.get());
    ASSERT_EQ(poll.wait(forLong), Outcome::READY);
    EXPECT_EQ(poll.ready(), Descriptors());
    // It would answer at once; a wait within its rest is a real one.
    EXPECT_EQ(poll.wait(milliseconds(1)), Outcome::TIMED_OUT);
    lively.put();
    EXPECT_EQ(poll.wait(forLong), Outcome::READY);
    EXPECT_EQ(poll.ready(), (Descriptors{lively.reader.get()}));
}

TEST(ReaderPoll, LooksAgainAfterTheRest) {
    ReaderPoll poll;
    Pipe gone;
    gone.writer.reset();
    poll.add(gone.reader.get());
    auto const begin = std::chrono::steady_clock::now();
    ASSERT_EQ(poll.wait(forLong), Outcome::READY);
    while (poll.wait(milliseconds(5)) == Outcome::TIMED_OUT) {
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, ReaderPoll::rest);
}

TEST(ReaderPoll, TakesWhatIsLeftBehindAHangUp) {
    ReaderPoll poll;
    Pipe gone;
    gone.put();
    gone.writer.reset();
    poll.add(gone.reader.get());
    EXPECT_EQ(poll.wait(forLong), Outcome::READY);
    EXPECT_EQ(poll.ready(), (Descriptors{gone.reader.get()}));
}

TEST(ReaderPoll, RemovesADescriptorThatRests) {
    ReaderPoll poll;
    Pipe gone;
    gone.writer.reset();
    poll.add(gone.reader.get());
    poll.wait(forLong);
    poll.removeFirst(gone.reader.get());
    EXPECT_TRUE(poll.empty());
}

TEST(ReaderPoll, LetsAClosedDescriptorRest) {
    ReaderPoll poll;
    Pipe pipe;
    poll.add(pipe.reader.get());
    pipe.reader.reset();
    EXPECT_EQ(poll.wait(forLong), Outcome::READY);
    EXPECT_EQ(poll.ready(), Descriptors());
    EXPECT_EQ(poll.wait(milliseconds(1)), Outcome::TIMED_OUT);
}

TEST(ReaderPoll, TellsThatTheSystemRefusesToPoll) {
    ReaderPoll poll;
    Pipe const pipe;
    pipe.put();
    poll.add(pipe.reader.get());
    rlimit files{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &files), 0);
    rlimit const none{0, files.rlim_max};  // more entries than a process may have files
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(poll.wait(forLong), Outcome::FAILED);
    EXPECT_EQ(poll.ready(), Descriptors());
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &files), 0);
    EXPECT_EQ(poll.wait(forLong), Outcome::READY);
}

TEST(ReaderPoll, CountsASignalAsATimeOut) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    struct sigaction before {};
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
    ReaderPoll poll;
    Pipe const pipe;
    poll.add(pipe.reader.get());
    std::atomic<bool> over{false};
    std::thread waiter([&] {
        EXPECT_EQ(poll.wait(forLong), Outcome::TIMED_OUT);
        over = true;
    });
    auto const begin = std::chrono::steady_clock::now();
    while (!over) {  // a signal before the wait has begun does nothing
        ::pthread_kill(waiter.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(milliseconds(1));
    }
    waiter.join();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, forLong);
    ASSERT_EQ(::sigaction(SIGUSR1, &before, nullptr), 0);
}

}  // namespace
