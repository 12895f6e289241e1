#pragma once

#include <filesystem>

namespace zephonctl {

/// What `zephonctl watch` was told.
struct WatchOptions {
    enum class Topics { Events, Responses, All };

    std::filesystem::path configuration;
    Topics topics = Topics::All;
    bool json = false;
};

/// Prints what passes on the topics until SIGINT or SIGTERM, which it blocks for the process: call
/// it before there is a second thread. Returns the exit status. Raises std::runtime_error when the
/// transport cannot be used.
int watchTopics(WatchOptions const& options);

}  // namespace zephonctl
