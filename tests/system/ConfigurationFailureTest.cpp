// What the process says, and how it ends, when its configuration does not hold.

#include <csignal>
#include <linux/capability.h>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>

#include "bench/Bench.h"
#include "gmock/gmock.h"

namespace {

using namespace std::chrono_literals;
using bench::Bench;
using bench::ExampleConfiguration;
using testing::HasSubstr;
using testing::Not;

/// What a process that aborts has of shared memory stays behind, so it gets none.
Bench::Options withoutSharedMemory() {
    Bench::Options options;
    options.settings.transport = "UDP";
    return options;
}

/// Starts a server that must fail, and answers what it wrote. An unhandled exception ends it.
class ConfigurationFailure : public testing::Test {
protected:
    void expectEnd(std::string const& step) {
        bench.start();
        const auto exit = bench.server().wait(30s);
        ASSERT_TRUE(exit) << bench.report();
        EXPECT_EQ(SIGABRT, exit->signal) << exit->text() << bench.report();
        output = bench.server().standardOutput();
        errors = bench.server().standardError();
        EXPECT_THAT(output, HasSubstr("ZephonServerMain.cpp["));
        EXPECT_THAT(output, HasSubstr("]:INVALID_CONFIG " + step + " failed\n"));
        EXPECT_THAT(output, Not(HasSubstr("has exited")));
        EXPECT_THAT(output, Not(HasSubstr("started successfully")));
    }

