// The integers of STAPL: 32 bits with a sign.
#pragma once

#include "host/stapl/program.h"

#include <cstdint>

namespace talvor::stapl {

// Both write `result` and answer null, or say why there is none and leave it. Shifts by 32 and more
// bits leave 0, or the sign.
[[nodiscard]] const char* apply(Op op, int32_t value, int32_t& result) noexcept;
[[nodiscard]] const char* apply(Op op, int32_t left, int32_t right, int32_t& result) noexcept;

} // namespace talvor::stapl
