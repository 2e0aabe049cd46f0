#include "controller/registers.h"
#include "support/bare_handle.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"
#include "transport/port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace {

using test_support::BareHandle;
using test_support::LeakGuard;
using test_support::RecordingProxy;
using testing::ElementsAre;

class RegistersTest : public testing::Test {
protected:
    RegistersTest() {
        EXPECT_EQ(handle.open(), 0);
        for (uint16_t port = 0; port < TBC_CACHED_PORTS; ++port) {
            handle.control.registerCache[port] = static_cast<uint16_t>(0x0100 + port);
        }
    }

    std::string flushed() {
        proxy.pod().forget();
        EXPECT_EQ(qel_PerformIo(handle.get()), 0);
        return proxy.pod().text();
    }

    LeakGuard leaks;
    RecordingProxy proxy;
    BareHandle handle;
};

TEST_F(RegistersTest, TheRangeDependsOnTheController) {
    struct RangeCase {
        JTI_ControlId kind;
        uint32_t first;
        int32_t result;
    };
    const RangeCase cases[] = {
        {eJTI_CONTROL_ID_TBC, 0, 0},
        {eJTI_CONTROL_ID_TBC, 23, 0},
        {eJTI_CONTROL_ID_TBC, 24, -170},
        {eJTI_CONTROL_ID_TBC, 31, -170},
        {eJTI_CONTROL_ID_TBC, UINT32_MAX, -170},
        {eJTI_CONTROL_ID_EXL, 23, 0},
        {eJTI_CONTROL_ID_EXL, 24, 0},
        {eJTI_CONTROL_ID_EXL, 31, 0},
        {eJTI_CONTROL_ID_EXL, 32, -170},
        {eJTI_CONTROL_ID_DPM, 31, 0},
        {eJTI_CONTROL_ID_DPM, 0x10000, -170},
        {eJTI_CONTROL_ID_OBSOLETE, 31, 0},
        {eJTI_CONTROL_ID_OBSOLETE, 32, -170},
    };
    for (const auto& [kind, first, result] : cases) {
        handle.control.ctlrRevise = kind;
        EXPECT_EQ(CheckCtlrRegister(handle.get(), first), result) << kind << " " << first;
        uint16_t word = 0;
        if (result != 0) {
            EXPECT_EQ(RegisterRead(handle.get(), true, true, first, 1, &word), -170);
            EXPECT_EQ(RegisterWrite(handle.get(), true, true, first, 1, &word), -170);
            EXPECT_EQ(flushed(), "");
        }
    }
}

TEST_F(RegistersTest, AReadStepsThroughAddressesAndWords) {
    std::vector<uint16_t> words(4);
    proxy.pod().answer_always(16, 0x0216);
    proxy.pod().answer_always(17, 0x0217);
    EXPECT_EQ(RegisterRead(handle.get(), true, true, 14, 4, words.data()), 0);
    EXPECT_THAT(words, ElementsAre(0x010E, 0x010F, 0x0216, 0x0217));
    EXPECT_EQ(proxy.pod().text(), "read 16\nread 17\n");
}

TEST_F(RegistersTest, AReadOfOneAddress) {
    std::vector<uint16_t> words(3);
    proxy.pod().answer(22, {7, 8, 9});
    EXPECT_EQ(RegisterRead(handle.get(), false, true, 22, 3, words.data()), 0);
    EXPECT_THAT(words, ElementsAre(7, 8, 9));
    EXPECT_EQ(proxy.pod().text(), "read 22\nread 22\nread 22\n");
}

TEST_F(RegistersTest, AReadIntoOneWordKeepsTheLast) {
    std::vector<uint16_t> words = {1, 2};
    proxy.pod().answer(22, {7, 8, 9});
    EXPECT_EQ(RegisterRead(handle.get(), false, false, 22, 3, words.data()), 0);
    EXPECT_THAT(words, ElementsAre(9, 2));
}

TEST_F(RegistersTest, ACachedReadSendsNothing) {
    std::vector<uint16_t> words(16);
    EXPECT_EQ(RegisterRead(handle.get(), true, true, 0, 16, words.data()), 0);
    std::vector<uint16_t> expected(16);
    std::iota(expected.begin(), expected.end(), uint16_t{0x0100});
    EXPECT_EQ(words, expected);
    EXPECT_TRUE(proxy.pod().batches().empty());
}

TEST_F(RegistersTest, ACachedReadFlushesWhatIsQueued) {
    uint16_t word = 0;
    PortWrite(handle.get(), TBC_PORT_SEND, 1);
    EXPECT_EQ(RegisterRead(handle.get(), true, true, 3, 1, &word), 0);
    EXPECT_EQ(proxy.pod().text(), "write 23 0001\n");
}

TEST_F(RegistersTest, ACountOfZeroJustFlushes) {
    uint16_t word = 9;
    PortWrite(handle.get(), TBC_PORT_SEND, 1);
    EXPECT_EQ(RegisterRead(handle.get(), true, true, 22, 0, &word), 0);
    EXPECT_EQ(proxy.pod().text(), "write 23 0001\n");
    EXPECT_EQ(word, 9);
    EXPECT_EQ(RegisterWrite(handle.get(), true, true, 22, 0, &word), 0);
    EXPECT_EQ(flushed(), "");
}

TEST_F(RegistersTest, OnlyTheFirstRegisterIsChecked) {
    std::vector<uint16_t> words(4);
    EXPECT_EQ(RegisterRead(handle.get(), true, true, 23, 4, words.data()), 0);
    EXPECT_EQ(proxy.pod().text(), "read 23\nread 24\nread 25\nread 26\n");
    EXPECT_EQ(RegisterWrite(handle.get(), true, true, 23, 2, words.data()), 0);
    EXPECT_EQ(flushed(), "write 23 0000\nwrite 24 0000\n");
}

