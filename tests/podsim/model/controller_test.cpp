#include "podsim/model/controller.h"

#include "host.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace host;
using testing::Test;

constexpr unsigned kIrPath = TBC_STATE_IR_PATH;

class ControllerTest : public Test {
protected:
    ControllerTest() : pod(scratch_chain(64), strict_settings()) {}
    Bench pod;
};

// ---- registers --------------------------------------------------------------------------------

TEST_F(ControllerTest, PowerOnValues) {
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

TEST_F(ControllerTest, UnnamedRegistersKeepWhatWasWritten) {
    for (const unsigned port : {0U, 4U, 6U, 7U, 8U, 11U, 12U, 13U, 25U, 27U}) {
        pod.write(port, 0x1234 + port);
        EXPECT_EQ(pod.read(port), 0x1234 + port);
    }
    pod.write(10, 0x6040);
    EXPECT_EQ(pod.read(10), 0x6040U);
}

TEST_F(ControllerTest, ReadOnlyRegistersIgnoreWrites) {
    for (const unsigned port : {17U, 18U, 19U, 20U, 21U, 22U, 31U}) {
        pod.write(port, 0xFFFF);
    }
    EXPECT_EQ(pod.read(17), 0x8003U);
    EXPECT_EQ(pod.read(31), 0x00E1U);
    EXPECT_EQ(pod.warnings.size(), 7U);
}

TEST_F(ControllerTest, PortsAbove31Fail) {
    EXPECT_EQ(pod.write_failure(32, 0), "write of port 32, which does not exist");
    EXPECT_EQ(pod.read_failure(32), "read of port 32, which does not exist");
}

TEST(Controller, HighRegistersExistByKind) {
    for (const std::uint16_t kind :
         {std::uint16_t{eJTI_CONTROL_ID_TBC}, std::uint16_t{eJTI_CONTROL_ID_EXL},
          std::uint16_t{eJTI_CONTROL_ID_DPM}}) {
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

TEST(Controller, UtilityRevisionStandsInverted) {
    for (unsigned revision = 1; revision <= 8; ++revision) {
        ControllerSettings settings;
        settings.utility_revision = revision;
        Bench pod(scratch_chain(8), settings);
        EXPECT_EQ(((~pod.read(31) & 0xE0U) >> 5) + 1, revision);
    }
}

TEST_F(ControllerTest, ResetGivesPowerOnValuesSaveOutputsAndPodRegisters) {
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

TEST_F(ControllerTest, ResetDrivesTheTapToTestLogicReset) {
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    pod.recorder.tms();
    pod.write(10, TBC_CONTROL_RESET);
    EXPECT_EQ(pod.recorder.tms(), "11111");
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
    EXPECT_EQ(pod.read(18), 1U);
}

TEST_F(ControllerTest, ShortInitialisationWordClearsTheBitCount) {
    pod.write(12, 0xFFFF);
    pod.write(13, 7);
    pod.write(4, 0x83);
    pod.write(10, TBC_CONTROL_SHORT);
    EXPECT_EQ(pod.read(12), 0U);
    EXPECT_EQ(pod.read(13), 0U);
    EXPECT_EQ(pod.read(4), 0x83U);
    EXPECT_EQ(pod.read(10), TBC_CONTROL_SHORT);
}

// ---- loop-back ----------------------------------------------------------------------------------

struct LoopCase {
    LoopFault fault;
    Words expected;
};

const LoopCase kLoopCases[] = {
    {LoopFault::None, {0x5AC3, 0xA53C, 0x0F0F, 0x3CA5, 0xC35A}},
    {LoopFault::HighOnes, {0xFFC3, 0xFF3C, 0xFF0F, 0xFFA5, 0xFF5A}},
    {LoopFault::LowOnes, {0x5AFF, 0xA5FF, 0x0FFF, 0x3CFF, 0xC3FF}},
    {LoopFault::HighZeros, {0x00C3, 0x003C, 0x000F, 0x00A5, 0x005A}},
    {LoopFault::LowZeros, {0x5A00, 0xA500, 0x0F00, 0x3C00, 0xC300}},
    {LoopFault::Corrupt, {0x4ACB, 0xB534, 0x1F07, 0x2CAD, 0xD352}},
};

TEST_F(ControllerTest, LoopBackReversesWordsAndShowsItsFault) {
    for (const LoopCase& each : kLoopCases) {
        Faults faults;
        faults.loopback = each.fault;
        ASSERT_FALSE(pod.controller.set_faults(faults).failed());
        pod.write(10, TBC_CONTROL_EMPTY);
        pod.write(1, TBC_COMMAND_LOOPBACK);
        for (const unsigned word : {0xC35AU, 0x3CA5U, 0xF0F0U, 0xA53CU, 0x5AC3U}) {
            pod.write(23, word);
        }
        Words got;
        for (int i = 0; i < 5; ++i) {
            got.push_back(pod.read(22));
        }
        EXPECT_EQ(got, each.expected);
        pod.write(1, TBC_COMMAND_RELEASE);
    }
}

TEST_F(ControllerTest, EmptyLoopBackReadsOnesAndNeedsNoWait) {
    pod.write(1, TBC_COMMAND_LOOPBACK);
    EXPECT_EQ(pod.read(22), 0xFFFFU);
    pod.write(23, 0);
    pod.write(10, TBC_CONTROL_EMPTY);
    EXPECT_EQ(pod.read(22), 0xFFFFU);
    EXPECT_EQ(pod.wait_failure(SHM_WAIT_READ_ONE), "wait for a word of an empty loop-back path");
    pod.write(23, 1);
    pod.wait(SHM_WAIT_READ_ONE);
    EXPECT_EQ(pod.read(22), 0x8000U);
    // Leaving it drops what is left.
    pod.write(23, 1);
    pod.write(1, TBC_COMMAND_RELEASE);
    pod.write(1, TBC_COMMAND_LOOPBACK);
    EXPECT_EQ(pod.read(22), 0xFFFFU);
}

TEST_F(ControllerTest, LoopBackOverflowIsAMistake) {
    pod.write(1, TBC_COMMAND_LOOPBACK);
    for (std::size_t i = 0; i < LoopBack::kDepth; ++i) {
        pod.write(23, 0);
    }
    EXPECT_EQ(pod.write_failure(23, 0), "word sent into a full loop-back path, dropped");
}

// ---- TRSTn, condition latch, support register, EMU pins -----------------------------------------

TEST_F(ControllerTest, ClearBitPulsesTrstnAndClearsTheLatch) {
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

TEST_F(ControllerTest, LatchIsSetWhilePowerIsLost) {
    pod.write(5, 0x0C08);
    pod.write(5, 0x0C0C);
    Faults faults;
    faults.power = false;
    ASSERT_FALSE(pod.controller.set_faults(faults).failed());
    EXPECT_EQ(pod.read(31) & 1U, 1U);
    pod.write(5, 0x0C08);
    pod.write(5, 0x0C0C);
    EXPECT_EQ(pod.read(31) & 1U, 1U);
    ASSERT_FALSE(pod.controller.set_faults({}).failed());
    EXPECT_EQ(pod.read(31) & 1U, 1U);
    pod.write(5, 0x0C08);
    pod.write(5, 0x0C0C);
    EXPECT_EQ(pod.read(31) & 1U, 0U);
}

TEST_F(ControllerTest, LostClockShowsInTheSupportRegister) {
    EXPECT_EQ(pod.read(31) & 0x200U, 0U);
    Faults faults;
    faults.clock = false;
    ASSERT_FALSE(pod.controller.set_faults(faults).failed());
    EXPECT_EQ(pod.read(31) & 0x200U, 0x200U);
    EXPECT_EQ(pod.read(31) & 1U, 1U); // as at power-on
}

TEST_F(ControllerTest, SupportRegisterDrivesTargetResetAndResetsTheController) {
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    pod.write(12, 31);
    ASSERT_FALSE(pod.controller.write_support(0xFFFF).failed());
    EXPECT_EQ(pod.read(31), 0x01E1U);
    EXPECT_TRUE(pod.controller.target_reset());
    EXPECT_EQ(pod.read(12), 0U);
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
    pod.write(12, 31);
    ASSERT_FALSE(pod.controller.write_support(0x0100).failed()); // no edge
    EXPECT_EQ(pod.read(12), 31U);
    ASSERT_FALSE(pod.controller.write_support(0).failed());
    EXPECT_EQ(pod.read(31), 0x00E1U);
    EXPECT_EQ(pod.recorder.pins, (std::vector<std::string>{"reset 1", "reset 0"}));
}

TEST_F(ControllerTest, EmuPinsShowTheirFaults) {
    for (unsigned levels = 0; levels < 4; ++levels) {
        Faults faults;
        faults.emu = {.emu0 = (levels & 1) != 0, .emu1 = (levels & 2) != 0};
        ASSERT_FALSE(pod.controller.set_faults(faults).failed());
        EXPECT_EQ(pod.read(17), 0x8000U | levels);
        EXPECT_EQ(pod.controller.emu_levels(), faults.emu);
    }
    EXPECT_EQ(pod.recorder.pins,
              (std::vector<std::string>{"emu 00", "emu 01", "emu 10", "emu 11"}));
}

TEST_F(ControllerTest, EventCounterCountsChosenEdges) {
    const auto pulse = [this](bool emu0, bool emu1) {
        Faults low;
        low.emu = {.emu0 = !emu0, .emu1 = !emu1};
        ASSERT_FALSE(pod.controller.set_faults(low).failed());
        ASSERT_FALSE(pod.controller.set_faults({}).failed());
    };
    pod.write(14, 0xFFFF);
    pod.write(15, 0xFFFF);
    pulse(true, true); // not started
    pod.write(9, 0x600);
    pod.write(9, 0x608);
    pulse(true, false);
    pulse(true, true);
    pulse(false, true);
    EXPECT_EQ(pod.read(20), 2U);
    pod.write(1, TBC_COMMAND_LATCH);
    pulse(true, false);
    EXPECT_EQ(pod.read(20), 2U);
    pod.write(1, TBC_COMMAND_RELEASE);
    EXPECT_EQ(pod.read(20), 3U);
    EXPECT_EQ(pod.read(21), 0U);
    // EMU1, rising: begins at 0 again.
    pod.write(9, 0x660);
    pod.write(9, 0x668);
    pulse(true, true);
    EXPECT_EQ(pod.read(20), 1U);
    // The limit stops it.
    pod.write(15, 0);
    pod.write(14, 3);
    for (int i = 0; i < 9; ++i) {
        pulse(false, true);
    }
    EXPECT_EQ(pod.read(20), 3U);
}

TEST(EventCounter, HighHalfFollows) {
    EventCounter counter;
    counter.write_control(TBC_EVENT_BASE | TBC_EVENT_START);
    for (int i = 0; i < 0x10002; ++i) {
        counter.levels({true, true}, {false, true});
    }
    EXPECT_EQ(counter.low(), 2U);
    EXPECT_EQ(counter.high(), 1U);
}

// ---- go-to --------------------------------------------------------------------------------------

struct Move {
    unsigned from;
    unsigned transit;
    unsigned to;
    const char* tms;
};

const Move kMoves[] = {
    // Shortest paths.
    {TBC_STATE_RESET, 0, TBC_STATE_IDLE, "0"},
    {TBC_STATE_IDLE, 0, TBC_STATE_PAUSE_DR, "1010"},
    {TBC_STATE_IDLE, 0, TBC_STATE_PAUSE_IR, "11010"},
    {TBC_STATE_PAUSE_DR, 0, TBC_STATE_PAUSE_DR, ""},
    {TBC_STATE_PAUSE_DR, 0, TBC_STATE_SHIFT_DR, "10"},
    {TBC_STATE_PAUSE_DR, 0, TBC_STATE_PAUSE_IR, "1111010"},
    {TBC_STATE_PAUSE_DR, 0, TBC_STATE_IDLE, "110"},
    {TBC_STATE_PAUSE_IR, 0, TBC_STATE_RESET, "11111"},
    {TBC_STATE_SHIFT_IR, 0, TBC_STATE_PAUSE_IR, "10"},
    // Through Capture, to a Pause state only.
    {TBC_STATE_PAUSE_DR, 0x1000, TBC_STATE_PAUSE_DR, "111010"},
    {TBC_STATE_PAUSE_IR, 0x1000, TBC_STATE_PAUSE_IR, "1111010"},
    {TBC_STATE_IDLE, 0x1000, TBC_STATE_PAUSE_DR, "1010"},
    {TBC_STATE_IDLE, 0x1000, TBC_STATE_IDLE, ""},
    {TBC_STATE_PAUSE_DR, 0x1000, TBC_STATE_RESET, "11111"},
    {TBC_STATE_PAUSE_DR, 0x1000, TBC_STATE_SHIFT_DR, "10"},
    {TBC_STATE_RESET, 0x1000, TBC_STATE_IDLE_READ, "0"},
    // Through Run-Test/Idle and seven clocks there.
    {TBC_STATE_IDLE, 0x20E0, TBC_STATE_IDLE, "0000000"},
    {TBC_STATE_PAUSE_DR, 0x20E0, TBC_STATE_PAUSE_DR,
     "110"
     "0000000"
     "1010"},
    {TBC_STATE_RESET, 0x20E0, TBC_STATE_RESET_READ,
     "0"
     "0000000"
     "111"},
    {TBC_STATE_IDLE, 0x2060, TBC_STATE_PAUSE_IR,
     "000"
     "11010"},
};

TEST_F(ControllerTest, GoToTakesItsTransit) {
    const TapState states[] = {TapState::TestLogicReset, TapState::TestLogicReset,
                               TapState::RunTestIdle,    TapState::RunTestIdle,
                               TapState::ShiftDr,        TapState::ShiftIr,
                               TapState::PauseDr,        TapState::PauseIr};
    const unsigned codes[] = {1, 1, 3, 3, 4, 5, 6, 7};
    for (const Move& move : kMoves) {
        pod.write(10, TBC_CONTROL_RESET);
        pod.go_to(0, move.from);
        pod.recorder.tms();
        pod.go_to(move.transit, move.to);
        EXPECT_EQ(pod.recorder.tms(), move.tms);
        EXPECT_EQ(pod.chain.state(), states[move.to]);
        EXPECT_EQ(pod.read(18), codes[move.to]);
    }
}

TEST_F(ControllerTest, FirstMoveToResetClocksFiveOnes) {
    // Nobody knows where a target stands after power-on.
    pod.go_to(0x1000, TBC_STATE_RESET);
    EXPECT_EQ(pod.recorder.tms(), "11111");
    pod.go_to(0x1000, TBC_STATE_RESET);
    EXPECT_EQ(pod.recorder.tms(), "");
}

TEST_F(ControllerTest, DisconnectedOutputsHideClocksFromTheTarget) {
    pod.go_to(0, TBC_STATE_RESET);
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    pod.recorder.tms();
    pod.write(2, 0);
    const std::uint64_t before = pod.controller.time_ns();
    pod.go_to(0, TBC_STATE_IDLE);
    EXPECT_EQ(pod.read(18), 3U);
    EXPECT_EQ(pod.chain.state(), TapState::PauseDr);
    EXPECT_EQ(pod.recorder.tms(), "");
    EXPECT_GT(pod.controller.time_ns(), before);
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 16, {0}, true), (Words{0xFFFF}));
    pod.write(2, 1);
    // Out of step with the target: five ones bring both together.
    pod.go_to(0, TBC_STATE_RESET);
    EXPECT_EQ(pod.recorder.tms(), "11111");
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
}

TEST_F(ControllerTest, ClockOutputOffHidesClocksToo) {
    pod.go_to(0, TBC_STATE_IDLE);
    pod.write(3, TBC_CLOCK_OUT_OFF);
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    EXPECT_EQ(pod.chain.state(), TapState::RunTestIdle);
    pod.write(3, 0);
    pod.go_to(0, TBC_STATE_RESET);
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
}

TEST_F(ControllerTest, LostPowerOrClockReadsOnesAndEndsAllTheSame) {
    for (const bool power : {true, false}) {
        Faults faults;
        faults.power = power;
        faults.clock = !power;
        ASSERT_FALSE(pod.controller.set_faults(faults).failed());
        const TapState before = pod.chain.state();
        pod.go_to(0, TBC_STATE_PAUSE_IR);
        EXPECT_EQ(pod.chain.state(), before);
        EXPECT_EQ(pod.scan_both(TBC_STATE_PAUSE_DR, 32, {0, 0}, true), (Words{0xFFFF, 0xFFFF}));
        ASSERT_FALSE(pod.controller.set_faults({}).failed());
        pod.go_to(0, TBC_STATE_RESET);
        EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 32, true), (Words{0x1477, 0x2BA0}));
    }
}

TEST_F(ControllerTest, PowerThatComesBackResetsTheTarget) {
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.scan_send(TBC_STATE_IDLE, 64, {1, 2, 3, 4});
    pod.wait(SHM_WAIT_DONE);
    Faults off;
    off.power = false;
    ASSERT_FALSE(pod.controller.set_faults(off).failed());
    EXPECT_EQ(pod.chain.device(0).instruction(), 3U);
    ASSERT_FALSE(pod.controller.set_faults({}).failed());
    EXPECT_EQ(pod.chain.device(0).instruction(), 0xEU);
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
}

// ---- scans --------------------------------------------------------------------------------------

TEST_F(ControllerTest, AdjustedScanReturnsWhatWasCaptured) {
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
    EXPECT_EQ(pod.scan_receive(TBC_STATE_PAUSE_DR, 32, true), (Words{0x1477, 0x2BA0}));
    EXPECT_EQ(pod.scan_both(kIrPath | TBC_STATE_IDLE, 4, {0xE}, true), (Words{1}));
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 1, {0}, true), (Words{1}));
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 17, {0, 0}, true), (Words{0x1477, 0}));
    EXPECT_TRUE(pod.warnings.empty());
}

