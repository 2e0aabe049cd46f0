#include "common/text.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

TEST(CountTextTest, OneThingIsNotMany) {
    EXPECT_EQ(count_text(0, "statement"), "0 statements");
    EXPECT_EQ(count_text(1, "statement"), "1 statement");
    EXPECT_EQ(count_text(2, "statement"), "2 statements");
    EXPECT_EQ(count_text(1, "entry", "entries"), "1 entry");
    EXPECT_EQ(count_text(3, "entry", "entries"), "3 entries");
}

TEST(SecondsTextTest, OneSecondIsNotMany) {
    EXPECT_EQ(seconds_text(1), "1 second");
    EXPECT_EQ(seconds_text(0.2), "0.2 seconds");
    EXPECT_EQ(seconds_text(0), "0 seconds");
    EXPECT_EQ(seconds_text(30), "30 seconds");
}

TEST(RevisionTextTest, WritesMajorAndMinorInHexadecimal) {
    EXPECT_EQ(revision_text(0x0210), "2.10");
    EXPECT_EQ(revision_text(0x0302), "3.2");
    EXPECT_EQ(revision_text(0x0400), "4.0");
}

TEST(SameNameTest, DoesNotDistinguishCapitals) {
    EXPECT_TRUE(same_name("Reset_N", "RESET_n"));
    EXPECT_TRUE(same_name("aZ", "Az"));
    EXPECT_TRUE(same_name("", ""));
    EXPECT_FALSE(same_name("RESET", "RESET_N"));
    EXPECT_FALSE(same_name("RESET_N", "RESET"));
    EXPECT_FALSE(same_name("@[", "`{")); // next to the letters, and 32 apart as they are
}

TEST(XmlTextTest, HoldsNothingThatXmlForbids) {
    EXPECT_EQ(xml_text("<a b=\"c\" & d>"), "&lt;a b=&quot;c&quot; &amp; d&gt;");
    EXPECT_EQ(xml_text(std::string("a\0b\x1B[\n\t>", 8)), "a?b?[\n\t&gt;");
}

TEST(XmlTextTest, HoldsUtf8AndNothingElse) {
    EXPECT_EQ(xml_text("\xC3\xA4<\xE2\x82\xAC"), "\xC3\xA4&lt;\xE2\x82\xAC");
    EXPECT_EQ(xml_text("a\xFF\xFE<b\xC3"), "a??&lt;b?");
    EXPECT_EQ(xml_text("\xED\xA0\x80"), "???"); // half a character of UTF-16
    EXPECT_EQ(xml_text("\xEF\xBF\xBD\xEF\xBF\xBE\xEF\xBF\xBF"), "\xEF\xBF\xBD??");
}

} // namespace
} // namespace talvor
