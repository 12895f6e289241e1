#pragma once

#include "aspn2_msgs/CommandResponse.h"
#include "platform/Mutex.h"

/// The last commands that set a super user and began a hot start, whose answers go out later: whole
/// copies, empty records while none has come. Any thread may call. The mutex is a leaf, held only
/// to copy in or out.
class StoredCommands {
public:
    using Record = aspn2_msgs::idl::CommandResponse;

    void keepSuperUser(Record const& command) {
        const platform::MutexLock lock(commandMutex_);
        superUser_ = command;
    }
    Record superUser() const {
        const platform::MutexLock lock(commandMutex_);
        return superUser_;
    }

    void keepHotStart(Record const& command) {
        const platform::MutexLock lock(commandMutex_);
        hotStart_ = command;
    }
    Record hotStart() const {
        const platform::MutexLock lock(commandMutex_);
        return hotStart_;
    }

private:
    mutable platform::Mutex commandMutex_;
    Record superUser_ GUARDED_BY(commandMutex_);
    Record hotStart_ GUARDED_BY(commandMutex_);
};
