#include "face/String.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <stdexcept>

namespace FACE {

namespace {

/// The address that a read-only view holds; the class never writes through it.
char* WithoutConst(char const* text) {
    return const_cast<char*>(text);
}

}  // namespace

String::String(std::uint32_t bound, RETURN_CODE& code) noexcept
    : bound_(bound), valid_(bound != 0 && bound != UNBOUNDED) {
    code = valid_ ? NO_ERROR : PRECONDITION_VIOLATED;
}

String::String(char const* text, RETURN_CODE& code) noexcept : bound_(0), valid_(false) {
    code = PRECONDITION_VIOLATED;
    if (text == nullptr) {
        return;
    }
    std::size_t const length = std::strlen(text);
    code = INSUFFICIENT_MEMORY;
    if (length >= UNBOUNDED) {
        return;
    }
    try {
        text_.assign(text, length);
    } catch (std::exception const&) {
        return;
    }
    bound_ = static_cast<std::uint32_t>(length);
    valid_ = true;
    code = NO_ERROR;
}

String::String(char* buffer, std::uint32_t length, std::uint32_t bound, RETURN_CODE& code) noexcept
    : bound_(bound), valid_(false), managed_(false) {
    if (buffer == nullptr || bound == 0 || bound == UNBOUNDED || bound < length) {
        code = PRECONDITION_VIOLATED;
        return;
    }
    buffer_ = buffer;
    length_ = length;
    buffer_[length] = '\0';
    valid_ = true;
    code = NO_ERROR;
}

String::String(char const* text) noexcept
    : bound_(0), valid_(false), managed_(false), readOnly_(true) {
    std::size_t const length = text == nullptr ? UNBOUNDED : std::strlen(text);
    if (length >= UNBOUNDED) {
        return;
    }
    buffer_ = WithoutConst(text);
    length_ = static_cast<std::uint32_t>(length);
    bound_ = length_;
    valid_ = true;
}

String::String(String const& other) noexcept {
    copy(other);
}

String& String::operator=(String const& other) noexcept {
    if (this == &other && managed_) {
        return *this;
    }
    copy(other);  // an unmanaged string that is assigned to itself becomes the owner of its text
    return *this;
}

void String::copy(String const& other) noexcept {
    bool valid = other.valid_;
    std::uint32_t const bound = other.bound_;
    if (valid) {
        try {
            text_ = std::string(other.buffer(), other.length());
        } catch (std::exception const&) {
            valid = false;
        }
    }
    bound_ = bound;
    valid_ = valid;
    managed_ = true;
    buffer_ = nullptr;
    length_ = 0;
    readOnly_ = false;
}

void String::clear() noexcept {
    if (!valid_) {
        return;
    }
    if (managed_) {
        text_.clear();
        return;
    }
    length_ = 0;
    if (readOnly_) {
        // The text belongs to somebody else and may be a literal. The bound goes along, or the
        // next append would write to it.
        buffer_ = WithoutConst("");
        bound_ = 0;
    } else {
        buffer_[0] = '\0';
    }
}

char const* String::buffer() const noexcept {
    if (!valid_) {
        return nullptr;
    }
    return managed_ ? text_.c_str() : buffer_;
}

char* String::buffer() noexcept {
    if (!valid_) {
        return nullptr;
    }
    return managed_ ? text_.data() : buffer_;
}

std::uint32_t String::length() const noexcept {
    if (!valid_) {
        return 0;
    }
    return managed_ ? static_cast<std::uint32_t>(text_.size()) : length_;
}

char const* String::operator[](std::uint32_t index) const noexcept {
    return valid_ ? buffer() + std::min(index, length()) : nullptr;
}

char* String::operator[](std::uint32_t index) noexcept {
    return valid_ ? buffer() + std::min(index, length()) : nullptr;
}

std::uint32_t String::capacity() const noexcept {
    if (!valid_) {
        return 0;
    }
    return managed_ ? static_cast<std::uint32_t>(std::min<std::size_t>(text_.capacity(), UNBOUNDED))
                    : bound_;
}

std::uint32_t String::bound() const noexcept {
    return valid_ ? bound_ : 0;
}

String::RETURN_CODE String::append(String const& other) noexcept {
    if (!valid_ || !other.valid_) {
        return PRECONDITION_VIOLATED;
    }
    return append(other.buffer(), other.length());
}

String::RETURN_CODE String::append(char const& character) noexcept {
    if (!valid_) {
        return PRECONDITION_VIOLATED;
    }
    return append(&character, 1);
}

String::RETURN_CODE String::append(char const* text, std::uint32_t length) noexcept {
    std::uint64_t const sum = std::uint64_t{this->length()} + length;
    if (is_bounded() && sum > bound_) {
        return INSUFFICIENT_BOUND;
    }
    if (length == 0) {
        return NO_ERROR;
    }
    if (sum >= UNBOUNDED) {
        return INSUFFICIENT_MEMORY;  // a length is 32 bits wide
    }
    if (managed_) {
        try {
            text_.append(text, length);
        } catch (std::exception const&) {
            return INSUFFICIENT_MEMORY;
        }
        return NO_ERROR;
    }
    assert(!readOnly_);  // its bound is its length
    std::memmove(buffer_ + length_, text, length);
    length_ += length;
    buffer_[length_] = '\0';
    return NO_ERROR;
}

std::string ToStdString(String const& text) {
    return text.is_valid() ? std::string(text.buffer(), text.length()) : std::string();
}

}  // namespace FACE
