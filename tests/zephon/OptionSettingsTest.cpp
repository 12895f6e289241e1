// Hot start, super user and capabilities without a server: repairs, answers, messages.

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/UnitFrame.h"
#include "gmock/gmock.h"
#include "zephon/OptionSettings.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

constexpr int biggest = std::numeric_limits<int>::max();
constexpr int smallest = std::numeric_limits<int>::min();

/// What goes out on the line.
template <typename Message>
Bytes bytesOf(std::shared_ptr<Message> const& message) {
    message->insert_checksum();
    const auto words = 6U + message->wordCount;
    Bytes bytes;
    for (unsigned i = 0; i < words; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(message->header[i] & 0xFFU));
        bytes.push_back(static_cast<std::uint8_t>(message->header[i] >> 8U));
    }
    return bytes;
}

std::string complaintOf(std::string const& what, std::string const& value,
                        std::string const& instead) {
    return "Invalid " + what + " (" + value + ") read from configuration file, defaulting to " +
           instead;
}

std::string textOfStatus(std::uint16_t command, std::uint16_t unitAndPort) {
    const bench::UnitFrame frame{27561, 0x8000, {0, 0, 0, 0, command, unitAndPort, 0, 0, 0}};
    const auto bytes = frame.encode();
    Config_Status_Msg status;
    EXPECT_TRUE(status.OkSetContent(bytes.data(), static_cast<unsigned short>(bytes.size())));
    return composeConfigStatus(status);
}

// ---- As loaded ----------------------------------------------------------------------------

TEST(LoadedHotStart, GoodValuesStayAsTheyAre) {
    for (const int unit : {1, 2, 3, 4}) {
        for (std::string const port : {"COM1", "COM2", "COM3"}) {
            for (std::string const type : {"LNAV", "MNAV", "BOTH"}) {
                const auto loaded = repairHotStart({unit, port, type});
                EXPECT_EQ(unit, loaded.settings.unit);
                EXPECT_EQ(port, loaded.settings.port);
                EXPECT_EQ(type, loaded.settings.type);
                EXPECT_THAT(loaded.complaints, IsEmpty());
            }
        }
    }
}

TEST(LoadedHotStart, AUnitThatIsNoneBecomesTheFirst) {
    for (const int unit : {0, -1, 5, 65537, biggest, smallest}) {
        const auto loaded = repairHotStart({unit, "COM2", "LNAV"});
        EXPECT_EQ(1, loaded.settings.unit);
        EXPECT_EQ("COM2", loaded.settings.port);
        EXPECT_EQ("LNAV", loaded.settings.type);
        EXPECT_THAT(loaded.complaints,
                    ElementsAre(complaintOf("ZP number", std::to_string(unit), "ZP 1")));
    }
}

TEST(LoadedHotStart, APortThatIsNoneBecomesCom1) {
    for (std::string const port :
         {"", "COM0", "COM4", "com1", "COM1 ", " COM1", "COM", "COM11", "\xC3\x9C"}) {
        const auto loaded = repairHotStart({2, port, "MNAV"});
        EXPECT_EQ("COM1", loaded.settings.port);
        EXPECT_THAT(loaded.complaints, ElementsAre(complaintOf("ZP COM port", port, "COM1")));
    }
}

TEST(LoadedHotStart, BothInAnySpellingIsTakenInItsOwn) {
    for (std::string const type : {"BOTH", "both", "Both", "bOtH"}) {
        const auto loaded = repairHotStart({1, "COM1", type});
        EXPECT_EQ(type, loaded.settings.type);
        EXPECT_THAT(loaded.complaints, IsEmpty());
    }
}

TEST(LoadedHotStart, ATypeThatIsNoneBecomesBoth) {
    for (std::string const type : {"lnav", "Mnav", "", "BOTH ", "XBOTH", "BOT", "LNAVMNAV"}) {
        const auto loaded = repairHotStart({1, "COM1", type});
        EXPECT_EQ("BOTH", loaded.settings.type);
        EXPECT_THAT(loaded.complaints, ElementsAre(complaintOf("HS type", type, "BOTH")));
    }
}

TEST(LoadedHotStart, EachWrongValueHasItsOwnComplaint) {
    const auto loaded = repairHotStart({});
    EXPECT_THAT(loaded.complaints, ElementsAre(complaintOf("ZP number", "0", "ZP 1"),
                                               complaintOf("ZP COM port", "", "COM1"),
                                               complaintOf("HS type", "", "BOTH")));
}

TEST(LoadedSuperUser, GoodValuesStayAsTheyAre) {
    for (const int unit : {1, 2, 3, 4}) {
        for (const int port : {1, 2, 3}) {
            const auto loaded = repairSuperUser({unit, "COM" + std::to_string(port)});
            EXPECT_EQ(unit, loaded.superUser.unit);
            EXPECT_EQ(port, loaded.superUser.port);
            EXPECT_THAT(loaded.complaints, IsEmpty());
        }
    }
}

