#include "common/notation.h"
#include "scan/amble_delay.h"
#include "support/instant_pod.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;

constexpr JSC_JtagAmbleDelay kSettings{true, 1, 2, true, 3, 4, 5, 6, true, 7, 8, 9, 10};

TEST(AmbleDelayTest, GivesTheGroupsThatAreAskedFor) {
    InstantPod pod;
    pod.control.ambleDelay = kSettings;
    JSC_JtagAmbleDelay asked{};
    EXPECT_EQ(jsc_GetAmbleDelay(pod.get(), &asked), 0);
    EXPECT_EQ(asked.mainIR + asked.mainDR + asked.preAmbleIR + asked.posAmbleIR + asked.preAmbleDR +
                  asked.posAmbleDR + asked.endDelay0 + asked.endDelay1 + asked.endDelay2 +
                  asked.endDelay3,
              0U);
    asked.useMains = true;
    EXPECT_EQ(jsc_GetAmbleDelay(pod.get(), &asked), 0);
    EXPECT_EQ(asked.mainIR, 1U);
    EXPECT_EQ(asked.mainDR, 2U);
    EXPECT_EQ(asked.preAmbleIR, 0U);
    EXPECT_EQ(asked.endDelay0, 0U);
    asked = JSC_JtagAmbleDelay{};
    asked.useAmbles = true;
    EXPECT_EQ(jsc_GetAmbleDelay(pod.get(), &asked), 0);
    EXPECT_EQ(asked.mainIR, 0U);
    EXPECT_EQ(asked.preAmbleIR, 3U);
    EXPECT_EQ(asked.posAmbleIR, 4U);
    EXPECT_EQ(asked.preAmbleDR, 5U);
    EXPECT_EQ(asked.posAmbleDR, 6U);
    EXPECT_EQ(asked.endDelay3, 0U);
    asked = JSC_JtagAmbleDelay{};
    asked.useDelays = true;
    EXPECT_EQ(jsc_GetAmbleDelay(pod.get(), &asked), 0);
    EXPECT_EQ(asked.mainDR, 0U);
    EXPECT_EQ(asked.posAmbleDR, 0U);
    EXPECT_EQ(asked.endDelay0, 7U);
    EXPECT_EQ(asked.endDelay1, 8U);
    EXPECT_EQ(asked.endDelay2, 9U);
    EXPECT_EQ(asked.endDelay3, 10U);
}

TEST(AmbleDelayTest, TakesTheGroupsThatAreGivenOnceTheControllerIsIdle) {
    InstantPod pod;
    JSC_JtagAmbleDelay given = kSettings;
    given.useAmbles = false;
    EXPECT_EQ(jsc_PutAmbleDelay(pod.get(), &given), 0);
    const JSC_JtagAmbleDelay& kept = pod.control.ambleDelay;
    EXPECT_EQ(kept.mainIR, 1U);
    EXPECT_EQ(kept.mainDR, 2U);
    EXPECT_EQ(kept.preAmbleIR, 0U);
    EXPECT_EQ(kept.posAmbleDR, 0U);
    EXPECT_EQ(kept.endDelay0, 7U);
    EXPECT_EQ(kept.endDelay3, 10U);
    EXPECT_FALSE(kept.useMains) << "the flags are not kept";
    EXPECT_FALSE(kept.useDelays);
    given = kSettings;
    given.useMains = given.useDelays = false;
    given.mainIR = given.endDelay0 = 99;
    EXPECT_EQ(jsc_PutAmbleDelay(pod.get(), &given), 0);
    EXPECT_EQ(kept.mainIR, 1U);
    EXPECT_EQ(kept.preAmbleIR, 3U);
    EXPECT_EQ(kept.posAmbleIR, 4U);
    EXPECT_EQ(kept.preAmbleDR, 5U);
    EXPECT_EQ(kept.posAmbleDR, 6U);
    EXPECT_EQ(kept.endDelay0, 7U);
    EXPECT_EQ(talvor::notation::text(pod.queued()), "wait done\nwait done\n");
}

TEST(AmbleDelayTest, ForcedEndDelaysWinWhenDelaysAreGiven) {
    InstantPod pod;
    TBC_Variable& variable = pod.inform.tbcVariable;
    variable.forceOnceEnd = 70;
    variable.forceManyEnd = 80;
    JSC_JtagAmbleDelay given = kSettings;
    variable.useForceOnceEnd = true;
    EXPECT_EQ(jsc_PutAmbleDelay(pod.get(), &given), 0);
    EXPECT_EQ(pod.control.ambleDelay.endDelay0, 70U);
    EXPECT_EQ(pod.control.ambleDelay.endDelay1, 8U);
    variable.useForceOnceEnd = false;
    variable.useForceManyEnd = true;
    EXPECT_EQ(jsc_PutAmbleDelay(pod.get(), &given), 0);
    EXPECT_EQ(pod.control.ambleDelay.endDelay0, 7U);
    EXPECT_EQ(pod.control.ambleDelay.endDelay1, 80U);
    pod.control.ambleDelay = JSC_JtagAmbleDelay{};
    given.useDelays = false;
    EXPECT_EQ(jsc_PutAmbleDelay(pod.get(), &given), 0);
    EXPECT_EQ(pod.control.ambleDelay.endDelay1, 0U) << "only with delays";
}

TEST(AmbleDelayTest, ChecksItsArguments) {
    InstantPod pod;
    JSC_JtagAmbleDelay given = kSettings;
    EXPECT_EQ(jsc_GetAmbleDelay(pod.get(), nullptr), -122);
    EXPECT_EQ(jsc_PutAmbleDelay(pod.get(), nullptr), -122);
    EXPECT_EQ(jsc_GetAmbleDelay(nullptr, &given), -122);
    EXPECT_EQ(jsc_PutAmbleDelay(nullptr, &given), -122);
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_GetAmbleDelay(pod.get(), &given), -116);
    EXPECT_EQ(jsc_PutAmbleDelay(pod.get(), &given), -116);
    EXPECT_EQ(given.mainIR, 1U);
}

} // namespace
