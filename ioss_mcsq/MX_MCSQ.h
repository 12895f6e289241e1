#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "face/Configuration.h"
#include "face/ConnectionTable.h"
#include "face/IoServices.h"
#include "face/ServiceConfiguration.h"
#include "ioss_mcsq/ReaderPoll.h"
#include "platform/Mutex.h"

namespace FACE::IOSS {

/// Queues between the processes of the computer, each a device named by the number behind "mcs".
///
/// A connection opens its device for reading and for writing; its number is the parameter "Port" of
/// the container of its name, read once, when the name is opened for the first time. Every
/// operation first checks the handle's low 32 bits: INVALID_PARAM when there is no such connection,
/// CONNECTION_CLOSED when it is not open.
///
/// Any thread may call. Opening is a blocking `open` under the connection mutex, and belongs to the
/// start-up path. One thread, "mcsq-poll", looks at all registered connections and calls their
/// callbacks. It starts with the first registration and ends with the last unregistration; a
/// registration after its end starts none.
///
/// Locks: the poll mutex, held while polling and during callbacks, then the connection mutex. So
/// registering, unregistering and closing wait for the end of a pass, that is for 50 ms and its
/// callbacks, and must never be called from a callback.
class MX_MCSQ : public MCSQ::IO_Service, public Configuration_Injectable::Injectable {
public:
    /// The most that one Read takes, in bytes.
    static constexpr std::uint32_t MAX_READ_BYTES = 131'072;

    MX_MCSQ();

    /// Ends the thread and closes every connection.
    ~MX_MCSQ() override;

    MX_MCSQ(MX_MCSQ const&) = delete;
    MX_MCSQ& operator=(MX_MCSQ const&) = delete;

    /// NOT_AVAILABLE when there is a configuration already, INVALID_PARAM for null.
    void Set_Reference(String const& interface_name,
                       std::shared_ptr<Configuration> const& reference, long long id,
                       RETURN_CODE_TYPE::Value& rc) override;

    /// Initializes the configuration with `config_name`; INVALID_CONFIG when that fails or there
    /// is none, INVALID_PARAM for an invalid name. NO_ACTION when it was done already.
    void Initialize(String const& config_name, RETURN_CODE_TYPE::Value& rc) override;

    /// Opens the queue of that name, once; a second call gives the same handle and touches
    /// nothing, unless it has been closed meanwhile.
    ///
    /// INVALID_CONFIG without the container or its parameter; INVALID_PARAM for an invalid name;
    /// NO_ACTION when one of the ends does not open (a later call tries again). `handle` is then
    /// -1.
    void Open_Connection(String const& connection_name, long long timeout, long long& handle,
                         RETURN_CODE_TYPE::Value& rc) override;

    /// Ends its notifications too. Not from a callback.
    void Close_Connection(long long handle, RETURN_CODE_TYPE::Value& rc) override;

    /// Reads once, at once: into `payload.data`, whose length before the call does not matter, at
    /// most MAX_READ_BYTES and at most its capacity (managed) or bound (unmanaged). Its length is
    /// then what came. NO_ACTION when nothing came.
    void Read(long long handle, long long timeout, MCSQ::READ_PAYLOAD_TYPE& payload,
              RETURN_CODE_TYPE::Value& rc) override;

    /// Writes all bytes in one go, without waiting. NO_ACTION when the queue has no room: the bytes
    /// are lost. A pipe takes 4096 bytes whole or not at all; of more it may take a part. An empty
    /// sequence is NO_ERROR.
    void Write(long long handle, long long timeout, MCSQ::WRITE_PAYLOAD_TYPE const& payload,
               RETURN_CODE_TYPE::Value& rc) override;

    /// NO_ACTION: nothing can be set.
    void Configure_Connection_Parameters(long long handle, long long timeout,
                                         IO_PARAMETER_TRANSACTION_TYPE const& parameters,
                                         RETURN_CODE_TYPE::Value& rc) override;

    /// Fills each element with the setting of its kind (MCSQ::IO_PARAMETER_KIND), also of a closed
    /// connection; INVALID_PARAM when a kind is unknown, with the other elements filled. An invalid
    /// transaction gives NO_ERROR.
    void Get_Connection_Configuration(long long handle, long long timeout,
                                      IO_PARAMETER_TRANSACTION_TYPE& parameters,
                                      RETURN_CODE_TYPE::Value& rc) override;

    /// NO_ACTION, both.
    void Configure_Bus_Parameters(long long handle, long long timeout,
                                  IO_PARAMETER_TRANSACTION_TYPE const& parameters,
                                  RETURN_CODE_TYPE::Value& rc) override;
    void Get_Bus_Configuration(long long handle, long long timeout,
                               IO_PARAMETER_TRANSACTION_TYPE& parameters,
                               RETURN_CODE_TYPE::Value& rc) override;

    void Get_Connection_Status(long long handle, CONNECTION_STATUS_TYPE& status,
                               RETURN_CODE_TYPE::Value& rc) override;

    /// 0 when the connection is open, else 1.
    void Get_Bus_Status(long long handle, unsigned short& status,
                        RETURN_CODE_TYPE::Value& rc) override;

    /// Has `callback`, which must live until the connection is unregistered or closed, told of
    /// data. It is called again at once while data is left. Two registrations call it twice.
    /// NO_ACTION when the thread cannot be started. Not from a callback.
    void Register_Notification_Event(long long handle, IO_Callback& callback,
                                     RETURN_CODE_TYPE::Value& rc) override;

    /// Ends one registration: no callback runs or comes after the return, unless there was another
    /// registration. Not from a callback.
    void Unregister_Notification_Event(long long handle, RETURN_CODE_TYPE::Value& rc) override;

private:
    struct Connection_t;
    struct Ends;

    Connection_t* getConnection(long long handle, RETURN_CODE_TYPE::Value& rc) const
        REQUIRES(connectionMutex_);
    std::shared_ptr<Ends> openEnds(long long handle, RETURN_CODE_TYPE::Value& rc) const
        EXCLUDES(connectionMutex_);
    bool readPort(String const& container, std::uint16_t& port) const;
    void noAction(long long handle, RETURN_CODE_TYPE::Value& rc) const;

    void callbackThreadFunction();
    bool pollOnce() EXCLUDES(pollMutex_);
    void notify(int descriptor) const REQUIRES(pollMutex_);

    ServiceConfiguration configuration_;  // the start-up path's

    mutable platform::Mutex connectionMutex_;
    ConnectionTable<Connection_t> connections_ GUARDED_BY(connectionMutex_);

    platform::Mutex pollMutex_ ACQUIRED_BEFORE(connectionMutex_);
    ReaderPoll poll_ GUARDED_BY(pollMutex_);
    std::thread callbackThread_ GUARDED_BY(pollMutex_);
    std::atomic<bool> stop_{true};
};

}  // namespace FACE::IOSS
