// Connecting to pods of every kind and generation, for the first time and again.
#include "description_text.h"
#include "host.h"
#include "simulator_status.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <numeric>

namespace endtoend {
namespace {

using test_support::LeakGuard;
using test_support::PodsimProcess;

constexpr uint32_t kIdcode = 0x1A2B3C4D;

uint32_t number(const Words& words) {
    return static_cast<uint32_t>(words.at(0)) | static_cast<uint32_t>(words.at(1)) << 16;
}

uint32_t actual_link_delay(Host& host) {
    uint32_t normal = 0;
    uint32_t maximum = 0;
    uint32_t actual = 0;
    EXPECT_EQ(host->GetLinkDelay(host.handle(), &normal, &maximum, &actual), 0);
    EXPECT_EQ(normal, 3U);
    EXPECT_EQ(maximum, 31U);
    return actual;
}

TEST(ConnectTest, InitialisesAFreshPodTheLongWay) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    Host host({}, 0);
    ASSERT_EQ(host.created(), 0);
    EXPECT_EQ(status_text(simulator, "condition_latch"), "true");
    ASSERT_EQ(host.connect(), 0) << simulator.log();
    EXPECT_TRUE(host.first());
    EXPECT_EQ(status_text(simulator, "condition_latch"), "false");
    EXPECT_EQ(status_text(simulator, "tap_state"), "Test-Logic-Reset");
    EXPECT_EQ(actual_link_delay(host), 3U);
    EXPECT_EQ(number(host.capture(eJSC_JTAG_SHIFT_DR, 32)), kIdcode);
    EXPECT_EQ(host.disconnect(), 0);
    EXPECT_TRUE(host.last());
    EXPECT_EQ(host.remove(), 0);
    EXPECT_EQ(status_text(simulator, "attached"), "false");
    EXPECT_EQ(simulator.log(), "");
}

// The quick start sets no link delay: what comes back is late by the cable's.
TEST(ConnectTest, InitialisesAPodThatIsReadyTheShortWay) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    {
        Host before({}, 0);
        ASSERT_EQ(before.connect(), 0);
        before.exchange(eJSC_JTAG_SHIFT_IR, 4, {8});
        EXPECT_EQ(before.exchange(eJSC_JTAG_SHIFT_DR, 32, {0x5678, 0x1234}), Words({0, 0}));
        ASSERT_EQ(before.move(eJSC_JTAG_STATE_PAUSE_DR), 0);
        ASSERT_EQ(before.state(), eJSC_JTAG_STATE_PAUSE_DR);
    }
    Host host({}, 0);
    ASSERT_EQ(host.connect(), 0) << simulator.log();
    EXPECT_TRUE(host.first());
    EXPECT_EQ(actual_link_delay(host), 0U);
    EXPECT_EQ(host.state(), eJSC_JTAG_STATE_PAUSE_DR) << "the target is left alone";
    ASSERT_EQ(host.move(eJSC_JTAG_STATE_IDLE), 0);
    Words back(2);
    EXPECT_EQ(host.both(scan_command(eJSC_JTAG_SHIFT_DR), 32, {0x5678, 0x1234}, back), 0);
    EXPECT_EQ(number(back) & ~7U, 0x12345678U << 3);
    EXPECT_EQ(host->PutLinkDelay(host.handle(), 3), 0);
    EXPECT_EQ(number(host.capture(eJSC_JTAG_SHIFT_DR, 32)), 0x12345678U);
    EXPECT_EQ(simulator.log(), "");
}

TEST(ConnectTest, InitialisesAReadyPodTheLongWayOnRequest) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    { EXPECT_EQ(Host({}, 0).connect(), 0); }
    Host host({}, JSC_RECIPE_LONG_INIT);
    ASSERT_EQ(host.connect(), 0);
    EXPECT_EQ(actual_link_delay(host), 3U);
    EXPECT_EQ(simulator.log(), "");
}

TEST(ConnectTest, TakesTheModeFromTheConfigurationOnRequest) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    for (const uint32_t recipe : {0U, JSC_RECIPE_MODE_CONFIG}) {
        Host host({{"VEXIL.FASTCLK", "yes"}}, recipe | JSC_RECIPE_LONG_INIT | JSC_RECIPE_RESET_LOG);
        ASSERT_EQ(host.connect(), 0);
        JSC_ResetAction action{};
        action.verbose = true;
        ASSERT_EQ(host->Reset(host.handle(), &action), 0);
        std::vector<uint32_t> log(JSC_RESET_LOG_WORDS);
        bool known = false;
        uint32_t actual = 0;
        uint32_t total = 0;
        ASSERT_EQ(host->LogFileRead(host.handle(), eJSC_LOGFILE_ID_RESET, &known,
                                    JSC_RESET_LOG_WORDS - 1, log.data(), &actual, &total),
                  0);
        const uint32_t mode = recipe == 0 ? RSTLOG_USE_SLOWER_CLK_MODE : RSTLOG_USE_FASTER_CLK_MODE;
        ASSERT_GT(actual, 7U);
        EXPECT_EQ(log[7], mode);
    }
}

