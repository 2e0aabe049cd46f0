#include "transport/batch.h"

#include "support/bare_handle.h"
#include "support/failing_os.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"
#include "transport/batch_cursor.h"
#include "transport/port.h"

#include <array>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace {

using test_support::BareHandle;
using test_support::FailingHeap;
using test_support::LeakGuard;
using test_support::RecordedBatch;
using test_support::RecordingProxy;
using testing::Each;
using testing::ElementsAre;

constexpr uint32_t block_words = SHM_BLOCK_WORDS;
constexpr const char* status_reads = "read 31\nread 16\nread 17\n";

class Batch : public testing::Test {
protected:
    Batch() { EXPECT_EQ(handle.open(), 0); }

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

    LeakGuard leaks;
    RecordingProxy proxy;
    BareHandle handle;
};

// ---- words, markers, nodes ----

TEST_F(Batch, AppendsOneWordAtTheCounter) {
    qel_PostData(inform(), 0x8012);
    EXPECT_EQ(block().tbcMblockPtr, 3U);
    EXPECT_EQ(block().tbcOMblock[2], 0x8012);
    qel_PostData(inform(), 0x1234);
    EXPECT_EQ(block().tbcMblockPtr, 4U);
    EXPECT_EQ(block().tbcOMblock[3], 0x1234);
}

TEST_F(Batch, CountsReads) {
    qel_ReadIncrement(inform());
    qel_ReadIncrement(inform());
    EXPECT_EQ(block().rdCntrLcl, 2U);
    EXPECT_EQ(block().rdCntrGbl, 2U);
    EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
    EXPECT_EQ(block().useZeroOfs, 0U);
}

TEST_F(Batch, ClosesTheMarkerWith2048ReadsAndOpensTheNext) {
    uint16_t word = 0;
    for (int read = 0; read < 2047; ++read) {
        PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
    }
    EXPECT_EQ(block().tbcOMblock[1], SHM_MARKER_OPEN);
    EXPECT_EQ(block().rdCntrLcl, 2047U);
    PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(block().tbcOMblock[1], SHM_MARKER_FULL);
    EXPECT_EQ(block().useZeroOfs, 1U);
    EXPECT_EQ(block().rdCntrLcl, 0U);
    EXPECT_EQ(block().rdCntrGbl, 2048U);
    EXPECT_EQ(block().lastWCNTR, 2050U);
    EXPECT_EQ(block().tbcOMblock[2049], TBC_PORT_RECEIVE);
    EXPECT_EQ(block().tbcOMblock[2050], SHM_MARKER_OPEN);
    EXPECT_EQ(block().tbcMblockPtr, 2051U);
}

TEST_F(Batch, ListsReadsInOrder) {
    std::array<uint16_t, 4> words{};
    qel_PostReadOp(inform(), 3, words.data());
    qel_PostReadOp(inform(), 0, nullptr);
    const JSC_qel_oplist* const first = handle.inform.opList;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->op, 0U);
    EXPECT_EQ(first->count, 3U);
    EXPECT_EQ(first->ptr, words.data());
    const JSC_qel_oplist* const second = first->next;
    ASSERT_EQ(second, handle.inform.opListTail);
    EXPECT_EQ(second->op, 0U);
    EXPECT_EQ(second->count, 0U);
    EXPECT_EQ(second->ptr, nullptr);
    EXPECT_EQ(second->next, nullptr);
}

TEST_F(Batch, APortReadIsItsThreeSteps) {
    std::array<uint16_t, 2> words{};
    PortReadNoCache(inform(), TBC_PORT_VERSION, &words[0]);
    qel_PostData(inform(), TBC_PORT_RECEIVE);
    qel_ReadIncrement(inform());
    qel_PostReadOp(inform(), 1, &words[1]);
    proxy.pod().answer(TBC_PORT_VERSION, {0x0002});
    proxy.pod().answer(TBC_PORT_RECEIVE, {0xBEEF});
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_THAT(words, ElementsAre(0x0002, 0xBEEF));
    EXPECT_EQ(proxy.pod().last_batch().body(), "read 19\nread 22\n");
}

// ---- the flush ----

