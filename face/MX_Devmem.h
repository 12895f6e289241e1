#pragma once

#include <memory>

#include "face/Configuration.h"
#include "face/ConnectionTable.h"
#include "face/IoServices.h"
#include "face/ServiceConfiguration.h"

namespace FACE::IOSS {

/// Regions of physical memory, mapped from the memory device and accessed register by register.
///
/// A connection's parameters are "BaseAddress" and "Size" (bytes) of the container of its name,
/// read once, when the name is opened for the first time. Every operation but the two of the bus
/// configuration first checks the handle's low 32 bits: INVALID_PARAM when there is no such
/// connection.
///
/// Threads: the service has none and takes no lock. Read and Write stand alone, so any thread may
/// call them for any connection; who needs several accesses in a row must keep others away. All
/// other operations belong to the start-up path, which opens a name for the first time while
/// nobody uses the service, and closes a connection while nobody reads or writes it.
class MX_Devmem : public Devmem::IO_Service, public Configuration_Injectable::Injectable {
public:
    MX_Devmem();

    /// Releases every region.
    ~MX_Devmem() override;

    MX_Devmem(MX_Devmem const&) = delete;
    MX_Devmem& operator=(MX_Devmem const&) = delete;

    /// NOT_AVAILABLE when there is a configuration already, INVALID_PARAM for null.
    void Set_Reference(String const& interface_name,
                       std::shared_ptr<Configuration> const& reference, long long id,
                       RETURN_CODE_TYPE::Value& rc) override;

    /// Initializes the configuration with `config_name`; INVALID_CONFIG when that fails or there
    /// is none, INVALID_PARAM for an invalid name. NO_ACTION when it was done already.
    void Initialize(String const& config_name, RETURN_CODE_TYPE::Value& rc) override;

    /// Maps the region of that name, once; a second call gives the same handle and touches
    /// nothing, unless it has been closed meanwhile. A region that cannot be mapped opens too:
    /// Get_Connection_Status then tells DEGRADED, and Read and Write refuse. Closing and opening
    /// it tries again.
    ///
    /// INVALID_CONFIG without the container or one of its parameters, INVALID_PARAM for an
    /// invalid name. `handle` is then -1.
    void Open_Connection(String const& connection_name, long long timeout, long long& handle,
                         RETURN_CODE_TYPE::Value& rc) override;

    /// CONNECTION_CLOSED when it is not open.
    void Close_Connection(long long handle, RETURN_CODE_TYPE::Value& rc) override;

    /// Reads one register in one access of exactly `payload.width` bits, ordered behind and ahead
    /// of all other accesses of the caller. Registers want an offset that is a multiple of their
    /// width. `timeout` does not matter.
    ///
    /// NO_ACTION for a width other than 8, 16, 32 and 64 or a register that does not lie wholly
    /// in the region; INVALID_MODE when the region is not mapped; CONNECTION_CLOSED.
    void Read(long long handle, long long timeout, Devmem::READ_PAYLOAD_TYPE& payload,
              RETURN_CODE_TYPE::Value& rc) override;

    /// The same for a store.
    void Write(long long handle, long long timeout, Devmem::WRITE_PAYLOAD_TYPE const& payload,
               RETURN_CODE_TYPE::Value& rc) override;

    /// Sets base address and size (Devmem::IO_PARAMETER_KIND) for the next Open_Connection.
    /// NO_ACTION while the connection is open; INVALID_PARAM for an unknown kind or a value of
    /// another alternative, with nothing changed. An invalid transaction gives NO_ERROR.
    void Configure_Connection_Parameters(long long handle, long long timeout,
                                         IO_PARAMETER_TRANSACTION_TYPE const& parameters,
                                         RETURN_CODE_TYPE::Value& rc) override;

    /// Fills each element with the parameter of its kind; INVALID_PARAM when a kind is unknown,
    /// with the other elements filled. An invalid transaction gives NO_ERROR.
    void Get_Connection_Configuration(long long handle, long long timeout,
                                      IO_PARAMETER_TRANSACTION_TYPE& parameters,
                                      RETURN_CODE_TYPE::Value& rc) override;

    /// NO_ACTION, whatever the handle: this bus has no parameters of its own.
    void Configure_Bus_Parameters(long long handle, long long timeout,
                                  IO_PARAMETER_TRANSACTION_TYPE const& parameters,
                                  RETURN_CODE_TYPE::Value& rc) override;
    void Get_Bus_Configuration(long long handle, long long timeout,
                               IO_PARAMETER_TRANSACTION_TYPE& parameters,
                               RETURN_CODE_TYPE::Value& rc) override;

    /// The state is DEGRADED when the mapping failed. CONNECTION_CLOSED when it is not open.
    void Get_Connection_Status(long long handle, CONNECTION_STATUS_TYPE& status,
                               RETURN_CODE_TYPE::Value& rc) override;

    /// Always 0.
    void Get_Bus_Status(long long handle, unsigned short& status,
                        RETURN_CODE_TYPE::Value& rc) override;

    /// NO_ACTION, or CONNECTION_CLOSED: this bus has no notifications.
    void Register_Notification_Event(long long handle, IO_Callback& callback,
                                     RETURN_CODE_TYPE::Value& rc) override;
    void Unregister_Notification_Event(long long handle, RETURN_CODE_TYPE::Value& rc) override;

private:
    struct Region;
    struct Connection_t;

    bool readRegion(String const& container, Region& region) const;

    ServiceConfiguration configuration_;
    ConnectionTable<Connection_t> connections_;  // changed by the start-up path only
};

}  // namespace FACE::IOSS
