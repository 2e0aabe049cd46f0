// The floors of the house: an include never runs up, never in a circle, and never to a room that is
// another's own.
#include "structure/include_graph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace {

using structure::Floors;
using structure::IncludeGraph;
using testing::ElementsAre;
using testing::IsEmpty;

// ---- the reader of the graph ------------------------------------------------------------------

const Floors kTwoFloors = {{"controller", "log"}, {"scan"}};

TEST(IncludeGraphTest, FindsQuotedIncludesOnly) {
    EXPECT_THAT(
        structure::quoted_includes("#include \"sys/a.h\"\n#include <cstdio>\n"
                                   "  # include \"log/b.h\" // why\n// #include \"no.h\"\n"),
        ElementsAre("sys/a.h", "log/b.h"));
}

TEST(IncludeGraphTest, TellsAnArrowThatRunsUp) {
    const IncludeGraph graph = {{"src/scan/engine.cpp", {"src/controller/wait.h"}},
                                {"src/controller/wait.cpp", {"src/scan/engine.h"}}};
    EXPECT_THAT(structure::arrows_up(graph, "src", kTwoFloors),
                ElementsAre("src/controller/wait.cpp -> src/scan/engine.h"));
}

TEST(IncludeGraphTest, TellsAnArrowBetweenNeighbours) {
    const IncludeGraph graph = {{"src/controller/key.cpp", {"src/log/store.h"}}};
    EXPECT_THAT(structure::arrows_up(graph, "src", kTwoFloors),
                ElementsAre("src/controller/key.cpp -> src/log/store.h"));
}

TEST(IncludeGraphTest, TellsAFolderThatIsNoFloor) {
    const IncludeGraph graph = {{"src/scan/handle.cpp", {"src/cellar/rat.h"}},
                                {"src/cellar/rat.cpp", {"src/log/store.h"}}};
    EXPECT_THAT(structure::arrows_up(graph, "src", kTwoFloors),
                ElementsAre("src/cellar/rat.cpp -> src/log/store.h",
                            "src/scan/handle.cpp -> src/cellar/rat.h"));
}

TEST(IncludeGraphTest, LeavesOtherHousesToTheirOwnRule) {
    const IncludeGraph graph = {{"src/scan/handle.cpp", {"include/host.h"}}};
    EXPECT_THAT(structure::arrows_up(graph, "src", kTwoFloors), IsEmpty());
}

TEST(IncludeGraphTest, TellsAnArrowIntoAForeignRoom) {
    const IncludeGraph graph = {
        {"tool/a.cpp", {"tool/b.h", "include/host.h", "src/sys/os.h", "common/text.h"}}};
    EXPECT_THAT(structure::arrows_out(graph, "tool", {"common", "include/host.h"}),
                ElementsAre("tool/a.cpp -> src/sys/os.h"));
}

TEST(IncludeGraphTest, TellsACircle) {
    const IncludeGraph graph = {
        {"sys/a.h", {"sys/b.h"}}, {"sys/b.h", {"sys/c.h"}}, {"sys/c.h", {"sys/b.h"}}};
    EXPECT_EQ(structure::circle(graph), "sys/b.h -> sys/c.h -> sys/b.h");
}

TEST(IncludeGraphTest, TakesADiamondForNoCircle) {
    const IncludeGraph graph = {{"sys/a.cpp", {"sys/b.h", "sys/c.h"}},
                                {"sys/b.h", {"sys/d.h"}},
                                {"sys/c.h", {"sys/d.h"}},
                                {"sys/d.h", {}}};
    EXPECT_EQ(structure::circle(graph), "");
}

TEST(IncludeGraphTest, TellsTwoUnitsThatNeedEachOther) {
    const IncludeGraph graph = {{"sys/a.h", {}},
                                {"sys/a.cpp", {"sys/a.h", "sys/b.h"}},
                                {"sys/b.h", {}},
                                {"sys/b.cpp", {"sys/b.h", "sys/a.h"}}};
    EXPECT_EQ(structure::circle(graph), "");
    EXPECT_EQ(structure::circle(structure::units_of(graph)), "sys/a -> sys/b -> sys/a");
}

// ---- the tree ---------------------------------------------------------------------------------

const std::vector<std::string> kHostHeaders = {"include/jti_typedef.h", "include/cfg_export.h",
                                               "include/jsc_external.h", "include/jsc_export.h",
                                               "include/shm_structs.h"};

std::vector<std::string> with_host_headers(std::vector<std::string> places) {
    places.insert(places.end(), kHostHeaders.begin(), kHostHeaders.end());
    return places;
}

// A house: what it may include outside of itself, its floors, ground first (none: it has one room),
// and an include count below which the graph was not read rightly.
struct House {
    std::string name;
    std::vector<std::string> allowed;
    Floors floors;
    size_t least_edges;
};

