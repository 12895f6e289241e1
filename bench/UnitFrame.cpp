#include "bench/UnitFrame.h"

#include <charconv>
#include <sstream>
#include <string_view>
#include <system_error>

namespace bench {
namespace {

constexpr std::size_t headerBytes = 10;

void append(std::vector<std::uint8_t>& bytes, unsigned word) {
    bytes.push_back(static_cast<std::uint8_t>(word & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>((word >> 8) & 0xFF));
}

unsigned wordAt(const std::uint8_t* bytes, std::size_t index) {
    return bytes[2 * index] + 256U * bytes[2 * index + 1];
}

unsigned sumOfWords(const std::uint8_t* bytes, std::size_t count) {
    unsigned sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        sum += wordAt(bytes, i);
    }
    return sum % 65536;
}

}  // namespace

std::vector<std::uint8_t> UnitFrame::encode() const {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(headerBytes + 2 * data.size() + 2);
    append(bytes, 0x81FF);
    append(bytes, id);
    append(bytes, static_cast<unsigned>(data.size()));
    append(bytes, flags);
    append(bytes, 65536 - sumOfWords(bytes.data(), 4));
    if (!data.empty()) {
        for (const std::uint16_t word : data) {
            append(bytes, word);
        }
        append(bytes, 65536 - sumOfWords(bytes.data() + headerBytes, data.size()));
    }
    return bytes;
}

std::optional<UnitFrame> decodeFrame(const std::uint8_t* bytes, std::size_t length,
                                     std::string* defect) {
    const auto refuse = [defect](std::string_view why) {
        if (defect != nullptr) {
            *defect = why;
        }
        return std::nullopt;
    };
    if (length < headerBytes) {
        return refuse("shorter than a header");
    }
    if (bytes[0] != 0xFF || bytes[1] != 0x81) {
        return refuse("does not begin with FF 81");
    }
    if (sumOfWords(bytes, 5) != 0) {
        return refuse("header checksum is wrong");
    }
    const std::size_t words = wordAt(bytes, 2);
    if (length != (words == 0 ? headerBytes : headerBytes + 2 * words + 2)) {
        return refuse("length does not fit the word count");
    }
    if (words > 0 && sumOfWords(bytes + headerBytes, words + 1) != 0) {
        return refuse("data checksum is wrong");
    }
    UnitFrame frame;
    frame.id = static_cast<std::uint16_t>(wordAt(bytes, 1));
    frame.flags = static_cast<std::uint16_t>(wordAt(bytes, 3));
    frame.data.reserve(words);
    for (std::size_t i = 0; i < words; ++i) {
        frame.data.push_back(static_cast<std::uint16_t>(wordAt(bytes + headerBytes, i)));
    }
    return frame;
}

std::string hexadecimal(const std::vector<std::uint8_t>& bytes) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += text.empty() ? "" : " ";
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> fromHexadecimal(const std::string& text) {
    std::vector<std::uint8_t> bytes;
    std::istringstream pairs(text);
    std::string pair;
    while (pairs >> pair) {
        std::uint8_t byte = 0;
        const auto [end, error] = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
        if (pair.size() != 2 || error != std::errc() || end != pair.data() + pair.size()) {
            return std::nullopt;
        }
        bytes.push_back(byte);
    }
    return bytes;
}

}  // namespace bench
