#include <string>

#include "gtest/gtest.h"
#include "zephon/SystemBuild.h"

namespace {

constexpr int information = 2;
constexpr char const* installed = "2024-09-18T13:48:46Z";
std::string const own = "//aspn://CORVANE/ZephonServer:2024-09-18T13:48:46Z/";
std::string const other = "//aspn://CORVANE/HmiServer:2024-09-18T13:48:47Z/";

SystemBuild expecting(int servers) {
    SystemBuild build;
    build.expect(servers);
    build.install("R1.2", installed);
    return build;
}

TEST(SystemBuild, IsThatOfDevelopmentUntilOneIsInstalled) {
    SystemBuild build;
    EXPECT_EQ("DEVELOPMENT", build.name());
    build.install("", installed);
    EXPECT_EQ("DEVELOPMENT", build.name());
    build.install("R1.2", installed);
    EXPECT_EQ("R1.2", build.name());
}

TEST(SystemBuild, IsKnownWhenAllServersHaveAnnouncedTheirs) {
    SystemBuild build = expecting(3);
    EXPECT_FALSE(build.takeLine(49, information, own));
    EXPECT_FALSE(build.takeLine(47, information, own));
    EXPECT_TRUE(build.takeLine(48, information, own));
    EXPECT_EQ("R1.2", build.name());
}

TEST(SystemBuild, IsThatOfDevelopmentAfterASingleMismatch) {
    SystemBuild build = expecting(3);
    EXPECT_FALSE(build.takeLine(49, information, own));
    EXPECT_FALSE(build.takeLine(48, information, other));
    EXPECT_TRUE(build.takeLine(47, information, own));
    EXPECT_EQ("DEVELOPMENT", build.name());
}

TEST(SystemBuild, ChangesNoMoreWithTheSecondLineOfAServer) {
    SystemBuild build = expecting(2);
    EXPECT_FALSE(build.takeLine(49, information, own));
    EXPECT_FALSE(build.takeLine(49, information, other));
    EXPECT_FALSE(build.takeLine(49, information, own));
    EXPECT_EQ("R1.2", build.name());
    EXPECT_TRUE(build.takeLine(48, information, own)) << "which counted only once";
    EXPECT_EQ("R1.2", build.name());
}

TEST(SystemBuild, HearsOneServerMoreThanItExpects) {
    SystemBuild build = expecting(1);
    EXPECT_TRUE(build.takeLine(49, information, own));
    EXPECT_TRUE(build.takeLine(48, information, other));
    EXPECT_EQ("DEVELOPMENT", build.name());
}

TEST(SystemBuild, IsAnnouncedInLinesOfInformationOnly) {
    SystemBuild build = expecting(1);
    for (const int type : {-1, 0, 1, 3, 4, 5, 0x7FFFFFFF}) {
        EXPECT_FALSE(build.takeLine(49, type, other)) << type;
    }
    EXPECT_EQ("R1.2", build.name());
    EXPECT_TRUE(build.takeLine(49, information, own)) << "no server has been heard before";
}

TEST(SystemBuild, IsAnnouncedBehindItsPrefixInEitherCase) {
    for (std::string const start : {"aspn://corvane/", "ASPN://CORVANE/", "x //Aspn://Corvane/"}) {
        SystemBuild build = expecting(1);
        EXPECT_TRUE(build.takeLine(49, information, start + "Name:" + installed + "/")) << start;
        EXPECT_EQ("R1.2", build.name()) << start;
    }
    SystemBuild build = expecting(1);
    for (std::string const line :
         {"", "aspn://corvan/Name:2024-09-18T13:48:46Z/", "Z/", "aspn://corvane/",
          "aspn://corvane/Z", "Z/aspn://corvane/", "aspn://corvane/z/",
          "aspn:/corvane/Name:2024-09-18T13:48:46Z/"}) {
        EXPECT_FALSE(build.takeLine(49, information, line)) << line;
    }
    EXPECT_TRUE(build.takeLine(49, information, own)) << "no server has been heard before";
}

TEST(SystemBuild, IsComparedAtTheEndOfTheWholeLine) {
    SystemBuild build = expecting(1);
    EXPECT_TRUE(build.takeLine(49, information, own + "x"));
    EXPECT_EQ("DEVELOPMENT", build.name()) << "one character further";
    build = expecting(1);
    EXPECT_TRUE(
        build.takeLine(49, information, "aspn://corvane/Z/ " + std::string(installed) + "?"));
    EXPECT_EQ("R1.2", build.name()) << "whatever the last character is";
}

TEST(SystemBuild, IsNotComparedInALineOf21Characters) {
    const std::string start = "aspn://corvane/12Z/";
    SystemBuild build = expecting(1);
    EXPECT_TRUE(build.takeLine(49, information, start + "xx")) << (start + "xx").size();
    EXPECT_EQ("R1.2", build.name());
    build = expecting(1);
    EXPECT_TRUE(build.takeLine(49, information, start + "xxx"));
    EXPECT_EQ("DEVELOPMENT", build.name()) << "22 are compared";
    build = expecting(1);
    build.install("R1.2", (start + "xxx").substr(1, 20));
    EXPECT_TRUE(build.takeLine(49, information, start + "xxx"));
    EXPECT_EQ("R1.2", build.name()) << "all but the first and the last";
}

TEST(SystemBuild, TakesAnyLine) {
    SystemBuild build = expecting(256);
    const std::string huge(1'000'000, 'a');
    EXPECT_FALSE(build.takeLine(1, information, huge));
    EXPECT_FALSE(build.takeLine(1, information, std::string(100, '\0')));
    EXPECT_EQ("R1.2", build.name());
    EXPECT_FALSE(build.takeLine(1, information, huge + own + huge));
    EXPECT_EQ("DEVELOPMENT", build.name());
    for (int server = 0; server < 255; ++server) {
        EXPECT_FALSE(build.takeLine(static_cast<unsigned char>(server), information, own));
    }
    EXPECT_TRUE(build.takeLine(255, information, std::string(1, '\0') + own));
}

}  // namespace
