// SVF files on a simulated pod: what they say, and what is said about them.
#include "host/jtag/bits.h"
#include "host/waveform/vcd.h"
#include "program.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <random>
#include <sstream>

namespace talvor::cli {
namespace {

// The scratch register of the second device of the built-in chain: three devices are nearer TDO,
// with 23 instruction bits, one is nearer TDI, with 6.
constexpr const char* kSelectScratch = R"(! the device "cpu", register "scratch"
TRST OFF;
STATE RESET;
HIR 23 TDI (7FFFFF);
TIR 6 TDI (3F);
HDR 3 TDI (0);
TDR 1 TDI (0);
SIR 4 TDI (8) TDO (1) MASK (3);
)";

Outcome play(const std::string& text, std::vector<std::string> options = {}) {
    std::vector<std::string> words{"svf", file_with("play.svf", text)};
    words.insert(words.end(), options.begin(), options.end());
    return simulated(words);
}

nlohmann::json document(const Outcome& outcome) {
    return nlohmann::json::parse(outcome.out);
}

TEST(SvfTest, PlaysAFileAndSumsItUp) {
    const std::string path =
        file_with("good.svf", std::string(kSelectScratch) + "SDR 32 TDI (DEADBEEF) TDO (0);\n"
                                                            "SDR 32 TDI (0) TDO (DEADBEEF);\n");
    const Outcome outcome = simulated({"svf", path});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, path + ": all scans answered as expected\n"
                                  "  9 statements, 3 scans of 105 bits, 3 compared\n");
}

TEST(SvfTest, ReadsTheStandardInput) {
    const Outcome outcome = simulated({"svf", "-"}, "STATE RESET;\nSIR 33 TDI (1FFFFFFFF);\n");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("2 statements, 1 scan of 33 bits"), std::string::npos)
        << outcome.out;
}

