#include "transport/batch.h"
#include "transport/batch_fixture.h"
#include "transport/port.h"

#include <vector>

namespace {

using test_support::RecordedBatch;

// ---- room ----

struct FillCase {
    const char* name;
    uint32_t item_words;
    void (*queue)(JSC_Inform*, uint16_t*);
    const char* text;
};

class BatchFillTest : public BatchTest, public testing::WithParamInterface<FillCase> {};

// The item, the three status reads and nothing else end exactly with the block.
TEST_P(BatchFillTest, AnItemThatExactlyFillsTheBlockStaysInTheBatch) {
    fill_to(kBlockWords - 3 - GetParam().item_words);
    uint16_t word = 0;
    GetParam().queue(inform(), &word);
    EXPECT_TRUE(proxy.pod().batches().empty());
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    ASSERT_EQ(proxy.pod().batches().size(), 1U);
    const RecordedBatch& batch = proxy.pod().last_batch();
    EXPECT_EQ(batch.words.size(), kBlockWords);
    EXPECT_TRUE(batch.text().ends_with(std::string(GetParam().text) + kStatusReads));
}

TEST_P(BatchFillTest, AnItemThatMissesOneWordIsFlushedFor) {
    fill_to(kBlockWords - 3 - GetParam().item_words + 1);
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x00CD});
    uint16_t word = 0;
    GetParam().queue(inform(), &word);
    ASSERT_EQ(proxy.pod().batches().size(), 1U);
    EXPECT_EQ(proxy.pod().last_batch().words.size(), kBlockWords - GetParam().item_words + 1);
    EXPECT_TRUE(
        proxy.pod().last_batch().text().ends_with(std::string("wait done\n") + kStatusReads));
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    ASSERT_EQ(proxy.pod().batches().size(), 2U);
    EXPECT_EQ(proxy.pod().last_batch().body(), GetParam().text);
    EXPECT_EQ(word, std::string(GetParam().text) == "read 22\n" ? 0x00CD : 0);
}

INSTANTIATE_TEST_SUITE_P(
    AllItems, BatchFillTest,
    testing::Values(FillCase{"Wait", 1,
                             [](JSC_Inform* inform, uint16_t*) {
                                 batch_wait(inform, SHM_WAIT_READ_ONE);
                             },
                             "wait recv\n"},
                    FillCase{"Write", 2,
                             [](JSC_Inform* inform, uint16_t*) {
                                 PortWriteNoCache(inform, TBC_PORT_SEND, 0x1234);
                             },
                             "write 23 1234\n"},
                    FillCase{"WriteWithSettleDelay", 4,
                             [](JSC_Inform* inform, uint16_t*) {
                                 inform->qelVariable.slowclk = true;
                                 PortWriteNoCache(inform, TBC_PORT_SEND, 0x1234);
                             },
                             "write 23 1234\nwrite 16 0000\n"},
                    FillCase{"Read", 1,
                             [](JSC_Inform* inform, uint16_t* word) {
                                 PortReadNoCache(inform, TBC_PORT_RECEIVE, word);
                             },
                             "read 22\n"}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(BatchTest, AnyMixtureOfItemsIsTheSameInOneBatchOrMany) {
    // Items of one, two and one words, so that the block's end meets each kind.
    for (uint32_t offset = 0; offset < 8; ++offset) {
        proxy.pod().forget();
        uint16_t next = 0;
        proxy.pod().answer_with(TBC_PORT_RECEIVE, [&next] { return next++; });
        constexpr uint32_t kRounds = 33000;
        std::vector<uint16_t> words(kRounds);
        for (uint32_t filler = 0; filler < offset; ++filler) {
            batch_wait(inform(), SHM_WAIT_DONE);
        }
        for (uint32_t round = 0; round < kRounds; ++round) {
            batch_wait(inform(), SHM_WAIT_READ_ONE);
            PortWriteNoCache(inform(), TBC_PORT_SEND, static_cast<uint16_t>(round));
            PortReadNoCache(inform(), TBC_PORT_RECEIVE, &words[round]);
        }
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        EXPECT_EQ(proxy.pod().batches().size(), 2U);
        for (uint32_t round = 0; round < kRounds; ++round) {
            ASSERT_EQ(words[round], static_cast<uint16_t>(round));
        }
        // Written out once, the words of both batches are the items in order.
        std::vector<uint16_t> sent;
        for (const RecordedBatch& batch : proxy.pod().batches()) {
            ASSERT_LE(batch.words.size(), kBlockWords);
            ASSERT_EQ(batch.words[batch.words.size() - 3], TBC_PORT_SUPPORT);
            for (size_t index = 2; index < batch.words.size(); ++index) {
                if (batch.words[index] == (TBC_PORT_SEND | SHM_WORD_WRITE)) {
                    sent.push_back(batch.words[++index]);
                }
            }
        }
        ASSERT_EQ(sent.size(), kRounds);
        for (uint32_t round = 0; round < kRounds; ++round) {
            ASSERT_EQ(sent[round], static_cast<uint16_t>(round));
        }
    }
}

// The most reads that one batch can hold: each takes a word, every 2048 a marker. 131,072 =
// 2 + 131,003 + 63 markers + 3 status reads + 1 word that is left.
TEST_F(BatchTest, ReadsFillTheBlockToItsLastWord) {
    uint32_t words = SHM_EMPTY_BATCH_WORDS;
    uint32_t expected = 0;
    const auto total = [](uint32_t reads) { return 2 + reads + 3 + (reads + 3) / 2048; };
    while (total(expected + 1) <= kBlockWords) {
        ++expected;
    }
    uint16_t word = 0;
    for (words = 0; proxy.pod().batches().empty(); ++words) {
        PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
    }
    EXPECT_EQ(words, expected + 1);
    EXPECT_EQ(proxy.pod().last_batch().words.size(), total(expected));
    EXPECT_EQ(proxy.pod().last_batch().reads_global, expected + 3);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().last_batch().body(), "read 22\n");
}

// A marker that a status read will close takes a word of the block, too.
TEST_F(BatchTest, RoomIsKeptForAMarkerOfTheStatusReads) {
    for (const uint32_t reads : {2044U, 2045U}) {
        proxy.pod().forget();
        uint16_t word = 0;
        for (uint32_t read = 0; read < reads; ++read) {
            PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
        }
        const uint32_t marker = reads + 3 == 2048 ? 1 : 0;
        fill_to(kBlockWords - 3 - marker);
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        ASSERT_EQ(proxy.pod().batches().size(), 1U);
        EXPECT_EQ(proxy.pod().last_batch().words.size(), kBlockWords);
        proxy.pod().forget();
        for (uint32_t read = 0; read < reads; ++read) {
            PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
        }
        fill_to(kBlockWords - 3 - marker);
        batch_wait(inform(), SHM_WAIT_READ_ONE);
        EXPECT_EQ(proxy.pod().batches().size(), 1U);
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        EXPECT_EQ(proxy.pod().last_batch().body(), "wait recv\n");
    }
}

TEST_F(BatchTest, ABareWordIsNeverFlushedFor) {
    fill_to(kBlockWords - 4);
    qel_PostData(inform(), SHM_WAIT_READ_ONE);
    EXPECT_EQ(handle.inform.podError, 0);
    qel_PostData(inform(), SHM_WAIT_READ_ONE);
    EXPECT_EQ(handle.inform.podError, -140);
    EXPECT_EQ(block().tbcMblockPtr, kBlockWords - 3);
    EXPECT_TRUE(proxy.pod().batches().empty());
    EXPECT_EQ(batch_take_failure(inform()), -140);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().last_batch().words.size(), kBlockWords);
}

