#include "api/diagnose.h"
#include "common/notation.h"
#include "controller/time_value.h"
#include "support/instant_pod.h"
#include "support/recorded_sleeps.h"
#include "transport/port.h"

#include <gtest/gtest.h>

namespace {

using test_support::empty_batch;
using test_support::InstantPod;
using test_support::RecordedSleeps;

// A pod of generation 2, which reports its clock.
class DiagnoseTest : public testing::Test {
protected:
    DiagnoseTest() { TimeValueInitial(pod.get()); }

    int32_t diagnose(int32_t symptom) { return jsc_Diagnose(pod.get(), symptom); }

    std::string queued() { return talvor::notation::text(pod.queued()); }

    InstantPod pod{POD_REVISION_2};
    RecordedSleeps sleeps;
};

const std::string waits = "write 16 0000\nwait done\n";

TEST_F(DiagnoseTest, NothingWrongIsNoCode) {
    EXPECT_EQ(diagnose(0), 0);
    EXPECT_EQ(queued(), "");
}

TEST_F(DiagnoseTest, ACodeGoesThroughOnceTheControllerHasBeenWaitedFor) {
    for (const int32_t code : {-1, -119, -130, -140, -179, -184, -310, -318, 5}) {
        empty_batch(*pod.block);
        EXPECT_EQ(diagnose(code), code);
        EXPECT_EQ(queued(), waits) << code;
    }
}

TEST_F(DiagnoseTest, TellingCodesGoThroughAtOnce) {
    pod.control.StatusCache = SUPPORT_CONDITION;
    for (const int32_t code : {-120, -122, -129, -180, -183, -311, -317}) {
        EXPECT_EQ(diagnose(code), code);
    }
    EXPECT_EQ(queued(), "");
    for (const int32_t code : {-119, -130, -179, -184, -310, -318}) {
        pod.control.StatusCache = SUPPORT_CONDITION;
        EXPECT_EQ(diagnose(code), -180) << code << " is not one";
    }
}

TEST_F(DiagnoseTest, ATransportErrorGoesFirstAndIsCleared) {
    pod.inform.podError = -4711;
    EXPECT_EQ(diagnose(-122), -4711);
    EXPECT_EQ(pod.inform.podError, 0);
    EXPECT_EQ(diagnose(-122), -122);
    pod.inform.podError = -125;
    EXPECT_EQ(diagnose(-999), -125) << "a telling one";
}

TEST_F(DiagnoseTest, WithoutChecksTheCodeIsNotLookedAt) {
    pod.inform.tbcVariable.noCheck = true;
    pod.control.StatusCache = SUPPORT_CONDITION;
    EXPECT_EQ(diagnose(0), 0);
    EXPECT_EQ(diagnose(-140), -140);
    pod.inform.podError = -4711;
    EXPECT_EQ(diagnose(0), -4711);
    EXPECT_EQ(pod.inform.podError, 0);
    EXPECT_EQ(queued(), "");
}

TEST_F(DiagnoseTest, LostPowerSaysMoreThanACode) {
    for (const int32_t symptom : {0, -140}) {
        pod.control.StatusCache = SUPPORT_CONDITION | SUPPORT_CLOCK_LOST;
        EXPECT_EQ(diagnose(symptom), -180) << "before the clock";
    }
}

TEST_F(DiagnoseTest, ALostClockSaysMoreThanACode) {
    pod.control.StatusCache = SUPPORT_CLOCK_LOST;
    EXPECT_EQ(diagnose(0), -181);
}

TEST_F(DiagnoseTest, AStatusThatCannotBeReadIsNoCondition) {
    pod.control.StatusCache = SUPPORT_CLOCK_LOST;
    // The clear that follows the readings fails; what was seen stands.
    PortWrite(pod.get(), 3, 1);
    pod.failing = 10;
    EXPECT_EQ(diagnose(-140), -181);
}

TEST_F(DiagnoseTest, NeedsAHandleAndABlock) {
    EXPECT_EQ(jsc_Diagnose(nullptr, 0), -122);
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(diagnose(0), -116);
    EXPECT_EQ(diagnose(-140), -116);
    EXPECT_EQ(diagnose(-182), -182);
}

} // namespace
