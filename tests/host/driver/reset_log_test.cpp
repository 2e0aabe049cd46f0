#include "host/driver/reset_log.h"

#include <gtest/gtest.h>

#include <set>

namespace talvor {
namespace {

constexpr uint32_t kNumber = 0xFFFFFFFF;
constexpr uint32_t kString = 0xFFFFFFFE;

TEST(ResetLogTest, ReadsBasicNumberAndTextEntries) {
    const std::vector<uint32_t> words{12, 6,          kNumber,    3,  39, kString,
                                      2,  0x64636261, 0x00000065, 42, 28, 0};
    const auto log = parse_reset_log(words);
    ASSERT_TRUE(log);
    ASSERT_EQ(log->size(), 4U);
    EXPECT_EQ((*log)[0], (ResetLogEntry{6, std::nullopt, std::nullopt}));
    EXPECT_EQ((*log)[1], (ResetLogEntry{39, 3U, std::nullopt}));
    EXPECT_EQ((*log)[2], (ResetLogEntry{42, std::nullopt, "abcde"}));
    EXPECT_EQ((*log)[3], (ResetLogEntry{28, std::nullopt, std::nullopt}));
}

TEST(ResetLogTest, AnEmptyLogHasNoEntries) {
    const std::vector<uint32_t> words{2, 0};
    EXPECT_TRUE(parse_reset_log(words)->empty());
    EXPECT_TRUE(parse_reset_log({})->empty());
}

TEST(ResetLogTest, AnEntryThatIsCutShortIsAnError) {
    for (const std::vector<uint32_t>& words :
         {std::vector<uint32_t>{3, kNumber}, std::vector<uint32_t>{3, kNumber, 5},
          std::vector<uint32_t>{3, kString}, std::vector<uint32_t>{3, kString, 1},
          std::vector<uint32_t>{3, kString, 1, 7}, std::vector<uint32_t>{3, kString, 0xFFFFFFFF, 7},
          std::vector<uint32_t>{3, kString, 0}}) {
        const auto log = parse_reset_log(words);
        ASSERT_FALSE(log) << words.size();
        EXPECT_EQ(log.error().reason, "it ends within an entry");
    }
}

TEST(ResetLogTest, SpeaksInSentences) {
    EXPECT_EQ(sentence({RSTLOG_EMU0_INPUT_IS_ONE, {}, {}}), "EMU0 reads 1");
    EXPECT_EQ(sentence({RSTLOG_LINK_DELAY_IS_SPECIFIC, 3U, {}}),
              "the link delay in test clocks is 3");
    EXPECT_EQ(sentence({70, {}, "text"}), "entry 70 text");
}

// Each key that the driver writes has a sentence of its own.
TEST(ResetLogTest, KnowsEveryKeyThatIsWritten) {
    std::set<std::string> sentences;
    for (const uint32_t key : {1U,  2U,  5U,  6U,  18U, 19U, 20U, 22U, 23U, 24U, 28U, 29U,
                               31U, 32U, 34U, 35U, 37U, 38U, 39U, 41U, 42U, 53U, 54U, 55U}) {
        const std::string text = sentence({key, {}, {}});
        EXPECT_FALSE(text.starts_with("entry ")) << key;
        EXPECT_TRUE(sentences.insert(text).second) << text;
    }
}

} // namespace
} // namespace talvor
