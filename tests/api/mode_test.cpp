#include "api/mode.h"
#include "common/notation.h"
#include "support/instant_pod.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;

TEST(AdjustTest, AppliesTheConfiguredModeOnceTheControllerIsIdle) {
    for (const bool slow : {false, true}) {
        for (const bool fast : {false, true}) {
            InstantPod pod;
            pod.inform.tbcVariable.slowClock = slow;
            pod.inform.tbcVariable.fastClock = fast;
            pod.control.timeDependNew.slowMode = pod.control.timeDependOld.slowMode = !slow;
            pod.control.timeDependNew.fastMode = pod.control.timeDependOld.fastMode = !fast;
            JSC_AdjustStuff adjust{false, 1234};
            EXPECT_EQ(jsc_Adjust(pod.get(), &adjust), 0);
            EXPECT_EQ(pod.control.timeDependNew.slowMode, slow);
            EXPECT_EQ(pod.control.timeDependNew.fastMode, fast);
            EXPECT_EQ(pod.control.timeDependOld.slowMode, slow);
            EXPECT_EQ(pod.control.timeDependOld.fastMode, !fast) << "not this one";
            EXPECT_EQ(pod.control.slowMode, slow);
            EXPECT_EQ(pod.control.fastMode, fast);
            EXPECT_EQ(pod.control.timeDependNew.tclkFreq, 20000U) << "not fresh";
            EXPECT_EQ(talvor::notation::text(pod.queued()), "wait done\n");
        }
    }
}

TEST(AdjustTest, TakesAFreshFrequency) {
    InstantPod pod;
    JSC_AdjustStuff adjust{true, 1234};
    EXPECT_EQ(jsc_Adjust(pod.get(), &adjust), 0);
    EXPECT_EQ(pod.control.timeDependNew.tclkFreq, 1234U);
    EXPECT_EQ(pod.control.timeDependOld.tclkFreq, 20000U);
}

TEST(AdjustTest, ChecksItsArguments) {
    InstantPod pod;
    JSC_AdjustStuff adjust{};
    EXPECT_EQ(jsc_Adjust(nullptr, &adjust), -122);
    EXPECT_EQ(jsc_Adjust(pod.get(), nullptr), -122);
    EXPECT_EQ(tbc_ModeConfig(pod.get(), nullptr), -122);
    EXPECT_TRUE(pod.queued().empty());
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_Adjust(pod.get(), &adjust), -116);
}

} // namespace
