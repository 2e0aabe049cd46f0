#include "pll/coord.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr coord_t kAllCoords = 0x10000;

struct Parts {
    int y;
    int z;
};

coord_t packed(int y, int z) {
    return static_cast<coord_t>((y & 0xFF) * 256 + (z & 0xFF));
}

Parts split(coord_t coord) {
    const int high = static_cast<int>(coord / 256 % 256);
    return {.y = high < 128 ? high : high - 256, .z = static_cast<int>(coord % 256)};
}

// Results by value of the functions that change a coordinate in place.
template <typename Change, typename Argument>
coord_t changed(Change change, coord_t coord, Argument argument) {
    change(&coord, argument);
    return coord;
}

TEST(CoordTest, NamedCoordinatesArePacked) {
    EXPECT_EQ(PLL_TCLK_W_ONE, 0x0000U);
    EXPECT_EQ(PLL_TCLK_W_TWO, 0x0100U);
    EXPECT_EQ(PLL_TCLK_W_FOUR, 0x0200U);
    EXPECT_EQ(PLL_TCLK_W_FIVE, 0x0210U);
    EXPECT_EQ(PLL_TCLK_W_TEN, 0x0310U);
    EXPECT_EQ(PLL_TCLK_W_SUPERLOW, 0xF500U);
    EXPECT_EQ(PLL_TCLK_W_MINIMUM, 0xFF00U);
    EXPECT_EQ(PLL_TCLK_W_LEGACY, 0x0313U);
    EXPECT_EQ(PLL_TCLK_W_DEFAULT, 0x0313U);
    EXPECT_EQ(PLL_TCLK_W_EXCHANGE, 0x0506U);
    EXPECT_EQ(PLL_TCLK_W_ADAPTIVE, 0x0520U);
    EXPECT_EQ(PLL_TCLK_W_MAXIMUM, 0x0600U);
    EXPECT_EQ(PLL_TCLK_W_SUPERHIGH, 0x0700U);
    EXPECT_EQ(PLL_TCLK_W_THOUSAND, 0x093DU);
    EXPECT_EQ(PLL_TCLK_W_MILLION, 0x133AU);
    EXPECT_EQ(PLL_TCLK_W_JUSTONE, 0x0001U);
    EXPECT_EQ(PLL_TCLK_W_JUSTTWO, 0x0002U);
    EXPECT_EQ(PLL_TCLK_W_JUSTFOUR, 0x0004U);
    EXPECT_EQ(PLL_TCLK_W_JUSTEIGHT, 0x0008U);
    EXPECT_EQ(PLL_TCLK_W_NOTHING, 0x10000U);
}

TEST(CoordTest, EveryPairOfPartsPacksAndUnpacks) {
    for (int y = -128; y <= 127; ++y) {
        for (int z = 0; z <= 255; ++z) {
            coord_t stored = 1;
            const coord_t coord =
                pll_RePack(&stored, static_cast<int8_t>(y), static_cast<uint8_t>(z));
            ASSERT_EQ(coord, packed(y, z));
            ASSERT_EQ(stored, coord);
            int8_t unpacked_y = 0;
            uint8_t unpacked_z = 0;
            pll_UnPack(coord | 0xFFFF0000, &unpacked_y, &unpacked_z);
            ASSERT_EQ(unpacked_y, y);
            ASSERT_EQ(unpacked_z, z);
        }
    }
}

TEST(CoordTest, PackingNeedsNoPlaceToStore) {
    EXPECT_EQ(pll_RePack(nullptr, -1, 0), PLL_TCLK_W_MINIMUM);
}

TEST(CoordTest, NothingUnpacksAsZeroes) {
    int8_t y = 5;
    uint8_t z = 5;
    pll_UnPack(PLL_TCLK_W_NOTHING, &y, &z);
    EXPECT_EQ(y, 0);
    EXPECT_EQ(z, 0);
}

TEST(CoordTest, UnpackingLeavesOutAPartWithoutAPlace) {
    int8_t y = 5;
    uint8_t z = 5;
    pll_UnPack(PLL_TCLK_W_ADAPTIVE, nullptr, &z);
    EXPECT_EQ(z, 32);
    pll_UnPack(PLL_TCLK_W_MINIMUM, &y, nullptr);
    EXPECT_EQ(y, -1);
}

