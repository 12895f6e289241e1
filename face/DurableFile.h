#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

#include "face/FileCalls.h"

namespace FACE {

/// A small file that is written anew as a whole, and that a loss of power at any instant leaves
/// with its old or its new content.
///
/// A save first brings the content into a sibling, the file's name with ".new" behind it, and has
/// the medium take it; only then it rewrites the file in place, has the medium take that too, and
/// removes the sibling. The sibling itself comes into being in one step: it is drafted under its
/// name with ".part" behind it, and renamed when the draft is on the medium. So at each instant
/// the file or the sibling is whole and on the medium:
///
///     file    sibling
///     old     none       drafting the sibling: the file holds
///     old     new        about to rewrite the file, which still holds
///     broken  new        rewriting the file: the sibling holds
///     new     new        the file holds
///     new     none       saved
///
/// A file that is whole always holds, and a sibling beside it means nothing; the next save replaces
/// it. A sibling counts only beside a file that is missing or not whole, and is given up only when
/// the file is on the medium. A draft never counts. What is whole the owner of the content decides:
/// no proper prefix of a content may be, unless it lacks but blanks or remarks at the end.
///
/// When the named file is a symbolic link, the sibling stands beside what the link leads to. What
/// is no regular file (a pipe, a device) is written straight and has no sibling.
///
/// Saves of one folder, of all objects and processes, exclude each other by the folder's advisory
/// lock. An object is used by one thread at a time, and holds no descriptor between two calls.
class DurableFile {
public:
    using Whole = bool (*)(std::string const& content);

    DurableFile(std::string name, Whole whole, FileCalls& calls);

    std::string const& sibling() const { return sibling_; }

    /// The content as it stands, whole or not. Nothing when there is no such regular file, when it
    /// cannot be read, or when it is above 64 MiB.
    std::optional<std::string> read() const;

    struct Recovery {
        std::string content;
        bool fromSibling;  // else another save was just ending: the file itself is whole again
        bool inPlace;      // the file is whole and on the medium, and the sibling is gone
    };
    /// For a file that is not whole: takes a whole sibling and puts it in the file's place. When
    /// that fails (a medium that is full or read-only) the sibling stays, and its content is
    /// handed out all the same. Nothing when there is no whole sibling, or no regular file.
    std::optional<Recovery> recover() const;

    /// Returns true when `content`, which must be whole, is on the medium. False: the file is as it
    /// was, or a sibling holds `content`; the next save or recovery ends what this one began.
    bool save(std::string_view content) const;

private:
    std::optional<std::string> contentOf(std::string const& path, int flags) const;
    bool mayBeWritten() const;
    bool writeSibling(std::string_view content, struct ::stat const* named) const;
    bool putInPlace(std::string_view content, int folder) const;
    int openForRewrite() const;
    bool writeAndSync(int file, std::string_view content) const;
    bool sync(int descriptor) const;
    bool close(int descriptor) const;
    int openFolder() const;
    void giveAccess(int file, struct ::stat const& as) const;

    std::string const name_;
    std::string const sibling_;
    std::string const draft_;
    std::string const folder_;
    Whole const whole_;
    FileCalls& calls_;
};

}  // namespace FACE
