#include "platform/FpgaFace.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include "face/ReturnCode.h"
#include "platform/FpgaRegisters.h"

using namespace FpgaRegisters;
using Code = FACE::RETURN_CODE_TYPE;

namespace {

constexpr long long noHandle = -1;
constexpr std::chrono::nanoseconds softResetTime{1000};

/// Raises unless `code` is NO_ERROR.
void require(int line, std::string const& what, Code::Value code) {
    FACE::Return_Code_Value_No_Error("FpgaFace.cpp", line, ("FpgaFace() " + what).c_str(), code);
}

/// One register: the connection of its region (none for an index that does not exist) and its
/// place there.
struct Register {
    long long handle = noHandle;
    std::uint64_t offset = 0;  // bytes
    std::int32_t width = 32;   // bits
};

bool exists(Register const& asked) {
    return asked.handle != noHandle && asked.offset <= std::numeric_limits<std::uint32_t>::max();
}

/// Control registers side by side in one region.
struct ControlInterface {
    long long handle = noHandle;
    std::uint32_t count = 0;

    Register at(int index) const {
        auto const number = static_cast<std::uint32_t>(index);
        return {index >= 0 && number < count ? handle : noHandle, Control::at(number)};
    }
};

/// The decimal digits of a BCD number, highest first, as many as asked for. A digit above 9, which
/// only a broken register has, gives two characters.
std::string digits(std::uint32_t value, unsigned highestBit, unsigned count) {
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        text += std::to_string((value >> (highestBit - 3 - 4 * i)) & 0xF);
    }
    return text;
}

/// The four characters of a register, highest byte first, without zero bytes.
std::string characters(std::uint32_t value) {
    std::string text;
    for (unsigned shift : {24U, 16U, 8U, 0U}) {
        auto const byte = static_cast<char>((value >> shift) & 0xFF);
        if (byte != '\0') {
            text += byte;
        }
    }
    return text;
}

}  // namespace

/// The FPGA as one InitFpga found it; one that is default-made has no unit and no register. Only
/// the dividers change.
class FpgaFace::Registers {
public:
    Registers() = default;
    explicit Registers(std::shared_ptr<IO_Service> service);

    /// False, with `value` 0, when there is no such register or the service refuses.
    bool read(Register const& from, std::uint64_t& value) const;
    std::uint64_t read(Register const& from) const;
    std::uint32_t read32(Register const& from) const {
        return static_cast<std::uint32_t>(read(from));
    }
    void write(Register const& to, std::uint64_t value) const;
    void add(Register const& to, int step) const;

    Register processor(std::uint32_t offset) const { return {processor_, offset}; }
    Register systemCount() const { return {timeStamp_, TimeStamp::systemCount, 64}; }
    Register uartStamp(unsigned uart) const {
        return {uart < uarts_ ? timeStamp_ : noHandle, TimeStamp::uartStamp(uart), 64};
    }
    Register uartDelay(unsigned uart) const {
        return {uart < uarts_ ? timeStamp_ : noHandle, TimeStamp::uartDelay(uart)};
    }
    Register pulseStamp(int pulse) const {
        auto const number = static_cast<std::uint32_t>(pulse);
        bool const isOne = pulse >= 0 && number < pulses_.size();
        return {isOne ? timeStamp_ : noHandle, TimeStamp::pulseStamp(number), 64};
    }
    Register periph(int index) const { return periphs_.at(index); }
    Register ppsSlave(int index) const { return ppsSlave_.at(index); }
    Register ptpClock(int index) const { return ptpClock_.at(index); }
    Register ptfe(unsigned number, std::uint32_t offset, std::int32_t width = 32) const {
        return {number < ptfes_.size() ? ptfes_[number].handle : noHandle, offset, width};
    }
    Register pulse(unsigned number, std::uint32_t offset) const {
        return {number < pulses_.size() ? pulses_[number] : noHandle, offset};
    }
    /// Null when there is no such engine.
    std::atomic<unsigned>* divider(unsigned ptfe) {
        return ptfe < ptfes_.size() ? &ptfes_[ptfe].divider : nullptr;
    }

private:
    struct Engine {
        explicit Engine(long long connection) : handle(connection) {}
        long long const handle;
        std::atomic<unsigned> divider{0};
    };

