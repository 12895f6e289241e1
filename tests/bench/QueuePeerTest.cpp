// The queue peer, with the server's own transport at the near side.

#include <cstdlib>
#include <mutex>

#include <gtest/gtest.h>

#include "bench/Bench.h"
#include "bench/Patience.h"
#include "bench/QueuePeer.h"
#include "ioss_mcsq/GssipMcsq.h"
#include "tests/GpsSerialIo/OutputCapture.h"

namespace bench {
namespace {

using aspn2_msgs::idl::GSSIP;
using Code = FACE::RETURN_CODE_TYPE;
using namespace std::chrono_literals;

constexpr auto deadline = 30s;

class QueuePeerTest : public testing::Test {
protected:
    QueuePeerTest() {
        const auto top = setUp_.configuration().write(setUp_.folder().path());
        config_ = (top.parent_path() /
                   ExampleConfiguration::fileName(ExampleConfiguration::File::IoDevices))
                      .string();
        ::setenv(DeviceRoot::environmentVariable, setUp_.devices().path().c_str(), 1);
    }
    ~QueuePeerTest() override { ::unsetenv(DeviceRoot::environmentVariable); }

    /// Connects the near side to a queue that it writes; gives the handle.
    long long connect(const char* queue) {
        long long handle = -1;
        Code::Value rc = Code::IN_PROGRESS;
        near_.Connect_WriteOnly(config_.c_str(), queue, handle, rc);
        EXPECT_EQ(rc, Code::NO_ERROR) << queue;
        return handle;
    }

    /// Has the near side keep what arrives at a queue.
    void listen(const char* queue) {
        Code::Value rc = Code::IN_PROGRESS;
        near_.Connect_ReadOnly(
            config_.c_str(), queue,
            [this](const GSSIP& record) {
                const std::lock_guard<std::mutex> lock(mutex_);
                arrived_.push_back(record.header().seq_num());
                changed_.notify_all();
            },
            rc);
        EXPECT_EQ(rc, Code::NO_ERROR) << queue;
    }

    std::vector<std::int64_t> waitForArrivals(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        EXPECT_TRUE(
            bench::waitFor(changed_, lock, deadline, [&] { return arrived_.size() >= count; }));
        return arrived_;
    }

    void send(long long handle, std::int64_t sequence, std::size_t size = 12) {
        GSSIP record;
        record.header().seq_num(sequence);
        record.num_bytes(static_cast<std::int32_t>(size));
        record.data().assign(size, 0x5A);
        near_.Write(handle, record, Code::NO_ERROR);
    }

    static QueueRecord numbered(std::int64_t sequence) {
        QueueRecord record;
        record.sequence = sequence;
        record.data = {0xFF, 0x81, 1, 2, 3};
        return record;
    }

