// The reference of the headers: complete, and clean to the tools that read it.
#include "common/temporary.h"
#include "support/run_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using test_support::run_program;
using testing::HasSubstr;

const fs::path source_dir = TALVOR_SOURCE_DIR;

std::string text_of(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// The pages of section 3, freshly made.
class ManualPagesTest : public testing::Test {
protected:
    void SetUp() override {
        const auto made = run_program({source_dir / "scripts/reference", "man", folder_.path()});
        ASSERT_EQ(made.status, 0) << made.errors;
    }
    [[nodiscard]] fs::path page(const std::string& name) const {
        return fs::path(folder_.path()) / (name + ".3");
    }
    [[nodiscard]] std::set<std::string> pages() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_.path())) {
            names.insert(entry.path().stem());
        }
        return names;
    }

    talvor::TemporaryFolder folder_ = *talvor::TemporaryFolder::create();
};

// All that `pattern` finds in a header, its first group.
std::set<std::string> names_in(const std::string& header, const char* pattern) {
    const std::string text = text_of(source_dir / "include" / header);
    const std::regex name(pattern);
    std::set<std::string> names;
    for (std::sregex_iterator at(text.begin(), text.end(), name), end; at != end; ++at) {
        names.insert((*at)[1]);
    }
    return names;
}

TEST_F(ManualPagesTest, EachFunctionOperationAndRecordHasOne) {
    const auto functions = names_in("jsc_export.h", R"(\b((?:JSC|pll)_\w+)\([^)])");
    const auto operations = names_in("jsc_export.h", R"(\(\*(JSC_\w+_t)\))");
    auto records = names_in("jsc_external.h", R"(typedef struct (\w+) \{)");
    records.merge(names_in("jsc_export.h", R"(typedef struct (\w+) \{)"));
    EXPECT_EQ(functions.size(), 6U + 17U);
    EXPECT_EQ(operations.size(), 54U);
    EXPECT_EQ(records.size(), 16U);
    const std::set<std::string> there = pages();
    for (const auto& wanted : {functions, operations, records}) {
        for (const std::string& name : wanted) {
            EXPECT_TRUE(there.contains(name)) << name;
            EXPECT_THAT(text_of(page(name)), HasSubstr("\n.SH DESCRIPTION\n")) << name;
        }
    }
}

TEST_F(ManualPagesTest, SayWhatTheHeaderSays) {
    const std::string text = text_of(page("JSC_PutLinkDelay"));
    EXPECT_THAT(text,
                HasSubstr("JSC_PutLinkDelay, JSC_PutLinkDelay_t \\- adds to the link delay and "
                          "applies\nit\n"));
    EXPECT_THAT(text, HasSubstr("\\fImodifyDelay\\fR (in)\nsigned change, test clocks; changes "
                                "accumulate\n"));
    EXPECT_THAT(text_of(page("JSC_CreateInterface")),
                HasSubstr(".SH RETURN VALUE\n0, or a code of JTI_ErrorCode.\n.PP\n"
                          "\\-122 null pointer. \\-131 no memory.\n"));
    // What is said of twelve operations together stands on the page of each.
    EXPECT_THAT(text_of(page("JSC_ScanRecv64")), HasSubstr("The twelve scans with data"));
    EXPECT_EQ(text_of(page("JSC_SwdRegRead")).find("The twelve scans"), std::string::npos);
}

TEST_F(ManualPagesTest, MandocFindsNothing) {
    if (run_program({"which", "mandoc"}).status != 0) {
        GTEST_SKIP() << "mandoc is not installed";
    }
    std::vector<std::string> command{"mandoc", "-T", "lint"};
    for (const std::string& name : pages()) {
        command.push_back(page(name));
    }
    const auto lint = run_program(command);
    EXPECT_EQ(lint.status, 0);
    EXPECT_EQ(lint.output + lint.errors, "");
}

TEST(ReferenceTest, DoxygenHasNoWarning) {
    if (run_program({"which", "doxygen"}).status != 0) {
        GTEST_SKIP() << "doxygen is not installed";
    }
    const auto folder = talvor::TemporaryFolder::create();
    ASSERT_TRUE(folder);
    std::string settings = text_of(source_dir / "docs/reference/Doxyfile.in");
    settings =
        std::regex_replace(settings, std::regex("@PROJECT_SOURCE_DIR@"), source_dir.string());
    settings =
        std::regex_replace(settings, std::regex("@TALVOR_REFERENCE_FOLDER@"), folder->path());
    settings = std::regex_replace(settings, std::regex("@PROJECT_VERSION@"), "0");
    EXPECT_EQ(settings.find('@'), settings.find("@ signs"));
    const auto made = run_program({"doxygen", "-"}, settings);
    EXPECT_EQ(made.status, 0);
    EXPECT_EQ(made.output + made.errors, "");
    const std::string html = text_of(folder->path() + "/html/jsc__export_8h.html");
    EXPECT_THAT(html, HasSubstr("Moves the TAP to a stable state, without a shift."));
}

} // namespace