TEST(SvfTest, AMismatchIsNamedWithLineAndBits) {
    const std::string path =
        file_with("wrong.svf", std::string(kSelectScratch) + "SDR 32 TDI (DEADBEEF);\n"
                                                             "SDR 32 TDI (0) TDO (DEADBEEE) MASK "
                                                             "(FFFFFFFF);\nSDR 32 TDI (1);\n");
    const Outcome outcome = simulated({"svf", path});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.out.starts_with(path + ": 1 of 2 compared scans answered wrong; stopped "
                                               "there\n"))
        << outcome.out;
    EXPECT_NE(outcome.err.find(path), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("10"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("DEADBEEE"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("DEADBEEF"), std::string::npos) << outcome.err;
}

TEST(SvfTest, KeepsGoingWhenAsked) {
    std::string text = kSelectScratch;
    for (int i = 0; i < 6; ++i) {
        text += fmt::format("SDR 32 TDI ({:X}) TDO ({:X});\n", i + 1, i % 2 == 0 ? i : 0xFF);
    }
    const Outcome outcome = play(text, {"--keep-going", "--json"});
    EXPECT_EQ(outcome.status, 1);
    const auto result = document(outcome);
    EXPECT_EQ(result.at("passed"), false);
    EXPECT_EQ(result.at("complete"), true);
    EXPECT_EQ(result.at("mismatch_count"), 3);
    ASSERT_EQ(result.at("mismatches").size(), 3U);
    EXPECT_EQ(result.at("mismatches").at(0).at("line"), 10);
    EXPECT_EQ(result.at("mismatches").at(0).at("expected"), "0x000000FF");
    EXPECT_EQ(result.at("mismatches").at(0).at("got"), "0x00000001");
    EXPECT_EQ(result.at("mismatches").at(0).at("differing_bits"), 7);
    EXPECT_EQ(result.at("mismatches").at(2).at("line"), 14);
    EXPECT_EQ(result.at("summary").at("compared_scans"), 7);
}

TEST(SvfTest, ADryRunShiftsNothing) {
    const PodsimProcess simulator(five());
    const std::string path =
        file_with("dry.svf", std::string(kSelectScratch) + "SDR 32 TDI (DEADBEEF);\n");
    const Outcome dry = talvor({"svf", "--dry-run", path});
    EXPECT_EQ(dry.status, 0) << dry.err;
    EXPECT_EQ(dry.out, path + ": can be played: 8 statements, 2 scans of 69 bits, 1 compared\n");
    const std::string read =
        file_with("read.svf", std::string(kSelectScratch) + "SDR 32 TDI (0) TDO (0);\n");
    EXPECT_EQ(talvor({"svf", read}).status, 0);
    EXPECT_EQ(talvor({"svf", path}).status, 0);
    EXPECT_EQ(talvor({"svf", read}).status, 1) << "now the register holds something";
}

struct Refusal {
    std::string statement;
    int status;
    std::string text;
};

TEST(SvfTest, WhatThePodCannotDoIsRefusedByLineBeforeAnythingIsShifted) {
    const Refusal refusals[] = {
        {"TRST ON;", 1, "TRST"},
        {"TRST Z;", 1, "TRST"},
        {"RUNTEST DRPAUSE 10 TCK ENDSTATE IDLE;", 1, "Pause-DR"},
        {"RUNTEST 10 SCK;", 1, "SCK"},
        {"FREQUENCY 100 HZ;", 1, "100 Hz"},
        {"PIO (HLUD);", 1, "PIO"},
        {"SDR 8 TDI (100);", 2, ""},
        {"SDR 8 TDO (00);", 2, ""},
        {"FOO 1;", 2, "FOO"},
    };
    for (const Refusal& one : refusals) {
        const std::string path =
            file_with("refused.svf", "STATE RESET;\nSIR 33 TDI (0);\n" + one.statement + "\n");
        const std::string trace = file_with("refused.vcd", "");
        const Outcome outcome =
            talvor({"trace", "--vcd", trace, "--svg", trace + ".svg", "svf", "--strict", path});
        EXPECT_EQ(outcome.status, one.status) << one.statement << "\n" << outcome.err;
        EXPECT_NE(outcome.err.find(path), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("3"), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find(one.text), std::string::npos) << outcome.err;
        const auto seen = waveform::read_vcd_file(trace);
        ASSERT_TRUE(seen);
        EXPECT_TRUE(waveform::shift_runs(*seen).empty()) << one.statement;
    }
}

TEST(SvfTest, EverythingThatIsRefusedIsListed) {
    const std::string path = file_with("all.svf", "TRST Z;\nRUNTEST 10 SCK;\nSDR 8 TDO (00);\n"
                                                  "SDR 8 TDI (00);\nFOO;\nTRST Z;\n");
    const Outcome text = simulated({"svf", path});
    EXPECT_EQ(text.status, 2);
    EXPECT_EQ(text.out,
              path + ":1: TRST: TRST let float: the pod always drives TRSTn\n" + path +
                  ":2: RUNTEST: clocks of SCK: the pod does not see the target's system clock\n" +
                  path + ":3: SDR: TDI is missing, and there is none of 8 bits to carry over\n" +
                  path + ":5: 'FOO' is no SVF statement\n");
    EXPECT_TRUE(text.err.starts_with(
        "talvor: " + path + ": 4 statements cannot be played; the first: " + path + ":1: TRST: "))
        << text.err;
    const Outcome dry = simulated({"svf", "--json", "--dry-run", path});
    EXPECT_EQ(dry.status, 2);
    const auto result = document(dry);
    EXPECT_EQ(result.at("playable"), false);
    EXPECT_EQ(result.at("refusal_count"), 4);
    EXPECT_EQ(result.at("refusals").at(1).at("thing"), path + ":2");
    EXPECT_EQ(result.at("refusals").at(1).at("kind"), "refused");
    EXPECT_EQ(result.at("error").at("kind"), "bad file");
}

TEST(SvfTest, WhatIsPlayedOtherwiseIsNoted) {
    const std::string path = source_file("examples/vendor.svf");
    const Outcome outcome = simulated({"svf", "--json", path});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const auto result = document(outcome);
    EXPECT_EQ(result.at("passed"), true);
    EXPECT_EQ(result.at("note_count"), 3);
    EXPECT_EQ(result.at("notes").at(2).at("kind"), "clocks");
    EXPECT_EQ(result.at("notes").at(2).at("line"), 31);
    EXPECT_EQ(result.at("notes").at(2).at("statement"), "RUNTEST");
    const Outcome strict = simulated({"svf", "--json", "--strict", path});
    EXPECT_EQ(strict.status, 1);
    EXPECT_EQ(document(strict).at("refusal_count"), 3);
}

TEST(SvfTest, AMismatchSaysWhereThePlayingStopped) {
    const std::string text = std::string(kSelectScratch) + "ENDDR DRPAUSE;\n"
                                                           "SDR 32 TDI (0) TDO (1);\n";
    const auto result = document(play(text, {"--json"}));
    EXPECT_EQ(result.at("stopped").at("line"), 10);
    EXPECT_EQ(result.at("stopped").at("statement"), "SDR");
    EXPECT_EQ(result.at("stopped").at("tap_state"), "Pause-DR");
    EXPECT_EQ(result.at("complete"), false);
    const Outcome plain = play(text);
    EXPECT_NE(plain.out.find("play.svf:10, SDR, the TAP was last in Pause-DR\n"), std::string::npos)
        << plain.out;
}

TEST(SvfTest, AnInterruptSaysWhereThePlayingStopped) {
    std::string text = "STATE RESET;\nENDIR IRPAUSE;\nSIR 33 TDI (0);\n";
    for (int i = 0; i < 400; ++i) {
        text += "RUNTEST IDLE 0.1 SEC ENDSTATE DRPAUSE;\n";
    }
    Running svf(
        {"--simulate", "svf", "--json", "--progress", "always", file_with("long.svf", text)});
    ASSERT_TRUE(await([&svf] { return svf.err().find("\rplay ") != std::string::npos; }));
    svf.signal(SIGINT);
    EXPECT_EQ(svf.wait(), 128 + SIGINT);
    const auto result = nlohmann::json::parse(svf.out());
    EXPECT_EQ(result.at("passed"), false);
    EXPECT_EQ(result.at("error").at("thing"), "interrupted");
    EXPECT_LE(result.at("stopped").at("line"), 403);
    EXPECT_TRUE(result.at("stopped").contains("statement"));
    EXPECT_TRUE(result.at("stopped").contains("tap_state"));
}

TEST(SvfTest, WritesJunit) {
    const std::string xml = file_with("results.xml", "");
    const auto results = [&](const std::string& text, std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--junit", xml});
        const Outcome outcome = play(text, options);
        EXPECT_EQ(outcome.err.find("junit"), std::string::npos);
        return read_file(xml);
    };
    const std::string good = results(kSelectScratch);
    EXPECT_NE(good.find("tests=\"2\" failures=\"0\" errors=\"0\" skipped=\"0\""), std::string::npos)
        << good;
    const std::string wrong =
        results(std::string(kSelectScratch) + "SDR 32 TDI (0) TDO (1);\nSDR 32 TDO (1);\n",
                {"--keep-going"});
    EXPECT_NE(wrong.find("failures=\"1\" errors=\"0\""), std::string::npos) << wrong;
    EXPECT_NE(wrong.find("play.svf:9: SDR: 1 of 32 bits differ"), std::string::npos) << wrong;
    EXPECT_NE(wrong.find("play.svf:10: SDR: 1 of 32 bits differ"), std::string::npos) << wrong;
    const std::string refused = results("TRST Z;\nFOO;\n");
    EXPECT_NE(refused.find("failures=\"1\" errors=\"0\" skipped=\"1\""), std::string::npos)
        << refused;
    EXPECT_NE(refused.find("'FOO' is no SVF statement"), std::string::npos) << refused;
    const std::string dry = results(kSelectScratch, {"--dry-run"});
    EXPECT_NE(dry.find("tests=\"1\" failures=\"0\""), std::string::npos) << dry;
    const Outcome nowhere = play(kSelectScratch, {"--junit", "/nonexistent/results.xml"});
    EXPECT_EQ(nowhere.status, 2);
    EXPECT_NE(nowhere.err.find("/nonexistent/results.xml: cannot be written: "), std::string::npos);
}

// The manual's table: each row is checked, and played where it says so.
struct Row {
    std::string statements;
    std::string verdict;
};

std::vector<Row> table_of_the_manual() {
    std::istringstream page(read_file(source_file("docs/talvor.md")));
    std::vector<Row> rows;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        inside = line == "| Statement | It is | Why |" || (inside && line.starts_with("|"));
        if (!inside || !line.starts_with("| `")) {
            continue;
        }
        const size_t end = line.find("` | ");
        const size_t verdict = end + 4;
        rows.push_back(
            {line.substr(3, end - 3), line.substr(verdict, line.find(" |", verdict) - verdict)});
    }
    return rows;
}

