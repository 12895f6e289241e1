#include "face/TransportConnection.h"

#include <utility>

#include <fastdds/dds/topic/TopicDataType.hpp>

#include "face/Listeners.h"
#include "platform/Mutex.h"

namespace FACE::TSS {

struct TransportConnection::Endpoints {
    platform::Mutex mutex;  // a leaf: nothing is sent or removed under it
    platform::Condition returned;
    eprosima::fastrtps::Publisher* publisher GUARDED_BY(mutex) = nullptr;
    eprosima::fastrtps::Subscriber* subscriber GUARDED_BY(mutex) = nullptr;
    unsigned loans GUARDED_BY(mutex) = 0;

    eprosima::fastrtps::Publisher* lend() {
        platform::MutexLock const lock(mutex);
        if (publisher != nullptr) {
            ++loans;
        }
        return publisher;
    }

    void takeBack() {
        platform::MutexLock const lock(mutex);
        if (--loans == 0) {
            returned.notifyAll();
        }
    }
};

TransportConnection::PublisherLoan::PublisherLoan(TransportConnection& connection)
    : endpoints_(*connection.endpoints_), publisher_(endpoints_.lend()) {}

TransportConnection::PublisherLoan::~PublisherLoan() {
    if (publisher_ != nullptr) {
        endpoints_.takeBack();
    }
}

TransportConnection::TransportConnection(
    std::string name, std::string typeName,
    std::unique_ptr<eprosima::fastdds::dds::TopicDataType> type)
    : name_(std::move(name)),
      typeName_(std::move(typeName)),
      type_(std::move(type)),
      typeInUse_(type_.get()),
      endpoints_(std::make_unique<Endpoints>()) {}

TransportConnection::~TransportConnection() = default;
TransportConnection::TransportConnection(TransportConnection&&) noexcept = default;
TransportConnection& TransportConnection::operator=(TransportConnection&&) noexcept = default;

bool TransportConnection::carries(std::type_info const& support) const noexcept {
    auto const is = [&](eprosima::fastdds::dds::TopicDataType const* type) {
        return type != nullptr && typeid(*type) == support;
    };
    return is(type_.get()) && is(typeInUse_);
}

bool TransportConnection::isPublisher() const {
    platform::MutexLock const lock(endpoints_->mutex);
    return endpoints_->publisher != nullptr;
}

bool TransportConnection::isSubscriber() const {
    return subscriber() != nullptr;
}

void TransportConnection::setPublisher(std::unique_ptr<Listeners::PublisherListenerBase> listener,
                                       eprosima::fastrtps::Publisher* publisher) {
    publisherListener_ = std::move(listener);
    platform::MutexLock const lock(endpoints_->mutex);
    endpoints_->publisher = publisher;
}

eprosima::fastrtps::Publisher* TransportConnection::withdrawPublisher() {
    platform::MutexLock const lock(endpoints_->mutex);
    eprosima::fastrtps::Publisher* const publisher = std::exchange(endpoints_->publisher, nullptr);
    while (endpoints_->loans != 0) {
        endpoints_->returned.wait(endpoints_->mutex);
    }
    return publisher;
}

void TransportConnection::clearPublisher() {
    setPublisher(nullptr, nullptr);
}

void TransportConnection::setSubscriber(std::unique_ptr<Listeners::SubscriberListenerBase> listener,
                                        eprosima::fastrtps::Subscriber* subscriber) {
    subscriberListener_ = std::move(listener);
    platform::MutexLock const lock(endpoints_->mutex);
    endpoints_->subscriber = subscriber;
}

eprosima::fastrtps::Subscriber* TransportConnection::subscriber() const {
    platform::MutexLock const lock(endpoints_->mutex);
    return endpoints_->subscriber;
}

void TransportConnection::clearSubscriber() {
    setSubscriber(nullptr, nullptr);
}

}  // namespace FACE::TSS
