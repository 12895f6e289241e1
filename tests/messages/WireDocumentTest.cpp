#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>

#include "gmock/gmock.h"
#include "messages/KnownMessages.h"
#include "tests/messages/WireDocument.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string contentOf(std::filesystem::path const& path) {
    std::ifstream in(path);
    EXPECT_TRUE(in) << path;
    return {std::istreambuf_iterator<char>(in), {}};
}

WireDocument const& document() {
    static WireDocument const read = [] {
        return WireDocument(contentOf(ZEPHON_SOURCE_FOLDER "/docs/wire.md"));
    }();
    return read;
}

std::map<std::string, LayoutFields> declaredPlaces() {
    std::map<std::string, LayoutFields> places;
    for (auto const& layout : declaredLayouts()) {
        for (auto const& field : layout.fields) {
            places[layout.name][field.name] = {field.extent.firstBit, field.extent.bits,
                                               field.extent.type, field.unit};
        }
    }
    return places;
}

/// All sources of the server and its links, one behind the other.
std::string const& serverSources() {
    static std::string const read = [] {
        std::string text;
        for (char const* const folder : {"/zephon", "/GpsSerialIo"}) {
            for (auto const& file :
                 std::filesystem::directory_iterator(std::string(ZEPHON_SOURCE_FOLDER) + folder)) {
                if (file.path().extension() == ".cpp") {
                    text += contentOf(file.path());
                }
            }
        }
        return text;
    }();
    return read;
}

TEST(WireDocument, CanBeRead) {
    EXPECT_THAT(document().errors, IsEmpty());
}

