#include "sys/format.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iomanip>
#include <random>
#include <sstream>
#include <string>

namespace {

// The largest text plus a guard byte that must survive.
struct Buffer {
    char text[13];
    Buffer() { std::memset(text, 'x', sizeof text); }
};

// The text that `write` makes; it must return its buffer and stay within its `size` bytes.
template <typename Write>
std::string written(size_t size, Write write) {
    Buffer buffer;
    EXPECT_EQ(write(buffer.text), buffer.text);
    EXPECT_EQ(buffer.text[size], 'x');
    return buffer.text;
}

std::string unsigned_text(uint32_t value) {
    return written(11, [=](char* text) { return sys_Str0FromUnsign32(text, value); });
}

std::string signed_text(int32_t value) {
    return written(12, [=](char* text) { return sys_Str0FromSigned32(text, value); });
}

std::string error_text(int32_t value, bool hex) {
    return written(12, [=](char* text) { return sys_Str0FormatError(text, value, hex); });
}

TEST(FormatTest, BooleansAreYesAndNo) {
    EXPECT_EQ(written(4, [](char* text) { return sys_Str0FromBoolean(text, true); }), "yes");
    EXPECT_EQ(written(4, [](char* text) { return sys_Str0FromBoolean(text, false); }), "no");
}

TEST(FormatTest, UnsignedNumbersAreDecimalUpTo255ThenHexadecimal) {
    const std::pair<uint32_t, const char*> cases[] = {
        {0, "0"},
        {9, "9"},
        {255, "255"},
        {256, "0x0100"},
        {0xFFFF, "0xFFFF"},
        {0x10000, "0x010000"},
        {0xABCDEF, "0xABCDEF"},
        {0xFFFFFF, "0xFFFFFF"},
        {16'777'216, "0x01000000"},
        {0xFFFFFFFF, "0xFFFFFFFF"},
    };
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(unsigned_text(value), text);
    }
}

TEST(FormatTest, SignedNumbersAreDecimalWhenNegative) {
    EXPECT_EQ(signed_text(-1), "-1");
    EXPECT_EQ(signed_text(-300), "-300");
    EXPECT_EQ(signed_text(INT32_MIN), "-2147483648");
    EXPECT_EQ(signed_text(0), "0");
    EXPECT_EQ(signed_text(255), "255");
    EXPECT_EQ(signed_text(256), "0x0100");
    EXPECT_EQ(signed_text(INT32_MAX), "0x7FFFFFFF");
}

TEST(FormatTest, ErrorsCarryTheirSign) {
    EXPECT_EQ(error_text(0, false), "0");
    EXPECT_EQ(error_text(-5, false), "-5");
    EXPECT_EQ(error_text(7, false), "+7");
    EXPECT_EQ(error_text(INT32_MIN, false), "-2147483648");
    EXPECT_EQ(error_text(INT32_MAX, false), "+2147483647");
}

TEST(FormatTest, ErrorsInHexadecimalHaveEightLowerCaseDigits) {
    EXPECT_EQ(error_text(-1, true), "0xffffffff");
    EXPECT_EQ(error_text(0, true), "0x00000000");
    EXPECT_EQ(error_text(0x1234ABCD, true), "0x1234abcd");
    EXPECT_EQ(error_text(-122, true), "0xffffff86");
}

TEST(FormatTest, ANullBufferGivesNull) {
    EXPECT_EQ(sys_Str0FromBoolean(nullptr, true), nullptr);
    EXPECT_EQ(sys_Str0FromUnsign32(nullptr, 1), nullptr);
    EXPECT_EQ(sys_Str0FromSigned32(nullptr, -1), nullptr);
    EXPECT_EQ(sys_Str0FormatError(nullptr, 1, true), nullptr);
}

std::string model(uint32_t value) {
    std::ostringstream text;
    if (value < 256) {
        text << value;
    } else {
        text << "0x" << std::hex << std::uppercase << std::setfill('0')
             << std::setw(value < 0x10000     ? 4
                          : value < 0x1000000 ? 6
                                              : 8)
             << value;
    }
    return text.str();
}

TEST(FormatTest, AgreesWithStreams) {
    std::mt19937 random(20260104);
    std::uniform_int_distribution<uint32_t> any;
    for (uint32_t i = 0; i < 20'000; ++i) {
        const uint32_t value = i < 1'000 ? i : any(random) >> (any(random) % 32);
        ASSERT_EQ(unsigned_text(value), model(value));
        const auto number = static_cast<int32_t>(value);
        ASSERT_EQ(signed_text(number), number < 0 ? std::to_string(number) : model(value));
        ASSERT_EQ(error_text(number, false),
                  number > 0 ? std::string(1, '+').append(std::to_string(number))
                             : std::to_string(number));
    }
}

} // namespace