TEST(CoordTest, HertzOfNamedCoordinates) {
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_SUPERLOW), 488U);
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_MINIMUM), 500'000U);
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_ONE), 1'000'000U);
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_FIVE), 5'000'000U);
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_TEN), 10'000'000U);
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_LEGACY), 10'375'000U);
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_EXCHANGE), 35'000'000U);
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_ADAPTIVE), 48'000'000U);
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_MAXIMUM), 64'000'000U);
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_SUPERHIGH), 128'000'000U);
    EXPECT_EQ(pll_CoordToHertz(packed(7, 63)), 254'000'000U);
    EXPECT_EQ(pll_CoordToHertz(packed(0, 64)), 2'000'000U);
    EXPECT_EQ(pll_CoordToHertz(PLL_TCLK_W_NOTHING), 1'000'000U);
}

TEST(CoordTest, HertzAgreeWithDoublePrecisionForEveryCoordinate) {
    for (coord_t coord = 0; coord < kAllCoords; ++coord) {
        const auto [y, z] = split(coord);
        const double hertz = std::trunc(std::pow(2.0, y) * (z / 64.0 + 1) * 1e6);
        ASSERT_EQ(pll_CoordToHertz(coord), static_cast<hertz_t>(std::fmod(hertz, 4294967296.0)))
            << y << ' ' << z;
    }
}

TEST(CoordTest, AStepIsOneMantissaUnitOfTheOctave) {
    EXPECT_EQ(pll_CoordToStep(packed(6, 33)), packed(0, 0));
    EXPECT_EQ(pll_CoordToHertz(pll_CoordToStep(packed(7, 1))), 2'000'000U);
    for (coord_t coord = 0; coord < kAllCoords; ++coord) {
        ASSERT_EQ(pll_CoordToStep(coord), packed(split(coord).y - 6, 0));
    }
}

TEST(CoordTest, TextsAreSignAndHexadecimal) {
    EXPECT_STREQ(pll_CoordToText(PLL_TCLK_W_MINIMUM), "- 01 00");
    EXPECT_STREQ(pll_CoordToText(PLL_TCLK_W_LEGACY), "+ 03 13");
    EXPECT_STREQ(pll_CoordToText(PLL_TCLK_W_ONE), "+ 00 00");
    EXPECT_STREQ(pll_CoordToText(packed(-128, 255)), "- 80 FF");
    EXPECT_STREQ(pll_CoordToText(PLL_TCLK_W_NOTHING), "  -- --");
}

TEST(CoordTest, EachTextOverwritesTheLast) {
    const char* first = pll_CoordToText(PLL_TCLK_W_TEN);
    const char* second = pll_CoordToText(PLL_TCLK_W_FIVE);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "+ 02 10");
}

TEST(CoordTest, TextsAgreeWithStreamsForEveryCoordinate) {
    for (coord_t coord = 0; coord < kAllCoords; ++coord) {
        const auto [y, z] = split(coord);
        std::ostringstream text;
        text << (y < 0 ? '-' : '+') << std::hex << std::uppercase << std::setfill('0') << ' '
             << std::setw(2) << std::abs(y) << ' ' << std::setw(2) << z;
        ASSERT_EQ(pll_CoordToText(coord), text.str());
    }
}

TEST(CoordTest, ComparisonTakesYSignedThenZ) {
    EXPECT_TRUE(pll_OneAltTwo(packed(-1, 63), packed(0, 0)));
    EXPECT_FALSE(pll_OneGteTwo(packed(-1, 63), packed(0, 0)));
    EXPECT_TRUE(pll_OneAltTwo(packed(0, 1), packed(0, 128)));
    EXPECT_TRUE(pll_OneGteTwo(packed(1, 0), packed(0, 255)));
}

TEST(CoordTest, NothingComparesAsOneMegahertz) {
    EXPECT_TRUE(pll_OneGteTwo(PLL_TCLK_W_NOTHING, PLL_TCLK_W_ONE));
    EXPECT_TRUE(pll_OneGteTwo(PLL_TCLK_W_ONE, PLL_TCLK_W_NOTHING));
    EXPECT_FALSE(pll_OneAltTwo(PLL_TCLK_W_NOTHING, PLL_TCLK_W_ONE));
    EXPECT_FALSE(pll_OneAltTwo(PLL_TCLK_W_ONE, PLL_TCLK_W_NOTHING));
}