TEST(LoadedSuperUser, NoneHasTheFirstPortWhateverIsStored) {
    for (const int unit : {0, -1, smallest}) {
        for (std::string const port : {"COM1", "COM3", "", "COM9"}) {
            const auto loaded = repairSuperUser({unit, port});
            EXPECT_EQ(0, loaded.superUser.unit);
            EXPECT_EQ(1, loaded.superUser.port);
            EXPECT_THAT(loaded.complaints, IsEmpty());
        }
    }
}

TEST(LoadedSuperUser, AUnitBeyondTheLastBecomesNone) {
    for (const int unit : {5, 9, 65536, biggest}) {
        const auto loaded = repairSuperUser({unit, "COM3"});
        EXPECT_EQ(0, loaded.superUser.unit);
        EXPECT_EQ(1, loaded.superUser.port);
        EXPECT_THAT(loaded.complaints,
                    ElementsAre(complaintOf("ZP number", std::to_string(unit), "NONE")));
    }
}

TEST(LoadedSuperUser, APortThatIsNoneBecomesCom1) {
    for (std::string const port : {"", "COM0", "COM4", "com2", "2"}) {
        const auto loaded = repairSuperUser({3, port});
        EXPECT_EQ(3, loaded.superUser.unit);
        EXPECT_EQ(1, loaded.superUser.port);
        EXPECT_THAT(loaded.complaints, ElementsAre(complaintOf("ZP COM port", port, "COM1")));
    }
}

// ---- As commanded -------------------------------------------------------------------------

TEST(CommandedHotStart, FieldsAreTakenAsGiven) {
    const auto stored = toStoredHotStart({"SET_ZEPHON_HOT_START", "9", "com7", "any", "more"});
    EXPECT_EQ(9, stored.zephonNumber);
    EXPECT_EQ("com7", stored.comPort);
    EXPECT_EQ("any", stored.type);
}

TEST(CommandedHotStart, MissingAndBlankFieldsAreRefused) {
    for (Fields const& fields :
         {Fields{}, Fields{"V"}, Fields{"V", "1"}, Fields{"V", "1", "COM1"},
          Fields{"V", "", "COM1", "BOTH"}, Fields{"V", "1", "", "BOTH"},
          Fields{"V", "1", " \t", "BOTH"}, Fields{"V", "1", "COM1", " \r\n"}}) {
        EXPECT_THROW(toStoredHotStart(fields), std::invalid_argument);
    }
}

