#include "support/manual.h"

#include "common/temporary.h"
#include "support/podsim_process.h"
#include "support/run_program.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <vector>

namespace test_support {
namespace {

namespace fs = std::filesystem;

struct Box {
    std::string commands;
    std::optional<std::string> output;
    int line = 0;
};

std::vector<Box> boxes_of(const std::string& path) {
    std::vector<Box> boxes;
    std::ifstream page(path);
    std::string* into = nullptr;
    std::string line;
    for (int number = 1; std::getline(page, line); ++number) {
        if (line == "```sh") {
            boxes.push_back({"", std::nullopt, number});
            into = &boxes.back().commands;
        } else if (line == "```text" && !boxes.empty()) {
            into = &boxes.back().output.emplace();
        } else if (line.starts_with("```")) {
            into = nullptr;
        } else if (into != nullptr) {
            into->append(line).append("\n");
        }
    }
    return boxes;
}

void run_box(const Box& box, const fs::path& folder) {
    const fs::path programs = fs::path(built_program("talvor-podsim")).parent_path();
    const std::string script = folder / "box.sh";
    std::ofstream(script)
        << "set -e\ncd " << folder << "\nPATH=" << programs.string() << ":$PATH\n"
        << "unset TALVOR_BOARD; export TALVOR_PARTS= XDG_CONFIG_HOME=/dev/null/none\n"
        << box.commands;
    const ProgramResult result = run_program({"/bin/sh", script});
    EXPECT_EQ(result.status, 0) << "line " << box.line << ": " << result.errors;
    if (box.output) {
        EXPECT_EQ(result.output, *box.output) << "line " << box.line << ": " << result.errors;
    }
}

} // namespace

void run_boxes_of(const std::string& page, size_t boxes) {
    const std::vector<Box> found = boxes_of(page);
    EXPECT_EQ(found.size(), boxes);
    // Relative names of a page begin at the top of the source tree; what it writes goes here.
    const auto folder = talvor::TemporaryFolder::create();
    ASSERT_TRUE(folder) << headline(folder.error());
    for (const char* name : {"examples", "include"}) {
        fs::create_directory_symlink(fs::path(TALVOR_SOURCE_DIR) / name,
                                     fs::path(folder->path()) / name);
    }
    for (const Box& box : found) {
        run_box(box, folder->path());
    }
}

} // namespace test_support
