#include "host/jtag/bits.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <random>
#include <string>
#include <vector>

namespace talvor {
namespace {

Bits hex(std::string_view text, size_t length) {
    return Bits::from_hex(text, length).value();
}

// Bit by bit, so that it shares nothing with the word-wise code.
Bits random_bits(std::mt19937& random, size_t length) {
    Bits bits(length);
    for (size_t i = 0; i < length; ++i) {
        bits.set(i, (random() & 1U) != 0);
    }
    return bits;
}

TEST(BitsTest, LieInSixteenBitWordsLeastSignificantFirst) {
    const Bits bits = hex("12345", 20);
    ASSERT_EQ(bits.words().size(), 2U);
    EXPECT_EQ(bits.words()[0], 0x2345);
    EXPECT_EQ(bits.words()[1], 0x0001);
    EXPECT_TRUE(bits[0]);
    EXPECT_FALSE(bits[1]);
    EXPECT_TRUE(bits[16]);
}

TEST(BitsTest, OnesLeaveTheUnusedBitsOfTheLastWordZero) {
    const Bits bits = Bits::ones(17);
    EXPECT_EQ(bits.words()[0], 0xFFFF);
    EXPECT_EQ(bits.words()[1], 0x0001);
    EXPECT_EQ(bits.count_ones(), 17U);
    EXPECT_TRUE(bits.all_ones());
    EXPECT_FALSE(bits.all_zeros());
}

TEST(BitsTest, PrintsTheMostSignificantDigitFirst) {
    EXPECT_EQ(hex("0aF", 12).to_hex(), "0AF");
    EXPECT_EQ(Bits::from_uint(5, 3).to_hex(), "5");
    EXPECT_EQ(Bits::from_uint(1, 33).to_hex(), "000000001");
    EXPECT_EQ(Bits().to_hex(), "");
}

TEST(BitsTest, ReadsHexWithPrefixBlanksAndSeparators) {
    EXPECT_EQ(hex("0xAB", 8), Bits::from_uint(0xAB, 8));
    EXPECT_EQ(hex(" 0Xa b\n_c ", 12), Bits::from_uint(0xABC, 12));
    EXPECT_EQ(Bits::from_hex("0F").value().size(), 8U);
    EXPECT_EQ(Bits::from_hex("0x1").value(), Bits::from_uint(1, 4));
}

TEST(BitsTest, ExtendsAShortValueWithZerosAndRefusesAWideOne) {
    EXPECT_EQ(hex("3", 40), Bits::from_uint(3, 40));
    EXPECT_EQ(hex("0000003", 2), Bits::from_uint(3, 2));
    EXPECT_EQ(hex("0", 0), Bits());

    const Result<Bits> wide = Bits::from_hex("4", 2);
    ASSERT_FALSE(wide);
    EXPECT_EQ(wide.error().reason, "the value is wider than 2 bits");
    EXPECT_EQ(wide.error().kind, ErrorKind::Usage);
    EXPECT_FALSE(Bits::from_hex("1", 0));
    EXPECT_FALSE(Bits::from_hex("10000", 16));
}

TEST(BitsTest, RefusesTextThatIsNoHex) {
    EXPECT_EQ(Bits::from_hex("12g4", 16).error().reason, "'g' is no hexadecimal digit");
    EXPECT_EQ(Bits::from_hex("", 16).error().reason, "there is no hexadecimal digit");
    EXPECT_EQ(Bits::from_hex("0x", 16).error().reason, "there is no hexadecimal digit");
}

TEST(BitsTest, GoesFromWordsAndBack) {
    const std::vector<uint16_t> words{0x1111, 0x2222, 0xFFFF};
    const Bits bits = Bits::from_words(words, 36);
    EXPECT_EQ(bits.to_hex(), "F22221111");
    EXPECT_EQ(bits.words()[2], 0x000F);
    EXPECT_EQ(Bits::from_words(words, 64).to_hex(), "0000FFFF22221111");
}

TEST(BitsTest, ReadsUpToSixtyFourBitsAnywhere) {
    const Bits bits = hex("FEDCBA9876543210ABCDE", 84);
    EXPECT_EQ(bits.to_uint(), 0xA9876543210ABCDEU);
    EXPECT_EQ(bits.to_uint(4, 8), 0xCDU);
    EXPECT_EQ(bits.to_uint(20, 64), 0xFEDCBA9876543210U);
    EXPECT_EQ(bits.to_uint(80, 64), 0xFU);
    EXPECT_EQ(bits.to_uint(84, 1), 0U);
    EXPECT_EQ(bits.to_uint(3, 0), 0U);
}

TEST(BitsTest, GrowsByZerosOrOnes) {
    Bits bits = Bits::from_uint(0x2A5, 10);
    bits.resize(20, true);
    EXPECT_EQ(bits, Bits::from_uint(0xFFEA5, 20));
    bits.resize(35);
    EXPECT_EQ(bits, Bits::from_uint(0xFFEA5, 35));
    bits.resize(12, true);
    EXPECT_EQ(bits, Bits::from_uint(0xEA5, 12));
    bits.resize(16, true);
    bits.resize(32, true);
    EXPECT_EQ(bits, Bits::from_uint(0xFFFFFEA5, 32));
    Bits none;
    none.resize(3, true);
    EXPECT_EQ(none, Bits::ones(3));
}

TEST(BitsTest, ResizeKeepsWhatRemainsAndAddsZeros) {
    Bits bits = Bits::ones(20);
    bits.resize(18);
    bits.resize(40);
    EXPECT_EQ(bits, Bits::from_uint(0x3FFFF, 40));
}

TEST(BitsTest, ClearUnusedRepairsTheLastWord) {
    Bits bits(4);
    bits.words()[0] = 0xFFFF;
    bits.clear_unused();
    EXPECT_EQ(bits, Bits::ones(4));
}

TEST(BitsTest, SliceAndAppendAgreeWithSingleBits) {
    std::mt19937 random(1);
    for (int round = 0; round < 400; ++round) {
        const size_t length = random() % 120;
        const Bits bits = random_bits(random, length);
        const size_t offset = length == 0 ? 0 : random() % (length + 1);
        const size_t count = random() % (length - offset + 1);
        const Bits part = bits.slice(offset, count);
        ASSERT_EQ(part.size(), count);
        for (size_t i = 0; i < count; ++i) {
            ASSERT_EQ(part[i], bits[offset + i]) << length << " " << offset << " " << i;
        }
        EXPECT_EQ(Bits::from_words(part.words(), count), part) << "unused bits are not 0";

        const Bits rest = bits.slice(offset + count, length - offset - count);
        const Bits start = bits.slice(0, offset);
        EXPECT_EQ(Bits::concat({&start, &part, &rest}), bits);
    }
}

// Who catches the lack of memory ends in order, and scans on its way out.
TEST(BitsTest, StayWholeWhereThereIsNoMemoryForMore) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__clang__)
    GTEST_SKIP() << "a sanitizer may end the program at such a request";
#endif
    constexpr size_t kTooMany = SIZE_MAX / 2;
    const Bits before = hex("12345", 20);
    Bits bits = before;
    EXPECT_THROW(bits.resize(kTooMany), std::bad_alloc);
    EXPECT_EQ(bits, before);
    EXPECT_THROW(bits.resize(kTooMany, true), std::bad_alloc);
    EXPECT_EQ(bits, before);
    EXPECT_THROW(bits.assign_big_endian({}, 0, kTooMany), std::bad_alloc);
    EXPECT_EQ(bits, before);
}