TEST_F(Batch, FlushesReadsIntoTheirDestinations) {
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x1234, 0x5678});
    std::array<uint16_t, 2> words{};
    PortWrite(inform(), TBC_PORT_CONFIG, 0x0080);
    PortRead(inform(), TBC_PORT_RECEIVE, &words[0]);
    PortRead(inform(), TBC_PORT_RECEIVE, &words[1]);
    EXPECT_THAT(words, Each(0));
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_THAT(words, ElementsAre(0x1234, 0x5678));
    EXPECT_EQ(proxy.pod().last_batch().text(),
              std::string("write 4 0080\nread 22\nread 22\n") + status_reads);
    EXPECT_EQ(pending(), 0U);
    EXPECT_EQ(handle.inform.opListTail, nullptr);
}

TEST_F(Batch, EveryFlushRefreshesTheStatusCaches) {
    proxy.pod().answer(TBC_PORT_SUPPORT, {0x1111});
    proxy.pod().answer(TBC_PORT_STATUS0, {0x2222});
    proxy.pod().answer(TBC_PORT_STATUS1, {0x3333});
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(handle.control.StatusCache, 0x1111);
    EXPECT_EQ(handle.control.Status0Cache, 0x2222);
    EXPECT_EQ(handle.control.Status1Cache, 0x3333);
}

TEST_F(Batch, AnEmptyBatchIsNoExchange) {
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_TRUE(proxy.pod().batches().empty());
}

TEST_F(Batch, BelowThreeWordsNothingIsQueued) {
    uint16_t word = 7;
    qel_PostReadOp(inform(), 1, &word);
    block().tbcMblockPtr = 2;
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(pending(), 1U);
    EXPECT_TRUE(proxy.pod().batches().empty());
    block().tbcMblockPtr = 3;
    block().tbcOMblock[2] = SHM_WAIT_DONE;
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().batches().size(), 1U);
}

TEST_F(Batch, FindsTheWordsBehindWhateverStandsInTheInBlock) {
    for (const uint32_t place : {1U, 77U, block_words - 4}) {
        proxy.pod().place_reads_at(place);
        proxy.pod().answer(TBC_PORT_RECEIVE, {static_cast<uint16_t>(0x4000 + place)});
        uint16_t word = 0;
        PortRead(inform(), TBC_PORT_RECEIVE, &word);
        EXPECT_EQ(qel_PerformIo(inform()), 0) << place;
        EXPECT_EQ(word, static_cast<uint16_t>(0x4000 + place));
    }
}

TEST_F(Batch, ANodeTakesAsManyWordsAsItCounts) {
    std::array<uint16_t, 3> block_of_three{};
    uint16_t none = 9;
    uint16_t last = 0;
    for (int read = 0; read < 5; ++read) {
        qel_PostData(inform(), TBC_PORT_RECEIVE);
        qel_ReadIncrement(inform());
    }
    qel_PostReadOp(inform(), 3, block_of_three.data());
    qel_PostReadOp(inform(), 0, &none);
    qel_PostReadOp(inform(), 1, nullptr); // takes a word and drops it
    qel_PostReadOp(inform(), 1, &last);
    proxy.pod().answer(TBC_PORT_RECEIVE, {1, 2, 3, 4, 5});
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_THAT(block_of_three, ElementsAre(1, 2, 3));
    EXPECT_EQ(none, 9);
    EXPECT_EQ(last, 5);
    EXPECT_EQ(handle.control.StatusCache, 0x00E0);
}

TEST_F(Batch, ScattersOverManyMarkers) {
    constexpr uint32_t count = 3 * SHM_MARKER_READS + 5;
    uint16_t next = 0;
    proxy.pod().answer_with(TBC_PORT_RECEIVE, [&next] { return next++; });
    std::vector<uint16_t> words(count);
    for (uint16_t& word : words) {
        PortRead(inform(), TBC_PORT_RECEIVE, &word);
    }
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    for (uint32_t index = 0; index < count; ++index) {
        ASSERT_EQ(words[index], static_cast<uint16_t>(index));
    }
    const RecordedBatch& batch = proxy.pod().last_batch();
    EXPECT_EQ(batch.words[1], SHM_MARKER_FULL);
    EXPECT_EQ(batch.words[2050], SHM_MARKER_FULL);
    EXPECT_EQ(batch.words[4099], SHM_MARKER_FULL);
    EXPECT_EQ(batch.last_marker, 6148U);
    EXPECT_EQ(batch.words[6148], SHM_MARKER_OPEN);
    EXPECT_EQ(batch.reads_global, count + 3);
    EXPECT_EQ(batch.reads_local, 8U);
}

