#include "scan/arithmetic.h"

#include <gtest/gtest.h>

namespace {

TEST(ArithmeticTest, TruthOfANumber) {
    EXPECT_FALSE(unsign2true(0));
    EXPECT_TRUE(unsign2true(1));
    EXPECT_TRUE(unsign2true(0xFFFFFFFF));
    EXPECT_TRUE(unsign2false(0));
    EXPECT_FALSE(unsign2false(1));
}

TEST(ArithmeticTest, OneMoreAndOneLessLeaveTheUnlimitedValue) {
    EXPECT_EQ(FromJtiToRavo(0), 1U);
    EXPECT_EQ(FromJtiToRavo(0xFFFFFFFE), 0xFFFFFFFFU);
    EXPECT_EQ(FromJtiToRavo(0xFFFFFFFF), 0xFFFFFFFFU);
    EXPECT_EQ(FromRavoToJti(1), 0U);
    EXPECT_EQ(FromRavoToJti(0), 0xFFFFFFFFU);
    EXPECT_EQ(FromRavoToJti(0xFFFFFFFF), 0xFFFFFFFFU);
}

TEST(ArithmeticTest, HalvesMakeANumber) {
    EXPECT_EQ(Increment16To32(0x1234, 0x5678), 0x12345678U);
    EXPECT_EQ(Increment16To32(0xABCD1234, 0xABCD5678), 0x12345678U);
}

TEST(ArithmeticTest, ACounterInHalvesIsTakenFromItsMaximum) {
    EXPECT_EQ(Decrement16To32(0xFFFF, 0xFFFF, 0x0001, 0x0002), 0xFFFEFFFDU);
    EXPECT_EQ(Decrement16To32(0x0010, 0x0000, 0xFFFF, 0xFFFF), 0U);
    EXPECT_EQ(Decrement16To32(0xA0001, 0xB0005, 0xC0000, 0xD0003), 0x00010004U);
}

TEST(ArithmeticTest, BitsAndWords) {
    for (const uint32_t n : {0U, 1U, 15U, 16U, 17U, 31U, 32U, 33U, 1000U}) {
        EXPECT_EQ(BitsModulo16(n), n % 16);
        EXPECT_EQ(BitsModulo32(n), n % 32);
        EXPECT_EQ(WordsPartial16(n), (n + 15) / 16);
        EXPECT_EQ(WordsPartial32(n), (n + 31) / 32);
        EXPECT_EQ(WordsWhole16(n), n / 16);
        EXPECT_EQ(WordsWhole32(n), n / 32);
    }
}

} // namespace
