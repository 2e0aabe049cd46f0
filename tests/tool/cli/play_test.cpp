// Files of other formats than SVF, and from one into the other.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace talvor::cli {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string kReadsIdcodes("\x12\x00\x12\x01\x08\x00\x00\x00\x20\x01\xFF\xFF\xFF\xFF"
                                "\x09\x00\x00\x00\x00\x05\x70\x7E\x35\x00",
                                24);

std::string content(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

TEST(PlayTest, AnXsvfFileIsPlayedByItsNameAndByItsContent) {
    const std::string file = file_with("id.xsvf", kReadsIdcodes);
    for (const char* command : {"xsvf", "play"}) {
        const Outcome outcome = talvor({"--simulate", command, file});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.out, StartsWith(file + ": all scans answered as expected\n"));
        EXPECT_THAT(outcome.out, HasSubstr("1 scan of 32 bits, 1 compared"));
    }
}

TEST(PlayTest, AWrongAnswerIsNamedWithItsOffset) {
    std::string wrong = kReadsIdcodes;
    wrong[22] = '\x34';
    const std::string file = file_with("wrong.xsvf", "\x07" + std::string(1, '\0') + wrong);
    const Outcome outcome = talvor({"--simulate", "play", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("wrong.xsvf:16: XSDRTDO: 1 of 32 bits differ"));
}

TEST(PlayTest, AnSvfFileIsKnownByItsContent) {
    const Outcome outcome = talvor({"--simulate", "play", source_file("examples/demo.svf")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("403 compared"));
}

TEST(PlayTest, NoFormatIsTakenForAnother) {
    EXPECT_THAT(talvor({"--simulate", "svf", file_with("id.xsvf", kReadsIdcodes)}).err,
                HasSubstr("id.xsvf:1: a byte of 0x12 means nothing here"));
    const Outcome outcome = talvor({"--simulate", "xsvf", source_file("examples/demo.svf")});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("demo.svf:0: 0x21 is no XSVF instruction"));
}

TEST(ConvertTest, WhatIsConvertedAnswersAsBefore) {
    const std::string xsvf = file_with("demo.xsvf", "");
    const Outcome made = talvor({"convert", source_file("examples/demo.svf"), xsvf});
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_THAT(made.err, HasSubstr("demo.svf:3: TRST: XSVF has no words for TRST\n"));
    const Outcome played = talvor({"--simulate", "xsvf", xsvf});
    EXPECT_EQ(played.status, 0) << played.err;
    EXPECT_THAT(played.out, HasSubstr("404 scans of 14631 bits"));

    const std::string svf = file_with("again.svf", "");
    EXPECT_EQ(talvor({"convert", xsvf, svf}).status, 0);
    const Outcome again = talvor({"--simulate", "svf", svf});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_THAT(again.out, HasSubstr("404 scans of 14631 bits"));
}

TEST(ConvertTest, StrictWritesNothingThatIsLess) {
    const std::string svf = file_with("clock.svf", "FREQUENCY 1E6 HZ;\nSIR 4 TDI (5);\n");
    const std::string xsvf = file_with("clock.xsvf", "untouched");
    const Outcome refused = talvor({"convert", "--strict", svf, xsvf});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err,
                HasSubstr("clock.svf:1: FREQUENCY: XSVF has no words for the test clock"));
    EXPECT_EQ(content(xsvf), "untouched");
    const std::string plain = file_with("plain.svf", "SIR 4 TDI (5);\n");
    EXPECT_EQ(talvor({"convert", "--strict", plain, xsvf}).status, 0);
    EXPECT_EQ(content(xsvf), std::string("\x07\x00\x02\x04\x05\x00", 6));
}

TEST(ConvertTest, WritesToTheStandardOutput) {
    const Outcome outcome =
        talvor({"convert", "--to", "svf", file_with("id.xsvf", kReadsIdcodes), "-"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "STATE RESET;\nSTATE IDLE;\n"
                           "SDR 32 TDI (00000000) TDO (05707E35) MASK (FFFFFFFF);\n");
    EXPECT_THAT(outcome.err, HasSubstr("SVF has no words for"));
}

TEST(ConvertTest, MistakesAreNamed) {
    const std::string svf = source_file("examples/demo.svf");
    EXPECT_THAT(talvor({"convert", svf, "demo.hex"}).err,
                HasSubstr("demo.hex: its name tells no format"));
    EXPECT_THAT(talvor({"convert", svf, "/dev/full", "--to", "svf"}).err,
                HasSubstr("/dev/full: cannot be written"));
    EXPECT_THAT(talvor({"convert", "/missing.svf", "a.xsvf"}).err,
                HasSubstr("/missing.svf: cannot open it"));
    EXPECT_THAT(talvor({"convert", file_with("bad.svf", "SDR 4 TDI (5"), "-", "--to", "xsvf"}).err,
                HasSubstr("bad.svf:1: the file ends inside"));
    const Outcome json = talvor({"--json", "convert", svf, file_with("out.xsvf", "")});
    EXPECT_THAT(json.out, HasSubstr("\"lost\""));
    EXPECT_THAT(json.out, Not(HasSubstr("no words")));
}

} // namespace
} // namespace talvor::cli
