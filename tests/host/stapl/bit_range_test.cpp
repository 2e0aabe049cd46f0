#include "host/stapl/bit_range.h"

#include <gtest/gtest.h>

#include <random>

namespace talvor::stapl {
namespace {

Bits noise(std::mt19937& random, size_t size) {
    Bits bits(size);
    for (size_t i = 0; i < size; ++i) {
        bits.set(i, random() % 2 != 0);
    }
    return bits;
}

TEST(BitRangeTest, CopiesAnyStretchToAnyPlace) {
    std::mt19937 random(5);
    for (int i = 0; i < 3000; ++i) {
        const Bits from = noise(random, random() % 200 + 1);
        Bits to = noise(random, random() % 200 + 1);
        const size_t count = random() % (std::min(from.size(), to.size()) + 1);
        const size_t from_at =
            random() % (from.size() - count + 1) / (i % 2 == 0 ? 1 : 16) * (i % 2 == 0 ? 1 : 16);
        const size_t to_at =
            random() % (to.size() - count + 1) / (i % 3 == 0 ? 16 : 1) * (i % 3 == 0 ? 16 : 1);
        Bits expected = to;
        for (size_t bit = 0; bit < count; ++bit) {
            expected.set(to_at + bit, from[from_at + bit]);
        }
        copy_bits(to, to_at, from, from_at, count);
        ASSERT_EQ(to, expected) << from_at << " " << to_at << " " << count;
    }
}

TEST(BitRangeTest, TurnsAStretchAround) {
    EXPECT_EQ(reversed(Bits::from_uint(0b1011'0010'1, 9)), Bits::from_uint(0b1'0100'1101, 9));
    EXPECT_EQ(reversed(Bits()), Bits());
}

} // namespace
} // namespace talvor::stapl
