// Stretches of bits within longer ones.
#pragma once

#include "host/jtag/bits.h"

#include <cstddef>

namespace talvor::stapl {

// `count` bits of `from` from `from_offset` on become those of `to` from `to_offset` on; both have
// as many there. The two are not the same vector.
void copy_bits(Bits& to, size_t to_offset, const Bits& from, size_t from_offset, size_t count);
// The last bit first.
[[nodiscard]] Bits reversed(const Bits& bits);

} // namespace talvor::stapl
