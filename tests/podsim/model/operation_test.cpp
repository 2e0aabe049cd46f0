#include "podsim/model/operation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace talvor::podsim {
namespace {

constexpr TapState kEnds[] = {TapState::TestLogicReset, TapState::TestLogicReset,
                              TapState::RunTestIdle,    TapState::RunTestIdle,
                              TapState::ShiftDr,        TapState::ShiftIr,
                              TapState::PauseDr,        TapState::PauseIr};

// The states on a path, the first one left out.
std::vector<TapState> states_on(TapState from, TmsPath path) {
    std::vector<TapState> states;
    for (unsigned i = 0; i < path.count; ++i) {
        from = next_state(from, ((path.tms >> i) & 1) != 0);
        states.push_back(from);
    }
    return states;
}

TEST(OperationTest, StateCodes) {
    for (uint16_t code = 0; code < 8; ++code) {
        EXPECT_EQ(state_of(code), kEnds[code]);
        EXPECT_EQ(state_of(code | TBC_STATE_IR_PATH | TBC_TRANSIT_SCAN), kEnds[code]);
    }
    const uint16_t read[] = {1, 1, 3, 3, 4, 5, 6, 7};
    for (uint16_t code = 0; code < 8; ++code) {
        EXPECT_EQ(code_of(kEnds[code]), read[code]);
    }
}

TEST(OperationTest, BothTransitBitsMakeAScan) {
    EXPECT_TRUE(is_scan(TBC_TRANSIT_SCAN | TBC_STATE_IDLE));
    EXPECT_FALSE(is_scan(TBC_TRANSIT_VIA_CAPTURE));
    EXPECT_FALSE(is_scan(TBC_TRANSIT_VIA_IDLE));
    EXPECT_FALSE(is_scan(0));
}

TEST(OperationTest, EveryGoToEndsWhereItShould) {
    for (const TapState from : kEnds) {
        for (uint16_t code = 0; code < 8; ++code) {
            for (const int transit :
                 {TBC_TRANSIT_QUICKEST, TBC_TRANSIT_VIA_CAPTURE, TBC_TRANSIT_VIA_IDLE, 0x2000}) {
                const auto operation = static_cast<uint16_t>(transit | code);
                EXPECT_EQ(walk(from, go_to_path(from, operation)), kEnds[code]);
            }
        }
    }
}

TEST(OperationTest, ViaCapturePassesThePathsCaptureState) {
    for (const TapState from : kEnds) {
        const auto dr = states_on(from, go_to_path(from, 0x1000 | TBC_STATE_PAUSE_DR));
        EXPECT_EQ(std::ranges::count(dr, TapState::CaptureDr), 1) << name_of(from);
        const auto ir = states_on(from, go_to_path(from, 0x1000 | TBC_STATE_PAUSE_IR));
        EXPECT_EQ(std::ranges::count(ir, TapState::CaptureIr), 1) << name_of(from);
        EXPECT_EQ(std::ranges::count(ir, TapState::CaptureDr), 0) << name_of(from);
    }
}

TEST(OperationTest, ViaIdleSpendsTheClocksOfItsField) {
    for (unsigned clocks = 0; clocks < 8; ++clocks) {
        const auto operation = static_cast<uint16_t>(0x2000 | clocks << 5 | TBC_STATE_PAUSE_DR);
        const auto states = states_on(TapState::PauseIr, go_to_path(TapState::PauseIr, operation));
        EXPECT_EQ(std::ranges::count(states, TapState::RunTestIdle), 1 + static_cast<int>(clocks));
    }
}

} // namespace
} // namespace talvor::podsim
