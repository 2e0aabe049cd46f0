// A handle that was quit with remains, and is initialised once more.
#include "api/handle.h"
#include "support/driver_session.h"

#include <gtest/gtest.h>

namespace {

using test_support::DriverHandle;
using test_support::FailingHeap;
using test_support::LeakGuard;
using test_support::RecordingProxy;
using Commands = std::vector<uint32_t>;

TEST(HandleAgainTest, TheLogOfTheFirstTimeIsFreed) {
    FailingHeap heap;
    {
        RecordingProxy proxy;
        DriverHandle handle;
        ASSERT_EQ(handle.init(JSC_RECIPE_RESET_LOG), 0);
        ASSERT_EQ(jsc_QuitHandle(handle.get()), 0);
        const size_t blocks = heap.blocks().size();
        ASSERT_EQ(handle.init(JSC_RECIPE_RESET_LOG), 0);
        EXPECT_EQ(heap.blocks().size(), blocks) << "one log for the other";
        ASSERT_EQ(jsc_QuitHandle(handle.get()), 0);
        ASSERT_EQ(handle.init(0), 0);
        EXPECT_EQ(handle.get()->resetLogHandle, nullptr) << "this time none was asked for";
        ASSERT_EQ(jsc_QuitHandle(handle.get()), 0);
    }
    EXPECT_TRUE(heap.blocks().empty());
}

// A quit that finds the counters wrong leaves the channel open.
TEST(HandleAgainTest, TheChannelOfTheFirstTimeIsClosed) {
    const LeakGuard leaks;
    RecordingProxy proxy;
    DriverHandle handle;
    ASSERT_EQ(handle.init(), 0);
    handle.control().ctlrHardUsed = 1;
    ASSERT_EQ(jsc_QuitHandle(handle.get()), -116);
    handle.control().ctlrHardUsed = 0;
    ASSERT_EQ(sys_ShareFree(&handle.get()->tbcShare), 0);
    EXPECT_EQ(proxy.pod().commands(), (Commands{SHM_CMD_ATTACH}));
    EXPECT_EQ(handle.init(), 0);
    EXPECT_EQ(proxy.pod().commands(), (Commands{SHM_CMD_ATTACH, SHM_CMD_DETACH, SHM_CMD_ATTACH}));
    EXPECT_EQ(jsc_QuitHandle(handle.get()), 0);
}

} // namespace
