// The shipped configuration: every file validates, and the service reads every key of the server.

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/ChildProcess.h"
#include "bench/ExampleConfiguration.h"
#include "bench/TemporaryFolder.h"
#include "face/MX_Config.h"
#include "face/MX_Config_Helpers.h"

using Code = FACE::RETURN_CODE_TYPE;

namespace {

std::filesystem::path const folder = ZEPHON_CONFIGURATION_FOLDER;

struct Verdict {
    bool valid;
    std::string text;
};

Verdict Validated(std::filesystem::path const& file) {
    bench::ChildProcess::Options options;
    options.arguments = {"--nonet", "--noout", "--schema",
                         (folder / "MX_Configurations.xsd").string(), file.string()};
    bench::ChildProcess xmllint(ZEPHON_XMLLINT, options);
    auto const exit = xmllint.wait(std::chrono::seconds(30));
    if (!exit) {
        throw std::runtime_error("xmllint does not end");
    }
    // 3 and 4 are the statuses of a file that does not fit; another one is a failure of the test.
    EXPECT_TRUE(exit->ok() || exit->status == 3) << xmllint.output();
    return {exit->ok(), xmllint.output()};
}

std::string Content(std::filesystem::path const& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// Validates the shipped file after one change.
Verdict ValidatedWith(std::string const& file, std::string const& from, std::string const& to) {
    std::string text = Content(folder / file);
    std::size_t const place = text.find(from);
    if (place == std::string::npos) {
        throw std::runtime_error(from + " is not in " + file);
    }
    bench::TemporaryFolder const copy;
    std::ofstream(copy.path() / file) << text.replace(place, from.size(), to);
    return Validated(copy.path() / file);
}

/// One shipped file, read by the service.
class Shipped {
public:
    explicit Shipped(std::string const& file) {
        config_.Initialize((folder / file).c_str(), rc_);
        EXPECT_EQ(rc_, Code::NO_ERROR) << file;
    }

    std::string read(std::string const& container, std::string const& key) {
        Code::Value rc = Code::NO_ERROR;
        int handle = -1;
        config_.Open(container.c_str(), handle, rc);
        EXPECT_EQ(rc, Code::NO_ERROR) << container;
        FACE::String text;
        MX_Config_Helpers::Get_String_Parameter(config_, handle, key.c_str(), text, rc);
        EXPECT_EQ(rc, Code::NO_ERROR) << container << " " << key;
        config_.Close(handle, rc);
        return FACE::ToStdString(text);
    }

    void expectKeys(std::string const& container, std::vector<std::string> const& keys) {
        for (std::string const& key : keys) {
            EXPECT_NE(read(container, key), "") << container << " " << key;
        }
    }

    FACE::MX_Config& config() { return config_; }

private:
    FACE::MX_Config config_;
    Code::Value rc_ = Code::TIMED_OUT;
};

std::vector<std::string> ShippedFiles() {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".xml") {
            names.push_back(entry.path().filename().string());
        }
    }
    return names;
}

}  // namespace

TEST(ConfigurationFiles, AreTheFilesThatTheServerOpens) {
    EXPECT_THAT(ShippedFiles(), testing::UnorderedElementsAre(
                                    "zephon-server.xml", "connections.xml", "io-devices.xml",
                                    "stored-settings.xml", "versions.xml"));
    Shipped server("zephon-server.xml");
    for (char const* key : {"Connections", "IODevices", "PARAM_1", "PARAM_4"}) {
        std::string const file = server.read("ZephonServer", key);
        EXPECT_TRUE(std::filesystem::path(file).is_relative()) << file;
        EXPECT_TRUE(std::filesystem::exists(folder / file)) << file;
    }
}

TEST(ConfigurationFiles, ValidateAgainstTheSchema) {
    for (std::string const& file : ShippedFiles()) {
        Verdict const verdict = Validated(folder / file);
        EXPECT_TRUE(verdict.valid) << verdict.text;
        EXPECT_THAT(Content(folder / file),
                    testing::HasSubstr("xsi:noNamespaceSchemaLocation=\"MX_Configurations.xsd\""));
    }
}

TEST(ConfigurationFiles, OfTheBenchValidateAgainstTheSchema) {
    bench::TemporaryFolder const copy;
    bench::ExampleConfiguration().write(copy.path());
    for (auto const& entry : std::filesystem::directory_iterator(copy.path())) {
        Verdict const verdict = Validated(entry.path());
        EXPECT_TRUE(verdict.valid) << verdict.text;
    }
}

