#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

namespace FACE {

/// The calls of the operating system that keep a file: what DurableFile does passes through here,
/// so that a test can fail each one, or end the process at it. This class makes the real ones.
///
/// All as POSIX has them, -1 and errno, but where a comment tells otherwise. Any thread.
class FileCalls {
public:
    FileCalls() = default;
    virtual ~FileCalls() = default;
    FileCalls(FileCalls const&) = delete;
    FileCalls& operator=(FileCalls const&) = delete;

    /// Those of the running system.
    static FileCalls& Real();

    virtual int open(std::string const& path, int flags, ::mode_t mode);
    virtual ::ssize_t read(int descriptor, char* buffer, std::size_t size);
    virtual ::ssize_t write(int descriptor, char const* data, std::size_t size);
    virtual int fsync(int descriptor);
    virtual int fchmod(int descriptor, ::mode_t mode);
    virtual int fchown(int descriptor, ::uid_t owner, ::gid_t group);
    virtual int close(int descriptor);
    virtual int stat(std::string const& path, struct ::stat& status);
    virtual int unlink(std::string const& path);
    virtual int rename(std::string const& from, std::string const& to);

    /// What the symbolic link `path` names; nothing when it is no link.
    virtual std::optional<std::string> target(std::string const& path);

    /// Takes the advisory lock of an open file or folder, which its close gives back. Waits 5 s at
    /// most: who stopped with the lock held must not stop others. EWOULDBLOCK after that.
    virtual int lock(int descriptor);
};

}  // namespace FACE
