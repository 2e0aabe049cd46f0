#include "sys/hash.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

TEST(HashTest, BeginsWith5381) {
    EXPECT_EQ(sys_StrHashFirst(), 5381U);
}

TEST(HashTest, ATextThatIsNullOrEmptyLeavesIt) {
    EXPECT_EQ(sys_StrHashAgain(1234, nullptr), 1234U);
    EXPECT_EQ(sys_StrHashAgain(1234, ""), 1234U);
}

TEST(HashTest, EachCharacterMultipliesBy33AndIsExclusiveOredIn) {
    EXPECT_EQ(sys_StrHashAgain(5381, "a"), (5381U * 33) ^ 'a');
    EXPECT_EQ(sys_StrHashAgain(5381, "ab"), (((5381U * 33) ^ 'a') * 33) ^ 'b');
    EXPECT_EQ(sys_StrHashAgain(0, "A"), 65U);
}

TEST(HashTest, ACharacterAbove127CountsAsNegative) {
    EXPECT_EQ(sys_StrHashAgain(0, "\xFF"), 0xFFFFFFFFU);
    EXPECT_EQ(sys_StrHashAgain(0, "\x80"), 0xFFFFFF80U);
    EXPECT_EQ(sys_StrHashAgain(0, "\x7F"), 0x7FU);
}

// 64-bit arithmetic, cut to 32 bits only at the end of each step.
uint32_t model(uint32_t before, const std::string& text) {
    uint64_t hash = before;
    for (const char character : text) {
        const int64_t value = static_cast<unsigned char>(character) >= 128
                                  ? static_cast<unsigned char>(character) - 256
                                  : character;
        hash = ((hash * 33) ^ static_cast<uint64_t>(value)) % (uint64_t{1} << 32);
    }
    return static_cast<uint32_t>(hash);
}

TEST(HashTest, AgreesWithWideArithmeticAndCarriesOn) {
    std::mt19937 random(20260106);
    std::uniform_int_distribution<int> byte(1, 255);
    for (int i = 0; i < 20'000; ++i) {
        std::string text(random() % 20, ' ');
        for (char& character : text) {
            character = static_cast<char>(byte(random));
        }
        const auto before = static_cast<uint32_t>(random());
        ASSERT_EQ(sys_StrHashAgain(before, text.c_str()), model(before, text));
        const size_t cut = text.empty() ? 0 : random() % text.size();
        const uint32_t halfway = sys_StrHashAgain(before, text.substr(0, cut).c_str());
        ASSERT_EQ(sys_StrHashAgain(halfway, text.c_str() + cut), model(before, text));
    }
}

} // namespace
