#include "host/waveform/vcd_words.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace talvor::waveform {
namespace {

TEST(VcdWordsTest, StandBetweenBlanks) {
    std::istringstream text(" $var\twire\n\n#10\r\n");
    VcdWords words(text);
    EXPECT_EQ(words.next(), "$var");
    EXPECT_EQ(words.line(), 1U);
    EXPECT_EQ(words.next(), "wire");
    EXPECT_EQ(words.line(), 1U) << "the newline is counted with the next word";
    EXPECT_EQ(words.next(), "#10");
    EXPECT_EQ(words.line(), 3U);
    EXPECT_FALSE(words.cut());
    EXPECT_EQ(words.next(), "");
    EXPECT_EQ(words.next(), "");
}

TEST(VcdWordsTest, TheLastOneMayBeCut) {
    std::istringstream text("#10 #2");
    VcdWords words(text);
    EXPECT_EQ(words.next(), "#10");
    EXPECT_FALSE(words.cut());
    EXPECT_EQ(words.next(), "#2");
    EXPECT_TRUE(words.cut());
}

TEST(VcdWordsTest, AreNoLongerThanAnyThatMeansSomething) {
    std::istringstream text(std::string(100'000, 'a') + " b");
    VcdWords words(text);
    EXPECT_EQ(words.next(), std::string(4096, 'a'));
    EXPECT_EQ(words.next(), "b");
}

} // namespace
} // namespace talvor::waveform