TEST_F(ControllerTest, UnadjustedScanBeginsWithThePipeline) {
    pod.scan_fixed(TBC_STATE_IDLE, 64, false); // IDCODE and zeros: the last 16 are zeros
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, false), (Words{0, 0x1477}));
}

TEST_F(ControllerTest, ScanPathsLeadThroughShiftToTheEnd) {
    pod.go_to(0, TBC_STATE_RESET);
    pod.recorder.tms();
    pod.scan_send(kIrPath | TBC_STATE_PAUSE_IR, 4, {3});
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.recorder.tms(), "01100"
                                  "0001"
                                  "0");
    // From the Pause state of its path through Exit2: no capture.
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.recorder.tms(), "10"
                                  "0001"
                                  "10");
    pod.scan_fixed(TBC_STATE_SHIFT_DR, 3, true);
    EXPECT_EQ(pod.recorder.tms(), "100"
                                  "000");
    pod.scan_fixed(TBC_STATE_RESET, 2, true);
    EXPECT_EQ(pod.recorder.tms(), "01"
                                  "1111");
    pod.scan_fixed(kIrPath | TBC_STATE_SHIFT_DR, 2, true);
    EXPECT_EQ(pod.recorder.tms(), "01100"
                                  "01"
                                  "1100");
    EXPECT_EQ(pod.read(18), 4U);
}

