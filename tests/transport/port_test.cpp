#include "support/bare_handle.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"
#include "transport/port.h"

#include <gtest/gtest.h>

namespace {

using test_support::BareHandle;
using test_support::LeakGuard;
using test_support::RecordingProxy;

class PortTest : public testing::Test {
protected:
    PortTest() { EXPECT_EQ(handle.open(), 0); }

    JSC_Inform* inform() { return handle.get(); }
    uint16_t& cached(size_t port) { return handle.control.registerCache[port]; }
    // Flushes and gives what was queued.
    std::string flushed() {
        proxy.pod().forget();
        EXPECT_EQ(qel_PerformIo(inform()), 0);
        return proxy.pod().text();
    }

    LeakGuard leaks;
    RecordingProxy proxy;
    BareHandle handle;
};

TEST_F(PortTest, WritesOfCachedPortsAreSentWhenTheyChange) {
    for (uint16_t port = 0; port < TBC_CACHED_PORTS; ++port) {
        if (port == TBC_PORT_CONTROL) {
            continue;
        }
        PortWrite(inform(), port, 0);
        EXPECT_EQ(flushed(), "") << port;
        PortWrite(inform(), port, 0x1234);
        EXPECT_EQ(cached(port), 0x1234) << port;
        EXPECT_EQ(flushed(), "write " + std::to_string(port) + " 1234\n");
        PortWrite(inform(), port, 0x1234);
        EXPECT_EQ(flushed(), "") << port;
        PortWrite(inform(), port, 0x1235);
        EXPECT_EQ(flushed(), "write " + std::to_string(port) + " 1235\n");
    }
}

TEST_F(PortTest, WritesOfPort10AreAlwaysSent) {
    cached(10) = TBC_CONTROL_EMPTY;
    PortWrite(inform(), 10, TBC_CONTROL_EMPTY);
    PortWrite(inform(), 10, TBC_CONTROL_EMPTY);
    EXPECT_EQ(flushed(), "write 10 6001\nwrite 10 6001\n");
    EXPECT_EQ(cached(10), 0x6001);
}

TEST_F(PortTest, AControllerResetZeroesTheCache) {
    for (const uint16_t value : std::initializer_list<uint16_t>{0x7001, 0x7003, 0xFFFF}) {
        for (size_t port = 0; port < TBC_EXTENDED_PORTS; ++port) {
            cached(port) = 0x0055;
        }
        PortWrite(inform(), 10, value);
        for (size_t port = 0; port < TBC_CACHED_PORTS; ++port) {
            EXPECT_EQ(cached(port), 0) << port;
        }
        EXPECT_EQ(cached(16), 0x0055);
        EXPECT_EQ(cached(31), 0x0055);
        uint16_t word = 9;
        EXPECT_EQ(PortRead(inform(), 10, &word), 0);
        EXPECT_EQ(word, 0);
    }
}

TEST_F(PortTest, OtherControlWordsAreNoReset) {
    for (const uint16_t value :
         std::initializer_list<uint16_t>{0x7000, 0x6001, 0x5001, 0x3001, 0x7004, 0x4080}) {
        cached(3) = 0x0055;
        PortWrite(inform(), 10, value);
        EXPECT_EQ(cached(3), 0x0055) << value;
        EXPECT_EQ(cached(10), value);
    }
}

TEST_F(PortTest, TheResetWordResetsOnlyInPort10) {
    cached(3) = 0x0055;
    PortWrite(inform(), 9, 0x7001);
    PortWrite(inform(), 11, 0x7001);
    EXPECT_EQ(cached(3), 0x0055);
    EXPECT_EQ(cached(9), 0x7001);
}

TEST_F(PortTest, WritesAbove15AreAlwaysSentAndNotCached) {
    for (const uint16_t port : std::initializer_list<uint16_t>{16, 23, 24, 31}) {
        PortWrite(inform(), port, 0x0011);
        PortWrite(inform(), port, 0x0011);
        const std::string line = "write " + std::to_string(port) + " 0011\n";
        EXPECT_EQ(flushed(), line + line);
        EXPECT_EQ(cached(port), 0) << port;
    }
}

TEST_F(PortTest, UncachedWritesPassTheCache) {
    PortWriteNoCache(inform(), 5, 0);
    EXPECT_EQ(flushed(), "write 5 0000\n");
    PortWriteNoCache(inform(), 5, 7);
    EXPECT_EQ(flushed(), "write 5 0007\n");
    EXPECT_EQ(cached(5), 0);
}

TEST_F(PortTest, ReadsUpTo15ComeFromTheCache) {
    for (uint16_t port = 0; port < TBC_CACHED_PORTS; ++port) {
        cached(port) = static_cast<uint16_t>(0x0100 + port);
        uint16_t word = 0;
        EXPECT_EQ(PortRead(inform(), port, &word), 0);
        EXPECT_EQ(word, 0x0100 + port);
    }
    EXPECT_EQ(flushed(), "");
}

TEST_F(PortTest, ReadsFrom16OnNeedAFlush) {
    cached(16) = 0x0100;
    proxy.pod().answer(TBC_PORT_STATUS0, {0x0042});
    uint16_t word = 9;
    EXPECT_EQ(PortRead(inform(), 16, &word), 0);
    EXPECT_EQ(word, 9);
    EXPECT_EQ(flushed(), "read 16\n");
    EXPECT_EQ(word, 0x0042);
}

TEST_F(PortTest, UncachedReadsOfCachedPortsGoToThePod) {
    proxy.pod().answer(5, {0x0C0C});
    uint16_t word = 0;
    EXPECT_EQ(PortReadNoCache(inform(), 5, &word), 0);
    EXPECT_EQ(flushed(), "read 5\n");
    EXPECT_EQ(word, 0x0C0C);
}

struct SettleCase {
    bool slow_clock;
    uint32_t revision;
    uint16_t port;
    bool settles;
};

TEST_F(PortTest, OldPodsWithASlowClockSettleAfterEachWordSent) {
    const SettleCase cases[] = {
        {true, 0x0000, 23, true},   {true, 0x0100, 23, true},  {true, 0x01FF, 23, true},
        {true, 0x0200, 23, false},  {true, 0x0400, 23, false}, {true, 0x10100, 23, true},
        {false, 0x0100, 23, false}, {true, 0x0100, 22, false}, {true, 0x0100, 16, false},
    };
    for (const SettleCase& entry : cases) {
        handle.inform.qelVariable.slowclk = entry.slow_clock;
        handle.control.emuRevision = entry.revision;
        PortWrite(inform(), entry.port, 0x4321);
        std::string expected = "write " + std::to_string(entry.port) + " 4321\n";
        if (entry.settles) {
            expected += "write 16 0000\n";
        }
        EXPECT_EQ(flushed(), expected) << entry.revision << " " << entry.slow_clock;
    }
}

TEST_F(PortTest, APodErrorDropsAccesses) {
    handle.inform.podError = -5;
    uint16_t word = 9;
    EXPECT_EQ(PortReadNoCache(inform(), 22, &word), 0);
    EXPECT_EQ(PortRead(inform(), 22, &word), 0);
    EXPECT_EQ(word, 9);
    PortWriteNoCache(inform(), 23, 1);
    PortWrite(inform(), 23, 1);
    PortWrite(inform(), 10, 1);
    // Kept: the cache goes on as if the write had been sent.
    PortWrite(inform(), 4, 0x0080);
    EXPECT_EQ(cached(4), 0x0080);
    EXPECT_EQ(PortRead(inform(), 4, &word), 0);
    EXPECT_EQ(word, 0x0080);
    EXPECT_EQ(handle.inform.opList, nullptr);
    handle.inform.podError = 0;
    EXPECT_EQ(flushed(), "");
}

TEST_F(PortTest, ZeroingTheCacheLeavesThePortsAbove15) {
    for (size_t port = 0; port < TBC_EXTENDED_PORTS; ++port) {
        cached(port) = 1;
    }
    LoadZeroIntoCache(inform());
    for (size_t port = 0; port < TBC_EXTENDED_PORTS; ++port) {
        EXPECT_EQ(cached(port), port < TBC_CACHED_PORTS ? 0 : 1) << port;
    }
}

TEST_F(PortTest, WithoutAControllerBlockCachedPortsAreLeftAlone) {
    handle.inform.pJscControl = nullptr;
    uint16_t word = 9;
    EXPECT_EQ(PortRead(inform(), 15, &word), -116);
    EXPECT_EQ(word, 9);
    PortWrite(inform(), 15, 1);
    LoadZeroIntoCache(inform());
    EXPECT_EQ(proxy.pod().block()->tbcMblockPtr, SHM_EMPTY_BATCH_WORDS);
    handle.inform.qelVariable.slowclk = true;
    PortWrite(inform(), 23, 1);
    EXPECT_EQ(proxy.pod().block()->tbcMblockPtr, SHM_EMPTY_BATCH_WORDS + 2);
}

TEST_F(PortTest, NullPointersAreRefused) {
    uint16_t word = 9;
    EXPECT_EQ(PortRead(nullptr, 3, &word), -122);
    EXPECT_EQ(PortReadNoCache(nullptr, 3, &word), -122);
    EXPECT_EQ(PortRead(inform(), 3, nullptr), -122);
    EXPECT_EQ(PortReadNoCache(inform(), 22, nullptr), -122);
    PortWrite(nullptr, 3, 1);
    PortWriteNoCache(nullptr, 3, 1);
    LoadZeroIntoCache(nullptr);
    EXPECT_EQ(word, 9);
    EXPECT_EQ(flushed(), "");
}

} // namespace
