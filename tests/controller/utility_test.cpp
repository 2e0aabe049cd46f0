#include "controller/utility.h"
#include "support/bare_handle.h"
#include "support/failing_os.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"
#include "transport/port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using test_support::BareHandle;
using test_support::LeakGuard;
using test_support::RecordingProxy;
using test_support::RestoredOs;
using testing::ElementsAre;

class UtilityTest : public testing::Test {
protected:
    UtilityTest() { EXPECT_EQ(handle.open(), 0); }

    JSC_Inform* inform() { return handle.get(); }
    uint16_t& cached(size_t port) { return handle.control.registerCache[port]; }
    uint16_t& status() { return handle.control.StatusCache; }
    // What was queued and not flushed yet.
    std::string left_queued() {
        proxy.pod().forget();
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        return proxy.pod().text();
    }
    // Something for the next flush, so that it is an exchange.
    void queue_something() { PortWrite(inform(), TBC_PORT_SEND, 1); }

    LeakGuard leaks;
    RecordingProxy proxy;
    BareHandle handle;
};

// ---- fixed answers ----

TEST_F(UtilityTest, EventSettingsAreAllOn) {
    bool flags[4] = {};
    EXPECT_EQ(util_EventInform(inform(), &flags[0], &flags[1], &flags[2], &flags[3]), 0);
    EXPECT_THAT(flags, ElementsAre(true, true, true, true));
    for (int null = 0; null < 5; ++null) {
        bool kept[4] = {};
        const auto at = [&](int index) { return null == index ? nullptr : &kept[index]; };
        EXPECT_EQ(util_EventInform(null == 4 ? nullptr : inform(), at(0), at(1), at(2), at(3)),
                  -122);
        EXPECT_THAT(kept, ElementsAre(false, false, false, false));
    }
}

TEST_F(UtilityTest, PinOptionsAreAllOff) {
    bool flags[3] = {true, true, true};
    EXPECT_EQ(util_PinsInform(inform(), &flags[0], &flags[1], &flags[2]), 0);
    EXPECT_THAT(flags, ElementsAre(false, false, false));
    for (int null = 0; null < 4; ++null) {
        bool kept[3] = {true, true, true};
        const auto at = [&](int index) { return null == index ? nullptr : &kept[index]; };
        EXPECT_EQ(util_PinsInform(null == 3 ? nullptr : inform(), at(0), at(1), at(2)), -122);
        EXPECT_THAT(kept, ElementsAre(true, true, true));
    }
}

TEST_F(UtilityTest, TheDefaultLinkDelayIsThree) {
    uint32_t delay = 0;
    EXPECT_EQ(util_DelayInform(inform(), &delay), 0);
    EXPECT_EQ(delay, 3U);
    EXPECT_EQ(util_DelayInform(nullptr, &delay), -122);
    EXPECT_EQ(util_DelayInform(inform(), nullptr), -122);
}

TEST_F(UtilityTest, OutputsNeedNothing) {
    for (const bool config : {false, true}) {
        EXPECT_EQ(util_OutputConfig(inform(), config), 0);
    }
    EXPECT_EQ(util_OutputConfig(nullptr, true), -122);
    EXPECT_EQ(left_queued(), "");
}

TEST_F(UtilityTest, TheClockModeIsStored) {
    for (const bool slow : {false, true}) {
        for (const bool fast : {false, true}) {
            EXPECT_EQ(util_ModeConfig(inform(), slow, fast), 0);
            EXPECT_EQ(handle.control.slowMode, slow);
            EXPECT_EQ(handle.control.fastMode, fast);
        }
    }
    EXPECT_EQ(left_queued(), "");
}

// ---- the support register as it was last read ----

TEST_F(UtilityTest, ResetAndTrstStatusAreBitsOfTheSupportRegister) {
    for (const uint16_t value :
         std::initializer_list<uint16_t>{0, 0x0001, 0x0100, 0x0101, 0xFEFE, 0xFFFF}) {
        status() = value;
        bool reset = (value & 0x0100) == 0;
        bool trst = (value & 0x0001) == 0;
        EXPECT_EQ(util_ResetStatus(inform(), &reset), 0);
        EXPECT_EQ(util_TrstStatus(inform(), &trst), 0);
        EXPECT_EQ(reset, (value & 0x0100) != 0) << value;
        EXPECT_EQ(trst, (value & 0x0001) != 0) << value;
    }
    EXPECT_EQ(left_queued(), "");
}

