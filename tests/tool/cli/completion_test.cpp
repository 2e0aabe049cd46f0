// Completion in the shells themselves, of both programs.
#include "program.h"
#include "tool/commands/app.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

namespace talvor::cli {
namespace {

using test_support::built_program;
using test_support::run_program;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

std::string script_of(const std::string& program, const std::string& shell) {
    const auto made = program == "talvor"
                          ? run_program({built_program(program), "completion", shell})
                          : run_program({built_program(program), "--completion", shell});
    EXPECT_EQ(made.status, 0) << made.errors;
    return made.output;
}

// What a shell offers for the last of some words, which may be empty.
class Completer {
public:
    explicit Completer(std::string shell) : shell_(std::move(shell)) {
        for (const char* name : {"board.toml", "notes.txt", "program.svf"}) {
            std::ofstream(folder_.path() + "/" + name) << "\n";
        }
    }
    [[nodiscard]] std::vector<std::string> offered(const std::string& line) const {
        const std::string program = line.substr(0, line.find(' '));
        const std::string script = folder_.path() + "/_" + program;
        std::ofstream(script) << script_of(program, shell_);
        // Shells keep files of their own at home.
        const auto result =
            run_program({"env", "HOME=" + home_.path(), "XDG_CONFIG_HOME=" + home_.path(),
                         "XDG_DATA_HOME=" + home_.path(), shell_, "-c",
                         "cd " + folder_.path() + "\n" + ask(script, line)});
        EXPECT_EQ(result.errors, "") << line;
        return sorted_lines(result.output);
    }

private:
    [[nodiscard]] std::string ask(const std::string& script, const std::string& line) const;
    static std::vector<std::string> sorted_lines(const std::string& text) {
        std::set<std::string> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            if (!line.empty()) {
                lines.insert(line.substr(0, line.find('\t')));
            }
        }
        return {lines.begin(), lines.end()};
    }

    std::string shell_;
    TemporaryFolder folder_ = TemporaryFolder::create().value();
    TemporaryFolder home_ = TemporaryFolder::create().value();
};

// As bash splits the words: at blanks and at "=".
std::string bash_words(const std::string& line) {
    std::string words;
    std::string spaced = line;
    for (size_t at = 0; (at = spaced.find('=', at)) != std::string::npos; at += 3) {
        spaced.replace(at, 1, " = ");
    }
    std::istringstream stream(spaced);
    for (std::string word; stream >> word;) {
        words += " '" + word + "'";
    }
    return words + (line.ends_with(' ') || line.ends_with('=') ? " ''" : "");
}

std::string Completer::ask(const std::string& script, const std::string& line) const {
    const std::string program = line.substr(0, line.find(' '));
    if (shell_ == "fish") {
        return "source " + script + "\ncomplete -C '" + line + "'\n";
    }
    if (shell_ == "bash") {
        return "source " + script + "\nCOMP_WORDS=(" + bash_words(line) +
               ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\ncompopt() { :; }\n" + "$(complete -p " +
               program + " | sed 's/.*-F \\([^ ]*\\).*/\\1/')\n" +
               "printf '%s\\n' \"${COMPREPLY[@]}\"\n";
    }
    // A zsh of its own at a terminal of its own, which writes down what it would offer.
    return R"(zmodload zsh/zpty
export ZDOTDIR=$PWD TERM=vt100
setup='autoload -Uz compinit; compinit -u -D; source )" +
           script + R"('
setup+='; LISTMAX=1000000; unsetopt beep'
setup+='; compadd() { if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then builtin compadd "$@"; return; fi'
setup+='; local -a hits; builtin compadd -O hits "$@"; print -l -- $hits >> offered; builtin compadd "$@" }'
print -r -- $setup > .zshrc
: > offered
zpty -b shell 'zsh -i'
zpty -w shell "echo rea''dy"
until zpty -r shell answer '*ready*' 2>/dev/null || (( ++tries > 400 )); do sleep 0.05; done
zpty -w -n shell ')" +
           line + R"('$'\t'
tries=0
until [[ -s offered ]] || (( ++tries > 40 )); do zpty -rt shell answer 2>/dev/null; sleep 0.05; done
sleep 0.3
zpty -d shell
cat offered
)";
}

class CompletionTest : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        if (run_program({"which", GetParam()}).status != 0) {
            GTEST_SKIP() << GetParam() << " is not installed";
        }
    }
    [[nodiscard]] std::vector<std::string> offered(const std::string& line) const {
        return Completer(GetParam()).offered(line);
    }
};

