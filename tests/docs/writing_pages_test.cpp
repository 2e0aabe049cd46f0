// The two pages that go through a program: their commands work, and the code that they show is the
// program's.
#include "support/manual.h"
#include "support/run_program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;

const fs::path source_dir = TALVOR_SOURCE_DIR;

std::string text_of(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// What stands in the boxes of a page that are marked ```c.
std::vector<std::string> code_of(const fs::path& path) {
    std::vector<std::string> code;
    std::ifstream page(path);
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line == "```c") {
            inside = true;
            code.emplace_back();
        } else if (line.starts_with("```")) {
            inside = false;
        } else if (inside) {
            code.back() += line + "\n";
        }
    }
    return code;
}

void expect_code_of(const std::string& program, const std::string& page, size_t boxes) {
    const std::string source = text_of(source_dir / program);
    const std::vector<std::string> code = code_of(source_dir / page);
    EXPECT_EQ(code.size(), boxes);
    for (const std::string& piece : code) {
        EXPECT_NE(source.find(piece), std::string::npos) << page << " shows:\n" << piece;
    }
}

TEST(WritingAHostTest, CommandsWorkAsShown) {
    if (TALVOR_SANITIZED) {
        GTEST_SKIP() << "a host that is not sanitized cannot load a sanitized library";
    }
    test_support::run_boxes_of(source_dir / "docs/writing-a-host.md", 3);
}

TEST(WritingAHostTest, ShowsTheExamplesCode) {
    expect_code_of("examples/read_idcode.c", "docs/writing-a-host.md", 5);
}

TEST(WritingAPodProxyTest, CommandsWorkAsShown) {
    test_support::run_boxes_of(source_dir / "docs/writing-a-pod-proxy.md", 3);
}

TEST(WritingAPodProxyTest, ShowsTheExamplesCode) {
    expect_code_of("examples/minimal_proxy.c", "docs/writing-a-pod-proxy.md", 3);
}

} // namespace
