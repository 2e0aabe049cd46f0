#include "host/interconnect/vectors.h"

#include <gtest/gtest.h>

#include <cmath>

namespace talvor::interconnect {
namespace {

TEST(VectorsTest, CodesAreAsShortAsTwoMoreNetsNeed) {
    EXPECT_EQ(code_bits(0), 0U);
    for (size_t nets = 1; nets < 1100; ++nets) {
        EXPECT_EQ(code_bits(nets), static_cast<size_t>(std::ceil(std::log2(nets + 2)))) << nets;
    }
}

TEST(VectorsTest, TwiceAsManyAsACodeHasBits) {
    EXPECT_TRUE(counting_sequence(0).empty());
    EXPECT_EQ(counting_sequence(1).size(), 4U);
    EXPECT_EQ(counting_sequence(40).size(), 12U);
    EXPECT_EQ(counting_sequence(500).size(), 18U);
}

TEST(VectorsTest, EveryNetIsBothHighAndLow) {
    for (const size_t nets : {1U, 2U, 6U, 7U, 62U, 63U}) {
        const size_t bits = code_bits(nets);
        const std::vector<Vector> vectors = counting_sequence(nets);
        for (size_t net = 0; net < nets; ++net) {
            size_t high = 0;
            for (size_t v = 0; v < bits; ++v) {
                EXPECT_NE(vectors[v].level(net), vectors[v + bits].level(net));
                high += vectors[v].level(net) ? 1 : 0;
            }
            EXPECT_TRUE(high > 0 && high < bits) << net << " of " << nets;
        }
    }
}

TEST(VectorsTest, TwoNetsDifferBothWays) {
    const std::vector<Vector> vectors = counting_sequence(30);
    for (size_t a = 0; a < 30; ++a) {
        for (size_t b = a + 1; b < 30; ++b) {
            bool above = false;
            bool below = false;
            for (const Vector& vector : vectors) {
                above = above || (vector.level(a) && !vector.level(b));
                below = below || (!vector.level(a) && vector.level(b));
            }
            EXPECT_TRUE(above && below) << a << " and " << b;
        }
    }
}

TEST(VectorsTest, ACloserLookWalks) {
    const std::vector<Vector> vectors = closer_look({3, 7});
    ASSERT_EQ(vectors.size(), 6U);
    EXPECT_FALSE(vectors[0].level(5));
    EXPECT_TRUE(vectors[1].level(5));
    EXPECT_TRUE(vectors[2].level(3));
    EXPECT_FALSE(vectors[2].level(7));
    EXPECT_FALSE(vectors[5].level(7));
    EXPECT_TRUE(vectors[5].level(3));
}

} // namespace
} // namespace talvor::interconnect
