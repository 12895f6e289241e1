#include "tools/GssipQueue.h"

#include <exception>
#include <utility>

#include <fastcdr/Cdr.h>
#include <fastcdr/FastBuffer.h>

#include "aspn2_msgs/GSSIP.h"
#include "ioss_mcsq/GssipTopicSerializer.h"

namespace gssipdump {

namespace {

using aspn2_msgs::idl::GSSIP;
using eprosima::fastcdr::Cdr;

/// What the server reads at once: a longer record never arrives whole.
constexpr std::size_t longestRecord = 131072;

/// Bytes of the whole record at the front: 0 when it cannot be told yet, nothing when none
/// begins there.
std::optional<std::size_t> recordBytes(unsigned char* bytes, std::size_t count) {
    static const std::size_t fixedBytes = [] {
        const GSSIP empty;
        return GssipTopicSerializer::GetSerializedSize(&empty);
    }();
    if (count < fixedBytes) {
        return 0;
    }
    try {
        eprosima::fastcdr::FastBuffer buffer(reinterpret_cast<char*>(bytes), fixedBytes);
        Cdr cdr(buffer, Cdr::DEFAULT_ENDIAN, Cdr::DDS_CDR);
        cdr.read_encapsulation();
        aspn2_msgs::idl::header header;
        header.deserialize(cdr);
        std::int32_t told = 0;
        std::uint32_t length = 0;
        cdr >> told >> length;
        if (told < 0 || length != static_cast<std::uint32_t>(told) ||
            length > longestRecord - fixedBytes) {
            return std::nullopt;
        }
        return fixedBytes + length;
    } catch (std::exception const&) {
        return std::nullopt;  // another encapsulation
    }
}

RecordHead::Time timeOf(aspn2_msgs::idl::timestamp const& time) {
    return {time.sec(), time.nsec(), time.time_code()};
}

RecordHead headOf(aspn2_msgs::idl::header const& header) {
    return {header.seq_num(), static_cast<std::uint32_t>(header.device_id()),
            timeOf(header.timestamp_arrival()), timeOf(header.timestamp_valid())};
}

}  // namespace

GssipQueue::GssipQueue(Sink sink) : sink_(std::move(sink)) {}

void GssipQueue::load(unsigned char const* bytes, std::size_t count) {
    pending_.insert(pending_.end(), bytes, bytes + count);
    walk(false);
}

void GssipQueue::finish() {
    walk(true);
    tellSkipped(offset_);
}

void GssipQueue::walk(bool ended) {
    std::size_t at = 0;
    const std::uint64_t begin = offset_;
    const auto skip = [&] {
        ++at;
        ++offset_;
        ++skipped_;
    };
    while (at < pending_.size()) {
        const std::size_t left = pending_.size() - at;
        const auto length = recordBytes(&pending_[at], left);
        if (length && (*length == 0 || *length > left)) {
            if (!ended) {
                break;
            }
            if (skipped_ == 0) {
                sink_({Sighting::Kind::CutShort, offset_, {}, left, *length, {}});
            }
            skip();  // a whole record may be within it
            continue;
        }
        GSSIP record;
        if (!length ||
            !GssipTopicSerializer::Deserialize(&pending_[at], static_cast<int>(*length), &record)) {
            if (skipped_ == 0) {
                sink_({Sighting::Kind::NoRecord, offset_, {}, 0, 0, {}});
            }
            skip();
            continue;
        }
        tellSkipped(offset_);
        sink_({Sighting::Kind::Frame, offset_, record.data(), *length, *length,
               headOf(record.header())});
        at += *length;
        offset_ = begin + at;
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(at));
}

void GssipQueue::tellSkipped(std::uint64_t end) {
    if (skipped_ > 0) {
        sink_({Sighting::Kind::Skipped, end - skipped_, {}, skipped_, 0, {}});
        skipped_ = 0;
    }
}

}  // namespace gssipdump
