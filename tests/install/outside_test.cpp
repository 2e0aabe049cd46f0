// Host programs outside of this tree, built with an installed driver and run on a simulated pod.
#include "install/installed_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace install {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const fs::path kOutside = fs::path(TALVOR_SOURCE_DIR) / "tests/install/outside";

// Runs a host on a pod of its own; on its own it finds the driver where it was linked, unless it
// has to be told.
std::string on_a_pod(const InstalledTree& tree, std::vector<std::string> host) {
    host.insert(host.begin(), {tree.program("talvor-podsim"), "--strict", "--private"});
    return output_of(host);
}

std::vector<std::string> configuration(const InstalledTree& tree, const fs::path& build,
                                       const std::string& wanted) {
    return {CMAKE_PROGRAM,
            "-S",
            kOutside,
            "-B",
            build,
            "-G",
            "Ninja",
            std::string("-DCMAKE_C_COMPILER=") + C_COMPILER,
            std::string("-DCMAKE_CXX_COMPILER=") + CXX_COMPILER,
            "-DCMAKE_PREFIX_PATH=" + tree.prefix().string(),
            "-DWANTED=" + wanted,
            "-DEXAMPLES=" + (tree.documents() / "examples").string()};
}

void build_with_cmake_and_run(const InstalledTree& tree) {
    const fs::path build = tree.prefix().parent_path() / "built by cmake";
    output_of(configuration(tree, build, TALVOR_PROJECT_VERSION));
    output_of({CMAKE_PROGRAM, "--build", build, "-j", "1"});
    EXPECT_EQ(on_a_pod(tree, {build / "host_c"}), "C: 1a2b3c4d, code 0\n");
    EXPECT_EQ(on_a_pod(tree, {build / "host_cpp"}), "C++: 1a2b3c4d, code 0\n");
    EXPECT_EQ(on_a_pod(tree, {build / "read_idcode", tree.libraries() / "libjsctalvor_340.so.0"}),
              "1a2b3c4d\n");
}

TEST(OutsideTest, CMakeFindsTheDriver) {
    const InstalledTree tree;
    build_with_cmake_and_run(tree);
}

TEST(OutsideTest, CMakeFindsTheDriverInATreeThatWasMoved) {
    InstalledTree tree;
    tree.move_away();
    build_with_cmake_and_run(tree);
}

TEST(OutsideTest, CMakeRefusesTheDriverWhereANewerOneIsWanted) {
    const InstalledTree tree;
    const auto run =
        test_support::run_program(configuration(tree, tree.scratch() / "too new", "99.0"));
    EXPECT_NE(run.status, 0);
    EXPECT_THAT(run.errors, HasSubstr(std::string("version: ") + TALVOR_PROJECT_VERSION));
}

std::vector<std::string> pkg_config(const InstalledTree& tree, const std::string& question) {
    return {"env", "PKG_CONFIG_PATH=" + (tree.libraries() / "pkgconfig").string(), "pkg-config",
            question, "jsctalvor"};
}

// A shell splits what pkg-config says, as in any makefile.
void compile(const InstalledTree& tree, const std::string& compiler, const std::string& source,
             const fs::path& program, const std::string& flags) {
    output_of({"env", "PKG_CONFIG_PATH=" + (tree.libraries() / "pkgconfig").string(), "sh", "-c",
               "eval \"$0 -Wall -Wextra -Werror " + flags +
                   " -o '$2' '$1' $(pkg-config --cflags --libs jsctalvor)\"",
               compiler, kOutside / source, program});
}

void build_with_pkg_config_and_run(const InstalledTree& tree) {
    const fs::path c = tree.scratch() / "by pkg-config";
    const fs::path cpp = tree.scratch() / "by pkg-config in C++";
    compile(tree, C_COMPILER, "host.c", c, "-std=c11");
    compile(tree, CXX_COMPILER, "host.cpp", cpp, "-std=c++20");
    const std::string library_path = "LD_LIBRARY_PATH=" + tree.libraries().string();
    EXPECT_EQ(on_a_pod(tree, {"env", library_path, c}), "C: 1a2b3c4d, code 0\n");
    EXPECT_EQ(on_a_pod(tree, {"env", library_path, cpp}), "C++: 1a2b3c4d, code 0\n");
}

TEST(OutsideTest, PkgConfigFindsTheDriverAlsoInATreeThatWasMoved) {
    if (test_support::run_program({"pkg-config", "--version"}).status != 0) {
        GTEST_SKIP() << "pkg-config is not installed";
    }
    InstalledTree tree;
    EXPECT_EQ(output_of(pkg_config(tree, "--modversion")),
              std::string(TALVOR_PROJECT_VERSION) + "\n");
    build_with_pkg_config_and_run(tree);
    tree.move_away();
    build_with_pkg_config_and_run(tree);
}

} // namespace
} // namespace install
