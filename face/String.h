#pragma once

#include <cstdint>
#include <string>

namespace FACE {

/// The text that crosses the service boundaries: either managed (it owns its text) or unmanaged
/// (a view of a caller's buffer, which must outlive it). A copy is always managed.
///
/// A string that is not valid reads as empty and refuses every change. Nothing here throws; no
/// locks, so threads that share one string must agree among themselves.
class String {
public:
    enum RETURN_CODE : std::int32_t {
        NO_ERROR = 0,
        INSUFFICIENT_BOUND = 1,
        INSUFFICIENT_MEMORY = 2,
        PRECONDITION_VIOLATED = 3
    };

    /// The bound of a string whose length is not limited.
    static constexpr std::uint32_t UNBOUNDED = 0xFFFFFFFFU;

    /// Unbounded, managed, valid, empty.
    String() noexcept = default;

    /// Managed and empty, of at most `bound` characters. A bound of 0 or UNBOUNDED leaves it
    /// invalid with PRECONDITION_VIOLATED.
    String(std::uint32_t bound, RETURN_CODE& code) noexcept;

    /// Managed copy of `text`, whose length becomes the bound. Invalid with
    /// PRECONDITION_VIOLATED for null, with INSUFFICIENT_MEMORY when there is no room.
    String(char const* text, RETURN_CODE& code) noexcept;

    /// View of a caller's buffer of `bound` + 1 characters, `length` of which are text; puts a
    /// zero behind them. A null buffer, a bound of 0 or UNBOUNDED or a bound below `length`
    /// leaves it invalid with PRECONDITION_VIOLATED and the buffer untouched.
    String(char* buffer, std::uint32_t length, std::uint32_t bound, RETURN_CODE& code) noexcept;

    /// Read-only view of `text`, whose length is length and bound: appending is always refused,
    /// and clear() lets go of the text. Null gives an invalid string with bound 0.
    // Not explicit: callers name connections and parameters by literals.
    String(char const* text) noexcept;

    /// Managed copy with the bound and the validity of `other`; invalid when there is no room.
    String(String const& other) noexcept;

    /// As the copy constructor: the target ends managed, whatever it was.
    String& operator=(String const& other) noexcept;

    ~String() = default;

    /// Length 0, first character zero. A read-only view then shows an empty text of bound 0.
    void clear() noexcept;

    /// The store in use, null if invalid. Nobody may write to that of a read-only view.
    char const* buffer() const noexcept;
    char* buffer() noexcept;

    std::uint32_t length() const noexcept;

    /// The place of the character at `index`, or of the terminator when `index` is past the end;
    /// null if invalid.
    char const* operator[](std::uint32_t index) const noexcept;
    char* operator[](std::uint32_t index) noexcept;

    /// Characters that fit without allocation when managed, the bound when unmanaged.
    std::uint32_t capacity() const noexcept;
    std::uint32_t bound() const noexcept;

    bool is_managed() const noexcept { return valid_ && managed_; }
    bool is_bounded() const noexcept { return valid_ && bound_ != UNBOUNDED; }
    bool is_valid() const noexcept { return valid_; }

    /// Everything but NO_ERROR leaves the string as it was: PRECONDITION_VIOLATED when one of the
    /// two is invalid, INSUFFICIENT_BOUND, INSUFFICIENT_MEMORY. A string may append itself.
    RETURN_CODE append(String const& other) noexcept;
    RETURN_CODE append(char const& character) noexcept;

private:
    RETURN_CODE append(char const* text, std::uint32_t length) noexcept;
    void copy(String const& other) noexcept;

    std::string text_;
    std::uint32_t bound_ = UNBOUNDED;
    bool valid_ = true;
    bool managed_ = true;
    char* buffer_ = nullptr;  // never written when readOnly_
    std::uint32_t length_ = 0;
    bool readOnly_ = false;
};

/// The text of `text` as our own string type; empty when `text` is invalid.
std::string ToStdString(String const& text);

}  // namespace FACE
