#include "face/DurableFile.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <utility>

namespace FACE {

namespace {

/// More than any settings need; keeps a wrong file name from filling the memory.
constexpr std::size_t largestFile = std::size_t{64} * 1024 * 1024;

/// As many as the kernel follows.
constexpr int mostLinks = 40;

template <typename Call>
auto Uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

/// With the slash; empty for a name without one.
std::string FolderPart(std::string const& path) {
    return path.substr(0, path.rfind('/') + 1);
}

/// Where the name leads; the file itself need not be there.
std::string Followed(std::string path, FileCalls& calls) {
    for (int link = 0; link < mostLinks; ++link) {
        std::optional<std::string> const target = calls.target(path);
        if (!target) {
            break;
        }
        path = target->front() == '/' ? *target : FolderPart(path) + *target;
    }
    return path;
}

std::string FolderOf(std::string const& path) {
    std::string folder = FolderPart(path);
    return folder.empty() ? "." : folder;
}

/// A descriptor that is closed when the scope is left.
class Held {
public:
    Held(FileCalls& calls, int descriptor) : calls_(calls), descriptor_(descriptor) {}
    ~Held() {
        if (descriptor_ >= 0) {
            calls_.close(descriptor_);
        }
    }
    Held(Held const&) = delete;
    Held& operator=(Held const&) = delete;

    int get() const { return descriptor_; }

private:
    FileCalls& calls_;
    int const descriptor_;
};

}  // namespace

DurableFile::DurableFile(std::string name, Whole whole, FileCalls& calls)
    : name_(std::move(name)),
      sibling_(Followed(name_, calls) + ".new"),
      draft_(sibling_ + ".part"),
      folder_(FolderOf(sibling_)),
      whole_(whole),
      calls_(calls) {}

std::optional<std::string> DurableFile::read() const {
    return contentOf(name_, 0);
}

std::optional<DurableFile::Recovery> DurableFile::recover() const {
    struct ::stat named {};
    if (calls_.stat(name_, named) == 0 ? !S_ISREG(named.st_mode) : errno != ENOENT) {
        return std::nullopt;
    }
    Held const folder(calls_, openFolder());
    // Who held the lock may have been saving just now.
    std::optional<std::string> content = read();
    if (content && whole_(*content)) {
        return Recovery{*std::move(content), false, true};
    }
    content = contentOf(sibling_, O_NOFOLLOW);
    if (!content || !whole_(*content)) {
        return std::nullopt;
    }
    bool const inPlace = folder.get() >= 0 && putInPlace(*content, folder.get());
    return Recovery{*std::move(content), true, inPlace};
}

bool DurableFile::save(std::string_view content) const {
    struct ::stat named {};
    bool const there = calls_.stat(name_, named) == 0;
    if (!there && errno != ENOENT) {
        return false;
    }
    if (there && !S_ISREG(named.st_mode)) {
        int const file = openForRewrite();
        return file >= 0 && writeAndSync(file, content);
    }
    if (there && !mayBeWritten()) {
        return false;
    }
    Held const folder(calls_, openFolder());
    return folder.get() >= 0 && writeSibling(content, there ? &named : nullptr) &&
           sync(folder.get()) && putInPlace(content, folder.get());
}

/// Reads without waiting, so that the name of a pipe does not hold the caller.
std::optional<std::string> DurableFile::contentOf(std::string const& path, int flags) const {
    struct ::stat status {};
    if (calls_.stat(path, status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size > static_cast<::off_t>(largestFile)) {
        return std::nullopt;
    }
    Held const file(calls_, Uninterrupted([&] {
                        return calls_.open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags, 0);
                    }));
    if (file.get() < 0) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 16384> piece{};
    while (content.size() <= largestFile) {
        ::ssize_t const count =
            Uninterrupted([&] { return calls_.read(file.get(), piece.data(), piece.size()); });
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            return content;
        }
        content.append(piece.data(), static_cast<std::size_t>(count));
    }
    return std::nullopt;
}

