#include "podsim/batch/block.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace talvor::podsim::batch {
namespace {

TEST(BlockTest, AnEmptyBatchHoldsTheTwoWordsOfTheProxy) {
    const auto block = std::make_unique<lcl_shm>();
    std::fill_n(reinterpret_cast<uint8_t*>(block.get()), sizeof(lcl_shm), uint8_t{0xA5});
    empty(*block);
    EXPECT_EQ(block->tbcMblockPtr, 2U);
    EXPECT_EQ(block->useZeroOfs, 0U);
    EXPECT_EQ(block->lastWCNTR, 1U);
    EXPECT_EQ(block->rdCntrLcl, 0U);
    EXPECT_EQ(block->rdCntrGbl, 0U);
    EXPECT_EQ(block->tbcOMblock[0], 0x8000);
    EXPECT_EQ(block->tbcOMblock[1], 0xC000);
    // Everything else is as it was.
    EXPECT_EQ(block->tbcOMblock[2], 0xA5A5);
    EXPECT_EQ(block->tbcIMblock[0], 0xA5A5);
    EXPECT_EQ(block->cmd, 0xA5A5A5A5U);
    EXPECT_EQ(block->status, static_cast<int32_t>(0xA5A5A5A5U));
    EXPECT_EQ(block->exit_req, 0xA5A5A5A5U);
}

TEST(BlockTest, ABatchIsCopiedOnce) {
    const auto block = std::make_unique<lcl_shm>();
    empty(*block);
    block->tbcOMblock[2] = 16;
    block->tbcMblockPtr = 3;
    block->rdCntrLcl = block->rdCntrGbl = 1;
    std::vector<uint16_t> storage;
    const Batch batch = take(*block, storage);
    block->tbcOMblock[2] = 0x9999;
    block->tbcMblockPtr = 0;
    EXPECT_EQ(batch.head, (Head{3, 0, 1, 1, 1}));
    EXPECT_THAT(batch.words, testing::ElementsAre(0x8000, 0xC000, 16));
}

TEST(BlockTest, TheLongestBatchFillsTheOutBlockAndALongerOneIsNotCopied) {
    const auto block = std::make_unique<lcl_shm>();
    block->tbcOMblock[SHM_BLOCK_WORDS - 1] = 0x1234;
    block->tbcMblockPtr = SHM_BLOCK_WORDS;
    std::vector<uint16_t> storage;
    const Batch longest = take(*block, storage);
    ASSERT_EQ(longest.words.size(), SHM_BLOCK_WORDS);
    EXPECT_EQ(longest.words.back(), 0x1234);
    block->tbcMblockPtr = SHM_BLOCK_WORDS + 1;
    const Batch over = take(*block, storage);
    EXPECT_TRUE(over.words.empty());
    EXPECT_EQ(over.head.length_words, SHM_BLOCK_WORDS + 1);
}

} // namespace
} // namespace talvor::podsim::batch
