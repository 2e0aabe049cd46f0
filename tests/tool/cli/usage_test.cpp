// Mistakes on the command line and in files: told before a pod is touched, exit status 2.
#include "program.h"

#include <gtest/gtest.h>

namespace talvor::cli {
namespace {

TEST(UsageTest, HelpAndVersionAreNoErrors) {
    const Outcome version = talvor({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "talvor " TALVOR_VERSION "\n");
    EXPECT_EQ(version.err, "");
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--help"}, std::vector<std::string>{"svf", "--help"},
          std::vector<std::string>{"link", "find", "--help"}}) {
        const Outcome help = talvor(words);
        EXPECT_EQ(help.status, 0);
        EXPECT_NE(help.out.find("Usage: "), std::string::npos) << help.out;
        EXPECT_EQ(help.err, "");
    }
}

struct Mistake {
    std::vector<std::string> words;
    std::string err;
};

TEST(UsageTest, MistakesEndWith2AndSayWhatToDo) {
    const Mistake mistakes[] = {
        {{}, "talvor: A subcommand is required\n  next: run 'talvor --help'\n"},
        {{"chian"}, "talvor: chian: is no command\n  next: run 'talvor --help'\n"},
        {{"link", "search"},
         "talvor: search: is not expected here\n  next: run 'talvor link --help'\n"},
        {{"chain", "x"}, "talvor: x: is not expected here\n  next: run 'talvor chain --help'\n"},
        {{"reg"}, "talvor: A subcommand is required\n  next: run 'talvor reg --help'\n"},
        {{"ir"}, "talvor: HEX is required\n  next: run 'talvor ir --help'\n"},
        {{"--link", "32", "chain"},
         "talvor: --link: 32: expected a number from 0 to 31\n  next: run 'talvor chain --help'\n"},
        {{"ir", "xyz"}, "talvor: data xyz: "},
        {{"ir", "0xFF", "--bits", "4"}, "talvor: data 0xFF: "},
        {{"ir", "0xF", "--end", "shiftdr"},
         "talvor: shiftdr: is no stable state: expected reset, idle, pausedr or pauseir\n"},
        {{"dr", "0xF", "--ir", "2"},
         "talvor: --ir: has no effect without --device\n  next: run 'talvor dr --help'\n"},
        {{"state", "move", "nowhere"}, "talvor: nowhere: is no stable state: "},
        {{"reg", "read", "32"},
         "talvor: register 32: expected a number from 0 to 31, decimal or with 0x\n"},
        {{"reg", "read", "30", "3"}, "talvor: 3 registers from 30: the last register is 31\n"},
        {{"reg", "write", "5", "0x10000"},
         "talvor: value 0x10000: expected a number from 0 to 65535, decimal or with 0x\n"},
        {{"reg", "poll", "never"}, "talvor: never: is no condition\n"},
        {{"tclk", "convert", "100MHz"},
         "talvor: FREQUENCY: 100MHz is no test clock: expected up to 64MHz\n"},
        {{"svf", "/nonexistent.svf"}, "talvor: /nonexistent.svf: "},
        {{"--board", "/nonexistent.toml", "chain"},
         "talvor: /nonexistent.toml: cannot be read: No such file or directory\n"
         "  next: name a board file with --board; examples/board.toml is one to start from\n"},
        {{"--library", "/nonexistent.so", "chain"}, "talvor: driver library: cannot be loaded: "},
        {{"--tck", "fast", "--simulate", "chain"}, "talvor: --tck: fast is no frequency: "},
        {{"--tck", "10", "--simulate", "chain"}, "talvor: --tck: 10 has no unit: expected "},
        {{"tclk", "convert", "10"}, "talvor: FREQUENCY: 10 has no unit: expected "},
        {{"trace", "chian"}, "talvor: chian: is no command\n"},
        {{"trace"}, "talvor: A command is required\n"},
        {{"--simulate=/nonexistent.toml", "chain"}, "talvor: simulator: "},
    };
    for (const Mistake& mistake : mistakes) {
        const Outcome outcome = talvor(mistake.words);
        const std::string words = testing::PrintToString(mistake.words);
        EXPECT_EQ(outcome.status, 2) << words << "\n" << outcome.err;
        EXPECT_EQ(outcome.out, "") << words;
        EXPECT_TRUE(outcome.err.starts_with(mistake.err)) << words << "\n" << outcome.err;
    }
}

TEST(UsageTest, OptionsThatWouldBePassedOverAreRefused) {
    for (const auto& [words, option] : {
             std::pair<std::vector<std::string>, std::string>{{"status", "--count", "3"},
                                                              "--count: has no effect without"},
             {{"trace", "--title", "x", "chain"}, "--title: has no effect without --svg"},
             {{"trace", "--last", "--first", "3", "chain"}, "--first: cannot be had with --last"},
             {{"svf", "--dry-run", "--keep-going", "x"}, "--dry-run: cannot be had with "},
             {{"svf", "--dry-run", "--no-check", "x"}, "--dry-run: cannot be had with "},
             {{"svf", "--exact", "--fast", "x"}, "--exact: cannot be had with --fast"},
             {{"completion", "bash", "--json"}, "--json: 'talvor completion bash' makes no use"},
             {{"completion", "bash", "--simulate=x"}, "--simulate: 'talvor completion bash' makes"},
             {{"tclk", "convert", "1MHz", "--pod", "3"}, "--pod: 'talvor tclk convert' makes no"},
             {{"--tck", "1MHz", "tclk", "search"}, "--tck: 'talvor tclk search' makes no use"},
             {{"info", "--link", "3"}, "--link: 'talvor info' makes no use of it"},
         }) {
        const Outcome outcome = talvor(words);
        EXPECT_EQ(outcome.status, 2) << outcome.err;
        EXPECT_TRUE(outcome.err.starts_with("talvor: " + option)) << outcome.err;
    }
}

TEST(UsageTest, HelpAboutNothingIsAnError) {
    for (const auto& [words, err] : {
             std::pair<std::vector<std::string>, std::string>{
                 {"chian", "--help"},
                 "talvor: chian: is no command\n  next: run 'talvor --help'\n"},
             {{"link", "seek", "--help"},
              "talvor: seek: is not expected here\n  next: run 'talvor link --help'\n"},
             {{"trace", "chian", "--help"}, "talvor: chian: is no command\n"},
         }) {
        const Outcome outcome = talvor(words);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_TRUE(outcome.err.starts_with(err)) << outcome.err;
    }
}

TEST(UsageTest, TheOptionAtFaultIsNamedAndNotAWordBehindIt) {
    const Outcome outcome = talvor({"trace", "--count", "0", "dr", "FF"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "talvor: --count: 0: expected a number from 1 to 18446744073709551615\n"
                           "  next: run 'talvor trace --help'\n");
}

TEST(UsageTest, ErrorsAreDocumentsWithJson) {
    const Outcome outcome = talvor({"--json", "tclk", "convert", "x"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, R"({
  "error": {
    "kind": "usage",
    "thing": "FREQUENCY",
    "reason": "x is no frequency: expected something like 10.5MHz, 500kHz or 32768Hz"
  }
}
)");
    EXPECT_FALSE(outcome.err.empty());
}

TEST(UsageTest, ABadKeyOfTheBoardFileIsNamedWithItsLine) {
    const std::string board = file_with("bad-key.toml", "[KELM]\nPOD_TCKDIV = 16\n");
    const Outcome outcome = simulated({"--board", board, "chain"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
              "talvor: " + board +
                  ":2: KELM.POD_TCKDIV = 16: a KELM.POD_ value is out of its range "
                  "(-339 eJTI_ERROR_POD_RANGE)\n"
                  "  next: correct the key in the board file; docs/board-file.md lists "
                  "what each key takes\n");
}

TEST(UsageTest, AKeyOfTheWrongTypeIsNamedWithItsLine) {
    const std::string board = file_with("bad-type.toml", "[KELM]\n\nPOD_AW_EN = \"perhaps\"\n");
    const Outcome outcome = simulated({"--board", board, "chain"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(outcome.err.starts_with(
        "talvor: " + board +
        ":3: KELM.POD_AW_EN = perhaps: the value is neither true nor false (9004 "
        "eHOST_ERROR_NOT_A_BOOLEAN)\n"))
        << outcome.err;
}

} // namespace
} // namespace talvor::cli
