#include "api/benchmark.h"
#include "common/notation.h"
#include "support/instant_pod.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;

TEST(BenchmarkTest, ReadsTheCounterAndArmsItAnewAndReportsNothing) {
    InstantPod pod;
    pod.control.registerCache[9] = 0x0608;
    pod.give = [](uint16_t port) {
        return static_cast<uint16_t>(port == 20 || port == 21 ? 0x1234 : 0);
    };
    uint32_t count = 99;
    EXPECT_EQ(jsc_Benchmark(pod.get(), 1, true, &count), 0);
    EXPECT_EQ(count, 0U) << "what was counted is dropped";
    const std::string status = "read 31\nread 16\nread 17\n";
    ASSERT_EQ(pod.batches.size(), 3U);
    EXPECT_EQ(talvor::notation::text(pod.batches[0]), "write 1 0002\nread 20\nread 21\n" + status);
    EXPECT_EQ(talvor::notation::text(pod.batches[1]),
              "write 1 0004\nwrite 14 ffff\nwrite 15 ffff\n" + status);
    EXPECT_EQ(talvor::notation::text(pod.batches[2]),
              "write 9 0600\nwrite 9 0660\nwrite 9 0668\n" + status);
    pod.batches.clear();
    EXPECT_EQ(jsc_Benchmark(pod.get(), 0, false, &count), 0);
    EXPECT_EQ(talvor::notation::text(pod.batches.back()),
              "write 9 0660\nwrite 9 0600\nwrite 9 0608\n" + status);
}

TEST(BenchmarkTest, ChecksItsArgumentsAndLeavesTheCount) {
    InstantPod pod;
    uint32_t count = 99;
    EXPECT_EQ(jsc_Benchmark(nullptr, 0, false, &count), -122);
    EXPECT_EQ(jsc_Benchmark(pod.get(), 2, false, &count), -122);
    EXPECT_EQ(jsc_Benchmark(pod.get(), 0, false, nullptr), -122);
    EXPECT_EQ(tbc_BenchMark(pod.get(), false, false, nullptr), -122);
    EXPECT_EQ(count, 99U);
    EXPECT_TRUE(pod.queued().empty());
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_Benchmark(pod.get(), 0, false, &count), -116);
    EXPECT_EQ(count, 0U);
}

TEST(BenchmarkTest, ReturnsEveryFailedFlush) {
    for (unsigned failing = 0; failing < 3; ++failing) {
        InstantPod pod;
        uint32_t count = 99;
        unsigned flush = 0;
        pod.give = [](uint16_t) { return uint16_t{0}; };
        pod.take = [&](uint16_t, uint16_t) {};
        // The flushes before the one that fails succeed.
        pod.before_flush = [&] { pod.failing = flush++ == failing ? 1 : 0; };
        EXPECT_EQ(jsc_Benchmark(pod.get(), 0, false, &count), -140) << failing;
        EXPECT_EQ(count, 0U);
    }
}

} // namespace
