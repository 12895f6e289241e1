#include "bench/SharedMemory.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

#include "bench/FileDescriptor.h"

namespace bench {
namespace {

const std::filesystem::path sharedMemoryFolder = "/dev/shm";
const std::string segmentPrefix = "fastrtps_";
const std::string portPrefix = "fastrtps_port";

// The well-known port numbers of RTPS: 7400, and 250 for each domain.
constexpr long firstPort = 7400;
constexpr long portsOfDomain = 250;

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool removeFile(const std::string& name) {
    std::error_code ignored;  // another owner may have been faster
    return std::filesystem::remove(sharedMemoryFolder / name, ignored);
}

/// True when the lock file exists and nobody holds it.
bool ownerIsDead(const std::string& segment) {
    const FileDescriptor lock(
        ::open((sharedMemoryFolder / (segment + "_el")).c_str(), O_RDONLY | O_CLOEXEC));
    return lock.valid() && ::flock(lock.get(), LOCK_EX | LOCK_NB) == 0;
}

/// Number of the port in a name such as "fastrtps_port7413_el" or "sem.fastrtps_port7413_mutex".
long portOf(std::string name) {
    const std::string semaphore = "sem.";
    if (startsWith(name, semaphore)) {
        name.erase(0, semaphore.size());
    }
    if (!startsWith(name, portPrefix)) {
        return -1;
    }
    name.erase(0, portPrefix.size());
    long port = -1;
    for (const char c : name) {
        if (c < '0' || c > '9' || port > 65535) {
            break;
        }
        port = (port < 0 ? 0 : port * 10) + (c - '0');
    }
    return port;
}

}  // namespace

void addMappedSegments(pid_t pid, std::set<std::string>& names) {
    std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
    const std::string marker = (sharedMemoryFolder / segmentPrefix).string();
    std::string line;
    while (std::getline(maps, line)) {
        const std::size_t at = line.find(marker);
        if (at == std::string::npos) {
            continue;
        }
        std::string name = line.substr(at + sharedMemoryFolder.string().size() + 1);
        name = name.substr(0, name.find(' '));  // " (deleted)" may follow
        if (!startsWith(name, portPrefix)) {
            names.insert(name);
        }
    }
}

int removeDeadSegments(const std::set<std::string>& names) {
    int removed = 0;
    for (const std::string& name : names) {
        if (ownerIsDead(name)) {
            removed += removeFile(name) ? 1 : 0;
            removed += removeFile(name + "_el") ? 1 : 0;
        }
    }
    return removed;
}

int removeDomainPorts(int domain) {
    const long first = firstPort + portsOfDomain * domain;
    int removed = 0;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(sharedMemoryFolder, ignored)) {
        const std::string name = entry.path().filename().string();
        const long port = portOf(name);
        if (port >= first && port < first + portsOfDomain) {
            removed += removeFile(name) ? 1 : 0;
        }
    }
    return removed;
}

}  // namespace bench
