#include "commands/app.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

using Words = std::vector<std::string>;

TEST(JoinSimulate, TakesADescriptionOnlyWhenItIsOne) {
    EXPECT_EQ(join_simulate({"--simulate", "chain"}), (Words{"--simulate", "chain"}));
    EXPECT_EQ(join_simulate({"chain", "--simulate"}), (Words{"chain", "--simulate"}));
    EXPECT_EQ(join_simulate({"--simulate", "five.toml", "chain"}),
              (Words{"--simulate-description", "five.toml", "chain"}));
    EXPECT_EQ(join_simulate({"--simulate=x y", "chain"}),
              (Words{"--simulate-description", "x y", "chain"}));
    EXPECT_EQ(join_simulate({"svf", "--simulate", "a.svf"}), (Words{"svf", "--simulate", "a.svf"}));
}

TEST(CommandLine, EveryCommandHasADescription) {
    Context context;
    CLI::App app("", "talvor");
    CommandSet commands(app);
    build_command_line(app, commands, context.options);
    const auto list = app.get_subcommands({});
    EXPECT_EQ(list.size(), 15U);
    for (const CLI::App* command : list) {
        EXPECT_FALSE(command->get_description().empty()) << command->get_name();
    }
}

TEST(CommandLine, CommonOptionsMayStandBeforeAndBehindTheCommand) {
    for (const Words& words :
         {Words{"--pod", "7", "--json", "chain"}, Words{"chain", "--pod", "7", "--json"}}) {
        Context context;
        CLI::App app("", "talvor");
        CommandSet commands(app);
        build_command_line(app, commands, context.options);
        app.parse(Words(words.rbegin(), words.rend()));
        EXPECT_EQ(context.options.pod, 7U);
        EXPECT_TRUE(context.options.json);
        EXPECT_TRUE(commands.chosen());
    }
}

TEST(CommandLine, InstructionLengthsAreAList) {
    Context context;
    CLI::App app("", "talvor");
    CommandSet commands(app);
    build_command_line(app, commands, context.options);
    const Words words{"--ir-lengths", "4,5,8", "chain"};
    app.parse(Words(words.rbegin(), words.rend()));
    EXPECT_EQ(context.options.instruction_lengths, (std::vector<uint32_t>{4, 5, 8}));
}

} // namespace
} // namespace talvor
