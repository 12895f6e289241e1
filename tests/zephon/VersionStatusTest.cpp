#include <cstddef>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "zephon/VersionStatus.h"

namespace {

struct Accessors {
    char const* key;
    char const* (VersionStatus::*get)() const;
    void (VersionStatus::*set)(std::string const&);
};

/// In the order of the message.
const std::vector<Accessors> fields{
    {"SW1", &VersionStatus::getSoftware1Version, &VersionStatus::setSoftware1Version},
    {"FW1", &VersionStatus::getFirmware1Version, &VersionStatus::setFirmware1Version},
    {"HWPN1", &VersionStatus::getHardware1Version, &VersionStatus::setHardware1Version},
    {"HWSN1", &VersionStatus::getSerialNumber1, &VersionStatus::setSerialNumber1},
    {"OS1", &VersionStatus::getOs1Version, &VersionStatus::setOs1Version},
    {"SW2", &VersionStatus::getSoftware2Version, &VersionStatus::setSoftware2Version},
    {"FW2", &VersionStatus::getFirmware2Version, &VersionStatus::setFirmware2Version},
    {"HWPN2", &VersionStatus::getHardware2Version, &VersionStatus::setHardware2Version},
    {"HWSN2", &VersionStatus::getSerialNumber2, &VersionStatus::setSerialNumber2},
    {"OS2", &VersionStatus::getOs2Version, &VersionStatus::setOs2Version},
    {"SW3", &VersionStatus::getSoftware3Version, &VersionStatus::setSoftware3Version},
    {"SW4", &VersionStatus::getSoftware4Version, &VersionStatus::setSoftware4Version},
    {"SW5", &VersionStatus::getSoftware5Version, &VersionStatus::setSoftware5Version},
    {"SW6", &VersionStatus::getSoftware6Version, &VersionStatus::setSoftware6Version},
    {"SW7", &VersionStatus::getSoftware7Version, &VersionStatus::setSoftware7Version},
    {"SW8", &VersionStatus::getSoftware8Version, &VersionStatus::setSoftware8Version},
    {"AT", &VersionStatus::getAntennaTable, &VersionStatus::setAntennaTable},
};

VersionStatus decoded(std::string const& text) {
    VersionStatus status;
    status.decodeResponse(text.c_str());
    return status;
}

TEST(VersionStatus, StartsWithoutAnyField) {
    VersionStatus status;
    EXPECT_FALSE(status.isVersionInfoSet());
    EXPECT_FALSE(status.isSoftware1Set());
    EXPECT_EQ("PARTNUMBERS", status.createMessage());
    EXPECT_EQ("", status.createSoftwareFirmwareOnlyMessage());
    EXPECT_EQ("", status.createSerialNumberOnlyMessage());
    for (auto const& field : fields) {
        EXPECT_STREQ("", (status.*field.get)()) << field.key;
    }
}

TEST(VersionStatus, KeepsEachFieldByItself) {
    for (auto const& field : fields) {
        VersionStatus status;
        (status.*field.set)("1.2");
        EXPECT_STREQ("1.2", (status.*field.get)()) << field.key;
        EXPECT_EQ(std::string("PARTNUMBERS,") + field.key + ":1.2", status.createMessage());
        EXPECT_TRUE(status.isVersionInfoSet()) << field.key;
        EXPECT_EQ(std::string(field.key) == "SW1", status.isSoftware1Set()) << field.key;
        for (auto const& other : fields) {
            EXPECT_EQ(&other == &field, *(status.*other.get)() != '\0') << other.key;
        }
    }
}

TEST(VersionStatus, TellsAllFieldsInTheirOrder) {
    VersionStatus status;
    for (std::size_t i = fields.size(); i > 0; --i) {
        (status.*fields[i - 1].set)("v" + std::to_string(i));
    }
    EXPECT_EQ(
        "PARTNUMBERS,SW1:v1,FW1:v2,HWPN1:v3,HWSN1:v4,OS1:v5,SW2:v6,FW2:v7,HWPN2:v8,HWSN2:v9,"
        "OS2:v10,SW3:v11,SW4:v12,SW5:v13,SW6:v14,SW7:v15,SW8:v16,AT:v17",
        status.createMessage());
    EXPECT_EQ(
        "SW1:v1,FW1:v2,OS1:v5,SW2:v6,FW2:v7,OS2:v10,SW3:v11,SW4:v12,SW5:v13,SW6:v14,SW7:v15,"
        "SW8:v16,AT:v17",
        status.createSoftwareFirmwareOnlyMessage());
    EXPECT_EQ("HWSN1:v4,HWSN2:v9", status.createSerialNumberOnlyMessage());
}

TEST(VersionStatus, TellsTheNextFieldFirstWithoutSoftware1) {
    VersionStatus status;
    status.setFirmware1Version("3");
    status.setOs2Version("5");
    EXPECT_EQ("PARTNUMBERS,FW1:3,OS2:5", status.createMessage());
    EXPECT_EQ("FW1:3,OS2:5", status.createSoftwareFirmwareOnlyMessage());
}

TEST(VersionStatus, TellsSerialNumber2AloneWithoutACommaInFront) {
    VersionStatus status;
    status.setSerialNumber2("value");
    EXPECT_EQ("HWSN2:value", status.createSerialNumberOnlyMessage());
}

TEST(VersionStatus, DropsWhiteSpaceBehindAValueOnly) {
    VersionStatus status;
    status.setSoftware1Version("ABC   ");
    EXPECT_STREQ("ABC", status.getSoftware1Version());
    status.setSoftware1Version(" \tA B \n\r\t\f\v");
    EXPECT_STREQ(" \tA B", status.getSoftware1Version());
    status.setSoftware1Version(" \n ");
    EXPECT_STREQ("", status.getSoftware1Version());
    EXPECT_TRUE(status.isSoftware1Set()) << "with an empty value";
    EXPECT_EQ("PARTNUMBERS,SW1:", status.createMessage());
}

TEST(VersionStatus, ForgetsItsFlagsAndKeepsItsValuesWithAReset) {
    VersionStatus status;
    for (auto const& field : fields) {
        (status.*field.set)("7");
    }
    status.reset();
    EXPECT_FALSE(status.isVersionInfoSet());
    EXPECT_FALSE(status.isSoftware1Set());
    EXPECT_EQ("PARTNUMBERS", status.createMessage());
    for (auto const& field : fields) {
        EXPECT_STREQ("7", (status.*field.get)()) << field.key;
    }
}

TEST(VersionStatus, DecodesWhatItTells) {
    VersionStatus status;
    for (auto const& field : fields) {
        (status.*field.set)(std::string("of ") + field.key);
    }
    const VersionStatus copy = decoded(status.createMessage());
    for (auto const& field : fields) {
        EXPECT_STREQ((status.*field.get)(), (copy.*field.get)()) << field.key;
    }
    EXPECT_EQ(status.createMessage(), copy.createMessage());
}

TEST(VersionStatus, SkipsKeysThatItDoesNotKnow) {
    const VersionStatus status = decoded("SW1:1.2,BAD:7,FW1:3");
    EXPECT_STREQ("1.2", status.getSoftware1Version());
    EXPECT_STREQ("3", status.getFirmware1Version());
    EXPECT_EQ("PARTNUMBERS,SW1:1.2,FW1:3", status.createMessage());
    EXPECT_FALSE(decoded("sw1:1,SW:1,SW9:1, SW2:1,SW2 :1,:1,SW10:1").isVersionInfoSet());
}

TEST(VersionStatus, SplitsAtTheFirstColonOnly) {
    const VersionStatus status = decoded("SW1:a:b::c,FW1:");
    EXPECT_STREQ("a:b::c", status.getSoftware1Version());
    EXPECT_STREQ("", status.getFirmware1Version());
    EXPECT_EQ("PARTNUMBERS,SW1:a:b::c,FW1:", status.createMessage());
}

TEST(VersionStatus, TakesTheLastOfTwoValues) {
    EXPECT_STREQ("2", decoded("SW1:1,SW1:2").getSoftware1Version());
}

TEST(VersionStatus, AddsToWhatItHas) {
    VersionStatus status = decoded("SW1:1");
    status.decodeResponse("PARTNUMBERS,FW1:2");
    EXPECT_EQ("PARTNUMBERS,SW1:1,FW1:2", status.createMessage());
}

TEST(VersionStatus, DecodesAnyText) {
    for (auto const& text :
         {std::string(), std::string("SW1"), std::string(","), std::string(":"), std::string(",:,"),
          std::string(1'000'000, ','), std::string(1'000'000, ':'), std::string(1'000'000, 'X'),
          std::string("\xFF\x01:\xFE,\x80")}) {
        EXPECT_FALSE(decoded(text).isVersionInfoSet()) << text.substr(0, 20);
    }
    VersionStatus status;
    status.decodeResponse(nullptr);
    EXPECT_FALSE(status.isVersionInfoSet());
    status.decodeResponse("SW1:1\0,FW1:2");
    EXPECT_EQ("PARTNUMBERS,SW1:1", status.createMessage()) << "ends with the first NUL";
    EXPECT_EQ(1'000'000U,
              std::string(decoded("AT:" + std::string(1'000'000, 'X')).getAntennaTable()).size());
}

TEST(VersionStatus, MayHoldAnyBytes) {
    VersionStatus status;
    status.setSoftware1Version(std::string("a\0b \xFF", 5));
    EXPECT_STREQ("a", status.getSoftware1Version());
    EXPECT_EQ(std::string("PARTNUMBERS,SW1:a\0b \xFF", 21), status.createMessage());
}

TEST(VersionStatus, HasOneObjectForTheProcess) {
    VersionStatus::Instance().reset();
    VersionStatus::Instance().setOs1Version("6.1");
    EXPECT_EQ("PARTNUMBERS,OS1:6.1", VersionStatus::Instance().createMessage());
    VersionStatus::Instance().reset();
}

}  // namespace