TEST(CoordTest, ComparisonIsThatOfThePartsInOrder) {
    const auto order = [](coord_t coord) {
        const auto [y, z] = split(coord);
        return y * 256 + z;
    };
    for (coord_t a = 0; a < kAllCoords; ++a) {
        ASSERT_TRUE(pll_OneGteTwo(a, a));
        ASSERT_FALSE(pll_OneAltTwo(a, a));
        for (coord_t b = a % 97; b < kAllCoords; b += 997) {
            ASSERT_EQ(pll_OneGteTwo(a, b), order(a) >= order(b)) << a << ' ' << b;
            ASSERT_EQ(pll_OneAltTwo(a, b), order(a) < order(b)) << a << ' ' << b;
        }
    }
}

TEST(CoordTest, AddMarginCrossesTheOctave) {
    EXPECT_EQ(changed(pll_AddMargin, packed(3, 60), 12U), packed(4, 10));
    EXPECT_EQ(changed(pll_AddMargin, packed(3, 0), 12U), packed(3, 13));
    EXPECT_EQ(changed(pll_AddMargin, packed(127, 63), 63U), packed(-128, 63));
}

TEST(CoordTest, SubMarginCrossesTheOctave) {
    EXPECT_EQ(changed(pll_SubMargin, packed(3, 2), 8U), packed(2, 54));
    EXPECT_EQ(changed(pll_SubMargin, packed(3, 20), 8U), packed(3, 11));
    EXPECT_EQ(changed(pll_SubMargin, packed(-128, 0), 2U), packed(127, 62));
}

TEST(CoordTest, LoweringByAMarginOfOneChangesNothing) {
    for (coord_t coord = 0; coord < kAllCoords; ++coord) {
        ASSERT_EQ(changed(pll_SubMargin, coord, 1U), coord);
    }
}

// Frequencies in 64ths of the octave's base: 64 + z of them. The model of real coordinates and of
// margins below 64, where nothing wraps.
TEST(CoordTest, AddMarginRaisesByTheFractionRoundedDown) {
    for (int y = -128; y <= 127; ++y) {
        for (int z = 0; z < 64; ++z) {
            for (int margin = 0; margin < 64; ++margin) {
                const int raised = 64 + z + (64 + z) * (margin + 1) / 64;
                const coord_t expected =
                    raised < 128 ? packed(y, raised - 64) : packed(y + 1, raised / 2 - 64);
                ASSERT_EQ(changed(pll_AddMargin, packed(y, z), static_cast<uint32_t>(margin)),
                          expected)
                    << y << ' ' << z << ' ' << margin;
            }
        }
    }
}

TEST(CoordTest, SubMarginLowersByTheFraction) {
    for (int y = -128; y <= 127; ++y) {
        for (int z = 0; z < 64; ++z) {
            for (int margin = 1; margin < 64; ++margin) {
                const int lowered = 64 + z - (64 + z) * (margin - 1) / 64;
                const coord_t expected =
                    lowered >= 64 ? packed(y, lowered - 64) : packed(y - 1, lowered * 2 - 64);
                ASSERT_EQ(changed(pll_SubMargin, packed(y, z), static_cast<uint32_t>(margin)),
                          expected)
                    << y << ' ' << z << ' ' << margin;
            }
        }
    }
}

// Mantissas above 63 and margins above 63: the formulas themselves, in 64 bits with each reduction
// written out.
uint64_t model_delta(int z, uint64_t sixty_fourths) {
    return (static_cast<uint64_t>(z + 64) * (sixty_fourths % 0x100000000)) % 0x100000000 / 64;
}

coord_t model_add_margin(Parts from, uint32_t margin) {
    const uint64_t delta = model_delta(from.z, uint64_t{margin} + 1);
    const int64_t low_byte = static_cast<int64_t>(delta % 256);
    const int64_t sum = from.z + static_cast<int64_t>(delta);
    if (from.z >= 64 - low_byte) {
        return packed(from.y + 1, static_cast<int>(((sum - 64) & 0xFF) / 2));
    }
    return packed(from.y, static_cast<int>(sum & 0xFF));
}

coord_t model_sub_margin(Parts from, uint32_t margin) {
    const uint64_t delta = model_delta(from.z, uint64_t{margin} + 0xFFFFFFFF);
    const int64_t difference = from.z - static_cast<int64_t>(delta);
    if (from.z < static_cast<int64_t>(delta % 256)) {
        return packed(from.y - 1, static_cast<int>((difference * 2 + 64) & 0xFF));
    }
    return packed(from.y, static_cast<int>(difference & 0xFF));
}

