// Each fault that the simulator can be given: the code that the host sees, and that the pod is
// usable when it is over.
#include "description_text.h"
#include "host.h"
#include "simulator_status.h"
#include "support/leak_guard.h"
#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

namespace endtoend {
namespace {

using test_support::LeakGuard;
using test_support::PodsimProcess;

constexpr uint16_t kScratch = 8;
const Words idcode{0x3C4D, 0x1A2B};

// The whole way: reset, IDCODE, a word through a register.
void expect_usable(Host& host) {
    EXPECT_EQ(host->Diagnose(host.handle(), 0), 0);
    EXPECT_EQ(host.move(eJSC_JTAG_STATE_RESET), 0);
    EXPECT_EQ(host.capture(eJSC_JTAG_SHIFT_DR, 32), idcode);
    host.exchange(eJSC_JTAG_SHIFT_IR, 4, {kScratch});
    host.exchange(eJSC_JTAG_SHIFT_DR, 32, {0x600D, 0xDA7A});
    EXPECT_EQ(host.exchange(eJSC_JTAG_SHIFT_DR, 32, {0, 0}), Words({0x600D, 0xDA7A}));
    EXPECT_EQ(host.state(), eJSC_JTAG_STATE_IDLE);
}

void expect_usable_anew(const Keys& keys = {}) {
    Host host(keys);
    ASSERT_EQ(host.created(), 0);
    ASSERT_EQ(host.connect(), 0);
    expect_usable(host);
    EXPECT_EQ(host.disconnect(), 0);
    EXPECT_EQ(host.remove(), 0);
}

// What a host does after a failed batch: the controller's registers are no longer what the driver
// believes, and a hard reset brings both together.
void recover(Host& host) {
    JSC_ResetAction action{};
    action.resetHard = true;
    EXPECT_EQ(host->Reset(host.handle(), &action), 0);
}

class FaultTest : public testing::Test {
protected:
    void expect_ctl(const std::string& command) { EXPECT_EQ(simulator.ctl(command), "ok"); }