TEST_F(ControllerTest, PauseContinuesAScanWithoutCapture) {
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.scan_send(TBC_STATE_IDLE, 64, {0x1111, 0x2222, 0x3333, 0x4444});
    // Sixteen more ones for the adjustment, then the rest unadjusted.
    pod.scan_fixed(TBC_STATE_PAUSE_DR, 8, true, true);
    const Words got = pod.scan_both(TBC_STATE_IDLE, 40, {0xAAAA, 0xBBBB, 0xCC}, false);
    // 24 bits were clocked before; the pipeline gives back 16 of them.
    EXPECT_EQ(got, (Words{0x2211, 0x3322, 0x0033}));
    // 24 ones and 40 bits stand in the register now.
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 64, true), (Words{0xFFFF, 0xAAFF, 0xBBAA, 0xCCBB}));
}

TEST_F(ControllerTest, FixedScansSendTheirLevelToTheEnd) {
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.scan_fixed(TBC_STATE_IDLE, 64, true);
    EXPECT_EQ(pod.read(18), 3U); // nothing had to be waited for
    pod.scan_fixed(TBC_STATE_IDLE, 24, false);
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 64, true), (Words{0xFFFF, 0xFFFF, 0x00FF, 0}));
    // A receive sends zeros.
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 64, true), (Words{0, 0, 0, 0}));
}

