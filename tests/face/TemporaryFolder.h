#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/// A folder of the test's own, gone with the object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "zephon-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder " + name);
        }
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;  // nothing to be done about it in a destructor
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;

    std::string operator/(std::string const& name) const { return (path_ / name).string(); }

    /// Writes a file of this folder and returns its path.
    std::string write(std::string const& name, std::string const& content) const {
        std::ofstream file(*this / name, std::ios::binary);
        file << content;
        if (!file.flush()) {
            throw std::runtime_error("cannot write " + name);
        }
        return *this / name;
    }

private:
    std::filesystem::path path_;
};

inline std::string FileContent(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
