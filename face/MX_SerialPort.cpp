#include "face/MX_SerialPort.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <iostream>
#include <linux/serial.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "face/MX_Config_Helpers.h"
#include "platform/DevicePath.h"

namespace FACE::IOSS {

namespace {

// How long a write waits for the line before it looks whether it has been abandoned.
constexpr int writeSliceMs = 50;

/// Closes and forgets a descriptor. Linux frees it even when close reports an error, so it is
/// not to be closed a second time. One that is -1 is closed already.
bool closeDescriptor(int& descriptor) {
    int const open = std::exchange(descriptor, -1);
    return open == -1 || ::close(open) == 0;
}

/// Has the driver hand on what it received without collecting. Not every driver knows this.
void requestLowLatency(int descriptor) {
    serial_struct driver{};
    if (::ioctl(descriptor, TIOCGSERIAL, &driver) == 0) {
        driver.flags |= ASYNC_LOW_LATENCY;
        ::ioctl(descriptor, TIOCSSERIAL, &driver);
    }
}

}  // namespace

/// One port. Its settings, state and descriptors are changed by the start-up path only.
struct MX_SerialPort::Connection_t {
    Connection_t(std::string connectionName, SerialSettings const& initialSettings)
        : name(std::move(connectionName)), settings(initialSettings) {}
    ~Connection_t() { close(); }
    Connection_t(Connection_t const&) = delete;
    Connection_t& operator=(Connection_t const&) = delete;

    bool open();
    bool close();
    bool openDescriptors(std::string const& path);
    void setReadTimeout(long long timeout);
    long write(octet const* bytes, std::size_t length);

    std::string const name;
    SerialSettings settings;
    CONNECTION_STATE_TYPE::Value state = CONNECTION_STATE_TYPE::CLOSED;
    long long readTimeout = 0;  // of the driver; changed by the reading thread
    int descriptor = -1;        // blocking, for reads and settings
    // The same device opened a second time, not blocking: a blocking write to a line that takes
    // no bytes could not be called back, and a shared descriptor cannot block one way only.
    int writeDescriptor = -1;
    bool isOpen = false;
    std::atomic<bool> abandonWrites{false};
    bool writeAbandoned = false;  // by the last write; changed by the writing thread
};

bool MX_SerialPort::Connection_t::openDescriptors(std::string const& path) {
    descriptor = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor == -1) {
        return false;
    }
    // Not blocking was for the open, which would wait for a carrier.
    ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);

    writeDescriptor = ::open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (writeDescriptor == -1) {
        closeDescriptor(descriptor);
        return false;
    }
    return true;
}

bool MX_SerialPort::Connection_t::open() {
    state = CONNECTION_STATE_TYPE::OPENING;
    std::string const path = platform::DevicePath("ttyS" + std::to_string(settings.channel));
    if (!openDescriptors(path)) {
        state = CONNECTION_STATE_TYPE::CLOSED;
        return false;
    }
    requestLowLatency(descriptor);

    // What the driver cannot do it does not: neither call decides about the port.
    termios terminal{};
    ::tcgetattr(descriptor, &terminal);
    ::cfmakeraw(&terminal);
    readTimeout = 0;
    ApplyReadTimeout(readTimeout, terminal);
    std::vector<std::string> const refused = ApplySerialSettings(settings, terminal);
    ::tcflush(descriptor, TCIFLUSH);
    ::tcsetattr(descriptor, TCSANOW, &terminal);

    for (std::string const& complaint : refused) {
        std::cout << "MX_SerialPort error opening " << path << ": " << complaint << std::endl;
    }
    state = refused.empty() ? CONNECTION_STATE_TYPE::OPEN : CONNECTION_STATE_TYPE::DEGRADED;
    isOpen = true;
    return true;
}

bool MX_SerialPort::Connection_t::close() {
    if (!isOpen) {
        return true;
    }
    if (std::exchange(writeAbandoned, false)) {
        // The line is stalled: closing would wait for the driver's bytes to go out, up to 30 s.
        ::tcflush(descriptor, TCOFLUSH);
    }
    bool const writeClosed = closeDescriptor(writeDescriptor);
    if (!closeDescriptor(descriptor) || !writeClosed) {
        return false;
    }
    state = CONNECTION_STATE_TYPE::CLOSED;
    isOpen = false;
    return true;
}

