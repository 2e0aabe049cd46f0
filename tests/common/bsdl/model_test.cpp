#include "common/bsdl/model.h"
#include "common/bsdl/sample.h"

#include <gtest/gtest.h>

namespace talvor::bsdl {
namespace {

TEST(PatternTest, MatchesWhatDiffersUnderXOnly) {
    const Pattern pattern{"1X0"};
    EXPECT_TRUE(pattern.matches(0b100));
    EXPECT_TRUE(pattern.matches(0b110));
    EXPECT_FALSE(pattern.matches(0b101));
    EXPECT_FALSE(pattern.matches(0b000));
    EXPECT_EQ(pattern.bit(0), '0');
    EXPECT_EQ(pattern.bit(2), '1');
    EXPECT_EQ(pattern.value(), 0b100U);
}

TEST(PatternTest, LooksAtTheLowest64Bits) {
    const Pattern pattern{"0" + std::string(64, '1')};
    EXPECT_TRUE(pattern.matches(~uint64_t{0}));
    EXPECT_FALSE(pattern.matches(~uint64_t{1}));
    EXPECT_EQ(pattern.value(), ~uint64_t{0});
    EXPECT_EQ(pattern.bit(64), '0');
}

TEST(FindSignalTest, KnowsNameElementAndPin) {
    const Device device = read(sample()).device;
    const auto found = [&device](std::string_view name) {
        const auto signal = find_signal(device, name);
        return signal ? device.signals[*signal].name : "none";
    };
    EXPECT_EQ(found("rx"), "RX");
    EXPECT_EQ(found("PA(0)"), "PA(0)");
    EXPECT_EQ(found("pa1"), "PA(1)");
    EXPECT_EQ(found("PA[1]"), "PA(1)");
    EXPECT_EQ(found("8"), "TX");
    for (const char* none : {"", "PA", "PA2", "PA(", "PA()", "PA01x", "11", "PA(1"}) {
        EXPECT_EQ(found(none), "none") << none;
    }
}

TEST(FindSignalTest, PrefersAPortToAnElementAndThatToAPin) {
    std::string text = sample_with("RX : in bit;", "PA1 : in bit;");
    const Device scalar = read(text.replace(text.find("RX : 7"), 6, "PA1 : 7")).device;
    EXPECT_EQ(find_signal(scalar, "PA1"), find_signal(scalar, "7"));
    const Device pin = read(sample_with("RX : 7", "RX : PA0")).device;
    EXPECT_EQ(find_signal(pin, "PA0"), find_signal(pin, "PA(0)"));
}

TEST(FindInstructionTest, IsNullForOneThatIsNotThere) {
    const Device device = read(sample()).device;
    EXPECT_EQ(find_instruction(device, "INTEST"), nullptr);
    EXPECT_EQ(find_instruction(device, "bypass")->name, "BYPASS");
}

} // namespace
} // namespace talvor::bsdl