TEST_F(ControllerTest, LargeFixedScanClocksEveryBit) {
    pod.controller.observe(nullptr);
    const std::uint64_t before = pod.controller.time_ns();
    pod.scan_fixed(TBC_STATE_IDLE, 1'000'001, true);
    // Path in (0100), the bits, path out (10), at the power-on period.
    EXPECT_EQ(pod.controller.time_ns() - before, (4 + 1'000'001 + 2) * 30U);
}

TEST(Controller, LinkDelayOffByDShiftsTheStream) {
    for (const unsigned cable : {0U, 1U, 3U, 8U}) {
        for (unsigned link = 0; link <= LINK_DELAY_MAXIMUM; ++link) {
            ControllerSettings settings = strict_settings();
            settings.cable_delay_bits = cable;
            Bench pod(scratch_chain(64, {0x8877'6655'4433'2211}), settings);
            pod.program_link_delay(link);
            pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
            const Words got = pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true);
            const std::uint64_t stream = got[0] | std::uint64_t{got[1]} << 16;
            // The whole delay of pipeline, cable and link is never below 0.
            const int early = std::min(static_cast<int>(link) - static_cast<int>(cable), 16);
            const std::uint64_t value = 0x8877'6655'4433'2211;
            if (early >= 0) {
                EXPECT_EQ(stream, (value >> early) & 0xFFFF'FFFF) << cable << " " << link;
            } else {
                EXPECT_EQ(stream >> -early,
                          (value & 0xFFFF'FFFF) << -early >> -early & (0xFFFF'FFFFU >> -early))
                    << cable << " " << link;
            }
        }
    }
}

TEST(Controller, WithoutLinkDelayDataComesLateByTheCable) {
    Bench pod(scratch_chain(8), strict_settings());
    pod.config = 0;
    // Three bits of the leading word's pipeline, then IDCODE.
    const Words got = pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true);
    EXPECT_EQ((got[0] | std::uint32_t{got[1]} << 16) >> 3, 0x2BA01477U & 0x1FFF'FFFF);
}

TEST(Controller, PodWithoutPipelineServesUnadjustedScans) {
    ControllerSettings settings = strict_settings();
    settings.return_pipeline_bits = 0;
    Bench pod(scratch_chain(8), settings);
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, false), (Words{0x1477, 0x2BA0}));
    pod.program_link_delay(20); // never below 0
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 32, false), (Words{0x1477, 0x2BA0}));
}

