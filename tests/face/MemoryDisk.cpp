#include "tests/face/MemoryDisk.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

MemoryDisk::MemoryDisk(Image const& image, std::size_t stride) : stride_(stride) {
    for (auto const& [name, content] : image) {
        names_[name] = std::make_shared<File>(File{content, {content}});
    }
    syncedNames_ = names_;
}

MemoryDisk::Image MemoryDisk::present() const {
    Image image;
    for (auto const& [name, file] : names_) {
        image[name] = file->now;
    }
    return image;
}

std::set<MemoryDisk::Image> MemoryDisk::afterPowerLoss() const {
    std::set<Image> images;
    for (unsigned chosen = 0; chosen < 1U << unsyncedNames_.size(); ++chosen) {
        Names names = syncedNames_;
        for (std::size_t i = 0; i < unsyncedNames_.size(); ++i) {
            if ((chosen >> i & 1U) != 0) {
                unsyncedNames_[i](names);
            }
        }
        std::set<Image> some{Image{}};
        for (auto const& [name, file] : names) {
            std::set<Image> more;
            for (Image const& image : some) {
                for (std::string const& content : file->possible) {
                    Image with = image;
                    with[name] = content;
                    more.insert(std::move(with));
                }
            }
            some = std::move(more);
        }
        images.merge(some);
    }
    return images;
}

void MemoryDisk::change(std::function<void(Names&)> const& operation) {
    operation(names_);
    unsyncedNames_.push_back(operation);
}

int MemoryDisk::open(std::string const& path, int flags, ::mode_t /*mode*/) {
    std::shared_ptr<File> file;
    if ((flags & O_DIRECTORY) == 0) {
        auto const entry = names_.find(path);
        bool const there = entry != names_.end();
        if (there ? (flags & O_EXCL) != 0 : (flags & O_CREAT) == 0) {
            errno = there ? EEXIST : ENOENT;
            return -1;
        }
        if (there) {
            file = entry->second;
        } else {
            file = std::make_shared<File>(File{"", {""}});
            change([path, file](Names& names) { names[path] = file; });
        }
        if ((flags & O_TRUNC) != 0) {
            file->now.clear();
            file->possible.insert("");
            file->lost = false;
        }
    }
    open_[++lastDescriptor_] = {file};
    return lastDescriptor_;
}

::ssize_t MemoryDisk::read(int descriptor, char* buffer, std::size_t size) {
    Open& from = open_.at(descriptor);
    std::size_t const count = from.file->now.copy(buffer, size, from.place);
    from.place += count;
    return static_cast<::ssize_t>(count);
}

::ssize_t MemoryDisk::write(int descriptor, char const* data, std::size_t size) {
    Open& to = open_.at(descriptor);
    std::size_t const end = to.place + size;
    std::set<std::string> possible = to.file->possible;
    for (std::string const& before : to.file->possible) {
        std::string longer = before;
        longer.resize(std::max(end, before.size()), '\0');
        for (std::size_t cut = 0; cut <= size;
             cut = cut == size ? size + 1 : std::min(size, cut + stride_)) {
            std::string part = before;
            part.resize(std::max(to.place + cut, before.size()), '\0');
            possible.insert(part.replace(to.place, cut, data, cut));
            std::string zerosBehind = longer;
            possible.insert(zerosBehind.replace(to.place, cut, data, cut));
            std::string zerosBefore = longer;
            possible.insert(
                zerosBefore.replace(to.place + cut, size - cut, data + cut, size - cut));
        }
    }
    to.file->possible = std::move(possible);
    to.file->now.resize(std::max(end, to.file->now.size()), '\0');
    to.file->now.replace(to.place, size, data, size);
    to.place = end;
    return static_cast<::ssize_t>(size);
}

int MemoryDisk::fsync(int descriptor) {
    Open const& of = open_.at(descriptor);
    if (of.file == nullptr) {
        syncedNames_ = names_;
        unsyncedNames_.clear();
        return 0;
    }
    if (loseNextSync_) {
        loseNextSync_ = false;
        of.file->lost = true;
        errno = EIO;
        return -1;
    }
    if (!of.file->lost) {
        of.file->possible = {of.file->now};
    }
    return 0;
}

int MemoryDisk::fchmod(int /*descriptor*/, ::mode_t /*mode*/) {
    return 0;
}

int MemoryDisk::fchown(int /*descriptor*/, ::uid_t /*owner*/, ::gid_t /*group*/) {
    return 0;
}

int MemoryDisk::close(int descriptor) {
    open_.erase(descriptor);
    return 0;
}

int MemoryDisk::stat(std::string const& path, struct ::stat& status) {
    auto const entry = names_.find(path);
    if (entry == names_.end()) {
        errno = ENOENT;
        return -1;
    }
    status = {};
    status.st_mode = S_IFREG | 0644U;
    status.st_size = static_cast<::off_t>(entry->second->now.size());
    return 0;
}

int MemoryDisk::unlink(std::string const& path) {
    if (names_.count(path) == 0) {
        errno = ENOENT;
        return -1;
    }
    change([path](Names& names) { names.erase(path); });
    return 0;
}

int MemoryDisk::rename(std::string const& from, std::string const& to) {
    auto const entry = names_.find(from);
    if (entry == names_.end()) {
        errno = ENOENT;
        return -1;
    }
    change([from, to, file = entry->second](Names& names) {
        names.erase(from);
        names[to] = file;
    });
    return 0;
}

std::optional<std::string> MemoryDisk::target(std::string const& /*path*/) {
    return std::nullopt;
}

int MemoryDisk::lock(int /*descriptor*/) {
    return 0;
}
