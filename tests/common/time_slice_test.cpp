#include "common/time_slice.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <thread>

namespace talvor {
namespace {

// In a thread of its own: a slice is never given back.
template <class Action>
void in_a_thread(Action action) {
    std::thread(action).join();
}

TEST(TimeSliceTest, IsShortOnceItWasAskedForAndOnlyInThatThread) {
    const auto before = time_slice();
    in_a_thread([] {
        if (!shorten_time_slice()) {
            GTEST_SKIP() << "this kernel takes no slices";
        }
        EXPECT_EQ(time_slice(), kShortTimeSlice);
        EXPECT_TRUE(shorten_time_slice()); // once more changes nothing
    });
    EXPECT_EQ(time_slice(), before);
    EXPECT_NE(before, kShortTimeSlice);
}

TEST(TimeSliceTest, LeavesTheNiceValue) {
    in_a_thread([] {
        ASSERT_EQ(setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), 7), 0);
        static_cast<void>(shorten_time_slice());
        EXPECT_EQ(getpriority(PRIO_PROCESS, static_cast<id_t>(gettid())), 7);
    });
}

TEST(TimeSliceTest, LeavesAThreadOfAnotherPolicyAlone) {
    in_a_thread([] {
        const sched_param none{};
        ASSERT_EQ(sched_setscheduler(0, SCHED_BATCH, &none), 0);
        EXPECT_FALSE(shorten_time_slice());
        EXPECT_EQ(sched_getscheduler(0), SCHED_BATCH);
        EXPECT_FALSE(time_slice());
    });
}

} // namespace
} // namespace talvor
