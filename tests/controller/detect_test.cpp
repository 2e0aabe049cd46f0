#include "controller/detect.h"
#include "support/bare_handle.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <set>
#include <vector>

namespace {

using test_support::BareHandle;
using test_support::LeakGuard;
using test_support::RecordingProxy;
using Words = std::array<uint16_t, 5>;

constexpr Words kExpectedWords = {0x5AC3, 0xA53C, 0x0F0F, 0x3CA5, 0xC35A};

constexpr const char* kEntryText = "write 12 000f\nwrite 10 6001\nwrite 4 0800\nwrite 1 0400\n"
                                   "write 16 0000\n"
                                   "read 22\nread 22\nread 22\nread 22\nread 22\n";
constexpr const char* kTestText = "write 23 c35a\nwrite 23 3ca5\nwrite 23 f0f0\nwrite 23 a53c\n"
                                  "write 23 5ac3\n"
                                  "read 22\nread 22\nread 22\nread 22\nread 22\n";
constexpr const char* kRestoreText = "write 23 0000\nwrite 23 0000\nwrite 23 ffff\n"
                                     "write 23 0000\nwrite 23 0000\nwrite 1 0004\n"
                                     "write 16 0000\nwrite 4 0000\nwrite 12 0000\n"
                                     "write 10 6001\nwrite 10 7004\n";

class DetectTest : public testing::Test {
protected:
    DetectTest() { EXPECT_EQ(handle.open(), 0); }

    // The verdict on five words read back, and what was printed.
    std::pair<int32_t, std::string> verdict_on(const Words& words) {
        proxy.pod().answer(22, {1, 2, 3, 4, 5});
        proxy.pod().answer(22, {words.begin(), words.end()});
        testing::internal::CaptureStdout();
        const int32_t result = CheckCtlrExist(handle.get());
        std::fflush(stdout);
        std::string printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(qel_PerformIo(handle.get()), 0);
        return {result, std::move(printed)};
    }

