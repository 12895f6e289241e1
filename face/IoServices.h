#pragma once

#include <cstdint>

#include "face/IoParameter.h"
#include "face/ReturnCode.h"
#include "face/Sequence.h"
#include "face/String.h"

namespace FACE::IOSS {

using octet = std::uint8_t;

/// One setting of a connection: which (the numbers belong to the bus) and its value.
struct IO_PARAMETER {
    std::uint16_t kind = 0;
    IO_PARAMETER_VALUE_TYPE value;
};

/// The settings of one configure or get call; it is valid when its sequence is.
struct IO_PARAMETER_TRANSACTION_TYPE {
    Sequence<IO_PARAMETER> parameters;
};

struct CONNECTION_STATE_TYPE {
    enum Value : std::int32_t {
        CLOSED = 0,
        OPENING = 1,
        OPEN = 2,
        DEGRADED = 4  ///< open, but a setting was refused (serial) or the mapping failed (memory)
    };
};

struct CONNECTION_STATUS_TYPE {
    std::int64_t timestamp = 0;  ///< no bus of this system has one: 0
    std::int32_t available = 0;  ///< 1 for every connection whose status can be had
    CONNECTION_STATE_TYPE::Value state = CONNECTION_STATE_TYPE::CLOSED;
};

struct NOTIFICATION_EVENT_TYPE {
    enum Value : std::int32_t { DATA_READY = 0 };
};

/// Told of events on a connection, on a thread of the service.
class IO_Callback {
public:
    virtual ~IO_Callback() = default;
    virtual void Process_Notification_Event(long long handle,
                                            NOTIFICATION_EVENT_TYPE::Value event) = 0;
};

/// The thirteen operations that every bus has. A bus adds its two payloads and derives its
/// IO_Service from an instance of this. Time-outs are nanoseconds, -1 for ever; a handle stays
/// good for the life of the service. No operation throws for a bad argument.
template <class ReadPayload, class WritePayload>
class IO_Service_Operations {
public:
    using READ_PAYLOAD_TYPE = ReadPayload;
    using WRITE_PAYLOAD_TYPE = WritePayload;
    using IO_PARAMETER = IOSS::IO_PARAMETER;
    using IO_PARAMETER_TRANSACTION_TYPE = IOSS::IO_PARAMETER_TRANSACTION_TYPE;
    using CONNECTION_STATUS_TYPE = IOSS::CONNECTION_STATUS_TYPE;
    using IO_Callback = IOSS::IO_Callback;

    virtual ~IO_Service_Operations() = default;
    virtual void Initialize(String const& config_name, RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Open_Connection(String const& connection_name, long long timeout,
                                 long long& handle, RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Close_Connection(long long handle, RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Read(long long handle, long long timeout, READ_PAYLOAD_TYPE& payload,
                      RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Write(long long handle, long long timeout, WRITE_PAYLOAD_TYPE const& payload,
                       RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Configure_Connection_Parameters(long long handle, long long timeout,
                                                 IO_PARAMETER_TRANSACTION_TYPE const& parameters,
                                                 RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Get_Connection_Configuration(long long handle, long long timeout,
                                              IO_PARAMETER_TRANSACTION_TYPE& parameters,
                                              RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Configure_Bus_Parameters(long long handle, long long timeout,
                                          IO_PARAMETER_TRANSACTION_TYPE const& parameters,
                                          RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Get_Bus_Configuration(long long handle, long long timeout,
                                       IO_PARAMETER_TRANSACTION_TYPE& parameters,
                                       RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Get_Connection_Status(long long handle, CONNECTION_STATUS_TYPE& status,
                                       RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Get_Bus_Status(long long handle, unsigned short& status,
                                RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Register_Notification_Event(long long handle, IO_Callback& callback,
                                             RETURN_CODE_TYPE::Value& return_code) = 0;
    virtual void Unregister_Notification_Event(long long handle,
                                               RETURN_CODE_TYPE::Value& return_code) = 0;
};

/// Serial ports: a stream of bytes.
namespace Serial {

using IOSS::CONNECTION_STATUS_TYPE;
using IOSS::IO_Callback;
using IOSS::IO_PARAMETER;
using IOSS::IO_PARAMETER_TRANSACTION_TYPE;

/// The kinds of IO_PARAMETER, each with the alternative of the value that it uses.
struct IO_PARAMETER_KIND {
    enum Value : std::uint16_t {
        CHANNEL = 0,      ///< octet_value, number behind the device's name
        SERIAL_MODE = 1,  ///< short_value, kept and reported only
        BAUD_RATE = 2,    ///< long_value, bits per second
        DATA_BITS = 3,    ///< short_value, 5 to 8
        STOP_BITS = 4,    ///< short_value, 1 or 2
        PARITY = 5,       ///< ushort_value, 0 none, 1 odd, 2 even, 3 mark, 4 space
        FLOW_CONTROL = 6  ///< ushort_value, 0 none, 1 software, 2 hardware
    };
};

struct READ_PAYLOAD_TYPE {
    std::int64_t timestamp = 0;  ///< the service has none and clears it
    octet channel = 0;           ///< where the bytes came from
    Sequence<octet> data;        ///< its length before the call is how much is wanted
};

struct WRITE_PAYLOAD_TYPE {
    octet channel = 0;
    Sequence<octet> data;
};

class IO_Service : public IO_Service_Operations<READ_PAYLOAD_TYPE, WRITE_PAYLOAD_TYPE> {};

}  // namespace Serial

/// Queue devices: whole records between processes.
namespace MCSQ {

using IOSS::CONNECTION_STATUS_TYPE;
using IOSS::IO_Callback;
using IOSS::IO_PARAMETER;
using IOSS::IO_PARAMETER_TRANSACTION_TYPE;
using IOSS::NOTIFICATION_EVENT_TYPE;

struct IO_PARAMETER_KIND {
    enum Value : std::uint16_t {
        PORT = 0  ///< ushort_value, number behind the device's name
    };
};

struct READ_PAYLOAD_TYPE {
    Sequence<octet> data;
};

struct WRITE_PAYLOAD_TYPE {
    Sequence<octet> data;
};

class IO_Service : public IO_Service_Operations<READ_PAYLOAD_TYPE, WRITE_PAYLOAD_TYPE> {};

}  // namespace MCSQ

/// Physical memory: registers of 8, 16, 32 or 64 bits.
namespace Devmem {

using IOSS::CONNECTION_STATUS_TYPE;
using IOSS::IO_Callback;
using IOSS::IO_PARAMETER;
using IOSS::IO_PARAMETER_TRANSACTION_TYPE;

struct IO_PARAMETER_KIND {
    enum Value : std::uint16_t {
        BASE_ADDRESS = 0,  ///< ulong_value, physical address of the region
        SIZE = 1           ///< ulong_value, bytes
    };
};

struct READ_PAYLOAD_TYPE {
    std::int64_t timestamp = 0;  ///< the service has none and clears it
    std::uint32_t offset = 0;    ///< of the register's first byte in the region
    std::int32_t width = 0;      ///< bits
    std::uint64_t value = 0;     ///< what was read, zero-extended
};

struct WRITE_PAYLOAD_TYPE {
    std::uint32_t offset = 0;  ///< of the register's first byte in the region
    std::int32_t width = 0;    ///< bits
    std::uint64_t value = 0;   ///< its low bits are written
};

class IO_Service : public IO_Service_Operations<READ_PAYLOAD_TYPE, WRITE_PAYLOAD_TYPE> {};

}  // namespace Devmem

}  // namespace FACE::IOSS