TEST(CommandedHotStart, AUnitThatIsNoNumberIsRefused) {
    for (std::string const unit : {"x", "COM1", "-", "\xC3\x9C", "NONE"}) {
        EXPECT_THROW(toStoredHotStart({"V", unit, "COM1", "BOTH"}), std::invalid_argument);
    }
    EXPECT_THROW(toStoredHotStart({"V", std::string(100'000, '9'), "COM1", "BOTH"}),
                 std::out_of_range);
}

TEST(CommandedHotStart, TheUnitIsCutTo16Bits) {
    EXPECT_EQ(2, toHotStartSettings({65538, "COM1", "BOTH"}).unit);
    EXPECT_EQ(65535, toHotStartSettings({-1, "COM1", "BOTH"}).unit);
    const auto settings = toHotStartSettings({3, "COM2", "both"});
    EXPECT_EQ("COM2", settings.port);
    EXPECT_EQ("both", settings.type);
}

TEST(CommandedSuperUser, NoneIsUnitZeroAndOtherUnitsAreNumbers) {
    EXPECT_EQ(0, toStoredSuperUser({"V", "NONE", "COM1"}).zephonNumber);
    EXPECT_EQ(4, toStoredSuperUser({"V", "4", "COM1"}).zephonNumber);
    EXPECT_EQ(-12, toStoredSuperUser({"V", "-12", "COM1"}).zephonNumber);
    EXPECT_EQ("nowhere", toStoredSuperUser({"V", "4", "nowhere", "x"}).comPort);
}

TEST(CommandedSuperUser, WhatIsNoRowIsRefused) {
    for (Fields const& fields :
         {Fields{}, Fields{"V"}, Fields{"V", "1"}, Fields{"V", "NONE"}, Fields{"V", "1", ""},
          Fields{"V", "1", " "}, Fields{"V", "", "COM1"}, Fields{"V", "none", "COM1"}}) {
        EXPECT_THROW(toStoredSuperUser(fields), std::invalid_argument);
    }
}

TEST(PortNumber, OnlyThreeTextsHaveOne) {
    EXPECT_EQ(1, toPortNumber("COM1"));
    EXPECT_EQ(2, toPortNumber("COM2"));
    EXPECT_EQ(3, toPortNumber("COM3"));
    for (std::string const port : {"", "COM", "COM0", "COM4", "com1", "COM1 ", "COM12"}) {
        EXPECT_EQ(0, toPortNumber(port)) << port;
    }
}

TEST(OutputConfigFields, EveryGoodRowIsValid) {
    for (std::string const unit : {"1", "2", "3", "4"}) {
        for (std::string const port : {"COM1", "COM2", "COM3"}) {
            for (std::string const word : {"CORVANE", "ZEPHON"}) {
                EXPECT_TRUE(outputConfigFieldsAreValid({"V", unit, port, word}));
                EXPECT_TRUE(outputConfigFieldsAreValid({"V", unit, port, word, "more"}));
            }
        }
    }
}

TEST(OutputConfigFields, OneBadFieldMakesARowInvalid) {
    const std::vector<Fields> rows = {{}, {"V"}, {"V", "1"}, {"V", "1", "COM1"}};
    for (auto const& row : rows) {
        EXPECT_FALSE(outputConfigFieldsAreValid(row));
    }
    for (std::string const unit :
         {"", "0", "5", "9", "01", "1 ", " 1", "-1", "+1", "x", "/", ":", "\xB1", "1.", "11"}) {
        EXPECT_FALSE(outputConfigFieldsAreValid({"V", unit, "COM1", "ZEPHON"})) << unit;
    }
    for (std::string const port : {"", "COM0", "COM4", "com1", "1"}) {
        EXPECT_FALSE(outputConfigFieldsAreValid({"V", "1", port, "ZEPHON"})) << port;
    }
    for (std::string const word : {"", "zephon", "CORVANE ", "BOTH", "ZEPHONX"}) {
        EXPECT_FALSE(outputConfigFieldsAreValid({"V", "1", "COM1", word})) << word;
    }
}

// ---- As answered --------------------------------------------------------------------------

TEST(OptionAnswers, TellTheValuesInTheirOrder) {
    EXPECT_EQ("CURRENT_ZEPHON_HOT_START,2,COM3,MNAV", composeHotStartRsp({2, "COM3", "MNAV"}));
    EXPECT_EQ("CURRENT_ZEPHON_HOT_START,0,,", composeHotStartRsp({}));
    EXPECT_EQ("CURRENT_ZP_OUTPUT_CONFIG,4,COM2,CORVANE",
              composeOutputConfigRsp({4, "COM2", "CORVANE"}));
    EXPECT_EQ("CURRENT_ZP_OUTPUT_CONFIG,0,,", composeOutputConfigRsp({}));
}

TEST(ConfigStatusText, NamesUnitAndPortOrNobody) {
    for (std::uint16_t unit = 0; unit < 8; ++unit) {
        for (std::uint16_t port = 0; port < 4; ++port) {
            // Bits beside the two don't matter.
            const auto text =
                textOfStatus(1, static_cast<std::uint16_t>(0xA5E0U | unit | port << 3U));
            const bool isSomebody = unit >= 1 && unit <= 4 && port > 0;
            EXPECT_EQ(isSomebody ? "CURRENT_ZEPHON_SUPER_USER," + std::to_string(unit) + ",COM" +
                                       std::to_string(port)
                                 : "CURRENT_ZEPHON_SUPER_USER,NONE,COM1",
                      text)
                << unit << " " << port;
        }
    }
}

TEST(ConfigStatusText, OfAnotherCommandIsItsNumber) {
    EXPECT_EQ("0", textOfStatus(0, 0x0A));
    EXPECT_EQ("2", textOfStatus(2, 0x0A));
    EXPECT_EQ("3", textOfStatus(3, 0x0A));
    EXPECT_EQ("255", textOfStatus(0xFF, 0x0A));
    // The byte beside it is not part of the command.
    EXPECT_EQ("2", textOfStatus(0xAB02, 0x0A));
    EXPECT_EQ("CURRENT_ZEPHON_SUPER_USER,2,COM1", textOfStatus(0xAB01, 0x0A));
}

// ---- As sent ------------------------------------------------------------------------------

TEST(HotStartMessage, OrdersATransferOfTheTypeOnThePort) {
    // Word 4 the flags, word 7 the port, word 9 the scenario.
    const Bytes expected{0xFF, 0x81, 0x88, 0x13, 0x0A, 0x00, 0x00, 0x90, 0x6F, 0xDA, 0x00,
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x24, 0x00, 0x00,
                         0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x03, 0x00, 0xFB, 0xDB};
    EXPECT_EQ(expected, bytesOf(makeHotStart("COM2", "MNAV")));
}

TEST(HotStartMessage, KnowsPortsAndTypesAndTakesTheFirstForOthers) {
    const auto port = [](std::string const& text) { return makeHotStart(text, "LNAV")->data[7]; };
    EXPECT_EQ(1, port("COM1"));
    EXPECT_EQ(2, port("COM2"));
    EXPECT_EQ(3, port("COM3"));
    EXPECT_EQ(1, port("COM9"));
    EXPECT_EQ(1, port(""));
    const auto type = [](std::string const& text) { return makeHotStart("COM1", text)->data[9]; };
    EXPECT_EQ(2, type("LNAV"));
    EXPECT_EQ(3, type("MNAV"));
    EXPECT_EQ(4, type("BOTH"));
    EXPECT_EQ(4, type("both"));
    EXPECT_EQ(2, type("mnav"));
    EXPECT_EQ(2, type("other"));
    EXPECT_EQ(2, type(""));
}

TEST(SuperUserMessage, NamesUnitAndPort) {
    const Bytes expected{0xFF, 0x81, 0xA8, 0x6B, 0x09, 0x00, 0x00, 0x90, 0x50, 0x82,
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00,
                         0x1A, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xE4, 0xFF};
    EXPECT_EQ(expected, bytesOf(makeSuperUserCmd(2, 3)));
}

TEST(SuperUserMessage, KeepsThreeBitsOfTheUnitAndTwoOfThePort) {
    EXPECT_EQ(0x00, makeSuperUserCmd(0, 0)->data[5]);
    EXPECT_EQ(0x1F, makeSuperUserCmd(0xFFFF, 0xFFFF)->data[5]);
    EXPECT_EQ(0x09, makeSuperUserCmd(9, 5)->data[5]);
}

TEST(ConfigRequestMessage, AsksAndTellsNothingElse) {
    const Bytes expected{0xFF, 0x81, 0xA8, 0x6B, 0x09, 0x00, 0x00, 0x90, 0x50, 0x82,
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00,
                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF};
    EXPECT_EQ(expected, bytesOf(makeConfigRequest()));
}

TEST(OptionMessage, TellsWhatStandsBehindThePort) {
    const Bytes zephon{0xFF, 0x81, 0xA8, 0x6B, 0x09, 0x00, 0x00, 0x90, 0x50, 0x82,
                       0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x00,
                       0x0C, 0x09, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF1, 0xF6};
    EXPECT_EQ(zephon, bytesOf(makeOptionCmd({"SET_ZP_OUTPUT_CONFIG", "4", "COM1", "ZEPHON"})));
    const Bytes corvane{0xFF, 0x81, 0xA8, 0x6B, 0x09, 0x00, 0x00, 0x90, 0x50, 0x82,
                        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x00,
                        0x19, 0x08, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xE4, 0xF7};
    EXPECT_EQ(corvane,
              bytesOf(makeOptionCmd({"CURRENT_ZP_OUTPUT_CONFIG", "1", "COM3", "CORVANE", "x"})));
}

TEST(OptionMessage, KeepsThreeBitsOfTheUnit) {
    const auto unit = [](std::string const& text) {
        return makeOptionCmd({"V", text, "COM1", "CORVANE"})->data[5] & 7;
    };
    EXPECT_EQ(0, unit("0"));
    EXPECT_EQ(0, unit("x"));
    EXPECT_EQ(1, unit("9"));
    EXPECT_EQ(7, unit("-1"));
    EXPECT_EQ(7, unit("99999999999999999999999"));
}

TEST(OptionMessage, RefusesWhatHasNoCode) {
    const auto whatOf = [](Fields const& row) {
        try {
            makeOptionCmd(row);
        } catch (std::invalid_argument const& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_EQ("Invalid COMport", whatOf({"V", "1", "COM4", "ZEPHON"}));
    EXPECT_EQ("Invalid COMport", whatOf({"V", "1", "", ""}));
    EXPECT_EQ("Invalid receiver capabilities", whatOf({"V", "1", "COM1", "zephon"}));
    EXPECT_EQ("Invalid receiver capabilities", whatOf({"V", "1", "COM1", ""}));
}

TEST(OptionRow, IsACommandOrItsAnswerWithAllFields) {
    EXPECT_TRUE(isOptionRow({"SET_ZP_OUTPUT_CONFIG", "1", "COM1", "ZEPHON"}));
    EXPECT_TRUE(isOptionRow({"CURRENT_ZP_OUTPUT_CONFIG", "", "", "", ""}));
    EXPECT_FALSE(isOptionRow({"CURRENT_ZP_OUTPUT_CONFIG", "1", "COM1"}));
    EXPECT_FALSE(isOptionRow({"CURRENT_ZEPHON_COM", "1", "COM1", "ZEPHON"}));
    EXPECT_FALSE(isOptionRow({}));
}

}  // namespace
