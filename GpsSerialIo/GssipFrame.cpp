#include "GpsSerialIo/GssipFrame.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr unsigned largestChecksummedWordCount = 32500;
constexpr unsigned largestVerifiedWordCount = 106;

std::uint16_t negated(std::uint16_t sum) {
    return static_cast<std::uint16_t>(-sum);
}

std::uint16_t wordAt(const unsigned char* bytes, std::size_t word) {
    return static_cast<std::uint16_t>(bytes[2 * word] | (bytes[2 * word + 1] << 8));
}

void appendWord(std::string& text, const char* format, unsigned word) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, format, word);
    text += buffer;
}

/// Ten words to a line, each line led by the index of its first word.
void appendDataLines(std::string& text, const unsigned char* data, std::size_t words) {
    for (std::size_t i = 0; i < words; ++i) {
        const std::size_t column = i % 10;
        if (column == 0) {
            appendWord(text, "Data:%3u  ", static_cast<unsigned>(i));
        }
        appendWord(text, "%04X ", wordAt(data, i));
        if (column == 4) {
            text += "| ";
        }
        if (column == 9 || i + 1 == words) {
            text += '\n';
        }
    }
}

}  // namespace

std::uint16_t CalculateChecksum(const std::uint16_t* words, std::size_t first, std::size_t last) {
    if (first > last) {
        return 0;
    }
    return negated(SumOfWords(words + first, last - first + 1));
}

std::uint16_t MakeHdrSpecifyFlagWd(std::uint16_t* header, std::uint16_t msgId,
                                   std::uint16_t flagWord, std::uint16_t wdcnt) {
    header[0] = GSSIP_DELSOH;
    header[1] = msgId;
    header[2] = wdcnt;
    header[3] = flagWord;
    header[4] = CalculateChecksum(header, 0, 3);
    return header[4];
}

std::uint16_t MakeHeader(std::uint16_t* header, std::uint16_t msgId, std::uint16_t wdcnt) {
    return MakeHdrSpecifyFlagWd(header, msgId, FLAG_LINK_READY, wdcnt);
}

std::uint16_t MakeACK(std::uint16_t* header, std::uint16_t msgId) {
    return MakeHdrSpecifyFlagWd(header, msgId, FLAG_LINK_READY | FLAG_ACK, 0);
}

std::uint16_t MakeNAK(std::uint16_t* header, std::uint16_t msgId) {
    return MakeHdrSpecifyFlagWd(header, msgId, FLAG_LINK_READY | FLAG_NAK, 0);
}

int OkChecksumGPSmessage(std::uint16_t* frame) {
    const unsigned delsoh = frame[0];
    const unsigned msgId = frame[1];
    const unsigned wdcnt = frame[2];
    frame[4] = CalculateChecksum(frame, 0, 3);
    if (wdcnt == 0) {
        return 1;
    }
    if (wdcnt > largestChecksummedWordCount) {
        std::fprintf(stderr, "Bad wdcnt (%u) checksumming Msg(%u) \n", wdcnt, msgId);
        return 0;
    }
    if (delsoh != GSSIP_DELSOH) {
        std::fprintf(stderr,
                     "No delsoh checksumming Msg(%u) delsoh:%04X cnt:%5u flag:%04X  hck:%04X\n",
                     msgId, delsoh, wdcnt, unsigned{frame[3]}, unsigned{frame[4]});
        return 0;
    }
    frame[GSSIP_HEADER_WORDS + wdcnt] =
        CalculateChecksum(frame, GSSIP_HEADER_WORDS, GSSIP_HEADER_WORDS + wdcnt - 1);
    return 1;
}

int ChecksumsAreOkInGPSmessage(const std::uint16_t* frame) {
    const unsigned msgId = frame[1];
    const unsigned wdcnt = frame[2];
    const unsigned headerSum = SumOfWords(frame, GSSIP_HEADER_WORDS);
    if (headerSum != 0) {
        std::fprintf(stderr, "Bad header chksum (%u) verifying checksums Msg(%u) \n", headerSum,
                     msgId);
        return 0;
    }
    if (wdcnt == 0) {
        return 1;
    }
    if (wdcnt > largestVerifiedWordCount) {
        std::fprintf(stderr, "Bad wdcnt (%u) verifying checksums Msg(%u) \n", wdcnt, msgId);
        return 0;
    }
    const unsigned dataSum = SumOfWords(frame + GSSIP_HEADER_WORDS, wdcnt + 1);
    if (dataSum != 0) {
        std::fprintf(stderr, "Bad data chksum (%u) verifying checksums Msg(%u) \n", dataSum, msgId);
        return 0;
    }
    return 1;
}

std::string FormatMessageInHex(const void* bytes, std::size_t length) {
    const auto* frame = static_cast<const unsigned char*>(bytes);
    const std::size_t arrived = length / 2;
    std::string text = "Header: ";
    for (std::size_t i = 0; i < std::min(arrived, GSSIP_HEADER_WORDS); ++i) {
        appendWord(text, " %04X", wordAt(frame, i));
    }
    if (arrived < GSSIP_HEADER_WORDS) {
        return text + '\n';
    }
    const std::size_t wdcnt = wordAt(frame, 2);
    appendWord(text, "; msgId:%5u", wordAt(frame, 1));
    appendWord(text, " Wdcnt:%5u\n", wordAt(frame, 2));
    if (wdcnt == 0) {
        return text;
    }
    const unsigned char* data = frame + GSSIP_HEADER_BYTES;
    appendDataLines(text, data, std::min(arrived - GSSIP_HEADER_WORDS, wdcnt));
    if (arrived > GSSIP_HEADER_WORDS + wdcnt) {
        appendWord(text, "DataCks:  %04X\n", wordAt(data, wdcnt));
    }
    return text;
}

void PrintMessageInHex(const void* bytes, std::size_t length, std::string_view prefix) {
    const std::string text = std::string(prefix) + FormatMessageInHex(bytes, length);
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void PrintMessageInHex(const std::uint16_t* frame) {
    PrintMessageInHex(frame, GssipFrameBytes(frame[2]));
}
