#include "common/notation.h"
#include "controller/time_value.h"
#include "log/store.h"
#include "scan/trst.h"
#include "support/instant_pod.h"
#include "support/recorded_sleeps.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;
using test_support::RecordedSleeps;
using Delays = std::vector<uint32_t>;

constexpr uint16_t kLatched = SUPPORT_CONDITION;

// A pod of generation 2, which needs no pause after a clear pulse, with a log.
class TrstTest : public testing::Test {
protected:
    TrstTest() {
        TimeValueInitial(pod.get());
        zdl_LogFileCreate(&pod.inform.resetLogHandle, 8);
        zdl_LogFileErase(pod.inform.resetLogHandle, true);
        set_condition(false);
    }
    ~TrstTest() override { zdl_LogFileDelete(&pod.inform.resetLogHandle); }

    // The condition latch, in the pod and as of the last flush.
    void set_condition(bool set) {
        pod.control.StatusCache = set ? kLatched : 0;
        pod.give = [set](uint16_t port) {
            return static_cast<uint16_t>(port == 31 && set ? kLatched : 0);
        };
    }

    std::vector<uint32_t> logged() {
        const auto* log = static_cast<LS_LOGFILE*>(pod.inform.resetLogHandle);
        return {log->pLogFileData, log->pLogFileData + log->logFileIndex};
    }

    std::string text() {
        std::string all;
        for (const auto& words : pod.batches) {
            all += talvor::notation::text(words) + "--\n";
        }
        return all;
    }

    InstantPod pod{POD_REVISION_2};
    RecordedSleeps sleeps;
};

TEST_F(TrstTest, ThePinIsTheInverseOfTheStatusBit) {
    bool high = false;
    EXPECT_EQ(jsc_StatusTrstn(pod.get(), &high), 0);
    EXPECT_TRUE(high);
    set_condition(true);
    EXPECT_EQ(jsc_StatusTrstn(pod.get(), &high), 0);
    EXPECT_FALSE(high);
    EXPECT_TRUE(pod.queued().empty());
}

TEST_F(TrstTest, StatusChecksItsArguments) {
    bool high = true;
    EXPECT_EQ(jsc_StatusTrstn(pod.get(), nullptr), -122);
    EXPECT_EQ(jsc_StatusTrstn(nullptr, &high), -122);
    EXPECT_TRUE(high);
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_StatusTrstn(pod.get(), &high), -116);
}

TEST_F(TrstTest, DrivingLowPulsesTheClearLineOfALatchedCondition) {
    set_condition(true);
    EXPECT_EQ(jsc_ModifyTrstn(pod.get(), eJSC_JTAG_PIN_SET_LEVEL, 0, 77), 0);
    EXPECT_EQ(text(), "wait done\nread 31\nread 16\nread 17\n--\n"
                      "write 5 0c00\nwrite 5 0c04\nread 31\nread 16\nread 17\n--\n");
    EXPECT_EQ(sleeps.delays_us(), Delays{10000});
}

TEST_F(TrstTest, DrivingHighWorksOnAClearLatch) {
    EXPECT_EQ(jsc_ModifyTrstn(pod.get(), eJSC_JTAG_PIN_SET_LEVEL, 5, 0), 0);
    EXPECT_EQ(pod.batches.size(), 2U);
    EXPECT_EQ(sleeps.delays_us(), Delays{10000});
    set_condition(true);
    pod.batches.clear();
    EXPECT_EQ(jsc_ModifyTrstn(pod.get(), eJSC_JTAG_PIN_SET_LEVEL, 1, 0), 0);
    EXPECT_EQ(pod.batches.size(), 1U) << "nothing to do";
}

TEST_F(TrstTest, TheRecoveryTimeIsTheTimeValue) {
    pod.control.timeValue.pulseRecoveryValue = 321;
    EXPECT_EQ(jsc_ModifyTrstn(pod.get(), eJSC_JTAG_PIN_SET_LEVEL, 1, 0), 0);
    EXPECT_EQ(sleeps.delays_us(), Delays{321});
}

TEST_F(TrstTest, OtherPinOperationsAreRefusedBeforeTheWait) {
    for (const int pin : {0, 2, 3, -1}) {
        EXPECT_EQ(jsc_ModifyTrstn(pod.get(), static_cast<JSC_JtagPin>(pin), 1, 1), -122) << pin;
    }
    EXPECT_EQ(jsc_ModifyTrstn(nullptr, eJSC_JTAG_PIN_SET_LEVEL, 1, 1), -122);
    EXPECT_TRUE(pod.queued().empty());
    EXPECT_EQ(sleeps.delays_us(), Delays{});
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_ModifyTrstn(pod.get(), eJSC_JTAG_PIN_SET_LEVEL, 1, 1), -116);
}

TEST_F(TrstTest, AFailureIsReturnedWithoutASleep) {
    pod.failing = 1;
    EXPECT_EQ(jsc_ModifyTrstn(pod.get(), eJSC_JTAG_PIN_SET_LEVEL, 1, 1), -140);
    EXPECT_EQ(sleeps.delays_us(), Delays{});
}

TEST_F(TrstTest, ALowPinIsDrivenHigh) {
    set_condition(true);
    EXPECT_EQ(tbc_TrstnStuff(pod.get(), true, true), 0);
    EXPECT_EQ(sleeps.delays_us().size(), 1U);
    EXPECT_EQ(logged(), std::vector<uint32_t>{RSTLOG_SCAN_PATH_TRST_NEGATE});
}

TEST_F(TrstTest, AHighPinIsPulsedWhenAsked) {
    EXPECT_EQ(tbc_TrstnStuff(pod.get(), true, true), 0);
    EXPECT_EQ(sleeps.delays_us().size(), 2U) << "low, then high";
    EXPECT_EQ(logged(), std::vector<uint32_t>{RSTLOG_SCAN_PATH_TRST_TOGGLE});
}

TEST_F(TrstTest, AHighPinIsLeftAloneElse) {
    EXPECT_EQ(tbc_TrstnStuff(pod.get(), false, true), 0);
    EXPECT_TRUE(pod.queued().empty());
    EXPECT_TRUE(pod.batches.empty());
    EXPECT_TRUE(logged().empty());
}

TEST_F(TrstTest, TheLogIsWrittenWhenAskedOnly) {
    EXPECT_EQ(tbc_TrstnStuff(pod.get(), true, false), 0);
    EXPECT_TRUE(logged().empty());
}

TEST_F(TrstTest, FailuresOfThePinAreIgnoredAndThoseOfTheLogAreNot) {
    pod.failing = 2;
    EXPECT_EQ(tbc_TrstnStuff(pod.get(), true, true), 0);
    EXPECT_EQ(logged(), std::vector<uint32_t>{RSTLOG_SCAN_PATH_TRST_TOGGLE});
    while (zdl_LogFileBasic(pod.inform.resetLogHandle, 1) == 0) {
    }
    EXPECT_EQ(tbc_TrstnStuff(pod.get(), true, true), -520);
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(tbc_TrstnStuff(pod.get(), true, true), -116);
}

} // namespace
