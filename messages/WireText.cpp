#include "messages/WireText.h"

#include <algorithm>
#include <utility>

namespace wiretext {

void swapPairs(void* field, std::size_t width) {
    auto* const bytes = static_cast<char*>(field);
    for (std::size_t i = 0; i + 1 < width; i += 2) {
        std::swap(bytes[i], bytes[i + 1]);
    }
}

std::string get(const void* field, std::size_t width) {
    const auto* const begin = static_cast<const char*>(field);
    return std::string(begin, std::find(begin, begin + width, '\0'));
}

std::string getSwapped(const void* field, std::size_t width) {
    std::string text(static_cast<const char*>(field), width);
    swapPairs(text.data(), text.size());
    text.resize(std::min(text.find('\0'), width));
    return text;
}

void set(void* field, std::size_t width, std::string_view text) {
    auto* const begin = static_cast<char*>(field);
    const std::size_t length = std::min(width, text.size());
    std::copy_n(text.begin(), length, begin);
    std::fill(begin + length, begin + width, ' ');
}

void setSwapped(void* field, std::size_t width, std::string_view text) {
    set(field, width, text);
    swapPairs(field, width);
}

}  // namespace wiretext
