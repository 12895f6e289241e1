#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace bench {

/// A region of physical memory: address of its first byte and length in bytes.
struct MemoryRegion {
    std::uint64_t base = 0;
    std::uint64_t size = 0;
};

/// The computer's timing FPGA, as registers in a file that stands for physical memory. The server
/// maps the same file, so each sees at once what the other stores.
///
/// Counts, identification and clock rate are there when the constructor returns. A thread runs
/// the system count, which lags by less than a millisecond; it counts from the origin of
/// CLOCK_MONOTONIC, so that counts and stamps compare with the times of all processes of the
/// machine. Everything else is memory: what is stored is what is read.
///
/// Any thread may call any operation.
class FpgaModel {
public:
    using Clock = std::chrono::steady_clock;
    using Regions = std::map<std::string, MemoryRegion>;  ///< by name of the interface

    static constexpr std::uint32_t ticksPerSecond = 58982400;

    struct Options {
        std::uint32_t uarts = 4;
        std::uint32_t ptfes = 2;
        std::uint32_t pulses = 2;
        std::uint32_t periphs = 64;
        std::uint32_t clockRate = ticksPerSecond;  ///< as told; the count runs at ticksPerSecond
        std::uint32_t buildDate = 0x20240918;      ///< BCD YYYYMMDD
        std::uint32_t buildTime = 0x1348;          ///< BCD HHMM
        std::string firmware = "CRVNTIME";         ///< eight characters
        std::string xpn = "074-8125-002";          ///< twelve characters
        std::string revision = "A001";             ///< four characters
    };

    /// Makes the file `path`, as large as physical memory but empty, and maps `regions`; an
    /// interface that they lack has no registers. Raises std::system_error, and std::out_of_range
    /// when a region has no room for what stands in it from the beginning.
    FpgaModel(const std::filesystem::path& path, const Regions& regions);
    FpgaModel(const std::filesystem::path& path, const Regions& regions, Options options);
    ~FpgaModel();
    FpgaModel(const FpgaModel&) = delete;
    FpgaModel& operator=(const FpgaModel&) = delete;

    const Options& options() const { return options_; }

    /// A register by the name of its interface, byte offset and width in bits (8, 16, 32, 64), in
    /// one access. Raise std::out_of_range for a register outside of the regions, or one that
    /// does not lie at a multiple of its width.
    std::uint64_t read(const std::string& interface, std::size_t offset, unsigned width) const;
    void write(const std::string& interface, std::size_t offset, unsigned width,
               std::uint64_t value);

    std::uint32_t read32(const std::string& interface, std::size_t offset) const {
        return static_cast<std::uint32_t>(read(interface, offset, 32));
    }
    std::uint64_t read64(const std::string& interface, std::size_t offset) const {
        return read(interface, offset, 64);
    }
    void write32(const std::string& interface, std::size_t offset, std::uint32_t value) {
        write(interface, offset, 32, value);
    }
    void write64(const std::string& interface, std::size_t offset, std::uint64_t value) {
        write(interface, offset, 64, value);
    }

    /// Waits until the register holds `value`.
    bool waitFor(const std::string& interface, std::size_t offset, unsigned width,
                 std::uint64_t value, std::chrono::milliseconds timeout) const;

    /// Bytes came in on a UART, or a pulse: stamps it with the count of this moment, which the
    /// system count has then reached. A number that the FPGA does not have is nothing.
    void uartDataArrived(std::uint32_t uart);
    void pulseArrived(std::uint32_t pulse);

    /// What the system count is at that time.
    static std::uint64_t ticksAt(Clock::time_point time);

private:
    /// The pages around one region, mapped.
    class Mapping {
    public:
        Mapping(int file, const MemoryRegion& region);
        ~Mapping();
        Mapping(const Mapping&) = delete;
        Mapping& operator=(const Mapping&) = delete;

        std::uint8_t* base() const { return base_; }
        std::size_t size() const { return size_; }

    private:
        std::size_t size_;    // of the region
        std::size_t length_;  // of the mapping
        void* start_;
        std::uint8_t* base_;  // of the region
    };

    std::uint8_t* find(const std::string& interface, std::size_t offset, unsigned width) const;
    void fill();
    void stamp(std::size_t offset);
    std::uint64_t advance();
    void run();

    const Options options_;
    std::map<std::string, Mapping> mappings_;  // constant after construction

    std::mutex countMutex_;  // keeps the system count from running backwards; a leaf
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace bench
