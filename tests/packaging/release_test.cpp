// scripts/release, in a small copy of the tree that is a repository of its own.
#include "common/temporary.h"
#include "support/run_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace packaging {
namespace {

namespace fs = std::filesystem;
using test_support::ProgramResult;
using testing::HasSubstr;
using testing::Not;

const std::string kVersion = TALVOR_PROJECT_VERSION;
constexpr std::string_view kStandIn = "talvor.example";
constexpr const char* kLater = "1000.2.3";

class ReleaseTest : public testing::Test {
protected:
    ReleaseTest() {
        const fs::path source = TALVOR_SOURCE_DIR;
        for (const char* name : {"CMakeLists.txt", "CHANGELOG.md", "CONTRIBUTING.md", "debian",
                                 "pyproject.toml", "scripts", "src/exports.txt"}) {
            fs::create_directories((tree_ / name).parent_path());
            fs::copy(source / name, tree_ / name, fs::copy_options::recursive);
        }
        std::ofstream(tree_ / ".gitignore") << "/build/\n";
        // Something to release, whatever the tree's own section holds.
        std::string changelog = text_of("CHANGELOG.md");
        const size_t section = changelog.find("## [Unreleased]\n") + 16;
        write("CHANGELOG.md", changelog.insert(section, "\n- Something that users notice.\n"));
        set_addresses();
        git({"init", "--quiet", "--initial-branch=main"});
        git({"add", "--all"});
        git({"commit", "--quiet", "--message", "Everything"});
    }

    std::string text_of(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(tree_ / name).rdbuf();
        return text.str();
    }
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(tree_ / name) << text;
    }

    // What a person does once, before the first release.
    void set_addresses() const {
        for (const char* name : {"debian/control", "debian/copyright", "debian/upstream/metadata",
                                 "debian/watch", "pyproject.toml"}) {
            std::string text = text_of(name);
            ASSERT_THAT(text, HasSubstr(kStandIn)) << name;
            for (size_t at = 0; (at = text.find(kStandIn, at)) != text.npos;) {
                text.replace(at, kStandIn.size(), "talvor.invalid");
            }
            write(name, text);
        }
    }

    // In the copy, with nothing of the person's own configuration.
    ProgramResult in_tree(std::vector<std::string> command) const {
        command.insert(command.begin(),
                       {"env", "-C", tree_, "GIT_CONFIG_GLOBAL=/dev/null", "GIT_AUTHOR_NAME=A",
                        "GIT_AUTHOR_EMAIL=a@b.example", "GIT_COMMITTER_NAME=A",
                        "GIT_COMMITTER_EMAIL=a@b.example", "SOURCE_DATE_EPOCH=1800000000"});
        return test_support::run_program(command);
    }
    std::string git(std::vector<std::string> words) const {
        words.insert(words.begin(), "git");
        const ProgramResult run = in_tree(words);
        EXPECT_EQ(run.status, 0) << words[1] << ": " << run.errors;
        return run.output;
    }
    ProgramResult release(std::vector<std::string> words) const {
        words.insert(words.begin(), tree_ / "scripts/release");
        return in_tree(words);
    }
    void expect_refused(const std::vector<std::string>& words, const std::string& reason) const {
        const std::string before = git({"rev-parse", "HEAD"});
        const ProgramResult run = release(words);
        EXPECT_EQ(run.status, 1) << run.output;
        EXPECT_THAT(run.errors, HasSubstr(reason));
        EXPECT_EQ(git({"rev-parse", "HEAD"}), before);
        EXPECT_EQ(git({"tag", "--list"}), "");
    }

private:
    talvor::TemporaryFolder folder_ = *talvor::TemporaryFolder::create();
    fs::path tree_ = fs::path(folder_.path()) / "tree";
};

