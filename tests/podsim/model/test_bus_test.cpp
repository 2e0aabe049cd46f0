#include "host.h"
#include "podsim/model/test_bus.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace talvor::podsim {
namespace {

using namespace host;

constexpr unsigned kIrPath = TBC_STATE_IR_PATH;

class TestBusTest : public StrictPodTest {};

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

TEST_F(TestBusTest, GoToTakesItsTransit) {
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

TEST_F(TestBusTest, FirstMoveToResetClocksFiveOnes) {
    // Nobody knows where a target stands after power-on.
    pod.go_to(0x1000, TBC_STATE_RESET);
    EXPECT_EQ(pod.recorder.tms(), "11111");
    pod.go_to(0x1000, TBC_STATE_RESET);
    EXPECT_EQ(pod.recorder.tms(), "");
}

TEST_F(TestBusTest, DisconnectedOutputsHideClocksFromTheTarget) {
    pod.go_to(0, TBC_STATE_RESET);
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    pod.recorder.tms();
    pod.write(2, 0);
    const uint64_t before = pod.controller.time_ns();
    pod.go_to(0, TBC_STATE_IDLE);
    EXPECT_EQ(pod.read(18), 3U);
    EXPECT_EQ(pod.chain.state(), TapState::PauseDr);
    EXPECT_EQ(pod.recorder.tms(), "");
    EXPECT_GT(pod.controller.time_ns(), before);
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 16, {0}, true), (Words{0xFFFF}));
    EXPECT_EQ(pod.read(18), 3U);
    pod.write(2, 1);
    EXPECT_EQ(pod.read(18), 6U) << "where the target was left";
    // Out of step with the target: five ones bring both together.
    pod.go_to(0, TBC_STATE_RESET);
    EXPECT_EQ(pod.recorder.tms(), "11111");
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
}

TEST_F(TestBusTest, ClockOutputOffHidesClocksToo) {
    pod.go_to(0, TBC_STATE_IDLE);
    pod.write(3, TBC_CLOCK_OUT_OFF);
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    EXPECT_EQ(pod.chain.state(), TapState::RunTestIdle);
    pod.write(3, 0);
    pod.go_to(0, TBC_STATE_RESET);
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
}

// The controller shifts while the target, which missed the way there, stands in any other state:
// connecting the outputs again finds the target where the clocks of that shift have led it.
TEST_F(TestBusTest, KnowsWhereAShiftLeadsATargetThatIsElsewhere) {
    for (size_t from = 0; from < kTapStates; ++from) {
        for (const uint64_t count : {1U, 2U, 3U, 4U, 7U, 64U}) {
            Chain chain(scratch_chain(64));
            TestBus bus(chain);
            const auto state = static_cast<TapState>(from);
            ASSERT_TRUE(bus.move(shortest_path(bus.state(), state)));
            bus.set_clock_output(false);
            ASSERT_TRUE(bus.move(shortest_path(bus.state(), TapState::ShiftDr)));
            bus.set_clock_output(true);
            ASSERT_EQ(chain.state(), state);
            const uint64_t tdi = 0;
            uint64_t tdo = 0;
            ASSERT_TRUE(bus.shift({&tdi, 1}, {&tdo, 1}, count, true));
            EXPECT_EQ(bus.state(), TapState::Exit1Dr);
            bus.set_connected(false);
            bus.set_connected(true);
            EXPECT_EQ(bus.state(), chain.state()) << name_of(state) << ", " << count << " bits";
        }
    }
}

TEST_F(TestBusTest, LostPowerOrClockReadsOnesAndEndsAllTheSame) {
    for (const bool power : {true, false}) {
        Faults faults;
        faults.power = power;
        faults.clock = !power;
        ASSERT_TRUE(pod.controller.set_faults(faults));
        const TapState before = pod.chain.state();
        pod.go_to(0, TBC_STATE_PAUSE_IR);
        EXPECT_EQ(pod.chain.state(), before);
        EXPECT_EQ(pod.scan_both(TBC_STATE_PAUSE_DR, 32, {0, 0}, true), (Words{0xFFFF, 0xFFFF}));
        ASSERT_TRUE(pod.controller.set_faults({}));
        pod.go_to(0, TBC_STATE_RESET);
        EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 32, true), (Words{0x1477, 0x2BA0}));
    }
}

Faults with(Wire wire, WireState state) {
    Faults faults;
    faults.cable.set(wire, state);
    return faults;
}

// The same through the whole pod: what 32 bits of the IDCODE read.
TEST_F(TestBusTest, ABrokenTdoReadsItsLevelWhileTheTargetGoesOn) {
    for (const auto& [state, word] :
         {std::pair{WireState::Open, 0xFFFF}, {WireState::High, 0xFFFF}, {WireState::Low, 0}}) {
        ASSERT_TRUE(pod.controller.set_faults(with(Wire::Tdo, state)));
        pod.go_to(0, TBC_STATE_RESET);
        const auto level = static_cast<uint16_t>(word);
        EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 32, true), (Words{level, level}));
        pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
        pod.wait(SHM_WAIT_DONE);
        EXPECT_EQ(pod.chain.device(0).instruction(), 3U);
        ASSERT_TRUE(pod.controller.set_faults({}));
        pod.go_to(0, TBC_STATE_RESET);
        EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 32, true), (Words{0x1477, 0x2BA0}));
    }
}

