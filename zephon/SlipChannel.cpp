#include "zephon/SlipChannel.h"

using platform::MutexLock;

void SlipChannel::begin(Record const& command, std::chrono::nanoseconds limit) {
    const MutexLock lock(mutex_);
    endWait();
    command_ = command;
    isPNTDSideOpen_ = Side::Pending;
    isMXSideOpen_ = Side::Pending;
    answerOwed_ = true;
    try {
        slipReadyTimer_.startWatchdog(limit, [this] { answerWhatIsOwed(); });
    } catch (...) {
        answerWhatIsOwed();
        throw;
    }
}

void SlipChannel::settleComputerSide(bool open) {
    settle(isMXSideOpen_, open);
}

void SlipChannel::settleDeviceSide(bool open) {
    settle(isPNTDSideOpen_, open);
}

void SlipChannel::cancel() {
    const MutexLock lock(mutex_);
    slipReadyTimer_.cancelWatchdog();
    answerOwed_ = false;
}

void SlipChannel::settle(std::atomic<Side>& side, bool open) {
    const MutexLock lock(mutex_);
    side = open ? Side::Open : Side::Failed;
    if (isMXSideOpen_ != Side::Pending && isPNTDSideOpen_ != Side::Pending) {
        endWait();
    }
}

void SlipChannel::endWait() {
    slipReadyTimer_.cancelWatchdog();
    answerWhatIsOwed();
}

void SlipChannel::answerWhatIsOwed() {
    if (answerOwed_.exchange(false)) {
        answer_(command_, isMXSideOpen_ == Side::Open && isPNTDSideOpen_ == Side::Open);
    }
}
