#include "tools/GssipReport.h"

#include <cmath>
#include <iterator>
#include <utility>
#include <variant>

#include <fmt/color.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "GpsSerialIo/GssipFrame.h"
#include "tools/GssipDecoder.h"
#include "tools/RecordText.h"

namespace gssipdump {

namespace {

using Kind = Sighting::Kind;
using Json = nlohmann::ordered_json;

template <typename... Functions>
struct Overloaded : Functions... {
    using Functions::operator()...;
};
template <typename... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

char const* nameOf(Kind kind) {
    switch (kind) {
        case Kind::Frame:
            return "frame";
        case Kind::BadHeader:
            return "bad header checksum";
        case Kind::BadData:
            return "bad data checksum";
        case Kind::CutShort:
            return "cut short";
        case Kind::NoRecord:
            return "no record";
        case Kind::Skipped:
            return "skipped";
    }
    return "";
}

std::string timeOf(RecordHead::Time const& time) {
    return fmt::format("{} s {} ns, time code {}", time.seconds, time.nanoseconds, time.code);
}

/// Lines for people.
class Lines {
public:
    Lines(Sighting const& sighting, ReportOptions const& options)
        : sighting_(sighting), options_(options) {}

    std::string of(DecodedFrame const& frame) {
        std::string line = begin() + head(frame) + '\n';
        if (options_.verbose) {
            if (sighting_.record) {
                line += detail("SequenceNumber", std::to_string(sighting_.record->sequence));
                line += detail("DeviceId", fmt::format("0x{:08X}", sighting_.record->deviceId));
                line += detail("Arrival", timeOf(sighting_.record->arrival));
                line += detail("Validity", timeOf(sighting_.record->validity));
            }
            addFields(line, frame);
        }
        return line;
    }

    std::string ofDisorder() {
        std::string text;
        switch (sighting_.kind) {
            case Kind::BadHeader:
            case Kind::BadData: {
                DecodedFrame const frame = decode(sighting_.bytes.data(), sighting_.bytes.size());
                text = warn(nameOf(sighting_.kind));
                text += fmt::format(": {} {}, {} words", frame.id, titleOf(frame), frame.words);
                break;
            }
            case Kind::CutShort:
                text = warn(nameOf(sighting_.kind));
                text += sighting_.expected == 0
                            ? fmt::format(": the input ends after {} bytes", sighting_.count)
                            : fmt::format(": the input ends after {} of {} bytes", sighting_.count,
                                          sighting_.expected);
                break;
            case Kind::Skipped:
                text = note(fmt::format("skipped {} byte{}", sighting_.count,
                                        sighting_.count == 1 ? "" : "s"));
                break;
            default:
                text = warn(nameOf(sighting_.kind));
        }
        return begin() + text + '\n';
    }

private:
    std::string styled(fmt::text_style style, std::string text) const {
        return options_.colour ? fmt::format(style, "{}", text) : std::move(text);
    }
    std::string warn(std::string text) const {
        return styled(fmt::emphasis::bold | fg(fmt::terminal_color::red), std::move(text));
    }
    std::string note(std::string text) const {
        return styled(fg(fmt::terminal_color::yellow), std::move(text));
    }

    std::string begin() const { return fmt::format("{:>8}  ", sighting_.offset); }

    static std::string titleOf(DecodedFrame const& frame) {
        return std::string(frame.known == nullptr ? "unknown message" : frame.known->title);
    }

    std::string head(DecodedFrame const& frame) const {
        std::string text;
        if (sighting_.record) {
            text = zephonctl::serverNameOf(sighting_.record->deviceId) + ": ";
        }
        addHead(text, frame);
        return text;
    }

    void addHead(std::string& text, DecodedFrame const& frame) const {
        if (frame.hasHeader) {
            text += styled(fmt::emphasis::bold, std::to_string(frame.id)) + ' ';
            if (!frame.handshake.empty()) {
                text += styled(fg(fmt::terminal_color::green), frame.handshake) + " of ";
            }
            text += titleOf(frame);
            if (frame.known != nullptr && frame.handshake.empty()) {
                text += fmt::format(", {}", frame.known->direction);
            }
            text += fmt::format("; {} word{}", frame.words, frame.words == 1 ? "" : "s");
            text += fmt::format("; {}", frame.flags.empty()
                                            ? "no flags"
                                            : fmt::format("{}", fmt::join(frame.flags, ", ")));
        }
        for (auto const& defect : frame.defects) {
            text += (text.empty() ? "" : "; ") + warn(defect);
        }
        if (frame.inner != nullptr) {
            text += fmt::format("; unit {}: ", frame.virtualUnit);
            addHead(text, *frame.inner);
        }
    }

    static std::string detail(std::string const& name, std::string const& value) {
        return fmt::format("          {} = {}\n", name, value);
    }

    static std::string textOf(DecodedField const& field) {
        return std::visit(Overloaded{
                              [](std::string const& text) { return fmt::format("{:?}", text); },
                              [](std::vector<std::uint16_t> const& words) {
                                  return fmt::format("{:04X}", fmt::join(words, " "));
                              },
                              [](std::vector<std::uint8_t> const& bytes) {
                                  return fmt::format("{:02X}", fmt::join(bytes, " "));
                              },
                              [](auto number) { return fmt::format("{}", number); },
                          },
                          field.value);
    }

