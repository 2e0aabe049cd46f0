#include "pll/coord.h"
#include "support/foreign_locale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr coord_t packed(int y, int z) {
    return static_cast<coord_t>((y & 0xFF) * 256 + z);
}

// The coordinate of the first `length` characters, or nothing. A failure must have stored
// PLL_TCLK_W_NOTHING.
std::optional<coord_t> read(const std::string& text, size_t length) {
    coord_t coord = 0x1234;
    const int failed = pll_StrLenToCoord(static_cast<uint32_t>(length), text.c_str(), &coord);
    if (failed != 0) {
        EXPECT_EQ(failed, 1) << text;
        EXPECT_EQ(coord, PLL_TCLK_W_NOTHING) << text;
        return std::nullopt;
    }
    return coord;
}

std::optional<coord_t> read(const std::string& text) {
    return read(text, text.size());
}

struct Text {
    const char* text;
    coord_t coord;
};

TEST(FrequencyTextTest, NullOrNoTextFailsUntouched) {
    coord_t coord = 0x1234;
    EXPECT_EQ(pll_StrLenToCoord(4, nullptr, &coord), 1);
    EXPECT_EQ(pll_StrLenToCoord(0, "10.0", &coord), 1);
    EXPECT_EQ(pll_StrLenToCoord(4, "10.0", nullptr), 1);
    EXPECT_TRUE(pll_StrWs0ToCoord(nullptr, &coord));
    EXPECT_TRUE(pll_StrWs0ToCoord("10.0", nullptr));
    EXPECT_TRUE(pll_StrWs0ToCoord("", &coord));
    EXPECT_TRUE(pll_StrWs0ToCoord(" 10.0", &coord));
    EXPECT_TRUE(pll_StrWs0ToCoord("\t10.0", &coord));
    EXPECT_EQ(coord, 0x1234U);
}

TEST(FrequencyTextTest, PlainNumbersAreMegahertz) {
    const Text cases[] = {
        {"10.0", packed(3, 16)},   {"12.5", packed(3, 36)}, {"0.5", packed(-1, 0)},
        {"1", packed(0, 0)},       {"64", packed(6, 0)},    {"64.0", packed(6, 0)},
        {"10.375", packed(3, 19)}, {"35", packed(5, 6)},    {"48.00", packed(5, 32)},
        {"1.0", packed(0, 0)},     {".5", packed(-1, 0)},   {".25", packed(-2, 0)},
        {"0.1", packed(-4, 38)},   {"007", packed(2, 48)},  {"0064", packed(6, 0)},
    };
    for (const Text& c : cases) {
        EXPECT_EQ(read(c.text), c.coord) << c.text;
    }
}

TEST(FrequencyTextTest, UnitsCountInAnyCase) {
    const Text cases[] = {
        {"10MHz", packed(3, 16)},  {"10mhz", packed(3, 16)},    {"10.375MHZ", packed(3, 19)},
        {"500kHz", packed(-1, 0)}, {"500KHZ", packed(-1, 0)},   {"1000kHz", packed(0, 0)},
        {"5Hz", packed(-18, 22)},  {"500000Hz", packed(-1, 0)}, {"999424hz", packed(0, 0)},
        {"64MHz", packed(6, 0)},   {"0.5mHz", packed(-1, 0)},   {"1kHz", packed(-10, 3)},
    };
    for (const Text& c : cases) {
        EXPECT_EQ(read(c.text), c.coord) << c.text;
    }
}

TEST(FrequencyTextTest, WhatIsNoNumberFails) {
    for (const char* text :
         {"10.",   "10.MHz", ".",     ".Hz",   ".MHz", "MHz",  "kHz", "Hz",     "+10.0",    "-10.0",
          " 10.0", "10.0 ",  "1e1",   "1.2.3", "1..5", "10,0", "x",   "10 MHz", "10.0MHzz", "10GHz",
          "10M",   "0x10",   "10Hzz", "1.5.",  "aHz",  "nan",  "inf", "infMHz"}) {
        EXPECT_EQ(read(text), std::nullopt) << text;
    }
}

TEST(FrequencyTextTest, ZeroFails) {
    for (const char* text : {"0", "0.0", "0.00", "00", "0MHz", "0.0kHz", "0Hz", ".0", ".00"}) {
        EXPECT_EQ(read(text), std::nullopt) << text;
    }
}

