// Bytes of a queue device on their way to the callback: the input is what one read gives. The
// walk over them must deliver only records that are there, tell what it drops, and take the next
// read as if nothing had been.
//
// The input goes through a real pipe, so reads are those of the server.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "bench/DeviceRoot.h"
#include "bench/FileDescriptor.h"
#include "bench/QueueRecord.h"
#include "bench/TemporaryFolder.h"
#include "ioss_mcsq/GssipMcsq.h"
#include "ioss_mcsq/GssipTopicSerializer.h"

namespace {

using aspn2_msgs::idl::GSSIP;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t mostBytes = 60'000;  // what the pipe takes in one piece
constexpr std::int64_t lastNumber = 0x7E57;

[[noreturn]] void fail(char const* why) {
    std::fprintf(stderr, "%s\n", why);
    std::abort();
}

/// The transport on a pipe, with the records that it has delivered. The echo's connection is used:
/// it has a callback and no thread, so that a read happens when it is asked for.
struct Transport {
    Transport() : root(folder.path() / "dev"), mcsq("Fuzz") {
        root.makeQueue(0);
        ::setenv(bench::DeviceRoot::environmentVariable, root.path().c_str(), 1);
        far = bench::FileDescriptor(
            ::open(root.queuePath(0).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
        std::string const config = folder.path() / "io.xml";
        std::ofstream(config) << "<MX_Configurations><Queue><Name>Q</Name><Parameters><Port>0"
                                 "</Port></Parameters></Queue></MX_Configurations>";
        FACE::RETURN_CODE_TYPE::Value rc = FACE::RETURN_CODE_TYPE::NO_ACTION;
        mcsq.Connect_IOWrite(
            config.c_str(), "Q", handle,
            [this](GSSIP const& record) { delivered.push_back(record); }, rc);
        if (rc != FACE::RETURN_CODE_TYPE::NO_ERROR) {
            fail("the queue does not open");
        }
        std::cout.setstate(std::ios::failbit);  // the reports
    }

    void read(std::uint8_t const* bytes, std::size_t size) {
        if (size != 0 && ::write(far.get(), bytes, size) != static_cast<ssize_t>(size)) {
            fail("the pipe does not take the input");
        }
        mcsq.Process_Notification_Event(handle, FACE::IOSS::NOTIFICATION_EVENT_TYPE::DATA_READY);
    }

    bench::TemporaryFolder folder;
    bench::DeviceRoot root;
    bench::FileDescriptor far;
    std::vector<GSSIP> delivered;
    GssipMcsq mcsq;
    long long handle = -1;
};

/// How many bytes the delivered records take; each must be true to its own count.
std::size_t sizeOf(std::vector<GSSIP> const& records) {
    std::size_t size = 0;
    for (GSSIP const& record : records) {
        if (record.num_bytes() != static_cast<std::int64_t>(record.data().size())) {
            fail("a record with a wrong count was delivered");
        }
        size += GssipTopicSerializer::GetSerializedSize(&record);
    }
    return size;
}

/// The data of the delivered records must be those bytes that stand at their places.
void compareData(std::vector<GSSIP> const& records, std::uint8_t const* front) {
    for (GSSIP const& record : records) {
        front += bench::QueueRecord::fixedBytes;
        if (!std::equal(record.data().begin(), record.data().end(), front)) {
            fail("a record has other data than the queue");
        }
        front += record.data().size();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* input, std::size_t size) {
    static auto const transport = std::make_unique<Transport>();
    if (size > mostBytes) {
        return 0;
    }
    transport->delivered.clear();
    transport->read(input, size);
    if (sizeOf(transport->delivered) > size) {
        fail("more was delivered than came");
    }
    compareData(transport->delivered, input);
    // The bench's own decoder knows one byte order only: what it takes must be delivered whole.
    auto const expected = bench::decodeRecords(Bytes(input, input + size));
    if (expected &&
        std::none_of(expected->begin(), expected->end(),
                     [](bench::QueueRecord const& record) { return record.told.has_value(); }) &&
        transport->delivered.size() != expected->size()) {
        fail("good records were not delivered");
    }

    transport->delivered.clear();
    bench::QueueRecord last;
    last.sequence = lastNumber;
    Bytes const next = last.encode();
    transport->read(next.data(), next.size());
    if (transport->delivered.size() != 1 ||
        transport->delivered.front().header().seq_num() != lastNumber) {
        fail("the next read was not taken well");
    }
    return 0;
}