TEST_F(UtilityTest, TheRevisionIsStoredInverted) {
    const std::pair<uint16_t, uint32_t> cases[] = {
        {0x00E0, 1}, {0x00C0, 2}, {0x00A0, 3}, {0x0080, 4}, {0x0060, 5},
        {0x0040, 6}, {0x0020, 7}, {0x0000, 8}, {0xFF1F, 8}, {0xFFFF, 1},
    };
    for (const auto& [value, expected] : cases) {
        status() = value;
        uint32_t revision = 0;
        EXPECT_EQ(util_UtilityRevise(inform(), &revision), 0);
        EXPECT_EQ(revision, expected) << value;
    }
}

TEST_F(UtilityTest, CableStatusDependsOnTheRevision) {
    struct CableCase {
        uint32_t revision;
        uint16_t support;
        bool power;
        bool clock;
    };
    const CableCase cases[] = {
        {0x0100, 0x0000, false, false}, {0x0100, 0x0001, true, false},
        {0x0100, 0x0201, true, false},  {0x01FF, 0x0200, false, false},
        {0x0200, 0x0200, false, true},  {0x0200, 0x0201, true, true},
        {0x0400, 0xFDFE, false, false}, {0x0000, 0x0200, false, false},
    };
    for (const CableCase& entry : cases) {
        handle.control.emuRevision = entry.revision;
        handle.inform.emuRevision = ~entry.revision;
        status() = entry.support;
        JSC_PodStatus found = {true, true, !entry.power, !entry.clock};
        EXPECT_EQ(util_CableStatus(inform(), &found), 0);
        EXPECT_FALSE(found.nearStatus);
        EXPECT_FALSE(found.farStatus);
        EXPECT_EQ(found.powerStatus, entry.power) << entry.revision << " " << entry.support;
        EXPECT_EQ(found.clockStatus, entry.clock) << entry.revision << " " << entry.support;
    }
    EXPECT_EQ(left_queued(), "");
}

// ---- target reset ----

TEST_F(UtilityTest, ResetIsWrittenIntoWhatTheFlushRead) {
    proxy.pod().answer_always(TBC_PORT_SUPPORT, 0x12E1);
    for (size_t port = 0; port < TBC_CACHED_PORTS; ++port) {
        cached(port) = 0x0055;
    }
    queue_something();
    EXPECT_EQ(util_ResetConfig(inform(), true), 0);
    EXPECT_EQ(proxy.pod().text(), "write 23 0001\n");
    EXPECT_THAT(proxy.pod().support_writes(), ElementsAre(0x13E1));
    EXPECT_EQ(status(), 0x13E1);
    EXPECT_EQ(cached(0), 0);
    EXPECT_EQ(cached(15), 0);
    cached(3) = 0x0055;
    EXPECT_EQ(util_ResetConfig(inform(), false), 0);
    EXPECT_THAT(proxy.pod().support_writes(), ElementsAre(0x13E1, 0x12E1));
    EXPECT_EQ(status(), 0x12E1);
    EXPECT_EQ(cached(3), 0x0055);
}

TEST_F(UtilityTest, ARefusedResetChangesNothing) {
    status() = 0x0021;
    cached(3) = 0x0055;
    for (const bool config : {true, false}) {
        proxy.pod().refuse_support_writes(1);
        EXPECT_EQ(util_ResetConfig(inform(), config), -190);
        EXPECT_EQ(status(), 0x0021);
        EXPECT_EQ(cached(3), 0x0055);
    }
}

TEST_F(UtilityTest, AFailedFlushBeforeTheResetWritesNothing) {
    queue_something();
    proxy.pod().fail_batches(1);
    EXPECT_EQ(util_ResetConfig(inform(), true), -140);
    EXPECT_TRUE(proxy.pod().support_writes().empty());
    batch_drop_reads(inform());
}

// ---- the clear pulse ----

class ClearPulseTest : public UtilityTest {
protected:
    ClearPulseTest() {
        slept.clear();
        os_calls.usleep = [](useconds_t delay_us) {
            slept.push_back(delay_us);
            return 0;
        };
    }
    static inline std::vector<useconds_t> slept;
    RestoredOs restored;
};

TEST_F(ClearPulseTest, PulsesWhenTheLatchEqualsTheRequest) {
    cached(5) = 0x0009;
    status() = 0x0001;
    EXPECT_EQ(util_TrstConfig(inform(), true), 0);
    ASSERT_EQ(proxy.pod().batches().size(), 2U);
    EXPECT_EQ(proxy.pod().batches()[0].body(), "write 5 0c09\nwrite 5 0c0d\n");
    EXPECT_EQ(proxy.pod().batches()[1].body(), "write 16 0000\n");
    EXPECT_THAT(slept, ElementsAre(10000));
    EXPECT_EQ(cached(5), 0x0C0D);
}