TEST_F(ReleaseTest, ADryRunShowsTheChangesAndMakesNone) {
    const ProgramResult run = release({kLater, "--dry-run"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("\n-project(talvor VERSION " + kVersion + " "));
    EXPECT_THAT(run.output, HasSubstr("\n+project(talvor VERSION 1000.2.3 "));
    EXPECT_THAT(run.output, HasSubstr("\n+## [1000.2.3] - 2027-01-15\n"));
    EXPECT_THAT(run.output, HasSubstr("\n+talvor (1000.2.3-1) unstable; urgency=medium\n"));
    EXPECT_THAT(run.output, HasSubstr("nothing was changed"));
    EXPECT_EQ(git({"status", "--porcelain"}), "");
    EXPECT_EQ(git({"tag", "--list"}), "");
}

TEST_F(ReleaseTest, SetsTheVersionClosesTheSectionCommitsArchivesAndTags) {
    const ProgramResult run = release({kLater, "--no-tests", "--no-packages"});
    ASSERT_EQ(run.status, 0) << run.output << run.errors;
    EXPECT_EQ(git({"log", "-1", "--format=%s"}), "Release 1000.2.3\n");
    EXPECT_EQ(git({"describe"}), "v1000.2.3\n");
    EXPECT_EQ(git({"status", "--porcelain"}), "");
    EXPECT_EQ(in_tree({"scripts/version"}).output, "1000.2.3\n");
    EXPECT_THAT(text_of("CHANGELOG.md"), HasSubstr("## [Unreleased]\n\n## [1000.2.3] - 2027-01-15\n"
                                                   "\n- Something that users notice.\n"));
    EXPECT_THAT(text_of("debian/changelog"), HasSubstr("Fri, 15 Jan 2027 08:00:00 +0000\n"));
    EXPECT_EQ(in_tree({"sh", "-c", "cd build/packages && sha256sum -c SHA256SUMS"}).output,
              "talvor-1000.2.3.tar.gz: OK\n");
    const std::string files =
        in_tree({"tar", "-tzf", "build/packages/talvor-1000.2.3.tar.gz"}).output;
    EXPECT_THAT(files, HasSubstr("talvor-1000.2.3/CMakeLists.txt\n"));
    EXPECT_THAT(files, Not(HasSubstr("/build/")));
}

TEST_F(ReleaseTest, TheFirstReleaseOfAVersionThatDebianHasAlreadyDatesItsEntry) {
    const std::string before = text_of("debian/changelog");
    ASSERT_THAT(before, testing::StartsWith("talvor (" + kVersion + "-"));
    const ProgramResult run = release({kVersion, "--no-tests", "--no-packages"});
    ASSERT_EQ(run.status, 0) << run.output << run.errors;
    const std::string after = text_of("debian/changelog");
    EXPECT_EQ(after.substr(0, after.find('\n')), before.substr(0, before.find('\n')));
    EXPECT_THAT(after, HasSubstr("Fri, 15 Jan 2027 08:00:00 +0000\n"));
    EXPECT_EQ(after.size(), before.size());
}

TEST_F(ReleaseTest, RefusesWhatIsNoLaterVersion) {
    expect_refused({"1.2"}, "'1.2' is no version: three numbers are wanted");
    expect_refused({"v1000.0.0"}, "'v1000.0.0' is no version");
    expect_refused({"0.0.1"}, "0.0.1 is older than " + kVersion);
    git({"tag", "v1000.2.3"});
    const ProgramResult run = release({kLater});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("the tag v1000.2.3 is there already"));
}

TEST_F(ReleaseTest, RefusesATreeThatIsNotMainOrNotClean) {
    write("stray.txt", "x");
    expect_refused({kLater}, "the tree is not clean: commit these or take them away\n?? stray.txt");
    git({"add", "--all"});
    git({"commit", "--quiet", "--message", "More"});
    git({"switch", "--quiet", "--create", "other"});
    expect_refused({kLater}, "this is the branch other: releases are made from main");
}

TEST_F(ReleaseTest, RefusesAChangelogThatSaysNothing) {
    write("CHANGELOG.md", "# Changelog\n\n## [Unreleased]\n\n## [0.0.1] - 2020-01-01\n\n- Old.\n");
    git({"commit", "--quiet", "--all", "--message", "Nothing new"});
    expect_refused({kLater}, "CHANGELOG.md says nothing under '## [Unreleased]'");
}

TEST_F(ReleaseTest, RefusesNamesOfALaterRelease) {
    write("src/exports.txt", text_of("src/exports.txt") + "A JSCTALVOR_340_1000.3\nT new_name\n");
    git({"commit", "--quiet", "--all", "--message", "A name"});
    expect_refused({kLater}, "src/exports.txt has names of release 1000.3, which is later");
}

TEST_F(ReleaseTest, RefusesAddressesThatAreMadeUpButForATrial) {
    write("debian/watch", "version=4\nhttps://talvor.example/releases/ x\n");
    write("another.txt", "Write to maintainers@talvor.example.\n");
    git({"add", "--all"});
    git({"commit", "--quiet", "--message", "Addresses"});
    const std::string reason = "talvor.example stands for the project's addresses in another.txt, "
                               "debian/watch: set them first, as 'Packages and releases' in "
                               "CONTRIBUTING.md says";
    expect_refused({kLater, "--no-tests", "--no-packages"}, "release: " + reason);
    const ProgramResult trial = release({kLater, "--dry-run"});
    EXPECT_EQ(trial.status, 0) << trial.errors;
    EXPECT_THAT(trial.output,
                HasSubstr("\nrelease: it would be refused: " + reason + "; nothing was changed\n"));
}

TEST_F(ReleaseTest, TakesTheMaintainersAddressFromTheControlFile) {
    const ProgramResult run = release({kLater, "--no-tests", "--no-packages"});
    ASSERT_EQ(run.status, 0) << run.output << run.errors;
    EXPECT_THAT(text_of("debian/changelog"),
                HasSubstr(" -- The Talvor Authors <maintainers@talvor.invalid>  Fri, 15 Jan 2027"));
}

} // namespace
} // namespace packaging
