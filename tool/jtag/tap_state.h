// The TAP controller's states and the ways between them (IEEE 1149.1, clause 6).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace talvor {

// The sixteen states; the numbers are the 4-bit codes in which waveforms carry them.
enum class TapState : uint8_t {
    TestLogicReset,
    RunTestIdle,
    SelectDr,
    CaptureDr,
    ShiftDr,
    Exit1Dr,
    PauseDr,
    Exit2Dr,
    UpdateDr,
    SelectIr,
    CaptureIr,
    ShiftIr,
    Exit1Ir,
    PauseIr,
    Exit2Ir,
    UpdateIr,
};
inline constexpr size_t kTapStateCount = 16;

// The states in which a move or a scan can end. Shift is none: the driver offers no such end.
enum class StableState : uint8_t { Reset, Idle, PauseDr, PauseIr };

[[nodiscard]] constexpr TapState tap_state(StableState state) noexcept {
    constexpr std::array states{TapState::TestLogicReset, TapState::RunTestIdle, TapState::PauseDr,
                                TapState::PauseIr};
    return states[static_cast<size_t>(state)];
}

// The stable state that `state` is, or nothing.
[[nodiscard]] std::optional<StableState> stable_state(TapState state) noexcept;

// The state after one TCK with `tms`.
[[nodiscard]] TapState next_state(TapState state, bool tms) noexcept;
// Whether one TCK leads from `from` to `to`.
[[nodiscard]] bool is_step(TapState from, TapState to) noexcept;

// "Test-Logic-Reset", "Run-Test/Idle", "Shift-DR" ...
[[nodiscard]] std::string_view name(TapState state) noexcept;
[[nodiscard]] std::string_view name(StableState state) noexcept;

// The states after `from`, up to and with `to`, on the way with the fewest TCKs; nothing when both
// are one state.
[[nodiscard]] std::vector<TapState> shortest_path(TapState from, TapState to);
// The same for a move between stable states: to a Pause state it goes through the Capture state of
// its path, also from that Pause state itself. Staying in Reset or Idle is one TCK there.
[[nodiscard]] std::vector<TapState> standard_route(StableState from, StableState to);

} // namespace talvor
