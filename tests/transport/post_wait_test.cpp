#include "support/failing_os.h"
#include "transport/post_wait.h"

#include <gtest/gtest.h>

namespace {

using test_support::RestoredOs;

// A semaphore whose post is made by one of the waiter's turns of others, as when the poster needs
// the waiter's processor.
class PostWaitTest : public testing::Test {
protected:
    PostWaitTest() {
        sem_init(&semaphore, 0, 0);
        yields = 0;
        os_calls.sched_yield = [] {
            if (++yields == post_at) {
                sem_post(&semaphore);
            }
            return 0;
        };
    }
    ~PostWaitTest() override { sem_destroy(&semaphore); }

    static int posts() {
        int value = -1;
        sem_getvalue(&semaphore, &value);
        return value;
    }

    RestoredOs restored;
    PostSpin spin{};
    static inline sem_t semaphore;
    static inline int yields;
    static inline int post_at;
};

TEST_F(PostWaitTest, APostThatIsThereIsTakenWithoutLettingOthersIn) {
    post_at = 0;
    sem_post(&semaphore);
    sem_post(&semaphore);
    EXPECT_TRUE(wait_for_post(&semaphore, 0, &spin));
    EXPECT_EQ(posts(), 1);
    EXPECT_EQ(yields, 0);
    EXPECT_EQ(spin.waits, 1U);
}

TEST_F(PostWaitTest, OthersAreLetInUntilThePostComes) {
    for (const int turn : {1, 2, 64, 65, 1000}) {
        yields = 0;
        post_at = turn;
        EXPECT_TRUE(wait_for_post(&semaphore, 0, &spin));
        EXPECT_EQ(yields, turn);
        EXPECT_EQ(posts(), 0);
    }
}

TEST_F(PostWaitTest, EachTimeInVainHalvesTheTimeWithoutOthers) {
    spin = {kSpinMost, 1};
    for (const uint32_t ticks : {40'000U, 20'000U, 10'000U, 5'000U, 2'500U, 2'000U, 2'000U}) {
        yields = 0;
        post_at = 1;
        EXPECT_TRUE(wait_for_post(&semaphore, 0, &spin));
        EXPECT_EQ(spin.ticks, ticks);
    }
    spin_learn(&spin, true);
    EXPECT_EQ(spin.ticks, kSpinMost);
}

TEST_F(PostWaitTest, NowAndThenALongTimeIsTriedAgain) {
    spin = {kSpinLeast, 0};
    for (uint32_t wait = 0; wait < 3 * kWaitsPerTrial; ++wait) {
        EXPECT_EQ(spin_of_next_wait(&spin), wait % kWaitsPerTrial == 0 ? kSpinMost : kSpinLeast);
    }
}

TEST_F(PostWaitTest, TheFirstWaitOfAllIsALongOne) {
    EXPECT_EQ(spin_of_next_wait(&spin), kSpinMost);
    spin_learn(&spin, false);
    EXPECT_EQ(spin_of_next_wait(&spin), kSpinLeast);
}

} // namespace
