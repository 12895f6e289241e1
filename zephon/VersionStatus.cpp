#include "zephon/VersionStatus.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "platform/StringUtils.h"

std::array<char const*, VersionStatus::fieldCount> const VersionStatus::keys{
    "SW1", "SW2", "SW3", "SW4",   "SW5",   "SW6",   "SW7",   "SW8", "OS1",
    "OS2", "FW1", "FW2", "HWPN1", "HWPN2", "HWSN1", "HWSN2", "AT"};

VersionStatus& VersionStatus::Instance() {
    static VersionStatus instance;
    return instance;
}

void VersionStatus::set(Field field, std::string const& value) {
    values_[field] = StringUtils::rtrim(value);
    isSet_[field] = true;
}

bool VersionStatus::isVersionInfoSet() const {
    return std::find(isSet_.begin(), isSet_.end(), true) != isSet_.end();
}

std::string VersionStatus::tell(std::initializer_list<Field> fields) const {
    std::vector<std::string> parts;
    for (const Field field : fields) {
        if (isSet_[field]) {
            parts.push_back(std::string(keys[field]) + ":" + values_[field]);
        }
    }
    return StringUtils::join(parts, ',');
}

std::string VersionStatus::createMessage() const {
    const std::string fields = tell({Software1, Firmware1, Hardware1, SerialNumber1, Os1, Software2,
                                     Firmware2, Hardware2, SerialNumber2, Os2, Software3, Software4,
                                     Software5, Software6, Software7, Software8, AntennaTable});
    return fields.empty() ? "PARTNUMBERS" : "PARTNUMBERS," + fields;
}

std::string VersionStatus::createSoftwareFirmwareOnlyMessage() const {
    return tell({Software1, Firmware1, Os1, Software2, Firmware2, Os2, Software3, Software4,
                 Software5, Software6, Software7, Software8, AntennaTable});
}

std::string VersionStatus::createSerialNumberOnlyMessage() const {
    return tell({SerialNumber1, SerialNumber2});
}

void VersionStatus::decodeResponse(char const* text) {
    for (auto const& part : StringUtils::split(text == nullptr ? "" : text, ',')) {
        const std::size_t colon = part.find(':');
        if (colon == std::string::npos) {
            continue;
        }
        auto const* const key = std::find(keys.begin(), keys.end(), part.substr(0, colon));
        if (key != keys.end()) {
            set(static_cast<Field>(std::distance(keys.begin(), key)), part.substr(colon + 1));
        }
    }
}
