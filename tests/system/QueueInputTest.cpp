// What the server takes from the queue devices, and what it makes of bytes that are no records.

#include <algorithm>
#include <array>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "bench/Patience.h"
#include "tests/system/EventReader.h"
#include "tests/system/QueueFixture.h"

namespace {

using bench::QueueRecord;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

using Bytes = std::vector<std::uint8_t>;

constexpr std::int32_t halvor = 47;
constexpr std::int32_t pntDevice = 49;

QueueRecord makeRecord(std::uint16_t id, std::int32_t source = halvor) {
    QueueRecord record;
    record.sequence = 7;
    record.arrival = {1'790'000'000, 5, 100};
    record.validity = {1'790'000'000, 4, 100};
    record.deviceId = 0x03000000 | source << 16;
    record.data = bench::UnitFrame{id, bench::UnitFrame::linkReady, {1, 2, 3}}.encode();
    return record;
}

void append(Bytes& bytes, Bytes const& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

std::string lineOf(std::uint16_t id, std::string const& source = "HALVOR") {
    return "Recvd GSSIP: " + std::to_string(id) + " from " + source;
}

constexpr char const* reportBegin =
    "ZephonServer: Process_Notification_Event(): A memory exception occurred";

std::string reportOf(std::size_t remainder) {
    return std::string(reportBegin) +
           " on deserialize. Max Length: 131072 MCSQ remainder: " + std::to_string(remainder);
}

class QueueInput : public QueueFixture {
protected:
    void SetUp() override { bench.configuration().set("ZephonServer", "Debug", "TRUE"); }

    void write(std::string const& queue, Bytes const& bytes) {
        ASSERT_TRUE(siblings.write(queue, bytes)) << siblings.lastFailure();
    }
    void write(std::string const& queue, QueueRecord const& record) {
        write(queue, record.encode());
    }
    bool waitForLine(std::string const& line) {
        return bench.server().waitForLine(line, patience).has_value();
    }
    /// Reports on the console. The server hears its own event log, and then tells that too.
    std::size_t reports() {
        const std::string output = "\n" + bench.server().standardOutput();
        std::size_t count = 0;
        for (std::size_t at = 0;
             (at = output.find(std::string("\n") + reportBegin, at)) != std::string::npos; ++at) {
            ++count;
        }
        return count;
    }
};

TEST_F(QueueInput, RecordsOfBothQueuesReachTheServer) {
    start();
    write("HALVOR_MX", makeRecord(2516));
    write("TREVO_MX", makeRecord(2518));
    write("HALVOR_MX", makeRecord(15051, pntDevice));
    EXPECT_TRUE(waitForLine(lineOf(2516))) << bench.report();
    EXPECT_TRUE(waitForLine(lineOf(2518))) << bench.report();
    EXPECT_TRUE(waitForLine(lineOf(15051, "PNT-D"))) << bench.report();
    stop();
    EXPECT_EQ(0U, reports()) << bench.report();
}

TEST_F(QueueInput, OnlyTheServerPartOfTheDeviceTellsTheSource) {
    start();
    QueueRecord record = makeRecord(4711);
    record.deviceId = static_cast<std::int32_t>(0xFF2FFFFFU);
    write("HALVOR_MX", record);
    EXPECT_TRUE(waitForLine(lineOf(4711))) << bench.report();
    for (const std::int32_t other : {0, 46, 48, 255}) {
        write("HALVOR_MX", makeRecord(4712, other));
    }
    write("HALVOR_MX", makeRecord(4713));
    EXPECT_TRUE(waitForLine(lineOf(4713))) << bench.report();
    EXPECT_EQ(0U, bench.server().countLines("Recvd GSSIP: 4712"));
}

TEST_F(QueueInput, ThreeRecordsInOneReadComeInOrder) {
    start();
    Bytes bytes;
    for (const std::uint16_t id : std::initializer_list<std::uint16_t>{4713, 4711, 4712}) {
        append(bytes, makeRecord(id).encode());
    }
    write("HALVOR_MX", bytes);
    ASSERT_TRUE(bench.server().waitForLines("Recvd GSSIP: ", 3, patience)) << bench.report();
    const std::string output = bench.server().standardOutput();
    EXPECT_LT(output.find(lineOf(4713)), output.find(lineOf(4711)));
    EXPECT_LT(output.find(lineOf(4711)), output.find(lineOf(4712)));
    stop();
    EXPECT_EQ(0U, reports()) << bench.report();
}

TEST_F(QueueInput, ARowOfRecordsLosesNone) {
    constexpr std::uint16_t count = 500;
    start();
    for (std::uint16_t i = 0; i < count; ++i) {
        write(i % 2 == 0 ? "HALVOR_MX" : "TREVO_MX", makeRecord(1000 + i));
    }
    ASSERT_TRUE(bench.server().waitForLines("Recvd GSSIP: ", count, patience)) << bench.report();
    stop();
    EXPECT_EQ(count, bench.server().countLines("Recvd GSSIP: "));
    EXPECT_EQ(0U, reports()) << bench.report();
}

TEST_F(QueueInput, TheLinksAndTheQueuesAreHeardAtOnce) {
    constexpr std::uint16_t count = 300;
    start();
    startReading();
    for (std::uint16_t i = 0; i < count; ++i) {
        bench.unit(1).send(makeFrame(2000 + i, 1));
        bench.unit(3).send(makeFrame(3000 + i, 1));
        write("HALVOR_MX", makeRecord(1000 + i));
    }
    ASSERT_TRUE(bench.server().waitForLines("Recvd GSSIP: ", 3 * count, patience))
        << bench.report();
    const std::string output = "\n" + bench.server().standardOutput();
    for (std::uint16_t i = 0; i < count; ++i) {
        EXPECT_THAT(output, HasSubstr("\n" + lineOf(1000 + i) + "\n"));
        EXPECT_THAT(output, HasSubstr("\n" + lineOf(2000 + i, "PNT-D") + "\n"));
        EXPECT_THAT(output, HasSubstr("\n" + lineOf(3000 + i, "PNT-D") + "\n"));
    }
    stop();
}

TEST_F(QueueInput, RecordsWithoutAWholeHeaderMakeNoTrouble) {
    start();
    QueueRecord record = makeRecord(4711);
    for (std::size_t length = 0; length < 10; ++length) {
        record.data.resize(length);
        write("HALVOR_MX", record);
        write("TREVO_MX", record);
    }
    write("HALVOR_MX", makeRecord(4712));
    write("TREVO_MX", makeRecord(4713));
    EXPECT_TRUE(waitForLine(lineOf(4712))) << bench.report();
    EXPECT_TRUE(waitForLine(lineOf(4713))) << bench.report();
    stop();
    EXPECT_EQ(0U, reports()) << bench.report();
}

TEST_F(QueueInput, TheDataOutputQueueIsReadToo) {
    start();
    write("DT_OUT", makeRecord(5103));
    EXPECT_TRUE(bench::holdsInTime([&] { return waitingBytes(dtOut) == 0; }));
    write("DT_OUT", Bytes(20, 0xFF));
    EXPECT_TRUE(waitForLine(reportOf(20))) << bench.report();
    stop();
    EXPECT_EQ(1U, reports()) << bench.report();
}

TEST_F(QueueInput, WhatCameBeforeTheStartIsTakenAndReportedAllTheSame) {
    write("HALVOR_MX", Bytes(20, 0xFF));
    start();
    EXPECT_TRUE(waitForLine(reportOf(20))) << bench.report();
    write("HALVOR_MX", makeRecord(4711));
    EXPECT_TRUE(waitForLine(lineOf(4711))) << bench.report();
}

/// Bytes that are no record, and whether good records may stand behind them in the same read.
struct Bad {
    char const* name;
    Bytes bytes;
    bool last = false;
};

void PrintTo(Bad const& bad, std::ostream* out) {
    *out << bad.name;
}

Bytes told(std::int32_t bytes) {
    QueueRecord record = makeRecord(4712);
    record.told = bytes;
    return record.encode();
}

/// A record that tells this length of its data and as its number of bytes.
Bytes lengthOf(std::uint32_t length) {
    Bytes bytes = makeRecord(4712).encode();
    for (const std::size_t field : {48U, 52U}) {
        for (std::size_t i = 0; i < 4; ++i) {
            bytes[field + i] = static_cast<std::uint8_t>(length >> (8 * i));
        }
    }
    return bytes;
}

Bytes cutTo(std::size_t length) {
    Bytes bytes = makeRecord(4712).encode();
    bytes.resize(length);
    return bytes;
}

/// An event log record: type and text stand where the number of bytes and the data would.
Bytes anotherType() {
    QueueRecord record = makeRecord(4712);
    const std::string text = "ZephonServer started successfully.";
    record.data.assign(text.c_str(), text.c_str() + text.size() + 1);
    record.told = 2;
    return record.encode();
}

Bytes randomBytes(unsigned seed, std::size_t length) {
    std::mt19937 random(seed);
    Bytes bytes(length);
    std::generate(bytes.begin(), bytes.end(),
                  [&] { return static_cast<std::uint8_t>(random() & 0xFFU); });
    return bytes;
}

std::vector<Bad> badInputs() {
    const auto good = static_cast<std::int32_t>(makeRecord(4712).data.size());
    std::vector<Bad> all{
        {"NumberOfBytesTooGreat", told(good + 1)},
        {"NumberOfBytesTooSmall", told(good - 1)},
        {"NumberOfBytesZero", told(0)},
        {"NumberOfBytesNegative", told(-1)},
        {"NumberOfBytesHuge", told(0x7FFFFFFF)},
        {"NumberOfBytesLeast", told(-0x7FFFFFFF - 1)},
        {"LengthBeyondTheRead", lengthOf(100'000), true},
        {"LengthHuge", lengthOf(0x7FFFFFFFU), true},
        {"LengthNegative", lengthOf(0xFFFFFFFFU), true},
        {"LengthThatWrapsTheStepAround", lengthOf(0xFFFFFFC8U), true},
        {"AnotherType", anotherType()},
        {"OneByte", cutTo(1), true},
        {"ThreeBytes", cutTo(3), true},
        {"EncapsulationAlone", cutTo(4), true},
        {"CutInTheHeader", cutTo(30), true},
        {"CutBeforeTheLength", cutTo(52), true},
        {"CutBeforeTheData", cutTo(56), true},
        {"LastByteMissing", cutTo(56 + static_cast<std::size_t>(good) - 1), true},
        {"AllOnes", Bytes(4096, 0xFF)},
        {"Text", Bytes(300, 'Z')},
        {"AsMuchAsTheQueueTakes", Bytes(65536 - 2 * (56 + static_cast<std::size_t>(good)), 0xAA)},
    };
    constexpr std::array<char const*, 6> names{"Random1", "Random2", "Random3",
                                               "Random4", "Random5", "Random6"};
    for (unsigned seed = 0; seed < names.size(); ++seed) {
        all.push_back({names.at(seed), randomBytes(seed + 1, 57 + seed * 611)});
    }
    return all;
}

class BadInput : public QueueInput, public testing::WithParamInterface<Bad> {};

TEST_P(BadInput, IsReportedOnceAndDropsTheRestOfItsReadOnly) {
    start();
    startReading();
    Bytes const& bad = GetParam().bytes;
    Bytes read = makeRecord(4711).encode();
    std::size_t remainder = bad.size();
    append(read, bad);
    if (!GetParam().last) {
        append(read, makeRecord(4712).encode());
        remainder += makeRecord(4712).encode().size();
    }
    write("HALVOR_MX", read);
    ASSERT_TRUE(waitForLine(reportBegin)) << bench.report();
    EXPECT_TRUE(waitForLine(lineOf(4711))) << bench.report();  // what stood before it
    write("HALVOR_MX", makeRecord(4713));
    EXPECT_TRUE(waitForLine(lineOf(4713))) << bench.report();
    write("TREVO_MX", makeRecord(4714));
    EXPECT_TRUE(waitForLine(lineOf(4714))) << bench.report();
    bench.unit(1).send(makeFrame(8015, 3));
    EXPECT_EQ(1U, recordsOf(1, 1).size());

    EXPECT_THAT("\n" + bench.server().standardOutput(),
                HasSubstr("\n" + reportOf(remainder) + "\n"));
    EXPECT_EQ(1U, reports()) << bench.report();
    EXPECT_EQ(0U, bench.server().countLines("Recvd GSSIP: 4712")) << bench.report();
}

INSTANTIATE_TEST_SUITE_P(QueueInput, BadInput, testing::ValuesIn(badInputs()),
                         [](auto const& parameter) { return std::string(parameter.param.name); });

TEST_F(QueueInput, BadBytesStandOnTheEventLogAsAFailureWithTheirSource) {
    EventReader const events(bench);
    start();
    write("TREVO_MX", cutTo(60));
    ASSERT_TRUE(waitForLine(reportOf(60))) << bench.report();
    write("HALVOR_MX", Bytes(17, 0xFF));
    ASSERT_TRUE(waitForLine(reportOf(17))) << bench.report();
    for (const std::string remainder : {"60", "17"}) {
        const auto event = events.waitFor("MCSQ remainder: " + remainder);
        ASSERT_TRUE(event) << events.report() << bench.report();
        EXPECT_EQ(3, event->type);
        EXPECT_THAT(event->text,
                    MatchesRegex("GssipMcsq\\.cpp\\[[0-9]+\\]:ZephonServer: "
                                 "Process_Notification_Event\\(\\): A memory exception occurred on "
                                 "deserialize\\. Max Length: 131072 MCSQ remainder: " +
                                 remainder));
    }
    stop();
    ASSERT_TRUE(events.waitFor("stopped successfully.")) << events.report();
    EXPECT_EQ(2U, events.count("memory exception")) << events.report();
    EXPECT_EQ(2U, reports()) << bench.report();
}

TEST_F(QueueInput, AStreamOfGarbageLeavesTheLinksAndTheStopAlone) {
    start();
    startReading();
    for (unsigned i = 0; i < 300; ++i) {
        write("HALVOR_MX", randomBytes(100 + i, 1 + i * 7 % 200));
        write("TREVO_MX", randomBytes(500 + i, 1 + i * 11 % 200));
        write("DT_OUT", randomBytes(900 + i, 1 + i * 13 % 200));
        if (i % 100 == 0) {
            bench.unit(1).send(makeFrame(8015, 3));
        }
    }
    EXPECT_EQ(3U, recordsOf(1, 3).size());
    for (const unsigned port : {0U, 1U, dtOut}) {
        EXPECT_TRUE(bench::holdsInTime([&] { return waitingBytes(port) == 0; })) << port;
    }
    EXPECT_GE(reports(), 3U);
    write("HALVOR_MX", makeRecord(4713));
    // Whatever was read last may have ended in the middle of what looked like a record.
    if (!bench.server().waitForLine(lineOf(4713), Seconds(2))) {
        write("HALVOR_MX", makeRecord(4713));
    }
    EXPECT_TRUE(waitForLine(lineOf(4713))) << bench.report();
    stop();
}

}  // namespace
