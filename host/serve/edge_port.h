// What the protocols are front ends of: the pins of a TAP, edge by edge.
#pragma once

#include "common/result.h"
#include "common/tap_state.h"
#include "host/jtag/bits.h"

namespace talvor {

// After an error of the kinds Pod or Target start() is needed again before anything else.
class EdgePort {
public:
    virtual ~EdgePort() = default;

    // A new client has come: everything is as it was for the first one, and the TAP in
    // Test-Logic-Reset.
    [[nodiscard]] virtual Status start() = 0;

    // As many cycles of TCK as `tms` and `tdi` have bits, bit 0 first. `tdo`, another vector, or
    // null where nobody asks, becomes as long: TDO as it stands before each rising edge, 1 outside
    // of the Shift states. With `asked`, as long, only the bits for which it has a 1 are wanted,
    // and the others hold anything.
    [[nodiscard]] virtual Status clock(const Bits& tms, const Bits& tdi, Bits* tdo,
                                       const Bits* asked) = 0;
    // TDO as it stands before the next rising edge.
    [[nodiscard]] virtual Result<bool> tdo() = 0;
    // Nothing happens where the level does not change.
    [[nodiscard]] virtual Status set_trst(bool asserted) = 0;
    [[nodiscard]] virtual Status set_srst(bool asserted) = 0;
    // The test clock stays at or below `hertz` from now on, and at or below what it was at first.
    // Refused where the slowest is faster; then nothing changed.
    [[nodiscard]] virtual Status set_max_frequency(double hertz) = 0;
    // The test clock in force; 0 where it is not known.
    [[nodiscard]] virtual double hertz() const = 0;

    // Everything due has reached the target. Costs an exchange: for when the client is silent.
    [[nodiscard]] virtual Status settle() = 0;
    // The client has gone: settled, and nothing more comes before start().
    [[nodiscard]] virtual Status finish() { return settle(); }
    // Whether settle() has anything to do.
    [[nodiscard]] virtual bool unsettled() const = 0;

    // Where the client believes its TAP to stand.
    [[nodiscard]] virtual TapState state() const = 0;
};

} // namespace talvor
