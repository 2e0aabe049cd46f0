#include "support/failing_os.h"
#include "transport/batch_fixture.h"
#include "transport/batch_run.h"

#include <gmock/gmock.h>

#include <numeric>
#include <vector>

namespace {

using test_support::BareHandle;
using test_support::FailingHeap;
using test_support::RecordedBatch;
using testing::Each;

std::vector<uint16_t> counting(uint32_t count) {
    std::vector<uint16_t> words(count);
    std::iota(words.begin(), words.end(), uint16_t{0});
    return words;
}

struct StepCase {
    const char* name;
    uint16_t wait_word;
    bool sends;
    bool receives;
    bool slow_clock;
    const char* text; // of the first step, and the beginning of the next
};

class BatchRunTest : public BatchTest, public testing::WithParamInterface<StepCase> {
protected:
    // The run, and the same by single items; true where the two have left the same.
    bool same_both_ways(uint32_t filler) {
        const std::vector<uint16_t> source = counting(kCount);
        std::vector<uint16_t> words(kCount);
        proxy.pod().forget();
        const auto queue = [&](auto queue_steps) {
            proxy.pod().answer_with(TBC_PORT_RECEIVE, [n = uint16_t{0}]() mutable { return n++; });
            std::fill(words.begin(), words.end(), uint16_t{0xDEAD});
            std::fill_n(block().tbcOMblock + block().tbcMblockPtr, filler, SHM_WAIT_DONE);
            block().tbcMblockPtr += filler;
            queue_steps();
            EXPECT_EQ(qel_PerformIo(inform()), 0);
            return words;
        };
        const auto singly = queue([&] {
            for (uint32_t step = 0; step < kCount; ++step) {
                queue_step(source[step], &words[step]);
            }
        });
        const size_t batches = proxy.pod().batches().size();
        const auto at_once = queue([&] {
            batch_run(inform(),
                      BatchRun{GetParam().wait_word, GetParam().sends ? source.data() : nullptr,
                               GetParam().receives ? words.data() : nullptr, kCount});
        });
        EXPECT_EQ(at_once, singly);
        EXPECT_EQ(singly.back(), GetParam().receives ? kCount - 1 : 0xDEAD);
        EXPECT_EQ(proxy.pod().batches().size(), 2 * batches);
        return singly == at_once && same_batches(batches);
    }

    void queue_step(uint16_t sent, uint16_t* received) {
        if (GetParam().wait_word != 0) {
            batch_wait(inform(), GetParam().wait_word);
        }
        if (GetParam().sends) {
            batch_write(inform(), TBC_PORT_SEND, sent);
        }
        if (GetParam().receives) {
            batch_read(inform(), TBC_PORT_RECEIVE, received);
        }
    }

    bool same_batches(size_t half) {
        const std::vector<RecordedBatch>& batches = proxy.pod().batches();
        for (size_t index = 0; index < half; ++index) {
            const RecordedBatch& one = batches[index];
            const RecordedBatch& other = batches[half + index];
            EXPECT_EQ(one.last_marker, other.last_marker);
            EXPECT_EQ(one.marker_closed, other.marker_closed);
            EXPECT_EQ(one.reads_local, other.reads_local);
            EXPECT_EQ(one.reads_global, other.reads_global);
            EXPECT_EQ(one.words.size(), other.words.size());
            if (one.words != other.words) {
                return false;
            }
        }
        return true;
    }

