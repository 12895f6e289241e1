#include "zephon/FaultLabels.h"

#include <array>
#include <charconv>
#include <string_view>

#include "zephon/PntdBit.h"

using PNTDBIT::PntdBitEntry;

namespace {

unsigned char testIdOf(PntdBitEntry const& entry) {
    return static_cast<unsigned char>(entry.get<PntdBitEntry::TestId>());
}

void appendDecimal(std::string& text, unsigned value) {
    std::array<char, 10> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    text.append(digits.data(), end);
}

}  // namespace

std::size_t FaultLabels::add(PNTDBIT::Received<PNTDBIT::PntdFaultLabelsMsg> const& labels) {
    using PNTDBIT::PntdFaultLabel;
    const platform::MutexLock lock(mutex_);
    for (std::size_t i = 0; i < labels.groups && labels_.size() < capacity; ++i) {
        const auto label = PNTDBIT::PntdFaultLabelsMsg::Labels::get(labels.record, i);
        labels_.emplace(label.bitType(),
                        static_cast<unsigned char>(label.get<PntdFaultLabel::TestId>()),
                        label.get<PntdFaultLabel::Descriptor>());
    }
    return labels_.size();
}

void FaultLabels::describe(PntdBitEntry const& entry, std::string& text) const {
    text = PNTDBIT::bitTypeName(entry.bitType());
    text += " Tst: ";
    appendDecimal(text, testIdOf(entry));
    text += ' ';
    text += PNTDBIT::faultStatusName(entry.faultStatus());

    // An empty descriptor sorts before all others.
    const Label first(entry.bitType(), testIdOf(entry), std::string());
    const platform::MutexLock lock(mutex_);
    const auto found = labels_.lower_bound(first);
    if (found != labels_.end() && std::get<0>(*found) == std::get<0>(first) &&
        std::get<1>(*found) == std::get<1>(first)) {
        text += ": ";
        text += std::get<2>(*found);
    }
}