// A marker that falls among the three status reads of the flush itself.
TEST_F(Batch, ClosesAMarkerWithinTheStatusReads) {
    for (const uint32_t before : {2045U, 2046U, 2047U}) {
        uint16_t word = 0;
        for (uint32_t read = 0; read < before; ++read) {
            PortRead(inform(), TBC_PORT_RECEIVE, &word);
        }
        proxy.pod().answer(TBC_PORT_STATUS1, {static_cast<uint16_t>(before)});
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        EXPECT_EQ(handle.control.Status1Cache, before);
        EXPECT_EQ(proxy.pod().last_batch().words.size(), before + 6);
        EXPECT_EQ(proxy.pod().last_batch().reads_local, before + 3 - 2048);
    }
}

TEST_F(Batch, ReusesNodes) {
    const FailingHeap heap;
    std::vector<uint16_t> words(1000);
    for (int round = 0; round < 3; ++round) {
        for (uint16_t& word : words) {
            PortRead(inform(), TBC_PORT_RECEIVE, &word);
        }
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        EXPECT_EQ(heap.blocks().size(), words.size() + 3) << round;
    }
    batch_release(inform());
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_EQ(handle.inform.opListFree, nullptr);
}

// ---- failures of the flush ----

TEST_F(Batch, AFailedBatchKeepsTheList) {
    proxy.pod().fail_batches(1);
    uint16_t word = 5;
    PortRead(inform(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    EXPECT_EQ(word, 5);
    EXPECT_EQ(pending(), 4U);
    EXPECT_EQ(handle.inform.podError, 0);
    EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
    batch_drop_reads(inform());
}

// What was listed before a failed flush takes the first words of the next that succeeds.
TEST_F(Batch, StaleReadsTakeTheNextWords) {
    proxy.pod().fail_batches(1);
    uint16_t stale = 0;
    PortRead(inform(), TBC_PORT_RECEIVE, &stale);
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x1111, 0x2222});
    std::array<uint16_t, 2> words{};
    PortRead(inform(), TBC_PORT_RECEIVE, &words[0]);
    PortRead(inform(), TBC_PORT_RECEIVE, &words[1]);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    // Five words for nine reads: the stale one, three stale status reads, the first of the two;
    // the others get what stands behind the five.
    EXPECT_EQ(stale, 0x1111);
    EXPECT_THAT(words, ElementsAre(0x8003, 0x0000));
    EXPECT_EQ(handle.control.StatusCache, 0x0000);
    EXPECT_EQ(pending(), 0U);
}

TEST_F(Batch, WordsPastTheInBlockDoNotExist) {
    proxy.pod().fail_batches(1);
    std::array<uint16_t, 3> words = {7, 8, 9};
    for (uint16_t& word : words) {
        PortRead(inform(), TBC_PORT_RECEIVE, &word);
    }
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    EXPECT_EQ(pending(), 6U);
    // The four words of the next batch end with the in-block; ten reads wait for them.
    uint16_t block_of_many[4] = {1, 2, 3, 4};
    qel_PostReadOp(inform(), 4, block_of_many);
    proxy.pod().place_reads_at(block_words - 4);
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x00AA});
    uint16_t last = 6;
    PortRead(inform(), TBC_PORT_RECEIVE, &last);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_THAT(words, ElementsAre(0x00AA, 0x00E0, 0x0000));
    EXPECT_EQ(handle.control.StatusCache, 0x8003);
    EXPECT_THAT(block_of_many, ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(last, 6);
    EXPECT_EQ(pending(), 0U);
}

struct StatusCase {
    const char* name;
    int32_t status;
    int32_t result;
    bool delivered;
};

