#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "face/ReturnCode.h"
#include "face/Sequence.h"
#include "face/String.h"

namespace FACE::TSS {

/// Where a received record comes from.
struct HEADER_TYPE {
    std::int64_t source_uid = 0;       ///< entity id of the writer
    std::int64_t destination_uid = 0;  ///< entity id of the reader
    std::int64_t timestamp = 0;        ///< when it was written, nanoseconds since 1970
};

/// One quality-of-service policy of the reader that received a record.
struct QoS_Element {
    String name;
    String value;
};

/// Takes (connection id, transaction id, record, header, policies, return code). The references
/// are good during the call only.
template <class T>
using Read_Callback = std::function<void(long long, long long, T const&, HEADER_TYPE const&,
                                         Sequence<QoS_Element> const&, RETURN_CODE_TYPE::Value&)>;

/// The transport below all typed ones: one participant and its table of connections.
class Base {
public:
    virtual ~Base() = default;
    virtual void Initialize(String const& config_name, RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Create_Connection(String const& connection_name, long long pattern,
                                   long long& connection_id, int& direction,
                                   RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Destroy_Connection(long long connection_id,
                                    RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Unregister_Sender(long long connection_id,
                                   RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Unregister_Callback(long long connection_id,
                                     RETURN_CODE_TYPE::Value& return_code) = 0;
};

namespace Base_Injectable {

/// How a typed transport is tied to the one `Base`.
class Injectable {
public:
    virtual ~Injectable() = default;
    virtual void Set_Reference(String const& interface_name, std::shared_ptr<Base> const& reference,
                               long long id, RETURN_CODE_TYPE::Value& return_code) = 0;
};

}  // namespace Base_Injectable

/// Sends and receives records of the type T over connections of a `Base`.
template <class T>
class TypedTS {
public:
    virtual ~TypedTS() = default;
    virtual void Receive_Message(long long connection_id, long long timeout,
                                 long long& transaction_id, T& message, HEADER_TYPE& header,
                                 Sequence<QoS_Element>& qos,
                                 RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Send_Message(long long connection_id, long long timeout, long long& transaction_id,
                              T const& message, RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Register_Sender(long long connection_id, RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Register_Callback(long long connection_id, Read_Callback<T> callback,
                                   RETURN_CODE_TYPE::Value& return_code) = 0;
};

}  // namespace FACE::TSS
