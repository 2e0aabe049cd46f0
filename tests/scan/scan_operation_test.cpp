#include "common/notation.h"
#include "scan/scan_operation.h"
#include "support/instant_pod.h"
#include "support/jtag_command.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;
using test_support::scan_command;

std::string text(const std::vector<uint16_t>& words) {
    return talvor::notation::text(words);
}

class ScanOperationTest : public testing::Test {
protected:
    InstantPod pod;
    JSC_JtagCommand command = scan_command();
    uint16_t out[8] = {0x1111, 0x2222, 0x3333, 0x4444, 0x5555, 0x6666, 0x7777, 0x8888};
    uint16_t in[8] = {};

    JSC_JtagParam16 param(uint32_t bits, uint32_t repeat = 1) { return {repeat, 0, bits, out, in}; }

    // Each scan with data; the code that all of them answer.
    void expect_all(const JSC_JtagParam16& made, int32_t code) {
        EXPECT_EQ(jsc_ScanSend16(pod.get(), &command, &made), code);
        EXPECT_EQ(jsc_ScanBoth16(pod.get(), &command, &made), code);
        EXPECT_EQ(jsc_ScanRecv16(pod.get(), &command, &made), code);
        const JSC_JtagParam01 fixed{made.repeatCount, 0, made.shiftCount, false};
        EXPECT_EQ(jsc_ScanFixed01(pod.get(), &command, &fixed), code);
    }

    void expect_nothing_written() {
        EXPECT_TRUE(pod.queued().empty());
        EXPECT_EQ(pod.flushes, 0U);
    }
};

TEST_F(ScanOperationTest, AnAdjustedExchangeReadsAsItIsWritten) {
    command.jtagAdjust = eJSC_JTAG_ADJUST_AUTO;
    uint16_t next = 0xA0;
    pod.give = [&next](uint16_t port) { return port == 22 ? next++ : uint16_t{0}; };
    const JSC_JtagParam16 made = param(40);
    EXPECT_EQ(jsc_ScanBoth16(pod.get(), &command, &made), 0);
    ASSERT_EQ(pod.batches.size(), 1U);
    EXPECT_EQ(text(pod.batches[0]), "write 12 0037\nwait done\nwrite 11 3002\nwrite 4 0700\n"
                                    "write 10 6001\nwrite 10 4080\n"
                                    "write 23 ffff\nwrite 23 1111\nwait recv\nread 22\n"
                                    "wait recv\nwrite 23 2222\nread 22\n"
                                    "wait recv\nwrite 23 3333\nread 22\n"
                                    "wait recv\nread 22\n"
                                    "read 31\nread 16\nread 17\n");
    EXPECT_EQ(in[0], 0xA1) << "the first word received is dropped";
    EXPECT_EQ(in[1], 0xA2);
    EXPECT_EQ(in[2], 0xA3);
    EXPECT_EQ(in[3], 0);
    EXPECT_TRUE(pod.queued().empty());
}

TEST_F(ScanOperationTest, AnAdjustedReceiveSendsNothingAndDropsTheFirstWord) {
    command.jtagAdjust = eJSC_JTAG_ADJUST_AUTO;
    uint16_t next = 0xA0;
    pod.give = [&next](uint16_t port) { return port == 22 ? next++ : uint16_t{0}; };
    const JSC_JtagParam16 made = param(16);
    EXPECT_EQ(jsc_ScanRecv16(pod.get(), &command, &made), 0);
    EXPECT_EQ(text(pod.batches[0]), "write 12 001f\nwait done\nwrite 11 3002\nwrite 4 0600\n"
                                    "write 10 6001\nwrite 10 4080\n"
                                    "wait recv\nread 22\nwait recv\nread 22\n"
                                    "read 31\nread 16\nread 17\n");
    EXPECT_EQ(in[0], 0xA1);
    EXPECT_EQ(in[1], 0);
}

TEST_F(ScanOperationTest, ASendStaysQueued) {
    const JSC_JtagParam16 made = param(48);
    EXPECT_EQ(jsc_ScanSend16(pod.get(), &command, &made), 0);
    EXPECT_EQ(pod.flushes, 0U);
    EXPECT_EQ(text(pod.queued()), "write 12 002f\nwait done\nwrite 11 3002\nwrite 4 0300\n"
                                  "write 10 6001\nwrite 10 4080\nwrite 23 1111\nwrite 23 2222\n"
                                  "wait send\nwrite 23 3333\n");
}

