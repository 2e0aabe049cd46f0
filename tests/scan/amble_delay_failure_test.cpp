// A change of the amble settings whose wait finds no room in a batch that fails.
#include "scan/amble_delay.h"
#include "support/instant_pod.h"
#include "transport/port.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;

TEST(AmbleDelayFailureTest, TheFailedFlushIsReturnedAndTheSettingsAreKept) {
    InstantPod pod;
    while (pod.block->tbcMblockPtr < SHM_BLOCK_WORDS - 3) {
        qel_PostData(pod.get(), SHM_WAIT_DONE);
    }
    pod.failing = 1;
    JSC_JtagAmbleDelay given{};
    given.useMains = true;
    given.mainIR = 7;
    EXPECT_EQ(jsc_PutAmbleDelay(pod.get(), &given), -140);
    EXPECT_EQ(pod.control.ambleDelay.mainIR, 7U);
    EXPECT_EQ(pod.flushes, 1U);
}

} // namespace
