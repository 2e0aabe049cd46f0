#include "sys/number.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>

namespace {

template <typename Number>
using Parser = bool (*)(const char*, Number*);

// What the parser stores, or nothing when it fails; a failure must have stored 0.
template <typename Number>
std::optional<Number> read(Parser<Number> parse, const std::string& text) {
    Number number = 77;
    if (parse(text.c_str(), &number)) {
        EXPECT_EQ(number, 0) << text;
        return std::nullopt;
    }
    return number;
}

template <typename Number>
void refuses_null(Parser<Number> parse) {
    Number number = 77;
    EXPECT_TRUE(parse(nullptr, &number));
    EXPECT_EQ(number, 77);
    EXPECT_TRUE(parse("1", nullptr));
    EXPECT_TRUE(parse(nullptr, nullptr));
}

TEST(NumberTest, NullArgumentsFailWithNothingStored) {
    refuses_null<uint8_t>(sys_Str0ToUnsign8);
    refuses_null<int8_t>(sys_Str0ToSigned8);
    refuses_null<uint16_t>(sys_Str0ToUnsign16);
    refuses_null<int16_t>(sys_Str0ToSigned16);
    refuses_null<uint32_t>(sys_Str0ToUnsign32);
    refuses_null<int32_t>(sys_Str0ToSigned32);
    refuses_null<uint64_t>(sys_Str0ToUnsign64);
    refuses_null<int64_t>(sys_Str0ToSigned64);
}

TEST(NumberTest, ATextWithoutDigitsFailsAndStoresZero) {
    for (const char* text : {"x", "", " ", "-", "+", ".5", "_1", "- 1"}) {
        EXPECT_EQ(read<uint8_t>(sys_Str0ToUnsign8, text), std::nullopt) << text;
        EXPECT_EQ(read<int8_t>(sys_Str0ToSigned8, text), std::nullopt) << text;
        EXPECT_EQ(read<uint16_t>(sys_Str0ToUnsign16, text), std::nullopt) << text;
        EXPECT_EQ(read<int16_t>(sys_Str0ToSigned16, text), std::nullopt) << text;
        EXPECT_EQ(read<uint32_t>(sys_Str0ToUnsign32, text), std::nullopt) << text;
        EXPECT_EQ(read<int32_t>(sys_Str0ToSigned32, text), std::nullopt) << text;
        EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, text), std::nullopt) << text;
        EXPECT_EQ(read<int64_t>(sys_Str0ToSigned64, text), std::nullopt) << text;
    }
}

TEST(NumberTest, TheBaseFollowsFromTheText) {
    const std::pair<const char*, int> cases[] = {
        {"0", 0},    {"10", 10},    {"010", 8},   {"0x10", 16},        {"0X1f", 31},  {" \t12", 12},
        {"+12", 12}, {"12kHz", 12}, {"089", 0},   {"0x", 0},           {"12 34", 12}, {"0xg", 0},
        {"0Xg1", 0}, {"0x 1", 0},   {"0x2F", 47}, {"\n\v\f\r 12", 12}, {"07", 7},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(read<uint8_t>(sys_Str0ToUnsign8, text), value) << text;
        EXPECT_EQ(read<int8_t>(sys_Str0ToSigned8, text), value) << text;
        EXPECT_EQ(read<uint16_t>(sys_Str0ToUnsign16, text), value) << text;
        EXPECT_EQ(read<int16_t>(sys_Str0ToSigned16, text), value) << text;
        EXPECT_EQ(read<uint32_t>(sys_Str0ToUnsign32, text), value) << text;
        EXPECT_EQ(read<int32_t>(sys_Str0ToSigned32, text), value) << text;
        EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, text), value) << text;
        EXPECT_EQ(read<int64_t>(sys_Str0ToSigned64, text), value) << text;
    }
}

// Since C23 the C library's own conversion takes 0b for binary. Here it is 0 and what is behind it.
TEST(NumberTest, NoBinaryNumbers) {
    for (const char* text : {"0b101", "0B101", "0b", "0B", "0b2", "-0b11", "+0b11", " 0b1"}) {
        EXPECT_EQ(read<uint8_t>(sys_Str0ToUnsign8, text), 0) << text;
        EXPECT_EQ(read<int16_t>(sys_Str0ToSigned16, text), 0) << text;
        EXPECT_EQ(read<uint32_t>(sys_Str0ToUnsign32, text), 0U) << text;
        EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, text), 0U) << text;
        EXPECT_EQ(read<int64_t>(sys_Str0ToSigned64, text), 0) << text;
        bool logic = true;
        EXPECT_FALSE(sys_Str0ToBoolean(text, &logic)) << text;
        EXPECT_FALSE(logic) << text;
    }
    EXPECT_EQ(read<uint8_t>(sys_Str0ToUnsign8, "b101"), std::nullopt);
    EXPECT_EQ(read<uint8_t>(sys_Str0ToUnsign8, "0xb101"), 0x01);
}

