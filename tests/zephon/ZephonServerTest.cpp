#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>

#include "bench/Bench.h"
#include "gmock/gmock.h"
#include "zephon/ZephonServer.h"

namespace {

using namespace std::chrono_literals;
namespace idl = aspn2_msgs::idl;
using ReturnCode = FACE::RETURN_CODE_TYPE;
using RequestedState = ZephonServer::RequestedState;
using ReportedState = ZephonServer::ReportedState;

constexpr std::uint16_t solution = 15050;
constexpr std::uint16_t startedCommand = 27530;

/// A server in this process, on the bench's devices.
class ZephonServerTest : public testing::Test {
protected:
    ZephonServerTest() : bench(options()) {
        setenv("ZEPHON_DEVICE_ROOT", bench.devices().path().c_str(), 1);
    }
    ~ZephonServerTest() override { unsetenv("ZEPHON_DEVICE_ROOT"); }

    static bench::Bench::Options options() {
        bench::Bench::Options options;
        options.settings.baud = 921600;
        return options;
    }

    ReturnCode::Value configure() {
        file = bench.configuration().write(bench.folder().path()).string();
        ReturnCode::Value code = ReturnCode::IN_PROGRESS;
        server->Configure(file.c_str(), code);
        return code;
    }
    ReturnCode::Value connect() {
        ReturnCode::Value code = ReturnCode::IN_PROGRESS;
        server->Framework_Connect(file.c_str(), code);
        return code;
    }
    ReturnCode::Value disconnect() {
        ReturnCode::Value code = ReturnCode::IN_PROGRESS;
        server->Framework_Disconnect(code);
        return code;
    }
    ReturnCode::Value request(RequestedState::Value state) {
        ReturnCode::Value code = ReturnCode::IN_PROGRESS;
        server->Request_State_Transition(state, code);
        return code;
    }
    ReportedState::Value state() {
        ReportedState::Value value{};
        ReturnCode::Value code = ReturnCode::IN_PROGRESS;
        server->Query_State(value, code);
        EXPECT_EQ(ReturnCode::NO_ERROR, code);
        return value;
    }
    void connectAll() {
        ASSERT_EQ(ReturnCode::NO_ERROR, configure());
        ASSERT_EQ(ReturnCode::NO_ERROR, connect());
    }
    void receivePair() {
        idl::UTCTime utc;
        utc.header().device_id(36 << 16);
        idl::MeridanePNT pnt;
        pnt.header().device_id(96 << 16);
        server->cbUtcTime(utc);
        server->cbMxPnt(pnt);
    }

    bench::Bench bench;
    std::string file;
    std::unique_ptr<ZephonServer> server = std::make_unique<ZephonServer>();
};

TEST_F(ZephonServerTest, InitializeAndFinalizeAnswerNoAction) {
    ReturnCode::Value code = ReturnCode::IN_PROGRESS;
    server->Initialize(code);
    EXPECT_EQ(ReturnCode::NO_ACTION, code);
    code = ReturnCode::IN_PROGRESS;
    server->Finalize(code);
    EXPECT_EQ(ReturnCode::NO_ACTION, code);
}

TEST_F(ZephonServerTest, StartsAsStopped) {
    EXPECT_EQ(ReportedState::STOPPED, state());
    EXPECT_EQ(1, static_cast<int>(state()));
}

TEST_F(ZephonServerTest, RefusesToStopWhenStopped) {
    EXPECT_EQ(ReturnCode::NOT_AVAILABLE, request(RequestedState::STOP));
    EXPECT_EQ(ReportedState::STOPPED, state());
}

TEST_F(ZephonServerTest, RefusesToStartWhenRunning) {
    connectAll();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    EXPECT_EQ(ReportedState::RUNNING, state());
    EXPECT_EQ(0, static_cast<int>(state()));
    EXPECT_EQ(ReturnCode::NOT_AVAILABLE, request(RequestedState::START));
    EXPECT_EQ(ReportedState::RUNNING, state());
}

TEST_F(ZephonServerTest, RefusesARequestThatIsNone) {
    EXPECT_EQ(ReturnCode::NOT_AVAILABLE, request(static_cast<RequestedState::Value>(2)));
    connectAll();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    EXPECT_EQ(ReturnCode::NOT_AVAILABLE, request(static_cast<RequestedState::Value>(-1)));
    EXPECT_EQ(ReportedState::RUNNING, state());
}

TEST_F(ZephonServerTest, MayBeStartedAgainAfterAStop) {
    connectAll();
    for (std::size_t round = 1; round <= 2; ++round) {
        ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
        EXPECT_TRUE(bench.unit(3).waitForFrames(startedCommand, round, 10s)) << bench.report();
        ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
        EXPECT_EQ(ReportedState::STOPPED, state());
    }
}

TEST_F(ZephonServerTest, DisconnectsWithoutEverHavingBeenConnected) {
    EXPECT_EQ(ReturnCode::NO_ERROR, disconnect());
}

TEST_F(ZephonServerTest, DisconnectsTwice) {
    connectAll();
    EXPECT_EQ(ReturnCode::NO_ERROR, disconnect());
    EXPECT_EQ(ReturnCode::NO_ERROR, disconnect());
}

TEST_F(ZephonServerTest, IsSafeAfterAConnectThatFailedAtTheTopics) {
    bench.configuration().omitContainer("PositionVelocity");
    ASSERT_EQ(ReturnCode::NO_ERROR, configure());
    EXPECT_EQ(ReturnCode::INVALID_CONFIG, connect());
    EXPECT_EQ(ReturnCode::NO_ERROR, disconnect());
}

TEST_F(ZephonServerTest, LetsThroughWhatALinkRaisesAndIsSafeAfterwards) {
    bench.configuration().omitContainer("Zephon2");
    ASSERT_EQ(ReturnCode::NO_ERROR, configure());
    try {
        connect();
        ADD_FAILURE() << "nothing was raised";
    } catch (std::runtime_error const& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("Unable to open I/O connection"));
    }
    receivePair();
    EXPECT_EQ(ReturnCode::NO_ERROR, disconnect());
}

