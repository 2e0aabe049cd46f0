#include "transport/batch_cursor.h"
#include "transport/batch_fixture.h"
#include "transport/port.h"

#include <gmock/gmock.h>

#include <vector>

namespace {

using test_support::BareHandle;
using test_support::RecordedBatch;
using testing::Each;

// ---- runs ----

TEST_F(BatchTest, ARunQueuesWhatSingleAccessesQueue) {
    constexpr uint32_t kCount = 5000;
    std::vector<uint16_t> words(kCount);
    const auto texts_of_two_ways = [&](bool slow_clock) {
        handle.inform.qelVariable.slowclk = slow_clock;
        proxy.pod().forget();
        for (uint32_t index = 0; index < kCount; ++index) {
            batch_wait(inform(), SHM_WAIT_READ_ONE);
            PortWriteNoCache(inform(), TBC_PORT_SEND, static_cast<uint16_t>(index));
            PortReadNoCache(inform(), TBC_PORT_RECEIVE, &words[index]);
        }
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        BatchCursor cursor = cursor_open(inform());
        for (uint32_t index = 0; index < kCount; ++index) {
            cursor_wait(cursor, SHM_WAIT_READ_ONE);
            cursor_write(cursor, TBC_PORT_SEND, static_cast<uint16_t>(index));
            cursor_read(cursor, TBC_PORT_RECEIVE, &words[index]);
        }
        cursor_close(cursor);
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        ASSERT_EQ(proxy.pod().batches().size(), 2U);
        EXPECT_EQ(proxy.pod().batches()[0].words, proxy.pod().batches()[1].words);
    };
    texts_of_two_ways(false);
    texts_of_two_ways(true);
    EXPECT_EQ(proxy.pod().last_batch().body().substr(0, 47),
              "wait recv\nwrite 23 0000\nwrite 16 0000\nread 22\nw");
}

TEST_F(BatchTest, ARunFlushesWhenTheBlockIsFull) {
    constexpr uint32_t kCount = 3 * 32768;
    uint16_t next = 0;
    proxy.pod().answer_with(TBC_PORT_RECEIVE, [&next] { return next++; });
    std::vector<uint16_t> words(kCount);
    BatchCursor cursor = cursor_open(inform());
    for (uint32_t index = 0; index < kCount; ++index) {
        cursor_wait(cursor, SHM_WAIT_READ_ONE);
        cursor_write(cursor, TBC_PORT_SEND, static_cast<uint16_t>(index));
        cursor_read(cursor, TBC_PORT_RECEIVE, &words[index]);
    }
    cursor_close(cursor);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().batches().size(), 4U);
    for (uint32_t index = 0; index < kCount; ++index) {
        ASSERT_EQ(words[index], static_cast<uint16_t>(index));
    }
    const RecordedBatch& full = proxy.pod().batches().front();
    EXPECT_GT(full.words.size(), kBlockWords - 2);
}

TEST_F(BatchTest, ARunDropsTheRestAfterAFailedFlush) {
    proxy.pod().fail_batches(1);
    std::vector<uint16_t> words(40000, 0x0101);
    BatchCursor cursor = cursor_open(inform());
    for (uint16_t& word : words) {
        cursor_wait(cursor, SHM_WAIT_READ_ONE);
        cursor_write(cursor, TBC_PORT_SEND, 1);
        cursor_read(cursor, TBC_PORT_RECEIVE, &word);
    }
    cursor_close(cursor);
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    EXPECT_EQ(proxy.pod().batches().size(), 1U);
    EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
    EXPECT_THAT(words, Each(0x0101));
    EXPECT_EQ(batch_take_failure(inform()), -140);
}

TEST(BatchWithoutChannelTest, ARunDropsEverything) {
    BareHandle handle;
    uint16_t word = 5;
    BatchCursor cursor = cursor_open(handle.get());
    cursor_wait(cursor, SHM_WAIT_READ_ONE);
    cursor_write(cursor, TBC_PORT_SEND, 1);
    cursor_read(cursor, TBC_PORT_RECEIVE, &word);
    cursor_close(cursor);
    EXPECT_EQ(word, 5);
    EXPECT_EQ(handle.inform.opList, nullptr);
}

} // namespace
