#include "host.h"
#include "podsim/model/controller.h"
#include "tests/podsim/reason.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace talvor::podsim {
namespace {

using namespace host;

constexpr unsigned kIrPath = TBC_STATE_IR_PATH;

class StrictControllerTest : public StrictPodTest {};

TEST_F(StrictControllerTest, PowerOnValues) {
    for (unsigned port = 0; port < TBC_CACHED_PORTS; ++port) {
        const unsigned expected = port == 2 ? 1U : port == 5 ? 0x0C0CU : 0U;
        EXPECT_EQ(pod.read(port), expected) << port;
    }
    EXPECT_EQ(pod.read(16), 0U);
    EXPECT_EQ(pod.read(17), 0x8003U);
    EXPECT_EQ(pod.read(18), 1U);
    EXPECT_EQ(pod.read(19), 0U);
    EXPECT_EQ(pod.read(31), 0x00E1U);
}

TEST_F(StrictControllerTest, UnnamedRegistersKeepWhatWasWritten) {
    for (const unsigned port : {0U, 4U, 6U, 7U, 8U, 11U, 12U, 13U, 25U, 27U}) {
        pod.write(port, 0x1234 + port);
        EXPECT_EQ(pod.read(port), 0x1234 + port);
    }
    pod.write(10, 0x6040);
    EXPECT_EQ(pod.read(10), 0x6040U);
}

TEST_F(StrictControllerTest, ReadOnlyRegistersIgnoreWrites) {
    for (const unsigned port : {17U, 18U, 19U, 20U, 21U, 22U, 31U}) {
        pod.write(port, 0xFFFF);
    }
    EXPECT_EQ(pod.read(17), 0x8003U);
    EXPECT_EQ(pod.read(31), 0x00E1U);
    EXPECT_EQ(pod.warnings.size(), 7U);
}

TEST_F(StrictControllerTest, PortsAbove31Fail) {
    EXPECT_EQ(pod.write_failure(32, 0), "write of port 32, which does not exist");
    EXPECT_EQ(pod.read_failure(32), "read of port 32, which does not exist");
}

TEST(ControllerTest, HighRegistersExistByKind) {
    for (const uint16_t kind : {uint16_t{eJTI_CONTROL_ID_TBC}, uint16_t{eJTI_CONTROL_ID_EXL},
                                uint16_t{eJTI_CONTROL_ID_DPM}}) {
        ControllerSettings settings = strict_settings();
        settings.kind = kind;
        Bench pod(scratch_chain(8), settings);
        const bool exists = kind != eJTI_CONTROL_ID_TBC;
        for (const unsigned port : {24U, 28U, 29U, 30U}) {
            pod.write(port, 0x55AA);
            EXPECT_EQ(pod.read(port), exists ? 0x55AAU : 0xFFFFU) << port;
        }
        EXPECT_EQ(pod.warnings.size(), exists ? 0U : 8U);
        for (const unsigned port : {25U, 26U, 27U}) {
            pod.write(port, 0x0042);
            EXPECT_EQ(pod.read(port), 0x0042U);
        }
        pod.write(TBC_PORT_COMMAND, TBC_COMMAND_VERSION);
        EXPECT_EQ(pod.read(TBC_PORT_VERSION), kind);
        pod.write(TBC_PORT_COMMAND, TBC_COMMAND_RELEASE);
        EXPECT_EQ(pod.read(TBC_PORT_VERSION), 0U);
    }
}

TEST(ControllerTest, UtilityRevisionStandsInverted) {
    for (unsigned revision = 1; revision <= 8; ++revision) {
        ControllerSettings settings;
        settings.utility_revision = revision;
        Bench pod(scratch_chain(8), settings);
        EXPECT_EQ(((~pod.read(31) & 0xE0U) >> 5) + 1, revision);
    }
}

TEST_F(StrictControllerTest, ResetGivesPowerOnValuesSaveOutputsAndPodRegisters) {
    for (const unsigned port : {0U, 1U, 3U, 4U, 6U, 9U, 11U, 12U, 13U, 14U, 25U, 27U}) {
        pod.write(port, 0x0041);
    }
    pod.write(26, 7);
    pod.write(2, 0);
    pod.write(10, 0x7003); // any value with these bits
    for (unsigned port = 0; port < TBC_CACHED_PORTS; ++port) {
        EXPECT_EQ(pod.read(port), port == 5 ? 0x0C0CU : 0U) << port;
    }
    EXPECT_EQ(pod.read(25), 0x41U);
    EXPECT_EQ(pod.read(26), 7U);
    EXPECT_EQ(pod.read(27), 0x41U);
    EXPECT_EQ(pod.controller.tck_hz(), 10'000'000U);
    EXPECT_EQ(pod.read(31) & 1U, 1U); // the condition latch is not the controller's
}

TEST_F(StrictControllerTest, ResetDrivesTheTapToTestLogicReset) {
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    pod.recorder.tms();
    pod.write(10, TBC_CONTROL_RESET);
    EXPECT_EQ(pod.recorder.tms(), "11111");
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
    EXPECT_EQ(pod.read(18), 1U);
}

TEST_F(StrictControllerTest, ShortInitialisationWordClearsTheBitCount) {
    pod.write(12, 0xFFFF);
    pod.write(13, 7);
    pod.write(4, 0x83);
    pod.write(10, TBC_CONTROL_SHORT);
    EXPECT_EQ(pod.read(12), 0U);
    EXPECT_EQ(pod.read(13), 0U);
    EXPECT_EQ(pod.read(4), 0x83U);
    EXPECT_EQ(pod.read(10), TBC_CONTROL_SHORT);
}

TEST_F(StrictControllerTest, ClearBitPulsesTrstnAndClearsTheLatch) {
    pod.go_to(0, TBC_STATE_PAUSE_IR);
    EXPECT_EQ(pod.read(31) & 1U, 1U);
    pod.write(5, 0x0C08);
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
    EXPECT_EQ(pod.read(18), 1U);
    EXPECT_EQ(pod.read(31) & 1U, 1U);
    EXPECT_EQ(pod.recorder.pins.size(), 2U);
    pod.write(5, 0x0C0C);
    EXPECT_EQ(pod.read(31) & 1U, 0U);
    // Without an edge nothing happens.
    pod.write(5, 0x0C0C);
    EXPECT_EQ(pod.recorder.pins.size(), 2U);
}

TEST_F(StrictControllerTest, LatchIsSetWhilePowerIsLost) {
    pod.write(5, 0x0C08);
    pod.write(5, 0x0C0C);
    Faults faults;
    faults.power = false;
    ASSERT_TRUE(pod.controller.set_faults(faults));
    EXPECT_EQ(pod.read(31) & 1U, 1U);
    pod.write(5, 0x0C08);
    pod.write(5, 0x0C0C);
    EXPECT_EQ(pod.read(31) & 1U, 1U);
    ASSERT_TRUE(pod.controller.set_faults({}));
    EXPECT_EQ(pod.read(31) & 1U, 1U);
    pod.write(5, 0x0C08);
    pod.write(5, 0x0C0C);
    EXPECT_EQ(pod.read(31) & 1U, 0U);
}

TEST_F(StrictControllerTest, LostClockShowsInTheSupportRegister) {
    EXPECT_EQ(pod.read(31) & 0x200U, 0U);
    Faults faults;
    faults.clock = false;
    ASSERT_TRUE(pod.controller.set_faults(faults));
    EXPECT_EQ(pod.read(31) & 0x200U, 0x200U);
    EXPECT_EQ(pod.read(31) & 1U, 1U); // as at power-on
}

TEST_F(StrictControllerTest, SupportRegisterDrivesTargetResetAndResetsTheController) {
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    pod.write(12, 31);
    ASSERT_TRUE(pod.controller.write_support(0xFFFF));
    EXPECT_EQ(pod.read(31), 0x01E1U);
    EXPECT_TRUE(pod.controller.target_reset());
    EXPECT_EQ(pod.read(12), 0U);
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
    pod.write(12, 31);
    ASSERT_TRUE(pod.controller.write_support(0x0100)); // no edge
    EXPECT_EQ(pod.read(12), 31U);
    ASSERT_TRUE(pod.controller.write_support(0));
    EXPECT_EQ(pod.read(31), 0x00E1U);
    EXPECT_EQ(pod.recorder.pins, (std::vector<std::string>{"reset 1", "reset 0"}));
}

TEST_F(StrictControllerTest, EmuPinsShowTheirFaults) {
    for (unsigned levels = 0; levels < 4; ++levels) {
        Faults faults;
        faults.emu = {.emu0 = (levels & 1) != 0, .emu1 = (levels & 2) != 0};
        ASSERT_TRUE(pod.controller.set_faults(faults));
        EXPECT_EQ(pod.read(17), 0x8000U | levels);
        EXPECT_EQ(pod.controller.emu_levels(), faults.emu);
    }
    EXPECT_EQ(pod.recorder.pins,
              (std::vector<std::string>{"emu 00", "emu 01", "emu 10", "emu 11"}));
}

class FailingTarget : public Target {
public:
    Status move(uint64_t, unsigned, bool) override { return result(); }
    Status shift(std::span<const uint64_t>, std::span<uint64_t>, uint64_t, bool) override {
        return result();
    }
    Status pulse_trst() override { return result(); }
    Status set_reset(bool) override { return result(); }
    Status power_on() override { return result(); }
    EmuPins emu_pins() override { return emu; }