    LeakGuard leaks;
    RecordingProxy proxy;
    BareHandle handle;
};

TEST_F(DetectTest, APerfectLoopBack) {
    handle.control.priorConfig = 0x1234;
    testing::internal::CaptureStdout();
    EXPECT_EQ(CheckCtlrExist(handle.get()), 0);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    ASSERT_EQ(proxy.pod().batches().size(), 2U);
    EXPECT_EQ(proxy.pod().batches()[0].body(), kEntryText);
    EXPECT_EQ(proxy.pod().batches()[1].body(), kTestText);
    EXPECT_EQ(handle.control.priorConfig, 0);
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
    EXPECT_EQ(proxy.pod().last_batch().body(), kRestoreText);
}

TEST_F(DetectTest, TheTestRunsWithItsOwnConfiguration) {
    std::vector<uint16_t> configs;
    proxy.pod().watch_writes([&](uint16_t port, uint16_t value) {
        if (port == TBC_PORT_CONFIG) {
            configs.push_back(value);
            configs.push_back(handle.control.priorConfig);
        }
    });
    EXPECT_EQ(CheckCtlrExist(handle.get()), 0);
    EXPECT_EQ(configs, (std::vector<uint16_t>{0x0800, 0x0800}));
}

// The rules as they are told, one overriding the other.
int32_t model_verdict(const Words& words) {
    bool low_bad = false;
    bool high_bad = false;
    bool high_ff = true;
    bool low_ff = true;
    bool high_00 = true;
    bool low_00 = true;
    for (size_t index = 0; index < words.size(); ++index) {
        const unsigned low = words[index] % 256U;
        const unsigned high = words[index] / 256U;
        low_bad = low_bad || low != kExpectedWords[index] % 256U;
        high_bad = high_bad || high != kExpectedWords[index] / 256U;
        high_ff = high_ff && high == 255;
        low_ff = low_ff && low == 255;
        high_00 = high_00 && words[index] <= 255;
        low_00 = low_00 && low == 0;
    }
    int32_t result = !low_bad && high_ff ? -173 : 0;
    if (!high_bad && low_ff) {
        result = -174;
    }
    if (!low_bad && high_00) {
        return !high_bad && low_00 ? -176 : -175;
    }
    if (!high_bad && low_00) {
        result = -176;
    }
    if (result == 0 && (high_bad || !low_00) && (high_bad || low_bad)) {
        result = -171;
    }
    return result;
}

TEST_F(DetectTest, StuckBytes) {
    Words high_ones{};
    Words low_ones{};
    Words high_zeros{};
    Words low_zeros{};
    for (size_t index = 0; index < kExpectedWords.size(); ++index) {
        const uint16_t word = kExpectedWords[index];
        high_ones[index] = static_cast<uint16_t>(word | 0xFF00);
        low_ones[index] = static_cast<uint16_t>(word | 0x00FF);
        high_zeros[index] = static_cast<uint16_t>(word & 0x00FF);
        low_zeros[index] = static_cast<uint16_t>(word & 0xFF00);
    }
    using Verdict = std::pair<int32_t, std::string>;
    EXPECT_EQ(verdict_on(high_ones), Verdict(-173, ""));
    EXPECT_EQ(verdict_on(low_ones), Verdict(-174, ""));
    EXPECT_EQ(verdict_on(high_zeros), Verdict(-175, ""));
    EXPECT_EQ(verdict_on(low_zeros), Verdict(-176, ""));
    EXPECT_EQ(verdict_on(kExpectedWords), Verdict(0, ""));
}

TEST_F(DetectTest, CorruptWordsArePrinted) {
    const auto [all_ones, ones_printed] = verdict_on({0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF});
    EXPECT_EQ(all_ones, -171);
    EXPECT_EQ(ones_printed, "ffff 5ac3\nffff a53c\nffff 0f0f\nffff 3ca5\nffff c35a\n");
    const auto [one_bit, bit_printed] = verdict_on({0x5AC3, 0xA53C, 0x0F0E, 0x3CA5, 0xC35A});
    EXPECT_EQ(one_bit, -171);
    EXPECT_EQ(bit_printed, "5ac3 5ac3\na53c a53c\n0f0e 0f0f\n3ca5 3ca5\nc35a c35a\n");
    const auto [all_zeros, zeros_printed] = verdict_on({0, 0, 0, 0, 0});
    EXPECT_EQ(all_zeros, -171);
    EXPECT_EQ(zeros_printed, "0000 5ac3\n0000 a53c\n0000 0f0f\n0000 3ca5\n0000 c35a\n");
    // The writes that leave the test are queued whatever the verdict.
    EXPECT_EQ(proxy.pod().last_batch().body(), kRestoreText);
}

// Bytes that are right, stuck or wrong, in every combination by word.
TEST_F(DetectTest, EveryPatternGetsTheVerdictOfTheRules) {
    std::mt19937 random(1);
    const auto byte_of = [&](uint16_t right, unsigned way) {
        const std::array<unsigned, 4> ways = {right, 0xFF, 0x00, right ^ 0x10U};
        return ways[way];
    };
    std::set<int32_t> seen;
    for (unsigned pattern = 0; pattern < 600; ++pattern) {
        Words words{};
        // Mostly one way for all words, as a stuck path has it.
        const bool uniform = pattern < 400;
        const unsigned low_way = random() % 4;
        const unsigned high_way = random() % 4;
        for (size_t index = 0; index < words.size(); ++index) {
            const unsigned low =
                byte_of(kExpectedWords[index] & 0xFF, uniform ? low_way : random() % 4);
            const unsigned high = byte_of(static_cast<uint16_t>(kExpectedWords[index] >> 8),
                                          uniform ? high_way : random() % 4);
            words[index] = static_cast<uint16_t>(high << 8 | low);
        }
        const auto [result, printed] = verdict_on(words);
        EXPECT_EQ(result, model_verdict(words)) << pattern;
        EXPECT_EQ(!printed.empty(), result == -171) << pattern;
        seen.insert(result);
    }
    EXPECT_EQ(seen, (std::set<int32_t>{-176, -175, -174, -173, -171, 0}));
}

TEST_F(DetectTest, AFailedFlushEndsTheTestAtOnce) {
    proxy.pod().fail_batches(1);
    EXPECT_EQ(CheckCtlrExist(handle.get()), -140);
    EXPECT_EQ(proxy.pod().batches().size(), 1U);
    batch_drop_reads(handle.get());
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
    EXPECT_EQ(proxy.pod().batches().size(), 1U); // nothing was queued
    EXPECT_EQ(handle.control.priorConfig, 0x0800);
}

TEST_F(DetectTest, AFailedSecondFlushEndsTheTestAtOnce) {
    unsigned executed = 0;
    proxy.pod().interfere([&](lcl_shm& block) {
        if (block.cmd == SHM_CMD_EXECUTE && ++executed == 2) {
            block.status = -1;
        }
    });
    EXPECT_EQ(CheckCtlrExist(handle.get()), -140);
    EXPECT_EQ(executed, 2U);
    proxy.pod().interfere(nullptr);
    // The words that are still listed stand in the handle.
    for (const JSC_qel_oplist* node = handle.inform.opList; node != nullptr; node = node->next) {
        const auto* const ptr = reinterpret_cast<const char*>(node->ptr);
        const auto* const own = reinterpret_cast<const char*>(&handle.inform);
        const auto* const block = reinterpret_cast<const char*>(&handle.control);
        EXPECT_TRUE((ptr >= own && ptr < own + sizeof handle.inform) ||
                    (ptr >= block && ptr < block + sizeof handle.control));
    }
}

TEST_F(DetectTest, TheVersionIsTheLowFourBits) {
    for (const uint16_t value : std::initializer_list<uint16_t>{0, 1, 2, 3, 15, 0x1231, 0xFFF0}) {
        proxy.pod().forget();
        proxy.pod().answer(19, {value});
        EXPECT_EQ(CheckCtlrVersion(handle.get()), value & 0xF);
        EXPECT_EQ(proxy.pod().text(), "write 1 0001\nwrite 16 0000\nread 19\n");
        proxy.pod().forget();
        EXPECT_EQ(qel_PerformIo(handle.get()), 0);
        EXPECT_EQ(proxy.pod().text(), "write 1 0004\n");
    }
}

TEST_F(DetectTest, AVersionThatCannotBeRead) {
    proxy.pod().fail_batches(1);
    EXPECT_EQ(CheckCtlrVersion(handle.get()), eJTI_CONTROL_ID_OBSOLETE);
    batch_drop_reads(handle.get());
    proxy.pod().forget();
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
    EXPECT_EQ(proxy.pod().text(), ""); // the version stays selected
    handle.inform.podError = -5;
    EXPECT_EQ(CheckCtlrVersion(handle.get()), eJTI_CONTROL_ID_OBSOLETE);
}

TEST_F(DetectTest, NeedsAHandleAndAControllerBlock) {
    EXPECT_EQ(CheckCtlrExist(nullptr), -122);
    EXPECT_EQ(CheckCtlrVersion(nullptr), eJTI_CONTROL_ID_OBSOLETE);
    handle.inform.pJscControl = nullptr;
    EXPECT_EQ(CheckCtlrExist(handle.get()), -116);
    EXPECT_EQ(CheckCtlrVersion(handle.get()), eJTI_CONTROL_ID_OBSOLETE);
}

} // namespace
