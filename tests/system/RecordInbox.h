#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "bench/Patience.h"

/// The records that a topic peer has brought, and the waiting for them. Any thread.
template <class Record>
class RecordInbox {
public:
    void take(Record const& record) {
        const std::lock_guard<std::mutex> lock(mutex_);
        records_.push_back(record);
        changed_.notify_all();
    }

    std::vector<Record> all() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return records_;
    }

    /// The first record that holds `text`; nothing when none comes in time.
    std::optional<Record> waitFor(std::string const& text,
                                  std::chrono::seconds time = patience) const {
        return waitForRecord(
            [&text](Record const& record) { return record.text.find(text) != std::string::npos; },
            time);
    }

    /// The first record that is `wanted`; nothing when none comes in time.
    template <class Predicate>
    std::optional<Record> waitForRecord(Predicate const& wanted,
                                        std::chrono::seconds time = patience) const {
        std::unique_lock<std::mutex> lock(mutex_);
        std::optional<Record> found;
        bench::waitFor(changed_, lock, time, [&] {
            auto const place = std::find_if(records_.begin(), records_.end(), wanted);
            if (place != records_.end()) {
                found = *place;
            }
            return found.has_value();
        });
        return found;
    }

    bool waitForCount(std::size_t count) const {
        std::unique_lock<std::mutex> lock(mutex_);
        return bench::waitFor(changed_, lock, patience, [&] { return records_.size() >= count; });
    }

    /// All records once there are `count`; fewer when the time is up.
    std::vector<Record> wait(std::size_t count) const {
        waitForCount(count);
        return all();
    }

    std::size_t count(std::string const& text) const {
        std::size_t result = 0;
        for (auto const& record : all()) {
            result += record.text.find(text) != std::string::npos ? 1 : 0;
        }
        return result;
    }

    /// All records, for the report of a failed test.
    std::string report() const {
        std::string lines = "--- " + std::string(Record::topic) + ":\n";
        for (auto const& record : all()) {
            lines += std::to_string(record.header.sequence) + " type " +
                     std::to_string(record.type) + ": " + record.text + "\n";
        }
        return lines;
    }

private:
    static constexpr std::chrono::seconds patience{20};  // only a failing test waits so long

    mutable std::mutex mutex_;  // guards the records; a leaf
    mutable std::condition_variable changed_;
    std::vector<Record> records_;
};
