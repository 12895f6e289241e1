#include "tools/GssipDecoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "GpsSerialIo/GssipFrame.h"
#include "messages/PntdWrapper.h"

namespace gssipdump {

namespace {

constexpr std::size_t wordBits = 16;

struct FlagName {
    std::uint16_t mask;
    char const* name;
};
constexpr std::array flagNames{
    FlagName{FLAG_LINK_READY, "link ready"},
    FlagName{FLAG_ACK_REQUEST, "ACK request"},
    FlagName{FLAG_ACK, "ACK"},
    FlagName{FLAG_NAK, "NAK"},
    FlagName{FLAG_RESPONSE, "response"},
    FlagName{FLAG_REJECT, "reject"},
};

/// What a frame without data is for.
char const* handshakeOf(std::uint16_t flagWord) {
    if ((flagWord & FLAG_RESPONSE) != 0) {
        return (flagWord & FLAG_REJECT) != 0 ? "reject" : "response";
    }
    if ((flagWord & FLAG_NAK) != 0) {
        return "NAK";
    }
    return (flagWord & FLAG_ACK) != 0 ? "ACK" : "";
}

template <typename Matches>
DeclaredLayout const* findLayout(Matches matches) {
    auto const& layouts = declaredLayouts();
    auto const found = std::find_if(layouts.begin(), layouts.end(), matches);
    return found == layouts.end() ? nullptr : &*found;
}

std::vector<DecodedField> fieldsOf(DeclaredLayout const& layout, std::uint16_t const* data,
                                   std::size_t words);

DecodedField rowOf(DeclaredField const& field, std::uint16_t const* layoutData,
                   std::uint16_t const* data, std::size_t words) {
    auto const& groups = *field.groups;
    DecodedField row{field.name, field.unit, {}, true, 0, {}};
    row.counted = std::get<std::uint64_t>(groups.counted(layoutData));
    DeclaredLayout const* const group = findLayout(
        [&groups](DeclaredLayout const& layout) { return layout.type == groups.layout; });
    const std::size_t arrived = words < groups.begin ? 0 : (words - groups.begin) / groups.words;
    const std::size_t shown =
        std::min({static_cast<std::size_t>(row.counted), arrived, groups.places});
    for (std::size_t i = 0; group != nullptr && i < shown; ++i) {
        row.groups.push_back(
            fieldsOf(*group, data + groups.begin + i * groups.words, groups.words));
    }
    return row;
}

/// The fields whose words all arrived.
std::vector<DecodedField> fieldsOf(DeclaredLayout const& layout, std::uint16_t const* data,
                                   std::size_t words) {
    std::vector<std::uint16_t> whole(layout.words);
    std::copy_n(data, std::min(words, whole.size()), whole.begin());
    std::vector<DecodedField> fields;
    for (auto const& field : layout.fields) {
        if (field.groups) {
            fields.push_back(rowOf(field, whole.data(), data, words));
        } else if (field.extent.firstBit + field.extent.bits <= wordBits * words) {
            fields.push_back({field.name, field.unit, field.read(whole.data()), false, 0, {}});
        }
    }
    return fields;
}

std::uint16_t wordAt(unsigned char const* bytes, std::size_t index) {
    return SumOfWords(bytes + 2 * index, 1);
}

/// Checks what the parser of a line checks, for a frame that did not come through one. Returns
/// how many data words arrived.
std::size_t check(unsigned char const* bytes, std::size_t count, DecodedFrame& frame) {
    if (wordAt(bytes, 0) != GSSIP_DELSOH) {
        frame.defects.emplace_back("no delimiter");
    }
    if (SumOfWords(bytes, GSSIP_HEADER_WORDS) != 0) {
        frame.defects.emplace_back("bad header checksum");
    }
    const std::size_t expected = GssipFrameBytes(frame.words);
    if (count < expected) {
        frame.defects.emplace_back("cut short");
    } else if (SumOfWords(bytes + GSSIP_HEADER_BYTES, (expected - GSSIP_HEADER_BYTES) / 2) != 0) {
        frame.defects.emplace_back("bad data checksum");
    }
    if (count > expected) {
        frame.defects.emplace_back("bytes behind its end");
    }
    return std::min<std::size_t>(frame.words, (count - GSSIP_HEADER_BYTES) / 2);
}

/// The frame within, as far as the server would see it.
void decodeInner(unsigned char const* bytes, std::size_t count, DecodedFrame& frame) {
    PNTD_Wrap_Msg wrapper;
    if (count > PNTD_Wrap_Msg::maxBytes ||
        !wrapper.OkSetContent(bytes, static_cast<unsigned short>(count))) {
        frame.defects.emplace_back("too long for a frame around another");
        return;
    }
    PNTD_Wrap_Msg::InnerFrame const inner = wrapper.innerFrame();
    if (inner.length == 0) {
        frame.defects.emplace_back("no frame within");
        return;
    }
    frame.virtualUnit = wrapper.virtualZephonNumber();
    // The wrapper may have more words than the frame within fills.
    frame.inner = std::make_unique<DecodedFrame>(decode(
        inner.bytes, std::min<std::size_t>(inner.length, GssipFrameBytes(wordAt(inner.bytes, 2)))));
}

}  // namespace

KnownMessage const* findKnownMessage(unsigned id) {
    auto const* const found =
        std::find_if(knownMessages.begin(), knownMessages.end(),
                     [id](KnownMessage const& message) { return message.id == id; });
    return found == knownMessages.end() ? nullptr : found;
}

DecodedFrame decode(unsigned char const* bytes, std::size_t count) {
    DecodedFrame frame;
    if (count < GSSIP_HEADER_BYTES) {
        frame.defects.emplace_back("no whole header");
        return frame;
    }
    frame.hasHeader = true;
    frame.id = wordAt(bytes, 1);
    frame.words = wordAt(bytes, 2);
    const std::uint16_t flagWord = wordAt(bytes, 3);
    frame.flagWord = flagWord;
    for (auto const& flag : flagNames) {
        if ((flagWord & flag.mask) != 0) {
            frame.flags.emplace_back(flag.name);
        }
    }
    if (frame.words == 0) {
        frame.handshake = handshakeOf(flagWord);
    }
    frame.known = findKnownMessage(frame.id);

    std::vector<std::uint16_t> data(check(bytes, count, frame));
    if (!data.empty()) {
        std::memcpy(data.data(), bytes + GSSIP_HEADER_BYTES, 2 * data.size());
    }
    if (frame.words == 0) {
        return frame;
    }
    DeclaredLayout const* const layout =
        frame.known == nullptr ? nullptr : findLayout([&frame](DeclaredLayout const& declared) {
            return declared.name == frame.known->layout;
        });
    if (layout == nullptr) {
        frame.undeclared = std::move(data);
        return frame;
    }
    frame.declaredWords = layout->words;
    frame.fields = fieldsOf(*layout, data.data(), data.size());
    if (layout->type == typeid(PntdWrapLayout)) {
        decodeInner(bytes, count, frame);
    } else if (data.size() > layout->words) {
        frame.undeclared.assign(data.begin() + static_cast<std::ptrdiff_t>(layout->words),
                                data.end());
    }
    return frame;
}

}  // namespace gssipdump
