#pragma once

#include <cstdint>

/// Who sent a record: the 32-bit device id in every record's header, and the names behind it.
///
///     31      24 23      16 15       8 7        0
///    +----------+----------+----------+----------+
///    |  system  |  server  |  topic   | instance |
///    +----------+----------+----------+----------+
namespace ASPN2 {

/// The server field of a device id: the source by which receivers route.
constexpr std::uint8_t serverIdOf(std::uint32_t deviceId) {
    return static_cast<std::uint8_t>(deviceId >> 16);
}

/// The instance field of a device id.
constexpr std::uint8_t instanceOf(std::uint32_t deviceId) {
    return static_cast<std::uint8_t>(deviceId);
}

/// The systems of the family.
class SystemIds {
public:
    static constexpr std::uint8_t UNKNOWN = 0;
    static constexpr std::uint8_t OSTREL = 1;
    static constexpr std::uint8_t ILMAR = 2;
    static constexpr std::uint8_t CorvanePlus = 3;

    static constexpr const char* OSTREL_name = "OSTREL";
    static constexpr const char* ILMAR_name = "ILMAR";
    static constexpr const char* CorvanePlus_name = "CorvanePlus";

    SystemIds() = delete;

    /// The id of the system called exactly `name`; UNKNOWN for any other text and for null.
    static std::uint8_t from_string(const char* name);
};

/// The servers and sensors of the family. Those that this program talks with have constants
/// here; the registry behind to_string knows the others too.
class ServerIds {
public:
    static constexpr std::uint8_t ClockDevice = 36;
    static constexpr std::uint8_t AltNavUnit = 38;
    static constexpr std::uint8_t Trevo = 39;  ///< the GPS engine
    static constexpr std::uint8_t HalvorServer = 47;
    static constexpr std::uint8_t HmiServer = 48;
    static constexpr std::uint8_t ZephonServer = 49;  ///< this server, and its PNT device
    static constexpr std::uint8_t SystemController = 53;
    static constexpr std::uint8_t FusionNavigator = 96;

    static constexpr const char* ClockDevice_name = "ClockDevice";
    static constexpr const char* AltNavUnit_name = "AltNavUnit";
    static constexpr const char* Trevo_name = "Trevo";
    static constexpr const char* HalvorServer_name = "HalvorServer";
    static constexpr const char* HmiServer_name = "HmiServer";
    static constexpr const char* ZephonServer_name = "ZephonServer";
    static constexpr const char* SystemController_name = "SystemController";
    static constexpr const char* FusionNavigator_name = "FusionNavigator";
    static constexpr const char* INVALID_name = "INVALID_SERVER_ID";

    ServerIds() = delete;

    /// The name of a server; "INVALID_SERVER_ID" for an id that is not registered. Never null.
    static const char* to_string(unsigned char server);
};

/// The topic field of device ids.
class TopicIds {
public:
    static constexpr std::uint8_t Commands = 2;  ///< commands and their answers
    static constexpr std::uint8_t Reports = 59;  ///< the event log and the maintenance log

    TopicIds() = delete;
};

/// The labels of senders in version and fault reports.
class Components {
public:
    Components() = delete;

    /// Instance 0 is told by its server, instances 1 and 2 are the computer and the Halvor unit
    /// whatever the server; "INVALID_SERVER_ID" for everything else. Never null.
    static const char* to_component(unsigned char server, unsigned char instance);
};

/// Composes the device ids of one server. `reset` belongs to the start; after it any thread may
/// make ids.
class DeviceIdFactory {
public:
    /// Ids of no system and no server, until `reset`.
    DeviceIdFactory() = default;
    DeviceIdFactory(unsigned char system, unsigned char server) { reset(system, server); }

    /// As the other, with the system's name; an unknown one counts as system 0.
    DeviceIdFactory(const char* system, unsigned char server) { reset(system, server); }

    void reset(unsigned char system, unsigned char server);
    void reset(const char* system, unsigned char server);

    std::uint32_t makeDeviceId(unsigned char topic, unsigned char instance) const;

private:
    std::uint32_t base_ = 0;  // the upper two bytes of an id
};

}  // namespace ASPN2
