#pragma once

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace benchmarks {

/// How long `action` takes.
template <typename Action>
double microseconds(Action const& action) {
    auto const start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
        .count();
}

/// The least that storing a setting can cost: truncate and write, all synchronous. A loss of power
/// in between turns it into a lost file. Raises std::runtime_error.
inline void rewriteFile(std::filesystem::path const& path, std::string const& content) {
    int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_SYNC | O_CLOEXEC, 0644);
    bool const written = file >= 0 && ::write(file, content.data(), content.size()) ==
                                          static_cast<::ssize_t>(content.size());
    if (!written || ::close(file) != 0) {
        throw std::runtime_error("cannot rewrite " + path.string());
    }
}

}  // namespace benchmarks
