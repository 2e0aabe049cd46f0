#include "log/store.h"
#include "support/failing_os.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using Words = std::vector<uint32_t>;

constexpr uint32_t kNumberMark = 0xFFFFFFFF;
constexpr uint32_t kStringMark = 0xFFFFFFFE;
constexpr uint32_t kGuard = 0xA5A5A5A5;

// An enabled log that deletes itself.
struct Log {
    explicit Log(uint32_t words, bool enable = true) {
        EXPECT_EQ(zdl_LogFileCreate(&handle, words), 0);
        if (enable) {
            zdl_LogFileErase(handle, true);
        }
    }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;
    ~Log() { zdl_LogFileDelete(&handle); }

    LS_LOGFILE& store() { return *static_cast<LS_LOGFILE*>(handle); }
    Words words() { return {store().pLogFileData, store().pLogFileData + store().logFileIndex}; }

    LOG_HANDLE handle = nullptr;
};

struct Reading {
    Words values; // limit + 1 words and one more that must stay as it was
    uint32_t actual = kGuard;
    uint32_t total = kGuard;
};

Reading read(LOG_HANDLE handle, uint32_t limit) {
    Reading reading;
    reading.values.assign(limit + 2, kGuard);
    zdl_LogFileRead(handle, limit, reading.values.data(), &reading.actual, &reading.total);
    EXPECT_EQ(reading.values.back(), kGuard);
    return reading;
}

// The words up to the first one that was not written.
Words written(const Reading& reading) {
    Words words = reading.values;
    while (!words.empty() && words.back() == kGuard) {
        words.pop_back();
    }
    return words;
}

TEST(StoreTest, CreateGivesAZeroedDisabledLogThatIsNotSilent) {
    Log log(3, false);
    EXPECT_EQ(log.store().logFileEntryMax, 3U);
    EXPECT_EQ(log.store().logFileSize, 12U);
    EXPECT_EQ(log.store().logFileIndex, 0U);
    EXPECT_FALSE(log.store().logFileEnable);
    EXPECT_FALSE(log.store().logFileSilent);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(log.store().pLogFileData[i], 0U);
    }
}

