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
        return read(folder.path(), file);
    }

    std::vector<std::pair<std::string, Parameters>> read(const std::filesystem::path& from,
                                                         File file) {
        std::vector<std::pair<std::string, Parameters>> result;
        tinyxml2::XMLDocument document;
        const auto path = from / ExampleConfiguration::fileName(file);
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

    static std::string content(const std::filesystem::path& file) {
        std::stringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }

    TemporaryFolder folder;
    ExampleConfiguration configuration;
    std::set<std::string> tags;
};

TEST_F(ExampleConfigurationTest, TopLevelFileNamesTheOthers) {
    const Parameters server = container(File::TopLevel, "ZephonServer");
    for (const char* key : {"Connections", "IODevices", "PARAM_1", "PARAM_4"}) {
        EXPECT_EQ(std::filesystem::path(server.at(key)).parent_path(), folder.path());
        EXPECT_TRUE(std::filesystem::exists(server.at(key))) << server.at(key);
    }
}

// The names of the files aside, the defaults of the settings are the shipped values.
TEST_F(ExampleConfigurationTest, IsTheShippedConfiguration) {
    for (const File file : ExampleConfiguration::allFiles) {
        auto shipped = read(ExampleConfiguration::installedFolder(), file);
        for (auto& [name, parameters] : shipped) {
            for (const char* key : {"Connections", "IODevices", "PARAM_1", "PARAM_4"}) {
                if (name == "ZephonServer") {
                    parameters[key] = folder.path() / parameters[key];
                }
            }
        }
        EXPECT_FALSE(shipped.empty());
        EXPECT_EQ(readBack(file), shipped) << ExampleConfiguration::fileName(file);
    }
}

TEST_F(ExampleConfigurationTest, KeepsTheComments) {
    configuration.write(folder.path());
    EXPECT_NE(content(folder.path() / "connections.xml").find("<!-- DDS domain, 0 to 232"),
              std::string::npos);
}

TEST_F(ExampleConfigurationTest, LoadsTheFilesOfAnotherFolder) {
    configuration.set("Meridane", "Configuration", "Ours");
    configuration.write(folder.path());
    const TemporaryFolder other;
    const auto file = ExampleConfiguration({}, folder.path()).write(other.path());
    EXPECT_EQ(file, other.path() / "zephon-server.xml");
    const std::string text = content(file);
    EXPECT_NE(text.find("<Configuration>Ours<"), std::string::npos);
    EXPECT_NE(text.find("<PARAM_4>" + other.path().string()), std::string::npos);
}

TEST_F(ExampleConfigurationTest, RefusesAFolderWithoutTheFiles) {
    try {
        ExampleConfiguration({}, folder.path());
        FAIL() << "loaded an empty folder";
    } catch (const std::runtime_error& failure) {
        EXPECT_NE(std::string(failure.what()).find((folder.path() / "zephon-server.xml").string()),
                  std::string::npos);
    }
}

TEST_F(ExampleConfigurationTest, RefusesAFileThatIsNotXml) {
    configuration.replace(File::IoDevices, "<broken");
    configuration.write(folder.path());
    EXPECT_THROW(ExampleConfiguration({}, folder.path()), std::runtime_error);
}

TEST_F(ExampleConfigurationTest, RefusesAFileWithoutAKeyThatTheSettingsChange) {
    configuration.omit("FastRtps", "DomainId");
    configuration.write(folder.path());
    EXPECT_THROW(ExampleConfiguration({}, folder.path()), std::out_of_range);
}

TEST_F(ExampleConfigurationTest, NoTagIsAContainersName) {
    std::set<std::string> names;
    for (const File file : ExampleConfiguration::allFiles) {
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

TEST_F(ExampleConfigurationTest, TellsTheRegionsOfMemoryAsTheyStand) {
    configuration.set("TimeStamp_Interface", "BaseAddress", "4096");
    configuration.omitContainer("Ptfe_Interface1");
    const auto regions = configuration.memoryRegions();
    EXPECT_EQ(regions.size(), 8U);
    EXPECT_EQ(regions.at("Processor_Interface").base, 0x40000000U);
    EXPECT_EQ(regions.at("Processor_Interface").size, 0x100U);
    EXPECT_EQ(regions.at("TimeStamp_Interface").base, 4096U);
    configuration.omit("TimeStamp_Interface", "Size");
    EXPECT_THROW(static_cast<void>(configuration.memoryRegions()), std::out_of_range);
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
    EXPECT_EQ(content(folder.path() / "io-devices.xml"), "<broken");
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "stored-settings.xml"));
}

}  // namespace
}  // namespace bench
