#pragma once

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace bench {

/// A DDS domain that no other test or bench on this machine uses while the object lives, so that
/// they run side by side. It is a lock on one file for each domain: a process that dies lets go
/// of it, and child processes that are executed do not inherit it. Not shared between threads.
class DomainLock {
public:
    // The UDP ports of a domain begin at 7400 + 250 * domain. Above 101 they lie among the ports
    // that the system hands out by itself, and endpoints collide now and then.
    static constexpr unsigned FIRST = 1;
    static constexpr unsigned LAST = 100;

    /// Takes a free domain. Throws std::runtime_error when all are taken, std::system_error when
    /// the lock files cannot be opened.
    DomainLock() {
        makeFolder();
        // Neighbours in time begin at different places: what a killed process left behind in
        // its domain is not met by the very next one.
        unsigned const count = LAST - FIRST + 1;
        unsigned const start = static_cast<unsigned>(::getpid()) % count;
        for (unsigned step = 0; step < count; ++step) {
            if (take(FIRST + (start + step) % count)) {
                return;
            }
        }
        throw std::runtime_error("all DDS domains for tests are taken");
    }

    ~DomainLock() { ::close(descriptor_); }

    DomainLock(DomainLock const&) = delete;
    DomainLock& operator=(DomainLock const&) = delete;

    unsigned id() const noexcept { return id_; }

    /// One of ten TCP ports (0 to 9) that belong to this domain alone.
    std::uint16_t tcpPort(unsigned index = 0) const noexcept {
        return static_cast<std::uint16_t>(20000U + 10U * id_ + index % 10U);
    }

private:
    static constexpr char const* FOLDER = "/tmp/zephon-domains";

    static void makeFolder() {
        if (::mkdir(FOLDER, 01777) == 0) {
            // Past the umask: other users run tests too.
            static_cast<void>(::chmod(FOLDER, 01777));
        } else if (errno != EEXIST) {
            throw std::system_error(errno, std::generic_category(), FOLDER);
        }
    }

    bool take(unsigned id) {
        std::string const path = std::string(FOLDER) + '/' + std::to_string(id);
        int const flags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;
        // Looked for before it is made: in a sticky folder the kernel may refuse O_CREAT on a
        // file of another user.
        int descriptor = ::open(path.c_str(), flags);
        if (descriptor < 0 && errno == ENOENT) {
            descriptor = ::open(path.c_str(), flags | O_CREAT, 0666);
            if (descriptor >= 0) {
                static_cast<void>(::fchmod(descriptor, 0666));
            }
        }
        if (descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), path);
        }
        if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
            ::close(descriptor);
            return false;
        }
        descriptor_ = descriptor;
        id_ = id;
        return true;
    }

    int descriptor_ = -1;
    unsigned id_ = 0;
};

}  // namespace bench
