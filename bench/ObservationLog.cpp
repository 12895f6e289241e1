#include "bench/ObservationLog.h"

#include <algorithm>
#include <utility>

namespace bench {

void ObservationLog::add(Observation observation) {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto& [seen, dropped] = bySource_[observation.source];
    seen.push_back(std::move(observation));
    if (seen.size() > kept_) {
        seen.pop_front();
        ++dropped;
    }
    changed_.notify_all();
}

ObservationLog::Outcome ObservationLog::take(const std::string& source, const Predicate& wanted,
                                             Clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    auto& seen = bySource_[source].seen;
    while (true) {
        const auto found = std::find_if(seen.begin(), seen.end(), wanted);
        if (found != seen.end()) {
            seen.erase(found);
            return Outcome::Seen;
        }
        if (interrupted_) {
            return Outcome::Interrupted;
        }
        if (Clock::now() >= deadline) {
            return Outcome::TimedOut;
        }
        changed_.wait_until(lock, deadline);
    }
}

ObservationLog::Outcome ObservationLog::pause(Clock::time_point until) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_until(lock, until, [this] { return interrupted_; }) ? Outcome::Interrupted
                                                                             : Outcome::TimedOut;
}

void ObservationLog::forget() {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [name, source] : bySource_) {
        source.seen.clear();  // in its place: a take() may wait there
        source.dropped = 0;
    }
}

void ObservationLog::interrupt() {
    const std::lock_guard<std::mutex> lock(mutex_);
    interrupted_ = true;
    changed_.notify_all();
}

void ObservationLog::resume() {
    const std::lock_guard<std::mutex> lock(mutex_);
    interrupted_ = false;
}

std::deque<Observation> ObservationLog::rest(const std::string& source, std::size_t most) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = bySource_.find(source);
    if (found == bySource_.end()) {
        return {};
    }
    const auto& seen = found->second.seen;
    return {seen.end() - static_cast<std::ptrdiff_t>(std::min(most, seen.size())), seen.end()};
}

std::size_t ObservationLog::dropped(const std::string& source) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = bySource_.find(source);
    return found == bySource_.end() ? 0 : found->second.dropped;
}

}  // namespace bench