TEST_F(RegistersTest, AFailedFlushIsReturned) {
    proxy.pod().fail_batches(1);
    uint16_t word = 9;
    EXPECT_EQ(RegisterRead(handle.get(), true, true, 22, 1, &word), -140);
    EXPECT_EQ(word, 9);
}

TEST_F(RegistersTest, AWriteStepsThroughAddressesAndWords) {
    const uint16_t words[] = {0x010F, 0x0210, 0x0211};
    EXPECT_EQ(RegisterWrite(handle.get(), true, true, 15, 3, words), 0);
    EXPECT_TRUE(proxy.pod().batches().empty());
    // Register 15 already holds its word.
    EXPECT_EQ(flushed(), "write 16 0210\nwrite 17 0211\n");
    EXPECT_EQ(RegisterWrite(handle.get(), false, true, 23, 3, words), 0);
    EXPECT_EQ(flushed(), "write 23 010f\nwrite 23 0210\nwrite 23 0211\n");
    EXPECT_EQ(RegisterWrite(handle.get(), true, false, 20, 3, words), 0);
    EXPECT_EQ(flushed(), "write 20 010f\nwrite 21 010f\nwrite 22 010f\n");
}

TEST_F(RegistersTest, BlocksLongerThanTheOutBlock) {
    constexpr uint32_t kCount = 200000;
    uint16_t next = 0;
    proxy.pod().answer_with(22, [&next] { return next++; });
    std::vector<uint16_t> words(kCount);
    EXPECT_EQ(RegisterRead(handle.get(), false, true, 22, kCount, words.data()), 0);
    for (uint32_t index = 0; index < kCount; ++index) {
        ASSERT_EQ(words[index], static_cast<uint16_t>(index));
    }
    EXPECT_EQ(proxy.pod().batches().size(), 2U);
    uint16_t expected = 0;
    bool right = true;
    proxy.pod().watch_writes(
        [&](uint16_t port, uint16_t value) { right = right && port == 23 && value == expected++; });
    EXPECT_EQ(RegisterWrite(handle.get(), false, true, 23, kCount, words.data()), 0);
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
    EXPECT_TRUE(right);
    EXPECT_EQ(expected, static_cast<uint16_t>(kCount));
}

TEST_F(RegistersTest, AFlushThatMadeRoomAndFailedIsReturned) {
    std::vector<uint16_t> words(200000, 5);
    proxy.pod().fail_batches(1);
    EXPECT_EQ(RegisterRead(handle.get(), false, true, 22, 200000, words.data()), -140);
    EXPECT_THAT(words, testing::Each(5));
    EXPECT_EQ(batch_take_failure(handle.get()), -140);
    proxy.pod().fail_batches(1);
    EXPECT_EQ(RegisterWrite(handle.get(), false, true, 23, 200000, words.data()), -140);
    EXPECT_EQ(RegisterPoll(handle.get(), eJSC_STATUS_TYPE_COMMAND_FINISH, 0), -140);
    EXPECT_EQ(batch_take_failure(handle.get()), -140);
    EXPECT_EQ(RegisterPoll(handle.get(), eJSC_STATUS_TYPE_COMMAND_FINISH, 0), 0);
}

TEST_F(RegistersTest, Polls) {
    const std::pair<int, const char*> waits[] = {{2, ""},
                                                 {3, "wait send\n"},
                                                 {4, "wait send many\n"},
                                                 {7, "wait recv\n"},
                                                 {8, "wait recv many\n"},
                                                 {12, "wait done\n"}};
    for (const auto& [kind, word] : waits) {
        EXPECT_EQ(RegisterPoll(handle.get(), static_cast<JSC_StatusType>(kind), UINT32_MAX), 0);
        EXPECT_EQ(flushed(), word) << kind;
    }
    for (const int kind : {INT32_MIN, -1, 0, 1, 5, 6, 9, 10, 11, 13, 14, 15, 18, 19, INT32_MAX}) {
        EXPECT_EQ(RegisterPoll(handle.get(), static_cast<JSC_StatusType>(kind), 0), -122) << kind;
        EXPECT_EQ(flushed(), "") << kind;
    }
}

TEST_F(RegistersTest, NeedHandleControllerBlockAndBuffer) {
    uint16_t word = 9;
    EXPECT_EQ(CheckCtlrRegister(nullptr, 0), -122);
    EXPECT_EQ(RegisterRead(nullptr, true, true, 0, 1, &word), -122);
    EXPECT_EQ(RegisterWrite(nullptr, true, true, 0, 1, &word), -122);
    EXPECT_EQ(RegisterPoll(nullptr, eJSC_STATUS_TYPE_COMMAND_FINISH, 0), -122);
    EXPECT_EQ(RegisterRead(handle.get(), true, true, 0, 1, nullptr), -122);
    EXPECT_EQ(RegisterWrite(handle.get(), true, true, 0, 1, nullptr), -122);
    handle.inform.pJscControl = nullptr;
    EXPECT_EQ(CheckCtlrRegister(handle.get(), 0), -116);
    EXPECT_EQ(RegisterRead(handle.get(), true, true, 0, 1, &word), -116);
    EXPECT_EQ(RegisterWrite(handle.get(), true, true, 0, 1, &word), -116);
    EXPECT_EQ(RegisterPoll(handle.get(), eJSC_STATUS_TYPE_COMMAND_FINISH, 0), -116);
    EXPECT_EQ(word, 9);
}

} // namespace
