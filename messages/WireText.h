#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text fields of GSSIP payloads: characters without a terminator of their own, cut at the
/// width of the field. In most messages text travels with the two bytes of each word
/// exchanged, "BADC" for "ABCD"; here that is called swapped.
///
/// A field is `width` bytes of a payload, with any alignment. Nothing here fails, keeps state
/// or touches a byte outside the field.
namespace wiretext {

/// Exchanges the two bytes of each word; the last byte of an odd width has no partner and
/// stays where it is.
void swapPairs(void* field, std::size_t width);

/// The text of a field: all before its first NUL, or the whole width when it has none.
std::string get(const void* field, std::size_t width);

/// The same of a field whose text is swapped.
std::string getSwapped(const void* field, std::size_t width);

/// Fills a field with text: what is too long is cut, what is too short is followed by blanks.
void set(void* field, std::size_t width, std::string_view text);

/// The same, swapped.
void setSwapped(void* field, std::size_t width, std::string_view text);

}  // namespace wiretext
