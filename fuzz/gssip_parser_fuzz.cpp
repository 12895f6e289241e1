// The stream parser beside the byte automaton that defines it: both get the same bytes in
// the same pieces, and must report the same inside the same calls.
//
// Input: byte 0 chooses how the rest is cut into pieces, byte 1 how often the handler throws
// and which checksums of the rest are mended first. Without mending hardly any mutation would
// get past a checksum.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "tests/GpsSerialIo/ParserOracle.h"
#include "tests/GpsSerialIo/ParserTraffic.h"

namespace {

constexpr unsigned throwMask = 0x07;
constexpr unsigned mendHeaders = 0x10;
constexpr unsigned mendData = 0x20;

void putWord(Bytes& bytes, std::size_t at, unsigned word) {
    bytes[at] = static_cast<unsigned char>(word & 0xFF);
    bytes[at + 1] = static_cast<unsigned char>((word >> 8) & 0xFF);
}

std::uint16_t negatedSum(const Bytes& bytes, std::size_t at, std::size_t words) {
    return static_cast<std::uint16_t>(-SumOfWords(bytes.data() + at, words));
}

/// Back to front, so that mending an inner frame does not spoil the outer one's sum again.
void mend(Bytes& bytes, unsigned options) {
    for (std::size_t at = bytes.size() < GSSIP_HEADER_BYTES ? 0 : bytes.size() - 9; at-- > 0;) {
        if (bytes[at] != 0xFF || bytes[at + 1] != 0x81) {
            continue;
        }
        if ((options & mendHeaders) != 0) {
            putWord(bytes, at + 8, negatedSum(bytes, at, 4));
        }
        const std::size_t words = SumOfWords(bytes.data() + at + 4, 1);
        const std::size_t length = GssipFrameBytes(words);
        if ((options & mendData) != 0 && words != 0 && length <= bytes.size() - at) {
            putWord(bytes, at + length - 2, negatedSum(bytes, at + GSSIP_HEADER_BYTES, words));
        }
    }
}

std::size_t pieceLength(unsigned mode, std::size_t number) {
    static constexpr std::size_t lengths[] = {1, 2, 9, 10, 11, 128, 65535};
    const std::size_t choice = mode % 8;
    return choice < 7 ? lengths[choice] : (number * 2654435761U + mode) % 40;
}

template <class Parser>
std::vector<ParserEvent> play(const Bytes& stream, unsigned mode, unsigned throwEvery) {
    Parser parser;
    EventLog log;
    log.throwEvery = throwEvery;
    parser.ProcessMessagesWithThis(&log, 3);
    std::size_t at = 0;
    for (std::size_t number = 0; at < stream.size(); ++number) {
        const std::size_t count = std::min(pieceLength(mode, number), stream.size() - at);
        loadPiece(parser, log, stream.data() + at, count);
        at += count;
    }
    std::size_t before = 0;
    do {
        before = log.events.size();
        loadPiece(parser, log, nullptr, 0);
    } while (log.events.size() != before);
    return std::move(log.events);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const unsigned mode = input[0];
    const unsigned options = input[1];
    Bytes stream(input + 2, input + size);
    mend(stream, options);
    const unsigned throwEvery = options & throwMask;
    if (play<GssipParser>(stream, mode, throwEvery) !=
        play<ParserOracle>(stream, mode, throwEvery)) {
        std::fputs("the parser and the automaton differ\n", stderr);
        std::abort();
    }
    return 0;
}
