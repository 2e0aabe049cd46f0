#include "controller/wait.h"
#include "support/bare_handle.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"

#include <gtest/gtest.h>

namespace {

using test_support::BareHandle;
using test_support::LeakGuard;
using test_support::RecordingProxy;

class WaitTest : public testing::Test {
protected:
    WaitTest() { EXPECT_EQ(handle.open(), 0); }

    std::string flushed() {
        proxy.pod().forget();
        EXPECT_EQ(qel_PerformIo(handle.get()), 0);
        return proxy.pod().text();
    }

    LeakGuard leaks;
    RecordingProxy proxy;
    BareHandle handle;
};

const std::pair<int, const char*> words_of_kinds[] = {
    {3, "wait send\n"}, {4, "wait send many\n"}, {7, "wait recv\n"}, {8, "wait recv many\n"}};

TEST_F(WaitTest, FourKindsAreWaitWords) {
    for (const auto& [kind, word] : words_of_kinds) {
        handle.control.priorTBC = true;
        EXPECT_EQ(WaitForStatus(handle.get(), static_cast<JSC_StatusType>(kind)), 0);
        EXPECT_FALSE(handle.control.priorTBC) << kind;
        EXPECT_EQ(flushed(), word);
    }
}

TEST_F(WaitTest, OtherKindsAppendNothingAndLeaveThePriorState) {
    for (const int kind : {-1, 0, 1, 2, 5, 6, 9, 10, 11, 12, 13, 14, 15, 18, 19, 100}) {
        handle.control.priorTBC = true;
        EXPECT_EQ(WaitForStatus(handle.get(), static_cast<JSC_StatusType>(kind)), 0);
        EXPECT_TRUE(handle.control.priorTBC) << kind;
        EXPECT_EQ(flushed(), "") << kind;
    }
}

TEST_F(WaitTest, PodsThatWaitByThemselvesGetNoWaitWord) {
    const std::pair<uint32_t, bool> revisions[] = {
        {0x0000, false}, {0x0100, false}, {0x01FF, false}, {0x0200, true}, {0x0400, true}};
    for (const auto& [revision, waits_by_itself] : revisions) {
        for (const bool option : {false, true}) {
            for (const auto& [kind, word] : words_of_kinds) {
                handle.control.emuRevision = revision;
                handle.inform.qelVariable.aw = option;
                handle.control.priorTBC = true;
                EXPECT_EQ(WaitForStatus(handle.get(), static_cast<JSC_StatusType>(kind)), 0);
                EXPECT_FALSE(handle.control.priorTBC);
                EXPECT_EQ(flushed(), option && waits_by_itself ? "" : word) << revision;
            }
        }
    }
}

TEST_F(WaitTest, TheHandlesOwnRevisionIsNotLookedAt) {
    handle.inform.emuRevision = 0x0400;
    handle.inform.qelVariable.aw = true;
    EXPECT_EQ(WaitForStatus(handle.get(), eJSC_STATUS_TYPE_RD_BUFFER1_ONE), 0);
    EXPECT_EQ(flushed(), "wait recv\n");
}

TEST_F(WaitTest, DoneIsAlwaysAWaitWord) {
    handle.control.emuRevision = 0x0400;
    handle.inform.qelVariable.aw = true;
    handle.control.priorTBC = true;
    EXPECT_EQ(WaitForTbcDone(handle.get()), 0);
    EXPECT_FALSE(handle.control.priorTBC);
    EXPECT_EQ(flushed(), "wait done\n");
}

TEST_F(WaitTest, TheExtendedDoneWaitIsNotOffered) {
    handle.control.priorTBC = true;
    EXPECT_EQ(WaitForExlDone(handle.get()), -122);
    EXPECT_EQ(WaitForExlDone(nullptr), -122);
    EXPECT_TRUE(handle.control.priorTBC);
    EXPECT_EQ(flushed(), "");
}

TEST_F(WaitTest, SettleDelays) {
    WaitAWhileTbc(handle.get());
    WaitAWhileTbc(handle.get());
    WaitAWhileExl(handle.get());
    EXPECT_EQ(flushed(), "write 16 0000\nwrite 16 0000\n");
    WaitAWhileTbc(nullptr);
    WaitAWhileExl(nullptr);
}

TEST_F(WaitTest, TheWordForAStreamIsTheOneThatWouldBeQueued) {
    handle.control.priorTBC = true;
    EXPECT_EQ(wait_word_of_status(handle.get(), eJSC_STATUS_TYPE_WR_BUFFER2_ONE), 0);
    EXPECT_TRUE(handle.control.priorTBC);
    EXPECT_EQ(wait_word_of_status(handle.get(), eJSC_STATUS_TYPE_WR_BUFFER1_ONE), 0x8012);
    EXPECT_FALSE(handle.control.priorTBC);
    EXPECT_EQ(wait_word_of_status(handle.get(), eJSC_STATUS_TYPE_RD_BUFFER1_ONE), 0x8812);
    handle.control.emuRevision = 0x0200;
    handle.inform.qelVariable.aw = true;
    handle.control.priorTBC = true;
    EXPECT_EQ(wait_word_of_status(handle.get(), eJSC_STATUS_TYPE_RD_BUFFER1_ONE), 0);
    EXPECT_FALSE(handle.control.priorTBC);
    EXPECT_EQ(flushed(), "");
}

TEST_F(WaitTest, NeedsAHandleAndAControllerBlock) {
    EXPECT_EQ(WaitForStatus(nullptr, eJSC_STATUS_TYPE_RD_BUFFER1_ONE), -122);
    EXPECT_EQ(WaitForTbcDone(nullptr), -122);
    handle.inform.pJscControl = nullptr;
    EXPECT_EQ(WaitForStatus(handle.get(), eJSC_STATUS_TYPE_RD_BUFFER1_ONE), -116);
    EXPECT_EQ(WaitForTbcDone(handle.get()), -116);
    EXPECT_EQ(flushed(), "");
}

} // namespace