TEST(Controller, ReturnPathKeepsItsContentBetweenScans) {
    ControllerSettings settings = strict_settings();
    settings.return_pipeline_bits = 100;
    Bench pod(scratch_chain(8), settings);
    pod.scan_fixed(TBC_STATE_IDLE, 40, false); // IDCODE and eight zeros
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    pod.go_to(0, TBC_STATE_IDLE);
    pod.scan_fixed(TBC_STATE_IDLE, 28, true); // the low 28 bits of IDCODE
    // 68 bits went in, so the first of them comes out after 32 more.
    const Words got = pod.scan_receive(TBC_STATE_IDLE, 100, false);
    const Words expected{0xFFFF, 0xFFFF, 0x1477, 0x2BA0, 0x7700, 0xA014, 0x000B};
    EXPECT_EQ(got, expected);
}

TEST(Controller, FastClockMakesASlowTargetLate) {
    ControllerSettings settings = strict_settings();
    settings.max_tck_hz = 10'000'000;
    Bench pod(scratch_chain(8), settings);
    pod.write(26, 7); // 10 MHz
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
    pod.write(26, 6); // 11.1 MHz
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true)[0] >> 1, 0x1477 & 0x7FFF);
    pod.program_link_delay(4);
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
}

// ---- waits and mistakes -------------------------------------------------------------------------