TEST(FrequencyTextTest, TheUpperLimitIs64Megahertz) {
    EXPECT_EQ(read("63.5"), packed(5, 63));
    EXPECT_EQ(read("64.00"), packed(6, 0));
    EXPECT_EQ(read("64.49"), packed(6, 0));
    EXPECT_EQ(read("64.51"), std::nullopt);
    EXPECT_EQ(read("65"), std::nullopt);
    EXPECT_EQ(read("65.0"), std::nullopt);
    EXPECT_EQ(read("65MHz"), std::nullopt);
    EXPECT_EQ(read("100.0"), std::nullopt);
    EXPECT_EQ(read("127.5"), std::nullopt);
    EXPECT_EQ(read("128.0"), std::nullopt);
}

TEST(FrequencyTextTest, JustAbove64TheArithmeticDecides) {
    EXPECT_EQ(read("64.5"), packed(6, 0)) << "exact, cut down";
    EXPECT_EQ(read("64.5MHz"), std::nullopt) << "through a double, rounded up";
}

TEST(FrequencyTextTest, KilohertzAndHertzHaveTheirOwnLimits) {
    EXPECT_EQ(read("2000kHz"), std::nullopt);
    EXPECT_EQ(read("1003.9kHz"), packed(0, 0));
    EXPECT_EQ(read("1004kHz"), std::nullopt);
    EXPECT_EQ(read("1000000Hz"), packed(0, 0));
    EXPECT_EQ(read("1003519Hz"), packed(0, 0));
    EXPECT_EQ(read("1003520Hz"), std::nullopt);
    EXPECT_EQ(read("2000000Hz"), std::nullopt);
}

TEST(FrequencyTextTest, ThereIsNoLowerLimit) {
    EXPECT_EQ(read("1Hz"), packed(-20, 6));
    EXPECT_EQ(read("0.001Hz"), packed(-30, 8));
    EXPECT_EQ(read("0.000001"), packed(-20, 3));
}

TEST(FrequencyTextTest, JustBelowAPowerOfTwoTheMantissaIs64) {
    EXPECT_EQ(read("1.999"), packed(0, 64));
    EXPECT_EQ(pll_CoordToHertz(packed(0, 64)), 2'000'000U);
    EXPECT_EQ(read("63.99"), packed(5, 64));
    EXPECT_EQ(read("1.9921875"), packed(0, 64)) << "exactly half a unit below";
    EXPECT_EQ(read("1.9921874"), packed(0, 63));
}

TEST(FrequencyTextTest, ALeadingZeroOfAHalfStepNumberMeansOctal) {
    EXPECT_EQ(read("010.0"), packed(3, 0));
    EXPECT_EQ(read("010.5"), packed(3, 4));
    EXPECT_EQ(read("018.0"), packed(0, 0)) << "stops at the 8";
    EXPECT_EQ(read("08.5"), packed(-1, 0));
    EXPECT_EQ(read("08.0"), std::nullopt);
    EXPECT_EQ(read("010.00"), packed(3, 16)) << "no half-step form";
    EXPECT_EQ(read("010.0MHz"), packed(3, 16)) << "a unit";
    EXPECT_EQ(read("010"), packed(3, 16)) << "no dot";
}

TEST(FrequencyTextTest, AHalfStepNumberIsMultipliedIn32Bits) {
    // 4295 million wraps to 32,704 hertz, 4303 million to 8,032,704.
    EXPECT_EQ(read("4295.0"), std::nullopt);
    EXPECT_EQ(read("4295.5"), packed(-1, 4));
    EXPECT_EQ(read("4303.0"), packed(3, 0));
    EXPECT_EQ(read("4303.00"), std::nullopt);
    EXPECT_EQ(read("99999999999999999999999.5"), std::nullopt) << "saturates, then wraps";
}

TEST(FrequencyTextTest, OnlyTheLengthCounts) {
    EXPECT_EQ(read("12.5", 2), packed(3, 32));
    EXPECT_EQ(read("12.5", 3), std::nullopt) << "the dot is last";
    EXPECT_EQ(read("123456", 2), packed(3, 32));
    EXPECT_EQ(read("10MHz", 2), packed(3, 16));
    EXPECT_EQ(read("10MHz", 3), std::nullopt);
    EXPECT_EQ(read("12.5e1", 4), packed(3, 36));
    EXPECT_EQ(read("12.25e1", 5), packed(3, 34));
    EXPECT_EQ(read("1 2.5", 1), packed(0, 0));
}

