#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

namespace test_support {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> shm_objects() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        names.push_back(entry.path().filename());
    }
    return names;
}

TEST(Life, comes_up_and_goes_away_without_a_trace_on_every_ending_signal) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        PodsimProcess podsim;
        ASSERT_TRUE(podsim.running());
        EXPECT_FALSE(shm_objects().empty());
        EXPECT_EQ(podsim.stop(signal), 0);
        EXPECT_THAT(shm_objects(), IsEmpty());
        EXPECT_THAT(podsim.log(), IsEmpty());
    }
}

TEST(Life, a_hundred_starts_and_stops_leave_nothing_behind) {
    for (int cycle = 0; cycle < 100; ++cycle) {
        PodsimProcess podsim;
        ASSERT_TRUE(podsim.running()) << cycle;
        ASSERT_EQ(podsim.stop(), 0) << cycle;
        ASSERT_THAT(shm_objects(), IsEmpty()) << cycle;
    }
}

TEST(Life, a_second_simulator_is_refused_by_name) {
    PodsimProcess podsim;
    const auto before = shm_objects();
    const ProgramResult second = run_program({built_program("talvor-podsim")});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.output, "");
    EXPECT_EQ(second.errors, "talvor-podsim: a pod proxy already serves this machine (process " +
                                 std::to_string(podsim.pid()) +
                                 "); stop it first, or use --private\n");
    EXPECT_EQ(shm_objects(), before);
}

TEST(Life, a_killed_simulator_is_taken_over) {
    PodsimProcess first;
    EXPECT_EQ(first.stop(SIGKILL), 128 + SIGKILL);
    EXPECT_FALSE(shm_objects().empty());
    PodsimProcess second;
    EXPECT_TRUE(second.running());
    EXPECT_EQ(second.stop(), 0);
    EXPECT_THAT(shm_objects(), IsEmpty());
}

} // namespace
} // namespace test_support
