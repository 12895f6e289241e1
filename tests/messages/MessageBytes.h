#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "GpsSerialIo/GssipMessage.h"
#include "gtest/gtest.h"
#include "messages/Fields.h"

/// What the tests of message layouts share: data as bytes, and blocks that end where they end.

using Bytes = std::vector<unsigned char>;

/// The byte that stands where no field was set.
constexpr unsigned char untouchedByte = 0xEE;

/// Data of `size` bytes in which nothing was touched but what is listed by its offset.
inline Bytes untouchedBut(std::size_t size, std::map<std::size_t, Bytes> const& written) {
    Bytes data(size, untouchedByte);
    for (auto const& [offset, bytes] : written) {
        std::copy(bytes.begin(), bytes.end(), data.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    return data;
}

/// Fills the data words.
inline void fillUntouched(GssipMessage& message) {
    std::memset(message.data, untouchedByte, 2 * message.wordCount);
}

/// Writes the data words as they came in.
inline void setData(GssipMessage& message, Bytes const& data) {
    std::memcpy(message.data, data.data(),
                std::min<std::size_t>(data.size(), 2 * message.wordCount));
}

/// The data words as they go out.
inline Bytes dataOf(GssipMessage const& message) {
    Bytes data(2 * message.wordCount);
    std::memcpy(data.data(), message.data, data.size());
    return data;
}

/// The same of a record without a message around it.
template <std::size_t Words>
Bytes dataOf(fields::Record<Words> const& record) {
    Bytes data(2 * record.data.size());
    std::memcpy(data.data(), record.data.data(), data.size());
    return data;
}

/// The five header words as they go out.
inline Bytes headerOf(GssipMessage const& message) {
    Bytes header(GSSIP_HEADER_BYTES);
    std::memcpy(header.data(), message.header, header.size());
    return header;
}

/// What a message writes.
inline Bytes writtenBy(GssipMessage& message) {
    class Sink : public IWriteByteStreams {
    public:
        unsigned int WriteBytes(void const* bytes, unsigned int length) override {
            auto const* const begin = static_cast<unsigned char const*>(bytes);
            written.assign(begin, begin + length);
            return length;
        }
        Bytes written;
    } sink;
    message.WriteMessage(&sink);
    return sink.written;
}

/// A frame: the header's words, then the data, then a checksum word of zero.
inline Bytes frameOf(std::uint16_t msgId, Bytes const& data) {
    Bytes frame(GSSIP_HEADER_BYTES + data.size() + 2);
    MakeHeader(reinterpret_cast<std::uint16_t*>(frame.data()), msgId,
               static_cast<std::uint16_t>(data.size() / 2));
    std::copy(data.begin(), data.end(), frame.begin() + GSSIP_HEADER_BYTES);
    return frame;
}

/// A heap block of exactly `length` bytes 0, 1, 2 and so on, so that AddressSanitizer sees
/// the first byte that is read behind it.
class Block {
public:
    explicit Block(std::size_t length) : bytes_(new unsigned char[length]), length_(length) {
        for (std::size_t i = 0; i < length; ++i) {
            bytes_[i] = static_cast<unsigned char>(i);
        }
    }
    Block(Bytes const& frame, std::size_t length) : Block(length) {
        std::copy_n(frame.begin(), std::min(length, frame.size()), bytes_.get());
    }

    unsigned char const* bytes() const { return bytes_.get(); }
    unsigned short length() const { return static_cast<unsigned short>(length_); }

private:
    std::unique_ptr<unsigned char[]> bytes_;
    std::size_t length_;
};

/// A block with the beginning of a long frame, the data of which is 0x5A.
inline Block receivedBlock(std::uint16_t msgId, std::size_t length) {
    return {frameOf(msgId, Bytes(512, 0x5A)), length};
}

/// Gives `take(bytes, length)` a block of every length up to `longest` and lists the lengths
/// that it accepts.
template <typename Take>
std::vector<unsigned> acceptedLengths(std::size_t longest, Take take) {
    std::vector<unsigned> accepted;
    for (std::size_t length = 0; length <= longest; ++length) {
        Block const block(length);
        if (take(block.bytes(), block.length())) {
            accepted.push_back(static_cast<unsigned>(length));
        }
    }
    return accepted;
}

/// The same for a fresh message and `take(message, bytes, length)`. What is accepted fills the
/// data words and no more, what is refused touches none.
template <typename Message, typename Take>
std::vector<unsigned> lengthsTakenAsData(std::size_t longest, Take take) {
    return acceptedLengths(longest, [&](unsigned char const* bytes, unsigned short length) {
        Message message;
        fillUntouched(message);
        Bytes expected = dataOf(message);
        bool const taken = take(message, bytes, length);
        if (taken) {
            std::copy_n(bytes + GSSIP_HEADER_BYTES, expected.size(), expected.begin());
        }
        EXPECT_EQ(expected, dataOf(message)) << length;
        return taken;
    });
}

/// Gives a fresh message's OkSetContent all lengths.
template <typename Message>
std::vector<unsigned> lengthsTakenAsContent(std::size_t longest) {
    return lengthsTakenAsData<Message>(
        longest, [](Message& message, auto... block) { return message.OkSetContent(block...); });
}
