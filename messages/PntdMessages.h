#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "GpsSerialIo/GssipMessage.h"
#include "messages/Fields.h"

/// Messages exchanged with the PNT device of the unit (ICD-GPS-153 framing). Each record is the
/// payload of a `GpsIpWrapperMsg` and begins with a GPS time; words that no field names are zero.
/// Text travels with the two bytes of each word exchanged. `flagWord` is what a message travels
/// with; `makeMessage` gives it to the header.
namespace PNTDBIT {

/// Which built-in test a report is about; 0 is none of them.
enum class ePntD_BitType : std::uint8_t { none, post, bbit, cbit };

/// How a test of the BIT status stands; 3 is a fault without a name.
enum class ePntD_FaultType : std::uint8_t { none, intermittent, hard };

/// How the device is to start its side of the SLIP channel.
enum class ePntd_ProgStart : std::uint8_t { debug, normal };

/// Message 27530, a command to the PNT device.
///
///     byte  0          8         9   10                 12           18
///         +----------+---------+---+------------------+------------+
///         | GPS time | command | 0 | time-out of CBIT,| SLIP start | zero
///         |          |         |   | or mode of SLIP  | bit 0      |
///         +----------+---------+---+------------------+------------+
struct PntDBitCmdMsg : fields::Record<9> {
    static constexpr std::uint16_t id = 27530;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using Command = fields::ByteField<8>;
    using CbitTimeOut = fields::Seconds<fields::WordField<5>>;  // 0 is none
    using SlipMode = fields::ByteBits<10, 0, 3>;                // 3 normal, 0 debug
    using SlipStart = fields::ByteBits<12, 0, 1>;               // an ePntd_ProgStart
};

/// The commands of message 27530.
constexpr std::uint8_t commandComponentCbit = 1;  ///< run the component CBIT, with its time-out
constexpr std::uint8_t commandBitStatus = 2;      ///< send message 27535
constexpr std::uint8_t commandZeroize = 3;
constexpr std::uint8_t commandStarted = 4;      ///< the server has started; sent once
constexpr std::uint8_t commandIdentifiers = 6;  ///< send message 27558
constexpr std::uint8_t commandSlip = 7;         ///< open the SLIP channel, with mode and start

/// Message 27531, how the computer stands.
///
///     byte  0          8      9   10             18
///         +----------+------+---+--------------+
///         | GPS time | kind | 0 | bit 0 failed | zero
///         +----------+------+---+--------------+
struct CorvaneStatusMsg : fields::Record<9> {
    static constexpr std::uint16_t id = 27531;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY | FLAG_ACK_REQUEST;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using Kind = fields::ByteField<8>;
    using Failed = fields::ByteBits<10, 0, 1>;

    static constexpr std::uint8_t kindBitState = 1;
    static constexpr std::uint8_t kindComponentCbitEnded = 2;
};

/// Message 27532, a status of the device; what byte 10 means depends on the kind.
///
///     byte  0          8      9   10                       11               18
///         +----------+------+---+------------------------+----------------+
///         | GPS time | kind | 0 | unit bits 0-2, port 3-4| outcome of the | zero
///         |          |      |   | or result in bit 0     | data transfer  |
///         +----------+------+---+------------------------+----------------+
struct PntdStatusMsg : fields::Record<9> {
    static constexpr std::uint16_t id = 27532;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using Kind = fields::ByteField<8>;
    using TransferUnit = fields::ByteBits<10, 0, 3>;
    using TransferPort = fields::ByteBits<10, 3, 2>;
    using TransferOutcome = fields::ByteBits<11, 0, 2>;
    using SanitizePassed = fields::ByteBits<10, 0, 1>;
    using SlipOpen = fields::ByteBits<10, 0, 1>;

    static constexpr std::uint8_t kindDataTransfer = 1;
    static constexpr std::uint8_t kindSanitize = 2;
    static constexpr std::uint8_t kindSlip = 3;

