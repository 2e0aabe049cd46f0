#include "common/notation.h"
#include "scan/command.h"
#include "support/instant_pod.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;

JSC_JtagCommand command(int before, int shift, int after, int end) {
    JSC_JtagCommand made{};
    made.jtagBefore = static_cast<JSC_JtagTransit>(before);
    made.jtagShift = static_cast<JSC_JtagShift>(shift);
    made.jtagAfter = static_cast<JSC_JtagTransit>(after);
    made.jtagEnd = static_cast<JSC_JtagState>(end);
    return made;
}

struct Translation {
    int32_t code;
    uint16_t before;
    uint16_t path;
    uint16_t after;
    uint16_t end;
    bool operator==(const Translation&) const = default;
};

Translation translate(const JSC_JtagCommand& made, bool valid_index = false, uint32_t index = 0) {
    Translation result{0, 0xAAAA, 0xAAAA, 0xAAAA, 0xAAAA};
    result.code = DoStateCommand(&made, valid_index, index, &result.before, &result.path,
                                 &result.after, &result.end);
    return result;
}

std::string queued(const InstantPod& pod) {
    return talvor::notation::text(pod.queued());
}

TEST(CheckCommandTest, AcceptsAndRefusesByRange) {
    for (int before = -1; before <= 5; ++before) {
        for (int shift = -1; shift <= 5; ++shift) {
            const bool good =
                before == 0 ? shift == 0 : before >= 1 && before <= 3 && shift >= 1 && shift <= 3;
            const JSC_JtagCommand made = command(before, shift, 1, 1);
            EXPECT_EQ(DoCheckCommand(&made), good ? 0 : -122) << before << ' ' << shift;
        }
    }
    for (int after = -1; after <= 5; ++after) {
        const JSC_JtagCommand made = command(0, 0, after, 2);
        EXPECT_EQ(DoCheckCommand(&made), after >= 1 && after <= 3 ? 0 : -122) << after;
    }
    for (int end = -1; end <= 19; ++end) {
        const JSC_JtagCommand made = command(0, 0, 1, end);
        const bool good = end >= 1 && end <= 17 && end != 7;
        EXPECT_EQ(DoCheckCommand(&made), good ? 0 : -122) << end;
    }
    EXPECT_EQ(DoCheckCommand(nullptr), -122);
}

TEST(CheckCommandTest, DoesNotLookAtTheOtherFields) {
    JSC_JtagCommand made = command(1, 2, 1, 2);
    made.jtagDelay = static_cast<JSC_JtagDelay>(99);
    made.jtagAmble = static_cast<JSC_JtagAmble>(-1);
    made.jtagUsage = static_cast<JSC_JtagUsage>(77);
    made.jtagWidth = static_cast<JSC_JtagWidth>(88);
    made.jtagAdjust = static_cast<JSC_JtagAdjust>(66);
    EXPECT_EQ(DoCheckCommand(&made), 0);
}

TEST(StateCommandTest, TranslatesTheTransits) {
    EXPECT_EQ(translate(command(1, 2, 1, 1)), (Translation{0, 0x0000, 6, 0x1000, 0}));
    EXPECT_EQ(translate(command(2, 2, 2, 1)), (Translation{0, 0x1000, 6, 0x1000, 0}));
    EXPECT_EQ(translate(command(3, 2, 3, 1)), (Translation{0, 0x20E0, 6, 0x20E0, 0}));
    EXPECT_EQ(translate(command(0, 0, 3, 1)), (Translation{0, 0x0000, 0, 0x20E0, 0}));
}

TEST(StateCommandTest, TranslatesPathAndEnd) {
    EXPECT_EQ(translate(command(1, 1, 1, 2)), (Translation{0, 0, 7, 0x1000, 2}));
    EXPECT_EQ(translate(command(1, 2, 1, 5)), (Translation{0, 0, 6, 0x1000, 6}));
    EXPECT_EQ(translate(command(1, 2, 1, 6)), (Translation{0, 0, 6, 0x1000, 7}));
    EXPECT_EQ(translate(command(1, 3, 1, 1), true, 0), (Translation{0, 0, 7, 0x1000, 0}));
    EXPECT_EQ(translate(command(1, 3, 1, 1), true, 9), (Translation{0, 0, 6, 0x1000, 0}));
}

