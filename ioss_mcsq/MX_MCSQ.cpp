#include "ioss_mcsq/MX_MCSQ.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iostream>
#include <pthread.h>
#include <system_error>
#include <utility>

#include "face/MX_Config_Helpers.h"
#include "ioss_mcsq/mcsQport.h"
#include "platform/DevicePath.h"

namespace FACE::IOSS {

namespace {

constexpr std::chrono::milliseconds pollPeriod{50};  // bounds the delay of a stop
constexpr std::chrono::microseconds pause{100};      // in which those who wait for the mutex get it

// What the two lines on standard error begin with.
constexpr int badIndexNumber = 221;
constexpr int threadFailureNumber = 312;

void tell(int number, std::string const& text) {
    std::cerr << std::to_string(number) + text + "\n" << std::flush;
}

}  // namespace

/// The two open files of a connection. Whoever is at work on them shares them, so that closing the
/// connection meanwhile does not take them away; they close together, for a pipe without a reader
/// would answer a write with a signal.
struct MX_MCSQ::Ends {
    mcsReaderPort reader;
    mcsWriterPort writer;

    bool open(char const* path) {
        reader.set_filename(path);
        writer.set_filename(path);
        if (reader.can_open_file() == 0 || writer.can_open_file() == 0) {
            return false;
        }
        return reader.openPort() >= 0 && writer.openPort() >= 0;
    }
};

/// What may change is guarded by the service's connection mutex.
struct MX_MCSQ::Connection_t {
    Connection_t(std::string connectionName, std::uint16_t portNumber)
        : name(std::move(connectionName)),
          port(portNumber),
          path(platform::DevicePath("mcs" + std::to_string(portNumber))) {}

    bool open();
    bool close();

