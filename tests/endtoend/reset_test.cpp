// Resets, TRSTn, and the log that a host reads about them.
#include "description_text.h"
#include "host.h"
#include "simulator_status.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

namespace endtoend {
namespace {

using Log = std::vector<uint32_t>;
using test_support::LeakGuard;
using test_support::PodsimProcess;

constexpr uint32_t kScratch = 8; // its instruction

// A pod with one device, and a host connected to it.
struct Session {
    explicit Session(uint32_t recipe = JSC_RECIPE_LONG_INIT, const PodText& pod = {})
        : simulator(plain_pod_text(pod), {"--strict"}), host({}, recipe),
          connected(host.connect()) {}

    // Selects the scratch register and stores a value in it.
    void store(const Words& value) {
        host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kScratch});
        host.exchange(eJSC_JTAG_SHIFT_DR, 32, value);
    }
    // What the selected register captures; it then holds the same.
    Words captured() {
        const Words value = host.capture(eJSC_JTAG_SHIFT_DR, 32);
        host.exchange(eJSC_JTAG_SHIFT_DR, 32, value);
        return value;
    }

    LeakGuard leaks;
    PodsimProcess simulator;
    Host host;
    int32_t connected;
};

const Words idcode{0x3C4D, 0x1A2B};
const Words stored{0x0FF1, 0xCE55};

Log log_of(Host& host) {
    bool known = false;
    uint32_t actual = 0;
    uint32_t total = 0;
    Log words(JSC_RESET_LOG_WORDS + 2);
    EXPECT_EQ(host->LogFileRead(host.handle(), eJSC_LOGFILE_ID_RESET, &known, JSC_RESET_LOG_WORDS,
                                words.data(), &actual, &total),
              0);
    EXPECT_TRUE(known);
    EXPECT_EQ(actual, total);
    words.resize(actual);
    return words;
}

TEST(ResetTest, WritesTheLogOfWhatItFoundAndDid) {
    Session session(JSC_RECIPE_LONG_INIT | JSC_RECIPE_RESET_LOG);
    ASSERT_EQ(session.connected, 0);
    JSC_ResetAction action{};
    action.verbose = true;
    ASSERT_EQ(session.host->Reset(session.host.handle(), &action), 0);
    const Log quiet{19, // words, this one and the closing 0 among them
                    RSTLOG_USE_ONLY_TBC,
                    RSTLOG_CONTROL_TBC,
                    RSTLOG_USE_ONLY_TBC,
                    RSTLOG_HARD_RST_VIA_SPRT,
                    RSTLOG_SOFT_RST_VIA_SPRT,
                    RSTLOG_SUCCESSFUL_ACCESS,
                    RSTLOG_USE_SLOWER_CLK_MODE,
                    RSTLOG_EMU0_INPUT_IS_ONE,
                    RSTLOG_EMU1_INPUT_IS_ONE,
                    RSTLOG_USE_OUTPUT_EDGE_RISE,
                    RSTLOG_USE_INPUT_EDGE_NOSUPPORT,
                    0xFFFFFFFF,
                    3,
                    RSTLOG_LINK_DELAY_IS_SPECIFIC,
                    RSTLOG_PRIOR_POWER_LOSS_NOT,
                    RSTLOG_CURRENT_POWER_LOSS_NOT,
                    LS_LOGFILE_ITSA_FINISH};
    Log expected = quiet;
    expected[0] = static_cast<uint32_t>(quiet.size());
    EXPECT_EQ(log_of(session.host), expected);

    // TRSTn is pulsed first, and the EMU pins are as they are.
    EXPECT_EQ(session.simulator.ctl("emu0 low"), "ok");
    action.trstAssert = true;
    action.trstNegate = true;
    ASSERT_EQ(session.host->Reset(session.host.handle(), &action), 0);
    expected.insert(expected.begin() + 1, RSTLOG_SCAN_PATH_TRST_TOGGLE);
    ++expected[0];
    expected[9] = RSTLOG_EMU0_INPUT_IS_ZERO;
    EXPECT_EQ(log_of(session.host), expected);
    EXPECT_EQ(session.simulator.log(), "");
}

TEST(ResetTest, TellsOfAPowerLossThatIsOver) {
    Session session(JSC_RECIPE_LONG_INIT | JSC_RECIPE_RESET_LOG);
    ASSERT_EQ(session.connected, 0);
    EXPECT_EQ(session.simulator.ctl("power off"), "ok");
    EXPECT_EQ(session.simulator.ctl("power on"), "ok");
    EXPECT_EQ(session.host.state(), eJSC_JTAG_STATE_RESET);
    JSC_ResetAction action{};
    action.verbose = true;
    ASSERT_EQ(session.host->Reset(session.host.handle(), &action), 0);
    const Log log = log_of(session.host);
    // The latch of the power loss reads as a low TRSTn, which is taken high first.
    EXPECT_EQ(log.at(1), static_cast<uint32_t>(RSTLOG_SCAN_PATH_TRST_NEGATE));
    const uint32_t last = static_cast<uint32_t>(log.size()) - 1;
    EXPECT_EQ(log.at(last - 1), static_cast<uint32_t>(RSTLOG_CURRENT_POWER_LOSS_NOT));
    EXPECT_EQ(session.captured(), idcode);
}

