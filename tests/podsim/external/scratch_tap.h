// The TAP behind the servers of these tests: an instruction register of 4 bits that captures 0001;
// instruction 1000 selects a scratch register of 32 bits, 0 at first; every other selects BYPASS.
#pragma once

#include "common/tap_state.h"
#include "tests/podsim/model/reference_chain.h"

namespace talvor::podsim::external {

inline ChainDescription scratch_tap() {
    DeviceDescription device;
    device.name = "scratch";
    device.registers.push_back({"scratch", {0x8}, ScratchRegister{32, {}}});
    return {{device}, {}};
}

// In Pause-DR at first, for nobody knows where a TAP stands.
inline reference::Chain tap_in_pause() {
    reference::Chain tap(scratch_tap());
    const TmsPath away = shortest_path(tap.state(), TapState::PauseDr);
    for (unsigned i = 0; i < away.count; ++i) {
        tap.clock(((away.tms >> i) & 1) != 0, false);
    }
    return tap;
}

} // namespace talvor::podsim::external
