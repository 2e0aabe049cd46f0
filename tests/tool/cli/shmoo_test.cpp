// Where a chain works.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace talvor::cli {
namespace {

using testing::HasSubstr;

// The built-in pod's cable takes three clocks, and above 18 MHz its target is a clock late.
constexpr uint64_t kFastestInTime = 18'000'000;

const std::vector<std::string> kShmoo{"shmoo", "--clocks", "8", "--delays", "1-6", "--bits", "200"};

Outcome shmoo(const std::vector<std::string>& more) {
    std::vector<std::string> words = kShmoo;
    words.insert(words.end(), more.begin(), more.end());
    return simulated(words);
}

TEST(ShmooTest, FindsWhatTheSimulatedCableAndTargetAre) {
    const Outcome outcome = shmoo({"--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto document = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(document.at("delays"), nlohmann::json::array({1, 2, 3, 4, 5, 6}));
    size_t late = 0;
    for (const auto& row : document.at("clocks")) {
        const bool too_fast = row.at("hertz") > kFastestInTime;
        late += too_fast ? 1 : 0;
        for (size_t i = 0; i < 6; ++i) {
            EXPECT_EQ(row.at("works").at(i), i + 1 == (too_fast ? 4U : 3U)) << row;
        }
    }
    EXPECT_GT(late, 0U);
    EXPECT_GT(document.at("clocks").size(), late + 3);
    const auto& best = document.at("best");
    EXPECT_EQ(best.at("delay"), 3);
    EXPECT_LE(best.at("hertz").get<double>(), 0.8 * best.at("fails_at_hertz").get<double>());
    EXPECT_GT(best.at("fails_at_hertz"), kFastestInTime);
    EXPECT_LE(best.at("fastest_hertz"), kFastestInTime);
}

TEST(ShmooTest, DrawsARowAClockAndSaysWhatToWriteIntoTheBoardFile) {
    setenv("LC_ALL", "C", 1);
    const std::string svg = file_with("shmoo.svg", "");
    const Outcome outcome = shmoo({"--svg", svg});
    unsetenv("LC_ALL");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.starts_with("link delay    1       5\n")) << outcome.out;
    EXPECT_THAT(outcome.out, HasSubstr("\n520.833 kHz   . .## . . .\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\n 33.333 MHz   . . .## . .\n"));
    EXPECT_THAT(outcome.out, HasSubstr("For the board file:\n  [VEXIL]\n  LINKDLY = 3\n"
                                       "  [KELM]\n  POD_TCKDIV = "));
    EXPECT_THAT(read_file(svg), HasSubstr("520.833 kHz, link delay 3: works"));
    EXPECT_THAT(outcome.out, HasSubstr(svg + ": 48 trials\n"));
}

// What it says goes into a board file, and then the chain works.
TEST(ShmooTest, ItsLinesMakeABoardFile) {
    const std::string out = shmoo({}).out;
    const std::string head = "For the board file:\n";
    ASSERT_THAT(out, HasSubstr(head));
    const std::string board = file_with("shmoo.toml", out.substr(out.find(head) + head.size()));
    const Outcome chain = simulated({"--board", board, "chain"});
    EXPECT_EQ(chain.status, 0) << chain.err << out;
    EXPECT_TRUE(chain.out.starts_with("5 devices")) << chain.out;
}

TEST(ShmooTest, FindsTheChainAlsoFromAWrongLinkDelay) {
    const Outcome outcome =
        simulated({"--link", "9", "shmoo", "--clocks", "2", "--delays", "3", "--bits", "64"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("LINKDLY = 3\n"));
}

TEST(ShmooTest, WhereNothingWorksThatIsSaid) {
    const Outcome outcome = simulated({"shmoo", "--clocks", "2", "--delays", "7-8", "--json"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.err.starts_with("talvor: chain: it works in no cell\n  next: try slower"))
        << outcome.err;
}

TEST(ShmooTest, RefusesRangesThatAreNone) {
    const auto refusal = [](const std::vector<std::string>& words) {
        const Outcome outcome = simulated(words);
        EXPECT_EQ(outcome.status, 2) << outcome.out;
        return outcome.err;
    };
    EXPECT_EQ(refusal({"shmoo", "--delays", "8-3"}),
              "talvor: --delays: 8-3 ends before it begins\n"
              "  next: write the smaller one first, as in 0-8\n");
    EXPECT_THAT(refusal({"shmoo", "--delays", "0-32"}),
                HasSubstr("talvor: --delays 32: expected a number from 0 to 31"));
    EXPECT_THAT(refusal({"shmoo", "--minimum", "40MHz"}),
                HasSubstr("talvor: test clock: the pod has none from 40 MHz to 33.333 MHz\n"));
}

} // namespace
} // namespace talvor::cli
