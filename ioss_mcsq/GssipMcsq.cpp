#include "ioss_mcsq/GssipMcsq.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include "ASPN/HealthReporter.h"
#include "face/MX_Config.h"
#include "ioss_mcsq/GssipTopicSerializer.h"
#include "platform/StringUtils.h"

namespace {

using FACE::IOSS::MX_MCSQ;
using FACE::IOSS::octet;
using FACE::IOSS::MCSQ::READ_PAYLOAD_TYPE;
using FACE::IOSS::MCSQ::WRITE_PAYLOAD_TYPE;
using Code = FACE::RETURN_CODE_TYPE;

constexpr unsigned short greatestId = 0xFFFF;

std::optional<unsigned short> toMessageId(std::string const& text) {
    std::string const digits = StringUtils::trim(text);
    if (digits.empty()) {
        return std::nullopt;
    }
    unsigned value = 0;
    for (char const digit : digits) {
        if (digit < '0' || digit > '9') {
            return std::nullopt;
        }
        value = value * 10 + static_cast<unsigned>(digit - '0');
        if (value > greatestId) {
            return std::nullopt;
        }
    }
    return static_cast<unsigned short>(value);
}

std::vector<unsigned short> toMessageIds(std::vector<std::string> const& texts) {
    std::vector<unsigned short> ids;
    for (std::string const& text : texts) {
        if (auto const id = toMessageId(text)) {
            ids.push_back(*id);
        }
    }
    return ids;
}

/// A view of the one buffer of all reads. One that owned its bytes would clear them again for each
/// read.
READ_PAYLOAD_TYPE makeReadPayload(std::vector<octet>& scratch) {
    FACE::Sequence<octet>::RETURN_CODE code{};
    return {FACE::Sequence<octet>(scratch.data(), MX_MCSQ::MAX_READ_BYTES, MX_MCSQ::MAX_READ_BYTES,
                                  code)};
}

/// Decodes the record at the front of the bytes and gives its length there; nothing when they are
/// no record that is whole and true to its own count.
std::optional<std::uint32_t> decodeFront(octet* front, std::uint32_t left,
                                         GssipMcsq::Record& record) {
    if (!GssipTopicSerializer::Deserialize(front, static_cast<int>(left), &record)) {
        return std::nullopt;
    }
    std::size_t const size = record.data().size();
    if (record.num_bytes() < 0 || static_cast<std::size_t>(record.num_bytes()) != size ||
        GssipMcsq::FIXED_BYTES + size > left) {
        return std::nullopt;
    }
    return GssipMcsq::FIXED_BYTES + static_cast<std::uint32_t>(size);
}

}  // namespace

GssipMcsq::GssipMcsq(std::string name)
    : GssipMcsq(std::move(name), std::vector<unsigned short>()) {}

GssipMcsq::GssipMcsq(std::string name, std::vector<std::string> const& ids)
    : GssipMcsq(std::move(name), toMessageIds(ids)) {}

GssipMcsq::GssipMcsq(std::string name, std::vector<unsigned short> ids)
    : name_(std::move(name)), filter_(std::move(ids)), readPayload_(makeReadPayload(scratch_)) {}

GssipMcsq::~GssipMcsq() = default;

void GssipMcsq::Connect_WriteOnly(FACE::String const& config_file, FACE::String const& connection,
                                  long long& handle, Code::Value& rc) {
    rc = Code::NO_ACTION;
    service_.Set_Reference("unused_name", std::make_shared<FACE::MX_Config>(), 0, rc);
    if (rc == Code::INVALID_PARAM) {
        return;
    }
    // From the second connection on the service has its configuration already.
    service_.Initialize(config_file, rc);
    if (rc == Code::NO_ERROR || rc == Code::NO_ACTION) {
        service_.Open_Connection(connection, 0, handle, rc);
    }
}

void GssipMcsq::Connect_ReadOnly(FACE::String const& config_file, FACE::String const& connection,
                                 Callback const& callback, Code::Value& rc) {
    long long handle = -1;
    Connect_WriteOnly(config_file, connection, handle, rc);
    if (rc == Code::NO_ERROR) {
        storeCallback(handle, callback);
        service_.Register_Notification_Event(handle, *this, rc);
    }
}

