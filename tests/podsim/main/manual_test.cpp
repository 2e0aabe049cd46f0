// The manual's commands do what the manual says.
#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace test_support {
namespace {

struct Box {
    std::string commands;
    std::string output; // the box of text after it, if there is one
    int line = 0;
};

// The boxes of shell commands in a page, each with the expected output that follows it.
std::vector<Box> boxes_of(const std::string& path) {
    std::vector<Box> boxes;
    std::ifstream page(path);
    std::string line;
    std::string* into = nullptr;
    for (int number = 1; std::getline(page, line); ++number) {
        if (line == "```sh") {
            boxes.push_back({"", "", number});
            into = &boxes.back().commands;
        } else if (line == "```text") {
            into = &boxes.back().output;
        } else if (line == "```") {
            into = nullptr;
        } else if (into != nullptr) {
            into->append(line).append("\n");
        }
    }
    return boxes;
}

TEST(Manual, every_command_in_a_box_works_and_prints_what_the_page_shows) {
    if (run_program({built_program("talvor-podsim"), "--private", "true"}).status != 0) {
        GTEST_SKIP() << "namespaces are not allowed here";
    }
    // Relative names of the page begin at the top of the source tree; what it writes goes here.
    std::string folder = std::filesystem::temp_directory_path() / "talvor-manual-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    std::filesystem::create_directory_symlink(SOURCE_FOLDER "/examples", folder + "/examples");
    const std::string programs =
        std::filesystem::path(built_program("talvor-podsim")).parent_path();
    const std::vector<Box> boxes = boxes_of(SOURCE_FOLDER "/docs/podsim.md");
    EXPECT_EQ(boxes.size(), 6U);
    for (const Box& box : boxes) {
        std::ofstream(folder + "/box.sh")
            << "set -e\ncd " << folder << "\nPATH=" << programs << ":$PATH\n"
            << box.commands;
        const ProgramResult result = run_program({"/bin/sh", folder + "/box.sh"});
        EXPECT_EQ(result.status, 0) << "line " << box.line << ": " << result.errors;
        EXPECT_EQ(result.output, box.output) << "line " << box.line << ": " << result.errors;
    }
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace test_support