TEST(ConnectTest, RefusesAPodOfAnotherGeneration) {
    LeakGuard leaks;
    std::string text;
    for (uint32_t generation = 1; generation <= 4; ++generation) {
        PodText pod;
        pod.serial = generation;
        pod.revision = static_cast<uint16_t>(generation << 8 | 1);
        text += plain_pod_text(pod);
    }
    PodsimProcess simulator(text, {"--strict"});
    for (uint32_t generation = 1; generation <= 4; ++generation) {
        for (uint32_t version = 1; version <= 4; ++version) {
            SCOPED_TRACE(testing::Message() << "pod " << generation << " as " << version);
            Host host(pod_keys(version, generation));
            ASSERT_EQ(host.created(), 0);
            const bool match = generation == version;
            EXPECT_EQ(host.connect(), match ? 0 : eJTI_ERROR_CONTROLLER_KIND);
            if (match) {
                EXPECT_EQ(number(host.capture(eJSC_JTAG_SHIFT_DR, 32)), kIdcode);
            } else {
                EXPECT_EQ(host.disconnect(), eJTI_ERROR_HANDLE_STATE);
                EXPECT_EQ(host.remove(), eJTI_ERROR_HANDLE_STATE);
            }
        }
    }
}

TEST(ConnectTest, WorksWithThePodWaitingByItselfAndWithout) {
    LeakGuard leaks;
    for (const uint32_t generation : {2U, 3U, 4U}) {
        PodText pod;
        pod.revision = static_cast<uint16_t>(generation << 8);
        PodsimProcess simulator(plain_pod_text(pod), {"--strict"});
        for (const char* waits : {"yes", "no"}) {
            Keys keys = pod_keys(generation);
            keys["KELM.POD_AW_EN"] = waits;
            Host host(keys);
            ASSERT_EQ(host.connect(), 0) << simulator.log();
            ASSERT_EQ(host.move(eJSC_JTAG_STATE_RESET), 0);
            EXPECT_EQ(number(host.capture(eJSC_JTAG_SHIFT_DR, 32)), kIdcode);
            // Longer than the register: behind what it captured come the leading ones of the
            // adjustment, then what was sent.
            host.exchange(eJSC_JTAG_SHIFT_IR, 4, {8});
            Words out(600);
            std::iota(out.begin(), out.end(), uint16_t{0x5AC3});
            const Words in = host.exchange(eJSC_JTAG_SHIFT_DR, 600 * 16, out);
            EXPECT_EQ(in[2], 0xFFFF);
            EXPECT_EQ(Words(in.begin() + 3, in.end()), Words(out.begin(), out.end() - 3));
        }
        EXPECT_EQ(simulator.log(), "");
    }
}

TEST(ConnectTest, KnowsTheKindsOfController) {
    LeakGuard leaks;
    struct Case {
        const char* kind;
        int32_t code;
        uint32_t version;
        int32_t register_24;
    };
    for (const Case& one :
         {Case{"tbc", 0, eJTI_CONTROL_ID_TBC, eJTI_ERROR_REGISTER_RANGE},
          Case{"dpm", 0, eJTI_CONTROL_ID_DPM, 0},
          // Recognised, but it has no done-wait, so it never gets through its initialisation.
          Case{"exl", eJTI_ERROR_BAD_ARGUMENT, 0, 0}}) {
        SCOPED_TRACE(one.kind);
        PodText pod;
        pod.controller = one.kind;
        PodsimProcess simulator(plain_pod_text(pod), {"--strict"});
        Host host;
        ASSERT_EQ(host.created(), 0);
        ASSERT_EQ(host.connect(), one.code);
        EXPECT_EQ(simulator.log(), "");
        if (one.code != 0) {
            continue;
        }
        bool known = false;
        uint32_t version = 0;
        EXPECT_EQ(
            host->MultipleVersion(host.handle(), eJSC_FEATURE_ID_TBC_VERSION, &known, &version), 0);
        EXPECT_EQ(version, one.version);
        uint16_t word = 0;
        EXPECT_EQ(host->RegisterRead(host.handle(), true, true, 24, 1, &word), one.register_24);
        EXPECT_EQ(host->RegisterRead(host.handle(), true, true, 23, 0, &word), 0);
        EXPECT_EQ(number(host.capture(eJSC_JTAG_SHIFT_DR, 32)), kIdcode);
    }
}

} // namespace
} // namespace endtoend