TEST(SvfTest, TheTableOfTheManualIsTrue) {
    const PodsimProcess simulator(five());
    const std::vector<Row> rows = table_of_the_manual();
    ASSERT_EQ(rows.size(), 31U);
    for (const Row& row : rows) {
        const std::string path = file_with("row.svf", row.statements + "\n");
        const Outcome outcome = talvor({"svf", "--json", path});
        const Outcome strict = talvor({"svf", "--json", "--dry-run", "--strict", path});
        const auto result = document(outcome);
        if (row.verdict == "refused") {
            EXPECT_NE(outcome.status, 0) << row.statements;
            EXPECT_EQ(result.at("playable"), false) << row.statements;
            continue;
        }
        EXPECT_EQ(outcome.status, 0) << row.statements << outcome.err;
        EXPECT_EQ(result.at("complete"), true) << row.statements;
        const bool approximated = row.verdict == "approximated";
        EXPECT_TRUE(approximated || row.verdict == "played") << row.verdict;
        EXPECT_EQ(result.at("note_count") != 0, approximated) << row.statements;
        EXPECT_EQ(document(strict).at("playable"), !approximated) << row.statements;
    }
}

// Clocks that a trace has in Run-Test/Idle.
uint64_t idle_clocks(const std::string& vcd) {
    const auto seen = waveform::read_vcd_file(vcd);
    EXPECT_TRUE(seen);
    uint64_t clocks = 0;
    for (const waveform::Sample& sample : seen->samples) {
        clocks += sample.state == TapState::RunTestIdle && !sample.tms ? 1 : 0;
    }
    return clocks;
}

