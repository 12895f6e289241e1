#include "messages/PntdWrapper.h"

#include <algorithm>

namespace {

using Layout = PntdWrapLayout;

constexpr std::size_t innerOffset = GSSIP_HEADER_BYTES + 2 * Layout::innerWord;
constexpr std::size_t checksumBytes = 2;

}  // namespace

PNTD_Wrap_Msg::PNTD_Wrap_Msg() {
    static_assert(sizeof frame_ == maxBytes);
    header = frame_.data();
    data = header + GSSIP_HEADER_WORDS;
    wordCount = Layout::words;
    msgId = Layout::id;
    header[0] = GSSIP_DELSOH;
    header[1] = Layout::id;
    header[2] = Layout::words;
    header[3] = Layout::flagWord;
}

bool PNTD_Wrap_Msg::OkSetContent(const unsigned char* bytes, unsigned short length) {
    if (length > maxBytes) {
        return false;
    }
    if (length > 0) {  // `bytes` of an empty block may be null
        std::memcpy(header, bytes, length);
    }
    msgId = header[1];
    receivedBytes_ = length;
    return true;
}

bool PNTD_Wrap_Msg::WrapMessage(const std::shared_ptr<GssipMessage>& inner) {
    if (inner == nullptr || inner->header == nullptr) {
        return false;
    }
    const std::uint16_t innerWords = inner->header[2];
    if (innerWords > Layout::maxInnerWords || innerWords > inner->wordCount) {
        return false;
    }
    const std::size_t innerBytes = GssipFrameBytes(innerWords);
    set_gpsip_wdcnt(static_cast<unsigned short>(Layout::innerWord + innerBytes / 2));
    header[3] = static_cast<std::uint16_t>(header[3] | (inner->header[3] & FLAG_ACK_REQUEST));
    std::memcpy(data + Layout::innerWord, inner->header, innerBytes);
    insert_checksum();
    return true;
}

void PNTD_Wrap_Msg::SetVirtualZephonNumber(int unit) {
    Layout::VirtualUnit::set(frame_, static_cast<std::uint16_t>(unit));
}

std::uint16_t PNTD_Wrap_Msg::virtualZephonNumber() const {
    return Layout::VirtualUnit::get(frame_);
}

PNTD_Wrap_Msg::InnerFrame PNTD_Wrap_Msg::innerFrame() const {
    if (receivedBytes_ < innerOffset + GSSIP_HEADER_BYTES + checksumBytes) {
        return {};
    }
    const std::uint16_t* const inner = data + Layout::innerWord;
    return {inner[1], reinterpret_cast<const unsigned char*>(inner),
            static_cast<unsigned short>(receivedBytes_ - innerOffset - checksumBytes)};
}

void PNTD_Wrap_Msg::clearAll() {
    std::fill_n(data, Layout::maxWords, std::uint16_t{0});
}
