#include "host/clock/test_clock.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

TEST(TestClockTest, Generation1HasNoExponentAndDividersUpTo12) {
    const TestClock clock({}, 1);
    EXPECT_EQ(clock.hertz({0, 0, false}), 33'333'333U);
    EXPECT_EQ(clock.hertz({7, 0, false}), 10'000'000U);
    EXPECT_EQ(clock.hertz({7, 5, false}), 10'000'000U);
    EXPECT_EQ(clock.hertz({12, 0, true}), 1'666'666U);
    EXPECT_EQ(clock.fastest(), 33'333'333U);
    EXPECT_EQ(clock.slowest(), 1'666'666U);
}

TEST(TestClockTest, LaterGenerationsHaveAnExponent) {
    const TestClock clock({}, 3);
    EXPECT_EQ(clock.hertz({10, 1, false}), 3'846'153U);
    EXPECT_EQ(clock.hertz({15, 7, true}), 10'850U);
    EXPECT_EQ(clock.slowest(), 10'850U);
    EXPECT_EQ(clock.fastest(), 33'333'333U);
}

TEST(TestClockTest, FindsTheFastestSettingThatIsNotAbove) {
    const TestClock clock({}, 2);
    EXPECT_EQ(clock.at_most(10e6), (ClockSetting{7, 0, false}));
    EXPECT_EQ(clock.at_most(9'999'999), (ClockSetting{8, 0, false}));
    EXPECT_EQ(clock.at_most(1e12), (ClockSetting{0, 0, false}));
    EXPECT_EQ(clock.at_most(10'850), (ClockSetting{15, 7, true}));
    EXPECT_EQ(clock.at_most(10'849), std::nullopt);
    // 6.25 MHz comes from 100 MHz / 16 and from 25 MHz / 4: without the pre-divider goes first.
    EXPECT_EQ(clock.at_most(6.25e6), (ClockSetting{13, 0, false}));
}

TEST(TestClockTest, NothingThatIsSlowerThanAllowedIsFasterThanWhatItFinds) {
    for (const uint32_t generation : {1U, 2U, 4U}) {
        const TestClock clock({}, generation);
        for (double limit = 2e6; limit < 40e6; limit *= 1.013) {
            const auto found = clock.at_most(limit);
            ASSERT_TRUE(found);
            EXPECT_LE(static_cast<double>(clock.hertz(*found)), limit);
            for (uint32_t divider = 0; divider <= (generation == 1 ? 12U : 15U); ++divider) {
                for (uint32_t exponent = 0; exponent <= (generation == 1 ? 0U : 7U); ++exponent) {
                    for (const bool predivide : {false, true}) {
                        const uint64_t hertz = clock.hertz({divider, exponent, predivide});
                        EXPECT_FALSE(static_cast<double>(hertz) <= limit &&
                                     hertz > clock.hertz(*found));
                    }
                }
            }
        }
    }
}

TEST(TestClockTest, TheFormulaMayBeAnother) {
    const TestClock clock({50'000'000, 1'000'000, 1}, 2);
    EXPECT_EQ(clock.hertz({0, 0, false}), 50'000'000U);
    EXPECT_EQ(clock.hertz({4, 1, true}), 100'000U);
}

TEST(TestClockTest, ReadsAndWritesTheKeys) {
    const TestClock clock({}, 2);
    KeyStore keys;
    EXPECT_EQ(clock.setting(keys), (ClockSetting{10, 1, false})) << "the driver's own defaults";
    clock.apply({3, 2, true}, keys);
    EXPECT_EQ(keys.find("KELM.POD_TCKDIV")->text, "3");
    EXPECT_EQ(keys.find("KELM.POD_TCKEXP")->text, "2");
    EXPECT_EQ(keys.find("KELM.POD_TCKPREDIVENA")->text, "true");
    EXPECT_EQ(clock.setting(keys), (ClockSetting{3, 2, true}));
}

TEST(TestClockTest, Generation1KnowsNoExponentKey) {
    const TestClock clock({}, 1);
    KeyStore keys;
    clock.apply({3, 0, false}, keys);
    EXPECT_EQ(keys.find("KELM.POD_TCKEXP"), nullptr);
    EXPECT_EQ(clock.setting(keys), (ClockSetting{3, 0, false}));
}

TEST(TestClockTest, BadKeysOfABoardFileDoNoHarm) {
    const TestClock clock({}, 2);
    KeyStore keys;
    keys.set("KELM.POD_TCKDIV", "4294967295");
    keys.set("KELM.POD_TCKEXP", "99");
    EXPECT_EQ(clock.hertz(clock.setting(keys)), 0U);
}

TEST(FrequencyTextTest, TakesTheUnitThatFits) {
    EXPECT_EQ(frequency_text(10e6), "10 MHz");
    EXPECT_EQ(frequency_text(10.375e6), "10.375 MHz");
    EXPECT_EQ(frequency_text(33'333'333), "33.333 MHz");
    EXPECT_EQ(frequency_text(500e3), "500 kHz");
    EXPECT_EQ(frequency_text(10'850), "10.85 kHz");
    EXPECT_EQ(frequency_text(488), "488 Hz");
}

} // namespace
} // namespace talvor
