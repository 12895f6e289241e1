#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "aspn2_msgs/GSSIP.h"
#include "face/IoServices.h"
#include "face/ReturnCode.h"
#include "face/String.h"
#include "ioss_mcsq/MX_MCSQ.h"
#include "platform/Mutex.h"

/// GSSIP records between the processes of the computer, over queue devices: what is written to a
/// queue arrives, still encoded (GssipTopicSerializer), on its reader's side.
///
/// Connecting belongs to the start-up path. Any thread may write. Callbacks run on the thread of
/// the queue service for what arrives, one at a time, and on the writing thread for the local echo
/// of Connect_IOWrite: two of them may run at once. They must not connect, nor destroy this object.
class GssipMcsq : public FACE::IOSS::MCSQ::IO_Callback {
public:
    using Record = aspn2_msgs::idl::GSSIP;
    using Callback = std::function<void(Record const&)>;
    using Code = FACE::RETURN_CODE_TYPE;

    /// Encoded bytes of a record beside its data; the least that a record takes.
    static constexpr std::uint32_t FIXED_BYTES = 56;

    /// `name` stands in messages. The filter: records with these message ids never enter a queue.
    /// As texts, only numbers up to 65535 in plain digits count, blanks around them allowed.
    explicit GssipMcsq(std::string name);
    GssipMcsq(std::string name, std::vector<unsigned short> ids);
    GssipMcsq(std::string name, std::vector<std::string> const& ids);

    /// Ends the notifications, then closes the connections.
    ~GssipMcsq() override;

    GssipMcsq(GssipMcsq const&) = delete;
    GssipMcsq& operator=(GssipMcsq const&) = delete;

    /// Opens the queue of that name, as `config_file` tells; the file of the first call serves all
    /// later ones. No callback: nothing is received, and writing has no echo.
    ///
    /// `rc` is INVALID_CONFIG without the file, the container or its parameter; NO_ACTION when the
    /// device does not open. `handle` is then not to be used.
    void Connect_WriteOnly(FACE::String const& config_file, FACE::String const& connection,
                           long long& handle, Code::Value& rc);

    /// The same, and each record that arrives there goes to `callback`.
    void Connect_ReadOnly(FACE::String const& config_file, FACE::String const& connection,
                          Callback const& callback, Code::Value& rc);

    /// The same for writing: `callback` gets each record that is written here, and nothing that
    /// arrives.
    void Connect_IOWrite(FACE::String const& config_file, FACE::String const& connection,
                         long long& handle, Callback const& callback, Code::Value& rc);

    /// Puts the record into the queue, unless the filter has its id, and then calls the callback
    /// of Connect_IOWrite, whether or not the queue took it. Never waits for the queue: a record
    /// for which there is no room, or of more than 131072 bytes encoded, is lost without a word.
    /// Does nothing at all when the handle is not connected.
    ///
    /// `rc` tells the caller nothing. What the callback raises goes to the caller, for an empty one
    /// std::bad_function_call; std::bad_alloc without memory for the encoded record.
    void Write(long long& handle, Record const& record, Code::Value rc);

    /// True when the handle is connected.
    bool IsInitialized(long long handle);

    /// For the queue service: takes one read's records and calls back for each, in order. Bytes
    /// that are no record, and what a callback raises, are reported once, on standard output and
    /// in the event log, and the rest of that read is dropped.
    void Process_Notification_Event(
        long long handle, FACE::IOSS::MCSQ::NOTIFICATION_EVENT_TYPE::Value event) override;

private:
    void writeToQueue(long long handle, Record const& record, Code::Value rc);
    void callCallback(long long handle, Record const& record) EXCLUDES(callbacksMutex_);
    void storeCallback(long long handle, Callback const& callback) EXCLUDES(callbacksMutex_);
    bool isFiltered(Record const& record) const;
    void processMessage(long long handle) REQUIRES(readMutex_);
    void report(std::string const& what) const;
    void reportException(char const* what) const noexcept;

    std::string const name_;
    std::vector<unsigned short> const filter_;

    platform::Mutex readMutex_;  // one notification after the other; held during callbacks
    std::vector<FACE::IOSS::octet> scratch_ GUARDED_BY(readMutex_) =
        std::vector<FACE::IOSS::octet>(FACE::IOSS::MX_MCSQ::MAX_READ_BYTES);
    FACE::IOSS::MCSQ::IO_Service::READ_PAYLOAD_TYPE readPayload_ GUARDED_BY(readMutex_);

    platform::Mutex callbacksMutex_;  // a leaf: callbacks are called outside of it
    std::map<long long, Callback> callbacks_ GUARDED_BY(callbacksMutex_);

    FACE::IOSS::MX_MCSQ service_;  // last: its thread, which uses the rest, ends first
};
