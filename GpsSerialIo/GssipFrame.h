#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

/// The raw GSSIP frame (ICD-GPS-153): 16-bit words, each transmitted low byte first.
///
///     word 0      0x81FF, the bytes FF 81 on the wire
///     word 1      message identifier
///     word 2      number n of data words; counts neither the header nor the data checksum
///     word 3      flag word
///     word 4      header checksum over words 0 to 3
///     5 .. 4+n    data words
///     word 5+n    data checksum over the data words; absent when n is 0
///
/// A checksum is the two's complement of the sum of the words that it covers, modulo 65536.
/// In memory a frame is an array of words in the byte order of the machine, which is the
/// wire's. All functions here are pure but for the ones that print, and any thread may call.

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "words in memory are sent as they stand, low byte first");

constexpr std::uint16_t GSSIP_DELSOH = 0x81FF;
constexpr std::size_t GSSIP_HEADER_WORDS = 5;
constexpr std::size_t GSSIP_HEADER_BYTES = 2 * GSSIP_HEADER_WORDS;

constexpr std::uint16_t FLAG_LINK_READY = 0x8000;   ///< clear in a received frame: pause the link
constexpr std::uint16_t FLAG_ACK_REQUEST = 0x1000;  ///< the sender asks for an ACK frame
constexpr std::uint16_t FLAG_ACK = 0x0800;          ///< header only: positive acknowledgement
constexpr std::uint16_t FLAG_NAK = 0x0400;          ///< header only: the sender's checksum was bad
constexpr std::uint16_t FLAG_RESPONSE = 0x0200;     ///< header only: response to the identifier
constexpr std::uint16_t FLAG_REJECT = 0x0100;       ///< with FLAG_RESPONSE: message was rejected

/// Bytes of a whole frame with `wordCount` data words: 10 without data, else 2 * n + 12.
constexpr std::size_t GssipFrameBytes(std::size_t wordCount) {
    return wordCount == 0 ? GSSIP_HEADER_BYTES : GSSIP_HEADER_BYTES + 2 * wordCount + 2;
}

/// Data words of a block of `length` bytes that ends with a data checksum; negative for a block
/// that is too short to have one.
constexpr int GssipDataWords(unsigned short length) {
    return length / 2 - 6;
}

/// Sum modulo 65536 of `words` words that start at `bytes`, low byte first, any alignment.
/// Inline: the parser sums headers of a known length and short frames at line rate.
inline std::uint16_t SumOfWords(const void* bytes, std::size_t words) {
    const auto* at = static_cast<const unsigned char*>(bytes);
    std::uint16_t sum = 0;
    for (std::size_t i = 0; i < words; ++i) {
        std::uint16_t word = 0;
        std::memcpy(&word, at + 2 * i, sizeof word);
        sum = static_cast<std::uint16_t>(sum + word);
    }
    return sum;
}

/// Two's complement of the sum of words[first] to words[last], both included; 0 when
/// `first` is greater than `last`.
std::uint16_t CalculateChecksum(const std::uint16_t* words, std::size_t first, std::size_t last);

/// Writes the five header words and returns the header checksum.
std::uint16_t MakeHdrSpecifyFlagWd(std::uint16_t* header, std::uint16_t msgId,
                                   std::uint16_t flagWord, std::uint16_t wdcnt);

/// Header of a frame that requests no ACK (flag word 0x8000); returns the header checksum.
std::uint16_t MakeHeader(std::uint16_t* header, std::uint16_t msgId, std::uint16_t wdcnt);

/// Five-word frame that acknowledges `msgId`; returns the header checksum.
std::uint16_t MakeACK(std::uint16_t* header, std::uint16_t msgId);

/// Five-word frame that reports a bad checksum in `msgId`; returns the header checksum.
std::uint16_t MakeNAK(std::uint16_t* header, std::uint16_t msgId);

/// Computes and stores both checksums; the frame has room for the word after its data.
/// Returns 1, or 0 with a line on standard error when the word count is above 32500 or
/// word 0 is not the delimiter. The header checksum is stored in every case.
int OkChecksumGPSmessage(std::uint16_t* frame);

/// Verifies both checksums. Returns 1, or 0 with a line on standard error when one is bad or
/// the word count is above 106, the longest message that this check is meant for.
int ChecksumsAreOkInGPSmessage(const std::uint16_t* frame);

/// Text of PrintMessageInHex. `bytes` needs no alignment, and nothing at or behind
/// `bytes + length` is read, whatever the word count in the header says: words that did not
/// arrive whole are left out.
std::string FormatMessageInHex(const void* bytes, std::size_t length);

/// Prints a frame on standard output, header first, then ten data words to a line; `prefix`
/// stands before it. One write, so that the dumps of several threads stay apart.
void PrintMessageInHex(const void* bytes, std::size_t length, std::string_view prefix = {});

/// The same for a whole frame in memory: trusts the word count in its header.
void PrintMessageInHex(const std::uint16_t* frame);
