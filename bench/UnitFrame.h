#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// One GSSIP frame as the receiver unit sees it (ICD-GPS-153), written for the bench alone so that
/// it checks the server's own frame code.
///
///     word 0       0x81FF, on the line as FF 81
///     word 1       message id
///     word 2       number of data words, n
///     word 3       flags
///     word 4       makes the sum of words 0 to 4 zero modulo 65536
///     words 5..    n data words
///     word 5 + n   makes the sum of data and itself zero; absent when n is 0
///
/// Words are 16 bits, low byte first.
struct UnitFrame {
    static constexpr std::uint16_t linkReady = 0x8000;
    static constexpr std::uint16_t ackRequest = 0x1000;
    static constexpr std::uint16_t ack = 0x0800;
    static constexpr std::uint16_t nak = 0x0400;
    static constexpr std::uint16_t response = 0x0200;
    static constexpr std::uint16_t reject = 0x0100;

    std::uint16_t id = 0;
    std::uint16_t flags = linkReady;
    std::vector<std::uint16_t> data;

    bool has(std::uint16_t flag) const { return (flags & flag) != 0; }

    /// A frame of the handshake itself: header only, with one of ACK, NAK and response.
    bool isHandshake() const { return data.empty() && has(ack | nak | response); }

    /// The bytes of the frame with good checksums.
    std::vector<std::uint8_t> encode() const;

    static UnitFrame makeAck(std::uint16_t id) { return {id, linkReady | ack, {}}; }
    static UnitFrame makeNak(std::uint16_t id) { return {id, linkReady | nak, {}}; }
    static UnitFrame makeResponse(std::uint16_t id) { return {id, linkReady | response, {}}; }
    static UnitFrame makeReject(std::uint16_t id) {
        return {id, linkReady | response | reject, {}};
    }
};

/// Reads a block of bytes that must be one whole frame. Without a result `defect`, when given,
/// tells what is wrong.
std::optional<UnitFrame> decodeFrame(const std::uint8_t* bytes, std::size_t length,
                                     std::string* defect = nullptr);

/// The bytes as pairs of hexadecimal digits, blanks between them.
std::string hexadecimal(const std::vector<std::uint8_t>& bytes);

/// The bytes of such a text; nothing when it is none.
std::optional<std::vector<std::uint8_t>> fromHexadecimal(const std::string& text);

}  // namespace bench
