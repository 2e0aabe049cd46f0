#include "podsim/proxy/spin.h"

#include <gtest/gtest.h>

namespace talvor::podsim::proxy {
namespace {

using End = SpinPolicy::End;

// How many exchanges pass without a look before the next one.
int skipped(SpinPolicy& policy) {
    int count = 0;
    while (!policy.next()) {
        ++count;
    }
    return count;
}

using std::chrono::microseconds;

constexpr microseconds kLook{50};

// A policy whose looks are in vain, and which does not look for the next four exchanges.
SpinPolicy in_vain() {
    SpinPolicy policy;
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(policy.next());
        policy.ended(End::InVain);
    }
    return policy;
}

// How many exchanges with such a sleep pass until the worker changes its processor; all looks are
// in vain. 0: not within `most`.
int sleeps_to_move(SpinPolicy& policy, microseconds sleep, int most) {
    for (int count = 1; count <= most; ++count) {
        if (policy.next()) {
            policy.ended(End::InVain);
        }
        if (policy.slept(sleep, kLook)) {
            return count;
        }
    }
    return 0;
}

TEST(SpinPolicyTest, LooksAtFirstAndAsLongAsItIsAnswered) {
    SpinPolicy policy;
    for (int i = 0; i < 1000; ++i) {
        EXPECT_TRUE(policy.next());
        policy.ended(End::Answered);
    }
}

TEST(SpinPolicyTest, OneLookInVainIsForgiven) {
    SpinPolicy policy;
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(policy.next());
        policy.ended(i % 2 == 0 ? End::InVain : End::Answered);
    }
}

TEST(SpinPolicyTest, LooksInVainAreTriedAgainEverMoreRarely) {
    SpinPolicy policy;
    policy.ended(End::InVain);
    for (const int expected : {4, 8, 16, 32, 64, 128, 256, 512, 1024, 1024}) {
        policy.ended(End::InVain);
        EXPECT_EQ(skipped(policy), expected);
    }
}

TEST(SpinPolicyTest, AProcessorThatWasLostIsNotForgiven) {
    SpinPolicy policy;
    policy.ended(End::Displaced);
    EXPECT_EQ(skipped(policy), 4);
    policy.ended(End::Answered);
    policy.ended(End::Displaced);
    EXPECT_EQ(skipped(policy), 8);
}

TEST(SpinPolicyTest, ManyAnswersInARowMakeThePastForgotten) {
    for (const int answers : {63, 64}) {
        SpinPolicy policy;
        for (int i = 0; i < 5; ++i) {
            policy.ended(End::Displaced);
            skipped(policy);
        }
        for (int i = 0; i < answers; ++i) {
            policy.ended(End::Answered);
        }
        policy.ended(End::Displaced);
        EXPECT_EQ(skipped(policy), answers == 64 ? 4 : 128);
    }
}

TEST(SpinPolicyTest, AHostThatAnswersOnlyASleeperIsLeftAloneOnItsProcessor) {
    SpinPolicy policy = in_vain();
    EXPECT_EQ(sleeps_to_move(policy, microseconds(24), 100), 3);
    // There the worker looks at once.
    EXPECT_TRUE(policy.next());
}

TEST(SpinPolicyTest, AHostThatTakesItsTimeIsNotInTheWay) {
    SpinPolicy policy = in_vain();
    EXPECT_EQ(sleeps_to_move(policy, microseconds(25), 10'000), 0);
    // One sleep among them that was longer begins the count anew.
    SpinPolicy other = in_vain();
    EXPECT_EQ(sleeps_to_move(other, microseconds(1), 2), 0);
    EXPECT_EQ(sleeps_to_move(other, microseconds(25), 1), 0);
    EXPECT_EQ(sleeps_to_move(other, microseconds(1), 1), 0);
}

TEST(SpinPolicyTest, SleepsBehindALookTellNothing) {
    SpinPolicy policy;
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(policy.next());
        policy.ended(i % 2 == 0 ? End::InVain : End::Answered);
        EXPECT_FALSE(policy.slept(microseconds(1), kLook));
    }
    // Nor do those of a worker that others have displaced.
    policy.next();
    policy.ended(End::Displaced);
    for (int i = 0; i < 4; ++i) {
        ASSERT_FALSE(policy.next());
        EXPECT_FALSE(policy.slept(microseconds(1), kLook));
    }
}

TEST(SpinPolicyTest, AChangeThatDidNotHelpIsTriedAgainEverMoreRarely) {
    SpinPolicy policy = in_vain();
    sleeps_to_move(policy, microseconds(1), 100);
    int before = 3;
    for (int i = 0; i < 10; ++i) {
        const int count = sleeps_to_move(policy, microseconds(1), 200'000);
        EXPECT_GE(count, 64 << i);
        EXPECT_GT(count, before);
        before = count;
    }
}

TEST(SpinPolicyTest, AChangeThatHelpedMayBeRepeatedSoon) {
    SpinPolicy policy = in_vain();
    for (int i = 0; i < 5; ++i) {
        sleeps_to_move(policy, microseconds(1), 200'000);
    }
    for (int i = 0; i < 64; ++i) {
        EXPECT_TRUE(policy.next());
        policy.ended(End::Answered);
    }
    // What is left of the last pause, then the shortest one.
    EXPECT_NE(sleeps_to_move(policy, microseconds(1), 200'000), 0);
    const int count = sleeps_to_move(policy, microseconds(1), 200'000);
    EXPECT_GE(count, 64);
    EXPECT_LE(count, 64 + 32);
}

class SpinTest : public testing::Test {
protected:
    SpinTest() : start(Semaphore::create("/talvor_test_spin", 0).value()) {}
    Semaphore start;
};

TEST_F(SpinTest, TakesAPostThatIsThereWhateverTheLimit) {
    for (const int limit_us : {0, 1, 50}) {
        Spin spin{microseconds(limit_us)};
        EXPECT_FALSE(spin.take(start));
        for (int i = 0; i < 20; ++i) {
            start.post();
            EXPECT_TRUE(spin.take(start));
            EXPECT_EQ(start.posts(), 0);
        }
    }
}

} // namespace
} // namespace talvor::podsim::proxy
