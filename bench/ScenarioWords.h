#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace bench::scenario {

/// The words of a scenario's line: how it falls into them, and what a single one can mean. All
/// functions here raise LineError for what cannot be read.

/// Why a line cannot be read; the line's number is put before it further up.
class LineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void refuse(const std::string& reason);

/// A word as it may stand in a message: in quotes and not too long.
std::string inQuotes(std::string_view word);

template <class Range>
bool contains(const Range& range, std::string_view word) {
    return std::find(range.begin(), range.end(), word) != range.end();
}

/// True for letters, digits and _ that do not begin with a digit.
bool isName(std::string_view word);

/// Splits a line into words; comments go, quotes are taken off, variables are filled in.
std::vector<std::string> split(std::string_view line,
                               const std::map<std::string, std::string>& variables);

/// The words as a line, blanks between them and quotes around those that hold some.
std::string join(const std::vector<std::string>& words);

/// The words of a line, taken from the front.
class Words {
public:
    explicit Words(std::vector<std::string> words) : words_(std::move(words)) {}

    bool empty() const { return next_ == words_.size(); }
    const std::string& peek() const { return words_.at(next_); }

    /// The next word; `what` names it when it is missing.
    const std::string& take(const std::string& what) {
        if (empty()) {
            refuse(what + " is missing");
        }
        return words_[next_++];
    }

    /// Takes the next word when it is this one.
    bool takeIf(std::string_view word) {
        const bool same = !empty() && peek() == word;
        next_ += same ? 1 : 0;
        return same;
    }

    void expect(std::string_view word) {
        if (take(inQuotes(word)) != word) {
            refuse("expected " + inQuotes(word) + " in place of " + inQuotes(words_[next_ - 1]));
        }
    }

    /// How many were taken, and those from number `first` on as a line.
    std::size_t taken() const { return next_; }
    std::string takenSince(std::size_t first) const {
        const auto begin = words_.begin();
        return join({begin + static_cast<std::ptrdiff_t>(first),
                     begin + static_cast<std::ptrdiff_t>(next_)});
    }

    void end() const {
        if (!empty()) {
            refuse("unexpected " + inQuotes(peek()));
        }
    }

private:
    std::vector<std::string> words_;
    std::size_t next_ = 0;
};

/// A whole number, decimal or hexadecimal with 0x, not above `most`.
std::uint64_t number(const std::string& word, const std::string& what, std::uint64_t most);
std::uint16_t number16(const std::string& word, const std::string& what);

/// A decimal fraction at the front of the word; `rest` is what follows it.
std::optional<double> fraction(const std::string& word, std::string_view& rest);

/// Takes a time such as 2.5s, at most 30 days.
std::chrono::milliseconds takeTime(Words& words);

}  // namespace bench::scenario
