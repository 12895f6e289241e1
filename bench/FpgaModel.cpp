#include "bench/FpgaModel.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <pthread.h>
#include <stdexcept>
#include <sys/mman.h>
#include <system_error>
#include <tuple>
#include <unistd.h>
#include <utility>

#include "bench/FileDescriptor.h"
#include "bench/Patience.h"

namespace bench {
namespace {

const char* const processor = "Processor_Interface";
const char* const timeStamp = "TimeStamp_Interface";

// The identification, in registers of four bytes.
constexpr std::size_t firmwareName = 0x00;
constexpr std::size_t buildDate = 0x08;
constexpr std::size_t buildTime = 0x0C;
constexpr std::size_t xpn = 0x10;
constexpr std::size_t revision = 0x1C;
constexpr std::size_t uartCount = 0x20;
constexpr std::size_t ptfeCount = 0x24;
constexpr std::size_t pulseCount = 0x28;
constexpr std::size_t periphCount = 0x2C;
constexpr std::size_t clockRate = 0x30;

// The stamps, in registers of eight bytes.
constexpr std::size_t systemCount = 128;
constexpr std::size_t pulseStamps = 256;
constexpr std::size_t uartStamps = 512;

constexpr std::uint64_t physicalMemory = std::uint64_t{1} << 32;
constexpr std::chrono::microseconds countPeriod{200};

std::size_t pageSize() {
    return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

FileDescriptor makeMemory(const std::filesystem::path& path, const FpgaModel::Regions& regions) {
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    std::uint64_t end = physicalMemory;
    for (const auto& [name, region] : regions) {
        end = std::max(end, region.base + region.size + pageSize());
    }
    if (!file.valid() || ::ftruncate(file.get(), static_cast<off_t>(end)) != 0) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }
    return file;
}

template <typename Register>
std::uint64_t load(const std::uint8_t* address) {
    return __atomic_load_n(reinterpret_cast<const Register*>(address), __ATOMIC_SEQ_CST);
}

template <typename Register>
void store(std::uint8_t* address, std::uint64_t value) {
    __atomic_store_n(reinterpret_cast<Register*>(address), static_cast<Register>(value),
                     __ATOMIC_SEQ_CST);
}

/// Four characters of a text as a register holds them: the first in the highest byte.
std::uint32_t characters(const std::string& text, std::size_t first) {
    std::uint32_t value = 0;
    for (std::size_t i = first; i < first + 4; ++i) {
        value = (value << 8) | (i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0U);
    }
    return value;
}

}  // namespace

FpgaModel::Mapping::Mapping(int file, const MemoryRegion& region)
    : size_(static_cast<std::size_t>(region.size)) {
    const std::size_t skipped = static_cast<std::size_t>(region.base) % pageSize();
    length_ = std::max<std::size_t>(skipped + size_, 1);
    start_ = ::mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_SHARED, file,
                    static_cast<off_t>(region.base - skipped));
    if (start_ == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "mapping a region");
    }
    base_ = static_cast<std::uint8_t*>(start_) + skipped;
}

FpgaModel::Mapping::~Mapping() {
    ::munmap(start_, length_);
}

FpgaModel::FpgaModel(const std::filesystem::path& path, const Regions& regions)
    : FpgaModel(path, regions, Options{}) {}

FpgaModel::FpgaModel(const std::filesystem::path& path, const Regions& regions, Options options)
    : options_(std::move(options)) {
    const FileDescriptor file = makeMemory(path, regions);
    for (const auto& [name, region] : regions) {
        mappings_.emplace(std::piecewise_construct, std::forward_as_tuple(name),
                          std::forward_as_tuple(file.get(), region));
    }
    if (mappings_.count(processor) != 0) {
        fill();
    }
    if (mappings_.count(timeStamp) != 0) {
        advance();
        thread_ = std::thread([this] { run(); });
    }
}

FpgaModel::~FpgaModel() {
    stop_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
}

