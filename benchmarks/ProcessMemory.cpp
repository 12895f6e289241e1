#include "benchmarks/ProcessMemory.h"

#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

namespace benchmarks {
namespace {

/// The lines "Key:  number ..." of a file under /proc.
std::map<std::string, std::int64_t> readFigures(std::string const& path) {
    std::map<std::string, std::int64_t> figures;
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string key;
        std::int64_t value = 0;
        if (words >> key >> value && key.back() == ':') {
            figures[key.substr(0, key.size() - 1)] = value;
        }
    }
    return figures;
}

std::int64_t take(std::map<std::string, std::int64_t> const& figures, std::string const& key) {
    auto const found = figures.find(key);
    if (found == figures.end()) {
        throw std::runtime_error("the process has no figure " + key + ": it has ended");
    }
    return found->second;
}

}  // namespace

ProcessMemory readProcessMemory(pid_t pid) {
    std::string const folder = "/proc/" + std::to_string(pid) + "/";
    auto const status = readFigures(folder + "status");
    auto const rollup = readFigures(folder + "smaps_rollup");
    ProcessMemory memory;
    memory.resident = take(status, "VmRSS");
    memory.anonymous = take(status, "RssAnon");
    memory.file = take(status, "RssFile");
    memory.shared = take(status, "RssShmem");
    memory.threads = take(status, "Threads");
    memory.proportional = take(rollup, "Pss");
    memory.unique = take(rollup, "Private_Clean") + take(rollup, "Private_Dirty");
    return memory;
}

}  // namespace benchmarks
