#include "bench/PntDevice.h"

namespace bench {
namespace {

/// What the device says to a command.
std::vector<UnitFrame> answersTo(pnt::Command command, const PntDevice::State& state) {
    switch (command) {
        case pnt::Command::SendBitStatus:
            return {pnt::makeBitStatus(state.entries)};
        case pnt::Command::Zeroize:
            if (state.zeroize != PntDevice::Answer::Silent) {
                return {pnt::makeSanitizeStatus(state.zeroize == PntDevice::Answer::Pass)};
            }
            break;
        case pnt::Command::Started:
            if (!state.labels.empty()) {
                return pnt::makeFaultLabels(state.labels);
            }
            break;
        case pnt::Command::SendIds:
            return {pnt::makeIds(state.ids)};
        case pnt::Command::OpenSlip:
            if (state.slip != PntDevice::Answer::Silent) {
                return {pnt::makeSlipStatus(state.slip == PntDevice::Answer::Pass)};
            }
            break;
        case pnt::Command::RunTest:  // the outcome is told when the status is asked for
            break;
    }
    return {};
}

}  // namespace

void PntDevice::take(const LoggedFrame& frame) {
    constexpr std::size_t kind = 8;
    if (frame.frame.id != pnt::commandId || frame.frame.isHandshake()) {
        return;
    }
    const State now = state();
    if (now.answering) {
        const auto command = static_cast<pnt::Command>(pnt::dataByte(frame.frame, kind));
        for (const UnitFrame& answer : answersTo(command, now)) {
            line_(answer, now.delay);
        }
    }
}

PntDevice::State PntDevice::state() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return state_;
}

void PntDevice::change(const std::function<void(State&)>& edit) {
    const std::lock_guard<std::mutex> lock(mutex_);
    edit(state_);
}

void PntDevice::sendBitStatus() {
    send(pnt::makeBitStatus(state().entries));
}

void PntDevice::sendFaultLabels() {
    for (const UnitFrame& frame : pnt::makeFaultLabels(state().labels)) {
        send(frame);
    }
}

void PntDevice::sendIds() {
    send(pnt::makeIds(state().ids));
}

}  // namespace bench
