#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "GpsSerialIo/GssipFrame.h"

/// Received bytes in arrival order, contiguous in memory, with sums over windows of them.
///
/// The cost of any sequence of calls is linear in the bytes appended: room is made at an
/// amortised constant cost for each byte, and the sum of a window that was looked at before
/// comes in constant time from running sums. Those are built on demand only, so a line
/// without errors never pays for them. Memory follows what is pending, in both directions.
///
/// One thread at a time. Offsets count from the front of the queue.
class SummedByteQueue {
public:
    const unsigned char* data() const { return storage_.data() + front_; }
    std::size_t size() const { return end_ - front_; }

    /// Bytes of memory held for pending bytes, the running sums not counted.
    std::size_t capacity() const { return storage_.size(); }

    void append(const unsigned char* bytes, std::size_t count);

    /// Removes `count` bytes, at most size(), from the front.
    void drop(std::size_t count) { front_ += count; }

    /// Removes everything and gives the memory back.
    void clear();

    /// Sum modulo 65536 of the words of the bytes `from` to `to` - 1, low byte first; an even
    /// number of bytes, all of them pending.
    std::uint16_t sumOfWords(std::size_t from, std::size_t to);

    /// Builds running sums over the first `length` bytes, at least 2. For bytes that were
    /// summed and then stay, since sums over parts of them will be asked for next.
    void keepRunningSums(std::size_t length);

private:
    bool frontHasRunningSums() const { return front_ < summedEnd_; }
    void makeRoom(std::size_t count);
    void extendRunningSums(std::size_t end);

    // Indices into storage_, the pending bytes being front_ to end_ - 1.
    std::vector<unsigned char> storage_;
    std::size_t front_ = 0;
    std::size_t end_ = 0;

    // running_[i] is the sum of the words that start at i - 2, i - 4 and so on, down to some
    // index below front_: one running sum for the even indices and one for the odd, and
    // the difference of two entries of the same parity is the sum of the words between them.
    // Valid from front_ to summedEnd_, both included, when front_ is below summedEnd_.
    std::vector<std::uint16_t> running_;
    std::size_t summedEnd_ = 0;
};

inline std::uint16_t SummedByteQueue::sumOfWords(std::size_t from, std::size_t to) {
    if (!frontHasRunningSums()) {
        return SumOfWords(data() + from, (to - from) / 2);
    }
    extendRunningSums(front_ + to);
    return static_cast<std::uint16_t>(running_[front_ + to] - running_[front_ + from]);
}
