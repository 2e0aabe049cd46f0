// Scans beyond the room of one batch, and batches that just fit: every word out and every word in,
// compared bit for bit.
#include "api/diagnose.h"
#include "api/register_access.h"
#include "common/notation.h"
#include "scan/scan_operation.h"
#include "scan/state.h"
#include "support/bare_handle.h"
#include "support/instant_pod.h"
#include "support/jtag_command.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"

#include <gtest/gtest.h>

#include <deque>

namespace {

using test_support::InstantPod;
using test_support::scan_command;
using Words = std::vector<uint16_t>;

Words pattern(size_t count) {
    Words words(count);
    uint32_t state = 12345;
    for (uint16_t& word : words) {
        state = state * 1664525U + 1013904223U;
        word = static_cast<uint16_t>(state >> 16);
    }
    return words;
}

Words inverted(const Words& words) {
    Words result(words.size());
    std::transform(words.begin(), words.end(), result.begin(),
                   [](uint16_t word) { return static_cast<uint16_t>(~word); });
    return result;
}

// Gives back every word sent, inverted, and keeps them.
struct Loop {
    std::deque<uint16_t> under_way;
    Words sent;

    void take(uint16_t port, uint16_t value) {
        if (port == TBC_PORT_SEND) {
            sent.push_back(value);
            under_way.push_back(static_cast<uint16_t>(~value));
        }
    }

    uint16_t give() {
        if (under_way.empty()) {
            ADD_FAILURE() << "a word was read before it was sent";
            return 0;
        }
        const uint16_t value = under_way.front();
        under_way.pop_front();
        return value;
    }
};

// A pod that loops back.
struct LoopPod {
    LoopPod() {
        pod.recording = false;
        pod.take = [this](uint16_t port, uint16_t value) { loop.take(port, value); };
        pod.give = [this](uint16_t port) {
            return port == TBC_PORT_RECEIVE ? loop.give() : uint16_t{0};
        };
    }

