#include "tool/commands/script_line.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

using Words = std::vector<std::string>;

TEST(SplitWordsTest, SplitsAtBlanksOutsideOfQuotes) {
    EXPECT_EQ(*split_words(""), Words{});
    EXPECT_EQ(*split_words("  dr\t0x1  --bits 4\r"), (Words{"dr", "0x1", "--bits", "4"}));
    EXPECT_EQ(*split_words("svf 'a b.svf' \"c d\""), (Words{"svf", "a b.svf", "c d"}));
    EXPECT_EQ(*split_words("a'b c'd \"\" ''"), (Words{"ab cd", "", ""}));
}

TEST(SplitWordsTest, TakesABackslashForTheNextCharacter) {
    EXPECT_EQ(*split_words("a\\ b \\# \\\\"), (Words{"a b", "#", "\\"}));
    EXPECT_EQ(*split_words(R"("a\"b" 'a\b')"), (Words{"a\"b", "a\\b"}));
    EXPECT_EQ(*split_words("a \\\n b"), (Words{"a", "b"})) << "a line that goes on";
    EXPECT_EQ(*split_words("a\\"), Words{"a\\"});
}

TEST(SplitWordsTest, LeavesCommentsOut) {
    EXPECT_EQ(*split_words("# all of it"), Words{});
    EXPECT_EQ(*split_words("dr 0x1 # why 'not"), (Words{"dr", "0x1"}));
    EXPECT_EQ(*split_words("a#b '#'"), (Words{"a#b", "#"}));
}

TEST(SplitWordsTest, RefusesAQuoteWithoutAnEnd) {
    for (const char* line : {"'", "a \"b", "\"a\\\""}) {
        const auto words = split_words(line);
        ASSERT_FALSE(words) << line;
        EXPECT_EQ(words.error().kind, ErrorKind::Usage);
        EXPECT_EQ(words.error().reason, "the quote has no end");
    }
}

TEST(GoesOnTest, IsSoBehindABackslashThatStandsForItself) {
    EXPECT_TRUE(goes_on("dr \\"));
    EXPECT_TRUE(goes_on("\\"));
    EXPECT_TRUE(goes_on("a\\\\\\"));
    EXPECT_FALSE(goes_on("a\\\\"));
    EXPECT_FALSE(goes_on("a"));
    EXPECT_FALSE(goes_on(""));
}

} // namespace
} // namespace talvor
