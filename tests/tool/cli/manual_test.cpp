// The manual's commands do what it shows, and nothing is missing from the pages.
#include "program.h"
#include "support/manual.h"
#include "tool/commands/app.h"

#include <gtest/gtest.h>

namespace talvor::cli {
namespace {

TEST(ManualTest, ShowsWhatTheProgramDoes) {
    test_support::run_boxes_of(source_file("docs/talvor.md"), 17);
}

TEST(BoundaryScanPageTest, ShowsWhatTheProgramDoes) {
    test_support::run_boxes_of(source_file("docs/boundary-scan.md"), 2);
}

TEST(BridgePageTest, ShowsWhatTheToolsDo) {
    for (const char* tool : {"openocd", "openFPGALoader", "gdb-multiarch"}) {
        if (!installed(tool)) {
            GTEST_SKIP() << tool << " is not installed";
        }
    }
    test_support::run_boxes_of(source_file("docs/bridge.md"), 4);
}

// Every command and option by its name, as `written` puts it.
template <typename Written>
void expect_all_named(const Command& command, const std::string& page, Written written) {
    for (const std::string& name : command.option_names()) {
        if (name != "--help") {
            EXPECT_NE(page.find(written(name)), std::string::npos) << command.name() << " " << name;
        }
    }
    for (const Command& inner : command.commands()) {
        EXPECT_NE(page.find(written(inner.name())), std::string::npos) << inner.name();
        expect_all_named(inner, page, written);
    }
}

TEST(PagesTest, NameEveryCommandAndOption) {
    CommonOptions options;
    CommandLine line("talvor", "");
    build_command_line(line, options);
    expect_all_named(line.program(), read_file(source_file("docs/talvor.md")),
                     [](const std::string& name) { return name; });
    expect_all_named(line.program(), read_file(source_file("docs/man/talvor.1")),
                     [](const std::string& name) {
                         std::string escaped;
                         for (const char letter : name) {
                             escaped += letter == '-' ? "\\-" : std::string(1, letter);
                         }
                         return escaped;
                     });
}

TEST(DemonstrationTest, PlaysItsFileInEveryWay) {
    const std::string svf = source_file("examples/demo.svf");
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{}, {"--exact"}, {"--fast"}, {"--no-check"}, {"--keep-going"}}) {
        std::vector<std::string> words{"svf", svf};
        words.insert(words.end(), options.begin(), options.end());
        const Outcome outcome = simulated(words);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_TRUE(outcome.out.starts_with(svf + ": all scans answered as expected\n"))
            << outcome.out;
    }
}

} // namespace
} // namespace talvor::cli
