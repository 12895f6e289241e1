#include <stdexcept>

#include <gtest/gtest.h>

#include "bench/ExampleConfiguration.h"
#include "bench/TemporaryFolder.h"
#include "face/MX_Config_Helpers.h"
#include "tools/SiblingConfiguration.h"

namespace {

using namespace zephonctl;
using ReturnCode = FACE::RETURN_CODE_TYPE;

std::string valueOf(FACE::Configuration& config, char const* container, char const* key) {
    int handle = 0;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Open(container, handle, code);
    FACE::String value;
    MX_Config_Helpers::Get_String_Parameter(config, handle, key, value, code);
    EXPECT_EQ(ReturnCode::NO_ERROR, code) << key;
    config.Close(handle, code);
    return FACE::ToStdString(value);
}

class Sibling : public testing::Test {
protected:
    std::filesystem::path write(std::string const& transport) {
        bench::ExampleConfiguration::Settings settings;
        settings.transport = transport;
        return bench::ExampleConfiguration(settings).write(folder.path());
    }
    SiblingConfiguration& load(std::string const& transport) {
        write(transport);
        ReturnCode::Value code = ReturnCode::INVALID_CONFIG;
        config.Initialize((folder.path() / "connections.xml").c_str(), code);
        EXPECT_EQ(ReturnCode::NO_ERROR, code);
        return config;
    }

    bench::TemporaryFolder folder;
    SiblingConfiguration config;
};

TEST_F(Sibling, TakesTheOtherSideOfTcp) {
    EXPECT_EQ("TCP_Client", valueOf(load("TCP_Server"), "FastRtps", "UseTransport"));
}

TEST_F(Sibling, ServesAServerThatIsATcpClient) {
    EXPECT_EQ("TCP_Server", valueOf(load("TCP_Client"), "FastRtps", "UseTransport"));
}

TEST_F(Sibling, SharesTheOtherTransports) {
    EXPECT_EQ("SHM", valueOf(load("SHM"), "FastRtps", "UseTransport"));
}

TEST_F(Sibling, AsksForWhatWasPublishedBefore) {
    EXPECT_EQ("TRUE", valueOf(load("UDP"), "FastRtps", "BackFillHistory"));
    EXPECT_EQ("UDP", valueOf(config, "FastRtps", "UseTransport"));
    EXPECT_EQ("20", valueOf(config, "FastRtps", "HistoryDepth"));
}

TEST_F(Sibling, CutsAReplacedValueAtTheReadersBuffer) {
    load("TCP_Server");
    int handle = 0;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Open("FastRtps", handle, code);
    std::string buffer(4, '\xEE');
    int bytes = 0;
    config.Read(handle, "UseTransport", buffer.data(), 3, bytes, code);
    EXPECT_EQ(ReturnCode::NO_ERROR, code);
    EXPECT_EQ(3, bytes);
    EXPECT_EQ("TCP\xEE", buffer);
}

TEST_F(Sibling, WritesNothing) {
    load("SHM");
    int handle = 0;
    ReturnCode::Value code = ReturnCode::NO_ERROR;
    config.Open("FastRtps", handle, code);
    std::string text = "UDP";
    int bytes = -1;
    config.Write(handle, "UseTransport", text.data(), 3, bytes, code);
    EXPECT_EQ(ReturnCode::NO_ACTION, code);
    EXPECT_EQ(0, bytes);
    EXPECT_EQ("SHM", valueOf(config, "FastRtps", "UseTransport"));
}

TEST_F(Sibling, FollowsTheServersOwnFile) {
    const TransportFiles files = findTransportFiles(write("SHM"));
    EXPECT_EQ(folder.path() / "connections.xml", files.connections);
    EXPECT_EQ("CorvanePlus", files.system);
}

TEST_F(Sibling, FindsARelativeNameInTheFolderOfTheServersOwnFile) {
    const auto installed = bench::ExampleConfiguration::installedFolder();
    EXPECT_EQ(installed / "connections.xml",
              findTransportFiles(installed / "zephon-server.xml").connections);
}

TEST_F(Sibling, TakesTheConnectionsFileItself) {
    write("SHM");
    const auto file = folder.path() / "connections.xml";
    EXPECT_EQ(file, findTransportFiles(file).connections);
}

TEST_F(Sibling, RefusesOtherFiles) {
    write("SHM");
    for (char const* const name : {"stored-settings.xml", "io-devices.xml", "absent.xml", "."}) {
        EXPECT_THROW(findTransportFiles(folder.path() / name), std::runtime_error) << name;
    }
}

}  // namespace
