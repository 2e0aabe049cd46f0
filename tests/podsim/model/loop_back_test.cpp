#include "host.h"
#include "podsim/model/loop_back.h"

#include <gtest/gtest.h>

namespace talvor::podsim {
namespace {

using namespace host;

class LoopBackTest : public StrictPodTest {};

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

TEST_F(LoopBackTest, LoopBackReversesWordsAndShowsItsFault) {
    for (const LoopCase& each : kLoopCases) {
        Faults faults;
        faults.loopback = each.fault;
        ASSERT_TRUE(pod.controller.set_faults(faults));
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

TEST_F(LoopBackTest, EmptyLoopBackReadsOnesAndNeedsNoWait) {
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

TEST_F(LoopBackTest, LoopBackOverflowIsAMistake) {
    pod.write(1, TBC_COMMAND_LOOPBACK);
    for (size_t i = 0; i < LoopBack::kDepth; ++i) {
        pod.write(23, 0);
    }
    EXPECT_EQ(pod.write_failure(23, 0), "word sent into a full loop-back path, dropped");
}

TEST_F(LoopBackTest, ResetOfTheControllerLeavesIt) {
    pod.write(1, TBC_COMMAND_LOOPBACK);
    pod.write(23, 1);
    pod.write(10, TBC_CONTROL_RESET);
    EXPECT_EQ(pod.read_failure(22), "read of the receive buffer with nothing to give");
}

} // namespace
} // namespace talvor::podsim