TEST_F(ClearPulseTest, PulsesForFalseWithAClearLatch) {
    handle.control.emuRevision = 0x0200;
    cached(5) = 0x0C0D;
    EXPECT_EQ(util_TrstConfig(inform(), false), 0);
    EXPECT_EQ(proxy.pod().text(), "write 5 0c09\nwrite 5 0c0d\n");
    EXPECT_TRUE(slept.empty());
}

TEST_F(ClearPulseTest, DoesNothingOtherwise) {
    for (const bool latch : {false, true}) {
        status() = latch ? 0x0001 : 0xFFFE;
        EXPECT_EQ(util_TrstConfig(inform(), !latch), 0);
    }
    EXPECT_TRUE(proxy.pod().batches().empty());
    EXPECT_TRUE(slept.empty());
}

// The latch is the one that the flush at the start reads.
TEST_F(ClearPulseTest, FlushesFirst) {
    status() = 0x0000;
    proxy.pod().answer(TBC_PORT_SUPPORT, {0x0001});
    queue_something();
    EXPECT_EQ(util_TrstConfig(inform(), true), 0);
    EXPECT_EQ(proxy.pod().text(), "write 23 0001\nwrite 5 0c00\nwrite 5 0c04\nwrite 16 0000\n");
}

TEST_F(ClearPulseTest, OldPodsAreGivenTime) {
    const std::pair<uint32_t, bool> revisions[] = {
        {0x0000, true}, {0x0100, true}, {0x01FF, true}, {0x0200, false}, {0x0302, false}};
    for (const auto& [revision, old] : revisions) {
        proxy.pod().forget();
        slept.clear();
        handle.control.emuRevision = revision;
        cached(5) = 0;
        status() = 0x0001;
        EXPECT_EQ(util_TrstConfig(inform(), true), 0);
        EXPECT_EQ(proxy.pod().batches().size(), old ? 2U : 1U) << revision;
        EXPECT_EQ(slept.size(), old ? 1U : 0U) << revision;
    }
}

TEST_F(ClearPulseTest, EachFailedFlushIsReturned) {
    // Before the latch is looked at, after the pulse, after the settle delay.
    for (unsigned failing = 0; failing < 3; ++failing) {
        cached(5) = 0;
        status() = 0x0001;
        proxy.pod().answer_always(TBC_PORT_SUPPORT, 0x0001);
        unsigned executed = 0;
        proxy.pod().interfere([&](lcl_shm& block) {
            if (block.cmd == SHM_CMD_EXECUTE && executed++ == failing) {
                block.status = -1;
            }
        });
        queue_something();
        EXPECT_EQ(util_TrstConfig(inform(), true), -140) << failing;
        EXPECT_EQ(executed, failing + 1);
        batch_drop_reads(inform());
    }
    proxy.pod().interfere(nullptr);
}

TEST_F(ClearPulseTest, ACableIsClearedForPowerOrClock) {
    for (unsigned bits = 0; bits < 16; ++bits) {
        proxy.pod().forget();
        status() = 0x0001;
        cached(5) = 0;
        JSC_PodStatus request = {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0,
                                 (bits & 8) != 0};
        EXPECT_EQ(util_CableClear(inform(), &request), 0);
        const bool clears = (bits & 12) != 0;
        EXPECT_EQ(proxy.pod().text(), clears ? "write 5 0c00\nwrite 5 0c04\nwrite 16 0000\n" : "")
            << bits;
    }
    JSC_PodStatus request{};
    EXPECT_EQ(util_CableClear(nullptr, &request), -122);
    EXPECT_EQ(util_CableClear(inform(), nullptr), -122);
}

// ---- edges, outputs, EMU pins ----

TEST_F(UtilityTest, TheTdoEdgeComesFromTheConfiguration) {
    struct EdgeCase {
        uint16_t before;
        bool edge;
        uint16_t after;
    };
    const EdgeCase cases[] = {{0x0000, false, 0x0800},
                              {0x0000, true, 0x0808},
                              {0x0C0D, false, 0x0C05},
                              {0x0405, true, 0x0C0D}};
    for (const EdgeCase& entry : cases) {
        for (const bool argument : {false, true}) {
            proxy.pod().forget();
            cached(5) = entry.before;
            handle.inform.qelVariable.tdoedge = entry.edge;
            queue_something();
            EXPECT_EQ(util_TimingConfig(inform(), argument, !argument), 0);
            EXPECT_EQ(cached(5), entry.after);
            ASSERT_EQ(proxy.pod().batches().size(), 2U);
            EXPECT_EQ(proxy.pod().batches()[0].body(), "write 23 0001\n");
            EXPECT_TRUE(proxy.pod().batches()[1].body().starts_with("write 5 0"));
        }
    }
}

