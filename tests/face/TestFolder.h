#pragma once

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "bench/TemporaryFolder.h"

/// A folder of the test's own and the files in it.
class TestFolder {
public:
    std::string operator/(std::string const& name) const {
        return (folder_.path() / name).string();
    }

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
    bench::TemporaryFolder folder_;
};

inline std::string FileContent(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
