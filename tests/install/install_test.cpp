// What is installed, where, and that it works from there.
#include "install/installed_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <regex>

namespace install {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSubsetOf;

const fs::path kSource = TALVOR_SOURCE_DIR;
const std::string kLib = TALVOR_INSTALLED_LIBDIR;

std::set<std::string> development_files() {
    return {"include/talvor/cfg_export.h",
            "include/talvor/jsc_export.h",
            "include/talvor/jsc_external.h",
            "include/talvor/jti_typedef.h",
            "include/talvor/shm_structs.h",
            kLib + "/cmake/Talvor/TalvorConfig.cmake",
            kLib + "/cmake/Talvor/TalvorConfigVersion.cmake",
            kLib + "/cmake/Talvor/TalvorTargets.cmake",
            kLib + "/libjsctalvor_340.so",
            kLib + "/libjsctalvor_340.so.0",
            kLib + "/pkgconfig/jsctalvor.pc"};
}

// What is there in any case; the documents stand in for their kind.
std::set<std::string> wanted_files() {
    std::set<std::string> files = development_files();
    files.merge(std::set<std::string>{
        "bin/talvor", "bin/talvor-podsim", "share/bash-completion/completions/talvor",
        "share/doc/talvor/CHANGELOG.md", "share/doc/talvor/LICENSE", "share/doc/talvor/README.md",
        "share/doc/talvor/docs/talvor.md", "share/doc/talvor/examples/board.toml",
        "share/doc/talvor/examples/demo.svf", "share/doc/talvor/examples/read_idcode.c",
        "share/man/man1/talvor.1", "share/talvor/built_in.toml"});
    return files;
}

// What may be there on top of that.
bool is_allowed(const std::string& file) {
    static const std::regex kAllowed(
        "share/(man/man[1357]/[A-Za-z0-9_.-]+\\.[1357]"
        "|doc/talvor/docs/[a-z0-9-]+\\.(md|svg)|doc/talvor/examples/"
        "([a-z]+/)?[a-z0-9_-]+(\\.(c|h|svf|stapl|toml|cfg|net|bsd|py|ini|yaml|ipynb)|_svf)"
        "|doc/talvor/html/.*|zsh/site-functions/_talvor[a-z-]*"
        "|fish/vendor_completions.d/talvor[a-z-]*\\.fish"
        "|bash-completion/completions/talvor[a-z-]*)|" +
        kLib + "/cmake/Talvor/TalvorTargets-[a-z]+\\.cmake|" + kLib +
        "/python3\\.[0-9]+/site-packages/talvor(/([a-z_]+/)*(_core\\.[a-z0-9_-]+\\.so|"
        "[a-z_]+\\.pyi?|py\\.typed)|-[0-9.]+\\.dist-info/[a-zA-Z_.]+)");
    return std::regex_match(file, kAllowed);
}

TEST(InstallTest, BringsWhatHostsNeedAndNothingOfTheTests) {
    const InstalledTree tree;
    std::set<std::string> files = tree.files();
    EXPECT_THAT(wanted_files(), IsSubsetOf(files));
    const std::set<std::string> wanted = wanted_files();
    std::erase_if(files, [&](const auto& file) { return wanted.contains(file); });
    std::erase_if(files, is_allowed);
    EXPECT_THAT(files, IsEmpty());
    EXPECT_EQ(fs::read_symlink(tree.libraries() / "libjsctalvor_340.so"), "libjsctalvor_340.so.0");
}

TEST(InstallTest, NamesNoPlaceOfTheMachineThatBuiltIt) {
    const InstalledTree tree;
    for (const std::string& file : tree.files()) {
        std::ostringstream text;
        text << std::ifstream(tree.prefix() / file).rdbuf();
        EXPECT_EQ(text.str().find(TALVOR_BUILD_DIR), std::string::npos) << file;
        EXPECT_EQ(text.str().find(TALVOR_SOURCE_DIR), std::string::npos) << file;
    }
}

TEST(InstallTest, ManualPagesNameTheVersion) {
    const InstalledTree tree;
    EXPECT_THAT(output_of({"grep", "^.TH", tree.prefix() / "share/man/man1/talvor.1"}),
                HasSubstr(std::string("\"talvor ") + TALVOR_PROJECT_VERSION + "\""));
}

// The installed tool with its simulator and library; the environment must not help it to either.
std::string simulated_chain(const InstalledTree& tree) {
    return output_of({"env", "-u", "TALVOR_LIBRARY", "-u", "LD_LIBRARY_PATH", "PATH=/usr/bin:/bin",
                      tree.program("talvor"), "--simulate", "--board",
                      tree.documents() / "examples/board.toml", "chain"});
}

TEST(InstallTest, TheToolFindsSimulatorAndLibraryWhereverTheTreeStands) {
    InstalledTree tree;
    EXPECT_THAT(simulated_chain(tree), HasSubstr("5 devices, 33 instruction bits"));
    tree.move_away();
    EXPECT_THAT(simulated_chain(tree), HasSubstr("5 devices, 33 instruction bits"));
    EXPECT_THAT(output_of({tree.program("talvor"), "--simulate", "info"}),
                HasSubstr(tree.libraries() / "libjsctalvor_340.so.0"));
}

TEST(InstallTest, ThePythonPackageAndItsPluginAreFoundWhereverTheTreeStands) {
    InstalledTree tree;
    const auto packages = [&] { return tree.libraries() / TALVOR_PYTHON_FOLDER / "site-packages"; };
    if (!fs::exists(packages())) {
        GTEST_SKIP() << "this build has no Python module";
    }
    tree.move_away();
    const std::string said = output_of(
        {"env", "-u", "TALVOR_LIBRARY", "-u", "LD_LIBRARY_PATH", "PYTHONDONTWRITEBYTECODE=1",
         "PYTHONPATH=" + packages().string(), "/usr/bin/python3", "-c",
         "import importlib.metadata, talvor\n"
         "from talvor import _core\n"
         "with talvor.simulate() as pod: print(len(pod.chain()), 'devices')\n"
         "print(_core.library_facts(None)[0])\n"
         "print(importlib.metadata.version('talvor'))\n"
         "print(*importlib.metadata.entry_points(group='pytest11', name='talvor'))\n"});
    EXPECT_THAT(said,
                HasSubstr("5 devices\n" + (tree.libraries() / "libjsctalvor_340.so.0").string() +
                          "\n" TALVOR_PROJECT_VERSION "\n"));
    EXPECT_THAT(said, HasSubstr("value='talvor.pytest_plugin'"));
}

TEST(InstallTest, TheBuiltInDescriptionIsTheOneThatTheToolSimulates) {
    const InstalledTree tree;
    const std::string by_file = output_of(
        {tree.program("talvor"),
         "--simulate=" + (tree.prefix() / "share/talvor/built_in.toml").string(), "chain"});
    EXPECT_EQ(by_file, output_of({tree.program("talvor"), "--simulate", "chain"}));
}

TEST(InstallTest, UninstallLeavesNothingButWhatSomebodyElsePutIn) {
    const InstalledTree tree;
    const fs::path python = tree.libraries() / TALVOR_PYTHON_FOLDER / "site-packages";
    if (fs::exists(python)) {
        output_of({"/usr/bin/python3", "-m", "compileall", "-q", python});
        ASSERT_TRUE(fs::exists(python / "talvor/__pycache__"));
    }
    const fs::path foreign = tree.documents() / "notes.txt";
    std::ofstream(foreign) << "mine\n";
    const auto run = tree.uninstall();
    EXPECT_EQ(run.status, 0) << run.output << run.errors;
    EXPECT_EQ(tree.files(), std::set<std::string>{"share/doc/talvor/notes.txt"});
    EXPECT_FALSE(fs::exists(tree.prefix() / "include/talvor"));
    EXPECT_FALSE(fs::exists(tree.documents() / "docs"));
    EXPECT_TRUE(!fs::exists(python) || fs::is_empty(python));
    const auto again = tree.uninstall();
    EXPECT_NE(again.status, 0);
    EXPECT_THAT(again.errors, HasSubstr("nothing was installed from"));
}

// The driver alone, configured anew; the library of this build stands in for what that would build.
TEST(InstallTest, TheLibraryAloneComesWithWhatHostsAreBuiltWith) {
    const InstalledTree whole;
    const fs::path build = whole.scratch() / "library only";
    output_of({CMAKE_PROGRAM, "-S", kSource, "-B", build, "-G", "Ninja", "-DTALVOR_LIBRARY_ONLY=ON",
               "-DCMAKE_BUILD_TYPE=Release", std::string("-DCMAKE_C_COMPILER=") + C_COMPILER,
               std::string("-DCMAKE_CXX_COMPILER=") + CXX_COMPILER,
               "-DCMAKE_INSTALL_LIBDIR=" + kLib});
    fs::create_directories(build / "lib");
    for (const char* file : {"libjsctalvor_340.so.0", "libjsctalvor_340.so"}) {
        fs::copy(whole.libraries() / file, build / "lib" / file, fs::copy_options::copy_symlinks);
    }
    const fs::path alone = whole.scratch() / "alone";
    output_of({CMAKE_PROGRAM, "--install", build, "--prefix", alone});
    std::set<std::string> wanted = development_files();
    wanted.insert(kLib + "/cmake/Talvor/TalvorTargets-release.cmake");
    EXPECT_EQ(files_below(alone), wanted);

    const fs::path bare = whole.scratch() / "bare";
    output_of({CMAKE_PROGRAM, "--install", build, "--prefix", bare, "--component", "Library"});
    EXPECT_EQ(files_below(bare), std::set<std::string>{kLib + "/libjsctalvor_340.so.0"});
}

} // namespace
} // namespace install
