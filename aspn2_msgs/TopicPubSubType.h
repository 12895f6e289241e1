#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include <fastdds/dds/topic/TopicDataType.hpp>
#include <fastrtps/rtps/common/InstanceHandle.h>
#include <fastrtps/rtps/common/SerializedPayload.h>
#include <fastrtps/utils/md5.h>

namespace aspn2_msgs {

/// Support of the topic type `T`, one of the generated records: how the transport makes, encodes
/// and decodes it. The encoding is plain CDR behind its four bytes of encapsulation, in the byte
/// order of this machine; both orders are decoded. There is one instance for each type of
/// TopicTypes.h, where they have their names.
///
/// The bytes of a payload come from any peer: whatever they are, `deserialize` neither throws nor
/// reads behind them, and takes no more memory than they could fill with elements of one byte.
/// The transport calls one object from several threads; only `getKey` changes it, and is never
/// reached since no record has a key.
template <class T>
class TopicPubSubType final : public eprosima::fastdds::dds::TopicDataType {
public:
    using SerializedPayload = eprosima::fastrtps::rtps::SerializedPayload_t;
    using InstanceHandle = eprosima::fastrtps::rtps::InstanceHandle_t;

    TopicPubSubType();
    ~TopicPubSubType() override = default;

    TopicPubSubType(TopicPubSubType const&) = delete;
    TopicPubSubType& operator=(TopicPubSubType const&) = delete;

    /// False when the payload's buffer is too small.
    bool serialize(void* record, SerializedPayload* payload) override;

    /// False when the payload ends early, has an encapsulation or a value that is none, or a
    /// length that cannot be true. The record then holds what came before, or anything valid.
    bool deserialize(SerializedPayload* payload, void* record) override;

    /// Gives the encoded size of `record` with its encapsulation, at the time of the call.
    std::function<std::uint32_t()> getSerializedSizeProvider(void* record) override;

    void* createData() override;
    void deleteData(void* record) override;

    /// False: no record has a key.
    bool getKey(void* record, InstanceHandle* handle, bool force_md5 = false) override;

private:
    MD5 md5_;                      // of keys only
    std::vector<char> keyBuffer_;  // at least 16 bytes
};

}  // namespace aspn2_msgs