std::vector<House> houses() {
    return {
        {"hardware", {}, {}, 0},
        {"src",
         {"include", "hardware"},
         {{"sys"},
          {"log", "config"}, // neighbours that do not know each other
          {"pll"},
          {"transport"},
          {"controller"},
          {"scan"},
          {"api"},
          {"export"}},
         300},
        {"common", {"hardware", "include/shm_structs.h"}, {}, 10},
        {"podsim",
         {"common", "hardware", "include/shm_structs.h", "include/jti_typedef.h"},
         {{"base", "model"},
          {"batch"},
          {"proxy", "control"},
          {"pod"},
          {"description", "trace", "external"},
          {"station"},
          {"main"}},
         150},
        {"host",
         with_host_headers({"common"}),
         {{"jtag", "drawing"}, // neighbours that do not know each other
          {"waveform", "play", "board"},
          {"svf"},
          {"xsvf", "stapl"}, // neighbours that do not know each other
          {"format"},
          {"driver", "scan"}, // neighbours that do not know each other
          {"clock", "chain"},
          {"session", "boundary"}, // neighbours that do not know each other
          {"bridge", "simulator"}, // neighbours that do not know each other
          {"serve"},
          {"interconnect"}},
         150},
        {"tool",
         with_host_headers({"common", "host"}),
         {{"output", "command_line"}, {"terminal", "gang"}, {"commands"}, {"main.cpp"}},
         80},
        {"python", with_host_headers({"common", "host"}), {}, 30},
    };
}

const IncludeGraph& tree() {
    static const IncludeGraph graph = structure::read_include_graph(
        TALVOR_SOURCE_DIR,
        {"hardware", "include", "src", "common", "podsim", "host", "tool", "python"},
        {"", "include", "src"});
    return graph;
}

TEST(FloorsTest, TheGraphHoldsEveryHouse) {
    for (const House& house : houses()) {
        const IncludeGraph part = structure::part_of(tree(), house.name);
        EXPECT_FALSE(part.empty()) << house.name;
        EXPECT_GE(structure::count_edges(part), house.least_edges) << house.name;
    }
}

TEST(FloorsTest, EveryIncludeRunsDown) {
    for (const House& house : houses()) {
        if (!house.floors.empty()) {
            EXPECT_THAT(structure::arrows_up(tree(), house.name, house.floors), IsEmpty());
        }
    }
}

TEST(FloorsTest, NoHouseIncludesWhatIsAnothersOwn) {
    for (const House& house : houses()) {
        EXPECT_THAT(structure::arrows_out(tree(), house.name, house.allowed), IsEmpty());
    }
}

TEST(FloorsTest, NoIncludeRunsInACircle) {
    EXPECT_EQ(structure::circle(tree()), "");
    for (const House& house : houses()) {
        EXPECT_EQ(structure::circle(structure::units_of(structure::part_of(tree(), house.name))),
                  "")
            << house.name;
    }
}

TEST(FloorsTest, OnlyFloorsFromTheTransportUpSeeTheHandle) {
    for (const char* floor : {"sys", "log", "config", "pll"}) {
        const IncludeGraph part = structure::part_of(tree(), std::string("src/") + floor);
        for (const auto& [file, includes] : part) {
            EXPECT_THAT(includes, testing::Not(testing::Contains("include/jsc_internal.h")))
                << file;
        }
    }
}

TEST(FloorsTest, OnlyFloorsThatReadTheConfigurationSeeItsRecords) {
    for (const char* floor : {"sys", "log"}) {
        const IncludeGraph part = structure::part_of(tree(), std::string("src/") + floor);
        for (const auto& [file, includes] : part) {
            EXPECT_THAT(includes, testing::Not(testing::Contains("include/read_variable.h")))
                << file;
        }
    }
}

TEST(FloorsTest, HostHeadersDoNotKnowTheDriversOwn) {
    for (const std::string& header : kHostHeaders) {
        ASSERT_EQ(tree().count(header), 1u) << header;
        for (const std::string& include : tree().at(header)) {
            EXPECT_THAT(kHostHeaders, testing::Contains(include)) << header;
        }
    }
}

TEST(FloorsTest, TheChannelHeaderStandsOnItsOwn) {
    EXPECT_THAT(tree().at("include/shm_structs.h"), IsEmpty());
}

TEST(FloorsTest, WhatIsInstalledIsWhatHostsAndProxiesInclude) {
    std::ifstream file(std::string(TALVOR_SOURCE_DIR) + "/include/CMakeLists.txt");
    std::vector<std::string> installed;
    bool in_set = false;
    for (std::string word; file >> word;) {
        in_set = in_set || word == "FILES";
        if (in_set && word.find(".h") != word.npos) {
            installed.push_back("include/" + word.substr(0, word.find(')')));
        }
    }
    EXPECT_THAT(installed, testing::UnorderedElementsAreArray(kHostHeaders));
}

TEST(FloorsTest, TheFolderOfHeadersHoldsSeven) {
    EXPECT_THAT(structure::part_of(tree(), "include"), testing::SizeIs(7));
}

} // namespace
