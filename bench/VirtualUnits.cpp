#include "bench/VirtualUnits.h"

#include <stdexcept>
#include <utility>

#include "bench/Patience.h"

namespace bench {
namespace {

constexpr std::uint16_t command = 5001;
constexpr std::uint16_t status = 5044;

constexpr std::size_t keptDefects = 20;

void checkUnit(unsigned unit) {
    if (unit < 1 || unit > VirtualUnits::count) {
        throw std::out_of_range("there is no virtual unit " + std::to_string(unit));
    }
}

}  // namespace

UnitFrame wrapBytes(std::uint16_t id, std::uint16_t unit, const std::vector<std::uint8_t>& inner) {
    if (inner.size() % 2 != 0) {
        throw std::invalid_argument("a wrapper holds whole words");
    }
    UnitFrame wrapper{id, UnitFrame::linkReady, {unit}};
    for (std::size_t i = 0; i < inner.size(); i += 2) {
        wrapper.data.push_back(static_cast<std::uint16_t>(inner[i] | inner[i + 1] << 8U));
    }
    return wrapper;
}

UnitFrame wrap(std::uint16_t id, std::uint16_t unit, const UnitFrame& inner) {
    UnitFrame wrapper = wrapBytes(id, unit, inner.encode());
    wrapper.flags =
        static_cast<std::uint16_t>(wrapper.flags | (inner.flags & UnitFrame::ackRequest));
    return wrapper;
}

std::vector<std::uint8_t> innerBytes(const UnitFrame& wrapper) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 1; i < wrapper.data.size(); ++i) {
        bytes.push_back(static_cast<std::uint8_t>(wrapper.data[i] & 0xFFU));
        bytes.push_back(static_cast<std::uint8_t>(wrapper.data[i] >> 8U));
    }
    return bytes;
}

UnitFrame makeStatus(std::uint16_t statusId, std::string text) {
    constexpr std::size_t characters = 32;
    UnitFrame frame{status, UnitFrame::linkReady | UnitFrame::ackRequest, {0, 0, 0, 0, statusId}};
    text.resize(characters);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        frame.data.push_back(static_cast<std::uint16_t>(static_cast<unsigned char>(text[i]) << 8U |
                                                        static_cast<unsigned char>(text[i + 1])));
    }
    return frame;
}

VirtualUnits::VirtualUnits(Line line) : VirtualUnits(std::move(line), Options()) {}

VirtualUnits::VirtualUnits(Line line, Options options)
    : line_(std::move(line)),
      options_(std::move(options)),
      units_{Unit{FrameLog<VirtualFrame>(options_.keptFrames), {}},
             Unit{FrameLog<VirtualFrame>(options_.keptFrames), {}},
             Unit{FrameLog<VirtualFrame>(options_.keptFrames), {}},
             Unit{FrameLog<VirtualFrame>(options_.keptFrames), {}}} {}

void VirtualUnits::take(const LoggedFrame& frame) {
    if (frame.frame.isHandshake()) {
        return;  // the line's own business
    }
    if (frame.frame.id != toVirtualUnit) {
        for (unsigned unit = 1; unit <= count; ++unit) {
            deliver(unit, VirtualFrame{frame, false});
        }
        return;
    }
    if (frame.frame.data.empty()) {
        note("a wrapper without a unit number");
        return;
    }
    const unsigned unit = frame.frame.data.front();
    if (unit < 1 || unit > count) {
        note("a wrapper for virtual unit " + std::to_string(unit));
        return;
    }
    std::vector<std::uint8_t> bytes = innerBytes(frame.frame);
    std::string defect;
    const auto inner = decodeFrame(bytes.data(), bytes.size(), &defect);
    if (!inner) {
        note("the frame for virtual unit " + std::to_string(unit) + ": " + defect + ": " +
             hexadecimal(bytes));
        return;
    }
    deliver(unit, VirtualFrame{{*inner, std::move(bytes), frame.lastByte}, true});
}

void VirtualUnits::note(const std::string& defect) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++defects_;
    if (defectTexts_.size() < keptDefects) {
        defectTexts_.push_back(defect);
    }
    changed_.notify_all();
}

