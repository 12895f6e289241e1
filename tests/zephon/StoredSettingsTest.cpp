// What survives a restart: reads and writes of single containers, and files that fail.

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "gmock/gmock.h"
#include "tests/face/FaultyCalls.h"
#include "tests/face/TestFolder.h"
#include "zephon/StoredSettings.h"

namespace {

constexpr char settingsText[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<MX_Configurations>
    <Zephon_Port>
        <Name>ZP1COM1</Name>
        <Parameters>
            <zephonNumber>1</zephonNumber>
            <comPort>COM1</comPort>
            <transBaud>9600</transBaud>
            <transParity>None</transParity>
            <ppsOut>1PPS UTC</ppsOut>
            <recBaud>300</recBaud>
            <recParity>Odd</recParity>
            <COM2_Redundant>Off</COM2_Redundant>
            <solutionSource>GPS</solutionSource>
            <mode>153D</mode>
            <messageConnects>5040,5044</messageConnects>
            <receiverCapabilities>CORVANE</receiverCapabilities>
        </Parameters>
    </Zephon_Port>
    <Loaded_Hot_Start>
        <Name>ZP_Hot_Start</Name>
        <Parameters><zephonNumber>2</zephonNumber><comPort>COM2</comPort><HSType>LNAV</HSType></Parameters>
    </Loaded_Hot_Start>
    <Commanded_Hot_Start>
        <Name>Hot_Start</Name>
        <Parameters><zephonNumber>1</zephonNumber><comPort>COM1</comPort><HSType>BOTH</HSType></Parameters>
    </Commanded_Hot_Start>
    <Super_User>
        <Name>ZP_Super_User</Name>
        <Parameters><zephonNumber>0</zephonNumber><comPort>COM3</comPort></Parameters>
    </Super_User>
</MX_Configurations>
)";

class StoredSettingsTest : public testing::Test {
protected:
    TestFolder folder;
    const std::string path = folder.write("settings.xml", settingsText);
    const StoredSettings settings{path};

    /// Another file with one text in place of another.
    StoredSettings with(std::string const& from, std::string const& to) const {
        std::string text = settingsText;
        text.replace(text.find(from), from.size(), to);
        return StoredSettings(folder.write("changed.xml", text));
    }

