// The floors of the house: an include never runs up, and never in a circle.
#include "structure/include_graph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using structure::IncludeGraph;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string source_dir = TALVOR_SOURCE_DIR;

// Ground first. `log` and `config` are neighbours and do not know each other.
const std::vector<std::vector<std::string>> driver_floors = {
    {"sys"},        {"log", "config"}, {"pll"}, {"transport"},
    {"controller"}, {"scan"},          {"api"}, {"export"}};

TEST(IncludeGraphTest, FindsQuotedIncludesOnly) {
    EXPECT_THAT(
        structure::quoted_includes("#include \"sys/a.h\"\n#include <cstdio>\n"
                                   "  # include \"log/b.h\" // why\n// #include \"no.h\"\n"),
        ElementsAre("sys/a.h", "log/b.h"));
}

TEST(IncludeGraphTest, TellsAnArrowThatRunsUp) {
    const IncludeGraph graph = {{"scan/engine.cpp", {"controller/wait.h"}},
                                {"controller/wait.cpp", {"scan/engine.h"}}};
    EXPECT_THAT(structure::arrows_up(graph, driver_floors),
                ElementsAre("controller/wait.cpp -> scan/engine.h"));
}

TEST(IncludeGraphTest, TellsAnArrowBetweenNeighbours) {
    const IncludeGraph graph = {{"config/key.cpp", {"log/store.h"}}};
    EXPECT_THAT(structure::arrows_up(graph, driver_floors),
                ElementsAre("config/key.cpp -> log/store.h"));
}

TEST(IncludeGraphTest, TellsAFolderThatIsNoFloor) {
    const IncludeGraph graph = {{"api/handle.cpp", {"cellar/rat.h"}}};
    EXPECT_THAT(structure::arrows_up(graph, driver_floors),
                ElementsAre("api/handle.cpp -> cellar/rat.h"));
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

TEST(FloorsTest, EveryIncludeOfTheDriverRunsDown) {
    const IncludeGraph graph = structure::read_include_graph(source_dir + "/src");
    ASSERT_GT(graph.size(), 20u) << "the driver's sources were not found";
    EXPECT_THAT(structure::arrows_up(graph, driver_floors), IsEmpty());
}

TEST(FloorsTest, NoIncludeRunsInACircle) {
    for (const char* place : {"/src", "/include", "/podsim", "/tool"}) {
        const IncludeGraph graph = structure::read_include_graph(source_dir + place);
        EXPECT_EQ(structure::circle(graph), "") << place;
        EXPECT_EQ(structure::circle(structure::units_of(graph)), "") << place;
    }
}

TEST(FloorsTest, HostHeadersDoNotKnowTheDriversOwn) {
    const IncludeGraph graph = structure::read_include_graph(source_dir + "/include");
    for (const char* host : {"jti_typedef.h", "cfg_export.h", "jsc_external.h", "jsc_export.h"}) {
        ASSERT_EQ(graph.count(host), 1u) << host;
        for (const std::string& include : graph.at(host)) {
            EXPECT_TRUE(include == "jti_typedef.h" || include == "cfg_export.h" ||
                        include == "jsc_external.h")
                << host << " -> " << include;
        }
    }
}

TEST(FloorsTest, TheChannelHeaderStandsOnItsOwn) {
    const IncludeGraph graph = structure::read_include_graph(source_dir + "/include");
    EXPECT_THAT(graph.at("shm_structs.h"), IsEmpty());
}

} // namespace
