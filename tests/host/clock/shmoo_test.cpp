#include "host/clock/shmoo.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace talvor {
namespace {

// The fastest row first, as it is drawn: '#' works. The clocks are 64, 32, 16, ... MHz.
Shmoo drawn(const std::vector<std::string>& rows, uint32_t first_delay = 0) {
    std::vector<ShmooClock> clocks;
    for (size_t i = 0; i < rows.size(); ++i) {
        clocks.push_back({ClockSetting{static_cast<uint32_t>(i), 0, false}, 64'000'000U >> i});
    }
    std::vector<uint32_t> delays;
    for (uint32_t i = 0; i < rows.front().size(); ++i) {
        delays.push_back(first_delay + i);
    }
    Shmoo shmoo(clocks, delays);
    for (size_t clock = 0; clock < rows.size(); ++clock) {
        for (size_t delay = 0; delay < delays.size(); ++delay) {
            shmoo.set(clock, delay, rows[clock][delay] == '#');
        }
    }
    return shmoo;
}

TEST(ShmooTest, ChoosesWithinTheWidestOpening) {
    // Two octaves against one.
    const Shmoo shmoo = drawn({"..#.", ".##.", ".#..", ".#.."});
    ASSERT_TRUE(choose(shmoo));
    EXPECT_EQ(*choose(shmoo), (ShmooChoice{1, 1, 1, 3, 0, 1}));
}

TEST(ShmooTest, StaysBelowAClockThatFailsByTheMargin) {
    Shmoo shmoo = drawn({".", "#", "#", "#"});
    shmoo.clocks[0].hertz = 40'000'000;
    shmoo.clocks[1].hertz = 33'000'000; // less than a fifth below
    EXPECT_EQ(choose(shmoo)->clock, 2U);
    shmoo.clocks[1].hertz = 32'000'000;
    EXPECT_EQ(choose(shmoo)->clock, 1U);
    EXPECT_DOUBLE_EQ(*margin_above(shmoo, *choose(shmoo)), 0.25);
    // In an opening that is too narrow for it the slowest must do.
    EXPECT_EQ(choose(drawn({".", "#", "."}))->clock, 1U);
}

TEST(ShmooTest, TakesTheFastestWhereNothingFailedAbove) {
    const Shmoo shmoo = drawn({"#", "#", "."});
    ASSERT_TRUE(choose(shmoo));
    EXPECT_EQ(*choose(shmoo), (ShmooChoice{0, 0, 0, 1, 0, 0}));
    EXPECT_FALSE(margin_above(shmoo, *choose(shmoo)));
}

TEST(ShmooTest, OfEquallyWideOpeningsTheMiddleOneIsChosen) {
    const ShmooChoice choice = *choose(drawn({"......", ".###..", ".###.."}));
    EXPECT_EQ(choice.delay, 2U);
    EXPECT_EQ(choice.delays_below, 1U);
    EXPECT_EQ(choice.delays_above, 1U);
    EXPECT_EQ(choose(drawn({"##", "##"}))->delay, 0U) << "else the smallest";
}

TEST(ShmooTest, ChoosesNothingWhereNothingWorks) {
    EXPECT_FALSE(choose(drawn({"...", "..."})));
    EXPECT_FALSE(choose(Shmoo({}, {})));
}

TEST(ShmooClocksTest, AreSpreadFromTheFastestDown) {
    const TestClock clock(ClockFormula{}, 3);
    const std::vector<ShmooClock> clocks = spread_clocks(clock, 500e3, 40e6, 8);
    ASSERT_GE(clocks.size(), 5U);
    EXPECT_LE(clocks.size(), 8U);
    EXPECT_EQ(clocks.front().hertz, clock.hertz(*clock.at_most(40e6)));
    for (size_t i = 0; i < clocks.size(); ++i) {
        EXPECT_EQ(clocks[i].hertz, clock.hertz(clocks[i].setting));
        EXPECT_GE(clocks[i].hertz, 500'000U);
        EXPECT_TRUE(i == 0 || clocks[i].hertz < clocks[i - 1].hertz);
    }
    const auto one = static_cast<double>(clock.hertz(*clock.at_most(1e6)));
    EXPECT_EQ(spread_clocks(clock, one, one, 5).size(), 1U) << "one clock once";
    // The slowest is the first that is not below, also where that is none of the spread.
    EXPECT_EQ(spread_clocks(clock, 500e3, 40e6, 2).size(), 2U);
    EXPECT_LT(spread_clocks(clock, 500e3, 40e6, 2).back().hertz, 530'000U);
    EXPECT_EQ(spread_clocks(clock, 500e3, 40e6, 1).size(), 1U);
    EXPECT_TRUE(spread_clocks(clock, 1, 2, 5).empty());
    EXPECT_TRUE(spread_clocks(clock, 40e6, 500e3, 5).size() <= 1) << "turned round";
}

size_t count(const std::string& text, std::string_view what) {
    size_t found = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++found;
    }
    return found;
}

TEST(ShmooSvgTest, DrawsACellATrialAndARingAroundTheChoice) {
    const std::string svg = to_svg(drawn({"..#", ".##", ".#."}, 5), "a < b");
    EXPECT_TRUE(svg.starts_with("<svg xmlns="));
    EXPECT_TRUE(svg.ends_with("</svg>\n"));
    EXPECT_EQ(count(svg, "<title>"), 9U);
    EXPECT_EQ(count(svg, ": works</title>"), 4U);
    EXPECT_EQ(count(svg, "<circle"), 1U);
    EXPECT_EQ(count(svg, "32 MHz, link delay 6: works"), 1U);
    EXPECT_EQ(count(svg, ">a &lt; b<"), 1U);
    EXPECT_EQ(count(svg, ">64 MHz<"), 1U);
    EXPECT_EQ(count(to_svg(drawn({".."}), ""), "<circle"), 0U);
}

} // namespace
} // namespace talvor
