#pragma once

#include <array>

#include "messages/LayoutMessage.h"

/// The time mark of the GPS engine (ICD-GPS-153 framing). Values whose meaning to the engine is
/// not known here bear the number of their first byte.

/// Message 8504, decoded.
struct Trevo8504Record {
    double gpsTowSeconds = 0;
    double utcTodSeconds = 0;
    double extended16 = 0;
    double extended22 = 0;
    double double28 = 0;
    double double36 = 0;
    double double44 = 0;
    float float52 = 0;
    std::array<float, 4> floats56{};
    float timeUncertainty = 0;    ///< seconds
    std::uint16_t year = 0;       ///< four BCD digits
    std::uint16_t monthDay = 0;   ///< month and day of the month, two BCD digits each
    std::uint16_t dayOfYear = 0;  ///< January 1 is 1; a plain number
    std::uint16_t word94 = 0;
    std::uint8_t status96 = 0;  ///< bit fields of the layout, bit for bit
    std::uint8_t status97 = 0;  ///< likewise
    std::uint16_t word98 = 0;
    std::array<std::uint8_t, 6> status100{};
    std::array<std::uint16_t, 3> words110{};
    std::array<std::uint8_t, 6> status116{};
    float float122 = 0;
    float float126 = 0;
    std::array<std::uint8_t, 2> bytes130{};
    std::array<std::uint8_t, 256> bytes144{};
};

/// Message 8504.
///
///     byte  0         8         16    22    28    36    44    52    56
///         +---------+---------+-----+-----+-----+-----+-----+-----+----------+
///         | GPS TOW | UTC TOD | Tesk, two | PDP doubles     | flt | 4 floats |
///         +---------+---------+-----+-----+-----+-----+-----+-----+----------+
///     byte  84      88     90      92    94    96         98    100
///         +-------+------+-------+-----+-----+----------+-----+---------+
///         | uncer | year | month | day |     | status   |     | status  |
///         | tainty| BCD  | , day | of y|     |          |     | 6 bytes |
///         +-------+------+-------+-----+-----+----------+-----+---------+
///     byte  110       116       122    126    130       144 .. 399
///         +---------+---------+------+------+---------+------------------+
///         | 3 words | status  | Tesk | Tesk | 2 bytes | 256 bytes        |
///         |         | 6 bytes | flt  | flt  |         |                  |
///         +---------+---------+------+------+---------+------------------+
///
/// Bytes 72 to 83, 106 to 109 and 132 to 143 belong to no field.
struct Trevo8504Layout {
    static constexpr std::uint16_t id = 8504;
    static constexpr std::uint16_t words = 200;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using GpsTowSeconds = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using UtcTodSeconds = fields::Seconds<fields::NumberField<4, OtwDECD>>;
    using Extended16 = fields::NumberField<8, OtwEFLT>;
    using Extended22 = fields::NumberField<11, OtwEFLT>;
    using Double28 = fields::NumberField<14, OtwDECD>;
    using Double36 = fields::NumberField<18, OtwDECD>;
    using Double44 = fields::NumberField<22, OtwDECD>;
    using Float52 = fields::NumberField<26, OtwDECS>;
    using Float56 = fields::NumberField<28, OtwDECS>;
    using Float60 = fields::NumberField<30, OtwDECS>;
    using Float64 = fields::NumberField<32, OtwDECS>;
    using Float68 = fields::NumberField<34, OtwDECS>;
    using TimeUncertainty = fields::Seconds<fields::NumberField<42, OtwDECS>>;
    using Year = fields::WordField<44>;
    using MonthDay = fields::WordField<45>;
    using DayOfYear = fields::Days<fields::WordField<46>>;
    using Word94 = fields::WordField<47>;
    using Status96 = fields::ByteField<96>;  // whole; its bits below
    using EngineState = fields::ByteBits<96, 0, 4>;
    using ReceiverFailure = fields::ByteBits<96, 4, 1>;
    using Status96Bit5 = fields::ByteBits<96, 5, 1>;
    using Status97 = fields::ByteField<97>;  // whole; its bits below
    using TimeFigure = fields::ByteBits<97, 0, 4>;
    using TimeSource = fields::ByteBits<97, 7, 1>;
    using Word98 = fields::WordField<49>;
    using Status100 = fields::BytesField<100, 6>;
    using Words110 = fields::WordsField<55, 3>;
    using Status116 = fields::BytesField<116, 6>;  // whole; a bit of it below
    using Status117Bit7 = fields::ByteBits<117, 7, 1>;
    using Float122 = fields::NumberField<61, OtwSFLT>;
    using Float126 = fields::NumberField<63, OtwSFLT>;
    using Bytes130 = fields::BytesField<130, 2>;
    using Bytes144 = fields::BytesField<144, 256>;
};

/// Message 8504. It belongs to one thread, or to the lock of whoever stores it.
class Trevo_8504_Msg : public LayoutMessage<Trevo8504Layout> {
public:
    /// Takes a frame of exactly 200 data words; any other length changes nothing. `record` stays.
    bool ok_set_8504_gpsip(const unsigned char* bytes, unsigned short length) {
        return OkSetContent(bytes, length);
    }

    void unpack_8504();  ///< frame to record
    /// Record to frame; bytes of no field stay.
    void pack_8504();

    /// The engine, or the box for it, reports a failure.
    bool recieverFailureDetected() const { return get<Trevo8504Layout::ReceiverFailure>() != 0; }

    // Bits of the status, each set in the frame and in the record alike.
    void setReceiverFailure(bool failed);
    void setTimeFigure(unsigned figure);  ///< the low four bits count
    void setTimeSource(bool source);

    /// Takes frame and record of another message.
    void copy_all(const Trevo_8504_Msg& other);

    Trevo8504Record record;

private:
    template <typename Bits>
    void setStatus(unsigned value);
};

/// The spelling of this class in the server.
using TrevoMsg8504 = Trevo_8504_Msg;
