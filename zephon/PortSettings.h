#pragma once

#include <memory>
#include <string>
#include <vector>

#include "messages/CrmMessages.h"
#include "messages/TrevoCommands.h"
#include "messages/TrevoPortSetup.h"
#include "zephon/StoredSettings.h"

/// The settings of the unit's ports, as commands name them, as answers tell them and as messages
/// carry them. All functions are pure; any thread may call.
///
/// A row of fields is a command or an answer, between its commas. A row of a port:
///
///     0 verb  1 unit  2 port  3 transmit speed  4 transmit parity  5 pulse output
///     6 receive speed  7 receive parity  8 redundant COM2  9 source of the solution
///
/// and one of what it puts out:
///
///     0 verb  1 unit  2 port  3 protocol  4... messages, or "none"
using Fields = std::vector<std::string>;

// Text to the codes of the messages. Those of 5331 raise std::invalid_argument for other texts.
e5331_Port to_e5331_Port(std::string const& port);
e5331_SerialParity to_e5331_SerialParity(std::string const& parity);
e5331_Pulse to_e5331_Pulse(std::string const& pulse);
e5331_SerialProtocol to_e5331_SerialProtocol(std::string const& protocol);
e5331_SerialBaud to_e5331_SerialBaud(long baud);  ///< bit/s
/// Those of 30001 and 5000 take COM1, and LNAV, for all texts that they don't know.
std::uint16_t to_e30001ComSelect(std::string const& port);
e5000_DataPort to_e5000_port(std::string const& port);
e5000_XferScenario to_e5000_scenario(std::string const& scenario);  ///< BOTH in any case of letters

/// Whether a row is fit to be stored and sent.
struct FieldCheck {
    bool valid = false;
    std::string error;  ///< what an exception said; empty for good rows and plainly bad ones
};
FieldCheck checkComFields(Fields const& fields);
FieldCheck checkMessageOutFields(Fields const& fields);

/// The container of a port, "ZP1COM2".
std::string portKey(std::string const& unit, std::string const& port);

/// What a row says of the line. Raises what std::stoi raises for a speed that is no number.
StoredPort toStoredPort(Fields const& fields);
/// What a row says of the output, with "none" for an empty list.
StoredMessages toStoredMessages(Fields const& fields);

/// The rows that are answered, and replayed to the unit.
std::string composeComRsp(StoredPort const& port);
std::string composeMessageRsp(StoredMessages const& messages);

/// Whether a row of a port says, in this very spelling, that its COM2 repeats COM1.
bool hasRedundantCom2(Fields const& portRow);

/// Whether the row is a command to set a port or the answer about one, and whole.
bool isPortRow(Fields const& row);
/// The same for what a port puts out, in a protocol that the unit knows.
bool isMessageRow(Fields const& row);

/// Message 5331 of a row of a port; the protocol comes from its row of messages. Raises
/// std::invalid_argument for a value that has no code.
std::shared_ptr<TrevoComPortSetup> makePortSetup(Fields const& portRow, Fields const& messageRow);
/// Message 5331 of a row of messages, of which seven sentences have a place; the transmit line
/// comes from its row of a port. Raises std::invalid_argument for a value, and std::out_of_range
/// for a sentence, that has no code.
std::shared_ptr<TrevoComPortSetup> makeOutputSetup(Fields const& messageRow, Fields const& portRow);

/// Message 30001 of a row of messages. "none" as the first message is the empty list, elsewhere it
/// is passed over; of more than forty the first go out. Raises std::out_of_range for what is no
/// message id.
std::shared_ptr<CRM30001_Msg> makeMessageConnects(Fields const& messageRow);