    Bench bench{withoutSharedMemory()};
    std::string output;
    std::string errors;
};

TEST_F(ConfigurationFailure, MissingTopLevelFile) {
    bench.configuration().omit(ExampleConfiguration::File::TopLevel);
    expectEnd("Configure()");
}

TEST_F(ConfigurationFailure, MalformedTopLevelFile) {
    bench.configuration().replace(ExampleConfiguration::File::TopLevel,
                                  "<MX_Configurations><Server>");
    expectEnd("Configure()");
}

TEST_F(ConfigurationFailure, EmptyTopLevelFile) {
    bench.configuration().replace(ExampleConfiguration::File::TopLevel, "");
    expectEnd("Configure()");
}

TEST_F(ConfigurationFailure, TopLevelFileWithAnotherRoot) {
    bench.configuration().replace(ExampleConfiguration::File::TopLevel, "<Configurations/>");
    expectEnd("Configure()");
    EXPECT_THAT(output, HasSubstr("Configuration XML - "));
    EXPECT_THAT(output, HasSubstr(" Error: Unable to locate the MX_Configurations object\n"));
}

struct Place {
    char const* container;
    char const* key;
};

void PrintTo(Place const& place, std::ostream* out) {
    *out << place.container << " " << place.key;
}

class MissingKey : public ConfigurationFailure, public testing::WithParamInterface<Place> {};

TEST_P(MissingKey, EndsConfigureAndNamesTheKey) {
    bench.configuration().omit(GetParam().container, GetParam().key);
    expectEnd("Configure()");
    EXPECT_THAT(output,
                HasSubstr("WARNING - Parameter " + std::string(GetParam().key) + " not found\n"));
}

INSTANTIATE_TEST_SUITE_P(
    ConfigurationFailure, MissingKey,
    testing::Values(Place{"Meridane", "System"}, Place{"Meridane", "Configuration"},
                    Place{"Meridane", "CommandedBitTimeout"}, Place{"ZephonServer", "Connections"},
                    Place{"ZephonServer", "IODevices"}, Place{"ZephonServer", "Debug"},
                    Place{"ZephonServer", "PRI"}, Place{"ZephonServer", "CPU"},
                    Place{"ZephonServer", "PARAM_1"}, Place{"ZephonServer", "PARAM_2"},
                    Place{"ZephonServer", "PARAM_3"}, Place{"ZephonServer", "PARAM_4"},
                    Place{"ZephonServer", "PARAM_5"}, Place{"ZephonServer", "PARAM_6"}),
    [](auto const& parameter) { return std::string(parameter.param.key); });

TEST_F(ConfigurationFailure, EmptyKeyCountsAsMissing) {
    bench.configuration().set("ZephonServer", "PARAM_1", "");
    expectEnd("Configure()");
    EXPECT_THAT(output, HasSubstr("WARNING - Parameter PARAM_1 not found\n"));
}

TEST_F(ConfigurationFailure, NamesEveryMissingKeyInOneRun) {
    bench.configuration().omit("Meridane", "System");
    bench.configuration().omit("ZephonServer", "PRI");
    bench.configuration().omit("ZephonServer", "PARAM_6");
    expectEnd("Configure()");
    for (char const* key : {"System", "PRI", "PARAM_6"}) {
        EXPECT_THAT(output, HasSubstr("WARNING - Parameter " + std::string(key) + " not found\n"));
    }
}

TEST_F(ConfigurationFailure, LeavesPriorityAndProcessorAloneWhenAKeyIsMissing) {
    bench.configuration().set("ZephonServer", "PRI", "10");
    bench.configuration().set("ZephonServer", "CPU", "1");
    bench.configuration().omit("ZephonServer", "PARAM_6");
    expectEnd("Configure()");
    EXPECT_THAT(output, Not(HasSubstr("realtime process priority")));
    EXPECT_THAT(output, Not(HasSubstr("Affinity")));
}

class MissingContainer : public ConfigurationFailure,
                         public testing::WithParamInterface<char const*> {};

TEST_P(MissingContainer, EndsConfigure) {
    bench.configuration().omitContainer(GetParam());
    expectEnd("Configure()");
}

INSTANTIATE_TEST_SUITE_P(ConfigurationFailure, MissingContainer,
                         testing::Values("Meridane", "ZephonServer", "Server_Configuration"),
                         [](auto const& parameter) { return std::string(parameter.param); });

TEST_F(ConfigurationFailure, MissingConnectionsFile) {
    bench.configuration().omit(ExampleConfiguration::File::Connections);
    expectEnd("Framework_Connect()");
    EXPECT_THAT(output, HasSubstr("CFR:4 Configuration "));
    EXPECT_THAT(output, HasSubstr(" was not available\n"));
}

TEST_F(ConfigurationFailure, ConnectionsFileWithoutATransport) {
    bench.configuration().omitContainer("FastRtps");
    expectEnd("Framework_Connect()");
    EXPECT_THAT(output, HasSubstr("CFR:4 Domain FastRtps was not available\n"));
}

TEST_F(ConfigurationFailure, TransportWithoutATcpPortAlsoForSharedMemory) {
    bench.configuration().set("FastRtps", "UseTransport", "SHM");
    bench.configuration().omit("FastRtps", "TcpPort");
    expectEnd("Framework_Connect()");
    EXPECT_THAT(output, HasSubstr("WARNING - Parameter TcpPort not found\n"));
}

TEST_F(ConfigurationFailure, UnknownTransport) {
    bench.configuration().set("FastRtps", "UseTransport", "udp");
    expectEnd("Framework_Connect()");
    EXPECT_THAT(errors, HasSubstr("Error creating participant ZephonServer\n"));
}

TEST_F(ConfigurationFailure, MissingTopic) {
    bench.configuration().omitContainer("MaintenanceEvent");
    expectEnd("Framework_Connect()");
}

TEST_F(ConfigurationFailure, TopicWithoutARecordType) {
    bench.configuration().omit("UTCTime", "PubSubType");
    expectEnd("Framework_Connect()");
    EXPECT_THAT(output, HasSubstr("WARNING - Parameter PubSubType not found\n"));
}

TEST_F(ConfigurationFailure, TopicWithAnUnknownRecordType) {
    bench.configuration().set("UTCTime", "PubSubType", "utcTimePubSubType");
    expectEnd("Framework_Connect()");
    EXPECT_THAT(errors, HasSubstr("!!!!! Could NOT register topic "));
    EXPECT_THAT(errors, HasSubstr(" with participant ZephonServer\n"));
}

TEST_F(ConfigurationFailure, TopicWithTheRecordTypeOfAnotherTopic) {
    bench.configuration().set("UTCTime", "TopicType", "aspn2_msgs::idl::GPSTime");
    bench.configuration().set("UTCTime", "PubSubType", "GPSTimePubSubType");
    expectEnd("Framework_Connect()");
}

TEST_F(ConfigurationFailure, HistoryDepthThatIsNoDepth) {
    bench.configuration().set("FastRtps", "HistoryDepth", "-5");
    expectEnd("Framework_Connect()");
    EXPECT_THAT(errors, HasSubstr("Participant ZephonServer "));
}

TEST_F(ConfigurationFailure, MissingDevicesFile) {
    bench.configuration().omit(ExampleConfiguration::File::IoDevices);
    expectEnd("Framework_Connect()");
}

/// What a link raises ends the process by itself.
class LinkFailure : public testing::Test {
protected:
    void expectEnd(std::string const& code) {
        bench.start();
        const auto exit = bench.server().wait(30s);
        ASSERT_TRUE(exit) << bench.report();
        EXPECT_EQ(SIGABRT, exit->signal) << exit->text();
        EXPECT_THAT(bench.server().standardOutput(),
                    HasSubstr(code + " Unable to open I/O connection\n"));
    }

