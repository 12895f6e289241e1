#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace bench {

/// A GSSIP record as it stands in a queue device, written for the bench alone so that it checks
/// the server's own code. CDR, numbers low byte first here (PLAIN_CDR, little endian):
///
///     byte 0      00 01 00 00, the encapsulation
///     byte 4      sequence number, 8 bytes
///     byte 12     time of arrival: seconds, 8 bytes, nanoseconds, 4, time code, 4
///     byte 28     time of validity, the same
///     byte 44     device id, 4
///     byte 48     number of bytes, 4
///     byte 52     length of the data, 4
///     byte 56     the data
struct QueueRecord {
    static constexpr std::size_t fixedBytes = 56;

    struct Time {
        std::int64_t seconds = 0;
        std::int32_t nanoseconds = 0;
        std::int32_t code = 0;
    };

    std::int64_t sequence = 0;
    Time arrival;
    Time validity;
    std::int32_t deviceId = 0;
    std::vector<std::uint8_t> data;
    /// What the record tells as its number of bytes; the length of the data when there is nothing.
    std::optional<std::int32_t> told;

    std::vector<std::uint8_t> encode() const;
};

/// The records that these bytes are, one behind the other; nothing when they are anything else.
std::optional<std::vector<QueueRecord>> decodeRecords(const std::vector<std::uint8_t>& bytes);

}  // namespace bench
