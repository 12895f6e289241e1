#include "face/MX_Devmem.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "face/MX_Config_Helpers.h"
#include "face/MemoryMap.h"

namespace FACE::IOSS {

namespace {

using Kind = Devmem::IO_PARAMETER_KIND;

/// Orders the accesses before it and after it, those to device memory too.
void fullBarrier() {
    __sync_synchronize();
}

/// One load of exactly the register's width. A plain volatile access of 64 bits may be two on a
/// machine of 32; this one never is.
template <class Register>
std::uint64_t load(std::uint8_t const* address) {
    fullBarrier();
    Register const value =
        __atomic_load_n(reinterpret_cast<Register const volatile*>(address), __ATOMIC_RELAXED);
    fullBarrier();
    return value;
}

/// One store of exactly the register's width, of the value's low bits.
template <class Register>
void store(std::uint8_t* address, std::uint64_t value) {
    fullBarrier();
    __atomic_store_n(reinterpret_cast<Register volatile*>(address), static_cast<Register>(value),
                     __ATOMIC_RELAXED);
    fullBarrier();
}

bool isWidth(std::int32_t bits) {
    return bits == 8 || bits == 16 || bits == 32 || bits == 64;
}

}  // namespace

/// Where a connection lies in physical memory.
struct MX_Devmem::Region {
    std::uint32_t base = 0;
    std::uint32_t size = 0;  // bytes

    /// True when the register is of a known width and lies wholly in the region.
    bool holds(std::uint32_t offset, std::int32_t bits) const {
        if (!isWidth(bits)) {
            return false;
        }
        auto const bytes = static_cast<std::uint32_t>(bits) / 8;
        return bytes <= size && offset <= size - bytes;
    }

    /// True when the machine reaches the register by one access: its address, which the page of the
    /// mapping keeps, is a multiple of its width.
    bool isAligned(std::uint32_t offset, std::int32_t bits) const {
        return (base + offset) % (static_cast<std::uint32_t>(bits) / 8) == 0;
    }

    /// The parameter of that kind, null when there is none.
    std::uint32_t* parameter(std::uint16_t kind) {
        switch (kind) {
            case Kind::BASE_ADDRESS:
                return &base;
            case Kind::SIZE:
                return &size;
            default:
                return nullptr;
        }
    }
};

/// One region. Changed by the start-up path only.
struct MX_Devmem::Connection_t {
    Connection_t(std::string connectionName, Region const& initialRegion)
        : name(std::move(connectionName)), region(initialRegion) {}

    bool open();
    bool close();

    /// Gives null and writes `rc` when the region is not mapped or does not hold the register.
    std::uint8_t* find(std::uint32_t offset, std::int32_t bits, RETURN_CODE_TYPE::Value& rc) const;

    std::string const name;
    CONNECTION_STATE_TYPE::Value state = CONNECTION_STATE_TYPE::CLOSED;
    Region region;
    bool isOpen = false;
    std::uint8_t* base = nullptr;  // the region's first byte in `map`
    std::unique_ptr<MemoryMap> map;
};

/// A region that cannot be mapped counts as open, in the state that tells.
bool MX_Devmem::Connection_t::open() {
    state = CONNECTION_STATE_TYPE::OPENING;
    try {
        map = std::make_unique<MemoryMap>(region.base, region.size);
        base = map->getPointerToBase();
        state = CONNECTION_STATE_TYPE::OPEN;
    } catch (std::runtime_error const&) {
        base = nullptr;
        state = CONNECTION_STATE_TYPE::DEGRADED;
    }
    isOpen = true;
    return true;
}

bool MX_Devmem::Connection_t::close() {
    map.reset();
    base = nullptr;
    state = CONNECTION_STATE_TYPE::CLOSED;
    isOpen = false;
    return true;
}

std::uint8_t* MX_Devmem::Connection_t::find(std::uint32_t offset, std::int32_t bits,
                                            RETURN_CODE_TYPE::Value& rc) const {
    if (state != CONNECTION_STATE_TYPE::OPEN) {
        rc = RETURN_CODE_TYPE::INVALID_MODE;
        return nullptr;
    }
    if (!region.holds(offset, bits) || !region.isAligned(offset, bits)) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
        return nullptr;
    }
    return base + offset;
}

MX_Devmem::MX_Devmem() = default;
MX_Devmem::~MX_Devmem() = default;

void MX_Devmem::Set_Reference(String const& /*interface_name*/,
                              std::shared_ptr<Configuration> const& reference, long long /*id*/,
                              RETURN_CODE_TYPE::Value& rc) {
    configuration_.Set_Reference(reference, rc);
}

void MX_Devmem::Initialize(String const& config_name, RETURN_CODE_TYPE::Value& rc) {
    configuration_.Initialize(config_name, rc);
}

bool MX_Devmem::readRegion(String const& container, Region& region) const {
    return configuration_.readContainer(container, [&](Configuration& config, int handle) {
        using namespace MX_Config_Helpers;
        RETURN_CODE_TYPE::Value rc = RETURN_CODE_TYPE::NO_ERROR;
        Get_Unsigned_Parameter(config, handle, "BaseAddress", region.base, rc);
        Get_Unsigned_Parameter(config, handle, "Size", region.size, rc);
        return rc == RETURN_CODE_TYPE::NO_ERROR;
    });
}

