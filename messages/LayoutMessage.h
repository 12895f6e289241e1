#pragma once

#include <algorithm>
#include <cstring>

#include "GpsSerialIo/GssipFrame.h"
#include "GpsSerialIo/GssipMessage.h"
#include "messages/Fields.h"

/// A message of one fixed layout: it owns the frame and starts with zero data.
/// `Layout` gives `id`, `words` and `flagWord`, the flag word of a fresh message, beside its
/// fields. The header checksum is left 0 until the message is written.
template <typename Layout>
class LayoutMessage : public GssipMessage {
public:
    LayoutMessage() {
        static_assert(Layout::words <= 0xFFFF);
        frame_[0] = GSSIP_DELSOH;
        frame_[1] = Layout::id;
        frame_[2] = Layout::words;
        frame_[3] = Layout::flagWord;
        header = frame_.data();
        data = frame_.data() + fields::headerWords;
        wordCount = Layout::words;
        msgId = Layout::id;
    }

    /// Writes one field, named by its type: `message.set<OstrelPvtLayout::GpsWeek>(2300)`.
    template <typename Field>
    void set(typename Field::Type const& value) {
        Field::set(frame_, value);
    }

    /// Reads one field.
    template <typename Field>
    typename Field::Type get() const {
        return Field::get(frame_);
    }

protected:
    const fields::Frame<Layout::words>& frame() const { return frame_; }
    fields::Frame<Layout::words>& frame() { return frame_; }

    /// Copies a received frame over this one, as far as this one reaches.
    void copyToFrame(const unsigned char* bytes, std::size_t length) {
        std::memcpy(frame_.data(), bytes, std::min(length, sizeof frame_));
    }

private:
    fields::Frame<Layout::words> frame_{};
};
