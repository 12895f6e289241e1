#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <string>

#include "ASPN/EventTypes.h"
#include "platform/Mutex.h"

/// Every event line passes here on its way to the log: failure lines (types 3, 4 and 5) get their
/// source file and line in front, and the recent ones of type 3 are remembered by their place in
/// the source, bounded in number and time.
///
/// Any thread may call. The mutex is a leaf; lines of other types take no lock.
class FaultHysteresis {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// One remembered fault.
    struct fault_entry {
        std::string key;  ///< path of the source file as it came, and the line
        std::chrono::steady_clock::time_point when;
    };

    /// The one of the process. `Check` leaves everything as it is until the initialisation.
    static FaultHysteresis& Instance();

    explicit FaultHysteresis(Clock clock = std::chrono::steady_clock::now);

    /// How long a fault is remembered (0: for ever), a switch (0 turns `Check` off), and how many
    /// are remembered (0 turns `Check` off). False, and nothing changes, when one is negative;
    /// otherwise what was remembered is forgotten.
    bool OkInitFaultHysteresis(int seconds, int second, int maxEntries) EXCLUDES(mutex_);

    /// The text to publish for a line that was said at `line` of `file`; `type` may change.
    std::string Check(EventTypes::eEventType& type, const std::string& file, int line,
                      const std::string& text) EXCLUDES(mutex_);

    /// Forgets the faults that are too old.
    void service() EXCLUDES(mutex_);

    /// The type to use for a fault at `key`: no line is held back or lowered, so it is `type`.
    static EventTypes::eEventType hysteresis(EventTypes::eEventType type, const std::string& key);

    /// What is remembered, oldest first.
    std::deque<fault_entry> remembered() const EXCLUDES(mutex_);

private:
    void prune(std::chrono::steady_clock::time_point now) REQUIRES(mutex_);

    const Clock clock_;
    std::atomic<int> second_{0};
    std::atomic<int> maxEntries_{0};
    mutable platform::Mutex mutex_;
    int hysteresisSeconds_ GUARDED_BY(mutex_) = 0;
    std::deque<fault_entry> faults_ GUARDED_BY(mutex_);
};

/// Sets `faults` up as every reporter of the process has it, or ends the process with status -1
/// and a line on standard error.
void initFaultHysteresisOrExit(FaultHysteresis& faults, int seconds = 180, int second = 16,
                               int maxEntries = 2000);
