#include "api/handle.h"
#include "api/log_file.h"
#include "log/store.h"
#include "support/failing_os.h"

#include <gtest/gtest.h>

namespace {

using Values = std::vector<uint32_t>;
using test_support::FailingHeap;

// A handle that was never initialised: logs need no pod.
class LogFileTest : public testing::Test {
protected:
    LogFileTest() { jsc_CreateHandle(&handle); }
    ~LogFileTest() override { jsc_DeleteHandle(&handle); }

    void make(uint32_t words) {
        uint32_t granted = 0;
        ASSERT_EQ(jsc_LogFileCreate(handle, eJSC_LOGFILE_ID_RESET, &known, words, &granted), 0);
        ASSERT_EQ(jsc_LogFileErase(handle, eJSC_LOGFILE_ID_RESET, &known), 0);
    }

    int32_t append(uint32_t value) {
        return jsc_LogFileAppend(handle, eJSC_LOGFILE_ID_RESET, &known, value);
    }

    int32_t read(uint32_t limit) {
        values.assign(limit + 1, 0xEEEEEEEE);
        return jsc_LogFileRead(handle, eJSC_LOGFILE_ID_RESET, &known, limit, values.data(), &actual,
                               &total);
    }

    JSC_Inform* handle = nullptr;
    bool known = false;
    Values values;
    uint32_t actual = 99;
    uint32_t total = 99;
};

TEST_F(LogFileTest, OnlyTheResetLogIsKnown) {
    for (const int number : {-1, 0, 2, 3, 4}) {
        const auto id = static_cast<JSC_LogFileId>(number);
        uint32_t word = 99;
        known = true;
        EXPECT_EQ(jsc_LogFileCreate(handle, id, &known, 10, &word), 0);
        EXPECT_FALSE(known);
        EXPECT_EQ(word, 0U);
        known = true;
        EXPECT_EQ(jsc_LogFileDelete(handle, id, &known), 0);
        EXPECT_FALSE(known);
        known = true;
        EXPECT_EQ(jsc_LogFileErase(handle, id, &known), 0);
        EXPECT_FALSE(known);
        known = true;
        EXPECT_EQ(jsc_LogFileMode(handle, id, &known, true), 0);
        EXPECT_FALSE(known);
        known = true;
        EXPECT_EQ(jsc_LogFileAppend(handle, id, &known, 5), 0);
        EXPECT_FALSE(known);
        known = true;
        actual = total = 99;
        EXPECT_EQ(jsc_LogFileRead(handle, id, &known, 1, &word, &actual, &total), 0);
        EXPECT_FALSE(known);
        EXPECT_EQ(actual, 0U);
        EXPECT_EQ(total, 0U);
        EXPECT_EQ(handle->resetLogHandle, nullptr);
    }
}

TEST_F(LogFileTest, IsWrittenAndRead) {
    make(10);
    EXPECT_TRUE(known);
    EXPECT_EQ(append(7), 0);
    EXPECT_TRUE(known);
    EXPECT_EQ(append(8), 0);
    EXPECT_EQ(read(9), 0);
    EXPECT_EQ(actual, 4U);
    EXPECT_EQ(total, 4U);
    EXPECT_EQ(Values(values.begin(), values.begin() + 4), (Values{4, 7, 8, 0}));
    EXPECT_EQ(values[4], 0xEEEEEEEE);
}

TEST_F(LogFileTest, AnEmptyOneReadsAsItsFrame) {
    make(10);
    EXPECT_EQ(read(3), 0);
    EXPECT_EQ(actual, 2U);
    EXPECT_EQ(Values(values.begin(), values.begin() + 2), (Values{2, 0}));
}

TEST_F(LogFileTest, AReadBelowThreeWordsGivesTheTotalOnly) {
    make(10);
    append(1);
    for (const uint32_t limit : {1U, 2U}) {
        EXPECT_EQ(read(limit), 0);
        EXPECT_EQ(actual, 0U);
        EXPECT_EQ(total, 3U);
        EXPECT_EQ(values[0], 0xEEEEEEEE);
    }
}

TEST_F(LogFileTest, AReadThatIsCutShortStillCountsAll) {
    make(10);
    for (uint32_t value = 1; value <= 6; ++value) {
        append(value);
    }
    EXPECT_EQ(read(4), 0);
    EXPECT_EQ(actual, 8U);
    EXPECT_EQ(values, (Values{8, 1, 2, 3, 0})) << "limit - 1 entries, and the closing 0";
}

TEST_F(LogFileTest, ACreatedOneIsDisabledUntilItIsErased) {
    uint32_t granted = 0;
    EXPECT_EQ(jsc_LogFileCreate(handle, eJSC_LOGFILE_ID_RESET, &known, 10, &granted), 0);
    EXPECT_EQ(granted, 10U);
    append(1);
    EXPECT_EQ(read(5), 0);
    EXPECT_EQ(actual, 0U);
    EXPECT_EQ(total, 2U);
    EXPECT_EQ(jsc_LogFileErase(handle, eJSC_LOGFILE_ID_RESET, &known), 0);
    append(1);
    EXPECT_EQ(read(5), 0);
    EXPECT_EQ(actual, 3U);
    EXPECT_EQ(jsc_LogFileErase(handle, eJSC_LOGFILE_ID_RESET, &known), 0);
    EXPECT_EQ(read(5), 0);
    EXPECT_EQ(actual, 2U) << "empty again";
}

TEST_F(LogFileTest, AFullOneIsNoError) {
    make(2);
    for (int value = 0; value < 5; ++value) {
        EXPECT_EQ(append(1), 0);
    }
    EXPECT_EQ(read(5), 0);
    EXPECT_EQ(total, 4U);
}

TEST_F(LogFileTest, TheModeIsTheStores) {
    make(2);
    EXPECT_EQ(jsc_LogFileMode(handle, eJSC_LOGFILE_ID_RESET, &known, true), 0);
    EXPECT_TRUE(known);
    EXPECT_TRUE(static_cast<LS_LOGFILE*>(handle->resetLogHandle)->logFileSilent);
    EXPECT_EQ(jsc_LogFileMode(handle, eJSC_LOGFILE_ID_RESET, &known, false), 0);
    EXPECT_FALSE(static_cast<LS_LOGFILE*>(handle->resetLogHandle)->logFileSilent);
}

TEST_F(LogFileTest, WithoutALogEverythingSucceedsAndNothingIsRead) {
    EXPECT_EQ(append(1), 0);
    EXPECT_TRUE(known);
    EXPECT_EQ(jsc_LogFileErase(handle, eJSC_LOGFILE_ID_RESET, &known), 0);
    EXPECT_EQ(jsc_LogFileMode(handle, eJSC_LOGFILE_ID_RESET, &known, true), 0);
    EXPECT_EQ(jsc_LogFileDelete(handle, eJSC_LOGFILE_ID_RESET, &known), 0);
    EXPECT_TRUE(known);
    EXPECT_EQ(read(5), 0);
    EXPECT_TRUE(known);
    EXPECT_EQ(actual, 0U);
    EXPECT_EQ(total, 0U);
}

TEST_F(LogFileTest, IsDeletedAndMadeAnewWithoutALeak) {
    FailingHeap heap;
    make(4);
    EXPECT_EQ(heap.blocks().size(), 2U);
    make(8);
    EXPECT_EQ(heap.blocks().size(), 2U) << "the old one is gone";
    EXPECT_EQ(static_cast<LS_LOGFILE*>(handle->resetLogHandle)->logFileEntryMax, 8U);
    EXPECT_EQ(jsc_LogFileDelete(handle, eJSC_LOGFILE_ID_RESET, &known), 0);
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_EQ(handle->resetLogHandle, nullptr);
}

TEST_F(LogFileTest, ASizeThatIsRefusedLeavesTheOldOne) {
    uint32_t granted = 99;
    make(4);
    const LOG_HANDLE old = handle->resetLogHandle;
    EXPECT_EQ(jsc_LogFileCreate(handle, eJSC_LOGFILE_ID_RESET, &known, 0, &granted), 0);
    EXPECT_TRUE(known);
    EXPECT_EQ(granted, 0U);
    EXPECT_EQ(handle->resetLogHandle, old);
}

TEST_F(LogFileTest, OneThatCannotBeMadeLeavesNone) {
    uint32_t granted = 0;
    make(4);
    FailingHeap heap(0);
    EXPECT_EQ(jsc_LogFileCreate(handle, eJSC_LOGFILE_ID_RESET, &known, 4, &granted), 0);
    EXPECT_TRUE(known);
    EXPECT_EQ(granted, 4U) << "the request, whatever came of it";
    EXPECT_EQ(handle->resetLogHandle, nullptr);
}

TEST_F(LogFileTest, ChecksItsArguments) {
    constexpr JSC_LogFileId kId = eJSC_LOGFILE_ID_RESET;
    uint32_t word = 99;
    EXPECT_EQ(jsc_LogFileCreate(nullptr, kId, &known, 4, &word), -122);
    EXPECT_EQ(jsc_LogFileCreate(handle, kId, nullptr, 4, &word), -122);
    EXPECT_EQ(jsc_LogFileCreate(handle, kId, &known, 4, nullptr), -122);
    EXPECT_EQ(jsc_LogFileDelete(nullptr, kId, &known), -122);
    EXPECT_EQ(jsc_LogFileDelete(handle, kId, nullptr), -122);
    EXPECT_EQ(jsc_LogFileErase(nullptr, kId, &known), -122);
    EXPECT_EQ(jsc_LogFileErase(handle, kId, nullptr), -122);
    EXPECT_EQ(jsc_LogFileMode(nullptr, kId, &known, true), -122);
    EXPECT_EQ(jsc_LogFileMode(handle, kId, nullptr, true), -122);
    EXPECT_EQ(jsc_LogFileAppend(nullptr, kId, &known, 1), -122);
    EXPECT_EQ(jsc_LogFileAppend(handle, kId, nullptr, 1), -122);
    EXPECT_EQ(jsc_LogFileRead(nullptr, kId, &known, 1, &word, &actual, &total), -122);
    EXPECT_EQ(jsc_LogFileRead(handle, kId, nullptr, 1, &word, &actual, &total), -122);
    EXPECT_EQ(jsc_LogFileRead(handle, kId, &known, 1, nullptr, &actual, &total), -122);
    EXPECT_EQ(jsc_LogFileRead(handle, kId, &known, 1, &word, nullptr, &total), -122);
    EXPECT_EQ(jsc_LogFileRead(handle, kId, &known, 0, &word, &actual, &total), -122);
    EXPECT_EQ(word, 99U);
    make(4);
    EXPECT_EQ(jsc_LogFileRead(handle, kId, &known, 3, &word, &actual, nullptr), 0)
        << "the total alone may be left out; nothing is read then";
    EXPECT_TRUE(known);
    EXPECT_EQ(actual, 0U);
}

} // namespace
