#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <exception>
#include <type_traits>
#include <vector>

namespace FACE {

/// The element list of the service interfaces, with the habits of FACE::String: either managed
/// (it owns its elements) or unmanaged (a view of a caller's buffer, which must outlive it). A
/// copy is always managed.
///
/// A sequence that is not valid reads as empty and refuses every change. No locks. Nothing here
/// throws, unless copying an element throws something that is no std::exception.
template <class T>
class Sequence {
    static_assert(!std::is_same_v<T, bool>, "a vector of bool has no elements to point to");

public:
    enum RETURN_CODE : std::int32_t {
        NO_ERROR = 0,
        INSUFFICIENT_BOUND = 1,
        INSUFFICIENT_MEMORY = 2,
        PRECONDITION_VIOLATED = 3
    };

    /// The bound of a sequence whose length is not limited.
    static constexpr std::uint32_t UNBOUNDED = 0xFFFFFFFFU;

    /// Unbounded, managed, valid, empty.
    Sequence() noexcept = default;

    /// Managed and empty, of at most `bound` elements. A bound of 0 or UNBOUNDED leaves it
    /// invalid with PRECONDITION_VIOLATED.
    Sequence(std::uint32_t bound, RETURN_CODE& code) noexcept
        : bound_(bound), valid_(bound != 0 && bound != UNBOUNDED) {
        code = valid_ ? NO_ERROR : PRECONDITION_VIOLATED;
    }

    /// Managed copy of `length` elements; `length` becomes the bound. Invalid with
    /// PRECONDITION_VIOLATED for null or for a length of UNBOUNDED, with INSUFFICIENT_MEMORY when
    /// there is no room.
    Sequence(T const* elements, std::uint32_t length, RETURN_CODE& code) noexcept
        : bound_(0), valid_(false) {
        if (elements == nullptr || length == UNBOUNDED) {
            code = PRECONDITION_VIOLATED;
            return;
        }
        try {
            elements_.assign(elements, elements + length);
        } catch (std::exception const&) {
            code = INSUFFICIENT_MEMORY;
            return;
        }
        bound_ = length;
        valid_ = true;
        code = NO_ERROR;
    }

    /// View of a caller's buffer of `bound` elements, `length` of which count. A null buffer, a
    /// bound of 0 or UNBOUNDED or a bound below `length` leaves it invalid with
    /// PRECONDITION_VIOLATED.
    Sequence(T* buffer, std::uint32_t length, std::uint32_t bound, RETURN_CODE& code) noexcept
        : bound_(bound), valid_(false), managed_(false) {
        if (buffer == nullptr || bound == 0 || bound == UNBOUNDED || bound < length) {
            code = PRECONDITION_VIOLATED;
            return;
        }
        buffer_ = buffer;
        length_ = length;
        valid_ = true;
        code = NO_ERROR;
    }

    /// Read-only view of `length` elements, which is the bound too: it does not grow. For data
    /// that is to be written out without a copy. Null gives an invalid sequence with bound 0.
    Sequence(T const* elements, std::uint32_t length) noexcept
        : bound_(0), valid_(elements != nullptr && length != UNBOUNDED), managed_(false) {
        if (valid_) {
            buffer_ = const_cast<T*>(elements);  // nothing here writes to it
            length_ = length;
            bound_ = length;
            readOnly_ = true;
        }
    }

    /// Managed copy with the bound and the validity of `other`; invalid when there is no room.
    Sequence(Sequence const& other) noexcept { copy(other); }

    /// As the copy constructor: the target ends managed, whatever it was.
    Sequence& operator=(Sequence const& other) noexcept {
        if (this == &other && managed_) {
            return *this;
        }
        copy(other);  // an unmanaged one that is assigned to itself becomes the owner
        return *this;
    }

    ~Sequence() = default;

    /// Length 0; capacity and bound stay, but for a read-only view, whose bound becomes 0.
    void clear() noexcept {
        if (!valid_) {
            return;
        }
        elements_.clear();
        length_ = 0;
        if (readOnly_) {
            bound_ = 0;
        }
    }

