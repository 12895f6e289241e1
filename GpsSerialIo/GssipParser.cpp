#include "GpsSerialIo/GssipParser.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned char delimiter = 0xFF;
constexpr unsigned char startOfHeader = 0x81;
constexpr std::size_t largestFrame = GssipFrameBytes(0xFFFF);

/// What a frame that failed loses in front: the delimiter, and with it the start of header,
/// which can begin nothing.
constexpr std::size_t falseStart = 2;

}  // namespace

// Not zeroed: most lines never touch the greater part of it.
GssipParser::GssipParser() : frame_(new unsigned char[largestFrame]) {}

void GssipParser::ProcessMessagesWithThis(IHandleGpsipMessages* handler, unsigned int context) {
    if (handler != nullptr) {
        handler_ = handler;
        context_ = context;
    }
}

void GssipParser::LoadBytes(const unsigned char* bytes, unsigned short count) {
    bytes_.append(bytes, count);
    parse();
}

void GssipParser::reset() {
    bytes_.clear();
}

void GssipParser::parse() {
    // Every pass starts from bytes_ alone, since a handler may have changed it or thrown.
    while (bytes_.size() != 0) {
        const unsigned char* front = bytes_.data();
        const std::size_t pending = bytes_.size();
        if (front[0] != delimiter) {
            const void* next = std::memchr(front + 1, delimiter, pending - 1);
            bytes_.drop(next == nullptr ? pending
                                        : static_cast<std::size_t>(
                                              static_cast<const unsigned char*>(next) - front));
            continue;
        }
        if (pending < 2) {
            return;
        }
        if (front[1] != startOfHeader) {
            bytes_.drop(1);
            continue;
        }
        if (pending < GSSIP_HEADER_BYTES) {
            return;
        }
        if (SumOfWords(front, GSSIP_HEADER_WORDS) != 0) {
            reportBadHeader();
            continue;
        }
        const std::size_t length = GssipFrameBytes(SumOfWords(front + 4, 1));
        if (pending < length) {
            return;
        }
        const unsigned int sum = bytes_.sumOfWords(GSSIP_HEADER_BYTES, length);
        if (sum != 0) {
            reportBadData(length, sum);
        } else {
            deliver(length);
        }
    }
}

// The bytes are consumed before the handler hears of them: one that throws every time would
// otherwise meet the same frame in every call and jam the link.

void GssipParser::deliver(std::size_t length) {
    std::memcpy(frame_.get(), bytes_.data(), length);
    bytes_.drop(length);
    if (handler_ != nullptr) {
        handler_->OnGpsMessageReceived(frame_.get(), static_cast<unsigned int>(length), context_);
    }
}

void GssipParser::reportBadHeader() {
    bytes_.drop(falseStart);
    if (handler_ != nullptr) {
        handler_->OnParserChecksumError(context_);
    }
}

void GssipParser::reportBadData(std::size_t length, unsigned int sum) {
    const std::string dump = debug_ != 0 ? dumpOfFront(length, sum) : std::string();
    bytes_.keepRunningSums(length);
    bytes_.drop(falseStart);
    if (handler_ != nullptr) {
        handler_->OnParserChecksumError(context_);
    }
    std::fwrite(dump.data(), 1, dump.size(), stderr);
}

/// `sum` is that of the data, and of the whole frame too, as that of a good header is 0.
std::string GssipParser::dumpOfFront(std::size_t length, unsigned int sum) const {
    const unsigned char* front = bytes_.data();
    std::string text;
    char word[16];
    for (std::size_t i = 0; i < length; i += 2) {
        std::snprintf(word, sizeof word, "%04X ", unsigned{SumOfWords(front + i, 1)});
        text += word;
    }
    std::snprintf(word, sizeof word, "\nSum:%04X\n", sum);
    return text + word;
}