void GssipMcsq::Connect_IOWrite(FACE::String const& config_file, FACE::String const& connection,
                                long long& handle, Callback const& callback, Code::Value& rc) {
    Connect_WriteOnly(config_file, connection, handle, rc);
    if (rc == Code::NO_ERROR) {
        storeCallback(handle, callback);
    }
}

void GssipMcsq::Write(long long& handle, Record const& record, Code::Value rc) {
    if (!IsInitialized(handle)) {
        return;
    }
    writeToQueue(handle, record, rc);
    callCallback(handle, record);
}

bool GssipMcsq::IsInitialized(long long handle) {
    unsigned short status = 1;
    Code::Value rc = Code::NO_ACTION;
    service_.Get_Bus_Status(handle, status, rc);
    return status == 0;
}

bool GssipMcsq::isFiltered(Record const& record) const {
    unsigned short id = 0;
    constexpr std::size_t idOffset = 2;  // the second word of a GSSIP header
    if (record.data().size() < idOffset + sizeof id) {
        return false;
    }
    std::memcpy(&id, record.data().data() + idOffset, sizeof id);
    return std::find(filter_.begin(), filter_.end(), id) != filter_.end();
}

void GssipMcsq::writeToQueue(long long handle, Record const& record, Code::Value rc) {
    if (isFiltered(record) ||
        GssipTopicSerializer::GetSerializedSize(&record) > MX_MCSQ::MAX_READ_BYTES) {
        return;
    }
    std::vector<unsigned char> bytes;
    if (!GssipTopicSerializer::Serialize(record, bytes)) {
        return;
    }
    WRITE_PAYLOAD_TYPE const payload{
        FACE::Sequence<octet>(bytes.data(), static_cast<std::uint32_t>(bytes.size()))};
    service_.Write(handle, -1, payload, rc);
}

void GssipMcsq::storeCallback(long long handle, Callback const& callback) {
    platform::MutexLock const lock(callbacksMutex_);
    callbacks_[handle] = callback;
}

void GssipMcsq::callCallback(long long handle, Record const& record) {
    Callback callback;
    {
        platform::MutexLock const lock(callbacksMutex_);
        auto const found = callbacks_.find(handle);
        if (found == callbacks_.end()) {
            return;
        }
        callback = found->second;
    }
    callback(record);
}

void GssipMcsq::Process_Notification_Event(long long handle,
                                           FACE::IOSS::MCSQ::NOTIFICATION_EVENT_TYPE::Value event) {
    if (event != FACE::IOSS::MCSQ::NOTIFICATION_EVENT_TYPE::DATA_READY) {
        return;
    }
    platform::MutexLock const lock(readMutex_);
    readPayload_.data.set_length(MX_MCSQ::MAX_READ_BYTES);
    Code::Value rc = Code::NO_ACTION;
    service_.Read(handle, 0, readPayload_, rc);
    if (rc == Code::NO_ERROR) {
        processMessage(handle);
    }
}

/// Walks over the records of one read. Nothing marks where a record begins, so that behind bytes
/// that are none there is no place to go on.
void GssipMcsq::processMessage(long long handle) {
    octet* front = readPayload_.data.buffer();
    std::uint32_t left = readPayload_.data.length();
    try {
        while (left != 0) {
            Record record;
            std::optional<std::uint32_t> const step = decodeFront(front, left, record);
            if (!step) {
                report("A memory exception occurred on deserialize. Max Length: " +
                       std::to_string(MX_MCSQ::MAX_READ_BYTES) +
                       " MCSQ remainder: " + std::to_string(left));
                return;
            }
            front += *step;
            left -= *step;
            callCallback(handle, record);
        }
    } catch (std::exception const& failure) {
        reportException(failure.what());
    } catch (...) {
        reportException("unknown exception");
    }
}

void GssipMcsq::reportException(char const* what) const noexcept {
    try {
        report(std::string("A memory exception occurred ") + what);
    } catch (...) {
        // Piece by piece: there may be no memory for the text. What escaped here would end the
        // thread that reads all queues.
        std::cout << name_ << ": Process_Notification_Event(): A memory exception occurred " << what
                  << std::endl;
    }
}

void GssipMcsq::report(std::string const& what) const {
    std::string const text = name_ + ": Process_Notification_Event(): " + what;
    HealthReporter::Instance().SendEvent(__FILE__, __LINE__, EventTypes::FAILURE, text);
    std::cout << text + "\n" << std::flush;
}