    /// The store in use, null if invalid (and, when managed, possibly when empty). Nobody may
    /// write to that of a read-only view.
    T const* buffer() const noexcept {
        if (!valid_) {
            return nullptr;
        }
        return managed_ ? elements_.data() : buffer_;
    }
    T* buffer() noexcept {
        if (!valid_) {
            return nullptr;
        }
        return managed_ ? elements_.data() : buffer_;
    }

    std::uint32_t length() const noexcept {
        if (!valid_) {
            return 0;
        }
        return managed_ ? static_cast<std::uint32_t>(elements_.size()) : length_;
    }

    /// The place of the element at `index`; null when there is none.
    T const* operator[](std::uint32_t index) const noexcept {
        return index < length() ? buffer() + index : nullptr;
    }
    T* operator[](std::uint32_t index) noexcept {
        return index < length() ? buffer() + index : nullptr;
    }

    T const* begin() const noexcept { return buffer(); }
    T const* end() const noexcept { return buffer() + length(); }
    T* begin() noexcept { return buffer(); }
    T* end() noexcept { return buffer() + length(); }

    /// Elements that fit without allocation when managed, the bound when unmanaged.
    std::uint32_t capacity() const noexcept {
        if (!valid_) {
            return 0;
        }
        return managed_ ? static_cast<std::uint32_t>(
                              std::min<std::size_t>(elements_.capacity(), UNBOUNDED))
                        : bound_;
    }
    std::uint32_t bound() const noexcept { return valid_ ? bound_ : 0; }

    bool is_managed() const noexcept { return valid_ && managed_; }
    bool is_bounded() const noexcept { return valid_ && bound_ != UNBOUNDED; }
    bool is_valid() const noexcept { return valid_; }

    /// Everything but NO_ERROR leaves the sequence as it was: PRECONDITION_VIOLATED when it is
    /// invalid, INSUFFICIENT_BOUND, INSUFFICIENT_MEMORY. `element` may be one of its own.
    RETURN_CODE append(T const& element) noexcept {
        if (!valid_) {
            return PRECONDITION_VIOLATED;
        }
        if (length() >= bound_) {
            return is_bounded() ? INSUFFICIENT_BOUND : INSUFFICIENT_MEMORY;
        }
        try {
            if (managed_) {
                elements_.push_back(element);
            } else {
                assert(!readOnly_);  // its bound is its length
                buffer_[length_] = element;
                ++length_;
            }
        } catch (std::exception const&) {
            return INSUFFICIENT_MEMORY;
        }
        return NO_ERROR;
    }

    /// Sets the length within the room that is there already, so that no memory is allocated:
    /// the capacity when managed, the bound when unmanaged; INSUFFICIENT_BOUND beyond it.
    /// Elements that a managed sequence gains are value-initialised; an unmanaged one shows what
    /// its buffer holds.
    RETURN_CODE set_length(std::uint32_t length) noexcept {
        if (valid_ && length > capacity()) {
            return INSUFFICIENT_BOUND;
        }
        return resize(length);
    }

    /// Sets the length; a managed sequence grows up to its bound, with value-initialised
    /// elements. Codes as append.
    RETURN_CODE resize(std::uint32_t length) noexcept {
        if (!valid_) {
            return PRECONDITION_VIOLATED;
        }
        if (is_bounded() && length > bound_) {
            return INSUFFICIENT_BOUND;
        }
        if (!managed_) {
            length_ = length;
            return NO_ERROR;
        }
        try {
            elements_.resize(length);
        } catch (std::exception const&) {
            return INSUFFICIENT_MEMORY;
        }
        return NO_ERROR;
    }

private:
    void copy(Sequence const& other) noexcept {
        bool valid = other.valid_;
        std::uint32_t const bound = other.bound_;
        if (valid) {
            try {
                elements_ = std::vector<T>(other.begin(), other.end());
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

    std::vector<T> elements_;
    std::uint32_t bound_ = UNBOUNDED;
    bool valid_ = true;
    bool managed_ = true;
    T* buffer_ = nullptr;  // never written when readOnly_
    std::uint32_t length_ = 0;
    bool readOnly_ = false;
};

}  // namespace FACE
