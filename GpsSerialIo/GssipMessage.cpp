#include "GpsSerialIo/GssipMessage.h"

#include <algorithm>

bool GssipMessage::OkSetContent(const unsigned char* bytes, unsigned short length) {
    if (header == nullptr || GssipDataWords(length) != static_cast<std::int64_t>(wordCount)) {
        return false;
    }
    // An odd length passes the division, and an object without data may own five words only.
    std::memcpy(header, bytes, std::min<std::size_t>(length, GssipFrameBytes(wordCount)));
    return true;
}

std::uint16_t GssipMessage::checksumOfContents() const {
    return data == nullptr || wordCount == 0 ? std::uint16_t{0}
                                             : CalculateChecksum(data, 0, wordCount - 1);
}

std::uint16_t GssipMessage::checksumOfHeader() const {
    return CalculateChecksum(header, 0, 4);
}

std::uint16_t GssipMessage::calculateHeaderChecksum() const {
    return CalculateChecksum(header, 0, 3);
}

void GssipMessage::setHeaderChecksum() {
    if (header != nullptr) {
        header[4] = calculateHeaderChecksum();
    }
}

void GssipMessage::insert_checksum() {
    if (header == nullptr || header[2] != wordCount) {
        return;
    }
    setHeaderChecksum();
    headerChecksumValid = true;
    if (wordCount != 0) {
        header[GSSIP_HEADER_WORDS + wordCount] = checksumOfContents();
        dataChecksumValid = true;
    }
}

void GssipMessage::WriteMessage(IWriteByteStreams* out) {
    if (out == nullptr || header == nullptr) {
        return;
    }
    insert_checksum();
    if ((wordCount != 0 && !dataChecksumValid) || !headerChecksumValid) {
        return;
    }
    debugPrintMessage();
    out->WriteBytes(header, static_cast<unsigned int>(GssipFrameBytes(wordCount)));
}

void GssipMessage::clearContents() {
    if (data != nullptr) {
        std::fill_n(data, wordCount, std::uint16_t{0});
    }
}

void GssipMessage::set_gpsip_wdcnt(unsigned short n) {
    if (header != nullptr) {
        header[2] = n;
    }
    wordCount = n;
}

Generic_MSID_Msg::Generic_MSID_Msg() {
    header = frame_.data();
    data = header + GSSIP_HEADER_WORDS;
    wordCount = static_cast<std::uint32_t>(maxDataWords);
    msgId = 0xFFFF;
    header[0] = GSSIP_DELSOH;
    header[3] = FLAG_LINK_READY | FLAG_ACK_REQUEST;
}

bool Generic_MSID_Msg::OkSetContent(const unsigned char* bytes, unsigned short length) {
    headerChecksumValid = true;
    dataChecksumValid = true;
    if (length >= 4) {
        msgId = static_cast<std::uint16_t>(bytes[2] | (bytes[3] << 8));
    }
    if (length == GSSIP_HEADER_BYTES) {
        wordCount = 0;
    } else {
        const int words = GssipDataWords(length);
        if (words < 1 || words > static_cast<int>(maxDataWords) || length % 2 != 0) {
            return false;
        }
        wordCount = static_cast<std::uint32_t>(words);
    }
    std::memcpy(header, bytes, length);
    return true;
}