TEST(NumberTest, OneSignAndOnlyBeforeThePrefix) {
    for (const char* text : {"+-1", "-+1", "--1", "++1", "+ 1", "-", "+x"}) {
        EXPECT_EQ(read<int32_t>(sys_Str0ToSigned32, text), std::nullopt) << text;
        EXPECT_EQ(read<uint32_t>(sys_Str0ToUnsign32, text), std::nullopt) << text;
    }
    EXPECT_EQ(read<int32_t>(sys_Str0ToSigned32, "-0x10"), -16);
    EXPECT_EQ(read<int32_t>(sys_Str0ToSigned32, "-010"), -8);
    EXPECT_EQ(read<uint32_t>(sys_Str0ToUnsign32, "-0x10"), 0xFFFFFFF0U);
    EXPECT_EQ(read<int32_t>(sys_Str0ToSigned32, "0x-10"), 0);
}

TEST(NumberTest, OtherBytesAreNeitherBlanksNorDigits) {
    for (int byte = 1; byte < 256; ++byte) {
        const auto letter = static_cast<char>(byte);
        const bool blank = byte == ' ' || (byte >= 9 && byte <= 13);
        const bool sign = letter == '+' || letter == '-';
        const bool digit = byte >= '0' && byte <= '9';
        const std::string text = std::string(1, letter) + "7";
        EXPECT_EQ(read<int32_t>(sys_Str0ToSigned32, text).has_value(), blank || sign || digit)
            << byte;
        const bool hexadecimal = std::string("0123456789abcdefABCDEF").find(letter) < 22;
        EXPECT_EQ(read<uint32_t>(sys_Str0ToUnsign32, "0x1" + std::string(1, letter)) > 1U,
                  hexadecimal)
            << byte;
    }
}

TEST(NumberTest, WhatDoesNotFitIsCutOff) {
    EXPECT_EQ(read<uint8_t>(sys_Str0ToUnsign8, "255"), 255);
    EXPECT_EQ(read<uint8_t>(sys_Str0ToUnsign8, "300"), 44);
    EXPECT_EQ(read<uint8_t>(sys_Str0ToUnsign8, "-1"), 255);
    EXPECT_EQ(read<int8_t>(sys_Str0ToSigned8, "-128"), -128);
    EXPECT_EQ(read<int8_t>(sys_Str0ToSigned8, "128"), -128);
    EXPECT_EQ(read<int8_t>(sys_Str0ToSigned8, "300"), 44);
    EXPECT_EQ(read<uint16_t>(sys_Str0ToUnsign16, "65535"), 65535);
    EXPECT_EQ(read<uint16_t>(sys_Str0ToUnsign16, "0x12345"), 0x2345);
    EXPECT_EQ(read<int16_t>(sys_Str0ToSigned16, "32768"), -32768);
    EXPECT_EQ(read<uint32_t>(sys_Str0ToUnsign32, "4294967295"), 4294967295U);
    EXPECT_EQ(read<uint32_t>(sys_Str0ToUnsign32, "4294967297"), 1U);
    EXPECT_EQ(read<int32_t>(sys_Str0ToSigned32, "0x80000000"), INT32_MIN);
    EXPECT_EQ(read<int32_t>(sys_Str0ToSigned32, "-4294967297"), -1);
}

