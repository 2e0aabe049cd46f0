#include "podsim/proxy/processor.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <thread>

namespace talvor::podsim::proxy {
namespace {

// In a thread of its own, whose processors are nobody else's affair.
template <typename Body>
void in_a_thread(Body body) {
    std::thread(body).join();
}

cpu_set_t allowed() {
    cpu_set_t set;
    CPU_ZERO(&set);
    EXPECT_EQ(sched_getaffinity(0, sizeof set, &set), 0);
    return set;
}

TEST(ProcessorTest, LeavesForAnotherOneAndMayUseAllOfThemAsBefore) {
    in_a_thread([] {
        const cpu_set_t before = allowed();
        if (CPU_COUNT(&before) < 2) {
            GTEST_SKIP() << "one processor";
        }
        EXPECT_TRUE(leave_processor());
        const cpu_set_t after = allowed();
        EXPECT_TRUE(CPU_EQUAL(&before, &after));
    });
}

TEST(ProcessorTest, StaysOnTheOnlyOneThatItMayUse) {
    in_a_thread([] {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned>(sched_getcpu()), &one);
        ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
        EXPECT_FALSE(leave_processor());
        const cpu_set_t after = allowed();
        EXPECT_TRUE(CPU_EQUAL(&one, &after));
    });
}

} // namespace
} // namespace talvor::podsim::proxy
