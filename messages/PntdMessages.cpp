#include "messages/PntdMessages.h"

#include <algorithm>
#include <cstring>

namespace PNTDBIT {
namespace {

/// Data words of a received frame, whose last word is the checksum.
std::size_t dataWords(unsigned short length) {
    const std::size_t words = length / 2U;
    const std::size_t around = GSSIP_HEADER_WORDS + 1;
    return words < around ? 0 : words - around;
}

template <typename Groups, typename CountField, typename Payload>
std::optional<Received<Payload>> readGroups(const unsigned char* frame, unsigned short length) {
    const std::size_t words = dataWords(length);
    if (words < Groups::begin || words > Payload::words) {
        return std::nullopt;
    }
    Received<Payload> received;
    std::memcpy(received.record.data.data(), frame + GSSIP_HEADER_BYTES, 2 * words);
    const std::size_t arrived = (words - Groups::begin) / Groups::words;
    received.groups = std::min<std::size_t>(received.record.template get<CountField>(), arrived);
    return received;
}

}  // namespace

std::optional<Received<PntdBitStatusMsg>> readBitStatus(const unsigned char* frame,
                                                        unsigned short length) {
    using Message = PntdBitStatusMsg;
    return readGroups<Message::Entries, Message::EntryCount, Message>(frame, length);
}

std::optional<Received<PntdFaultLabelsMsg>> readFaultLabels(const unsigned char* frame,
                                                            unsigned short length) {
    using Message = PntdFaultLabelsMsg;
    return readGroups<Message::Labels, Message::LabelCount, Message>(frame, length);
}

}  // namespace PNTDBIT
