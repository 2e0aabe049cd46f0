#include "pll/coord.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

coord_t packed(int y, int z) {
    return static_cast<coord_t>((y & 0xFF) * 256 + (z & 0xFF));
}

// Place in the order of frequencies, and back.
int index_of(coord_t coord) {
    const int high = static_cast<int>(coord / 256 % 256);
    return 64 * (high < 128 ? high : high - 256) + static_cast<int>(coord % 256);
}

coord_t at_index(int index) {
    const int y = index >= 0 ? index / 64 : -((63 - index) / 64);
    return packed(y, index - 64 * y);
}

coord_t raised(coord_t coord, uint32_t margin) {
    pll_AddMargin(&coord, margin);
    return coord;
}

coord_t lowered(coord_t coord, uint32_t margin) {
    pll_SubMargin(&coord, margin);
    return coord;
}

PLL_Next usual_history() {
    PLL_Next history{};
    history.start = packed(-1, 0);
    history.finish = packed(4, 0);
    history.advance = PLL_TCLK_MARGIN_ADVANCE;
    history.retreat = PLL_TCLK_MARGIN_RETREAT;
    history.minimum = PLL_TCLK_W_MINIMUM;
    history.maximum = PLL_TCLK_W_MAXIMUM;
    return history;
}

struct Answer {
    coord_t next;
    bool done;
    bool operator==(const Answer&) const = default;
};

void PrintTo(const Answer& answer, std::ostream* out) {
    *out << "index " << index_of(answer.next) << (answer.done ? ", done" : "");
}

Answer ask(PLL_Next& history, uint32_t request, coord_t last, bool failed = false) {
    Answer answer{.next = 0xDEAD, .done = false};
    EXPECT_EQ(pll_GetNextFrequency(failed, last, request, &answer.done, &answer.next, &history), 0);
    return answer;
}

