#pragma once

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "gmock/gmock.h"
#include "tests/GpsSerialIo/OutputCapture.h"
#include "tests/zephon/GssipRecords.h"
#include "tests/zephon/UnitFrames.h"
#include "zephon/ZephonServer.h"

/// A server in this process, on the bench's devices. Its clock stands still, so that nothing comes
/// by time; a test for which time passes makes its own server.
class ZephonServerFixture : public testing::Test {
protected:
    using ReturnCode = FACE::RETURN_CODE_TYPE;
    using RequestedState = ZephonServer::RequestedState;
    using ReportedState = ZephonServer::ReportedState;

    ZephonServerFixture() : bench(options()) {
        setenv("ZEPHON_DEVICE_ROOT", bench.devices().path().c_str(), 1);
    }
    ~ZephonServerFixture() override { unsetenv("ZEPHON_DEVICE_ROOT"); }

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
    void startAll() {
        connectAll();
        ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    }

    /// Expects these frames on link 1 and no others, once another message has followed them.
    void expectOnLinkOne(std::vector<bench::UnitFrame> const& expected) {
        const bench::UnitFrame last{5047, 0x9000, {1}};
        server->cbGssip(makeRecord(last, trevo));
        ASSERT_TRUE(waitForFrame(bench.unit(1), last)) << bench.report();
        std::vector<FrameBytes> frames;
        for (auto const& frame : expected) {
            frames.push_back(frame.encode());
        }
        frames.push_back(last.encode());
        EXPECT_EQ(frames, framesOf(bench.unit(1))) << bench.report();
    }

    bench::Bench bench;
    std::string file;
    std::unique_ptr<ZephonServer> server =
        std::make_unique<ZephonServer>([] { return TimedProcedure::Clock::time_point(); });
};