TEST(FrequencyTextTest, ALengthBeyondTheTextFails) {
    EXPECT_EQ(read("10.0", 5), std::nullopt);
    EXPECT_EQ(read("10MHz", 100), std::nullopt);
    EXPECT_EQ(read("", 3), std::nullopt);
    EXPECT_EQ(read("10.0", 0xFFFFFFFF), std::nullopt);
}

TEST(FrequencyTextTest, AUnitMustEndTheWholeString) {
    EXPECT_EQ(read("10MHz", 5), packed(3, 16));
    EXPECT_EQ(read("10MHz ", 5), std::nullopt);
    EXPECT_EQ(read("500kHz\t", 6), std::nullopt);
    EXPECT_EQ(read("5Hz;", 3), std::nullopt);
}

TEST(FrequencyTextTest, AUnitNeedsANumberBeforeIt) {
    EXPECT_EQ(read("1Hz"), packed(-20, 6));
    EXPECT_EQ(read("Hz", 2), std::nullopt);
    EXPECT_EQ(read("kHz", 3), std::nullopt);
    EXPECT_EQ(read("1MHz", 4), packed(0, 0));
}

TEST(FrequencyTextTest, ABlankOrTabEndsATextWithoutUnit) {
    coord_t coord = 0;
    EXPECT_FALSE(pll_StrWs0ToCoord("10.0", &coord));
    EXPECT_EQ(coord, packed(3, 16));
    EXPECT_FALSE(pll_StrWs0ToCoord("12.5 trailing", &coord));
    EXPECT_EQ(coord, packed(3, 36));
    EXPECT_FALSE(pll_StrWs0ToCoord("5\t1.5", &coord));
    EXPECT_EQ(coord, packed(2, 16));
    EXPECT_FALSE(pll_StrWs0ToCoord("10MHz", &coord));
    EXPECT_EQ(coord, packed(3, 16));
    EXPECT_TRUE(pll_StrWs0ToCoord("10MHz ", &coord));
    EXPECT_EQ(coord, PLL_TCLK_W_NOTHING);
    EXPECT_TRUE(pll_StrWs0ToCoord("100.0", &coord));
    EXPECT_EQ(coord, PLL_TCLK_W_NOTHING);
}

TEST(FrequencyTextTest, LongTextsAreReadToTheirEnd) {
    const std::string zeros(3000, '0');
    EXPECT_EQ(read(zeros + "12.25"), packed(3, 34));
    EXPECT_EQ(read("12.25" + zeros), packed(3, 34));
    EXPECT_EQ(read("12.25" + zeros + "1MHz"), packed(3, 34));
    EXPECT_EQ(read("1" + zeros), std::nullopt);
    EXPECT_EQ(read("1" + zeros + ".25MHz"), std::nullopt);
    EXPECT_EQ(read(std::string("0.") + zeros + "1"), std::nullopt);
    EXPECT_EQ(read(std::string("1.") + std::string(3000, '9')), packed(1, 0)) << "2 as a double";
    // Half a mantissa unit, and then a hair less of it.
    EXPECT_EQ(read("1.0078125" + zeros), packed(0, 1));
    EXPECT_EQ(read("1.00781249"), packed(0, 0));
}

TEST(FrequencyTextTest, WhatACoordinateCannotHoldFails) {
    // 2^256 megahertz and its inverse: 8-bit exponents would wrap to ordinary ones.
    EXPECT_EQ(read("11579208923731619542357098500868790785326998466564056403945758400791312963993"
                   "6.0MHz"),
              std::nullopt);
    EXPECT_EQ(read(std::string("0.") + std::string(77, '0') + "8636"), std::nullopt);
    // 2^-128 megahertz is held; a unit takes it below.
    const std::string smallest = std::string("0.") + std::string(38, '0') + "294";
    EXPECT_EQ(read(smallest), packed(-128, 0));
    EXPECT_EQ(read(smallest + "kHz"), std::nullopt);
    EXPECT_EQ(read(smallest + "Hz"), std::nullopt);
}