TEST(ResetTest, RefusesHalfOfATrstPulse) {
    Session session(JSC_RECIPE_LONG_INIT | JSC_RECIPE_RESET_LOG);
    ASSERT_EQ(session.connected, 0);
    const uint64_t batches = status_number(session.simulator, "batches");
    JSC_ResetAction action{};
    action.trstAssert = true;
    EXPECT_EQ(session.host->Reset(session.host.handle(), &action), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(status_number(session.simulator, "batches"), batches);
}

// Neither touches a target that needs no reset; the soft and the hard one drive it to
// Test-Logic-Reset.
TEST(ResetTest, ReachesTheTargetAsAskedFor) {
    struct Case {
        const char* name;
        bool soft, hard, hidden, trst;
        bool target_is_reset;
    };
    for (const Case& one : {
             Case{"none", false, false, false, false, false},
             Case{"soft", true, false, false, false, true},
             Case{"hard", false, true, false, false, true},
             Case{"trst", false, false, false, true, true},
             Case{"hidden", false, false, true, false, false},
             Case{"hidden soft", true, false, true, false, false},
         }) {
        SCOPED_TRACE(one.name);
        Session session;
        ASSERT_EQ(session.connected, 0);
        session.store(stored);
        JSC_ResetAction action{one.soft, one.hard, one.hidden, one.trst, one.trst, false};
        ASSERT_EQ(session.host->Reset(session.host.handle(), &action), 0)
            << session.simulator.log();
        EXPECT_EQ(status_text(session.simulator, "target_reset"), "false");
        EXPECT_EQ(session.captured(), one.target_is_reset ? idcode : stored);
        if (one.target_is_reset) { // a TAP reset leaves the data registers alone
            session.host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kScratch});
            EXPECT_EQ(session.captured(), stored);
        }
        EXPECT_EQ(session.simulator.log(), "");
    }
}

TEST(ResetTest, KeepsTheTapStateWhenItIsHidden) {
    for (const JSC_JtagState state : {eJSC_JTAG_STATE_RESET, eJSC_JTAG_STATE_IDLE,
                                      eJSC_JTAG_STATE_PAUSE_DR, eJSC_JTAG_STATE_PAUSE_IR}) {
        for (const bool soft : {false, true}) {
            SCOPED_TRACE(testing::Message() << state << (soft ? " soft" : ""));
            Session session;
            ASSERT_EQ(session.connected, 0);
            session.store(stored);
            ASSERT_EQ(session.host.move(state), 0);
            JSC_ResetAction action{};
            action.resetHidden = true;
            action.resetSoft = soft;
            ASSERT_EQ(session.host->Reset(session.host.handle(), &action), 0)
                << session.simulator.log();
            EXPECT_EQ(session.host.state(), state);
            if (state == eJSC_JTAG_STATE_PAUSE_DR) { // the captured word still waits in the shifter
                EXPECT_EQ(session.host.capture(eJSC_JTAG_SHIFT_DR, 32), stored);
            }
            EXPECT_EQ(session.simulator.log(), "");
        }
    }
}

// The pin's level is the inverse of the condition latch; driving the level that it has pulses it.
TEST(TrstTest, ResetsEveryTap) {
    Session session;
    ASSERT_EQ(session.connected, 0);
    session.store(stored);
    bool high = false;
    EXPECT_EQ(session.host->StatusTrstn(session.host.handle(), &high), 0);
    EXPECT_TRUE(high);
    EXPECT_EQ(session.host->ModifyTrstn(session.host.handle(), eJSC_JTAG_PIN_SET_LEVEL, 0, 0), 0);
    EXPECT_EQ(session.captured(), stored);
    EXPECT_EQ(session.host->ModifyTrstn(session.host.handle(), eJSC_JTAG_PIN_SET_LEVEL, 1, 0), 0);
    EXPECT_EQ(session.host.state(), eJSC_JTAG_STATE_RESET);
    EXPECT_EQ(session.captured(), idcode);
    EXPECT_EQ(session.host->ModifyTrstn(session.host.handle(), eJSC_JTAG_PIN_DO_PULSES, 1, 1),
              eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(session.simulator.log(), "");
}

TEST(OutputsTest, HoldTheTargetWhileTheyAreDisconnected) {
    Session session;
    ASSERT_EQ(session.connected, 0);
    session.store(stored);
    ASSERT_EQ(session.host->HoldFreeOuts(session.host.handle(), false, false, true, false), 0);
    EXPECT_EQ(session.host.capture(eJSC_JTAG_SHIFT_DR, 32), Words({0xFFFF, 0xFFFF}));
    ASSERT_EQ(session.host->HoldFreeOuts(session.host.handle(), false, false, false, false), 0);
    EXPECT_EQ(session.captured(), stored);
}

} // namespace
} // namespace endtoend