class BatchStatus : public Batch, public testing::WithParamInterface<StatusCase> {};

TEST_P(BatchStatus, IsBoundedBeforeUse) {
    const StatusCase& param = GetParam();
    proxy.pod().interfere([&param](lcl_shm& shared) {
        if (shared.cmd == SHM_CMD_EXECUTE) {
            shared.status = param.status;
            shared.tbcIMblock[0] = 0x1234;
            shared.tbcIMblock[block_words - 4] = 0x5678;
        }
    });
    uint16_t word = 9;
    PortRead(inform(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(qel_PerformIo(inform()), param.result);
    EXPECT_EQ(word != 9, param.delivered);
    EXPECT_EQ(pending(), param.delivered ? 0U : 4U);
    batch_drop_reads(inform());
}

// Four reads: eight bytes.
INSTANTIATE_TEST_SUITE_P(
    AllValues, BatchStatus,
    testing::Values(StatusCase{"MinusOne", -1, -140, false},
                    StatusCase{"Smallest", INT32_MIN, -140, false}, StatusCase{"Zero", 0, 0, false},
                    StatusCase{"OneWordShort", 6, -140, false},
                    StatusCase{"OneByteShort", 7, -140, false}, StatusCase{"Exact", 8, 0, true},
                    StatusCase{"Odd", 9, -140, false}, StatusCase{"EndOfInBlock", 262144, 0, true},
                    StatusCase{"PastInBlockByOne", 262145, -140, false},
                    StatusCase{"PastInBlockByAWord", 262146, -140, false},
                    StatusCase{"Largest", INT32_MAX, -140, false}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(Batch, AStatusWithoutReadsIsNotLookedAt) {
    handle.inform.podError = -1;
    proxy.pod().interfere([](lcl_shm& shared) { shared.status = INT32_MAX; });
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
}

TEST_F(Batch, WithoutMemoryForTheStatusReadsNothingIsQueued) {
    batch_wait(inform(), SHM_WAIT_DONE);
    {
        const FailingHeap heap(2);
        EXPECT_EQ(qel_PerformIo(inform()), -131);
        EXPECT_EQ(block().tbcMblockPtr, 3U);
        EXPECT_EQ(block().rdCntrGbl, 0U);
        EXPECT_EQ(pending(), 0U);
        batch_release(inform());
    }
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().last_batch().body(), "wait done\n");
}

TEST_F(Batch, WithoutMemoryForAReadTheBatchFails) {
    FailingHeap heap(0);
    uint16_t word = 5;
    EXPECT_EQ(PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word), 0);
    EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
    EXPECT_EQ(handle.inform.podError, -131);
    EXPECT_EQ(qel_PerformIo(inform()), -131);
    EXPECT_EQ(batch_take_failure(inform()), -131);
    qel_PostReadOp(inform(), 1, &word);
    EXPECT_EQ(pending(), 0U);
    EXPECT_EQ(batch_take_failure(inform()), -131);
    heap.serve(4);
    EXPECT_EQ(PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word), 0);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(word, 0);
    batch_release(inform());
}

// ---- podError ----

TEST_F(Batch, APodErrorOfTheHostsKeepsAccessesAwayButNotWaits) {
    handle.inform.podError = -1234;
    uint16_t word = 5;
    EXPECT_EQ(PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word), 0);
    PortWriteNoCache(inform(), TBC_PORT_SEND, 1);
    EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
    EXPECT_EQ(pending(), 0U);
    batch_wait(inform(), SHM_WAIT_DONE);
    qel_PostData(inform(), SHM_WAIT_READ_ONE);
    EXPECT_EQ(batch_failure(inform()), 0);
    // The flush itself goes on; its status reads are accesses like any other.
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().last_batch().text(), "wait done\nwait recv\n");
    EXPECT_EQ(word, 5);
    EXPECT_EQ(batch_take_failure(inform()), -1234);
    EXPECT_EQ(handle.inform.podError, 0);
}

TEST_F(Batch, ReadsQueuedBeforeAPodErrorAreStillDelivered) {
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x00AB});
    uint16_t word = 0;
    PortRead(inform(), TBC_PORT_RECEIVE, &word);
    handle.inform.podError = -7;
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(word, 0x00AB);
    EXPECT_EQ(proxy.pod().last_batch().text(), "read 22\n");
}

