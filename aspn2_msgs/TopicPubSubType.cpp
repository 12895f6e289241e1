#include "aspn2_msgs/TopicPubSubType.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <memory>

#include <fastcdr/Cdr.h>
#include <fastcdr/FastBuffer.h>
#include <fastcdr/exceptions/NotEnoughMemoryException.h>

#include "aspn2_msgs/Altitude.h"
#include "aspn2_msgs/AssuranceState.h"
#include "aspn2_msgs/BitEntryStatus.h"
#include "aspn2_msgs/BitReport.h"
#include "aspn2_msgs/ChallengedEnvironment.h"
#include "aspn2_msgs/ChannelStatus.h"
#include "aspn2_msgs/CommandResponse.h"
#include "aspn2_msgs/DeltaTimeAndFrequency.h"
#include "aspn2_msgs/EventLog.h"
#include "aspn2_msgs/ForwardReverseStatus.h"
#include "aspn2_msgs/GNSS.h"
#include "aspn2_msgs/GNSSSubframe.h"
#include "aspn2_msgs/GPSCryptoStatus.h"
#include "aspn2_msgs/GPSLineOfSight.h"
#include "aspn2_msgs/GPSTime.h"
#include "aspn2_msgs/GSSIP.h"
#include "aspn2_msgs/IMU.h"
#include "aspn2_msgs/MaintenanceEvent.h"
#include "aspn2_msgs/MeasurementIncorporationStatus.h"
#include "aspn2_msgs/MeridanePNT.h"
#include "aspn2_msgs/NavigationMode.h"
#include "aspn2_msgs/PlatformDynamics.h"
#include "aspn2_msgs/PositionVelocity.h"
#include "aspn2_msgs/PositionVelocityAttitude.h"
#include "aspn2_msgs/ReceiverStatus.h"
#include "aspn2_msgs/SVStatus.h"
#include "aspn2_msgs/ThreeAxisMagnetometer.h"
#include "aspn2_msgs/TimeAtTheTone.h"
#include "aspn2_msgs/TimeSync.h"
#include "aspn2_msgs/TopicTypes.h"
#include "aspn2_msgs/UTCTime.h"
#include "aspn2_msgs/UtcDownlink.h"
#include "aspn2_msgs/Velocity3D.h"

namespace aspn2_msgs {

namespace {

using eprosima::fastcdr::Cdr;
using eprosima::fastcdr::FastBuffer;

constexpr std::size_t ENCAPSULATION_BYTES = 4;
constexpr std::size_t HANDLE_BYTES = 16;

FastBuffer wrap(eprosima::fastrtps::rtps::SerializedPayload_t const& payload, std::uint32_t bytes) {
    return FastBuffer(reinterpret_cast<char*>(payload.data), bytes);
}

void setEncapsulation(eprosima::fastrtps::rtps::SerializedPayload_t& payload, Cdr const& cdr) {
    payload.encapsulation = cdr.endianness() == Cdr::BIG_ENDIANNESS ? CDR_BE : CDR_LE;
}

}  // namespace

template <class T>
TopicPubSubType<T>::TopicPubSubType()
    : keyBuffer_(std::max(HANDLE_BYTES, T::getKeyMaxCdrSerializedSize(0))) {
    setName(TypeName<T>);
    m_typeSize = static_cast<std::uint32_t>(T::getMaxCdrSerializedSize(0) + ENCAPSULATION_BYTES);
    m_isGetKeyDefined = T::isKeyDefined();
}

template <class T>
bool TopicPubSubType<T>::serialize(void* record, SerializedPayload* payload) {
    FastBuffer buffer = wrap(*payload, payload->max_size);
    Cdr cdr(buffer, Cdr::DEFAULT_ENDIAN, Cdr::DDS_CDR);
    setEncapsulation(*payload, cdr);
    try {
        cdr.serialize_encapsulation();
        static_cast<T const*>(record)->serialize(cdr);
    } catch (eprosima::fastcdr::exception::NotEnoughMemoryException const&) {
        return false;
    }
    payload->length = static_cast<std::uint32_t>(cdr.getSerializedDataLength());
    return true;
}

template <class T>
bool TopicPubSubType<T>::deserialize(SerializedPayload* payload, void* record) {
    FastBuffer buffer = wrap(*payload, payload->length);
    Cdr cdr(buffer, Cdr::DEFAULT_ENDIAN, Cdr::DDS_CDR);
    try {
        cdr.read_encapsulation();
        setEncapsulation(*payload, cdr);
        static_cast<T*>(record)->deserialize(cdr);
    } catch (std::exception const&) {
        // Those of the CDR library (too short, bad encapsulation, a boolean that is none) and
        // of memory. The caller is a thread of the transport: what leaves here ends the process.
        return false;
    }
    return true;
}

template <class T>
std::function<std::uint32_t()> TopicPubSubType<T>::getSerializedSizeProvider(void* record) {
    return [record] {
        return static_cast<std::uint32_t>(
            T::getCdrSerializedSize(*static_cast<T const*>(record), 0) + ENCAPSULATION_BYTES);
    };
}

template <class T>
void* TopicPubSubType<T>::createData() {
    return std::make_unique<T>().release();
}

template <class T>
void TopicPubSubType<T>::deleteData(void* record) {
    std::unique_ptr<T>(static_cast<T*>(record)).reset();
}

template <class T>
bool TopicPubSubType<T>::getKey(void* record, InstanceHandle* handle, bool force_md5) {
    if (!m_isGetKeyDefined) {
        return false;
    }
    FastBuffer buffer(keyBuffer_.data(), keyBuffer_.size());
    Cdr cdr(buffer, Cdr::BIG_ENDIANNESS);
    static_cast<T const*>(record)->serializeKey(cdr);
    if (!force_md5 && T::getKeyMaxCdrSerializedSize(0) <= HANDLE_BYTES) {
        std::copy_n(keyBuffer_.begin(), HANDLE_BYTES, &handle->value[0]);
        return true;
    }
    md5_.init();
    md5_.update(keyBuffer_.data(), static_cast<unsigned>(cdr.getSerializedDataLength()));
    md5_.finalize();
    std::copy_n(&md5_.digest[0], HANDLE_BYTES, &handle->value[0]);
    return true;
}

#define ASPN2_MSGS_INSTANTIATE(Name) template class TopicPubSubType<idl::Name>;
ASPN2_MSGS_TOPIC_TYPES(ASPN2_MSGS_INSTANTIATE)
#undef ASPN2_MSGS_INSTANTIATE

}  // namespace aspn2_msgs
