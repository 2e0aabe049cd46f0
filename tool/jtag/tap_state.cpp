#include "jtag/tap_state.h"

#include <algorithm>

namespace talvor {

namespace {

struct Successors {
    TapState on_zero;
    TapState on_one;
};

constexpr std::array<Successors, kTapStateCount> kNext = [] {
    using enum TapState;
    std::array<Successors, kTapStateCount> next{};
    const auto set = [&next](TapState from, TapState on_zero, TapState on_one) {
        next[static_cast<size_t>(from)] = {on_zero, on_one};
    };
    set(TestLogicReset, RunTestIdle, TestLogicReset);
    set(RunTestIdle, RunTestIdle, SelectDr);
    set(SelectDr, CaptureDr, SelectIr);
    set(CaptureDr, ShiftDr, Exit1Dr);
    set(ShiftDr, ShiftDr, Exit1Dr);
    set(Exit1Dr, PauseDr, UpdateDr);
    set(PauseDr, PauseDr, Exit2Dr);
    set(Exit2Dr, ShiftDr, UpdateDr);
    set(UpdateDr, RunTestIdle, SelectDr);
    set(SelectIr, CaptureIr, TestLogicReset);
    set(CaptureIr, ShiftIr, Exit1Ir);
    set(ShiftIr, ShiftIr, Exit1Ir);
    set(Exit1Ir, PauseIr, UpdateIr);
    set(PauseIr, PauseIr, Exit2Ir);
    set(Exit2Ir, ShiftIr, UpdateIr);
    set(UpdateIr, RunTestIdle, SelectDr);
    return next;
}();

constexpr std::array<std::string_view, kTapStateCount> kNames{
    "Test-Logic-Reset", "Run-Test/Idle",  "Select-DR-Scan", "Capture-DR",
    "Shift-DR",         "Exit1-DR",       "Pause-DR",       "Exit2-DR",
    "Update-DR",        "Select-IR-Scan", "Capture-IR",     "Shift-IR",
    "Exit1-IR",         "Pause-IR",       "Exit2-IR",       "Update-IR"};

void go_on(std::vector<TapState>& path, TapState to) {
    const std::vector<TapState> more = shortest_path(path.back(), to);
    path.insert(path.end(), more.begin(), more.end());
}

} // namespace

std::optional<StableState> stable_state(TapState state) noexcept {
    switch (state) {
    case TapState::TestLogicReset:
        return StableState::Reset;
    case TapState::RunTestIdle:
        return StableState::Idle;
    case TapState::PauseDr:
        return StableState::PauseDr;
    case TapState::PauseIr:
        return StableState::PauseIr;
    default:
        return std::nullopt;
    }
}

TapState next_state(TapState state, bool tms) noexcept {
    const Successors& next = kNext[static_cast<size_t>(state)];
    return tms ? next.on_one : next.on_zero;
}

bool is_step(TapState from, TapState to) noexcept {
    return next_state(from, false) == to || next_state(from, true) == to;
}

std::string_view name(TapState state) noexcept {
    return kNames[static_cast<size_t>(state)];
}

std::string_view name(StableState state) noexcept {
    return name(tap_state(state));
}

std::vector<TapState> shortest_path(TapState from, TapState to) {
    if (from == to) {
        return {};
    }
    // Breadth first; came_from also marks what has been seen.
    std::array<std::optional<TapState>, kTapStateCount> came_from{};
    std::vector<TapState> queue{from};
    for (size_t i = 0; !came_from[static_cast<size_t>(to)]; ++i) {
        for (const bool tms : {false, true}) {
            const TapState next = next_state(queue[i], tms);
            if (next != from && !came_from[static_cast<size_t>(next)]) {
                came_from[static_cast<size_t>(next)] = queue[i];
                queue.push_back(next);
            }
        }
    }
    std::vector<TapState> path;
    for (TapState at = to; at != from; at = *came_from[static_cast<size_t>(at)]) {
        path.push_back(at);
    }
    std::reverse(path.begin(), path.end());
    return path;
}

std::vector<TapState> standard_route(StableState from, StableState to) {
    std::vector<TapState> path{tap_state(from)};
    if (to == StableState::PauseDr) {
        go_on(path, TapState::CaptureDr);
    } else if (to == StableState::PauseIr) {
        go_on(path, TapState::CaptureIr);
    } else if (from == to) {
        return {tap_state(to)};
    }
    go_on(path, tap_state(to));
    path.erase(path.begin());
    return path;
}

} // namespace talvor
