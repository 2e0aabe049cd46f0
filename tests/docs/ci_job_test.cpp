// The job for continuous integration that the README shows does what it says, in a container
// without rights; and the image that it names holds the packages that there are.
#include "common/temporary.h"
#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const fs::path source_dir = TALVOR_SOURCE_DIR;

// The commands of the job's script.
std::vector<std::string> job_commands() {
    constexpr std::string_view kItem = "    - ";
    std::vector<std::string> commands;
    std::ifstream page(source_dir / "README.md");
    bool in_job = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("```")) {
            in_job = line == "```yaml";
        } else if (in_job && line.starts_with(kItem)) {
            commands.push_back(line.substr(kItem.size()));
        }
    }
    return commands;
}

// What the installed packages give is taken from the build: programs, library, headers.
std::string as_if_installed(const fs::path& folder) {
    const fs::path programs = fs::path(test_support::built_program("talvor")).parent_path();
    fs::create_directory(folder / "bin");
    std::ofstream(folder / "bin/pkg-config")
        << "#!/bin/sh\n[ \"$*\" = '--cflags jsctalvor' ] && echo -I" << source_dir.string()
        << "/include\n";
    fs::permissions(folder / "bin/pkg-config", fs::perms::owner_all);
    fs::create_directory_symlink(source_dir / "examples", folder / "examples");
    return "set -e\ncd " + folder.string() + "\nPATH=" + (folder / "bin").string() + ":" +
           programs.string() +
           ":$PATH\nexport LD_LIBRARY_PATH=" + (programs.parent_path() / "lib").string() + "\n";
}

TEST(CiJobTest, PassesWithoutAnyRights) {
    if (TALVOR_SANITIZED) {
        GTEST_SKIP() << "a host that is not sanitized cannot load a sanitized library";
    }
    const std::vector<std::string> commands = job_commands();
    ASSERT_EQ(commands.size(), 3U);
    const auto folder = talvor::TemporaryFolder::create();
    ASSERT_TRUE(folder);
    std::string script = as_if_installed(folder->path());
    for (const std::string& command : commands) {
        script += command + "\n";
    }
    const auto result = test_support::run_program(
        {test_support::built_program("no_namespaces"), "sh", "-c", script});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("1a2b3c4d\n"));
    EXPECT_THAT(result.output, HasSubstr("all scans answered as expected\n"));
    EXPECT_TRUE(fs::exists(folder->path() + "/results.xml"));
}

// The packages of debian/control are those that the image installs, documentation aside.
TEST(ContainerfileTest, InstallsThePackagesThatThereAre) {
    std::ifstream control(source_dir / "debian/control");
    ASSERT_TRUE(control);
    std::ostringstream containerfile;
    containerfile << std::ifstream(source_dir / "packaging/Containerfile").rdbuf();
    size_t packages = 0;
    for (std::string line; std::getline(control, line);) {
        constexpr std::string_view kPackage = "Package: ";
        if (line.starts_with(kPackage) && !line.ends_with("-doc")) {
            EXPECT_THAT(containerfile.str(),
                        HasSubstr("build/packages/" + line.substr(kPackage.size()) + "_*"));
            ++packages;
        }
    }
    EXPECT_EQ(packages, 5U);
}

} // namespace
