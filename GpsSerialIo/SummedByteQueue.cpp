#include "GpsSerialIo/SummedByteQueue.h"

#include <algorithm>
#include <cstring>

namespace {

/// Smallest capacity is twice this: some dozen reads of a serial line.
constexpr std::size_t smallestNeed = 2048;

}  // namespace

void SummedByteQueue::append(const unsigned char* bytes, std::size_t count) {
    if (count == 0) {
        return;
    }
    if (storage_.size() - end_ < count) {
        makeRoom(count);
    }
    std::memcpy(storage_.data() + end_, bytes, count);
    end_ += count;
}

void SummedByteQueue::clear() {
    *this = SummedByteQueue();
}

void SummedByteQueue::keepRunningSums(std::size_t length) {
    if (running_.size() <= storage_.size()) {
        running_.resize(storage_.size() + 1);
    }
    if (!frontHasRunningSums()) {
        running_[front_] = 0;
        running_[front_ + 1] = 0;
        summedEnd_ = front_ + 1;
    }
    extendRunningSums(front_ + length);
}

/// The running sums of the front exist; carries them on up to the index `end`.
void SummedByteQueue::extendRunningSums(std::size_t end) {
    const unsigned char* bytes = storage_.data();
    std::uint16_t* running = running_.data();
    // Kept in registers: a sum read back from memory costs several cycles for each byte.
    std::uint16_t older = running[summedEnd_ - 1];
    std::uint16_t newer = running[summedEnd_];
    for (std::size_t i = summedEnd_ + 1; i <= end; ++i) {
        const auto next = static_cast<std::uint16_t>(older + SumOfWords(bytes + i - 2, 1));
        running[i] = next;
        older = newer;
        newer = next;
    }
    summedEnd_ = std::max(summedEnd_, end);
}

/// Moves what is pending to the beginning, into other memory when the present is too tight or
/// far too large. Afterwards at least half of what is then pending can be appended before the
/// next move, which pays for this one.
void SummedByteQueue::makeRoom(std::size_t count) {
    const std::size_t pending = size();
    const std::size_t summed = frontHasRunningSums() ? summedEnd_ + 1 - front_ : 0;
    const std::size_t need = std::max(pending + count, smallestNeed);
    if (storage_.size() >= need + need / 2 && storage_.size() <= 8 * need) {
        std::memmove(storage_.data(), storage_.data() + front_, pending);
        if (summed != 0) {
            std::memmove(running_.data(), running_.data() + front_, summed * sizeof running_[0]);
        }
    } else {
        std::vector<unsigned char> storage(2 * need);
        std::vector<std::uint16_t> running;
        if (summed != 0) {
            running.resize(storage.size() + 1);
            std::memcpy(running.data(), running_.data() + front_, summed * sizeof running_[0]);
        }
        if (pending != 0) {
            std::memcpy(storage.data(), storage_.data() + front_, pending);
        }
        storage_.swap(storage);
        running_.swap(running);
    }
    front_ = 0;
    end_ = pending;
    summedEnd_ = summed == 0 ? 0 : summed - 1;
}
