#include "ASPN/TimeTags.h"

#include <limits>

namespace ASPN2 {

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

timestamp plain(const aspn2_msgs::idl::timestamp& stamp) {
    return {stamp.sec(), stamp.nsec(), stamp.time_code()};
}

void assign(const timestamp& from, aspn2_msgs::idl::timestamp& to) {
    to.sec(from.sec);
    to.nsec(from.nsec);
    to.time_code(from.time_code);
}

// a - b. The difference of two 64-bit numbers may need 65 bits: its size always fits without
// the sign.
double difference(std::int64_t a, std::int64_t b) {
    const auto unsignedA = static_cast<std::uint64_t>(a);
    const auto unsignedB = static_cast<std::uint64_t>(b);
    return a >= b ? static_cast<double>(unsignedA - unsignedB)
                  : -static_cast<double>(unsignedB - unsignedA);
}

}  // namespace

TimeCodeHelper& TimeCodeHelper::Instance() {
    static TimeCodeHelper instance;
    return instance;
}

void TimeCodeHelper::setLiveMode() {
    timeCode_ = LIVE;
}

void TimeCodeHelper::setSimMode() {
    timeCode_ = SIMULATION;
}

std::int32_t TimeCodeHelper::getTimeCode() const {
    return timeCode_;
}

std::chrono::nanoseconds nanosecondsOf(unsigned long long fpgaTicks) {
    // 1,000,000,000 / 58,982,400 in lowest terms. The whole multiples of the divisor are taken
    // apart: the plain product would leave 63 bits after 23 days.
    constexpr unsigned long long numerator = 78'125;
    constexpr unsigned long long divisor = 4'608;
    constexpr std::int64_t ahead = 8;
    constexpr unsigned long long largest = std::numeric_limits<std::int64_t>::max();

    const unsigned long long whole = fpgaTicks / divisor;
    const unsigned long long rest = fpgaTicks % divisor * numerator / divisor;
    if (whole > (largest - rest) / numerator) {
        return std::chrono::nanoseconds::max();
    }
    return std::chrono::nanoseconds(static_cast<std::int64_t>(whole * numerator + rest) - ahead);
}

std::chrono::nanoseconds nanosecondsOf(const timestamp& stamp) {
    std::int64_t total = 0;
    if (__builtin_mul_overflow(stamp.sec, nanosecondsPerSecond, &total) ||
        __builtin_add_overflow(total, std::int64_t{stamp.nsec}, &total)) {
        return stamp.sec < 0 ? std::chrono::nanoseconds::min() : std::chrono::nanoseconds::max();
    }
    return std::chrono::nanoseconds(total);
}

timestamp timestampOf(std::chrono::nanoseconds time) {
    return {time.count() / nanosecondsPerSecond,
            static_cast<std::int32_t>(time.count() % nanosecondsPerSecond),
            TimeCodeHelper::Instance().getTimeCode()};
}

double secondsBetween(const timestamp& before, const timestamp& after) {
    // Summed up as nanoseconds, which are whole numbers: whole seconds and a fraction added as
    // seconds would lose digits where they have opposite signs.
    constexpr auto scale = static_cast<double>(nanosecondsPerSecond);
    return (difference(after.sec, before.sec) * scale + difference(after.nsec, before.nsec)) /
           scale;
}

std::chrono::nanoseconds nanosecondsBetween(const timestamp& before, const timestamp& after) {
    std::int64_t seconds = 0;
    if (__builtin_sub_overflow(after.sec, before.sec, &seconds)) {
        return after.sec < before.sec ? std::chrono::nanoseconds::min()
                                      : std::chrono::nanoseconds::max();
    }
    std::int64_t total = 0;
    const std::int64_t rest = std::int64_t{after.nsec} - std::int64_t{before.nsec};
    if (__builtin_mul_overflow(seconds, nanosecondsPerSecond, &total) ||
        __builtin_add_overflow(total, rest, &total)) {
        return seconds < 0 ? std::chrono::nanoseconds::min() : std::chrono::nanoseconds::max();
    }
    return std::chrono::nanoseconds(total);
}

timestamp validityOf(const aspn2_msgs::idl::header& of) {
    return plain(of.timestamp_valid());
}

timestamp arrivalOf(const aspn2_msgs::idl::header& of) {
    return plain(of.timestamp_arrival());
}

void setValidity(const timestamp& time, aspn2_msgs::idl::header& of) {
    assign(time, of.timestamp_valid());
}

void setArrival(const timestamp& time, aspn2_msgs::idl::header& of) {
    assign(time, of.timestamp_arrival());
}

void copyHeader_fromTo(const aspn2_msgs::idl::header& from, header& to) {
    to.seq_num = from.seq_num();
    setToVandToA_fromTo(from, to);
    to.device_id = from.device_id();
}

void copyHeader_fromTo(const header& from, aspn2_msgs::idl::header& to) {
    to.seq_num(from.seq_num);
    setToVandToA_fromTo(from, to);
    to.device_id(from.device_id);
}

}  // namespace ASPN2
