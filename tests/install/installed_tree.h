// What this build installs, in a folder of its own for as long as a test needs it.
#pragma once

#include "common/file_descriptor.h"
#include "common/temporary.h"
#include "support/run_program.h"

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace install {

// Installs into a prefix. Installing writes a manifest into the build folder, so one tree at a time
// exists on this build, and the manifests that were there before are there again afterwards.
class InstalledTree {
public:
    InstalledTree();
    InstalledTree(const InstalledTree&) = delete;
    InstalledTree& operator=(const InstalledTree&) = delete;
    ~InstalledTree();

    // Where the tree stands, and a place beside it for what a test makes.
    const std::filesystem::path& prefix() const { return prefix_; }
    std::filesystem::path scratch() const { return folder_.path(); }
    std::filesystem::path program(const std::string& name) const { return prefix_ / "bin" / name; }
    std::filesystem::path libraries() const;
    std::filesystem::path documents() const { return prefix_ / "share/doc/talvor"; }
    // Moves it to another place; nothing is left at the old one.
    void move_away();
    // Every file and link of it, as seen from the prefix.
    std::set<std::string> files() const;
    // Runs the build's target `uninstall`.
    test_support::ProgramResult uninstall() const;

private:
    talvor::FileDescriptor lock_;
    talvor::TemporaryFolder folder_;
    std::filesystem::path prefix_;
    std::map<std::filesystem::path, std::string> manifests_before_;
};

// Runs a command that has to succeed; what it printed.
std::string output_of(const std::vector<std::string>& command);

// The files and links below a folder, as seen from it.
std::set<std::string> files_below(const std::filesystem::path& folder);

} // namespace install
