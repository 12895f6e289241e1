#include <fstream>
#include <iterator>

#include "gmock/gmock.h"
#include "tests/messages/WireDocument.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

WireDocument const& document() {
    static WireDocument const read = [] {
        std::ifstream in(ZEPHON_WIRE_DOCUMENT);
        EXPECT_TRUE(in) << ZEPHON_WIRE_DOCUMENT;
        return WireDocument({std::istreambuf_iterator<char>(in), {}});
    }();
    return read;
}

std::map<std::string, LayoutFields> declaredLayouts() {
    std::map<std::string, LayoutFields> layouts;
    for (auto const& field : declaredFields()) {
        layouts[field.layout][field.name] = field.place;
    }
    return layouts;
}

TEST(WireDocument, CanBeRead) {
    EXPECT_THAT(document().errors, IsEmpty());
}

TEST(WireDocument, TellsEveryDeclaredFieldWhereItIs) {
    for (auto const& [layout, fields] : declaredLayouts()) {
        auto const table = document().layouts.find(layout);
        if (table == document().layouts.end()) {
            ADD_FAILURE() << "no table of " << layout;
            continue;
        }
        for (auto const& [name, place] : fields) {
            auto const told = table->second.find(name);
            EXPECT_EQ(toText(place),
                      told == table->second.end() ? "not told" : toText(told->second))
                << layout << "::" << name;
        }
    }
}

TEST(WireDocument, TellsNoFieldThatIsNotDeclared) {
    auto const declared = declaredLayouts();
    for (auto const& [layout, fields] : document().layouts) {
        auto const known = declared.find(layout);
        for (auto const& [name, place] : fields) {
            EXPECT_TRUE(known != declared.end() && known->second.count(name) == 1)
                << layout << "::" << name;
        }
    }
}

TEST(WireDocument, TellsTheHeadOfEveryMessageWithALayout) {
    std::map<unsigned, MessageHead> declared;
    for (auto const& field : declaredFields()) {
        if (field.id) {
            declared[*field.id] = field.head;
        }
    }
    EXPECT_FALSE(declared.empty());
    for (auto const& [id, head] : declared) {
        auto const told = document().heads.find(id);
        if (told == document().heads.end()) {
            ADD_FAILURE() << "message " << id << " is not told";
            continue;
        }
        EXPECT_EQ(head.words, told->second.words) << id;
        EXPECT_EQ(head.flagWord, told->second.flagWord) << id;
    }
}

TEST(WireDocument, FieldsOfTheSameLayoutAreKnownByDifferentNames) {
    std::size_t fields = 0;
    for (auto const& [layout, named] : declaredLayouts()) {
        fields += named.size();
    }
    EXPECT_EQ(declaredFields().size(), fields);
    EXPECT_GT(fields, 25U);  // those of message 15050 alone
}

// How a table is read.

constexpr char tableHead[] =
    "| Offset | Type | `OneLayout` | Content |\n"
    "|---|---|---|---|\n";

FieldPlace placeIn(std::string const& row) {
    WireDocument const read(tableHead + row + "\n");
    EXPECT_THAT(read.errors, IsEmpty());
    auto const layout = read.layouts.find("OneLayout");
    return layout == read.layouts.end() || layout->second.count("A") == 0 ? FieldPlace{}
                                                                          : layout->second.at("A");
}

TEST(WireDocumentTable, KnowsTheFormsOfFields) {
    EXPECT_EQ((FieldPlace{16, 16, "bits"}), placeIn("| 2 | word | `A` | |"));
    EXPECT_EQ((FieldPlace{24, 8, "bits"}), placeIn("| 3 | byte | `A` | |"));
    EXPECT_EQ((FieldPlace{30, 1, "bits"}), placeIn("| 2 | bit 14 | `A` | |"));
    EXPECT_EQ((FieldPlace{24, 4, "bits"}), placeIn("| 3 | bits 0-3 | `A` | |"));
    EXPECT_EQ((FieldPlace{16, 16, "signed word"}), placeIn("| 2 | signed word | `A` | |"));
    EXPECT_EQ((FieldPlace{16, 32, "32-bit"}), placeIn("| 2 | 32-bit | `A` | |"));
    EXPECT_EQ((FieldPlace{16, 48, "Tesk extended"}), placeIn("| 2 | Tesk extended | `A` | |"));
    EXPECT_EQ((FieldPlace{16, 112, "words"}), placeIn("| 2 | 7 words | `A` | |"));
    EXPECT_EQ((FieldPlace{16, 56, "bytes"}), placeIn("| 2 | 7 bytes | `A` | |"));
    EXPECT_EQ((FieldPlace{32, 96, "characters"}), placeIn("| 4 | 12 characters | `A` | |"));
    EXPECT_EQ((FieldPlace{32, 96, "swapped characters"}),
              placeIn("| 4 | 12 swapped characters | `A` | |"));
    EXPECT_EQ((FieldPlace{80, 1280, "groups"}), placeIn("| 10 | 40 groups of 4 bytes | `A` | |"));
}

TEST(WireDocumentTable, GivesEachNameOfALineItsOwnOffset) {
    WireDocument const read(std::string(tableHead) + "| 0, 8 | double | `A`, `B` | both |\n");
    EXPECT_THAT(read.errors, IsEmpty());
    EXPECT_EQ((FieldPlace{64, 64, "double"}), read.layouts.at("OneLayout").at("B"));
}

TEST(WireDocumentTable, RefusesWhatItCannotRead) {
    for (std::string const row :
         {"| 0, 8 | double | `A` | |", "| 0 | double | A | |", "| x | double | `A` | |",
          "| 0 | quadruple | `A` | |", "| 0 | word | |", "| 0 | bits 3 | `A` | |", "| 0 |"}) {
        EXPECT_THAT(WireDocument(tableHead + row + "\n").errors, ElementsAre(row));
    }
    EXPECT_THAT(
        WireDocument(std::string(tableHead) + "| 0 | word | `A` | |\n| 2 | word | `A` | |\n")
            .errors,
        ElementsAre("| 2 | word | `A` | |"));
}

TEST(WireDocumentTable, LeavesTablesOfOtherKindsAlone) {
    WireDocument const read(
        "| Offset | Type | Content |\n|---|---|---|\n| 4 | 64-bit | number |\n");
    EXPECT_THAT(read.errors, IsEmpty());
    EXPECT_THAT(read.layouts, IsEmpty());
}

TEST(WireDocumentTable, ReadsTheHeadsOfMessages) {
    WireDocument const read(
        "| Id | Class | Words | Flag word |\n|---|---|---|---|\n"
        "| 7, 8 | `A` | 20 | 0x9000 |\n| any | `B` | 0 | 0x8800 as ACK |\n");
    EXPECT_THAT(read.errors, IsEmpty());
    ASSERT_EQ(2U, read.heads.size());
    EXPECT_EQ(20U, read.heads.at(8).words);
    EXPECT_EQ(0x9000U, read.heads.at(7).flagWord);
}

}  // namespace