TEST_F(ControllerTest, WaitsRunTheScanJustAsFarAsNeeded) {
    pod.go_to(0, TBC_STATE_SHIFT_DR);
    pod.recorder.tms();
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 63);
    pod.write(23, 1);
    pod.write(23, 2);
    EXPECT_EQ(pod.recorder.seen.size(), 0U);
    pod.wait(SHM_WAIT_WRITE_ONE);
    EXPECT_EQ(pod.recorder.seen.size(), 16U);
    pod.wait(SHM_WAIT_READ_ONE); // already there
    pod.wait(SHM_WAIT_WRITE_ONE);
    EXPECT_EQ(pod.recorder.seen.size(), 16U);
    pod.wait(SHM_WAIT_READ_MANY);
    EXPECT_EQ(pod.recorder.seen.size(), 32U);
    EXPECT_EQ(pod.read(18), 4U);
    pod.read(22);
    pod.read(22);
    pod.write(23, 3);
    pod.wait(SHM_WAIT_WRITE_MANY);
    EXPECT_EQ(pod.recorder.seen.size(), 48U);
    pod.write(23, 4);
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.recorder.seen.size(), 64U + 2U);
    EXPECT_EQ(pod.read(18), 3U);
    // The end has been waited for, and with it the words.
    pod.read(22);
    pod.read(22);
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer with nothing to give");
}

TEST_F(ControllerTest, ManyReceivedIsTheLastOneWhenNoMoreCome) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 47);
    pod.wait(SHM_WAIT_READ_MANY);
    pod.read(22);
    pod.read(22);
    pod.wait(SHM_WAIT_READ_MANY);
    pod.read(22);
    EXPECT_EQ(pod.wait_failure(SHM_WAIT_READ_MANY), "wait for a received word that cannot come");
}

TEST_F(ControllerTest, WaitThatCannotComeTrueFailsAndChangesNothing) {
    // Nothing is in progress.
    EXPECT_EQ(pod.wait_failure(SHM_WAIT_READ_ONE), "wait for a received word that cannot come");
    pod.wait(SHM_WAIT_WRITE_ONE);
    pod.wait(SHM_WAIT_WRITE_MANY);
    pod.wait(SHM_WAIT_DONE);
    // A scan that lacks a word.
    pod.go_to(0, TBC_STATE_SHIFT_DR);
    pod.recorder.tms();
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 31);
    EXPECT_EQ(pod.wait_failure(SHM_WAIT_READ_ONE), "wait for a received word that cannot come");
    pod.write(23, 0);
    EXPECT_EQ(pod.wait_failure(SHM_WAIT_DONE),
              "wait for the end of an operation that lacks data words or room");
    EXPECT_EQ(pod.recorder.seen.size(), 0U);
    EXPECT_TRUE(pod.controller.busy());
    // A scan that only sends never receives.
    pod.write(10, TBC_CONTROL_RESET);
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_SEND, 15);
    pod.write(23, 0);
    EXPECT_EQ(pod.wait_failure(SHM_WAIT_READ_ONE), "wait for a received word that cannot come");
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.wait_failure(0x8013), "unknown wait word");
}

TEST_F(ControllerTest, ReceiveBufferStallsTheScanWhenFull) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 79);
    EXPECT_EQ(pod.wait_failure(SHM_WAIT_DONE),
              "wait for the end of an operation that lacks data words or room");
    pod.wait(SHM_WAIT_READ_ONE);
    pod.read(22);
    pod.wait(SHM_WAIT_DONE);
    for (int i = 0; i < 4; ++i) {
        pod.read(22);
    }
}

// On a pod whose batches hold the waits, each of these is a mistake of the host.
class HostWaitsTest : public ControllerTest {
protected:
    HostWaitsTest() { pod.write(TBC_PORT_POD_TIMING, POD_TIMING_HOST_WAITS); }
};

TEST_F(HostWaitsTest, StrictModeFindsTheMissingWait) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 63);
    pod.write(23, 0);
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer without a wait");
    pod.write(23, 0);
    EXPECT_EQ(pod.write_failure(23, 0), "word sent without room and without a wait");
    pod.wait(SHM_WAIT_READ_ONE);
    pod.read(22);
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer without a wait");
    pod.write(23, 0);
    EXPECT_EQ(pod.write_failure(23, 0), "word sent without room and without a wait");
}

