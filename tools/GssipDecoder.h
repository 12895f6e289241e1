#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "messages/DeclaredLayouts.h"
#include "messages/KnownMessages.h"

namespace gssipdump {

/// One field of a message, or a row of groups of fields.
struct DecodedField {
    std::string name;
    std::string unit;
    FieldValue value;

    // Of a row of groups:
    bool isRow = false;
    std::uint64_t counted = 0;  ///< groups that the message tells, in place of a value
    std::vector<std::vector<DecodedField>> groups;  ///< of these, what arrived
};

/// A frame by its parts. Nothing in it is taken for granted: what did not arrive has no field.
struct DecodedFrame {
    bool hasHeader = false;  ///< without a header all else is empty
    unsigned id = 0;
    unsigned words = 0;  ///< as the header tells
    unsigned flagWord = 0;
    unsigned virtualUnit = 0;             ///< of a frame around another
    KnownMessage const* known = nullptr;  ///< null for an identifier that the server does not know
    std::string handshake;                ///< "ACK", "NAK", "response", "reject" or empty
    std::vector<std::string> flags;       ///< names of the bits that are set
    std::vector<std::string> defects;     ///< what is wrong with the frame
    std::vector<DecodedField> fields;     ///< as declared, in that order
    std::size_t declaredWords = 0;        ///< of the layout; 0 without one
    std::vector<std::uint16_t> undeclared;  ///< words behind the layout, or all without one
    std::unique_ptr<DecodedFrame> inner;    ///< the frame in a frame of 27552 or 27553
};

/// Decodes a frame of any bytes.
DecodedFrame decode(unsigned char const* bytes, std::size_t count);

/// What the server knows of an identifier; null when nothing.
KnownMessage const* findKnownMessage(unsigned id);

}  // namespace gssipdump
