#include "host/svf/number.h"

#include <gtest/gtest.h>

namespace talvor::svf {
namespace {

using std::chrono::nanoseconds;

TEST(NumberTest, WholeNumbersMayBeWrittenAsReals) {
    EXPECT_EQ(to_whole("0"), 0U);
    EXPECT_EQ(to_whole("+12"), 12U);
    EXPECT_EQ(to_whole("1.00E+03"), 1000U);
    EXPECT_EQ(to_whole("8.0"), 8U);
    EXPECT_EQ(to_whole("18446744073709551615"), UINT64_MAX);
    for (const char* text : {"", "1.5", "-1", "1e30", "8TDI", "TCK", "+", "++1", "+-1", "0x8"}) {
        EXPECT_EQ(to_whole(text), std::nullopt) << text;
    }
}

TEST(NumberTest, RealsAreFinite) {
    EXPECT_DOUBLE_EQ(to_real("1.00E-02").value(), 0.01);
    EXPECT_DOUBLE_EQ(to_real(".5").value(), 0.5);
    EXPECT_DOUBLE_EQ(to_real("-3e2").value(), -300);
    for (const char* text : {"INF", "NAN", "1e999", "1.0.0", "1E", ""}) {
        EXPECT_EQ(to_real(text), std::nullopt) << text;
    }
}

TEST(NumberTest, ANumberStartsWithADigitAPointOrASign) {
    EXPECT_TRUE(looks_like_number("1"));
    EXPECT_TRUE(looks_like_number(".5"));
    EXPECT_TRUE(looks_like_number("-1"));
    EXPECT_FALSE(looks_like_number("E5"));
    EXPECT_FALSE(looks_like_number(""));
}

TEST(NumberTest, TimesAreRoundedUpToTheNanosecond) {
    EXPECT_EQ(to_time(0), nanoseconds(0));
    EXPECT_EQ(to_time(1e-9), nanoseconds(1));
    EXPECT_EQ(to_time(1.2e-9), nanoseconds(2));
    EXPECT_EQ(to_time(0.3), nanoseconds(300000000));
    EXPECT_EQ(to_time(-1), std::nullopt);
    EXPECT_EQ(to_time(86400000), nanoseconds(86400000000000000));
    EXPECT_EQ(to_time(86400001), std::nullopt);
}

} // namespace
} // namespace talvor::svf
