#include "common/temporary.h"
#include "tool/commands/line_completion.h"
#include "tool/terminal/line_editor.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace talvor {
namespace {

using Words = std::vector<std::string>;

struct Line {
    Line() {
        Command program = line.program();
        program.flag("--json", json, "");
        Command link = program.command("link", "", [](Context&) -> Status { return {}; });
        link.command("find", "", [](Context&) -> Status { return {}; });
        Command file = program.command("load", "", [](Context&) -> Status { return {}; });
        file.flag("--fast", json, "");
        file.option("FILE", text, "");
    }

    bool json = false;
    std::string text;
    CommandLine line{"", ""};
};

TEST(CompleteLineTest, KnowsCommandsAndOptions) {
    Line one;
    const Command program = one.line.program();
    EXPECT_EQ(complete_line(program, ""), (Words{"link", "load"}));
    EXPECT_EQ(complete_line(program, "li"), Words{"link"});
    EXPECT_EQ(complete_line(program, "link "), Words{"find"});
    EXPECT_EQ(complete_line(program, "load --f"), Words{"--fast"});
    EXPECT_EQ(complete_line(program, "zz"), Words{});
}

TEST(CompleteLineTest, KnowsFilesWhereThereIsNoCommand) {
    Line one;
    const TemporaryFolder folder = TemporaryFolder::create().value();
    std::filesystem::create_directory(folder.path() + "/able");
    std::ofstream(folder.path() + "/about.svf") << "x";
    std::ofstream(folder.path() + "/.hidden") << "x";
    EXPECT_EQ(complete_line(one.line.program(), "load " + folder.path() + "/ab"),
              (Words{folder.path() + "/able/", folder.path() + "/about.svf"}));
    EXPECT_EQ(complete_line(one.line.program(), "load " + folder.path() + "/").size(), 2U);
    EXPECT_EQ(complete_line(one.line.program(), "load /nonexistent/a"), Words{});
}

TEST(CommonBeginningTest, IsWhatAllShare) {
    EXPECT_EQ(common_beginning({"status", "state"}), "stat");
    EXPECT_EQ(common_beginning({"state"}), "state");
    EXPECT_EQ(common_beginning({"a", "b"}), "");
    EXPECT_EQ(common_beginning({"ab", "a"}), "a");
    EXPECT_EQ(common_beginning({}), "");
}

} // namespace
} // namespace talvor
