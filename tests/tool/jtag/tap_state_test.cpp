#include "jtag/tap_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor {
namespace {

using enum TapState;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::array kAll{TestLogicReset, RunTestIdle, SelectDr, CaptureDr, ShiftDr,   Exit1Dr,
                          PauseDr,        Exit2Dr,     UpdateDr, SelectIr,  CaptureIr, ShiftIr,
                          Exit1Ir,        PauseIr,     Exit2Ir,  UpdateIr};

TEST(TapStateTest, FiveOnesLeadToResetFromEverywhere) {
    for (TapState state : kAll) {
        for (int i = 0; i < 5; ++i) {
            state = next_state(state, true);
        }
        EXPECT_EQ(state, TestLogicReset);
    }
}

TEST(TapStateTest, OnlySixStatesHoldOnAConstantLevel) {
    std::vector<TapState> holding;
    for (const TapState state : kAll) {
        if (is_step(state, state)) {
            holding.push_back(state);
        }
    }
    EXPECT_THAT(holding,
                ElementsAre(TestLogicReset, RunTestIdle, ShiftDr, PauseDr, ShiftIr, PauseIr));
}

TEST(TapStateTest, ShiftIsNoStableState) {
    EXPECT_EQ(stable_state(ShiftDr), std::nullopt);
    EXPECT_EQ(stable_state(ShiftIr), std::nullopt);
    for (const StableState state :
         {StableState::Reset, StableState::Idle, StableState::PauseDr, StableState::PauseIr}) {
        EXPECT_EQ(stable_state(tap_state(state)), state);
    }
}

TEST(TapStateTest, StatesCarryTheNamesOfTheStandard) {
    EXPECT_EQ(name(TestLogicReset), "Test-Logic-Reset");
    EXPECT_EQ(name(SelectIr), "Select-IR-Scan");
    EXPECT_EQ(name(UpdateIr), "Update-IR");
    EXPECT_EQ(name(StableState::Idle), "Run-Test/Idle");
}

TEST(TapStateTest, ShortestPathsAreLegalAndShortest) {
    EXPECT_THAT(shortest_path(RunTestIdle, ShiftDr), ElementsAre(SelectDr, CaptureDr, ShiftDr));
    EXPECT_THAT(shortest_path(PauseDr, RunTestIdle), ElementsAre(Exit2Dr, UpdateDr, RunTestIdle));
    EXPECT_THAT(shortest_path(RunTestIdle, TestLogicReset),
                ElementsAre(SelectDr, SelectIr, TestLogicReset));
    EXPECT_THAT(shortest_path(PauseDr, PauseDr), IsEmpty());
    for (const TapState from : kAll) {
        for (const TapState to : kAll) {
            TapState at = from;
            for (const TapState next : shortest_path(from, to)) {
                ASSERT_TRUE(is_step(at, next));
                at = next;
            }
            EXPECT_EQ(at, to);
        }
    }
}

TEST(TapStateTest, RoutesToAPauseStateCapture) {
    EXPECT_THAT(standard_route(StableState::Idle, StableState::PauseDr),
                ElementsAre(SelectDr, CaptureDr, Exit1Dr, PauseDr));
    EXPECT_THAT(standard_route(StableState::Reset, StableState::PauseIr),
                ElementsAre(RunTestIdle, SelectDr, SelectIr, CaptureIr, Exit1Ir, PauseIr));
    EXPECT_THAT(standard_route(StableState::PauseDr, StableState::PauseDr),
                ElementsAre(Exit2Dr, UpdateDr, SelectDr, CaptureDr, Exit1Dr, PauseDr));
    EXPECT_THAT(standard_route(StableState::PauseIr, StableState::PauseDr),
                ElementsAre(Exit2Ir, UpdateIr, SelectDr, CaptureDr, Exit1Dr, PauseDr));
}

TEST(TapStateTest, StayingIsOneClock) {
    EXPECT_THAT(standard_route(StableState::Idle, StableState::Idle), ElementsAre(RunTestIdle));
    EXPECT_THAT(standard_route(StableState::Reset, StableState::Reset),
                ElementsAre(TestLogicReset));
}

} // namespace
} // namespace talvor
