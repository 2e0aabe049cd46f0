#include "common/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace talvor {
namespace {

// Of the first character.
size_t bytes_of(const std::string& text) {
    return utf8_bytes(text, 0);
}

TEST(Utf8Test, KnowsTheFirstAndLastOfEachLength) {
    for (const char* text : {"\x01", "\x7F"}) {
        EXPECT_EQ(bytes_of(text), 1U) << text;
    }
    for (const char* text : {"\xC2\x80", "\xDF\xBF"}) {
        EXPECT_EQ(bytes_of(text), 2U) << text;
    }
    for (const char* text : {"\xE0\xA0\x80", "\xE0\xBF\xBF", "\xE1\x80\x80", "\xEC\xBF\xBF",
                             "\xED\x80\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF"}) {
        EXPECT_EQ(bytes_of(text), 3U) << text;
    }
    for (const char* text : {"\xF0\x90\x80\x80", "\xF0\xBF\xBF\xBF", "\xF1\x80\x80\x80",
                             "\xF3\xBF\xBF\xBF", "\xF4\x80\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(bytes_of(text), 4U) << text;
    }
}

TEST(Utf8Test, KnowsWhatIsNone) {
    for (const char* text : {"\x80",
                             "\xBF",
                             "\xC0\x80",
                             "\xC1\xBF",
                             "\xC2",
                             "\xC2z",
                             "\xC2\xC0",
                             "\xDF\x7F",
                             "\xE0\x9F\xBF",
                             "\xE0\xC0\x80",
                             "\xE1\x7F\x80",
                             "\xE1\x80\x7F",
                             "\xE1\x80\xC0",
                             "\xED\xA0\x80",
                             "\xEF\xBF",
                             "\xF0\x8F\xBF\xBF",
                             "\xF0\x90\x80\x7F",
                             "\xF0\x90\xC0\x80",
                             "\xF4\x90\x80\x80",
                             "\xF3\xBF\xBF",
                             "\xF5\x80\x80\x80",
                             "\xFE",
                             "\xFF"}) {
        EXPECT_EQ(bytes_of(text), 0U) << text;
    }
}

TEST(Utf8Test, LooksAtTheOffset) {
    const std::string text = "a\xC3\xA4\xFFz";
    EXPECT_EQ(utf8_bytes(text, 0), 1U);
    EXPECT_EQ(utf8_bytes(text, 1), 2U);
    EXPECT_EQ(utf8_bytes(text, 2), 0U);
    EXPECT_EQ(utf8_bytes(text, 3), 0U);
    EXPECT_EQ(utf8_bytes(text, 4), 1U);
}

} // namespace
} // namespace talvor
