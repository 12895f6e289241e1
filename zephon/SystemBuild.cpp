#include "zephon/SystemBuild.h"

#include <algorithm>

#include "ASPN/EventTypes.h"
#include "platform/StringUtils.h"

namespace {

constexpr char const* announcementStart = "aspn://Corvane/";
constexpr char const* announcementEnd = "Z/";
constexpr std::size_t timestampSize = 20;
constexpr char const* developmentBuild = "DEVELOPMENT";

}  // namespace

void SystemBuild::install(std::string const& build, std::string const& timestamp) {
    if (!build.empty()) {
        name_ = build;
    }
    timestamp_ = timestamp;
}

bool SystemBuild::takeLine(unsigned char server, int type, std::string const& line) {
    if (type != EventTypes::INFORMATION) {
        return false;
    }
    const std::size_t start = StringUtils::findIgnoringCase(line, announcementStart);
    if (start == std::string::npos || line.find(announcementEnd, start) == std::string::npos ||
        std::find(seen_.begin(), seen_.end(), server) != seen_.end()) {
        return false;
    }
    seen_.push_back(server);
    // The slash ends the line, the time stands before it.
    if (line.size() >= timestampSize + 2 &&
        line.compare(line.size() - timestampSize - 1, timestampSize, timestamp_) != 0) {
        name_ = developmentBuild;
    }
    return seen_.size() >= servers_;
}
