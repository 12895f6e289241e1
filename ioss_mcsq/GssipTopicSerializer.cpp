#include "ioss_mcsq/GssipTopicSerializer.h"

#include <cstdint>
#include <utility>

#include <fastrtps/rtps/common/SerializedPayload.h>

#include "aspn2_msgs/TopicTypes.h"

namespace {

using aspn2_msgs::idl::GSSIP;
using aspn2_msgs::idl::GSSIPPubSubType;

// A record begins with a number of eight bytes, which from here leaves a gap of four: as much as
// the encapsulation takes.
constexpr std::size_t encapsulationBytes = 4;

/// A payload over bytes that are somebody else's: a payload frees what it holds.
class PayloadView {
public:
    PayloadView(unsigned char* bytes, std::uint32_t length) {
        payload_.data = bytes;
        payload_.length = length;
        payload_.max_size = length;
    }
    ~PayloadView() { payload_.data = nullptr; }
    PayloadView(PayloadView const&) = delete;
    PayloadView& operator=(PayloadView const&) = delete;

    eprosima::fastrtps::rtps::SerializedPayload_t* get() { return &payload_; }

private:
    eprosima::fastrtps::rtps::SerializedPayload_t payload_;
};

/// One for all threads: making it costs several allocations, and encoding does not change it.
GSSIPPubSubType& typeSupport() {
    static GSSIPPubSubType type;
    return type;
}

}  // namespace

std::size_t GssipTopicSerializer::GetSerializedSize(GSSIP const* record) {
    return GSSIP::getCdrSerializedSize(*record, encapsulationBytes);
}

bool GssipTopicSerializer::Serialize(GSSIP const& record, std::vector<unsigned char>& bytes) {
    std::vector<unsigned char> encoded(GetSerializedSize(&record));
    PayloadView view(encoded.data(), static_cast<std::uint32_t>(encoded.size()));
    // The interface is of the transport and takes what it encodes as a plain pointer.
    if (!typeSupport().serialize(const_cast<GSSIP*>(&record), view.get())) {
        return false;
    }
    encoded.resize(view.get()->length);
    bytes = std::move(encoded);
    return true;
}

bool GssipTopicSerializer::Deserialize(unsigned char* data, int length, GSSIP* record) {
    if (data == nullptr || length < 0) {
        return false;
    }
    // A sequence's length is compared with the bytes that are left before memory is taken for it.
    PayloadView view(data, static_cast<std::uint32_t>(length));
    return typeSupport().deserialize(view.get(), record);
}