TEST(CoordTest, MarginsFollowTheirFormulasOverEveryCoordinate) {
    std::vector<uint32_t> margins = {300,        1023,       0x3FFFFFF,  0x4000000,
                                     0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};
    for (uint32_t margin = 0; margin < 136; ++margin) {
        margins.push_back(margin);
    }
    for (coord_t coord = 0; coord < kAllCoords; ++coord) {
        for (const uint32_t margin : margins) {
            ASSERT_EQ(changed(pll_AddMargin, coord, margin), model_add_margin(split(coord), margin))
                << coord << ' ' << margin;
            ASSERT_EQ(changed(pll_SubMargin, coord, margin), model_sub_margin(split(coord), margin))
                << coord << ' ' << margin;
        }
    }
}

TEST(CoordTest, PowerOfTwoMovesYAlone) {
    EXPECT_EQ(changed(pll_PowerOfTwo, packed(3, 16), 1), packed(4, 16));
    EXPECT_EQ(changed(pll_PowerOfTwo, packed(3, 16), -4), packed(-1, 16));
    for (coord_t coord = 0; coord < kAllCoords; ++coord) {
        const auto [y, z] = split(coord);
        for (const int value : {0, 1, -1, 7, 127, 128, -128, 255, 256, 300, -300}) {
            ASSERT_EQ(changed(pll_PowerOfTwo, coord, value), packed(y + value, z));
        }
    }
    EXPECT_EQ(changed(pll_PowerOfTwo, packed(3, 16), INT32_MAX), packed(2, 16));
    EXPECT_EQ(changed(pll_PowerOfTwo, packed(3, 16), INT32_MIN), packed(3, 16));
}

TEST(CoordTest, ValuesAddAsFixedPointNumbers) {
    EXPECT_EQ(changed(pll_AddValue, packed(3, 60), PLL_TCLK_W_JUSTFOUR), packed(4, 0));
    EXPECT_EQ(changed(pll_AddValue, packed(-1, 0), PLL_TCLK_W_THOUSAND), packed(8, 61));
    EXPECT_EQ(changed(pll_SubValue, packed(8, 61), PLL_TCLK_W_THOUSAND), packed(-1, 0));
    EXPECT_EQ(changed(pll_SubValue, packed(3, 0), PLL_TCLK_W_JUSTONE), packed(2, 63));
}

TEST(CoordTest, RealCoordinatesAddAndSubtractAsTheirIndices) {
    const auto from_index = [](int index) {
        const int y = index >= 0 ? index / 64 : -((63 - index) / 64);
        return packed(y, index - y * 64);
    };
    for (int y = -128; y <= 127; ++y) {
        for (const int other_y : {-128, -11, -1, 0, 1, 9, 19, 127}) {
            for (int z = 0; z < 64; ++z) {
                for (int other_z = 0; other_z < 64; ++other_z) {
                    const coord_t coord = packed(y, z);
                    const coord_t value = packed(other_y, other_z);
                    const int index = 64 * y + z;
                    const int other = 64 * other_y + other_z;
                    ASSERT_EQ(changed(pll_AddValue, coord, value), from_index(index + other));
                    ASSERT_EQ(changed(pll_SubValue, coord, value), from_index(index - other));
                }
            }
        }
    }
}

TEST(CoordTest, MantissasAbove63CarryAndBorrowOnce) {
    for (int z = 0; z < 256; ++z) {
        for (int other_z = 0; other_z < 256; ++other_z) {
            const coord_t sum =
                z + other_z >= 64 ? packed(6, z + other_z - 64) : packed(5, z + other_z);
            ASSERT_EQ(changed(pll_AddValue, packed(3, z), packed(2, other_z)), sum);
            const coord_t difference =
                z < other_z ? packed(0, z + 64 - other_z) : packed(1, z - other_z);
            ASSERT_EQ(changed(pll_SubValue, packed(3, z), packed(2, other_z)), difference);
        }
    }
}

TEST(CoordTest, ModuloRoundsTheMantissaDown) {
    for (coord_t coord = 0; coord < kAllCoords; ++coord) {
        const auto [y, z] = split(coord);
        for (int value = 1; value <= 66; ++value) {
            ASSERT_EQ(changed(pll_SubModulo, coord, static_cast<uint32_t>(value)),
                      packed(y, z / value * value))
                << coord << ' ' << value;
        }
        ASSERT_EQ(changed(pll_SubModulo, coord, 256U), packed(y, 0));
        ASSERT_EQ(changed(pll_SubModulo, coord, 0xFFFFFFFFU), packed(y, 0));
    }
}

