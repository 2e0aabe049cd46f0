#include "host.h"
#include "podsim/model/event_counter.h"

#include <gtest/gtest.h>

namespace talvor::podsim {
namespace {

using namespace host;

class StrictEventCounterTest : public StrictPodTest {};

TEST_F(StrictEventCounterTest, CountsChosenEdges) {
    const auto pulse = [this](bool emu0, bool emu1) {
        Faults low;
        low.emu = {.emu0 = !emu0, .emu1 = !emu1};
        ASSERT_TRUE(pod.controller.set_faults(low));
        ASSERT_TRUE(pod.controller.set_faults({}));
    };
    pod.write(14, 0xFFFF);
    pod.write(15, 0xFFFF);
    pulse(true, true); // not started
    pod.write(9, 0x600);
    pod.write(9, 0x608);
    pulse(true, false);
    pulse(true, true);
    pulse(false, true);
    EXPECT_EQ(pod.read(20), 2U);
    pod.write(1, TBC_COMMAND_LATCH);
    pulse(true, false);
    EXPECT_EQ(pod.read(20), 2U);
    pod.write(1, TBC_COMMAND_RELEASE);
    EXPECT_EQ(pod.read(20), 3U);
    EXPECT_EQ(pod.read(21), 0U);
    // EMU1, rising: begins at 0 again.
    pod.write(9, 0x660);
    pod.write(9, 0x668);
    pulse(true, true);
    EXPECT_EQ(pod.read(20), 1U);
    // The limit stops it.
    pod.write(15, 0);
    pod.write(14, 3);
    for (int i = 0; i < 9; ++i) {
        pulse(false, true);
    }
    EXPECT_EQ(pod.read(20), 3U);
}

TEST(EventCounterTest, HighHalfFollows) {
    EventCounter counter;
    counter.write_control(TBC_EVENT_BASE | TBC_EVENT_START);
    for (int i = 0; i < 0x10002; ++i) {
        counter.levels({true, true}, {false, true});
    }
    EXPECT_EQ(counter.low(), 2U);
    EXPECT_EQ(counter.high(), 1U);
}

} // namespace
} // namespace talvor::podsim