    std::string const name;
    std::uint16_t const port;
    std::string const path;
    CONNECTION_STATE_TYPE::Value state = CONNECTION_STATE_TYPE::CLOSED;
    bool isOpen = false;
    std::shared_ptr<Ends> ends;  // null unless open
    IO_Callback* callback = nullptr;
};

/// A failure leaves the state at OPENING.
bool MX_MCSQ::Connection_t::open() {
    state = CONNECTION_STATE_TYPE::OPENING;
    auto fresh = std::make_shared<Ends>();
    if (!fresh->open(path.c_str())) {
        return false;
    }
    ends = std::move(fresh);
    state = CONNECTION_STATE_TYPE::OPEN;
    isOpen = true;
    return true;
}

bool MX_MCSQ::Connection_t::close() {
    state = CONNECTION_STATE_TYPE::CLOSED;
    ends.reset();
    callback = nullptr;
    isOpen = false;
    return true;
}

MX_MCSQ::MX_MCSQ() = default;

MX_MCSQ::~MX_MCSQ() {
    stop_ = true;
    std::thread last;
    {
        platform::MutexLock const lock(pollMutex_);
        last = std::move(callbackThread_);
    }
    if (last.joinable()) {
        last.join();
    }
}

/// Gives null and writes `rc` when there is no such connection or it is not open.
MX_MCSQ::Connection_t* MX_MCSQ::getConnection(long long handle, RETURN_CODE_TYPE::Value& rc) const {
    auto const index = static_cast<std::uint32_t>(handle);
    if (index == connections_.size()) {
        tell(badIndexNumber, "connection " + std::to_string(index) + " is out of range");
    }
    return connections_.findOpen(handle, rc);
}

std::shared_ptr<MX_MCSQ::Ends> MX_MCSQ::openEnds(long long handle,
                                                 RETURN_CODE_TYPE::Value& rc) const {
    platform::MutexLock const lock(connectionMutex_);
    Connection_t const* const connection = getConnection(handle, rc);
    return connection != nullptr ? connection->ends : nullptr;
}

void MX_MCSQ::Set_Reference(String const& /*interface_name*/,
                            std::shared_ptr<Configuration> const& reference, long long /*id*/,
                            RETURN_CODE_TYPE::Value& rc) {
    configuration_.Set_Reference(reference, rc);
}

void MX_MCSQ::Initialize(String const& config_name, RETURN_CODE_TYPE::Value& rc) {
    configuration_.Initialize(config_name, rc);
}

bool MX_MCSQ::readPort(String const& container, std::uint16_t& port) const {
    return configuration_.readContainer(container, [&port](Configuration& config, int handle) {
        RETURN_CODE_TYPE::Value rc = RETURN_CODE_TYPE::NO_ERROR;
        MX_Config_Helpers::Get_Unsigned_Parameter(config, handle, "Port", port, rc);
        return rc == RETURN_CODE_TYPE::NO_ERROR;
    });
}

void MX_MCSQ::Open_Connection(String const& connection_name, long long /*timeout*/,
                              long long& handle, RETURN_CODE_TYPE::Value& rc) {
    auto const make = [&](std::string const& name) -> std::unique_ptr<Connection_t> {
        std::uint16_t port = 0;
        if (!readPort(connection_name, port)) {
            return nullptr;
        }
        return std::make_unique<Connection_t>(name, port);
    };
    platform::MutexLock const lock(connectionMutex_);
    connections_.open(connection_name, make, handle, rc);
}

void MX_MCSQ::Close_Connection(long long handle, RETURN_CODE_TYPE::Value& rc) {
    platform::MutexLock const pollLock(pollMutex_);
    platform::MutexLock const lock(connectionMutex_);
    if (Connection_t const* const connection = getConnection(handle, rc)) {
        poll_.removeAll(connection->ends->reader.getFileDescriptor());
        connections_.close(handle, rc);
    }
}

void MX_MCSQ::Read(long long handle, long long /*timeout*/, MCSQ::READ_PAYLOAD_TYPE& payload,
                   RETURN_CODE_TYPE::Value& rc) {
    std::shared_ptr<Ends> const ends = openEnds(handle, rc);
    if (ends == nullptr) {
        return;
    }
    payload.data.set_length(std::min(MAX_READ_BYTES, payload.data.capacity()));
    std::uint32_t const room = std::min(MAX_READ_BYTES, payload.data.length());
    long const count = ends->reader.readFromPort(payload.data.buffer(), static_cast<int>(room));
    if (count < 1) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
        return;
    }
    payload.data.set_length(static_cast<std::uint32_t>(count));
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_MCSQ::Write(long long handle, long long /*timeout*/,
                    MCSQ::WRITE_PAYLOAD_TYPE const& payload, RETURN_CODE_TYPE::Value& rc) {
    std::shared_ptr<Ends> const ends = openEnds(handle, rc);
    if (ends == nullptr) {
        return;
    }
    auto const length = static_cast<int>(payload.data.length());
    long const taken = length < 1 ? 0 : ends->writer.writeToPort(payload.data.buffer(), length);
    rc = taken == length ? RETURN_CODE_TYPE::NO_ERROR : RETURN_CODE_TYPE::NO_ACTION;
}

void MX_MCSQ::noAction(long long handle, RETURN_CODE_TYPE::Value& rc) const {
    platform::MutexLock const lock(connectionMutex_);
    if (getConnection(handle, rc) != nullptr) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
    }
}

void MX_MCSQ::Configure_Connection_Parameters(long long handle, long long /*timeout*/,
                                              IO_PARAMETER_TRANSACTION_TYPE const& /*parameters*/,
                                              RETURN_CODE_TYPE::Value& rc) {
    noAction(handle, rc);
}

void MX_MCSQ::Get_Connection_Configuration(long long handle, long long /*timeout*/,
                                           IO_PARAMETER_TRANSACTION_TYPE& parameters,
                                           RETURN_CODE_TYPE::Value& rc) {
    platform::MutexLock const lock(connectionMutex_);
    Connection_t const* const connection = connections_.find(handle, rc);
    if (connection == nullptr) {
        return;
    }
    rc = RETURN_CODE_TYPE::NO_ERROR;
    for (IO_PARAMETER& parameter : parameters.parameters) {
        if (parameter.kind == MCSQ::IO_PARAMETER_KIND::PORT) {
            parameter.value.ushort_value(connection->port);
        } else {
            rc = RETURN_CODE_TYPE::INVALID_PARAM;
        }
    }
}

void MX_MCSQ::Configure_Bus_Parameters(long long handle, long long /*timeout*/,
                                       IO_PARAMETER_TRANSACTION_TYPE const& /*parameters*/,
                                       RETURN_CODE_TYPE::Value& rc) {
    noAction(handle, rc);
}