TEST_F(HostWaitsTest, PureReceiveDoesNotHideTheMissingWait) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 63);
    pod.wait(SHM_WAIT_READ_ONE);
    pod.read(22);
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer without a wait");
}

TEST(Controller, WhoMustWaitDependsOnThePod) {
    struct Case {
        std::uint16_t revision;
        unsigned timing;
        bool by_itself;
    };
    const Case cases[] = {{0x0100, 0, false}, {0x01FF, 0, false},     {0x0200, 0, true},
                          {0x0200, 1, false}, {0x0401, 0xFFFE, true}, {0x0302, 0xFFFF, false}};
    for (const Case& each : cases) {
        ControllerSettings settings = strict_settings();
        settings.revision = each.revision;
        Bench pod(scratch_chain(8), settings);
        pod.write(27, each.timing);
        pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 15);
        EXPECT_EQ(pod.read_failure(22).empty(), each.by_itself) << each.revision;
    }
}

TEST_F(ControllerTest, PodThatWaitsByItselfNeedsNoWaits) {
    pod.host_waits = false;
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 32, true), (Words{0x1477, 0x2BA0}));
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.scan_send(TBC_STATE_IDLE, 64, {1, 2, 3, 4});
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 64, {}, true), (Words{1, 2, 3, 4}));
    // A stall that nothing can end fails instead of hanging.
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 255);
    EXPECT_EQ(pod.read_failure(22), "wait for a received word that cannot come");
    for (int i = 0; i < 6; ++i) {
        pod.write(23, 0);
    }
    EXPECT_EQ(pod.write_failure(23, 0), "wait for room to send that cannot come");
    EXPECT_TRUE(pod.warnings.empty());
}

TEST_F(ControllerTest, StrictModeFailsWordsThatNobodyTakes) {
    EXPECT_EQ(pod.write_failure(23, 1), "word to send that no operation takes, dropped");
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer with nothing to give");
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_SEND, 15);
    pod.write(23, 1);
    EXPECT_EQ(pod.write_failure(23, 1), "word to send that no operation takes, dropped");
    EXPECT_EQ(pod.write_failure(10, TBC_CONTROL_RUN),
              "operation started while another is in progress");
}

TEST(Controller, WithoutStrictModeMistakesAreWarnings) {
    ControllerSettings settings;
    settings.revision = POD_REVISION_1;
    Bench pod(scratch_chain(64), settings);
    pod.write(23, 1);
    EXPECT_EQ(pod.read(22), 0xFFFFU);
    pod.host_waits = false;
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.scan_send(TBC_STATE_IDLE, 64, {1, 2, 3, 4});
    EXPECT_EQ(pod.warnings.size(), 2U + 3U + 2U);
    // Started over an unfinished one: that runs to its end where it can.
    pod.write(10, TBC_CONTROL_RUN);
    EXPECT_EQ(pod.chain.state(), TapState::ShiftDr);
    pod.write(11, TBC_STATE_IDLE);
    pod.write(10, TBC_CONTROL_RUN); // and is dropped where it cannot
    EXPECT_EQ(pod.warnings.size(), 9U);
    EXPECT_FALSE(pod.controller.busy());
    EXPECT_EQ(pod.read(18), 3U);
    pod.host_waits = true;
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 16, {0}, true).size(), 1U);
}

TEST_F(HostWaitsTest, EndOfABatchLetsTheScanRunOn) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 47);
    pod.write(23, 0);
    pod.write(23, 0);
    ASSERT_FALSE(pod.controller.settle().failed());
    pod.read(22);
    pod.write(23, 0);
    ASSERT_FALSE(pod.controller.settle().failed());
    EXPECT_FALSE(pod.controller.busy());
    pod.read(22);
    pod.read(22);
}

TEST_F(ControllerTest, EmptyWordEmptiesBothBuffers) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 31);
    pod.wait(SHM_WAIT_DONE);
    pod.write(10, TBC_CONTROL_EMPTY);
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer with nothing to give");
}

TEST_F(ControllerTest, AttachAbandonsWhatAnEarlierHostLeft) {
    pod.write(4, 0x83);
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 47);
    pod.write(23, 0);
    ASSERT_FALSE(pod.controller.attach().failed());
    EXPECT_FALSE(pod.controller.busy());
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 64, true).size(), 4U);
    pod.go_to(0, TBC_STATE_RESET);
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
    EXPECT_TRUE(pod.warnings.empty());
}

TEST_F(ControllerTest, TrstnInTheMiddleOfAScanEndsIt) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 47);
    pod.write(23, 0);
    pod.write(5, 0);
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.read(18), 1U);
}