TEST_P(CompletionTest, OffersEveryCommand) {
    std::vector<std::string> commands;
    for (const CommandDescription& command : describe_program().commands) {
        commands.push_back(command.name);
    }
    EXPECT_THAT(offered("talvor "), IsSupersetOf(commands));
    EXPECT_THAT(offered("talvor --simulate --board board.toml st"),
                ElementsAre("stapl", "state", "status"));
    EXPECT_THAT(offered("talvor link "), IsSupersetOf({"find", "set", "show"}));
}

TEST_P(CompletionTest, OffersOptionsOfTheCommandAndOfTheProgram) {
    EXPECT_THAT(offered("talvor svf --j"), IsSupersetOf({"--json", "--junit"}));
    EXPECT_THAT(offered("talvor reg read --s"),
                AllOf(Contains("--same"), Contains("--simulate"), Not(Contains("--soft"))));
    EXPECT_THAT(offered("talvor-podsim --vc"),
                IsSupersetOf({"--vcd", "--vcd-bytes", "--vcd-clocks", "--vcd-last"}));
}

TEST_P(CompletionTest, OffersTheWordsOfAValue) {
    EXPECT_THAT(offered("talvor state move pause"), ElementsAre("pausedr", "pauseir"));
    EXPECT_THAT(offered("talvor dr FF --end "), ElementsAre("idle", "pausedr", "pauseir", "reset"));
    EXPECT_THAT(offered("talvor reg poll write"), ElementsAre("write-many", "write-one"));
    EXPECT_THAT(offered("talvor svf --progress "), ElementsAre("always", "auto", "never"));
    EXPECT_THAT(offered("talvor-podsim ctl un"), ElementsAre("unplug"));
    EXPECT_THAT(offered("talvor-podsim --completion "), ElementsAre("bash", "fish", "zsh"));
}

TEST_P(CompletionTest, OffersFilesWhereTheyAreWanted) {
    EXPECT_THAT(offered("talvor svf prog"), ElementsAre("program.svf"));
    EXPECT_THAT(offered("talvor --board boa"), ElementsAre("board.toml"));
    EXPECT_THAT(offered("talvor-podsim not"), ElementsAre("notes.txt"));
    EXPECT_THAT(offered("talvor --link no"), IsEmpty());
}

TEST_P(CompletionTest, OffersValuesBehindAnEqualsSignToo) {
    // Fish offers the whole word, the others what stands behind the sign.
    const auto whole = [](const std::vector<std::string>& offered) {
        return offered.size() == 1 && offered[0].ends_with("board.toml");
    };
    EXPECT_TRUE(whole(offered("talvor --board=boa")));
    if (GetParam() == "bash") {
        EXPECT_TRUE(whole(offered("talvor --simulate=boa")));
        EXPECT_THAT(offered("talvor --simulate boa"), IsEmpty());
    }
}

TEST_P(CompletionTest, BeginsAnewBehindTrace) {
    EXPECT_THAT(offered("talvor trace --text state mo"), ElementsAre("move"));
    EXPECT_THAT(offered("talvor trace --s"), Contains("--svg"));
}

INSTANTIATE_TEST_SUITE_P(Shells, CompletionTest, testing::Values("bash", "zsh", "fish"),
                         [](const auto& shell) { return shell.param; });

// Whoever adds an option tells what its value is, so that shells know what to offer.
TEST(ValueNamesTest, AreKnownToTheCompletion) {
    const std::set<std::string> free{
        "SERIAL",  "SECONDS",   "CLOCKS",     "FREQUENCY", "BITS,...",    "TEXT",
        "HEX",     "N",         "REGISTER",   "COUNT",     "VALUE",       "COMMAND",
        "ADDRESS", "LINE",      "FROM-TO",    "DEVICE",    "PACKAGE",     "INSTRUCTION",
        "ACTION",  "PROCEDURE", "NAME=VALUE", "PART",      "PART=DEVICE", "SERIAL,...",
        "PATTERN", "NAME",      "SETTING"};
    std::vector<CommandDescription> left{describe_program()};
    size_t values = 0;
    while (!left.empty()) {
        const CommandDescription command = left.back();
        left.pop_back();
        left.insert(left.end(), command.commands.begin(), command.commands.end());
        std::vector<OptionDescription> all = command.options;
        all.insert(all.end(), command.positionals.begin(), command.positionals.end());
        for (const OptionDescription& option : all) {
            EXPECT_TRUE(option.value.empty() || !option.words.empty() || is_file(option) ||
                        free.contains(option.value))
                << command.name << ": " << option.value;
            values += option.value.empty() ? 0 : 1;
        }
    }
    EXPECT_GT(values, 30U);
}

} // namespace
} // namespace talvor::cli
