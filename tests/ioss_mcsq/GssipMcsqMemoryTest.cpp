// What becomes of a report for which there is no memory.

#include <optional>

#include "aspn2_msgs/GSSIP.h"
#include "ioss_mcsq/GssipMcsq.h"
#include "tests/GpsSerialIo/OutputCapture.h"
#include "tests/face/FailingAllocation.h"
#include "tests/ioss_mcsq/McsqFixture.h"

namespace {

using aspn2_msgs::idl::GSSIP;

class GssipMcsqMemoryTest : public McsqFixture {};

TEST_F(GssipMcsqMemoryTest, TellsWhatACallbackRaisesAndLetsNothingOut) {
    GssipMcsq mcsq("Tester");
    std::optional<FailingAllocation> noMemory;
    long long handle = -1;
    Code::Value rc = Code::IN_PROGRESS;
    mcsq.Connect_IOWrite(
        configFile().c_str(), "Queue0", handle,
        [&noMemory](GSSIP const& record) {
            if (record.header().seq_num() == 1) {
                noMemory.emplace();
                throw 42;
            }
        },
        rc);
    ASSERT_EQ(rc, Code::NO_ERROR);
    GSSIP record;
    mcsq.Write(handle, record, rc);  // into the pipe, of which the notification reads it again
    record.header().seq_num(1);
    EXPECT_THROW(mcsq.Write(handle, record, rc), int);
    noMemory.reset();
    OutputCapture output;
    EXPECT_NO_THROW(mcsq.Process_Notification_Event(
        handle, FACE::IOSS::MCSQ::NOTIFICATION_EVENT_TYPE::DATA_READY));
    noMemory.reset();
    EXPECT_EQ(output.text(),
              "Tester: Process_Notification_Event(): A memory exception occurred unknown "
              "exception\n");
}

}  // namespace