TEST_F(Batch, TakingNoFailureKeepsTheList) {
    uint16_t word = 0;
    PortRead(inform(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(batch_take_failure(inform()), 0);
    handle.inform.podError = -7;
    EXPECT_EQ(batch_take_failure(inform()), -7);
    EXPECT_EQ(pending(), 1U);
}

TEST_F(Batch, AHostThatClearsPodErrorClearsTheFailureBehindIt) {
    batch_fail(inform(), -140);
    EXPECT_EQ(batch_failure(inform()), -140);
    handle.inform.podError = 0;
    EXPECT_EQ(batch_failure(inform()), 0);
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().last_batch().body(), "wait done\n");
}

// ---- room ----

struct FillCase {
    const char* name;
    uint32_t item_words;
    void (*queue)(JSC_Inform*, uint16_t*);
    const char* text;
};

class BatchFill : public Batch, public testing::WithParamInterface<FillCase> {};

// The item, the three status reads and nothing else end exactly with the block.
TEST_P(BatchFill, AnItemThatExactlyFillsTheBlockStaysInTheBatch) {
    fill_to(block_words - 3 - GetParam().item_words);
    uint16_t word = 0;
    GetParam().queue(inform(), &word);
    EXPECT_TRUE(proxy.pod().batches().empty());
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    ASSERT_EQ(proxy.pod().batches().size(), 1U);
    const RecordedBatch& batch = proxy.pod().last_batch();
    EXPECT_EQ(batch.words.size(), block_words);
    EXPECT_TRUE(batch.text().ends_with(std::string(GetParam().text) + status_reads));
}

TEST_P(BatchFill, AnItemThatMissesOneWordIsFlushedFor) {
    fill_to(block_words - 3 - GetParam().item_words + 1);
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x00CD});
    uint16_t word = 0;
    GetParam().queue(inform(), &word);
    ASSERT_EQ(proxy.pod().batches().size(), 1U);
    EXPECT_EQ(proxy.pod().last_batch().words.size(), block_words - GetParam().item_words + 1);
    EXPECT_TRUE(
        proxy.pod().last_batch().text().ends_with(std::string("wait done\n") + status_reads));
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    ASSERT_EQ(proxy.pod().batches().size(), 2U);
    EXPECT_EQ(proxy.pod().last_batch().body(), GetParam().text);
    EXPECT_EQ(word, std::string(GetParam().text) == "read 22\n" ? 0x00CD : 0);
}

