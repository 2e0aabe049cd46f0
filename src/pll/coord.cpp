#include "pll/coord.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

// Hertz of one mantissa unit in the octave of 1 MHz.
constexpr uint32_t kHertzPerUnit = PLL_TCLK_MHZ_TO_HZ / kCoordUnits;
static_assert(kHertzPerUnit * kCoordUnits == PLL_TCLK_MHZ_TO_HZ, "the unit is a whole number");

// The exponent of the number of units in an octave.
constexpr int32_t kUnitsExponent = 6;
static_assert(1 << kUnitsExponent == kCoordUnits, "an octave is a power of two of units");

constexpr uint32_t kByteMask = 0xFF;

char coord_text[17];

// Parts out of wider arithmetic, which wraps to the width of each.
constexpr CoordParts parts_of(int32_t y, uint32_t z) {
    return {.y = static_cast<y_coord_t>(static_cast<uint8_t>(y)), .z = static_cast<z_coord_t>(z)};
}

// The frequency shift that `sixty_fourths` of the coordinate's own frequency makes, in units.
constexpr uint32_t margin_units(CoordParts coord, uint32_t sixty_fourths) {
    return ((coord.z + uint32_t{kCoordUnits}) * sixty_fourths) >> kUnitsExponent;
}

} // namespace

coord_t pll_RePack(coord_t* pw, int8_t y, uint8_t z) {
    const coord_t packed = coord_pack({.y = y, .z = z});
    if (pw != nullptr) {
        *pw = packed;
    }
    return packed;
}

void pll_UnPack(coord_t w, int8_t* py, uint8_t* pz) {
    const CoordParts parts = coord_parts(w);
    if (py != nullptr) {
        *py = parts.y;
    }
    if (pz != nullptr) {
        *pz = parts.z;
    }
}

hertz_t pll_CoordToHertz(coord_t coord) {
    const CoordParts parts = coord_parts(coord);
    const uint32_t hertz = kHertzPerUnit * (parts.z + uint32_t{kCoordUnits});
    if (parts.y < 0) {
        return hertz >> std::min(-parts.y, 31);
    }
    return parts.y < 32 ? hertz << parts.y : 0;
}

coord_t pll_CoordToStep(coord_t coord) {
    const CoordParts parts = coord_parts(coord);
    return coord_pack(parts_of(parts.y - kUnitsExponent, PLL_TCLK_Z_MIN));
}

const char* pll_CoordToText(coord_t coord) {
    if (coord == PLL_TCLK_W_NOTHING) {
        std::snprintf(coord_text, sizeof coord_text, "%c %s %s", ' ', "--", "--");
        return coord_text;
    }
    const CoordParts parts = coord_parts(coord);
    const auto magnitude = static_cast<uint8_t>(std::abs(parts.y));
    std::snprintf(coord_text, sizeof coord_text, "%c %02X %02X", parts.y < 0 ? '-' : '+', magnitude,
                  parts.z);
    return coord_text;
}

bool pll_OneGteTwo(coord_t a, coord_t b) {
    return !pll_OneAltTwo(a, b);
}

bool pll_OneAltTwo(coord_t a, coord_t b) {
    const CoordParts one = coord_parts(a);
    const CoordParts two = coord_parts(b);
    return one.y != two.y ? one.y < two.y : one.z < two.z;
}

// Kept in both margins: raising takes one 64th more than the margin says, lowering one less. Hosts'
// searches are tuned to the steps that this gives.
void pll_AddMargin(coord_t* pCoord, uint32_t margin) {
    if (pCoord == nullptr) {
        return;
    }
    const CoordParts coord = coord_parts(*pCoord);
    const uint32_t delta = margin_units(coord, margin + 1);
    const bool crosses = coord.z >= kCoordUnits - static_cast<int32_t>(delta & kByteMask);
    const uint32_t sum = coord.z + delta;
    *pCoord = coord_pack(crosses ? parts_of(coord.y + 1, ((sum - kCoordUnits) & kByteMask) >> 1)
                                 : parts_of(coord.y, sum));
}

void pll_SubMargin(coord_t* pCoord, uint32_t margin) {
    if (pCoord == nullptr) {
        return;
    }
    const CoordParts coord = coord_parts(*pCoord);
    const uint32_t delta = margin_units(coord, margin - 1);
    const bool crosses = coord.z < (delta & kByteMask);
    const uint32_t difference = coord.z - delta;
    *pCoord = coord_pack(crosses ? parts_of(coord.y - 1, difference * 2 + kCoordUnits)
                                 : parts_of(coord.y, difference));
}

void pll_PowerOfTwo(coord_t* pCoord, int value) {
    if (pCoord == nullptr) {
        return;
    }
    const CoordParts coord = coord_parts(*pCoord);
    *pCoord = coord_pack(parts_of(coord.y + static_cast<uint8_t>(value), coord.z));
}

void pll_AddValue(coord_t* pCoord, coord_t value) {
    if (pCoord == nullptr) {
        return;
    }
    const CoordParts one = coord_parts(*pCoord);
    const CoordParts two = coord_parts(value);
    const int32_t carry = one.z >= kCoordUnits - two.z ? 1 : 0;
    *pCoord = coord_pack(parts_of(one.y + two.y + carry,
                                  static_cast<uint32_t>(one.z + two.z - carry * kCoordUnits)));
}

void pll_SubValue(coord_t* pCoord, coord_t value) {
    if (pCoord == nullptr) {
        return;
    }
    const CoordParts one = coord_parts(*pCoord);
    const CoordParts two = coord_parts(value);
    const int32_t borrow = one.z < two.z ? 1 : 0;
    *pCoord = coord_pack(parts_of(one.y - two.y - borrow,
                                  static_cast<uint32_t>(one.z - two.z + borrow * kCoordUnits)));
}

void pll_SubModulo(coord_t* pCoord, uint32_t value) {
    if (pCoord == nullptr || value == 0) {
        return;
    }
    const CoordParts coord = coord_parts(*pCoord);
    *pCoord = coord_pack(parts_of(coord.y, coord.z - coord.z % value));
}

void pll_CountItems(uint32_t* pCheckItem, uint32_t* pShownItem, uint32_t columnTotal,
                    coord_t startCoord, coord_t finishCoord) {
    const CoordParts start = coord_parts(startCoord);
    const CoordParts finish = coord_parts(finishCoord);
    const auto steps = static_cast<uint32_t>(coord_index(finish) - coord_index(start));
    uint32_t widened = 0;
    if (columnTotal != 0) {
        const uint32_t above = finish.z % columnTotal;
        const uint32_t below = start.z % columnTotal;
        const uint32_t pad = above == 0 ? 0 : (columnTotal - above) & kByteMask;
        widened = pad + below;
    }
    if (pCheckItem != nullptr) {
        *pCheckItem = steps;
    }
    if (pShownItem != nullptr) {
        *pShownItem = steps + widened;
    }
}