TEST_F(ZephonServerTest, LosesWhatIsSentBeforeTheLinksExist) {
    server->sendToAllEmulators(std::make_shared<OstrelPvtOutput>());
    server->sendToPntdBitPort(std::make_shared<OstrelPvtOutput>());
    connectAll();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    receivePair();
    ASSERT_TRUE(bench.unit(1).waitForFrames(solution, 1, 10s)) << bench.report();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    EXPECT_EQ(1U, bench.unit(1).frames(solution).size());
    EXPECT_TRUE(bench.unit(3).frames(solution).empty());
}

TEST_F(ZephonServerTest, SendsFirstWhatWasQueuedBeforeTheStart) {
    connectAll();
    auto early = std::make_shared<OstrelPvtOutput>();
    early->set<OstrelPvtLayout::GpsWeek>(4711);
    server->sendToAllEmulators(early);
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    receivePair();
    ASSERT_TRUE(bench.unit(1).waitForFrames(solution, 2, 10s)) << bench.report();
    EXPECT_EQ(4711, bench.unit(1).frames(solution)[0].frame.data[48]);
    EXPECT_EQ(0, bench.unit(1).frames(solution)[1].frame.data[48]);
}

TEST_F(ZephonServerTest, IgnoresRecordsUnlessItIsRunning) {
    connectAll();
    receivePair();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    // Neither side was stored: one alone makes no pair.
    idl::UTCTime utc;
    utc.header().device_id(36 << 16);
    server->cbUtcTime(utc);
    receivePair();
    ASSERT_TRUE(bench.unit(1).waitForFrames(solution, 1, 10s)) << bench.report();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    receivePair();
    EXPECT_EQ(1U, bench.unit(1).frames(solution).size());
}

TEST_F(ZephonServerTest, ReadsTheSourceFromTheThirdByteOfTheDeviceId) {
    connectAll();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    idl::UTCTime utc;
    utc.header().device_id(static_cast<std::int32_t>(0xFF24FFFFU));
    idl::MeridanePNT pnt;
    pnt.header().device_id(static_cast<std::int32_t>(0x8060FF01U));
    server->cbUtcTime(utc);
    server->cbMxPnt(pnt);
    EXPECT_TRUE(bench.unit(1).waitForFrames(solution, 1, 10s)) << bench.report();
}

TEST_F(ZephonServerTest, IsDestroyedInOrderWhileItRuns) {
    connectAll();
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    server.reset();
}

TEST_F(ZephonServerTest, TakesRecordsFromManyThreadsWhileTheLinksComeAndGo) {
    ASSERT_EQ(ReturnCode::NO_ERROR, configure());
    std::atomic<bool> done{false};
    std::vector<std::thread> listeners;
    for (int i = 0; i < 3; ++i) {
        listeners.emplace_back([&] {
            while (!done) {
                receivePair();
                server->sendToPntdBitPort(std::make_shared<OstrelPvtOutput>());
                std::this_thread::yield();
            }
        });
    }
    EXPECT_EQ(ReturnCode::NO_ERROR, connect());
    EXPECT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    EXPECT_TRUE(bench.unit(1).waitForFrames(solution, 20, 20s)) << bench.report();
    EXPECT_EQ(ReturnCode::NO_ERROR, request(RequestedState::STOP));
    EXPECT_EQ(ReturnCode::NO_ERROR, disconnect());
    done = true;
    for (auto& listener : listeners) {
        listener.join();
    }
}

}  // namespace
