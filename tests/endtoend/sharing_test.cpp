// Several handles on one pod, in one process and in two.
#include "description_text.h"
#include "host.h"
#include "simulator_status.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace endtoend {
namespace {

using test_support::LeakGuard;
using test_support::PodsimProcess;

constexpr uint16_t kScratch = 8;

Words number(uint32_t value) {
    return {static_cast<uint16_t>(value), static_cast<uint16_t>(value >> 16)};
}

TEST(SharingTest, TwoHandlesTakeTurns) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    Host one;
    ASSERT_EQ(one.connect(), 0);
    EXPECT_TRUE(one.first());
    one.exchange(eJSC_JTAG_SHIFT_IR, 4, {kScratch});
    const uint64_t batches = status_number(simulator, "batches");
    Host other;
    ASSERT_EQ(other.created(), 0);
    ASSERT_EQ(other.connect(), 0);
    EXPECT_FALSE(other.first());
    EXPECT_EQ(status_number(simulator, "batches"), batches) << "nothing is sent";
    // Each finds what the other has left: TAP state, link delay, register cache.
    one.exchange(eJSC_JTAG_SHIFT_DR, 32, number(0));
    for (uint32_t i = 0; i < 200; ++i) {
        Host& host = i % 3 == 0 ? one : other;
        EXPECT_EQ(host.exchange(eJSC_JTAG_SHIFT_DR, 32, number(i + 1)), number(i));
    }
    ASSERT_EQ(one.move(eJSC_JTAG_STATE_PAUSE_DR), 0);
    ASSERT_EQ(one.state(), eJSC_JTAG_STATE_PAUSE_DR);
    EXPECT_EQ(other.state(), eJSC_JTAG_STATE_PAUSE_DR);
    ASSERT_EQ(one->PutLinkDelay(one.handle(), 2), 0);
    uint32_t normal = 0;
    uint32_t maximum = 0;
    uint32_t actual = 0;
    ASSERT_EQ(other->GetLinkDelay(other.handle(), &normal, &maximum, &actual), 0);
    EXPECT_EQ(actual, 5U);
    // Only the last to go parks the controller.
    EXPECT_EQ(one.disconnect(), 0);
    EXPECT_FALSE(one.last());
    EXPECT_EQ(one.remove(), 0);
    EXPECT_EQ(other.state(), eJSC_JTAG_STATE_PAUSE_DR);
    EXPECT_EQ(other.disconnect(), 0);
    EXPECT_TRUE(other.last());
    EXPECT_EQ(other.remove(), 0);
    EXPECT_EQ(simulator.log(), "pod 1: a host attaches, and the one before it never detached\n");
}

TEST(SharingTest, ManyHandlesCountThemselves) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    std::vector<std::unique_ptr<Host>> hosts;
    for (int i = 0; i < 10; ++i) {
        hosts.push_back(std::make_unique<Host>());
        ASSERT_EQ(hosts.back()->connect(), 0);
        EXPECT_EQ(hosts.back()->first(), i == 0);
    }
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(hosts[static_cast<size_t>(i)]->disconnect(), 0);
        EXPECT_EQ(hosts[static_cast<size_t>(i)]->last(), i == 9);
    }
    for (const auto& host : hosts) {
        EXPECT_EQ(host->remove(), 0);
    }
}

// Runs a host of its own; 0 when all went well there.
template <typename Work>
int in_another_process(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(SharingTest, TwoProcessesShareThePodAndTheController) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    Host host;
    ASSERT_EQ(host.connect(), 0);
    host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kScratch});
    host.exchange(eJSC_JTAG_SHIFT_DR, 32, number(0));
    for (uint32_t round = 0; round < 5; ++round) {
        const uint32_t before = round * 2;
        EXPECT_EQ(in_another_process([=] {
                      Host other;
                      EXPECT_EQ(other.connect(), 0);
                      EXPECT_FALSE(other.first());
                      EXPECT_EQ(other.exchange(eJSC_JTAG_SHIFT_DR, 32, number(before + 1)),
                                number(before));
                      EXPECT_EQ(other.disconnect(), 0);
                      EXPECT_FALSE(other.last());
                      EXPECT_EQ(other.remove(), 0);
                  }),
                  0);
        EXPECT_EQ(host.exchange(eJSC_JTAG_SHIFT_DR, 32, number(before + 2)), number(before + 1));
    }
    EXPECT_EQ(host.disconnect(), 0);
    EXPECT_TRUE(host.last());
    EXPECT_EQ(host.remove(), 0);
}

// A host that dies keeps its place in the use counts for as long as others are there, so that
// nobody else is the first again; the pod serves on. The last that lives removes the controller
// block.
TEST(SharingTest, AHostThatDiesDoesNotStopThePod) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    {
        Host host;
        ASSERT_EQ(host.connect(), 0);
        EXPECT_EQ(in_another_process([] {
                      Host other;
                      EXPECT_EQ(other.connect(), 0);
                      // In the middle of a scan that nobody flushes.
                      EXPECT_EQ(other.send(scan_command(eJSC_JTAG_SHIFT_DR), 1000, Words(63)), 0);
                      _exit(testing::Test::HasFailure() ? 1 : 0);
                  }),
                  0);
        Host next;
        ASSERT_EQ(next.connect(), 0);
        EXPECT_FALSE(next.first());
        ASSERT_EQ(next.move(eJSC_JTAG_STATE_RESET), 0);
        EXPECT_EQ(next.capture(eJSC_JTAG_SHIFT_DR, 32), Words({0x3C4D, 0x1A2B}));
        EXPECT_EQ(next.disconnect(), 0);
        EXPECT_FALSE(next.last());
        EXPECT_EQ(host.disconnect(), 0);
        EXPECT_FALSE(host.last()) << "the dead one still counts";
    }
    Host fresh;
    ASSERT_EQ(fresh.connect(), 0);
    EXPECT_TRUE(fresh.first());
    EXPECT_EQ(fresh.disconnect(), 0);
    EXPECT_TRUE(fresh.last());
    EXPECT_EQ(fresh.remove(), 0);
}

} // namespace
} // namespace endtoend
