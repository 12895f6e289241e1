#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "bench/Bench.h"

/// The event log as another process of the computer reads it: every line that the server has
/// published, those from before this reader too. Any thread.
class EventReader {
public:
    using Event = bench::EventRecord;

    explicit EventReader(bench::Bench const& bench) {
        auto options = bench.peerOptions(bench::TopicPeer::Role::EventLogger);
        options.onEvent = [this](Event const& event) {
            const std::lock_guard<std::mutex> lock(mutex_);
            events_.push_back(event);
            changed_.notify_all();
        };
        peer_ = std::make_unique<bench::TopicPeer>(options);
    }

    bench::TopicPeer& peer() { return *peer_; }

    std::vector<Event> all() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return events_;
    }

    /// The first line that holds `text`; nothing when none comes in time.
    std::optional<Event> waitFor(std::string const& text) const {
        std::unique_lock<std::mutex> lock(mutex_);
        std::optional<Event> found;
        changed_.wait_for(lock, std::chrono::seconds(20), [&] {
            for (auto const& event : events_) {
                if (event.text.find(text) != std::string::npos) {
                    found = event;
                    return true;
                }
            }
            return false;
        });
        return found;
    }

    bool waitForCount(std::size_t count) const {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20),
                                 [&] { return events_.size() >= count; });
    }

    std::size_t count(std::string const& text) const {
        std::size_t result = 0;
        for (auto const& event : all()) {
            result += event.text.find(text) != std::string::npos ? 1 : 0;
        }
        return result;
    }

    /// All lines, for the report of a failed test.
    std::string report() const {
        std::string lines = "--- event log:\n";
        for (auto const& event : all()) {
            lines += std::to_string(event.header.sequence) + " type " + std::to_string(event.type) +
                     ": " + event.text + "\n";
        }
        return lines;
    }

private:
    mutable std::mutex mutex_;  // guards the events; a leaf
    mutable std::condition_variable changed_;
    std::vector<Event> events_;
    std::unique_ptr<bench::TopicPeer> peer_;  // last: its thread uses the rest
};