TEST(CoordTest, ModuloZeroLeavesTheCoordinate) {
    EXPECT_EQ(changed(pll_SubModulo, packed(3, 17), 0U), packed(3, 17));
}

struct Counts {
    uint32_t check = 12345;
    uint32_t shown = 12345;
};

Counts count_items(uint32_t columns, coord_t start, coord_t finish) {
    Counts counts;
    pll_CountItems(&counts.check, &counts.shown, columns, start, finish);
    return counts;
}

TEST(CoordTest, CountsStepsAndThoseOfWholeColumns) {
    const Counts exact = count_items(8, packed(-1, 0), packed(6, 0));
    EXPECT_EQ(exact.check, 448U);
    EXPECT_EQ(exact.shown, 448U);
    const Counts widened = count_items(8, packed(0, 3), packed(1, 5));
    EXPECT_EQ(widened.check, 66U);
    EXPECT_EQ(widened.shown, 72U);
}

TEST(CoordTest, CountsAgreeWithRoundingToColumns) {
    for (int columns = 1; columns <= 70; ++columns) {
        for (int z_start = 0; z_start < 64; ++z_start) {
            for (int z_finish = 0; z_finish < 64; ++z_finish) {
                for (const int y_finish : {-3, 0, 4}) {
                    const Counts counts =
                        count_items(static_cast<uint32_t>(columns), packed(-1, z_start),
                                    packed(y_finish, z_finish));
                    const int check = 64 * y_finish + z_finish - (z_start - 64);
                    const int above = (z_finish + columns - 1) / columns * columns;
                    const int below = z_start / columns * columns;
                    const int shown = 64 * y_finish + above - (below - 64);
                    ASSERT_EQ(counts.check, static_cast<uint32_t>(check));
                    ASSERT_EQ(counts.shown, static_cast<uint32_t>(shown))
                        << columns << ' ' << z_start << ' ' << z_finish;
                }
            }
        }
    }
}

TEST(CoordTest, ThePadOfACountIsEightBitsWide) {
    // 300 - 10 is 290, of which 34 remain.
    EXPECT_EQ(count_items(300, packed(0, 0), packed(0, 10)).shown, 44U);
}

TEST(CoordTest, ACountWithoutColumnsShowsTheSteps) {
    const Counts counts = count_items(0, packed(0, 3), packed(1, 5));
    EXPECT_EQ(counts.check, 66U);
    EXPECT_EQ(counts.shown, 66U);
}

TEST(CoordTest, ACountMayBeLeftOut) {
    uint32_t count = 0;
    pll_CountItems(&count, nullptr, 8, packed(0, 3), packed(1, 5));
    EXPECT_EQ(count, 66U);
    pll_CountItems(nullptr, &count, 8, packed(0, 3), packed(1, 5));
    EXPECT_EQ(count, 72U);
}

TEST(CoordTest, UnusedHighBitsAreDroppedByEveryChange) {
    const coord_t high = 0xABCD0000;
    const coord_t coord = packed(3, 17);
    EXPECT_EQ(changed(pll_AddMargin, coord | high, 12U), changed(pll_AddMargin, coord, 12U));
    EXPECT_EQ(changed(pll_SubMargin, coord | high, 8U), changed(pll_SubMargin, coord, 8U));
    EXPECT_EQ(changed(pll_PowerOfTwo, coord | high, 0), coord);
    EXPECT_EQ(changed(pll_AddValue, coord | high, PLL_TCLK_W_NOTHING), coord);
    EXPECT_EQ(changed(pll_SubValue, coord | high, PLL_TCLK_W_NOTHING), coord);
    EXPECT_EQ(changed(pll_SubModulo, coord | high, 1U), coord);
}

TEST(CoordTest, ANullOutputIsLeftOutAndTheOthersAreSet) {
    pll_AddMargin(nullptr, 1);
    pll_SubMargin(nullptr, 1);
    pll_PowerOfTwo(nullptr, 1);
    pll_AddValue(nullptr, 1);
    pll_SubValue(nullptr, 1);
    pll_SubModulo(nullptr, 1);
    pll_UnPack(0, nullptr, nullptr);
    pll_CountItems(nullptr, nullptr, 1, 0, 0);
    y_coord_t y = 99;
    pll_UnPack(packed(3, 17), &y, nullptr);
    EXPECT_EQ(y, 3);
    z_coord_t z = 99;
    pll_UnPack(packed(3, 17), nullptr, &z);
    EXPECT_EQ(z, 17U);
}

} // namespace
