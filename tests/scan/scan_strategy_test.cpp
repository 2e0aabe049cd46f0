// The scan strategies, called by their names: one repeat, without the engine's own checks.
#include "common/notation.h"
#include "scan/scan_engine.h"
#include "support/instant_pod.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;

class ScanStrategyTest : public testing::Test {
protected:
    ScanStrategyTest() {
        pod.control.ambleDelay.preAmbleDR = 2;
        pod.control.ambleDelay.posAmbleDR = 3;
        command.jtagAmble = eJSC_JTAG_AMBLE_BOTH;
    }

    std::string queued() { return talvor::notation::text(pod.queued()); }

    InstantPod pod;
    JSC_JtagCommand command{};
    uint16_t out[1] = {0x5AC3};
    uint16_t in[1] = {};
};

TEST_F(ScanStrategyTest, NoBitsAreRefusedBeforeThePreamble) {
    EXPECT_EQ(TbcScanBypass(pod.get(), &command, TBC_STATE_IDLE, TBC_SCAN_ZEROS, 0, false, true,
                            nullptr, nullptr),
              -122);
    EXPECT_EQ(TbcScanOldStyle2(pod.get(), &command, TBC_STATE_IDLE, TBC_SCAN_SEND, 0, false, true,
                               nullptr, out),
              -122);
    EXPECT_EQ(TbcScanOldStyle8(pod.get(), &command, TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 0, false,
                               false, in, nullptr),
              -122);
    EXPECT_EQ(queued(), "");
    EXPECT_EQ(pod.flushes, 0U);
}

TEST_F(ScanStrategyTest, UnknownAmblesAreRefusedBeforeAnythingIsWritten) {
    command.jtagAmble = eJSC_JTAG_AMBLE_INVALID_LAST;
    EXPECT_EQ(TbcScanBypass(pod.get(), &command, TBC_STATE_IDLE, TBC_SCAN_ONES, 8, false, true,
                            nullptr, nullptr),
              -122);
    EXPECT_EQ(TbcScanOldStyle2(pod.get(), &command, TBC_STATE_IDLE, TBC_SCAN_SEND, 8, false, true,
                               nullptr, out),
              -122);
    EXPECT_EQ(TbcScanOldStyle8(pod.get(), &command, TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 8, false,
                               false, in, nullptr),
              -122);
    EXPECT_EQ(queued(), "");
}

TEST_F(ScanStrategyTest, OnesAreOneShiftWithTheirAmbles) {
    EXPECT_EQ(TbcScanBypass(pod.get(), &command, TBC_STATE_IDLE, TBC_SCAN_ONES, 8, false, true,
                            nullptr, nullptr),
              0);
    EXPECT_EQ(queued().substr(0, 14), "write 12 000c\n");
}

} // namespace