TEST(FrequencyTextTest, TheHostsLocaleDoesNotMatter) {
    const test_support::ForeignLocale german;
    if (!german.is_set()) {
        GTEST_SKIP() << "no locale sources on this machine";
    }
    ASSERT_EQ(std::strtod("12,25", nullptr), 12.25) << "the locale has a decimal comma";
    EXPECT_EQ(read("12.25"), packed(3, 34));
    EXPECT_EQ(read("12,25"), std::nullopt);
}

TEST(FrequencyTextTest, EveryHalfMegahertzIsExact) {
    for (int halves = 1; halves <= 128; ++halves) {
        std::string text = std::to_string(halves / 2);
        text += halves % 2 == 0 ? ".0" : ".5";
        int y = -1;
        while (halves >= 1 << (y + 2)) {
            ++y;
        }
        const int base = 1 << (y + 1);
        const coord_t expected = packed(y, (halves - base) * 64 / base);
        ASSERT_EQ(read(text), expected) << text;
        ASSERT_EQ(pll_CoordToHertz(expected), static_cast<uint32_t>(halves) * 500'000U) << text;
    }
}

// ---- an independent reader --------------------------------------------------------------------
// Decimal text to a fraction of whole numbers, from there to the coordinate without rounding in
// between. Good for numbers of up to 18 digits.

struct Fraction {
    __int128 numerator;
    __int128 denominator;
};

struct Coordinate {
    int y;
    int z;
    int index() const { return 64 * y + z; }
};

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// 2^y <= fraction < 2^(y+1), and the rest in 64ths rounded half up.
Coordinate nearest_coordinate(Fraction fraction) {
    int y = 0;
    while (fraction.numerator >= 2 * fraction.denominator) {
        fraction.denominator *= 2;
        ++y;
    }
    while (fraction.numerator < fraction.denominator) {
        fraction.numerator *= 2;
        --y;
    }
    const __int128 rest = fraction.numerator - fraction.denominator;
    return {.y = y,
            .z =
                static_cast<int>((rest * 128 + fraction.denominator) / (2 * fraction.denominator))};
}

std::optional<Coordinate> model_half_step(const std::string& whole, bool half) {
    uint64_t megahertz = 0;
    const bool octal = !whole.empty() && whole[0] == '0';
    for (const char digit : whole) {
        if (octal && digit > '7') {
            break;
        }
        megahertz = megahertz * (octal ? 8 : 10) + static_cast<uint64_t>(digit - '0');
    }
    const uint64_t hertz = (megahertz * 1'000'000 + (half ? 500'000 : 0)) % (uint64_t{1} << 32);
    if (hertz < 500'000 || hertz >= 128'000'000) {
        return std::nullopt;
    }
    int y = -1;
    uint64_t base = 500'000;
    while (hertz >= 2 * base) {
        base *= 2;
        ++y;
    }
    return Coordinate{.y = y, .z = static_cast<int>((hertz - base) * 64 / base)};
}

struct Unit {
    std::string name;
    Coordinate divisor;
    Coordinate largest;
};

const Unit& unit_of(const std::string& text, size_t length) {
    static const std::vector<Unit> units = {
        {"mhz", {0, 0}, {6, 0}}, {"khz", {9, 61}, {9, 61}}, {"hz", {19, 58}, {19, 58}}};
    static const Unit none = {"", {0, 0}, {6, 0}};
    for (const Unit& unit : units) {
        if (length == text.size() && length > unit.name.size() &&
            lower(text).ends_with(unit.name)) {
            return unit;
        }
    }
    return none;
}

// A reader of whole texts in the order a person reads them: unit, number, value, limit, scale.
std::optional<coord_t> model(const std::string& text, size_t length) {
    const Unit& unit = unit_of(text, length);
    const std::string number = text.substr(0, length - unit.name.size());
    const size_t dot = number.find('.');
    const std::string whole = number.substr(0, dot);
    const std::string decimals = dot == std::string::npos ? "" : number.substr(dot + 1);
    if (number.empty() || (whole + decimals).find_first_not_of("0123456789") != std::string::npos ||
        (dot != std::string::npos && decimals.empty())) {
        return std::nullopt;
    }
    std::optional<Coordinate> value;
    if (unit.name.empty() && (decimals == "0" || decimals == "5")) {
        value = model_half_step(whole, decimals == "5");
    } else {
        Fraction fraction{.numerator = 0, .denominator = 1};
        for (const char digit : whole + decimals) {
            fraction.numerator = fraction.numerator * 10 + (digit - '0');
        }
        for (size_t i = 0; i < decimals.size(); ++i) {
            fraction.denominator *= 10;
        }
        if (fraction.numerator != 0) {
            value = nearest_coordinate(fraction);
        }
    }
    if (!value ||
        (value->y != unit.largest.y ? value->y > unit.largest.y : value->z > unit.largest.z)) {
        return std::nullopt;
    }
    const int borrow = value->z < unit.divisor.z ? 1 : 0;
    return packed(value->y - unit.divisor.y - borrow, value->z - unit.divisor.z + 64 * borrow);
}

TEST(FrequencyTextTest, EveryNumberWithUpToThreeDecimalsAgreesWithAFractionReader) {
    for (int thousandths = 0; thousandths < 70'000; ++thousandths) {
        std::string decimals = std::to_string(1000 + thousandths % 1000);
        decimals[0] = '.';
        const std::string whole = std::to_string(thousandths / 1000);
        for (size_t digits = 1; digits <= 4; ++digits) {
            if (decimals.find_first_not_of('0', digits) != std::string::npos && digits > 1) {
                continue;
            }
            const std::string number = whole + (digits == 1 ? "" : decimals.substr(0, digits));
            for (const char* unit : {"", "MHz"}) {
                const std::string text = number + unit;
                ASSERT_EQ(read(text), model(text, text.size())) << text;
            }
        }
    }
}

TEST(FrequencyTextTest, EveryTenthOfAKilohertzAgreesWithAFractionReader) {
    for (int tenths = 0; tenths < 11'000; ++tenths) {
        const std::string text =
            std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + "kHz";
        ASSERT_EQ(read(text), model(text, text.size())) << text;
    }
}

TEST(FrequencyTextTest, HertzAgreeWithAFractionReader) {
    for (int hertz = 0; hertz < 1'010'000; hertz += hertz < 5'000 ? 1 : 7) {
        const std::string text = std::to_string(hertz) + "Hz";
        ASSERT_EQ(read(text), model(text, text.size())) << text;
    }
}

TEST(FrequencyTextTest, EveryWholeHalfStepTextAgreesWithAFractionReader) {
    for (int megahertz = 0; megahertz < 10'000; ++megahertz) {
        for (const char* zeros : {"", "0", "00"}) {
            for (const char* decimal : {".0", ".5", ".1", ".05"}) {
                const std::string text = zeros + std::to_string(megahertz) + decimal;
                ASSERT_EQ(read(text), model(text, text.size())) << text;
            }
        }
    }
}

TEST(FrequencyTextTest, GeneratedTextsAgreeWithAFractionReader) {
    std::mt19937 random(20260108);
    std::uniform_int_distribution<size_t> any;
    const std::vector<std::string> ends = {"",   "",    "",     "MHz", "mHZ", "kHz", "KhZ", "Hz",
                                           "hz", "GHz", "MHz ", "z",   ".",   " ",   "M",   "Hzz"};
    const auto digits = [&](size_t most) {
        std::string made(any(random) % (most + 1), '0');
        for (char& digit : made) {
            digit = static_cast<char>('0' + any(random) % 10);
        }
        return made;
    };
    for (int i = 0; i < 200'000; ++i) {
        std::string text = digits(any(random) % 4 == 0 ? 8 : 3);
        if (any(random) % 4 != 0) {
            text += ".";
            text += digits(any(random) % 2 == 0 ? 1 : 6);
        }
        if (any(random) % 20 == 0 && !text.empty()) {
            text[any(random) % text.size()] = " -+.eExkH"[any(random) % 9];
        }
        text += ends[any(random) % ends.size()];
        const size_t length = any(random) % 5 == 0 ? any(random) % (text.size() + 1) : text.size();
        if (length != 0) {
            ASSERT_EQ(read(text, length), model(text, length)) << '"' << text << "\" " << length;
        }
    }
}

} // namespace
