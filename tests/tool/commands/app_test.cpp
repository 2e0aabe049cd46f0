#include "tool/commands/app.h"

#include <gtest/gtest.h>

#include <sstream>

namespace talvor {
namespace {

using Words = std::vector<std::string>;

TEST(JoinSimulateTest, TakesADescriptionOnlyWhenItIsOne) {
    EXPECT_EQ(join_simulate({"--simulate", "chain"}), (Words{"--simulate", "chain"}));
    EXPECT_EQ(join_simulate({"chain", "--simulate"}), (Words{"chain", "--simulate"}));
    EXPECT_EQ(join_simulate({"--simulate", "five.toml", "chain"}),
              (Words{"--simulate-description", "five.toml", "chain"}));
    EXPECT_EQ(join_simulate({"--simulate=x y", "chain"}),
              (Words{"--simulate-description", "x y", "chain"}));
    EXPECT_EQ(join_simulate({"svf", "--simulate", "a.svf"}), (Words{"svf", "--simulate", "a.svf"}));
}

// A command line with what it fills.
struct Built {
    Built() { build_command_line(line, options); }

    CommonOptions options;
    CommandLine line{"talvor", ""};
};

TEST(BuiltCommandLineTest, EveryCommandHasADescription) {
    Built built;
    const std::vector<Command> list = built.line.program().commands();
    EXPECT_EQ(list.size(), 28U);
    for (const Command& command : list) {
        EXPECT_FALSE(command.description().empty()) << command.name();
    }
}

TEST(BuiltCommandLineTest, CommonOptionsMayStandBeforeAndBehindTheCommand) {
    for (const Words& words :
         {Words{"--pod", "7", "--json", "chain"}, Words{"chain", "--pod", "7", "--json"}}) {
        Built built;
        ASSERT_EQ(built.line.parse(words), CommandLine::Outcome::Chosen);
        EXPECT_EQ(built.options.pod, 7U);
        EXPECT_TRUE(built.options.json);
        EXPECT_TRUE(built.line.chosen());
    }
}

TEST(BuiltCommandLineTest, InstructionLengthsAreAList) {
    Built built;
    ASSERT_EQ(built.line.parse({"--ir-lengths", "4,5,8", "chain"}), CommandLine::Outcome::Chosen);
    EXPECT_EQ(built.options.instruction_lengths, (std::vector<uint32_t>{4, 5, 8}));
}

TEST(BuiltCommandLineTest, InstructionLengthsThatAreNoneAreRefused) {
    Built built;
    const auto outcome = built.line.parse({"--ir-lengths", "4,x", "chain"});
    ASSERT_FALSE(outcome);
    EXPECT_EQ(headline(outcome.error()),
              "--ir-lengths: 4,x: expected lengths from 2 to 65536, as in 4,5,8");
}

TEST(BuiltCommandLineTest, ADescriptionMeansASimulatedPod) {
    Built built;
    ASSERT_EQ(built.line.parse({"--simulate-description", "x.toml", "chain"}),
              CommandLine::Outcome::Chosen);
    EXPECT_TRUE(built.options.simulate);
    EXPECT_EQ(built.options.description, "x.toml");
}

TEST(BuiltCommandLineTest, TheChosenCommandIsKnownByItsWords) {
    for (const char* path : {"chain", "tclk search"}) {
        Built built;
        EXPECT_EQ(built.line.chosen_path(), "");
        Words words{"--pods", "all"};
        std::istringstream stream(path);
        for (std::string word; stream >> word;) {
            words.push_back(word);
        }
        ASSERT_EQ(built.line.parse(words), CommandLine::Outcome::Chosen);
        EXPECT_EQ(built.line.chosen_path(), path);
        EXPECT_EQ(built.options.gang.pods, "all");
    }
}

} // namespace
} // namespace talvor