    LeakGuard leaks;
    PodsimProcess simulator{plain_pod_text({}), {"--strict"}};
};

TEST(NoProxyTest, FailsTheOpening) {
    LeakGuard leaks;
    Host host;
    EXPECT_EQ(host.created(), eJTI_ERROR_POD_OPEN);
    EXPECT_EQ(host.connect(), eJTI_ERROR_HANDLE_STATE);
    EXPECT_EQ(host.remove(), eJTI_ERROR_HANDLE_STATE);
}

TEST_F(FaultTest, PowerOffBeforeConnecting) {
    expect_ctl("power off");
    {
        Host host;
        ASSERT_EQ(host.created(), 0);
        EXPECT_EQ(host.connect(), eJTI_ERROR_NO_POWER);
        EXPECT_EQ(host.disconnect(), eJTI_ERROR_HANDLE_STATE);
        EXPECT_EQ(host.remove(), eJTI_ERROR_HANDLE_STATE);
    }
    expect_ctl("power on");
    expect_usable_anew();
}

TEST_F(FaultTest, PowerOffWhileConnected) {
    Host host;
    ASSERT_EQ(host.connect(), 0);
    expect_usable(host);
    expect_ctl("power off");
    host.capture(eJSC_JTAG_SHIFT_DR, 32);
    EXPECT_EQ(host->Diagnose(host.handle(), 0), eJTI_ERROR_NO_POWER);
    EXPECT_EQ(host->Diagnose(host.handle(), eJTI_ERROR_BATCH_FAILED), eJTI_ERROR_NO_POWER);
    JSC_PodStatus status{};
    EXPECT_EQ(host->PodStatus(host.handle(), &status), 0);
    EXPECT_TRUE(status.powerStatus);
    EXPECT_FALSE(status.clockStatus);
    JSC_ResetAction action{};
    EXPECT_EQ(host->Reset(host.handle(), &action), eJTI_ERROR_NO_POWER);
    expect_ctl("power on");
    recover(host);
    expect_usable(host);
}

TEST_F(FaultTest, ClockOffBeforeConnecting) {
    expect_ctl("clock off");
    {
        Host host;
        ASSERT_EQ(host.created(), 0);
        EXPECT_EQ(host.connect(), eJTI_ERROR_NO_CLOCK);
    }
    expect_ctl("clock on");
    expect_usable_anew();
}

TEST_F(FaultTest, ClockOffWhileConnected) {
    Host host;
    ASSERT_EQ(host.connect(), 0);
    expect_usable(host);
    expect_ctl("clock off");
    host.capture(eJSC_JTAG_SHIFT_DR, 32);
    EXPECT_EQ(host->Diagnose(host.handle(), 0), eJTI_ERROR_NO_CLOCK);
    JSC_PodStatus status{};
    EXPECT_EQ(host->PodStatus(host.handle(), &status), 0);
    EXPECT_TRUE(status.clockStatus);
    EXPECT_FALSE(status.powerStatus);
    expect_ctl("clock on");
    recover(host);
    expect_usable(host);
}

// Only pods of later generations tell that the test clock is lost.
TEST(FaultOfOldPodsTest, ClockOffGoesUnseen) {
    LeakGuard leaks;
    for (const uint32_t generation : {1U, 2U, 3U, 4U}) {
        PodText pod;
        pod.revision = static_cast<uint16_t>(generation << 8);
        PodsimProcess simulator(plain_pod_text(pod), {"--strict"});
        EXPECT_EQ(simulator.ctl("clock off"), "ok");
        {
            Host host(pod_keys(generation));
            EXPECT_EQ(host.connect(), generation == 1 ? 0 : eJTI_ERROR_NO_CLOCK);
            if (generation == 1) {
                EXPECT_EQ(host.capture(eJSC_JTAG_SHIFT_DR, 32), Words({0xFFFF, 0xFFFF}));
                EXPECT_EQ(host->Diagnose(host.handle(), 0), 0);
            }
        }
        EXPECT_EQ(simulator.ctl("clock on"), "ok");
        expect_usable_anew(pod_keys(generation));
    }
}

TEST_F(FaultTest, EmuPinsLow) {
    Host host;
    ASSERT_EQ(host.connect(), 0);
    for (const bool emu0 : {true, false}) {
        for (const bool emu1 : {true, false}) {
            expect_ctl(emu0 ? "emu0 high" : "emu0 low");
            expect_ctl(emu1 ? "emu1 high" : "emu1 low");
            JSC_OldStatus status{};
            EXPECT_EQ(host->OldStatus(host.handle(), &status), 0);
            EXPECT_TRUE(status.itsAlive);
            EXPECT_EQ(status.emuPin0, emu0);
            EXPECT_EQ(status.emuPin1, emu1);
        }
    }
}

TEST_F(FaultTest, RefusedSupportWriteInEachPlace) {
    expect_ctl("refuse 1");
    {
        Host host; // a fresh pod: connecting pulses the target reset
        EXPECT_EQ(host.connect(), eJTI_ERROR_SUPPORT_WRITE);
    }
    {
        Host host;
        ASSERT_EQ(host.connect(), 0);
        expect_ctl("refuse 1");
        JSC_ResetAction action{};
        action.resetHard = true;
        EXPECT_EQ(host->Reset(host.handle(), &action), eJTI_ERROR_SUPPORT_WRITE);
        EXPECT_EQ(host->Diagnose(host.handle(), eJTI_ERROR_SUPPORT_WRITE),
                  eJTI_ERROR_SUPPORT_WRITE);
        recover(host);
        expect_usable(host);
        expect_ctl("refuse 1");
        EXPECT_EQ(host.disconnect(), eJTI_ERROR_SUPPORT_WRITE);
        EXPECT_EQ(host.remove(), eJTI_ERROR_HANDLE_STATE) << "the controller block is gone";
    }
    expect_usable_anew();
}

TEST_F(FaultTest, FailedBatchOfEachKindOfScan) {
    Host host;
    ASSERT_EQ(host.connect(), 0);
    expect_usable(host);
    const JSC_JtagCommand command = scan_command(eJSC_JTAG_SHIFT_DR);
    Words in(100, 0xDEAD);
    const Words out(100, 0x5AC3);
    JSC_JtagState state{};
    for (int kind = 0; kind < 5; ++kind) {
        SCOPED_TRACE(kind);
        expect_ctl("fail 1");
        switch (kind) {
        case 0:
            EXPECT_EQ(host.both(command, 1000, out, in), eJTI_ERROR_BATCH_FAILED);
            break;
        case 1:
            EXPECT_EQ(host.receive(command, 1000, in), eJTI_ERROR_BATCH_FAILED);
            break;
        case 2: // a queued scan fails with the flush
            EXPECT_EQ(host.send(command, 1000, out), 0);
            EXPECT_EQ(host->GetState(host.handle(), &state), eJTI_ERROR_BATCH_FAILED);
            break;
        case 3:
            EXPECT_EQ(host.fixed(command, 1000, true), 0);
            EXPECT_EQ(host->GetState(host.handle(), &state), eJTI_ERROR_BATCH_FAILED);
            break;
        default:
            EXPECT_EQ(host->RegisterRead(host.handle(), false, true, 17, 100, in.data()),
                      eJTI_ERROR_BATCH_FAILED);
        }
        EXPECT_EQ(host->Diagnose(host.handle(), eJTI_ERROR_BATCH_FAILED), eJTI_ERROR_BATCH_FAILED);
        recover(host);
        expect_usable(host);
    }
}

// The flush in the middle of a scan that is longer than a batch: the scan fails, all that follows
// is dropped, until the host asks for a diagnosis.
TEST_F(FaultTest, FailedBatchInTheMiddleOfALongScan) {
    Host host;
    ASSERT_EQ(host.connect(), 0);
    const JSC_JtagCommand command = scan_command(eJSC_JTAG_SHIFT_DR);
    constexpr uint32_t kBits = 2'000'000;
    Words in(words_of(kBits));
    const Words out(words_of(kBits), 0x5AC3);
    expect_ctl("fail 1");
    EXPECT_EQ(host.both(command, kBits, out, in), eJTI_ERROR_BATCH_FAILED);
    JSC_JtagState state{};
    EXPECT_EQ(host->GetState(host.handle(), &state), eJTI_ERROR_BATCH_FAILED);
    EXPECT_EQ(state, eJSC_JTAG_STATE_INVALID_FIRST);
    EXPECT_EQ(host->Diagnose(host.handle(), 0), eJTI_ERROR_BATCH_FAILED);
    recover(host);
    expect_usable(host);
}

struct LoopCase {
    const char* fault;
    int32_t code;
};

TEST_F(FaultTest, LoopBackOfEachKind) {
    for (const LoopCase& one : {LoopCase{"high-ff", eJTI_ERROR_LOOP_HIGH_ONES},
                                LoopCase{"low-ff", eJTI_ERROR_LOOP_LOW_ONES},
                                LoopCase{"high-00", eJTI_ERROR_LOOP_HIGH_ZEROS},
                                LoopCase{"low-00", eJTI_ERROR_LOOP_LOW_ZEROS},
                                LoopCase{"corrupt", eJTI_ERROR_LOOP_CORRUPT}}) {
        SCOPED_TRACE(one.fault);
        expect_ctl(std::string("loopback ") + one.fault);
        testing::internal::CaptureStdout();
        {
            Host host;
            ASSERT_EQ(host.created(), 0);
            EXPECT_EQ(host.connect(), one.code);
        }
        const std::string printed = testing::internal::GetCapturedStdout();
        const bool corrupt = one.code == eJTI_ERROR_LOOP_CORRUPT;
        EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), corrupt ? 5 : 0) << printed;
        if (corrupt) { // read and expected word
            EXPECT_THAT(printed, testing::ContainsRegex("^.... 5ac3\n.... a53c\n.... 0f0f\n"));
        }
        expect_ctl("loopback ok");
        expect_usable_anew();
    }
}

