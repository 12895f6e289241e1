#include "platform/StringUtils.h"

#include <algorithm>
#include <cstring>
#include <sstream>

std::string StringUtils::ltrim(const std::string& text) {
    const std::size_t first = text.find_first_not_of(WHITESPACE);
    return first == std::string::npos ? std::string() : text.substr(first);
}

std::string StringUtils::rtrim(const std::string& text) {
    const std::size_t last = text.find_last_not_of(WHITESPACE);
    return last == std::string::npos ? std::string() : text.substr(0, last + 1);
}

std::string StringUtils::trim(const std::string& text) {
    return rtrim(ltrim(text));
}

void StringUtils::cstr_replace(char* text, const char* set, char with) {
    while (*(text += std::strcspn(text, set)) != '\0') {
        *text++ = with;
    }
}

char* StringUtils::strncpy_prot(char* dst, const char* src, unsigned len) {
    if (len > 0) {
        std::strncpy(dst, src, len - 1);
        dst[len - 1] = '\0';
    }
    return dst;
}

std::vector<std::string> StringUtils::splitToChunks(const std::string& text,
                                                    std::size_t chunkSize) {
    std::vector<std::string> chunks;
    splitToChunks(text, chunkSize, chunks);
    return chunks;
}

void StringUtils::splitToChunks(const std::string& text, std::size_t chunkSize,
                                std::vector<std::string>& chunks) {
    chunks.clear();
    const std::size_t step = chunkSize == 0 ? text.size() : chunkSize;
    for (std::size_t start = 0; start < text.size();) {
        chunks.push_back(text.substr(start, step));
        start += chunks.back().size();
    }
}

bool StringUtils::containsIgnoringCase(const std::string& text, const std::string& part) {
    return findIgnoringCase(text, part) != std::string::npos;
}

std::size_t StringUtils::findIgnoringCase(const std::string& text, const std::string& part) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    const auto alike = [lower](char a, char b) { return lower(a) == lower(b); };
    const auto found = std::search(text.begin(), text.end(), part.begin(), part.end(), alike);
    return found == text.end() && !part.empty() ? std::string::npos
                                                : static_cast<std::size_t>(found - text.begin());
}

std::string StringUtils::join(const std::vector<std::string>& elements, char separator) {
    std::string text;
    for (const std::string& element : elements) {
        if (&element != &elements.front()) {
            text += separator;
        }
        text += element;
    }
    return text;
}

std::vector<std::string> StringUtils::split(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    std::istringstream stream(text);
    for (std::string piece; std::getline(stream, piece, separator);) {
        pieces.push_back(piece);
    }
    return pieces;
}
