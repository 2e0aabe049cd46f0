// The written manual pages: whole, clean to mandoc, and their lists as the programs describe
// themselves.
#include "common/temporary.h"
#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using test_support::built_program;
using test_support::run_program;
using testing::HasSubstr;

const fs::path pages = fs::path(TALVOR_SOURCE_DIR) / "docs/man";
const std::vector<std::string> names{"talvor.1", "talvor-podsim.1", "talvor-board.5"};

std::string text_of(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

TEST(ManualPageTest, HasTheSectionsThatReadersLookFor) {
    for (const std::string& name : names) {
        const std::string text = text_of(pages / name);
        for (const char* section : {"NAME", "SYNOPSIS", "DESCRIPTION", "FILES", "ENVIRONMENT",
                                    "EXIT STATUS", "EXAMPLES", "SEE ALSO"}) {
            EXPECT_THAT(text, HasSubstr("\n.SH " + std::string(section) + "\n")) << name;
        }
    }
}

TEST(ManualPageTest, MandocFindsNothing) {
    if (run_program({"which", "mandoc"}).status != 0) {
        GTEST_SKIP() << "mandoc is not installed";
    }
    for (const std::string& name : names) {
        const auto lint = run_program({"mandoc", "-T", "lint", pages / name});
        EXPECT_EQ(lint.output + lint.errors, "");
    }
}

// A command or an option that is missing here was added without
// `cmake --build --preset release --target manual-pages`.
TEST(ManualPageTest, ListsAreThoseOfTheProgramsAndOfTheBoardPage) {
    const auto folder = talvor::TemporaryFolder::create();
    ASSERT_TRUE(folder);
    for (const std::string& name : names) {
        const fs::path copy = fs::path(folder->path()) / name;
        fs::copy_file(pages / name, copy);
        const std::vector<std::string> write =
            name.ends_with(".5")
                ? std::vector<std::string>{fs::path(TALVOR_SOURCE_DIR) / "scripts/reference",
                                           "board", copy}
                : std::vector<std::string>{built_program("write_lists"), copy};
        const auto written = run_program(write);
        EXPECT_EQ(written.status, 0) << written.errors;
        EXPECT_EQ(text_of(copy), text_of(pages / name))
            << name << ": build the target manual-pages";
    }
}

// What stands between .nf and .fi under EXAMPLES.
std::vector<std::string> examples_of(const std::string& name) {
    std::istringstream page(text_of(pages / name));
    std::vector<std::string> examples;
    bool in_examples = false;
    bool in_box = false;
    for (std::string line; std::getline(page, line);) {
        in_examples = line.starts_with(".SH ") ? line == ".SH EXAMPLES" : in_examples;
        in_box = line == ".nf" || (in_box && line != ".fi");
        if (in_examples && in_box && !line.starts_with('.')) {
            for (size_t at = 0; (at = line.find("\\-", at)) != std::string::npos;) {
                line.erase(at, 1);
            }
            examples.push_back(line);
        }
    }
    return examples;
}

// On a simulated pod, with the files that the examples name. Completion is tried in the shells.
TEST(ManualPageTest, ExamplesWork) {
    const auto folder = talvor::TemporaryFolder::create();
    ASSERT_TRUE(folder);
    const fs::path examples = fs::path(TALVOR_SOURCE_DIR) / "examples";
    fs::copy_file(examples / "board.toml", folder->path() + "/board.toml");
    fs::copy_file(examples / "demo.svf", folder->path() + "/program.svf");
    const std::string programs = fs::path(built_program("talvor")).parent_path();
    size_t run = 0;
    for (std::string example : examples_of("talvor.1")) {
        if (example.find("completion") != std::string::npos) {
            continue;
        }
        if (example.find("--simulate") == std::string::npos) {
            example.insert(example.find(' '), " --simulate");
        }
        const auto result = run_program(
            {"sh", "-c", "cd " + folder->path() + "; PATH=" + programs + ":$PATH; " + example});
        EXPECT_EQ(result.status, 0) << example << ": " << result.errors;
        ++run;
    }
    EXPECT_EQ(run, 6U);
}

TEST(ManualPageTest, TheBoardOfTheExampleIsOne) {
    const auto folder = talvor::TemporaryFolder::create();
    ASSERT_TRUE(folder);
    std::ofstream board(folder->path() + "/board.toml");
    for (const std::string& line : examples_of("talvor-board.5")) {
        board << line << '\n';
    }
    board.close();
    const auto result = run_program({built_program("talvor"), "--simulate", "--board",
                                     folder->path() + "/board.toml", "status"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("serial 5"));
}

} // namespace