TEST(NumberTest, TheLibrarysOwnLimitsHoldBeyond64Bits) {
    EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, "18446744073709551615"), UINT64_MAX);
    EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, "18446744073709551616"), UINT64_MAX);
    EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, "-1"), UINT64_MAX);
    EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, "-18446744073709551615"), 1U);
    EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, "-18446744073709551616"), UINT64_MAX);
    EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, "0xFFFFFFFFFFFFFFFF"), UINT64_MAX);
    EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, "0x10000000000000000"), UINT64_MAX);
    EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, "01777777777777777777777"), UINT64_MAX);
    EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, "02000000000000000000000"), UINT64_MAX);
    // Too large once, too large for good, though more digits wrap the value round.
    EXPECT_EQ(read<uint64_t>(sys_Str0ToUnsign64, "0x100000000000000001234"), UINT64_MAX);
    EXPECT_EQ(read<int64_t>(sys_Str0ToSigned64, "-0x100000000000000001234"), INT64_MIN);
    EXPECT_EQ(read<int64_t>(sys_Str0ToSigned64, "9223372036854775807"), INT64_MAX);
    EXPECT_EQ(read<int64_t>(sys_Str0ToSigned64, "9223372036854775808"), INT64_MAX);
    EXPECT_EQ(read<int64_t>(sys_Str0ToSigned64, "-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(read<int64_t>(sys_Str0ToSigned64, "-9223372036854775809"), INT64_MIN);
    EXPECT_EQ(read<uint32_t>(sys_Str0ToUnsign32, "99999999999999999999"), UINT32_MAX);
    EXPECT_EQ(read<int32_t>(sys_Str0ToSigned32, "99999999999999999999"), -1);
}

// A positional reader of its own: blanks, sign, base, digits; 128 bits so that nothing wraps.
std::optional<__int128> model(const std::string& text) {
    size_t at = text.find_first_not_of(" \t\n");
    if (at == std::string::npos) {
        return std::nullopt;
    }
    const bool negative = text[at] == '-';
    at += text[at] == '-' || text[at] == '+' ? 1 : 0;
    const auto digit = [&](size_t place, int base) {
        const size_t found = place < text.size()
                                 ? std::string("0123456789abcdefABCDEF").find(text[place])
                                 : std::string::npos;
        const size_t value = found < 16 || found == std::string::npos ? found : found - 6;
        return value < static_cast<size_t>(base) ? static_cast<int>(value) : -1;
    };
    int base = 10;
    if (at < text.size() && text[at] == '0') {
        const bool x = at + 1 < text.size() && (text[at + 1] == 'x' || text[at + 1] == 'X');
        base = x && digit(at + 2, 16) >= 0 ? 16 : 8;
        at += base == 16 ? 2 : 0;
    }
    if (digit(at, base) < 0) {
        return std::nullopt;
    }
    __int128 value = 0;
    for (; digit(at, base) >= 0; ++at) {
        value = value * base + digit(at, base);
    }
    return negative ? -value : value;
}

template <typename Number>
void agrees_with_model(Parser<Number> parse, const std::string& text) {
    const std::optional<__int128> value = model(text);
    const std::optional<Number> expected =
        value ? std::optional<Number>(static_cast<Number>(*value)) : std::nullopt;
    ASSERT_EQ(read<Number>(parse, text), expected) << '"' << text << '"';
}

TEST(NumberTest, AgreesWithAPositionalReaderOnGeneratedTexts) {
    std::mt19937 random(20260103);
    const std::string letters = "0001178bBFxxX-+ \n,";
    std::uniform_int_distribution<size_t> letter(0, letters.size() - 1);
    std::uniform_int_distribution<size_t> length(0, 12);
    for (int i = 0; i < 100'000; ++i) {
        std::string text(length(random), ' ');
        for (char& character : text) {
            character = letters[letter(random)];
        }
        agrees_with_model<uint8_t>(sys_Str0ToUnsign8, text);
        agrees_with_model<int8_t>(sys_Str0ToSigned8, text);
        agrees_with_model<uint16_t>(sys_Str0ToUnsign16, text);
        agrees_with_model<int16_t>(sys_Str0ToSigned16, text);
        agrees_with_model<uint32_t>(sys_Str0ToUnsign32, text);
        agrees_with_model<int32_t>(sys_Str0ToSigned32, text);
        agrees_with_model<uint64_t>(sys_Str0ToUnsign64, text);
        agrees_with_model<int64_t>(sys_Str0ToSigned64, text);
    }
}

TEST(NumberTest, ReadsEvery16BitNumberBack) {
    for (int value = INT16_MIN; value <= INT16_MAX; ++value) {
        ASSERT_EQ(read<int16_t>(sys_Str0ToSigned16, std::to_string(value)), value);
        ASSERT_EQ(read<uint16_t>(sys_Str0ToUnsign16, std::to_string(value)),
                  static_cast<uint16_t>(value));
    }
}

TEST(NumberTest, TruthWordsInAnyCase) {
    for (const char* text : {"POSITIVE", "ASSERT", "TRUTH", "TRUE", "HIGH", "YES", "ONE", "1",
                             "positive", "assert", "truth", "true", "high", "yes", "one", "Yes"}) {
        bool logic = false;
        EXPECT_FALSE(sys_Str0ToBoolean(text, &logic)) << text;
        EXPECT_TRUE(logic) << text;
    }
}

TEST(NumberTest, FalsehoodWordsInAnyCase) {
    for (const char* text : {"NEGATIVE", "NEGATE", "FALSE", "LOW", "NOT", "NO", "ZERO", "0",
                             "negative", "negate", "false", "low", "not", "no", "zero", "Zero"}) {
        bool logic = true;
        EXPECT_FALSE(sys_Str0ToBoolean(text, &logic)) << text;
        EXPECT_FALSE(logic) << text;
    }
}

TEST(NumberTest, OtherTextsAreTrueUnlessTheirNumberIsZero) {
    for (const char* text : {"0x10", "2", "-1", "1x", " 1", "010", "0x100000000"}) {
        bool logic = false;
        EXPECT_FALSE(sys_Str0ToBoolean(text, &logic)) << text;
        EXPECT_TRUE(logic) << text;
    }
    for (const char* text : {"00", "0x0", "-0", " 0", "0 and more"}) {
        bool logic = true;
        EXPECT_FALSE(sys_Str0ToBoolean(text, &logic)) << text;
        EXPECT_FALSE(logic) << text;
    }
}

TEST(NumberTest, ABooleanThatIsNeitherFailsUnchanged) {
    for (const char* text : {"maybe", "", "YE", "tru", "yess", "n", "on"}) {
        for (const bool before : {false, true}) {
            bool logic = before;
            EXPECT_TRUE(sys_Str0ToBoolean(text, &logic)) << text;
            EXPECT_EQ(logic, before) << text;
        }
    }
    bool logic = true;
    EXPECT_TRUE(sys_Str0ToBoolean(nullptr, &logic));
    EXPECT_TRUE(logic);
    EXPECT_TRUE(sys_Str0ToBoolean("yes", nullptr));
}

} // namespace
