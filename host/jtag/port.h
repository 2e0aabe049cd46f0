// A JTAG port: what a player or a chain search works against. It knows nothing of pods, and who
// uses it knows nothing of the driver.
#pragma once

#include "common/result.h"
#include "common/tap_state.h"
#include "host/jtag/bits.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace talvor {

enum class ScanPath : uint8_t { Dr, Ir };

// HighZ leaves the pin to the target's pull resistor.
enum class TrstLevel : uint8_t { Asserted, Released, HighZ };

enum class ClockLine : uint8_t {
    Tck, // the test clock
    Sck, // the target's system clock, if the port can count it
};

// One shift. The target sees as many Shift clocks as `out` has bits, and their effect is that of
// shifting exactly `out`, bit 0 first.
struct Scan {
    ScanPath path = ScanPath::Dr;
    // Never null, at least one bit. It is read before scan() returns, also when the scan is queued.
    const Bits* out = nullptr;
    // Where received bits go, resized to out->size(), or null when nobody wants them; then the port
    // may leave the scan queued. May be the vector that `out` points to.
    Bits* in = nullptr;
    StableState end = StableState::Idle;
};

// Every operation either does the whole of what it says, or answers an error that names the reason;
// after an error of the kinds Pod or Target the state of the target is unknown.
//
// The queries (can_..., route) answer without touching the target, so that a file of many thousand
// operations is checked before its first bit is shifted. A refusal is an error of the kind Refused
// whose `thing` names the request and whose `reason` says what is missing; the operation itself
// answers the same refusal.
class JtagPort {
public:
    virtual ~JtagPort() = default;

    // --- what it can do -------------------------------------------------------------------------

    // Whether one scan of `length_bits` bits can be shifted, with its bits received or not.
    [[nodiscard]] virtual Status can_scan(ScanPath path, uint64_t length_bits,
                                          bool receive) const = 0;
    // The states that move(to) passes through when the TAP stands in `from`, up to and with `to`.
    // Clocks that only stay in Test-Logic-Reset are left out.
    [[nodiscard]] virtual std::vector<TapState> route(StableState from, StableState to) const {
        return standard_route(from, to);
    }
    // Whether `clocks` counted clocks of `line` can be spent in `state`; 0 clocks always can.
    [[nodiscard]] virtual Status can_run(StableState state, uint64_t clocks,
                                         ClockLine line) const = 0;
    // Whether the pin can be given this level.
    [[nodiscard]] virtual Status can_set_trst(TrstLevel level) const = 0;
    // Whether the pin can be pulled low for a moment.
    [[nodiscard]] virtual Status can_pulse_trst() const {
        return refused_error("a pulse of TRST", "the port has none");
    }
    // Whether the test clock can be kept at or below `hertz`; nothing stands for full speed.
    [[nodiscard]] virtual Status can_set_max_frequency(std::optional<double> hertz) const = 0;

    // The test clock that set_max_frequency(hertz) leaves, in Hz; 0 when the port does not know.
    [[nodiscard]] virtual double hertz_at_most(std::optional<double> /*hertz*/) const { return 0; }

    // --- what it does ---------------------------------------------------------------------------

    // Five or more TMS ones: the TAP is in Test-Logic-Reset, wherever it was.
    [[nodiscard]] virtual Status reset_tap() = 0;
    // To a stable state along route(). When it stands there already, Reset and Idle stay, and a
    // Pause state is left and reached again through Update and Capture.
    [[nodiscard]] virtual Status move(StableState to) = 0;
    // Shifts and ends in scan.end. From the Pause state of the same path the shift goes on through
    // Exit2 without a capture; from every other state it goes through Capture.
    [[nodiscard]] virtual Status scan(const Scan& scan) = 0;
    // Moves to `state` unless the TAP stands there already, and stays until `clocks` TCKs have been
    // spent and `at_least` has passed. Both are over when it returns.
    [[nodiscard]] virtual Status run(StableState state, uint64_t clocks,
                                     std::chrono::nanoseconds at_least) = 0;
    [[nodiscard]] virtual Status set_trst(TrstLevel level) = 0;
    // The pin goes low and high again, as long as the port has it. The TAP is reset by it; what the
    // port knows of the TAP's state is not, so that reset_tap() should follow.
    [[nodiscard]] virtual Status pulse_trst() { return can_pulse_trst(); }
    [[nodiscard]] virtual Status set_max_frequency(std::optional<double> hertz) = 0;
    // Everything queued so far has reached the target when it returns.
    [[nodiscard]] virtual Status flush() = 0;
};

} // namespace talvor