TEST(ConfigurationFiles, WithAMissingKeyDoNotValidate) {
    Verdict const verdict = ValidatedWith("connections.xml", "<TcpPort>5100</TcpPort>", "");
    EXPECT_FALSE(verdict.valid);
    EXPECT_THAT(verdict.text, testing::HasSubstr("TcpPort"));
}

TEST(ConfigurationFiles, WithAMisspeltKeyDoNotValidate) {
    Verdict const verdict = ValidatedWith("io-devices.xml", "<Baudrate>115200</Baudrate>",
                                          "<BaudRate>115200</BaudRate>");
    EXPECT_FALSE(verdict.valid);
    EXPECT_THAT(verdict.text, testing::HasSubstr("BaudRate"));
}

TEST(ConfigurationFiles, WithAnEmptyValueDoNotValidate) {
    EXPECT_FALSE(ValidatedWith("zephon-server.xml", "<Connections>connections.xml</Connections>",
                               "<Connections></Connections>")
                     .valid);
}

TEST(ConfigurationFiles, WithATextForANumberDoNotValidate) {
    EXPECT_FALSE(ValidatedWith("zephon-server.xml", "<PRI>0</PRI>", "<PRI>high</PRI>").valid);
}

TEST(ConfigurationFiles, WithAWordThatTheServerDoesNotKnowDoNotValidate) {
    EXPECT_FALSE(
        ValidatedWith("connections.xml", "<UseTransport>SHM<", "<UseTransport>udp<").valid);
    EXPECT_FALSE(ValidatedWith("stored-settings.xml", "<mode>153D<", "<mode>153d<").valid);
    EXPECT_FALSE(
        ValidatedWith("stored-settings.xml", "<transBaud>19200<", "<transBaud>14400<").valid);
}

TEST(ConfigurationFiles, WithTwoContainersOfOneNameDoNotValidate) {
    Verdict const verdict =
        ValidatedWith("io-devices.xml", "<Name>Zephon2</Name>", "<Name>Zephon1</Name>");
    EXPECT_FALSE(verdict.valid);
    EXPECT_THAT(verdict.text, testing::HasSubstr("Zephon1"));
}

TEST(ConfigurationFiles, WithAContainerWithoutANameDoNotValidate) {
    EXPECT_FALSE(ValidatedWith("io-devices.xml", "<Name>Zephon2</Name>", "").valid);
}

TEST(ConfigurationFiles, HoldEveryKeyOfTheServer) {
    Shipped server("zephon-server.xml");
    server.expectKeys("Meridane", {"System", "Configuration", "CommandedBitTimeout"});
    server.expectKeys("ZephonServer", {"Connections", "IODevices", "Debug", "PRI", "CPU", "PARAM_1",
                                       "PARAM_2", "PARAM_3", "PARAM_4", "PARAM_5", "PARAM_6"});
}

TEST(ConfigurationFiles, HoldServerConfigurationsThatCanBeCounted) {
    Shipped server("zephon-server.xml");
    Code::Value rc = Code::NO_ERROR;
    int handle = -1;
    int count = 0;
    server.config().Open("Server_Configuration", handle, rc);
    for (; rc == Code::NO_ERROR; ++count) {
        server.config().Seek(handle, FACE::Configuration::WHENCE_TYPE::SEEK_CUR, 1, rc);
    }
    EXPECT_EQ(count, 3);
}

TEST(ConfigurationFiles, LeaveTheSchedulingOfTheMachineAlone) {
    Shipped server("zephon-server.xml");
    EXPECT_EQ(server.read("ZephonServer", "PRI"), "0");
    EXPECT_EQ(server.read("ZephonServer", "CPU"), "0");
}

TEST(ConfigurationFiles, HoldTheTransportAndTheNineTopics) {
    Shipped connections("connections.xml");
    connections.expectKeys(
        "FastRtps", {"DomainId", "HistoryDepth", "UseBestEffort", "BackFillHistory", "UseTransport",
                     "TcpAddress", "TcpPort"});
    for (std::string const topic :
         {"Command", "Response", "EventLog", "GPSTime", "MeridanePNT", "PositionVelocity",
          "UTCTime", "BitReport", "MaintenanceEvent"}) {
        bool const command = topic == "Command" || topic == "Response";
        std::string const type = command ? "CommandResponse" : topic;
        EXPECT_EQ(connections.read(topic, "TopicType"), "aspn2_msgs::idl::" + type);
        EXPECT_EQ(connections.read(topic, "PubSubType"), type + "PubSubType");
    }
}

