// What a command shifted, as a file.
#include "program.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <string>
#include <vector>

namespace talvor::cli {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

Outcome recorded(const std::string& file, std::vector<std::string> command) {
    command.insert(command.begin(), {"--simulate", "record", file});
    return talvor(command);
}

// The statements alone.
std::string statements(const std::string& path) {
    const std::string text = read_file(path);
    std::string left;
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at) + 1;
        left += text[at] == '!' ? "" : text.substr(at, end - at);
        at = end;
    }
    return left;
}

TEST(RecordTest, WhatACommandShiftedIsPlayedAgain) {
    const std::string file = file_with("dr.svf", "");
    const Outcome outcome = recorded(file, {"dr", "0x1FFFFFFFF", "--bits", "129"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "0x0581BCFC63456789A3D5A07E305707E35\n" + file +
                               ": 1 scan of 129 bits, 1 with answers\n");
    EXPECT_THAT(read_file(file), StartsWith("! Recorded by talvor "));
    EXPECT_THAT(read_file(file), EndsWith("STATE RESET;\n"
                                          "SDR 129 TDI (0000000000000000000000001FFFFFFFF) TDO "
                                          "(0581BCFC63456789A3D5A07E305707E35) MASK "
                                          "(1FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF);\n"
                                          "! Complete: 1 scan of 129 bits, 1 with answers.\n"));
    EXPECT_EQ(talvor({"--simulate", "svf", file}).status, 0);
}

TEST(RecordTest, WhatTheDriverShiftsAheadIsInTheFile) {
    const std::string file = file_with("fast.svf", "");
    const Outcome outcome = recorded(file, {"dr", "0x1234", "--fast"});
    EXPECT_THAT(outcome.out, StartsWith("0x7E35\n"));
    EXPECT_THAT(read_file(file),
                HasSubstr("SDR 32 TDI (1234FFFF) TDO (00007E35) MASK (0000FFFF);"));
    EXPECT_EQ(talvor({"--simulate", "svf", file}).status, 0);
}

// Lines of a session that are scans of the whole chain, moves and resets.
std::string random_script(std::mt19937& random) {
    constexpr const char* kStates[]{"idle", "pausedr", "pauseir", "reset"};
    const auto dice = [&random](uint32_t sides) { return static_cast<uint32_t>(random() % sides); };
    std::string script;
    for (int i = 0; i < 25; ++i) {
        const char* const state = kStates[dice(4)];
        const uint32_t bits = 1 + dice(160);
        switch (dice(5)) {
        case 0:
            script += fmt::format("state move {}{}\n", state, dice(2) != 0 ? " --via-idle" : "");
            break;
        case 1:
            script += fmt::format("ir {:X} --bits 33 --end {}\n",
                                  (uint64_t{random()} | uint64_t{dice(2)} << 32U), state);
            break;
        case 2:
            script += "dr 1 --bits 5 --end pausedr\n";
            break;
        default:
            script +=
                fmt::format("dr {:X} --bits {} --end {}\n",
                            random() & ((1U << dice(bits < 32 ? bits : 32)) - 1), bits, state);
        }
    }
    return script;
}

// A recording of the playing of a recording is the recording, and every answer is there again.
TEST(RecordTest, PlayingShiftsTheSameBitsAgain) {
    std::mt19937 random(16);
    for (int i = 0; i < 6; ++i) {
        const std::string script = random_script(random);
        const std::string first = file_with("first.svf", "");
        const std::string second = file_with("second.svf", "");
        ASSERT_EQ(recorded(first, {"run", file_with("script", script)}).status, 0) << script;
        const Outcome played = recorded(second, {"svf", first, "--no-reset"});
        ASSERT_EQ(played.status, 0) << played.err << script;
        // Both begin with a reset of the recording's own.
        const std::string begin = statements(first).substr(0, statements(first).find("RESET;") + 7);
        EXPECT_EQ(statements(second), begin + statements(first).substr(begin.find("STATE")))
            << script;
    }
}

TEST(RecordTest, TheLastLineSaysWhetherItIsComplete) {
    const std::string wrong = file_with("wrong.svf", "SIR 33 TDI (0);\nSDR 8 TDI (0) TDO (FF);\n"
                                                     "SIR 33 TDI (1);\n");
    const std::string file = file_with("stopped.svf", "");
    const Outcome failed = recorded(file, {"svf", wrong});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.err, HasSubstr(file + ": 2 scans of 41 bits, 1 with answers; not complete"));
    EXPECT_THAT(read_file(file), HasSubstr("\n! INCOMPLETE: " + wrong + ":2: SDR: "));
    const std::string slow = file_with(
        "slow.svf", "SDR 40000 TDI (0) TDO (0) MASK (0);\nRUNTEST IDLE 100 SEC;\nSDR 8 TDI (0);\n");
    const std::string endless = file_with("endless.svf", "");
    {
        Running running({"--simulate", "record", endless, "svf", slow});
        ASSERT_TRUE(await([&] { return read_file(endless).size() > 20000; }));
        running.signal(SIGINT);
        EXPECT_EQ(running.wait(), 128 + SIGINT);
    }
    EXPECT_THAT(read_file(endless), HasSubstr("\n! INCOMPLETE: "));
}