    Bench setUp_;
    std::string config_;
    std::mutex mutex_;  // guards the arrivals
    std::condition_variable changed_;
    std::vector<std::int64_t> arrived_;
    QueuePeer peer_{setUp_.queuePeerOptions()};
    GssipMcsq near_{"Tester"};
};

TEST_F(QueuePeerTest, StandsBehindEveryQueueOfTheExample) {
    for (const char* const queue : {"TREVO_MX", "HALVOR_MX", "DT_OUT", "PNTD_MX", "DT_IN"}) {
        const long long handle = connect(queue);
        ASSERT_TRUE(peer_.startReading(queue)) << peer_.lastFailure();
        send(handle, 5);
        EXPECT_TRUE(peer_.waitForRecords(queue, 1, deadline)) << queue;
        EXPECT_TRUE(peer_.stopReading(queue));
    }
}

TEST_F(QueuePeerTest, WritesRecordsForTheServer) {
    listen("TREVO_MX");
    ASSERT_TRUE(peer_.write("TREVO_MX", numbered(1))) << peer_.lastFailure();
    ASSERT_TRUE(peer_.write("TREVO_MX", numbered(2)));
    EXPECT_EQ(waitForArrivals(2), (std::vector<std::int64_t>{1, 2}));
}

TEST_F(QueuePeerTest, WritesSeveralRecordsAtOnceAndBadOnes) {
    listen("HALVOR_MX");
    auto bytes = numbered(1).encode();
    const auto second = numbered(2).encode();
    bytes.insert(bytes.end(), second.begin(), second.end());
    ASSERT_TRUE(peer_.write("HALVOR_MX", bytes));
    EXPECT_EQ(waitForArrivals(2), (std::vector<std::int64_t>{1, 2}));

    OutputCapture output;
    QueueRecord untrue = numbered(3);
    untrue.told = 400;
    ASSERT_TRUE(peer_.write("HALVOR_MX", untrue));
    EXPECT_TRUE(output.waitFor("MCSQ remainder: 61\n"));
    ASSERT_TRUE(peer_.write("HALVOR_MX", numbered(4)));
    EXPECT_EQ(waitForArrivals(3), (std::vector<std::int64_t>{1, 2, 4}));
}

TEST_F(QueuePeerTest, TellsWhatItReadAndWhen) {
    const long long handle = connect("PNTD_MX");
    ASSERT_TRUE(peer_.startReading("PNTD_MX"));
    const auto before = std::chrono::steady_clock::now();
    send(handle, 7, 300);
    ASSERT_TRUE(peer_.waitForRecords("PNTD_MX", 1, deadline));
    const auto records = peer_.records("PNTD_MX");
    ASSERT_TRUE(records);
    EXPECT_EQ(records->at(0).sequence, 7);
    EXPECT_EQ(records->at(0).data, std::vector<std::uint8_t>(300, 0x5A));
    const auto reads = peer_.reads("PNTD_MX");
    ASSERT_EQ(reads.size(), 1U);
    EXPECT_GT(reads[0].at, before);
    EXPECT_LT(reads[0].at, std::chrono::steady_clock::now());
    EXPECT_TRUE(peer_.reads("DT_IN").empty());
    EXPECT_TRUE(peer_.records("DT_IN")->empty());
}

TEST_F(QueuePeerTest, StopsReadingAndGoesOn) {
    const long long handle = connect("DT_IN");
    ASSERT_TRUE(peer_.startReading("DT_IN"));
    send(handle, 1);
    ASSERT_TRUE(peer_.waitForRecords("DT_IN", 1, deadline));
    ASSERT_TRUE(peer_.stopReading("DT_IN"));
    constexpr int many = 1000;  // more than the queue takes
    for (int i = 0; i < many; ++i) {
        send(handle, 2 + i, 500);
    }
    EXPECT_EQ(peer_.reads("DT_IN").size(), 1U);
    ASSERT_TRUE(peer_.startReading("DT_IN"));
    ASSERT_TRUE(peer_.waitForRecords("DT_IN", 2, deadline));
    // What was stored is whole; what came while the queue was full is lost. The next one arrives.
    const auto isLast = [&] {
        const auto records = peer_.records("DT_IN");
        return records && records->back().sequence == 4242;
    };
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!isLast() && std::chrono::steady_clock::now() < end) {
        send(handle, 4242);
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(isLast());
    EXPECT_LT(peer_.records("DT_IN")->at(1).sequence, 3);
}

TEST_F(QueuePeerTest, TellsThatSomethingElseCame) {
    ASSERT_TRUE(peer_.startReading("DT_OUT"));
    ASSERT_TRUE(peer_.write("DT_OUT", QueuePeer::Bytes{1, 2, 3}));
    EXPECT_FALSE(peer_.waitForRecords("DT_OUT", 1, deadline));
    EXPECT_EQ(peer_.records("DT_OUT"), std::nullopt);
    EXPECT_EQ(peer_.reads("DT_OUT")[0].bytes, (QueuePeer::Bytes{1, 2, 3}));
}

TEST_F(QueuePeerTest, TellsThatAQueueIsFull) {
    const QueuePeer::Bytes block(4096, 0);
    unsigned blocks = 0;
    while (peer_.write("DT_OUT", block)) {
        ASSERT_LT(++blocks, 1000U);
    }
    EXPECT_NE(peer_.lastFailure(), "");
    EXPECT_FALSE(peer_.write("Nobody", block));
    EXPECT_NE(peer_.lastFailure().find("no queue Nobody"), std::string::npos);
}

TEST_F(QueuePeerTest, EndsInOrderAndTellsWhatItCannotOpen) {
    {
        QueuePeer other(setUp_.queuePeerOptions());
        ASSERT_TRUE(other.startReading("DT_IN"));
        other.process().closeInput();
        const auto exit = other.process().wait(deadline);
        ASSERT_TRUE(exit);
        EXPECT_TRUE(exit->ok()) << exit->text();
    }
    QueuePeer::Options options;
    options.queues["NOWHERE"] = setUp_.devices().queuePath(99);
    EXPECT_THROW(QueuePeer{options}, std::runtime_error);
}

}  // namespace
}  // namespace bench
