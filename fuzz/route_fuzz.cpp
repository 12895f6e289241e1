// GSSIP records on their way through the server: the input is a record as the queue transport
// delivers it. Nothing may be read beyond what arrived, and a copy must be the frame that came.
//
// Input: byte 0 chooses the source and byte 1 the message, byte 2 is the device's instance, byte 3
// tells how the number of bytes strays from the truth; the rest is the frame. The server runs
// without links, so that nothing waits: what it sends is lost. A time mark and a message 5040 of
// the engine come before the record and a message 9391 after it, so that it finds its partners.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <vector>

#include "ASPN/FaultHysteresis.h"
#include "ASPN/HealthReporter.h"
#include "ASPN/TimeTags.h"
#include "PCSMaintReporter/PCSMaintReporter.h"
#include "bench/ExampleConfiguration.h"
#include "bench/TemporaryFolder.h"
#include "platform/FpgaFace.h"
#include "zephon/GssipRoutes.h"
#include "zephon/VersionStatus.h"
#include "zephon/ZephonServer.h"

namespace {

using aspn2_msgs::idl::GSSIP;
using ReturnCode = FACE::RETURN_CODE_TYPE;

constexpr std::size_t choices = 4;  // bytes before the frame
constexpr std::array<unsigned char, 4> servers{39, 47, 49, 96};

// All ids that a table names, now or for a handler to come.
constexpr std::array<std::uint16_t, 32> ids{5001,  5044,  27532, 27533, 27534, 27535, 27536, 27553,
                                            27558, 27561, 2516,  2518,  15051, 5040,  5047,  5048,
                                            5406,  8040,  8080,  8504,  9391,  5103,  5104,  5120,
                                            5126,  5134,  5135,  8015,  5105,  5000,  27552, 15050};

[[noreturn]] void fail(char const* why) {
    std::fprintf(stderr, "%s\n", why);
    std::abort();
}

/// A server that runs with debug texts on, though nobody reads them.
std::unique_ptr<ZephonServer> makeServer() {
    // Made first, so that they outlive the server, whose threads use them to the end: one of them
    // wakes up about when the run is over.
    ASPN2::TimeCodeHelper::Instance();
    FaultHysteresis::Instance();
    FpgaFace::fpga_get_SystemCount();
    HealthReporter::Instance();
    PCSMaintReporter::Instance();
    VersionStatus::Instance();
    bench::TemporaryFolder const folder;
    bench::ExampleConfiguration::Settings settings;
    settings.debug = true;
    std::string const file = bench::ExampleConfiguration(settings).write(folder.path());
    auto server = std::make_unique<ZephonServer>();
    ReturnCode::Value code = ReturnCode::NO_ACTION;
    server->Configure(file.c_str(), code);
    if (code != ReturnCode::NO_ERROR) {
        fail("the server takes no configuration");
    }
    std::cout.setstate(std::ios::failbit);
    server->Request_State_Transition(ZephonServer::RequestedState::START, code);
    if (code != ReturnCode::NO_ERROR) {
        fail("the server does not start");
    }
    return server;
}

std::int32_t toldBytes(unsigned char choice, std::size_t size) {
    const auto truth = static_cast<std::int32_t>(size);
    switch (choice) {
        case 1:
            return std::numeric_limits<std::int32_t>::max();
        case 2:
            return std::numeric_limits<std::int32_t>::min();
        case 3:
            return 65536;
        default:
            return choice < 128 ? truth : truth + choice - 192;
    }
}

GSSIP makeRecord(std::uint8_t const* input, std::size_t size) {
    std::vector<std::uint8_t> frame(input + choices, input + size);
    const std::size_t id = input[1];
    if (id < ids.size() && frame.size() >= 4) {
        frame[2] = static_cast<std::uint8_t>(ids.at(id));
        frame[3] = static_cast<std::uint8_t>(ids.at(id) >> 8U);
    }
    GSSIP record;
    record.header().device_id(0x03002E00 | servers.at(input[0] % servers.size()) << 16 | input[2]);
    record.num_bytes(toldBytes(input[3], frame.size()));
    record.data(std::move(frame));
    return record;
}

/// A good record of the engine with empty data, but for `word` of them.
GSSIP makeEngineRecord(std::uint16_t id, std::uint16_t words, std::size_t word = 0,
                       std::uint16_t value = 0) {
    std::vector<std::uint16_t> frame(GSSIP_HEADER_WORDS + words + 1);
    MakeHeader(frame.data(), id, words);
    frame[GSSIP_HEADER_WORDS + word] = value;
    auto const* const bytes = reinterpret_cast<std::uint8_t const*>(frame.data());
    GSSIP record;
    record.header().device_id(0x03002E00 | servers.front() << 16);
    record.data({bytes, bytes + 2 * frame.size()});
    record.num_bytes(static_cast<std::int32_t>(record.data().size()));
    return record;
}

void checkCopy(GSSIP const& record) {
    const std::size_t length = gssipFrameLength(record);
    if (length > record.data().size()) {
        fail("a frame is longer than its record");
    }
    const auto copy = makeGssipCopy(record);
    if (copy == nullptr) {
        return;
    }
    auto const* const bytes = reinterpret_cast<std::uint8_t const*>(copy->header);
    if (GssipFrameBytes(copy->wordCount) != length ||
        !std::equal(bytes, bytes + length, record.data().begin())) {
        fail("a copy is another frame");
    }
    setCopyFlagWord(*copy);
    for (std::size_t i = 0; i < length; ++i) {
        if (i / 2 != 3 && i / 2 != 4 && bytes[i] != record.data()[i]) {
            fail("a copy has changed");
        }
    }
    const std::uint16_t hadFlags = SumOfWords(record.data().data() + 6, 1);
    if (copy->header[3] != 0x9000 || (hadFlags != 0x9000 && copy->checksumOfHeader() != 0)) {
        fail("a copy has a bad header");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* input, std::size_t size) {
    static std::unique_ptr<ZephonServer> const server = makeServer();
    static GSSIP const timeMark = makeEngineRecord(8504, 200, 48, 0x0001);
    static GSSIP const before = makeEngineRecord(5040, 88);
    static GSSIP const after = makeEngineRecord(9391, 84);
    if (size < choices) {
        return 0;
    }
    GSSIP const record = makeRecord(input, size);
    server->cbGssip(timeMark);
    server->cbGssip(before);
    server->cbGssip(record);
    server->cbDtOut(record);
    server->cbGssip(after);
    checkCopy(record);
    return 0;
}