void MX_SerialPort::Connection_t::setReadTimeout(long long timeout) {
    timeout = std::max(timeout, -1LL);
    if (timeout == readTimeout) {
        return;
    }
    readTimeout = timeout;
    termios terminal{};
    ::tcgetattr(descriptor, &terminal);
    ApplyReadTimeout(timeout, terminal);
    ::tcsetattr(descriptor, TCSANOW, &terminal);
}

/// What a blocking write would do, but for its end when writes are abandoned: returns the number
/// of bytes taken, -1 when none was and there are some.
long MX_SerialPort::Connection_t::write(octet const* bytes, std::size_t length) {
    std::size_t taken = 0;
    writeAbandoned = false;
    for (;;) {
        ssize_t const count = ::write(writeDescriptor, bytes + taken, length - taken);
        if (count >= 0) {
            taken += static_cast<std::size_t>(count);
            if (taken == length) {
                return static_cast<long>(taken);
            }
        } else if (errno != EAGAIN && errno != EINTR) {
            break;
        }
        if (abandonWrites) {
            writeAbandoned = true;
            break;
        }
        pollfd line{writeDescriptor, POLLOUT, 0};
        ::poll(&line, 1, writeSliceMs);  // whatever it tells, the next write tells it better
    }
    return taken > 0 ? static_cast<long>(taken) : -1;
}

MX_SerialPort::MX_SerialPort() = default;
MX_SerialPort::~MX_SerialPort() = default;

void MX_SerialPort::Set_Reference(String const& /*interface_name*/,
                                  std::shared_ptr<Configuration> const& reference, long long /*id*/,
                                  RETURN_CODE_TYPE::Value& rc) {
    configuration_.Set_Reference(reference, rc);
}

void MX_SerialPort::Initialize(String const& config_name, RETURN_CODE_TYPE::Value& rc) {
    configuration_.Initialize(config_name, rc);
}

bool MX_SerialPort::readSettings(String const& container, SerialSettings& settings) const {
    return configuration_.readContainer(container, [&](Configuration& config, int handle) {
        using namespace MX_Config_Helpers;
        RETURN_CODE_TYPE::Value rc = RETURN_CODE_TYPE::NO_ERROR;
        Get_Unsigned_Parameter(config, handle, "ChannelNum", settings.channel, rc);
        Get_Signed_Parameter(config, handle, "SerialMode", settings.serialMode, rc);
        Get_Signed_Parameter(config, handle, "Baudrate", settings.baudRate, rc);
        Get_Signed_Parameter(config, handle, "DataBits", settings.dataBits, rc);
        Get_Signed_Parameter(config, handle, "StopBits", settings.stopBits, rc);
        Get_Unsigned_Parameter(config, handle, "Parity", settings.parity, rc);
        Get_Unsigned_Parameter(config, handle, "FlowControl", settings.flowControl, rc);
        return rc == RETURN_CODE_TYPE::NO_ERROR;
    });
}

void MX_SerialPort::Open_Connection(String const& connection_name, long long /*timeout*/,
                                    long long& handle, RETURN_CODE_TYPE::Value& rc) {
    auto const make = [&](std::string const& name) -> std::unique_ptr<Connection_t> {
        SerialSettings settings;
        if (!readSettings(connection_name, settings)) {
            return nullptr;
        }
        return std::make_unique<Connection_t>(name, settings);
    };
    connections_.open(connection_name, make, handle, rc);
}

void MX_SerialPort::Close_Connection(long long handle, RETURN_CODE_TYPE::Value& rc) {
    connections_.close(handle, rc);
}

void MX_SerialPort::Read(long long handle, long long timeout, Serial::READ_PAYLOAD_TYPE& payload,
                         RETURN_CODE_TYPE::Value& rc) {
    Connection_t* const connection = connections_.findOpen(handle, rc);
    if (connection == nullptr) {
        return;
    }
    connection->setReadTimeout(timeout);
    ssize_t const count =
        ::read(connection->descriptor, payload.data.buffer(), payload.data.length());
    if (count < 0) {
        rc = errno == EAGAIN ? RETURN_CODE_TYPE::NOT_AVAILABLE : RETURN_CODE_TYPE::NO_ACTION;
        return;
    }
    if (count == 0) {
        rc = timeout != 0 ? RETURN_CODE_TYPE::TIMED_OUT : RETURN_CODE_TYPE::NOT_AVAILABLE;
        return;
    }
    payload.data.set_length(static_cast<std::uint32_t>(count));
    payload.timestamp = 0;
    payload.channel = connection->settings.channel;
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_SerialPort::Write(long long handle, long long /*timeout*/,
                          Serial::WRITE_PAYLOAD_TYPE const& payload, RETURN_CODE_TYPE::Value& rc) {
    Connection_t* const connection = connections_.findOpen(handle, rc);
    if (connection == nullptr) {
        return;
    }
    long const taken = connection->write(payload.data.buffer(), payload.data.length());
    if (taken == -1) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
    } else if (static_cast<std::uint32_t>(taken) != payload.data.length()) {
        rc = RETURN_CODE_TYPE::DATA_OVERFLOW;
    } else {
        rc = RETURN_CODE_TYPE::NO_ERROR;
    }
}