    long long open(int line, std::string const& name, std::string const& what) const;
    std::uint32_t readCount(int line, std::uint32_t offset, char const* what) const;
    std::uint32_t controlRegisters(long long handle) const;
    Code::Value tryRead(Register const& from, std::uint64_t& value) const;

    std::shared_ptr<IO_Service> const service_;
    long long processor_ = noHandle;
    long long timeStamp_ = noHandle;
    ControlInterface periphs_;
    ControlInterface ppsSlave_;
    ControlInterface ptpClock_;
    std::uint32_t uarts_ = 0;
    std::deque<Engine> ptfes_;
    std::vector<long long> pulses_;  // handles
};

FpgaFace::Registers::Registers(std::shared_ptr<IO_Service> service) : service_(std::move(service)) {
    if (service_ == nullptr) {
        require(__LINE__, "FAILED to open processor interface", Code::INVALID_PARAM);
    }
    processor_ = open(__LINE__, Processor::name, "processor");
    periphs_.handle = open(__LINE__, Control::peripheralName, "peripheral");
    timeStamp_ = open(__LINE__, TimeStamp::name, "timestamp");
    ppsSlave_.handle = open(__LINE__, Control::ppsSlaveName, "PPS Slave");
    ptpClock_.handle = open(__LINE__, Control::ptpClockName, "PTP Clock");
    ppsSlave_.count = controlRegisters(ppsSlave_.handle);
    ptpClock_.count = controlRegisters(ptpClock_.handle);

    uarts_ = readCount(__LINE__, Processor::uarts, "number of UARTs");
    std::uint32_t const ptfes = readCount(__LINE__, Processor::ptfes, "number of PTFEs");
    std::uint32_t const pulses = readCount(__LINE__, Processor::pulses, "number of Pulses");
    periphs_.count = readCount(__LINE__, Processor::periphs, "number of Periphs");

    // A count may be nonsense: nothing is sized by it, and the first missing region ends this.
    for (std::uint32_t i = 0; i < ptfes; ++i) {
        std::string const number = std::to_string(i);
        ptfes_.emplace_back(open(__LINE__, Ptfe::name + number, "PTFE " + number));
    }
    for (std::uint32_t i = 0; i < pulses; ++i) {
        std::string const number = std::to_string(i);
        pulses_.push_back(open(__LINE__, PulseGen::name + number, "PulseGen " + number));
    }

    std::uint32_t const rate = readCount(__LINE__, Processor::clockRate, "clock rate");
    if (rate != fpga_timestamp_get_ticks_per_sec()) {
        require(__LINE__,
                "FPGA clock rate mismatch, got " + std::to_string(rate) + ", expected " +
                    std::to_string(fpga_timestamp_get_ticks_per_sec()),
                Code::INVALID_MODE);
    }
}

long long FpgaFace::Registers::open(int line, std::string const& name,
                                    std::string const& what) const {
    long long handle = noHandle;
    Code::Value rc = Code::NO_ACTION;
    service_->Open_Connection(name.c_str(), 0, handle, rc);
    require(line, "FAILED to open " + what + " interface", rc);
    return handle;
}

std::uint32_t FpgaFace::Registers::readCount(int line, std::uint32_t offset,
                                             char const* what) const {
    std::uint64_t value = 0;
    require(line, std::string("FAILED to read FPGA ") + what, tryRead(processor(offset), value));
    return static_cast<std::uint32_t>(value);
}

