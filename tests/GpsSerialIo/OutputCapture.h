#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "bench/Patience.h"

/// Takes what the process writes to standard output while this object lives, and lets a test wait
/// for it. Used by one thread. Afterwards the text of a failed test is printed where it would have
/// gone.
class OutputCapture {
public:
    OutputCapture() {
        std::fflush(stdout);
        // As the server's own main does: a line is out when it is complete, also on a pipe.
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        saved_ = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
        ::dup2(ends[1], STDOUT_FILENO);
        ::close(ends[1]);
        reader_ = std::thread([this, source = ends[0]] { collect(source); });
    }

    ~OutputCapture() {
        std::fflush(stdout);
        ::dup2(saved_, STDOUT_FILENO);  // closes the pipe's last writing end: the reader ends
        ::close(saved_);
        reader_.join();
        if (testing::Test::HasFailure()) {
            std::fputs(text_.c_str(), stdout);
        }
    }

    OutputCapture(OutputCapture const&) = delete;
    OutputCapture& operator=(OutputCapture const&) = delete;

    /// All that has been written up to now, by any thread.
    std::string text() {
        std::unique_lock<std::mutex> lock(mutex_);
        catchUp(lock);
        return text_;
    }

    /// How often `wanted` has been written up to now.
    std::size_t count(std::string const& wanted) {
        std::unique_lock<std::mutex> lock(mutex_);
        catchUp(lock);
        return countOf(wanted);
    }

    /// Waits until `wanted` has been written `times` times; false when the time is up first.
    bool waitFor(std::string const& wanted, std::size_t times = 1) {
        std::unique_lock<std::mutex> lock(mutex_);
        return bench::waitFor(grown_, lock, std::chrono::seconds(10),
                              [&] { return countOf(wanted) >= times; });
    }

private:
    /// A byte that nobody prints goes through the pipe behind all that is in it.
    static constexpr char mark = '\x01';

    void catchUp(std::unique_lock<std::mutex>& lock) {
        std::size_t const wanted = marks_ + 1;
        if (::write(STDOUT_FILENO, &mark, 1) != 1 ||
            !bench::waitFor(grown_, lock, std::chrono::seconds(10),
                            [&] { return marks_ >= wanted; })) {
            ADD_FAILURE() << "standard output cannot be read back";
        }
    }

    std::size_t countOf(std::string const& wanted) const {
        std::size_t found = 0;
        for (std::size_t at = 0; (at = text_.find(wanted, at)) != std::string::npos;
             at += wanted.size()) {
            ++found;
        }
        return found;
    }

    void collect(int source) {
        std::array<char, 4096> piece{};
        for (ssize_t size = 0; (size = ::read(source, piece.data(), piece.size())) > 0;) {
            std::lock_guard<std::mutex> const lock(mutex_);
            std::for_each(piece.data(), piece.data() + size, [this](char byte) {
                if (byte == mark) {
                    ++marks_;
                } else {
                    text_ += byte;
                }
            });
            grown_.notify_all();
        }
        ::close(source);
    }

    int saved_ = -1;
    std::mutex mutex_;  // guards the text and the count
    std::condition_variable grown_;
    std::string text_;
    std::size_t marks_ = 0;
    std::thread reader_;
};