    Bench bench{withoutSharedMemory()};
};

TEST_F(LinkFailure, DevicesFileWithoutALink) {
    bench.configuration().omitContainer("Zephon2");
    expectEnd("INVALID_CONFIG");
}

TEST_F(LinkFailure, LinkWithoutABaudRate) {
    bench.configuration().omit("Zephon3", "Baudrate");
    expectEnd("INVALID_CONFIG");
    EXPECT_THAT(bench.server().standardOutput(),
                HasSubstr("WARNING - Parameter Baudrate not found\n"));
}

TEST_F(LinkFailure, PortThatDoesNotOpen) {
    bench.configuration().set("Zephon1", "ChannelNum", "77");
    expectEnd("NO_ACTION");
}

/// Oddities that are told but end nothing.
class ConfigurationLeniency : public testing::Test {
protected:
    void run() {
        bench.start();
        ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
        const auto exit = bench.stop();
        ASSERT_TRUE(exit && exit->ok()) << bench.report();
        output = bench.server().standardOutput();
    }

    Bench bench;
    std::string output;
};

TEST_F(ConfigurationLeniency, ARateThatNoTerminalHasOpensThePortAllTheSame) {
    bench.configuration().set("Zephon1", "Baudrate", "12345");
    run();
    EXPECT_THAT(output, HasSubstr(": Invalid baud rate parameter 12345\n"));
    EXPECT_THAT(output, HasSubstr("Serial Params: 1, 12345, 0\n"));
}

TEST_F(ConfigurationLeniency, TextThatIsNoNumberReadsAsZero) {
    bench.configuration().set("ZephonServer", "PARAM_5", "soon");
    bench.configuration().set("ZephonServer", "PRI", "none");
    run();
    EXPECT_THAT(output, Not(HasSubstr("realtime process priority")));
}

TEST_F(ConfigurationLeniency, WithoutPriorityAndProcessorItIsScheduledAsItWasAndNothingIsSaid) {
    bench.start();
    ASSERT_TRUE(bench.waitUntilRunning()) << bench.report();
    const pid_t server = bench.server().pid();
    EXPECT_EQ(sched_getscheduler(0), sched_getscheduler(server));
    cpu_set_t own;
    cpu_set_t servers;
    ASSERT_EQ(0, sched_getaffinity(0, sizeof own, &own));
    ASSERT_EQ(0, sched_getaffinity(server, sizeof servers, &servers));
    EXPECT_TRUE(CPU_EQUAL(&own, &servers));
    output = bench.server().standardOutput();
    EXPECT_THAT(output, Not(HasSubstr("realtime process priority")));
    EXPECT_THAT(output, Not(HasSubstr("server configurations counted")));
    EXPECT_THAT(output, Not(HasSubstr("cpu affinity")));
    EXPECT_THAT(output, Not(HasSubstr("Affinity")));
}

TEST_F(ConfigurationLeniency, WithDebugItTellsTheServerConfigurations) {
    bench.configuration().set("ZephonServer", "Debug", "true");
    run();
    EXPECT_THAT(output, HasSubstr("3 server configurations counted\n"));
}

TEST_F(ConfigurationLeniency, BindsToTheProcessorAndWithoutDebugTellsOnlyWhatTheSystemHas) {
    bench.configuration().set("ZephonServer", "CPU", "1");
    run();
    EXPECT_THAT(output, HasSubstr("Has CPU Affinity for CPU0\n"));
    EXPECT_THAT(output, Not(HasSubstr("cpu affinity to")));
}

TEST_F(ConfigurationLeniency, WithDebugItTellsTheProcessorWholeThoughItsLowByteCounts) {
    bench.configuration().set("ZephonServer", "CPU", "0x101");  // 256 + 1
    bench.configuration().set("ZephonServer", "Debug", "1");
    run();
    EXPECT_THAT(output, HasSubstr("Has CPU Affinity for CPU0\n"));
    EXPECT_THAT(output, HasSubstr("Successfully set ZephonServer cpu affinity to 257\n"));
}

TEST_F(ConfigurationFailure, ProcessorThatTheMachineDoesNotHave) {
    bench.configuration().set("ZephonServer", "CPU", "255");
    bench.configuration().set("ZephonServer", "Debug", "true");
    expectEnd("Configure()");
    EXPECT_THAT(output, HasSubstr("FAILED to set ZephonServer cpu affinity to 255\n"));
}

/// Takes from this process, and so from the server, what grants a real-time priority.
void giveUpPriorities() {
    ::prctl(PR_CAPBSET_DROP, CAP_SYS_NICE);  // who may not drop it has not got it
    const rlimit none{0, 0};
    ASSERT_EQ(0, ::setrlimit(RLIMIT_RTPRIO, &none));
}

TEST_F(ConfigurationFailure, PriorityThatIsNotGranted) {
    giveUpPriorities();
    bench.configuration().set("ZephonServer", "PRI", "10");
    expectEnd("Configure()");
    EXPECT_THAT("\n" + output, HasSubstr("\nZephonServer realtime process priority to 10\n"));
}

TEST_F(ConfigurationFailure, PriorityThatIsNotGrantedIsToldAsAFailureWithDebug) {
    giveUpPriorities();
    bench.configuration().set("ZephonServer", "PRI", "266");
    bench.configuration().set("ZephonServer", "Debug", "true");
    bench.configuration().set("ZephonServer", "CPU", "1");
    expectEnd("Configure()");
    EXPECT_THAT(output, HasSubstr("FAILED to set ZephonServer realtime process priority to 266\n"));
    EXPECT_THAT(output, HasSubstr("Successfully set ZephonServer cpu affinity to 1\n"));
}

/// Whether a real-time priority is granted depends on the machine; what is said does not.
class Priority : public testing::Test {
protected:
    bool startGranted() {
        bench.start();
        const bool running = bench.waitUntilRunning();
        if (!running) {
            const auto exit = bench.server().wait(10s);
            EXPECT_TRUE(exit && exit->signal == SIGABRT) << bench.report();
            EXPECT_THAT(bench.server().standardOutput(),
                        HasSubstr("]:INVALID_CONFIG Configure() failed\n"));
        }
        output = "\n" + bench.server().standardOutput();
        return running;
    }

