#include <fstream>
#include <string>

#include "bench/TemporaryFolder.h"
#include "gtest/gtest.h"
#include "zephon/VersionInfo.h"

namespace {

class VersionInfoFile : public testing::Test {
protected:
    /// Loads a file with these containers.
    bool load(std::string const& containers) {
        return loadText("<MX_Configurations>" + containers + "</MX_Configurations>");
    }
    bool loadText(std::string const& text) {
        const std::string path = (folder_.path() / "versions.xml").string();
        std::ofstream(path) << text;
        return info.load(path.c_str());
    }
    static std::string container(std::string const& name, std::string const& keys) {
        return "<Version><Name>" + name + "</Name><Parameters>" + keys + "</Parameters></Version>";
    }

    VersionInfo info;

private:
    bench::TemporaryFolder folder_;
};

TEST_F(VersionInfoFile, GivesAllThreeSections) {
    ASSERT_TRUE(load(container("APPS", "<pn>A</pn><build>B</build><timestamp>T</timestamp>") +
                     container("VHDL", "<pn>V</pn><timestamp>W</timestamp>") +
                     container("BSP",
                               "<pn>P</pn><sysinfo_release>R</sysinfo_release>"
                               "<sysinfo_version>S</sysinfo_version>")));
    EXPECT_EQ(
        "PartNumbers\nBSP PN: P\nBSP RL: R\nBSP VR: S\nVHD PN: V\nVHD BT: W\nAPP PN: A\n"
        "APP BD: B\nAPP BT: T\nCONFIG: name",
        info.describe("name"));
}

TEST_F(VersionInfoFile, LeavesEmptyWhatItLacksAndGoesOn) {
    ASSERT_TRUE(load(container("APPS", "<pn>A</pn><build></build>") +
                     container("BSP", "<sysinfo_version>S</sysinfo_version>")));
    EXPECT_EQ(
        "PartNumbers\nBSP PN: \nBSP RL: \nBSP VR: S\nVHD PN: \nVHD BT: \nAPP PN: A\nAPP BD: \n"
        "APP BT: \nCONFIG: ",
        info.describe(""));
    ASSERT_TRUE(load(""));
    EXPECT_EQ("", info.bspVersion + info.appPartNumber);
}

TEST_F(VersionInfoFile, MustBeThereAndWhole) {
    ASSERT_TRUE(load(container("APPS", "<pn>A</pn>")));
    EXPECT_FALSE(info.load("/nonexistent/versions.xml"));
    EXPECT_FALSE(loadText(""));
    EXPECT_FALSE(loadText("<MX_Configurations>"));
    EXPECT_FALSE(loadText("<Other></Other>"));
    EXPECT_EQ("A", info.appPartNumber) << "stays";
}

TEST_F(VersionInfoFile, MayHoldAnyText) {
    const std::string huge(1'000'000, 'X');
    ASSERT_TRUE(load(container("APPS", "<pn>" + huge + "</pn><build>\xFF&#1;,:</build>")));
    EXPECT_EQ(huge, info.appPartNumber);
    EXPECT_EQ("\xFF\x01,:", info.appBuild);
}

TEST(VersionInfo, MatchesTheFpgaByTheDigitsOfItsTime) {
    VersionInfo info;
    info.vhdlTimestamp = "2024-09-18T13:48:00Z";
    EXPECT_TRUE(info.isOfFpga("202409-1813:48:00"));
    EXPECT_TRUE(info.isOfFpga("2024-09-18T13:48:00Z"));
    EXPECT_FALSE(info.isOfFpga("202409-1813:49:00"));
    EXPECT_FALSE(info.isOfFpga("202409-1813:48:000"));
    EXPECT_FALSE(info.isOfFpga(""));
    info.vhdlTimestamp = "";
    EXPECT_FALSE(info.isOfFpga("202409-1813:48:00"));
    EXPECT_FALSE(info.isOfFpga("")) << "no digits are no build";
}

TEST(VersionInfo, MatchesTheKernelByReleaseAndVersion) {
    VersionInfo info;
    info.bspRelease = "6.1";
    info.bspVersion = "#1 SMP";
    EXPECT_TRUE(info.isOfKernel("6.1", "#1 SMP"));
    EXPECT_FALSE(info.isOfKernel("6.1", "#2 SMP"));
    EXPECT_FALSE(info.isOfKernel("6.10", "#1 SMP"));
}

TEST(VersionInfo, MarksTheApplicationOfAnotherBuild) {
    VersionInfo info;
    info.appPartNumber = "074-8125-600";
    info.appBuild = "R1.2";
    EXPECT_EQ("074-8125-600", info.applicationPartNumber("R1.2"));
    EXPECT_EQ("074-8125-600-DEV", info.applicationPartNumber("R1.3"));
    EXPECT_EQ("074-8125-600-DEV", info.applicationPartNumber("r1.2"));
}

}  // namespace
