#include <array>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PCSMaintReporter/PCSMaintReporter.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace ASPN2::Maintenance;
using Record = PCSMaintReporter::Record;

namespace {

Record build(std::string const& description, std::string const& identity = "PNT-D") {
    return PCSMaintReporter::buildMaintenanceEvent(
        description, identity, Criticality::UNIT_FAULT, Outcome::UNIT_FAULT, 49, Category::BBIT,
        LRU::UNIT_1, static_cast<Component::eCmpo>(2), LRU::UNIT_2,
        static_cast<Component::eCmpo>(14), LRU::UNIT_3, static_cast<Component::eCmpo>(16),
        static_cast<LRU::eLru>(-4), static_cast<Component::eCmpo>(17), 60);
}

std::vector<std::string> descriptions(std::string const& text, char const* prefix) {
    std::vector<std::string> result;
    for (Record const& record :
         PCSMaintReporter::buildMultiMaintenanceEventVectorFromLongDescription(text, build(""),
                                                                               prefix)) {
        result.emplace_back(record.description().data());
    }
    return result;
}

/// `count` pieces of 49 characters, which is what the prefix "Evt" leaves room for.
std::string chunks(int count) {
    std::string text;
    for (int index = 0; index < count; ++index) {
        text += std::string(49, static_cast<char>('a' + index));
    }
    return text;
}

struct Places {
    int location = -1;
    std::vector<std::pair<int, int>> pairs;

    bool operator==(Places const& other) const {
        return location == other.location && pairs == other.pairs;
    }
};

Places placesOf(unsigned serverId) {
    std::array<LRU::eLru, 4> lrus{};
    std::array<Component::eCmpo, 4> components{};
    lrus.fill(static_cast<LRU::eLru>(0xEE));
    components.fill(static_cast<Component::eCmpo>(0xEE));
    Places places;
    places.location = PCSMaintReporter::getDefaultLruSubForServerID(
        serverId, lrus[0], components[0], lrus[1], components[1], lrus[2], components[2], lrus[3],
        components[3]);
    for (std::size_t index = 0; index < lrus.size(); ++index) {
        places.pairs.emplace_back(lrus.at(index), components.at(index));
    }
    while (!places.pairs.empty() && places.pairs.back() == std::pair(0, 0)) {
        places.pairs.pop_back();
    }
    return places;
}

}  // namespace

TEST(MaintenanceRecords, HoldEveryFieldInItsPlace) {
    Record const record = build("POST Tst: 5 Hard");
    EXPECT_STREQ(record.description().data(), "POST Tst: 5 Hard");
    EXPECT_STREQ(record.identity().data(), "PNT-D");
    EXPECT_EQ(record.criticality_id(), 4);
    EXPECT_EQ(record.outcome_id(), 3);
    EXPECT_EQ(record.location_id(), 49);
    EXPECT_EQ(record.category_id(), 7);
    EXPECT_EQ(record.repeat_in_seconds(), 60);
    std::vector<std::pair<int, int>> sources;
    for (auto const& source : record.fault_sources()) {
        sources.emplace_back(source.lru_id(), source.component_id());
    }
    EXPECT_THAT(sources, ElementsAre(std::pair(1, 2), std::pair(2, 14), std::pair(3, 16),
                                     std::pair(-4, 17)));
}

TEST(MaintenanceRecords, NameTheNumbersOfTheTests) {
    EXPECT_EQ(Category::UNSPECIFIED, 0);
    EXPECT_EQ(Category::POST, 3);
    EXPECT_EQ(Category::CBIT, 5);
    EXPECT_EQ(Category::BBIT, 7);
}

TEST(MaintenanceRecords, KeepFiftyFiveCharactersOfADescription) {
    for (std::size_t size : {55U, 56U, 57U, 1000U}) {
        Record const record = build(std::string(size, 'd'));
        EXPECT_EQ(record.description().data(), std::string(55, 'd'));
        EXPECT_EQ(record.description().back(), '\0');
    }
    EXPECT_EQ(build(std::string(54, 'd')).description().data(), std::string(54, 'd'));
}

TEST(MaintenanceRecords, KeepFifteenCharactersOfAnIdentity) {
    for (std::size_t size : {15U, 16U, 17U, 1000U}) {
        Record const record = build("d", std::string(size, 'i'));
        EXPECT_EQ(record.identity().data(), std::string(15, 'i'));
        EXPECT_EQ(record.identity().back(), '\0');
    }
}

TEST(MaintenanceRecords, FillTextsWithZeros) {
    Record const record = build("", "ab");
    EXPECT_THAT(record.description(), testing::Each('\0'));
    EXPECT_EQ(std::string(record.identity().data(), 16), std::string("ab") + std::string(14, '\0'));
}

// ---- Long descriptions

