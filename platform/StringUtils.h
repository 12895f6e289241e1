#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// Small text helpers. All are free of state; any thread may call.
class StringUtils {
public:
    /// What the trim functions remove.
    static constexpr const char* WHITESPACE = " \n\r\t\f\v";

    StringUtils() = delete;

    static std::string ltrim(const std::string& text);
    static std::string rtrim(const std::string& text);
    static std::string trim(const std::string& text);

    /// Replaces in place each character of `text` that is in `set` by `with`.
    static void cstr_replace(char* text, const char* set, char with);

    /// strncpy that always terminates: at most `len` - 1 characters of `src`, and zeros up to
    /// `dst[len - 1]`. A `len` of 0 writes nothing. Returns `dst`.
    static char* strncpy_prot(char* dst, const char* src, unsigned len);

    /// The text in pieces of `chunkSize` characters, the last one shorter; none for an empty
    /// text. A size of 0 leaves the text in one piece.
    static std::vector<std::string> splitToChunks(const std::string& text, std::size_t chunkSize);

    /// The same into `chunks`, whose earlier content is lost.
    static void splitToChunks(const std::string& text, std::size_t chunkSize,
                              std::vector<std::string>& chunks);

    /// Whether `part` stands in the text. Letters of ASCII are alike in either case, all other
    /// characters are themselves.
    static bool containsIgnoringCase(const std::string& text, const std::string& part);

    /// Where `part` first stands in the text, with the same notion of alike; npos if nowhere.
    static std::size_t findIgnoringCase(const std::string& text, const std::string& part);

    /// The elements with `separator` between them.
    static std::string join(const std::vector<std::string>& elements, char separator);

    /// The pieces between separators. Two in a row give an empty piece, one at the end gives
    /// none behind it, an empty text gives no piece.
    static std::vector<std::string> split(const std::string& text, char separator);
};
