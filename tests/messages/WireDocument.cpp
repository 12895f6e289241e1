#include "tests/messages/WireDocument.h"

#include <array>
#include <memory>
#include <optional>
#include <regex.h>
#include <sstream>

namespace {

std::string trimmed(std::string const& text) {
    auto const begin = text.find_first_not_of(' ');
    auto const end = text.find_last_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, end - begin + 1);
}

std::vector<std::string> splitAt(std::string const& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) {
        parts.push_back(trimmed(part));
    }
    return parts;
}

/// The cells of a table's line; empty for any other line.
std::vector<std::string> cellsOf(std::string const& line) {
    if (line.size() < 2 || line.front() != '|' || line.back() != '|') {
        return {};
    }
    // Behind the last cell one blank, or getline would drop an empty one.
    return splitAt(line.substr(1, line.size() - 2) + " ", '|');
}

/// The text between two backticks; empty when `cell` is anything else.
std::string quotedName(std::string const& cell) {
    bool const quoted = cell.size() > 2 && cell.front() == '`' && cell.back() == '`';
    return quoted ? cell.substr(1, cell.size() - 2) : "";
}

/// Bits of the types that always have the same width; 0 for the others.
std::size_t bitsOfType(std::string const& type) {
    static std::map<std::string, std::size_t> const widths = {
        {"signed word", 16}, {"32-bit", 32},        {"signed 32-bit", 32},
        {"float", 32},       {"double", 64},        {"PDP double", 64},
        {"PDP float", 32},   {"Tesk extended", 48}, {"Tesk float", 32},
    };
    auto const at = widths.find(type);
    return at == widths.end() ? 0 : at->second;
}

/// The first match of an extended regular expression in the text, and its groups behind it; empty
/// when there is none. (The C++ library's expressions do not compile without warnings under the
/// address sanitizer.)
std::vector<std::string> findMatch(std::string const& text, char const* pattern) {
    regex_t expression;
    if (::regcomp(&expression, pattern, REG_EXTENDED) != 0) {
        return {};
    }
    std::unique_ptr<regex_t, void (*)(regex_t*)> const owner(&expression, ::regfree);
    std::array<regmatch_t, 4> places{};
    if (::regexec(&expression, text.c_str(), places.size(), places.data(), 0) != 0) {
        return {};
    }
    std::vector<std::string> found;
    for (regmatch_t const& place : places) {
        if (place.rm_so >= 0) {
            found.push_back(text.substr(static_cast<std::size_t>(place.rm_so),
                                        static_cast<std::size_t>(place.rm_eo - place.rm_so)));
        }
    }
    return found;
}

std::optional<FieldPlace> placeOf(std::string const& offset, std::string const& type,
                                  std::string const& unit) {
    if (findMatch(offset, "^[0-9]{1,4}$").empty()) {
        return std::nullopt;
    }
    FieldPlace place{8 * std::stoul(offset), 0, type, unit};
    auto const bit = findMatch(type, "^bit ([0-9]{1,2})$");
    auto const bits = findMatch(type, "^bits ([0-9]{1,2})-([0-9]{1,2})$");
    auto const row = findMatch(type, "^([0-9]{1,4}) (words|bytes|characters|swapped characters)$");
    auto const groups = findMatch(type, "^([0-9]{1,4}) groups of ([0-9]{1,4}) bytes$");
    if (type == "byte" || type == "word") {
        place.bits = type == "byte" ? 8 : 16;
        place.type = "bits";
    } else if (!bit.empty()) {
        place.firstBit += std::stoul(bit[1]);
        place.bits = 1;
        place.type = "bits";
    } else if (!bits.empty()) {
        place.firstBit += std::stoul(bits[1]);
        place.bits = std::stoul(bits[2]) - std::stoul(bits[1]) + 1;
        place.type = "bits";
    } else if (!row.empty()) {
        place.bits = std::stoul(row[1]) * (row[2] == "words" ? 16 : 8);
        place.type = row[2];
    } else if (!groups.empty()) {
        place.bits = std::stoul(groups[1]) * std::stoul(groups[2]) * 8;
        place.type = "groups";
    } else {
        place.bits = bitsOfType(type);
    }
    return place.bits == 0 ? std::nullopt : std::optional(place);
}

