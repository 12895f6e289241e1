#include "bench/PeerProcess.h"

#include <utility>

namespace bench {
namespace {

constexpr std::chrono::seconds endTimeout{10};

}  // namespace

PeerProcess::PeerProcess(const std::filesystem::path& program, ChildProcess::Options options)
    : child_(program, std::move(options)) {}

PeerProcess::~PeerProcess() {
    child_.closeInput();
    child_.wait(endTimeout);
}

bool PeerProcess::request(const std::string& text, Duration timeout) {
    std::string number;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        number = std::to_string(++requests_);
    }
    std::string failure = "the process does not answer";
    if (child_.writeLine(number + " " + text)) {
        const std::string ok = "answer " + number + " ok";
        const auto answer = child_.waitForLine("answer " + number + " ", timeout);
        if (answer) {
            failure = *answer == ok ? "" : *answer;
        }
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    failure_ = failure;
    return failure.empty();
}

std::string PeerProcess::lastFailure() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return failure_;
}

}  // namespace bench
