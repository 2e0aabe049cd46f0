#include "host/play/mismatch.h"

#include <gtest/gtest.h>

#include <string>

namespace talvor::play {
namespace {

Bits hex(std::string_view text, size_t length) {
    return Bits::from_hex(text, length).value();
}

std::optional<Mismatch> compare(const Bits& got, const Bits& expected, const Bits* mask) {
    std::optional<Mismatch> found = play::compare(got, expected.words().data(),
                                                  mask == nullptr ? nullptr : mask->words().data());
    if (found) {
        found->statement = "SDR";
    }
    return found;
}

TEST(MismatchTest, EqualValuesAreNone) {
    EXPECT_EQ(compare(hex("1234", 16), hex("1234", 16), nullptr), std::nullopt);
    const Bits mask = hex("FF0F", 16);
    EXPECT_EQ(compare(hex("12F4", 16), hex("1234", 16), &mask), std::nullopt);
}

TEST(MismatchTest, NamesTheFirstDifferingBits) {
    const std::optional<Mismatch> found = compare(hex("80000005", 32), Bits(32), nullptr);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->first_bits, (std::vector<uint64_t>{0, 2, 31}));
    EXPECT_EQ(found->differing_bits, 3U);
    EXPECT_EQ(found->mask, Bits::ones(32));
}

TEST(MismatchTest, LeavesOutWhatTheMaskHides) {
    const Bits mask = hex("0F0", 12);
    const std::optional<Mismatch> found = compare(hex("FFF", 12), hex("0EF", 12), &mask);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->first_bits, (std::vector<uint64_t>{4}));
    EXPECT_EQ(found->differing_bits, 1U);
}

TEST(MismatchTest, CountsAllBitsAndNamesEight) {
    const std::optional<Mismatch> found = compare(Bits::ones(1000), Bits(1000), nullptr);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->first_bits, (std::vector<uint64_t>{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(found->differing_bits, 1000U);
}

TEST(MismatchTest, AsAnErrorItSaysEverything) {
    std::optional<Mismatch> found = compare(hex("1A", 8), hex("0F", 8), nullptr);
    ASSERT_TRUE(found);
    found->line = 12;
    found->statement = "HIR";
    const Error error = to_error(*found, "a.svf");
    EXPECT_EQ(error.kind, ErrorKind::Target);
    EXPECT_EQ(headline(error),
              "a.svf:12: HIR: 3 of 8 bits differ, at 0, 2, 4: expected 0F, got 1A, mask FF");
}

TEST(MismatchTest, LongValuesAreShownAroundTheFirstDifference) {
    Bits got(1002);
    got.set(600, true);
    const std::string text = to_error(*compare(got, Bits(1002), nullptr), "a.svf").reason;
    EXPECT_EQ(text, "SDR: 1 of 1002 bits differ, at 600: "
                    "expected ...00000000000000000000000000000000..., "
                    "got ...00000000000000010000000000000000..., "
                    "mask ...FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF...");

    Bits low(200);
    low.set(3, true);
    EXPECT_NE(to_error(*compare(low, Bits(200), nullptr), "")
                  .reason.find("got ...00000000000000000000000000000008, mask"),
              std::string::npos);
    Bits high(201);
    high.set(200, true);
    EXPECT_NE(to_error(*compare(high, Bits(201), nullptr), "")
                  .reason.find("got 10000000000000000000000000000000..., mask"),
              std::string::npos);
}

bool idcodes(const Bits& expected, const Bits* mask = nullptr) {
    return looks_like_idcode(expected.size(), expected.words().data(),
                             mask == nullptr ? nullptr : mask->words().data());
}

TEST(LooksLikeIdCodeTest, TakesWhatAResetLeavesInAChain) {
    EXPECT_TRUE(idcodes(hex("05707E35", 32)));
    EXPECT_TRUE(idcodes(hex("0581BCFC63456789A3D5A07E305707E35", 129))); // with a BYPASS bit
    const Bits version = hex("0FFFFFFF", 32);
    EXPECT_TRUE(idcodes(hex("05707E35", 32), &version));
}

TEST(LooksLikeIdCodeTest, TakesNothingElse) {
    EXPECT_FALSE(idcodes(hex("05707E34", 32))); // would be a device without a code, and a piece
    EXPECT_FALSE(idcodes(hex("5", 4)));
    EXPECT_FALSE(idcodes(Bits(32)));
    const Bits little = hex("000000FF", 32);
    EXPECT_FALSE(idcodes(hex("05707E35", 32), &little));
}

} // namespace
} // namespace talvor::play
