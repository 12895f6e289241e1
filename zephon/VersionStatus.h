#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string>

/// The part numbers and versions of one component, and their text form, as servers tell them to
/// each other: "PARTNUMBERS,SW1:1.2,FW1:3".
///
/// Holds no lock: who shares an object guards it.
class VersionStatus {
public:
    /// One for the whole process.
    static VersionStatus& Instance();

    // The value last set, also after a reset; "" before any. Valid until that field is set again.
    char const* getSoftware1Version() const { return get(Software1); }
    char const* getSoftware2Version() const { return get(Software2); }
    char const* getSoftware3Version() const { return get(Software3); }
    char const* getSoftware4Version() const { return get(Software4); }
    char const* getSoftware5Version() const { return get(Software5); }
    char const* getSoftware6Version() const { return get(Software6); }
    char const* getSoftware7Version() const { return get(Software7); }
    char const* getSoftware8Version() const { return get(Software8); }
    char const* getOs1Version() const { return get(Os1); }
    char const* getOs2Version() const { return get(Os2); }
    char const* getFirmware1Version() const { return get(Firmware1); }
    char const* getFirmware2Version() const { return get(Firmware2); }
    char const* getHardware1Version() const { return get(Hardware1); }
    char const* getHardware2Version() const { return get(Hardware2); }
    char const* getSerialNumber1() const { return get(SerialNumber1); }
    char const* getSerialNumber2() const { return get(SerialNumber2); }
    char const* getAntennaTable() const { return get(AntennaTable); }

    // Each drops white space behind the value and marks its field as set.
    void setSoftware1Version(std::string const& value) { set(Software1, value); }
    void setSoftware2Version(std::string const& value) { set(Software2, value); }
    void setSoftware3Version(std::string const& value) { set(Software3, value); }
    void setSoftware4Version(std::string const& value) { set(Software4, value); }
    void setSoftware5Version(std::string const& value) { set(Software5, value); }
    void setSoftware6Version(std::string const& value) { set(Software6, value); }
    void setSoftware7Version(std::string const& value) { set(Software7, value); }
    void setSoftware8Version(std::string const& value) { set(Software8, value); }
    void setOs1Version(std::string const& value) { set(Os1, value); }
    void setOs2Version(std::string const& value) { set(Os2, value); }
    void setFirmware1Version(std::string const& value) { set(Firmware1, value); }
    void setFirmware2Version(std::string const& value) { set(Firmware2, value); }
    void setHardware1Version(std::string const& value) { set(Hardware1, value); }
    void setHardware2Version(std::string const& value) { set(Hardware2, value); }
    void setSerialNumber1(std::string const& value) { set(SerialNumber1, value); }
    void setSerialNumber2(std::string const& value) { set(SerialNumber2, value); }
    void setAntennaTable(std::string const& value) { set(AntennaTable, value); }

    bool isSoftware1Set() const { return isSet_[Software1]; }
    /// Whether any field is set.
    bool isVersionInfoSet() const;

    /// No field is set any more; the values stay.
    void reset() { isSet_.fill(false); }

    /// "PARTNUMBERS" and, each behind a comma, the fields that are set.
    std::string createMessage() const;
    /// Software, firmware and operating systems that are set, with commas between them.
    std::string createSoftwareFirmwareOnlyMessage() const;
    /// The serial numbers that are set, with a comma between them.
    std::string createSerialNumberOnlyMessage() const;

    /// Sets the fields that a text of others tells. What has no colon, and a key that is none of
    /// these, is skipped; null counts as an empty text.
    void decodeResponse(char const* text);

private:
    enum Field : std::size_t {
        Software1,
        Software2,
        Software3,
        Software4,
        Software5,
        Software6,
        Software7,
        Software8,
        Os1,
        Os2,
        Firmware1,
        Firmware2,
        Hardware1,
        Hardware2,
        SerialNumber1,
        SerialNumber2,
        AntennaTable,
        fieldCount
    };
    static std::array<char const*, fieldCount> const keys;

    char const* get(Field field) const { return values_[field].c_str(); }
    void set(Field field, std::string const& value);
    std::string tell(std::initializer_list<Field> fields) const;

    std::array<std::string, fieldCount> values_;
    std::array<bool, fieldCount> isSet_{};
};
