#include "common/notation.h"
#include "scan/scan_engine.h"
#include "scan/scan_stream.h"
#include "support/instant_pod.h"
#include "support/jtag_command.h"

#include <gtest/gtest.h>

namespace {

using test_support::empty_batch;
using test_support::InstantPod;
using test_support::scan_command;

std::string text(const std::vector<uint16_t>& words) {
    return talvor::notation::text(words);
}

std::string launched(const char* count, const char* option) {
    return std::string("write 12 ") + count + "\nwait done\nwrite 11 3006\nwrite 4 " + option +
           "\nwrite 10 6001\nwrite 10 4080\n";
}

class ScanEngineTest : public testing::Test {
protected:
    InstantPod pod;
    JSC_JtagCommand command = scan_command(eJSC_JTAG_SHIFT_DR, eJSC_JTAG_STATE_PAUSE_DR);
    uint16_t out[4] = {0x1111, 0x2222, 0x3333, 0x4444};
    uint16_t in[4] = {};

    int32_t receive(uint16_t option, uint32_t count, bool adjust = false, bool send_only = false) {
        return TbcScanOldStyle8(pod.get(), &command, 6, option, count, adjust, send_only, in, out);
    }
};

TEST_F(ScanEngineTest, AFixedScanCountsItsBits) {
    EXPECT_EQ(TbcScanFixed(pod.get(), 6, 18, false, true), 0);
    EXPECT_EQ(text(pod.queued()), launched("0011", "0100"));
    empty_batch(*pod.block);
    EXPECT_EQ(TbcScanFixed(pod.get(), 6, 0x20003, true, false), 0);
    EXPECT_EQ(text(pod.queued()), "write 12 0012\nwrite 13 0002\nwait done\nwrite 4 0000\n"
                                  "write 10 6001\nwrite 10 4080\n");
    empty_batch(*pod.block);
    EXPECT_EQ(TbcScanFixed(pod.get(), 6, 0, false, false), -122);
    EXPECT_EQ(TbcScanFixed(pod.get(), 6, 0, true, false), -122);
    EXPECT_TRUE(pod.queued().empty());
}

TEST_F(ScanEngineTest, AShortFixedScanIsForgottenInFastMode) {
    EXPECT_EQ(TbcScanFixed(pod.get(), 6, 1, false, false), 0);
    EXPECT_TRUE(pod.control.priorTBC);
    pod.control.timeDependNew.fastMode = true;
    EXPECT_EQ(TbcScanFixed(pod.get(), 6, 24, false, false), 0);
    EXPECT_FALSE(pod.control.priorTBC) << "value 23";
    EXPECT_EQ(TbcScanFixed(pod.get(), 6, 25, false, false), 0);
    EXPECT_TRUE(pod.control.priorTBC) << "value 24";
    EXPECT_EQ(TbcScanFixed(pod.get(), 6, 8, true, false), 0);
    EXPECT_FALSE(pod.control.priorTBC) << "value 23";
    EXPECT_EQ(TbcScanFixed(pod.get(), 6, 9, true, false), 0);
    EXPECT_TRUE(pod.control.priorTBC) << "value 24";
}

TEST_F(ScanEngineTest, ADataScanIsForgottenInFastModeWhateverItsLength) {
    for (const bool fast : {false, true}) {
        pod.control.timeDependNew.fastMode = fast;
        EXPECT_EQ(TbcScanOldStyle2(pod.get(), &command, 6, 0x0300, 32, false, true, in, out), 0);
        EXPECT_EQ(pod.control.priorTBC, !fast) << "two words go without a wait";
    }
    pod.control.timeDependNew.fastMode = false;
    EXPECT_EQ(TbcScanOldStyle2(pod.get(), &command, 6, 0x0300, 33, false, true, in, out), 0);
    EXPECT_FALSE(pod.control.priorTBC) << "the wait for room has cleared it";
}

TEST_F(ScanEngineTest, TheReceiveStrategyMovesWhatTheOptionBitsSay) {
    const std::string reads = "wait recv\nread 22\nwait recv\nread 22\n";
    const std::string flushed = "read 31\nread 16\nread 17\n";
    for (const uint16_t option : std::initializer_list<uint16_t>{0x0400, 0x0500, 0x0600}) {
        pod.batches.clear();
        std::fill(std::begin(pod.control.registerCache), std::end(pod.control.registerCache),
                  uint16_t{0});
        EXPECT_EQ(receive(option, 32), 0);
        ASSERT_EQ(pod.batches.size(), 1U);
        char digits[5];
        std::snprintf(digits, sizeof digits, "%04x", unsigned{option});
        EXPECT_EQ(text(pod.batches[0]), launched("001f", digits) + reads + flushed);
    }
    EXPECT_EQ(receive(0x0700, 32), 0);
    EXPECT_EQ(text(pod.batches[1]),
              "wait done\nwrite 4 0700\nwrite 10 6001\nwrite 10 4080\nwrite 23 1111\n"
              "write 23 2222\n" +
                  reads + flushed);
    EXPECT_TRUE(pod.queued().empty());
    for (const uint16_t option : std::initializer_list<uint16_t>{0x0000, 0x0100, 0x0200}) {
        pod.control.registerCache[4] = 0xFFFF;
        EXPECT_EQ(receive(option, 32), 0);
        char digits[5];
        std::snprintf(digits, sizeof digits, "%04x", unsigned{option});
        EXPECT_EQ(text(pod.queued()),
                  std::string("wait done\nwrite 4 ") + digits + "\nwrite 10 6001\nwrite 10 4080\n");
        empty_batch(*pod.block);
    }
    EXPECT_EQ(receive(0x0300, 48), 0);
    EXPECT_EQ(text(pod.queued()), "write 12 002f\nwait done\nwrite 4 0300\nwrite 10 6001\n"
                                  "write 10 4080\nwrite 23 1111\nwrite 23 2222\nwait send\n"
                                  "write 23 3333\n");
    EXPECT_EQ(pod.flushes, 4U) << "only scans that read flush";
}

TEST_F(ScanEngineTest, TheReceiveStrategyStripsTheReceiveBitOfASend) {
    EXPECT_EQ(receive(0x0700, 16, true, true), 0);
    EXPECT_EQ(text(pod.queued()), launched("000f", "0300") + "write 23 1111\n");
    empty_batch(*pod.block);
    EXPECT_EQ(receive(0x0600, 16, true, true), 0);
    EXPECT_EQ(text(pod.queued()), "wait done\nwrite 4 0200\nwrite 10 6001\nwrite 10 4080\n");
}

TEST_F(ScanEngineTest, TheReceiveStrategyAdjustsReceivingScansOnly) {
    uint16_t next = 0x70;
    pod.give = [&next](uint16_t port) { return port == 22 ? next++ : uint16_t{0}; };
    EXPECT_EQ(receive(0x0400, 16, true), 0);
    EXPECT_EQ(in[0], 0x71);
    EXPECT_EQ(in[1], 0);
    EXPECT_EQ(receive(0x0700, 16, true), 0);
    EXPECT_EQ(text(pod.batches[1]),
              "wait done\nwrite 4 0700\nwrite 10 6001\nwrite 10 4080\nwrite 23 ffff\n"
              "write 23 1111\nwait recv\nread 22\nwait recv\nread 22\n"
              "read 31\nread 16\nread 17\n");
    EXPECT_EQ(in[0], 0x73);
    EXPECT_EQ(receive(0x0100, 16, true), 0);
    EXPECT_EQ(text(pod.queued()).substr(0, 14), "write 12 000f\n");
}

// The words that set bit counts and states, in order.
std::vector<std::string> counts_and_states(const std::string& words) {
    std::vector<std::string> found;
    for (size_t at = 0; at < words.size(); at = words.find('\n', at) + 1) {
        const std::string line = words.substr(at, words.find('\n', at) - at);
        if (line.starts_with("write 12 ") || line.starts_with("write 11 ")) {
            found.push_back(line.substr(6));
        }
    }
    return found;
}

TEST_F(ScanEngineTest, AmblesRestInThePauseStateOfTheirPath) {
    using Words = std::vector<std::string>;
    command.jtagAmble = eJSC_JTAG_AMBLE_BOTH;
    pod.control.ambleDelay.preAmbleDR = pod.control.ambleDelay.preAmbleIR = 3;
    pod.control.ambleDelay.posAmbleDR = pod.control.ambleDelay.posAmbleIR = 5;
    constexpr uint16_t kIdle = 1;
    const auto scan = [this](uint16_t wake_end_state) {
        EXPECT_EQ(TbcScanOldStyle8(pod.get(), &command, wake_end_state, 0x0200, 16, false, false,
                                   in, out),
                  0);
        const std::string words = text(pod.queued());
        empty_batch(*pod.block);
        return counts_and_states(words);
    };
    EXPECT_EQ(scan(kIdle), (Words{"12 0002", "11 3006", "12 000f", "12 0004", "11 3001"}));
    EXPECT_EQ(scan(TBC_STATE_IR_PATH | kIdle),
              (Words{"12 0002", "11 300f", "12 000f", "12 0004", "11 3009"}));
}

TEST_F(ScanEngineTest, APostambleIsNeverAdjusted) {
    command.jtagAmble = eJSC_JTAG_AMBLE_POSTAMBLE;
    pod.control.ambleDelay.posAmbleDR = 5;
    EXPECT_EQ(receive(0x0600, 16, true), 0);
    std::string words;
    for (const auto& batch : pod.batches) {
        words += text(batch);
    }
    words += text(pod.queued());
    const std::vector<std::string> found = counts_and_states(words);
    // The main shift has a word more, and the postamble its own bits.
    EXPECT_EQ(found, (std::vector<std::string>{"12 001f", "11 3006", "12 0004"}));
}

TEST_F(ScanEngineTest, TheDroppedWordHasItsPlaceInTheHandle) {
    const uint16_t* first = nullptr;
    const uint16_t* second = nullptr;
    pod.before_flush = [&] {
        first = pod.inform.opList->ptr;
        second = pod.inform.opList->next->ptr;
    };
    EXPECT_EQ(receive(0x0600, 16, true), 0);
    EXPECT_EQ(first, &pod.inform.ownReads.discard) << "which the read may outlive the call in";
    EXPECT_EQ(second, in);
}

TEST_F(ScanEngineTest, ShiftsWithoutWordsAreForgottenInFastModeWhenTheyAreShort) {
    pod.control.timeDependNew.fastMode = true;
    EXPECT_EQ(receive(0x0200, 24), 0);
    EXPECT_FALSE(pod.control.priorTBC);
    EXPECT_EQ(receive(0x0200, 25), 0);
    EXPECT_TRUE(pod.control.priorTBC);
    EXPECT_EQ(receive(0x0300, 32), 0);
    EXPECT_FALSE(pod.control.priorTBC) << "a shift with words, whatever its length";
}

TEST_F(ScanEngineTest, AnOptionThatNoShiftHasIsRefused) {
    const ScanWords words{1, false, out, in};
    for (const uint16_t option : std::initializer_list<uint16_t>{0x0800, 0x0001, 0x0701, 0x8000}) {
        EXPECT_EQ(scan_stream(pod.get(), option, words), -115) << option;
    }
    EXPECT_TRUE(pod.queued().empty());
}

TEST_F(ScanEngineTest, TheStrategiesRefuseAShiftOfNoBits) {
    EXPECT_EQ(receive(0x0600, 0), -122);
    EXPECT_EQ(receive(0x0600, 0, true), -122);
    EXPECT_EQ(TbcScanOldStyle2(pod.get(), &command, 6, 0x0300, 0, false, true, in, out), -122);
    EXPECT_EQ(TbcScanOldStyle2(pod.get(), &command, 6, 0x0700, 0, true, false, in, out), -122);
    EXPECT_EQ(TbcScanBypass(pod.get(), &command, 6, 0x0000, 0, false, true, nullptr, nullptr),
              -122);
    EXPECT_EQ(TbcScanBypass(pod.get(), &command, 6, 0x0100, 0, false, true, nullptr, nullptr),
              -122);
    EXPECT_TRUE(pod.queued().empty());
}

TEST_F(ScanEngineTest, TheStrategiesRefuseAnAmbleThatIsNone) {
    command.jtagAmble = eJSC_JTAG_AMBLE_INVALID_LAST;
    EXPECT_EQ(receive(0x0600, 16), -122);
    EXPECT_EQ(TbcScanOldStyle2(pod.get(), &command, 6, 0x0300, 16, false, true, in, out), -122);
    EXPECT_EQ(TbcScanBypass(pod.get(), &command, 6, 0x0100, 16, false, true, nullptr, nullptr),
              -122);
    EXPECT_TRUE(pod.queued().empty());
}

TEST_F(ScanEngineTest, AScanWithoutItsBuffersIsRefused) {
    const auto scan = [&](uint16_t control, bool send_only, bool send_fixed, uint16_t* destination,
                          uint16_t* source) {
        return TbcScan(pod.get(), &command, control, 16, false, send_only, send_fixed, 1,
                       destination, source);
    };
    EXPECT_EQ(scan(0x0700, false, false, nullptr, out), -122);
    EXPECT_EQ(scan(0x0700, false, false, in, nullptr), -122);
    EXPECT_EQ(scan(0x0300, true, false, nullptr, nullptr), -122);
    EXPECT_EQ(scan(0x0300, true, true, nullptr, nullptr), -122) << "sends after all";
    EXPECT_EQ(TbcScan(nullptr, &command, 0x0300, 16, false, true, false, 1, nullptr, out), -122);
    EXPECT_EQ(TbcScan(pod.get(), nullptr, 0x0300, 16, false, true, false, 1, nullptr, out), -122);
    EXPECT_EQ(TbcScan(pod.get(), &command, 0x0300, 16, false, true, false, 0, nullptr, out), -122);
    EXPECT_TRUE(pod.queued().empty());
    EXPECT_EQ(scan(0x0300, true, false, nullptr, out), 0);
}

} // namespace
