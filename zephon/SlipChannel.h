#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <utility>

#include "aspn2_msgs/CommandResponse.h"
#include "platform/Mutex.h"
#include "platform/WatchdogTimer.h"

/// Whether both sides of the SLIP channel have opened, and the one answer to the command that asks
/// for it: given when both are settled, or when the time is up. It passes when both are open. What
/// a side tells later is kept, without an answer. Any thread may call.
///
///     computer's side   device's side     then
///     pending           pending           waits
///     settled           pending           waits for the device or the end of the time
///     pending           settled           waits for the computer's side or the end of the time
///     open              open              answered, pass
///     settled           settled           answered, fail
///
class SlipChannel {
public:
    using Record = aspn2_msgs::idl::CommandResponse;
    /// Answers a command. Runs on the thread that settled the second side, with the lock of this
    /// object held, or on the timer's own: so it must not call this object.
    using Answer = std::function<void(Record const& command, bool passed)>;

    explicit SlipChannel(Answer answer) : answer_(std::move(answer)) {}

    /// Begins anew with both sides pending. A command that still waits is answered as it stands.
    /// Without a thread for the time this one is answered at once, and the exception goes on.
    void begin(Record const& command, std::chrono::nanoseconds limit) EXCLUDES(mutex_);

    void settleComputerSide(bool open) EXCLUDES(mutex_);
    void settleDeviceSide(bool open) EXCLUDES(mutex_);

    /// Stops the time; from now on there is no answer, also when both sides get settled. An answer
    /// that is just given has been when this returns.
    void cancel() EXCLUDES(mutex_);

private:
    enum class Side { Failed, Open, Pending };

    void settle(std::atomic<Side>& side, bool open) EXCLUDES(mutex_);
    /// Stops the time and answers, unless it has answered.
    void endWait() REQUIRES(mutex_);
    void answerWhatIsOwed();

    const Answer answer_;

    // Held while the timer is started or cancelled, which waits for its callback: so that takes no
    // lock.
    platform::Mutex mutex_;
    // Changed under the lock; read by the timer's callback, too.
    std::atomic<Side> isMXSideOpen_{Side::Failed};    // the computer's
    std::atomic<Side> isPNTDSideOpen_{Side::Failed};  // the PNT device's
    // Whoever clears it answers.
    std::atomic<bool> answerOwed_{false};
    // Changed under the lock while no time runs. Read under the lock, and by the timer's callback.
    Record command_;
    WatchdogTimer slipReadyTimer_;  // synchronises itself; its thread uses the rest
};
