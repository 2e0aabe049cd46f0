#include "podsim/model/tap_state.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <string>
#include <vector>

namespace {

using namespace podsim;

std::vector<TapState> all_states() {
    std::vector<TapState> states;
    for (std::size_t i = 0; i < kTapStates; ++i) {
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

TEST(TapState, MovesAsTheFigureOfTheStandardSays) {
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

TEST(TapState, FiveOnesReachTestLogicResetFromEveryState) {
    for (const TapState state : all_states()) {
        EXPECT_EQ(walk(state, kResetPath), TapState::TestLogicReset) << name_of(state);
    }
    // Four do not, from the state that is farthest away.
    EXPECT_NE(walk(TapState::ShiftDr, TmsPath{0xF, 4}), TapState::TestLogicReset);
}

TEST(TapState, SixStatesHold) {
    std::vector<TapState> stable;
    for (const TapState state : all_states()) {
        if (is_stable(state)) {
            stable.push_back(state);
        }
    }
    EXPECT_EQ(stable,
              (std::vector{TapState::TestLogicReset, TapState::RunTestIdle, TapState::ShiftDr,
                           TapState::PauseDr, TapState::ShiftIr, TapState::PauseIr}));
}

// Tries every sequence of each length in turn, which finds the shortest and counts its rivals.
TEST(TapState, ShortestPathsLeadThereAndAreTheOnlyShortest) {
    for (const TapState from : all_states()) {
        for (const TapState to : all_states()) {
            const TmsPath path = shortest_path(from, to);
            EXPECT_EQ(walk(from, path), to);
            for (unsigned count = 0; count <= path.count; ++count) {
                int found = 0;
                for (std::uint64_t tms = 0; tms < (std::uint64_t{1} << count); ++tms) {
                    found += walk(from, TmsPath{tms, count}) == to ? 1 : 0;
                }
                EXPECT_EQ(found, count == path.count ? 1 : 0)
                    << name_of(from) << " to " << name_of(to) << " in " << count;
            }
        }
    }
}

TEST(TapState, KnownPaths) {
    using enum TapState;
    EXPECT_EQ(shortest_path(RunTestIdle, ShiftDr), (TmsPath{0b001, 3}));
    EXPECT_EQ(shortest_path(RunTestIdle, ShiftIr), (TmsPath{0b0011, 4}));
    EXPECT_EQ(shortest_path(PauseDr, ShiftDr), (TmsPath{0b01, 2}));
    EXPECT_EQ(shortest_path(ShiftDr, TestLogicReset), (TmsPath{0b11111, 5}));
    EXPECT_EQ(shortest_path(PauseIr, PauseIr), (TmsPath{0, 0}));
}

TEST(TapState, JoinedPathsFollowEachOther) {
    const TmsPath first{0b01, 2};
    const TmsPath second{0b110, 3};
    EXPECT_EQ(joined(first, second), (TmsPath{0b11001, 5}));
    EXPECT_EQ(joined(first, TmsPath{}), first);
    EXPECT_EQ(joined(TmsPath{}, second), second);
    // A full first half leaves no room for a shift by 64.
    EXPECT_EQ(joined(TmsPath{~std::uint64_t{0}, 64}, TmsPath{}).count, 64U);
}

} // namespace
