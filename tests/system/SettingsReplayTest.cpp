// The stored settings as the unit gets them when the server starts: the first that leaves link 1.

#include <array>

#include "tests/system/SettingsFixture.h"

namespace {

/// What is stored of a port.
struct StoredRow {
    unsigned unit;
    unsigned port;
    std::string transBaud;
    std::string transParity;
    std::string pulse;
    std::string recBaud;
    std::string recParity;
    std::string redundant;
    std::string mode;
    std::string messages;
    std::string capabilities;

    std::string portName() const { return "COM" + std::to_string(port); }
    std::string container() const { return "ZP" + std::to_string(unit) + portName(); }
    bool isNmea() const { return mode == "NMEA"; }
};

/// Twelve ports of which no two are alike.
std::vector<StoredRow> makeRows() {
    const std::array<const char*, 13> bauds{"300",    "600",    "1200",  "2400",  "4800",
                                            "9600",   "19200",  "38400", "76800", "115200",
                                            "230400", "460800", "921600"};
    const std::array<const char*, 3> parities{"None", "Odd", "Even"};
    const std::array<const char*, 4> pulses{"Off", "1PPS UTC", "1PPS T-Mark", "10 PPS UTC"};
    const std::array<const char*, 3> messages{"5040,5044", "none", "0,8504,65535"};
    const std::array<const char*, 3> sentences{"GGA", "DTM,GBS,GGA,GLL,GNS,GRS,GSA",
                                               "GST,none,HDT,RMC,VTG,ZDA"};
    std::vector<StoredRow> rows;
    for (unsigned i = 0; i < 12; ++i) {
        const bool nmea = i % 5 == 2 || i % 5 == 3;
        rows.push_back({i / 3 + 1, i % 3 + 1, bauds.at(i), parities.at(i % 3), pulses.at(i % 4),
                        bauds.at(12 - i), parities.at(i / 3 % 3), "Off", nmea ? "NMEA" : "153D",
                        nmea ? sentences.at(i / 3 % 3) : messages.at(i / 3 % 3),
                        i % 2 == 0 ? "CORVANE" : "ZEPHON"});
    }
    return rows;
}

class SettingsReplay : public SettingsFixture {
protected:
    void store(StoredRow const& row) {
        auto& configuration = bench.configuration();
        configuration.set(row.container(), "transBaud", row.transBaud);
        configuration.set(row.container(), "transParity", row.transParity);
        configuration.set(row.container(), "ppsOut", row.pulse);
        configuration.set(row.container(), "recBaud", row.recBaud);
        configuration.set(row.container(), "recParity", row.recParity);
        configuration.set(row.container(), "COM2_Redundant", row.redundant);
        configuration.set(row.container(), "mode", row.mode);
        configuration.set(row.container(), "messageConnects", row.messages);
        configuration.set(row.container(), "receiverCapabilities", row.capabilities);
    }
    void storeAll() {
        for (auto const& row : rows) {
            store(row);
        }
    }

    /// The three messages of a port.
    static void append(Texts& texts, StoredRow const& row) {
        const std::string unit = "ZP" + std::to_string(row.unit) + " ";
        const std::string transmit =
            row.portName() + " transmit " + row.transBaud + " " + row.transParity + " " + row.mode;
        texts.push_back(unit + transmit + ", receive " + row.recBaud + " " + row.recParity +
                        " 153D, pulse " + row.pulse +
                        (row.port == 1
                             ? ", redundant " + std::string(row.redundant == "Off" ? "Off" : "On")
                             : ""));
        texts.push_back(unit + (row.isNmea() ? transmit + ", sentences " + row.messages
                                             : row.portName() + " messages " + row.messages));
        texts.push_back(row.container() + " capabilities " + row.capabilities);
    }

    /// What a start sends behind the ports.
    static void appendSuperUser(Texts& texts) {
        texts.insert(texts.end(), {"super user ZP0COM1", "request"});
    }

