#pragma once

#include <optional>

#include "aspn2_msgs/CommandResponse.h"
#include "platform/Mutex.h"

/// The component CBIT that was commanded last. It is answered once, by the first status of the PNT
/// device that comes after the engine's own part of it has ended. Any thread may call; the mutex is
/// a leaf.
class CommandedBit {
public:
    using Record = aspn2_msgs::idl::CommandResponse;

    /// From now on this command awaits its answer, and the engine's end of this very test.
    void start(Record const& command) EXCLUDES(mutex_) {
        const platform::MutexLock lock(mutex_);
        command_ = command;
        pending_ = true;
        engineDone_ = false;
        ignorePostSeverity_ = true;
    }

    void endEngine() EXCLUDES(mutex_) {
        const platform::MutexLock lock(mutex_);
        engineDone_ = true;
    }

    /// The command that a status answers now, and nothing is awaited any more; or nothing.
    std::optional<Record> takeAnswered() EXCLUDES(mutex_) {
        const platform::MutexLock lock(mutex_);
        if (!pending_ || !engineDone_) {
            return std::nullopt;
        }
        pending_ = false;
        engineDone_ = false;
        return command_;
    }

    /// Whether a failed POST is no failure any more, since a component CBIT was commanded since.
    bool ignorePostSeverity() const EXCLUDES(mutex_) {
        const platform::MutexLock lock(mutex_);
        return ignorePostSeverity_;
    }

private:
    mutable platform::Mutex mutex_;
    Record command_ GUARDED_BY(mutex_);
    bool pending_ GUARDED_BY(mutex_) = false;
    bool engineDone_ GUARDED_BY(mutex_) = false;
    bool ignorePostSeverity_ GUARDED_BY(mutex_) = false;  // once set it stays set
};
