// What the README shows is what happens.
#include "support/manual.h"
#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const fs::path source_dir = TALVOR_SOURCE_DIR;

std::string text_of(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

bool private_shm_is_allowed() {
    return test_support::run_program(
               {test_support::built_program("talvor-podsim"), "--private", "true"})
               .status == 0;
}

TEST(ReadmeTest, EveryCommandInABoxWorksAndPrintsWhatThePageShows) {
    if (!private_shm_is_allowed()) {
        GTEST_SKIP() << "namespaces are not allowed here";
    }
    test_support::run_boxes_of(source_dir / "README.md", 4);
}

// The demonstration itself builds the tree, so it is run beside the tests; here its commands are
// compared with those that the page shows.
TEST(ReadmeTest, ShowsCommandsOfTheDemonstration) {
    const std::string demo = text_of(source_dir / "scripts/demo");
    EXPECT_THAT(demo, HasSubstr("show --simulate --board examples/board.toml chain\n"));
    EXPECT_THAT(demo, HasSubstr("show --simulate svf examples/demo.svf\n"));
}

// The page on the bridge has them in boxes, where they are run.
TEST(ReadmeTest, ShowsCommandsOfTheBridge) {
    const std::string page = text_of(source_dir / "README.md");
    const std::string bridge = text_of(source_dir / "docs/bridge.md");
    std::istringstream section(page.substr(page.find("## Other tools at the pod")));
    size_t commands = 0;
    for (std::string line; std::getline(section, line) && !line.starts_with("## In c");) {
        if (line.starts_with("$ ") || line.starts_with(" ")) {
            EXPECT_THAT(bridge, HasSubstr("\n" + line.substr(line[0] == '$' ? 2 : 0) + "\n"));
            ++commands;
        }
    }
    EXPECT_EQ(commands, 11u);
}

TEST(ReadmeTest, NamesFilesThatAreThere) {
    const std::string page = text_of(source_dir / "README.md");
    const std::regex link(R"(\]\(([^)#:]+)\))");
    size_t links = 0;
    for (std::sregex_iterator at(page.begin(), page.end(), link), end; at != end; ++at) {
        EXPECT_TRUE(fs::exists(source_dir / (*at)[1].str())) << (*at)[1];
        ++links;
    }
    EXPECT_GT(links, 8u);
}

TEST(ArchitectureTest, NamesFilesThatAreThere) {
    const std::regex file(
        R"(`((src|include|hardware|common|podsim|host|tool|tests)/[a-z0-9_/]+\.(h|cpp))`)");
    for (const char* name : {"docs/architecture.md", "docs/architecture-programs.md"}) {
        const std::string page = text_of(source_dir / name);
        size_t files = 0;
        for (std::sregex_iterator at(page.begin(), page.end(), file), end; at != end; ++at) {
            EXPECT_TRUE(fs::exists(source_dir / (*at)[1].str())) << name << ": " << (*at)[1];
            ++files;
        }
        EXPECT_GT(files, 8u) << name;
    }
}

} // namespace
