// The operation register: end states, transits and the paths that they stand for.
#pragma once

#include "common/tap_state.h"
#include "hardware/tbc_registers.h"

#include <cstdint>

namespace talvor::podsim {

// The state that a state code stands for.
constexpr TapState state_of(uint16_t code) {
    switch (code & TBC_STATE_MASK) {
    case TBC_STATE_RESET:
    case TBC_STATE_RESET_READ:
        return TapState::TestLogicReset;
    case TBC_STATE_SHIFT_DR:
        return TapState::ShiftDr;
    case TBC_STATE_SHIFT_IR:
        return TapState::ShiftIr;
    case TBC_STATE_PAUSE_DR:
        return TapState::PauseDr;
    case TBC_STATE_PAUSE_IR:
        return TapState::PauseIr;
    default:
        return TapState::RunTestIdle;
    }
}

// The code that register 18 reads. Operations end in states that hold, so no other is ever read.
constexpr uint16_t code_of(TapState state) {
    switch (state) {
    case TapState::TestLogicReset:
        return TBC_STATE_RESET_READ;
    case TapState::ShiftDr:
        return TBC_STATE_SHIFT_DR;
    case TapState::ShiftIr:
        return TBC_STATE_SHIFT_IR;
    case TapState::PauseDr:
        return TBC_STATE_PAUSE_DR;
    case TapState::PauseIr:
        return TBC_STATE_PAUSE_IR;
    default:
        return TBC_STATE_IDLE_READ;
    }
}

// The shortest path through the Capture state that belongs to a Pause state; the shortest path to
// every other state.
constexpr TmsPath path_via_capture(TapState from, TapState to) {
    if (to != TapState::PauseDr && to != TapState::PauseIr) {
        return shortest_path(from, to);
    }
    const TapState capture = to == TapState::PauseDr ? TapState::CaptureDr : TapState::CaptureIr;
    return joined(shortest_path(from, capture), shortest_path(capture, to));
}

// Run-Test/Idle first, `clocks` clocks there, then the shortest path.
constexpr TmsPath path_via_idle(TapState from, TapState to, unsigned clocks) {
    const TmsPath there = shortest_path(from, TapState::RunTestIdle);
    const TmsPath back = shortest_path(TapState::RunTestIdle, to);
    return joined(joined(there, TmsPath{0, clocks}), back);
}

// The two bits that make a scan, each alone, are the transits of a go-to.
inline constexpr uint16_t kTransitViaIdle = TBC_TRANSIT_SCAN & ~TBC_TRANSIT_VIA_CAPTURE;
inline constexpr unsigned kIdleClocksShift = 5;

// Whether the operation register asks for a scan rather than a go-to.
constexpr bool is_scan(uint16_t operation) {
    return (operation & TBC_TRANSIT_SCAN) == TBC_TRANSIT_SCAN;
}

// The path of a go-to.
constexpr TmsPath go_to_path(TapState from, uint16_t operation) {
    const TapState to = state_of(operation);
    switch (operation & TBC_TRANSIT_SCAN) {
    case kTransitViaIdle:
        return path_via_idle(from, to, (operation & TBC_TRANSIT_IDLE_MASK) >> kIdleClocksShift);
    case TBC_TRANSIT_VIA_CAPTURE:
        return path_via_capture(from, to);
    default:
        return shortest_path(from, to);
    }
}

} // namespace talvor::podsim
