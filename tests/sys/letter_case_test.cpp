#include "support/foreign_locale.h"
#include "sys/compare.h"
#include "sys/letter_case.h"
#include "sys/strheap.h"

#include <gtest/gtest.h>

#include <cctype>

namespace {

TEST(LetterCaseTest, ConvertsInPlaceAndReturnsTheText) {
    char text[] = "aBc-19z";
    EXPECT_EQ(sys_Str0ToUpper(text), text);
    EXPECT_STREQ(text, "ABC-19Z");
    EXPECT_EQ(sys_Str0ToLower(text), text);
    EXPECT_STREQ(text, "abc-19z");
}

TEST(LetterCaseTest, EmptyAndNullTextsAreGivenBack) {
    char empty[] = "";
    EXPECT_EQ(sys_Str0ToUpper(empty), empty);
    EXPECT_EQ(sys_Str0ToLower(empty), empty);
    EXPECT_EQ(sys_Str0ToUpper(nullptr), nullptr);
    EXPECT_EQ(sys_Str0ToLower(nullptr), nullptr);
}

TEST(LetterCaseTest, AgreesWithTheLibraryOnEveryByte) {
    for (int byte = 1; byte <= 255; ++byte) {
        char text[2] = {static_cast<char>(byte), '\0'};
        sys_Str0ToUpper(text);
        EXPECT_EQ(static_cast<unsigned char>(text[0]), std::toupper(byte)) << byte;
        text[0] = static_cast<char>(byte);
        sys_Str0ToLower(text);
        EXPECT_EQ(static_cast<unsigned char>(text[0]), std::tolower(byte)) << byte;
    }
}

TEST(LetterCaseTest, FollowsTheLocaleInBytesAbove127) {
    const test_support::ForeignLocale german;
    if (!german.is_set()) {
        GTEST_SKIP() << "no locale sources on this machine";
    }
    char text[] = "\xE4x\xF6";
    EXPECT_STREQ(sys_Str0ToUpper(text), "\xC4X\xD6");
    EXPECT_EQ(sys_Str0SinglCmpInsStr("\xE4", "\xC4"), 0);
    EXPECT_EQ(sys_Str0SinglCmpInsStr("\xE4", "\xD6"), -1);
    strheap_t heap = sys_StrHeapInit(10);
    sys_StrHeapCopyStr(&heap, "\xE4");
    EXPECT_FALSE(sys_StrHeapCmpStr(&heap, "\xC4", false, true));
    EXPECT_TRUE(sys_StrHeapCmpStr(&heap, "\xC4", false, false));
    sys_StrHeapFree(&heap);
    EXPECT_STREQ(sys_Str0ToLower(text), "\xE4x\xF6");
}

} // namespace
