#include "messages/AntiJamMessages.h"

#include <algorithm>
#include <cmath>

namespace {

template <typename Bytes>
bool areAll(const Bytes& bytes, std::uint8_t value) {
    return std::all_of(bytes.begin(), bytes.end(), [value](auto byte) { return byte == value; });
}

}  // namespace

AjasStatus::AjasStatus() {
    header[1] = 0;
    header[2] = 0;
}

bool AjasStatus::isInPassthroughMode() const {
    using Layout = AjasStatusLayout;
    return get<Layout::Mode0>() == 0x4100 && areAll(get<Layout::Mode2>(), 0x41) &&
           areAll(get<Layout::Mode14>(), 0x11);
}

DigarPN::DigarPN() {
    header[1] = 0;
    header[2] = 0;
}

void DigarPN::setUnitIdentifier() {
    header[1] = DigarPnLayout::id;
    msgId = DigarPnLayout::id;
}

void ThreatData::setGpsTime(double time) {
    constexpr double week = 604800.0;
    // One remainder instead of a subtraction for each week: a time from outside may be huge.
    if (std::isfinite(time) && (time > week || time < 0)) {
        const double rest = std::fmod(time, week);
        if (time < 0) {
            time = rest < 0 ? rest + week : 0.0;
        } else {
            time = rest > 0 ? rest : week;
        }
    }
    set<ThreatDataLayout::GpsTime>(time);
}
