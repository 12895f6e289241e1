#pragma once

#include <cstddef>
#include <ostream>
#include <vector>

#include "GpsSerialIo/GssipFrame.h"
#include "GpsSerialIo/GssipParser.h"

/// What the tests of the stream parser share: frames as bytes, and a handler that keeps a log.

using Bytes = std::vector<unsigned char>;

inline Bytes& operator+=(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

inline Bytes operator+(Bytes bytes, const Bytes& more) {
    return bytes += more;
}

/// A good header that announces `wdcnt` data words.
inline Bytes headerBytes(std::uint16_t msgId, std::uint16_t wdcnt) {
    std::uint16_t words[GSSIP_HEADER_WORDS];
    MakeHeader(words, msgId, wdcnt);
    Bytes bytes;
    for (const unsigned word : words) {
        bytes.push_back(static_cast<unsigned char>(word & 0xFF));
        bytes.push_back(static_cast<unsigned char>(word >> 8));
    }
    return bytes;
}

/// A good frame around `data`, an even number of bytes.
inline Bytes frameBytes(std::uint16_t msgId, const Bytes& data) {
    Bytes bytes = headerBytes(msgId, static_cast<std::uint16_t>(data.size() / 2)) + data;
    if (!data.empty()) {
        const auto checksum = static_cast<unsigned>(-SumOfWords(data.data(), data.size() / 2));
        bytes.push_back(static_cast<unsigned char>(checksum & 0xFF));
        bytes.push_back(static_cast<unsigned char>((checksum >> 8) & 0xFF));
    }
    return bytes;
}

/// One report of a parser: a frame, or with no bytes a checksum error.
struct ParserEvent {
    std::size_t call = 0;  ///< number of the LoadBytes call inside which it came
    unsigned int context = 0;
    Bytes frame;

    bool operator==(const ParserEvent& other) const {
        return call == other.call && context == other.context && frame == other.frame;
    }
};

inline std::ostream& operator<<(std::ostream& out, const ParserEvent& event) {
    out << "{call " << event.call << ", context " << event.context << ", ";
    if (event.frame.empty()) {
        return out << "checksum error}";
    }
    return out << event.frame.size() << " bytes}";
}

/// Thrown by an EventLog that was told to.
struct HandlerFailure {};

/// Logs what it hears, scribbles over the frame as a handler may, and throws from every
/// `throwEvery`-th report when that is not 0.
class EventLog : public IHandleGpsipMessages {
public:
    void OnGpsMessageReceived(unsigned char* frame, unsigned int length,
                              unsigned int context) override {
        add({call, context, Bytes(frame, frame + length)});
        for (unsigned int i = 0; i < length; ++i) {
            frame[i] = 0xEE;
        }
        throwSometimes();
    }

    void OnParserChecksumError(unsigned int context) override {
        add({call, context, {}});
        throwSometimes();
    }

    std::size_t call = 0;
    std::size_t throwEvery = 0;
    std::vector<ParserEvent> events;

private:
    void add(ParserEvent event) { events.push_back(std::move(event)); }

    void throwSometimes() const {
        if (throwEvery != 0 && events.size() % throwEvery == 0) {
            throw HandlerFailure();
        }
    }
};

/// Loads one piece; the log's call number counts it. Returns false when the handler threw.
template <class Parser>
bool loadPiece(Parser& parser, EventLog& log, const unsigned char* bytes, std::size_t count) {
    ++log.call;
    try {
        parser.LoadBytes(bytes, static_cast<unsigned short>(count));
    } catch (const HandlerFailure&) {
        return false;
    }
    return true;
}
