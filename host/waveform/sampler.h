// From changes of signals to what stands on the lines at each rising edge of TCK.
#pragma once

#include "common/tap_state.h"
#include "host/waveform/waveform.h"
#include "host/waveform/window.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace talvor::waveform {

// The signals that mean something; Pin p is at TrstN + p, bit b of the state at StateBit0 + b.
enum class Signal : uint8_t {
    Tck,
    Tms,
    Tdi,
    Tdo,
    TapState,
    TrstN,
    Emu0,
    Emu1,
    TargetReset,
    StateBit0,
};
inline constexpr size_t kSignalCount = 9; // that have a name of their own
inline constexpr size_t kStateBits = 4;
inline constexpr unsigned kUnknown = 2; // a level that counts as 1 where 0 or 1 is wanted

constexpr size_t index_of(Signal signal) {
    return static_cast<size_t>(signal);
}

class Sampler {
public:
    // Keeps the samples of `window`, and finds the TCKs of `span`.
    Sampler(const Window& window, const ShiftSpan& span);

    // The trace tells the state; else it is followed from TMS, from Test-Logic-Reset on.
    void take_states() noexcept { states_are_told_ = true; }
    // So many test clocks, of them so many in Shift, are missing before the first. False: it is not
    // the first.
    [[nodiscard]] bool begin_late(uint64_t clocks, uint64_t shifting);
    // More followed, but the trace had reached its limit.
    void end_early() noexcept { waveform_.ends_early = true; }

    // Of the moment at hand, or of the first values.
    void change(Signal signal, unsigned value) { changes_.push_back({signal, value}); }
    // The moment at hand is over, and another one, not before it, begins.
    void begin_moment(uint64_t time_ps);
    [[nodiscard]] uint64_t time_ps() const noexcept { return time_ps_; }
    // The moment at hand is over: everything that changed in it changed together, so that a sample
    // holds what stood on the lines before it. To be called at the end, too.
    void end_moment();

    // Both at the end. The TCKs of the span and of what lies between it and the Shift clocks around
    // it; nothing where the trace has lost them.
    [[nodiscard]] std::optional<Window> found() const;
    [[nodiscard]] Waveform waveform() &&;

private:
    struct Change {
        Signal signal;
        unsigned value;
    };

    void apply(Signal signal, unsigned value);
    void sample();
    void note_shift();

    Window window_;
    ShiftSpan span_;
    bool states_are_told_ = false;
    std::array<unsigned, kSignalCount> values_{};
    std::vector<Change> changes_;
    bool started_ = false; // the first values are no changes
    uint64_t time_ps_ = 0;
    uint64_t tcks_ = 0;
    uint64_t shifts_ = 0;
    uint64_t span_begin_ = 0;
    uint64_t span_end_ = UINT64_MAX;
    talvor::TapState followed_ = talvor::TapState::TestLogicReset;
    Waveform waveform_;
};

} // namespace talvor::waveform
