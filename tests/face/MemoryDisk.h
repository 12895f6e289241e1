#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "face/FileCalls.h"

/// One folder in memory that knows what of it a loss of power may leave. It is harder than any
/// real medium: nothing but fsync keeps anything, not O_SYNC and not the sync of another file.
///
/// - Of what was written to a file since its last sync, the medium may have nothing, all, any
///   first part, the whole length with zeros behind or before such a part, and the truncation may
///   be lost, so that new bytes lie over old ones.
/// - Of the names that were made, removed or changed since the folder's last sync, the medium may
///   have any selection.
/// - A failed fsync is told once: what it lost is taken as clean by those that follow, as Linux
/// does.
class MemoryDisk : public FACE::FileCalls {
public:
    using Image = std::map<std::string, std::string>;  // from name to content

    /// Parts of a write end at each multiple of `stride` bytes.
    explicit MemoryDisk(Image const& image, std::size_t stride = 1);

    /// What is seen while power stays.
    Image present() const;
    /// What may be there after a loss of power now.
    std::set<Image> afterPowerLoss() const;
    /// As the end of a process leaves it.
    void closeAll() { open_.clear(); }
    /// The next fsync of a file loses what it should keep, and gives EIO.
    void loseNextSync() { loseNextSync_ = true; }

    int open(std::string const& path, int flags, ::mode_t mode) override;
    ::ssize_t read(int descriptor, char* buffer, std::size_t size) override;
    ::ssize_t write(int descriptor, char const* data, std::size_t size) override;
    int fsync(int descriptor) override;
    int fchmod(int descriptor, ::mode_t mode) override;
    int fchown(int descriptor, ::uid_t owner, ::gid_t group) override;
    int close(int descriptor) override;
    int stat(std::string const& path, struct ::stat& status) override;
    int unlink(std::string const& path) override;
    int rename(std::string const& from, std::string const& to) override;
    std::optional<std::string> target(std::string const& path) override;
    int lock(int descriptor) override;

private:
    struct File {
        std::string now;
        std::set<std::string> possible;  // on the medium
        bool lost = false;               // a sync failed; no later one brings it back
    };
    using Names = std::map<std::string, std::shared_ptr<File>>;
    struct Open {
        std::shared_ptr<File> file;  // null: the folder
        std::size_t place = 0;
    };

    void change(std::function<void(Names&)> const& operation);

    std::size_t const stride_;
    Names names_;
    Names syncedNames_;
    std::vector<std::function<void(Names&)>> unsyncedNames_;
    std::map<int, Open> open_;
    int lastDescriptor_ = 100;
    bool loseNextSync_ = false;
};
