#include "tool/commands/values.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

TEST(ParseFrequencyTest, TakesHertzAndUnits) {
    struct Case {
        const char* text;
        double hertz;
    };
    for (const Case& one :
         {Case{"10MHz", 10e6}, Case{"10.5 MHz", 10.5e6}, Case{"500kHz", 500e3}, Case{"500k", 500e3},
          Case{"2m", 2e6}, Case{"32768Hz", 32768}, Case{"1e6hz", 1e6}, Case{"488 Hz", 488}}) {
        const Result<double> hertz = parse_frequency(one.text, "--tck");
        ASSERT_TRUE(hertz) << one.text;
        EXPECT_DOUBLE_EQ(*hertz, one.hertz) << one.text;
    }
}

TEST(ParseFrequencyTest, RefusesWhatIsNone) {
    for (const char* text : {"", "MHz", "0", "-1", "10GHz", "10 MHz x", "nan", "inf", "1MHzz"}) {
        const Result<double> hertz = parse_frequency(text, "--tck");
        ASSERT_FALSE(hertz) << text;
        EXPECT_EQ(hertz.error().kind, ErrorKind::Usage);
        EXPECT_EQ(hertz.error().thing, "--tck");
        EXPECT_EQ(hertz.error().reason,
                  std::string(text) +
                      " is no frequency: expected something like 10.5MHz, 500kHz or 32768Hz");
    }
}

TEST(ParseFrequencyTest, RefusesANumberWithoutAUnit) {
    for (const char* text : {"10", "10.5", "1e6"}) {
        const Result<double> hertz = parse_frequency(text, "--tck");
        ASSERT_FALSE(hertz) << text;
        EXPECT_EQ(hertz.error().reason,
                  std::string(text) +
                      " has no unit: expected something like 10.5MHz, 500kHz or 32768Hz");
    }
}

TEST(ParseStateTest, KnowsTheWordsInAnyCase) {
    EXPECT_EQ(*parse_state("reset"), StableState::Reset);
    EXPECT_EQ(*parse_state("TLR"), StableState::Reset);
    EXPECT_EQ(*parse_state("Idle"), StableState::Idle);
    EXPECT_EQ(*parse_state("drpause"), StableState::PauseDr);
    EXPECT_EQ(*parse_state("pauseir"), StableState::PauseIr);
    const Result<StableState> shift = parse_state("shiftdr");
    ASSERT_FALSE(shift);
    EXPECT_EQ(shift.error().reason, "is no stable state: expected reset, idle, pausedr or pauseir");
}

TEST(ParseStateTest, ReadsBackWhatItPrints) {
    for (const StableState state :
         {StableState::Reset, StableState::Idle, StableState::PauseDr, StableState::PauseIr}) {
        EXPECT_EQ(*parse_state(state_word(state)), state);
    }
}

TEST(ParseNumberTest, HasALimit) {
    EXPECT_EQ(*parse_number("31", 31, "register"), 31U);
    EXPECT_EQ(*parse_number("0x1f", 31, "register"), 31U);
    for (const char* text : {"32", "-1", "x", ""}) {
        const Result<uint32_t> number = parse_number(text, 31, "register");
        ASSERT_FALSE(number) << text;
        EXPECT_EQ(number.error().thing, std::string("register ") + text);
        EXPECT_EQ(number.error().reason, "expected a number from 0 to 31, decimal or with 0x");
    }
}

TEST(ParseLengthsTest, ReadsAListBetweenCommas) {
    EXPECT_EQ(parse_lengths("4", "list"), (std::vector<uint32_t>{4}));
    EXPECT_EQ(parse_lengths("4,0x10,65536", "list"), (std::vector<uint32_t>{4, 16, 65536}));
    for (const char* text : {"", ",", ",4", "4,,5", "1", "65537", "4,x", "4 5"}) {
        const auto lengths = parse_lengths(text, "list");
        ASSERT_FALSE(lengths) << text;
        EXPECT_EQ(headline(lengths.error()),
                  std::string("list: ") + text + ": expected lengths from 2 to 65536, as in 4,5,8");
    }
}

TEST(ParseBitsTest, IsAsLongAsItsDigitsUnlessToldOtherwise) {
    EXPECT_EQ(parse_bits("0x1F", 0, "data")->size(), 8U);
    EXPECT_EQ(parse_bits("1F", 5, "data")->size(), 5U);
    EXPECT_EQ(hex_text(*parse_bits("1F", 33, "data")), "0x00000001F");
    const Result<Bits> wide = parse_bits("3F", 5, "data");
    ASSERT_FALSE(wide);
    EXPECT_EQ(wide.error().thing, "data 3F");
    EXPECT_EQ(wide.error().exit_status(), 2);
}

} // namespace
} // namespace talvor
