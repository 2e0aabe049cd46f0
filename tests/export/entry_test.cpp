#include "api/handle.h"
#include "jsc_export.h"
#include "support/driver_session.h"

#include <gtest/gtest.h>

namespace {

using test_support::FailingHeap;
using test_support::LeakGuard;
using test_support::RecordingConfig;
using test_support::RecordingProxy;

JSC_Parameter parameter_of(RecordingConfig& config) {
    JSC_Parameter parameter{};
    parameter.clientRecipe = 0x4711;
    parameter.jtiClientType = eJTI_CLIENT_ANONYMOUS;
    parameter.pCfgInterface = config.table();
    parameter.cfgHandle = config.handle();
    return parameter;
}

RecordingConfig::Keys board() {
    return {{"KELM.POD_DRVR", "jscpod.so"}, {"KELM.POD_PORT", "0"}};
}

TEST(EntryTest, AHandleIsMadeAndDeletedWithoutATrace) {
    const LeakGuard leaks;
    FailingHeap heap;
    {
        RecordingProxy proxy;
        RecordingConfig config(board());
        JSC_Parameter parameter = parameter_of(config);
        JSC_Inform* handle = nullptr;
        ASSERT_EQ(JSC_CreateHandle(&handle, &parameter), 0);
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(handle->clientRecipe, 0x4711U);
        EXPECT_TRUE(handle->ctlrSoftOpen);
        EXPECT_EQ(JSC_DeleteHandle(&handle), 0);
        EXPECT_EQ(handle, nullptr);
        EXPECT_EQ(proxy.pod().commands(), (std::vector<uint32_t>{SHM_CMD_ATTACH, SHM_CMD_DETACH}));
    }
    EXPECT_TRUE(heap.blocks().empty());
}

TEST(EntryTest, AHandleThatCannotBeInitialisedStaysWithTheHost) {
    RecordingConfig config(board());
    config.set("VEXIL.TDOEDGE", "sideways");
    JSC_Parameter parameter = parameter_of(config);
    JSC_Inform* handle = nullptr;
    EXPECT_EQ(JSC_CreateHandle(&handle, &parameter), -448);
    ASSERT_NE(handle, nullptr);
    JSC_Inform* kept = handle;
    EXPECT_EQ(JSC_DeleteHandle(&handle), -116) << "it has no controller block";
    EXPECT_EQ(handle, kept);
    EXPECT_EQ(jsc_DeleteHandle(&handle), 0);
    EXPECT_EQ(handle, nullptr);
}

TEST(EntryTest, AHandleThatIsConnectedIsNotDeleted) {
    const LeakGuard leaks;
    RecordingProxy proxy;
    RecordingConfig config(board());
    JSC_Parameter parameter = parameter_of(config);
    JSC_Inform* handle = nullptr;
    ASSERT_EQ(JSC_CreateHandle(&handle, &parameter), 0);
    handle->ctlrHardOpen = true;
    EXPECT_EQ(JSC_DeleteHandle(&handle), -116);
    ASSERT_NE(handle, nullptr);
    handle->ctlrHardOpen = false;
    EXPECT_EQ(JSC_DeleteHandle(&handle), 0);
    EXPECT_EQ(JSC_DeleteHandle(&handle), -122) << "a null handle";
}

TEST(EntryTest, ReportsWhatCreationReports) {
    RecordingConfig config(board());
    JSC_Parameter parameter = parameter_of(config);
    EXPECT_EQ(JSC_CreateHandle(nullptr, &parameter), -122);
    JSC_Inform* handle = nullptr;
    {
        FailingHeap heap(0);
        EXPECT_EQ(JSC_CreateHandle(&handle, &parameter), -131);
        EXPECT_EQ(handle, nullptr);
    }
    parameter.jtiClientType = eJTI_CLIENT_INVALID_LAST;
    EXPECT_EQ(JSC_CreateHandle(&handle, &parameter), -122);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(jsc_DeleteHandle(&handle), 0);
}

TEST(EntryTest, TheDescriptionIsMadeAndDeleted) {
    FailingHeap heap;
    JTI_Property* property = nullptr;
    ASSERT_EQ(JSC_CreateProperty(&property), 0);
    ASSERT_NE(property, nullptr);
    EXPECT_EQ(property->propertyVersion, 2U);
    EXPECT_EQ(property->propertyCount, 18U);
    EXPECT_EQ(JSC_DeleteProperty(&property), 0);
    EXPECT_EQ(property, nullptr);
    EXPECT_EQ(JSC_DeleteProperty(&property), -122);
    EXPECT_EQ(JSC_DeleteProperty(nullptr), -122);
    EXPECT_EQ(JSC_CreateProperty(nullptr), -122);
    EXPECT_TRUE(heap.blocks().empty());
    heap.serve(0);
    EXPECT_EQ(JSC_CreateProperty(&property), -131);
    EXPECT_EQ(property, nullptr);
}

} // namespace