/// One line of a field table: as many offsets as names. False when it cannot be read.
bool addFields(LayoutFields& fields, std::vector<std::string> const& cells) {
    auto const offsets = splitAt(cells[0], ',');
    auto const names = splitAt(cells[2], ',');
    if (offsets.size() != names.size() || names.empty()) {
        return false;
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        auto const place = placeOf(offsets[i], cells[1], cells.size() > 4 ? cells[4] : "");
        auto const name = quotedName(names[i]);
        if (!place || name.empty() || !fields.emplace(name, *place).second) {
            return false;
        }
    }
    return true;
}

/// One line of the table of messages: identifiers, class, words, flag word, direction, place,
/// functions. A word count may have words before it, a flag word behind it.
bool addMessages(std::map<unsigned, MessageRow>& messages, std::vector<std::string> const& cells) {
    auto const words = findMatch(cells[2], "[0-9]{1,4}");
    auto const flagWord = findMatch(cells[3], "0x[0-9A-F]{4}");
    if (words.empty() || flagWord.empty()) {
        return false;
    }
    MessageRow row{static_cast<unsigned>(std::stoul(words[0])),
                   static_cast<unsigned>(std::stoul(flagWord[0], nullptr, 16)),
                   cells[4],
                   {}};
    for (auto const& function : splitAt(cells[6], ',')) {
        if (quotedName(function).empty()) {
            return false;
        }
        row.functions.push_back(quotedName(function));
    }
    for (auto const& id : splitAt(cells[0], ',')) {
        if (!findMatch(id, "^[0-9]{1,5}$").empty()) {
            if (!messages.emplace(static_cast<unsigned>(std::stoul(id)), row).second) {
                return false;
            }
        } else if (id != "any") {
            return false;
        }
    }
    return true;
}

/// "### 27552 and 27553, frame to and from one virtual unit"
void addHeading(std::map<unsigned, std::string>& headings, std::string const& line) {
    auto const heading = findMatch(line, "^### ([0-9]{1,5})( and [0-9]{1,5})?, (.*)$");
    if (heading.empty()) {
        return;
    }
    headings[static_cast<unsigned>(std::stoul(heading[1]))] = heading.back();
    if (heading.size() == 4) {
        headings[static_cast<unsigned>(std::stoul(heading[2].substr(5)))] = heading.back();
    }
}

}  // namespace

std::string toText(FieldPlace const& place) {
    return place.type + " of " + std::to_string(place.bits) + " bits from bit " +
           std::to_string(place.firstBit % 8) + " of byte " + std::to_string(place.firstBit / 8) +
           (place.unit.empty() ? "" : " in " + place.unit);
}

WireDocument::WireDocument(std::string const& markdown) {
    enum class Table { none, ofFields, ofMessages } table = Table::none;
    std::string layout;
    bool underHeading = false;
    std::istringstream in(markdown);
    for (std::string line; std::getline(in, line);) {
        auto const cells = cellsOf(line);
        if (cells.empty()) {
            table = Table::none;
            addHeading(headings, line);
            continue;
        }
        if (cells.size() >= 4 && cells[0] == "Offset" && cells[1] == "Type" &&
            !quotedName(cells[2]).empty()) {
            table = Table::ofFields;
            layout = quotedName(cells[2]);
            underHeading = true;
        } else if (cells.size() >= 7 && cells[0] == "Id" && cells[3] == "Flag word") {
            table = Table::ofMessages;
            underHeading = true;
        } else if (underHeading) {
            underHeading = false;  // the line of dashes
        } else if ((table == Table::ofFields &&
                    (cells.size() < 3 || !addFields(layouts[layout], cells))) ||
                   (table == Table::ofMessages &&
                    (cells.size() < 7 || !addMessages(messages, cells)))) {
            errors.push_back(line);
        }
    }
}