/// As many as the region has room for; none when its size cannot be had.
std::uint32_t FpgaFace::Registers::controlRegisters(long long handle) const {
    FACE::IOSS::IO_PARAMETER size;
    size.kind = FACE::IOSS::Devmem::IO_PARAMETER_KIND::SIZE;
    FACE::IOSS::IO_PARAMETER_TRANSACTION_TYPE transaction;
    transaction.parameters.append(size);
    Code::Value rc = Code::NO_ACTION;
    service_->Get_Connection_Configuration(handle, 0, transaction, rc);
    std::uint32_t bytes = 0;
    if (rc == Code::NO_ERROR && transaction.parameters.length() == 1) {
        FACE::IOSS::IO_PARAMETER_VALUE_TYPE::RETURN_CODE code{};
        transaction.parameters[0]->value.ulong_value(bytes, code);
    }
    return bytes / Control::bytes;
}

Code::Value FpgaFace::Registers::tryRead(Register const& from, std::uint64_t& value) const {
    value = 0;
    if (!exists(from)) {
        return Code::INVALID_PARAM;
    }
    FACE::IOSS::Devmem::READ_PAYLOAD_TYPE payload;
    payload.offset = static_cast<std::uint32_t>(from.offset);
    payload.width = from.width;
    Code::Value rc = Code::NO_ACTION;
    service_->Read(from.handle, 0, payload, rc);
    if (rc == Code::NO_ERROR) {
        value = payload.value;
    }
    return rc;
}

bool FpgaFace::Registers::read(Register const& from, std::uint64_t& value) const {
    return tryRead(from, value) == Code::NO_ERROR;
}

std::uint64_t FpgaFace::Registers::read(Register const& from) const {
    std::uint64_t value = 0;
    tryRead(from, value);
    return value;
}

void FpgaFace::Registers::write(Register const& to, std::uint64_t value) const {
    if (!exists(to)) {
        return;
    }
    FACE::IOSS::Devmem::WRITE_PAYLOAD_TYPE payload;
    payload.offset = static_cast<std::uint32_t>(to.offset);
    payload.width = to.width;
    payload.value = value;
    Code::Value rc = Code::NO_ACTION;
    service_->Write(to.handle, 0, payload, rc);  // nobody could do anything about a failure
}

void FpgaFace::Registers::add(Register const& to, int step) const {
    std::uint64_t value = 0;
    if (read(to, value)) {
        write(to, static_cast<std::uint32_t>(value) + static_cast<std::uint32_t>(step));
    }
}

FpgaFace::FpgaFace() : registers_(std::make_shared<Registers>()) {}
FpgaFace::~FpgaFace() = default;

FpgaFace& FpgaFace::Instance() {
    static FpgaFace instance;
    return instance;
}

std::shared_ptr<FpgaFace::Registers> FpgaFace::registers() {
    FpgaFace& fpga = Instance();
    platform::MutexLock const lock(fpga.mutex_);
    return fpga.registers_;
}

void FpgaFace::replace(std::shared_ptr<Registers> registers) {
    platform::MutexLock const lock(mutex_);
    registers_.swap(registers);
}  // what was there before goes behind the lock, as the parameter does

void FpgaFace::InitFpga(std::shared_ptr<IO_Service> const& devmem) {
    DoneFpga();
    Instance().replace(std::make_shared<Registers>(devmem));
}

void FpgaFace::DoneFpga() {
    Instance().replace(std::make_shared<Registers>());
}

unsigned long long FpgaFace::fpga_get_SystemCount() {
    auto const fpga = registers();
    return fpga->read(fpga->systemCount());
}

unsigned long long FpgaFace::getUARTDataTimestampRaw(unsigned uart) {
    auto const fpga = registers();
    return fpga->read(fpga->uartStamp(uart));
}

unsigned long long FpgaFace::getPulseTimestampRaw(int pulse) {
    auto const fpga = registers();
    return fpga->read(fpga->pulseStamp(pulse));
}

void FpgaFace::setUartDelay(unsigned uart, unsigned ticks) {
    auto const fpga = registers();
    fpga->write(fpga->uartDelay(uart), ticks);
}

