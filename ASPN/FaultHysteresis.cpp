#include "ASPN/FaultHysteresis.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

FaultHysteresis& FaultHysteresis::Instance() {
    static FaultHysteresis instance;
    return instance;
}

FaultHysteresis::FaultHysteresis(Clock clock) : clock_(std::move(clock)) {}

bool FaultHysteresis::OkInitFaultHysteresis(int seconds, int second, int maxEntries) {
    if (seconds < 0 || second < 0 || maxEntries < 0) {
        return false;
    }
    const platform::MutexLock lock(mutex_);
    hysteresisSeconds_ = seconds;
    second_ = second;
    maxEntries_ = maxEntries;
    faults_.clear();
    return true;
}

std::string FaultHysteresis::Check(EventTypes::eEventType& type, const std::string& file, int line,
                                   const std::string& text) {
    if (second_ == 0 || maxEntries_ == 0) {
        return text;
    }
    if (type != EventTypes::FAILURE && type != EventTypes::LINK_LOST &&
        type != EventTypes::RESERVED) {
        return text;
    }
    const std::string lineNumber = std::to_string(line);
    const std::size_t separator = file.find_last_of("/\\");
    const std::size_t nameStart = separator == std::string::npos ? 0 : separator + 1;
    std::string result;
    result.reserve(file.size() - nameStart + lineNumber.size() + 3 + text.size());
    result.append(file, nameStart).append("[").append(lineNumber).append("]:").append(text);
    std::string key = file + lineNumber;

    const platform::MutexLock lock(mutex_);
    type = hysteresis(type, key);
    if (type == EventTypes::FAILURE) {
        const auto now = clock_();
        prune(now);
        // The bound may have been lowered since the test above.
        while (!faults_.empty() && faults_.size() >= static_cast<std::size_t>(maxEntries_)) {
            faults_.pop_front();
        }
        faults_.push_back({std::move(key), now});
    }
    return result;
}

void FaultHysteresis::service() {
    const platform::MutexLock lock(mutex_);
    prune(clock_());
}

EventTypes::eEventType FaultHysteresis::hysteresis(EventTypes::eEventType type,
                                                   const std::string& /*key*/) {
    return type;
}

std::deque<FaultHysteresis::fault_entry> FaultHysteresis::remembered() const {
    const platform::MutexLock lock(mutex_);
    return faults_;
}

void FaultHysteresis::prune(std::chrono::steady_clock::time_point now) {
    if (hysteresisSeconds_ == 0) {
        return;
    }
    const std::int64_t keptMilliseconds = std::int64_t{1000} * hysteresisSeconds_;
    while (!faults_.empty()) {
        const std::chrono::nanoseconds age = now - faults_.front().when;
        if (keptMilliseconds > age.count() / 1'000'000) {
            return;
        }
        faults_.pop_front();
    }
}

void initFaultHysteresisOrExit(FaultHysteresis& faults, int seconds, int second, int maxEntries) {
    if (!faults.OkInitFaultHysteresis(seconds, second, maxEntries)) {
        std::perror("Unable to configure the Fault Hysteresis\n");
        std::exit(-1);
    }
}
