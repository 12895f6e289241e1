#include "ASPN/DeviceIds.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace ASPN2 {

namespace {

struct ServerRow {
    unsigned char id;
    const char* name;
};

// In ascending order of the ids: to_string searches by halves.
constexpr std::array<ServerRow, 40> servers{{
    {1, "CorvaneComputer"},
    {2, "BootManager"},
    {3, "UpdateServer"},
    {4, "RecorderServer"},
    {16, "PowerMonitor"},
    {17, "ThermalMonitor"},
    {32, "ConfigurationServer"},
    {33, "TimingServer"},
    {34, "PulseServer"},
    {35, "OscillatorServer"},
    {ServerIds::ClockDevice, ServerIds::ClockDevice_name},
    {37, "FileServer"},
    {ServerIds::AltNavUnit, ServerIds::AltNavUnit_name},
    {ServerIds::Trevo, ServerIds::Trevo_name},
    {40, "LogServer"},
    {41, "InertialUnit"},
    {42, "InertialServer"},
    {43, "OdometerServer"},
    {44, "SerialServer"},
    {45, "NetworkServer"},
    {46, "RadioServer"},
    {ServerIds::HalvorServer, ServerIds::HalvorServer_name},
    {ServerIds::HmiServer, ServerIds::HmiServer_name},
    {ServerIds::ZephonServer, ServerIds::ZephonServer_name},
    {50, "TrevoServer"},
    {51, "MaintenanceServer"},
    {52, "NetworkTimeServer"},
    {ServerIds::SystemController, ServerIds::SystemController_name},
    {54, "WatchdogServer"},
    {55, "BarometerServer"},
    {56, "MagnetometerServer"},
    {64, "VehicleServer"},
    {80, "GpsClock"},
    {81, "AntennaServer"},
    {ServerIds::FusionNavigator, ServerIds::FusionNavigator_name},
    {97, "FusionMonitor"},
    {98, "FusionRecorder"},
    {112, "TestServer"},
    {113, "SimulationServer"},
    {125, "DiagnosticServer"},
}};

}  // namespace

std::uint8_t SystemIds::from_string(const char* name) {
    if (name == nullptr) {
        return UNKNOWN;
    }
    if (std::strcmp(name, OSTREL_name) == 0) {
        return OSTREL;
    }
    if (std::strcmp(name, ILMAR_name) == 0) {
        return ILMAR;
    }
    if (std::strcmp(name, CorvanePlus_name) == 0) {
        return CorvanePlus;
    }
    return UNKNOWN;
}

const char* ServerIds::to_string(unsigned char server) {
    const auto* const row =
        std::lower_bound(servers.begin(), servers.end(), server,
                         [](const ServerRow& left, unsigned char id) { return left.id < id; });
    return row != servers.end() && row->id == server ? row->name : INVALID_name;
}

const char* Components::to_component(unsigned char server, unsigned char instance) {
    switch (instance) {
        case 0:
            switch (server) {
                case ServerIds::SystemController:
                    return "Meridane";
                case ServerIds::ZephonServer:
                    return "PNT-D";
                case ServerIds::AltNavUnit:
                    return "ALTNAV";
                case ServerIds::Trevo:
                    return "GPS";
                case ServerIds::HalvorServer:
                    return "HALVORSW";
                default:
                    return ServerIds::INVALID_name;
            }
        case 1:
            return "Corvane";
        case 2:
            return "HALVOR";
        default:
            return ServerIds::INVALID_name;
    }
}

void DeviceIdFactory::reset(unsigned char system, unsigned char server) {
    base_ = static_cast<std::uint32_t>(system) << 24 | static_cast<std::uint32_t>(server) << 16;
}

void DeviceIdFactory::reset(const char* system, unsigned char server) {
    reset(SystemIds::from_string(system), server);
}

std::uint32_t DeviceIdFactory::makeDeviceId(unsigned char topic, unsigned char instance) const {
    return base_ | static_cast<std::uint32_t>(topic) << 8 | instance;
}

}  // namespace ASPN2