TEST(NextTest, AnUnknownRequestWritesNothing) {
    for (const uint32_t request : {6U, 7U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        PLL_Next history;
        std::memset(&history, 0x5A, sizeof history);
        const PLL_Next before = history;
        bool done = true;
        coord_t next = 0xDEAD;
        EXPECT_EQ(pll_GetNextFrequency(true, 0, request, &done, &next, &history),
                  eJTI_ERROR_SEARCH_REQUEST);
        EXPECT_TRUE(done);
        EXPECT_EQ(next, 0xDEADU);
        EXPECT_EQ(std::memcmp(&history, &before, sizeof history), 0);
    }
}

TEST(NextTest, StepInitAimsAtFinishWithAnOvershoot) {
    PLL_Next history = usual_history();
    EXPECT_EQ(ask(history, PLL_STATE_STEP_INIT, 0x1234), (Answer{history.start, false}));
    EXPECT_EQ(history.expect, history.finish);
    EXPECT_EQ(history.actual, raised(history.finish, history.retreat));
}

TEST(NextTest, StepInitStaysAboveTheMinimum) {
    PLL_Next history = usual_history();
    history.minimum = packed(2, 5);
    for (const coord_t finish : {packed(1, 0), packed(2, 5)}) {
        history.finish = finish;
        ask(history, PLL_STATE_STEP_INIT, 0);
        EXPECT_EQ(history.expect, history.minimum);
        EXPECT_EQ(history.actual, raised(history.minimum, history.retreat));
    }
    history.finish = packed(2, 6);
    ask(history, PLL_STATE_STEP_INIT, 0);
    EXPECT_EQ(history.expect, history.finish);
}

TEST(NextTest, StepInitStaysBelowTheMaximum) {
    PLL_Next history = usual_history();
    history.finish = packed(4, 0);
    history.maximum = raised(history.finish, history.retreat);
    ask(history, PLL_STATE_STEP_INIT, 0);
    EXPECT_EQ(history.actual, history.maximum);
    EXPECT_EQ(history.expect, lowered(history.maximum, history.retreat));

    history.maximum = at_index(index_of(history.maximum) + 1);
    ask(history, PLL_STATE_STEP_INIT, 0);
    EXPECT_EQ(history.actual, raised(history.finish, history.retreat));
    EXPECT_EQ(history.expect, history.finish);
}

TEST(NextTest, StepInitLetsTheMaximumWinOverTheMinimum) {
    PLL_Next history = usual_history();
    history.minimum = packed(6, 0);
    history.maximum = packed(3, 0);
    ask(history, PLL_STATE_STEP_INIT, 0);
    EXPECT_EQ(history.actual, packed(3, 0));
    EXPECT_EQ(history.expect, lowered(packed(3, 0), history.retreat));
}

TEST(NextTest, StepRaisesUntilTheEndPoint) {
    for (const bool failed : {false, true}) {
        for (int end = -64; end <= 7 * 64; end += 5) {
            for (int last = -64; last <= 7 * 64; ++last) {
                PLL_Next history = usual_history();
                history.actual = at_index(end);
                const coord_t next = raised(at_index(last), history.advance);
                const bool reached = last >= end || index_of(next) >= end;
                const Answer expected{reached ? at_index(end) : next, reached};
                ASSERT_EQ(ask(history, PLL_STATE_STEP, at_index(last), failed), expected)
                    << last << ' ' << end;
            }
        }
    }
}

TEST(NextTest, PowerInitBracketsAnOctaveBelow) {
    PLL_Next history = usual_history();
    EXPECT_EQ(ask(history, PLL_STATE_POWER_INIT, packed(3, 10)), (Answer{packed(2, 42), false}));
    EXPECT_EQ(history.lower, packed(2, 10));
    EXPECT_EQ(history.higher, packed(3, 10));
    EXPECT_EQ(ask(history, PLL_STATE_POWER_INIT, packed(3, 40)), (Answer{packed(3, 8), false}));
    EXPECT_EQ(history.lower, packed(2, 40));
    EXPECT_EQ(history.higher, packed(3, 40));
}

TEST(NextTest, PowerInitStopsAtTheLowestOctave) {
    for (int z = 0; z < 64; ++z) {
        PLL_Next history = usual_history();
        EXPECT_EQ(ask(history, PLL_STATE_POWER_INIT, packed(-1, z)),
                  (Answer{packed(-1, z / 2), false}));
        EXPECT_EQ(history.lower, packed(-1, 0));
        EXPECT_EQ(history.higher, packed(-1, z));
    }
    PLL_Next history = usual_history();
    ask(history, PLL_STATE_POWER_INIT, packed(0, 5));
    EXPECT_EQ(history.lower, packed(-1, 5));
}

// The midpoint on the line of indices. The distance is halved rounding down, except across an
// octave with the lower mantissa the greater one, where it is rounded up. It is counted from the
// lower bound, or from the higher one when it would leave the lower bound's octave.
int model_midpoint(int low, int high) {
    const int z_low = ((low % 64) + 64) % 64;
    const int z_high = ((high % 64) + 64) % 64;
    const bool same_octave = low - z_low == high - z_high;
    const int distance = high - low;
    const int half = same_octave || z_low < z_high ? distance / 2 : (distance + 1) / 2;
    return z_low + half <= 63 ? low + half : high - half;
}

// Rounding up can put a midpoint that is counted from the higher bound one unit below that bound's
// octave. Its mantissa then wraps to 255. No search gets there: see
// ABisectionFindsEveryLimitWithinItsBounds.
bool midpoint_wraps(int low, int high) {
    const int z_low = ((low % 64) + 64) % 64;
    const int z_high = ((high % 64) + 64) % 64;
    return z_low > z_high && high > low && z_low + z_high == 63;
}

// One step with the midpoint passed or failed, against the model.
void check_power_step(int low, int high, bool failed) {
    PLL_Next history = usual_history();
    history.lower = at_index(low);
    history.higher = at_index(high);
    const int middle = model_midpoint(low, high);
    const int new_low = failed ? low : middle;
    const int new_high = failed ? middle : high;
    const bool done = new_high - new_low <= 1;
    if (!done && midpoint_wraps(new_low, new_high)) {
        return;
    }
    const int next = done ? new_low : model_midpoint(new_low, new_high);
    ASSERT_EQ(ask(history, PLL_STATE_POWER, 0x7777, failed), (Answer{at_index(next), done}))
        << low << ' ' << high << ' ' << failed;
    ASSERT_EQ(history.lower, at_index(new_low));
    ASSERT_EQ(history.higher, at_index(new_high));
}

TEST(NextTest, PowerHalvesEveryBracket) {
    for (int low = -64; low < 7 * 64; ++low) {
        for (int high = low; high <= low + 64; ++high) {
            if (midpoint_wraps(low, high)) {
                continue;
            }
            for (const bool failed : {false, true}) {
                ASSERT_NO_FATAL_FAILURE(check_power_step(low, high, failed));
            }
        }
    }
}

TEST(NextTest, AMidpointBelowTheHigherBoundsOctaveWraps) {
    for (int z_low = 32; z_low < 64; ++z_low) {
        PLL_Next history = usual_history();
        history.lower = packed(-1, z_low);
        history.higher = packed(0, 63 - z_low);
        ask(history, PLL_STATE_POWER, 0, false);
        EXPECT_EQ(history.lower, packed(0, 255));
        EXPECT_EQ(history.higher, packed(0, 63 - z_low));
    }
}

TEST(NextTest, ABisectionFindsEveryLimitWithinItsBounds) {
    for (int start = -64; start < 8 * 64; ++start) {
        const int lowest = std::max(start - 64, -64);
        for (int limit = lowest; limit < start; ++limit) {
            PLL_Next history = usual_history();
            Answer answer = ask(history, PLL_STATE_POWER_INIT, at_index(start));
            for (int steps = 0; !answer.done; ++steps) {
                ASSERT_LT(steps, 8);
                ASSERT_GE(index_of(answer.next), lowest);
                ASSERT_LT(index_of(answer.next), start);
                ASSERT_LT(answer.next % 256, 64U);
                answer = ask(history, PLL_STATE_POWER, answer.next, index_of(answer.next) > limit);
            }
            ASSERT_EQ(index_of(answer.next), limit) << start;
        }
    }
}

TEST(NextTest, PowerEndsWithTheLowerBoundOneUnitApartOrEqual) {
    PLL_Next history = usual_history();
    history.lower = packed(2, 10);
    history.higher = packed(2, 11);
    EXPECT_EQ(ask(history, PLL_STATE_POWER, 0, true), (Answer{packed(2, 10), true}));
    history.lower = packed(2, 63);
    history.higher = packed(3, 0);
    EXPECT_TRUE(ask(history, PLL_STATE_POWER, 0, false).done);
    history.lower = packed(2, 10);
    history.higher = packed(2, 13);
    EXPECT_EQ(ask(history, PLL_STATE_POWER, 0, false), (Answer{packed(2, 12), false}));
    EXPECT_EQ(ask(history, PLL_STATE_POWER, 0, false), (Answer{packed(2, 12), true}));
}

TEST(NextTest, MarginInitStepsBackBetweenMinimumAndTarget) {
    PLL_Next history = usual_history();
    history.minimum = packed(1, 0);
    history.expect = packed(4, 0);
    const coord_t down_to_expect = packed(4, 9);
    EXPECT_EQ(lowered(down_to_expect, 8), packed(4, 2));
    EXPECT_EQ(ask(history, PLL_STATE_MARGIN_INIT, down_to_expect), (Answer{packed(4, 0), false}));
    EXPECT_EQ(ask(history, PLL_STATE_MARGIN_INIT, packed(3, 20)), (Answer{packed(3, 11), false}));
    EXPECT_EQ(ask(history, PLL_STATE_MARGIN_INIT, packed(1, 2)), (Answer{packed(1, 0), true}));
    EXPECT_EQ(ask(history, PLL_STATE_MARGIN_INIT, packed(1, 0)), (Answer{packed(1, 0), true}));
}

TEST(NextTest, MarginInitOverEveryFrequency) {
    for (int last = -64; last <= 7 * 64; ++last) {
        for (int expect = 0; expect <= 6 * 64; expect += 7) {
            PLL_Next history = usual_history();
            history.minimum = packed(1, 3);
            history.expect = at_index(expect);
            const int down = index_of(lowered(at_index(last), history.retreat));
            Answer expected{at_index(down), false};
            if (down <= 67) {
                expected = {packed(1, 3), true};
            } else if (down >= expect) {
                expected = {at_index(expect), false};
            }
            ASSERT_EQ(ask(history, PLL_STATE_MARGIN_INIT, at_index(last)), expected)
                << last << ' ' << expect;
        }
    }
}

TEST(NextTest, MarginStepsBackToTheMinimum) {
    for (int minimum = -64; minimum <= 6 * 64; minimum += 3) {
        for (int last = -64; last <= 7 * 64; ++last) {
            PLL_Next history = usual_history();
            history.minimum = at_index(minimum);
            const int down = index_of(lowered(at_index(last), history.retreat));
            const bool done = last <= minimum || down <= minimum;
            ASSERT_EQ(ask(history, PLL_STATE_MARGIN, at_index(last)),
                      (Answer{at_index(done ? minimum : down), done}))
                << last << ' ' << minimum;
        }
    }
}

TEST(NextTest, OnlyTheInitRequestsAndPowerWriteTheHistory) {
    for (const uint32_t request : {PLL_STATE_STEP, PLL_STATE_MARGIN_INIT, PLL_STATE_MARGIN}) {
        PLL_Next history = usual_history();
        history.actual = packed(5, 0);
        history.expect = packed(4, 0);
        const PLL_Next before = history;
        ask(history, request, packed(3, 0));
        EXPECT_EQ(std::memcmp(&history, &before, sizeof history), 0) << request;
    }
}

// A host that searches a target which works up to and including `limit`.
coord_t search(coord_t limit) {
    PLL_Next history = usual_history();
    history.finish = PLL_TCLK_W_MAXIMUM;
    history.maximum = PLL_TCLK_W_SUPERHIGH;
    const auto fails = [=](coord_t coord) { return pll_OneAltTwo(limit, coord); };

    Answer answer = ask(history, PLL_STATE_STEP_INIT, 0);
    for (int steps = 0; !answer.done && !fails(answer.next); ++steps) {
        EXPECT_LT(steps, 40);
        answer = ask(history, PLL_STATE_STEP, answer.next);
    }
    if (!fails(answer.next)) {
        return answer.next;
    }
    answer = ask(history, PLL_STATE_POWER_INIT, answer.next);
    for (int steps = 0; !answer.done; ++steps) {
        EXPECT_LT(steps, 8);
        answer = ask(history, PLL_STATE_POWER, answer.next, fails(answer.next));
    }
    return answer.next;
}

TEST(NextTest, ASearchFindsTheHighestFrequencyThatWorks) {
    const int end = index_of(raised(PLL_TCLK_W_MAXIMUM, PLL_TCLK_MARGIN_RETREAT));
    for (int limit = -64; limit <= end + 10; ++limit) {
        ASSERT_EQ(index_of(search(at_index(limit))), std::min(limit, end));
    }
}

} // namespace
