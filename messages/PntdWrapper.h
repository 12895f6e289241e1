#pragma once

#include <memory>

#include "GpsSerialIo/GssipMessage.h"
#include "messages/Fields.h"

/// Messages 27552 (to) and 27553 (from) one virtual unit, a whole frame within a frame.
///
///     word  0              1                            w + 7
///         +--------------+----------------------------+
///         | virtual unit | inner frame: header, data, |
///         | number       | data checksum              |
///         +--------------+----------------------------+
///
/// An inner frame of w data words makes w + 7 words here, one without data 6: it has no data
/// checksum.
struct PntdWrapLayout {
    static constexpr std::uint16_t id = 27552;
    /// Word count of a fresh message.
    static constexpr std::uint16_t words = 240;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    static constexpr std::uint16_t maxInnerWords = 234;
    /// The longest inner frame needs one word more than a fresh message tells.
    static constexpr std::size_t maxWords = maxInnerWords + 7;

    using VirtualUnit = fields::WordField<0>;
    static constexpr std::size_t innerWord = 1;  // where the inner frame begins
};

/// A frame on its way to or from one virtual unit. One thread at a time; see GssipMessage.
class PNTD_Wrap_Msg : public GssipMessage {
public:
    /// A received inner frame as far as it arrived. `bytes` lie in the wrapper and live as long
    /// as its content; nothing in the inner frame is verified.
    struct InnerFrame {
        unsigned short msgId = 0;
        const unsigned char* bytes = nullptr;
        unsigned short length = 0;  ///< bytes; 0, or at least a header
    };

    /// Longest frame that OkSetContent takes.
    static constexpr std::size_t maxBytes = GssipFrameBytes(PntdWrapLayout::maxWords);

    PNTD_Wrap_Msg();

    /// Takes any frame of up to 494 bytes and `msgId` from it, whatever its word count says;
    /// `wordCount` stays. A longer one changes nothing and returns false.
    bool OkSetContent(const unsigned char* bytes, unsigned short length) override;

    /// Puts the inner frame behind the unit number, with word counts, checksums and the inner
    /// frame's wish for an ACK in the header. Returns false and changes nothing when `inner` has
    /// no frame, more than 234 data words, or a header that tells more words than it owns. The
    /// inner checksums are copied as they stand: insert them first.
    virtual bool WrapMessage(const std::shared_ptr<GssipMessage>& inner);

    void SetVirtualZephonNumber(int unit);
    std::uint16_t virtualZephonNumber() const;

    /// What OkSetContent took last, from the inner header to before the wrapper's own checksum;
    /// length 0 when no whole inner header arrived.
    InnerFrame innerFrame() const;

    /// Zeroes all words behind the header that data can take.
    void clearAll();

private:
    unsigned short receivedBytes_ = 0;
    fields::Frame<PntdWrapLayout::maxWords> frame_{};
};
