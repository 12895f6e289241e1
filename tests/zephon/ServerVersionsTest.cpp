// What the computer is built of: gathered, answered and told to the unit by a server of this
// process.

#include <string>
#include <vector>

#include "ASPN/EventTypes.h"
#include "tests/zephon/CommandFixture.h"
#include "tests/zephon/TimeMarkFrames.h"

namespace {

namespace idl = aspn2_msgs::idl;
using bench::UnitFrame;

constexpr unsigned char altNavUnit = 38;

class ServerVersions : public CommandFixture {
protected:
    /// Time marks go on alone, each with the part numbers behind it.
    void startWithEngine() {
        bench.configuration().set("ZephonServer", "PARAM_2", "FALSE");
        startAll();
        for (auto const& line : engineLines) {
            receiveLine(line, trevo);
        }
    }

    void receiveLine(std::string const& text, unsigned char source,
                     int type = EventTypes::INFORMATION) {
        idl::EventLog record;
        record.header().device_id(0x03000000 | source << 16);
        record.event_log_type(static_cast<idl::event_log_type_enum>(type));
        record.eventlog(text);
        server->cbEventLog(record);
    }
    void receiveAnswer(std::string const& text, unsigned char source = altNavUnit) {
        auto record = makeCommandRecord(text, source);
        record.command_response_type(idl::COMMAND_RESPONSE_TYPE_RESPONSE);
        server->cbRsp(record);
    }

    /// Expects that the next part numbers for the unit are these.
    void expectToldToUnit(ToldNumbers const& told) {
        time_ += 1;
        server->cbGssip(makeRecord(makeMark(time_), trevo));
        EXPECT_TRUE(waitForFrame(bench.unit(1), makePartNumbers(time_, told))) << bench.report();
    }

private:
    double time_ = 0;
};

TEST_F(ServerVersions, TheAnswerOfTheAlternateNavigationUnitIsToldToTheUnit) {
    startWithEngine();
    ToldNumbers told;
    receiveAnswer("PARTNUMBERS,SW1:other", controller);
    receiveAnswer("PARTNUMBER,SW1:other");
    receiveAnswer(" PARTNUMBERS,SW1:other");
    receiveAnswer("");
    expectToldToUnit(told);
    receiveAnswer("PARTNUMBERS,SW1:S-1,BAD:7,FW1:F-2  ,HWSN1:0123456789ABCDEFGH");
    told.pntdSoftware = "S-1";
    told.pntdFirmware = "F-2";
    told.pntdSerialNumber = "0123456789ABCDEF";
    expectToldToUnit(told);
    receiveAnswer("PARTNUMBERS,SW1:" + std::string(100'000, 'X') + std::string("\0,FW1:1", 7));
    told = {};
    told.pntdSoftware = std::string(16, 'X');
    expectToldToUnit(told);
}

TEST_F(ServerVersions, AnAnswerIsNotTakenBeforeTheServerRuns) {
    bench.configuration().set("ZephonServer", "PARAM_2", "FALSE");
    connectAll();
    receiveAnswer("PARTNUMBERS,SW1:S-1");
    ASSERT_EQ(ReturnCode::NO_ERROR, request(RequestedState::START));
    for (auto const& line : engineLines) {
        receiveLine(line, trevo);
    }
    expectToldToUnit({});
}

}  // namespace
