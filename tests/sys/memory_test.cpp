#include "support/failing_os.h"
#include "sys/memory.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

size_t asked_size;
void* asked_block;

void* record_malloc(size_t size) {
    asked_size = size;
    return std::malloc(size);
}

void* record_realloc(void* block, size_t size) {
    asked_block = block;
    asked_size = size;
    return std::realloc(block, size);
}

TEST(MemoryTest, AllocatesABlockOfTheSizeAskedFor) {
    const test_support::RestoredOs restored;
    os_calls.malloc = record_malloc;
    for (const auto allocate : {sys_MemAlloc, sys_MemFastAlloc}) {
        asked_size = 0;
        void* block = allocate(48);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(asked_size, 48U);
        std::memset(block, 0x5A, 48);
        sys_MemFree(&block);
        EXPECT_EQ(block, nullptr);
    }
}

TEST(MemoryTest, SizeZeroGivesNullWithoutACall) {
    const test_support::FailingHeap heap;
    EXPECT_EQ(sys_MemAlloc(0), nullptr);
    EXPECT_EQ(sys_MemFastAlloc(0), nullptr);
    EXPECT_TRUE(heap.blocks().empty());
}

TEST(MemoryTest, ExhaustedHeapGivesNull) {
    const test_support::FailingHeap heap(0);
    EXPECT_EQ(sys_MemAlloc(1), nullptr);
    EXPECT_EQ(sys_MemFastAlloc(1), nullptr);
}

TEST(MemoryTest, ReallocKeepsTheContentsAndIgnoresTheOldSize) {
    const test_support::RestoredOs restored;
    os_calls.realloc = record_realloc;
    for (const auto reallocate : {sys_MemRealloc, sys_MemFastRealloc}) {
        void* block = sys_MemAlloc(4);
        std::memcpy(block, "abc", 4);
        void* const old = block;
        block = reallocate(block, 999, 64);
        EXPECT_EQ(asked_size, 64U);
        EXPECT_EQ(asked_block, old);
        EXPECT_STREQ(static_cast<char*>(block), "abc");
        sys_MemFree(&block);
    }
}

TEST(MemoryTest, ReallocOfNullGivesAFreshBlock) {
    void* block = sys_MemRealloc(nullptr, 0, 16);
    EXPECT_NE(block, nullptr);
    sys_MemFree(&block);
}

TEST(MemoryTest, ReallocToSizeZeroGivesNullAndKeepsTheBlock) {
    const test_support::FailingHeap heap;
    for (const auto reallocate : {sys_MemRealloc, sys_MemFastRealloc}) {
        void* block = sys_MemAlloc(8);
        EXPECT_EQ(reallocate(block, 8, 0), nullptr);
        EXPECT_EQ(heap.blocks(), std::vector<void*>{block});
        sys_MemFree(&block);
    }
}

TEST(MemoryTest, FailedReallocKeepsTheBlock) {
    test_support::FailingHeap heap;
    void* block = sys_MemAlloc(8);
    heap.serve(0);
    EXPECT_EQ(sys_MemRealloc(block, 8, 16), nullptr);
    EXPECT_EQ(heap.blocks(), std::vector<void*>{block});
    sys_MemFree(&block);
}

TEST(MemoryTest, FreeClearsTheOwnersPointer) {
    const test_support::FailingHeap heap;
    void* block = sys_MemAlloc(8);
    sys_MemFree(&block);
    EXPECT_EQ(block, nullptr);
    EXPECT_TRUE(heap.blocks().empty());
    sys_MemFree(&block);
    sys_MemFree(nullptr);
    EXPECT_EQ(block, nullptr);
}

TEST(MemoryTest, FastFreeClearsPointerAndSize) {
    const test_support::FailingHeap heap;
    void* block = sys_MemFastAlloc(8);
    uint32_t size = 8;
    sys_MemFastFree(&block, &size);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(size, 0U);
    EXPECT_TRUE(heap.blocks().empty());
}

TEST(MemoryTest, FastFreeLeavesABlockOfSizeZero) {
    const test_support::FailingHeap heap;
    void* block = sys_MemFastAlloc(8);
    void* const kept = block;
    uint32_t size = 0;
    sys_MemFastFree(&block, &size);
    EXPECT_EQ(block, kept);
    EXPECT_EQ(heap.blocks(), std::vector<void*>{kept});
    sys_MemFree(&block);
}

TEST(MemoryTest, FastFreeNeedsAllItsPointers) {
    const test_support::FailingHeap heap;
    void* block = sys_MemFastAlloc(8);
    void* none = nullptr;
    uint32_t size = 8;
    sys_MemFastFree(nullptr, &size);
    sys_MemFastFree(&none, &size);
    EXPECT_EQ(size, 8U);
    sys_MemFastFree(&block, nullptr);
    EXPECT_EQ(heap.blocks(), std::vector<void*>{block});
    sys_MemFree(&block);
}

} // namespace
