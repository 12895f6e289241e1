#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "bench/UnitFrame.h"
#include "bench/VirtualUnits.h"

namespace bench {

/// The messages that configure a virtual unit: 5331 (port) and 30001 (messages of a port) come in a
/// wrapper, as does 5000 (hot start); 27560 (super user and receiver capabilities) comes for all.
constexpr std::uint16_t portSetupId = 5331;
constexpr std::uint16_t messageConnectId = 30001;
constexpr std::uint16_t dataTransferId = 5000;
constexpr std::uint16_t configurationId = 27560;

/// One direction of a serial port. Rate in bit/s.
struct PortLine {
    unsigned baud = 0;
    std::string parity;    ///< "None", "Odd" or "Even"
    std::string protocol;  ///< "153D" or "NMEA"
};

/// What a 5331 says about a port; what it marks as not meant is absent.
struct PortSetup {
    unsigned port = 0;  ///< 1 to 3
    std::optional<PortLine> receive;
    std::optional<PortLine> transmit;
    std::optional<std::string> pulse;  ///< "Off", "1PPS UTC", "1PPS T-Mark" or "10 PPS UTC"
    std::optional<bool> redundant;
    std::vector<std::string> sentences;  ///< seven, "none" where there is none
};

/// What a 30001 connects to a port.
struct MessageConnect {
    unsigned port = 0;
    std::vector<std::uint16_t> messages;
};

/// What a 5000 asks for: a hot start.
struct HotStart {
    unsigned port = 0;
    std::string type;  ///< "LNAV", "MNAV" or "BOTH"
};

/// The three kinds of 27560.
struct ConfigurationRequest {};
struct SuperUser {
    unsigned unit = 0;  ///< 0 for none
    unsigned port = 0;  ///< 0 for a name that is none
};
struct ReceiverCapabilities {
    unsigned unit = 0;
    unsigned port = 0;
    std::string capabilities;  ///< "CORVANE" or "ZEPHON"
};

using UnitSetting = std::variant<PortSetup, MessageConnect, HotStart, ConfigurationRequest,
                                 SuperUser, ReceiverCapabilities>;

/// Reads such a message to the last bit: nothing when the id is another, or when anything in it is
/// not as the unit knows it, what has no meaning not being 0 included; then `defect` tells what.
std::optional<UnitSetting> decodeSetting(const UnitFrame& frame, std::string* defect = nullptr);

/// Such as "COM1 transmit 19200 None 153D, receive 19200 None, pulse Off, redundant Off",
/// "COM3 transmit 19200 None NMEA, sentences GGA", "COM1 messages 5040,5044", "COM2 hot start
/// LNAV", "request", "super user ZP2COM1", "ZP1COM2 capabilities CORVANE".
std::string toText(const UnitSetting& setting);

/// What all such messages so far have made of the virtual units. Not synchronised: who owns it has
/// the lock.
class UnitSettings {
public:
    /// A port as the last messages left it; what none of them told is absent.
    struct Port {
        std::optional<PortLine> transmit;
        std::optional<PortLine> receive;
        std::optional<std::string> pulse;
        std::optional<bool> redundant;
        std::optional<std::vector<std::string>> sentences;  ///< of a port that speaks NMEA
        std::optional<std::vector<std::uint16_t>> messages;
        std::optional<std::string> capabilities;
        std::optional<std::string> hotStart;  ///< its type
    };
    using Ports = std::map<std::pair<unsigned, unsigned>, Port>;  ///< by unit and port

    /// All that the virtual units have in their logs.
    static UnitSettings of(const VirtualUnits& units);

    /// Takes a message that a virtual unit got; others than the above, and settings without the
    /// wrapper that they need, are none of its business.
    void take(unsigned unit, const VirtualFrame& frame);

    /// The ports of which anything was told.
    const Ports& ports() const { return ports_; }

    /// One of them, empty when nothing was told of it.
    Port port(unsigned unit, unsigned number) const;

    const std::optional<SuperUser>& superUser() const { return superUser_; }

    /// Messages that could not be read, and why: the first few.
    const std::vector<std::string>& defects() const { return defects_; }

    bool empty() const { return ports_.empty() && !superUser_ && defects_.empty(); }

    /// A line for each port, for the super user and for each defect; empty when empty().
    std::vector<std::string> lines() const;

private:
    void apply(unsigned unit, const PortSetup& setting);
    void apply(unsigned unit, const MessageConnect& setting);
    void apply(unsigned unit, const HotStart& setting);
    void apply(unsigned unit, const ConfigurationRequest& setting);
    void apply(unsigned unit, const SuperUser& setting);
    void apply(unsigned unit, const ReceiverCapabilities& setting);

    Ports ports_;
    std::optional<SuperUser> superUser_;
    std::vector<std::string> defects_;
};

}  // namespace bench
