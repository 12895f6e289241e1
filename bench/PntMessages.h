#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bench/UnitFrame.h"

namespace bench {

/// What the PNT device of the unit says on its own port, and what it is told there, written for the
/// bench alone. Every message begins with a GPS time of four words, 0 here; byte n of the data is
/// the low byte of word n / 2 when n is even. Texts stand with the first character of each pair in
/// the high byte of the word, and are filled up with NUL.
namespace pnt {

constexpr std::uint16_t commandId = 27530;  ///< to the device
constexpr std::uint16_t healthId = 27531;   ///< to the device: the computer's health
constexpr std::uint16_t statusId = 27532;   ///< from the device, and all that follow
constexpr std::uint16_t faultReportId = 27533;
constexpr std::uint16_t logReportId = 27534;
constexpr std::uint16_t bitStatusId = 27535;
constexpr std::uint16_t faultLabelsId = 27536;
constexpr std::uint16_t idsId = 27558;

/// Kinds of a command, byte 8.
enum class Command : std::uint8_t {
    RunTest = 1,  ///< a commanded component test; word 5 is its time limit in seconds
    SendBitStatus = 2,
    Zeroize = 3,
    Started = 4,
    SendIds = 6,
    OpenSlip = 7
};

/// Kinds of a test.
constexpr unsigned post = 1;
constexpr unsigned bbit = 2;
constexpr unsigned cbit = 3;

/// One tested thing: kind of the test, its number, and 0 for no fault, 1 intermittent, 2 hard.
struct Entry {
    unsigned type = 0;
    unsigned test = 0;
    unsigned fault = 0;
};

/// What a test is called: up to 56 characters.
struct Label {
    unsigned type = 0;
    unsigned test = 0;
    std::string text;
};

/// Up to 16 characters each.
struct Ids {
    std::string hardware = "PNTD-HW-01";
    std::string serial = "SN000123";
    std::string software = "PNTD-SW-4.2";
    std::string firmware = "PNTD-FW-1.7";
    std::string os = "PNTD-OS-3";
};

struct FaultReport {
    unsigned flags = 0;  ///< bits 0, 1 type, 2, 3 fault, 4 to 6 POST, BBIT, CBIT failed
    unsigned test = 0;
    unsigned number = 0;   ///< 0 to 7
    std::string category;  ///< up to 10 characters
    std::string location;  ///< 10
    std::string outcome;   ///< 6
    std::string relation;  ///< 16
};

struct LogReport {
    unsigned flags = 0;
    std::string category;  ///< up to 10 characters
    std::string location;  ///< 10
    std::string outcome;   ///< 6
    std::string relation;  ///< 16
    std::string text;      ///< 56
};

/// The state of a data transfer of a virtual unit's port; `outcome` 1 goes on, 2 failed, 3 passed.
UnitFrame makeTransferStatus(unsigned unit, unsigned port, unsigned outcome);
UnitFrame makeSanitizeStatus(bool passed);
UnitFrame makeSlipStatus(bool open);
UnitFrame makeFaultReport(const FaultReport& report);
UnitFrame makeLogReport(const LogReport& report);
/// With the summary of the entries: something, a POST, a BBIT or a CBIT has failed.
UnitFrame makeBitStatus(const std::vector<Entry>& entries);
/// Three labels fit a message; none at all give one without.
std::vector<UnitFrame> makeFaultLabels(const std::vector<Label>& labels);
UnitFrame makeIds(const Ids& ids);

/// Byte `index` of a message's data; 0 beyond its end.
std::uint8_t dataByte(const UnitFrame& frame, std::size_t index);

}  // namespace pnt

}  // namespace bench
