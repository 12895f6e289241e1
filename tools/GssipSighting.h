#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace gssipdump {

/// What stands around the frame in a queue record.
struct RecordHead {
    struct Time {
        std::int64_t seconds = 0;
        std::int32_t nanoseconds = 0;
        std::int32_t code = 0;
    };

    std::int64_t sequence = 0;
    std::uint32_t deviceId = 0;
    Time arrival;
    Time validity;
};

/// One thing that was found in the input.
struct Sighting {
    enum class Kind {
        Frame,      ///< `bytes` are the frame; of a stream its checksums are good
        BadHeader,  ///< a header whose checksum is bad; `bytes` are the header
        BadData,    ///< data with a bad checksum; `bytes` are the header
        CutShort,   ///< the input ends within a frame or record: `count` of `expected` bytes came
        NoRecord,   ///< no queue record begins here
        Skipped,    ///< `count` bytes that belong to no frame or record
    };

    Kind kind = Kind::Skipped;
    std::uint64_t offset = 0;  ///< in bytes from the begin of the input
    std::vector<unsigned char> bytes;
    std::uint64_t count = 0;           ///< of the input that this is: 0 for a bad checksum
    std::uint64_t expected = 0;        ///< 0 when even the length did not come
    std::optional<RecordHead> record;  ///< of a frame from a queue
};

using Sink = std::function<void(Sighting const&)>;

/// Something that finds sightings in bytes. All bytes of the input are in its frames or records,
/// or are told as skipped, once. One thread.
class Finder {
public:
    virtual ~Finder() = default;

    virtual void load(unsigned char const* bytes, std::size_t count) = 0;

    /// The input has ended.
    virtual void finish() = 0;
};

}  // namespace gssipdump
