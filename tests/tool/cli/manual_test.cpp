// The manual's commands do what it shows, and nothing is missing from the pages.
#include <gtest/gtest.h>

#include "commands/app.h"
#include "program.h"
#include "support/manual.h"

namespace talvor::cli {
namespace {

TEST(Manual, ShowsWhatTheProgramDoes) {
    test_support::run_boxes_of(source_file("docs/talvor.md"), 7);
}

// Every command and option by its name, as `written` puts it.
template <typename Written>
void expect_all_named(const CLI::App& app, const std::string& page, Written written) {
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            if (!option->get_group().empty() && name != "help") {
                EXPECT_NE(page.find(written("--" + name)), std::string::npos)
                    << app.get_name() << " --" << name;
            }
        }
    }
    for (const CLI::App* command : app.get_subcommands({})) {
        EXPECT_NE(page.find(written(command->get_name())), std::string::npos)
            << command->get_name();
        expect_all_named(*command, page, written);
    }
}

TEST(Pages, NameEveryCommandAndOption) {
    Context context;
    CLI::App app("", "talvor");
    CommandSet commands(app);
    build_command_line(app, commands, context.options);
    expect_all_named(app, read_file(source_file("docs/talvor.md")),
                     [](const std::string& name) { return name; });
    expect_all_named(app, read_file(source_file("docs/talvor.1")), [](const std::string& name) {
        std::string escaped;
        for (const char letter : name) {
            escaped += letter == '-' ? "\\-" : std::string(1, letter);
        }
        return escaped;
    });
}

TEST(Demonstration, PlaysItsFileInEveryWay) {
    const std::string svf = source_file("examples/demo.svf");
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{}, {"--exact"}, {"--no-check"}, {"--keep-going"}}) {
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