TEST_F(ScanOperationTest, ABitCountsZeroInTheRegisters) {
    pod.control.registerCache[12] = 1;
    const JSC_JtagParam16 made = param(1);
    EXPECT_EQ(jsc_ScanSend16(pod.get(), &command, &made), 0);
    EXPECT_EQ(text(pod.queued()).substr(0, 14), "write 12 0000\n");
}

TEST_F(ScanOperationTest, OnesBetweenAmblesAreOneShift) {
    command.jtagShift = eJSC_JTAG_SHIFT_IR;
    command.jtagAmble = eJSC_JTAG_AMBLE_BOTH;
    pod.control.ambleDelay.preAmbleIR = 3;
    pod.control.ambleDelay.posAmbleIR = 5;
    const JSC_JtagParam01 made{1, 0, 8, true};
    EXPECT_EQ(jsc_ScanFixed01(pod.get(), &command, &made), 0);
    EXPECT_EQ(text(pod.queued()), "write 12 000f\nwait done\nwrite 11 300a\nwrite 4 0100\n"
                                  "write 10 6001\nwrite 10 4080\n");
}

TEST_F(ScanOperationTest, RepeatsWithReuseSendTheSameWordsAndAdvanceTheDestination) {
    command.jtagUsage = eJSC_JTAG_USAGE_REUSE;
    uint16_t next = 1;
    pod.give = [&next](uint16_t port) { return port == 22 ? next++ : uint16_t{0}; };
    std::vector<uint16_t> sent;
    pod.take = [&sent](uint16_t port, uint16_t value) {
        if (port == 23) {
            sent.push_back(value);
        }
    };
    const JSC_JtagParam16 made = param(20, 3);
    EXPECT_EQ(jsc_ScanBoth16(pod.get(), &command, &made), 0);
    EXPECT_EQ(sent, (std::vector<uint16_t>{0x1111, 0x2222, 0x1111, 0x2222, 0x1111, 0x2222}));
    for (uint16_t word = 0; word < 6; ++word) {
        EXPECT_EQ(in[word], word + 1);
    }
    EXPECT_EQ(in[6], 0);
    EXPECT_EQ(pod.flushes, 3U);
}

TEST_F(ScanOperationTest, RefusesWhatNoScanCanBeMadeOfAndWritesNothing) {
    const JSC_JtagParam16 good = param(16);
    for (const auto spoil :
         {+[](JSC_JtagCommand& made) { made.jtagBefore = eJSC_JTAG_TRANSIT_INVALID_LAST; },
          +[](JSC_JtagCommand& made) { made.jtagAfter = eJSC_JTAG_TRANSIT_INVALID_FIRST; },
          +[](JSC_JtagCommand& made) { made.jtagEnd = eJSC_JTAG_STATE_INVALID_MIDDLE; },
          +[](JSC_JtagCommand& made) { made.jtagEnd = eJSC_JTAG_STATE_SHIFT_DR; },
          +[](JSC_JtagCommand& made) { made.jtagShift = eJSC_JTAG_SHIFT_INDEX; },
          +[](JSC_JtagCommand& made) { made.jtagAmble = eJSC_JTAG_AMBLE_INVALID_FIRST; },
          +[](JSC_JtagCommand& made) {
              made.jtagBefore = eJSC_JTAG_TRANSIT_INVALID_FIRST;
              made.jtagShift = eJSC_JTAG_SHIFT_INVALID_FIRST;
          },
          +[](JSC_JtagCommand& made) {
              made.jtagBefore = eJSC_JTAG_TRANSIT_VIA_IDLE;
              made.jtagAmble = eJSC_JTAG_AMBLE_INVALID_LAST;
          }}) {
        command = scan_command();
        spoil(command);
        expect_all(good, -122);
    }
    command = scan_command();
    expect_all(param(16, 0), -122);
    expect_all(param(0), -122);
    expect_nothing_written();
}

TEST_F(ScanOperationTest, RefusesNoBitsEvenWithAmblesUnlessTheyAreOneShiftOfOnes) {
    command.jtagAmble = eJSC_JTAG_AMBLE_BOTH;
    pod.control.ambleDelay.preAmbleDR = 2;
    pod.control.ambleDelay.posAmbleDR = 2;
    expect_all(param(0), -122);
    expect_nothing_written();
    const JSC_JtagParam01 ones{1, 0, 0, true};
    EXPECT_EQ(jsc_ScanFixed01(pod.get(), &command, &ones), 0);
    EXPECT_EQ(text(pod.queued()).substr(0, 14), "write 12 0003\n");
}