TEST(WireDocument, TellsEveryDeclaredFieldWhereItIs) {
    for (auto const& [layout, fields] : declaredPlaces()) {
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
    auto const declared = declaredPlaces();
    for (auto const& [layout, fields] : document().layouts) {
        auto const known = declared.find(layout);
        for (auto const& [name, place] : fields) {
            EXPECT_TRUE(known != declared.end() && known->second.count(name) == 1)
                << layout << "::" << name;
        }
    }
}

TEST(WireDocument, TellsTheHeadOfEveryMessageWithALayout) {
    std::size_t heads = 0;
    for (auto const& layout : declaredLayouts()) {
        if (!layout.head) {
            continue;
        }
        ++heads;
        auto const told = document().messages.find(layout.head->id);
        if (told == document().messages.end()) {
            ADD_FAILURE() << "message " << layout.head->id << " is not told";
            continue;
        }
        EXPECT_EQ(layout.head->words, told->second.words) << layout.name;
        EXPECT_EQ(layout.head->flagWord, told->second.flagWord) << layout.name;
    }
    EXPECT_GT(heads, 25U);
}

TEST(WireDocument, TellsTheKnownMessagesAndNoOthers) {
    std::map<unsigned, std::string> known;
    std::map<unsigned, std::string> told;
    for (auto const& message : knownMessages) {
        EXPECT_TRUE(known.emplace(message.id, message.direction).second) << message.id;
        auto const heading = document().headings.find(message.id);
        if (heading != document().headings.end()) {
            EXPECT_EQ(message.title, heading->second) << message.id;
        }
    }
    for (auto const& [id, row] : document().messages) {
        told[id] = row.direction;
    }
    EXPECT_EQ(known, told);
}

TEST(WireDocument, EveryMessageWithALayoutIsKnownByIt) {
    std::map<std::string, std::set<unsigned>> known;
    for (auto const& message : knownMessages) {
        if (!message.layout.empty()) {
            known[std::string(message.layout)].insert(message.id);
        }
    }
    for (auto const& layout : declaredLayouts()) {
        if (layout.head) {
            EXPECT_EQ(1U, known[layout.name].count(layout.head->id)) << layout.name;
            known.erase(layout.name);
        }
    }
    EXPECT_THAT(known, IsEmpty());
}

TEST(WireDocument, TellsTheHandlerOfEveryRoute) {
    std::string const begin = "GssipRoute{";
    std::string const member = "&ZephonServer::";
    std::string const& text = serverSources();
    std::size_t routes = 0;
    for (auto at = text.find(begin); at != std::string::npos; at = text.find(begin, at + 1)) {
        std::string const row = text.substr(at, text.find('}', at) - at);
        auto const name = row.find(member);
        if (name == std::string::npos) {
            continue;  // nothing but handed on, or the declaration of the class
        }
        ++routes;
        auto const id = static_cast<unsigned>(std::stoul(row.substr(begin.size())));
        auto const told = document().messages.find(id);
        if (told == document().messages.end()) {
            ADD_FAILURE() << row << " is not told";
            continue;
        }
        auto const handler = name + member.size();
        EXPECT_THAT(told->second.functions,
                    testing::Contains(row.substr(handler, row.find(',', handler) - handler)))
            << row;
    }
    EXPECT_GT(routes, 10U);
}

TEST(WireDocument, NamesFunctionsThatAreThere) {
    for (auto const& [id, row] : document().messages) {
        EXPECT_THAT(row.functions, testing::Not(IsEmpty())) << id;
        for (auto const& function : row.functions) {
            EXPECT_NE(std::string::npos, serverSources().find(function + "("))
                << id << ' ' << function;
        }
    }
}

TEST(WireDocument, FieldsOfTheSameLayoutAreKnownByDifferentNames) {
    std::size_t fields = 0;
    std::size_t names = 0;
    for (auto const& layout : declaredLayouts()) {
        fields += layout.fields.size();
    }
    for (auto const& [layout, named] : declaredPlaces()) {
        names += named.size();
    }
    EXPECT_EQ(names, fields);
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
    EXPECT_EQ((FieldPlace{16, 16, "bits", ""}), placeIn("| 2 | word | `A` | |"));
    EXPECT_EQ((FieldPlace{24, 8, "bits", ""}), placeIn("| 3 | byte | `A` | |"));
    EXPECT_EQ((FieldPlace{30, 1, "bits", ""}), placeIn("| 2 | bit 14 | `A` | |"));
    EXPECT_EQ((FieldPlace{24, 4, "bits", ""}), placeIn("| 3 | bits 0-3 | `A` | |"));
    EXPECT_EQ((FieldPlace{16, 16, "signed word", ""}), placeIn("| 2 | signed word | `A` | |"));
    EXPECT_EQ((FieldPlace{16, 32, "32-bit", ""}), placeIn("| 2 | 32-bit | `A` | |"));
    EXPECT_EQ((FieldPlace{16, 48, "Tesk extended", ""}), placeIn("| 2 | Tesk extended | `A` | |"));
    EXPECT_EQ((FieldPlace{16, 112, "words", ""}), placeIn("| 2 | 7 words | `A` | |"));
    EXPECT_EQ((FieldPlace{16, 56, "bytes", ""}), placeIn("| 2 | 7 bytes | `A` | |"));
    EXPECT_EQ((FieldPlace{32, 96, "characters", ""}), placeIn("| 4 | 12 characters | `A` | |"));
    EXPECT_EQ((FieldPlace{32, 96, "swapped characters", ""}),
              placeIn("| 4 | 12 swapped characters | `A` | |"));
    EXPECT_EQ((FieldPlace{80, 1280, "groups", ""}),
              placeIn("| 10 | 40 groups of 4 bytes | `A` | |"));
}

TEST(WireDocumentTable, GivesEachNameOfALineItsOwnOffset) {
    WireDocument const read(std::string(tableHead) + "| 0, 8 | double | `A`, `B` | both |\n");
    EXPECT_THAT(read.errors, IsEmpty());
    EXPECT_EQ((FieldPlace{64, 64, "double", ""}), read.layouts.at("OneLayout").at("B"));
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

TEST(WireDocumentTable, ReadsUnits) {
    EXPECT_EQ("m/s", placeIn("| 4 | float | `A` | velocity | m/s |").unit);
    EXPECT_EQ("", placeIn("| 4 | float | `A` | velocity | |").unit);
}

TEST(WireDocumentTable, ReadsTheTableOfMessages) {
    std::string const head =
        "| Id | Class | Words | Flag word | Direction | Link or queue | Taken or made by |\n"
        "|---|---|---|---|---|---|---|\n";
    WireDocument const read(head +
                            "| 7, 8 | `A` | 20 | 0x9000 | to the unit | 1 | `f`, `C::g` |\n"
                            "| any | `B` | 0 | 0x8800 as ACK | both | any | `h` |\n");
    EXPECT_THAT(read.errors, IsEmpty());
    ASSERT_EQ(2U, read.messages.size());
    EXPECT_EQ(20U, read.messages.at(8).words);
    EXPECT_EQ(0x9000U, read.messages.at(7).flagWord);
    EXPECT_EQ("to the unit", read.messages.at(7).direction);
    EXPECT_THAT(read.messages.at(7).functions, ElementsAre("f", "C::g"));
    std::string const twice = "| 7, 7 | `A` | 20 | 0x9000 | to the unit | 1 | `f` |";
    EXPECT_THAT(WireDocument(head + twice + "\n").errors, ElementsAre(twice));
}

TEST(WireDocumentTable, ReadsHeadings) {
    WireDocument const read("### 7 and 8, a frame\n\n### 9, another, longer\n### Others\n");
    EXPECT_THAT(read.headings, ElementsAre(testing::Pair(7, "a frame"), testing::Pair(8, "a frame"),
                                           testing::Pair(9, "another, longer")));
}

}  // namespace