    static StoredPort otherPort() {
        StoredPort port;
        port.transBaud = 115200;
        port.transParity = "Even";
        port.ppsOut = "Off";
        port.recBaud = 600;
        port.recParity = "None";
        port.com2Redundant = "On";
        port.solutionSource = "Meridane";
        return port;
    }
};

TEST_F(StoredSettingsTest, EachKindOfRecordIsRead) {
    const auto port = settings.readPort("ZP1COM1");
    ASSERT_TRUE(port);
    EXPECT_EQ(1, port->zephonNumber);
    EXPECT_EQ("COM1", port->comPort);
    EXPECT_EQ(9600, port->transBaud);
    EXPECT_EQ("None", port->transParity);
    EXPECT_EQ("1PPS UTC", port->ppsOut);
    EXPECT_EQ(300, port->recBaud);
    EXPECT_EQ("Odd", port->recParity);
    EXPECT_EQ("Off", port->com2Redundant);
    EXPECT_EQ("GPS", port->solutionSource);
    const auto messages = settings.readMessages("ZP1COM1");
    ASSERT_TRUE(messages);
    EXPECT_EQ(1, messages->zephonNumber);
    EXPECT_EQ("COM1", messages->comPort);
    EXPECT_EQ("153D", messages->mode);
    EXPECT_EQ("5040,5044", messages->messageConnects);
    const auto capabilities = settings.readCapabilities("ZP1COM1");
    ASSERT_TRUE(capabilities);
    EXPECT_EQ(1, capabilities->zephonNumber);
    EXPECT_EQ("COM1", capabilities->comPort);
    EXPECT_EQ("CORVANE", capabilities->receiverCapabilities);
    const auto hotStart = settings.readHotStart("ZP_Hot_Start");
    ASSERT_TRUE(hotStart);
    EXPECT_EQ(2, hotStart->zephonNumber);
    EXPECT_EQ("COM2", hotStart->comPort);
    EXPECT_EQ("LNAV", hotStart->type);
    const auto superUser = settings.readSuperUser("ZP_Super_User");
    ASSERT_TRUE(superUser);
    EXPECT_EQ(0, superUser->zephonNumber);
    EXPECT_EQ("COM3", superUser->comPort);
}

TEST_F(StoredSettingsTest, EachKindOfRecordIsWrittenAndReadByAnother) {
    EXPECT_EQ(StoreResult::Stored, settings.writePort("ZP1COM1", otherPort()));
    EXPECT_EQ(StoreResult::Stored,
              settings.writeMessages("ZP1COM1", {3, "COM3", "NMEA", "GGA,ZDA"}));
    EXPECT_EQ(StoreResult::Stored, settings.writeCapabilities("ZP1COM1", "ZEPHON"));
    EXPECT_EQ(StoreResult::Stored, settings.writeHotStart("Hot_Start", {4, "COM3", "MNAV"}));
    EXPECT_EQ(StoreResult::Stored, settings.writeSuperUser("ZP_Super_User", {2, "COM1"}));
    const StoredSettings other(path);
    const auto port = other.readPort("ZP1COM1");
    ASSERT_TRUE(port);
    EXPECT_EQ(1, port->zephonNumber) << "the container's name tells it";
    EXPECT_EQ("COM1", port->comPort);
    EXPECT_EQ(115200, port->transBaud);
    EXPECT_EQ("Even", port->transParity);
    EXPECT_EQ("Off", port->ppsOut);
    EXPECT_EQ(600, port->recBaud);
    EXPECT_EQ("None", port->recParity);
    EXPECT_EQ("On", port->com2Redundant);
    EXPECT_EQ("Meridane", port->solutionSource);
    EXPECT_EQ("NMEA", other.readMessages("ZP1COM1")->mode);
    EXPECT_EQ("GGA,ZDA", other.readMessages("ZP1COM1")->messageConnects);
    EXPECT_EQ("ZEPHON", other.readCapabilities("ZP1COM1")->receiverCapabilities);
    EXPECT_EQ(4, other.readHotStart("Hot_Start")->zephonNumber);
    EXPECT_EQ("COM3", other.readHotStart("Hot_Start")->comPort);
    EXPECT_EQ("MNAV", other.readHotStart("Hot_Start")->type);
    EXPECT_EQ("LNAV", other.readHotStart("ZP_Hot_Start")->type) << "another container";
    EXPECT_EQ(2, other.readSuperUser("ZP_Super_User")->zephonNumber);
    EXPECT_EQ("COM1", other.readSuperUser("ZP_Super_User")->comPort);
}

TEST_F(StoredSettingsTest, AContainerThatIsNotThereIsNeitherReadNorWritten) {
    for (std::string const& name :
         {std::string("ZP9COM1"), std::string(), std::string("ZP1COM1\0", 8), std::string("\xFF"),
          std::string(100'000, 'Z')}) {
        EXPECT_FALSE(settings.readPort(name));
        EXPECT_FALSE(settings.readMessages(name));
        EXPECT_FALSE(settings.readCapabilities(name));
        EXPECT_FALSE(settings.readHotStart(name));
        EXPECT_FALSE(settings.readSuperUser(name));
        EXPECT_EQ(StoreResult::NotOpened, settings.writePort(name, otherPort()));
        EXPECT_EQ(StoreResult::NotOpened, settings.writeMessages(name, {}));
        EXPECT_EQ(StoreResult::NotOpened, settings.writeCapabilities(name, "ZEPHON"));
        EXPECT_EQ(StoreResult::NotOpened, settings.writeHotStart(name, {}));
        EXPECT_EQ(StoreResult::NotOpened, settings.writeSuperUser(name, {}));
    }
    EXPECT_EQ(settingsText, FileContent(path));
}

TEST_F(StoredSettingsTest, AFileThatIsNotThereOrCutIsNotOpened) {
    EXPECT_FALSE(StoredSettings().readPort("ZP1COM1"));
    EXPECT_FALSE(StoredSettings(folder / "missing.xml").readPort("ZP1COM1"));
    EXPECT_EQ(StoreResult::NotOpened,
              StoredSettings(folder / "missing.xml").writePort("ZP1COM1", otherPort()));
    EXPECT_FALSE(std::filesystem::exists(folder / "missing.xml"));
    const std::string whole = settingsText;
    for (std::size_t size = 0; size < whole.rfind('>'); size += 37) {
        const auto cut = folder.write("cut.xml", whole.substr(0, size));
        EXPECT_FALSE(StoredSettings(cut).readPort("ZP1COM1")) << size;
        EXPECT_EQ(StoreResult::NotOpened, StoredSettings(cut).writePort("ZP1COM1", otherPort()));
        EXPECT_EQ(whole.substr(0, size), FileContent(cut));
    }
}

TEST_F(StoredSettingsTest, ValuesThatAreMissingEmptyOrNoNumbersKeepTheirDefaults) {
    EXPECT_EQ("", with("<ppsOut>1PPS UTC</ppsOut>", "").readPort("ZP1COM1")->ppsOut);
    EXPECT_EQ("", with("1PPS UTC", "").readPort("ZP1COM1")->ppsOut);
    EXPECT_EQ("GPS", with("1PPS UTC", "").readPort("ZP1COM1")->solutionSource);
    EXPECT_EQ(0, with("9600", "").readPort("ZP1COM1")->transBaud);
    EXPECT_EQ(0, with("9600", "fast").readPort("ZP1COM1")->transBaud);
    EXPECT_EQ(-5, with("9600", "-5").readPort("ZP1COM1")->transBaud);
    EXPECT_EQ("\xC3\xA9\xFF", with("None", "\xC3\xA9\xFF").readPort("ZP1COM1")->transParity);
}

TEST_F(StoredSettingsTest, AValueThatIsEmptyIsNotWrittenAndTheOthersAre) {
    const auto changed = with("1PPS UTC", "");
    EXPECT_EQ(StoreResult::NotWritten, changed.writePort("ZP1COM1", otherPort()));
    EXPECT_EQ("", changed.readPort("ZP1COM1")->ppsOut);
    EXPECT_EQ(115200, changed.readPort("ZP1COM1")->transBaud);
    EXPECT_EQ("Meridane", changed.readPort("ZP1COM1")->solutionSource);
}

TEST_F(StoredSettingsTest, TextsComeBackAsTheyWereOrAreRefused) {
    for (std::string const& text :
         {std::string("12\xFF\xFE"), std::string("<a>&amp;]]>"), std::string(" 5 "),
          std::string(100'000, '7'), std::string("\xE2\x82\xAC")}) {
        EXPECT_EQ(StoreResult::Stored, settings.writeMessages("ZP1COM1", {0, "", "153D", text}));
        EXPECT_EQ(text, settings.readMessages("ZP1COM1")->messageConnects);
    }
    EXPECT_EQ(StoreResult::NotWritten,
              settings.writeMessages("ZP1COM1", {0, "", "NMEA", std::string("G\0A", 3)}));
    EXPECT_EQ("NMEA", settings.readMessages("ZP1COM1")->mode) << "the other value";
    EXPECT_EQ("\xE2\x82\xAC", settings.readMessages("ZP1COM1")->messageConnects);
}

TEST_F(StoredSettingsTest, ASaveThatFailsAtAnyCallLosesNoOtherValue) {
    FaultyCalls counting(FACE::FileCalls::Real(), [](int /*number*/) { return 0; });
    ASSERT_EQ(StoreResult::Stored,
              StoredSettings(path, counting).writeCapabilities("ZP1COM1", "CORVANE"));
    ASSERT_GT(counting.calls(), 5);
    for (int failing = 0; failing < counting.calls(); ++failing) {
        for (const int error : {EIO, ENOSPC, EROFS}) {
            const auto file = folder.write("faulty.xml", settingsText);
            std::filesystem::remove(file + ".new");
            FaultyCalls calls(FACE::FileCalls::Real(),
                              [=](int number) { return number == failing ? error : 0; });
            const auto result = StoredSettings(file, calls).writeCapabilities("ZP1COM1", "ZEPHON");
            const auto after = StoredSettings(file).readCapabilities("ZP1COM1");
            ASSERT_TRUE(after) << failing;
            EXPECT_THAT(after->receiverCapabilities, testing::AnyOf("CORVANE", "ZEPHON"));
            if (result == StoreResult::Stored) {
                EXPECT_EQ("ZEPHON", after->receiverCapabilities) << failing;
            }
            EXPECT_EQ("GPS", StoredSettings(file).readPort("ZP1COM1")->solutionSource);
        }
    }
}

TEST_F(StoredSettingsTest, AFullDiskKeepsTheOldValues) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const ::rlimit limit{100, 100};  // bytes that any file may have
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const auto result = settings.writePort("ZP1COM1", otherPort());
        ::_exit(result == StoreResult::NotWritten ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    const auto port = settings.readPort("ZP1COM1");
    ASSERT_TRUE(port);
    EXPECT_EQ(9600, port->transBaud);
    EXPECT_EQ("GPS", port->solutionSource);
}

}  // namespace