TEST(ConfigurationFiles, HoldTheThreeLinksOnPortsOfTheirOwn) {
    Shipped devices("io-devices.xml");
    std::set<std::string> channels;
    for (char const* link : {"Zephon1", "Zephon2", "Zephon3"}) {
        devices.expectKeys(
            link, {"SerialMode", "Baudrate", "DataBits", "StopBits", "Parity", "FlowControl"});
        channels.insert(devices.read(link, "ChannelNum"));
    }
    EXPECT_EQ(channels.size(), 3U);
}

TEST(ConfigurationFiles, HoldTheFiveQueuesOnDevicesOfTheirOwn) {
    Shipped devices("io-devices.xml");
    std::set<std::string> ports;
    for (char const* queue : {"TREVO_MX", "HALVOR_MX", "DT_OUT", "PNTD_MX", "DT_IN"}) {
        ports.insert(devices.read(queue, "Port"));
    }
    EXPECT_EQ(ports.size(), 5U);
}

TEST(ConfigurationFiles, HoldTheRegisterRegions) {
    Shipped devices("io-devices.xml");
    std::set<std::string> addresses;
    std::vector<std::string> const regions = {
        "Processor_Interface", "Peripheral_Interface", "TimeStamp_Interface",
        "PpsSlave_Interface",  "PtpClock_Interface",   "Ptfe_Interface0",
        "Ptfe_Interface1",     "PulseGen_Interface0",  "PulseGen_Interface1"};
    for (std::string const& region : regions) {
        devices.expectKeys(region, {"Size"});
        addresses.insert(devices.read(region, "BaseAddress"));
    }
    EXPECT_EQ(addresses.size(), regions.size());
}

TEST(ConfigurationFiles, HoldTheTwelvePorts) {
    Shipped stored("stored-settings.xml");
    for (std::string const unit : {"1", "2", "3", "4"}) {
        for (std::string const port : {"COM1", "COM2", "COM3"}) {
            std::string const key = "ZP" + unit + port;
            EXPECT_EQ(stored.read(key, "zephonNumber"), unit);
            EXPECT_EQ(stored.read(key, "comPort"), port);
            stored.expectKeys(key, {"transBaud", "transParity", "ppsOut", "recBaud", "recParity",
                                    "COM2_Redundant", "solutionSource", "mode", "messageConnects",
                                    "receiverCapabilities"});
        }
    }
}

TEST(ConfigurationFiles, HoldTheHotStartsAndTheSuperUser) {
    Shipped stored("stored-settings.xml");
    stored.expectKeys("ZP_Hot_Start", {"zephonNumber", "comPort", "HSType"});
    stored.expectKeys("Hot_Start", {"zephonNumber", "comPort", "HSType"});
    stored.expectKeys("ZP_Super_User", {"zephonNumber", "comPort"});
}

TEST(ConfigurationFiles, HoldTheVersionsOfTheInstalledSoftware) {
    Shipped versions("versions.xml");
    versions.expectKeys("BSP", {"pn", "sysinfo_release", "sysinfo_version"});
    versions.expectKeys("VHDL", {"pn", "timestamp"});
    versions.expectKeys("APPS", {"pn", "build", "timestamp"});
}

TEST(ConfigurationFiles, StillValidateWhenTheServerHasWrittenThem) {
    bench::TemporaryFolder const copy;
    std::filesystem::path const file = copy.path() / "stored-settings.xml";
    std::filesystem::copy_file(folder / "stored-settings.xml", file);
    FACE::MX_Config config;
    Code::Value rc = Code::NO_ERROR;
    int handle = -1;
    config.Initialize(file.c_str(), rc);
    config.Open("ZP4COM3", handle, rc);
    MX_Config_Helpers::Set_Signed_Parameter(config, handle, "transBaud", 921600, rc);
    MX_Config_Helpers::Set_String_Parameter(config, handle, "ppsOut", "10 PPS UTC", rc);
    EXPECT_EQ(rc, Code::NO_ERROR);
    EXPECT_THAT(Content(file), testing::HasSubstr("921600"));
    Verdict const verdict = Validated(file);
    EXPECT_TRUE(verdict.valid) << verdict.text;
}
