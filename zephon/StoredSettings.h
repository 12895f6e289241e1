#pragma once

#include <optional>
#include <string>
#include <utility>

#include "face/FileCalls.h"

/// What is stored of one port: how its line runs. What the file does not tell stays as it is here.
struct StoredPort {
    int zephonNumber = 0;  ///< virtual unit, 1 to 4
    std::string comPort;   ///< "COM1" to "COM3"
    int transBaud = 0;     ///< bit/s
    std::string transParity;
    std::string ppsOut;
    int recBaud = 0;  ///< bit/s
    std::string recParity;
    std::string com2Redundant;  ///< "On" or "Off"
    std::string solutionSource;
};

/// What is stored of one port: what it puts out.
struct StoredMessages {
    int zephonNumber = 0;
    std::string comPort;
    std::string mode;             ///< "153D" or "NMEA"
    std::string messageConnects;  ///< separated by commas, or "none"
};

/// What is stored of one port: what stands behind it.
struct StoredCapabilities {
    int zephonNumber = 0;
    std::string comPort;
    std::string receiverCapabilities;  ///< "CORVANE" or "ZEPHON"
};

struct StoredHotStart {
    int zephonNumber = 0;
    std::string comPort;
    std::string type;  ///< "LNAV", "MNAV" or "BOTH"
};

struct StoredSuperUser {
    int zephonNumber = 0;  ///< 0 for none
    std::string comPort;
};

enum class StoreResult {
    Stored,
    NotOpened,   ///< no such file, or no such container in it: nothing was tried
    NotWritten,  ///< at least one value of the row did not reach the file
};

/// The settings of the receiver unit that survive a restart, by the name of their container.
///
/// Each call opens the file anew, so that what it reads is what is stored. A read answers nothing
/// without the file or the container; a value that is missing or empty there keeps its default,
/// with a warning on standard output, and a number that is none reads as 0. No value of a file is
/// checked here.
///
/// A write changes values that are there and not empty; it makes no new ones. Values are written
/// one after the other, each is on the medium before the next, and all are tried also when one
/// fails. The virtual unit's number and the port's name stand in the names of the containers of
/// ports, and are not written there.
///
/// Not synchronised: one thread at a time.
class StoredSettings {
public:
    StoredSettings() = default;
    /// `calls` reach the file and outlive the object.
    explicit StoredSettings(std::string file, FACE::FileCalls& calls = FACE::FileCalls::Real())
        : file_(std::move(file)), calls_(&calls) {}

    std::optional<StoredPort> readPort(std::string const& container) const;
    std::optional<StoredMessages> readMessages(std::string const& container) const;
    std::optional<StoredCapabilities> readCapabilities(std::string const& container) const;
    std::optional<StoredHotStart> readHotStart(std::string const& container) const;
    std::optional<StoredSuperUser> readSuperUser(std::string const& container) const;

    StoreResult writePort(std::string const& container, StoredPort const& port) const;
    StoreResult writeMessages(std::string const& container, StoredMessages const& messages) const;
    StoreResult writeCapabilities(std::string const& container, std::string const& word) const;
    StoreResult writeHotStart(std::string const& container, StoredHotStart const& hotStart) const;
    StoreResult writeSuperUser(std::string const& container,
                               StoredSuperUser const& superUser) const;

private:
    class Container;

    std::string file_;
    FACE::FileCalls* calls_ = &FACE::FileCalls::Real();
};
