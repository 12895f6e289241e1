#include "bench/PntMessages.h"

#include <algorithm>

namespace bench::pnt {
namespace {

constexpr std::size_t timeBytes = 8;

/// Puts the data of a message together, byte by byte from behind the time on.
class Data {
public:
    Data& byte(unsigned value) {
        bytes_.push_back(static_cast<std::uint8_t>(value));
        return *this;
    }

    /// `width` is even.
    Data& text(std::string text, std::size_t width) {
        text.resize(width);
        for (std::size_t i = 0; i < width; i += 2) {
            byte(static_cast<unsigned char>(text[i + 1])).byte(static_cast<unsigned char>(text[i]));
        }
        return *this;
    }

    /// The message, filled up with zeroes to `words` at least.
    UnitFrame frame(std::uint16_t id, std::size_t words = 0) {
        bytes_.resize(std::max(bytes_.size(), 2 * words));
        UnitFrame frame{id, UnitFrame::linkReady, {}};
        for (std::size_t i = 0; i < bytes_.size(); i += 2) {
            frame.data.push_back(static_cast<std::uint16_t>(bytes_[i] | bytes_[i + 1] << 8U));
        }
        return frame;
    }

private:
    std::vector<std::uint8_t> bytes_ = std::vector<std::uint8_t>(timeBytes);
};

constexpr std::size_t statusWords = 9;

UnitFrame makeStatus(unsigned kind, unsigned byte10, unsigned byte11 = 0) {
    return Data().byte(kind).byte(0).byte(byte10).byte(byte11).frame(statusId, statusWords);
}

}  // namespace

UnitFrame makeTransferStatus(unsigned unit, unsigned port, unsigned outcome) {
    return makeStatus(1, (unit & 7U) | (port & 3U) << 3U, outcome & 3U);
}

UnitFrame makeSanitizeStatus(bool passed) {
    return makeStatus(2, passed ? 1 : 0);
}

UnitFrame makeSlipStatus(bool open) {
    return makeStatus(3, open ? 1 : 0);
}

UnitFrame makeFaultReport(const FaultReport& report) {
    return Data()
        .byte(report.flags)
        .byte(report.test)
        .byte(report.number & 7U)
        .byte(0)
        .text(report.category, 10)
        .text(report.location, 10)
        .text(report.outcome, 6)
        .text(report.relation, 16)
        .frame(faultReportId);
}

UnitFrame makeLogReport(const LogReport& report) {
    return Data()
        .byte(report.flags)
        .byte(0)
        .text(report.category, 10)
        .text(report.location, 10)
        .text(report.outcome, 6)
        .text(report.relation, 16)
        .text(report.text, 56)
        .frame(logReportId);
}

UnitFrame makeBitStatus(const std::vector<Entry>& entries) {
    unsigned summary = 0;
    for (const Entry& entry : entries) {
        if (entry.fault != 0) {
            summary |= 1U | (entry.type >= post && entry.type <= cbit ? 1U << entry.type : 0U);
        }
    }
    Data data;
    data.byte(summary).byte(static_cast<unsigned>(entries.size()));
    for (const Entry& entry : entries) {
        data.byte((entry.type & 3U) | (entry.fault & 3U) << 2U).byte(entry.test);
    }
    return data.frame(bitStatusId);
}

std::vector<UnitFrame> makeFaultLabels(const std::vector<Label>& labels) {
    constexpr std::size_t most = 3;
    const std::size_t messages = std::max<std::size_t>((labels.size() + most - 1) / most, 1);
    std::vector<UnitFrame> frames;
    for (std::size_t message = 1; message <= messages; ++message) {
        const std::size_t first = (message - 1) * most;
        const std::size_t last = std::min(first + most, labels.size());
        Data data;
        data.byte(static_cast<unsigned>(last - first))
            .byte(static_cast<unsigned>(message << 4U | (messages & 15U)));
        for (std::size_t i = first; i < last; ++i) {
            data.byte(labels[i].type & 3U).byte(labels[i].test).text(labels[i].text, 56);
        }
        frames.push_back(data.frame(faultLabelsId));
    }
    return frames;
}

UnitFrame makeIds(const Ids& ids) {
    constexpr std::size_t characters = 16;
    return Data()
        .text(ids.hardware, characters)
        .text(ids.serial, characters)
        .text(ids.software, characters)
        .text(ids.firmware, characters)
        .text(ids.os, characters)
        .frame(idsId);
}

std::uint8_t dataByte(const UnitFrame& frame, std::size_t index) {
    const std::size_t word = index / 2;
    return word < frame.data.size()
               ? static_cast<std::uint8_t>(frame.data[word] >> (index % 2 == 0 ? 0U : 8U))
               : std::uint8_t{0};
}

}  // namespace bench::pnt