void FpgaFace::setUartDelay(unsigned uart, unsigned baud, unsigned chars, unsigned bitsPerChar) {
    constexpr unsigned most = std::numeric_limits<unsigned>::max();
    double const ticks =
        static_cast<double>(fpga_timestamp_get_ticks_per_sec()) / baud * chars * bitsPerChar;
    // Beyond the range, and for what is no number, the conversion would be undefined.
    setUartDelay(uart, ticks < static_cast<double>(most) ? static_cast<unsigned>(ticks) : most);
}

unsigned FpgaFace::getUartDelay(unsigned uart) {
    auto const fpga = registers();
    return fpga->read32(fpga->uartDelay(uart));
}

void FpgaFace::fpga_set_periph_control(int index, unsigned value) {
    auto const fpga = registers();
    fpga->write(fpga->periph(index), value);
}

unsigned FpgaFace::fpga_get_periph_control(int index) {
    auto const fpga = registers();
    return fpga->read32(fpga->periph(index));
}

unsigned FpgaFace::fpga_reset_periph_control(int index) {
    auto const fpga = registers();
    unsigned const held = fpga->read32(fpga->periph(index));
    fpga->write(fpga->periph(index), 0);
    return held;
}

void FpgaFace::fpga_set_ppsSlave_control(int index, unsigned value) {
    auto const fpga = registers();
    fpga->write(fpga->ppsSlave(index), value);
}

unsigned FpgaFace::fpga_get_ppsSlave_control(int index) {
    auto const fpga = registers();
    return fpga->read32(fpga->ppsSlave(index));
}

void FpgaFace::fpga_set_ptpClock_control(int index, unsigned value) {
    auto const fpga = registers();
    fpga->write(fpga->ptpClock(index), value);
}

unsigned FpgaFace::fpga_get_ptpClock_control(int index) {
    auto const fpga = registers();
    return fpga->read32(fpga->ptpClock(index));
}

void FpgaFace::fpga_ptfe_init(unsigned ptfe, unsigned rate, unsigned divider) {
    auto const fpga = registers();
    std::atomic<unsigned>* const kept = fpga->divider(ptfe);
    if (kept == nullptr) {
        return;
    }
    *kept = divider;
    fpga->write(fpga->ptfe(ptfe, Ptfe::divider), divider - 1);
    fpga->write(fpga->ptfe(ptfe, Ptfe::enable), 1);
    fpga->write(fpga->ptfe(ptfe, Ptfe::rate0), rate);
    fpga->write(fpga->ptfe(ptfe, Ptfe::rate1), rate);
    fpga->write(fpga->ptfe(ptfe, Ptfe::gain), 160);
}

void FpgaFace::fpga_ptfe_soft_reset(unsigned ptfe) {
    auto const fpga = registers();
    Register const reset = fpga->ptfe(ptfe, Ptfe::softReset);
    fpga->write(reset, 1);
    std::this_thread::sleep_for(softResetTime);
    fpga->write(reset, 0);
}

unsigned FpgaFace::getPtfeDivider(unsigned ptfe) {
    auto const fpga = registers();
    std::atomic<unsigned> const* const kept = fpga->divider(ptfe);
    return kept != nullptr ? kept->load() : 0;
}

unsigned FpgaFace::getPtfeFirmwareId(unsigned ptfe) {
    auto const fpga = registers();
    return fpga->read32(fpga->ptfe(ptfe, Ptfe::firmwareId));
}

unsigned FpgaFace::getPtfeStatus(unsigned ptfe) {
    auto const fpga = registers();
    return fpga->read32(fpga->ptfe(ptfe, Ptfe::status));
}

unsigned FpgaFace::getAndClearPtfeStatus(unsigned ptfe) {
    auto const fpga = registers();
    unsigned const status = fpga->read32(fpga->ptfe(ptfe, Ptfe::status));
    fpga->write(fpga->ptfe(ptfe, Ptfe::status), status);
    return status;
}

