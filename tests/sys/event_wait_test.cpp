#include "support/failing_os.h"
#include "sys/event_wait.h"

#include <gtest/gtest.h>

namespace {

// What the callback sees and what it answers; handed through as the handle.
struct Watcher {
    unsigned happens_at = 0;  // number of the test that sees the event; 0 never
    unsigned abandons_at = 0; // number of the abandon check that gives up; 0 never
    unsigned starts = 0;
    unsigned tests = 0;
    unsigned checks = 0;
    bool start_came_first = false;
    uint32_t parameter = 0;
    uint32_t choice = 0;
};

bool watch(void* handle, uint8_t action, uint32_t parameter, uint32_t choice) {
    auto& watcher = *static_cast<Watcher*>(handle);
    watcher.parameter = parameter;
    watcher.choice = choice;
    switch (action) {
    case 0:
        watcher.start_came_first = watcher.tests == 0 && watcher.checks == 0;
        ++watcher.starts;
        return true;
    case 1:
        return ++watcher.tests == watcher.happens_at;
    case 2:
        return ++watcher.checks == watcher.abandons_at;
    default:
        ADD_FAILURE() << "action " << int{action};
        return true;
    }
}

unsigned clock_reads;
unsigned ms_per_read;

int step_clock(clockid_t /*clock*/, timespec* now) {
    const unsigned ms = clock_reads++ * ms_per_read;
    *now = {.tv_sec = ms / 1000, .tv_nsec = static_cast<long>(ms % 1000) * 1'000'000L};
    return 0;
}

// A wait under a clock that moves `clock_step_ms` with every reading.
int32_t wait(Watcher& watcher, unsigned clock_step_ms, uint32_t time_out, bool no_time_out) {
    const test_support::RestoredOs restored;
    os_calls.clock_gettime = step_clock;
    clock_reads = 0;
    ms_per_read = clock_step_ms;
    return sys_TimeWaitForEvent(&watcher, 17, 23, time_out, no_time_out, watch);
}

TEST(EventWaitTest, AnEventAtTheFirstTestReadsNoClock) {
    Watcher watcher{.happens_at = 1};
    EXPECT_EQ(wait(watcher, 0, 0, false), 0);
    EXPECT_EQ(watcher.starts, 1U);
    EXPECT_TRUE(watcher.start_came_first);
    EXPECT_EQ(watcher.tests, 1U);
    EXPECT_EQ(watcher.checks, 0U);
    EXPECT_EQ(clock_reads, 0U);
}

TEST(EventWaitTest, HandsParameterAndChoiceThrough) {
    Watcher watcher{.happens_at = 1};
    wait(watcher, 0, 0, false);
    EXPECT_EQ(watcher.parameter, 17U);
    EXPECT_EQ(watcher.choice, 23U);
}

TEST(EventWaitTest, TheFirst256TestsReadNoClock) {
    Watcher at_256{.happens_at = 256};
    EXPECT_EQ(wait(at_256, 0, 0, false), 0);
    EXPECT_EQ(at_256.tests, 256U);
    EXPECT_EQ(clock_reads, 0U);

    Watcher at_257{.happens_at = 257};
    EXPECT_EQ(wait(at_257, 0, 0, false), 0);
    EXPECT_EQ(at_257.tests, 257U);
    EXPECT_EQ(clock_reads, 1U);
}

TEST(EventWaitTest, ChecksClockAndAbandonAfterEvery256FurtherTests) {
    Watcher at_512{.happens_at = 512};
    EXPECT_EQ(wait(at_512, 1, 1000, false), 0);
    EXPECT_EQ(at_512.checks, 0U);
    EXPECT_EQ(clock_reads, 1U);

    Watcher at_513{.happens_at = 513};
    EXPECT_EQ(wait(at_513, 1, 1000, false), 0);
    EXPECT_EQ(at_513.checks, 1U);
    EXPECT_EQ(clock_reads, 2U);

    Watcher later{.happens_at = 256 * 5 + 1};
    EXPECT_EQ(wait(later, 1, 1000, false), 0);
    EXPECT_EQ(later.checks, 4U);
    EXPECT_EQ(clock_reads, 5U);
}

TEST(EventWaitTest, TimesOutWhenTheTimeHasGoneBy) {
    Watcher watcher;
    EXPECT_EQ(wait(watcher, 10, 30, false), -1);
    // Readings at 0 (start), 10, 20 and 30 ms.
    EXPECT_EQ(clock_reads, 4U);
    EXPECT_EQ(watcher.tests, 256U * 4);
    EXPECT_EQ(watcher.checks, 3U);
}

TEST(EventWaitTest, ATimeOutOfZeroStillGivesTwoRoundsOfTests) {
    Watcher watcher;
    EXPECT_EQ(wait(watcher, 0, 0, false), -1);
    EXPECT_EQ(watcher.tests, 512U);
}

TEST(EventWaitTest, StopsWhenTheCallbackAbandons) {
    Watcher watcher{.abandons_at = 3};
    EXPECT_EQ(wait(watcher, 1, 1000, false), -2);
    EXPECT_EQ(watcher.checks, 3U);
    EXPECT_EQ(watcher.tests, 256U * 4);
}

TEST(EventWaitTest, AbandonGoesBeforeTimeOut) {
    Watcher watcher{.abandons_at = 1};
    EXPECT_EQ(wait(watcher, 100, 1, false), -2);
}

TEST(EventWaitTest, WithoutTimeOutItLastsUntilTheEventOrTheAbandon) {
    Watcher event{.happens_at = 256 * 40};
    EXPECT_EQ(wait(event, 1'000, 1, true), 0);
    EXPECT_EQ(event.tests, 256U * 40);

    Watcher abandon{.abandons_at = 50};
    EXPECT_EQ(wait(abandon, 1'000, 1, true), -2);
    EXPECT_EQ(abandon.checks, 50U);
}

} // namespace
