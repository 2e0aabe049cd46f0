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
    double period = 1;
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
    command.option("--period", values.period, "").positive();
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
             {{"do", "--seconds", "-1", "a"}, "--seconds: -1: expected a number, 0 or more / "},
             {{"do", "--seconds", "nan", "a"}, "--seconds: nan: expected a number, 0 or more / "},
             {{"do", "--seconds", "inf", "a"}, "--seconds: inf: expected a number, 0 or more / "},
             {{"do", "--count", "10", "a"}, "--count: 10: expected a number from 1 to 9 / "},
             {{"do", "--count", "0", "a"}, "--count: 0: expected a number from 1 to 9 / "},
             {{"do", "--count", "x", "a"}, "--count: x: expected a number from 1 to 9 / "},
             {{"do", "--count", "0b1", "a"}, "--count: 0b1: expected a number from 1 to 9 / "},
             {{"do", "--count"}, "--count: needs a value / "},
             {{"do", "--bits", "0", "a"},
              "--bits: 0: expected a number from 1 to 18446744073709551615 / "},
             {{"do", "--bits", "18446744073709551616", "a"},
              "--bits: 18446744073709551616: expected a number from 1 to 18446744073709551615 / "},
             {{"do", "--delay", "-3", "a"}, "--delay: -3: expected a number from -2 to 31 / "},
             {{"do", "--delay", "32", "a"}, "--delay: 32: expected a number from -2 to 31 / "},
             {{"do", "--serial", "-1", "a"},
              "--serial: -1: expected a number from 0 to 4294967295 / "},
             {{"do", "--period", "0", "a"}, "--period: 0: expected a number of more than 0 / "},
             {{"do"}, "WORDS is required / run 'prog do --help'"},
         }) {
        CommandLine line("prog", "");
        Values values;
        add_values(line.program().command("do", "", nothing), values);
        const std::string told = error_of(line, words);
        EXPECT_TRUE(told.starts_with(error)) << testing::PrintToString(words) << "\n" << told;
    }
}

TEST(OptionsTest, ThatNeedOrExcludeOthersSaySo) {
    for (const auto& [words, error] : {
             std::pair<Words, std::string_view>{{"do", "--count", "1"},
                                                "--count: has no effect without --watch / "},
             {{"do", "--watch", "--last", "--first"}, "--first: cannot be had with --last / "},
             {{"do", "--watch", "--count", "1", "--last"}, ""},
         }) {
        CommandLine line("prog", "");
        Values values;
        bool first = false;
        bool last = false;
        Command command = line.program().command("do", "", nothing);
        const Option watch = command.flag("--watch", values.flag, "");
        command.option("--count", values.count, "").needs(watch);
        const Option first_option = command.flag("--first", first, "");
        command.flag("--last", last, "").excludes(first_option);
        const std::string told = error_of(line, words);
        EXPECT_EQ(told.substr(0, error.size()), error);
        EXPECT_EQ(told.empty(), error.empty()) << told;
    }
}

TEST(OptionsTest, OfTheProgramThatACommandPassesOverAreRefused) {
    for (const auto& [words, error] : {
             std::pair<Words, std::string>{{"do", "--pod", "3"},
                                           "--pod: 'prog do' makes no use of it / leave it away"},
             {{"--short", "do"}, "--pod: 'prog do' makes no use of it / leave it away"},
             {{"do", "--flag"}, ""},
             {{"other", "--pod", "3"}, ""},
         }) {
        CommandLine line("prog", "");
        Values values;
        line.program().option("--pod", values.serial, "");
        line.program().flag("--short", values.flag, "").hidden("--pod");
        line.program().flag("--flag", values.flag, "");
        line.program().command("do", "", nothing).makes_no_use_of({"--pod"});
        line.program().command("other", "", nothing);
        EXPECT_EQ(error_of(line, words), error);
    }
}

TEST(CommandLineTest, HelpAboutAWordThatIsNoCommandIsAnError) {
    CommandLine line("prog", "");
    Command link = line.program().command("link", "", nothing);
    link.command("find", "", nothing);
    Values values;
    Command open = line.program().command("open", "", nothing);
    open.option("WORD", values.text, "");
    EXPECT_EQ(error_of(line, {"lnik", "--help"}), "lnik: is no command / run 'prog --help'");
    EXPECT_EQ(error_of(line, {"link", "fnid", "--help"}),
              "fnid: is not expected here / run 'prog link --help'");
    EXPECT_EQ(error_of(line, {"open", "x", "--help"}), "");
}

TEST(CommandTest, WithARestNamesTheOptionThatIsAtFault) {
    CommandLine line("prog", "");
    Values values;
    Words rest;
    Command trace = line.program().command("trace", "", nothing);
    trace.option("--count", values.count, "").positive();
    trace.take_rest(rest);
    EXPECT_EQ(error_of(line, {"trace", "--count", "0", "dr", "FF"}),
              "--count: 0: expected a number from 1 to 4294967295 / run 'prog trace --help'");
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
    command.option("--unseen", text, "").hidden("--seen");
    command.option("PLACE", text, "");
    EXPECT_EQ(command.name(), "do");
    EXPECT_EQ(command.description(), "what it does");
    EXPECT_EQ(command.option_names(), (Words{"--help", "--seen"}));
    ASSERT_EQ(line.program().commands().size(), 1U);
    EXPECT_EQ(line.program().commands()[0].name(), "do");
}

} // namespace
} // namespace talvor
