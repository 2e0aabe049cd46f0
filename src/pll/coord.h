// The two parts of a frequency coordinate and the linear index over all coordinates. The arithmetic
// itself is the host's as well and is declared in jsc_export.h.
#pragma once

#include "jsc_export.h"

// Mantissa units in an octave.
inline constexpr int32_t kCoordUnits = PLL_TCLK_Z_MAX + 1;

struct CoordParts {
    y_coord_t y; // binary exponent
    z_coord_t z; // mantissa in 64ths
};

// Bits above 15 are dropped.
constexpr CoordParts coord_parts(coord_t coord) {
    return {.y = static_cast<y_coord_t>((coord >> PLL_TCLK_Y_SHIFT) & 0xFF),
            .z = static_cast<z_coord_t>((coord >> PLL_TCLK_Z_SHIFT) & 0xFF)};
}

constexpr coord_t coord_pack(CoordParts parts) {
    return PLL_TCLK_PACK(parts.y, parts.z);
}

// The coordinate's place in the order of frequencies, in mantissa units.
constexpr int32_t coord_index(CoordParts parts) {
    return kCoordUnits * parts.y + parts.z;
}
