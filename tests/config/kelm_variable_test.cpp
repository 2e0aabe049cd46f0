#include "config/kelm_variable.h"
#include "support/failing_os.h"
#include "support/key_cases.h"

namespace {

using namespace test_support;
using Config = RecordingConfig;

#define EFFECT(statements) [](KELM_Variable& r) { statements; }
#define USE(name) &KELM_Variable::name

void empty_host_name(KELM_Variable& record) {
    record.pHostNameValue = "";
}

const Family<KELM_Variable> kFamily = {
    .initial = READ_KelmInitial,
    .read = READ_KelmVariable,
    .cases =
        {
            {.key = "KELM.RMT_HOST",
             .text = "lab-7",
             .use = USE(useHostName),
             .effect =
                 EFFECT(r.pHostNameValue = "lab-7"; r.hostNameLength = 5; r.useHostName = true),
             .always = true,
             .absent = empty_host_name,
             .skips = {"KELM.RMT_PORT"}},
            {.key = "KELM.RMT_PORT",
             .text = "4711",
             .use = USE(useRemotePort),
             .effect = EFFECT(r.remotePort = 4711; r.useRemotePort = true),
             .bad = "ten",
             .bad_code = Config::kNotANumber,
             .always = true},
            {.key = "KELM.POD_NO770CABLE",
             .text = "yes",
             .use = USE(useDirectConnect),
             .effect = EFFECT(r.directConnect = r.useDirectConnect = true),
             .bad = "maybe",
             .bad_code = Config::kNotABoolean,
             .always = true},
            {.key = "KELM.POD_NO770FPGA",
             .text = "yes",
             .use = USE(useNoFpgaLoad),
             .effect = EFFECT(r.noFpgaLoad = r.useNoFpgaLoad = true),
             .bad = "maybe",
             .bad_code = Config::kNotABoolean,
             .always = true},
            {.key = "KELM.POD_LOGMODE",
             .text = "yes",
             .use = USE(useLogFileEnable),
             .effect = EFFECT(r.logFileEnable = r.useLogFileEnable = true),
             .bad = "maybe",
             .bad_code = Config::kNotABoolean,
             .always = true,
             .skips = {"KELM.POD_LOGTYPE", "KELM.POD_LOGFILE"}},
            {.key = "KELM.POD_LOGTYPE",
             .text = "verbose",
             .use = USE(useLogFileVerbose),
             .effect = EFFECT(r.logFileVerbose = r.useLogFileVerbose = true)},
            {.key = "KELM.POD_LOGFILE",
             .text = "pod.log",
             .use = USE(useLogFileName),
             .effect = EFFECT(r.pLogFileNameValue = "pod.log"; r.logFileNameLength = 7;
                              r.useLogFileName = true),
             .always = true,
             .absent = EFFECT(r.pLogFileNameValue = "")},
        },
    .asked_on_empty = {"KELM.RMT_HOST", "KELM.POD_NO770CABLE", "KELM.POD_NO770FPGA",
                       "KELM.POD_LOGMODE"},
    .empty_effect = empty_host_name,
};

TEST(KelmVariableTest, InitialIsZero) {
    EXPECT_EQ(describe(initial_record(kFamily)), describe(KELM_Variable{}));
}

TEST(KelmVariableTest, NullArgumentsAreRefused) {
    check_null_arguments(kFamily);
}
TEST(KelmVariableTest, ContextsAreAskedForFirst) {
    check_contexts(kFamily);
}
TEST(KelmVariableTest, EmptyConfigurationEndsAtTheLogMode) {
    check_empty(kFamily);
}
TEST(KelmVariableTest, FullConfigurationIsReadInOrder) {
    check_full(kFamily);
}
TEST(KelmVariableTest, HostErrorOfALookupEndsTheReading) {
    check_lookup_errors(kFamily);
}
TEST(KelmVariableTest, HostErrorOfAReadEndsTheReading) {
    check_read_errors(kFamily);
}
TEST(KelmVariableTest, BadTextGivesTheHostsCode) {
    check_bad_texts(kFamily);
}
TEST(KelmVariableTest, FlagsOfAbsentKeysAreCleared) {
    check_flags_of_absent_keys(kFamily);
}
TEST(KelmVariableTest, EachKeyMayBeAbsent) {
    check_each_absent(kFamily);
}
TEST(KelmVariableTest, AbsentKeysAreReadButForTheLogType) {
    check_read_errors_though_absent(kFamily);
}

TEST(KelmVariableTest, AbsentKeysTakeTheHostsEmptyAnswer) {
    RecordingConfig config(Config::Keys{{"KELM.RMT_HOST", "h"}, {"KELM.POD_LOGMODE", "no"}});
    KELM_Variable record = initial_record(kFamily);
    record.remotePort = 9;
    record.directConnect = record.noFpgaLoad = record.logFileEnable = true;
    record.logFileVerbose = true;
    record.pLogFileNameValue = "old";
    record.logFileNameLength = 3;
    ASSERT_EQ(READ_KelmVariable(config.handle(), config.table(), &record), 0);
    KELM_Variable expected = {};
    expected.found = true;
    expected.pHostNameValue = "h";
    expected.hostNameLength = 1;
    expected.useHostName = true;
    expected.useLogFileEnable = true;
    expected.logFileVerbose = true; // the one key that is not read while absent
    expected.pLogFileNameValue = "";
    EXPECT_EQ(describe(record), describe(expected));
}

TEST(KelmVariableTest, RemotePortCountsOnlyWithAHost) {
    const auto outcome = read_config(kFamily, {{"KELM.RMT_PORT", "4711"}});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.record.remotePort, 0u);
    EXPECT_FALSE(outcome.record.useRemotePort);
    EXPECT_EQ(std::ranges::count(outcome.asked, "KELM.RMT_PORT"), 0);
}

