// The ready-made descriptions: whole chains read through the driver.
#include "host.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace endtoend {
namespace {

using test_support::LeakGuard;
using test_support::PodsimProcess;

std::string example(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(std::string(TALVOR_EXAMPLES) + "/" + name).rdbuf();
    return text.str();
}

uint32_t bits_at(const Words& words, uint32_t first, uint32_t count) {
    uint32_t value = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t bit = first + i;
        value |= ((static_cast<uint32_t>(words.at(bit / 16)) >> (bit % 16)) & 1U) << i;
    }
    return value;
}

TEST(ChainTest, OfFiveGivesTheIdcodesOfAllThatHaveOne) {
    LeakGuard leaks;
    PodsimProcess simulator(example("five.toml"), {"--strict"});
    Host host(pod_keys(3));
    ASSERT_EQ(host.connect(), 0) << simulator.log();
    const Words in = host.capture(eJSC_JTAG_SHIFT_DR, 4 * 32 + 1 + 16);
    // The device nearest TDO comes first; the one without an IDCODE is in BYPASS.
    EXPECT_EQ(bits_at(in, 0, 32), 0x05707E35U);
    EXPECT_EQ(bits_at(in, 32, 32), 0x3D5A07E3U);
    EXPECT_EQ(bits_at(in, 64, 1), 0U);
    EXPECT_EQ(bits_at(in, 65, 32), 0x1A2B3C4DU);
    EXPECT_EQ(bits_at(in, 97, 32), 0x2C0DE7E3U);
    EXPECT_EQ(bits_at(in, 129, 16), 0U) << "a receiving scan sends zeros";
    EXPECT_EQ(simulator.log(), "");
}

TEST(ChainTest, OfFiveGivesItsCapturePatterns) {
    LeakGuard leaks;
    PodsimProcess simulator(example("five.toml"), {"--strict"});
    Host host(pod_keys(3));
    ASSERT_EQ(host.connect(), 0);
    const Words in = host.capture(eJSC_JTAG_SHIFT_IR, 10 + 8 + 5 + 4 + 6);
    EXPECT_EQ(bits_at(in, 0, 10), 1U);
    EXPECT_EQ(bits_at(in, 10, 8), 1U);
    EXPECT_EQ(bits_at(in, 18, 5), 1U);
    EXPECT_EQ(bits_at(in, 23, 4), 1U);
    EXPECT_EQ(bits_at(in, 27, 6), 1U);
}

// Ambles hold the other devices in BYPASS around the one that is meant.
TEST(ChainTest, OfFiveLetsOneDeviceBeReachedThroughTheAmbles) {
    LeakGuard leaks;
    PodsimProcess simulator(example("five.toml"), {"--strict"});
    Host host(pod_keys(3));
    ASSERT_EQ(host.connect(), 0);
    JSC_JtagAmbleDelay ambles{};
    ambles.useAmbles = true;
    ambles.preAmbleIR = 10 + 8 + 5; // store, dsp, switch
    ambles.posAmbleIR = 6;          // gate
    ambles.preAmbleDR = 3;
    ambles.posAmbleDR = 1;
    ASSERT_EQ(host->PutAmbleDelay(host.handle(), &ambles), 0);
    JSC_JtagCommand ir = scan_command(eJSC_JTAG_SHIFT_IR);
    ir.jtagAmble = eJSC_JTAG_AMBLE_BOTH;
    Words captured(1);
    ASSERT_EQ(host.both(ir, 4, {0b0010}, captured), 0); // IDCODE of the cpu
    EXPECT_EQ(captured[0], 1U);
    JSC_JtagCommand dr = scan_command(eJSC_JTAG_SHIFT_DR);
    dr.jtagAmble = eJSC_JTAG_AMBLE_BOTH;
    Words idcode(2);
    ASSERT_EQ(host.receive(dr, 32, idcode), 0);
    EXPECT_EQ(bits_at(idcode, 0, 32), 0x1A2B3C4DU);
    EXPECT_EQ(simulator.log(), "");
}

TEST(ChainTest, OfTwoPodsIsChosenBySerialNumber) {
    LeakGuard leaks;
    PodsimProcess simulator(example("two-pods.toml"), {"--strict"});
    Host old(pod_keys(1, 101));
    Host young(pod_keys(4, 102));
    ASSERT_EQ(old.connect(), 0) << simulator.log();
    ASSERT_EQ(young.connect(), 0) << simulator.log();
    EXPECT_TRUE(old.first());
    EXPECT_TRUE(young.first());
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(old.move(eJSC_JTAG_STATE_RESET), 0);
        ASSERT_EQ(young.move(eJSC_JTAG_STATE_RESET), 0);
        EXPECT_EQ(bits_at(old.capture(eJSC_JTAG_SHIFT_DR, 32), 0, 32), 0x0000100FU);
        const Words both = young.capture(eJSC_JTAG_SHIFT_DR, 33);
        EXPECT_EQ(bits_at(both, 0, 1), 0U);
        EXPECT_EQ(bits_at(both, 1, 32), 0x1000200FU);
    }
    Host first(pod_keys(1));
    EXPECT_EQ(first.created(), 0) << "without a serial number the first pod is taken";
    Host nobody(pod_keys(4, 103));
    EXPECT_EQ(nobody.created(), eJTI_ERROR_POD_OPEN);
    EXPECT_EQ(simulator.log(), "pod 101: a host attaches, and the one before it never detached\n");
}

} // namespace
} // namespace endtoend
