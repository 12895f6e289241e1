#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "GpsSerialIo/GssipFrame.h"

/// Sink of frames on their way to a line.
class IWriteByteStreams {
public:
    virtual ~IWriteByteStreams() = default;

    /// Takes `length` bytes, which are valid during the call only. Returns a byte count.
    virtual unsigned int WriteBytes(const void* bytes, unsigned int length) = 0;
};

/// Base of every message object. The derived class owns the frame, one contiguous buffer of
/// header, data and room for the data checksum word directly after the data, and points
/// `header` and `data` into it; hence no copying. Not synchronised: an object belongs to one
/// thread at a time and is handed on through a queue.
class GssipMessage {
public:
    GssipMessage() = default;
    GssipMessage(const GssipMessage&) = delete;
    GssipMessage& operator=(const GssipMessage&) = delete;
    virtual ~GssipMessage() = default;

    /// Copies a received frame over the buffer, never more bytes than a frame of `wordCount`
    /// data words has. Returns false and changes nothing when the block's length does not fit
    /// `wordCount`; a header-only block of 10 bytes never fits. The content is not verified.
    virtual bool OkSetContent(const unsigned char* bytes, unsigned short length);

    /// Hook that WriteMessage calls before it writes.
    virtual void debugPrintMessage() {}

    /// Data checksum as it ought to be; 0 without data.
    std::uint16_t checksumOfContents() const;

    /// Covers the stored checksum too, so that a valid header gives 0.
    std::uint16_t checksumOfHeader() const;

    /// Header checksum as it ought to be.
    std::uint16_t calculateHeaderChecksum() const;

    void setHeaderChecksum();

    /// Stores both checksums and marks them valid. Does nothing when the header's word count
    /// differs from `wordCount`; the marks of an earlier call then stay.
    void insert_checksum();

    /// Inserts the checksums and gives the frame to `out` in one call. Writes nothing when
    /// `out` or `header` is null, or when checksums could never be inserted.
    void WriteMessage(IWriteByteStreams* out);

    /// Zeroes the data words; the checksum word stays.
    void clearContents();

    /// Sets the number of data words, in the header and here. `n` data words and their
    /// checksum fit the derived class's buffer.
    void set_gpsip_wdcnt(unsigned short n);

    std::uint16_t* header = nullptr;   ///< first word of the frame; null: nothing to write
    std::uint16_t* data = nullptr;     ///< first data word
    std::uint32_t wordCount = 0;       ///< data words; agrees with header word 2
    std::uint16_t msgId = 0;           ///< copy of header word 1, for logging
    bool headerChecksumValid = false;  ///< once set it stays set
    bool dataChecksumValid = false;    ///< once set it stays set
};

/// A frame of any identifier with up to 240 data words.
class Generic_MSID_Msg : public GssipMessage {
public:
    static constexpr std::size_t maxDataWords = 240;

    Generic_MSID_Msg();

    /// Takes a frame of 10 bytes, or of an even length from 14 to 492. The identifier (of a
    /// block of 4 bytes and more) and both validity marks are set even when it returns false;
    /// the frame and `wordCount` are not.
    bool OkSetContent(const unsigned char* bytes, unsigned short length) override;

private:
    std::array<std::uint16_t, GSSIP_HEADER_WORDS + maxDataWords + 1> frame_{};
};

/// A fixed payload record under a fixed identifier. The record is kept as wire words; it is
/// reached through `data`, or whole through payload() and setPayload().
template <class Payload, std::uint16_t MessageId>
class GpsIpWrapperMsg : public GssipMessage {
    static_assert(std::is_trivially_copyable_v<Payload>, "a payload is plain wire data");
    static_assert(sizeof(Payload) % 2 == 0, "a payload is a whole number of words");
    static_assert(sizeof(Payload) / 2 <= 0xFFFF, "the word count has 16 bits");

public:
    static constexpr std::uint16_t msgId = MessageId;
    static constexpr std::size_t payloadWords = sizeof(Payload) / 2;

    /// Zeroed payload and the flag word 0x8000; a sender that wants an ACK sets
    /// FLAG_ACK_REQUEST in header word 3 before it queues the message.
    GpsIpWrapperMsg() {
        header = frame_.data();
        data = header + GSSIP_HEADER_WORDS;
        wordCount = static_cast<std::uint32_t>(payloadWords);
        GssipMessage::msgId = MessageId;
        header[0] = GSSIP_DELSOH;
        header[1] = MessageId;
        header[2] = static_cast<std::uint16_t>(payloadWords);
        header[3] = FLAG_LINK_READY;
    }

    Payload payload() const {
        Payload copy;
        std::memcpy(static_cast<void*>(&copy), data, sizeof copy);
        return copy;
    }

    void setPayload(const Payload& record) { std::memcpy(data, &record, sizeof record); }

private:
    std::array<std::uint16_t, GSSIP_HEADER_WORDS + payloadWords + 1> frame_{};
};
