// Link delay and automatic adjustment: what a host reads when the way back is not what it believes.
#include "description_text.h"
#include "host.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace endtoend {
namespace {

using test_support::LeakGuard;
using test_support::PodsimProcess;

constexpr uint16_t kMarked = 8; // instruction of a register that captures the pattern
constexpr uint32_t kBits = 64;
constexpr uint64_t kPattern = 0xC0FF'EE15'900D'1DEA;

std::string marked_pod(uint32_t serial, unsigned pipeline, unsigned cable) {
    talvor::podsim::DeviceDescription device;
    device.registers.push_back(
        {"", {kMarked}, talvor::podsim::ConstantRegister{kBits, {kPattern}}});
    PodText pod;
    pod.serial = serial;
    pod.return_pipeline = pipeline;
    pod.cable_delay = cable;
    return pod_text(pod, {{device}, {}});
}

uint64_t capture(Host& host, JSC_JtagAdjust adjust) {
    JSC_JtagCommand command = scan_command(eJSC_JTAG_SHIFT_DR);
    command.jtagAdjust = adjust;
    Words words(kBits / 16);
    EXPECT_EQ(host.receive(command, kBits, words), 0);
    uint64_t value = 0;
    for (uint32_t i = 0; i < kBits / 16; ++i) {
        value |= static_cast<uint64_t>(words[i]) << (16 * i);
    }
    return value;
}

// What a stream that is `late` bits behind (before, when negative) keeps of the pattern.
void expect_shifted(uint64_t got, int late) {
    if (late >= 0) {
        EXPECT_EQ(got >> late, kPattern << late >> late);
    } else {
        EXPECT_EQ(got << -late, kPattern >> -late << -late);
    }
}

TEST(LinkDelayTest, OffByAnyNumberOfBitsShiftsTheData) {
    LeakGuard leaks;
    PodsimProcess simulator(marked_pod(1, 16, 3), {"--strict"});
    Host host;
    ASSERT_EQ(host.connect(), 0);
    host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kMarked});
    ASSERT_EQ(capture(host, eJSC_JTAG_ADJUST_AUTO), kPattern);
    ASSERT_EQ(host->PutLinkDelay(host.handle(), -3), 0);
    for (int link = 0; link <= 31; ++link) {
        SCOPED_TRACE(link);
        uint32_t normal = 0;
        uint32_t maximum = 0;
        uint32_t actual = 0;
        ASSERT_EQ(host->GetLinkDelay(host.handle(), &normal, &maximum, &actual), 0);
        EXPECT_EQ(actual, static_cast<uint32_t>(link));
        // Not even a pod can give a bit before it was there: 16 bits early at most.
        expect_shifted(capture(host, eJSC_JTAG_ADJUST_AUTO), std::max(3 - link, -16));
        ASSERT_EQ(host->PutLinkDelay(host.handle(), 1), 0);
    }
    EXPECT_EQ(capture(host, eJSC_JTAG_ADJUST_AUTO) >> 3, kPattern << 3 >> 3) << "32 applies as 0";
    EXPECT_EQ(simulator.log(), "");
}

TEST(LinkDelayTest, MatchesACableOfAnyLength) {
    LeakGuard leaks;
    std::string text;
    for (unsigned cable = 0; cable <= 31; ++cable) {
        text += marked_pod(cable + 1, 16, cable);
    }
    PodsimProcess simulator(text, {"--strict"});
    for (unsigned cable = 0; cable <= 31; cable += 3) {
        SCOPED_TRACE(cable);
        // The key gives the delay itself; with a sign, a change of the default.
        for (const std::string& key :
             {std::to_string(cable), (cable < 3 ? "" : "+") + std::to_string(int(cable) - 3)}) {
            Keys keys = pod_keys(2, cable + 1);
            keys["VEXIL.LINKDLY"] = key;
            Host host(keys);
            ASSERT_EQ(host.connect(), 0) << key;
            ASSERT_EQ(host.move(eJSC_JTAG_STATE_RESET), 0);
            host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kMarked});
            EXPECT_EQ(capture(host, eJSC_JTAG_ADJUST_AUTO), kPattern) << key;
        }
    }
    EXPECT_EQ(simulator.log(), "");
}

// The pipeline in the pod holds 16 bits: without adjustment they come first.
TEST(AdjustmentTest, TakesThePipelineOfThePodOutOfTheData) {
    LeakGuard leaks;
    PodsimProcess simulator(marked_pod(1, 16, 3) + marked_pod(2, 0, 3), {"--strict"});
    for (const uint32_t serial : {1U, 2U}) {
        SCOPED_TRACE(serial);
        Host host(pod_keys(2, serial));
        ASSERT_EQ(host.connect(), 0);
        host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kMarked});
        const bool pipelined = serial == 1;
        expect_shifted(capture(host, eJSC_JTAG_ADJUST_AUTO), pipelined ? 0 : -16);
        expect_shifted(capture(host, eJSC_JTAG_ADJUST_USER), pipelined ? 16 : 0);
    }
    EXPECT_EQ(simulator.log(), "");
}

TEST(AdjustmentTest, ShowsThatTheTargetIsClockedTooFast) {
    LeakGuard leaks;
    talvor::podsim::DeviceDescription device;
    device.registers.push_back(
        {"", {kMarked}, talvor::podsim::ConstantRegister{kBits, {kPattern}}});
    std::string text = pod_text({}, {{device}, {}});
    text.insert(text.find("serial"), "max_tck_hz = 10_000_000\n");
    PodsimProcess simulator(text, {"--strict"});
    for (const bool fast : {false, true}) {
        // 100 MHz / 10, and / 9.
        Host host(Keys{{"KELM.POD_TCKDIV", fast ? "6" : "7"}, {"KELM.POD_TCKEXP", "0"}});
        ASSERT_EQ(host.connect(), 0);
        ASSERT_EQ(host.move(eJSC_JTAG_STATE_RESET), 0);
        host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kMarked});
        expect_shifted(capture(host, eJSC_JTAG_ADJUST_AUTO), fast ? 1 : 0);
    }
}

} // namespace
} // namespace endtoend
