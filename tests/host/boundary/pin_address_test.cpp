#include "host/boundary/pin_address.h"
#include "tests/host/boundary/two_parts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor::boundary {
namespace {

using testing::HasSubstr;

class FindPinTest : public testing::Test {
protected:
    const std::vector<boundary::Member> members_ = two_parts();

    [[nodiscard]] std::string found(const std::string& text) const {
        const auto address = find_pin(members_, text);
        return address ? pin_text(members_, *address) : headline(address.error());
    }
};

TEST_F(FindPinTest, TakesSignalsAndPackagePinsBehindADevice) {
    EXPECT_EQ(found("u1.Q(0)"), "u1.Q(0)");
    EXPECT_EQ(found("U3.q1"), "u3.Q(1)");
    EXPECT_EQ(found("3.MODE"), "u3.MODE");
    EXPECT_EQ(found("u1.7"), "u1.Q(1)");
}

TEST_F(FindPinTest, WantsADeviceWhereSeveralHaveThePin) {
    EXPECT_EQ(found("MODE"), "MODE: 2 devices have such a pin: u1.MODE and u3.MODE");
    std::vector<boundary::Member> one = members_;
    one[0].plan.reset();
    EXPECT_EQ(pin_text(one, *find_pin(one, "MODE")), "u3.MODE");
}

TEST_F(FindPinTest, TellsPinsThatThereAreNone) {
    EXPECT_THAT(found("u1.X"), HasSubstr("no described device has such a signal"));
    EXPECT_THAT(found("u2.MODE"), HasSubstr("has no description"));
    EXPECT_EQ(find_pin(members_, "X").error().kind, ErrorKind::Usage);
    EXPECT_FALSE(find_pin(members_, ""));
}

TEST_F(FindPinTest, ReadsSettings) {
    const auto setting = parse_setting(members_, "u3.Q(1)=z");
    ASSERT_TRUE(setting);
    EXPECT_EQ(setting->address, (PinAddress{2, find_pin(members_, "u3.Q1")->signal}));
    EXPECT_EQ(setting->level, boundary::Level::Z);
    EXPECT_EQ(parse_setting(members_, "u1.Q0=1")->level, boundary::Level::High);
    EXPECT_EQ(parse_setting(members_, "u1.Q0=0")->level, boundary::Level::Low);
    for (const char* wrong : {"u1.Q0", "u1.Q0=", "u1.Q0=2", "u1.Q0=10", "=1", ""}) {
        EXPECT_FALSE(parse_setting(members_, wrong)) << wrong;
    }
}

TEST_F(FindPinTest, NamesPins) {
    EXPECT_EQ(pin_texts(members_, 0, {5, 6}), "u1.Q(0), u1.Q(1)");
    EXPECT_EQ(pin_texts(members_, 0, {}), "");
}

TEST(FitsFilterTest, LooksForAPart) {
    EXPECT_TRUE(fits_filter("PA(3)", "a(3"));
    EXPECT_TRUE(fits_filter("PA(3)", ""));
    EXPECT_FALSE(fits_filter("PA(3)", "PB"));
    EXPECT_FALSE(fits_filter("PA", "PAA"));
}

TEST(FitsFilterTest, TakesAPatternAsAWhole) {
    EXPECT_TRUE(fits_filter("PA(3)", "pa*"));
    EXPECT_TRUE(fits_filter("PA(3)", "*(?)"));
    EXPECT_TRUE(fits_filter("u1.PA(3)", "u?.*3*"));
    EXPECT_TRUE(fits_filter("", "**"));
    EXPECT_FALSE(fits_filter("PA(3)", "A*"));
    EXPECT_FALSE(fits_filter("PA(3)", "PA(?"));
    EXPECT_FALSE(fits_filter("PA(3)", "PA(3)?"));
    EXPECT_TRUE(fits_filter("aab", "*ab"));
    EXPECT_TRUE(fits_filter("PA(3)", "*([0-3])"));
    EXPECT_FALSE(fits_filter("PA(3)", "*([4-7])"));
    EXPECT_TRUE(fits_filter("A\\B", "a\\?"));
}

} // namespace
} // namespace talvor::boundary
