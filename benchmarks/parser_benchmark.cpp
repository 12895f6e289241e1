// Throughput of the stream parser. Aims of a release build: 3,000 MB/s on a clean stream in
// both piece sizes, 200 MB/s on hostile streams, and twice the time at most (within 15
// percent) for a hostile stream of twice the length.

#include <algorithm>
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

#include "GpsSerialIo/GssipParser.h"

namespace {

using Bytes = std::vector<unsigned char>;

class Counter : public IHandleGpsipMessages {
public:
    void OnGpsMessageReceived(unsigned char* frame, unsigned int length, unsigned int) override {
        benchmark::DoNotOptimize(frame[length - 1]);
        ++frames;
    }
    void OnParserChecksumError(unsigned int) override { ++errors; }

    std::uint64_t frames = 0;
    std::uint64_t errors = 0;
};

void append(Bytes& bytes, std::uint16_t word) {
    bytes.push_back(static_cast<unsigned char>(word & 0xFF));
    bytes.push_back(static_cast<unsigned char>(word >> 8));
}

void appendHeader(Bytes& bytes, std::uint16_t wdcnt) {
    std::uint16_t header[GSSIP_HEADER_WORDS];
    MakeHeader(header, 5001, wdcnt);
    for (const std::uint16_t word : header) {
        append(bytes, word);
    }
}

/// Good frames of `wdcnt` data words, at least `size` bytes.
Bytes cleanStream(std::uint16_t wdcnt, std::size_t size) {
    Bytes bytes;
    for (std::uint16_t seed = 0; bytes.size() < size; ++seed) {
        appendHeader(bytes, wdcnt);
        std::uint16_t sum = 0;
        for (std::uint16_t i = 0; i < wdcnt; ++i) {
            const auto word = static_cast<std::uint16_t>((seed + 31 * i) & 0x7F7F);
            append(bytes, word);
            sum = static_cast<std::uint16_t>(sum + word);
        }
        append(bytes, static_cast<std::uint16_t>(-sum));
    }
    return bytes;
}

/// Nested false starts: good headers back to back, each announcing more data than any other
/// between it and its end, so that every one waits long and then fails.
Bytes nestedFalseStarts(std::uint16_t wdcnt, std::size_t size) {
    Bytes bytes;
    while (bytes.size() < size) {
        appendHeader(bytes, static_cast<std::uint16_t>(wdcnt + bytes.size() % 3));
    }
    return bytes;
}

/// Good headers with large word counts over other bytes, whose data sums are bad.
Bytes badDataSums(std::uint16_t wdcnt, std::size_t size) {
    Bytes bytes;
    while (bytes.size() < size) {
        appendHeader(bytes, wdcnt);
        bytes.insert(bytes.end(), 30, static_cast<unsigned char>(bytes.size() % 251));
    }
    return bytes;
}

/// Five words of sum zero that are good headers from two of their words on.
Bytes overlappingHeaders(std::size_t size) {
    std::uint16_t words[GSSIP_HEADER_WORDS] = {GSSIP_DELSOH, GSSIP_DELSOH, 200, 0x8000, 0};
    words[4] = CalculateChecksum(words, 0, 3);
    Bytes bytes;
    while (bytes.size() < size) {
        for (const std::uint16_t word : words) {
            append(bytes, word);
        }
    }
    return bytes;
}

/// FF 81 back to back: a bad header at every second byte.
Bytes badHeaders(std::size_t size) {
    Bytes bytes;
    while (bytes.size() < size) {
        append(bytes, GSSIP_DELSOH);
    }
    return bytes;
}

void feed(benchmark::State& state, const Bytes& stream, std::size_t piece) {
    Counter counter;
    for ([[maybe_unused]] auto _ : state) {
        GssipParser parser;
        parser.ProcessMessagesWithThis(&counter, 0);
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            const std::size_t count = std::min(piece, stream.size() - at);
            parser.LoadBytes(stream.data() + at, static_cast<unsigned short>(count));
        }
    }
    const auto bytes = static_cast<std::int64_t>(stream.size());
    state.SetBytesProcessed(state.iterations() * bytes);
    const auto average = benchmark::Counter::kAvgIterations;
    state.counters["frames"] = {static_cast<double>(counter.frames), average};
    state.counters["errors"] = {static_cast<double>(counter.errors), average};
}

constexpr std::size_t cleanSize = 4 << 20;
constexpr std::int64_t smallPiece = 128;
constexpr std::int64_t largePiece = 65535;  // what the 16-bit count of LoadBytes can tell

void Clean(benchmark::State& state) {
    feed(state, cleanStream(static_cast<std::uint16_t>(state.range(0)), cleanSize),
         static_cast<std::size_t>(state.range(1)));
}
BENCHMARK(Clean)->ArgNames({"words", "piece"})->ArgsProduct({{31, 54}, {smallPiece, largePiece}});

// Hostile streams at a size and at twice that size, by which linearity shows.
const std::vector<std::vector<std::int64_t>> hostileArguments{{1 << 20, 2 << 20, 4 << 20},
                                                              {smallPiece, largePiece}};

void HostileNestedFalseStarts(benchmark::State& state) {
    feed(state, nestedFalseStarts(65000, static_cast<std::size_t>(state.range(0))),
         static_cast<std::size_t>(state.range(1)));
}
BENCHMARK(HostileNestedFalseStarts)->ArgNames({"size", "piece"})->ArgsProduct(hostileArguments);

void HostileBadDataSums(benchmark::State& state) {
    feed(state, badDataSums(30000, static_cast<std::size_t>(state.range(0))),
         static_cast<std::size_t>(state.range(1)));
}
BENCHMARK(HostileBadDataSums)->ArgNames({"size", "piece"})->ArgsProduct(hostileArguments);

void HostileOverlappingHeaders(benchmark::State& state) {
    feed(state, overlappingHeaders(static_cast<std::size_t>(state.range(0))),
         static_cast<std::size_t>(state.range(1)));
}
BENCHMARK(HostileOverlappingHeaders)->ArgNames({"size", "piece"})->ArgsProduct(hostileArguments);

void HostileBadHeaders(benchmark::State& state) {
    feed(state, badHeaders(static_cast<std::size_t>(state.range(0))),
         static_cast<std::size_t>(state.range(1)));
}
BENCHMARK(HostileBadHeaders)->ArgNames({"size", "piece"})->ArgsProduct(hostileArguments);

}  // namespace

BENCHMARK_MAIN();