INSTANTIATE_TEST_SUITE_P(
    AllItems, BatchFill,
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

TEST_F(Batch, AnyMixtureOfItemsIsTheSameInOneBatchOrMany) {
    // Items of one, two and one words, so that the block's end meets each kind.
    for (uint32_t offset = 0; offset < 8; ++offset) {
        proxy.pod().forget();
        uint16_t next = 0;
        proxy.pod().answer_with(TBC_PORT_RECEIVE, [&next] { return next++; });
        constexpr uint32_t rounds = 33000;
        std::vector<uint16_t> words(rounds);
        for (uint32_t filler = 0; filler < offset; ++filler) {
            batch_wait(inform(), SHM_WAIT_DONE);
        }
        for (uint32_t round = 0; round < rounds; ++round) {
            batch_wait(inform(), SHM_WAIT_READ_ONE);
            PortWriteNoCache(inform(), TBC_PORT_SEND, static_cast<uint16_t>(round));
            PortReadNoCache(inform(), TBC_PORT_RECEIVE, &words[round]);
        }
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        EXPECT_EQ(proxy.pod().batches().size(), 2U);
        for (uint32_t round = 0; round < rounds; ++round) {
            ASSERT_EQ(words[round], static_cast<uint16_t>(round));
        }
        // Written out once, the words of both batches are the items in order.
        std::vector<uint16_t> sent;
        for (const RecordedBatch& batch : proxy.pod().batches()) {
            ASSERT_LE(batch.words.size(), block_words);
            ASSERT_EQ(batch.words[batch.words.size() - 3], TBC_PORT_SUPPORT);
            for (size_t index = 2; index < batch.words.size(); ++index) {
                if (batch.words[index] == (TBC_PORT_SEND | SHM_WORD_WRITE)) {
                    sent.push_back(batch.words[++index]);
                }
            }
        }
        ASSERT_EQ(sent.size(), rounds);
        for (uint32_t round = 0; round < rounds; ++round) {
            ASSERT_EQ(sent[round], static_cast<uint16_t>(round));
        }
    }
}

// The most reads that one batch can hold: each takes a word, every 2048 a marker. 131,072 =
// 2 + 131,003 + 63 markers + 3 status reads + 1 word that is left.
TEST_F(Batch, ReadsFillTheBlockToItsLastWord) {
    uint32_t words = SHM_EMPTY_BATCH_WORDS;
    uint32_t expected = 0;
    const auto total = [](uint32_t reads) { return 2 + reads + 3 + (reads + 3) / 2048; };
    while (total(expected + 1) <= block_words) {
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
TEST_F(Batch, RoomIsKeptForAMarkerOfTheStatusReads) {
    for (const uint32_t reads : {2044U, 2045U}) {
        proxy.pod().forget();
        uint16_t word = 0;
        for (uint32_t read = 0; read < reads; ++read) {
            PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
        }
        const uint32_t marker = reads + 3 == 2048 ? 1 : 0;
        fill_to(block_words - 3 - marker);
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        ASSERT_EQ(proxy.pod().batches().size(), 1U);
        EXPECT_EQ(proxy.pod().last_batch().words.size(), block_words);
        proxy.pod().forget();
        for (uint32_t read = 0; read < reads; ++read) {
            PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
        }
        fill_to(block_words - 3 - marker);
        batch_wait(inform(), SHM_WAIT_READ_ONE);
        EXPECT_EQ(proxy.pod().batches().size(), 1U);
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        EXPECT_EQ(proxy.pod().last_batch().body(), "wait recv\n");
    }
}

TEST_F(Batch, ABareWordIsNeverFlushedFor) {
    fill_to(block_words - 4);
    qel_PostData(inform(), SHM_WAIT_READ_ONE);
    EXPECT_EQ(handle.inform.podError, 0);
    qel_PostData(inform(), SHM_WAIT_READ_ONE);
    EXPECT_EQ(handle.inform.podError, -140);
    EXPECT_EQ(block().tbcMblockPtr, block_words - 3);
    EXPECT_TRUE(proxy.pod().batches().empty());
    EXPECT_EQ(batch_take_failure(inform()), -140);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().last_batch().words.size(), block_words);
}

// ---- a flush that made room and failed ----

class FailedRoom : public Batch {
protected:
    FailedRoom() {
        PortReadNoCache(inform(), TBC_PORT_RECEIVE, &before);
        fill_to(block_words - 3);
        proxy.pod().fail_batches(1, -55);
        PortReadNoCache(inform(), TBC_PORT_RECEIVE, &after);
    }
    uint16_t before = 1;
    uint16_t after = 2;
};

TEST_F(FailedRoom, SetsTheStickyError) {
    EXPECT_EQ(proxy.pod().batches().size(), 1U);
    EXPECT_EQ(handle.inform.podError, -140);
    EXPECT_EQ(batch_failure(inform()), -140);
    EXPECT_EQ(before, 1);
    EXPECT_EQ(after, 2);
}

TEST_F(FailedRoom, DropsEverythingUntilItIsTaken) {
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

TEST_F(FailedRoom, LeavesTheCacheOfWritesThatItDropped) {
    handle.control.registerCache[4] = 0x0011;
    handle.control.registerCache[10] = 0x0022;
    PortWrite(inform(), TBC_PORT_CONFIG, 0x0080);
    PortWrite(inform(), TBC_PORT_CONTROL, TBC_CONTROL_RESET);
    EXPECT_EQ(handle.control.registerCache[4], 0x0011);
    EXPECT_EQ(handle.control.registerCache[10], 0x0022);
}

TEST_F(FailedRoom, RecoversOnceItIsTaken) {
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

TEST_F(Batch, AFailedFlushForAWriteOrWaitIsNotedToo) {
    for (const bool for_wait : {false, true}) {
        proxy.pod().forget();
        fill_to(block_words - 3);
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

// ---- what a proxy may leave in the block ----

struct Counters {
    const char* name;
    uint32_t next;
    uint32_t marker;
    uint32_t reads_local;
    uint32_t reads_global;
};

class BatchHostile : public Batch, public testing::WithParamInterface<Counters> {};

// Counters that no batch has: every item is refused, nothing outside the blocks is touched, and the
// words that stand there stay.
TEST_P(BatchHostile, RefusesItems) {
    const Counters& counters = GetParam();
    const auto set = [&counters](lcl_shm& shared) {
        shared.tbcMblockPtr = counters.next;
        shared.lastWCNTR = counters.marker;
        shared.rdCntrLcl = counters.reads_local;
        shared.rdCntrGbl = counters.reads_global;
    };
    proxy.pod().interfere(set);
    set(block());
    const std::vector<uint8_t> expected(reinterpret_cast<const uint8_t*>(&block().tbcOMblock),
                                        reinterpret_cast<const uint8_t*>(&block() + 1));
    uint16_t word = 5;
    PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(handle.inform.podError, -140);
    EXPECT_EQ(batch_take_failure(inform()), -140);
    PortWriteNoCache(inform(), TBC_PORT_SEND, 0x1234);
    EXPECT_EQ(batch_take_failure(inform()), -140);
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(batch_take_failure(inform()), -140);
    qel_PostData(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(batch_take_failure(inform()), -140);
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    EXPECT_EQ(word, 5);
    EXPECT_EQ(std::memcmp(expected.data(), &block().tbcOMblock, expected.size()), 0);
    proxy.pod().interfere(nullptr);
    proxy.pod().take_findings();
}

INSTANTIATE_TEST_SUITE_P(
    AllCounters, BatchHostile,
    testing::Values(Counters{"PointerPastTheBlock", block_words + 1, 1, 0, 0},
                    Counters{"PointerLargest", UINT32_MAX, 1, 0, 0},
                    Counters{"PointerAtTheEnd", block_words, 1, 0, 0},
                    Counters{"PointerWithoutRoomForStatus", block_words - 2, 1, 0, 0},
                    Counters{"LocalReadsFull", 10, 1, 2048, 0},
                    Counters{"LocalReadsLargest", 10, 1, UINT32_MAX, 0},
                    Counters{"ReadsPastTheInBlock", 10, 1, 0, block_words + 1},
                    Counters{"ReadsLargest", 10, 1, 0, UINT32_MAX},
                    Counters{"ReadsWithoutRoomForStatus", 10, 1, 0, block_words - 2}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(Batch, AMarkerOutsideTheBlockIsNotWritten) {
    for (const uint32_t marker : {block_words, UINT32_MAX}) {
        block().rdCntrLcl = 2047;
        block().rdCntrGbl = 2047;
        block().tbcMblockPtr = 2100;
        block().lastWCNTR = marker;
        const std::vector<uint8_t> behind(reinterpret_cast<const uint8_t*>(&block().tbcIMblock),
                                          reinterpret_cast<const uint8_t*>(&block() + 1));
        uint16_t word = 0;
        PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
        EXPECT_EQ(batch_take_failure(inform()), -140);
        EXPECT_EQ(std::memcmp(behind.data(), &block().tbcIMblock, behind.size()), 0);
    }
    channel_exchange(inform(), SHM_CMD_ATTACH);
}

TEST_F(Batch, AProxyThatDoesNotEmptyTheBatchFailsIt) {
    fill_to(block_words - 3);
    proxy.pod().interfere([](lcl_shm& shared) { shared.tbcMblockPtr = block_words - 3; });
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(proxy.pod().batches().size(), 1U);
    EXPECT_EQ(batch_failure(inform()), -140);
    proxy.pod().interfere(nullptr);
    channel_exchange(inform(), SHM_CMD_ATTACH);
}

// ---- without a channel, a controller block, a handle ----

TEST_F(Batch, WithoutAControllerBlockAFlushIsRefused) {
    handle.inform.pJscControl = nullptr;
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(qel_PerformIo(inform()), -116);
    EXPECT_EQ(block().tbcMblockPtr, 3U);
    EXPECT_TRUE(proxy.pod().batches().empty());
}

TEST(BatchWithoutChannel, DropsEverything) {
    BareHandle handle;
    uint16_t word = 5;
    qel_PostData(handle.get(), 1);
    qel_ReadIncrement(handle.get());
    qel_PostReadOp(handle.get(), 1, &word);
    EXPECT_EQ(PortReadNoCache(handle.get(), TBC_PORT_RECEIVE, &word), 0);
    PortWriteNoCache(handle.get(), TBC_PORT_SEND, 1);
    batch_wait(handle.get(), SHM_WAIT_DONE);
    EXPECT_EQ(qel_PerformIo(handle.get()), -140);
    EXPECT_EQ(handle.inform.podError, 0);
    EXPECT_EQ(handle.inform.opList, nullptr);
    EXPECT_EQ(word, 5);
}

TEST(BatchWithoutHandle, RefusesOrDoesNothing) {
    uint16_t word = 5;
    qel_PostData(nullptr, 1);
    qel_ReadIncrement(nullptr);
    qel_PostReadOp(nullptr, 1, &word);
    batch_wait(nullptr, 1);
    batch_drop_reads(nullptr);
    batch_release(nullptr);
    EXPECT_EQ(qel_PerformIo(nullptr), -122);
    EXPECT_EQ(batch_failure(nullptr), -122);
    EXPECT_EQ(batch_take_failure(nullptr), -122);
    EXPECT_EQ(word, 5);
}

// ---- runs ----

TEST_F(Batch, ARunQueuesWhatSingleAccessesQueue) {
    constexpr uint32_t count = 5000;
    std::vector<uint16_t> words(count);
    const auto texts_of_two_ways = [&](bool slow_clock) {
        handle.inform.qelVariable.slowclk = slow_clock;
        proxy.pod().forget();
        for (uint32_t index = 0; index < count; ++index) {
            batch_wait(inform(), SHM_WAIT_READ_ONE);
            PortWriteNoCache(inform(), TBC_PORT_SEND, static_cast<uint16_t>(index));
            PortReadNoCache(inform(), TBC_PORT_RECEIVE, &words[index]);
        }
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        BatchCursor cursor = cursor_open(inform());
        for (uint32_t index = 0; index < count; ++index) {
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

TEST_F(Batch, ARunFlushesWhenTheBlockIsFull) {
    constexpr uint32_t count = 3 * 32768;
    uint16_t next = 0;
    proxy.pod().answer_with(TBC_PORT_RECEIVE, [&next] { return next++; });
    std::vector<uint16_t> words(count);
    BatchCursor cursor = cursor_open(inform());
    for (uint32_t index = 0; index < count; ++index) {
        cursor_wait(cursor, SHM_WAIT_READ_ONE);
        cursor_write(cursor, TBC_PORT_SEND, static_cast<uint16_t>(index));
        cursor_read(cursor, TBC_PORT_RECEIVE, &words[index]);
    }
    cursor_close(cursor);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().batches().size(), 4U);
    for (uint32_t index = 0; index < count; ++index) {
        ASSERT_EQ(words[index], static_cast<uint16_t>(index));
    }
    const RecordedBatch& full = proxy.pod().batches().front();
    EXPECT_GT(full.words.size(), block_words - 2);
}

TEST_F(Batch, ARunDropsTheRestAfterAFailedFlush) {
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

TEST(BatchWithoutChannel, ARunDropsEverything) {
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

// ---- the end ----

TEST_F(Batch, ClosingDropsWhatIsPending) {
    auto word = std::make_unique<uint16_t>(uint16_t{0});
    PortReadNoCache(inform(), TBC_PORT_RECEIVE, word.get());
    EXPECT_EQ(CloseUsbDevice(inform()), 0);
    word.reset();
    EXPECT_EQ(handle.inform.opList, nullptr);
    EXPECT_EQ(handle.inform.opListFree, nullptr);
    ASSERT_EQ(handle.open(), 0);
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
}

} // namespace
