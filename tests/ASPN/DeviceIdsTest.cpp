#include <set>
#include <string>

#include <gtest/gtest.h>

#include "ASPN/DeviceIds.h"

using ASPN2::Components;
using ASPN2::DeviceIdFactory;
using ASPN2::ServerIds;
using ASPN2::SystemIds;

TEST(SystemIds, KnowsTheSystemsByTheirNames) {
    EXPECT_EQ(SystemIds::from_string("OSTREL"), 1);
    EXPECT_EQ(SystemIds::from_string("ILMAR"), 2);
    EXPECT_EQ(SystemIds::from_string("CorvanePlus"), 3);
}

TEST(SystemIds, GivesZeroForEveryOtherName) {
    EXPECT_EQ(SystemIds::from_string("ostrel"), 0) << "case counts";
    EXPECT_EQ(SystemIds::from_string("OSTREL "), 0);
    EXPECT_EQ(SystemIds::from_string("OSTRE"), 0);
    EXPECT_EQ(SystemIds::from_string(""), 0);
    EXPECT_EQ(SystemIds::from_string(nullptr), 0);
}

TEST(ServerIds, NamesTheServersThatThisProgramTalksWith) {
    EXPECT_STREQ(ServerIds::to_string(38), "AltNavUnit");
    EXPECT_STREQ(ServerIds::to_string(39), "Trevo");
    EXPECT_STREQ(ServerIds::to_string(47), "HalvorServer");
    EXPECT_STREQ(ServerIds::to_string(48), "HmiServer");
    EXPECT_STREQ(ServerIds::to_string(49), "ZephonServer");
    EXPECT_STREQ(ServerIds::to_string(53), "SystemController");
}

TEST(ServerIds, KnowsForty) {
    std::set<std::string> names;
    int known = 0;
    for (int id = 0; id <= 255; ++id) {
        const std::string name = ServerIds::to_string(static_cast<unsigned char>(id));
        if (name != "INVALID_SERVER_ID") {
            EXPECT_GE(id, 1);
            EXPECT_LE(id, 125);
            ++known;
            names.insert(name);
        }
    }
    EXPECT_EQ(known, 40);
    EXPECT_EQ(names.size(), 40u) << "no two servers share a name";
}

TEST(ServerIds, KnowsEveryServerThatMaintenanceReportsName) {
    for (const int id : {1,  32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 44, 45,
                         46, 47, 48, 49, 50, 51, 52, 53, 54, 80, 96, 97, 125}) {
        EXPECT_STRNE(ServerIds::to_string(static_cast<unsigned char>(id)), "INVALID_SERVER_ID")
            << id;
    }
}

TEST(ServerIds, GivesAnInvalidNameForAnIdThatIsNotRegistered) {
    EXPECT_STREQ(ServerIds::to_string(0), "INVALID_SERVER_ID");
    EXPECT_STREQ(ServerIds::to_string(126), "INVALID_SERVER_ID");
    EXPECT_STREQ(ServerIds::to_string(255), "INVALID_SERVER_ID");
}

TEST(Components, LabelsInstanceZeroByItsServer) {
    EXPECT_STREQ(Components::to_component(53, 0), "Meridane");
    EXPECT_STREQ(Components::to_component(49, 0), "PNT-D");
    EXPECT_STREQ(Components::to_component(38, 0), "ALTNAV");
    EXPECT_STREQ(Components::to_component(39, 0), "GPS");
    EXPECT_STREQ(Components::to_component(47, 0), "HALVORSW");
}

TEST(Components, GivesAnInvalidLabelForInstanceZeroOfAnotherServer) {
    EXPECT_STREQ(Components::to_component(48, 0), "INVALID_SERVER_ID");
    EXPECT_STREQ(Components::to_component(0, 0), "INVALID_SERVER_ID");
    EXPECT_STREQ(Components::to_component(255, 0), "INVALID_SERVER_ID");
}

TEST(Components, LabelsInstancesOneAndTwoWhateverTheServer) {
    EXPECT_STREQ(Components::to_component(99, 1), "Corvane");
    EXPECT_STREQ(Components::to_component(49, 1), "Corvane");
    EXPECT_STREQ(Components::to_component(99, 2), "HALVOR");
    EXPECT_STREQ(Components::to_component(0, 2), "HALVOR");
}

TEST(Components, GivesAnInvalidLabelForEveryOtherInstance) {
    EXPECT_STREQ(Components::to_component(49, 3), "INVALID_SERVER_ID");
    EXPECT_STREQ(Components::to_component(53, 255), "INVALID_SERVER_ID");
}

TEST(DeviceIdFactory, BeginsWithNeitherSystemNorServer) {
    EXPECT_EQ(DeviceIdFactory().makeDeviceId(59, 0), 59u << 8);
}

TEST(DeviceIdFactory, PutsEachFieldIntoItsByte) {
    EXPECT_EQ(DeviceIdFactory(1, 49).makeDeviceId(2, 7), 0x01310207u);
    EXPECT_EQ(DeviceIdFactory("CorvanePlus", 49).makeDeviceId(46, 3), 0x03312E03u);
    EXPECT_EQ(DeviceIdFactory(255, 255).makeDeviceId(255, 255), 0xFFFFFFFFu);
}

TEST(DeviceIdFactory, KeepsTheUpperBytesWithTheLargestTopicAndInstance) {
    EXPECT_EQ(DeviceIdFactory(0x01, 0x31).makeDeviceId(255, 255), 0x0131FFFFu);
}

TEST(DeviceIdFactory, TakesANewSystemAndServer) {
    DeviceIdFactory ids("OSTREL", 48);
    ids.reset("ILMAR", 49);
    EXPECT_EQ(ids.makeDeviceId(0, 0), 0x02310000u);
    ids.reset(3, 38);
    EXPECT_EQ(ids.makeDeviceId(0, 0), 0x03260000u);
}

TEST(DeviceIdFactory, CountsAnUnknownSystemAsZero) {
    EXPECT_EQ(DeviceIdFactory("ostrel", 49).makeDeviceId(0, 0), 0x00310000u);
    DeviceIdFactory ids(1, 49);
    ids.reset("nothing", 49);
    EXPECT_EQ(ids.makeDeviceId(0, 0), 0x00310000u);
}

TEST(DeviceIdFactory, MakesIdsThatTellTheirSource) {
    const std::uint32_t id = DeviceIdFactory("OSTREL", 96).makeDeviceId(2, 5);
    EXPECT_EQ(ASPN2::serverIdOf(id), 96);
    EXPECT_EQ(ASPN2::instanceOf(id), 5);
    EXPECT_EQ(ASPN2::serverIdOf(0xFFFFFFFFu), 255);
}
