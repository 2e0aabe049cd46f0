// What stands on the lines of a trace at one moment, and what went before it.
#pragma once

#include "common/tap_state.h"

#include <array>
#include <cstdint>

namespace talvor::podsim::trace {

enum Signal { Tck, Tms, Tdi, Tdo, Trstn, Emu0, Emu1, Treset, BitSignals };

struct Moment {
    uint64_t time_ns = 0;
    uint64_t clocks = 0; // test clocks that have begun
    uint64_t shift_clocks = 0;
    std::array<char, BitSignals> levels{'0', '1', '1', 'z', '1', '1', '1', '0'};
    TapState state = TapState::TestLogicReset;
};

} // namespace talvor::podsim::trace
