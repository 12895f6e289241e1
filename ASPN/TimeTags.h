#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "aspn2_msgs/header.h"

/// The two times in every record's header: when its content held (`timestamp_valid`, ToV) and
/// when it arrived (`timestamp_arrival`, ToA).
///
/// All functions work on the wire header `aspn2_msgs::idl::header` and on the plain
/// `ASPN2::header`, also mixed. They work on the caller's data alone and never fail; any thread
/// may call. A time beyond what 64-bit nanoseconds hold (292 years either way) becomes the
/// nearest end of that range, so that a mad counter or a forged record never turns into a time
/// that looks right.
namespace ASPN2 {

/// Which clock the stamps of this process tell: live, or a simulated one. Any thread may read
/// and switch it.
class TimeCodeHelper {
public:
    static constexpr std::int32_t LIVE = 100;
    static constexpr std::int32_t SIMULATION = 101;

    /// The one of this process.
    static TimeCodeHelper& Instance();

    /// Live mode until someone says otherwise.
    TimeCodeHelper() = default;

    void setLiveMode();
    void setSimMode();
    std::int32_t getTimeCode() const;

private:
    std::atomic<std::int32_t> timeCode_{LIVE};
};

/// One time as headers hold it. Both parts of a negative time are negative or 0.
struct timestamp {
    std::int64_t sec = 0;
    std::int32_t nsec = 0;
    std::int32_t time_code = 0;
};

/// The wire header as a plain struct, for what keeps a header without being a topic record.
struct header {
    std::int64_t seq_num = 0;
    timestamp timestamp_arrival;
    timestamp timestamp_valid;
    std::int32_t device_id = 0;
};

/// FPGA ticks (58,982,400 a second) as nanoseconds, less the constant 8 ns by which the counter
/// is ahead; cut, not rounded. 0 ticks give -8 ns.
std::chrono::nanoseconds nanosecondsOf(unsigned long long fpgaTicks);

/// A stamp's time; its time code is not looked at.
std::chrono::nanoseconds nanosecondsOf(const timestamp& stamp);

/// Seconds and nanoseconds cut towards zero (-8 ns are 0 s and -8 ns), with the time code of now.
timestamp timestampOf(std::chrono::nanoseconds time);

/// Seconds from `before` to `after`, negative when they stand the other way round. Right to
/// about 16 digits for every pair of stamps; the time codes are not looked at.
double secondsBetween(const timestamp& before, const timestamp& after);

/// The same exactly; the nearest end of the range when it is longer than 64 bits can tell.
std::chrono::nanoseconds nanosecondsBetween(const timestamp& before, const timestamp& after);

/// The stamps of either header type as one.
inline const timestamp& validityOf(const header& of) {
    return of.timestamp_valid;
}
inline const timestamp& arrivalOf(const header& of) {
    return of.timestamp_arrival;
}
timestamp validityOf(const aspn2_msgs::idl::header& of);
timestamp arrivalOf(const aspn2_msgs::idl::header& of);
inline void setValidity(const timestamp& time, header& of) {
    of.timestamp_valid = time;
}
inline void setArrival(const timestamp& time, header& of) {
    of.timestamp_arrival = time;
}
void setValidity(const timestamp& time, aspn2_msgs::idl::header& of);
void setArrival(const timestamp& time, aspn2_msgs::idl::header& of);

template <class Header>
void setToV_fromNSec(std::chrono::nanoseconds time, Header& of) {
    setValidity(timestampOf(time), of);
}

template <class Header>
void setToVandToA_fromNSec(std::chrono::nanoseconds time, Header& of) {
    const timestamp stamp = timestampOf(time);
    setValidity(stamp, of);
    setArrival(stamp, of);
}

template <class Header>
void setToV_fromFpgaTicks(unsigned long long ticks, Header& of) {
    setValidity(timestampOf(nanosecondsOf(ticks)), of);
}

template <class Header>
void setToA_fromFpgaTicks(unsigned long long ticks, Header& of) {
    setArrival(timestampOf(nanosecondsOf(ticks)), of);
}

template <class Header>
void setToVandToA_fromFpgaTicks(unsigned long long ticks, Header& of) {
    setToVandToA_fromNSec(nanosecondsOf(ticks), of);
}

/// The time of validity of `a` minus that of `b`, in seconds.
template <class HeaderA, class HeaderB>
double deltaTov(const HeaderA& a, const HeaderB& b) {
    return secondsBetween(validityOf(b), validityOf(a));
}

template <class Header>
std::chrono::nanoseconds getNSec_fromToA(const Header& of) {
    return nanosecondsOf(arrivalOf(of));
}

/// Copies both times, with their time codes, and nothing else.
template <class From, class To>
void setToVandToA_fromTo(const From& from, To& to) {
    setValidity(validityOf(from), to);
    setArrival(arrivalOf(from), to);
}

/// Copies the whole header.
void copyHeader_fromTo(const aspn2_msgs::idl::header& from, header& to);
void copyHeader_fromTo(const header& from, aspn2_msgs::idl::header& to);

}  // namespace ASPN2