    InstantPod pod;
    Loop loop;
    JSC_JtagCommand command = scan_command();
};

// What all batches together hold, without the status reads and markers that batches add.
Words stream_of(const std::vector<Words>& batches) {
    Words all;
    for (const Words& words : batches) {
        std::vector<talvor::notation::Item> items = talvor::notation::items(words);
        size_t at = 0;
        const size_t end = words.size() - 3;
        for (const auto& item : items) {
            const size_t length = talvor::notation::length_words(item);
            const bool marker = item.kind == talvor::notation::Kind::MarkerOpen ||
                                item.kind == talvor::notation::Kind::MarkerFull;
            if (at < end && !marker) {
                all.insert(all.end(), words.begin() + static_cast<ptrdiff_t>(at),
                           words.begin() + static_cast<ptrdiff_t>(at + length));
            }
            at += length;
        }
    }
    return all;
}

TEST(ScanLengthTest, HalfAMillionBitsBothWaysThroughTheChannel) {
    const test_support::LeakGuard leaks;
    test_support::RecordingProxy proxy;
    test_support::BareHandle handle;
    ASSERT_EQ(handle.open(), 0);
    Loop loop;
    proxy.pod().watch_writes([&](uint16_t port, uint16_t value) { loop.take(port, value); });
    proxy.pod().answer_with(TBC_PORT_RECEIVE, [&] { return loop.give(); });
    constexpr uint32_t kBits = 524288;
    Words out = pattern(kBits / 16);
    Words in(kBits / 16);
    const JSC_JtagCommand command = scan_command();
    const JSC_JtagParam16 param{1, 0, kBits, out.data(), in.data()};
    EXPECT_EQ(jsc_ScanBoth16(handle.get(), &command, &param), 0);
    EXPECT_EQ(loop.sent, out);
    EXPECT_EQ(in, inverted(out));
    EXPECT_EQ(proxy.pod().batches().size(), 2U);
    batch_release(handle.get());
}

TEST(ScanLengthTest, TenMillionBitsBothWays) {
    LoopPod looping;
    constexpr uint32_t kBits = 10'000'000;
    Words out = pattern(kBits / 16);
    Words in(kBits / 16);
    const JSC_JtagParam16 param{1, 0, kBits, out.data(), in.data()};
    EXPECT_EQ(jsc_ScanBoth16(looping.pod.get(), &looping.command, &param), 0);
    EXPECT_TRUE(looping.loop.sent == out);
    EXPECT_TRUE(in == inverted(out));
    // Four words a word both ways: 32766 and a little go into each block.
    EXPECT_EQ(looping.pod.flushes, 20U);
}

TEST(ScanLengthTest, TenMillionBitsAdjustedWithAmblesAndTransits) {
    LoopPod looping;
    looping.command.jtagBefore = eJSC_JTAG_TRANSIT_VIA_IDLE;
    looping.command.jtagAfter = eJSC_JTAG_TRANSIT_VIA_CAPTURE;
    looping.command.jtagAmble = eJSC_JTAG_AMBLE_POSTAMBLE;
    looping.command.jtagAdjust = eJSC_JTAG_ADJUST_AUTO;
    looping.pod.control.ambleDelay.posAmbleDR = 4;
    constexpr uint32_t kBits = 10'000'001;
    Words out = pattern(kBits / 16 + 1);
    Words in(kBits / 16 + 1);
    const JSC_JtagParam16 param{1, 0, kBits, out.data(), in.data()};
    EXPECT_EQ(jsc_ScanBoth16(looping.pod.get(), &looping.command, &param), 0);
    EXPECT_EQ(looping.loop.sent.front(), 0xFFFF);
    looping.loop.sent.erase(looping.loop.sent.begin());
    EXPECT_TRUE(looping.loop.sent == out);
    EXPECT_TRUE(in == inverted(out));
}

TEST(ScanLengthTest, TenMillionBitsSent) {
    LoopPod looping;
    constexpr uint32_t kBits = 10'000'000;
    Words out = pattern(kBits / 16);
    const JSC_JtagParam16 param{1, 0, kBits, out.data(), nullptr};
    EXPECT_EQ(jsc_ScanSend16(looping.pod.get(), &looping.command, &param), 0);
    EXPECT_EQ(qel_PerformIo(looping.pod.get()), 0);
    EXPECT_TRUE(looping.loop.sent == out);
    EXPECT_EQ(looping.pod.flushes, 15U);
}

TEST(ScanLengthTest, TenMillionBitsReceived) {
    InstantPod pod;
    pod.recording = false;
    uint32_t received = 0;
    const Words expected = pattern(625'000);
    pod.give = [&](uint16_t port) {
        return port == TBC_PORT_RECEIVE ? expected[received++] : uint16_t{0};
    };
    Words in(expected.size());
    const JSC_JtagCommand command = scan_command();
    const JSC_JtagParam16 param{1, 0, 10'000'000, nullptr, in.data()};
    EXPECT_EQ(jsc_ScanRecv16(pod.get(), &command, &param), 0);
    EXPECT_TRUE(in == expected);
    EXPECT_EQ(received, expected.size());
}

TEST(ScanLengthTest, ManyRepeatsBothWays) {
    LoopPod looping;
    constexpr uint32_t kBits = 100;
    constexpr uint32_t kRepeats = 5000;
    Words out = pattern(size_t{7} * kRepeats);
    Words in(out.size());
    const JSC_JtagParam16 param{kRepeats, 0, kBits, out.data(), in.data()};
    EXPECT_EQ(jsc_ScanBoth16(looping.pod.get(), &looping.command, &param), 0);
    EXPECT_TRUE(looping.loop.sent == out);
    EXPECT_TRUE(in == inverted(out));
    EXPECT_EQ(looping.pod.flushes, kRepeats) << "one a scan that receives";
}

TEST(ScanLengthTest, ThousandsOfSendsStayQueuedAndComeOutInOrder) {
    InstantPod pod;
    const JSC_JtagCommand command = scan_command();
    constexpr uint32_t kScans = 4000;
    constexpr uint32_t kWords = 63;
    Words out = pattern(size_t{kScans} * kWords);
    Words expected;
    for (uint32_t scan = 0; scan < kScans; ++scan) {
        const JSC_JtagParam16 param{1, 0, 1000, &out[size_t{scan} * kWords], nullptr};
        ASSERT_EQ(jsc_ScanSend16(pod.get(), &command, &param), 0);
        if (scan == 0) {
            for (const int word : {0x400C, 999}) {
                expected.push_back(static_cast<uint16_t>(word));
            }
        }
        expected.push_back(SHM_WAIT_DONE);
        if (scan == 0) {
            for (const int word : {0x400B, 0x3002, 0x4004, 0x0300}) {
                expected.push_back(static_cast<uint16_t>(word));
            }
        }
        for (const int word : {0x400A, 0x6001, 0x400A, 0x4080}) {
            expected.push_back(static_cast<uint16_t>(word));
        }
        for (uint32_t word = 0; word < kWords; ++word) {
            if (word > 1) {
                expected.push_back(SHM_WAIT_WRITE_ONE);
            }
            expected.push_back(0x4017);
            expected.push_back(out[size_t{scan} * kWords + word]);
        }
    }
    EXPECT_GT(pod.flushes, 0U);
    EXPECT_EQ(qel_PerformIo(pod.get()), 0);
    // The stream is cut where blocks were full, between items, and nowhere else changed.
    EXPECT_TRUE(stream_of(pod.batches) == expected);
    for (size_t batch = 0; batch + 1 < pod.batches.size(); ++batch) {
        EXPECT_GE(pod.batches[batch].size(), size_t{SHM_BLOCK_WORDS} - 8) << "no early flush";
    }
}

TEST(ScanLengthTest, ReadsOverSeveralMarkersKeepTheirOrder) {
    InstantPod pod;
    uint16_t next = 0;
    pod.give = [&](uint16_t port) { return port == TBC_PORT_RECEIVE ? next++ : uint16_t{0x0BAD}; };
    constexpr uint32_t kWords = 3 * SHM_MARKER_READS + 17;
    Words in(kWords);
    const JSC_JtagCommand command = scan_command();
    const JSC_JtagParam16 param{1, 0, kWords * 16, nullptr, in.data()};
    EXPECT_EQ(jsc_ScanRecv16(pod.get(), &command, &param), 0);
    ASSERT_EQ(pod.batches.size(), 1U);
    EXPECT_EQ(std::count(pod.batches[0].begin(), pod.batches[0].end(), SHM_MARKER_OPEN), 1);
    EXPECT_EQ(std::count(pod.batches[0].begin(), pod.batches[0].end(), SHM_MARKER_FULL), 2)
        << "the first stands before the batch";
    for (uint32_t word = 0; word < kWords; ++word) {
        ASSERT_EQ(in[word], word);
    }
}

// Words in front of a scan, so that it ends where the block ends.
void pad(InstantPod& pod, uint32_t count) {
    for (uint32_t word = 0; word < count; ++word) {
        ASSERT_EQ(jsc_RegisterPoll(pod.get(), eJSC_STATUS_TYPE_COMMAND_FINISH, 0), 0);
    }
}

TEST(ScanLengthTest, AScanThatExactlyFillsTheBlockIsOneFlush) {
    constexpr uint32_t kWords = 60000;
    const JSC_JtagCommand command = scan_command();
    Words in(kWords);
    const JSC_JtagParam16 param{1, 0, kWords * 16, nullptr, in.data()};
    uint32_t natural = 0;
    {
        InstantPod pod;
        ASSERT_EQ(jsc_ScanRecv16(pod.get(), &command, &param), 0);
        ASSERT_EQ(pod.batches.size(), 1U);
        natural = static_cast<uint32_t>(pod.batches[0].size());
    }
    const uint32_t room = SHM_BLOCK_WORDS - SHM_EMPTY_BATCH_WORDS - natural;
    for (const uint32_t padding : {room - 1, room, room + 1}) {
        InstantPod pod;
        uint16_t next = 0;
        pod.give = [&](uint16_t port) { return port == TBC_PORT_RECEIVE ? next++ : uint16_t{0}; };
        pad(pod, padding);
        in.assign(kWords, 0xDEAD);
        EXPECT_EQ(jsc_ScanRecv16(pod.get(), &command, &param), 0);
        EXPECT_EQ(pod.batches.size(), padding > room ? 2U : 1U) << padding - room;
        if (padding == room) {
            EXPECT_EQ(pod.batches[0].size() + SHM_EMPTY_BATCH_WORDS, size_t{SHM_BLOCK_WORDS});
        }
        for (uint32_t word = 0; word < kWords; ++word) {
            ASSERT_EQ(in[word], static_cast<uint16_t>(word)) << padding - room;
        }
    }
}

TEST(ScanLengthTest, AFailedFlushOnTheWayEndsTheScanWithItsCode) {
    InstantPod pod;
    pod.recording = false;
    Words out = pattern(200'000);
    Words in(out.size(), 0xDEAD);
    const JSC_JtagCommand command = scan_command();
    const JSC_JtagParam16 param{1, 0, 3'200'000, out.data(), in.data()};
    for (const auto scan : {jsc_ScanSend16, jsc_ScanBoth16, jsc_ScanRecv16}) {
        pod.flushes = 0;
        pod.failing = 1;
        EXPECT_EQ(scan(pod.get(), &command, &param), -140);
        EXPECT_EQ(pod.flushes, 1U) << "nothing is tried after the failure";
        EXPECT_EQ(pod.inform.podError, -140);
        EXPECT_TRUE(pod.queued().empty()) << "further accesses are dropped";
        // Nothing reaches the pod, and nothing succeeds, until the host diagnoses.
        EXPECT_EQ(scan(pod.get(), &command, &param), -140);
        JSC_JtagState state = eJSC_JTAG_STATE_IDLE;
        EXPECT_EQ(jsc_GetState(pod.get(), &state), -140);
        EXPECT_EQ(state, eJSC_JTAG_STATE_INVALID_FIRST);
        EXPECT_EQ(pod.flushes, 1U);
        EXPECT_EQ(jsc_Diagnose(pod.get(), 0), -140);
        EXPECT_EQ(pod.inform.podError, 0);
        EXPECT_EQ(jsc_GetState(pod.get(), &state), 0);
    }
    EXPECT_TRUE(std::all_of(in.begin(), in.end(), [](uint16_t word) { return word == 0xDEAD; }))
        << "reads that failed were never filled";
}

TEST(ScanLengthTest, AnUnflushedSendLeavesTheRegisterCacheRight) {
    // The count registers are written once for both scans, though a flush lies between them.
    InstantPod pod;
    const JSC_JtagCommand command = scan_command();
    Words out = pattern(50'000);
    const JSC_JtagParam16 param{1, 0, 800'000, out.data(), nullptr};
    ASSERT_EQ(jsc_ScanSend16(pod.get(), &command, &param), 0);
    ASSERT_EQ(jsc_ScanSend16(pod.get(), &command, &param), 0);
    ASSERT_EQ(qel_PerformIo(pod.get()), 0);
    const Words all = stream_of(pod.batches);
    unsigned counts = 0;
    for (const auto& item : talvor::notation::items(all)) {
        counts += item.kind == talvor::notation::Kind::Write && item.port == TBC_PORT_COUNT_LOW;
    }
    EXPECT_EQ(counts, 1U);
    EXPECT_EQ(pod.control.registerCache[TBC_PORT_COUNT_LOW], (800'000 - 1) & 0xFFFF);
    EXPECT_EQ(pod.control.registerCache[TBC_PORT_COUNT_HIGH], (800'000 - 1) >> 16);
}

} // namespace
