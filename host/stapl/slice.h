// A stretch of bits that a statement names: of a variable, of a literal, or of a number.
#pragma once

#include "host/jtag/bits.h"

#include <cstddef>
#include <cstdint>

namespace talvor::stapl {

inline constexpr uint32_t kNoVariable = UINT32_MAX;

struct Slice {
    uint32_t variable = kNoVariable; // whose bits they are
    const Bits* bits = nullptr;      // null: those of the number
    uint32_t number = 0;
    size_t first = 0; // the lowest of them
    size_t count = 0;
    bool reversed = false;
    uint32_t unit_bits = 0; // of a literal's characters; 0: it is none

    // All of them, in the order in which they were named.
    [[nodiscard]] Bits read() const;
};

} // namespace talvor::stapl
