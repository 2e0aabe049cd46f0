#include "install/installed_tree.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/file.h>

namespace install {
namespace {

namespace fs = std::filesystem;

const fs::path kBuild = TALVOR_BUILD_DIR;

talvor::TemporaryFolder new_folder() {
    auto folder = talvor::TemporaryFolder::create();
    EXPECT_TRUE(folder) << headline(folder.error());
    return *std::move(folder);
}

talvor::FileDescriptor locked_build() {
    const std::string file = kBuild / "installed_tree.lock";
    talvor::FileDescriptor lock(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    EXPECT_EQ(flock(lock.get(), LOCK_EX), 0);
    return lock;
}

std::string text_of(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::map<fs::path, std::string> manifests() {
    std::map<fs::path, std::string> found;
    for (const auto& entry : fs::directory_iterator(kBuild)) {
        if (entry.path().filename().string().starts_with("install_manifest")) {
            found[entry.path()] = text_of(entry.path());
        }
    }
    return found;
}

void remove_manifests() {
    for (const auto& [path, text] : manifests()) {
        fs::remove(path);
    }
}

} // namespace

std::string output_of(const std::vector<std::string>& command) {
    const auto run = test_support::run_program(command);
    EXPECT_EQ(run.status, 0) << command.front() << ": " << run.output << run.errors;
    return run.output;
}

std::set<std::string> files_below(const fs::path& folder) {
    std::set<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_symlink() || !entry.is_directory()) {
            files.insert(entry.path().lexically_relative(folder));
        }
    }
    return files;
}

InstalledTree::InstalledTree()
    : lock_(locked_build()), folder_(new_folder()), prefix_(scratch() / "first place"),
      manifests_before_(manifests()) {
    remove_manifests();
    output_of({CMAKE_PROGRAM, "--install", kBuild, "--prefix", prefix_});
}

InstalledTree::~InstalledTree() {
    remove_manifests();
    for (const auto& [path, text] : manifests_before_) {
        std::ofstream(path) << text;
    }
}

fs::path InstalledTree::libraries() const {
    return prefix_ / TALVOR_INSTALLED_LIBDIR;
}

void InstalledTree::move_away() {
    const fs::path there = scratch() / "second/place";
    fs::create_directories(there.parent_path());
    fs::rename(prefix_, there);
    prefix_ = there;
}

std::set<std::string> InstalledTree::files() const {
    return files_below(prefix_);
}

test_support::ProgramResult InstalledTree::uninstall() const {
    return test_support::run_program({CMAKE_PROGRAM, "-P", kBuild / "uninstall.cmake"});
}

} // namespace install
