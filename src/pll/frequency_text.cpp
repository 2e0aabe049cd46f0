// The reader of frequency texts. A plain number on a half megahertz is read exactly, everything
// else through a double; both end in coordinates, where the unit is a subtraction.
#include "pll/coord.h"
#include "sys/compare.h"
#include "sys/number.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <locale.h>

namespace {

struct Unit {
    const char* name;
    uint32_t shortest; // texts of fewer characters are not looked at for this unit
    coord_t divisor;   // in coordinates, from this unit to MHz
    coord_t largest;   // number that may stand before the unit, as a coordinate
};

constexpr Unit kUnits[] = {
    {.name = "MHz", .shortest = 4, .divisor = PLL_TCLK_W_ONE, .largest = PLL_TCLK_W_MAXIMUM},
    {.name = "kHz", .shortest = 4, .divisor = PLL_TCLK_W_THOUSAND, .largest = PLL_TCLK_W_THOUSAND},
    {.name = "Hz", .shortest = 3, .divisor = PLL_TCLK_W_MILLION, .largest = PLL_TCLK_W_MILLION},
};
constexpr Unit kNoUnit = {
    .name = "", .shortest = 0, .divisor = PLL_TCLK_W_ONE, .largest = PLL_TCLK_W_MAXIMUM};

// A text without its unit: digits, at most one dot, the dot not last.
struct Number {
    const char* text;
    uint32_t length;
    uint32_t whole; // digits before the dot, or all of them
};

constexpr uint32_t kHalfMegahertz = PLL_TCLK_MHZ_TO_HZ / 2;
// The reach of the exact route: below 2^(PLL_TCLK_Y_MAX) MHz.
constexpr uint32_t kLargestExact = PLL_TCLK_F_SUPERHIGH - 1;

// Significant characters that decide the value of a double; what lies behind them only matters as
// being zero or not.
constexpr uint32_t kSignificantLength = 800;

// Kept: the unit's end must be the end of the whole string, though only `length` characters count.
const Unit& find_unit(const char* text, uint32_t length) {
    for (const Unit& unit : kUnits) {
        if (length >= unit.shortest &&
            sys_Str0SinglCmpInsStr(text + length - std::strlen(unit.name), unit.name) == 0) {
            return unit;
        }
    }
    return kNoUnit;
}

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

// Fails (false) for an empty number, a last dot, a second dot and any other character.
bool read_number(const char* text, uint32_t length, Number* number) {
    if (length == 0 || text[length - 1] == '.') {
        return false;
    }
    *number = {.text = text, .length = length, .whole = length};
    for (uint32_t at = 0; at < length; ++at) {
        if (text[at] == '.' && number->whole == length) {
            number->whole = at;
        } else if (!is_digit(text[at])) {
            return false;
        }
    }
    return true;
}

bool has_half_step_form(const Number& number) {
    const char last = number.text[number.length - 1];
    return number.length - number.whole == sizeof ".5" - 1 && (last == '0' || last == '5');
}

// Kept: a leading 0 makes the whole part octal, so "010.0" is 8 MHz; and the product wraps in 32
// bits. Board files with such texts are in use.
bool read_half_step(const Number& number, coord_t* coord) {
    // Nothing but digits up to the dot: they convert always.
    uint32_t whole = 0;
    (void)sys_Str0ToUnsign32(number.text, &whole);
    const uint32_t halves = number.text[number.length - 1] == '5' ? kHalfMegahertz : 0;
    const uint32_t hertz = whole * PLL_TCLK_MHZ_TO_HZ + halves;
    if (hertz < PLL_TCLK_F_MINIMUM || hertz > kLargestExact) {
        return false;
    }
    uint32_t base = PLL_TCLK_F_MINIMUM;
    y_coord_t y = PLL_TCLK_Y_MIN;
    for (; hertz - base >= base; base *= 2) {
        ++y;
    }
    *coord = coord_pack({.y = y, .z = static_cast<z_coord_t>((hertz - base) * kCoordUnits / base)});
    return true;
}

// The double nearest to the number's text, whatever locale the host has set.
double nearest_double(const Number& number) {
    const char* from = number.text;
    uint32_t length = number.length;
    while (length > 1 && *from == '0') {
        ++from;
        --length;
    }
    // A 1 stands for all that is cut off. If that includes the dot, the number is out of every
    // range with or without it.
    char text[kSignificantLength + 2];
    uint32_t used = length < kSignificantLength ? length : kSignificantLength;
    std::memcpy(text, from, used);
    if (used < length) {
        text[used++] = '1';
    }
    text[used] = '\0';
    return strtod_l(text, nullptr, newlocale(LC_ALL_MASK, "C", nullptr));
}

// Fails (false) for 0 and for what a coordinate cannot hold.
bool read_double(const Number& number, coord_t* coord) {
    int exponent = 0;
    const double value = nearest_double(number);
    if (value == 0 || std::isinf(value)) {
        return false;
    }
    const double mantissa = std::frexp(value, &exponent);
    const int y = PLL_TCLK_Y_MIN + exponent;
    if (y < std::numeric_limits<y_coord_t>::min() || y > std::numeric_limits<y_coord_t>::max()) {
        return false;
    }
    // Kept: just below a power of two z becomes 64 and stays. The frequency is right all the same.
    const double z = (2 * mantissa - 1) * kCoordUnits + 0.5;
    *coord = coord_pack({.y = static_cast<y_coord_t>(y), .z = static_cast<z_coord_t>(z)});
    return true;
}

bool read_frequency(const char* text, uint32_t length, coord_t* coord) {
    const Unit& unit = find_unit(text, length);
    Number number{};
    if (!read_number(text, length - static_cast<uint32_t>(std::strlen(unit.name)), &number)) {
        return false;
    }
    const bool exact = &unit == &kNoUnit && has_half_step_form(number);
    coord_t value = PLL_TCLK_W_NOTHING;
    if (!(exact ? read_half_step(number, &value) : read_double(number, &value)) ||
        pll_OneAltTwo(unit.largest, value)) {
        return false;
    }
    pll_SubValue(&value, unit.divisor);
    // A number so small that the unit wraps it to a large frequency is none.
    if (pll_OneAltTwo(PLL_TCLK_W_MAXIMUM, value)) {
        return false;
    }
    *coord = value;
    return true;
}

} // namespace

int pll_StrLenToCoord(uint32_t length, const char* pValue, coord_t* pCoord) {
    if (pValue == nullptr || pCoord == nullptr || length == 0) {
        return 1;
    }
    *pCoord = PLL_TCLK_W_NOTHING;
    if (strnlen(pValue, length) < length) {
        return 1;
    }
    return read_frequency(pValue, length, pCoord) ? 0 : 1;
}

bool pll_StrWs0ToCoord(const char* pValue, coord_t* pCoord) {
    if (pValue == nullptr) {
        return true;
    }
    return pll_StrLenToCoord(static_cast<uint32_t>(std::strcspn(pValue, " \t")), pValue, pCoord) !=
           0;
}
