// What Diagnose does with the reads of a failed batch, and on a handle that has lost its block.
#include "api/diagnose.h"
#include "controller/time_value.h"
#include "support/instant_pod.h"
#include "support/recorded_sleeps.h"
#include "transport/port.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;
using test_support::RecordedSleeps;

// A read of the controller's data that was listed when its batch failed.
class FailedReadTest : public testing::Test {
protected:
    FailedReadTest() {
        TimeValueInitial(pod.get());
        pod.give = [](uint16_t port) { return port == TBC_PORT_RECEIVE ? kNextValue : 0; };
        pod.failing = 1;
        PortRead(pod.get(), TBC_PORT_RECEIVE, &lost);
        EXPECT_EQ(qel_PerformIo(pod.get()), -140);
        EXPECT_NE(pod.inform.opList, nullptr);
    }

    // The next read's word, and that the lost one does not take it.
    void expect_the_next_read_gets_its_word() {
        uint16_t word = 0;
        PortRead(pod.get(), TBC_PORT_RECEIVE, &word);
        EXPECT_EQ(qel_PerformIo(pod.get()), 0);
        EXPECT_EQ(word, kNextValue);
        EXPECT_EQ(lost, kUntouched);
    }

    static constexpr uint16_t kNextValue = 0x1234;
    static constexpr uint16_t kUntouched = 0xAAAA;
    InstantPod pod{POD_REVISION_2};
    RecordedSleeps sleeps;
    uint16_t lost = kUntouched;
};

TEST_F(FailedReadTest, IsDroppedWhenTheCodeIsGiven) {
    EXPECT_EQ(jsc_Diagnose(pod.get(), -140), -140);
    expect_the_next_read_gets_its_word();
}

TEST_F(FailedReadTest, IsDroppedWhenTheCodeIsTakenFromTheHandle) {
    pod.inform.podError = -140;
    EXPECT_EQ(jsc_Diagnose(pod.get(), 0), -140);
    expect_the_next_read_gets_its_word();
}

TEST_F(FailedReadTest, IsDroppedWhenAnotherCodeWins) {
    pod.inform.podError = -4711;
    EXPECT_EQ(jsc_Diagnose(pod.get(), -140), -4711);
    expect_the_next_read_gets_its_word();
}

TEST_F(FailedReadTest, IsDroppedWithoutChecksToo) {
    pod.inform.tbcVariable.noCheck = true;
    EXPECT_EQ(jsc_Diagnose(pod.get(), -140), -140);
    EXPECT_EQ(pod.inform.opList, nullptr);
}

TEST_F(FailedReadTest, StaysListedForAnyOtherCode) {
    EXPECT_EQ(jsc_Diagnose(pod.get(), -130), -130);
    EXPECT_NE(pod.inform.opList, nullptr);
    EXPECT_EQ(qel_PerformIo(pod.get()), 0);
}

TEST(DiagnoseWithoutBlockTest, APendingErrorIsReportedAndCleared) {
    InstantPod pod;
    pod.inform.pJscControl = nullptr;
    pod.inform.podError = -140;
    EXPECT_EQ(jsc_Diagnose(pod.get(), 0), -140);
    EXPECT_EQ(pod.inform.podError, 0);
    EXPECT_EQ(jsc_Diagnose(pod.get(), 0), -116);
    EXPECT_TRUE(pod.queued().empty());
}

} // namespace
