#include "sys/keyword.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

const char* table[] = {"default", "debug", "", "Legacy", "debugger", nullptr};
constexpr uint32_t kUntouched = 0xABCD;

struct Lookup {
    const char* text;
    uint32_t length;
    uint32_t index; // 5: no match
};

void expect(const char* found, const uint32_t& index, const Lookup& c) {
    EXPECT_EQ(index, c.index) << c.text;
    EXPECT_EQ(found, table[c.index]) << c.text;
}

TEST(KeywordTest, WholeTextsMatchInAnyCase) {
    const Lookup cases[] = {
        {"default", 0, 0}, {"DEBUG", 0, 1},    {"legacy", 0, 3}, {"Debugger", 0, 4},
        {"de", 0, 5},      {"defaults", 0, 5}, {"", 0, 5},       {"x", 0, 5},
    };
    for (const Lookup& c : cases) {
        uint32_t index = kUntouched;
        expect(sys_Str0ArrayCmpInsStr(c.text, table, &index), index, c);
        index = kUntouched;
        expect(str0_find_keyword(c.text, table, &index, 0), index, c);
        index = kUntouched;
        expect(sys_Str0ArrayCmpInsLen(c.text, table, &index, 0), index, c);
    }
}

TEST(KeywordTest, TheFirstEntryThatBeginsLikeTheTextWins) {
    const Lookup cases[] = {
        {"de", 2, 0},     {"deb", 3, 1},     {"DEBUG", 5, 1},   {"debugg", 6, 4}, {"l", 1, 3},
        {"legacy", 6, 3}, {"legacyx", 7, 5}, {"legacyx", 6, 3}, {"x", 1, 5},      {"d", 1, 0},
    };
    for (const Lookup& c : cases) {
        uint32_t index = kUntouched;
        expect(sys_Str0ArrayCmpInsLen(c.text, table, &index, c.length), index, c);
        index = kUntouched;
        expect(str0_find_keyword(c.text, table, &index, c.length), index, c);
    }
}

TEST(KeywordTest, EmptyEntriesAreSkippedButCounted) {
    const char* empty_first[] = {"", "", "one", nullptr};
    uint32_t index = kUntouched;
    EXPECT_EQ(sys_Str0ArrayCmpInsLen("", empty_first, &index, 4), nullptr);
    EXPECT_EQ(index, 3U);
    EXPECT_STREQ(sys_Str0ArrayCmpInsStr("ONE", empty_first, &index), "one");
    EXPECT_EQ(index, 2U);
}

TEST(KeywordTest, TheIndexMayBeLeftOut) {
    EXPECT_EQ(sys_Str0ArrayCmpInsStr("debug", table, nullptr), table[1]);
    EXPECT_EQ(sys_Str0ArrayCmpInsLen("leg", table, nullptr, 3), table[3]);
    EXPECT_EQ(sys_Str0ArrayCmpInsStr("none", table, nullptr), nullptr);
}

TEST(KeywordTest, AnEmptyTableHasNoMatch) {
    const char* none[] = {nullptr};
    uint32_t index = kUntouched;
    EXPECT_EQ(sys_Str0ArrayCmpInsStr("a", none, &index), nullptr);
    EXPECT_EQ(index, 0U);
}

TEST(KeywordTest, NullTextOrTableLeavesTheIndexAlone) {
    uint32_t index = kUntouched;
    EXPECT_EQ(sys_Str0ArrayCmpInsStr(nullptr, table, &index), nullptr);
    EXPECT_EQ(sys_Str0ArrayCmpInsStr("a", nullptr, &index), nullptr);
    EXPECT_EQ(sys_Str0ArrayCmpInsLen(nullptr, table, &index, 1), nullptr);
    EXPECT_EQ(sys_Str0ArrayCmpInsLen("a", nullptr, &index, 1), nullptr);
    EXPECT_EQ(index, kUntouched);
}

TEST(KeywordTest, EveryAbbreviationFindsTheFirstEntryThatBeginsWithIt) {
    for (uint32_t entry = 0; table[entry] != nullptr; ++entry) {
        const auto full = static_cast<uint32_t>(std::strlen(table[entry]));
        for (uint32_t length = 1; length <= full; ++length) {
            uint32_t first = 0;
            while (strncasecmp(table[first], table[entry], length) != 0) {
                ++first;
            }
            uint32_t index = kUntouched;
            str0_find_keyword(table[entry], table, &index, length);
            EXPECT_EQ(index, first) << table[entry] << ' ' << length;
        }
    }
}

} // namespace
