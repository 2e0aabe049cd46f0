#include "common/notation.h"
#include "scan/state.h"
#include "support/instant_pod.h"
#include "support/jtag_command.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;
using test_support::move_command;

std::string queued(const InstantPod& pod) {
    return talvor::notation::text(pod.queued());
}

TEST(GetStateTest, TranslatesEveryCode) {
    constexpr JSC_JtagState kStates[] = {eJSC_JTAG_STATE_RESET,    eJSC_JTAG_STATE_RESET,
                                         eJSC_JTAG_STATE_IDLE,     eJSC_JTAG_STATE_IDLE,
                                         eJSC_JTAG_STATE_SHIFT_DR, eJSC_JTAG_STATE_SHIFT_IR,
                                         eJSC_JTAG_STATE_PAUSE_DR, eJSC_JTAG_STATE_PAUSE_IR};
    InstantPod pod;
    for (uint16_t code = 0; code < 8; ++code) {
        // Bits above the code are the controller's own.
        pod.give = [code](uint16_t port) {
            return static_cast<uint16_t>(port == 18 ? code | 0xFF8 : 0);
        };
        JSC_JtagState state = eJSC_JTAG_STATE_INVALID_LAST;
        EXPECT_EQ(jsc_GetState(pod.get(), &state), 0);
        EXPECT_EQ(state, kStates[code]);
        EXPECT_EQ(gLegacyToJtagState[code], kStates[code]);
    }
    EXPECT_EQ(talvor::notation::text(pod.batches[0]),
              "wait done\nread 18\nread 31\nread 16\nread 17\n");
}

TEST(GetStateTest, AFailedFlushLeavesTheStateInvalid) {
    InstantPod pod;
    pod.failing = 1;
    JSC_JtagState state = eJSC_JTAG_STATE_IDLE;
    EXPECT_EQ(jsc_GetState(pod.get(), &state), -140);
    EXPECT_EQ(state, eJSC_JTAG_STATE_INVALID_FIRST);
}

TEST(GetStateTest, ChecksItsArguments) {
    InstantPod pod;
    JSC_JtagState state = eJSC_JTAG_STATE_IDLE;
    EXPECT_EQ(jsc_GetState(pod.get(), nullptr), -122);
    EXPECT_EQ(jsc_GetState(nullptr, &state), -122);
    EXPECT_EQ(state, eJSC_JTAG_STATE_IDLE);
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_GetState(pod.get(), &state), -116);
    EXPECT_EQ(state, eJSC_JTAG_STATE_INVALID_FIRST);
    EXPECT_EQ(queued(pod), "");
}

TEST(PutStateTest, IssuesOneGoToARepeat) {
    struct Row {
        JSC_JtagTransit after;
        JSC_JtagState end;
        const char* word;
    };
    for (const Row& row :
         {Row{eJSC_JTAG_TRANSIT_QUICKEST, eJSC_JTAG_STATE_RESET, "write 11 1000\n"},
          Row{eJSC_JTAG_TRANSIT_VIA_CAPTURE, eJSC_JTAG_STATE_IDLE, "write 11 1002\n"},
          Row{eJSC_JTAG_TRANSIT_VIA_IDLE, eJSC_JTAG_STATE_PAUSE_DR, "write 11 20e6\n"},
          Row{eJSC_JTAG_TRANSIT_VIA_IDLE, eJSC_JTAG_STATE_PAUSE_IR, "write 11 20e7\n"}}) {
        InstantPod pod;
        const JSC_JtagCommand made = move_command(row.end, row.after);
        EXPECT_EQ(jsc_PutState(pod.get(), &made, 1234, 1), 0);
        EXPECT_EQ(queued(pod),
                  std::string("wait done\nwait done\n") + row.word + "write 10 4080\n");
    }
}

TEST(PutStateTest, Repeats) {
    InstantPod pod;
    const JSC_JtagCommand made = move_command(eJSC_JTAG_STATE_IDLE);
    EXPECT_EQ(jsc_PutState(pod.get(), &made, 0, 3), 0);
    EXPECT_EQ(queued(pod), "wait done\nwait done\nwrite 11 1002\nwrite 10 4080\n"
                           "wait done\nwrite 10 4080\nwait done\nwrite 10 4080\n");
}

TEST(PutStateTest, WithAShiftGoesToThePathFirst) {
    InstantPod pod;
    JSC_JtagCommand made = move_command(eJSC_JTAG_STATE_IDLE);
    made.jtagBefore = eJSC_JTAG_TRANSIT_VIA_CAPTURE;
    made.jtagShift = eJSC_JTAG_SHIFT_IR;
    EXPECT_EQ(jsc_PutState(pod.get(), &made, 0, 1), 0);
    EXPECT_EQ(queued(pod), "wait done\nwait done\nwrite 11 1007\nwrite 10 4080\n"
                           "wait done\nwrite 11 1002\nwrite 10 4080\n");
}

