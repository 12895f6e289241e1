#include "face/FileCalls.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

#include <climits>

namespace FACE {

FileCalls& FileCalls::Real() {
    static FileCalls calls;
    return calls;
}

int FileCalls::open(std::string const& path, int flags, ::mode_t mode) {
    return ::open(path.c_str(), flags, mode);
}

::ssize_t FileCalls::read(int descriptor, char* buffer, std::size_t size) {
    return ::read(descriptor, buffer, size);
}

::ssize_t FileCalls::write(int descriptor, char const* data, std::size_t size) {
    return ::write(descriptor, data, size);
}

int FileCalls::fsync(int descriptor) {
    return ::fsync(descriptor);
}

int FileCalls::fchmod(int descriptor, ::mode_t mode) {
    return ::fchmod(descriptor, mode);
}

int FileCalls::fchown(int descriptor, ::uid_t owner, ::gid_t group) {
    return ::fchown(descriptor, owner, group);
}

int FileCalls::close(int descriptor) {
    return ::close(descriptor);
}

int FileCalls::stat(std::string const& path, struct ::stat& status) {
    return ::stat(path.c_str(), &status);
}

int FileCalls::unlink(std::string const& path) {
    return ::unlink(path.c_str());
}

int FileCalls::rename(std::string const& from, std::string const& to) {
    return ::rename(from.c_str(), to.c_str());
}

std::optional<std::string> FileCalls::target(std::string const& path) {
    std::array<char, PATH_MAX> text{};
    ::ssize_t const length = ::readlink(path.c_str(), text.data(), text.size());
    if (length <= 0) {
        return std::nullopt;
    }
    return std::string(text.data(), static_cast<std::size_t>(length));
}

int FileCalls::lock(int descriptor) {
    using namespace std::chrono_literals;
    auto const deadline = std::chrono::steady_clock::now() + 5s;
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        bool const taken = errno == EWOULDBLOCK || errno == EINTR;
        if (!taken || std::chrono::steady_clock::now() >= deadline) {
            return -1;
        }
        std::this_thread::sleep_for(1ms);
    }
    return 0;
}

}  // namespace FACE