TEST_F(ScanOperationTest, RefusesMissingBuffers) {
    JSC_JtagParam16 made = param(16);
    made.pOutBuffer = nullptr;
    EXPECT_EQ(jsc_ScanSend16(pod.get(), &command, &made), -122);
    EXPECT_EQ(jsc_ScanBoth16(pod.get(), &command, &made), -122);
    made = param(16);
    made.pInBuffer = nullptr;
    EXPECT_EQ(jsc_ScanBoth16(pod.get(), &command, &made), -122);
    EXPECT_EQ(jsc_ScanRecv16(pod.get(), &command, &made), -122);
    expect_nothing_written();
    EXPECT_EQ(jsc_ScanSend16(pod.get(), &command, &made), 0) << "a send needs no destination";
    made = param(16);
    made.pOutBuffer = nullptr;
    EXPECT_EQ(jsc_ScanRecv16(pod.get(), &command, &made), 0) << "a receive needs no source";
}

TEST_F(ScanOperationTest, RefusesNullRecordsAndHandles) {
    const JSC_JtagParam16 made = param(16);
    const JSC_JtagParam01 fixed{1, 0, 16, false};
    for (const auto scan : {jsc_ScanSend16, jsc_ScanBoth16, jsc_ScanRecv16}) {
        EXPECT_EQ(scan(nullptr, &command, &made), -122);
        EXPECT_EQ(scan(pod.get(), nullptr, &made), -122);
        EXPECT_EQ(scan(pod.get(), &command, nullptr), -122);
    }
    EXPECT_EQ(jsc_ScanFixed01(nullptr, &command, &fixed), -122);
    EXPECT_EQ(jsc_ScanFixed01(pod.get(), nullptr, &fixed), -122);
    EXPECT_EQ(jsc_ScanFixed01(pod.get(), &command, nullptr), -122);
    expect_nothing_written();
    pod.inform.pJscControl = nullptr;
    expect_all(made, -116);
}

TEST_F(ScanOperationTest, OtherWidthsAreRefusedWhateverTheyAreGiven) {
    const JSC_JtagParam08 made08{};
    const JSC_JtagParam32 made32{};
    const JSC_JtagParam64 made64{};
    JSC_Inform* handle = pod.get();
    EXPECT_EQ(jsc_ScanSend08(handle, &command, &made08), -122);
    EXPECT_EQ(jsc_ScanBoth08(handle, &command, &made08), -122);
    EXPECT_EQ(jsc_ScanRecv08(handle, &command, &made08), -122);
    EXPECT_EQ(jsc_ScanSend32(handle, &command, &made32), -122);
    EXPECT_EQ(jsc_ScanBoth32(handle, &command, &made32), -122);
    EXPECT_EQ(jsc_ScanRecv32(handle, &command, &made32), -122);
    EXPECT_EQ(jsc_ScanSend64(handle, &command, &made64), -122);
    EXPECT_EQ(jsc_ScanBoth64(handle, &command, &made64), -122);
    EXPECT_EQ(jsc_ScanRecv64(handle, &command, &made64), -122);
    EXPECT_EQ(jsc_ScanRecv64(nullptr, nullptr, nullptr), -122);
    expect_nothing_written();
}

TEST_F(ScanOperationTest, SlowModeNotesTheScanForItsTimeOut) {
    pod.control.timeDependNew.slowMode = true;
    const JSC_JtagParam16 made = param(33);
    EXPECT_EQ(jsc_ScanSend16(pod.get(), &command, &made), 0);
    EXPECT_TRUE(pod.control.timeDependOld.useMain);
    EXPECT_FALSE(pod.control.timeDependOld.useIrPath);
    EXPECT_EQ(pod.control.timeDependOld.mainCount, 33U);
}

TEST_F(ScanOperationTest, AFailedFlushIsReturnedAndTheDestinationIsUntouched) {
    pod.failing = 1;
    in[0] = 0xBEEF;
    const JSC_JtagParam16 made = param(16, 2);
    EXPECT_EQ(jsc_ScanBoth16(pod.get(), &command, &made), -140);
    EXPECT_EQ(in[0], 0xBEEF);
    EXPECT_EQ(pod.flushes, 1U) << "the first error ends the scan";
    EXPECT_TRUE(pod.queued().empty()) << "not even the postamble is queued";
}

} // namespace