void VirtualUnits::deliver(unsigned unit, const VirtualFrame& frame) {
    if (options_.observer) {
        options_.observer(unit, frame);
    }
    VirtualReaction reaction;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        reaction = takeReaction(units_.at(unit - 1), frame.frame.id);
    }
    if (!reaction.onlyWhenAsked || frame.frame.has(UnitFrame::ackRequest)) {
        for (const UnitFrame& answer : reaction.answers) {
            line_.sendLater(wrap(fromVirtualUnit, static_cast<std::uint16_t>(unit), answer),
                            reaction.delay);
        }
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    units_.at(unit - 1).log.add(frame);
    changed_.notify_all();
}

VirtualReaction VirtualUnits::defaultReaction(std::uint16_t id) {
    VirtualReaction reaction;
    if (id == command) {
        reaction.answers = {makeStatus(commandTaken, "COMMAND TAKEN")};
        reaction.onlyWhenAsked = true;
    }
    return reaction;
}

/// Called with the lock held.
VirtualReaction VirtualUnits::takeReaction(Unit& unit, std::uint16_t id) {
    const auto found = unit.reactions.find(id);
    if (found == unit.reactions.end()) {
        return defaultReaction(id);
    }
    VirtualReaction reaction = found->second;
    if (found->second.count > 0 && --found->second.count == 0) {
        unit.reactions.erase(found);
    }
    return reaction;
}

void VirtualUnits::setReaction(unsigned unit, std::uint16_t id, VirtualReaction reaction) {
    const std::lock_guard<std::mutex> lock(mutex_);
    units_.at(unit - 1).reactions[id] = std::move(reaction);
}

void VirtualUnits::send(unsigned unit, const UnitFrame& inner) {
    checkUnit(unit);
    line_.send(wrap(fromVirtualUnit, static_cast<std::uint16_t>(unit), inner));
}

void VirtualUnits::sendBytes(unsigned unit, const std::vector<std::uint8_t>& inner) {
    checkUnit(unit);
    line_.send(wrapBytes(fromVirtualUnit, static_cast<std::uint16_t>(unit), inner));
}

std::vector<VirtualFrame> VirtualUnits::frames(unsigned unit) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return units_.at(unit - 1).log.all();
}

std::vector<VirtualFrame> VirtualUnits::frames(unsigned unit, std::uint16_t id) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return units_.at(unit - 1).log.ofId(id);
}

bool VirtualUnits::waitForFrames(unsigned unit, std::size_t wantedCount, Duration timeout,
                                 const Predicate& wanted) const {
    std::uint64_t next = 0;
    std::size_t seen = 0;
    std::unique_lock<std::mutex> lock(mutex_);
    const FrameLog<VirtualFrame>& log = units_.at(unit - 1).log;
    return waitFor(changed_, lock, timeout, [&] {
        seen += log.countFrom(next, wanted);
        return seen >= wantedCount;
    });
}

bool VirtualUnits::waitForFrames(unsigned unit, std::uint16_t id, std::size_t wantedCount,
                                 Duration timeout) const {
    return waitForFrames(unit, wantedCount, timeout,
                         [id](const VirtualFrame& entry) { return entry.frame.id == id; });
}

std::uint64_t VirtualUnits::defects() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return defects_;
}

bool VirtualUnits::waitForDefects(std::uint64_t wantedCount, Duration timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return waitFor(changed_, lock, timeout, [&] { return defects_ >= wantedCount; });
}

std::vector<std::string> VirtualUnits::defectTexts() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return defectTexts_;
}

std::string VirtualUnits::describe(std::size_t most) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string text = std::to_string(defects_) + " damaged wrappers\n";
    for (const std::string& defect : defectTexts_) {
        text += "  " + defect + "\n";
    }
    for (unsigned unit = 1; unit <= count; ++unit) {
        text += "virtual unit " + std::to_string(unit) + ":\n";
        for (const VirtualFrame& entry : units_.at(unit - 1).log.last(most)) {
            // What is for all stands in the log of the link already.
            if (entry.wrapped) {
                text +=
                    "  " + std::to_string(entry.frame.id) + ": " + hexadecimal(entry.bytes) + "\n";
            }
        }
    }
    return text;
}

}  // namespace bench