TEST(StateCommandTest, RefusesAndLeavesZeros) {
    const Translation refused{-122, 0, 0, 0, 0};
    EXPECT_EQ(translate(command(4, 2, 1, 1)), refused);
    EXPECT_EQ(translate(command(-1, 2, 1, 1)), refused);
    EXPECT_EQ(translate(command(0, 2, 1, 1)), refused);
    EXPECT_EQ(translate(command(1, 0, 1, 1)), refused);
    EXPECT_EQ(translate(command(1, 4, 1, 1)), refused);
    EXPECT_EQ(translate(command(1, 3, 1, 1), false, 0), refused);
    EXPECT_EQ(translate(command(1, 2, 0, 1)), refused);
    EXPECT_EQ(translate(command(1, 2, 4, 1)), refused);
    for (int end = -1; end <= 19; ++end) {
        const bool good = end == 1 || end == 2 || end == 5 || end == 6;
        EXPECT_EQ(translate(command(1, 2, 1, end)).code, good ? 0 : -122) << end;
        if (!good) {
            EXPECT_EQ(translate(command(1, 2, 1, end)), refused) << end;
        }
    }
}

TEST(StateCommandTest, RefusesNullPointers) {
    const JSC_JtagCommand made = command(1, 2, 1, 1);
    uint16_t word = 0;
    EXPECT_EQ(DoStateCommand(nullptr, false, 0, &word, &word, &word, &word), -122);
    EXPECT_EQ(DoStateCommand(&made, false, 0, nullptr, &word, &word, &word), -122);
    EXPECT_EQ(DoStateCommand(&made, false, 0, &word, nullptr, &word, &word), -122);
    EXPECT_EQ(DoStateCommand(&made, false, 0, &word, &word, nullptr, &word), -122);
    EXPECT_EQ(DoStateCommand(&made, false, 0, &word, &word, &word, nullptr), -122);
}

TEST(LaunchGoToTest, KeepsItsFirstArgumentAsTheState) {
    InstantPod pod;
    EXPECT_EQ(DoLaunchGoTo(pod.get(), 0x20E0, 6), 0);
    EXPECT_EQ(queued(pod), "write 11 20e6\nwrite 10 4080\n");
    EXPECT_EQ(pod.control.priorState, 0x20E0);
}

TEST(LaunchGoToTest, HandsTheDependenciesOnInSlowMode) {
    InstantPod pod;
    pod.control.timeDependNew.mainCount = 77;
    DoLaunchGoTo(pod.get(), 0x1000, 2);
    EXPECT_EQ(pod.control.timeDependNew.mainCount, 77U);
    pod.control.timeDependNew.slowMode = true;
    DoLaunchGoTo(pod.get(), 0x1000, 2);
    EXPECT_EQ(pod.control.timeDependNew.mainCount, 0U);
    EXPECT_EQ(pod.control.timeDependOld.mainCount, 77U);
}

TEST(LaunchScanTest, WritesOperationConfigurationAndControl) {
    InstantPod pod;
    pod.control.priorConfig = 0x0083;
    EXPECT_EQ(DoLaunchScan(pod.get(), 0x000F, 0x0700), 0);
    EXPECT_EQ(queued(pod), "write 11 300f\nwrite 4 0783\nwrite 10 6001\nwrite 10 4080\n");
    EXPECT_EQ(pod.control.priorState, 7);
    EXPECT_TRUE(pod.control.priorTBC);
}

TEST(LaunchScanTest, HandsTheDependenciesOnInSlowMode) {
    InstantPod pod;
    pod.control.timeDependNew.slowMode = true;
    pod.control.timeDependNew.useMain = true;
    pod.control.timeDependNew.mainCount = 5;
    EXPECT_EQ(DoLaunchScan(pod.get(), 6, 0), 0);
    EXPECT_TRUE(pod.control.timeDependOld.useMain);
    EXPECT_EQ(pod.control.timeDependOld.mainCount, 5U);
    EXPECT_FALSE(pod.control.timeDependNew.useMain);
}

TEST(AmbleCommandTest, ChoosesThePathAndTheSides) {
    InstantPod pod;
    pod.control.ambleDelay.preAmbleIR = 1;
    pod.control.ambleDelay.posAmbleIR = 2;
    pod.control.ambleDelay.preAmbleDR = 3;
    pod.control.ambleDelay.posAmbleDR = 4;
    struct Row {
        int amble;
        uint16_t wake;
        int32_t code;
        uint32_t pre;
        uint32_t pos;
    };
    constexpr uint32_t kKept = 99;
    for (const Row& row : {Row{1, 8, 0, 0, 0}, Row{2, 8, 0, 1, 0}, Row{3, 8, 0, 0, 2},
                           Row{4, 8, 0, 1, 2}, Row{1, 6, 0, 0, 0}, Row{2, 6, 0, 3, 0},
                           Row{3, 2, 0, 0, 4}, Row{4, 0, 0, 3, 4}, Row{0, 0, -122, kKept, kKept},
                           Row{5, 0, -122, kKept, kKept}, Row{-1, 0, -122, kKept, kKept}}) {
        JSC_JtagCommand made{};
        made.jtagAmble = static_cast<JSC_JtagAmble>(row.amble);
        uint32_t pre = kKept;
        uint32_t pos = kKept;
        EXPECT_EQ(DoAmbleCommand(pod.get(), &made, row.wake, &pre, &pos), row.code) << row.amble;
        EXPECT_EQ(pre, row.pre) << row.amble;
        EXPECT_EQ(pos, row.pos) << row.amble;
    }
    JSC_JtagCommand made{};
    made.jtagAmble = eJSC_JTAG_AMBLE_BOTH;
    uint32_t length = 0;
    EXPECT_EQ(DoAmbleCommand(pod.get(), &made, 0, nullptr, &length), -122);
    EXPECT_EQ(DoAmbleCommand(pod.get(), &made, 0, &length, nullptr), -122);
    EXPECT_EQ(DoAmbleCommand(pod.get(), nullptr, 0, &length, &length), -122);
}

