#include "host.h"
#include "podsim/model/scan_engine.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace talvor::podsim {
namespace {

using namespace host;

constexpr unsigned kIrPath = TBC_STATE_IR_PATH;

class StrictScanEngineTest : public StrictPodTest {};

TEST_F(StrictScanEngineTest, AdjustedScanReturnsWhatWasCaptured) {
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
    EXPECT_EQ(pod.scan_receive(TBC_STATE_PAUSE_DR, 32, true), (Words{0x1477, 0x2BA0}));
    EXPECT_EQ(pod.scan_both(kIrPath | TBC_STATE_IDLE, 4, {0xE}, true), (Words{1}));
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 1, {0}, true), (Words{1}));
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 17, {0, 0}, true), (Words{0x1477, 0}));
    EXPECT_TRUE(pod.warnings.empty());
}

TEST_F(StrictScanEngineTest, UnadjustedScanBeginsWithThePipeline) {
    pod.scan_fixed(TBC_STATE_IDLE, 64, false); // IDCODE and zeros: the last 16 are zeros
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, false), (Words{0, 0x1477}));
}

TEST_F(StrictScanEngineTest, ScanPathsLeadThroughShiftToTheEnd) {
    pod.go_to(0, TBC_STATE_RESET);
    pod.recorder.tms();
    pod.scan_send(kIrPath | TBC_STATE_PAUSE_IR, 4, {3});
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.recorder.tms(), "01100"
                                  "0001"
                                  "0");
    // From the Pause state of its path through Exit2: no capture.
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.recorder.tms(), "10"
                                  "0001"
                                  "10");
    pod.scan_fixed(TBC_STATE_SHIFT_DR, 3, true);
    EXPECT_EQ(pod.recorder.tms(), "100"
                                  "000");
    pod.scan_fixed(TBC_STATE_RESET, 2, true);
    EXPECT_EQ(pod.recorder.tms(), "01"
                                  "1111");
    pod.scan_send(TBC_STATE_SHIFT_DR, 16, {0});
    pod.wait(SHM_WAIT_DONE);
    EXPECT_EQ(pod.recorder.tms(), "0100"
                                  "0000000000000000");
    pod.scan_fixed(TBC_STATE_RESET, 1, true);
    EXPECT_EQ(pod.recorder.tms(), "1"
                                  "1111");
    pod.scan_fixed(kIrPath | TBC_STATE_SHIFT_DR, 2, true);
    EXPECT_EQ(pod.recorder.tms(), "01100"
                                  "01"
                                  "1100");
    EXPECT_EQ(pod.read(18), 4U);
}

TEST_F(StrictScanEngineTest, PauseContinuesAScanWithoutCapture) {
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.scan_send(TBC_STATE_IDLE, 64, {0x1111, 0x2222, 0x3333, 0x4444});
    // Sixteen more ones for the adjustment, then the rest unadjusted.
    pod.scan_fixed(TBC_STATE_PAUSE_DR, 8, true, true);
    const Words got = pod.scan_both(TBC_STATE_IDLE, 40, {0xAAAA, 0xBBBB, 0xCC}, false);
    // 24 bits were clocked before; the pipeline gives back 16 of them.
    EXPECT_EQ(got, (Words{0x2211, 0x3322, 0x0033}));
    // 24 ones and 40 bits stand in the register now.
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 64, true), (Words{0xFFFF, 0xAAFF, 0xBBAA, 0xCCBB}));
}

TEST_F(StrictScanEngineTest, FixedScansSendTheirLevelToTheEnd) {
    pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
    pod.scan_fixed(TBC_STATE_IDLE, 64, true);
    EXPECT_EQ(pod.read(18), 3U); // nothing had to be waited for
    pod.scan_fixed(TBC_STATE_IDLE, 24, false);
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 64, true), (Words{0xFFFF, 0xFFFF, 0x00FF, 0}));
    // A receive sends zeros.
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 64, true), (Words{0, 0, 0, 0}));
}

TEST_F(StrictScanEngineTest, LargeFixedScanClocksEveryBit) {
    pod.controller.observe(nullptr);
    const uint64_t before = pod.controller.time_ns();
    pod.scan_fixed(TBC_STATE_IDLE, 1'000'001, true);
    // Path in (0100), the bits, path out (10), at the power-on period.
    EXPECT_EQ(pod.controller.time_ns() - before, (4 + 1'000'001 + 2) * 30U);
}

