#include "face/MemoryMap.h"

#include <cstdint>
#include <fcntl.h>
#include <limits>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/DevicePath.h"

MemoryDeviceFileDescriptor::MemoryDeviceFileDescriptor() {
    descriptor_ = ::open(platform::DevicePath("mem").c_str(), O_RDWR | O_SYNC | O_CLOEXEC);
    if (descriptor_ == -1) {
        throw std::runtime_error("Unable to open /dev/mem file descriptor.");
    }
    pageSize_ = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

MemoryDeviceFileDescriptor const& MemoryDeviceFileDescriptor::Instance() {
    static MemoryDeviceFileDescriptor const instance;  // made anew as long as its making raises
    return instance;
}

MemoryMap::MemoryMap(unsigned base, unsigned size) {
    MemoryDeviceFileDescriptor const& device = MemoryDeviceFileDescriptor::Instance();
    std::size_t const page = device.pageSize();
    offset_ = base % page;
    // Reckoned in 64 bits: the sum may be larger than the addresses of a machine of 32.
    std::uint64_t const pages = (std::uint64_t{offset_} + size) / page + 1;
    if (pages > std::numeric_limits<std::size_t>::max() / page) {
        throw std::runtime_error("Unable to map memory space.");
    }
    pages_ = static_cast<std::size_t>(pages);
    length_ = pages_ * page;
    // Physical addresses take all 32 bits, so they need file offsets of 64 on every machine.
    auto const from = static_cast<off64_t>(base - offset_);
    void* const start =
        ::mmap64(nullptr, length_, PROT_READ | PROT_WRITE, MAP_SHARED, device.descriptor(), from);
    if (start == MAP_FAILED) {
        throw std::runtime_error("Unable to map memory space.");
    }
    start_ = start;
    base_ = static_cast<std::uint8_t*>(start) + offset_;
}

MemoryMap::~MemoryMap() {
    ::munmap(start_, length_);
}
