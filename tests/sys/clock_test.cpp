#include "support/failing_os.h"
#include "sys/clock.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <random>
#include <vector>

namespace {

timespec pretended_now;
clockid_t asked_clock;
std::vector<useconds_t> sleeps;

int pretend_clock(clockid_t clock, timespec* now) {
    asked_clock = clock;
    *now = pretended_now;
    return 0;
}

int record_sleep(useconds_t delay_us) {
    sleeps.push_back(delay_us);
    return 0;
}

uint32_t wall_clock_at(time_t seconds, long nanoseconds) {
    const test_support::RestoredOs restored;
    os_calls.clock_gettime = pretend_clock;
    pretended_now = {.tv_sec = seconds, .tv_nsec = nanoseconds};
    return sys_TimeWallClock();
}

TEST(ClockTest, CountsMillisecondsOfTheRealTimeClock) {
    asked_clock = -1;
    EXPECT_EQ(wall_clock_at(0, 0), 0U);
    EXPECT_EQ(asked_clock, CLOCK_REALTIME);
    EXPECT_EQ(wall_clock_at(0, 999'999), 0U);
    EXPECT_EQ(wall_clock_at(0, 1'000'000), 1U);
    EXPECT_EQ(wall_clock_at(12, 345'678'901), 12'345U);
}

TEST(ClockTest, WrapsAt32Bits) {
    EXPECT_EQ(wall_clock_at(4'294'967, 295'999'999), 0xFFFFFFFFU);
    EXPECT_EQ(wall_clock_at(4'294'967, 296'000'000), 0U);
    EXPECT_EQ(wall_clock_at(1'750'000'000, 1'000'000),
              static_cast<uint32_t>(1'750'000'000'001ULL & 0xFFFFFFFFULL));
}

TEST(ClockTest, FollowsTheMachinesClock) {
    timespec before{};
    clock_gettime(CLOCK_REALTIME, &before);
    const uint32_t read = sys_TimeWallClock();
    const auto expected = static_cast<uint32_t>(static_cast<uint64_t>(before.tv_sec) * 1000 +
                                                static_cast<uint64_t>(before.tv_nsec) / 1'000'000);
    EXPECT_LT(read - expected, 60'000U);
}

TEST(ClockTest, SleepsTheMicrosecondsGiven) {
    const test_support::RestoredOs restored;
    os_calls.usleep = record_sleep;
    sleeps.clear();
    sys_TimeWaitForTime(1);
    sys_TimeWaitForTime(250'000);
    EXPECT_EQ(sleeps, (std::vector<useconds_t>{1, 250'000}));
}

TEST(ClockTest, DoesNotSleepForZero) {
    const test_support::RestoredOs restored;
    os_calls.usleep = record_sleep;
    sleeps.clear();
    sys_TimeWaitForTime(0);
    EXPECT_TRUE(sleeps.empty());
}

// A signal comes when a third of the sleep is over, and another one later.
TEST(ClockTest, SleepsTheRestWhenASignalInterrupts) {
    const test_support::RestoredOs restored;
    static long clock_us;
    clock_us = 7'000'000;
    os_calls.clock_gettime = [](clockid_t, timespec* now) {
        *now = {.tv_sec = clock_us / 1'000'000, .tv_nsec = clock_us % 1'000'000 * 1000};
        return 0;
    };
    os_calls.usleep = [](useconds_t delay_us) {
        sleeps.push_back(delay_us);
        clock_us += sleeps.size() < 3 ? 300 : delay_us;
        errno = EINTR;
        return sleeps.size() < 3 ? -1 : 0;
    };
    sleeps.clear();
    sys_TimeWaitForTime(900);
    EXPECT_EQ(sleeps, (std::vector<useconds_t>{900, 600, 300}));
}

TEST(ClockTest, DoesNotRepeatASleepThatIsRefused) {
    const test_support::RestoredOs restored;
    os_calls.usleep = [](useconds_t delay_us) {
        sleeps.push_back(delay_us);
        errno = EINVAL;
        return -1;
    };
    sleeps.clear();
    sys_TimeWaitForTime(900);
    EXPECT_EQ(sleeps, (std::vector<useconds_t>{900}));
}

TEST(ClockTest, ReallySleeps) {
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    sys_TimeWaitForTime(2'000);
    clock_gettime(CLOCK_MONOTONIC, &after);
    const long slept_ns =
        (after.tv_sec - before.tv_sec) * 1'000'000'000L + after.tv_nsec - before.tv_nsec;
    EXPECT_GE(slept_ns, 2'000'000L);
}

struct Difference {
    uint32_t finish;
    uint32_t start;
    uint32_t time_out;
    bool no_time_out;
    bool still_ok;
};

TEST(ClockTest, TimeDifferenceComparesWithTheTimeOut) {
    const Difference cases[] = {
        {100, 100, 0, false, false},
        {100, 100, 1, false, true},
        {110, 100, 10, false, false},
        {110, 100, 11, false, true},
        {5, 0xFFFFFFFE, 10, false, true},
        {5, 0xFFFFFFFE, 6, false, false},
        {5, 0xFFFFFFFE, 7, false, true},
        {0, 0xFFFFFFFF, 0, false, false},
        {0, 0xFFFFFFFF, 1, false, true},
        {0xFFFFFFFF, 0, 0xFFFFFFFF, false, false},
        {0xFFFFFFFE, 0, 0xFFFFFFFF, false, true},
        {110, 100, 10, true, true},
        {100, 100, 0, true, true},
    };
    for (const Difference& c : cases) {
        EXPECT_EQ(sys_TimeDifference(c.finish, c.start, c.time_out, c.no_time_out), c.still_ok)
            << c.finish << " - " << c.start << " against " << c.time_out;
    }
}

// The milliseconds that went by, in arithmetic wide enough not to wrap.
bool model_still_ok(uint32_t finish, uint32_t start, uint32_t time_out) {
    const bool wrapped = finish < start;
    const int64_t went_by =
        int64_t{finish} - int64_t{start} + (wrapped ? (int64_t{1} << 32) - 1 : 0);
    return went_by < int64_t{time_out};
}

TEST(ClockTest, TimeDifferenceAgreesWithWideArithmetic) {
    std::mt19937 random(20260101);
    std::uniform_int_distribution<uint32_t> any;
    std::uniform_int_distribution<uint32_t> near(0, 40);
    for (int i = 0; i < 200'000; ++i) {
        const uint32_t start = i % 2 == 0 ? any(random) : 0U - near(random);
        const uint32_t finish = i % 3 == 0 ? any(random) : start + near(random);
        const uint32_t time_out = i % 5 == 0 ? any(random) : near(random);
        ASSERT_EQ(sys_TimeDifference(finish, start, time_out, false),
                  model_still_ok(finish, start, time_out))
            << finish << " - " << start << " against " << time_out;
    }
}

} // namespace
