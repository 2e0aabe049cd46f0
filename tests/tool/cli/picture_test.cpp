// Pictures of a statement of an SVF file.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace talvor::cli {
namespace {

using testing::HasSubstr;
using testing::Not;

// Three scans that are told apart by what goes in; the last one answers wrong.
std::string three_scans() {
    return file_with("three.svf", "STATE RESET;\n"
                                  "SDR 33 TDI (1AAAAAAAA);\n"
                                  "\n"
                                  "SDR 33 TDI (1BBBBBBBB);\n"
                                  "RUNTEST 20 TCK;\n"
                                  "SDR 33 TDI (1CCCCCCCC) TDO (0) MASK (1FFFFFFFF);\n"
                                  "SDR 33 TDI (1DDDDDDDD);\n");
}

class PictureTest : public testing::Test {
protected:
    const std::string svf = three_scans();
    const std::string svg = file_with("statement.svg", "none");

    Outcome play(const std::vector<std::string>& more) const {
        std::vector<std::string> words{"svf", svf, "--svg", svg};
        words.insert(words.end(), more.begin(), more.end());
        return simulated(words);
    }
    void expect_drawn(const std::string& line, const std::string& value) const {
        const std::string picture = read_file(svg);
        EXPECT_THAT(picture, HasSubstr(">" + svf + ":" + line + "</text>"));
        for (const char* other : {"1AAAAAAAA", "1BBBBBBBB", "1CCCCCCCC", "1DDDDDDDD"}) {
            if (other == value) {
                EXPECT_THAT(picture, HasSubstr(other));
            } else {
                EXPECT_THAT(picture, Not(HasSubstr(other)));
            }
        }
    }
};

TEST_F(PictureTest, ShowsTheScanThatFailed) {
    const Outcome outcome = play({});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr(svg + ": the statement at line 6, TCKs "));
    expect_drawn("6", "1CCCCCCCC");
    EXPECT_THAT(read_file(svg), HasSubstr(">marker 0x")) << "its other clocks are named";
    EXPECT_EQ(play({"--keep-going"}).status, 1);
    expect_drawn("6", "1CCCCCCCC");
}

TEST_F(PictureTest, ShowsTheStatementAtALine) {
    for (const char* line : {"4", "5"}) {
        EXPECT_EQ(play({"--around", line}).status, 1);
        expect_drawn(line, line == std::string("4") ? "1BBBBBBBB" : "");
    }
    EXPECT_EQ(play({"--around", "3"}).status, 1);
    expect_drawn("2", "1AAAAAAAA"); // the last one that begins before it
}

TEST_F(PictureTest, IsNotMadeWhenNothingFails) {
    const Outcome outcome =
        simulated({"svf", file_with("good.svf", "SDR 8 TDI (00);\n"), "--svg", svg});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr(svg + ": not drawn, for nothing failed; --around LINE"));
    EXPECT_EQ(read_file(svg), "none");
}

TEST_F(PictureTest, NeedsASimulatedPodAndAFile) {
    const auto refusal = [](const std::vector<std::string>& words) {
        const Outcome outcome = talvor(words);
        EXPECT_EQ(outcome.status, 2);
        return outcome.err;
    };
    EXPECT_EQ(refusal({"svf", svf, "--svg", svg}),
              "talvor: --svg: only the simulated pod sees every edge\n"
              "  next: add --simulate, or leave --svg away\n");
    EXPECT_EQ(refusal({"--simulate", "svf", svf, "--around", "4"}),
              "talvor: --around: there is no picture that it is about\n"
              "  next: name one with --svg\n");
    EXPECT_THAT(refusal({"--simulate", "svf", svf, "--svg", svg, "--dry-run"}),
                HasSubstr("nothing is played with --dry-run"));
    EXPECT_THAT(refusal({"trace", "svf", svf, "--svg", svg}), HasSubstr("trace draws already"));
}

} // namespace
} // namespace talvor::cli
