// State moves: where they end, and how many test clocks they take.
#include "description_text.h"
#include "host.h"
#include "simulator_status.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"
#include "target_model.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace endtoend {
namespace {

using test_support::LeakGuard;
using test_support::PodsimProcess;

constexpr JSC_JtagState kStates[] = {eJSC_JTAG_STATE_RESET, eJSC_JTAG_STATE_IDLE,
                                     eJSC_JTAG_STATE_PAUSE_DR, eJSC_JTAG_STATE_PAUSE_IR};
constexpr const char* kNames[] = {"Test-Logic-Reset", "Run-Test/Idle", "Pause-DR", "Pause-IR"};

// Test clocks of a move on the standard's state diagram, worked out by hand: rows are where it
// begins, columns where it ends, both in the order of `states`.
constexpr int kQuickest[4][4] = {{0, 1, 5, 6}, {3, 0, 4, 5}, {5, 3, 6, 7}, {5, 3, 6, 7}};
// To Run-Test/Idle, 7 clocks there, and on.
constexpr int kViaIdle[4][4] = {
    {11, 8, 12, 13}, {10, 7, 11, 12}, {13, 10, 14, 15}, {13, 10, 14, 15}};

class Clocks {
public:
    explicit Clocks(const PodsimProcess& simulator) : simulator_(simulator) {}
    // Since the last question.
    uint64_t passed() {
        const uint64_t now = status_number(simulator_, "virtual_time_ns");
        const uint64_t hertz = status_number(simulator_, "tck_hz");
        const uint64_t clocks = ((now - before_) * hertz + 500'000'000) / 1'000'000'000;
        before_ = now;
        return clocks;
    }

private:
    const PodsimProcess& simulator_;
    uint64_t before_ = 0;
};

TEST(StatesTest, AreReachedByEachTransitFromEachOther) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    Host host(Keys{{"KELM.POD_TCKDIV", "7"}}); // a period of 200 ns, so that clocks can be counted
    ASSERT_EQ(host.connect(), 0);
    Clocks clocks(simulator);
    for (const JSC_JtagTransit transit :
         {eJSC_JTAG_TRANSIT_QUICKEST, eJSC_JTAG_TRANSIT_VIA_CAPTURE, eJSC_JTAG_TRANSIT_VIA_IDLE}) {
        for (int from = 0; from < 4; ++from) {
            for (int to = 0; to < 4; ++to) {
                SCOPED_TRACE(testing::Message()
                             << kNames[from] << " to " << kNames[to] << ", transit " << transit);
                ASSERT_EQ(host.move(kStates[from]), 0);
                ASSERT_EQ(host.state(), kStates[from]);
                clocks.passed();
                ASSERT_EQ(host.move(kStates[to], transit), 0);
                EXPECT_EQ(host.state(), kStates[to]);
                EXPECT_EQ(status_text(simulator, "tap_state"), kNames[to]);
                const auto& expected = transit == eJSC_JTAG_TRANSIT_VIA_IDLE ? kViaIdle : kQuickest;
                EXPECT_EQ(clocks.passed(), static_cast<uint64_t>(expected[from][to]));
            }
        }
    }
    EXPECT_EQ(simulator.log(), "");
}

TEST(StatesTest, ThatDoNotHoldAreRefused) {
    LeakGuard leaks;
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    Host host;
    ASSERT_EQ(host.connect(), 0);
    for (int state = eJSC_JTAG_STATE_INVALID_FIRST; state <= eJSC_JTAG_STATE_INVALID_LAST;
         ++state) {
        const auto end = static_cast<JSC_JtagState>(state);
        const bool holds = std::ranges::find(kStates, end) != std::end(kStates);
        EXPECT_EQ(host.move(end), holds ? 0 : eJTI_ERROR_BAD_ARGUMENT) << state;
    }
    EXPECT_EQ(host.state(), eJSC_JTAG_STATE_PAUSE_IR);
}

} // namespace
} // namespace endtoend
