#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>
#include <tinyxml2.h>

#include "bench/ExampleConfiguration.h"
#include "bench/TemporaryFolder.h"

namespace bench {
namespace {

using File = ExampleConfiguration::File;
using Parameters = std::map<std::string, std::string>;

class ExampleConfigurationTest : public testing::Test {
protected:
    /// Writes the configuration and reads one file back: containers by name, in file order.
    std::vector<std::pair<std::string, Parameters>> readBack(File file) {
        configuration.write(folder.path());
        std::vector<std::pair<std::string, Parameters>> result;
        tinyxml2::XMLDocument document;
        const auto path = folder.path() / ExampleConfiguration::fileName(file);
        EXPECT_EQ(document.LoadFile(path.c_str()), tinyxml2::XML_SUCCESS) << path;
        const auto* root = document.FirstChildElement("MX_Configurations");
        EXPECT_NE(root, nullptr);
        for (const auto* container = root->FirstChildElement(); container != nullptr;
             container = container->NextSiblingElement()) {
            Parameters parameters;
            for (const auto* parameter =
                     container->FirstChildElement("Parameters")->FirstChildElement();
                 parameter != nullptr; parameter = parameter->NextSiblingElement()) {
                parameters[parameter->Name()] =
                    parameter->GetText() != nullptr ? parameter->GetText() : "";
            }
            result.emplace_back(container->FirstChildElement("Name")->GetText(), parameters);
            tags.insert(container->Name());
        }
        return result;
    }

    Parameters container(File file, const std::string& name) {
        for (const auto& [found, parameters] : readBack(file)) {
            if (found == name) {
                return parameters;
            }
        }
        return {};
    }

    TemporaryFolder folder;
    ExampleConfiguration configuration;
    std::set<std::string> tags;
};

TEST_F(ExampleConfigurationTest, TopLevelFileNamesTheOthers) {
    const Parameters server = container(File::TopLevel, "ZephonServer");
    EXPECT_EQ(server.size(), 11U);
    for (const char* key : {"Connections", "IODevices", "PARAM_4"}) {
        EXPECT_TRUE(std::filesystem::exists(server.at(key))) << server.at(key);
    }
    EXPECT_EQ(container(File::TopLevel, "Meridane").size(), 3U);
    EXPECT_EQ(readBack(File::TopLevel).size(), 4U);
    EXPECT_EQ(tags.count("Server_Configuration"), 1U);
}

TEST_F(ExampleConfigurationTest, NamesAllTopicsAndLinksAndPorts) {
    EXPECT_EQ(readBack(File::Connections).size(), 10U);
    EXPECT_EQ(container(File::Connections, "Response").at("PubSubType"),
              "CommandResponsePubSubType");
    EXPECT_EQ(container(File::Connections, "UTCTime").at("TopicType"), "aspn2_msgs::idl::UTCTime");
    EXPECT_EQ(container(File::Connections, "FastRtps").size(), 7U);
    EXPECT_EQ(readBack(File::IoDevices).size(), 3U);
    EXPECT_EQ(container(File::IoDevices, "Zephon2").at("ChannelNum"), "2");
    EXPECT_EQ(readBack(File::StoredSettings).size(), 15U);
    EXPECT_EQ(container(File::StoredSettings, "ZP4COM3").size(), 12U);
}

TEST_F(ExampleConfigurationTest, NoTagIsAContainersName) {
    std::set<std::string> names;
    for (const File file :
         {File::TopLevel, File::Connections, File::IoDevices, File::StoredSettings}) {
        for (const auto& [name, parameters] : readBack(file)) {
            EXPECT_TRUE(names.insert(name).second) << name;
        }
    }
    for (const std::string& tag : tags) {
        EXPECT_EQ(names.count(tag), 0U) << tag;
    }
}

TEST_F(ExampleConfigurationTest, TakesTheSettings) {
    ExampleConfiguration::Settings settings;
    settings.domain = 42;
    settings.transport = "TCP_Server";
    settings.address = "10.1.2.3";
    settings.port = 20420;
    settings.historyDepth = 7;
    settings.bestEffort = true;
    settings.backFill = true;
    settings.debug = true;
    settings.priority = 50;
    settings.processor = 1;
    settings.baud = 9600;
    settings.parity = 2;
    settings.channels = {4, 5, 6};
    settings.serverConfigurations = 1;
    configuration = ExampleConfiguration(settings);
    EXPECT_EQ(container(File::Connections, "FastRtps"), (Parameters{{"DomainId", "42"},
                                                                    {"HistoryDepth", "7"},
                                                                    {"UseBestEffort", "TRUE"},
                                                                    {"BackFillHistory", "TRUE"},
                                                                    {"UseTransport", "TCP_Server"},
                                                                    {"TcpAddress", "10.1.2.3"},
                                                                    {"TcpPort", "20420"}}));
    const Parameters server = container(File::TopLevel, "ZephonServer");
    EXPECT_EQ(server.at("Debug"), "TRUE");
    EXPECT_EQ(server.at("PRI"), "50");
    EXPECT_EQ(server.at("CPU"), "1");
    const Parameters port = container(File::IoDevices, "Zephon3");
    EXPECT_EQ(port.at("ChannelNum"), "6");
    EXPECT_EQ(port.at("Baudrate"), "9600");
    EXPECT_EQ(port.at("Parity"), "2");
    EXPECT_EQ(readBack(File::TopLevel).size(), 3U);
}

TEST_F(ExampleConfigurationTest, ChangesAndOmitsSingleEntries) {
    configuration.set("FastRtps", "UseTransport", "a<b&c");
    configuration.omit("FastRtps", "TcpPort");
    configuration.omitContainer("UTCTime");
    configuration.omitContainer("Server_Configuration");
    const Parameters transport = container(File::Connections, "FastRtps");
    EXPECT_EQ(transport.at("UseTransport"), "a<b&c");
    EXPECT_EQ(transport.count("TcpPort"), 0U);
    EXPECT_TRUE(container(File::Connections, "UTCTime").empty());
    EXPECT_EQ(readBack(File::TopLevel).size(), 2U);
}

TEST_F(ExampleConfigurationTest, RefusesToBreakWhatIsNotThere) {
    EXPECT_THROW(configuration.set("FastRtps", "Tcpport", ""), std::out_of_range);
    EXPECT_THROW(configuration.omit("Fastrtps", "TcpPort"), std::out_of_range);
    EXPECT_THROW(configuration.omitContainer("Utc"), std::out_of_range);
}

TEST_F(ExampleConfigurationTest, ReplacesAndOmitsWholeFiles) {
    configuration.replace(File::IoDevices, "<broken");
    configuration.omit(File::StoredSettings);
    configuration.write(folder.path());
    std::stringstream text;
    text << std::ifstream(folder.path() / "io-devices.xml").rdbuf();
    EXPECT_EQ(text.str(), "<broken");
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "stored-settings.xml"));
}

}  // namespace
}  // namespace bench