TEST(InterestCommandTest, TakesTheBitCountOfIrAndDrScans) {
    InstantPod pod;
    const JSC_JtagParam param{2, 0, 33};
    for (int shift = -1; shift <= 4; ++shift) {
        const JSC_JtagCommand made = command(1, shift, 1, 1);
        uint32_t count = 99;
        const bool good = shift == eJSC_JTAG_SHIFT_IR || shift == eJSC_JTAG_SHIFT_DR;
        EXPECT_EQ(DoInterestCommand(pod.get(), &made, &param, &count), good ? 0 : -122) << shift;
        EXPECT_EQ(count, good ? 33U : 99U);
    }
    EXPECT_FALSE(pod.control.timeDependNew.useMain);
    const JSC_JtagCommand made = command(1, 1, 1, 1);
    uint32_t count = 0;
    EXPECT_EQ(DoInterestCommand(pod.get(), &made, nullptr, &count), -122);
    EXPECT_EQ(DoInterestCommand(pod.get(), nullptr, &param, &count), -122);
    EXPECT_EQ(DoInterestCommand(pod.get(), &made, &param, nullptr), -122);
}

TEST(InterestCommandTest, NotesTheScanInSlowMode) {
    InstantPod pod;
    const JSC_JtagParam param{7, 0, 33};
    JSC_TimeDependancy& depend = pod.control.timeDependNew;
    for (const bool ir : {true, false}) {
        depend = JSC_TimeDependancy{};
        depend.slowMode = true;
        depend.useAmble = true;
        depend.useIrPath = !ir;
        const JSC_JtagCommand made = command(1, ir ? 1 : 2, 1, 1);
        uint32_t count = 0;
        EXPECT_EQ(DoInterestCommand(pod.get(), &made, &param, &count), 0);
        EXPECT_TRUE(depend.useMain);
        EXPECT_FALSE(depend.useAmble);
        EXPECT_EQ(depend.useIrPath, ir);
        EXPECT_EQ(depend.mainCount, 33U);
        EXPECT_EQ(depend.commandRepeat, 1U);
    }
}

TEST(SteppingTest, CountsHostWordsByWidth) {
    for (const uint32_t bits : {1U, 7U, 8U, 9U, 63U, 64U, 65U, 1000U}) {
        JSC_JtagCommand made{};
        uint32_t step = 0;
        made.jtagWidth = eJSC_JTAG_WIDTH_8;
        DoStepCalculate(&made, bits, &step);
        EXPECT_EQ(step, (bits + 7) >> 3);
        made.jtagWidth = eJSC_JTAG_WIDTH_16;
        DoStepCalculate(&made, bits, &step);
        EXPECT_EQ(step, (bits + 15) >> 4);
        made.jtagWidth = eJSC_JTAG_WIDTH_32;
        DoStepCalculate(&made, bits, &step);
        EXPECT_EQ(step, (bits + 31) >> 5);
        made.jtagWidth = eJSC_JTAG_WIDTH_64;
        DoStepCalculate(&made, bits, &step);
        EXPECT_EQ(step, (bits + 63) >> 6);
    }
}

TEST(SteppingTest, AdvancesByBytesOfTheWidth) {
    unsigned char buffer[100];
    struct Row {
        JSC_JtagWidth width;
        int bytes;
    };
    for (const Row& row :
         {Row{eJSC_JTAG_WIDTH_INVALID_FIRST, 0}, Row{eJSC_JTAG_WIDTH_1, 0},
          Row{eJSC_JTAG_WIDTH_8, 5}, Row{eJSC_JTAG_WIDTH_16, 10}, Row{eJSC_JTAG_WIDTH_32, 20},
          Row{eJSC_JTAG_WIDTH_64, 40}, Row{eJSC_JTAG_WIDTH_INVALID_LAST, 0}}) {
        JSC_JtagCommand made{};
        made.jtagWidth = row.width;
        void* at = buffer;
        DoModifyPointer(&made, &at, 5);
        EXPECT_EQ(at, buffer + row.bytes) << row.width;
        uint32_t step = 99;
        DoStepCalculate(&made, 16, &step);
        EXPECT_EQ(step == 99, row.bytes == 0) << row.width;
    }
}

} // namespace
