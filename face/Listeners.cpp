#include "face/Listeners.h"

#include <fastrtps/attributes/SubscriberAttributes.h>
#include <fastrtps/qos/QosPolicies.h>

namespace FACE::TSS::Listeners {

namespace {

using eprosima::fastrtps::rtps::MATCHED_MATCHING;
using eprosima::fastrtps::rtps::MatchingInfo;

QoS_Element element(char const* name, char const* value) {
    // The names live as long as the program; the copies that a sequence makes are its own.
    QoS_Element result;
    result.name = String(name);
    result.value = String(value);
    return result;
}

void count(std::atomic<std::uint32_t>& matched, MatchingInfo const& info) {
    if (info.status == MATCHED_MATCHING) {
        ++matched;
    } else {
        --matched;
    }
}

}  // namespace

std::uint32_t GuidToUid(eprosima::fastrtps::rtps::GUID_t const& guid) {
    std::uint32_t uid = 0;
    for (unsigned char byte : guid.entityId.value) {
        uid = uid << 8U | byte;
    }
    return uid;
}

QoS_Element DurabilityQosPolicyToElement(eprosima::fastrtps::DurabilityQosPolicy const& policy) {
    auto const value = [kind = policy.kind] {
        switch (kind) {
            case eprosima::fastrtps::VOLATILE_DURABILITY_QOS:
                return "VOLATILE_DURABILITY_QOS";
            case eprosima::fastrtps::TRANSIENT_LOCAL_DURABILITY_QOS:
                return "TRANSIENT_LOCAL_DURABILITY_QOS";
            case eprosima::fastrtps::TRANSIENT_DURABILITY_QOS:
                return "TRANSIENT_DURABILITY_QOS";
            case eprosima::fastrtps::PERSISTENT_DURABILITY_QOS:
                return "PERSISTENT_DURABILITY_QOS";
        }
        return "UNKNOWN_DURABILITY_QOS";
    };
    return element("DurabilityQosPolicy", value());
}

QoS_Element LivelinessQosPolicyToElement(eprosima::fastrtps::LivelinessQosPolicy const& policy) {
    auto const value = [kind = policy.kind] {
        switch (kind) {
            case eprosima::fastrtps::AUTOMATIC_LIVELINESS_QOS:
                return "AUTOMATIC_LIVELINESS_QOS";
            case eprosima::fastrtps::MANUAL_BY_PARTICIPANT_LIVELINESS_QOS:
                return "MANUAL_BY_PARTICIPANT_LIVELINESS_QOS";
            case eprosima::fastrtps::MANUAL_BY_TOPIC_LIVELINESS_QOS:
                return "MANUAL_BY_TOPIC_LIVELINESS_QOS";
        }
        return "UNKNOWN_LIVELINESS_QOS";
    };
    return element("LivelinessQosPolicy", value());
}

QoS_Element ReliabilityQosPolicyToElement(eprosima::fastrtps::ReliabilityQosPolicy const& policy) {
    auto const value = [kind = policy.kind] {
        switch (kind) {
            case eprosima::fastrtps::BEST_EFFORT_RELIABILITY_QOS:
                return "BEST_EFFORT_RELIABILITY_QOS";
            case eprosima::fastrtps::RELIABLE_RELIABILITY_QOS:
                return "RELIABLE_RELIABILITY_QOS";
        }
        return "UNKNOWN_RELIABILITY_QOS";
    };
    return element("ReliabilityQosPolicy", value());
}

Sequence<QoS_Element> PoliciesOf(eprosima::fastrtps::Subscriber const& subscriber) {
    auto const& qos = subscriber.getAttributes().qos;
    Sequence<QoS_Element> policies;
    static_cast<void>(policies.append(DurabilityQosPolicyToElement(qos.m_durability)));
    static_cast<void>(policies.append(LivelinessQosPolicyToElement(qos.m_liveliness)));
    static_cast<void>(policies.append(ReliabilityQosPolicyToElement(qos.m_reliability)));
    return policies;
}

HEADER_TYPE HeaderOf(eprosima::fastrtps::SampleInfo_t const& info,
                     eprosima::fastrtps::rtps::GUID_t const& reader) {
    HEADER_TYPE header;
    header.source_uid = GuidToUid(info.sample_identity.writer_guid());
    header.destination_uid = GuidToUid(reader);
    header.timestamp = info.sourceTimestamp.to_ns();
    return header;
}

void PublisherListenerBase::onPublicationMatched(eprosima::fastrtps::Publisher* /*publisher*/,
                                                 MatchingInfo& info) {
    count(matched_, info);
}

void SubscriberListenerBase::onSubscriptionMatched(eprosima::fastrtps::Subscriber* /*subscriber*/,
                                                   MatchingInfo& info) {
    count(matched_, info);
}

}  // namespace FACE::TSS::Listeners
