// Every document that --json prints is as docs/talvor.schema.json says.
#include "program.h"
#include "tool/commands/app.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>

namespace talvor::cli {
namespace {

using nlohmann::json;

const std::string& schema_path() {
    static const std::string path = source_file("docs/talvor.schema.json");
    return path;
}

// Holds documents against the schema; `lines` are those of check_schema.py.
void expect_fits(const std::string& lines) {
    const test_support::ProgramResult checked = test_support::run_program(
        {"python3", source_file("tests/tool/cli/check_schema.py"), schema_path()}, lines);
    if (checked.status == 3) {
        GTEST_SKIP() << "python3-jsonschema is not installed";
    }
    EXPECT_EQ(checked.status, 0) << checked.output << checked.errors << lines.substr(0, 2000);
}

std::string in_one_line(const std::string& name, const std::string& document) {
    return name + "\t" + json::parse(document).dump() + "\n";
}

struct Sample {
    std::string name; // in the schema
    std::vector<std::string> words;
};

const std::vector<Sample>& runs() {
    static const std::string svf = source_file("examples/vendor.svf");
    static const std::string wrong = file_with("wrong.svf", "SDR 8 TDI (0) TDO (00);\n");
    static const std::string refused = file_with("refused.svf", "TRST Z;\nPIO (H);\nSDR 8;\n");
    static const std::string board = source_file("examples/board.toml");
    static const std::string connected = source_file("examples/board/pod.toml");
    static const std::string devices = source_file("examples/board/board.toml");
    static const std::string nets = source_file("examples/board/nets.toml");
    static const std::string xsvf =
        file_with("a.xsvf", std::string("\x02\x21\1\xFF\xFF\xFF\xFF\0", 8));
    static const std::string stapl =
        file_with("a.stapl", "NOTE \"A\" \"b\";\nACTION IDCODE \"reads\" = READ OPTIONAL;\n"
                             "ACTION FAILS = READ;\nPROCEDURE READ;\nBOOLEAN id[32];\n"
                             "BOOLEAN ok;\nDRSCAN 32, $0, CAPTURE id[], COMPARE $0, $F, ok;\n"
                             "EXPORT \"ID\", id[];\nPRINT \"x\";\nEXIT 6;\nENDPROC;\n");
    static const std::vector<Sample> all{
        {"info", {"info"}},
        {"info", {"--board", board, "info"}},
        {"chain", {"chain"}},
        {"chain", {"--board", board, "chain"}},
        {"ir", {"ir", "0x1FFFFFFFF", "--bits", "33"}},
        {"dr", {"dr", "0xFF"}},
        {"state", {"state"}},
        {"state get", {"state", "get"}},
        {"state move", {"state", "move", "idle"}},
        {"reset", {"reset"}},
        {"status", {"status"}},
        {"link", {"link"}},
        {"link show", {"link", "show"}},
        {"link set", {"link", "set", "3"}},
        {"link find", {"link", "find"}},
        {"reg read", {"reg", "read", "0", "2"}},
        {"reg write", {"reg", "write", "3", "0x0010"}},
        {"reg poll", {"reg", "poll", "idle"}},
        {"tclk search", {"tclk", "search", "--bits", "64"}},
        {"svf", {"svf", svf}},
        {"svf", {"svf", "--dry-run", svf}},
        {"svf", {"svf", "--no-check", svf}},
        {"svf", {"svf", wrong}},
        {"svf", {"svf", refused}},
        {"play", {"play", svf}},
        {"play", {"play", "--dry-run", xsvf}},
        {"xsvf", {"xsvf", xsvf}},
        {"stapl", {"stapl", "--action", "IDCODE", stapl}},
        {"stapl", {"stapl", "--action", "FAILS", stapl}},
        {"stapl", {"stapl", "--action", "IDCODE", "--dry-run", stapl}},
        {"stapl list", {"stapl", "--list", stapl}},
        {"interconnect", {"--simulate", connected, "--board", devices, "interconnect", nets}},
        {"interconnect",
         {"--simulate", connected, "--board", devices, "interconnect", "--dry-run", nets}},
        {"shmoo", {"shmoo", "--clocks", "3", "--delays", "2-4", "--bits", "64"}},
        {"trace", {"trace", "chain"}},
        {"record", {"record", file_with("state.svf", ""), "state"}},
        {"bench", {"bench", "--seconds", "0.001", "--bits", "64"}},
        {"doctor", {"doctor"}},
        {"doctor", {"--link", "0", "doctor"}},
        {"init", {"init", "-"}},
        {"gang", {"--pods", "all", "chain"}},
        {"gang", {"--pods", "5", "svf", wrong}},
        {"gang", {"--pods", "5", "bench", "--seconds", "0.001", "--bits", "64"}},
        {"failure", {"--pods", "5,5", "chain"}},
        {"failure", {"chain", "--pod", "77"}},
        {"failure", {"chain", "x"}},
        {"failure", {"reg", "read", "26"}},
    };
    return all;
}

TEST(SchemaTest, EveryDocumentIsAsItSays) {
    std::string lines;
    for (const Sample& run : runs()) {
        std::vector<std::string> words{"--json"};
        words.insert(words.end(), run.words.begin(), run.words.end());
        lines += in_one_line(run.name, simulated(words).out);
    }
    lines += in_one_line("tclk convert", talvor({"--json", "tclk", "convert", "5MHz"}).out);
    lines += in_one_line("convert", talvor({"--json", "convert", source_file("examples/vendor.svf"),
                                            file_with("b.xsvf", "")})
                                        .out);
    expect_fits(lines);
}

TEST(SchemaTest, EveryDocumentOfABsdlFileIsAsItSays) {
    const std::string parts =
        file_with("parts.toml", "[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"t5\"\nir_length = "
                                "5\nidcode = 0x24100501\nidcode_instruction = 1\n"
                                "[[pod.tap]]\nname = \"t6\"\nir_length = 6\nidcode = "
                                "0x20044501\nidcode_instruction = 1\n");
    const std::string broken = file_with("broken.bsd", "entity A is end A;\n");
    std::string lines;
    for (const std::string& file : {source_file("examples/board/tlv100.bsd"),
                                    source_file("examples/board/tlc44.bsd"), broken}) {
        lines += in_one_line("bsdl", talvor({"--json", "bsdl", "--check", file}).out);
    }
    lines += in_one_line("chain", talvor({"--json", "--simulate=" + parts, "--bsdl",
                                          source_file("examples/board"), "chain"})
                                      .out);
    expect_fits(lines);
}

TEST(SchemaTest, EveryDocumentOfPinsIsAsItSays) {
    const std::string part = source_file("examples/board/tlc44.bsd");
    const std::string pod = file_with("one.toml", "[[pod]]\nserial = 5\nrevision = 0x0302\n"
                                                  "[[pod.tap]]\nname = \"u2\"\nbsdl = \"" +
                                                      part + "\"\n");
    const std::string board =
        file_with("one_board.toml", "[[device]]\nname = \"u2\"\nbsdl = \"" + part + "\"\n");
    std::string lines;
    for (const Sample& run : std::vector<Sample>{
             {"pins", {"pins"}},
             {"pins", {"pins", "--vcd", file_with("s.vcd", ""), "--count", "2"}},
             {"pins get", {"pins", "get", "IO0", "A0"}},
             {"pins set", {"pins", "set", "IO0=1", "IO1=Z", "--hold", "0.01"}},
             {"pins set", {"pins", "set", "A0=1", "--instruction", "intest", "--hold", "0.01"}},
             {"pins toggle", {"pins", "toggle", "IO0", "--period", "0.01", "--count", "2"}}}) {
        std::vector<std::string> words{"--json", "--simulate=" + pod, "--board", board};
        words.insert(words.end(), run.words.begin(), run.words.end());
        lines += in_one_line(run.name, talvor(words).out);
    }
    std::istringstream out(talvor({"--json", "--simulate=" + pod, "--board", board, "pins",
                                   "--watch", "0.01", "--count", "2"})
                               .out);
    for (std::string line; std::getline(out, line);) {
        lines += in_one_line("pins", line);
    }
    expect_fits(lines);
}

TEST(SchemaTest, EveryLineOfASessionIsAsItSays) {
    const Outcome outcome = simulated({"--json", "run", "-"},
                                      "dr 0xFF\nexpect 0x35\nhelp dr\nstatus --watch 0.01 --count "
                                      "2\nexpect 0x0 # fails\n");
    EXPECT_EQ(outcome.status, 1);
    std::istringstream out(outcome.out);
    std::string lines;
    size_t count = 0;
    for (std::string line; std::getline(out, line); ++count) {
        const json document = json::parse(line);
        lines += in_one_line("run", line);
        if (document.contains("result")) {
            const std::string command = document.at("command");
            lines +=
                in_one_line(command.substr(0, command.find(' ')), document.at("result").dump());
        }
    }
    EXPECT_EQ(count, 6U) << outcome.out;
    expect_fits(lines);
}

TEST(SchemaTest, HasEveryCommandThatPrintsADocument) {
    const json schema = json::parse(read_file(schema_path()));
    CommonOptions options;
    CommandLine line("talvor", "");
    build_command_line(line, options);
    for (const Command& command : line.program().commands()) {
        bool named = schema.at("$defs").contains(command.name());
        for (const Command& inner : command.commands()) {
            named |= schema.at("$defs").contains(command.name() + " " + inner.name());
        }
        EXPECT_TRUE(named || command.name() == "completion") << command.name();
    }
}

TEST(SchemaTest, WouldNotLetAnotherDocumentPass) {
    const test_support::ProgramResult checked = test_support::run_program(
        {"python3", source_file("tests/tool/cli/check_schema.py"), schema_path()},
        "dr\t{\"path\":\"dr\",\"bits\":8,\"out\":\"0x35\",\"state\":\"idle\",\"x\":1}\n");
    if (checked.status == 3) {
        GTEST_SKIP() << "python3-jsonschema is not installed";
    }
    EXPECT_EQ(checked.status, 1);
    EXPECT_NE(checked.output.find("dr: $: "), std::string::npos) << checked.output;
}

TEST(WatchedStatusTest, IsADocumentInEachLine) {
    const Outcome outcome = simulated({"--json", "status", "--watch", "0.01", "--count", "3"});
    EXPECT_EQ(outcome.status, 0);
    std::istringstream out(outcome.out);
    std::string lines;
    size_t count = 0;
    for (std::string line; std::getline(out, line); ++count) {
        lines += in_one_line("status", line);
    }
    EXPECT_EQ(count, 3U) << outcome.out;
    expect_fits(lines);
}

TEST(DoctorJsonTest, CarriesTheErrorAndWhatToDo) {
    const Outcome outcome = simulated({"--json", "--link", "0", "doctor"});
    EXPECT_EQ(outcome.status, 1);
    const json document = json::parse(outcome.out);
    EXPECT_EQ(document.at("healthy"), false);
    EXPECT_NE(document.at("error").at("next_step"), "");
    const json& checks = document.at("checks");
    const auto wrong = std::find_if(checks.begin(), checks.end(),
                                    [](const json& one) { return one.at("verdict") == "wrong"; });
    ASSERT_NE(wrong, checks.end());
    EXPECT_EQ(wrong->at("next_step"), document.at("error").at("next_step"));
}

} // namespace
} // namespace talvor::cli