void MX_Devmem::Open_Connection(String const& connection_name, long long /*timeout*/,
                                long long& handle, RETURN_CODE_TYPE::Value& rc) {
    auto const make = [&](std::string const& name) -> std::unique_ptr<Connection_t> {
        Region region;
        if (!readRegion(connection_name, region)) {
            return nullptr;
        }
        return std::make_unique<Connection_t>(name, region);
    };
    connections_.open(connection_name, make, handle, rc);
}

void MX_Devmem::Close_Connection(long long handle, RETURN_CODE_TYPE::Value& rc) {
    connections_.close(handle, rc);
}

void MX_Devmem::Read(long long handle, long long /*timeout*/, Devmem::READ_PAYLOAD_TYPE& payload,
                     RETURN_CODE_TYPE::Value& rc) {
    Connection_t const* const connection = connections_.findOpen(handle, rc);
    if (connection == nullptr) {
        return;
    }
    std::uint8_t const* const address = connection->find(payload.offset, payload.width, rc);
    if (address == nullptr) {
        return;
    }
    switch (payload.width) {
        case 8:
            payload.value = load<std::uint8_t>(address);
            break;
        case 16:
            payload.value = load<std::uint16_t>(address);
            break;
        case 32:
            payload.value = load<std::uint32_t>(address);
            break;
        default:
            payload.value = load<std::uint64_t>(address);
    }
    payload.timestamp = 0;
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_Devmem::Write(long long handle, long long /*timeout*/,
                      Devmem::WRITE_PAYLOAD_TYPE const& payload, RETURN_CODE_TYPE::Value& rc) {
    Connection_t const* const connection = connections_.findOpen(handle, rc);
    if (connection == nullptr) {
        return;
    }
    std::uint8_t* const address = connection->find(payload.offset, payload.width, rc);
    if (address == nullptr) {
        return;
    }
    switch (payload.width) {
        case 8:
            store<std::uint8_t>(address, payload.value);
            break;
        case 16:
            store<std::uint16_t>(address, payload.value);
            break;
        case 32:
            store<std::uint32_t>(address, payload.value);
            break;
        default:
            store<std::uint64_t>(address, payload.value);
    }
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_Devmem::Configure_Connection_Parameters(long long handle, long long /*timeout*/,
                                                IO_PARAMETER_TRANSACTION_TYPE const& parameters,
                                                RETURN_CODE_TYPE::Value& rc) {
    Connection_t* const connection = connections_.find(handle, rc);
    if (connection == nullptr) {
        return;
    }
    if (connection->isOpen) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
        return;
    }
    Region changed = connection->region;
    for (IO_PARAMETER const& parameter : parameters.parameters) {
        std::uint32_t* const place = changed.parameter(parameter.kind);
        auto code = IO_PARAMETER_VALUE_TYPE::TAG_MISMATCH;
        if (place != nullptr) {
            parameter.value.ulong_value(*place, code);
        }
        if (code != IO_PARAMETER_VALUE_TYPE::NO_ERROR) {
            rc = RETURN_CODE_TYPE::INVALID_PARAM;
            return;
        }
    }
    connection->region = changed;
    rc = RETURN_CODE_TYPE::NO_ERROR;
}

void MX_Devmem::Get_Connection_Configuration(long long handle, long long /*timeout*/,
                                             IO_PARAMETER_TRANSACTION_TYPE& parameters,
                                             RETURN_CODE_TYPE::Value& rc) {
    Connection_t* const connection = connections_.find(handle, rc);
    if (connection == nullptr) {
        return;
    }
    rc = RETURN_CODE_TYPE::NO_ERROR;
    for (IO_PARAMETER& parameter : parameters.parameters) {
        if (std::uint32_t const* const value = connection->region.parameter(parameter.kind)) {
            parameter.value.ulong_value(*value);
        } else {
            rc = RETURN_CODE_TYPE::INVALID_PARAM;
        }
    }
}

void MX_Devmem::Configure_Bus_Parameters(long long /*handle*/, long long /*timeout*/,
                                         IO_PARAMETER_TRANSACTION_TYPE const& /*parameters*/,
                                         RETURN_CODE_TYPE::Value& rc) {
    rc = RETURN_CODE_TYPE::NO_ACTION;
}

void MX_Devmem::Get_Bus_Configuration(long long /*handle*/, long long /*timeout*/,
                                      IO_PARAMETER_TRANSACTION_TYPE& /*parameters*/,
                                      RETURN_CODE_TYPE::Value& rc) {
    rc = RETURN_CODE_TYPE::NO_ACTION;
}

void MX_Devmem::Get_Connection_Status(long long handle, CONNECTION_STATUS_TYPE& status,
                                      RETURN_CODE_TYPE::Value& rc) {
    connections_.getStatus(handle, status, rc);
}

void MX_Devmem::Get_Bus_Status(long long handle, unsigned short& status,
                               RETURN_CODE_TYPE::Value& rc) {
    if (connections_.find(handle, rc) != nullptr) {
        status = 0;
        rc = RETURN_CODE_TYPE::NO_ERROR;
    }
}

void MX_Devmem::Register_Notification_Event(long long handle, IO_Callback& /*callback*/,
                                            RETURN_CODE_TYPE::Value& rc) {
    if (connections_.findOpen(handle, rc) != nullptr) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
    }
}

void MX_Devmem::Unregister_Notification_Event(long long handle, RETURN_CODE_TYPE::Value& rc) {
    if (connections_.find(handle, rc) != nullptr) {
        rc = RETURN_CODE_TYPE::NO_ACTION;
    }
}

}  // namespace FACE::IOSS