TEST_F(FaultTest, UnpluggedPod) {
    Host host;
    ASSERT_EQ(host.connect(), 0);
    expect_ctl("unplug");
    Words in(2);
    EXPECT_EQ(host.receive(scan_command(eJSC_JTAG_SHIFT_DR), 32, in), eJTI_ERROR_BATCH_FAILED);
    JSC_ResetAction action{};
    action.resetHard = true;
    EXPECT_NE(host->Reset(host.handle(), &action), 0);
    {
        Host other(pod_keys(2, 1));
        EXPECT_EQ(other.created(), eJTI_ERROR_POD_OPEN);
    }
    expect_ctl("plug");
    host->Diagnose(host.handle(), 0);
    recover(host);
    expect_usable(host);
    EXPECT_EQ(host.disconnect(), 0);
    EXPECT_EQ(host.remove(), 0);
    expect_usable_anew();
}

TEST_F(FaultTest, SlowPod) {
    Host host;
    ASSERT_EQ(host.connect(), 0);
    expect_ctl("latency 50000");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(host.capture(eJSC_JTAG_SHIFT_DR, 32), idcode);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
    expect_ctl("latency 0");
    expect_usable(host);
}

// Batches that connecting to a fresh pod takes.
uint32_t batches_of_a_connect() {
    PodsimProcess simulator(plain_pod_text({}), {"--strict"});
    Host host({}, 0);
    EXPECT_EQ(host.connect(), 0);
    // What is still queued goes out with the next read; one more here.
    EXPECT_EQ(host.state(), eJSC_JTAG_STATE_RESET);
    return static_cast<uint32_t>(status_number(simulator, "batches")) - 1;
}