TEST(ScanEngineTest, LinkDelayOffByDShiftsTheStream) {
    for (const unsigned cable : {0U, 1U, 3U, 8U}) {
        for (unsigned link = 0; link <= LINK_DELAY_MAXIMUM; ++link) {
            ControllerSettings settings = strict_settings();
            settings.cable_delay_bits = cable;
            Bench pod(scratch_chain(64, {0x8877'6655'4433'2211}), settings);
            pod.program_link_delay(link);
            pod.scan_send(kIrPath | TBC_STATE_IDLE, 4, {3});
            const Words got = pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true);
            const uint64_t stream = got[0] | uint64_t{got[1]} << 16;
            // The whole delay of pipeline, cable and link is never below 0.
            const int early = std::min(static_cast<int>(link) - static_cast<int>(cable), 16);
            const uint64_t value = 0x8877'6655'4433'2211;
            if (early >= 0) {
                EXPECT_EQ(stream, (value >> early) & 0xFFFF'FFFF) << cable << " " << link;
            } else {
                EXPECT_EQ(stream >> -early,
                          (value & 0xFFFF'FFFF) << -early >> -early & (0xFFFF'FFFFU >> -early))
                    << cable << " " << link;
            }
        }
    }
}

TEST(ScanEngineTest, WithoutLinkDelayDataComesLateByTheCable) {
    Bench pod(scratch_chain(8), strict_settings());
    pod.config = 0;
    // Three bits of the leading word's pipeline, then IDCODE.
    const Words got = pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true);
    EXPECT_EQ((got[0] | uint32_t{got[1]} << 16) >> 3, 0x2BA01477U & 0x1FFF'FFFF);
}

TEST(ScanEngineTest, PodWithoutPipelineServesUnadjustedScans) {
    ControllerSettings settings = strict_settings();
    settings.return_pipeline_bits = 0;
    Bench pod(scratch_chain(8), settings);
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, false), (Words{0x1477, 0x2BA0}));
    pod.program_link_delay(20); // never below 0
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 32, false), (Words{0x1477, 0x2BA0}));
}

TEST(ScanEngineTest, ReturnPathKeepsItsContentBetweenScans) {
    ControllerSettings settings = strict_settings();
    settings.return_pipeline_bits = 100;
    Bench pod(scratch_chain(8), settings);
    pod.scan_fixed(TBC_STATE_IDLE, 40, false); // IDCODE and eight zeros
    pod.go_to(0, TBC_STATE_PAUSE_DR);
    pod.go_to(0, TBC_STATE_IDLE);
    pod.scan_fixed(TBC_STATE_IDLE, 28, true); // the low 28 bits of IDCODE
    // 68 bits went in, so the first of them comes out after 32 more.
    const Words got = pod.scan_receive(TBC_STATE_IDLE, 100, false);
    const Words expected{0xFFFF, 0xFFFF, 0x1477, 0x2BA0, 0x7700, 0xA014, 0x000B};
    EXPECT_EQ(got, expected);
}

TEST(ScanEngineTest, BitShiftedOnTheWayOutEntersTheReturnPath) {
    Bench pod(scratch_chain(8), strict_settings());
    pod.scan_fixed(TBC_STATE_SHIFT_DR, 31, false); // IDCODE save its last bit, a 0
    pod.go_to(0, TBC_STATE_IDLE);
    // The last 16 bits of IDCODE, the one from the way out among them.
    EXPECT_EQ(pod.scan_receive(TBC_STATE_IDLE, 16, false), (Words{0x2BA0}));
}

TEST(ScanEngineTest, FastClockMakesASlowTargetLate) {
    ControllerSettings settings = strict_settings();
    settings.max_tck_hz = 10'000'000;
    Bench pod(scratch_chain(8), settings);
    pod.write(26, 7); // 10 MHz
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
    pod.write(26, 6); // 11.1 MHz
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true)[0] >> 1, 0x1477 & 0x7FFF);
    pod.program_link_delay(4);
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 32, {0, 0}, true), (Words{0x1477, 0x2BA0}));
}

} // namespace
} // namespace talvor::podsim
