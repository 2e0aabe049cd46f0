// The page about installing does what it shows.
#include "install/installed_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace install {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const fs::path kSource = TALVOR_SOURCE_DIR;

// The boxes of one kind, one after the other.
std::string boxes(const std::string& kind, size_t wanted) {
    std::ifstream page(kSource / "docs/installing.md");
    std::string text;
    size_t found = 0;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("```")) {
            inside = line == "```" + kind;
            found += inside ? 1 : 0;
        } else if (inside) {
            text += line + "\n";
        }
    }
    EXPECT_EQ(found, wanted) << kind;
    return text;
}

TEST(InstallingPageTest, ItsCommandsInstallBuildRunAndTakeAway) {
    if (std::string(TALVOR_INSTALLED_LIBDIR) != "lib") {
        GTEST_SKIP() << "the page shows the usual folders, and this build has others";
    }
    if (test_support::run_program({"pkg-config", "--version"}).status != 0) {
        GTEST_SKIP() << "pkg-config is not installed";
    }
    const InstalledTree holds_the_build;
    const fs::path home = holds_the_build.scratch() / "home";
    fs::create_directories(home / "build");
    fs::create_symlink(TALVOR_BUILD_DIR, home / "build/release");
    std::ofstream(home / "CMakeLists.txt") << boxes("cmake", 1);
    const fs::path outside = kSource / "tests/install/outside";
    fs::copy(outside / "host.c", home / "my_host.c");
    fs::copy(outside / "first_idcode.h", home);
    const std::string output =
        output_of({"env", "-C", home, "HOME=" + home.string(), "sh", "-eu", "-c", boxes("sh", 4)});
    EXPECT_THAT(output, HasSubstr("5 devices, 33 instruction bits"));
    const std::string answer = "C: 1a2b3c4d, code 0\n";
    const size_t by_cmake = output.find(answer);
    EXPECT_NE(by_cmake, output.npos) << output;
    EXPECT_NE(output.find(answer, by_cmake + 1), output.npos) << output;
    if (fs::exists(home / "talvor")) {
        EXPECT_THAT(files_below(home / "talvor"), testing::IsEmpty());
    }
}

} // namespace
} // namespace install
