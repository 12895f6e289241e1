#pragma once

#include <memory>

#include "face/Configuration.h"
#include "face/ConnectionTable.h"
#include "face/IoServices.h"
#include "face/SerialSettings.h"
#include "face/SerialWriteControl.h"
#include "face/ServiceConfiguration.h"

namespace FACE::IOSS {

/// Serial ports of Linux, named by the number behind "ttyS" and set up raw through termios.
///
/// A connection's settings are the parameters of the container of its name: "ChannelNum",
/// "SerialMode", "Baudrate", "DataBits", "StopBits", "Parity", "FlowControl". They are read once,
/// when the name is opened for the first time. Every operation first checks the handle's low
/// 32 bits: INVALID_PARAM when there is no such connection.
///
/// Threads: the service has none and takes no lock. One thread may Read a connection while
/// another Writes to it: they share the open port, which neither changes, and a third may call
/// the Write_Control. All other operations belong to the start-up path, which runs them while
/// nobody reads or writes the connection, and opens a name for the first time while nobody uses
/// the service at all.
class MX_SerialPort : public Serial::IO_Service,
                      public Configuration_Injectable::Injectable,
                      public Serial::Write_Control {
public:
    MX_SerialPort();

    /// Closes every connection.
    ~MX_SerialPort() override;

    MX_SerialPort(MX_SerialPort const&) = delete;
    MX_SerialPort& operator=(MX_SerialPort const&) = delete;

    /// NOT_AVAILABLE when there is a configuration already, INVALID_PARAM for null.
    void Set_Reference(String const& interface_name,
                       std::shared_ptr<Configuration> const& reference, long long id,
                       RETURN_CODE_TYPE::Value& rc) override;

    /// Initializes the configuration with `config_name`; INVALID_CONFIG when that fails or there
    /// is none, INVALID_PARAM for an invalid name. NO_ACTION when it was done already.
    void Initialize(String const& config_name, RETURN_CODE_TYPE::Value& rc) override;

    /// Opens the port of that name, once; a second call gives the same handle and touches
    /// nothing, unless it has been closed meanwhile. A setting that the port cannot have is
    /// reported on standard output and shows in Get_Connection_Status, but the port opens.
    ///
    /// INVALID_CONFIG without the container or one of its parameters; INVALID_PARAM for an
    /// invalid name; NO_ACTION when the device does not open (a later call tries again). `handle`
    /// is then -1.
    void Open_Connection(String const& connection_name, long long timeout, long long& handle,
                         RETURN_CODE_TYPE::Value& rc) override;

    /// CONNECTION_CLOSED when it is not open; NO_ACTION when the system reports a failure: the
    /// connection then stays open in name, and a second call ends it.
    void Close_Connection(long long handle, RETURN_CODE_TYPE::Value& rc) override;

    /// Reads once, at most as many bytes as `payload.data` is long, and sets its length to what
    /// came. Waits at most `timeout`, in the driver: tenths of a second, rounded up, 25.5 s at
    /// most; below 0 without limit.
    ///
    /// TIMED_OUT when nothing came, NOT_AVAILABLE when nothing is there and `timeout` is 0,
    /// NO_ACTION for an error of the device, CONNECTION_CLOSED. A line that hung up answers
    /// TIMED_OUT or NO_ACTION at once, whatever `timeout` says.
    void Read(long long handle, long long timeout, Serial::READ_PAYLOAD_TYPE& payload,
              RETURN_CODE_TYPE::Value& rc) override;

    /// Hands all bytes of `payload.data` to the driver, waiting without limit while the line
    /// takes none, unless Abandon_Writes ends the wait. `timeout` does not matter.
    ///
    /// DATA_OVERFLOW when only a part was taken, NO_ACTION when nothing was, CONNECTION_CLOSED.
    void Write(long long handle, long long timeout, Serial::WRITE_PAYLOAD_TYPE const& payload,
               RETURN_CODE_TYPE::Value& rc) override;

    /// NO_ACTION, or CONNECTION_CLOSED: nothing can be set per connection.
    void Configure_Connection_Parameters(long long handle, long long timeout,
                                         IO_PARAMETER_TRANSACTION_TYPE const& parameters,
                                         RETURN_CODE_TYPE::Value& rc) override;

    /// Fills each element with the setting of its kind (Serial::IO_PARAMETER_KIND); INVALID_PARAM
    /// when a kind is unknown, with the other elements filled. An invalid transaction gives
    /// NO_ERROR.
    void Get_Connection_Configuration(long long handle, long long timeout,
                                      IO_PARAMETER_TRANSACTION_TYPE& parameters,
                                      RETURN_CODE_TYPE::Value& rc) override;

    /// Changes settings of an open port, by closing it and opening it anew; of two values of one
    /// kind the last counts. INVALID_PARAM for an unknown kind or a value of another alternative,
    /// with nothing changed; CONNECTION_CLOSED; NO_ACTION for an invalid or empty transaction
    /// and when the port cannot be closed or does not open any more, with the settings taken.
    void Configure_Bus_Parameters(long long handle, long long timeout,
                                  IO_PARAMETER_TRANSACTION_TYPE const& parameters,
                                  RETURN_CODE_TYPE::Value& rc) override;

    /// As Get_Connection_Configuration.
    void Get_Bus_Configuration(long long handle, long long timeout,
                               IO_PARAMETER_TRANSACTION_TYPE& parameters,
                               RETURN_CODE_TYPE::Value& rc) override;

    /// The state is DEGRADED when a setting was refused. CONNECTION_CLOSED when it is not open.
    void Get_Connection_Status(long long handle, CONNECTION_STATUS_TYPE& status,
                               RETURN_CODE_TYPE::Value& rc) override;

    /// Always 0.
    void Get_Bus_Status(long long handle, unsigned short& status,
                        RETURN_CODE_TYPE::Value& rc) override;

    /// NO_ACTION, or CONNECTION_CLOSED: this bus has no notifications.
    void Register_Notification_Event(long long handle, IO_Callback& callback,
                                     RETURN_CODE_TYPE::Value& rc) override;
    void Unregister_Notification_Event(long long handle, RETURN_CODE_TYPE::Value& rc) override;

    void Abandon_Writes(long long handle, RETURN_CODE_TYPE::Value& rc) override;
    void Resume_Writes(long long handle, RETURN_CODE_TYPE::Value& rc) override;

private:
    struct Connection_t;

    bool readSettings(String const& container, SerialSettings& settings) const;

    ServiceConfiguration configuration_;
    ConnectionTable<Connection_t> connections_;  // changed by the start-up path only
};

}  // namespace FACE::IOSS
