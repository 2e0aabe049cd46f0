// A vendor's kind of file on a device of a thousand rows.
#include "program.h"
#include "support/run_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace talvor::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string cpld_svf() {
    const test_support::ProgramResult made =
        test_support::run_program({"sh", source_file("examples/cpld_svf")});
    EXPECT_EQ(made.status, 0) << made.errors;
    return made.output;
}

Outcome play(const std::string& svf) {
    return talvor({"--simulate=" + source_file("examples/cpld.toml"), "svf", svf});
}

TEST(CpldTest, IsErasedProgrammedAndVerified) {
    const std::string svf = file_with("cpld.svf", cpld_svf());
    const Outcome outcome = play(svf);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, StartsWith(svf + ": all scans answered as expected\n"));
    EXPECT_THAT(outcome.out, HasSubstr("1003 compared"));
}

TEST(CpldTest, OneWrongBitIsFoundWhenItIsVerified) {
    std::string text = cpld_svf();
    // The lowest bit of the row 500, where it is programmed.
    const std::string row = "SDR 10 TDI (1F4);\nSIR 8 TDI (A4);\nSDR 96 TDI (";
    const size_t digit = text.find(row) + row.size() + 23;
    ASSERT_LT(digit, text.size());
    ASSERT_EQ(text.substr(digit + 1, 2), ");");
    const char was = text[digit];
    text[digit] = was == '0' ? '1' : was == 'F' ? 'E' : static_cast<char>(was ^ 1);
    const Outcome outcome = play(file_with("wrong.svf", text));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("1 of "));
    EXPECT_THAT(outcome.err, HasSubstr("SDR"));
    // The line where that row is verified.
    const size_t verify = text.find("SDR 10 TDI (1F4);\nSIR 8 TDI (A5);\n");
    const auto line =
        3 + std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(verify), '\n');
    EXPECT_THAT(outcome.err, HasSubstr("wrong.svf:" + std::to_string(line) + ": "));
}

} // namespace
} // namespace talvor::cli