unsigned FpgaFace::getPtfeMeasuredFreqEstimate(unsigned ptfe) {
    auto const fpga = registers();
    return fpga->read32(fpga->ptfe(ptfe, Ptfe::measuredFrequency));
}

unsigned long long FpgaFace::getDfNcoRate(unsigned ptfe) {
    auto const fpga = registers();
    return fpga->read(fpga->ptfe(ptfe, Ptfe::dfNcoRate, 64));
}

unsigned long long FpgaFace::getDtNcoPhase(unsigned ptfe) {
    auto const fpga = registers();
    return fpga->read(fpga->ptfe(ptfe, Ptfe::dtNcoPhase, 64));
}

unsigned FpgaFace::getDtCycles(unsigned ptfe) {
    auto const fpga = registers();
    return fpga->read32(fpga->ptfe(ptfe, Ptfe::dtCycles));
}

void FpgaFace::setPtfeDefaultNcoRate(unsigned ptfe, unsigned long long rate) {
    auto const fpga = registers();
    fpga->write(fpga->ptfe(ptfe, Ptfe::defaultNcoRate, 64), rate);
}

void FpgaFace::fpga_pulsegen_set_Int_phase(unsigned pulse, unsigned phase) {
    auto const fpga = registers();
    fpga->write(fpga->pulse(pulse, PulseGen::internalPhase), phase);
}

unsigned FpgaFace::fpga_pulsegen_get_Int_phase(unsigned pulse) {
    auto const fpga = registers();
    return fpga->read32(fpga->pulse(pulse, PulseGen::internalPhase));
}

void FpgaFace::fpga_pulsegen_adjust_Int_phase(unsigned pulse, int step) {
    auto const fpga = registers();
    fpga->add(fpga->pulse(pulse, PulseGen::internalPhase), step);
}

void FpgaFace::fpga_pulsegen_set_Ext_phase(unsigned pulse, unsigned phase) {
    auto const fpga = registers();
    fpga->write(fpga->pulse(pulse, PulseGen::externalPhase), phase);
}

unsigned FpgaFace::fpga_pulsegen_get_Ext_phase(unsigned pulse) {
    auto const fpga = registers();
    return fpga->read32(fpga->pulse(pulse, PulseGen::externalPhase));
}

void FpgaFace::fpga_pulsegen_adjust_Ext_phase(unsigned pulse, int step) {
    auto const fpga = registers();
    fpga->add(fpga->pulse(pulse, PulseGen::externalPhase), step);
}

std::string FpgaFace::getFirmwareBuildStamp() {
    auto const fpga = registers();
    std::uint32_t const date = fpga->read32(fpga->processor(Processor::buildDate));
    std::uint32_t const time = fpga->read32(fpga->processor(Processor::buildTime));
    return digits(date, 31, 4) + digits(date, 15, 2) + "-" + digits(date, 7, 2) +
           digits(time, 15, 2) + ":" + digits(time, 7, 2) + ":00";
}

std::string FpgaFace::getFirmwareConfiguration() {
    auto const fpga = registers();
    auto const processor = [&](std::uint32_t offset) {
        return fpga->read32(fpga->processor(offset));
    };
    std::uint32_t const date = processor(Processor::buildDate);
    std::uint32_t const time = processor(Processor::buildTime);
    return "Corvane FPGA Firmware:, " + characters(processor(Processor::firmwareName0)) +
           characters(processor(Processor::firmwareName1)) + "," + "Date YMD:," +
           digits(date, 31, 4) + "-" + digits(date, 15, 2) + "-" + digits(date, 7, 2) + "," +
           "Time  HHMM:," + digits(time, 15, 2) + ":" + digits(time, 7, 2) + "," + "XPN:," +
           characters(processor(Processor::xpn0)) + "-" + characters(processor(Processor::xpn1)) +
           "-" + characters(processor(Processor::xpn2)) +
           "Rev:" + characters(processor(Processor::revision));
}