    bool gone = true;
    EmuPins emu;

private:
    Status result() const { return gone ? failure("the target has gone") : Status{}; }
};

TEST(ControllerTest, FailureOfTheTargetReachesTheBatch) {
    FailingTarget target;
    Controller controller(strict_settings(), target);
    EXPECT_EQ(failure_of(controller, controller.write(11, TBC_STATE_IDLE)), "");
    EXPECT_EQ(failure_of(controller, controller.write(10, TBC_CONTROL_RUN)), "the target has gone");
    EXPECT_EQ(failure_of(controller, controller.write(5, 0)), "the target has gone");
    EXPECT_EQ(controller.read(5), 0x0C0CU); // the write did not happen
    EXPECT_EQ(failure_of(controller, controller.write(10, TBC_CONTROL_RESET)),
              "the target has gone");
    EXPECT_EQ(reason_of(controller.write_support(SUPPORT_RESET)), "the target has gone");
    target.gone = false;
    // In the middle of a scan.
    EXPECT_EQ(failure_of(controller, controller.write(11, TBC_TRANSIT_SCAN | TBC_STATE_IDLE)), "");
    EXPECT_EQ(failure_of(controller, controller.write(4, TBC_SCAN_RECEIVE)), "");
    EXPECT_EQ(failure_of(controller, controller.write(10, TBC_CONTROL_RUN)), "");
    target.gone = true;
    EXPECT_EQ(failure_of(controller, controller.wait(SHM_WAIT_READ_ONE)), "the target has gone");
    EXPECT_FALSE(controller.busy());
}

TEST(ControllerTest, FailureShowsWhenTheTargetIsClocked) {
    FailingTarget target;
    target.gone = false;
    Controller controller(strict_settings(), target);
    EXPECT_EQ(failure_of(controller, controller.write(12, 63)), "");
    EXPECT_EQ(failure_of(controller, controller.write(11, TBC_TRANSIT_SCAN | TBC_STATE_IDLE)), "");
    EXPECT_EQ(failure_of(controller, controller.write(4, TBC_SCAN_BOTH)), "");
    for (const bool settled : {true, false}) {
        target.gone = false;
        EXPECT_EQ(failure_of(controller, controller.write(10, TBC_CONTROL_RUN)), "");
        target.gone = true;
        EXPECT_EQ(failure_of(controller, controller.write(23, 1)), "");
        EXPECT_EQ(failure_of(controller, controller.write(23, 1)), "");
        EXPECT_EQ(failure_of(controller, controller.wait(SHM_WAIT_READ_ONE)), "");
        // Two words wait to be clocked; the first received one comes out of the pipeline.
        if (settled) {
            EXPECT_EQ(reason_of(controller.settle()), "the target has gone");
        } else {
            EXPECT_EQ(failure_of(controller, controller.read(18).has_value()),
                      "the target has gone");
        }
        EXPECT_FALSE(controller.busy());
        // Nothing comes of the words that were waited for.
        EXPECT_EQ(failure_of(controller, controller.read(22).has_value()),
                  "read of the receive buffer with nothing to give");
    }
}

TEST(ControllerTest, WordsNotReadSurviveLaterScans) {
    Bench pod(scratch_chain(64, {0x4444'3333'2222'1111}), strict_settings());
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 47);
    pod.wait(SHM_WAIT_DONE);
    EXPECT_NE(pod.read(22), 0x1111U); // the pipeline
    // Launched without emptying the buffers.
    pod.write(12, 0xFFFF);
    pod.write(4, TBC_SCAN_ONES | LINK_DELAY_DEFAULT);
    pod.write(10, TBC_CONTROL_RUN);
    EXPECT_EQ(pod.read(22), 0x1111U);
    EXPECT_EQ(pod.read(22), 0x2222U);
}

TEST(ControllerTest, TargetsEmuPinsAreSeen) {
    FailingTarget target;
    target.gone = false;
    Controller controller(strict_settings(), target);
    target.emu.emu1 = false;
    EXPECT_EQ(controller.read(17), 0x8001U);
    Faults faults;
    faults.emu.emu0 = false;
    ASSERT_TRUE(controller.set_faults(faults));
    EXPECT_EQ(controller.read(17), 0x8000U);
}

// A target that finds something wrong, once.
class Complaining : public Chain {
public:
    Complaining() : Chain(scratch_chain(8)) {}
    std::string take_finding() override { return std::exchange(finding, {}); }
    std::string finding = "net N: two outputs";
};

TEST(ControllerTest, WhatTheTargetFindsWrongFailsABatchOfAStrictPodOnly) {
    for (const bool strict : {true, false}) {
        Complaining target;
        std::vector<std::string> warnings;
        ControllerSettings settings;
        settings.strict = strict;
        Controller controller(settings, target,
                              [&](std::string_view text) { warnings.emplace_back(text); });
        const Status first = controller.settle();
        EXPECT_EQ(first ? "" : headline(first.error()), strict ? "net N: two outputs" : "");
        EXPECT_EQ(warnings.size(), strict ? 0U : 1U);
        EXPECT_TRUE(controller.settle());
        EXPECT_EQ(warnings.size(), strict ? 0U : 1U);
    }
}

} // namespace
} // namespace talvor::podsim
