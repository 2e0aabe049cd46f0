#include "host/clock/tclk_search.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

const Library::TestClockFunctions kFunctions{
    &pll_CoordToHertz, &pll_CoordToText, &pll_StrWs0ToCoord, &pll_OneGteTwo, &pll_GetNextFrequency};

// A target that works up to `limit_hz`, and the settings that were tried.
struct FakeTarget {
    const TestClock& clock;
    double limit_hz;
    std::vector<ClockSetting> tried;

    TrialRunner runner() {
        return [this](const ClockSetting& setting) -> Result<std::optional<std::string>> {
            tried.push_back(setting);
            if (static_cast<double>(clock.hertz(setting)) <= limit_hz) {
                return std::optional<std::string>();
            }
            return std::optional<std::string>("too fast");
        };
    }
};

SearchLimits up_to_32_mhz() {
    SearchLimits limits;
    limits.finish = PLL_TCLK_PACK(5, 0);
    limits.maximum = PLL_TCLK_PACK(5, 2);
    return limits;
}

TEST(TclkSearchTest, EndsCloseBelowWhatTheTargetTakes) {
    const TestClock clock({}, 2);
    for (double limit = 0.6e6; limit < 31e6; limit *= 1.07) {
        FakeTarget target{clock, limit, {}};
        const auto result = search_test_clock(kFunctions, clock, up_to_32_mhz(), target.runner());
        ASSERT_TRUE(result);
        ASSERT_TRUE(result->highest) << limit;
        ASSERT_TRUE(result->chosen) << limit;
        const auto highest = static_cast<double>(result->highest->actual_hz);
        EXPECT_LE(highest, limit);
        // Whatever the dividers allow between the found clock and the limit is less than the
        // search's own resolution of 1/64 octave above it.
        const auto best = clock.at_most(limit);
        EXPECT_GE(highest * (1 + 2.0 / 64), static_cast<double>(clock.hertz(*best))) << limit;
        EXPECT_TRUE(result->chosen->passed);
        EXPECT_LE(result->chosen->actual_hz, result->highest->actual_hz);
    }
}

TEST(TclkSearchTest, StepsBackByTheMargin) {
    const TestClock clock({}, 2);
    FakeTarget target{clock, 12e6, {}};
    const auto result = search_test_clock(kFunctions, clock, up_to_32_mhz(), target.runner());
    ASSERT_TRUE(result && result->chosen);
    // A margin of 8 lowers by 7/64, and it is the real clock that is lowered.
    EXPECT_EQ(result->highest->actual_hz, 11'111'111U);
    EXPECT_LE(static_cast<double>(result->chosen->actual_hz), 11'111'111 * (1 - 7.0 / 64));
    EXPECT_EQ(result->trials.back().phase, SearchPhase::Margin);
}

TEST(TclkSearchTest, GoesThroughItsPhasesInOrder) {
    const TestClock clock({}, 2);
    FakeTarget target{clock, 9e6, {}};
    const auto result = search_test_clock(kFunctions, clock, up_to_32_mhz(), target.runner());
    ASSERT_TRUE(result);
    SearchPhase last = SearchPhase::Ramp;
    EXPECT_EQ(result->trials.front().coordinate, PLL_TCLK_W_MINIMUM);
    bool ramp_failed = false;
    for (const SearchTrial& trial : result->trials) {
        EXPECT_GE(trial.phase, last);
        last = trial.phase;
        if (trial.phase == SearchPhase::Ramp) {
            EXPECT_FALSE(ramp_failed) << "the ramp ends with its first failure";
            ramp_failed = !trial.passed;
        }
        EXPECT_EQ(trial.passed, trial.actual_hz <= 9'000'000);
        EXPECT_EQ(trial.failure, trial.passed ? "" : "too fast");
    }
    EXPECT_TRUE(ramp_failed);
}

TEST(TclkSearchTest, ATargetThatTakesEverythingNeedsNoBisection) {
    const TestClock clock({}, 2);
    FakeTarget target{clock, 1e12, {}};
    const auto result = search_test_clock(kFunctions, clock, up_to_32_mhz(), target.runner());
    ASSERT_TRUE(result && result->chosen);
    for (const SearchTrial& trial : result->trials) {
        EXPECT_NE(trial.phase, SearchPhase::Bisection);
    }
    EXPECT_EQ(result->highest->coordinate, PLL_TCLK_PACK(5, 2));
}

TEST(TclkSearchTest, ATargetThatTakesNothingIsToldSo) {
    const TestClock clock({}, 2);
    FakeTarget target{clock, 0, {}};
    const auto result = search_test_clock(kFunctions, clock, up_to_32_mhz(), target.runner());
    ASSERT_TRUE(result);
    EXPECT_FALSE(result->highest);
    EXPECT_FALSE(result->chosen);
    EXPECT_EQ(result->trials.size(), 1U);
}

TEST(TclkSearchTest, TriesEachSettingOnce) {
    const TestClock clock({}, 1);
    FakeTarget target{clock, 7e6, {}};
    const auto result = search_test_clock(kFunctions, clock, up_to_32_mhz(), target.runner());
    ASSERT_TRUE(result);
    for (size_t i = 0; i < target.tried.size(); ++i) {
        for (size_t j = 0; j < i; ++j) {
            EXPECT_FALSE(target.tried[i] == target.tried[j]) << i << " and " << j;
        }
    }
    size_t fresh = 0;
    for (const SearchTrial& trial : result->trials) {
        fresh += trial.setting && !trial.repeated ? 1 : 0;
    }
    EXPECT_EQ(fresh, target.tried.size());
}

// Generation 1 reaches down to 1.67 MHz only: the ramp begins below.
TEST(TclkSearchTest, AClockThatThePodDoesNotHaveFails) {
    const TestClock clock({}, 1);
    FakeTarget target{clock, 1e12, {}};
    const auto result = search_test_clock(kFunctions, clock, up_to_32_mhz(), target.runner());
    ASSERT_TRUE(result);
    EXPECT_EQ(result->trials.front().failure, "the pod has no test clock that slow");
    EXPECT_FALSE(result->chosen);
}

TEST(TclkSearchTest, AnErrorEndsIt) {
    const TestClock clock({}, 2);
    const auto result =
        search_test_clock(kFunctions, clock, up_to_32_mhz(),
                          [](const ClockSetting&) -> Result<std::optional<std::string>> {
                              return Failure({ErrorKind::Pod, -180, "pod", "no power", ""});
                          });
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, -180);
}

} // namespace
} // namespace talvor
