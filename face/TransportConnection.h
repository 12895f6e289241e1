#pragma once

#include <memory>
#include <string>
#include <typeinfo>

namespace eprosima::fastdds::dds {
class TopicDataType;
}
namespace eprosima::fastrtps {
class Publisher;
class Subscriber;
}  // namespace eprosima::fastrtps

namespace FACE::TSS {

namespace Listeners {
class PublisherListenerBase;
class SubscriberListenerBase;
}  // namespace Listeners

/// One topic of the participant, with at most one publisher and one subscriber. Changed on the
/// control path only; the two questions and loans are for any thread.
class TransportConnection {
    struct Endpoints;

public:
    /// A publisher on loan: it is not removed before this object is gone. Null when there is none.
    class PublisherLoan {
    public:
        explicit PublisherLoan(TransportConnection& connection);
        ~PublisherLoan();
        PublisherLoan(PublisherLoan const&) = delete;
        PublisherLoan& operator=(PublisherLoan const&) = delete;

        eprosima::fastrtps::Publisher* get() const noexcept { return publisher_; }

    private:
        Endpoints& endpoints_;
        eprosima::fastrtps::Publisher* const publisher_;
    };

    TransportConnection(std::string name, std::string typeName,
                        std::unique_ptr<eprosima::fastdds::dds::TopicDataType> type);
    ~TransportConnection();
    TransportConnection(TransportConnection&& other) noexcept;
    TransportConnection& operator=(TransportConnection&& other) noexcept;

    std::string const& name() const noexcept { return name_; }
    std::string const& typeName() const noexcept { return typeName_; }
    eprosima::fastdds::dds::TopicDataType* type() const noexcept { return type_.get(); }

    /// The type support that the library uses for the type name: that of the first connection.
    void setTypeInUse(eprosima::fastdds::dds::TopicDataType* type) noexcept { typeInUse_ = type; }

    /// Whether records of this connection are encoded and decoded by the type support `support`.
    /// A record of any other type handed to the library would be read as what it is not.
    bool carries(std::type_info const& support) const noexcept;

    bool isPublisher() const;
    bool isSubscriber() const;

    void setPublisher(std::unique_ptr<Listeners::PublisherListenerBase> listener,
                      eprosima::fastrtps::Publisher* publisher);
    /// Lends the publisher no more, waits for those on loan, and gives it back.
    eprosima::fastrtps::Publisher* withdrawPublisher();
    void clearPublisher();

    void setSubscriber(std::unique_ptr<Listeners::SubscriberListenerBase> listener,
                       eprosima::fastrtps::Subscriber* subscriber);
    eprosima::fastrtps::Subscriber* subscriber() const;
    void clearSubscriber();

    /// Null without publisher or subscriber.
    Listeners::PublisherListenerBase const* publisherListener() const noexcept {
        return publisherListener_.get();
    }
    Listeners::SubscriberListenerBase const* subscriberListener() const noexcept {
        return subscriberListener_.get();
    }

private:
    std::string name_;
    std::string typeName_;
    std::unique_ptr<eprosima::fastdds::dds::TopicDataType> type_;
    eprosima::fastdds::dds::TopicDataType* typeInUse_ = nullptr;  // of this connection or another
    std::unique_ptr<Listeners::PublisherListenerBase> publisherListener_;
    std::unique_ptr<Listeners::SubscriberListenerBase> subscriberListener_;
    std::unique_ptr<Endpoints> endpoints_;  // locks itself
};

}  // namespace FACE::TSS
