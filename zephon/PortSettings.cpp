#include "zephon/PortSettings.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <optional>
#include <stdexcept>

#include "platform/StringUtils.h"

namespace {

constexpr char none[] = "none";
constexpr char nmea[] = "NMEA";
constexpr std::size_t portFields = 10;
constexpr std::size_t messageFields = 5;
constexpr std::size_t firstMessage = 4;
constexpr std::size_t sentences = 7;

/// The field, or an empty one.
std::string const& at(Fields const& fields, std::size_t index) {
    static std::string const empty;
    return index < fields.size() ? fields[index] : empty;
}

template <typename Code>
struct CodedText {
    char const* text;
    Code code;
};

/// The code of a text; `kind` stands in the error for a text without one.
template <typename Code, std::size_t Count>
Code findCode(CodedText<Code> const (&rows)[Count], std::string const& text, char const* kind) {
    for (auto const& row : rows) {
        if (text == row.text) {
            return row.code;
        }
    }
    throw std::invalid_argument(std::string("Invalid ") + kind + " : " + text);
}

/// A number that the text begins with; none when there is none or it is too large.
std::optional<long> toNumber(std::string const& text) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || errno == ERANGE) {
        return std::nullopt;
    }
    return number;
}

e5331_SerialBaud toBaud(std::string const& text) {
    const auto number = toNumber(text);
    if (!number) {
        throw std::invalid_argument("Invalid Serial Baud Rate : " + text);
    }
    return to_e5331_SerialBaud(*number);
}

std::uint16_t toMessageId(std::string const& text) {
    const auto number = toNumber(text);
    if (!number || *number < 0 || *number > std::numeric_limits<std::uint16_t>::max()) {
        throw std::out_of_range("Invalid");
    }
    return static_cast<std::uint16_t>(*number);
}

bool isUnit(std::string const& text) {
    return text.size() == 1 && text[0] >= '1' && text[0] <= '4';
}

/// Calls the check, which raises or answers whether the fields are good.
template <typename Check>
FieldCheck run(Check check) {
    try {
        return {check(), {}};
    } catch (std::exception const& error) {
        return {false, error.what()};
    }
}

/// Rate and parity of the row of a port, with the protocol of the row of messages.
e5331_SerialProtocol setTransmitLine(TrevoComPortSetup& message, Fields const& portRow,
                                     Fields const& messageRow) {
    const auto baud = toBaud(at(portRow, 3));
    const auto parity = to_e5331_SerialParity(at(portRow, 4));
    const auto protocol = to_e5331_SerialProtocol(at(messageRow, 3));
    message.setTransParams(baud, parity, protocol);
    return protocol;
}

}  // namespace

e5331_Port to_e5331_Port(std::string const& port) {
    static constexpr CodedText<e5331_Port> ports[] = {
        {"COM1", e5331_Port::COM1}, {"COM2", e5331_Port::COM2}, {"COM3", e5331_Port::COM3}};
    return findCode(ports, port, "Serial Port");
}

e5331_SerialParity to_e5331_SerialParity(std::string const& parity) {
    static constexpr CodedText<e5331_SerialParity> parities[] = {
        {"None", e5331_SerialParity::None},
        {"Odd", e5331_SerialParity::Odd},
        {"Even", e5331_SerialParity::Even}};
    return findCode(parities, parity, "Serial Parity");
}

e5331_Pulse to_e5331_Pulse(std::string const& pulse) {
    static constexpr CodedText<e5331_Pulse> pulses[] = {{"Off", e5331_Pulse::Off},
                                                        {"1PPS UTC", e5331_Pulse::OnePpsUtc},
                                                        {"1PPS T-Mark", e5331_Pulse::OnePpsTMark},
                                                        {"10 PPS UTC", e5331_Pulse::TenPpsUtc}};
    return findCode(pulses, pulse, "Pulse");
}

e5331_SerialProtocol to_e5331_SerialProtocol(std::string const& protocol) {
    static constexpr CodedText<e5331_SerialProtocol> protocols[] = {
        {"153D", e5331_SerialProtocol::ICD153D}, {nmea, e5331_SerialProtocol::NMEA}};
    return findCode(protocols, protocol, "Serial Protocol");
}

e5331_SerialBaud to_e5331_SerialBaud(long baud) {
    constexpr int defaultRate = 9600;  // its code also stands for all rates that have none
    if (baud >= 0 && baud <= std::numeric_limits<int>::max()) {
        const auto code = toSerialBaudCode(static_cast<int>(baud));
        if (code != e5331_SerialBaud::Baud9600 || baud == defaultRate) {
            return code;
        }
    }
    throw std::invalid_argument("Invalid Serial Baud Rate : " + std::to_string(baud));
}

std::uint16_t to_e30001ComSelect(std::string const& port) {
    if (port == "COM2") {
        return 2;
    }
    return port == "COM3" ? 4 : 1;
}

e5000_DataPort to_e5000_port(std::string const& port) {
    if (port == "COM2") {
        return e5000_DataPort::COM2;
    }
    return port == "COM3" ? e5000_DataPort::COM3 : e5000_DataPort::COM1;
}

e5000_XferScenario to_e5000_scenario(std::string const& scenario) {
    constexpr std::size_t bothSize = 4;
    if (scenario.size() == bothSize && StringUtils::containsIgnoringCase(scenario, "BOTH")) {
        return e5000_XferScenario::BOTH;
    }
    return scenario == "MNAV" ? e5000_XferScenario::MNAV : e5000_XferScenario::LNAV;
}