TEST_F(UtilityTest, OutputsAreDisconnectedWithoutBit0) {
    for (const uint16_t value : std::initializer_list<uint16_t>{0, 1, 0xFFFE, 0xFFFF}) {
        proxy.pod().forget();
        cached(2) = value;
        bool disconnected = (value & 1) != 0;
        queue_something();
        EXPECT_EQ(util_DisconStatus(inform(), &disconnected), 0);
        EXPECT_EQ(disconnected, (value & 1) == 0) << value;
        EXPECT_EQ(proxy.pod().text(), "write 23 0001\n");
    }
}

TEST_F(UtilityTest, OutputsAreSwitchedByBit0) {
    cached(2) = 0x8001;
    queue_something();
    EXPECT_EQ(util_DisconConfig(inform(), true), 0);
    EXPECT_EQ(proxy.pod().text(), "write 23 0001\n");
    EXPECT_EQ(left_queued(), "write 2 8000\n");
    EXPECT_EQ(util_DisconConfig(inform(), false), 0);
    EXPECT_EQ(left_queued(), "write 2 8001\n");
    EXPECT_EQ(util_DisconConfig(inform(), false), 0);
    EXPECT_EQ(left_queued(), "");
}

TEST_F(UtilityTest, EmuPinsAreTwoBitsOfStatus1) {
    for (const uint16_t value : std::initializer_list<uint16_t>{0, 1, 2, 3, 0x8000, 0xFFFE}) {
        proxy.pod().forget();
        proxy.pod().answer(TBC_PORT_STATUS1, {value});
        bool emu1 = (value & 2) == 0;
        bool emu0 = (value & 1) == 0;
        EXPECT_EQ(util_EmuRead(inform(), &emu1, &emu0), 0);
        EXPECT_EQ(emu1, (value & 2) != 0) << value;
        EXPECT_EQ(emu0, (value & 1) != 0) << value;
        EXPECT_EQ(proxy.pod().text(), "read 17\n");
    }
}

TEST_F(UtilityTest, AFailedReadLeavesTheOutputs) {
    bool emu1 = true;
    bool emu0 = false;
    proxy.pod().fail_batches(1);
    EXPECT_EQ(util_EmuRead(inform(), &emu1, &emu0), -140);
    EXPECT_TRUE(emu1);
    EXPECT_FALSE(emu0);
    batch_drop_reads(inform());
    for (int operation = 0; operation < 4; ++operation) {
        queue_something();
        proxy.pod().fail_batches(1);
        bool disconnected = true;
        switch (operation) {
        case 0:
            EXPECT_EQ(util_DisconStatus(inform(), &disconnected), -140);
            break;
        case 1:
            EXPECT_EQ(util_DisconConfig(inform(), true), -140);
            break;
        case 2:
            EXPECT_EQ(util_TimingConfig(inform(), true, true), -140);
            break;
        default:
            EXPECT_EQ(util_BenchMarkConfig(inform(), true, true), -140);
        }
        EXPECT_TRUE(disconnected);
        batch_drop_reads(inform());
    }
}

// ---- the event counter ----

TEST_F(UtilityTest, TheEventCounterIsArmed) {
    struct EventCase {
        bool pin1;
        bool rise;
        const char* words;
    };
    const EventCase cases[] = {
        {false, false, "write 9 1234\nwrite 9 0600\nwrite 9 0608\n"},
        {false, true, "write 9 1234\nwrite 9 0620\nwrite 9 0628\n"},
        {true, false, "write 9 1234\nwrite 9 0640\nwrite 9 0648\n"},
        {true, true, "write 9 1234\nwrite 9 0660\nwrite 9 0668\n"},
    };
    for (const EventCase& entry : cases) {
        proxy.pod().forget();
        cached(9) = 0x123C;
        cached(14) = 0;
        cached(15) = 0;
        EXPECT_EQ(util_BenchMarkConfig(inform(), entry.pin1, entry.rise), 0);
        ASSERT_EQ(proxy.pod().batches().size(), 2U);
        EXPECT_EQ(proxy.pod().batches()[0].body(), "write 14 ffff\nwrite 15 ffff\n");
        EXPECT_EQ(proxy.pod().batches()[1].body(), entry.words);
    }
}

