#include "host/stapl/aca.h"
#include "tests/host/stapl/aca_compressor.h"

#include <gtest/gtest.h>

#include <random>

namespace talvor::stapl {
namespace {

using Bytes = std::vector<uint8_t>;

// Of all kinds: noise, long runs, pieces that come again near and far.
Bytes made_up(std::mt19937& random, size_t size) {
    Bytes bytes;
    while (bytes.size() < size) {
        const size_t count = std::min<size_t>(random() % 700 + 1, size - bytes.size());
        const auto kind = random() % 3;
        const size_t back = bytes.empty() ? 0 : random() % bytes.size();
        for (size_t i = 0; i < count; ++i) {
            bytes.push_back(kind == 0 || bytes.empty() ? static_cast<uint8_t>(random())
                            : kind == 1                ? bytes.back()
                                                       : bytes[(back + i) % bytes.size()]);
        }
    }
    return bytes;
}

TEST(AcaTest, WhatWasCompressedComesBack) {
    std::mt19937 random(71);
    for (const size_t size :
         {0U, 1U, 2U, 3U, 4U, 5U, 7U, 255U, 256U, 1000U, 8191U, 8192U, 8193U, 12000U}) {
        const Bytes bytes = made_up(random, size);
        const Result<Bytes> back = expand_aca(AcaCompressor::compress(bytes), size);
        ASSERT_TRUE(back) << size << ": " << headline(back.error());
        EXPECT_EQ(*back, bytes) << size;
    }
    for (int i = 0; i < 60; ++i) {
        const Bytes bytes = made_up(random, random() % 1000);
        EXPECT_EQ(expand_aca(AcaCompressor::compress(bytes), bytes.size()).value(), bytes);
    }
}

TEST(AcaTest, ARunIsShort) {
    EXPECT_LT(AcaCompressor::compress(Bytes(10'000, 0xFF)).size(), 250U);
}

// By hand: 4 bytes; a 0 and 01 02 03; a 1, 1 back in two bits, one byte.
TEST(AcaTest, TheFormIsThatOfTheStandard) {
    // bits, the first one first: 32 of the count, then 0, 24 of data, 1, 10, 10000000
    const Bytes expected{1, 2, 3, 3};
    EXPECT_EQ(AcaCompressor::compress(expected).substr(0, 5), "40000");
    std::string bits = std::string("00100000000000000000000000000000") + "0" +
                       "10000000"
                       "01000000"
                       "11000000" +
                       "1" + "10" + "10000000";
    std::string characters;
    for (bits.resize((bits.size() + 5) / 6 * 6, '0'); !bits.empty(); bits.erase(0, 6)) {
        size_t value = 0;
        for (size_t i = 0; i < 6; ++i) {
            value |= bits[i] == '1' ? size_t{1} << i : 0;
        }
        characters += "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_@"[value];
    }
    EXPECT_EQ(expand_aca(characters, 4).value(), expected);
}

TEST(AcaTest, TheWayBackGrowsToThirteenBits) {
    EXPECT_EQ(aca_offset_bits(0), 1U);
    EXPECT_EQ(aca_offset_bits(1), 1U);
    EXPECT_EQ(aca_offset_bits(2), 2U);
    EXPECT_EQ(aca_offset_bits(3), 2U);
    EXPECT_EQ(aca_offset_bits(4), 3U);
    EXPECT_EQ(aca_offset_bits(4095), 12U);
    EXPECT_EQ(aca_offset_bits(4096), 13U);
    EXPECT_EQ(aca_offset_bits(1'000'000), 13U);
}

std::string why(const std::string& characters, size_t max_bytes = 100) {
    const Result<Bytes> bytes = expand_aca(characters, max_bytes);
    return bytes ? "" : bytes.error().reason;
}

TEST(AcaTest, WhatIsDamagedIsRefused) {
    EXPECT_EQ(why(""), "the compressed data ends too early");
    EXPECT_EQ(why("40000"), "the compressed data ends too early");
    EXPECT_EQ(why("400000"), "the compressed data ends too early");
    EXPECT_EQ(why("4000-0"), "'-' stands for no bits of compressed data");
    EXPECT_EQ(why("@@@@@@", 100),
              "4294967295 bytes of compressed data are more than the 100 that this player takes");
    // A repetition at the very beginning: 1 byte, then a 1, one bit of way, eight of count.
    EXPECT_EQ(why("1000040000"),
              "the compressed data repeats what lies 0 bytes back, and there are 0");
    const std::string whole = AcaCompressor::compress(Bytes(50, 7));
    for (size_t size = 0; size < whole.size(); ++size) {
        EXPECT_NE(why(whole.substr(0, size)), "") << size;
    }
}

} // namespace
} // namespace talvor::stapl
