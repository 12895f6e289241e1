// zephon-queue-peer: opens queue devices as the sibling servers do, writes what it is told and
// reports what it reads. Commands come on standard input (QueuePeerProtocol.h).

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <iostream>
#include <map>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>

#include "bench/FileDescriptor.h"
#include "bench/PeerProgram.h"
#include "bench/QueuePeerProtocol.h"
#include "bench/UnitFrame.h"

namespace bench {
namespace {

constexpr std::size_t mostBytesOfARead = 131'072;
constexpr int pollMs = 50;  // how long a reader may go on after it was told to end

/// One queue, open at both ends, and the thread that reads it, if one does.
class Queue {
public:
    Queue(std::string name, const std::string& path)
        : name_(std::move(name)), device_(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) {
        if (!device_.valid()) {
            throw std::system_error(errno, std::generic_category(), "open " + path);
        }
    }
    ~Queue() { pause(); }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    /// Empty, or why it failed.
    std::string write(const std::vector<std::uint8_t>& bytes) const {
        const ssize_t taken = ::write(device_.get(), bytes.data(), bytes.size());
        if (taken == static_cast<ssize_t>(bytes.size())) {
            return {};
        }
        return taken < 0 ? std::generic_category().message(errno)
                         : "the queue took " + std::to_string(taken) + " bytes";
    }

    void read() {
        if (!reader_.joinable()) {
            stop_ = false;
            reader_ = std::thread([this] { run(); });
        }
    }

    void pause() {
        stop_ = true;
        if (reader_.joinable()) {
            reader_.join();
        }
    }

private:
    void run() {
        std::vector<std::uint8_t> bytes;
        while (!stop_) {
            pollfd arrival{device_.get(), POLLIN, 0};
            if (::poll(&arrival, 1, pollMs) <= 0) {
                continue;
            }
            bytes.resize(mostBytesOfARead);
            const ssize_t size = ::read(device_.get(), bytes.data(), bytes.size());
            const auto at = std::chrono::steady_clock::now().time_since_epoch();
            if (size > 0) {
                bytes.resize(static_cast<std::size_t>(size));
                peerProgram::say(std::string(queueProtocol::took) + name_ + " " +
                                 std::to_string(std::chrono::nanoseconds(at).count()) + " " +
                                 hexadecimal(bytes));
            }
        }
    }

    const std::string name_;
    const FileDescriptor device_;
    std::atomic<bool> stop_{false};
    std::thread reader_;
};

using Queues = std::map<std::string, std::unique_ptr<Queue>>;

/// Carries out one request; the text is empty or tells why it failed.
std::string handle(std::istream& words, const Queues& queues) {
    std::string verb;
    std::string name;
    words >> verb >> name;
    const auto found = queues.find(name);
    if (found == queues.end()) {
        return "no queue " + name;
    }
    if (verb == "write") {
        std::string pairs;
        std::getline(words, pairs);
        const auto bytes = fromHexadecimal(pairs);
        return bytes ? found->second->write(*bytes) : "cannot read the bytes";
    }
    if (verb == "read") {
        found->second->read();
        return {};
    }
    if (verb == "pause") {
        found->second->pause();
        return {};
    }
    return "unknown verb " + verb;
}

void run(const std::vector<std::string>& devices) {
    Queues queues;
    for (const std::string& device : devices) {
        const std::size_t sign = device.find('=');
        if (sign == std::string::npos) {
            throw std::invalid_argument("a queue is NAME=PATH, not " + device);
        }
        const std::string name = device.substr(0, sign);
        queues[name] = std::make_unique<Queue>(name, device.substr(sign + 1));
    }
    peerProgram::say(std::string(queueProtocol::ready));
    peerProgram::serve([&queues](std::istream& words) { return handle(words, queues); });
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    std::vector<std::string> devices;
    CLI::App app("The sibling servers at the queue devices; commands on standard input");
    app.add_option("--queue", devices, "NAME=PATH of a queue; may be given several times")
        ->required();
    CLI11_PARSE(app, argc, argv);
    try {
        bench::run(devices);
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << std::endl;
        return 1;
    }
    return 0;
}
