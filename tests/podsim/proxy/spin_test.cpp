#include "podsim/proxy/spin.h"

#include <gtest/gtest.h>

namespace talvor::podsim::proxy {
namespace {

using End = SpinPolicy::End;
using Depth = SpinPolicy::Depth;

// How many exchanges pass without a look before the next one.
int skipped(SpinPolicy& policy) {
    int count = 0;
    while (policy.next() == Depth::None) {
        ++count;
    }
    return count;
}

// How many exchanges pass before the worker offers the processor again; each look ends so.
int without_offer(SpinPolicy& policy, End end) {
    int count = 0;
    for (Depth depth = policy.next(); depth != Depth::Full; depth = policy.next(), ++count) {
        if (depth == Depth::Short) {
            policy.ended(end);
        }
    }
    return count;
}

TEST(SpinPolicyTest, LooksAtFirstAndAsLongAsItIsAnswered) {
    SpinPolicy policy;
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(policy.next(), Depth::Full);
        policy.ended(End::Answered);
    }
}

TEST(SpinPolicyTest, OneLookInVainIsForgiven) {
    SpinPolicy policy;
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(policy.next(), Depth::Full);
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

TEST(SpinPolicyTest, AWorkerThatWasDisplacedOffersTheProcessorAgainAfterManyExchanges) {
    SpinPolicy policy;
    for (const int expected : {256, 512, 1024, 2048, 4096, 8192, 16384, 16384}) {
        policy.ended(End::Displaced);
        EXPECT_EQ(without_offer(policy, End::Answered), expected);
    }
    // Also when the looks without an offer are all in vain: the host may be a slow one.
    SpinPolicy slow;
    slow.ended(End::Displaced);
    const int exchanges = without_offer(slow, End::InVain);
    EXPECT_GE(exchanges, 256);
    EXPECT_LE(exchanges, 256 + 1024);
    // A slow host alone is no reason.
    SpinPolicy alone;
    alone.ended(End::InVain);
    alone.ended(End::InVain);
    skipped(alone);
    EXPECT_EQ(alone.next(), Depth::Full);
}

TEST(SpinPolicyTest, AQuietMachineMakesDisplacementsForgotten) {
    for (const int answers : {4095, 4096}) {
        SpinPolicy policy;
        policy.ended(End::Displaced);
        without_offer(policy, End::InVain);
        for (int i = 0; i < answers; ++i) {
            policy.ended(End::Answered);
        }
        policy.ended(End::Displaced);
        EXPECT_EQ(without_offer(policy, End::Answered), answers == 4096 ? 256 : 512);
    }
}

class SpinTest : public testing::Test {
protected:
    SpinTest() : start(Semaphore::create("/talvor_test_spin", 0).value()) {}
    Semaphore start;
};

TEST_F(SpinTest, TakesAPostThatIsThereWhateverTheLimit) {
    for (const int limit_us : {0, 1, 50}) {
        Spin spin{std::chrono::microseconds(limit_us)};
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