TEST_F(ControllerTest, ResetFreesAControllerThatLacksData) {
    for (const bool support : {false, true}) {
        pod.launch(TBC_STATE_IDLE, TBC_SCAN_SEND, 47);
        pod.write(23, 0xAAAA);
        EXPECT_NE(pod.wait_failure(SHM_WAIT_DONE), "");
        if (support) {
            ASSERT_FALSE(pod.controller.write_support(SUPPORT_RESET).failed());
            ASSERT_FALSE(pod.controller.write_support(0).failed());
        } else {
            pod.write(10, TBC_CONTROL_RESET);
        }
        pod.wait(SHM_WAIT_DONE);
        EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
    }
}

TEST_F(ControllerTest, StopEndsScansAndWaits) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 63);
    pod.controller.request_stop();
    EXPECT_EQ(pod.wait_failure(SHM_WAIT_READ_ONE), "the simulator is stopping");
    pod.write(10, TBC_CONTROL_RESET);
    pod.write(12, 0xFFFF);
    pod.write(11, TBC_TRANSIT_SCAN | TBC_STATE_IDLE);
    EXPECT_EQ(pod.write_failure(10, TBC_CONTROL_RUN), "the simulator is stopping");
    EXPECT_FALSE(pod.controller.busy());
}

// ---- a target that fails ------------------------------------------------------------------------

class FailingTarget : public Target {
public:
    Status move(std::uint64_t, unsigned, bool) override { return result(); }
    Status shift(std::span<const std::uint64_t>, std::span<std::uint64_t>, std::uint64_t,
                 bool) override {
        return result();
    }
    Status pulse_trst() override { return result(); }
    Status set_reset(bool) override { return result(); }
    Status power_on() override { return result(); }
    EmuPins emu_pins() override { return emu; }

    bool gone = true;
    EmuPins emu;

private:
    Status result() const { return gone ? Status::failure("the target has gone") : Status{}; }
};

TEST(Controller, FailureOfTheTargetReachesTheBatch) {
    FailingTarget target;
    Controller controller(strict_settings(), target);
    EXPECT_EQ(controller.write(11, TBC_STATE_IDLE).reason(), "");
    EXPECT_EQ(controller.write(10, TBC_CONTROL_RUN).reason(), "the target has gone");
    EXPECT_EQ(controller.write(5, 0).reason(), "the target has gone");
    EXPECT_EQ(controller.read(5).word, 0x0C0CU); // the write did not happen
    EXPECT_EQ(controller.write(10, TBC_CONTROL_RESET).reason(), "the target has gone");
    EXPECT_EQ(controller.write_support(SUPPORT_RESET).reason(), "the target has gone");
    target.gone = false;
    // In the middle of a scan.
    EXPECT_EQ(controller.write(11, TBC_TRANSIT_SCAN | TBC_STATE_IDLE).reason(), "");
    EXPECT_EQ(controller.write(4, TBC_SCAN_RECEIVE).reason(), "");
    EXPECT_EQ(controller.write(10, TBC_CONTROL_RUN).reason(), "");
    target.gone = true;
    EXPECT_EQ(controller.wait(SHM_WAIT_READ_ONE).reason(), "the target has gone");
    EXPECT_FALSE(controller.busy());
}

TEST(Controller, FailureShowsWhenTheTargetIsClocked) {
    FailingTarget target;
    target.gone = false;
    Controller controller(strict_settings(), target);
    EXPECT_EQ(controller.write(12, 63).reason(), "");
    EXPECT_EQ(controller.write(11, TBC_TRANSIT_SCAN | TBC_STATE_IDLE).reason(), "");
    EXPECT_EQ(controller.write(4, TBC_SCAN_BOTH).reason(), "");
    for (const bool settled : {true, false}) {
        target.gone = false;
        EXPECT_EQ(controller.write(10, TBC_CONTROL_RUN).reason(), "");
        target.gone = true;
        EXPECT_EQ(controller.write(23, 1).reason(), "");
        EXPECT_EQ(controller.write(23, 1).reason(), "");
        EXPECT_EQ(controller.wait(SHM_WAIT_READ_ONE).reason(), "");
        // Two words wait to be clocked; the first received one comes out of the pipeline.
        if (settled) {
            EXPECT_EQ(controller.settle().reason(), "the target has gone");
        } else {
            EXPECT_EQ(controller.read(18).status.reason(), "the target has gone");
        }
        EXPECT_FALSE(controller.busy());
        // Nothing comes of the words that were waited for.
        EXPECT_EQ(controller.read(22).status.reason(),
                  "read of the receive buffer with nothing to give");
    }
}

TEST(Controller, WordsNotReadSurviveLaterScans) {
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

TEST(Controller, TargetsEmuPinsAreSeen) {
    FailingTarget target;
    target.gone = false;
    Controller controller(strict_settings(), target);
    target.emu.emu1 = false;
    EXPECT_EQ(controller.read(17).word, 0x8001U);
    Faults faults;
    faults.emu.emu0 = false;
    ASSERT_FALSE(controller.set_faults(faults).failed());
    EXPECT_EQ(controller.read(17).word, 0x8000U);
}

} // namespace
