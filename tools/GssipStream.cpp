#include "tools/GssipStream.h"

#include <algorithm>
#include <utility>

#include "GpsSerialIo/GssipFrame.h"

namespace gssipdump {

namespace {

constexpr std::size_t falseStart = 2;  // FF 81, which begin nothing else
constexpr std::size_t chunk = 0x8000;  // a load takes no more than 16 bits count

}  // namespace

GssipStream::GssipStream(Sink sink) : sink_(std::move(sink)) {
    parser_.ProcessMessagesWithThis(this, 0);
}

void GssipStream::load(unsigned char const* bytes, std::size_t count) {
    while (count > 0) {
        const std::size_t part = std::min(count, chunk);
        loaded_ += part;
        recent_.insert(recent_.end(), bytes, bytes + part);
        parser_.LoadBytes(bytes, static_cast<unsigned short>(part));
        recent_.erase(recent_.begin(),
                      recent_.end() - static_cast<std::ptrdiff_t>(parser_.pending()));
        bytes += part;
        count -= part;
    }
}

void GssipStream::finish() {
    while (!recent_.empty()) {
        const std::uint64_t offset = consumed();
        const bool whole = recent_.size() >= GSSIP_HEADER_BYTES;
        if (recent_.size() >= falseStart) {
            Sighting cut{Sighting::Kind::CutShort, offset, {}, recent_.size(), 0, {}};
            if (whole) {
                cut.bytes.assign(recent_.begin(), recent_.begin() + GSSIP_HEADER_BYTES);
                cut.expected = GssipFrameBytes(SumOfWords(&recent_[4], 1));
            }
            sink_(cut);
        }
        const std::size_t dropped = std::min(recent_.size(), falseStart);
        const std::vector<unsigned char> rest(
            recent_.begin() + static_cast<std::ptrdiff_t>(dropped), recent_.end());
        parser_.reset();
        recent_.clear();
        loaded_ = offset + dropped;
        load(rest.data(), rest.size());
    }
    tellSkipped(loaded_);
}

void GssipStream::OnGpsMessageReceived(unsigned char* frame, unsigned int length,
                                       unsigned int /*context*/) {
    const std::uint64_t end = consumed();
    tellSkipped(end - length);
    told_ = end;
    sink_({Sighting::Kind::Frame, end - length, {frame, frame + length}, length, length, {}});
}

void GssipStream::OnParserChecksumError(unsigned int /*context*/) {
    const std::uint64_t offset = consumed() - falseStart;
    const auto at = recent_.end() - static_cast<std::ptrdiff_t>(parser_.pending() + falseStart);
    std::vector<unsigned char> header(at, at + GSSIP_HEADER_BYTES);
    const bool goodHeader = SumOfWords(header.data(), GSSIP_HEADER_WORDS) == 0;
    sink_({goodHeader ? Sighting::Kind::BadData : Sighting::Kind::BadHeader,
           offset,
           std::move(header),
           0,
           0,
           {}});
}

void GssipStream::tellSkipped(std::uint64_t end) {
    if (end > told_) {
        sink_({Sighting::Kind::Skipped, told_, {}, end - told_, 0, {}});
        told_ = end;
    }
}

}  // namespace gssipdump
