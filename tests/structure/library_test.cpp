// The library as the loader sees it: its name, its needs, its exported names, its hardening.
#include "support/run_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace {

using testing::AnyOf;
using testing::HasSubstr;

const std::string library = TALVOR_LIBRARY;
constexpr bool kSanitized = TALVOR_SANITIZED;
constexpr bool kCovered = TALVOR_COVERED;

std::vector<std::string> lines_of(std::istream& stream) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.front() != '#') {
            lines.push_back(line);
        }
    }
    return lines;
}

std::vector<std::string> lines_with(const std::string& text, const std::string& word) {
    std::istringstream stream(text);
    std::vector<std::string> lines = lines_of(stream);
    std::erase_if(lines, [&](const std::string& line) { return line.find(word) == line.npos; });
    return lines;
}

std::string output_of(const std::vector<std::string>& command) {
    const auto run = test_support::run_program(command);
    EXPECT_EQ(run.status, 0) << run.errors;
    return run.output;
}

// Demangled names that the loader sees, as "T PortWrite(JSC_Inform*, ...)@@NODE": kind, name and
// version node.
std::vector<std::string> exported_names() {
    std::istringstream stream(output_of({"nm", "-D", "-C", "--defined-only", library}));
    std::vector<std::string> names;
    for (const std::string& line : lines_of(stream)) {
        const size_t kind = line.find(' ') + 1;
        names.push_back(line.substr(kind));
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The list's names, each with the node that it stands under; the node itself is a name, too.
std::vector<std::string> listed_names() {
    std::ifstream file(std::string(TALVOR_SOURCE_DIR) + "/src/exports.txt");
    std::vector<std::string> listed;
    std::string node;
    for (const std::string& line : lines_of(file)) {
        const bool is_node = line.starts_with("A ");
        node = is_node ? line.substr(2) : node;
        listed.push_back(is_node ? line : line + "@@" + node);
    }
    std::sort(listed.begin(), listed.end());
    return listed;
}

TEST(LibraryTest, ExportsExactlyTheListedNamesAtTheirNodes) {
    if (kSanitized) {
        GTEST_SKIP() << "the sanitizers export names of their own";
    }
    EXPECT_EQ(exported_names(), listed_names());
}

// Mangled names that the sources mark as visible, out of the table of symbols that readelf prints:
// number, value, size, type, binding, visibility, section, name.
std::vector<std::string> names_marked_visible() {
    std::vector<std::string> command = {"readelf", "-s", "-W"};
    std::ifstream objects(TALVOR_OBJECTS);
    const std::vector<std::string> files = lines_of(objects);
    command.insert(command.end(), files.begin(), files.end());
    std::istringstream stream(output_of(command));
    std::vector<std::string> names;
    for (const std::string& line : lines_of(stream)) {
        std::istringstream words(line);
        std::string number, value, size, type, binding, visibility, section, name;
        words >> number >> value >> size >> type >> binding >> visibility >> section >> name;
        if (binding == "GLOBAL" && visibility == "DEFAULT" && section != "UND") {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> mangled_exports() {
    std::istringstream stream(
        output_of({"nm", "-D", "--defined-only", "--without-symbol-versions", library}));
    std::vector<std::string> names;
    for (const std::string& line : lines_of(stream)) {
        if (line.find(" A ") == line.npos) {
            names.push_back(line.substr(line.rfind(' ') + 1));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The version script hides what is not on the list, also what the sources mean to be seen.
TEST(LibraryTest, ExportsWhateverTheSourcesMarkAsVisible) {
    if (kSanitized) {
        GTEST_SKIP() << "the sanitizers export names of their own";
    }
    EXPECT_EQ(mangled_exports(), names_marked_visible());
}

TEST(LibraryTest, IsNamedAsHostsLoadIt) {
    const std::string dynamic = output_of({"readelf", "-d", library});
    ASSERT_EQ(lines_with(dynamic, "SONAME").size(), 1u);
    EXPECT_THAT(lines_with(dynamic, "SONAME").front(), HasSubstr("[libjsctalvor_340.so.0]"));
    EXPECT_EQ(library.substr(library.rfind('/') + 1), "libjsctalvor_340.so.0");
}

TEST(LibraryTest, NeedsTheCLibraryAndItsMathsOnly) {
    if (kSanitized) {
        GTEST_SKIP() << "the sanitizers bring a runtime";
    }
    const auto needed = lines_with(output_of({"readelf", "-d", library}), "(NEEDED)");
    ASSERT_FALSE(needed.empty());
    for (const std::string& line : needed) {
        EXPECT_THAT(line, AnyOf(HasSubstr("[libc.so.6]"), HasSubstr("[libm.so.6]")));
    }
}

// A libc's own conversion of integers depends on the C standard that it was compiled for: numbers
// of a board file are read by the driver's.
TEST(LibraryTest, LeavesNoIntegerConversionToTheCLibrary) {
    if (kCovered) {
        GTEST_SKIP() << "what counts coverage reads numbers of its own";
    }
    const std::string needed = output_of({"nm", "-D", "--undefined-only", library});
    EXPECT_FALSE(lines_with(needed, "strtod").empty());
    for (const char* conversion : {"strtol", "strtoul", "strtoll", "strtoull", "atoi", "scanf"}) {
        EXPECT_TRUE(lines_with(needed, conversion).empty()) << conversion;
    }
}

TEST(LibraryTest, IsLinkedHardened) {
    const std::string dynamic = output_of({"readelf", "-d", "-W", library});
    EXPECT_EQ(lines_with(dynamic, "BIND_NOW").size() + lines_with(dynamic, "Flags: NOW").size(),
              2u);
    EXPECT_FALSE(lines_with(dynamic, "SYMBOLIC").empty());
    EXPECT_TRUE(lines_with(dynamic, "TEXTREL").empty());
    const std::string segments = output_of({"readelf", "-l", "-W", library});
    EXPECT_FALSE(lines_with(segments, "GNU_RELRO").empty());
    ASSERT_EQ(lines_with(segments, "GNU_STACK").size(), 1u);
    EXPECT_THAT(lines_with(segments, "GNU_STACK").front(), HasSubstr(" RW "));
}

TEST(LibraryTest, RunsNoCodeOfItsOwnWhenLoaded) {
    if (kSanitized || kCovered) {
        GTEST_SKIP() << "sanitizers and coverage register themselves when loaded";
    }
    // One entry of 8 bytes: the C runtime's own frame_dummy.
    const auto array = lines_with(output_of({"readelf", "-d", library}), "INIT_ARRAYSZ");
    ASSERT_EQ(array.size(), 1u);
    EXPECT_THAT(array.front(), HasSubstr(" 8 (bytes)"));
}

} // namespace
