#include "transport/batch.h"

#include "support/bare_handle.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"
#include "transport/port.h"

#include <gtest/gtest.h>

namespace {

using test_support::BareHandle;
using test_support::LeakGuard;
using test_support::RecordingProxy;

TEST(Batch, FlushesReadsIntoTheirDestinations) {
    const LeakGuard leaks;
    RecordingProxy proxy;
    BareHandle handle;
    ASSERT_EQ(handle.open(), 0);
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x1234, 0x5678});
    uint16_t first = 0;
    uint16_t second = 0;
    PortWrite(handle.get(), TBC_PORT_CONFIG, 0x0080);
    PortRead(handle.get(), TBC_PORT_RECEIVE, &first);
    PortRead(handle.get(), TBC_PORT_RECEIVE, &second);
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
    EXPECT_EQ(first, 0x1234);
    EXPECT_EQ(second, 0x5678);
    EXPECT_EQ(handle.control.StatusCache, 0x00E0);
    EXPECT_EQ(handle.control.Status1Cache, 0x8003);
    EXPECT_EQ(proxy.pod().last_batch().text(),
              "write 4 0080\nread 22\nread 22\nread 31\nread 16\nread 17\n");
    EXPECT_EQ(proxy.pod().last_batch().body(), "write 4 0080\nread 22\nread 22\n");
}

} // namespace
