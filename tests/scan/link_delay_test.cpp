#include "common/notation.h"
#include "scan/link_delay.h"
#include "support/instant_pod.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;

std::string queued(const InstantPod& pod) {
    return talvor::notation::text(pod.queued());
}

TEST(LinkDelayTest, ReportsTheSumAndAppliesItsRemainder) {
    InstantPod pod;
    pod.control.linkDelay = 30;
    pod.control.linkDelta = 7;
    pod.control.linkTiming = 3;
    uint32_t normal = 0;
    uint32_t most = 0;
    uint32_t actual = 0;
    EXPECT_EQ(jsc_GetLinkDelay(pod.get(), &normal, &most, &actual), 0);
    EXPECT_EQ(normal, 3U);
    EXPECT_EQ(most, 31U);
    EXPECT_EQ(actual, 40U);
    EXPECT_EQ(ModifyActualLinkDelay(pod.get(), 31, &actual), 0);
    EXPECT_EQ(actual, 8U);
    EXPECT_EQ(queued(pod), "write 4 0008\n");
}

TEST(LinkDelayTest, ANegativeSumWrapsBeforeTheRemainder) {
    InstantPod pod;
    pod.control.linkDelay = 3;
    pod.control.linkDelta = -4;
    uint32_t actual = 0;
    EXPECT_EQ(ModifyActualLinkDelay(pod.get(), 31, &actual), 0);
    EXPECT_EQ(actual, 31U);
    uint32_t unused = 0;
    EXPECT_EQ(jsc_GetLinkDelay(pod.get(), &unused, &unused, &actual), 0);
    EXPECT_EQ(actual, 0xFFFFFFFFU);
}

TEST(LinkDelayTest, AMaximumWithoutAModulusAppliesTheSum) {
    InstantPod pod;
    pod.control.linkDelay = 35;
    uint32_t actual = 0;
    EXPECT_EQ(ModifyActualLinkDelay(pod.get(), 0xFFFFFFFF, &actual), 0);
    EXPECT_EQ(actual, 35U);
    EXPECT_EQ(pod.control.priorConfig, 35 & 31);
    EXPECT_EQ(ModifyActualLinkDelay(pod.get(), 9, &actual), 0);
    EXPECT_EQ(actual, 5U);
}

TEST(LinkDelayTest, IsWrittenIntoTheLowBitsOnly) {
    InstantPod pod;
    pod.control.priorConfig = 0xA0FF;
    EXPECT_EQ(WriteLinkDelay(pod.get(), 0xFFFF0022), 0);
    EXPECT_EQ(pod.control.priorConfig, 0xA0E2);
    EXPECT_EQ(queued(pod), "write 4 a0e2\n");
}

TEST(LinkDelayTest, PutAccumulates) {
    InstantPod pod;
    pod.control.linkDelay = 3;
    pod.control.priorConfig = 0x0080;
    EXPECT_EQ(jsc_PutLinkDelay(pod.get(), 4), 0);
    EXPECT_EQ(jsc_PutLinkDelay(pod.get(), -1), 0);
    EXPECT_EQ(pod.control.linkDelta, 3);
    EXPECT_EQ(queued(pod), "write 4 0087\nwrite 4 0086\n");
}

TEST(LinkDelayTest, PutWrapsInsteadOfOverflowing) {
    InstantPod pod;
    pod.control.linkDelta = INT32_MAX;
    EXPECT_EQ(jsc_PutLinkDelay(pod.get(), 1), 0);
    EXPECT_EQ(pod.control.linkDelta, INT32_MIN);
}

TEST(LinkDelayTest, VariablesChooseTheBaseAndAddToTheDelta) {
    InstantPod pod;
    EXPECT_EQ(SaveVariableLinkDelay(pod.get(), 3), 0);
    EXPECT_EQ(pod.control.linkDelay, 3U);
    EXPECT_EQ(pod.control.linkDelta, 0);
    pod.inform.tbcVariable.linkDelay = 9;
    pod.inform.tbcVariable.useLinkDelay = true;
    pod.inform.tbcVariable.linkDelta = -2;
    pod.inform.tbcVariable.useLinkDelta = true;
    EXPECT_EQ(SaveVariableLinkDelay(pod.get(), 3), 0);
    EXPECT_EQ(SaveVariableLinkDelay(pod.get(), 3), 0);
    EXPECT_EQ(pod.control.linkDelay, 9U);
    EXPECT_EQ(pod.control.linkDelta, -4) << "once an initialisation";
}

TEST(LinkDelayTest, EdgesAddNothing) {
    InstantPod pod;
    EXPECT_EQ(SaveTimingLinkDelay(pod.get(), true, true), 0);
    EXPECT_EQ(pod.control.linkTiming, 0);
    EXPECT_EQ(queued(pod), "");
}

TEST(LinkDelayTest, NeedsAControllerBlock) {
    InstantPod pod;
    pod.inform.pJscControl = nullptr;
    uint32_t delay = 5;
    EXPECT_EQ(jsc_GetLinkDelay(pod.get(), &delay, &delay, &delay), -116);
    EXPECT_EQ(jsc_PutLinkDelay(pod.get(), 1), -116);
    EXPECT_EQ(WriteLinkDelay(pod.get(), 1), -116);
    EXPECT_EQ(SaveVariableLinkDelay(pod.get(), 3), -116);
    EXPECT_EQ(delay, 5U);
    EXPECT_EQ(ModifyActualLinkDelay(pod.get(), 31, &delay), -116);
    EXPECT_EQ(delay, 0xFFFFFFFFU);
}

TEST(LinkDelayTest, RefusesNullPointers) {
    InstantPod pod;
    uint32_t delay = 5;
    EXPECT_EQ(ModifyActualLinkDelay(nullptr, 31, &delay), -122);
    EXPECT_EQ(delay, 5U);
    EXPECT_EQ(ModifyActualLinkDelay(pod.get(), 31, nullptr), -122);
    EXPECT_EQ(jsc_GetLinkDelay(nullptr, &delay, &delay, &delay), -122);
    EXPECT_EQ(jsc_GetLinkDelay(pod.get(), nullptr, &delay, &delay), -122);
    EXPECT_EQ(jsc_GetLinkDelay(pod.get(), &delay, nullptr, &delay), -122);
    EXPECT_EQ(jsc_GetLinkDelay(pod.get(), &delay, &delay, nullptr), -122);
    EXPECT_EQ(jsc_PutLinkDelay(nullptr, 1), -122);
}

} // namespace
