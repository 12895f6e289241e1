#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "ASPN/DeviceIds.h"
#include "aspn2_msgs/CommandResponse.h"

namespace ASPN2 {

/// Makes the records of the topics `Command` and `Response`, each with the sender's device id,
/// the next number and the FPGA's time of now (tick 0 while there is no FPGA).
///
/// The `make` operations may run on any thread, also at once: each record has a number of its own,
/// each command an identifier of its own. `reset` belongs to the start, before them.
class CmdResponse {
public:
    /// Device id 0, until `reset`.
    CmdResponse() = default;
    explicit CmdResponse(const DeviceIdFactory& ids);

    /// Takes the device id of another factory; the numbering goes on.
    void reset(const DeviceIdFactory& ids);

    /// A command to whoever knows its verb.
    aspn2_msgs::idl::CommandResponse makeCommand(const std::string& text);

    /// The same, with `ticks` of the FPGA as the time of arrival.
    aspn2_msgs::idl::CommandResponse makeCommand(unsigned long long ticks, const std::string& text);

    /// An answer to the sender of `command`, with the identifier of that command.
    aspn2_msgs::idl::CommandResponse makeResponse(const aspn2_msgs::idl::CommandResponse& command,
                                                  const std::string& text);

    /// The same; without it a text in quotes would count as "pass".
    aspn2_msgs::idl::CommandResponse makeResponse(const aspn2_msgs::idl::CommandResponse& command,
                                                  const char* text);

    /// Answers with the verb of `command`, without its arguments, and whether it was done.
    aspn2_msgs::idl::CommandResponse makeResponse(const aspn2_msgs::idl::CommandResponse& command,
                                                  bool pass);

    /// Answers with the verb of `command`, without its arguments, and whether it was taken on.
    aspn2_msgs::idl::CommandResponse makeResponseAck(
        const aspn2_msgs::idl::CommandResponse& command, bool ack);

    /// Gives the record's device id another topic byte.
    static void setTopicId(aspn2_msgs::idl::CommandResponse& record, unsigned char topic);

private:
    // Device id, number, times of now, and the text.
    aspn2_msgs::idl::CommandResponse makeRecord(const std::string& text);

    std::uint32_t deviceId_ = 0;                       // constant after `reset`
    std::atomic<std::uint64_t> sequenceNumber_{0};     // of the next record
    std::atomic<std::uint32_t> commandIdentifier_{0};  // of the next command
};

}  // namespace ASPN2
