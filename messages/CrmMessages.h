#pragma once

#include <array>

#include "messages/LayoutMessage.h"

/// Messages of the receiver status and of the connection of messages to ports (ICD-GPS-153
/// framing). Each keeps the packed frame and an unpacked record of the same shape, which the
/// pack and unpack functions copy field by field, unconverted.

/// Message 30000, the receiver status, joined from the engine's messages 5040 and 9391. A field
/// that is handed on as it came bears the words of its source.
///
///     word  0      2      4      5   6      8      10 .. 17             18      19
///         +------+------+------+---+------+------+--------------------+------+------+
///         | time | 9391 | 9391 | 0 | dist | dist | eight words of     | 5040 | mode |
///         |      | 2, 3 |  12  |   |  36  |  82  | 5040, 42 to 75     |  77  |      |
///         +------+------+------+---+------+------+--------------------+------+------+
struct Crm30000Layout {
    static constexpr std::uint16_t id = 30000;
    static constexpr std::uint16_t words = 20;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using Time = fields::Seconds<fields::MachineField<0, float>>;  // of 9391
    using From9391Words2To3 = fields::MachineField<2, std::uint32_t>;
    using From9391Word12 = fields::WordField<4>;
    using Reserved = fields::WordField<5>;
    using DistanceOf5040Word36 = fields::Metres<fields::MachineField<6, float>>;
    using DistanceOf5040Word82 = fields::Metres<fields::MachineField<8, float>>;
    using From5040Word42 = fields::WordField<10>;
    using From5040Word49 = fields::WordField<11>;  // low nibble there
    using From5040Word61 = fields::WordField<12>;  // bit 0 there
    using From5040Word71 = fields::WordField<13>;
    using From5040Word72 = fields::WordField<14>;
    using From5040Word73 = fields::WordField<15>;
    using From5040Word74 = fields::WordField<16>;  // hundredths, two's complement
    using From5040Word75 = fields::WordField<17>;
    using From5040Word77 = fields::WordField<18>;  // low nibble there
    using Mode = fields::BitField<19, 0, 8>;       // 3, or 0 by the status of message 8504
    using Spare = fields::BitField<19, 8, 8>;
};

/// The unpacked form of message 30000.
struct Crm30000Record {
    float time = 0;
    std::uint32_t from9391Words2To3 = 0;
    std::uint16_t from9391Word12 = 0;
    std::uint16_t reserved = 0;
    float distanceOf5040Word36 = 0;
    float distanceOf5040Word82 = 0;
    std::uint16_t from5040Word42 = 0;
    std::uint16_t from5040Word49 = 0;
    std::uint16_t from5040Word61 = 0;
    std::uint16_t from5040Word71 = 0;
    std::uint16_t from5040Word72 = 0;
    std::uint16_t from5040Word73 = 0;
    std::uint16_t from5040Word74 = 0;
    std::uint16_t from5040Word75 = 0;
    std::uint16_t from5040Word77 = 0;
    std::uint8_t mode = 0;
    std::uint8_t spare = 0;
};

class CRM30000_Msg : public LayoutMessage<Crm30000Layout> {
public:
    /// Copies a frame of exactly 20 data words; any other length changes nothing and returns
    /// false. `record` is not touched.
    bool ok_set_30000_gpsip(const unsigned char* bytes, unsigned short length);

    void pack_30000();    ///< record to frame
    void unpack_30000();  ///< frame to record

    Crm30000Record record;
};

/// One message that goes out, and the ports that it goes out on.
struct Crm30001Entry : fields::Record<2> {
    using MessageId = fields::WordField<0>;
    using PortSelect = fields::WordField<1>;
};

/// Message 30001, which messages a unit puts out on a port.
///
///     word  0           1        2         3         4       5          7
///         +-----------+--------+---------+---------+-------+----------+----------+----
///         | operation | marker | ports   | ports   | count | entry 0  | entry 1  | ...
///         |           |  0     | (15 bit)|         |       | id, port | id, port | 40
///         +-----------+--------+---------+---------+-------+----------+----------+----
struct Crm30001Layout {
    static constexpr std::uint16_t id = 30001;
    static constexpr std::uint16_t words = 85;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using Operation = fields::WordField<0>;
    using Marker = fields::WordField<1>;
    using FirstPortSelect = fields::WordField<2>;
    using SecondPortSelect = fields::WordField<3>;
    using EntryCount = fields::WordField<4>;

    static constexpr std::size_t maxEntries = 40;
    using Entries = fields::GroupField<5, Crm30001Entry, maxEntries, EntryCount>;
    static_assert(Entries::end == words);

    /// Bit of the first port selection that stays clear.
    static constexpr std::uint16_t reservedPortBit = 0x8000;
    static constexpr std::uint16_t operationConnect = 2;
};

/// The unpacked form of message 30001. A record that came from outside may count entries that
/// have no place.
struct Crm30001Record {
    struct Entry {
        std::uint16_t messageId = 0;
        std::uint16_t portSelect = 0;
    };

    std::uint16_t operation = 0;
    std::uint16_t marker = 0;
    std::uint16_t firstPortSelect = 0;
    std::uint16_t secondPortSelect = 0;
    std::uint16_t entryCount = 0;
    std::array<Entry, Crm30001Layout::maxEntries> entries;

    /// Both selections, the first without its reserved bit.
    void selectPorts(std::uint16_t portSelect);

    /// Appends and counts an entry. Returns false and changes nothing when there is no place.
    bool addEntry(std::uint16_t messageId, std::uint16_t portSelect);
};

class CRM30001_Msg : public LayoutMessage<Crm30001Layout> {
public:
    /// Copies a frame of exactly 85 data words; any other length changes nothing and returns
    /// false. `record` is not touched.
    bool ok_set_30001_gpsip(const unsigned char* bytes, unsigned short length);

    void pack_30001();    ///< record to frame
    void unpack_30001();  ///< frame to record

    Crm30001Record record;
};
