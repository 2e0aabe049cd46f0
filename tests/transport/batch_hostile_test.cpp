#include "support/failing_os.h"
#include "transport/batch.h"
#include "transport/batch_fixture.h"
#include "transport/batch_run.h"
#include "transport/port.h"
#include "transport/proxy_channel.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// ---- what a proxy may leave in the block ----

struct Counters {
    const char* name;
    uint32_t next;
    uint32_t marker;
    uint32_t reads_local;
    uint32_t reads_global;
};

class BatchHostileTest : public BatchTest, public testing::WithParamInterface<Counters> {};

// Counters that no batch has: every item is refused, nothing outside the blocks is touched, and the
// words that stand there stay.
TEST_P(BatchHostileTest, RefusesItems) {
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
    const std::vector<uint16_t> source(100);
    std::vector<uint16_t> words(100, 5);
    batch_run(inform(), BatchRun{SHM_WAIT_READ_ONE, source.data(), words.data(), 100});
    EXPECT_EQ(batch_take_failure(inform()), -140);
    batch_run(inform(), BatchRun{0, nullptr, words.data(), 100});
    EXPECT_EQ(batch_take_failure(inform()), -140);
    EXPECT_EQ(words, std::vector<uint16_t>(100, 5));
    EXPECT_EQ(qel_PerformIo(inform()), -140);
    EXPECT_EQ(word, 5);
    EXPECT_EQ(std::memcmp(expected.data(), &block().tbcOMblock, expected.size()), 0);
    proxy.pod().interfere(nullptr);
    proxy.pod().take_findings();
}

INSTANTIATE_TEST_SUITE_P(
    AllCounters, BatchHostileTest,
    testing::Values(Counters{"PointerPastTheBlock", kBlockWords + 1, 1, 0, 0},
                    Counters{"PointerLargest", UINT32_MAX, 1, 0, 0},
                    Counters{"PointerAtTheEnd", kBlockWords, 1, 0, 0},
                    Counters{"PointerWithoutRoomForStatus", kBlockWords - 2, 1, 0, 0},
                    Counters{"LocalReadsFull", 10, 1, 2048, 0},
                    Counters{"LocalReadsLargest", 10, 1, UINT32_MAX, 0},
                    Counters{"ReadsPastTheInBlock", 10, 1, 0, kBlockWords + 1},
                    Counters{"ReadsLargest", 10, 1, 0, UINT32_MAX},
                    Counters{"ReadsWithoutRoomForStatus", 10, 1, 0, kBlockWords - 2}),
    [](const auto& instance) { return instance.param.name; });

// The pointer is moved between a flush's look at the room and its first status read: while memory
// is had for the reads.
TEST_F(BatchTest, APointerThatLeavesTheBlockDuringAFlushIsNotFollowed) {
    static lcl_shm* moved;
    static uint32_t target;
    moved = &block();
    for (const uint32_t next : {kBlockWords, UINT32_MAX}) {
        const test_support::RestoredOs restored;
        target = next;
        os_calls.malloc = [](size_t size) {
            moved->tbcMblockPtr = target;
            return std::malloc(size);
        };
        const std::vector<uint8_t> behind(reinterpret_cast<const uint8_t*>(&block().tbcIMblock),
                                          reinterpret_cast<const uint8_t*>(&block() + 1));
        batch_release(inform());
        block().tbcMblockPtr = 10;
        EXPECT_EQ(qel_PerformIo(inform()), -140) << next;
        EXPECT_EQ(batch_take_failure(inform()), -140) << "it stays until it is taken";
        EXPECT_EQ(block().tbcMblockPtr, next) << "not one word was queued";
        EXPECT_EQ(std::memcmp(behind.data(), &block().tbcIMblock, behind.size()), 0);
    }
    channel_exchange(inform(), SHM_CMD_ATTACH);
}

TEST_F(BatchTest, AMarkerOutsideTheBlockIsNotWritten) {
    for (const uint32_t marker : {kBlockWords, UINT32_MAX}) {
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

TEST_F(BatchTest, AMarkerOutsideTheBlockEndsARun) {
    for (const uint32_t marker : {kBlockWords, UINT32_MAX}) {
        block().rdCntrLcl = 2000;
        block().rdCntrGbl = 2000;
        block().tbcMblockPtr = 2100;
        block().lastWCNTR = marker;
        const std::vector<uint8_t> behind(reinterpret_cast<const uint8_t*>(&block().tbcIMblock),
                                          reinterpret_cast<const uint8_t*>(&block() + 1));
        std::vector<uint16_t> words(100);
        batch_run(inform(), BatchRun{0, nullptr, words.data(), 100});
        EXPECT_EQ(block().tbcMblockPtr, 2148U) << "the reads up to the marker";
        EXPECT_EQ(batch_take_failure(inform()), -140);
        EXPECT_EQ(std::memcmp(behind.data(), &block().tbcIMblock, behind.size()), 0);
    }
    channel_exchange(inform(), SHM_CMD_ATTACH);
}

TEST_F(BatchTest, AProxyThatDoesNotEmptyTheBatchFailsIt) {
    fill_to(kBlockWords - 3);
    proxy.pod().interfere([](lcl_shm& shared) { shared.tbcMblockPtr = kBlockWords - 3; });
    batch_wait(inform(), SHM_WAIT_DONE);
    EXPECT_EQ(proxy.pod().batches().size(), 1U);
    EXPECT_EQ(batch_failure(inform()), -140);
    proxy.pod().interfere(nullptr);
    channel_exchange(inform(), SHM_CMD_ATTACH);
}

} // namespace