    static constexpr std::uint8_t transferInProgress = 1;
    static constexpr std::uint8_t transferFailed = 2;
    static constexpr std::uint8_t transferPassed = 3;
};

/// Message 27533, the outcome of a single test.
///
///     byte  0          8       9         10       12         22         32        38         54
///         +----------+-------+---------+--------+----------+----------+---------+----------+
///         | GPS time | flags | test id | number | category | location | outcome | relation |
///         +----------+-------+---------+--------+----------+----------+---------+----------+
struct PntdFaultReportMsg : fields::Record<27> {
    static constexpr std::uint16_t id = 27533;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using Flags = fields::ByteField<8>;  // the six below as one
    using BitType = fields::ByteBits<8, 0, 2>;
    using FaultStatus = fields::ByteBits<8, 2, 2>;  // 0 none, 1 device fault, 3 is invalid
    using PostFailed = fields::ByteBits<8, 4, 1>;
    using BbitFailed = fields::ByteBits<8, 5, 1>;
    using CbitFailed = fields::ByteBits<8, 6, 1>;
    using TestId = fields::ByteField<9>;
    using Number = fields::ByteBits<10, 0, 3>;
    using Category = fields::SwappedTextField<12, 10>;
    using Location = fields::SwappedTextField<22, 10>;
    using Outcome = fields::SwappedTextField<32, 6>;
    using Relation = fields::SwappedTextField<38, 16>;

    ePntD_BitType bitType() const { return static_cast<ePntD_BitType>(get<BitType>()); }
};

/// Message 27534, an entry of the device's log.
///
///     byte  0          8       9   10         20         30        36         52            108
///         +----------+-------+---+----------+----------+---------+----------+-------------+
///         | GPS time | flags | 0 | category | location | outcome | relation | description |
///         +----------+-------+---+----------+----------+---------+----------+-------------+
struct PntdLogReportMsg : fields::Record<54> {
    static constexpr std::uint16_t id = 27534;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using Flags = fields::ByteField<8>;            // the two below as one
    using LowNumber = fields::ByteBits<8, 0, 3>;   // bits 1 and 2 are never both set
    using HighNumber = fields::ByteBits<8, 3, 2>;  // its bits are never both set
    using Category = fields::SwappedTextField<10, 10>;
    using Location = fields::SwappedTextField<20, 10>;
    using Outcome = fields::SwappedTextField<30, 6>;
    using Relation = fields::SwappedTextField<36, 16>;
    using Description = fields::SwappedTextField<52, 56>;
};

/// A test in message 27535.
struct PntdBitEntry : fields::Record<1> {
    using BitType = fields::ByteBits<0, 0, 2>;
    using FaultStatus = fields::ByteBits<0, 2, 2>;
    using TestId = fields::ByteField<1>;

    ePntD_BitType bitType() const { return static_cast<ePntD_BitType>(get<BitType>()); }
    ePntD_FaultType faultStatus() const { return static_cast<ePntD_FaultType>(get<FaultStatus>()); }
};

/// Message 27535, how the device stands and which tests it has made. The device sends as many
/// entries as it counts; a whole record has place for 195.
///
///     byte  0          8         9       10        12               400
///         +----------+---------+-------+---------+---------+-----+
///         | GPS time | summary | count | entry 0 | entry 1 | ... |
///         +----------+---------+-------+---------+---------+-----+
struct PntdBitStatusMsg : fields::Record<200> {
    static constexpr std::uint16_t id = 27535;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using SystemFailed = fields::ByteBits<8, 0, 1>;
    using PostFailed = fields::ByteBits<8, 1, 1>;
    using BbitFailed = fields::ByteBits<8, 2, 1>;
    using CbitFailed = fields::ByteBits<8, 3, 1>;
    using EntryCount = fields::ByteField<9>;
    using Entries = fields::GroupField<5, PntdBitEntry, 195, EntryCount>;
    static_assert(Entries::end == words);
};

/// The text of a test in message 27536.
struct PntdFaultLabel : fields::Record<29> {
    using BitType = fields::ByteBits<0, 0, 2>;
    using TestId = fields::ByteField<1>;
    using Descriptor = fields::SwappedTextField<2, 56>;

