// What the computer is built of, with the real server among its siblings: asked, told and answered.

#include <string>
#include <vector>

#include "bench/Patience.h"
#include "tests/system/CommandReader.h"
#include "tests/system/EventReader.h"
#include "tests/system/QueueFixture.h"
#include "tests/system/ResponseReader.h"
#include "tests/zephon/IdFrames.h"
#include "tests/zephon/TimeMarkFrames.h"
#include "tests/zephon/UnitFrames.h"

namespace {

constexpr unsigned char altNavUnit = 38;
constexpr unsigned char trevo = 39;
constexpr unsigned char controller = 53;

class Version : public QueueFixture {
protected:
    Version() {
        bench.configuration().set("ZephonServer", "PARAM_2", "FALSE");  // marks go on alone
        bench.configuration().set("APPS", "build", "R1.2");             // not that of the program
    }

    void command(ResponseReader& commander, std::string const& text) {
        bench::CommandRecord record;
        record.header.source = controller;
        record.text = text;
        ASSERT_TRUE(commander.peer().publish(record)) << commander.peer().lastFailure();
    }
    static void publishLine(EventReader& events, std::string const& text, unsigned char source) {
        bench::EventRecord record;
        record.header.source = source;
        record.text = text;
        ASSERT_TRUE(events.peer().publish(record)) << events.peer().lastFailure();
    }

    /// Whether a time mark is followed by these part numbers in time; one mark after the other,
    /// until what was published before has arrived.
    bool isToldToUnit(ToldNumbers const& told) {
        return bench::holdsInTime([&] {
            time_ += 1;
            write("TREVO_MX", makeMark(time_), trevo);
            const auto expected = makePartNumbers(time_, told).encode();
            const auto ofThisMark = [this](bench::LoggedFrame const& logged) {
                return logged.frame.id == 15053 &&
                       std::equal(logged.frame.data.begin(), logged.frame.data.begin() + 4,
                                  makePartNumbers(time_).data.begin());
            };
            return bench.unit(1).waitForFrames(1, Seconds(1), ofThisMark) &&
                   bench.unit(1).waitForFrames(
                       1, std::chrono::milliseconds(0),
                       [&](bench::LoggedFrame const& logged) { return logged.bytes == expected; });
        });
    }

private:
    double time_ = 0;
};

TEST_F(Version, PartNumbersAreGatheredAnsweredAndToldToTheUnit) {
    start();
    ResponseReader commander(bench);
    const CommandReader commands(bench, CommandReader::PartNumberRequests::Heard);
    EventReader events(bench);
    ASSERT_TRUE(commander.peer().waitForReaders(1, patience)) << commander.peer().lastFailure();
    ASSERT_TRUE(events.peer().waitForReaders(1, patience)) << events.peer().lastFailure();

    // The PNT device: asked at the start, asked again, and only then it tells.
    ASSERT_TRUE(waitForFrame(bench.unit(3), makeIdRequest())) << bench.report();
    command(commander, "REQUEST_PARTNUMBERS");
    command(commander, "BITSERVER_PING");
    ASSERT_TRUE(commander.waitFor("ZephonServer")) << commander.report();
    EXPECT_EQ(0U, commander.count("PARTNUMBERS")) << commander.report();
    bench.unit(3).send(makeIds({"HW-1", "SN-1", "SW-1", "FW-1", "OS-1"}));
    EXPECT_TRUE(bench::holdsInTime([&] {
        command(commander, "REQUEST_PARTNUMBERS");
        return commander
            .waitFor("PARTNUMBERS,SW1:SW-1,FW1:FW-1,HWPN1:HW-1,HWSN1:SN-1,OS1:OS-1", Seconds(1))
            .has_value();
    })) << commander.report();

    // The alternate navigation unit: asked by the server itself.
    const auto asked = commands.waitFor("REQUEST_PARTNUMBERS");
    ASSERT_TRUE(asked) << commands.report();
    for (auto const& line : engineLines) {
        publishLine(events, line, trevo);
    }
    ToldNumbers told;
    told.application = "074-8125-600-D";  // EV does not fit
    EXPECT_TRUE(isToldToUnit(told)) << bench.report();
    bench::ResponseRecord answer;
    answer.header.source = altNavUnit;
    answer.text = "PARTNUMBERS,SW1:S-7,FW1:F-8,HWSN1:N-9";
    ASSERT_TRUE(commander.peer().publish(answer)) << commander.peer().lastFailure();
    told.pntdSoftware = "S-7";
    told.pntdFirmware = "F-8";
    told.pntdSerialNumber = "N-9";
    EXPECT_TRUE(isToldToUnit(told)) << bench.report();

    // The other servers: one of them is of another build.
    publishLine(events, "//aspn://CORVANE/SystemController:2024-09-18T13:48:46Z/", controller);
    publishLine(events, "//aspn://CORVANE/HalvorServer:2024-09-18T13:48:46Z/", 47);
    publishLine(events, "//aspn://CORVANE/HmiServer:2024-09-17T00:00:00Z/", 48);
    told.systemBuild = "DEVELOPMENT";
    EXPECT_TRUE(isToldToUnit(told)) << bench.report();
    stop();
}

}  // namespace
