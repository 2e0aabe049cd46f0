// Telling a late answer from a wrong one.
#pragma once

#include "host/jtag/bits.h"

#include <optional>
#include <string>

namespace talvor {

// By how many bits `received` comes late where it should be `expected`, negative for early; nothing
// when no small shift makes them the same, or when too little of it would prove that. Both are of
// one size.
[[nodiscard]] std::optional<int> bits_late(const Bits& expected, const Bits& received);

// What to do about IDCODEs that are not `expected`: "the answer comes 2 test clocks late, ...".
[[nodiscard]] std::string next_step_for_idcodes(const Bits& expected, const Bits& received);

} // namespace talvor
