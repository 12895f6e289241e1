#include <algorithm>

#include "tests/ioss_mcsq/ServiceFixture.h"

namespace {

class MX_MCSQTest : public ServiceFixture {
protected:
    /// The descriptors of this process on a queue.
    std::vector<int> descriptorsOn(unsigned port) {
        std::vector<int> found;
        for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;  // the folder's own descriptor is in the list
            if (std::filesystem::read_symlink(entry, gone) == root.queuePath(port)) {
                found.push_back(std::stoi(entry.path().filename()));
            }
        }
        return found;
    }

    FACE::IOSS::CONNECTION_STATUS_TYPE status;
    FACE::IOSS::IO_PARAMETER_TRANSACTION_TYPE transaction;
};

TEST_F(MX_MCSQTest, TakesOneConfigurationOnly) {
    Code::Value rc = Code::IN_PROGRESS;
    service->Set_Reference("x", nullptr, 0, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
    service->Initialize("nowhere.xml", rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
    start();
    service->Set_Reference("x", std::make_shared<FACE::MX_Config>(), 0, rc);
    EXPECT_EQ(rc, Code::NOT_AVAILABLE);
    service->Initialize("nowhere.xml", rc);
    EXPECT_EQ(rc, Code::NO_ACTION);
}

TEST_F(MX_MCSQTest, RefusesAFileThatIsNone) {
    Code::Value rc = Code::IN_PROGRESS;
    service->Set_Reference("x", std::make_shared<FACE::MX_Config>(), 0, rc);
    service->Initialize((folder.path() / "nowhere.xml").c_str(), rc);
    EXPECT_EQ(rc, Code::INVALID_CONFIG);
}

TEST_F(MX_MCSQTest, NeedsTheContainerAndItsPort) {
    ports["NoPort"] = "";
    start();
    long long handle = 5;
    EXPECT_EQ(open("Nobody", handle), Code::INVALID_CONFIG);
    EXPECT_EQ(handle, -1);
    handle = 5;
    EXPECT_EQ(open("NoPort", handle), Code::INVALID_CONFIG);
    EXPECT_EQ(handle, -1);
    EXPECT_EQ(open(nullptr, handle), Code::INVALID_PARAM);
    // None of them has become a connection.
    EXPECT_EQ(opened("Queue2"), 0);
}

TEST_F(MX_MCSQTest, GivesTheSameHandleForAnOpenName) {
    start();
    EXPECT_EQ(opened("Queue1"), 0);
    EXPECT_EQ(opened("Queue0"), 1);
    auto const before = descriptorsOn(1);
    EXPECT_EQ(opened("Queue1"), 0);
    EXPECT_EQ(descriptorsOn(1), before);
}

TEST_F(MX_MCSQTest, ReadsPortsOfAnyBase) {
    ports["Queue0"] = "0x2";
    start();
    EXPECT_EQ(write(opened("Queue0"), bytesOf("there")), Code::NO_ERROR);
    EXPECT_EQ(drain(2), bytesOf("there"));
}

TEST_F(MX_MCSQTest, OpensBothEndsNeverToWaitAndNotForChildren) {
    start();
    auto const before = descriptorsOn(1);
    opened("Queue1");
    auto after = descriptorsOn(1);
    ASSERT_EQ(after.size(), before.size() + 2);
    std::vector<int> accesses;
    for (int const descriptor : after) {
        if (std::find(before.begin(), before.end(), descriptor) == before.end()) {
            int const flags = ::fcntl(descriptor, F_GETFL);
            EXPECT_NE(flags & O_NONBLOCK, 0);
            EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
            accesses.push_back(flags & O_ACCMODE);
        }
    }
    std::sort(accesses.begin(), accesses.end());
    EXPECT_EQ(accesses, (std::vector<int>{O_RDONLY, O_WRONLY}));
}

TEST_F(MX_MCSQTest, KeepsAConnectionThatDoesNotOpenForAnotherTry) {
    root.removeQueue(1);
    start();
    long long handle = 5;
    testing::internal::CaptureStderr();
    EXPECT_EQ(open("Queue1", handle), Code::NO_ACTION);
    EXPECT_EQ(handle, -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Unable to open output pipe file: " + root.queuePath(1).string() + "\n");
    EXPECT_EQ(opened("Queue0"), 1);  // behind it
    EXPECT_EQ(busStatus(0), 1);
    root.makeQueue(1);
    EXPECT_EQ(opened("Queue1"), 0);
}

TEST_F(MX_MCSQTest, RefusesADeviceThatCannotBeWritten) {
    root.removeQueue(1);
    std::filesystem::create_directory(root.queuePath(1));  // opens for reading only
    start();
    long long handle = 5;
    testing::internal::CaptureStderr();
    EXPECT_EQ(open("Queue1", handle), Code::NO_ACTION);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Unable to open output pipe file: " + root.queuePath(1).string() + "\n");
    EXPECT_TRUE(descriptorsOn(1).empty());
    EXPECT_EQ(opened("Queue0"), 1);  // behind it
    Code::Value rc = Code::IN_PROGRESS;
    service->Get_Connection_Status(0, status, rc);
    EXPECT_EQ(rc, Code::CONNECTION_CLOSED);
}

TEST_F(MX_MCSQTest, KeepsTwoConnectionsOfOnePortApart) {
    ports["Other"] = "0";
    start();
    auto const before = descriptorsOn(0).size();
    EXPECT_EQ(opened("Queue0"), 0);
    EXPECT_EQ(opened("Other"), 1);
    EXPECT_EQ(descriptorsOn(0).size(), before + 4);
    EXPECT_EQ(close(0), Code::NO_ERROR);
    EXPECT_EQ(descriptorsOn(0).size(), before + 2);
    EXPECT_EQ(write(1, bytesOf("x")), Code::NO_ERROR);
}

TEST_F(MX_MCSQTest, OpensAgainUnderTheSameHandle) {
    start();
    auto const before = descriptorsOn(0).size();
    long long const handle = opened("Queue0");
    EXPECT_EQ(close(handle), Code::NO_ERROR);
    EXPECT_EQ(descriptorsOn(0).size(), before);
    EXPECT_EQ(close(handle), Code::CONNECTION_CLOSED);
    EXPECT_EQ(opened("Queue0"), handle);
    EXPECT_EQ(write(handle, bytesOf("x")), Code::NO_ERROR);
}

TEST_F(MX_MCSQTest, ClosesEverythingWithItsEnd) {
    start();
    auto const before = descriptorsOn(0).size();
    opened("Queue0");
    service.reset();
    EXPECT_EQ(descriptorsOn(0).size(), before);
}

TEST_F(MX_MCSQTest, CarriesBytesBothWays) {
    start();
    long long const handle = opened("Queue0");
    EXPECT_EQ(write(handle, bytesOf("to the others")), Code::NO_ERROR);
    EXPECT_EQ(drain(0), bytesOf("to the others"));
    inject(0, bytesOf("from the others"));
    READ_PAYLOAD_TYPE payload = room(100);
    EXPECT_EQ(read(handle, payload), Code::NO_ERROR);
    EXPECT_EQ(content(payload), bytesOf("from the others"));
}

TEST_F(MX_MCSQTest, ReadsIntoTheRoomThatThereIs) {
    start();
    long long const handle = opened("Queue0");
    inject(0, bytesOf("0123456789"));
    READ_PAYLOAD_TYPE managed = room(4);
    managed.data.set_length(1);  // its length does not matter
    EXPECT_EQ(read(handle, managed), Code::NO_ERROR);
    EXPECT_EQ(content(managed), bytesOf("0123"));
    std::array<octet, 3> buffer{};
    Octets::RETURN_CODE code{};
    READ_PAYLOAD_TYPE unmanaged{Octets(buffer.data(), 0, buffer.size(), code)};
    EXPECT_EQ(read(handle, unmanaged), Code::NO_ERROR);
    EXPECT_EQ(content(unmanaged), bytesOf("456"));
    READ_PAYLOAD_TYPE none;
    EXPECT_EQ(read(handle, none), Code::NO_ACTION);
    READ_PAYLOAD_TYPE invalid{Octets(static_cast<octet const*>(nullptr), 0)};
    EXPECT_EQ(read(handle, invalid), Code::NO_ACTION);
    READ_PAYLOAD_TYPE rest = room(100);
    EXPECT_EQ(read(handle, rest), Code::NO_ERROR);
    EXPECT_EQ(content(rest), bytesOf("789"));
}

TEST_F(MX_MCSQTest, ReadsNoMoreThanItsBoundAtOnce) {
    start();
    long long const handle = opened("Queue0");
    ASSERT_GE(::fcntl(far[0].get(), F_SETPIPE_SZ, 262'144), 262'144);
    inject(0, Bytes(200'000, 0x5A));
    READ_PAYLOAD_TYPE payload = room(200'000);
    EXPECT_EQ(read(handle, payload), Code::NO_ERROR);
    EXPECT_EQ(payload.data.length(), 131'072U);
    EXPECT_EQ(read(handle, payload), Code::NO_ERROR);
    EXPECT_EQ(payload.data.length(), 200'000U - 131'072U);
}

TEST_F(MX_MCSQTest, FindsNothingInAnEmptyQueueWithoutWaiting) {
    start();
    READ_PAYLOAD_TYPE payload = room(8);
    EXPECT_EQ(read(opened("Queue0"), payload), Code::NO_ACTION);
}

TEST_F(MX_MCSQTest, LosesWhatAFullQueueDoesNotTake) {
    start();
    long long const handle = opened("Queue0");
    Bytes const block(4096, 0x11);
    unsigned taken = 0;
    while (write(handle, block) == Code::NO_ERROR) {
        ASSERT_LT(++taken, 1000U);
    }
    EXPECT_GT(taken, 0U);
    EXPECT_EQ(write(handle, block), Code::NO_ACTION);
    EXPECT_EQ(write(handle, Bytes()), Code::NO_ERROR);  // nothing to write
    EXPECT_EQ(drain(0).size(), taken * block.size());
    EXPECT_EQ(write(handle, block), Code::NO_ERROR);  // the reader is back
    EXPECT_EQ(drain(0), block);
}

TEST_F(MX_MCSQTest, TakesALargeBlockInPart) {
    start();
    long long const handle = opened("Queue0");
    EXPECT_EQ(write(handle, Bytes(1'000'000, 0x11)), Code::NO_ACTION);
    EXPECT_GT(drain(0).size(), 0U);
}

TEST_F(MX_MCSQTest, DoesNotCallTheDeviceForAnEmptySequence) {
    start();
    auto const before = descriptorsOn(0);
    long long const handle = opened("Queue0");
    EXPECT_EQ(write(handle, Bytes()), Code::NO_ERROR);
    EXPECT_EQ(drain(0), Bytes());
    for (int const descriptor : descriptorsOn(0)) {
        if (std::find(before.begin(), before.end(), descriptor) == before.end()) {
            ::close(descriptor);  // behind the service's back
        }
    }
    EXPECT_EQ(write(handle, bytesOf("x")), Code::NO_ACTION) << "every write of it fails now";
    EXPECT_EQ(write(handle, Bytes()), Code::NO_ERROR);
}

TEST_F(MX_MCSQTest, KnowsOpenConnectionsFromClosedAndUnknownOnes) {
    start();
    long long const handle = opened("Queue0");
    opened("Queue1");
    close(handle);
    class Nobody : public MX_MCSQ::IO_Callback {
        void Process_Notification_Event(long long,
                                        FACE::IOSS::NOTIFICATION_EVENT_TYPE::Value) override {}
    } nobody;
    struct {
        long long handle;
        Code::Value expected;
    } const cases[] = {
        {handle, Code::CONNECTION_CLOSED},
        {7, Code::INVALID_PARAM},
        {-1, Code::INVALID_PARAM},
    };
    for (auto const& each : cases) {
        READ_PAYLOAD_TYPE payload = room(8);
        EXPECT_EQ(read(each.handle, payload), each.expected);
        EXPECT_EQ(content(payload), Bytes(8, 0xEE));
        EXPECT_EQ(write(each.handle, bytesOf("x")), each.expected);
        EXPECT_EQ(close(each.handle), each.expected);
        EXPECT_EQ(listen(each.handle, nobody), each.expected);
        EXPECT_EQ(ignore(each.handle), each.expected);
        EXPECT_EQ(busStatus(each.handle), 1);
        Code::Value rc = Code::IN_PROGRESS;
        service->Get_Connection_Status(each.handle, status, rc);
        EXPECT_EQ(rc, each.expected);
        service->Configure_Connection_Parameters(each.handle, 0, transaction, rc);
        EXPECT_EQ(rc, each.expected);
        service->Configure_Bus_Parameters(each.handle, 0, transaction, rc);
        EXPECT_EQ(rc, each.expected);
        service->Get_Bus_Configuration(each.handle, 0, transaction, rc);
        EXPECT_EQ(rc, each.expected);
    }
}

TEST_F(MX_MCSQTest, LooksAtTheLowBitsOfAHandle) {
    start();
    opened("Queue0");
    EXPECT_EQ(write(0x1'0000'0000, bytesOf("x")), Code::NO_ERROR);
}

TEST_F(MX_MCSQTest, TellsOfTheHandleJustBehindTheLast) {
    start();
    opened("Queue0");
    testing::internal::CaptureStderr();
    EXPECT_EQ(write(1, bytesOf("x")), Code::INVALID_PARAM);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "221connection 1 is out of range\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(write(2, bytesOf("x")), Code::INVALID_PARAM);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(MX_MCSQTest, TellsItsStatus) {
    start();
    long long const handle = opened("Queue0");
    EXPECT_EQ(busStatus(handle), 0);
    status = {5, 5, FACE::IOSS::CONNECTION_STATE_TYPE::CLOSED};
    Code::Value rc = Code::IN_PROGRESS;
    service->Get_Connection_Status(handle, status, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_EQ(status.timestamp, 0);
    EXPECT_EQ(status.available, 1);
    EXPECT_EQ(status.state, FACE::IOSS::CONNECTION_STATE_TYPE::OPEN);
}

TEST_F(MX_MCSQTest, HasNothingToConfigure) {
    start();
    long long const handle = opened("Queue0");
    Code::Value rc = Code::IN_PROGRESS;
    service->Configure_Connection_Parameters(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ACTION);
    rc = Code::IN_PROGRESS;
    service->Configure_Bus_Parameters(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ACTION);
    rc = Code::IN_PROGRESS;
    service->Get_Bus_Configuration(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ACTION);
}

TEST_F(MX_MCSQTest, TellsItsPort) {
    start();
    long long const handle = opened("Queue2");
    for (std::uint16_t const kind : std::initializer_list<std::uint16_t>{0, 1, 0}) {
        FACE::IOSS::IO_PARAMETER parameter;
        parameter.kind = kind;
        transaction.parameters.append(parameter);
    }
    Code::Value rc = Code::IN_PROGRESS;
    service->Get_Connection_Configuration(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);  // kind 1, but the walk goes on
    for (std::uint32_t const index : {0U, 2U}) {
        std::uint16_t port = 0;
        FACE::IOSS::IO_PARAMETER_VALUE_TYPE::RETURN_CODE code{};
        transaction.parameters[index]->value.ushort_value(port, code);
        EXPECT_EQ(code, 0);
        EXPECT_EQ(port, 2);
    }
    transaction.parameters.clear();
    close(handle);
    service->Get_Connection_Configuration(handle, 0, transaction, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    FACE::IOSS::IO_PARAMETER_TRANSACTION_TYPE invalid{
        FACE::Sequence<FACE::IOSS::IO_PARAMETER>(nullptr, 0)};
    rc = Code::IN_PROGRESS;
    service->Get_Connection_Configuration(handle, 0, invalid, rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    service->Get_Connection_Configuration(9, 0, invalid, rc);
    EXPECT_EQ(rc, Code::INVALID_PARAM);
}

}  // namespace
