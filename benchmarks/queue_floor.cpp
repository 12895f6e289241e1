// The least that the road of a received frame can cost: the server's hops and nothing else. One
// thread reads a raw serial line; a frame is whole when its bytes are there. Two stamps are read
// from the registers, the record is encoded and leaves by one write(2).
//
//     queue_floor DEVICE QUEUE MEMORY STAMPS FRAME_BYTES
//
// MEMORY is the file of physical memory, STAMPS the address there of two 64-bit stamps.

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

#include "aspn2_msgs/GSSIP.h"
#include "aspn2_msgs/TopicTypes.h"
#include "benchmarks/FloorTransport.h"

namespace benchmarks {
namespace {

constexpr std::size_t readSize = 128;  // as the server's
constexpr cc_t readTimeout = 2;        // tenths of a second, as the server's

int openDevice(char const* path, int flags) {
    int const file = ::open(path, flags | O_CLOEXEC);
    if (file < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return file;
}

int openLine(char const* path) {
    int const line = openDevice(path, O_RDWR | O_NOCTTY);
    termios settings{};
    if (::tcgetattr(line, &settings) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    ::cfmakeraw(&settings);
    ::cfsetspeed(&settings, B921600);
    settings.c_cflag |= CREAD | CLOCAL;
    settings.c_cc[VTIME] = readTimeout;
    settings.c_cc[VMIN] = 0;
    if (::tcsetattr(line, TCSANOW, &settings) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return line;
}

std::uint64_t const volatile* mapStamps(char const* path, std::uint64_t address) {
    auto const page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    std::uint64_t const skipped = address % page;
    int const memory = openDevice(path, O_RDWR | O_SYNC);
    void* const start = ::mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_SHARED, memory,
                               static_cast<off_t>(address - skipped));
    ::close(memory);
    if (start == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return reinterpret_cast<std::uint64_t const volatile*>(static_cast<char*>(start) + skipped);
}

[[noreturn]] void run(char** arguments) {
    int const line = openLine(arguments[0]);
    int const queue = openDevice(arguments[1], O_WRONLY | O_NONBLOCK);
    std::uint64_t const volatile* const stamps =
        mapStamps(arguments[2], std::stoull(arguments[3], nullptr, 0));
    std::size_t const frameBytes = std::stoul(arguments[4]);

    aspn2_msgs::idl::GSSIPPubSubType type;
    aspn2_msgs::idl::GSSIP record;
    record.num_bytes(static_cast<std::int32_t>(frameBytes));
    record.data().resize(frameBytes);
    eprosima::fastrtps::rtps::SerializedPayload_t payload(
        static_cast<std::uint32_t>(aspn2_msgs::idl::GSSIP::getCdrSerializedSize(record, 4)));

    std::array<unsigned char, readSize> bytes{};
    std::size_t taken = 0;  // of the frame
    announceReady();
    while (true) {
        ssize_t const count = ::read(line, bytes.data(), bytes.size());
        for (ssize_t i = 0; i < count; ++i) {
            record.data()[taken++] = bytes[static_cast<std::size_t>(i)];
            if (taken < frameBytes) {
                continue;
            }
            taken = 0;
            auto& header = record.header();
            header.seq_num(header.seq_num() + 1);
            header.timestamp_arrival().sec(static_cast<std::int64_t>(stamps[0]));
            header.timestamp_valid().sec(static_cast<std::int64_t>(stamps[1]));
            if (!type.serialize(&record, &payload) ||
                ::write(queue, payload.data, payload.length) !=
                    static_cast<ssize_t>(payload.length)) {
                throw std::runtime_error("a record does not go out");
            }
        }
    }
}

}  // namespace
}  // namespace benchmarks

int main(int argc, char** argv) {
    try {
        if (argc != 6) {
            throw std::invalid_argument("arguments: DEVICE QUEUE MEMORY STAMPS FRAME_BYTES");
        }
        benchmarks::run(argv + 1);
    } catch (std::exception const& error) {
        std::fprintf(stderr, "queue_floor: %s\n", error.what());
        return 1;
    }
}
