#include "sys/compare.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>
#include <string>

namespace {

struct Pair {
    const char* one;
    const char* two;
    int result;
};

TEST(CompareTest, WholeTextsIgnoringCase) {
    const Pair cases[] = {
        {"abc", "ABC", 0}, {"abd", "ABC", 1}, {"ABC", "abd", -1}, {"", "", 0},
        {"a", "", 1},      {"", "a", -1},     {"abc", "ab", 1},   {"ab", "abc", -1},
        {"a_", "aZ", 1},   {"a-", "aZ", -1},  {"\x80", "a", 1},
    };
    for (const Pair& c : cases) {
        EXPECT_EQ(sys_Str0SinglCmpInsStr(c.one, c.two), c.result) << c.one << ' ' << c.two;
        EXPECT_EQ(sys_Str0SinglCmpInsLen(c.one, c.two, 0), c.result) << c.one << ' ' << c.two;
    }
}

TEST(CompareTest, NullIsGreater) {
    EXPECT_EQ(sys_Str0SinglCmpInsStr(nullptr, "a"), 1);
    EXPECT_EQ(sys_Str0SinglCmpInsStr("a", nullptr), 1);
    EXPECT_EQ(sys_Str0SinglCmpInsStr(nullptr, nullptr), 1);
    EXPECT_EQ(sys_Str0SinglCmpInsLen(nullptr, "a", 1), 1);
    EXPECT_EQ(sys_Str0SinglCmpInsLen("a", nullptr, 1), 1);
}

struct Limited {
    const char* one;
    const char* two;
    uint32_t number;
    int result;
};

TEST(CompareTest, OnlyTheFirstCharacters) {
    const Limited cases[] = {
        {"abcX", "ABCy", 3, 0}, {"abcX", "ABCy", 4, -1},
        {"abc", "ab", 2, 0},    {"abc", "ab", 3, 1},
        {"ab", "abc", 3, -1},   {"ab", "AB", 9, 0},
        {"", "", 5, 0},         {"", "a", 1, -1},
        {"x", "y", 1, -1},      {"ab", "AB", 0xFFFFFFFF, 0},
    };
    for (const Limited& c : cases) {
        EXPECT_EQ(sys_Str0SinglCmpInsLen(c.one, c.two, c.number), c.result)
            << c.one << ' ' << c.two << ' ' << c.number;
    }
}

// std::string in upper case, compared by the standard's means. Bytes are ASCII here.
int model(std::string one, std::string two, uint32_t number) {
    if (number != 0) {
        one.resize(std::min<size_t>(one.size(), number));
        two.resize(std::min<size_t>(two.size(), number));
    }
    for (std::string* text : {&one, &two}) {
        std::transform(text->begin(), text->end(), text->begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    }
    const int order = one.compare(two);
    return order == 0 ? 0 : order > 0 ? 1 : -1;
}

TEST(CompareTest, AgreesWithStandardStrings) {
    std::mt19937 random(20260102);
    const std::string letters = "aAbBzZ_-09";
    std::uniform_int_distribution<size_t> letter(0, letters.size() - 1);
    std::uniform_int_distribution<size_t> length(0, 5);
    std::uniform_int_distribution<uint32_t> number(0, 6);
    const auto text = [&] {
        std::string made(length(random), ' ');
        std::generate(made.begin(), made.end(), [&] { return letters[letter(random)]; });
        return made;
    };
    for (int i = 0; i < 100'000; ++i) {
        const std::string one = text();
        const std::string two = text();
        const uint32_t limit = number(random);
        ASSERT_EQ(sys_Str0SinglCmpInsLen(one.c_str(), two.c_str(), limit), model(one, two, limit))
            << one << ' ' << two << ' ' << limit;
    }
}

TEST(CompareTest, EveryByteEqualsItself) {
    for (int byte = 1; byte <= 255; ++byte) {
        const char one[] = {static_cast<char>(byte), 'x', '\0'};
        const char two[] = {static_cast<char>(byte), 'X', '\0'};
        EXPECT_EQ(sys_Str0SinglCmpInsStr(one, two), 0) << byte;
    }
}

} // namespace