TEST_F(UtilityTest, TheEventCounterIsReadLatched) {
    for (const bool choice : {false, true}) {
        proxy.pod().forget();
        proxy.pod().answer(TBC_PORT_EVENT_LOW, {0x5678});
        proxy.pod().answer(TBC_PORT_EVENT_HIGH, {0xF234});
        uint32_t count = 0;
        EXPECT_EQ(util_BenchMarkStatus(inform(), choice, &count), 0);
        EXPECT_EQ(count, 0xF2345678U);
        EXPECT_EQ(proxy.pod().text(), "write 1 0002\nread 20\nread 21\n");
        EXPECT_EQ(left_queued(), "write 1 0004\n");
    }
}

TEST_F(UtilityTest, AnEventCountThatCannotBeRead) {
    proxy.pod().fail_batches(1);
    uint32_t count = 77;
    EXPECT_EQ(util_BenchMarkStatus(inform(), false, &count), -140);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(cached(1), TBC_COMMAND_LATCH); // the release was not queued
    batch_drop_reads(inform());
}

// ---- null pointers ----

TEST_F(UtilityTest, NullHandlesAndOutputsAreRefused) {
    bool flag = true;
    uint32_t number = 7;
    JSC_PodStatus pod_status = {true, true, true, true};
    EXPECT_EQ(util_ModeConfig(nullptr, true, true), -122);
    EXPECT_EQ(util_ResetStatus(nullptr, &flag), -122);
    EXPECT_EQ(util_ResetStatus(inform(), nullptr), -122);
    EXPECT_EQ(util_ResetConfig(nullptr, true), -122);
    EXPECT_EQ(util_TrstStatus(nullptr, &flag), -122);
    EXPECT_EQ(util_TrstStatus(inform(), nullptr), -122);
    EXPECT_EQ(util_TrstConfig(nullptr, true), -122);
    EXPECT_EQ(util_UtilityRevise(nullptr, &number), -122);
    EXPECT_EQ(util_UtilityRevise(inform(), nullptr), -122);
    EXPECT_EQ(util_CableStatus(nullptr, &pod_status), -122);
    EXPECT_EQ(util_CableStatus(inform(), nullptr), -122);
    EXPECT_EQ(util_TimingConfig(nullptr, true, true), -122);
    EXPECT_EQ(util_DisconStatus(nullptr, &flag), -122);
    EXPECT_EQ(util_DisconStatus(inform(), nullptr), -122);
    EXPECT_EQ(util_DisconConfig(nullptr, true), -122);
    EXPECT_EQ(util_EmuRead(nullptr, &flag, &flag), -122);
    EXPECT_EQ(util_EmuRead(inform(), nullptr, &flag), -122);
    EXPECT_EQ(util_EmuRead(inform(), &flag, nullptr), -122);
    EXPECT_EQ(util_BenchMarkConfig(nullptr, true, true), -122);
    EXPECT_EQ(util_BenchMarkStatus(nullptr, true, &number), -122);
    EXPECT_EQ(util_BenchMarkStatus(inform(), true, nullptr), -122);
    EXPECT_TRUE(flag);
    EXPECT_EQ(number, 7U);
    EXPECT_TRUE(pod_status.nearStatus && pod_status.clockStatus);
    EXPECT_EQ(left_queued(), "");
}

TEST_F(UtilityTest, AHandleWithoutAControllerBlockIsRefused) {
    bool flag = true;
    uint32_t number = 7;
    JSC_PodStatus pod_status{};
    handle.inform.pJscControl = nullptr;
    EXPECT_EQ(util_ModeConfig(inform(), true, true), -116);
    EXPECT_EQ(util_ResetStatus(inform(), &flag), -116);
    EXPECT_EQ(util_ResetConfig(inform(), true), -116);
    EXPECT_EQ(util_TrstStatus(inform(), &flag), -116);
    EXPECT_EQ(util_TrstConfig(inform(), true), -116);
    EXPECT_EQ(util_UtilityRevise(inform(), &number), -116);
    EXPECT_EQ(util_CableStatus(inform(), &pod_status), -116);
    EXPECT_EQ(util_TimingConfig(inform(), true, true), -116);
    EXPECT_EQ(util_DisconStatus(inform(), &flag), -116);
    EXPECT_EQ(util_DisconConfig(inform(), true), -116);
    EXPECT_EQ(util_EmuRead(inform(), &flag, &flag), -116);
    EXPECT_EQ(util_BenchMarkConfig(inform(), true, true), -116);
    EXPECT_EQ(util_BenchMarkStatus(inform(), true, &number), -116);
    EXPECT_TRUE(flag);
    EXPECT_EQ(number, 7U);
    EXPECT_TRUE(proxy.pod().support_writes().empty());
}

} // namespace
