#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "bench/FileDescriptor.h"

namespace bench {

/// One pseudo-terminal pair that stands for a serial line; this object is the far end.
///
/// The slave side is what the program under test opens. It is set raw and held open here too, so
/// that the line neither echoes nor hangs up while nobody else has it open. No operation blocks.
/// Owned by one thread.
class PseudoTerminal {
public:
    /// Opens a new pair. Raises std::system_error.
    PseudoTerminal();

    /// Path of the slave device; another one after each reopen().
    const std::string& slavePath() const { return slavePath_; }

    /// Descriptor of the master for poll(), or -1 while hung up.
    int descriptor() const { return master_.get(); }
    bool isOpen() const { return master_.valid(); }

    /// Takes what has arrived, at most `size` bytes; 0 when nothing is there or the line is hung
    /// up.
    std::size_t read(std::uint8_t* buffer, std::size_t size);

    /// Hands over as much as the line takes now and returns that number; 0 when it is full or
    /// hung up.
    std::size_t write(const std::uint8_t* bytes, std::size_t size);

    /// Closes the master: whoever has the slave open sees a hang-up.
    void hangUp();

    /// Hangs up if need be and opens a new pair.
    void reopen();

private:
    FileDescriptor master_;
    FileDescriptor slave_;
    std::string slavePath_;
};

}  // namespace bench
