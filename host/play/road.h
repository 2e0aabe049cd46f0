// Roads between TAP states that are the same to a target.
#pragma once

#include "common/tap_state.h"
#include "host/jtag/port.h"
#include "host/play/step.h"

#include <optional>
#include <span>
#include <vector>

namespace talvor::play {

// By IEEE 1149.1 the Select, Exit and Pause states do nothing to the registers: roads with the same
// sequence of visits to Capture, Shift, Update, Run-Test/Idle (and clocks in it) and
// Test-Logic-Reset are the same to a target.
//
// The shortest road along the routes of `port` that is the same as `path`, which is legal step by
// step from `from` on and ends in a stable state; nothing when there is none.
[[nodiscard]] std::optional<std::vector<Leg>> equal_road(const JtagPort& port, StableState from,
                                                         std::span<const TapState> path);

} // namespace talvor::play
