#include "support/failing_os.h"
#include "transport/batch.h"
#include "transport/batch_fixture.h"
#include "transport/port.h"

#include <gmock/gmock.h>

#include <array>
#include <memory>
#include <vector>

namespace {

using test_support::BareHandle;
using test_support::FailingHeap;
using test_support::RecordedBatch;
using testing::Each;
using testing::ElementsAre;

// ---- words, markers, nodes ----

TEST_F(BatchTest, AppendsOneWordAtTheCounter) {
    qel_PostData(inform(), 0x8012);
    EXPECT_EQ(block().tbcMblockPtr, 3U);
    EXPECT_EQ(block().tbcOMblock[2], 0x8012);
    qel_PostData(inform(), 0x1234);
    EXPECT_EQ(block().tbcMblockPtr, 4U);
    EXPECT_EQ(block().tbcOMblock[3], 0x1234);
}

TEST_F(BatchTest, CountsReads) {
    qel_ReadIncrement(inform());
    qel_ReadIncrement(inform());
    EXPECT_EQ(block().rdCntrLcl, 2U);
    EXPECT_EQ(block().rdCntrGbl, 2U);
    EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
    EXPECT_EQ(block().useZeroOfs, 0U);
}

TEST_F(BatchTest, ClosesTheMarkerWith2048ReadsAndOpensTheNext) {
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

TEST_F(BatchTest, ListsReadsInOrder) {
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

TEST_F(BatchTest, APortReadIsItsThreeSteps) {
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

TEST_F(BatchTest, FlushesReadsIntoTheirDestinations) {
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x1234, 0x5678});
    std::array<uint16_t, 2> words{};
    PortWrite(inform(), TBC_PORT_CONFIG, 0x0080);
    PortRead(inform(), TBC_PORT_RECEIVE, &words[0]);
    PortRead(inform(), TBC_PORT_RECEIVE, &words[1]);
    EXPECT_THAT(words, Each(0));
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_THAT(words, ElementsAre(0x1234, 0x5678));
    EXPECT_EQ(proxy.pod().last_batch().text(),
              std::string("write 4 0080\nread 22\nread 22\n") + kStatusReads);
    EXPECT_EQ(pending(), 0U);
    EXPECT_EQ(handle.inform.opListTail, nullptr);
}

TEST_F(BatchTest, EveryFlushRefreshesTheStatusCaches) {
    proxy.pod().answer(TBC_PORT_SUPPORT, {0x1111});
    proxy.pod().answer(TBC_PORT_STATUS0, {0x2222});
    proxy.pod().answer(TBC_PORT_STATUS1, {0x3333});
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(handle.control.StatusCache, 0x1111);
    EXPECT_EQ(handle.control.Status0Cache, 0x2222);
    EXPECT_EQ(handle.control.Status1Cache, 0x3333);
}

TEST_F(BatchTest, AnEmptyBatchIsNoExchange) {
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_TRUE(proxy.pod().batches().empty());
}

TEST_F(BatchTest, BelowThreeWordsNothingIsQueued) {
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

TEST_F(BatchTest, FindsTheWordsBehindWhateverStandsInTheInBlock) {
    for (const uint32_t place : {1U, 77U, kBlockWords - 4}) {
        proxy.pod().place_reads_at(place);
        proxy.pod().answer(TBC_PORT_RECEIVE, {static_cast<uint16_t>(0x4000 + place)});
        uint16_t word = 0;
        PortRead(inform(), TBC_PORT_RECEIVE, &word);
        EXPECT_EQ(qel_PerformIo(inform()), 0) << place;
        EXPECT_EQ(word, static_cast<uint16_t>(0x4000 + place));
    }
}

TEST_F(BatchTest, ANodeTakesAsManyWordsAsItCounts) {
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

TEST_F(BatchTest, ScattersOverManyMarkers) {
    constexpr uint32_t kCount = 3 * SHM_MARKER_READS + 5;
    uint16_t next = 0;
    proxy.pod().answer_with(TBC_PORT_RECEIVE, [&next] { return next++; });
    std::vector<uint16_t> words(kCount);
    for (uint16_t& word : words) {
        PortRead(inform(), TBC_PORT_RECEIVE, &word);
    }
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    for (uint32_t index = 0; index < kCount; ++index) {
        ASSERT_EQ(words[index], static_cast<uint16_t>(index));
    }
    const RecordedBatch& batch = proxy.pod().last_batch();
    EXPECT_EQ(batch.words[1], SHM_MARKER_FULL);
    EXPECT_EQ(batch.words[2050], SHM_MARKER_FULL);
    EXPECT_EQ(batch.words[4099], SHM_MARKER_FULL);
    EXPECT_EQ(batch.last_marker, 6148U);
    EXPECT_EQ(batch.words[6148], SHM_MARKER_OPEN);
    EXPECT_EQ(batch.reads_global, kCount + 3);
    EXPECT_EQ(batch.reads_local, 8U);
}

// A marker that falls among the three status reads of the flush itself.
TEST_F(BatchTest, ClosesAMarkerWithinTheStatusReads) {
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

TEST_F(BatchTest, ReusesNodes) {
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

TEST_F(BatchTest, AFailedBatchKeepsTheList) {
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
TEST_F(BatchTest, StaleReadsTakeTheNextWords) {
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

TEST_F(BatchTest, WordsPastTheInBlockDoNotExist) {
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
    proxy.pod().place_reads_at(kBlockWords - 4);
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

class BatchStatusTest : public BatchTest, public testing::WithParamInterface<StatusCase> {};

TEST_P(BatchStatusTest, IsBoundedBeforeUse) {
    const StatusCase& param = GetParam();
    proxy.pod().interfere([&param](lcl_shm& shared) {
        if (shared.cmd == SHM_CMD_EXECUTE) {
            shared.status = param.status;
            shared.tbcIMblock[0] = 0x1234;
            shared.tbcIMblock[kBlockWords - 4] = 0x5678;
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
    AllValues, BatchStatusTest,
    testing::Values(StatusCase{"MinusOne", -1, -140, false},
                    StatusCase{"Smallest", INT32_MIN, -140, false}, StatusCase{"Zero", 0, 0, false},
                    StatusCase{"OneWordShort", 6, -140, false},
                    StatusCase{"OneByteShort", 7, -140, false}, StatusCase{"Exact", 8, 0, true},
                    StatusCase{"Odd", 9, -140, false}, StatusCase{"EndOfInBlock", 262144, 0, true},
                    StatusCase{"PastInBlockByOne", 262145, -140, false},
                    StatusCase{"PastInBlockByAWord", 262146, -140, false},
                    StatusCase{"Largest", INT32_MAX, -140, false}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(BatchTest, AStatusWithoutReadsIsNotLookedAt) {
    handle.inform.podError = -1;
    proxy.pod().interfere([](lcl_shm& shared) { shared.status = INT32_MAX; });
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
}

TEST_F(BatchTest, WithoutMemoryForTheStatusReadsNothingIsQueued) {
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

// The words of reads that were queued before come with the next batch, and must not land in the
// places of others.
TEST_F(BatchTest, ReadsBehindADroppedOneGetTheirOwnWords) {
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x1111, 0x2222, 0x3333});
    uint16_t dropped[2] = {5, 5};
    {
        FailingHeap heap(1);
        PortReadNoCache(inform(), TBC_PORT_RECEIVE, &dropped[0]);
        PortReadNoCache(inform(), TBC_PORT_RECEIVE, &dropped[1]);
        EXPECT_EQ(batch_take_failure(inform()), -131);
        heap.serve(10);
        uint16_t word = 0;
        PortReadNoCache(inform(), TBC_PORT_RECEIVE, &word);
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        EXPECT_EQ(word, 0x2222) << "behind that of the first read";
        EXPECT_EQ(handle.control.StatusCache, 0x00E0);
        EXPECT_EQ(pending(), 0U);
        batch_release(inform());
    }
    EXPECT_EQ(dropped[0], 5);
    EXPECT_EQ(dropped[1], 5);
}

// Reads of a batch that failed have no words to come; those queued behind them do.
TEST_F(BatchTest, DroppingKeepsThePlacesOfQueuedReadsOnly) {
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x1111, 0x2222});
    proxy.pod().fail_batches(1);
    uint16_t words[3] = {5, 5, 5};
    PortReadNoCache(inform(), TBC_PORT_RECEIVE, &words[0]);
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    EXPECT_EQ(pending(), 4U);
    PortReadNoCache(inform(), TBC_PORT_RECEIVE, &words[1]);
    batch_drop_reads(inform());
    EXPECT_EQ(pending(), 1U);
    PortReadNoCache(inform(), TBC_PORT_RECEIVE, &words[2]);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_THAT(words, testing::ElementsAre(5, 5, 0x2222));
}

TEST_F(BatchTest, WithoutMemoryForAReadTheBatchFails) {
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

TEST_F(BatchTest, APodErrorOfTheHostsKeepsAccessesAwayButNotWaits) {
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

TEST_F(BatchTest, ReadsQueuedBeforeAPodErrorAreStillDelivered) {
    proxy.pod().answer(TBC_PORT_RECEIVE, {0x00AB});
    uint16_t word = 0;
    PortRead(inform(), TBC_PORT_RECEIVE, &word);
    handle.inform.podError = -7;
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(word, 0x00AB);
    EXPECT_EQ(proxy.pod().last_batch().text(), "read 22\n");
}

TEST_F(BatchTest, TakingNoFailureKeepsTheList) {
    uint16_t word = 0;
    PortRead(inform(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(batch_take_failure(inform()), 0);
    handle.inform.podError = -7;
    EXPECT_EQ(batch_take_failure(inform()), -7);
    EXPECT_EQ(pending(), 1U);
}

TEST_F(BatchTest, AHostThatClearsPodErrorClearsTheFailureBehindIt) {
    batch_fail(inform(), -140);
    EXPECT_EQ(batch_failure(inform()), -140);
    handle.inform.podError = 0;
    EXPECT_EQ(batch_failure(inform()), 0);
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().last_batch().body(), "wait done\n");
}

// ---- without a channel, a controller block, a handle ----

TEST_F(BatchTest, WithoutAControllerBlockAFlushIsRefused) {
    handle.inform.pJscControl = nullptr;
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(qel_PerformIo(inform()), -116);
    EXPECT_EQ(block().tbcMblockPtr, 3U);
    EXPECT_TRUE(proxy.pod().batches().empty());
}

TEST(BatchWithoutChannelTest, DropsEverything) {
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

TEST(BatchWithoutHandleTest, RefusesOrDoesNothing) {
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

// ---- the end ----

TEST_F(BatchTest, ClosingDropsWhatIsPending) {
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