void MX_SerialPort::Configure_Connection_Parameters(
    long long handle, long long /*timeout*/, IO_PARAMETER_TRANSACTION_TYPE const& /*parameters*/,
    RETURN_CODE_TYPE::Value& rc) {
    if (connections_.findOpen(handle, rc) != nullptr) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
    }
}

void MX_SerialPort::Get_Connection_Configuration(long long handle, long long /*timeout*/,
                                                 IO_PARAMETER_TRANSACTION_TYPE& parameters,
                                                 RETURN_CODE_TYPE::Value& rc) {
    Connection_t const* const connection = connections_.find(handle, rc);
    if (connection == nullptr) {
        return;
    }
    rc = RETURN_CODE_TYPE::NO_ERROR;
    for (IO_PARAMETER& parameter : parameters.parameters) {
        if (!GetSerialParameter(connection->settings, parameter)) {
            rc = RETURN_CODE_TYPE::INVALID_PARAM;
        }
    }
}

void MX_SerialPort::Configure_Bus_Parameters(long long handle, long long /*timeout*/,
                                             IO_PARAMETER_TRANSACTION_TYPE const& parameters,
                                             RETURN_CODE_TYPE::Value& rc) {
    Connection_t* const connection = connections_.findOpen(handle, rc);
    if (connection == nullptr) {
        return;
    }
    if (parameters.parameters.length() == 0) {  // an invalid one has no elements either
        rc = RETURN_CODE_TYPE::NO_ACTION;
        return;
    }
    SerialSettings changed = connection->settings;
    for (IO_PARAMETER const& parameter : parameters.parameters) {
        if (!SetSerialParameter(parameter, changed)) {
            rc = RETURN_CODE_TYPE::INVALID_PARAM;
            return;
        }
    }
    connection->settings = changed;
    bool const ok = connection->close() && connection->open();
    rc = ok ? RETURN_CODE_TYPE::NO_ERROR : RETURN_CODE_TYPE::NO_ACTION;
}

void MX_SerialPort::Get_Bus_Configuration(long long handle, long long timeout,
                                          IO_PARAMETER_TRANSACTION_TYPE& parameters,
                                          RETURN_CODE_TYPE::Value& rc) {
    Get_Connection_Configuration(handle, timeout, parameters, rc);
}

void MX_SerialPort::Get_Connection_Status(long long handle, CONNECTION_STATUS_TYPE& status,
                                          RETURN_CODE_TYPE::Value& rc) {
    connections_.getStatus(handle, status, rc);
}

void MX_SerialPort::Get_Bus_Status(long long handle, unsigned short& status,
                                   RETURN_CODE_TYPE::Value& rc) {
    if (connections_.find(handle, rc) != nullptr) {
        status = 0;
        rc = RETURN_CODE_TYPE::NO_ERROR;
    }
}

void MX_SerialPort::Register_Notification_Event(long long handle, IO_Callback& /*callback*/,
                                                RETURN_CODE_TYPE::Value& rc) {
    if (connections_.findOpen(handle, rc) != nullptr) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
    }
}

void MX_SerialPort::Unregister_Notification_Event(long long handle, RETURN_CODE_TYPE::Value& rc) {
    if (connections_.find(handle, rc) != nullptr) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
    }
}

void MX_SerialPort::Abandon_Writes(long long handle, RETURN_CODE_TYPE::Value& rc) {
    if (Connection_t* const connection = connections_.find(handle, rc)) {
        connection->abandonWrites = true;
        rc = RETURN_CODE_TYPE::NO_ERROR;
    }
}

void MX_SerialPort::Resume_Writes(long long handle, RETURN_CODE_TYPE::Value& rc) {
    if (Connection_t* const connection = connections_.find(handle, rc)) {
        connection->abandonWrites = false;
        rc = RETURN_CODE_TYPE::NO_ERROR;
    }
}

}  // namespace FACE::IOSS
