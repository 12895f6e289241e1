#pragma once

#include <array>
#include <string>

#include "messages/LayoutMessage.h"

/// Status that the GPS engine reports (ICD-GPS-153 framing). What the engine means by a value is
/// known for some of them only; the others bear the number of their data word.
///
/// The messages here belong to one thread, or to the lock of whoever stores them.

/// Message 5040, decoded.
struct Trevo5040Record {
    double time = 0;  ///< seconds of the week
    std::array<std::uint16_t, 7> words18{};
    std::uint16_t word25 = 0;
    std::uint8_t nibble33 = 0;
    std::uint16_t word42 = 0;
    float float44 = 0;
    std::uint8_t nibble46 = 0;
    std::uint8_t nibble49 = 0;
    std::uint16_t word71 = 0;
    std::uint16_t word72 = 0;
    std::uint16_t word73 = 0;
    double value74 = 0;  ///< hundredths on the wire
    std::uint16_t word75 = 0;
    std::uint16_t word76 = 0;
    std::uint8_t nibble77 = 0;
    float float78 = 0;
    std::uint8_t nibble80 = 0;
    float distance36 = 0;             ///< in the unit of distanceUnit38
    std::uint8_t distanceUnit38 = 0;  ///< 0 m, 1 ft, 2 yd, 3 km, 4 mi, 5 nautical miles
    float distance82 = 0;             ///< in the unit of distanceUnit84
    std::uint8_t distanceUnit84 = 0;
    bool flag61 = false;
};

/// Message 5040.
///
///     word  0      18        25   33   36     38     42   44     46   49   61
///         +------+---------+----+----+------+------+----+------+----+----+----+
///         | time | 7 words |    | *  | dist | unit*|    | float| *  | *  |bit0|
///         +------+---------+----+----+------+------+----+------+----+----+----+
///     word  71   72   73   74           75   76   77   78     80   82     84
///         +----+----+----+------------+----+----+----+------+----+------+------+
///         |    |    |    | hundredths |    |    | *  | float| *  | dist | unit*|
///         +----+----+----+------------+----+----+----+------+----+------+------+
///
/// * the low nibble only. Floats are Tesk floats, two words each.
struct Trevo5040Layout {
    static constexpr std::uint16_t id = 5040;
    static constexpr std::uint16_t words = 88;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using Words18 = fields::WordsField<18, 7>;
    using Word25 = fields::WordField<25>;
    using Nibble33 = fields::BitField<33, 0, 4>;
    using Distance36 = fields::NumberField<36, OtwSFLT>;
    using DistanceUnit38 = fields::BitField<38, 0, 4>;
    using Word42 = fields::WordField<42>;
    using Float44 = fields::NumberField<44, OtwSFLT>;
    using Nibble46 = fields::BitField<46, 0, 4>;
    using Nibble49 = fields::BitField<49, 0, 4>;
    using Flag61 = fields::BitField<61, 0, 1>;
    using Word71 = fields::WordField<71>;
    using Word72 = fields::WordField<72>;
    using Word73 = fields::WordField<73>;
    using Hundredths74 = fields::MachineField<74, std::int16_t>;
    using Word75 = fields::WordField<75>;
    using Word76 = fields::WordField<76>;
    using Nibble77 = fields::BitField<77, 0, 4>;
    using Float78 = fields::NumberField<78, OtwSFLT>;
    using Nibble80 = fields::BitField<80, 0, 4>;
    using Distance82 = fields::NumberField<82, OtwSFLT>;
    using DistanceUnit84 = fields::BitField<84, 0, 4>;
};

class Trevo_5040_Msg : public LayoutMessage<Trevo5040Layout> {
public:
    /// Takes a frame of exactly 88 data words; any other length changes nothing. `record` stays.
    bool ok_set_5040_gpsip(const unsigned char* bytes, unsigned short length) {
        return OkSetContent(bytes, length);
    }

    void unpack_5040();  ///< frame to record

    Trevo5040Record record;
};

/// Message 5044, decoded.
struct Trevo5044Record {
    double time = 0;  ///< seconds of the week
    std::uint16_t statusId = 0;
    std::string text;  ///< up to its first NUL, at most 32 characters
};

/// Message 5044, a status with a text.
///
///     word  0      4           5
///         +------+-----------+------------------------------+
///         | time | status id | 32 characters, pairs swapped |
///         +------+-----------+------------------------------+
struct Trevo5044Layout {
    static constexpr std::uint16_t id = 5044;
    static constexpr std::uint16_t words = 21;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using StatusId = fields::WordField<4>;
    using Text = fields::SwappedTextField<10, 32>;
};

class Trevo_5044_Msg : public LayoutMessage<Trevo5044Layout> {
public:
    /// Takes a frame of exactly 21 data words; any other length changes nothing. `record` stays.
    bool ok_set_5044_gpsip(const unsigned char* bytes, unsigned short length) {
        return OkSetContent(bytes, length);
    }

    void unpack_5044();  ///< frame to record

    Trevo5044Record record;
};

/// Message 8040, decoded: the time, and all words behind it as they stand.
struct Trevo8040Record {
    double time = 0;  ///< seconds of the week
    std::array<std::uint16_t, 21> words4{};
};

/// Message 8040, the state of the receiver.
///
///     word  0      4     5        6 .. 8   9         10 .. 24
///         +------+-----+--------+--------+---------+----------+
///         | time |     | status |        | status2 |          |
///         +------+-----+--------+--------+---------+----------+
struct Trevo8040Layout {
    static constexpr std::uint16_t id = 8040;
    static constexpr std::uint16_t words = 25;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using Words4 = fields::WordsField<4, 21>;  // those below among them
    using ReceiverStatus = fields::WordField<5>;
    using ReceiverStatus2 = fields::WordField<9>;
};

class Trevo_8040_Msg : public LayoutMessage<Trevo8040Layout> {
public:
    /// Takes a frame of 10 to 62 bytes with the identifier 8040; data that a short frame lacks
    /// becomes zero, but for its checksum. A frame that is too short or has more than 25 data
    /// words changes nothing; one with another identifier is copied all the same, and refused.
    bool ok_set_8040_gpsip(const unsigned char* bytes, unsigned short length);

    void unpack_8040();  ///< frame to record

    Trevo8040Record record;
};

/// Message 9391, kept as it comes.
///
///     word  0      2          4 .. 11   12   13 .. 83
///         +------+----------+---------+----+----------+
///         | time | 32 bits  |         |    |          |
///         +------+----------+---------+----+----------+
struct Trevo9391Layout {
    static constexpr std::uint16_t id = 9391;
    static constexpr std::uint16_t words = 84;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using Time = fields::Seconds<fields::MachineField<0, float>>;  // of the week
    using Words2 = fields::MachineField<2, std::uint32_t>;
    using Word12 = fields::WordField<12>;
};

class Trevo_9391_Msg : public LayoutMessage<Trevo9391Layout> {
public:
    /// Takes a frame of exactly 84 data words; any other length changes nothing.
    bool ok_set_9391_gpsip(const unsigned char* bytes, unsigned short length) {
        return OkSetContent(bytes, length);
    }
};
