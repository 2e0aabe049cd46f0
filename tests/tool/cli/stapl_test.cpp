// STAPL files, as a person plays them.
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

std::string content(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

const std::string& cpld() {
    static const std::string file = source_file("examples/cpld.stapl");
    return file;
}

Outcome on_cpld(std::vector<std::string> words) {
    words.insert(words.begin(), "--simulate=" + source_file("examples/cpld.toml"));
    return talvor(words);
}

TEST(StaplTest, ADeviceIsErasedProgrammedAndVerified) {
    const Outcome outcome = on_cpld({"stapl", "--action", "program", cpld()});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("programming 1000 rows of 96 bits\nverifying\n"));
    EXPECT_THAT(outcome.out, HasSubstr("cpld.stapl: PROGRAM: EXIT 0, success\n"));
    EXPECT_THAT(outcome.out, HasSubstr("8008 scans of 244076 bits, 1003 compared"));
}

TEST(StaplTest, PlayKnowsItByItsContent) {
    const Outcome outcome = on_cpld({"play", "--action", "READ_IDCODE", cpld()});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("READ_IDCODE: EXIT 0, success"));
}

TEST(StaplTest, AnExitCodeIsToldWithItsMeaning) {
    const std::string junit = file_with("stapl.xml", "");
    const Outcome outcome = on_cpld({"stapl", "--action", "VERIFY", "--junit", junit, cpld()});
    EXPECT_EQ(outcome.status, 1) << "nothing was programmed";
    EXPECT_THAT(outcome.out, HasSubstr("row 0 is another one\n"));
    EXPECT_THAT(outcome.out, HasSubstr("VERIFY: EXIT 11, verifying failed"));
    EXPECT_THAT(outcome.err, HasSubstr("EXIT 11: verifying failed"));
    EXPECT_THAT(outcome.err, HasSubstr("the last comparison that failed: "));
    EXPECT_THAT(outcome.err, HasSubstr("DRSCAN: "));
    EXPECT_THAT(content(junit), HasSubstr("<failure"));
    EXPECT_THAT(content(junit), HasSubstr("row 0 is another one"));
}

TEST(StaplTest, AnotherDeviceIsNotTouched) {
    const Outcome outcome = talvor({"--simulate", "stapl", "--action", "PROGRAM", cpld()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("this is another device: manufacturer "));
    EXPECT_THAT(outcome.err, HasSubstr("EXIT 6: the device is another one"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("erasing")));
}

TEST(StaplTest, ListsWhatThereIs) {
    const Outcome outcome = talvor({"stapl", "--list", cpld()});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("note DEVICE: MADE-UP CPLD\n"));
    EXPECT_THAT(outcome.out, HasSubstr("PROGRAM: erase, program and verify\n  START\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  DO_VERIFY  recommended: --disable leaves it out\n"));
    EXPECT_THAT(outcome.out, HasSubstr(", right\n"));
}

TEST(StaplTest, ProceduresAreChosen) {
    const Outcome without = on_cpld({"stapl", "--action", "PROGRAM", "--disable", "DO_VERIFY",
                                     "--disable", "blank_check", cpld()});
    EXPECT_EQ(without.status, 0) << without.err;
    EXPECT_THAT(without.out, Not(HasSubstr("verifying")));
    EXPECT_THAT(without.out, HasSubstr(" 2 compared"));
    const Outcome with = on_cpld({"stapl", "--action", "ERASE", "--enable", "BLANK_CHECK", cpld()});
    EXPECT_THAT(with.out, HasSubstr(" 2 compared"));
    const Outcome fewer =
        on_cpld({"stapl", "--action", "PROGRAM", "-D", "ROWS=10", "-D", "DO_VERIFY=0", cpld()});
    EXPECT_THAT(fewer.out, HasSubstr("programming 10 rows"));
}

TEST(StaplTest, MistakesAreNamed) {
    EXPECT_THAT(on_cpld({"stapl", cpld()}).err,
                HasSubstr("name one with --action: PROGRAM, VERIFY, ERASE, READ_IDCODE"));
    EXPECT_THAT(on_cpld({"stapl", "--action", "BLINK", cpld()}).err,
                HasSubstr("its actions are PROGRAM, VERIFY"));
    EXPECT_THAT(on_cpld({"play", "--action", "A", source_file("examples/demo.svf")}).err,
                HasSubstr("it is an SVF file, which has no actions and variables"));
    const Outcome converted = talvor({"convert", cpld(), file_with("out.svf", "")});
    EXPECT_EQ(converted.status, 1);
    EXPECT_THAT(converted.err, HasSubstr("what such a program shifts depends on"));
    EXPECT_EQ(on_cpld({"stapl", file_with("bad.stapl", "ACTION A = P;\nPROCEDURE P;\nPRINT 1 +;"
                                                       "\nENDPROC;")})
                  .status,
              2);
}

TEST(StaplTest, AFileThatWasChangedIsNotPlayedUnlessItIsToBe) {
    std::string text = content(cpld());
    text.replace(text.find("erasing"), 7, "ERASING");
    const std::string file = file_with("changed.stapl", text);
    const Outcome refused = on_cpld({"stapl", "--action", "ERASE", file});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("it was changed or damaged"));
    EXPECT_EQ(refused.out, "");
    const Outcome forced = on_cpld({"stapl", "--action", "ERASE", "--ignore-crc", file});
    EXPECT_EQ(forced.status, 0) << forced.err;
    EXPECT_THAT(forced.out, HasSubstr("ERASING"));
    EXPECT_THAT(talvor({"stapl", "--list", file}).out, HasSubstr("WRONG: the file says"));
}

TEST(StaplTest, ADryRunShiftsNothing) {
    const Outcome outcome = on_cpld({"stapl", "--action", "PROGRAM", "--dry-run", cpld()});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("can be played, if the target answers as expected: "));
    EXPECT_THAT(outcome.out, HasSubstr("1003 compared"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("erasing")));
}

TEST(StaplTest, TheDocumentHoldsWhatTheProgramSays) {
    const Outcome outcome = on_cpld({"--json", "stapl", "--action", "READ_IDCODE", cpld()});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("\"key\": \"IDCODE\""));
    EXPECT_THAT(outcome.out, HasSubstr("1C91D7E3"));
    EXPECT_THAT(outcome.out, HasSubstr("\"exit_code\": 0"));
}

} // namespace
} // namespace talvor::cli
