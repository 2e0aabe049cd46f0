#include "api/pod_status.h"
#include "controller/time_value.h"
#include "support/instant_pod.h"
#include "support/recorded_sleeps.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;
using test_support::RecordedSleeps;
using Delays = std::vector<uint32_t>;

class PodStatusTest : public testing::Test {
protected:
    PodStatusTest() { TimeValueInitial(pod.get()); }

    InstantPod pod{POD_REVISION_2};
    RecordedSleeps sleeps;
    JSC_PodStatus status{true, true, true, true};
};

TEST_F(PodStatusTest, ACleanReadingIsOneReading) {
    EXPECT_EQ(jsc_PodStatus(pod.get(), &status), 0);
    EXPECT_FALSE(status.nearStatus || status.farStatus || status.powerStatus || status.clockStatus);
    EXPECT_EQ(sleeps.delays_us(), Delays{});
    EXPECT_EQ(pod.flushes, 0U);
}

TEST_F(PodStatusTest, AConditionIsReadThreeTimesAndCleared) {
    pod.control.StatusCache = SUPPORT_CONDITION;
    pod.control.powerLossActive = true;
    EXPECT_EQ(jsc_PodStatus(pod.get(), &status), 0);
    EXPECT_TRUE(status.powerStatus);
    EXPECT_FALSE(status.clockStatus || status.nearStatus || status.farStatus);
    EXPECT_EQ(sleeps.delays_us(), (Delays{10000, 10000, 10000}));
    ASSERT_EQ(pod.batches.size(), 1U);
    EXPECT_EQ(pod.batches[0], (std::vector<uint16_t>{0x4005, 0x0C00, 0x4005, 0x0C04, 31, 16, 17}));
    EXPECT_FALSE(pod.control.powerLossActive);
    EXPECT_TRUE(pod.control.powerLossErased);
}

TEST_F(PodStatusTest, SleepsTheErrorPropagationTime) {
    pod.control.StatusCache = SUPPORT_CONDITION;
    pod.control.timeValue.errorPropagateValue = 7;
    EXPECT_EQ(jsc_PodStatus(pod.get(), &status), 0);
    EXPECT_EQ(sleeps.delays_us(), (Delays{7, 7, 7}));
}

TEST_F(PodStatusTest, ALostClockIsNoPowerLoss) {
    pod.control.StatusCache = SUPPORT_CLOCK_LOST;
    pod.control.powerLossActive = true;
    EXPECT_EQ(jsc_PodStatus(pod.get(), &status), 0);
    EXPECT_TRUE(status.clockStatus);
    EXPECT_FALSE(status.powerStatus);
    EXPECT_TRUE(pod.control.powerLossActive);
    EXPECT_FALSE(pod.control.powerLossErased);
}

TEST_F(PodStatusTest, AClearThatFailsIsReturnedWithWhatWasSeen) {
    pod.control.StatusCache = SUPPORT_CONDITION;
    pod.control.powerLossActive = true;
    pod.failing = 1;
    EXPECT_EQ(jsc_PodStatus(pod.get(), &status), -140);
    EXPECT_TRUE(status.powerStatus);
    EXPECT_TRUE(pod.control.powerLossActive);
    EXPECT_FALSE(pod.control.powerLossErased);
}

TEST_F(PodStatusTest, ChecksItsArguments) {
    EXPECT_EQ(jsc_PodStatus(nullptr, &status), -122);
    EXPECT_EQ(jsc_PodStatus(pod.get(), nullptr), -122);
    EXPECT_EQ(tbc_PodStatus(nullptr, &status), -122);
    EXPECT_TRUE(status.nearStatus);
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_PodStatus(pod.get(), &status), -116);
    EXPECT_FALSE(status.nearStatus) << "preset";
}

TEST(OldStatusTest, GivesAliveAndPinsOfOneFlush) {
    for (uint16_t pins = 0; pins < 4; ++pins) {
        for (const bool alive : {false, true}) {
            InstantPod pod;
            pod.give = [=](uint16_t port) {
                return static_cast<uint16_t>(port == 17 ? pins | (alive ? 0x8000 : 0) : 0);
            };
            JSC_OldStatus status{};
            EXPECT_EQ(jsc_OldStatus(pod.get(), &status), 0);
            EXPECT_EQ(status.itsAlive, alive);
            EXPECT_EQ(status.emuPin0, (pins & 1) != 0);
            EXPECT_EQ(status.emuPin1, (pins & 2) != 0);
            EXPECT_EQ(pod.flushes, 1U);
        }
    }
}

TEST(OldStatusTest, KeepsItsPresetsOnFailure) {
    InstantPod pod;
    pod.failing = 1;
    JSC_OldStatus status{true, false, false};
    EXPECT_EQ(jsc_OldStatus(pod.get(), &status), -140);
    EXPECT_FALSE(status.itsAlive);
    EXPECT_TRUE(status.emuPin0);
    EXPECT_TRUE(status.emuPin1);
    EXPECT_EQ(jsc_OldStatus(pod.get(), nullptr), -122);
    EXPECT_EQ(jsc_OldStatus(nullptr, &status), -122);
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_OldStatus(pod.get(), &status), -116);
}

} // namespace