TEST(BitsTest, AppendsItself) {
    Bits bits = hex("5A3", 11);
    bits.append(bits);
    EXPECT_EQ(bits, Bits::from_uint((0x5A3U << 11) | 0x5A3U, 22));
}

TEST(BitsTest, CombinesBitByBit) {
    Bits bits = hex("F0F0F", 20);
    EXPECT_EQ((bits &= hex("3333F", 20)).to_hex(), "3030F");
    EXPECT_EQ((bits |= hex("00F00", 20)).to_hex(), "30F0F");
    EXPECT_EQ((bits ^= hex("FFFFF", 20)).to_hex(), "CF0F0");
}

TEST(BitsTest, TakesBigEndianWordsOfSixteenDigits) {
    Bits bits;
    const std::vector<uint64_t> words{0x0123456789ABCDEF, 0x42};
    bits.assign_big_endian(words, 2, 72);
    EXPECT_EQ(bits.to_hex(), "0123456789ABCDEF42");
    bits.assign_big_endian(words, 16, 128);
    EXPECT_EQ(bits.to_hex(), "0123456789ABCDEF0000000000000042");
    bits.assign_big_endian(words, 2, 90);
    EXPECT_EQ(bits.to_hex(), "000000"
                             "123456789ABCDEF42");
    bits.assign_big_endian(std::span(words).first(1), 16, 60);
    EXPECT_EQ(bits.to_hex(), "123456789ABCDEF");
    bits.assign_big_endian({}, 16, 9);
    EXPECT_EQ(bits, Bits(9));
}

} // namespace
} // namespace talvor
