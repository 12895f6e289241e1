#include "bench/ScenarioWords.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace bench::scenario {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t longestWord = 65'536;
constexpr milliseconds longestTime = std::chrono::hours(24 * 30);

}  // namespace

void refuse(const std::string& reason) {
    throw LineError(reason);
}

std::string inQuotes(std::string_view word) {
    constexpr std::size_t most = 60;
    return word.size() <= most ? "\"" + std::string(word) + "\""
                               : "\"" + std::string(word.substr(0, most)) + "...\"";
}

bool isName(std::string_view word) {
    const auto letter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
    };
    return !word.empty() && letter(word.front()) &&
           std::all_of(word.begin(), word.end(),
                       [letter](char c) { return letter(c) || (c >= '0' && c <= '9'); });
}

std::vector<std::string> split(std::string_view line,
                               const std::map<std::string, std::string>& variables) {
    std::vector<std::string> words;
    bool within = false;  // a word has begun
    bool quotes = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (!quotes && (c == ' ' || c == '\t')) {
            within = false;
            continue;
        }
        if (!quotes && c == '#') {
            break;
        }
        if (!within) {
            within = true;
            words.emplace_back();
        }
        std::string& word = words.back();
        if (c == '"') {
            quotes = !quotes;
        } else if (quotes && c == '\\') {
            ++i;
            if (i == line.size() || (line[i] != '"' && line[i] != '\\')) {
                refuse("a backslash stands before \" or \\ only");
            }
            word += line[i];
        } else if (c == '$' && i + 1 < line.size() && line[i + 1] == '{') {
            const std::size_t end = line.find('}', i);
            if (end == std::string_view::npos) {
                refuse("\"${\" without \"}\"");
            }
            const std::string name(line.substr(i + 2, end - i - 2));
            const auto found = variables.find(name);
            if (found == variables.end()) {
                refuse("variable " + inQuotes(name) + " has no value");
            }
            word += found->second;
            i = end;
        } else {
            word += c;
        }
        if (word.size() > longestWord) {
            refuse("a word is too long");
        }
    }
    if (quotes) {
        refuse("a quote is not closed");
    }
    return words;
}

std::string join(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += text.empty() ? "" : " ";
        text += word.find(' ') == std::string::npos ? word : "\"" + word + "\"";
    }
    return text;
}

std::uint64_t number(const std::string& word, const std::string& what, std::uint64_t most) {
    const bool hex = word.rfind("0x", 0) == 0 || word.rfind("0X", 0) == 0;
    const char* const first = word.data() + (hex ? 2 : 0);
    const char* const last = word.data() + word.size();
    std::uint64_t value = 0;
    const auto result = std::from_chars(first, last, value, hex ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != last || value > most) {
        refuse(inQuotes(word) + " is no " + what + ": a number from 0 to " + std::to_string(most));
    }
    return value;
}

std::uint16_t number16(const std::string& word, const std::string& what) {
    return static_cast<std::uint16_t>(
        number(word, what, std::numeric_limits<std::uint16_t>::max()));
}

std::optional<double> fraction(const std::string& word, std::string_view& rest) {
    if (word.empty() || word.front() < '0' || word.front() > '9') {
        return std::nullopt;
    }
    double value = 0;
    const char* const last = word.data() + word.size();
    const auto result = std::from_chars(word.data(), last, value, std::chars_format::fixed);
    rest = std::string_view(result.ptr, static_cast<std::size_t>(last - result.ptr));
    return result.ec == std::errc() ? std::optional<double>(value) : std::nullopt;
}

milliseconds takeTime(Words& words) {
    const std::string& word = words.take("a time");
    std::string_view unit;
    const auto value = fraction(word, unit);
    const double factor = unit == "ms" ? 1 : unit == "s" ? 1000 : unit == "min" ? 60000 : 0;
    if (!value || factor == 0) {
        refuse(inQuotes(word) + " is no time: a number and ms, s or min, such as 2.5s");
    }
    const double time = *value * factor;
    if (time > static_cast<double>(longestTime.count())) {
        refuse(inQuotes(word) + " is more than 30 days");
    }
    return milliseconds(std::llround(time));
}

}  // namespace bench::scenario