FieldCheck checkComFields(Fields const& fields) {
    return run([&] {
        if (fields.size() < portFields || !isUnit(fields[1])) {
            return false;
        }
        to_e5331_Port(fields[2]);
        toBaud(fields[3]);
        to_e5331_SerialParity(fields[4]);
        to_e5331_Pulse(fields[5]);
        toBaud(fields[6]);
        to_e5331_SerialParity(fields[7]);
        return (fields[8] == "On" || fields[8] == "Off") &&
               (fields[9] == "GPS" || fields[9] == "Meridane");
    });
}

FieldCheck checkMessageOutFields(Fields const& fields) {
    return run([&] {
        if (fields.size() < messageFields || !isUnit(fields[1])) {
            return false;
        }
        to_e5331_Port(fields[2]);
        const bool isNmea = to_e5331_SerialProtocol(fields[3]) == e5331_SerialProtocol::NMEA;
        for (std::size_t i = firstMessage; i < fields.size(); ++i) {
            if (isNmea) {
                TrevoComPortSetup::nmeaSentenceCode(fields[i]);
            } else if (fields[i] != none) {
                toMessageId(fields[i]);
            }
        }
        return true;
    });
}

std::string portKey(std::string const& unit, std::string const& port) {
    return "ZP" + unit + port;
}

StoredPort toStoredPort(Fields const& fields) {
    StoredPort port;
    port.transBaud = std::stoi(at(fields, 3));
    port.transParity = at(fields, 4);
    port.ppsOut = at(fields, 5);
    port.recBaud = std::stoi(at(fields, 6));
    port.recParity = at(fields, 7);
    port.com2Redundant = at(fields, 8);
    port.solutionSource = at(fields, 9);
    return port;
}

StoredMessages toStoredMessages(Fields const& fields) {
    StoredMessages messages;
    messages.mode = at(fields, 3);
    if (fields.size() > firstMessage) {
        messages.messageConnects =
            StringUtils::join({fields.begin() + firstMessage, fields.end()}, ',');
    }
    if (messages.messageConnects.empty()) {
        messages.messageConnects = none;
    }
    return messages;
}

std::string composeComRsp(StoredPort const& port) {
    return StringUtils::join(
        {"CURRENT_ZEPHON_COM", std::to_string(port.zephonNumber), port.comPort,
         std::to_string(port.transBaud), port.transParity, port.ppsOut,
         std::to_string(port.recBaud), port.recParity, port.com2Redundant, port.solutionSource},
        ',');
}

std::string composeMessageRsp(StoredMessages const& messages) {
    return StringUtils::join(
        {"CURRENT_ZEPHON_MESSAGE_OUTPUT", std::to_string(messages.zephonNumber), messages.comPort,
         messages.mode, messages.messageConnects},
        ',');
}

bool hasRedundantCom2(Fields const& portRow) {
    return at(portRow, 8) == "On";
}

bool isPortRow(Fields const& row) {
    return row.size() >= portFields &&
           (row[0] == "SET_ZEPHON_COM" || row[0] == "CURRENT_ZEPHON_COM");
}

bool isMessageRow(Fields const& row) {
    return (at(row, 0) == "SET_ZEPHON_MESSAGE_OUTPUT" ||
            at(row, 0) == "CURRENT_ZEPHON_MESSAGE_OUTPUT") &&
           (at(row, 3) == nmea || at(row, 3) == "153D");
}

std::shared_ptr<TrevoComPortSetup> makePortSetup(Fields const& portRow, Fields const& messageRow) {
    auto message = std::make_shared<TrevoComPortSetup>();
    const auto port = to_e5331_Port(at(portRow, 2));
    message->setPort(port);
    setTransmitLine(*message, portRow, messageRow);
    message->setPulse(to_e5331_Pulse(at(portRow, 5)));
    const auto receiveBaud = toBaud(at(portRow, 6));
    message->setRecParams(receiveBaud, to_e5331_SerialParity(at(portRow, 7)),
                          e5331_SerialProtocol::ICD153D);
    if (port == e5331_Port::COM1) {
        message->setRedundantComPorts(at(portRow, 8) != "Off");
    }
    return message;
}

std::shared_ptr<TrevoComPortSetup> makeOutputSetup(Fields const& messageRow,
                                                   Fields const& portRow) {
    auto message = std::make_shared<TrevoComPortSetup>();
    message->setPort(to_e5331_Port(at(messageRow, 2)));
    const auto protocol = setTransmitLine(*message, portRow, messageRow);
    if (protocol == e5331_SerialProtocol::NMEA) {
        Fields list(sentences, none);
        for (std::size_t i = 0; i < sentences && firstMessage + i < messageRow.size(); ++i) {
            list[i] = messageRow[firstMessage + i];
        }
        message->setNMEASentenceID(list);
    }
    return message;
}

std::shared_ptr<CRM30001_Msg> makeMessageConnects(Fields const& messageRow) {
    auto message = std::make_shared<CRM30001_Msg>();
    const std::uint16_t port = to_e30001ComSelect(at(messageRow, 2));
    message->record.operation = Crm30001Layout::operationConnect;
    message->record.selectPorts(port);
    if (at(messageRow, firstMessage) != none) {
        for (std::size_t i = firstMessage; i < messageRow.size(); ++i) {
            if (messageRow[i] != none) {
                message->record.addEntry(toMessageId(messageRow[i]), port);
            }
        }
    }
    message->pack_30001();
    return message;
}
