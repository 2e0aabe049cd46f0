#include "host.h"
#include "podsim/model/controller.h"

#include <gtest/gtest.h>

namespace talvor::podsim {
namespace {

using namespace host;

constexpr unsigned kIrPath = TBC_STATE_IR_PATH;

class WaitTest : public StrictPodTest {};

TEST_F(WaitTest, WaitsRunTheScanJustAsFarAsNeeded) {
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

TEST_F(WaitTest, ManyReceivedIsTheLastOneWhenNoMoreCome) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 47);
    pod.wait(SHM_WAIT_READ_MANY);
    pod.read(22);
    pod.read(22);
    pod.wait(SHM_WAIT_READ_MANY);
    pod.read(22);
    EXPECT_EQ(pod.wait_failure(SHM_WAIT_READ_MANY), "wait for a received word that cannot come");
}

TEST_F(WaitTest, WaitThatCannotComeTrueFailsAndChangesNothing) {
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

TEST_F(WaitTest, ReceiveBufferStallsTheScanWhenFull) {
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
class HostWaitsTest : public WaitTest {
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

TEST_F(HostWaitsTest, EmptyWordTakesBackWhatWasWaitedFor) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 15);
    pod.wait(SHM_WAIT_READ_ONE);
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 47); // empties the buffers
    pod.write(23, 0);
    pod.write(23, 0);
    pod.wait(SHM_WAIT_WRITE_ONE); // a word has come, and nobody has waited for it
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer without a wait");
}

TEST_F(HostWaitsTest, PureReceiveDoesNotHideTheMissingWait) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 63);
    pod.wait(SHM_WAIT_READ_ONE);
    pod.read(22);
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer without a wait");
}

TEST(WaitsTest, WhoMustWaitDependsOnThePod) {
    struct Case {
        uint16_t revision;
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

TEST_F(WaitTest, PodThatWaitsByItselfNeedsNoWaits) {
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

TEST_F(WaitTest, StrictModeFailsWordsThatNobodyTakes) {
    EXPECT_EQ(pod.write_failure(23, 1), "word to send that no operation takes, dropped");
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer with nothing to give");
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_SEND, 15);
    pod.write(23, 1);
    EXPECT_EQ(pod.write_failure(23, 1), "word to send that no operation takes, dropped");
    EXPECT_EQ(pod.write_failure(10, TBC_CONTROL_RUN),
              "operation started while another is in progress");
}

TEST(WaitsTest, WithoutStrictModeMistakesAreWarnings) {
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
    ASSERT_TRUE(pod.controller.settle());
    pod.read(22);
    pod.write(23, 0);
    ASSERT_TRUE(pod.controller.settle());
    EXPECT_FALSE(pod.controller.busy());
    pod.read(22);
    pod.read(22);
}

TEST_F(WaitTest, EmptyWordEmptiesBothBuffers) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 31);
    pod.wait(SHM_WAIT_DONE);
    pod.write(10, TBC_CONTROL_EMPTY);
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer with nothing to give");
}

TEST_F(WaitTest, EmptyWordInTheMiddleOfAScanDropsWhatHasCome) {
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.scan_send(TBC_STATE_IDLE, 64, {1, 2, 3, 4});
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 79);
    pod.write(23, 0);
    pod.write(23, 0);
    pod.wait(SHM_WAIT_READ_MANY); // the pipeline and 1
    pod.write(10, TBC_CONTROL_EMPTY);
    for (uint16_t expected = 2; expected <= 4; ++expected) {
        pod.write(23, 0);
        pod.wait(SHM_WAIT_READ_ONE);
        EXPECT_EQ(pod.read(22), expected);
    }
}

TEST_F(WaitTest, AttachAbandonsWhatAnEarlierHostLeft) {
    pod.write(4, 0x83);
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 47);
    pod.write(23, 0);
    ASSERT_TRUE(pod.controller.attach());
    EXPECT_FALSE(pod.controller.busy());
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 64, true).size(), 4U);
    pod.go_to(0, TBC_STATE_RESET);
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
    EXPECT_TRUE(pod.warnings.empty());
}

TEST_F(WaitTest, TrstnInTheMiddleOfAScanEndsIt) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_BOTH, 47);
    pod.write(23, 0);
    pod.write(5, 0);
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.read(18), 1U);
}

TEST_F(WaitTest, ResetFreesAControllerThatLacksData) {
    for (const bool support : {false, true}) {
        pod.launch(TBC_STATE_IDLE, TBC_SCAN_SEND, 47);
        pod.write(23, 0xAAAA);
        EXPECT_NE(pod.wait_failure(SHM_WAIT_DONE), "");
        if (support) {
            ASSERT_TRUE(pod.controller.write_support(SUPPORT_RESET));
            ASSERT_TRUE(pod.controller.write_support(0));
        } else {
            pod.write(10, TBC_CONTROL_RESET);
        }
        pod.wait(SHM_WAIT_DONE);
        EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
    }
}

TEST_F(WaitTest, StopEndsScansAndWaits) {
    pod.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 63);
    pod.controller.request_stop();
    EXPECT_EQ(pod.wait_failure(SHM_WAIT_READ_ONE), "the simulator is stopping");
    pod.write(10, TBC_CONTROL_RESET);
    pod.write(12, 0xFFFF);
    pod.write(11, TBC_TRANSIT_SCAN | TBC_STATE_IDLE);
    EXPECT_EQ(pod.write_failure(10, TBC_CONTROL_RUN), "the simulator is stopping");
    EXPECT_FALSE(pod.controller.busy());
}

} // namespace
} // namespace talvor::podsim
