#pragma once

#include <memory>
#include <string>

#include "face/IoServices.h"
#include "platform/Mutex.h"

/// The one access to the timing FPGA's registers.
///
/// Usable between an InitFpga that returned and DoneFpga. At all other times, and for an index
/// that the FPGA does not have, getters give 0 and setters do nothing; so does an access that the
/// memory service refuses.
///
/// Threads: any thread may call any operation at any time, also while another calls DoneFpga: an
/// access that has begun then ends on the registers that it began on. Accesses stand alone. What
/// makes several (fpga_ptfe_init, fpga_ptfe_soft_reset, getAndClearPtfeStatus,
/// fpga_reset_periph_control and the two adjusts of a pulse) is not to be called for one unit by
/// two threads at once.
class FpgaFace {
public:
    using IO_Service = FACE::IOSS::Devmem::IO_Service;

    static FpgaFace& Instance();

    FpgaFace(FpgaFace const&) = delete;
    FpgaFace& operator=(FpgaFace const&) = delete;

    /// Opens the interfaces on `devmem` and reads what there is of each unit. Raises
    /// std::runtime_error (FACE::Return_Code_Value_No_Error) at the first failure, also when the
    /// FPGA's clock has another rate than fpga_timestamp_get_ticks_per_sec; the object is then
    /// not usable, whatever it was before.
    static void InitFpga(std::shared_ptr<IO_Service> const& devmem);

    /// Lets go of the registers and of the memory service, whose connections stay open.
    static void DoneFpga();

    /// Ticks per second of every count, stamp and delay.
    static constexpr unsigned fpga_timestamp_get_ticks_per_sec() { return 58982400; }

    // Time stamps, in ticks.
    static unsigned long long fpga_get_SystemCount();
    static unsigned long long getUARTDataTimestampRaw(unsigned uart);
    static unsigned long long getPulseTimestampRaw(int pulse);

    // The delay that the FPGA compensates in a UART's stamps, in ticks.
    static void setUartDelay(unsigned uart, unsigned ticks);

    /// The time that `chars` characters take on the line, cut to whole ticks; at most the largest
    /// delay that the register holds, which a baud of 0 gives too.
    static void setUartDelay(unsigned uart, unsigned baud, unsigned chars, unsigned bitsPerChar);
    static unsigned getUartDelay(unsigned uart);

    // Control registers. A reset gives what the register held.
    static void fpga_set_periph_control(int index, unsigned value);
    static unsigned fpga_get_periph_control(int index);
    static unsigned fpga_reset_periph_control(int index);
    static void fpga_set_ppsSlave_control(int index, unsigned value);
    static unsigned fpga_get_ppsSlave_control(int index);
    static void fpga_set_ptpClock_control(int index, unsigned value);
    static unsigned fpga_get_ptpClock_control(int index);

    // Frequency engines, counted from 0.
    static void fpga_ptfe_init(unsigned ptfe, unsigned rate, unsigned divider);
    static void fpga_ptfe_soft_reset(unsigned ptfe);
    static unsigned getPtfeDivider(unsigned ptfe);  ///< that of the last fpga_ptfe_init
    static unsigned getPtfeFirmwareId(unsigned ptfe);
    static unsigned getPtfeStatus(unsigned ptfe);
    static unsigned getAndClearPtfeStatus(unsigned ptfe);
    static unsigned getPtfeMeasuredFreqEstimate(unsigned ptfe);
    static unsigned long long getDfNcoRate(unsigned ptfe);
    static unsigned long long getDtNcoPhase(unsigned ptfe);
    static unsigned getDtCycles(unsigned ptfe);
    static void setPtfeDefaultNcoRate(unsigned ptfe, unsigned long long rate);

    // Pulse generators, counted from 0. An adjust adds a signed step, modulo 2^32; when the phase
    // cannot be read, it writes nothing.
    static void fpga_pulsegen_set_Int_phase(unsigned pulse, unsigned phase);
    static unsigned fpga_pulsegen_get_Int_phase(unsigned pulse);
    static void fpga_pulsegen_adjust_Int_phase(unsigned pulse, int step);
    static void fpga_pulsegen_set_Ext_phase(unsigned pulse, unsigned phase);
    static unsigned fpga_pulsegen_get_Ext_phase(unsigned pulse);
    static void fpga_pulsegen_adjust_Ext_phase(unsigned pulse, int step);

    /// When the firmware was built, such as "202409-1813:48:00".
    static std::string getFirmwareBuildStamp();

    /// Name, build time, part number and revision of the firmware, such as "Corvane FPGA
    /// Firmware:, ABCDEFGH,Date YMD:,2024-09-18,Time  HHMM:,13:48,XPN:,1234-5678-9012Rev:A001".
    /// Zero bytes of the registers are left out.
    static std::string getFirmwareConfiguration();

private:
    class Registers;

    FpgaFace();
    ~FpgaFace();

    static std::shared_ptr<Registers> registers();
    void replace(std::shared_ptr<Registers> registers) EXCLUDES(mutex_);

    // A leaf, held for one copy of the pointer only: accesses are made without it, and what it
    // points to goes with its last user.
    platform::Mutex mutex_;
    std::shared_ptr<Registers> registers_ GUARDED_BY(mutex_);
};
