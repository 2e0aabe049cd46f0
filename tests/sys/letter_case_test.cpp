#include "sys/letter_case.h"

#include <cctype>
#include <gtest/gtest.h>

namespace {

TEST(LetterCase, ConvertsInPlaceAndReturnsTheText) {
    char text[] = "aBc-19z";
    EXPECT_EQ(sys_Str0ToUpper(text), text);
    EXPECT_STREQ(text, "ABC-19Z");
    EXPECT_EQ(sys_Str0ToLower(text), text);
    EXPECT_STREQ(text, "abc-19z");
}

TEST(LetterCase, EmptyAndNullTextsAreGivenBack) {
    char empty[] = "";
    EXPECT_EQ(sys_Str0ToUpper(empty), empty);
    EXPECT_EQ(sys_Str0ToLower(empty), empty);
    EXPECT_EQ(sys_Str0ToUpper(nullptr), nullptr);
    EXPECT_EQ(sys_Str0ToLower(nullptr), nullptr);
}

TEST(LetterCase, AgreesWithTheLibraryOnEveryByte) {
    for (int byte = 1; byte <= 255; ++byte) {
        char text[2] = {static_cast<char>(byte), '\0'};
        sys_Str0ToUpper(text);
        EXPECT_EQ(static_cast<unsigned char>(text[0]), std::toupper(byte)) << byte;
        text[0] = static_cast<char>(byte);
        sys_Str0ToLower(text);
        EXPECT_EQ(static_cast<unsigned char>(text[0]), std::tolower(byte)) << byte;
    }
}

} // namespace
