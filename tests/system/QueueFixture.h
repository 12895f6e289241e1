#pragma once

#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/ioctl.h>
#include <vector>

#include "bench/Bench.h"
#include "bench/QueuePeer.h"
#include "gmock/gmock.h"

/// The server between its units and the sibling servers at the queue devices. What the siblings
/// write and read is a test's choice.
class QueueFixture : public testing::Test {
protected:
    using Seconds = std::chrono::seconds;
    using Frame = bench::UnitFrame;
    using Record = bench::QueueRecord;

    static constexpr unsigned dtOut = 2;  // numbers behind "mcs"
    static constexpr unsigned pntdMx = 3;
    static constexpr unsigned dtIn = 4;
    static constexpr Seconds patience{20};  // only a failing test waits so long

    QueueFixture() : bench(options()), siblings(bench.queuePeerOptions()) {}

    static bench::Bench::Options options() {
        bench::Bench::Options options;
        options.settings.baud = 921600;
        return options;
    }

    void start() {
        bench.start();
        ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    }
    void startReading() {
        ASSERT_TRUE(siblings.startReading("PNTD_MX")) << siblings.lastFailure();
        ASSERT_TRUE(siblings.startReading("DT_IN")) << siblings.lastFailure();
    }
    void stop() {
        const auto exit = bench.stop();
        ASSERT_TRUE(exit && exit->ok()) << bench.report();
    }

    static std::string queueOf(unsigned link) { return link == 2 ? "DT_IN" : "PNTD_MX"; }
    static std::int32_t deviceOf(unsigned link) {
        return 0x03312E00 | static_cast<std::int32_t>(link);  // CorvanePlus, this server, links
    }

    static Frame makeFrame(std::uint16_t id, std::size_t words,
                           std::uint16_t flags = Frame::linkReady) {
        Frame frame{id, flags, {}};
        for (std::size_t i = 0; i < words; ++i) {
            frame.data.push_back(static_cast<std::uint16_t>(id + 257 * i));
        }
        return frame;
    }

    /// Writes a record with this frame, from this server.
    void write(std::string const& queue, Frame const& frame, unsigned char source) {
        Record record;
        record.deviceId = 0x03000000 | source << 16;
        record.data = frame.encode();
        ASSERT_TRUE(siblings.write(queue, record)) << siblings.lastFailure();
    }

    /// The records that have come out of a link's queue from this link, once the queue has given
    /// `count` in all.
    std::vector<Record> recordsOf(unsigned link, std::size_t count) {
        EXPECT_TRUE(siblings.waitForRecords(queueOf(link), count, patience)) << bench.report();
        const auto records = siblings.records(queueOf(link));
        EXPECT_TRUE(records) << "something else than records came out of " << queueOf(link);
        std::vector<Record> result;
        for (Record const& record : records.value_or(std::vector<Record>())) {
            if (record.deviceId == deviceOf(link)) {
                result.push_back(record);
            }
        }
        return result;
    }

    /// Gives a queue device room for so many bytes, and answers how much it then has.
    int makeRoom(unsigned port, int bytes) {
        const bench::FileDescriptor queue(openQueue(port));
        return ::fcntl(queue.get(), F_SETPIPE_SZ, bytes);
    }
    int waitingBytes(unsigned port) {
        const bench::FileDescriptor queue(openQueue(port));
        int bytes = -1;
        EXPECT_EQ(0, ::ioctl(queue.get(), FIONREAD, &bytes));
        return bytes;
    }

    bench::Bench bench;
    bench::QueuePeer siblings;

private:
    int openQueue(unsigned port) {
        return ::open(bench.devices().queuePath(port).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
};