    static constexpr uint32_t kCount = 5000;
};

TEST_P(BatchRunTest, QueuesWhatItsItemsQueue) {
    handle.inform.qelVariable.slowclk = GetParam().slow_clock;
    EXPECT_TRUE(same_both_ways(0));
    EXPECT_EQ(proxy.pod().last_batch().body().substr(0, std::string(GetParam().text).size()),
              GetParam().text);
}

// The block's end meets each item of a step, and the marker that a step closes.
TEST_P(BatchRunTest, FlushesWhereItsItemsFlush) {
    handle.inform.qelVariable.slowclk = GetParam().slow_clock;
    for (uint32_t offset = 0; offset < 7; ++offset) {
        ASSERT_TRUE(same_both_ways(kBlockWords - 4100 - offset)) << offset;
        ASSERT_EQ(proxy.pod().batches().size(), 4U);
    }
}

INSTANTIATE_TEST_SUITE_P(
    AllSteps, BatchRunTest,
    testing::Values(StepCase{"Both", SHM_WAIT_READ_ONE, true, true, false,
                             "wait recv\nwrite 23 0000\nread 22\nwait recv\n"},
                    StepCase{"BothSettled", SHM_WAIT_READ_ONE, true, true, true,
                             "wait recv\nwrite 23 0000\nwrite 16 0000\nread 22\nwait recv\n"},
                    StepCase{"BothWithoutWaits", 0, true, true, false,
                             "write 23 0000\nread 22\nwrite 23 0001\n"},
                    StepCase{"BothSettledWithoutWaits", 0, true, true, true,
                             "write 23 0000\nwrite 16 0000\nread 22\nwrite 23 0001\n"},
                    StepCase{"Send", SHM_WAIT_WRITE_ONE, true, false, false,
                             "wait send\nwrite 23 0000\nwait send\n"},
                    StepCase{"SendSettled", SHM_WAIT_WRITE_ONE, true, false, true,
                             "wait send\nwrite 23 0000\nwrite 16 0000\nwait send\n"},
                    StepCase{"SendWithoutWaits", 0, true, false, false,
                             "write 23 0000\nwrite 23 0001\n"},
                    StepCase{"Receive", SHM_WAIT_READ_ONE, false, true, false,
                             "wait recv\nread 22\nwait recv\n"},
                    StepCase{"ReceiveWithoutWaits", 0, false, true, false, "read 22\nread 22\n"}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(BatchTest, ARunGoesThroughManyBatches) {
    constexpr uint32_t kCount = 3 * 32768;
    proxy.pod().answer_with(TBC_PORT_RECEIVE, [n = uint16_t{0}]() mutable { return n++; });
    const std::vector<uint16_t> source = counting(kCount);
    std::vector<uint16_t> words(kCount, 0xDEAD);
    batch_run(inform(), BatchRun{SHM_WAIT_READ_ONE, source.data(), words.data(), kCount});
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().batches().size(), 4U);
    EXPECT_EQ(words, source);
    EXPECT_GT(proxy.pod().batches().front().words.size(), kBlockWords - 2);
}

// ---- the list ----

TEST_F(BatchTest, ARunIsOneNodeOverAllItsMarkers) {
    std::vector<uint16_t> words(5000);
    batch_run(inform(), BatchRun{SHM_WAIT_READ_ONE, nullptr, words.data(), 5000});
    ASSERT_EQ(pending(), 1U);
    EXPECT_EQ(handle.inform.opList->op, 0U);
    EXPECT_EQ(handle.inform.opList->count, 5000U);
    EXPECT_EQ(handle.inform.opList->ptr, words.data());
    batch_drop_reads(inform());
}

// What others list stays as they made it, where the words follow one another, too.
TEST_F(BatchTest, ARunGrowsNoNodeButItsOwn) {
    std::vector<uint16_t> words(12, 0xDEAD);
    PortReadNoCache(inform(), TBC_PORT_RECEIVE, &words[0]);
    batch_run(inform(), BatchRun{0, nullptr, &words[1], 3});
    qel_PostData(inform(), TBC_PORT_RECEIVE);
    qel_ReadIncrement(inform());
    qel_PostReadOp(inform(), 1, &words[4]);
    batch_run(inform(), BatchRun{0, nullptr, &words[5], 2});
    batch_run(inform(), BatchRun{0, nullptr, &words[7], 3});
    PortReadNoCache(inform(), TBC_PORT_RECEIVE, &words[10]);
    PortReadNoCache(inform(), TBC_PORT_RECEIVE, &words[11]);
    std::vector<uint32_t> counts;
    for (const JSC_qel_oplist* node = handle.inform.opList; node != nullptr; node = node->next) {
        counts.push_back(node->count);
    }
    EXPECT_THAT(counts, testing::ElementsAre(1, 3, 1, 2, 3, 1, 1));
    proxy.pod().answer_with(TBC_PORT_RECEIVE, [n = uint16_t{0}]() mutable { return n++; });
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(words, counting(12));
}

// The reads of a failed batch take the first words of the next, also where the next run's words
// follow on theirs.
TEST_F(BatchTest, ARunBehindStaleReadsHasANodeOfItsOwn) {
    std::vector<uint16_t> words(6, 0xDEAD);
    batch_run(inform(), BatchRun{0, nullptr, &words[0], 3});
    proxy.pod().fail_batches(1);
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    batch_run(inform(), BatchRun{0, nullptr, &words[3], 3});
    EXPECT_EQ(pending(), 5U) << "a run, three status reads, a run";
    proxy.pod().answer_with(TBC_PORT_RECEIVE, [n = uint16_t{0}]() mutable { return n++; });
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_THAT(words, testing::ElementsAre(0, 1, 2, 0, 0, 0))
        << "no words are left for the second";
}

// ---- failures ----

TEST_F(BatchTest, ARunDropsTheRestAfterAFailedFlush) {
    proxy.pod().fail_batches(1);
    const std::vector<uint16_t> source(40000);
    std::vector<uint16_t> words(40000, 0x0101);
    batch_run(inform(), BatchRun{SHM_WAIT_READ_ONE, source.data(), words.data(), 40000});
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    EXPECT_EQ(proxy.pod().batches().size(), 1U);
    EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
    EXPECT_THAT(words, Each(0x0101));
    EXPECT_EQ(batch_take_failure(inform()), -140);
}

TEST_F(BatchTest, ARunWithoutMemoryForItsNodeIsDropped) {
    const FailingHeap heap(0);
    std::vector<uint16_t> words(10, 0x0101);
    batch_run(inform(), BatchRun{0, nullptr, words.data(), 10});
    EXPECT_EQ(batch_failure(inform()), -131);
    EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
    EXPECT_EQ(block().rdCntrGbl, 0U);
    EXPECT_EQ(pending(), 0U);
    EXPECT_EQ(batch_take_failure(inform()), -131);
}

TEST_F(BatchTest, APodErrorOfTheHostsKeepsARunsAccessesAwayButNotItsWaits) {
    handle.inform.podError = -1234;
    const uint16_t source[3] = {1, 2, 3};
    uint16_t words[3] = {};
    batch_run(inform(), BatchRun{SHM_WAIT_READ_ONE, source, words, 3});
    EXPECT_EQ(pending(), 0U);
    EXPECT_EQ(qel_PerformIo(inform()), 0);
    EXPECT_EQ(proxy.pod().last_batch().text(), "wait recv\nwait recv\nwait recv\n");
}

TEST_F(BatchTest, AnEmptyRunIsNothing) {
    batch_run(inform(), BatchRun{SHM_WAIT_READ_ONE, nullptr, nullptr, 0});
    batch_run(inform(), BatchRun{0, nullptr, nullptr, 5});
    EXPECT_EQ(block().tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
}

TEST(BatchWithoutChannelTest, ARunDropsEverything) {
    BareHandle handle;
    const uint16_t source[3] = {1, 2, 3};
    uint16_t words[3] = {5, 5, 5};
    batch_run(handle.get(), BatchRun{SHM_WAIT_READ_ONE, source, words, 3});
    EXPECT_THAT(words, Each(5));
    EXPECT_EQ(handle.inform.opList, nullptr);
}

} // namespace
