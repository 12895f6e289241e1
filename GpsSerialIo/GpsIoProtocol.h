#pragma once

#include <cstdint>
#include <vector>

#include "platform/Mutex.h"

/// The monitor of one exchange on a link: which message is in flight, what it still waits
/// for, and for how long (handshake of ICD-GPS-153).
///
/// The protocol thread calls `startNewSequence` and `wait`, the read thread
/// `newProtocolMessage`, the thread that stops the link `abandonWaits`. The mutex guards all
/// state of the exchange and is a leaf: nothing is locked under it.
class GpsIoProtocol {
public:
    /// `baud` in bit/s, `parity` 0 for none (10 bits a character, else 11).
    GpsIoProtocol(int baud, unsigned short parity);

    /// Microseconds that `bytes` and ten more characters take on the line; 0 for a baud rate
    /// of 0 or below. The sum wraps at 65536.
    std::int64_t timeToSendMessageByteCount(unsigned short bytes) const;
    /// Microseconds for the frame of a message with `words` data words.
    std::int64_t timeToSendDataWordCount(unsigned short words) const;

    /// Messages that expect no response. Filled before the link starts, then only read.
    void addToNoHandshakeList(int id);

    /// Begins the exchange of a message that is about to be sent.
    void startNewSequence(unsigned short id, unsigned short words, unsigned short flagWord);
    /// Takes in a header-only answer; one with another identifier changes nothing.
    void newProtocolMessage(unsigned short id, unsigned short flagWord);
    /// Waits until ACK and response have come, at most for the time-out of the exchange
    /// (steady clock). True writes `nak` and `rejected`; false, on time-out or when the wait
    /// was abandoned, leaves both untouched.
    bool wait(bool& nak, bool& rejected);

    /// Wakes a waiter and lets every further wait return at once, until `allowWaits`.
    void abandonWaits();
    void allowWaits();

    std::int64_t ackTimeout() const { return ackTimeout_; }            ///< microseconds
    std::int64_t responseTimeout() const { return responseTimeout_; }  ///< microseconds
    /// Microseconds that `wait` allows the present exchange.
    std::int64_t timeout() const;

private:
    bool expectsNoResponse(unsigned short id) const;
    bool isFinished() const REQUIRES(mutex_) { return !ackPending_ && !responsePending_; }

    // Constant after construction.
    const std::int64_t baud_;
    const std::int64_t bitsPerChar_;
    std::int64_t ackTimeout_;
    std::int64_t responseTimeout_;
    // Constant once the link runs.
    std::vector<int> noHandshake_;

    mutable platform::Mutex mutex_;
    platform::Condition done_;
    unsigned short currentId_ GUARDED_BY(mutex_) = 0;
    std::int64_t timeout_ GUARDED_BY(mutex_) = 0;
    bool ackPending_ GUARDED_BY(mutex_) = false;
    bool responsePending_ GUARDED_BY(mutex_) = false;
    bool nakReceived_ GUARDED_BY(mutex_) = false;
    bool rejected_ GUARDED_BY(mutex_) = false;
    bool abandoned_ GUARDED_BY(mutex_) = false;
};
