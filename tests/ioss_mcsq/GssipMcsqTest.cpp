#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "bench/Patience.h"
#include "ioss_mcsq/GssipMcsq.h"
#include "ioss_mcsq/GssipTopicSerializer.h"
#include "tests/GpsSerialIo/OutputCapture.h"
#include "tests/aspn2_msgs/PlainCdr.h"
#include "tests/ioss_mcsq/AllocationCount.h"
#include "tests/ioss_mcsq/McsqFixture.h"

namespace {

using aspn2_msgs::idl::EventLog;
using aspn2_msgs::idl::GSSIP;
using FACE::IOSS::NOTIFICATION_EVENT_TYPE;

constexpr std::chrono::seconds deadline{30};
constexpr unsigned short someId = 15050;

/// A record with a GSSIP message of this id; `mark` tells records apart.
GSSIP recordOf(unsigned short id, std::int64_t mark = 1, std::size_t dataBytes = 12) {
    GSSIP record = records::filled<GSSIP>(dataBytes);
    record.header().seq_num(mark);
    record.num_bytes(static_cast<std::int32_t>(dataBytes));
    Bytes const front{0xFF, 0x81, static_cast<std::uint8_t>(id & 0xFF),
                      static_cast<std::uint8_t>(id >> 8)};
    std::copy_n(front.begin(), std::min(front.size(), dataBytes), record.data().begin());
    return record;
}

Bytes operator+(Bytes left, Bytes const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// Keeps the records that it is called with, from any thread.
class Received {
public:
    GssipMcsq::Callback callback() {
        return [this](GSSIP const& record) {
            std::lock_guard<std::mutex> const lock(mutex_);
            records_.push_back(record);
            thread_ = std::this_thread::get_id();
            grown_.notify_all();
        };
    }

    std::size_t count() {
        std::lock_guard<std::mutex> const lock(mutex_);
        return records_.size();
    }

    std::thread::id thread() {
        std::lock_guard<std::mutex> const lock(mutex_);
        return thread_;
    }

    /// Waits for that many records; gives all.
    std::vector<GSSIP> wait(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        EXPECT_TRUE(
            bench::waitFor(grown_, lock, deadline, [&] { return records_.size() >= count; }));
        return records_;
    }

private:
    std::mutex mutex_;  // guards the rest
    std::condition_variable grown_;
    std::vector<GSSIP> records_;
    std::thread::id thread_;
};

class GssipMcsqTest : public McsqFixture {
protected:
    GssipMcsqTest() : config(configFile()) {}

    Code::Value readFrom(char const* queue, GssipMcsq::Callback const& callback) {
        Code::Value rc = Code::IN_PROGRESS;
        mcsq.Connect_ReadOnly(config.c_str(), queue, callback, rc);
        return rc;
    }

    Code::Value writeTo(char const* queue, long long& handle) {
        Code::Value rc = Code::IN_PROGRESS;
        mcsq.Connect_WriteOnly(config.c_str(), queue, handle, rc);
        return rc;
    }

    Code::Value writeWithEcho(char const* queue, long long& handle,
                              GssipMcsq::Callback const& callback) {
        Code::Value rc = Code::IN_PROGRESS;
        mcsq.Connect_IOWrite(config.c_str(), queue, handle, callback, rc);
        return rc;
    }

    void write(long long handle, GSSIP const& record) {
        mcsq.Write(handle, record, Code::NO_ERROR);
    }

    /// What must stand on standard output about bytes that are no record.
    static std::string refusal(std::size_t remainder) {
        return "Tester: Process_Notification_Event(): A memory exception occurred on deserialize. "
               "Max Length: 131072 MCSQ remainder: " +
               std::to_string(remainder) + "\n";
    }

    /// Sends `bad`, in one read, and expects one report that ends with `remainder`; the next read
    /// must then be taken well.
    void expectOneReport(Bytes const& bad, std::size_t remainder, std::size_t goodBefore = 0) {
        Received received;
        ASSERT_EQ(readFrom("Queue0", received.callback()), Code::NO_ERROR);
        OutputCapture output;
        inject(0, bad);
        EXPECT_TRUE(output.waitFor("A memory exception occurred"));
        inject(0, records::encoded(recordOf(someId, 777)));
        auto const all = received.wait(goodBefore + 1);
        EXPECT_EQ(all.size(), goodBefore + 1);
        EXPECT_EQ(all.back().header().seq_num(), 777);
        EXPECT_EQ(output.text(), refusal(remainder));
    }

    std::string const config;
    GssipMcsq mcsq{"Tester", std::vector<unsigned short>{27530, 5000}};
};

TEST_F(GssipMcsqTest, ConnectsSeveralQueuesOfOneConfiguration) {
    long long first = -5;
    long long second = -5;
    EXPECT_EQ(writeTo("Queue1", first), Code::NO_ERROR);
    Code::Value rc = Code::IN_PROGRESS;
    mcsq.Connect_WriteOnly("ignored.xml", "Queue2", second, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
    EXPECT_TRUE(mcsq.IsInitialized(first));
    EXPECT_TRUE(mcsq.IsInitialized(second));
    EXPECT_FALSE(mcsq.IsInitialized(2));
    EXPECT_FALSE(mcsq.IsInitialized(-1));
}

TEST_F(GssipMcsqTest, TellsWhyItDoesNotConnect) {
    Received received;
    long long handle = -5;
    Code::Value rc = Code::IN_PROGRESS;
    mcsq.Connect_WriteOnly((folder.path() / "none.xml").c_str(), "Queue0", handle, rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    EXPECT_EQ(writeTo("Nobody", handle), Code::INVALID_CONFIG);
    EXPECT_EQ(readFrom("Nobody", received.callback()), Code::INVALID_CONFIG);
    EXPECT_EQ(writeWithEcho("Nobody", handle, received.callback()), Code::INVALID_CONFIG);
    root.removeQueue(1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(writeTo("Queue1", handle), Code::NO_ACTION);
    EXPECT_EQ(readFrom("Queue1", received.callback()), Code::NO_ACTION);
    EXPECT_EQ(writeWithEcho("Queue1", handle, received.callback()), Code::NO_ACTION);
    testing::internal::GetCapturedStderr();
    EXPECT_FALSE(mcsq.IsInitialized(0));
    EXPECT_EQ(writeTo("Queue0", handle), Code::NO_ERROR);
}

TEST_F(GssipMcsqTest, WritesTheEncodedRecord) {
    long long handle = -1;
    ASSERT_EQ(writeTo("Queue1", handle), Code::NO_ERROR);
    GSSIP const record = recordOf(someId, 9, 300);
    write(handle, record);
    write(handle, recordOf(someId, 10));
    EXPECT_EQ(drain(1), records::encoded(record) + records::encoded(recordOf(someId, 10)));
}

TEST_F(GssipMcsqTest, KeepsFilteredIdsOutOfTheQueueButEchoesThem) {
    Received received;
    long long handle = -1;
    ASSERT_EQ(writeWithEcho("Queue1", handle, received.callback()), Code::NO_ERROR);
    write(handle, recordOf(27530, 1));
    write(handle, recordOf(5000, 2));
    write(handle, recordOf(someId, 3));
    EXPECT_EQ(drain(1), records::encoded(recordOf(someId, 3)));
    ASSERT_EQ(received.count(), 3U);
    EXPECT_TRUE(received.wait(3)[0] == recordOf(27530, 1));
}

TEST_F(GssipMcsqTest, EchoesOnTheWritingThreadAndNotWhatArrives) {
    Received received;
    long long handle = -1;
    ASSERT_EQ(writeWithEcho("Queue1", handle, received.callback()), Code::NO_ERROR);
    write(handle, recordOf(someId));
    EXPECT_EQ(received.thread(), std::this_thread::get_id());
    EXPECT_EQ(received.count(), 1U);
    // Its own record is in the queue for the others; nobody here is told of it.
    EXPECT_EQ(drain(1), records::encoded(recordOf(someId)));
}

TEST_F(GssipMcsqTest, WritesToTheQueueOnlyWithoutACallback) {
    long long handle = -1;
    Received received;
    ASSERT_EQ(readFrom("Queue0", received.callback()), Code::NO_ERROR);
    ASSERT_EQ(writeTo("Queue1", handle), Code::NO_ERROR);
    write(handle, recordOf(someId));
    EXPECT_EQ(drain(1), records::encoded(recordOf(someId)));
    EXPECT_EQ(received.count(), 0U);
}

TEST_F(GssipMcsqTest, DoesNothingForAHandleThatIsNotConnected) {
    Received received;
    long long handle = -1;
    ASSERT_EQ(writeWithEcho("Queue1", handle, received.callback()), Code::NO_ERROR);
    GSSIP const record = recordOf(someId);
    write(handle, record);  // the type support comes with the first
    ASSERT_EQ(received.count(), 1U);
    EXPECT_EQ(drain(1), records::encoded(record));
    AllocationCount const allocations;
    write(-1, record);
    write(handle + 2, record);  // the one behind the last is told of on standard error
    EXPECT_EQ(allocations.count(), 0U) << "it is not even encoded";
    write(handle + 1, record);
    EXPECT_EQ(received.count(), 1U);
    EXPECT_EQ(drain(1), Bytes());
}

TEST_F(GssipMcsqTest, RaisesForAnEmptyCallbackWithTheRecordInTheQueue) {
    long long handle = -1;
    ASSERT_EQ(writeWithEcho("Queue1", handle, GssipMcsq::Callback()), Code::NO_ERROR);
    EXPECT_THROW(write(handle, recordOf(someId)), std::bad_function_call);
    EXPECT_EQ(drain(1), records::encoded(recordOf(someId)));
}

TEST_F(GssipMcsqTest, TakesARecordWithoutAnIdForNotFiltered) {
    GssipMcsq any("Tester", std::vector<unsigned short>{0});
    long long handle = -1;
    Code::Value rc = Code::IN_PROGRESS;
    any.Connect_WriteOnly(config.c_str(), "Queue1", handle, rc);
    Bytes expected;
    for (std::size_t size = 0; size < 4; ++size) {
        GSSIP record = recordOf(0, 1, size);
        record.data(Bytes(size, 0));
        any.Write(handle, record, rc);
        expected = expected + records::encoded(record);
    }
    EXPECT_EQ(drain(1), expected);
    GSSIP shortest = recordOf(0, 1, 4);
    any.Write(handle, shortest, rc);
    EXPECT_EQ(drain(1), Bytes());
}

TEST_F(GssipMcsqTest, DropsARecordThatOneReadCouldNotTake) {
    ASSERT_GE(::fcntl(far[1].get(), F_SETPIPE_SZ, 262'144), 262'144);
    Received received;
    long long handle = -1;
    ASSERT_EQ(writeWithEcho("Queue1", handle, received.callback()), Code::NO_ERROR);
    write(handle, recordOf(someId, 1, 131'072 - 56 + 1));
    EXPECT_EQ(drain(1), Bytes());
    write(handle, recordOf(someId, 2, 131'072 - 56));
    EXPECT_EQ(drain(1).size(), 131'072U);
    EXPECT_EQ(received.count(), 2U);
}

TEST_F(GssipMcsqTest, LosesRecordsWhileNobodyReadsAndGoesOnAfterwards) {
    Received received;
    long long handle = -1;
    ASSERT_EQ(writeWithEcho("Queue1", handle, received.callback()), Code::NO_ERROR);
    constexpr std::size_t many = 2000;  // of 556 bytes: far more than the pipe takes
    for (std::size_t i = 0; i < many; ++i) {
        write(handle, recordOf(someId, static_cast<std::int64_t>(i), 500));
    }
    EXPECT_EQ(received.count(), many);
    Bytes const stored = drain(1);
    EXPECT_EQ(stored.size() % 556, 0U);  // whole records
    EXPECT_LT(stored.size(), many * 556);
    EXPECT_GT(stored.size(), 0U);
    write(handle, recordOf(someId, 4242));
    EXPECT_EQ(drain(1), records::encoded(recordOf(someId, 4242)));
}

TEST_F(GssipMcsqTest, AllocatesOneBufferForEachRecord) {
    std::atomic<int> echoes{0};
    long long plain = -1;
    long long echoing = -1;
    ASSERT_EQ(writeTo("Queue1", plain), Code::NO_ERROR);
    ASSERT_EQ(writeWithEcho("Queue2", echoing, [&echoes](GSSIP const&) { ++echoes; }),
              Code::NO_ERROR);
    GSSIP const record = recordOf(someId, 1, 494);
    write(plain, record);  // the type support comes with the first
    AllocationCount const allocations;
    for (int i = 0; i < 10; ++i) {
        write(plain, record);
        write(echoing, record);
    }
    EXPECT_EQ(allocations.count(), 20U);
    GSSIP const kept = recordOf(27530);
    AllocationCount const filtered;
    write(plain, kept);
    EXPECT_EQ(filtered.count(), 0U);
}

TEST_F(GssipMcsqTest, DeliversThreeRecordsOfOneReadInOrder) {
    Received received;
    ASSERT_EQ(readFrom("Queue0", received.callback()), Code::NO_ERROR);
    OutputCapture output;
    inject(0, records::encoded(recordOf(1, 1)) + records::encoded(recordOf(2, 2, 0)) +
                  records::encoded(recordOf(3, 3, 301)));
    auto const all = received.wait(3);
    ASSERT_EQ(all.size(), 3U);
    EXPECT_TRUE(all[0] == recordOf(1, 1));
    EXPECT_TRUE(all[1] == recordOf(2, 2, 0));
    EXPECT_TRUE(all[2] == recordOf(3, 3, 301));
    EXPECT_NE(received.thread(), std::this_thread::get_id());
    EXPECT_EQ(output.text(), "");
}

TEST_F(GssipMcsqTest, TakesRecordsOfBothByteOrders) {
    Received received;
    ASSERT_EQ(readFrom("Queue0", received.callback()), Code::NO_ERROR);
    inject(0, records::encoded(recordOf(1, 1), true) + records::encoded(recordOf(2, 2)));
    EXPECT_TRUE(received.wait(2)[0] == recordOf(1, 1));
}

TEST_F(GssipMcsqTest, DeliversWhatTheFilterKeepsFromWriting) {
    Received received;
    ASSERT_EQ(readFrom("Queue0", received.callback()), Code::NO_ERROR);
    inject(0, records::encoded(recordOf(27530)));
    EXPECT_TRUE(received.wait(1)[0] == recordOf(27530));
}

TEST_F(GssipMcsqTest, DeliversEachQueueToItsCallback) {
    Received first;
    Received second;
    ASSERT_EQ(readFrom("Queue0", first.callback()), Code::NO_ERROR);
    ASSERT_EQ(readFrom("Queue1", second.callback()), Code::NO_ERROR);
    inject(1, records::encoded(recordOf(1, 1)));
    inject(0, records::encoded(recordOf(2, 2)));
    EXPECT_TRUE(first.wait(1)[0] == recordOf(2, 2));
    EXPECT_TRUE(second.wait(1)[0] == recordOf(1, 1));
}

TEST_F(GssipMcsqTest, ReadsNothingForAnotherEvent) {
    Received received;
    long long handle = -1;
    ASSERT_EQ(writeWithEcho("Queue0", handle, received.callback()), Code::NO_ERROR);
    inject(0, records::encoded(recordOf(someId)));
    mcsq.Process_Notification_Event(handle, static_cast<NOTIFICATION_EVENT_TYPE::Value>(1));
    EXPECT_EQ(received.count(), 0U);
    mcsq.Process_Notification_Event(handle, NOTIFICATION_EVENT_TYPE::DATA_READY);
    EXPECT_EQ(received.count(), 1U);
}

TEST_F(GssipMcsqTest, DoesNothingForAnEventWithoutData) {
    Received received;
    long long handle = -1;
    ASSERT_EQ(writeWithEcho("Queue0", handle, received.callback()), Code::NO_ERROR);
    OutputCapture output;
    mcsq.Process_Notification_Event(handle, NOTIFICATION_EVENT_TYPE::DATA_READY);
    mcsq.Process_Notification_Event(handle + 1, NOTIFICATION_EVENT_TYPE::DATA_READY);
    EXPECT_EQ(received.count(), 0U);
    EXPECT_EQ(output.text(), "");
}

TEST_F(GssipMcsqTest, ReportsACutRecordOnce) {
    Bytes cut = records::encoded(recordOf(someId));
    cut.pop_back();
    expectOneReport(cut, cut.size());
}

TEST_F(GssipMcsqTest, ReportsARecordThatEndsInItsFixedPart) {
    Bytes const whole = records::encoded(recordOf(someId));
    expectOneReport(Bytes(whole.begin(), whole.begin() + 20), 20);
}

TEST_F(GssipMcsqTest, ReportsARecordWithTooLargeACount) {
    GSSIP record = recordOf(someId);
    record.num_bytes(13);
    expectOneReport(records::encoded(record) + records::encoded(recordOf(someId, 2)), 2 * 68);
}

TEST_F(GssipMcsqTest, ReportsARecordWithTooSmallACount) {
    GSSIP record = recordOf(someId);
    record.num_bytes(11);
    expectOneReport(records::encoded(record), 68);
}

TEST_F(GssipMcsqTest, ReportsARecordWithANegativeCount) {
    GSSIP record = recordOf(someId);
    record.num_bytes(-56);  // as a step it would stay in place for ever
    expectOneReport(records::encoded(record), 68);
}

TEST_F(GssipMcsqTest, ReportsARecordOfAnotherType) {
    Bytes const other = records::encoded(records::filled<EventLog>(3, 40));
    expectOneReport(other, other.size());
}

TEST_F(GssipMcsqTest, ReportsGarbage) {
    expectOneReport(bytesOf("this is no record at all, and it never was one, whatever it says; "
                            "it only is long enough to be one"),
                    98);
}

TEST_F(GssipMcsqTest, ReportsALengthThatCannotBe) {
    Bytes bytes = records::encoded(recordOf(someId));
    std::fill_n(bytes.begin() + 48, 8, 0xFF);  // both the count and the length of the data
    expectOneReport(bytes, bytes.size());
}

TEST_F(GssipMcsqTest, DropsOnlyWhatStandsBehindTheBadRecord) {
    Bytes bad = records::encoded(recordOf(someId, 2));
    bad[0] = 0x42;
    expectOneReport(
        records::encoded(recordOf(someId, 1)) + bad + records::encoded(recordOf(someId, 3)), 2 * 68,
        1);
}

TEST_F(GssipMcsqTest, ReportsAnExceptionOfTheCallbackOnceAndDropsTheRest) {
    std::atomic<int> calls{0};
    ASSERT_EQ(readFrom("Queue0",
                       [&calls](GSSIP const& record) {
                           ++calls;
                           if (record.header().seq_num() < 10) {
                               throw std::runtime_error("what the callback raised");
                           }
                       }),
              Code::NO_ERROR);
    OutputCapture output;
    inject(0, records::encoded(recordOf(someId, 1)) + records::encoded(recordOf(someId, 10)));
    ASSERT_TRUE(output.waitFor("what the callback raised\n"));
    EXPECT_EQ(calls, 1);
    inject(0, records::encoded(recordOf(someId, 2)));
    ASSERT_TRUE(output.waitFor("what the callback raised\n", 2));
    std::string const line =
        "Tester: Process_Notification_Event(): A memory exception occurred what the callback "
        "raised\n";
    EXPECT_EQ(output.text(), line + line);
}

TEST_F(GssipMcsqTest, ReportsAnEmptyCallback) {
    ASSERT_EQ(readFrom("Queue0", GssipMcsq::Callback()), Code::NO_ERROR);
    OutputCapture output;
    inject(0, records::encoded(recordOf(someId)));
    EXPECT_TRUE(output.waitFor(
        "Tester: Process_Notification_Event(): A memory exception occurred bad_function_call\n"));
}

TEST_F(GssipMcsqTest, ReportsWhatIsNoException) {
    ASSERT_EQ(readFrom("Queue0", [](GSSIP const&) { throw 42; }), Code::NO_ERROR);
    OutputCapture output;
    inject(0, records::encoded(recordOf(someId)));
    EXPECT_TRUE(
        output.waitFor("Tester: Process_Notification_Event(): A memory exception occurred unknown "
                       "exception\n"));
}

TEST_F(GssipMcsqTest, CountsOnlyPlainNumbersAsIdsAndSaysNothingOfOthers) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    GssipMcsq filtered("Tester", std::vector<std::string>{" 100\t", "0101", "65535", "65536", "x",
                                                          "", "-103", "104x", "0x69", "1 06",
                                                          "+107", "99999999999999999999999"});
    long long handle = -1;
    Code::Value rc = Code::IN_PROGRESS;
    filtered.Connect_WriteOnly(config.c_str(), "Queue1", handle, rc);
    ASSERT_EQ(rc, Code::NO_ERROR);
    std::vector<unsigned short> const ids{0,   1,   16,  100, 101, 102,    103,
                                          104, 105, 106, 107, 999, 65'433, 65'535};
    std::vector<unsigned short> passed;
    for (unsigned short const id : ids) {
        filtered.Write(handle, recordOf(id), rc);
        if (!drain(1).empty()) {
            passed.push_back(id);
        }
    }
    EXPECT_EQ(passed,
              (std::vector<unsigned short>{0, 1, 16, 102, 103, 104, 105, 106, 107, 999, 65'433}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(GssipMcsqTest, FiltersNothingWithoutIds) {
    GssipMcsq open("Tester");
    long long handle = -1;
    Code::Value rc = Code::IN_PROGRESS;
    open.Connect_WriteOnly(config.c_str(), "Queue1", handle, rc);
    open.Write(handle, recordOf(27530), rc);
    EXPECT_EQ(drain(1), records::encoded(recordOf(27530)));
}

TEST_F(GssipMcsqTest, CallsBackFromManyThreadsWhileQueuesAreConnected) {
    Received arriving;
    std::atomic<int> echoes{0};
    long long handle = -1;
    ASSERT_EQ(readFrom("Queue0", arriving.callback()), Code::NO_ERROR);
    ASSERT_EQ(writeWithEcho("Queue1", handle, [&echoes](GSSIP const&) { ++echoes; }),
              Code::NO_ERROR);
    constexpr int each = 200;
    std::thread sibling([&] {
        for (int i = 0; i < each; ++i) {
            inject(0, records::encoded(recordOf(someId, i)));
        }
    });
    std::vector<std::thread> links;
    for (int link = 0; link < 2; ++link) {
        links.emplace_back([&, own = handle]() mutable {
            for (int i = 0; i < each; ++i) {
                mcsq.Write(own, recordOf(someId, i), Code::NO_ERROR);
            }
        });
    }
    Received late;
    EXPECT_EQ(readFrom("Queue2", late.callback()), Code::NO_ERROR);
    sibling.join();
    for (std::thread& link : links) {
        link.join();
    }
    EXPECT_EQ(echoes, 2 * each);
    auto const all = arriving.wait(each);
    for (int i = 0; i < each; ++i) {
        EXPECT_EQ(all[static_cast<std::size_t>(i)].header().seq_num(), i);
    }
    EXPECT_EQ(drain(1).size(), 2U * each * 68U);
}

TEST_F(GssipMcsqTest, PassesRecordsBetweenTwoOfItsKind) {
    Received received;
    ASSERT_EQ(readFrom("Queue0", received.callback()), Code::NO_ERROR);
    GssipMcsq sibling("Sibling");
    long long handle = -1;
    Code::Value rc = Code::IN_PROGRESS;
    sibling.Connect_WriteOnly(config.c_str(), "Queue0", handle, rc);
    ASSERT_EQ(rc, Code::NO_ERROR);
    sibling.Write(handle, recordOf(someId, 5, 100), rc);
    EXPECT_TRUE(received.wait(1)[0] == recordOf(someId, 5, 100));
}

}  // namespace
