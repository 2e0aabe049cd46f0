#include "host/scan/late_answer.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

Bits code() {
    return Bits::from_uint(0x1A2B3C4D, 32);
}

TEST(LateAnswerTest, IsMeasuredBothWays) {
    const Bits noise = Bits::from_uint(0x5, 3);
    Bits late = noise;
    late.append(code().slice(0, 29));
    EXPECT_EQ(bits_late(code(), late), 3);
    Bits early = code().slice(3, 29);
    early.append(noise);
    EXPECT_EQ(bits_late(code(), early), -3);
}

TEST(LateAnswerTest, AnotherAnswerIsNotLate) {
    EXPECT_EQ(bits_late(code(), Bits::from_uint(0x2C0DE7E3, 32)), std::nullopt);
    EXPECT_EQ(bits_late(code(), Bits::ones(32)), std::nullopt);
    EXPECT_EQ(bits_late(Bits(), Bits()), std::nullopt);
}

TEST(LateAnswerTest, TooLittleProvesNothing) {
    // Fifteen bits would be the same.
    Bits late = Bits::ones(17);
    late.append(code().slice(0, 15));
    EXPECT_EQ(bits_late(code(), late), std::nullopt);
}

TEST(LateAnswerTest, SaysWhatItIs) {
    Bits late = Bits::ones(1);
    late.append(code().slice(0, 31));
    EXPECT_EQ(next_step_for_idcodes(code(), late),
              "the answer comes 1 test clock late, so the link delay is wrong: find the right one "
              "with 'talvor link find'");
    EXPECT_EQ(next_step_for_idcodes(code(), Bits::from_uint(0x2C0DE7E3, 32)),
              "it is another device, unless bits are lost on the way: 'talvor chain' lists what is "
              "there");
}

} // namespace
} // namespace talvor
