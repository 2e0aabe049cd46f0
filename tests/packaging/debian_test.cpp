// The files that the Debian packages are made from, and their bill of materials.
#include "common/temporary.h"
#include "support/run_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace packaging {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const fs::path kSource = TALVOR_SOURCE_DIR;

std::string text_of(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::string output_of(const std::vector<std::string>& command) {
    const auto run = test_support::run_program(command);
    EXPECT_EQ(run.status, 0) << command.front() << ": " << run.errors;
    return run.output;
}

bool is_installed(const std::string& program) {
    return test_support::run_program({program, "--version"}).status == 0;
}

TEST(DebianTest, TheChangelogHasTheProjectsVersion) {
    if (!is_installed("dpkg-parsechangelog")) {
        GTEST_SKIP() << "dpkg-parsechangelog is not installed";
    }
    const std::string changelog = kSource / "debian/changelog";
    const std::string version =
        output_of({"dpkg-parsechangelog", "-l", changelog, "--show-field", "Version"});
    EXPECT_EQ(version.substr(0, version.rfind('-')), TALVOR_PROJECT_VERSION);
    EXPECT_EQ(output_of({kSource / "scripts/version"}), TALVOR_PROJECT_VERSION "\n");
}

TEST(DebianTest, TheSymbolsFileIsTheListOfExportedNames) {
    EXPECT_EQ(text_of(kSource / "debian/libjsctalvor-340-0.symbols"),
              output_of({kSource / "scripts/debian-symbols", "-"}))
        << "scripts/debian-symbols writes it anew";
}

TEST(DebianTest, TheCopyrightFileHasTheLicence) {
    std::istringstream licence(text_of(kSource / "LICENSE"));
    std::string words;
    std::string first_line;
    std::getline(licence, first_line);
    EXPECT_EQ(first_line, "MIT License");
    std::istringstream copyright(text_of(kSource / "debian/copyright"));
    std::string wanted, found;
    for (std::string word; licence >> word;) {
        wanted += word + " ";
    }
    for (std::string word; copyright >> word;) {
        found += word == "." ? "" : word + " ";
    }
    const std::string grant = wanted.substr(wanted.find("Permission is hereby"));
    EXPECT_THAT(found, HasSubstr(grant));
    EXPECT_THAT(found, HasSubstr("Copyright: 2026 The Talvor Authors"));
    EXPECT_THAT(wanted, HasSubstr("(c) 2026 The Talvor Authors"));
}

// Every file of the tree that has the name which stands for the project's address.
std::set<std::string> files_with_stand_in() {
    std::istringstream found(output_of({"grep", "-rlF", "--exclude-dir=build", "--exclude-dir=.git",
                                        "--exclude-dir=tests", "talvor.example", kSource}));
    std::set<std::string> files;
    for (std::string line; std::getline(found, line);) {
        files.insert(fs::path(line).lexically_relative(kSource));
    }
    return files;
}

TEST(DebianTest, ContributorsAreToldWhereEveryAddressIsThatIsMadeUp) {
    std::set<std::string> files = files_with_stand_in();
    for (const char* speaks_of_it : {"CONTRIBUTING.md", "debian/changelog", "scripts/release"}) {
        EXPECT_EQ(files.erase(speaks_of_it), 1U) << speaks_of_it;
    }
    const std::string page = text_of(kSource / "CONTRIBUTING.md");
    const size_t first = page.find("Before the first public release set the addresses in");
    ASSERT_NE(first, page.npos);
    const std::string sentence = page.substr(first, page.find(" Everything else", first) - first);
    for (const std::string& file : files) {
        EXPECT_THAT(sentence, HasSubstr("`" + file + "`"));
    }
    EXPECT_EQ(files.size() * 2, static_cast<size_t>(std::ranges::count(sentence, '`')));
}

// A package that holds nothing but what a control file says.
fs::path made_package(const fs::path& folder, const std::string& name, const std::string& depends) {
    const fs::path tree = folder / name;
    fs::create_directories(tree / "DEBIAN");
    std::ofstream(tree / "DEBIAN/control")
        << "Package: " << name << "\nVersion: 7.8.9-1\nArchitecture: amd64\n"
        << "Maintainer: A <a@b.example>\nDepends: " << depends
        << "\nDescription: first line\n second line\n";
    fs::path deb = folder / (name + ".deb");
    output_of({"dpkg-deb", "--build", "--root-owner-group", tree, deb});
    return deb;
}

nlohmann::json package_of(const nlohmann::json& bill, const std::string& name) {
    for (const auto& package : bill["packages"]) {
        if (package["name"] == name) {
            return package;
        }
    }
    ADD_FAILURE() << name << " is not on the bill";
    return {};
}

bool has_relation(const nlohmann::json& bill, const std::string& one, const std::string& kind,
                  const std::string& other) {
    return std::ranges::any_of(bill["relationships"], [&](const auto& relation) {
        return relation["spdxElementId"] == "SPDXRef-" + one &&
               relation["relationshipType"] == kind &&
               relation["relatedSpdxElement"] == "SPDXRef-" + other;
    });
}

TEST(BillOfMaterialsTest, NamesPackagesDigestsNeedsAndWhatIsCompiledIn) {
    if (!is_installed("dpkg-deb")) {
        GTEST_SKIP() << "dpkg-deb is not installed";
    }
    const auto folder = talvor::TemporaryFolder::create();
    const fs::path tool = made_package(folder->path(), "talvor", "libc6 (>= 2.36), a:any | b");
    const fs::path doc = made_package(folder->path(), "talvor-doc", "libc6");
    const std::vector<std::string> command = {"env", "SOURCE_DATE_EPOCH=1800000000",
                                              kSource / "scripts/bill-of-materials", tool, doc};
    const std::string text = output_of(command);
    EXPECT_EQ(output_of(command), text) << "the same packages give the same bill";
    const auto bill = nlohmann::json::parse(text);
    EXPECT_EQ(bill["spdxVersion"], "SPDX-2.3");
    EXPECT_EQ(bill["SPDXID"], "SPDXRef-DOCUMENT");
    EXPECT_THAT(
        bill["documentNamespace"],
        testing::MatchesRegex("https://talvor\\.[a-z]+/spdx/talvor-7\\.8\\.9-1-[0-9a-f]{32}"));
    EXPECT_EQ(bill["dataLicense"], "CC0-1.0");
    EXPECT_EQ(bill["creationInfo"]["created"], "2027-01-15T08:00:00Z");
    const auto package = package_of(bill, "talvor");
    EXPECT_EQ(package["versionInfo"], "7.8.9-1");
    EXPECT_EQ(package["licenseDeclared"], "MIT");
    EXPECT_EQ(package["description"], "first line");
    const std::string sum = output_of({"sha256sum", tool});
    EXPECT_EQ(package["checksums"][0]["checksumValue"], sum.substr(0, 64));
    EXPECT_TRUE(has_relation(bill, "DOCUMENT", "DESCRIBES", "talvor"));
    EXPECT_TRUE(has_relation(bill, "DOCUMENT", "DESCRIBES", "talvor-doc"));
    EXPECT_TRUE(has_relation(bill, "talvor", "DEPENDS_ON", "libc6"));
    EXPECT_TRUE(has_relation(bill, "talvor", "DEPENDS_ON", "a"));
    EXPECT_TRUE(has_relation(bill, "talvor", "STATIC_LINK", "libcli11-dev"));
    EXPECT_FALSE(has_relation(bill, "talvor-doc", "STATIC_LINK", "libcli11-dev"));
    EXPECT_EQ(package_of(bill, "libcli11-dev")["licenseDeclared"], "BSD-3-Clause");
}

TEST(BillOfMaterialsTest, RefusesWhatIsNoPackage) {
    const auto run =
        test_support::run_program({kSource / "scripts/bill-of-materials", kSource / "LICENSE"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, HasSubstr("LICENSE is no package: "));
}

} // namespace
} // namespace packaging
