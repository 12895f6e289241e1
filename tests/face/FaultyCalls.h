#pragma once

#include <algorithm>
#include <cerrno>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "face/FileCalls.h"

/// Passes calls on to others, after it asked what to do to each.
class FaultyCalls : public FACE::FileCalls {
public:
    /// Asked before each call with its number, from 0 on. Returns the errno to fail with; 0 passes
    /// the call on.
    using Fault = std::function<int(int number)>;

    FaultyCalls(FACE::FileCalls& others, Fault fault,
                std::size_t largestWrite = std::numeric_limits<std::size_t>::max())
        : others_(others), fault_(std::move(fault)), largestWrite_(largestWrite) {}

    int calls() const { return calls_; }

    int open(std::string const& path, int flags, ::mode_t mode) override {
        return fails() ? -1 : others_.open(path, flags, mode);
    }
    ::ssize_t read(int descriptor, char* buffer, std::size_t size) override {
        return fails() ? -1 : others_.read(descriptor, buffer, size);
    }
    ::ssize_t write(int descriptor, char const* data, std::size_t size) override {
        return fails() ? -1 : others_.write(descriptor, data, std::min(size, largestWrite_));
    }
    int fsync(int descriptor) override { return fails() ? -1 : others_.fsync(descriptor); }
    int fchmod(int descriptor, ::mode_t mode) override {
        return fails() ? -1 : others_.fchmod(descriptor, mode);
    }
    int fchown(int descriptor, ::uid_t owner, ::gid_t group) override {
        return fails() ? -1 : others_.fchown(descriptor, owner, group);
    }
    int close(int descriptor) override {
        // A descriptor is gone whatever its close reports.
        bool const failed = fails();
        int const error = errno;
        int const result = others_.close(descriptor);
        errno = failed ? error : errno;
        return failed ? -1 : result;
    }
    int stat(std::string const& path, struct ::stat& status) override {
        return fails() ? -1 : others_.stat(path, status);
    }
    int unlink(std::string const& path) override { return fails() ? -1 : others_.unlink(path); }
    int rename(std::string const& from, std::string const& to) override {
        return fails() ? -1 : others_.rename(from, to);
    }
    std::optional<std::string> target(std::string const& path) override {
        return fails() ? std::nullopt : others_.target(path);
    }
    int lock(int descriptor) override { return fails() ? -1 : others_.lock(descriptor); }

private:
    bool fails() {
        int const error = fault_(calls_++);
        errno = error != 0 ? error : errno;
        return error != 0;
    }

    FACE::FileCalls& others_;
    Fault const fault_;
    std::size_t const largestWrite_;
    int calls_ = 0;
};