TEST(KelmVariableTest, LogKeysCountWithTheLogModeWhateverItSays) {
    for (const char* mode : {"yes", "no"}) {
        RecordingConfig config(Config::Keys{{"KELM.POD_LOGMODE", mode},
                                            {"KELM.POD_LOGTYPE", "verbose"},
                                            {"KELM.POD_LOGFILE", "f"}});
        const auto outcome = read_config(kFamily, config);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.record.logFileEnable, *mode == 'y');
        EXPECT_TRUE(outcome.record.logFileVerbose);
        EXPECT_STREQ(outcome.record.pLogFileNameValue, "f");
    }
    const auto without =
        read_config(kFamily, {{"KELM.POD_LOGTYPE", "verbose"}, {"KELM.POD_LOGFILE", "f"}});
    EXPECT_EQ(without.code, 0);
    EXPECT_FALSE(without.record.logFileVerbose);
    EXPECT_FALSE(without.record.useLogFileVerbose);
    EXPECT_EQ(without.record.pLogFileNameValue, nullptr);
}

TEST(KelmVariableTest, LogTypeTakesItsWordsAndLeavesTheRest) {
    const char* const words[] = {"verbose", "brief", nullptr};
    for (const bool before : {false, true}) {
        for (std::string text : texts_for(words)) {
            SCOPED_TRACE("\"" + text + "\" on " + (before ? "verbose" : "brief"));
            RecordingConfig config(
                Config::Keys{{"KELM.POD_LOGMODE", "yes"}, {"KELM.POD_LOGTYPE", text}});
            KELM_Variable record = initial_record(kFamily);
            record.logFileVerbose = before;
            EXPECT_EQ(READ_KelmVariable(config.handle(), config.table(), &record), 0);
            const int index = matching_word(text, words);
            EXPECT_EQ(record.logFileVerbose, index < 0 ? before : index == 0);
            EXPECT_TRUE(record.useLogFileVerbose);
            EXPECT_EQ(config.keys_asked().back(), "KELM.POD_LOGFILE");
        }
    }
}

TEST(KelmVariableTest, UnknownLogTypeIsNoError) {
    RecordingConfig config(
        Config::Keys{{"KELM.POD_LOGMODE", "yes"}, {"KELM.POD_LOGTYPE", "quiet"}});
    KELM_Variable record = initial_record(kFamily);
    record.logFileVerbose = true;
    EXPECT_EQ(READ_KelmVariable(config.handle(), config.table(), &record), 0);
    EXPECT_TRUE(record.logFileVerbose);
}

TEST(KelmVariableTest, TextsAreTheHostsOwn) {
    static const char host[] = "remote";
    RecordingConfig config;
    config.set_raw("KELM.RMT_HOST", host, 99);
    const auto outcome = read_config(kFamily, config);
    EXPECT_EQ(outcome.record.pHostNameValue, host);
    EXPECT_EQ(outcome.record.hostNameLength, 99u);
}

TEST(KelmVariableTest, AbsentLogFileIsNamedByTheHost) {
    RecordingConfig config(Config::Keys{{"KELM.POD_LOGMODE", "yes"}});
    config.set_absent_answer("KELM.POD_LOGFILE", "host.log", 8);
    const auto outcome = read_config(kFamily, config);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_STREQ(outcome.record.pLogFileNameValue, "host.log");
    EXPECT_EQ(outcome.record.logFileNameLength, 8u);
    EXPECT_FALSE(outcome.record.useLogFileName);
}

TEST(KelmVariableTest, CreateAndDelete) {
    EXPECT_TRUE(READ_KelmCreate(nullptr));
    EXPECT_TRUE(READ_KelmDelete(nullptr));
    KELM_Variable* record = nullptr;
    EXPECT_TRUE(READ_KelmDelete(&record));
    FailingHeap heap(1);
    EXPECT_FALSE(READ_KelmCreate(&record));
    ASSERT_EQ(heap.blocks().size(), 1u);
    EXPECT_EQ(heap.blocks()[0], record);
    EXPECT_FALSE(READ_KelmDelete(&record));
    EXPECT_EQ(record, nullptr);
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_TRUE(READ_KelmCreate(&record));
    EXPECT_EQ(record, nullptr);
}

} // namespace