TEST(StoreTest, CreateRefusesNullAndZeroWords) {
    int other = 0;
    LOG_HANDLE handle = &other;
    EXPECT_EQ(zdl_LogFileCreate(nullptr, 4), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(zdl_LogFileCreate(&handle, 0), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(handle, &other);
}

TEST(StoreTest, CreateWithoutMemoryForTheRecordFailsWithNull) {
    const test_support::FailingHeap heap(0);
    int other = 0;
    LOG_HANDLE handle = &other;
    EXPECT_EQ(zdl_LogFileCreate(&handle, 4), eJTI_ERROR_NO_MEMORY);
    EXPECT_EQ(handle, nullptr);
}

TEST(StoreTest, CreateWithoutMemoryForTheWordsLeavesTheRecordAllocated) {
    const test_support::FailingHeap heap(1);
    int other = 0;
    LOG_HANDLE handle = &other;
    EXPECT_EQ(zdl_LogFileCreate(&handle, 4), eJTI_ERROR_NO_MEMORY);
    EXPECT_EQ(handle, nullptr);
    ASSERT_EQ(heap.blocks().size(), 1U);
    os_calls.free(heap.blocks().front());
}

TEST(StoreTest, CreateRefusesMoreWordsThan32BitsHoldTheBytesOf) {
    const test_support::FailingHeap heap(1);
    LOG_HANDLE handle = nullptr;
    EXPECT_EQ(zdl_LogFileCreate(&handle, 0x40000000), eJTI_ERROR_NO_MEMORY);
    EXPECT_EQ(handle, nullptr);
    ASSERT_EQ(heap.blocks().size(), 1U);
    os_calls.free(heap.blocks().front());
}

TEST(StoreTest, DeleteFreesEverythingAndClearsTheHandle) {
    const test_support::FailingHeap heap;
    LOG_HANDLE handle = nullptr;
    ASSERT_EQ(zdl_LogFileCreate(&handle, 4), 0);
    EXPECT_EQ(heap.blocks().size(), 2U);
    EXPECT_EQ(zdl_LogFileDelete(&handle), 0);
    EXPECT_EQ(handle, nullptr);
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_EQ(zdl_LogFileDelete(&handle), 0);
    EXPECT_EQ(zdl_LogFileDelete(nullptr), eJTI_ERROR_BAD_ARGUMENT);
}

TEST(StoreTest, ADisabledLogIgnoresEntries) {
    Log log(4, false);
    EXPECT_EQ(zdl_LogFileBasic(log.handle, 7), 0);
    EXPECT_EQ(zdl_LogFileUnsign(log.handle, 7, 8), 0);
    EXPECT_EQ(zdl_LogFileString(log.handle, 7, "a text that is too long for the log"), 0);
    EXPECT_EQ(log.store().logFileIndex, 0U);
}

TEST(StoreTest, EraseEmptiesZeroesAndSwitches) {
    Log log(3);
    zdl_LogFileUnsign(log.handle, 5, 6);
    zdl_LogFileMode(log.handle, true);
    zdl_LogFileErase(log.handle, true);
    EXPECT_EQ(log.store().logFileIndex, 0U);
    EXPECT_TRUE(log.store().logFileEnable);
    EXPECT_TRUE(log.store().logFileSilent);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(log.store().pLogFileData[i], 0U);
    }
    zdl_LogFileErase(log.handle, false);
    EXPECT_FALSE(log.store().logFileEnable);
}

TEST(StoreTest, ModeSwitchesSilence) {
    Log log(1);
    zdl_LogFileMode(log.handle, true);
    EXPECT_TRUE(log.store().logFileSilent);
    zdl_LogFileMode(log.handle, false);
    EXPECT_FALSE(log.store().logFileSilent);
}

TEST(StoreTest, ANullLogIsTolerated) {
    zdl_LogFileErase(nullptr, true);
    zdl_LogFileMode(nullptr, true);
    EXPECT_EQ(zdl_LogFileBasic(nullptr, 1), 0);
    EXPECT_EQ(zdl_LogFileUnsign(nullptr, 1, 2), 0);
    EXPECT_EQ(zdl_LogFileString(nullptr, 1, "text"), 0);
    const Reading reading = read(nullptr, 4);
    EXPECT_EQ(reading.actual, 0U);
    EXPECT_EQ(reading.total, 0U);
    EXPECT_EQ(written(reading), Words{});
}

TEST(StoreTest, ABasicEntryIsItsKey) {
    Log log(4);
    EXPECT_EQ(zdl_LogFileBasic(log.handle, 28), 0);
    EXPECT_EQ(zdl_LogFileBasic(log.handle, 32), 0);
    EXPECT_EQ(log.words(), (Words{28, 32}));
}

TEST(StoreTest, The257thEntryFindsALogOf256WordsFull) {
    Log log(256);
    for (uint32_t i = 0; i < 256; ++i) {
        ASSERT_EQ(zdl_LogFileBasic(log.handle, i), 0) << i;
    }
    EXPECT_EQ(zdl_LogFileBasic(log.handle, 1000), eJTI_ERROR_LOG_FULL);
    zdl_LogFileMode(log.handle, true);
    EXPECT_EQ(zdl_LogFileBasic(log.handle, 1000), 0);
    EXPECT_EQ(log.store().logFileIndex, 256U);
    EXPECT_EQ(log.words().back(), 255U);
}

TEST(StoreTest, ANumberEntryIsMarkNumberKey) {
    Log log(3);
    EXPECT_EQ(zdl_LogFileUnsign(log.handle, 39, 1234), 0);
    EXPECT_EQ(log.words(), (Words{kNumberMark, 1234, 39}));
}

TEST(StoreTest, ANumberEntryStopsAtTheFirstWordThatDoesNotFit) {
    for (uint32_t room = 0; room < 3; ++room) {
        Log log(room + 1);
        zdl_LogFileBasic(log.handle, 9);
        EXPECT_EQ(zdl_LogFileUnsign(log.handle, 39, 1234), eJTI_ERROR_LOG_FULL);
        Words expected{9, kNumberMark, 1234};
        expected.resize(room + 1);
        EXPECT_EQ(log.words(), expected);

        zdl_LogFileMode(log.handle, true);
        EXPECT_EQ(zdl_LogFileUnsign(log.handle, 39, 1234), 0);
        EXPECT_EQ(log.words(), expected);
    }
}

// The words of a string entry, as the bytes of a text padded with NULs.
Words string_entry(const std::string& text, uint32_t key) {
    const uint32_t count = (static_cast<uint32_t>(text.size() & ~size_t{3}) + 4) / 4;
    Words words{kStringMark, count};
    words.resize(2 + count);
    std::memcpy(&words[2], text.data(), text.size());
    words.push_back(key);
    return words;
}

TEST(StoreTest, AStringEntryHasItsTextAndAtLeastOneNul) {
    const std::pair<const char*, uint32_t> cases[] = {
        {"", 1}, {"a", 1}, {"abc", 1}, {"abcd", 2}, {"abcdefg", 2}, {"abcdefgh", 3},
    };
    for (const auto& [text, count] : cases) {
        Log log(16);
        // A log that was full of ones shows what the padding writes.
        std::memset(log.store().pLogFileData, 0xFF, log.store().logFileSize);
        EXPECT_EQ(zdl_LogFileString(log.handle, 77, text), 0);
        const Words words = log.words();
        EXPECT_EQ(words.size(), count + 3) << text;
        EXPECT_EQ(words[1], count) << text;
        EXPECT_EQ(words, string_entry(text, 77)) << text;
    }
}

TEST(StoreTest, AStringEntryNeedsRoomForTextAndKey) {
    // Mark, count, one word of text, key.
    Log exact(4);
    EXPECT_EQ(zdl_LogFileString(exact.handle, 77, "abc"), 0);
    EXPECT_EQ(exact.words(), string_entry("abc", 77));

    for (const bool silent : {false, true}) {
        Log short_of_one(3);
        zdl_LogFileMode(short_of_one.handle, silent);
        EXPECT_EQ(zdl_LogFileString(short_of_one.handle, 77, "abc"), eJTI_ERROR_LOG_FULL);
        EXPECT_EQ(short_of_one.words(), (Words{kStringMark, 1}));

        Log no_count(1);
        zdl_LogFileMode(no_count.handle, silent);
        EXPECT_EQ(zdl_LogFileString(no_count.handle, 77, "abc"), eJTI_ERROR_LOG_FULL);
        EXPECT_EQ(no_count.words(), Words{kStringMark});

        EXPECT_EQ(zdl_LogFileString(no_count.handle, 77, "abc"), eJTI_ERROR_LOG_FULL);
        EXPECT_EQ(no_count.words(), Words{kStringMark});
    }
}

TEST(StoreTest, ANullStringIsRefused) {
    Log log(8);
    EXPECT_EQ(zdl_LogFileString(log.handle, 1, nullptr), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(zdl_LogFileString(nullptr, 1, nullptr), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(log.store().logFileIndex, 0U);
}

TEST(StoreTest, AReadGivesCountEntriesAndAClosingZero) {
    Log log(8);
    zdl_LogFileBasic(log.handle, 5);
    zdl_LogFileUnsign(log.handle, 39, 3);
    const Reading reading = read(log.handle, 10);
    EXPECT_EQ(written(reading), (Words{6, 5, kNumberMark, 3, 39, 0}));
    EXPECT_EQ(reading.actual, 6U);
    EXPECT_EQ(reading.total, 6U);
}

TEST(StoreTest, AReadOfAnEmptyLogGivesTwoWords) {
    Log log(8);
    const Reading reading = read(log.handle, 3);
    EXPECT_EQ(written(reading), (Words{2, 0}));
    EXPECT_EQ(reading.actual, 2U);
    EXPECT_EQ(reading.total, 2U);
}

TEST(StoreTest, AReadBelowThreeWordsOnlyCounts) {
    Log log(8);
    zdl_LogFileBasic(log.handle, 5);
    for (const uint32_t limit : {0U, 1U, 2U}) {
        const Reading reading = read(log.handle, limit);
        EXPECT_EQ(written(reading), Words{});
        EXPECT_EQ(reading.actual, 0U);
        EXPECT_EQ(reading.total, 3U);
    }
}

TEST(StoreTest, AReadOfADisabledLogOnlyCounts) {
    Log log(8);
    zdl_LogFileBasic(log.handle, 5);
    log.store().logFileEnable = false;
    const Reading reading = read(log.handle, 8);
    EXPECT_EQ(written(reading), Words{});
    EXPECT_EQ(reading.actual, 0U);
    EXPECT_EQ(reading.total, 3U);
}

TEST(StoreTest, ACutReadWritesLimitPlusOneWordsAndStillTellsTheWholeCount) {
    Log log(8);
    for (const uint32_t key : {11U, 12U, 13U, 14U}) {
        zdl_LogFileBasic(log.handle, key);
    }
    Reading reading = read(log.handle, 3);
    EXPECT_EQ(written(reading), (Words{6, 11, 12, 0}));
    EXPECT_EQ(reading.actual, 6U);
    EXPECT_EQ(reading.total, 6U);
    reading = read(log.handle, 4);
    EXPECT_EQ(written(reading), (Words{6, 11, 12, 13, 0}));
    reading = read(log.handle, 5);
    EXPECT_EQ(written(reading), (Words{6, 11, 12, 13, 14, 0}));
    reading = read(log.handle, 6);
    EXPECT_EQ(written(reading), (Words{6, 11, 12, 13, 14, 0}));
}

TEST(StoreTest, AReadNeedsItsThreePointers) {
    Log log(8);
    uint32_t values[8] = {kGuard};
    uint32_t actual = kGuard;
    uint32_t total = kGuard;
    zdl_LogFileRead(log.handle, 4, nullptr, &actual, &total);
    zdl_LogFileRead(log.handle, 4, values, nullptr, &total);
    zdl_LogFileRead(log.handle, 4, values, &actual, nullptr);
    EXPECT_EQ(values[0], kGuard);
    EXPECT_EQ(actual, kGuard);
    EXPECT_EQ(total, kGuard);
}

TEST(StoreTest, AgreesWithAVectorUnderRandomEntries) {
    std::mt19937 random(20260107);
    std::uniform_int_distribution<uint32_t> any;
    for (int round = 0; round < 300; ++round) {
        const uint32_t capacity = 1 + any(random) % 40;
        const bool silent = any(random) % 2 == 0;
        Log log(capacity);
        zdl_LogFileMode(log.handle, silent);
        Words model;
        const auto append = [&](const Words& entry) {
            for (const uint32_t word : entry) {
                if (model.size() == capacity) {
                    return silent ? 0 : static_cast<int>(eJTI_ERROR_LOG_FULL);
                }
                model.push_back(word);
            }
            return 0;
        };
        for (int i = 0; i < 20; ++i) {
            const uint32_t key = any(random);
            if (any(random) % 2 == 0) {
                ASSERT_EQ(zdl_LogFileBasic(log.handle, key), append({key}));
            } else {
                ASSERT_EQ(zdl_LogFileUnsign(log.handle, key, 8), append({kNumberMark, 8, key}));
            }
            const std::string text(any(random) % 12, 'x');
            const Words entry = string_entry(text, key);
            const bool fits = model.size() + entry.size() <= capacity;
            ASSERT_EQ(zdl_LogFileString(log.handle, key, text.c_str()),
                      fits ? 0 : static_cast<int>(eJTI_ERROR_LOG_FULL));
            append(fits ? entry : Words{kStringMark, entry[1]});
            ASSERT_EQ(log.words(), model);
        }
    }
}

TEST(StoreTest, EveryControllerKindHasItsKey) {
    const std::pair<int32_t, uint32_t> cases[] = {
        {0, 52},  {1, 53},  {2, 54},  {3, 55},         {4, 56},         {5, 58},  {6, 57},
        {7, 60},  {8, 59},  {9, 62},  {10, 61},        {11, 64},        {12, 63}, {13, 65},
        {-1, 65}, {14, 65}, {99, 65}, {INT32_MAX, 65}, {INT32_MIN, 65},
    };
    for (const auto& [kind, key] : cases) {
        uint32_t entry = kGuard;
        EXPECT_EQ(zdl_LogFileXlatVersion(static_cast<JTI_ControlId>(kind), &entry), 0);
        EXPECT_EQ(entry, key) << kind;
    }
    EXPECT_EQ(zdl_LogFileXlatVersion(eJTI_CONTROL_ID_TBC, nullptr), eJTI_ERROR_BAD_ARGUMENT);
}

} // namespace
