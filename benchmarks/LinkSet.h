#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>

#include "ASPN/DeviceIds.h"
#include "GpsSerialIo/GpsIo.h"
#include "face/MX_SerialPort.h"
#include "ioss_mcsq/GssipMcsq.h"

namespace benchmarks {

/// The serial service, which also counts the frames that have been written to each connection.
class CountingSerialPort final : public FACE::IOSS::MX_SerialPort {
public:
    void Write(long long handle, long long timeout,
               FACE::IOSS::Serial::WRITE_PAYLOAD_TYPE const& payload,
               FACE::RETURN_CODE_TYPE::Value& rc) override;

    /// Any thread. Handles count from 0, in the order in which the connections were opened.
    std::uint32_t framesWritten(std::size_t handle) const { return written_.at(handle); }

private:
    std::array<std::atomic<std::uint32_t>, 3> written_{};
};

/// The server's three links without the server: real links on real serial ports, FPGA registers
/// and queue devices, connected as the server connects them. One thread, which owns the links.
class LinkSet {
public:
    static constexpr unsigned count = 3;

    /// Opens everything that the file of devices names and starts the links. FpgaFace is then in
    /// use. Raises std::runtime_error for what does not open.
    explicit LinkSet(std::filesystem::path const& devices);

    /// Stops the links.
    ~LinkSet();
    LinkSet(LinkSet const&) = delete;
    LinkSet& operator=(LinkSet const&) = delete;

    /// Queues the next numbered frame to the unit. `number` counts from 1 to 3.
    bool queueFrame(unsigned number);

    std::uint32_t framesQueued(unsigned number) const { return queued_.at(number - 1); }
    std::uint32_t framesWritten(unsigned number) const {
        return serial_->framesWritten(number - 1);
    }

    /// All that the links counted and that is no frame in good order.
    std::uint64_t errors() const;

private:
    std::shared_ptr<CountingSerialPort> serial_;
    std::shared_ptr<GssipMcsq> queue_;
    ASPN2::DeviceIdFactory ids_;
    std::array<std::unique_ptr<GpsIo>, count> links_;
    std::array<std::uint32_t, count> queued_{};
};

}  // namespace benchmarks