TEST(SvfTest, AMistakeInTheFileIsNamedWithLineAndNextStep) {
    const std::string path = file_with("bad.svf", "STATE RESET;\nSDR 8 TDI (1FF);\n");
    const Outcome outcome = simulated({"svf", path});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "talvor: " + path +
                  ":2: the value of SDR TDI is wider than its 8 bits\n"
                  "  next: correct the file there; --dry-run checks it and shifts nothing\n");
}

TEST(SvfTest, RunsAtLeastTheClocksThatAreAskedFor) {
    for (const uint64_t clocks : {1U, 7U, 8U, 1000U, 100000U}) {
        const std::string trace = file_with("run.vcd", "");
        const auto run = [&](uint64_t count) {
            const std::string path = file_with(
                "run.svf", fmt::format("STATE RESET;\nSTATE IDLE;\nRUNTEST {} TCK;\n", count));
            const Outcome outcome = talvor(
                {"trace", "--vcd", trace, "--svg", trace + ".svg", "--count", "10", "svf", path});
            EXPECT_EQ(outcome.status, 0) << outcome.err;
            return idle_clocks(trace);
        };
        const uint64_t spent = run(clocks) - run(0);
        EXPECT_GE(spent, clocks);
        EXPECT_LE(spent, clocks + 7);
    }
}

TEST(SvfTest, AChangeOfFrequencyLeavesTheTargetAsItIs) {
    const Outcome outcome = play(std::string(kSelectScratch) + "SDR 32 TDI (600DF00D);\n"
                                                               "FREQUENCY 1E6 HZ;\n"
                                                               "SDR 32 TDI (12345678) TDO "
                                                               "(600DF00D);\n"
                                                               "FREQUENCY;\n"
                                                               "SDR 32 TDI (0) TDO (12345678);\n");
    EXPECT_EQ(outcome.status, 0) << outcome.err << outcome.out;
}

TEST(SvfTest, StatePathsAreWalkedAsWritten) {
    const Outcome outcome =
        play(std::string(kSelectScratch) + "ENDDR DRPAUSE;\nSDR 32 TDI (CAFEF00D);\n"
                                           "STATE DREXIT2 DRUPDATE IDLE;\n"
                                           "ENDDR IDLE;\nSDR 32 TDI (0) TDO (CAFEF00D);\n");
    EXPECT_EQ(outcome.status, 0) << outcome.err << outcome.out;
}

