// What the edge engine needs of a pod beside shifts and moves.
#pragma once

#include "common/result.h"
#include "common/tap_state.h"
#include "host/scan/shift_line.h"

#include <cstdint>

namespace talvor {

// As for every shift line, only what says so waits; the rest may stay queued until flush(). After
// an error it is unknown where the TAP stands, until ask_state().
class EdgeLine : public ShiftLine {
public:
    // Clocks that one pass through Run-Test/Idle spends there.
    static constexpr uint64_t kIdleClocks = 7;

    // From Run-Test/Idle: kIdleClocks more clocks there, `times` times over, at least once.
    [[nodiscard]] virtual Status idle(uint32_t times) = 0;
    // To Test-Logic-Reset by five ones at least, whatever state the target really is in.
    [[nodiscard]] virtual Status reset_tap() = 0;
    // Waits for everything queued and tells where the TAP stands; one that stood in no stable state
    // is reset.
    [[nodiscard]] virtual Result<StableState> ask_state() = 0;
    // A low pulse of TRSTn, behind everything queued. The TAP stands in Test-Logic-Reset then.
    [[nodiscard]] virtual Status pulse_trst() = 0;
    // A pulse of the target's system reset, behind everything queued. In a Pause state what stands
    // in the register may be lost.
    [[nodiscard]] virtual Status pulse_srst() = 0;
    // The test clock stays at or below `hertz` from now on, and the TAP where it is. An error
    // (ErrorKind::Refused) for one that is slower than the slowest; nothing has changed then.
    [[nodiscard]] virtual Status set_max_frequency(double hertz) = 0;
    // The test clock in force; 0 where nobody knows it.
    [[nodiscard]] virtual double hertz() const = 0;
    // Everything queued has reached the target when it returns.
    [[nodiscard]] virtual Status flush() = 0;
};

} // namespace talvor