TEST(LongDescriptions, ThatFitGiveOneRecordWithoutANumber) {
    EXPECT_THAT(descriptions("short", nullptr), ElementsAre("Evt:short"));
    EXPECT_THAT(descriptions(chunks(1), nullptr), ElementsAre("Evt:" + std::string(49, 'a')));
    EXPECT_THAT(descriptions(std::string(50, 'x'), "AB"),
                ElementsAre("AB:" + std::string(50, 'x')));
}

TEST(LongDescriptions, OneCharacterMoreGivesTwoNumberedRecords) {
    EXPECT_THAT(descriptions(chunks(1) + "z", nullptr),
                ElementsAre("Evt_1:" + std::string(49, 'a'), "Evt_2:z"));
}

TEST(LongDescriptions, OfTenPiecesGiveNineRecords) {
    std::vector<std::string> expected;
    for (int index = 0; index < 9; ++index) {
        expected.push_back("Evt_" + std::to_string(index + 1) + ':' +
                           std::string(49, static_cast<char>('a' + index)));
    }
    EXPECT_EQ(descriptions(chunks(9), nullptr), expected);
    EXPECT_EQ(descriptions(chunks(10), nullptr), expected);
    EXPECT_EQ(descriptions(chunks(9) + "z", nullptr), expected);
}

TEST(LongDescriptions, OfEightPiecesGiveEightRecords) {
    EXPECT_THAT(descriptions(chunks(8), nullptr), SizeIs(8));
    EXPECT_THAT(descriptions(chunks(7) + "z", nullptr), SizeIs(8));
}

TEST(LongDescriptions, ThatAreEmptyGiveNoRecord) {
    EXPECT_THAT(descriptions("", nullptr), IsEmpty());
}

TEST(LongDescriptions, MayHaveAnEmptyPrefix) {
    EXPECT_THAT(descriptions(std::string(52, 'x'), ""), ElementsAre(':' + std::string(52, 'x')));
    EXPECT_THAT(descriptions(std::string(53, 'x'), ""),
                ElementsAre("_1:" + std::string(52, 'x'), "_2:x"));
}

TEST(LongDescriptions, WithALongPrefixComeInPiecesOfOneCharacter) {
    for (std::size_t size : {51U, 52U}) {
        std::string const prefix(size, 'p');
        EXPECT_THAT(descriptions("ab", prefix.c_str()),
                    ElementsAre(prefix + "_1:" + (size == 51 ? "a" : ""),
                                prefix + "_2:" + (size == 51 ? "b" : "")));
        EXPECT_THAT(descriptions("a", prefix.c_str()), ElementsAre(prefix + ":a"));
    }
    for (std::size_t size : {53U, 60U, 5000U}) {
        std::string const prefix(size, 'p');
        EXPECT_THAT(descriptions(std::string(1000, 'x'), prefix.c_str()), SizeIs(9));
        EXPECT_THAT(descriptions("x", prefix.c_str()), ElementsAre((prefix + ":x").substr(0, 55)));
    }
}

TEST(LongDescriptions, LeaveAllOtherFieldsTheSame) {
    std::vector<Record> const records =
        PCSMaintReporter::buildMultiMaintenanceEventVectorFromLongDescription(chunks(3), build("x"),
                                                                              nullptr);
    ASSERT_THAT(records, SizeIs(3));
    for (Record record : records) {
        record.description(build("x").description());
        EXPECT_EQ(record, build("x"));
    }
}

// ---- Places by server

TEST(MaintenancePlaces, AreThoseOfTheServer) {
    std::map<unsigned, Places> expected;
    for (unsigned id : {1U, 32U, 37U, 40U, 51U, 53U, 54U}) {
        expected[id] = {1, {{1, 0}}};
    }
    for (unsigned id : {33U, 34U}) {
        expected[id] = {1, {{1, 5}}};
    }
    expected[35] = {1, {{1, 9}}};
    expected[36] = {1, {{1, 10}}};
    expected[38] = {1, {{1, 3}}};
    for (unsigned id : {39U, 50U, 80U}) {
        expected[id] = {4, {{1, 4}, {2, 14}, {2, 16}}};
    }
    for (unsigned id : {41U, 42U}) {
        expected[id] = {16, {{3, 16}, {3, 17}, {1, 17}, {1, 1}}};
    }
    for (unsigned id : {44U, 45U, 46U, 52U, 125U}) {
        expected[id] = {1, {{1, 8}}};
    }
    expected[47] = {14, {{2, 15}, {2, 14}, {2, 13}, {2, 16}}};
    expected[48] = {1, {{1, 6}}};
    expected[49] = {1, {{1, 2}}};
    for (unsigned id : {96U, 97U}) {
        expected[id] = {0, {{1, 1}}};
    }
    for (unsigned id = 0; id <= 300; ++id) {
        Places const wanted = expected.count(id) != 0 ? expected.at(id) : Places{0, {}};
        EXPECT_EQ(placesOf(id), wanted) << id;
    }
    EXPECT_EQ(placesOf(0xFFFFFFFF), (Places{0, {}}));
}
