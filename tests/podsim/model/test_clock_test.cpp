#include "podsim/model/test_clock.h"

#include <gtest/gtest.h>

namespace talvor::podsim {
namespace {

struct Case {
    uint16_t revision;
    uint16_t pod_clock;
    uint64_t period_ns;
    uint32_t hz;
};

TEST(TestClockTest, FollowsThePodClockRegister) {
    const Case cases[] = {
        // Generation 1 adds two to the field and knows no exponent.
        {0x0100, 0x0000, 20, 50'000'000},
        {0x0100, 0x0008, 100, 10'000'000},
        {0x01FF, 0x700F, 170, 5'882'352},
        {0x0100, 0x0080, 80, 12'500'000},
        // Later ones add three and shift.
        {0x0200, 0x0000, 30, 33'333'333},
        {0x0200, 0x0007, 100, 10'000'000},
        {0x0300, 0x1007, 200, 5'000'000},
        {0x0400, 0x708F, 40 * 18 * 128, 10'850},
        // The other bits do not matter.
        {0x0200, 0x8F77, 100, 10'000'000},
    };
    for (const Case& each : cases) {
        const uint64_t period = tck_period_ns(each.revision, each.pod_clock);
        EXPECT_EQ(period, each.period_ns) << each.pod_clock;
        EXPECT_EQ(frequency_hz(period), each.hz);
    }
}

} // namespace
} // namespace talvor::podsim
