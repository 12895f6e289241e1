#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <type_traits>

#include "GpsSerialIo/GssipMessage.h"
#include "aspn2_msgs/GSSIP.h"

class ZephonServer;

/// What the server does with GSSIP records of the queues, as data, and what that needs which is
/// neither lock nor I/O. All functions are pure; any thread may call.

/// One message of a source.
struct GssipRoute {
    using Handler = void (ZephonServer::*)(aspn2_msgs::idl::GSSIP const&);

    std::uint16_t id;
    Handler handler;  ///< null: none
    bool copied;      ///< goes out to all virtual units besides, after the handler
};

/// One sender whose records the server routes.
struct GssipSource {
    /// When a record is told on the console, with debug on.
    enum class Told {
        OnArrival,       ///< before anything else, also when its message has no route
        AfterTheHandler  ///< after handler and copy; nothing is told without a route
    };

    unsigned char server;  ///< in the device id of its records
    char const* name;      ///< as debug texts call it
    Told told;
    GssipRoute const* routes;
    std::size_t count;

    /// The route of a message; null when its records are dropped.
    GssipRoute const* find(std::uint16_t id) const;
};

/// The source with this server id; null when its records are dropped.
GssipSource const* findGssipSource(unsigned char server);

/// Whether a message from the data-transfer queue goes out on the data-transfer link.
bool isDataTransferId(std::uint16_t id);

/// Bytes of the frame in a record: `num_bytes`, but no more than there are. 0 for a record that
/// nobody handles: one without a whole frame header, or longer than a frame can be.
unsigned short gssipFrameLength(aspn2_msgs::idl::GSSIP const& record);

/// The message id of a record whose frame length is not 0.
std::uint16_t gssipMessageId(aspn2_msgs::idl::GSSIP const& record);

/// The frame of a record as a message of this class, unchanged; null when the class refuses it.
template <typename Message>
std::shared_ptr<Message> makeMessageOf(aspn2_msgs::idl::GSSIP const& record) {
    auto message = std::make_shared<Message>();
    if (!message->OkSetContent(record.data().data(), gssipFrameLength(record))) {
        return nullptr;
    }
    return message;
}

/// The payload of a record's frame; nothing when the class refuses the frame.
template <typename Message>
auto payloadOf(aspn2_msgs::idl::GSSIP const& record) {
    Message message;
    using Payload = std::decay_t<decltype(message.payload())>;
    return message.OkSetContent(record.data().data(), gssipFrameLength(record))
               ? std::optional<Payload>(message.payload())
               : std::nullopt;
}

/// The frame of a record as a message for a link, unchanged; null when it is none that
/// Generic_MSID_Msg takes.
std::shared_ptr<Generic_MSID_Msg> makeGssipCopy(aspn2_msgs::idl::GSSIP const& record);

/// Gives a frame the flag word of all copies, 0x9000, and mends the header checksum. A frame
/// that has this flag word stays as it is, byte for byte.
void setCopyFlagWord(GssipMessage& message);