    ePntD_BitType bitType() const { return static_cast<ePntD_BitType>(get<BitType>()); }
};

/// Message 27536, what the tests are called; several of them make the whole list.
///
///     byte  0          8       9                   10        68        126       184
///         +----------+-------+-------------------+---------+---------+---------+
///         | GPS time | count | messages bits 0-3,| label 0 | label 1 | label 2 |
///         |          |       | this one 4-7      |         |         |         |
///         +----------+-------+-------------------+---------+---------+---------+
struct PntdFaultLabelsMsg : fields::Record<92> {
    static constexpr std::uint16_t id = 27536;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using LabelCount = fields::ByteField<8>;
    using MessageCount = fields::ByteBits<9, 0, 4>;
    using MessageNumber = fields::ByteBits<9, 4, 4>;
    using Labels = fields::GroupField<5, PntdFaultLabel, 3, LabelCount>;
    static_assert(Labels::end == words);
};

/// Message 27558, the identifiers of the device.
///
///     byte  0          8             24            40         56         72           88
///         +----------+-------------+-------------+----------+----------+------------+
///         | GPS time | part number | serial nr.  | software | firmware | OS version |
///         +----------+-------------+-------------+----------+----------+------------+
struct PntdIdMsg : fields::Record<44> {
    static constexpr std::uint16_t id = 27558;
    static constexpr std::uint16_t flagWord = FLAG_LINK_READY;

    using Time = fields::Seconds<fields::NumberField<0, OtwDECD>>;
    using PartNumber = fields::SwappedTextField<8, 16>;
    using SerialNumber = fields::SwappedTextField<24, 16>;
    using Software = fields::SwappedTextField<40, 16>;
    using Firmware = fields::SwappedTextField<56, 16>;
    using OsVersion = fields::SwappedTextField<72, 16>;
};

/// A record of varying length as far as it arrived.
template <typename Payload>
struct Received {
    Payload record;          ///< zero behind what arrived
    std::size_t groups = 0;  ///< entries or labels that are counted, and arrived whole
};

/// Reads a frame of message 27535. Nothing when it is longer than the record, or ends before
/// the count of entries.
std::optional<Received<PntdBitStatusMsg>> readBitStatus(const unsigned char* frame,
                                                        unsigned short length);

/// Reads a frame of message 27536. Nothing when it is longer than the record, or ends before the
/// count of labels.
std::optional<Received<PntdFaultLabelsMsg>> readFaultLabels(const unsigned char* frame,
                                                            unsigned short length);

/// A message with this payload and the flag word that it travels with; the link finishes it.
template <typename Payload>
std::shared_ptr<GpsIpWrapperMsg<Payload, Payload::id>> makeMessage(Payload const& payload) {
    auto message = std::make_shared<GpsIpWrapperMsg<Payload, Payload::id>>();
    message->setPayload(payload);
    message->header[3] = Payload::flagWord;
    return message;
}

}  // namespace PNTDBIT

using PntDBitCmdMsg = GpsIpWrapperMsg<PNTDBIT::PntDBitCmdMsg, PNTDBIT::PntDBitCmdMsg::id>;
using CorvaneStatusMsg = GpsIpWrapperMsg<PNTDBIT::CorvaneStatusMsg, PNTDBIT::CorvaneStatusMsg::id>;
using PntdStatusMsg = GpsIpWrapperMsg<PNTDBIT::PntdStatusMsg, PNTDBIT::PntdStatusMsg::id>;
using PntdFaultReportMsg =
    GpsIpWrapperMsg<PNTDBIT::PntdFaultReportMsg, PNTDBIT::PntdFaultReportMsg::id>;
using PntdLogReportMsg = GpsIpWrapperMsg<PNTDBIT::PntdLogReportMsg, PNTDBIT::PntdLogReportMsg::id>;
using PntdBitStatusMsg = GpsIpWrapperMsg<PNTDBIT::PntdBitStatusMsg, PNTDBIT::PntdBitStatusMsg::id>;
using PntdFaultLabelsMsg =
    GpsIpWrapperMsg<PNTDBIT::PntdFaultLabelsMsg, PNTDBIT::PntdFaultLabelsMsg::id>;
using PntdIdMsg = GpsIpWrapperMsg<PNTDBIT::PntdIdMsg, PNTDBIT::PntdIdMsg::id>;
