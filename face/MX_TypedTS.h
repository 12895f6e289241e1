#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "face/TransportServices.h"

namespace FACE::TSS {

class MX_TSS;
class TransportConnection;

namespace Details {

/// The typed face of one record type `T` over an `MX_TSS`: sends records on its connections, or
/// hands those that arrive to a callback. There is an instance for each type of
/// aspn2_msgs/TopicTypes.h.
///
/// The library is told what memory to read a record from, but not of which type it is, so a
/// connection whose "PubSubType" is another type's is refused with INVALID_PARAM everywhere.
///
/// Codes common to `Send_Message` and the two `Register_...`: NOT_AVAILABLE without an initialized
/// transport, INVALID_PARAM for an unknown id or another type, CONNECTION_CLOSED (and the text on
/// standard error) for any other exception of the standard kind, NO_ACTION for the rest.
///
/// Threads: sending from any. The rest belongs to the control path.
template <class T>
class MX_TypedTS : public TypedTS<T>, public Base_Injectable::Injectable {
public:
    /// Not supported: raises std::runtime_error.
    void Receive_Message(long long connection_id, long long timeout, long long& transaction_id,
                         T& message, HEADER_TYPE& header, Sequence<QoS_Element>& qos,
                         RETURN_CODE_TYPE::Value& rc) override;

    /// Publishes `message`; `timeout` and `transaction_id` are not used. NOT_AVAILABLE also when
    /// the connection has no publisher, DATA_OVERFLOW when the library does not take the record.
    /// A reliable publisher may wait 100 ms for room. Subscribers of this process are called back
    /// before it returns, so hold no lock that a callback takes.
    void Send_Message(long long connection_id, long long timeout, long long& transaction_id,
                      T const& message, RETURN_CODE_TYPE::Value& rc) override;

    /// Send_Message for who needs no code: false unless the record was taken. What is raised on
    /// the way, as std::out_of_range for an unknown id, is the caller's.
    bool Publish(long long connection_id, T const& message);

    /// NO_ACTION when the connection has a publisher already, which stays.
    void Register_Sender(long long connection_id, RETURN_CODE_TYPE::Value& rc) override;

    /// NO_ACTION when the connection has a subscriber already, which stays, with its callback.
    /// `callback` runs on threads of the library, one record at a time, possibly before this
    /// returns; the record is gone when it returns.
    void Register_Callback(long long connection_id, Read_Callback<T> callback,
                           RETURN_CODE_TYPE::Value& rc) override;

    /// NOT_AVAILABLE when a transport is held already, INVALID_PARAM when `base` is no MX_TSS.
    void Set_Reference(String const& interface_name, std::shared_ptr<Base> const& base,
                       long long id, RETURN_CODE_TYPE::Value& rc) override;

    /// How many callbacks were registered, over all objects of this type.
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): a counter
    static inline std::atomic<std::uint32_t> subscriber_entry{0};

private:
    void registerSubscriberTyped(long long connection_id, TransportConnection& connection,
                                 Read_Callback<T> callback);
    static RETURN_CODE_TYPE::Value write(TransportConnection& connection, T const& message);
    /// Calls `action` with the connection, unless there is none for this type.
    template <class Action>
    RETURN_CODE_TYPE::Value withConnection(long long connection_id, Action action);
    /// The same, and turns what is raised into a code.
    template <class Action>
    void onConnection(long long connection_id, RETURN_CODE_TYPE::Value& rc, Action action);

    std::shared_ptr<MX_TSS> transport_;  // set once on the control path, before all use
};

}  // namespace Details

}  // namespace FACE::TSS