    Bench bench;
    std::string output;
};

TEST_F(Priority, IsToldWithoutAPrefixWhenDebugIsOff) {
    bench.configuration().set("ZephonServer", "PRI", "10");
    startGranted();
    EXPECT_THAT(output, HasSubstr("\nZephonServer realtime process priority to 10\n"));
}

TEST_F(Priority, IsToldWithItsSuccessWhenDebugIsOn) {
    bench.configuration().set("ZephonServer", "PRI", "10");
    bench.configuration().set("ZephonServer", "Debug", "true");
    const std::string prefix = startGranted() ? "Successfully set " : "FAILED to set ";
    EXPECT_THAT(output,
                HasSubstr("\n" + prefix + "ZephonServer realtime process priority to 10\n"));
}

TEST_F(Priority, DoesNotDecideAboutTheProcessor) {
    bench.configuration().set("ZephonServer", "PRI", "10");
    bench.configuration().set("ZephonServer", "CPU", "1");
    startGranted();
    EXPECT_THAT(output, HasSubstr("Has CPU Affinity for CPU0\n"));
}

TEST_F(Priority, IsCutToItsLowByteButToldWhole) {
    bench.configuration().set("ZephonServer", "PRI", "266");  // 256 + 10
    if (startGranted()) {
        sched_param parameters{};
        ASSERT_EQ(0, sched_getparam(bench.server().pid(), &parameters));
        EXPECT_EQ(10, parameters.sched_priority);
    }
    EXPECT_THAT(output, HasSubstr("\nZephonServer realtime process priority to 266\n"));
}

}  // namespace
