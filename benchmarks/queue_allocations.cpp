// How often memory is taken from the heap for a frame on its road: by the parser, and by a whole
// link from the line to the queue device.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "GpsSerialIo/GssipParser.h"
#include "bench/Bench.h"
#include "bench/DeviceRoot.h"
#include "bench/ExampleConfiguration.h"
#include "bench/FpgaModel.h"
#include "bench/PseudoTerminal.h"
#include "bench/TemporaryFolder.h"
#include "benchmarks/AllocationCount.h"
#include "benchmarks/LinkSet.h"
#include "benchmarks/NumberedFrame.h"
#include "benchmarks/Programs.h"
#include "benchmarks/QueueReader.h"

namespace benchmarks {
namespace {

constexpr std::uint32_t frames = 10000;
constexpr std::uint32_t warmUpFrames = 200;
constexpr int arrivalTimeoutMs = 2000;

using Encoded = std::vector<std::vector<std::uint8_t>>;

Encoded makeFrames(std::uint16_t link) {
    Encoded all;
    for (std::uint32_t number = 0; number < frames; ++number) {
        all.push_back(NumberedFrame{link, number}.frame().encode());
    }
    return all;
}

class Counter final : public IHandleGpsipMessages {
public:
    void OnGpsMessageReceived(unsigned char* /*frame*/, unsigned int /*length*/,
                              unsigned int /*context*/) override {
        ++frames;
    }
    void OnParserChecksumError(unsigned int /*context*/) override {}

    std::uint32_t frames = 0;
};

/// Allocations for a frame in the parser.
double measureParser(Encoded const& encoded) {
    Counter counter;
    GssipParser parser;
    parser.ProcessMessagesWithThis(&counter, 0);
    std::uint64_t before = 0;
    for (std::uint32_t number = 0; number < frames; ++number) {
        if (number == warmUpFrames) {
            before = allocationCount();
        }
        parser.LoadBytes(encoded[number].data(),
                         static_cast<unsigned short>(encoded[number].size()));
    }
    std::uint64_t const taken = allocationCount() - before;
    if (counter.frames != frames) {
        throw std::runtime_error("the parser loses frames");
    }
    return static_cast<double>(taken) / (frames - warmUpFrames);
}

/// Allocations for a record, of all threads of the process: this one takes none meanwhile.
double measureLink(Encoded const& encoded, bench::PseudoTerminal& line, QueueReader& queue) {
    std::uint64_t before = 0;
    for (std::uint32_t number = 0; number < frames; ++number) {
        if (number == warmUpFrames) {
            before = allocationCount();
        }
        auto const& bytes = encoded[number];
        if (line.write(bytes.data(), bytes.size()) != bytes.size()) {
            throw std::runtime_error("the line takes no bytes");
        }
        pollfd event{queue.descriptor(), POLLIN, 0};
        if (::poll(&event, 1, arrivalTimeoutMs) != 1 || queue.read() == 0) {
            throw std::runtime_error("a frame does not arrive");
        }
        // The frame ends the record.
        auto const& record = queue.bytes();
        if (record.size() < bytes.size() ||
            !std::equal(bytes.rbegin(), bytes.rend(), record.rbegin())) {
            throw std::runtime_error("the record is another than that of the frame");
        }
    }
    return static_cast<double>(allocationCount() - before) / (frames - warmUpFrames);
}

void run() {
    Encoded const encoded = makeFrames(1);
    bench::TemporaryFolder folder;
    bench::DeviceRoot devices(folder.path() / "dev");
    ::setenv(bench::DeviceRoot::environmentVariable, devices.path().c_str(), 1);
    bench::ExampleConfiguration const configuration(roadSettings());
    auto const top = configuration.write(folder.path());
    {
        // Its thread takes memory too; the registers that it leaves stand still.
        bench::FpgaModel const fpga(devices.memoryPath(), configuration.memoryRegions());
    }
    std::array<bench::PseudoTerminal, LinkSet::count> lines;
    for (unsigned i = 0; i < LinkSet::count; ++i) {
        devices.linkSerial(roadSettings().channels.at(i), lines.at(i).slavePath());
    }
    for (unsigned queue = 0; queue < bench::Bench::queues; ++queue) {
        devices.makeQueue(queue);
    }
    QueueReader queue(devices.queuePath(queueOfLink(1)));
    LinkSet const links(top.parent_path() / bench::ExampleConfiguration::fileName(
                                                bench::ExampleConfiguration::File::IoDevices));

    auto const verdict = [](double value, double aim) { return value <= aim ? "met" : "missed"; };
    double const parser = measureParser(encoded);
    double const link = measureLink(encoded, lines[0], queue);
    std::printf("allocations for a frame in the parser:  %.4f, aim 0 %s\n", parser,
                verdict(parser, 0));
    std::printf("allocations for a record on the queue:  %.4f, aim 1 %s\n", link, verdict(link, 1));
}

}  // namespace
}  // namespace benchmarks

int main() {
    try {
        benchmarks::run();
    } catch (std::exception const& error) {
        std::cerr << "queue_allocations: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
