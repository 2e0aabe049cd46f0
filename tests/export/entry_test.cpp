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

TEST(Entry, a_handle_is_made_and_deleted_without_a_trace) {
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

TEST(Entry, a_handle_that_cannot_be_initialised_stays_with_the_host) {
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

TEST(Entry, a_handle_that_is_connected_is_not_deleted) {
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

TEST(Entry, reports_what_creation_reports) {
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

TEST(Entry, the_description_is_made_and_deleted) {
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
