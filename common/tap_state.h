// The TAP controller of IEEE 1149.1 (clause 6.1): its 16 states, where each goes, how far apart
// they are.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace talvor {

// The order is that of the standard's figure: the data column, then the instruction column. The
// numbers are the 4-bit codes in which waveforms carry the states.
enum class TapState : uint8_t {
    TestLogicReset,
    RunTestIdle,
    SelectDrScan,
    CaptureDr,
    ShiftDr,
    Exit1Dr,
    PauseDr,
    Exit2Dr,
    UpdateDr,
    SelectIrScan,
    CaptureIr,
    ShiftIr,
    Exit1Ir,
    PauseIr,
    Exit2Ir,
    UpdateIr,
};

inline constexpr size_t kTapStates = 16;

// The names of the states as the standard writes them.
inline constexpr std::array<std::string_view, kTapStates> kTapStateNames{
    "Test-Logic-Reset", "Run-Test/Idle",  "Select-DR-Scan", "Capture-DR",
    "Shift-DR",         "Exit1-DR",       "Pause-DR",       "Exit2-DR",
    "Update-DR",        "Select-IR-Scan", "Capture-IR",     "Shift-IR",
    "Exit1-IR",         "Pause-IR",       "Exit2-IR",       "Update-IR",
};

// The state after a rising edge of TCK, by present state and TMS.
inline constexpr std::array<std::array<TapState, 2>, kTapStates> kTapNext{{
    {TapState::RunTestIdle, TapState::TestLogicReset}, // Test-Logic-Reset
    {TapState::RunTestIdle, TapState::SelectDrScan},   // Run-Test/Idle
    {TapState::CaptureDr, TapState::SelectIrScan},     // Select-DR-Scan
    {TapState::ShiftDr, TapState::Exit1Dr},            // Capture-DR
    {TapState::ShiftDr, TapState::Exit1Dr},            // Shift-DR
    {TapState::PauseDr, TapState::UpdateDr},           // Exit1-DR
    {TapState::PauseDr, TapState::Exit2Dr},            // Pause-DR
    {TapState::ShiftDr, TapState::UpdateDr},           // Exit2-DR
    {TapState::RunTestIdle, TapState::SelectDrScan},   // Update-DR
    {TapState::CaptureIr, TapState::TestLogicReset},   // Select-IR-Scan
    {TapState::ShiftIr, TapState::Exit1Ir},            // Capture-IR
    {TapState::ShiftIr, TapState::Exit1Ir},            // Shift-IR
    {TapState::PauseIr, TapState::UpdateIr},           // Exit1-IR
    {TapState::PauseIr, TapState::Exit2Ir},            // Pause-IR
    {TapState::ShiftIr, TapState::UpdateIr},           // Exit2-IR
    {TapState::RunTestIdle, TapState::SelectDrScan},   // Update-IR
}};

constexpr size_t index_of(TapState state) {
    return static_cast<size_t>(state);
}

constexpr std::string_view name_of(TapState state) {
    return kTapStateNames[index_of(state)];
}

constexpr TapState next_state(TapState state, bool tms) {
    return kTapNext[index_of(state)][tms ? 1 : 0];
}

constexpr bool is_shift(TapState state) {
    return state == TapState::ShiftDr || state == TapState::ShiftIr;
}

// The states that hold while TMS does not change.
constexpr bool is_stable(TapState state) {
    return next_state(state, false) == state || next_state(state, true) == state;
}

// Whether one TCK leads from `from` to `to`.
constexpr bool is_step(TapState from, TapState to) {
    return next_state(from, false) == to || next_state(from, true) == to;
}

// The states in which a move or a scan can end. Shift is none: the driver offers no such end.
enum class StableState : uint8_t { Reset, Idle, PauseDr, PauseIr };

constexpr TapState tap_state(StableState state) {
    constexpr std::array kStates{TapState::TestLogicReset, TapState::RunTestIdle, TapState::PauseDr,
                                 TapState::PauseIr};
    return kStates[static_cast<size_t>(state)];
}

constexpr std::string_view name_of(StableState state) {
    return name_of(tap_state(state));
}

// The stable state that `state` is, or nothing.
constexpr std::optional<StableState> stable_state(TapState state) {
    for (const StableState stable :
         {StableState::Reset, StableState::Idle, StableState::PauseDr, StableState::PauseIr}) {
        if (tap_state(stable) == state) {
            return stable;
        }
    }
    return std::nullopt;
}

// A sequence of TMS levels, the first in bit 0.
struct TmsPath {
    uint64_t tms = 0;
    unsigned count = 0;

    bool operator==(const TmsPath&) const = default;
};

// `first`, then `second`. Together at most 64 edges.
constexpr TmsPath joined(TmsPath first, TmsPath second) {
    if (second.count == 0) {
        return first;
    }
    return {first.tms | (second.tms << first.count), first.count + second.count};
}

// The state after a whole path.
constexpr TapState walk(TapState state, TmsPath path) {
    for (unsigned i = 0; i < path.count; ++i) {
        state = next_state(state, ((path.tms >> i) & 1) != 0);
    }
    return state;
}

namespace detail {

// The table of all shortest paths, by breadth-first search: from each state, level by level. No two
// states are connected by two shortest paths that differ, so the order of the search is no choice.
constexpr std::array<std::array<TmsPath, kTapStates>, kTapStates> shortest_paths() {
    std::array<std::array<TmsPath, kTapStates>, kTapStates> paths{};
    for (size_t from = 0; from < kTapStates; ++from) {
        std::array<bool, kTapStates> seen{};
        std::array<TapState, kTapStates> queue{};
        size_t head = 0;
        size_t tail = 0;
        queue[tail++] = static_cast<TapState>(from);
        seen[from] = true;
        while (head < tail) {
            const TapState state = queue[head++];
            for (const bool tms : {false, true}) {
                const TapState next = next_state(state, tms);
                if (!seen[index_of(next)]) {
                    seen[index_of(next)] = true;
                    paths[from][index_of(next)] =
                        joined(paths[from][index_of(state)], TmsPath{tms ? 1U : 0U, 1});
                    queue[tail++] = next;
                }
            }
        }
    }
    return paths;
}

inline constexpr auto kShortestPaths = shortest_paths();

} // namespace detail

// The shortest path between two states; empty when they are the same.
constexpr TmsPath shortest_path(TapState from, TapState to) {
    return detail::kShortestPaths[index_of(from)][index_of(to)];
}

// The states after `from`, up to and with `to`, on the shortest path; empty when both are one
// state.
[[nodiscard]] std::vector<TapState> shortest_route(TapState from, TapState to);
// The same for a move between stable states: to a Pause state it goes through the Capture state of
// its path, also from that Pause state itself. Staying in Reset or Idle is one TCK there.
[[nodiscard]] std::vector<TapState> standard_route(StableState from, StableState to);

// The path that reaches Test-Logic-Reset from any state, known or not (IEEE 1149.1, 6.1.1).
inline constexpr TmsPath kResetPath{0x1F, 5};

} // namespace talvor