TEST(PutStateTest, RefusesACommandBeforeAnythingIsQueued) {
    InstantPod pod;
    JSC_JtagCommand made = move_command(eJSC_JTAG_STATE_INVALID_MIDDLE);
    EXPECT_EQ(jsc_PutState(pod.get(), &made, 0, 1), -122);
    made.jtagEnd = eJSC_JTAG_STATE_CAPTURE_DR; // a state, but none that holds
    EXPECT_EQ(jsc_PutState(pod.get(), &made, 0, 1), -122);
    made = move_command(eJSC_JTAG_STATE_IDLE);
    made.jtagBefore = eJSC_JTAG_TRANSIT_QUICKEST;
    made.jtagShift = eJSC_JTAG_SHIFT_INDEX;
    EXPECT_EQ(jsc_PutState(pod.get(), &made, 0, 1), -122);
    EXPECT_EQ(jsc_PutState(pod.get(), nullptr, 0, 1), -122);
    EXPECT_EQ(jsc_PutState(nullptr, &made, 0, 1), -122);
    EXPECT_EQ(queued(pod), "");
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_PutState(pod.get(), &made, 0, 1), -116);
}

TEST(PutStateTest, RefusesACountOfZeroAfterTheWait) {
    InstantPod pod;
    const JSC_JtagCommand made = move_command(eJSC_JTAG_STATE_IDLE);
    EXPECT_EQ(jsc_PutState(pod.get(), &made, 0, 0), -122);
    EXPECT_EQ(queued(pod), "wait done\n");
}

TEST(PutStateTest, ReturnsTheFailureOfAFlushThatMadeRoom) {
    InstantPod pod;
    pod.recording = false;
    pod.failing = 1;
    const JSC_JtagCommand made = move_command(eJSC_JTAG_STATE_IDLE);
    EXPECT_EQ(jsc_PutState(pod.get(), &made, 0, 1000000), -140);
    EXPECT_EQ(pod.flushes, 1U);
    EXPECT_EQ(pod.inform.podError, -140);
    EXPECT_EQ(jsc_PutState(pod.get(), &made, 0, 1), -140) << "until Diagnose";
    EXPECT_EQ(queued(pod), "");
}

TEST(WaitForTclkTest, WaitsOnceForOddAndTwiceForEvenCounts) {
    struct Row {
        uint32_t periods;
        int settles;
    };
    for (const Row& row : {Row{0, 0}, Row{1, 1}, Row{2, 2}, Row{3, 1}, Row{4, 2},
                           Row{0xFFFFFFFF, 1}, Row{0xFFFFFFFE, 2}}) {
        InstantPod pod;
        EXPECT_EQ(jsc_WaitForTclk(pod.get(), row.periods), 0);
        std::string expected;
        for (int settle = 0; settle < row.settles; ++settle) {
            expected += "write 16 0000\n";
        }
        EXPECT_EQ(queued(pod), expected) << row.periods;
    }
    EXPECT_EQ(jsc_WaitForTclk(nullptr, 0), -122);
    EXPECT_EQ(jsc_WaitForTclk(nullptr, 1), -122);
    InstantPod pod;
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_WaitForTclk(pod.get(), 0), 0);
    EXPECT_EQ(jsc_WaitForTclk(pod.get(), 1), -116);
}

TEST(HoldFreeOutsTest, LooksAtTmsOnly) {
    for (int flags = 0; flags < 16; ++flags) {
        const bool hold_tms = (flags & 4) != 0;
        InstantPod pod;
        pod.control.registerCache[2] = hold_tms ? 1 : 0;
        EXPECT_EQ(jsc_HoldFreeOuts(pod.get(), flags & 1, flags & 2, hold_tms, flags & 8), 0);
        EXPECT_EQ(queued(pod),
                  hold_tms ? "wait done\nwrite 2 0000\n" : "wait done\nwrite 2 0001\n");
    }
    EXPECT_EQ(jsc_HoldFreeOuts(nullptr, false, false, false, false), -122);
    InstantPod pod;
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_HoldFreeOuts(pod.get(), false, false, false, false), -116);
}

TEST(TimingEdgeTest, TakesTheEdgeOfTheConfigurationAndAppliesTheLinkDelay) {
    for (const bool edge : {false, true}) {
        InstantPod pod;
        pod.inform.qelVariable.tdoedge = edge;
        pod.control.linkDelay = 3;
        pod.control.linkDelta = 2;
        pod.control.priorConfig = 0x0080;
        EXPECT_EQ(jsc_TimingEdge(pod.get(), !edge, !edge), 0);
        ASSERT_EQ(pod.batches.size(), 2U);
        EXPECT_EQ(talvor::notation::text(pod.batches[0]), "wait done\nread 31\nread 16\nread 17\n");
        EXPECT_EQ(talvor::notation::text(pod.batches[1]), std::string("write 5 ") +
                                                              (edge ? "0808" : "0800") +
                                                              "\nread 31\nread 16\nread 17\n");
        EXPECT_EQ(queued(pod), "write 4 0085\n");
        EXPECT_EQ(pod.control.priorConfig, 0x0085);
    }
}

TEST(TimingEdgeTest, ReturnsTheFirstError) {
    InstantPod pod;
    pod.failing = 1;
    EXPECT_EQ(jsc_TimingEdge(pod.get(), false, false), -140);
    EXPECT_EQ(queued(pod), "");
    EXPECT_EQ(jsc_TimingEdge(nullptr, false, false), -122);
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_TimingEdge(pod.get(), false, false), -116);
}

} // namespace
