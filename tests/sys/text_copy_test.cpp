#include "sys/text_copy.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(TextCopyTest, SearchFindsTheFirstCharacterWithinTheLength) {
    const char text[] = "abcb";
    EXPECT_EQ(sys_Str0SearchLen(text, 4, 'b'), text + 1);
    EXPECT_EQ(sys_Str0SearchLen(text, 2, 'b'), text + 1);
    EXPECT_EQ(sys_Str0SearchLen(text, 1, 'b'), nullptr);
    EXPECT_EQ(sys_Str0SearchLen(text, 2, 'c'), nullptr);
    EXPECT_EQ(sys_Str0SearchLen(text, 3, 'c'), text + 2);
    EXPECT_EQ(sys_Str0SearchLen(text, 4, 'x'), nullptr);
    EXPECT_EQ(sys_Str0SearchLen(text, 0, 'a'), nullptr);
    EXPECT_EQ(sys_Str0SearchLen(nullptr, 4, 'a'), nullptr);
}

TEST(TextCopyTest, SearchGoesOverANul) {
    const char text[] = {'a', '\0', 'b', '\xE9'};
    EXPECT_EQ(sys_Str0SearchLen(text, 4, 'b'), text + 2);
    EXPECT_EQ(sys_Str0SearchLen(text, 4, '\0'), text + 1);
    EXPECT_EQ(sys_Str0SearchLen(text, 4, '\xE9'), text + 3);
}

TEST(TextCopyTest, CopyLenCopiesExactlyAndTerminates) {
    char buffer[8] = "xxxxxxx";
    EXPECT_FALSE(sys_Str0CopyLen(buffer, "abcdef", 3));
    EXPECT_EQ(std::memcmp(buffer, "abc\0xxx\0", 8), 0);

    const char with_nul[] = {'a', '\0', 'b'};
    EXPECT_FALSE(sys_Str0CopyLen(buffer, with_nul, 3));
    EXPECT_EQ(std::memcmp(buffer, "a\0b\0xxx\0", 8), 0);
}

TEST(TextCopyTest, CopyLenRefusesNullAndZeroWithNothingWritten) {
    char buffer[4] = "xyz";
    EXPECT_TRUE(sys_Str0CopyLen(nullptr, "a", 1));
    EXPECT_TRUE(sys_Str0CopyLen(buffer, nullptr, 1));
    EXPECT_TRUE(sys_Str0CopyLen(buffer, "a", 0));
    EXPECT_STREQ(buffer, "xyz");
}

TEST(TextCopyTest, ApndLenAppendsExactlyAndTerminates) {
    char buffer[10] = "ab\0xxxxxx";
    EXPECT_EQ(sys_Str0ApndLen(buffer, "cdef", 2), 0);
    EXPECT_EQ(std::memcmp(buffer, "abcd\0xxxx\0", 10), 0);

    char empty[3] = "";
    EXPECT_EQ(sys_Str0ApndLen(empty, "xy", 1), 0);
    EXPECT_STREQ(empty, "x");

    const char with_nul[] = {'\0', 'z'};
    EXPECT_EQ(sys_Str0ApndLen(buffer, with_nul, 2), 0);
    EXPECT_EQ(std::memcmp(buffer, "abcd\0z\0xx\0", 10), 0);
}

TEST(TextCopyTest, ApndLenRefusesNullAndZeroWithNothingWritten) {
    char buffer[4] = "xy";
    EXPECT_EQ(sys_Str0ApndLen(nullptr, "a", 1), 1);
    EXPECT_EQ(sys_Str0ApndLen(buffer, nullptr, 1), 1);
    EXPECT_EQ(sys_Str0ApndLen(buffer, "a", 0), 1);
    EXPECT_STREQ(buffer, "xy");
}

TEST(TextCopyTest, FromTextCopiesWhatFits) {
    char buffer[8] = "xxxxxxx";
    EXPECT_FALSE(sys_Str0FromText("abc", 3, buffer, 8));
    EXPECT_EQ(std::memcmp(buffer, "abc\0xxx\0", 8), 0);
    EXPECT_FALSE(sys_Str0FromText("abcdef", 6, buffer, 7));
    EXPECT_STREQ(buffer, "abcdef");
    EXPECT_FALSE(sys_Str0FromText("ABCDEF", 6, buffer, 6));
    EXPECT_STREQ(buffer, "ABCDE");
    EXPECT_FALSE(sys_Str0FromText("z", 1, buffer, 1));
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(buffer[1], 'B');
}

TEST(TextCopyTest, FromTextWithoutATextWritesNothing) {
    char buffer[4] = "xyz";
    EXPECT_FALSE(sys_Str0FromText(nullptr, 3, buffer, 4));
    EXPECT_STREQ(buffer, "xyz");
    EXPECT_FALSE(sys_Str0FromText("abc", 0, buffer, 4));
    EXPECT_STREQ(buffer, "xyz");
}

TEST(TextCopyTest, FromTextWithoutABufferFails) {
    char buffer[4] = "xyz";
    EXPECT_TRUE(sys_Str0FromText("abc", 3, nullptr, 4));
    EXPECT_TRUE(sys_Str0FromText("abc", 3, buffer, 0));
    EXPECT_TRUE(sys_Str0FromText(nullptr, 0, nullptr, 0));
    EXPECT_STREQ(buffer, "xyz");
}

} // namespace
