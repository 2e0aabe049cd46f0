// Long scans, long queues, batches with many reads.
#include "description_text.h"
#include "host.h"
#include "simulator_status.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace endtoend {
namespace {

using test_support::LeakGuard;
using test_support::PodsimProcess;

constexpr uint16_t kScratch = 8; // instructions
constexpr uint16_t kUpdates = 9;

// A device with a scratch register of this length, and a counter.
std::string long_pod(uint64_t bits) {
    talvor::podsim::DeviceDescription device;
    device.registers.push_back({"", {kScratch}, talvor::podsim::ScratchRegister{bits, {}}});
    device.registers.push_back({"", {kUpdates}, talvor::podsim::CounterRegister{32}});
    return pod_text({}, {{device}, {}});
}

Words random_words(size_t count, uint64_t seed) {
    std::mt19937_64 random(seed);
    Words words(count);
    std::ranges::generate(words, [&random] { return static_cast<uint16_t>(random()); });
    return words;
}

Keys waiting(bool pod_waits) {
    return Keys{{"KELM.POD_AW_EN", pod_waits ? "yes" : "no"}};
}

// Sends one pattern and takes it back with another on its way in; then each way alone.
void expect_whole(Host& host, uint32_t bits) {
    host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kScratch});
    Words one = random_words(words_of(bits), bits);
    Words other = random_words(words_of(bits), bits + 1);
    if (bits % 16 != 0) {
        const auto kept = static_cast<uint16_t>((1U << (bits % 16)) - 1);
        one.back() &= kept;
        other.back() &= kept;
    }
    host.exchange(eJSC_JTAG_SHIFT_DR, bits, one);
    EXPECT_TRUE(host.exchange(eJSC_JTAG_SHIFT_DR, bits, other) == one);
    EXPECT_TRUE(host.capture(eJSC_JTAG_SHIFT_DR, bits) == other);
    EXPECT_TRUE(host.capture(eJSC_JTAG_SHIFT_DR, bits) == Words(words_of(bits)));
    ASSERT_EQ(host.send(scan_command(eJSC_JTAG_SHIFT_DR), bits, one), 0);
    EXPECT_TRUE(host.capture(eJSC_JTAG_SHIFT_DR, bits) == one);
    ASSERT_EQ(host.fixed(scan_command(eJSC_JTAG_SHIFT_DR), bits, true), 0);
    ASSERT_EQ(host.fixed(scan_command(eJSC_JTAG_SHIFT_DR), 1, false), 0);
    const Words ones = host.capture(eJSC_JTAG_SHIFT_DR, bits);
    const bool last_bit = (ones.back() >> ((bits - 1) % 16) & 1U) != 0;
    EXPECT_FALSE(last_bit) << "the zero that went in last";
    EXPECT_TRUE(
        std::all_of(ones.begin(), ones.end() - 1, [](uint16_t word) { return word == 0xFFFF; }));
}

TEST(LengthTest, HalfAMillionBitsComeBack) {
    LeakGuard leaks;
    constexpr uint32_t kBits = 524'288;
    PodsimProcess simulator(long_pod(kBits), {"--strict"});
    for (const bool pod_waits : {true, false}) {
        Host host(waiting(pod_waits));
        ASSERT_EQ(host.connect(), 0);
        expect_whole(host, kBits);
    }
    EXPECT_EQ(simulator.log(), "");
}

TEST(LengthTest, TenMillionBitsComeBack) {
    LeakGuard leaks;
    constexpr uint32_t kBits = 10'000'003;
    PodsimProcess simulator(long_pod(kBits), {"--strict"});
    Host host(waiting(false));
    ASSERT_EQ(host.connect(), 0);
    expect_whole(host, kBits);
    EXPECT_EQ(simulator.log(), "");
}

TEST(LengthTest, FourThousandSendsStayQueuedAndArrive) {
    LeakGuard leaks;
    PodsimProcess simulator(long_pod(48), {"--strict"});
    Host host;
    ASSERT_EQ(host.connect(), 0);
    host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kUpdates});
    const uint64_t before = status_number(simulator, "batches");
    constexpr uint32_t kScans = 4000;
    for (uint32_t i = 0; i < kScans; ++i) {
        ASSERT_EQ(host.send(scan_command(eJSC_JTAG_SHIFT_DR), 32, {1, 2}), 0);
    }
    EXPECT_EQ(status_number(simulator, "batches"), before) << "nothing was flushed";
    EXPECT_EQ(host.capture(eJSC_JTAG_SHIFT_DR, 32), Words({kScans, 0}));
    EXPECT_EQ(status_number(simulator, "batches"), before + 1);
    EXPECT_EQ(simulator.log(), "");
}

// More than a batch holds: it is cut where that is safe.
TEST(LengthTest, AQueueThatIsTooLongIsFlushedOnTheWay) {
    LeakGuard leaks;
    PodsimProcess simulator(long_pod(1000), {"--strict"});
    Host host;
    ASSERT_EQ(host.connect(), 0);
    host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kScratch});
    const uint64_t before = status_number(simulator, "batches");
    const Words first = random_words(words_of(1000), 1);
    const Words last = random_words(words_of(992), 2); // a multiple of 16, to keep the words whole
    for (uint32_t i = 0; i < 4000; ++i) {
        ASSERT_EQ(host.send(scan_command(eJSC_JTAG_SHIFT_DR), 1000, first), 0);
    }
    ASSERT_EQ(host.send(scan_command(eJSC_JTAG_SHIFT_DR), 1000, first), 0);
    ASSERT_EQ(host.send(scan_command(eJSC_JTAG_SHIFT_DR), 992, last), 0);
    const Words back = host.capture(eJSC_JTAG_SHIFT_DR, 1000);
    EXPECT_GT(status_number(simulator, "batches"), before + 4);
    // The 8 bits nearest TDO are what the last scan left of the capture before it.
    Words shifted(words_of(1000));
    for (uint32_t bit = 0; bit < 992; ++bit) {
        const uint32_t place = bit + 8;
        const unsigned level = (last[bit / 16] >> (bit % 16)) & 1U;
        shifted[place / 16] |= static_cast<uint16_t>(level << (place % 16));
    }
    shifted[0] |= static_cast<uint16_t>(first[62] & 0xFFU); // bits 992 to 999 of what was captured
    EXPECT_EQ(back, shifted);
    EXPECT_EQ(simulator.log(), "");
}

TEST(LengthTest, ReadsGoOverManyMarkers) {
    LeakGuard leaks;
    PodsimProcess simulator(long_pod(48), {"--strict"});
    Host host;
    ASSERT_EQ(host.connect(), 0);
    ASSERT_EQ(host.move(eJSC_JTAG_STATE_PAUSE_IR), 0);
    for (const uint32_t count : {2040U, 2044U, 2045U, 2046U, 2048U, 2049U, 10'000U}) {
        Words words(count + 1, 0xDEAD);
        ASSERT_EQ(host->RegisterRead(host.handle(), false, true, 18, count, words.data()), 0);
        EXPECT_EQ(std::count(words.begin(), words.end(), 7), count);
        EXPECT_EQ(words.back(), 0xDEAD);
    }
    EXPECT_EQ(simulator.log(), "");
}

} // namespace
} // namespace endtoend
