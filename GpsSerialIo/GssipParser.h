#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "GpsSerialIo/SummedByteQueue.h"

/// Receiver of what a parser finds. Called on the thread that loads the bytes, inside that
/// call; it may throw, and it may call the parser.
class IHandleGpsipMessages {
public:
    virtual ~IHandleGpsipMessages() = default;

    /// A whole frame with good checksums, `length` bytes from FF 81 to the last checksum.
    /// `frame` is reused: it belongs to the handler until it returns or calls the parser.
    virtual void OnGpsMessageReceived(unsigned char* frame, unsigned int length,
                                      unsigned int context) = 0;

    /// A bad header or data checksum.
    virtual void OnParserChecksumError(unsigned int context) = 0;
};

/// Finds the GSSIP frames (ICD-GPS-153) in the byte stream of a line.
///
/// A frame begins with FF 81 and a header whose checksum is good; its word count tells where
/// it ends. Whatever is no frame loses one byte at its front and is looked at anew, so a good
/// frame inside a false start or inside a damaged frame is found. The header is judged at its
/// tenth byte and the data at its last, inside the LoadBytes call that brings it. The time is
/// linear in the bytes loaded, whatever they are.
///
/// A false start with a good header holds its bytes until as many have come as its word count
/// tells, 131082 at most; there is no time-out.
///
/// Not synchronised: one thread at a time.
class GssipParser {
public:
    GssipParser();
    GssipParser(const GssipParser&) = delete;
    GssipParser& operator=(const GssipParser&) = delete;

    /// The handler is not owned and outlives its use here; a null one is ignored and leaves
    /// the earlier. `context` is given back on every call.
    void ProcessMessagesWithThis(IHandleGpsipMessages* handler, unsigned int context);

    /// With debug on every frame with a bad data checksum is dumped on standard error.
    void doDebug(int on) { debug_ = on; }

    /// Takes `count` bytes, also none, and reports what is then complete, in stream order.
    /// What the handler throws comes through; the frame or the byte of which it was told is
    /// consumed by then, all bytes are kept, and the next call goes on behind it.
    void LoadBytes(const unsigned char* bytes, unsigned short count);

    /// Bytes that were loaded and are not consumed. While a handler is called, what it is told of
    /// has just been consumed: a frame as a whole, of what has a bad checksum the FF 81.
    std::size_t pending() const { return bytes_.size(); }

    /// Forgets all bytes. Handler, context and debug stay.
    void reset();

private:
    void parse();
    void deliver(std::size_t length);
    void reportBadHeader();
    void reportBadData(std::size_t length, unsigned int sum);
    std::string dumpOfFront(std::size_t length, unsigned int sum) const;

    SummedByteQueue bytes_;  ///< received and not consumed; the frame in sight starts in front
    IHandleGpsipMessages* handler_ = nullptr;
    unsigned int context_ = 0;
    std::unique_ptr<unsigned char[]> frame_;  ///< the largest frame that a word count describes
    int debug_ = 0;
};
