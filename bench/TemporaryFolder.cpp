#include "bench/TemporaryFolder.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace bench {

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "zephon-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp " + name);
    }
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    if (!keep_) {
        std::error_code ignored;  // what cannot be removed must not hide the test's own result
        std::filesystem::remove_all(path_, ignored);
    }
}

}  // namespace bench
