// What stands at the far end of the cable. The built-in scan chain and the client of an external
// simulation are two of a kind behind this interface.
#pragma once

#include "common/result.h"

#include <cstdint>
#include <span>
#include <string>

namespace talvor::podsim {

// Levels of the two EMU pins as the target drives them; both are pulled up.
struct EmuPins {
    bool emu0 = true;
    bool emu1 = true;

    bool operator==(const EmuPins&) const = default;
};

// A target as the pod's pins see it. Calls come from one thread. A call that fails (the program
// behind the target has gone) leaves the target in an unknown state; later calls may fail again.
//
// Bits stand in 64-bit words, the first in bit 0 of word 0.
class Target {
public:
    virtual ~Target() = default;

    // Clocks `count` (1 to 64) rising edges of TCK with the TMS levels of `tms`, the first in bit
    // 0, while TDI holds `tdi`. An edge in a Shift state shifts one bit of `tdi` like any other;
    // what comes out of TDO is not wanted.
    [[nodiscard]] virtual Status move(uint64_t tms, unsigned count, bool tdi) = 0;

    // Clocks `count` (at least 1) edges with TMS 0, the last one with TMS `leave`, and TDI from
    // `tdi`. `tdo` takes the level that TDO has before each rising edge; bits past the end of its
    // last word are undefined. A caller in step with the target makes this call in Shift-DR or
    // Shift-IR; in any other state the target moves as these TMS levels say, and TDO reads 1 where
    // it is not driven. Both spans hold at least (count + 63) / 64 words; they do not overlap.
    [[nodiscard]] virtual Status shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo,
                                       uint64_t count, bool leave) = 0;

    // The same where nobody will look at TDO of the first `unwanted` bits (at most `count`): they
    // are undefined in `tdo`. A target for which an answer costs something leaves them out.
    [[nodiscard]] virtual Status shift_tail(std::span<const uint64_t> tdi, std::span<uint64_t> tdo,
                                            uint64_t count, bool leave, uint64_t /*unwanted*/) {
        return shift(tdi, tdo, count, leave);
    }

    // A low pulse of TRSTn. Afterwards the TAP is in Test-Logic-Reset: a target that has no such
    // pin clocks five ones into TMS instead.
    [[nodiscard]] virtual Status pulse_trst() = 0;

    // Level of the target's system reset; it does not touch the test logic.
    [[nodiscard]] virtual Status set_reset(bool asserted) = 0;

    // The target's supply has come back: everything is as after power-on.
    [[nodiscard]] virtual Status power_on() = 0;

    // What the target drives on its EMU pins now.
    virtual EmuPins emu_pins() = 0;

    // What it has found wrong since the last call with what the host does to it; "" when nothing.
    [[nodiscard]] virtual std::string take_finding() { return {}; }
};

} // namespace talvor::podsim