    static std::string valueOf(DecodedField const& field) {
        return textOf(field) + (field.unit.empty() ? "" : " " + field.unit);
    }

    void addFields(std::string& text, DecodedFrame const& frame) const {
        for (auto const& field : frame.fields) {
            if (field.isRow) {
                addRow(text, field);
            } else {
                text += detail(field.name, valueOf(field));
            }
        }
        if (!frame.undeclared.empty()) {
            text += detail(fmt::format("Words{}", frame.declaredWords),
                           fmt::format("{:04X}", fmt::join(frame.undeclared, " ")));
        }
        if (frame.inner != nullptr) {
            text += detail("Frame", "");
            addFields(text, *frame.inner);
        }
    }

    static void addRow(std::string& text, DecodedField const& row) {
        text += detail(row.name, row.groups.size() == row.counted
                                     ? fmt::format("{}", row.counted)
                                     : fmt::format("{} of {} that are counted", row.groups.size(),
                                                   row.counted));
        for (std::size_t i = 0; i < row.groups.size(); ++i) {
            std::string values;
            for (auto const& field : row.groups[i]) {
                values +=
                    fmt::format("{}{} {}", values.empty() ? "" : ", ", field.name, valueOf(field));
            }
            text += detail(fmt::format("{}[{}]", row.name, i), values);
        }
    }

    Sighting const& sighting_;
    ReportOptions const& options_;
};

// JSON.

Json jsonOf(FieldValue const& value) {
    return std::visit(
        Overloaded{
            // The number with the fewest digits that is the same float, not the same double.
            [](float number) {
                return Json(std::isfinite(number) ? std::stod(fmt::format("{}", number))
                                                  : static_cast<double>(number));
            },
            [](auto const& other) { return Json(other); },
        },
        value);
}

void addFields(Json& object, Json& units, std::vector<DecodedField> const& fields) {
    for (auto const& field : fields) {
        if (!field.isRow) {
            object[field.name] = jsonOf(field.value);
            if (!field.unit.empty()) {
                units[field.name] = field.unit;
            }
            continue;
        }
        Json& row = object[field.name] = Json::array();
        for (auto const& group : field.groups) {
            Json element = Json::object();
            addFields(element, units, group);
            row.push_back(std::move(element));
        }
    }
}

void addFrame(Json& object, DecodedFrame const& frame) {
    if (frame.hasHeader) {
        object["id"] = frame.id;
        if (frame.known != nullptr) {
            object["message"] = frame.known->title;
            object["direction"] = frame.known->direction;
        }
        object["words"] = frame.words;
        object["flagWord"] = frame.flagWord;
        object["flags"] = frame.flags;
        if (!frame.handshake.empty()) {
            object["handshake"] = frame.handshake;
        }
    }
    if (!frame.defects.empty()) {
        object["defects"] = frame.defects;
    }
    if (!frame.fields.empty()) {
        Json units = Json::object();
        addFields(object["fields"] = Json::object(), units, frame.fields);
        if (!units.empty()) {
            object["units"] = std::move(units);
        }
    }
    if (!frame.undeclared.empty()) {
        object["data"] = {{"word", frame.declaredWords}, {"words", frame.undeclared}};
    }
    if (frame.inner != nullptr) {
        addFrame(object["frame"] = Json::object(), *frame.inner);
    }
}

Json jsonOf(RecordHead::Time const& time) {
    return {{"seconds", time.seconds}, {"nanoseconds", time.nanoseconds}, {"code", time.code}};
}

std::string jsonOf(Sighting const& sighting, DecodedFrame const& frame) {
    Json object{{"offset", sighting.offset}, {"kind", nameOf(sighting.kind)}};
    if (sighting.count != 0) {
        object["bytes"] = sighting.count;
    }
    if (sighting.expected != 0 && sighting.kind == Kind::CutShort) {
        object["expected"] = sighting.expected;
    }
    if (sighting.record) {
        object["record"] = {{"sequence", sighting.record->sequence},
                            {"server", zephonctl::serverNameOf(sighting.record->deviceId)},
                            {"device", sighting.record->deviceId},
                            {"arrival", jsonOf(sighting.record->arrival)},
                            {"validity", jsonOf(sighting.record->validity)}};
    }
    if (sighting.kind == Kind::Frame) {
        addFrame(object, frame);
    } else if (frame.hasHeader) {
        object["id"] = frame.id;
        object["words"] = frame.words;
    }
    return object.dump(-1, ' ', true, Json::error_handler_t::replace) + '\n';
}

bool isFlawless(DecodedFrame const& frame) {
    return frame.defects.empty() && (frame.inner == nullptr || isFlawless(*frame.inner));
}

}  // namespace

Report reportOf(Sighting const& sighting, ReportOptions const& options) {
    const bool isFrame = sighting.kind == Kind::Frame;
    DecodedFrame const frame = decode(sighting.bytes.data(), sighting.bytes.size());
    const bool flawless = isFrame && isFlawless(frame);
    if (options.json) {
        return {jsonOf(sighting, frame), flawless};
    }
    Lines lines(sighting, options);
    return {isFrame ? lines.of(frame) : lines.ofDisorder(), flawless};
}

}  // namespace gssipdump
