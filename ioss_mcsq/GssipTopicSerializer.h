#pragma once

#include <cstddef>
#include <vector>

#include "aspn2_msgs/GSSIP.h"

/// The CDR form of a GSSIP record, as it stands in a queue: four bytes of encapsulation, 52 of
/// fixed fields, the data. Any thread may call.
class GssipTopicSerializer {
public:
    GssipTopicSerializer() = delete;

    /// Bytes of the encoded record, encapsulation included.
    static std::size_t GetSerializedSize(aspn2_msgs::idl::GSSIP const* record);

    /// Makes `bytes` the encoded record, in the byte order of this machine. False, with `bytes` as
    /// they were, when it cannot be encoded; raises std::bad_alloc. The new content of `bytes` is
    /// the one memory that it allocates.
    static bool Serialize(aspn2_msgs::idl::GSSIP const& record, std::vector<unsigned char>& bytes);

    /// Decodes the record at the front of `length` bytes, of either byte order; more bytes may
    /// follow. They stay the caller's. False when they are no record: `record` then holds anything
    /// valid. Allocates no more than `length` bytes, whatever lengths the bytes tell.
    static bool Deserialize(unsigned char* data, int length, aspn2_msgs::idl::GSSIP* record);
};
