#include "common/wide_value.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace talvor {
namespace {

using Words = std::vector<uint64_t>;

TEST(WideValueTest, HasTheLowestWordFirst) {
    EXPECT_EQ(wide_value("0"), Words{0});
    EXPECT_EQ(wide_value("aF9"), Words{0xAF9});
    EXPECT_EQ(wide_value("123456789abcdef0"), Words{0x123456789ABCDEF0});
    EXPECT_EQ(wide_value("5123456789abcdef0"), (Words{0x123456789ABCDEF0, 5}));
    EXPECT_EQ(wide_value("00123456789abcdef0"), (Words{0x123456789ABCDEF0, 0}));
}

TEST(WideValueTest, LeavesUnderscoresOut) {
    EXPECT_EQ(wide_value("1_2345_6789_abcd_ef01"), (Words{0x23456789ABCDEF01, 1}));
    EXPECT_EQ(wide_value("f_"), Words{0xF});
}

TEST(WideValueTest, TakesDigitsOnly) {
    for (const char* const digits : {"", "_", "0x1", "1 2", "g", "@", "-1", "12\xE4"}) {
        EXPECT_EQ(wide_value(digits), std::nullopt) << digits;
    }
}

TEST(FitsBitsTest, LooksAtBothSidesOfEachLimit) {
    EXPECT_TRUE(fits_bits(Words{}, 0));
    EXPECT_TRUE(fits_bits(Words{0}, 0));
    EXPECT_FALSE(fits_bits(Words{1}, 0));
    EXPECT_TRUE(fits_bits(Words{0x7F}, 7));
    EXPECT_FALSE(fits_bits(Words{0x80}, 7));
    EXPECT_TRUE(fits_bits(Words{~uint64_t{0}}, 64));
    EXPECT_FALSE(fits_bits(Words{~uint64_t{0}}, 63));
    EXPECT_TRUE(fits_bits(Words{~uint64_t{0}, 0}, 64));
    EXPECT_FALSE(fits_bits(Words{0, 1}, 64));
    EXPECT_TRUE(fits_bits(Words{0, 1}, 65));
    EXPECT_FALSE(fits_bits(Words{0, 2}, 65));
    EXPECT_FALSE(fits_bits(Words{0, 0, 1}, 65));
    EXPECT_TRUE(fits_bits(Words{0, 0, 0}, 1));
}

} // namespace
} // namespace talvor
