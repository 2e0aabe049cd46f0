// A handle on a recorded pod, for the tests of the batch.
#pragma once

#include "support/bare_handle.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"
#include "transport/batch.h"
#include "transport/batch_item.h"
#include "transport/port.h"

#include <gtest/gtest.h>

#include <string>

inline constexpr uint32_t kBlockWords = SHM_BLOCK_WORDS;
inline constexpr const char* kStatusReads = "read 31\nread 16\nread 17\n";

class BatchTest : public testing::Test {
protected:
    BatchTest() { EXPECT_EQ(handle.open(), 0); }

    JSC_Inform* inform() { return handle.get(); }
    lcl_shm& block() { return *proxy.pod().block(); }
    size_t pending() {
        size_t count = 0;
        for (const JSC_qel_oplist* node = handle.inform.opList; node != nullptr;
             node = node->next) {
            ++count;
        }
        return count;
    }
    // Fills the batch with single words until `next` is the next free index.
    void fill_to(uint32_t next) {
        while (block().tbcMblockPtr < next) {
            batch_wait(inform(), SHM_WAIT_DONE);
        }
        ASSERT_EQ(block().tbcMblockPtr, next);
        ASSERT_TRUE(proxy.pod().batches().empty());
    }

    test_support::LeakGuard leaks;
    test_support::RecordingProxy proxy;
    test_support::BareHandle handle;
};