    std::vector<StoredRow> rows = makeRows();
};

TEST_F(SettingsReplay, AllTwelvePortsAreSentInOrder) {
    storeAll();
    start();
    Texts expected;
    for (auto const& row : rows) {
        append(expected, row);
    }
    ASSERT_EQ(36U, expected.size());
    appendSuperUser(expected);
    EXPECT_EQ(expected, takeSent()) << bench.report();
    EXPECT_EQ(0U, bench.virtualUnits().defects()) << bench.report();
}

TEST_F(SettingsReplay, Com2IsSkippedWhereCom1IsRedundantInAnyCaseOfLetters) {
    rows[0].redundant = "On";
    rows[3].redundant = "on";
    rows[6].redundant = "oN";
    rows[10].redundant = "On";  // COM2's own field means nothing
    storeAll();
    start();
    Texts expected;
    for (auto const& row : rows) {
        if (row.port != 2 || row.unit == 4) {
            append(expected, row);
        }
    }
    ASSERT_EQ(27U, expected.size());
    appendSuperUser(expected);
    EXPECT_EQ(expected, takeSent()) << bench.report();
}

TEST_F(SettingsReplay, TheUnitIsAsTheSettingsTellWhenItIsOver) {
    storeAll();
    start();
    takeSent();
    const auto settings = bench::UnitSettings::of(bench.virtualUnits());
    EXPECT_EQ(Texts(), settings.defects());
    EXPECT_EQ(12U, settings.ports().size());
    for (auto const& row : rows) {
        const auto port = settings.port(row.unit, row.port);
        ASSERT_TRUE(port.transmit && port.receive) << row.container();
        EXPECT_EQ(row.transBaud, std::to_string(port.transmit->baud)) << row.container();
        EXPECT_EQ(row.recParity, port.receive->parity) << row.container();
        EXPECT_EQ(row.pulse, port.pulse) << row.container();
        EXPECT_EQ(row.capabilities, port.capabilities) << row.container();
        EXPECT_EQ(row.isNmea(), port.sentences.has_value()) << row.container();
        EXPECT_EQ(!row.isNmea(), port.messages.has_value()) << row.container();
    }
}

TEST_F(SettingsReplay, AValueThatIsNoneEndsTheWalkAtItsPort) {
    rows[4].transParity = "Mark";
    storeAll();
    start();
    Texts expected;
    for (unsigned i = 0; i < 4; ++i) {
        append(expected, rows[i]);
    }
    appendSuperUser(expected);
    EXPECT_EQ(expected, takeSent()) << bench.report();
    stop();
    EXPECT_THAT(bench.server().standardError(), testing::HasSubstr("Invalid Serial Parity : Mark"));
}

TEST_F(SettingsReplay, APortWithoutItsContainerEndsTheWalkThere) {
    storeAll();
    bench.configuration().omitContainer("ZP3COM2");
    start();
    Texts expected;
    for (unsigned i = 0; i < 7; ++i) {
        append(expected, rows[i]);
    }
    appendSuperUser(expected);
    EXPECT_EQ(expected, takeSent()) << bench.report();
    stop();
    EXPECT_THAT(bench.server().standardError(), testing::HasSubstr("Invalid Serial Port : "));
}

TEST_F(SettingsReplay, TheStoredSuperUserIsSentAtEachStart) {
    bench.configuration().set("ZP_Super_User", "zephonNumber", "3");
    bench.configuration().set("ZP_Super_User", "comPort", "COM2");
    start();
    const auto sent = takeSent();
    ASSERT_EQ(38U, sent.size()) << bench.report();
    EXPECT_EQ((Texts{"super user ZP3COM2", "request"}), Texts(sent.end() - 2, sent.end()));
}

TEST_F(SettingsReplay, ASuperUserOutOfRangeIsNoneAndToldAtTheStart) {
    bench.configuration().set("ZP_Super_User", "zephonNumber", "5");
    bench.configuration().set("ZP_Super_User", "comPort", "COM2");
    start();
    const EventReader events(bench);
    const auto sent = takeSent();
    ASSERT_EQ(38U, sent.size()) << bench.report();
    EXPECT_EQ("super user ZP0COM1", sent.at(36));
    const auto event = events.waitFor(
        "ZephonServer: Invalid ZP number (5) read from configuration file, defaulting to NONE");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
}

TEST_F(SettingsReplay, ASuperUsersPortThatIsNoneIsCom1AndToldAtTheStart) {
    bench.configuration().set("ZP_Super_User", "zephonNumber", "2");
    bench.configuration().set("ZP_Super_User", "comPort", "COM4");
    start();
    const EventReader events(bench);
    const auto sent = takeSent();
    ASSERT_EQ(38U, sent.size()) << bench.report();
    EXPECT_EQ("super user ZP2COM1", sent.at(36));
    const auto event = events.waitFor(
        "ZephonServer: Invalid ZP COM port (COM4) read from configuration file, defaulting to "
        "COM1");
    ASSERT_TRUE(event) << events.report();
    EXPECT_EQ(3, event->type);
}

}  // namespace
