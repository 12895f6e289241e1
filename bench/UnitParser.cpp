#include "bench/UnitParser.h"

#include <utility>

namespace bench {
namespace {

constexpr std::size_t headerBytes = 10;

}  // namespace

UnitParser::UnitParser(FrameHandler handler, std::size_t largestFrame)
    : handler_(std::move(handler)), largestFrame_(largestFrame) {}

void UnitParser::feed(const std::uint8_t* bytes, std::size_t count) {
    counters_.bytes += count;
    pending_.insert(pending_.end(), bytes, bytes + count);
    std::size_t begin = 0;
    while (begin < pending_.size()) {
        std::size_t length = 0;
        const Step step = inspect(begin, length);
        if (step == Step::NeedsMore) {
            break;
        }
        begin += step == Step::Skip ? 1 : length;
        counters_.skippedBytes += step == Step::Skip ? 1 : 0;
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(begin));
}

/// Looks for one frame that begins at `begin`, and delivers it.
UnitParser::Step UnitParser::inspect(std::size_t begin, std::size_t& length) {
    const std::uint8_t* start = pending_.data() + begin;
    const std::size_t available = pending_.size() - begin;
    if (start[0] != 0xFF || (available > 1 && start[1] != 0x81)) {
        return Step::Skip;
    }
    if (available < headerBytes) {
        return Step::NeedsMore;
    }
    const std::size_t words = start[4] + 256U * start[5];
    unsigned sum = 0;
    for (std::size_t i = 0; i < headerBytes; i += 2) {
        sum += start[i] + 256U * start[i + 1];
    }
    if (sum % 65536 != 0 || words > largestFrame_) {
        ++counters_.headerErrors;
        return Step::Skip;
    }
    length = words == 0 ? headerBytes : headerBytes + 2 * words + 2;
    if (available < length) {
        return Step::NeedsMore;
    }
    const auto frame = decodeFrame(start, length);
    if (!frame) {
        ++counters_
              .dataErrors;  // the header is good and the length fits: only the data sum is left
        return Step::Skip;
    }
    ++counters_.frames;
    const std::vector<std::uint8_t> bytes(start, start + length);
    handler_(*frame, bytes);
    return Step::Delivered;
}

}  // namespace bench
