#pragma once

#include <filesystem>

namespace bench {

/// A folder of its own under the system's temporary folder, removed with everything in it by the
/// destructor. Owned by one thread.
class TemporaryFolder {
public:
    /// Raises std::system_error when no folder can be made.
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

    /// Leaves the folder standing, for somebody who wants to look into it afterwards.
    void keep() { keep_ = true; }

private:
    std::filesystem::path path_;
    bool keep_ = false;
};

}  // namespace bench
