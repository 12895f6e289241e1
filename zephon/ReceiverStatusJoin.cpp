#include "zephon/ReceiverStatusJoin.h"

#include <cmath>
#include <limits>

namespace {

constexpr double secondsPerWeek = 604800.0;
// A pair lies less than 0.3 s apart; decimal fractions may miss that by their rounding.
constexpr double matchWindow = 0.3 - 1e-9;

constexpr std::uint16_t toleratedMisses = 5;

// One metre in other units.
constexpr float SPB_METER2FT = 3.28084F;
constexpr float SPB_METER2YD = 1.0936133F;
constexpr float SPB_METER2KM = 0.001F;
constexpr float SPB_METER2MI = 0.00062137120F;
constexpr float SPB_METER2NM = 0.00053995679F;

/// A code that names no unit leaves the value as it is.
float toMetres(float distance, std::uint8_t unit) {
    switch (unit) {
        case 1:
            return distance / SPB_METER2FT;
        case 2:
            return distance / SPB_METER2YD;
        case 3:
            return distance / SPB_METER2KM;
        case 4:
            return distance / SPB_METER2MI;
        case 5:
            return distance / SPB_METER2NM;
        default:
            return distance;
    }
}

std::uint8_t modeOf(Trevo_8504_Msg const& mark) {
    using Layout = Trevo8504Layout;
    return mark.get<Layout::Status96Bit5>() == 0 && mark.get<Layout::Status117Bit7>() != 0 ? 0 : 3;
}

}  // namespace

bool ReceiverStatusJoin::store5040(const unsigned char* bytes, unsigned short length) {
    if (!stored5040_.ok_set_5040_gpsip(bytes, length)) {
        return false;
    }
    stored5040_.unpack_5040();
    received5040_ = true;
    return true;
}

bool ReceiverStatusJoin::store9391(const unsigned char* bytes, unsigned short length) {
    if (!stored9391_.ok_set_9391_gpsip(bytes, length)) {
        return false;
    }
    received9391_ = true;
    return true;
}

bool ReceiverStatusJoin::isSameInstant() const {
    double difference = stored5040_.record.time - stored9391_.get<Trevo9391Layout::Time>();
    if (difference < -secondsPerWeek / 2) {
        difference += secondsPerWeek;
    } else if (difference > secondsPerWeek / 2) {
        difference -= secondsPerWeek;
    }
    return std::abs(difference) < matchWindow;  // false for what is no number
}

std::shared_ptr<CRM30000_Msg> ReceiverStatusJoin::takeOutput(Trevo_8504_Msg const& mark) {
    if (!received5040_ || !received9391_ || !isSameInstant()) {
        return nullptr;
    }
    received5040_ = false;
    received9391_ = false;
    auto output = std::make_shared<CRM30000_Msg>();
    auto& to = output->record;
    auto const& from5040 = stored5040_.record;
    to.time = stored9391_.get<Trevo9391Layout::Time>();
    to.from9391Words2To3 = stored9391_.get<Trevo9391Layout::Words2>();
    to.from9391Word12 = stored9391_.get<Trevo9391Layout::Word12>();
    to.distanceOf5040Word36 = toMetres(from5040.distance36, from5040.distanceUnit38);
    to.distanceOf5040Word82 = toMetres(from5040.distance82, from5040.distanceUnit84);
    to.from5040Word42 = from5040.word42;
    to.from5040Word49 = from5040.nibble49;
    to.from5040Word61 = from5040.flag61 ? 1 : 0;
    to.from5040Word71 = from5040.word71;
    to.from5040Word72 = from5040.word72;
    to.from5040Word73 = from5040.word73;
    to.from5040Word74 =
        static_cast<std::uint16_t>(stored5040_.get<Trevo5040Layout::Hundredths74>());
    to.from5040Word75 = from5040.word75;
    to.from5040Word77 = from5040.nibble77;
    to.mode = modeOf(mark);
    output->pack_30000();
    return output;
}

bool ReceiverStatusJoin::isNoAckDue(bool ackPending) {
    if (!ackPending) {
        crmMissedAcks_ = 0;
    } else if (crmMissedAcks_ < std::numeric_limits<std::uint16_t>::max()) {
        ++crmMissedAcks_;
    }
    return crmMissedAcks_ > toleratedMisses;
}
