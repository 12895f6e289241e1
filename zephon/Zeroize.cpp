#include "zephon/Zeroize.h"

using platform::MutexLock;

void Zeroize::takeUnitStatus(bool passed) {
    const MutexLock lock(mutex_);
    answer(passed);
}

void Zeroize::takeSanitizeStatus(bool passed) {
    const MutexLock lock(mutex_);
    if (zeroizeStarted_) {
        answer(passed);
    }
}

void Zeroize::cancel() {
    const MutexLock lock(mutex_);
    zeroizeWatchdog_.cancelWatchdog();
}

void Zeroize::answer(bool passed) {
    zeroizeWatchdog_.cancelWatchdog();  // first: the end of the time is told before, or never
    zeroizeStarted_ = false;
    answer_(zeroizeCommand_, passed);
}

void Zeroize::generateSendZeroizeFailed() {
    answer_(zeroizeCommand_, false);
}