void MX_MCSQ::Get_Bus_Configuration(long long handle, long long /*timeout*/,
                                    IO_PARAMETER_TRANSACTION_TYPE& /*parameters*/,
                                    RETURN_CODE_TYPE::Value& rc) {
    noAction(handle, rc);
}

void MX_MCSQ::Get_Connection_Status(long long handle, CONNECTION_STATUS_TYPE& status,
                                    RETURN_CODE_TYPE::Value& rc) {
    platform::MutexLock const lock(connectionMutex_);
    if (getConnection(handle, rc) != nullptr) {
        connections_.getStatus(handle, status, rc);
    }
}

void MX_MCSQ::Get_Bus_Status(long long handle, unsigned short& status,
                             RETURN_CODE_TYPE::Value& rc) {
    status = 1;
    platform::MutexLock const lock(connectionMutex_);
    if (getConnection(handle, rc) != nullptr) {
        status = 0;
        rc = RETURN_CODE_TYPE::NO_ERROR;
    }
}

void MX_MCSQ::Register_Notification_Event(long long handle, IO_Callback& callback,
                                          RETURN_CODE_TYPE::Value& rc) {
    platform::MutexLock const pollLock(pollMutex_);
    int descriptor = -1;
    {
        platform::MutexLock const lock(connectionMutex_);
        Connection_t* const connection = getConnection(handle, rc);
        if (connection == nullptr) {
            return;
        }
        connection->callback = &callback;
        descriptor = connection->ends->reader.getFileDescriptor();
    }
    poll_.add(descriptor);
    if (!callbackThread_.joinable()) {
        stop_ = false;
        try {
            callbackThread_ = std::thread(&MX_MCSQ::callbackThreadFunction, this);
        } catch (std::system_error const&) {
            stop_ = true;
            poll_.removeFirst(descriptor);
            rc = RETURN_CODE_TYPE::NO_ACTION;
            return;
        }
        pthread_setname_np(callbackThread_.native_handle(), "mcsq-poll");
    }
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_MCSQ::Unregister_Notification_Event(long long handle, RETURN_CODE_TYPE::Value& rc) {
    platform::MutexLock const pollLock(pollMutex_);
    platform::MutexLock const lock(connectionMutex_);
    if (Connection_t const* const connection = getConnection(handle, rc)) {
        poll_.removeFirst(connection->ends->reader.getFileDescriptor());
        rc = RETURN_CODE_TYPE::NO_ERROR;
    }
}

void MX_MCSQ::callbackThreadFunction() {
    try {
        while (pollOnce()) {
            std::this_thread::sleep_for(pause);  // goes on after a signal
        }
    } catch (std::exception const& failure) {
        tell(threadFailureNumber, failure.what());
    } catch (...) {
        tell(threadFailureNumber, "unknown exception");
    }
    stop_ = true;
}

/// Waits for data, and hands it on; false when the thread is to end.
bool MX_MCSQ::pollOnce() {
    platform::MutexLock const lock(pollMutex_);
    if (stop_ || poll_.empty()) {
        return false;
    }
    switch (poll_.wait(pollPeriod)) {
        case ReaderPoll::Outcome::FAILED:
            return false;
        case ReaderPoll::Outcome::READY:
            for (int const descriptor : poll_.ready()) {
                notify(descriptor);
            }
            break;
        case ReaderPoll::Outcome::TIMED_OUT:
            break;
    }
    return true;
}

/// Calls back for the connection that reads from this descriptor, if there is one.
void MX_MCSQ::notify(int descriptor) const {
    IO_Callback* callback = nullptr;
    std::uint32_t handle = 0;
    {
        platform::MutexLock const lock(connectionMutex_);
        while (handle < connections_.size()) {
            Connection_t const& connection = *connections_.find(handle);
            if (connection.isOpen && connection.ends->reader.getFileDescriptor() == descriptor) {
                callback = connection.callback;
                break;
            }
            ++handle;
        }
    }
    if (callback != nullptr) {
        callback->Process_Notification_Event(handle, NOTIFICATION_EVENT_TYPE::DATA_READY);
    }
}

}  // namespace FACE::IOSS