// Thousands of scans whose answers are known: each reads what the one before it wrote.
TEST(SvfTest, ALargeFileIsAnsweredBitForBit) {
    std::mt19937 random(7);
    std::string text = kSelectScratch;
    uint32_t last = 0;
    for (int i = 0; i < 20000; ++i) {
        const auto next = static_cast<uint32_t>(random());
        text += fmt::format("SDR 32 TDI ({:08X}) TDO ({:08X});\n", next, last);
        last = next;
    }
    const Outcome good = play(text, {"--json"});
    EXPECT_EQ(good.status, 0) << good.err;
    EXPECT_EQ(document(good).at("summary").at("compared_scans"), 20001);
    // One bit wrong near the end is found where it stands.
    const size_t at = text.rfind("TDO (");
    text[at + 5] = text[at + 5] == '0' ? '1' : '0';
    const Outcome wrong = play(text, {"--json"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(document(wrong).at("mismatches").at(0).at("line"), 20008);
}

// A scan much longer than its path gives back what went in, five BYPASS bits later.
TEST(SvfTest, ALongScanComesBackThroughBypass) {
    constexpr size_t kBits = 300'000;
    std::mt19937 random(11);
    Bits out(kBits);
    for (uint16_t& word : out.words()) {
        word = static_cast<uint16_t>(random());
    }
    out.clear_unused();
    Bits expected(5);
    expected.append(out.slice(0, kBits - 5));
    const std::string text = fmt::format("STATE RESET;\nSIR 33 TDI (1FFFFFFFF);\n"
                                         "SDR {} TDI ({}) TDO ({});\n",
                                         kBits, out.to_hex(), expected.to_hex());
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{}, std::vector<std::string>{"--exact"}}) {
        const Outcome exact = play(text, options);
        EXPECT_EQ(exact.status, 0) << exact.err.substr(0, 500);
    }
    const Outcome fast = play(text, {"--fast"});
    EXPECT_EQ(fast.status, 1) << "sixteen ones come first";
    EXPECT_EQ(fast.err.find("--exact"), std::string::npos);
    const Outcome both = play(text, {"--fast", "--exact"});
    EXPECT_EQ(both.status, 2);
    EXPECT_NE(both.err.find("--exact: cannot be had with --fast"), std::string::npos) << both.err;
}

// Where a file begins with IDCODEs, the first mismatch says what that means.
TEST(SvfTest, AFirstIdCodeThatDiffersSaysWhy) {
    const std::string chain = "STATE RESET;\nSDR 129 TDI (0) TDO "
                              "(0581BCFC63456789A3D5A07E305707E35);\n";
    const Outcome late = play(chain, {"--link", "2", "--json"});
    EXPECT_EQ(late.status, 1);
    EXPECT_EQ(document(late).at("error").at("next_step"),
              "the answer comes 1 test clock late, so the link delay is wrong: find the right one "
              "with 'talvor link find'");
    EXPECT_NE(late.err.find("\n  next: the answer comes 1 test clock late"), std::string::npos);
    const Outcome other = play("STATE RESET;\nSDR 32 TDI (0) TDO (05707F35) MASK (0FFFFFFF);\n");
    EXPECT_NE(other.err.find("\n  next: it is another device, unless bits are lost on the way"),
              std::string::npos)
        << other.err;
    // What comes behind another answer is no IDCODE, whatever it looks like.
    const Outcome later = play("STATE RESET;\nSDR 8 TDI (0) TDO (35);\n"
                               "SDR 32 TDI (0) TDO (05707F35);\n");
    EXPECT_EQ(later.status, 1);
    EXPECT_EQ(later.err.find("next:"), std::string::npos) << later.err;
}

TEST(SvfTest, ShowsProgressWhenAsked) {
    std::string text = kSelectScratch;
    for (int i = 0; i < 3000; ++i) {
        text += "SDR 32 TDI (0);\n";
    }
    const Outcome outcome = play(text, {"--progress", "always"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.err.find("\rcheck "), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("\rplay "), std::string::npos) << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with("\r\033[K")) << "the bar is wiped in the end";
    EXPECT_EQ(play(text).err, "") << "no bar without a terminal";
}

} // namespace
} // namespace talvor::cli
