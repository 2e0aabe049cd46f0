#include "common/tap_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <map>
#include <string>
#include <vector>

namespace talvor {
namespace {

using enum TapState;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::array kStableStates{StableState::Reset, StableState::Idle, StableState::PauseDr,
                                   StableState::PauseIr};

std::vector<TapState> all_states() {
    std::vector<TapState> states;
    for (size_t i = 0; i < kTapStates; ++i) {
        states.push_back(static_cast<TapState>(i));
    }
    return states;
}

// The figure of the standard, written down a second time, by name.
struct Row {
    const char* state;
    const char* on_zero;
    const char* on_one;
};
constexpr std::array<Row, kTapStates> kFigure{{
    {"Test-Logic-Reset", "Run-Test/Idle", "Test-Logic-Reset"},
    {"Run-Test/Idle", "Run-Test/Idle", "Select-DR-Scan"},
    {"Select-DR-Scan", "Capture-DR", "Select-IR-Scan"},
    {"Capture-DR", "Shift-DR", "Exit1-DR"},
    {"Shift-DR", "Shift-DR", "Exit1-DR"},
    {"Exit1-DR", "Pause-DR", "Update-DR"},
    {"Pause-DR", "Pause-DR", "Exit2-DR"},
    {"Exit2-DR", "Shift-DR", "Update-DR"},
    {"Update-DR", "Run-Test/Idle", "Select-DR-Scan"},
    {"Select-IR-Scan", "Capture-IR", "Test-Logic-Reset"},
    {"Capture-IR", "Shift-IR", "Exit1-IR"},
    {"Shift-IR", "Shift-IR", "Exit1-IR"},
    {"Exit1-IR", "Pause-IR", "Update-IR"},
    {"Pause-IR", "Pause-IR", "Exit2-IR"},
    {"Exit2-IR", "Shift-IR", "Update-IR"},
    {"Update-IR", "Run-Test/Idle", "Select-DR-Scan"},
}};

TEST(TapStateTest, MovesAsTheFigureOfTheStandardSays) {
    std::map<std::string, Row> figure;
    for (const Row& row : kFigure) {
        figure[row.state] = row;
    }
    ASSERT_EQ(figure.size(), kTapStates);
    for (const TapState state : all_states()) {
        const Row& row = figure.at(std::string(name_of(state)));
        EXPECT_EQ(name_of(next_state(state, false)), row.on_zero) << row.state;
        EXPECT_EQ(name_of(next_state(state, true)), row.on_one) << row.state;
    }
}

TEST(TapStateTest, StatesCarryTheNamesOfTheStandard) {
    EXPECT_EQ(name_of(TestLogicReset), "Test-Logic-Reset");
    EXPECT_EQ(name_of(SelectIrScan), "Select-IR-Scan");
    EXPECT_EQ(name_of(UpdateIr), "Update-IR");
    EXPECT_EQ(name_of(StableState::Idle), "Run-Test/Idle");
}

TEST(TapStateTest, FiveOnesReachTestLogicResetFromEveryState) {
    for (const TapState state : all_states()) {
        EXPECT_EQ(walk(state, kResetPath), TestLogicReset) << name_of(state);
    }
    // Four do not, from the state that is farthest away.
    EXPECT_NE(walk(ShiftDr, TmsPath{0xF, 4}), TestLogicReset);
}

TEST(TapStateTest, SixStatesHoldOnAConstantLevel) {
    std::vector<TapState> stable;
    std::vector<TapState> steps_to_themselves;
    for (const TapState state : all_states()) {
        if (is_stable(state)) {
            stable.push_back(state);
        }
        if (is_step(state, state)) {
            steps_to_themselves.push_back(state);
        }
    }
    EXPECT_THAT(stable,
                ElementsAre(TestLogicReset, RunTestIdle, ShiftDr, PauseDr, ShiftIr, PauseIr));
    EXPECT_EQ(steps_to_themselves, stable);
}

TEST(TapStateTest, AStepIsOneClockOfEitherLevel) {
    EXPECT_TRUE(is_step(RunTestIdle, SelectDrScan));
    EXPECT_TRUE(is_step(RunTestIdle, RunTestIdle));
    EXPECT_FALSE(is_step(RunTestIdle, CaptureDr));
    EXPECT_FALSE(is_step(RunTestIdle, TestLogicReset));
}

TEST(TapStateTest, ShiftIsNoStableStateOfADriver) {
    EXPECT_EQ(stable_state(ShiftDr), std::nullopt);
    EXPECT_EQ(stable_state(ShiftIr), std::nullopt);
    EXPECT_EQ(stable_state(UpdateIr), std::nullopt);
    for (const StableState state : kStableStates) {
        EXPECT_EQ(stable_state(tap_state(state)), state);
    }
}

// Tries every sequence of each length in turn, which finds the shortest and counts its rivals.
TEST(TmsPathTest, ShortestPathsLeadThereAndAreTheOnlyShortest) {
    for (const TapState from : all_states()) {
        for (const TapState to : all_states()) {
            const TmsPath path = shortest_path(from, to);
            EXPECT_EQ(walk(from, path), to);
            for (unsigned count = 0; count <= path.count; ++count) {
                int found = 0;
                for (uint64_t tms = 0; tms < (uint64_t{1} << count); ++tms) {
                    found += walk(from, TmsPath{tms, count}) == to ? 1 : 0;
                }
                EXPECT_EQ(found, count == path.count ? 1 : 0)
                    << name_of(from) << " to " << name_of(to) << " in " << count;
            }
        }
    }
}

TEST(TmsPathTest, KnownPaths) {
    EXPECT_EQ(shortest_path(RunTestIdle, ShiftDr), (TmsPath{0b001, 3}));
    EXPECT_EQ(shortest_path(RunTestIdle, ShiftIr), (TmsPath{0b0011, 4}));
    EXPECT_EQ(shortest_path(PauseDr, ShiftDr), (TmsPath{0b01, 2}));
    EXPECT_EQ(shortest_path(ShiftDr, TestLogicReset), (TmsPath{0b11111, 5}));
    EXPECT_EQ(shortest_path(PauseIr, PauseIr), (TmsPath{0, 0}));
}

TEST(TmsPathTest, JoinedPathsFollowEachOther) {
    const TmsPath first{0b01, 2};
    const TmsPath second{0b110, 3};
    EXPECT_EQ(joined(first, second), (TmsPath{0b11001, 5}));
    EXPECT_EQ(joined(first, TmsPath{}), first);
    EXPECT_EQ(joined(TmsPath{}, second), second);
    // A full first half leaves no room for a shift by 64.
    EXPECT_EQ(joined(TmsPath{~uint64_t{0}, 64}, TmsPath{}).count, 64U);
}

TEST(TapRouteTest, ShortestRoutesAreLegalAndAsLongAsTheirPaths) {
    EXPECT_THAT(shortest_route(RunTestIdle, ShiftDr),
                ElementsAre(SelectDrScan, CaptureDr, ShiftDr));
    EXPECT_THAT(shortest_route(PauseDr, RunTestIdle), ElementsAre(Exit2Dr, UpdateDr, RunTestIdle));
    EXPECT_THAT(shortest_route(RunTestIdle, TestLogicReset),
                ElementsAre(SelectDrScan, SelectIrScan, TestLogicReset));
    EXPECT_THAT(shortest_route(PauseDr, PauseDr), IsEmpty());
    for (const TapState from : all_states()) {
        for (const TapState to : all_states()) {
            TapState at = from;
            const std::vector<TapState> route = shortest_route(from, to);
            for (const TapState next : route) {
                ASSERT_TRUE(is_step(at, next));
                at = next;
            }
            EXPECT_EQ(at, to);
            EXPECT_EQ(route.size(), shortest_path(from, to).count);
        }
    }
}

TEST(TapRouteTest, RoutesToAPauseStateCapture) {
    EXPECT_THAT(standard_route(StableState::Idle, StableState::PauseDr),
                ElementsAre(SelectDrScan, CaptureDr, Exit1Dr, PauseDr));
    EXPECT_THAT(standard_route(StableState::Reset, StableState::PauseIr),
                ElementsAre(RunTestIdle, SelectDrScan, SelectIrScan, CaptureIr, Exit1Ir, PauseIr));
    EXPECT_THAT(standard_route(StableState::PauseDr, StableState::PauseDr),
                ElementsAre(Exit2Dr, UpdateDr, SelectDrScan, CaptureDr, Exit1Dr, PauseDr));
    EXPECT_THAT(standard_route(StableState::PauseIr, StableState::PauseDr),
                ElementsAre(Exit2Ir, UpdateIr, SelectDrScan, CaptureDr, Exit1Dr, PauseDr));
}

TEST(TapRouteTest, StayingIsOneClock) {
    EXPECT_THAT(standard_route(StableState::Idle, StableState::Idle), ElementsAre(RunTestIdle));
    EXPECT_THAT(standard_route(StableState::Reset, StableState::Reset),
                ElementsAre(TestLogicReset));
}

} // namespace
} // namespace talvor
