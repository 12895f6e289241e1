#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <iostream>
#include <string>
#include <utility>

#include <fastrtps/publisher/PublisherListener.h>
#include <fastrtps/rtps/common/Guid.h>
#include <fastrtps/rtps/common/MatchingInfo.h>
#include <fastrtps/subscriber/SampleInfo.h>
#include <fastrtps/subscriber/Subscriber.h>
#include <fastrtps/subscriber/SubscriberListener.h>

#include "face/TransportServices.h"

/// What the library tells about endpoints and samples, in the terms of the service interfaces.
namespace FACE::TSS::Listeners {

/// The four bytes of the entity id, highest first. The prefix does not enter, so endpoints of two
/// participants may have the same number.
std::uint32_t GuidToUid(eprosima::fastrtps::rtps::GUID_t const& guid);

QoS_Element DurabilityQosPolicyToElement(eprosima::fastrtps::DurabilityQosPolicy const& policy);
QoS_Element LivelinessQosPolicyToElement(eprosima::fastrtps::LivelinessQosPolicy const& policy);
QoS_Element ReliabilityQosPolicyToElement(eprosima::fastrtps::ReliabilityQosPolicy const& policy);

/// Durability, liveliness and reliability of a subscriber, in this order. An element for which
/// there is no memory is left out.
Sequence<QoS_Element> PoliciesOf(eprosima::fastrtps::Subscriber const& subscriber);

HEADER_TYPE HeaderOf(eprosima::fastrtps::SampleInfo_t const& info,
                     eprosima::fastrtps::rtps::GUID_t const& reader);

/// Counts the subscribers that a publisher has found. Called by threads of the library.
class PublisherListenerBase : public eprosima::fastrtps::PublisherListener {
public:
    explicit PublisherListenerBase(std::string participantName)
        : participantName_(std::move(participantName)) {}

    void onPublicationMatched(eprosima::fastrtps::Publisher* publisher,
                              eprosima::fastrtps::rtps::MatchingInfo& info) override;

    std::string const& participantName() const noexcept { return participantName_; }
    /// Any thread.
    std::uint32_t matched() const noexcept { return matched_; }

private:
    std::string const participantName_;
    std::atomic<std::uint32_t> matched_{0};
};

/// Counts the publishers that a subscriber has found. Called by threads of the library.
class SubscriberListenerBase : public eprosima::fastrtps::SubscriberListener {
public:
    explicit SubscriberListenerBase(std::string participantName)
        : participantName_(std::move(participantName)) {}

    void onSubscriptionMatched(eprosima::fastrtps::Subscriber* subscriber,
                               eprosima::fastrtps::rtps::MatchingInfo& info) override;

    std::string const& participantName() const noexcept { return participantName_; }
    /// Any thread.
    std::uint32_t matched() const noexcept { return matched_; }

private:
    std::string const participantName_;
    std::atomic<std::uint32_t> matched_{0};
};

/// Hands the records of one subscriber to a callback, on the library's receiving thread and one at
/// a time; a record of this process comes on the thread that writes it, before the write returns.
template <class T>
class SubscriberListenerTyped final : public SubscriberListenerBase {
public:
    SubscriberListenerTyped(std::string participantName, long long connectionId,
                            Read_Callback<T> callback)
        : SubscriberListenerBase(std::move(participantName)),
          connectionId_(connectionId),
          callback_(std::move(callback)) {}

    /// Takes one sample and calls back with it; the library calls again for the next. What the
    /// callback raises ends here, as a line on standard error: the caller is no thread of ours.
    void onNewDataMessage(eprosima::fastrtps::Subscriber* subscriber) override {
        try {
            takeOne(*subscriber);
        } catch (std::exception const& error) {
            report(error.what());
        } catch (...) {
            report("unknown exception");
        }
    }

private:
    void takeOne(eprosima::fastrtps::Subscriber& subscriber) {
        T record;
        eprosima::fastrtps::SampleInfo_t info;
        if (!subscriber.takeNextData(&record, &info) ||
            info.sampleKind != eprosima::fastrtps::rtps::ALIVE) {
            return;
        }
        auto const transactionId =
            static_cast<long long>(info.sample_identity.sequence_number().to64long());
        RETURN_CODE_TYPE::Value code = RETURN_CODE_TYPE::NO_ERROR;
        callback_(connectionId_, transactionId, record, HeaderOf(info, subscriber.getGuid()),
                  PoliciesOf(subscriber), code);
    }

    void report(char const* text) const {
        std::cerr << participantName() + ": callback of connection " +
                         std::to_string(connectionId_) + " raised: " + text + '\n';
    }

    long long const connectionId_;
    Read_Callback<T> const callback_;
};

}  // namespace FACE::TSS::Listeners