// Connecting takes a number of batches; each one fails in turn, on a pod of its own.
TEST(FaultWhileConnectingTest, InEachBatch) {
    LeakGuard leaks;
    const uint32_t pods = batches_of_a_connect();
    std::string text;
    std::string script;
    for (uint32_t serial = 1; serial <= pods; ++serial) {
        PodText pod;
        pod.serial = serial;
        text += plain_pod_text(pod);
        const std::string number = std::to_string(serial);
        script += "batch " + number + ": pod " + number + " fail 1\n";
    }
    const std::string file = testing::TempDir() + "talvor_" + std::to_string(getpid()) + ".script";
    std::ofstream(file) << script;
    PodsimProcess simulator(text, {"--strict", "--script", file});
    std::remove(file.c_str());
    std::vector<int32_t> codes;
    for (uint32_t serial = 1; serial <= pods; ++serial) {
        SCOPED_TRACE(testing::Message() << "batch " << serial);
        {
            Host host(pod_keys(2, serial), 0);
            ASSERT_EQ(host.created(), 0);
            codes.push_back(host.connect());
            if (codes.back() == 0) {
                recover(host);
                expect_usable(host);
            }
        }
        expect_usable_anew(pod_keys(2, serial));
    }
    constexpr int32_t kFailed = eJTI_ERROR_BATCH_FAILED;
    EXPECT_THAT(codes, testing::ElementsAre(
                           eJTI_ERROR_POD_SETUP, kFailed, kFailed, kFailed, kFailed, kFailed,
                           // A version that cannot be read counts as no controller.
                           eJTI_ERROR_CONTROLLER_KIND, kFailed,
                           // Changes of TRSTn may fail: the TAP is reset otherwise.
                           0, 0, 0, kFailed, kFailed,
                           // And so may the second look at the version, of the quick start.
                           0));
}

} // namespace
} // namespace endtoend