/// Looks before anything is done, so that a save without permission leaves no sibling.
bool DurableFile::mayBeWritten() const {
    int const file = Uninterrupted([&] { return calls_.open(name_, O_WRONLY | O_CLOEXEC, 0); });
    return file >= 0 && close(file);
}

/// By way of a draft: a sibling that an earlier save had to leave may be all that there is, and is
/// replaced in one step by one that is whole and on the medium. Failed: it is as it was.
bool DurableFile::writeSibling(std::string_view content, struct ::stat const* named) const {
    // Made anew, so that it is nobody else's file and no link.
    if (calls_.unlink(draft_) != 0 && errno != ENOENT) {
        return false;
    }
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
    ::mode_t const mode = named == nullptr ? 0644 : 0600;
    int const file = Uninterrupted([&] { return calls_.open(draft_, flags, mode); });
    if (file < 0) {
        return false;
    }
    if (named != nullptr) {
        giveAccess(file, *named);
    }
    if (writeAndSync(file, content) && calls_.rename(draft_, sibling_) == 0) {
        return true;
    }
    calls_.unlink(draft_);
    return false;
}

/// Rewrites the file while the sibling holds the same content, and removes the sibling.
bool DurableFile::putInPlace(std::string_view content, int folder) const {
    int const file = openForRewrite();
    if (file < 0) {
        return false;
    }
    // The truncation by itself first: some media write new content over the place of the old one,
    // and the file could come back as a mixture of both.
    if (!sync(file)) {
        close(file);
        return false;
    }
    // The folder too: the file may have been made just now.
    if (!writeAndSync(file, content) || !sync(folder)) {
        return false;
    }
    // Saved. A sibling that cannot be removed, or that a loss of power brings back, does no harm
    // beside a whole file.
    if (calls_.unlink(sibling_) == 0) {
        sync(folder);
    }
    return true;
}

/// A file that was missing gets owner and mode from the sibling, which had them from the file.
int DurableFile::openForRewrite() const {
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_SYNC | O_CLOEXEC;
    struct ::stat status {};
    bool const missing = calls_.stat(name_, status) != 0;
    int const file = Uninterrupted([&] { return calls_.open(name_, flags, 0644); });
    if (file >= 0 && missing && calls_.stat(sibling_, status) == 0) {
        giveAccess(file, status);
    }
    return file;
}

/// Closes `file`.
bool DurableFile::writeAndSync(int file, std::string_view content) const {
    bool good = true;
    while (good && !content.empty()) {
        ::ssize_t const count =
            Uninterrupted([&] { return calls_.write(file, content.data(), content.size()); });
        good = count > 0;
        if (good) {
            content.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    good = good && sync(file);
    return close(file) && good;
}

bool DurableFile::sync(int descriptor) const {
    // EINVAL: of a kind that has nothing to sync, such as a pipe, or a folder of some media.
    return Uninterrupted([&] { return calls_.fsync(descriptor); }) == 0 || errno == EINVAL;
}

bool DurableFile::close(int descriptor) const {
    // An interrupted close has closed the descriptor all the same.
    return calls_.close(descriptor) == 0 || errno == EINTR;
}

/// Opens the folder and takes its lock; -1 when either fails.
int DurableFile::openFolder() const {
    int const folder =
        Uninterrupted([&] { return calls_.open(folder_, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0); });
    if (folder < 0) {
        return -1;
    }
    // Media without locks have one writer.
    if (calls_.lock(folder) != 0 && errno == EWOULDBLOCK) {
        calls_.close(folder);
        return -1;
    }
    return folder;
}

/// Where the owner cannot be given, the file stays as private as it was made.
void DurableFile::giveAccess(int file, struct ::stat const& as) const {
    if (calls_.fchown(file, as.st_uid, as.st_gid) == 0) {
        calls_.fchmod(file, as.st_mode & 07777U);
    }
}

}  // namespace FACE