void FpgaModel::fill() {
    for (std::size_t i = 0; i < 2; ++i) {
        write32(processor, firmwareName + 4 * i, characters(options_.firmware, 4 * i));
    }
    write32(processor, buildDate, options_.buildDate);
    write32(processor, buildTime, options_.buildTime);
    for (std::size_t i = 0; i < 3; ++i) {
        write32(processor, xpn + 4 * i, characters(options_.xpn, 4 * i));
    }
    write32(processor, revision, characters(options_.revision, 0));
    write32(processor, uartCount, options_.uarts);
    write32(processor, ptfeCount, options_.ptfes);
    write32(processor, pulseCount, options_.pulses);
    write32(processor, periphCount, options_.periphs);
    write32(processor, clockRate, options_.clockRate);
}

std::uint8_t* FpgaModel::find(const std::string& interface, std::size_t offset,
                              unsigned width) const {
    const auto found = mappings_.find(interface);
    if (found == mappings_.end()) {
        throw std::out_of_range("no registers of " + interface);
    }
    if (width != 8 && width != 16 && width != 32 && width != 64) {
        throw std::out_of_range("no register has " + std::to_string(width) + " bits");
    }
    const std::size_t bytes = width / 8;
    const Mapping& mapping = found->second;
    const bool inside = bytes <= mapping.size() && offset <= mapping.size() - bytes;
    if (!inside || reinterpret_cast<std::uintptr_t>(mapping.base() + offset) % bytes != 0) {
        throw std::out_of_range("no register of " + std::to_string(width) + " bits at offset " +
                                std::to_string(offset) + " of " + interface);
    }
    return mapping.base() + offset;
}

std::uint64_t FpgaModel::read(const std::string& interface, std::size_t offset,
                              unsigned width) const {
    const std::uint8_t* const address = find(interface, offset, width);
    switch (width) {
        case 8:
            return load<std::uint8_t>(address);
        case 16:
            return load<std::uint16_t>(address);
        case 32:
            return load<std::uint32_t>(address);
        default:
            return load<std::uint64_t>(address);
    }
}

void FpgaModel::write(const std::string& interface, std::size_t offset, unsigned width,
                      std::uint64_t value) {
    std::uint8_t* const address = find(interface, offset, width);
    switch (width) {
        case 8:
            return store<std::uint8_t>(address, value);
        case 16:
            return store<std::uint16_t>(address, value);
        case 32:
            return store<std::uint32_t>(address, value);
        default:
            return store<std::uint64_t>(address, value);
    }
}

bool FpgaModel::waitFor(const std::string& interface, std::size_t offset, unsigned width,
                        std::uint64_t value, std::chrono::milliseconds timeout) const {
    return holdsInTime([&] { return read(interface, offset, width) == value; }, timeout);
}

void FpgaModel::uartDataArrived(std::uint32_t uart) {
    if (uart < options_.uarts) {
        stamp(uartStamps + 8 * std::size_t{uart});
    }
}

void FpgaModel::pulseArrived(std::uint32_t pulse) {
    if (pulse < options_.pulses) {
        stamp(pulseStamps + 8 * std::size_t{pulse});
    }
}

/// A stamp register that the region has no room for is none.
void FpgaModel::stamp(std::size_t offset) {
    const auto found = mappings_.find(timeStamp);
    if (found == mappings_.end() || offset + 8 > found->second.size()) {
        return;
    }
    const std::lock_guard<std::mutex> lock(countMutex_);
    write64(timeStamp, offset, advance());
}

std::uint64_t FpgaModel::ticksAt(Clock::time_point time) {
    // 4608 / 78125 is 58,982,400 / 1,000,000,000; in two steps, so that nothing overflows.
    const auto ns = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count());
    return ns / 78125 * 4608 + ns % 78125 * 4608 / 78125;
}

/// Brings the system count to the present and gives it. Called with the lock held, or before the
/// thread runs.
std::uint64_t FpgaModel::advance() {
    const std::uint64_t ticks = ticksAt(Clock::now());
    write64(timeStamp, systemCount, ticks);
    return ticks;
}

void FpgaModel::run() {
    ::pthread_setname_np(::pthread_self(), "fpga-count");
    while (!stop_) {
        {
            const std::lock_guard<std::mutex> lock(countMutex_);
            advance();
        }
        std::this_thread::sleep_for(countPeriod);
    }
}

}  // namespace bench
