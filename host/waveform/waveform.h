// What a trace shows of a JTAG port: one sample for each TCK.
#pragma once

#include "common/tap_state.h"
#include "host/jtag/bits.h"
#include "host/jtag/port.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::waveform {

// What stands on the lines when TCK rises.
struct Sample {
    uint64_t time_ps = 0; // of the rising edge
    bool tms = true;
    bool tdi = true;
    bool tdo = true;
    TapState state = TapState::TestLogicReset; // before the edge: the one in which TDI is sampled
    bool tdo_known = true; // false: nobody looked at TDO, and `tdo` means nothing

    friend bool operator==(const Sample&, const Sample&) = default;
};

// The lines beside the four of the test access port.
enum class Pin : uint8_t { TrstN, Emu0, Emu1, TargetReset };
inline constexpr size_t kPinCount = 4;
[[nodiscard]] std::string_view name(Pin pin) noexcept;

struct PinChange {
    uint64_t time_ps = 0;
    size_t before_sample = 0; // the sample that comes next, samples.size() behind the last
    Pin pin = Pin::TrstN;
    bool level = true;

    friend bool operator==(const PinChange&, const PinChange&) = default;
};

// What Shift clocks one after the other are for. No name: they are the client's.
struct ShiftPass {
    uint64_t clocks = 0;
    std::string_view name;

    friend bool operator==(const ShiftPass&, const ShiftPass&) = default;
};

// A stretch of a trace.
struct Waveform {
    uint64_t first_tck = 0;    // how many TCKs the trace has before samples[0]
    uint64_t total_tcks = 0;   // up to the end of the trace
    uint64_t missing_tcks = 0; // of these the first, which the trace lost at its limit
    bool ends_early = false;   // more followed, but the trace had reached its limit
    std::vector<Sample> samples;
    std::array<bool, kPinCount> pins_at_start{true, true, true, false};
    std::vector<PinChange> pin_changes; // in the order of time
    uint64_t first_shift_tck = 0;       // how many Shift clocks the trace has before samples[0]
    std::vector<ShiftPass> passes;      // of all Shift clocks of the trace; may end before them

    [[nodiscard]] bool changes(Pin pin) const noexcept;
};

// Samples one after the other in one state.
struct StateRun {
    TapState state = TapState::TestLogicReset;
    size_t first = 0;
    size_t count = 0;

    friend bool operator==(const StateRun&, const StateRun&) = default;
};

// The bits of one stay in a Shift state, or of one pass of it.
struct ShiftRun {
    ScanPath path = ScanPath::Dr;
    size_t first = 0; // sample
    Bits tdi;         // as many bits as samples
    Bits tdo;
    bool tdo_known = true;     // all of its bits
    bool cut_at_start = false; // the stretch begins in the middle of it
    bool cut_at_end = false;
    std::string_view pass; // its name

    [[nodiscard]] TapState state() const noexcept {
        return path == ScanPath::Dr ? TapState::ShiftDr : TapState::ShiftIr;
    }
    [[nodiscard]] bool cut() const noexcept { return cut_at_start || cut_at_end; }
};

[[nodiscard]] std::vector<StateRun> state_runs(const Waveform& waveform);
[[nodiscard]] std::vector<ShiftRun> shift_runs(const Waveform& waveform);
// The state after the last sample.
[[nodiscard]] TapState final_state(const Waveform& waveform);

// Three letters for a state: "TLR", "RTI", "SeD", "CaD", "ShD", "E1D", "PaD", "E2D", "UpD", ...
[[nodiscard]] std::string_view short_name(TapState state) noexcept;
// "12.345 us", with the unit that fits.
[[nodiscard]] std::string time_text(uint64_t time_ps);

} // namespace talvor::waveform
