#include "GpsSerialIo/GpsIoProtocol.h"

#include <algorithm>
#include <chrono>

#include "GpsSerialIo/GssipFrame.h"

namespace {

// A message to a virtual unit travels through the wrapper's unit: its answer takes two hops.
constexpr unsigned short wrapperId = 27552;

struct Timeouts {
    std::int64_t ack;
    std::int64_t response;
};

Timeouts timeoutsOf(int baud) {
    switch (baud) {
        case 300:
            return {400000, 1200000};
        case 600:
            return {360000, 1080000};
        case 1200:
            return {320000, 960000};
        case 2400:
            return {280000, 840000};
        case 4800:
            return {240000, 720000};
        case 19200:
            return {160000, 480000};
        case 38400:
            return {120000, 360000};
        case 76800:
        case 115200:
        case 230400:
        case 460800:
        case 921600:
            return {100000, 120000};
        case 9600:
        default:
            return {200000, 600000};
    }
}

}  // namespace

GpsIoProtocol::GpsIoProtocol(int baud, unsigned short parity)
    : baud_(baud), bitsPerChar_(parity != 0 ? 11 : 10) {
    const Timeouts timeouts = timeoutsOf(baud);
    ackTimeout_ = timeouts.ack;
    responseTimeout_ = timeouts.response;
}

std::int64_t GpsIoProtocol::timeToSendMessageByteCount(unsigned short bytes) const {
    if (baud_ <= 0) {
        return 0;
    }
    const std::int64_t characters = (bytes + 10) % 65536;
    return characters * bitsPerChar_ * 1000000 / baud_ + 1;
}

std::int64_t GpsIoProtocol::timeToSendDataWordCount(unsigned short words) const {
    const unsigned int bytes = words == 0 ? 10U : 2U * words + 12U;
    return timeToSendMessageByteCount(static_cast<unsigned short>(bytes));
}

void GpsIoProtocol::addToNoHandshakeList(int id) {
    noHandshake_.push_back(id);
}

bool GpsIoProtocol::expectsNoResponse(unsigned short id) const {
    return std::find(noHandshake_.begin(), noHandshake_.end(), id) != noHandshake_.end();
}

void GpsIoProtocol::startNewSequence(unsigned short id, unsigned short words,
                                     unsigned short flagWord) {
    const platform::MutexLock lock(mutex_);
    ackPending_ = (flagWord & FLAG_ACK_REQUEST) != 0;
    std::int64_t extra = ackPending_ ? ackTimeout_ : 0;
    currentId_ = id;
    responsePending_ = !expectsNoResponse(id);
    if (responsePending_) {
        extra += responseTimeout_;
    }
    if (id == wrapperId) {
        extra *= 2;
    }
    nakReceived_ = false;
    rejected_ = false;
    timeout_ = timeToSendDataWordCount(0) + timeToSendDataWordCount(words) + extra;
}

void GpsIoProtocol::newProtocolMessage(unsigned short id, unsigned short flagWord) {
    const platform::MutexLock lock(mutex_);
    if (id != currentId_) {
        return;
    }
    if ((flagWord & FLAG_ACK) != 0) {
        nakReceived_ = false;
        ackPending_ = false;
    }
    if ((flagWord & FLAG_NAK) != 0) {
        ackPending_ = false;
        responsePending_ = false;
        nakReceived_ = true;
    }
    if ((flagWord & FLAG_RESPONSE) != 0) {
        responsePending_ = false;
        rejected_ = (flagWord & FLAG_REJECT) != 0;
    }
    if (isFinished()) {
        done_.notifyAll();
    }
}

bool GpsIoProtocol::wait(bool& nak, bool& rejected) {
    const platform::MutexLock lock(mutex_);
    const auto deadline = platform::steadyDeadline(std::chrono::microseconds(timeout_));
    while (!isFinished() && !abandoned_) {
        // An answer that came together with the end of the wait still counts.
        if (!done_.waitUntil(mutex_, deadline)) {
            break;
        }
    }
    if (!isFinished()) {
        return false;
    }
    nak = nakReceived_;
    rejected = rejected_;
    return true;
}

void GpsIoProtocol::abandonWaits() {
    const platform::MutexLock lock(mutex_);
    abandoned_ = true;
    done_.notifyAll();
}

void GpsIoProtocol::allowWaits() {
    const platform::MutexLock lock(mutex_);
    abandoned_ = false;
}

std::int64_t GpsIoProtocol::timeout() const {
    const platform::MutexLock lock(mutex_);
    return timeout_;
}
