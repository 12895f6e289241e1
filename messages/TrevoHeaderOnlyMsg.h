#pragma once

#include "messages/LayoutMessage.h"

/// A frame without data, of any identifier: acknowledgements, and the pause token that a
/// link's own write thread understands (flag word 0).
struct TrevoHeaderOnlyLayout {
    static constexpr std::uint16_t id = 0;
    static constexpr std::uint16_t words = 0;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;
};

class TrevoHeaderOnlyMsg : public LayoutMessage<TrevoHeaderOnlyLayout> {
public:
    TrevoHeaderOnlyMsg() = default;
    TrevoHeaderOnlyMsg(unsigned short id, unsigned short flagWord);

    /// Rewrites all five header words; word count and header checksum become 0.
    void setMsgIdAndFlag(unsigned short id, unsigned short flagWord);
};