// ---- a flush that made room and failed ----

class FailedRoomTest : public BatchTest {
protected:
    FailedRoomTest() {
        PortReadNoCache(inform(), TBC_PORT_RECEIVE, &before);
        fill_to(kBlockWords - 3);
        proxy.pod().fail_batches(1, -55);
        PortReadNoCache(inform(), TBC_PORT_RECEIVE, &after);
    }
    uint16_t before = 1;
    uint16_t after = 2;
};

TEST_F(FailedRoomTest, SetsTheStickyError) {
    EXPECT_EQ(proxy.pod().batches().size(), 1U);
    EXPECT_EQ(handle.inform.podError, -140);
    EXPECT_EQ(batch_failure(inform()), -140);
    EXPECT_EQ(before, 1);
    EXPECT_EQ(after, 2);
}

TEST_F(FailedRoomTest, DropsEverythingUntilItIsTaken) {
    uint16_t word = 3;
    EXPECT_EQ(PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word), 0);
    PortWriteNoCache(inform(), TBC_PORT_SEND, 1);
    batch_wait(inform(), SHM_WAIT_DONE);
    qel_PostData(inform(), SHM_WAIT_DONE);
    qel_ReadIncrement(inform());
    qel_PostReadOp(inform(), 1, &word);
    EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
    EXPECT_EQ(block().rdCntrGbl, 0U);
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    EXPECT_EQ(proxy.pod().batches().size(), 1U);
    EXPECT_EQ(word, 3);
}

TEST_F(FailedRoomTest, LeavesTheCacheOfWritesThatItDropped) {
    handle.control.registerCache[4] = 0x0011;
    handle.control.registerCache[10] = 0x0022;
    PortWrite(inform(), TBC_PORT_CONFIG, 0x0080);
    PortWrite(inform(), TBC_PORT_CONTROL, TBC_CONTROL_RESET);
    EXPECT_EQ(handle.control.registerCache[4], 0x0011);
    EXPECT_EQ(handle.control.registerCache[10], 0x0022);
}

TEST_F(FailedRoomTest, RecoversOnceItIsTaken) {
    EXPECT_EQ(batch_take_failure(inform()), -140);
    EXPECT_EQ(batch_failure(inform()), 0);
    EXPECT_EQ(handle.inform.podError, 0);
    EXPECT_EQ(pending(), 0U);
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x0077});
    uint16_t word = 0;
    PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(word, 0x0077);
    EXPECT_EQ(before, 1);
    EXPECT_EQ(after, 2);
    EXPECT_EQ(handle.control.StatusCache, 0x00E0);
}

TEST_F(BatchTest, AFailedFlushForAWriteOrWaitIsNotedToo) {
    for (const bool for_wait : {false, true}) {
        proxy.pod().forget();
        fill_to(kBlockWords - 3);
        proxy.pod().fail_batches(1);
        if (for_wait) {
            batch_wait(inform(), SHM_WAIT_DONE);
        } else {
            PortWriteNoCache(inform(), TBC_PORT_SEND, 1);
        }
        EXPECT_EQ(batch_failure(inform()), -140);
        EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
        EXPECT_EQ(batch_take_failure(inform()), -140);
    }
}

} // namespace
