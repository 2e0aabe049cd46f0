// Thousands of random scans over random chains behind pods of every kind, compared bit for bit with
// a chain that is clocked the plain way.
#include "random_walk.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

namespace endtoend {
namespace {

constexpr uint32_t kPods = 24;
constexpr int kSteps = 250;

TEST(RandomScansTest, GiveTheHostWhatThePlainChainGives) {
    test_support::LeakGuard leaks;
    std::vector<RandomPod> sessions;
    std::string text;
    for (uint32_t serial = 1; serial <= kPods; ++serial) {
        sessions.push_back(make_random_pod(serial, serial));
        text += pod_text(sessions.back().pod, sessions.back().chain);
    }
    test_support::PodsimProcess simulator(text, {"--strict"});
    ASSERT_TRUE(simulator.running());
    uint64_t words = 0;
    uint64_t ones = 0;
    for (RandomPod& session : sessions) {
        Host host(session.keys, session.recipe);
        ASSERT_EQ(host.created(), 0);
        ASSERT_EQ(host.connect(), 0) << simulator.log();
        RandomWalk walk(session, host);
        for (int i = 0; i < kSteps; ++i) {
            walk.step();
            ASSERT_FALSE(testing::Test::HasFailure())
                << "pod " << session.pod.serial << ", step " << i << "\n"
                << simulator.log();
        }
        EXPECT_EQ(host.disconnect(), 0);
        words += walk.received_words();
        ones += walk.received_ones();
    }
    // The chains gave both levels often, so a stuck one would have shown.
    EXPECT_GT(words, 20'000U);
    EXPECT_GT(ones, words * 4);
    EXPECT_LT(ones, words * 12);
    EXPECT_EQ(simulator.log(), "");
}

} // namespace
} // namespace endtoend
