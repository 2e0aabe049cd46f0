#include "tool/command_line/command_line.h"
#include "tool/commands/context.h"

#include <gtest/gtest.h>

#include <string_view>

namespace talvor {
namespace {

using Words = std::vector<std::string>;
using Outcome = CommandLine::Outcome;

Status nothing(Context& /*context*/) {
    return {};
}

// An action whose error tells it from the others.
Action says(const std::string& word) {
    return [word](Context&) -> Status { return failure(word); };
}

std::string run_chosen(const CommandLine& line) {
    Context context;
    const Status status = line.chosen()(context);
    return status ? "" : status.error().reason;
}

std::string error_of(CommandLine& line, const Words& words) {
    const auto outcome = line.parse(words);
    return outcome ? "" : headline(outcome.error()) + " / " + outcome.error().next_step;
}

TEST(CommandLineTest, ChoosesTheInnermostCommand) {
    for (const auto& [words, chosen] :
         {std::pair<Words, std::string>{{"link"}, "link"}, {{"link", "find"}, "find"}}) {
        CommandLine line("prog", "");
        Command link = line.program().command("link", "", says("link"));
        link.command("find", "", says("find"));
        ASSERT_EQ(line.parse(words), Outcome::Chosen);
        EXPECT_EQ(run_chosen(line), chosen);
    }
}

TEST(CommandLineTest, ChoosesNothingWhenHelpIsPrinted) {
    CommandLine line("prog", "");
    line.program().command("link", "", nothing);
    ASSERT_EQ(line.parse({"link", "--help"}), Outcome::Printed);
    EXPECT_NE(line.printed().find("Usage: prog link"), std::string::npos);
    EXPECT_FALSE(line.chosen());
}

TEST(CommandLineTest, PrintsItsVersion) {
    CommandLine line("prog", "");
    line.set_version("prog 7");
    ASSERT_EQ(line.parse({"--version"}), Outcome::Printed);
    EXPECT_EQ(line.printed(), "prog 7\n");
}

TEST(CommandLineTest, NamesTheWordThatItCannotPlace) {
    CommandLine line("prog", "");
    Command reg = line.program().command("reg", "", nullptr);
    reg.command("read", "", nothing);
    EXPECT_EQ(error_of(line, {}), "A subcommand is required / run 'prog --help'");
    EXPECT_EQ(error_of(line, {"rge"}), "rge: is no command / run 'prog --help'");
    EXPECT_EQ(error_of(line, {"reg"}), "A subcommand is required / run 'prog reg --help'");
    EXPECT_EQ(error_of(line, {"reg", "read", "x"}),
              "x: is not expected here / run 'prog reg read --help'");
    EXPECT_EQ(error_of(line, {"--wrong", "reg", "read"}),
              "--wrong: is not expected here / run 'prog reg read --help'");
}

struct Values {
    std::string text = "auto";
    double seconds = 1.5;
    uint32_t count = 3;
    uint64_t bits = 4;
    std::vector<std::string> words;
    std::optional<std::string> file;
    std::optional<uint32_t> serial;
    std::optional<int32_t> delay;
    bool flag = false;
};

void add_values(Command command, Values& values) {
    command.option("--text", values.text, "").one_of({"auto", "never"}).show_default();
    command.option("--seconds", values.seconds, "").not_negative();
    command.option("--count", values.count, "").range(1U, 9U);
    command.option("--bits", values.bits, "").positive();
    command.option("--file", values.file, "").type_name("FILE");
    command.option("--serial", values.serial, "");
    command.option("--delay", values.delay, "").range(-2, 31);
    command.flag("--flag", values.flag, "");
    command.option("WORDS", values.words, "").required();
}

TEST(OptionsTest, TakeWhatIsGiven) {
    CommandLine line("prog", "");
    Values values;
    add_values(line.program().command("do", "", nothing), values);
    ASSERT_EQ(line.parse({"do", "--text", "never", "--seconds", "0.25", "--count", "9", "--bits",
                          "5000000000", "--file", "x", "--serial", "7", "--delay", "-1", "--flag",
                          "a", "b"}),
              Outcome::Chosen);
    EXPECT_EQ(values.text, "never");
    EXPECT_EQ(values.seconds, 0.25);
    EXPECT_EQ(values.count, 9U);
    EXPECT_EQ(values.bits, 5'000'000'000U);
    EXPECT_EQ(values.file, "x");
    EXPECT_EQ(values.serial, 7U);
    EXPECT_EQ(values.delay, -1);
    EXPECT_TRUE(values.flag);
    EXPECT_EQ(values.words, (Words{"a", "b"}));
}

TEST(OptionsTest, KeepTheirDefaults) {
    CommandLine line("prog", "");
    Values values;
    add_values(line.program().command("do", "", nothing), values);
    ASSERT_EQ(line.parse({"do", "a"}), Outcome::Chosen);
    EXPECT_EQ(values.text, "auto");
    EXPECT_EQ(values.count, 3U);
    EXPECT_EQ(values.file, std::nullopt);
    EXPECT_EQ(values.serial, std::nullopt);
    EXPECT_EQ(values.delay, std::nullopt);
    EXPECT_FALSE(values.flag);
}

TEST(OptionsTest, RefuseWhatTheirChecksDoNotAllow) {
    for (const auto& [words, error] : {
             std::pair<Words, std::string_view>{{"do", "--text", "x", "a"}, "--text: x not in "},
             {{"do", "--seconds", "-1", "a"}, "--seconds: "},
             {{"do", "--count", "10", "a"}, "--count: Value 10 not in range 1 to 9"},
             {{"do", "--count", "x", "a"}, "--count: "},
             {{"do", "--bits", "0", "a"}, "--bits: "},
             {{"do", "--delay", "-3", "a"}, "--delay: Value -3 not in range -2 to 31"},
             {{"do", "--serial", "-1", "a"}, "Could not convert: --serial = -1"},
             {{"do"}, "WORDS is required / run 'prog do --help'"},
         }) {
        CommandLine line("prog", "");
        Values values;
        add_values(line.program().command("do", "", nothing), values);
        const std::string told = error_of(line, words);
        EXPECT_TRUE(told.starts_with(error)) << testing::PrintToString(words) << "\n" << told;
    }
}

TEST(OptionsTest, MayReadTheirTextThemselves) {
    CommandLine line("prog", "");
    std::string taken;
    const auto take = [&taken](const std::string& text) -> Status {
        if (text == "bad") {
            return usage_error("--own", "bad is bad");
        }
        taken = text;
        return {};
    };
    line.program().command("do", "", nothing).option("--own", take, "");
    ASSERT_EQ(line.parse({"do", "--own", "good"}), Outcome::Chosen);
    EXPECT_EQ(taken, "good");
    EXPECT_EQ(error_of(line, {"do", "--own", "bad"}), "--own: bad is bad / run 'prog do --help'");
}

TEST(OptionsTest, OfTheProgramMayStandBehindTheCommand) {
    CommandLine line("prog", "");
    bool flag = false;
    line.program().flag("--flag", flag, "");
    line.program().command("do", "", nothing);
    ASSERT_EQ(line.parse({"do", "--flag"}), Outcome::Chosen);
    EXPECT_TRUE(flag);
}

TEST(CommandTest, TakesTheRestFromTheFirstUnknownWord) {
    CommandLine line("prog", "");
    bool outer = false;
    bool inner = false;
    Words rest;
    line.program().flag("--outer", outer, "");
    Command trace = line.program().command("trace", "", nothing);
    trace.flag("--inner", inner, "");
    trace.take_rest(rest);
    ASSERT_EQ(line.parse({"trace", "--inner", "chain", "--outer", "--inner"}), Outcome::Chosen);
    EXPECT_TRUE(inner);
    EXPECT_FALSE(outer);
    EXPECT_EQ(rest, (Words{"chain", "--outer", "--inner"}));
}

TEST(CommandTest, NamesItsOptionsButTheHiddenOnes) {
    CommandLine line("prog", "");
    std::string text;
    Command command = line.program().command("do", "what it does", nothing);
    command.option("--seen", text, "");
    command.option("--unseen", text, "").hidden();
    command.option("PLACE", text, "");
    EXPECT_EQ(command.name(), "do");
    EXPECT_EQ(command.description(), "what it does");
    EXPECT_EQ(command.option_names(), (Words{"--help", "--seen"}));
    ASSERT_EQ(line.program().commands().size(), 1U);
    EXPECT_EQ(line.program().commands()[0].name(), "do");
}

} // namespace
} // namespace talvor
