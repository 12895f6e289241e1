#pragma once

#include <cstddef>
#include <cstdint>

/// The descriptor of the memory device, shared by all maps. It is opened by the first use and
/// lives to the end of the process.
class MemoryDeviceFileDescriptor {
public:
    /// Any thread may call. Raises std::runtime_error when the device does not open; the next
    /// call then tries again.
    static MemoryDeviceFileDescriptor const& Instance();

    MemoryDeviceFileDescriptor(MemoryDeviceFileDescriptor const&) = delete;
    MemoryDeviceFileDescriptor& operator=(MemoryDeviceFileDescriptor const&) = delete;

    std::size_t pageSize() const { return pageSize_; }
    int descriptor() const { return descriptor_; }

private:
    MemoryDeviceFileDescriptor();
    ~MemoryDeviceFileDescriptor() = default;  // maps may go after it

    std::size_t pageSize_ = 0;  // bytes
    int descriptor_ = -1;
};

/// One region of physical memory, mapped for reading and writing for the life of the object.
class MemoryMap {
public:
    /// Maps `size` bytes from the physical address `base`, wherever they lie in their pages.
    /// Raises std::runtime_error when the memory device does not open or cannot be mapped there.
    MemoryMap(unsigned base, unsigned size);
    ~MemoryMap();

    MemoryMap(MemoryMap const&) = delete;
    MemoryMap& operator=(MemoryMap const&) = delete;

    /// The region's first byte.
    std::uint8_t* getPointerToBase() const { return base_; }

private:
    void* start_ = nullptr;         // of the mapping: the page that the region begins in
    std::uint8_t* base_ = nullptr;  // of the region
    std::size_t offset_ = 0;        // of the region in its first page
    std::size_t pages_ = 0;
    std::size_t length_ = 0;  // of the mapping, bytes
};