TEST(RecordTest, WhatSvfCannotSayIsTold) {
    const std::string file = file_with("other.svf", "");
    const Outcome outcome = recorded(
        file,
        {"run", file_with("script", "reg write 5 0\nreset --trst\nreset --hard\nlink set 3\n")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::string text = read_file(file);
    EXPECT_THAT(text,
                HasSubstr("! Not in this file: a register of the controller that was written\n"));
    EXPECT_THAT(text, HasSubstr("TRST ON;\nTRST OFF;\nSTATE RESET;\n"));
    EXPECT_THAT(text,
                HasSubstr("! Not in this file: a pulse of the pod's reset line to the target\n"));
    EXPECT_THAT(text, HasSubstr("! Not in this file: a link delay that was set\n"));
    EXPECT_THAT(outcome.err,
                HasSubstr(file + ": SVF has no words for a link delay that was set; a comment "));
}

TEST(RecordTest, WhatCannotBeRecordedLeavesTheFileAlone) {
    const std::string file = file_with("older.svf", "older");
    const Outcome served = recorded(file, {"serve", "--rbb", "127.0.0.1:0"});
    EXPECT_EQ(served.status, 2);
    EXPECT_THAT(served.err, HasSubstr("serve: cannot be recorded: its clients give edges"));
    EXPECT_THAT(recorded(file, {"record", file, "chain"}).err, HasSubstr("under way already"));
    EXPECT_EQ(recorded(file, {"nonsense"}).status, 2);
    EXPECT_THAT(recorded(file, {"tclk", "convert", "1MHz"}).err,
                HasSubstr(file + " was not written: the command used no pod"));
    EXPECT_EQ(talvor({"record", file}).status, 2);
    EXPECT_EQ(read_file(file), "older");
    EXPECT_THAT(recorded("-", {"chain"}).err, HasSubstr("name a file for the recording"));
    EXPECT_THAT(talvor({"run", "-"}, "record a.svf chain\n").err,
                HasSubstr("record: is no command of a session"));
}

TEST(RecordTest, AFullDiskIsAnError) {
    for (const auto& command : std::vector<std::vector<std::string>>{
             {"state"}, {"svf", source_file("examples/demo.svf")}}) {
        const Outcome full = recorded("/dev/full", command);
        EXPECT_EQ(full.status, 2) << full.err;
        EXPECT_THAT(full.err, HasSubstr("/dev/full: cannot be written: No space left on device"));
    }
    EXPECT_THAT(recorded("/dev/null/none", {"state"}).err, HasSubstr("/dev/null/none: cannot be"));
}

// A player that knows nothing of this one.
TEST(RecordTest, OpenOcdPlaysARecording) {
    if (!installed("openocd")) {
        GTEST_SKIP() << "openocd is not installed";
    }
    // Its adapter without hardware answers nothing of use, so that nothing is to be compared.
    const std::string silent =
        file_with("silent.svf", "SIR 33 TDI (2);\nENDDR DRPAUSE;\nSDR 300 TDI (5);\n"
                                "STATE IDLE;\nRUNTEST 20 TCK;\nRUNTEST DRPAUSE 1E-4 SEC;\n");
    const std::string file = file_with("openocd.svf", "");
    ASSERT_EQ(recorded(file, {"svf", silent}).status, 0);
    const test_support::ProgramResult played = test_support::run_program(
        {"openocd", "-c", "adapter driver dummy", "-c", "adapter speed 1000", "-c",
         "transport select jtag", "-c", "jtag newtap device tap -irlen 33", "-c",
         "proc jtag_init {} {}", "-c", "init", "-c", "svf " + file + " -quiet", "-c", "shutdown"});
    EXPECT_EQ(played.status, 0) << played.errors;
    EXPECT_THAT(played.errors, HasSubstr("svf file programmed successfully")) << read_file(file);
}

} // namespace
} // namespace talvor::cli