TEST_F(TestBusTest, ABrokenTdiShiftsItsLevelIn) {
    for (const auto& [state, bit] :
         {std::pair{WireState::Open, true}, {WireState::High, true}, {WireState::Low, false}}) {
        ASSERT_TRUE(pod.controller.set_faults(with(Wire::Tdi, state)));
        pod.recorder.seen.clear();
        pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {0x5});
        pod.wait(SHM_WAIT_DONE);
        EXPECT_EQ(pod.chain.device(0).instruction(), bit ? 0xFU : 0U);
        ASSERT_FALSE(pod.recorder.seen.empty());
        for (const auto& edge : pod.recorder.seen) {
            EXPECT_EQ(edge.tdi, bit) << "a trace shows what the target sees";
        }
    }
}

TEST_F(TestBusTest, ABrokenTmsHoldsTheTapOrResetsIt) {
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    ASSERT_TRUE(pod.controller.set_faults(with(Wire::Tms, WireState::Low)));
    pod.go_to(0, TBC_STATE_IDLE);
    EXPECT_EQ(pod.chain.state(), TapState::PauseDr);
    ASSERT_TRUE(pod.controller.set_faults(with(Wire::Tms, WireState::Open)));
    pod.go_to(0, TBC_STATE_RESET);
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 112, Words(7), true), Words(7, 0xFFFF));
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
    ASSERT_TRUE(pod.controller.set_faults({}));
    pod.go_to(0, TBC_STATE_RESET);
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 32, true), (Words{0x1477, 0x2BA0}));
}

TEST_F(TestBusTest, WithoutTckTheTargetSeesNothing) {
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    for (const WireState state : {WireState::Open, WireState::Low, WireState::High}) {
        ASSERT_TRUE(pod.controller.set_faults(with(Wire::Tck, state)));
        const uint64_t before = pod.controller.time_ns();
        EXPECT_EQ(pod.scan_both(TBC_STATE_PAUSE_IR, 16, {0}, true), (Words{0xFFFF}));
        EXPECT_EQ(pod.chain.state(), TapState::PauseDr);
        EXPECT_GT(pod.controller.time_ns(), before);
    }
}

TEST_F(TestBusTest, TrstThatIsLowHoldsTheTargetInReset) {
    pod.scan_send(kIrPath | TBC_STATE_PAUSE_IR, 4, {3});
    pod.wait(SHM_WAIT_DONE);
    pod.recorder.pins.clear();
    ASSERT_TRUE(pod.controller.set_faults(with(Wire::Trst, WireState::Low)));
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
    ASSERT_TRUE(pod.controller.set_faults({}));
    ASSERT_EQ(pod.recorder.pins.size(), 2U);
    EXPECT_TRUE(pod.recorder.pins[0].starts_with("trst 0"));
    EXPECT_TRUE(pod.recorder.pins[1].starts_with("trst 1"));
}

TEST_F(TestBusTest, ABrokenTrstLetsNoPulseThrough) {
    TestBus bus(pod.chain);
    Cable cable;
    ASSERT_TRUE(bus.move(kResetPath));
    ASSERT_TRUE(bus.move(shortest_path(TapState::TestLogicReset, TapState::PauseIr)));
    for (const WireState state : {WireState::Open, WireState::High}) {
        cable.set(Wire::Trst, state);
        ASSERT_TRUE(bus.set_cable(cable));
        ASSERT_TRUE(bus.pulse_trst());
        EXPECT_EQ(pod.chain.state(), TapState::PauseIr);
        EXPECT_EQ(bus.state(), TapState::TestLogicReset) << "what the controller believes";
    }
    ASSERT_TRUE(bus.set_cable({}));
    EXPECT_EQ(bus.reset_path(), kResetPath) << "out of step";
    ASSERT_TRUE(bus.pulse_trst());
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
}

TEST_F(TestBusTest, PowerThatComesBackResetsTheTarget) {
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.scan_send(TBC_STATE_IDLE, 64, {1, 2, 3, 4});
    pod.wait(SHM_WAIT_DONE);
    Faults off;
    off.power = false;
    ASSERT_TRUE(pod.controller.set_faults(off));
    EXPECT_EQ(pod.chain.device(0).instruction(), 3U);
    ASSERT_TRUE(pod.controller.set_faults({}));
    EXPECT_EQ(pod.chain.device(0).instruction(), 0xEU);
    EXPECT_EQ(pod.chain.state(), TapState::TestLogicReset);
}

} // namespace
} // namespace talvor::podsim
