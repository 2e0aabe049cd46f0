// What an exact scan is made of: the bare shifts and moves that a pod offers.
#pragma once

#include "common/result.h"
#include "common/tap_state.h"
#include "host/jtag/bits.h"
#include "host/jtag/port.h"

#include <cstddef>

namespace talvor {

// The Pause state of a path, where a scan waits between its shifts.
[[nodiscard]] constexpr StableState pause_state(ScanPath path) noexcept {
    return path == ScanPath::Ir ? StableState::PauseIr : StableState::PauseDr;
}

// A scan chain behind a return path that holds the last kHeldBits bits back: they come out with the
// next shift, whatever lies between.
//
// Only exchange() waits; everything else may stay queued and goes out with the next exchange. After
// an error the state of the target is unknown.
class ShiftLine {
public:
    // One word of the controller, as its automatic adjustment has it.
    static constexpr size_t kHeldBits = Bits::kWordBits;

    virtual ~ShiftLine() = default;

    // Shifts `out`, at least one bit, and ends in `end`. From the Pause state of the same path the
    // shift goes on through Exit2 without a capture, from every other state it goes through
    // Capture. `out` is read before it returns.
    [[nodiscard]] virtual Status send(ScanPath path, const Bits& out, StableState end) = 0;
    // The same, and waits for the answer: `in` becomes as long as `out`, first the kHeldBits bits
    // that TDO gave last before this shift, then all but the last kHeldBits of this one.
    [[nodiscard]] virtual Status exchange(ScanPath path, const Bits& out, Bits& in,
                                          StableState end) = 0;
    // To `to`. A Pause state is reached through the Capture state of its path, also from itself.
    [[nodiscard]] virtual Status move(StableState to) = 0;
};

} // namespace talvor
