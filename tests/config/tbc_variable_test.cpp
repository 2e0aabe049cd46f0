#include "config/tbc_variable.h"
#include "jsc_export.h"
#include "support/failing_os.h"
#include "support/key_cases.h"

namespace {

using namespace test_support;
using Config = RecordingConfig;

#define EFFECT(statements) [](TBC_Variable& r) { statements; }
#define USE(name) &TBC_Variable::name

constexpr JTI_Error kBadValue = -448;

const Family<TBC_Variable> kFamily =
    {
        .initial = READ_TbcInitial,
        .read = READ_TbcVariable,
        .cases =
            {
                {"VEXIL.NOAMBLE", "yes", USE(useNoAmble), EFFECT(r.noAmble = r.useNoAmble = true),
                 "maybe", Config::kNotABoolean},
                {"VEXIL.NOCHECK", "yes", USE(useNoCheck), EFFECT(r.noCheck = r.useNoCheck = true),
                 "maybe", Config::kNotABoolean},
                {"VEXIL.OKSTALL", "yes", USE(useOkStall), EFFECT(r.okStall = r.useOkStall = true),
                 "maybe", Config::kNotABoolean},
                {"VEXIL.FASTCLK", "yes", USE(useFastClock),
                 EFFECT(r.fastClock = r.useFastClock = true), "maybe", Config::kNotABoolean},
                {"VEXIL.SLOWCLK", "no", USE(useSlowClock), EFFECT(r.useSlowClock = true), "maybe",
                 Config::kNotABoolean},
                {"VEXIL.SLOWFRQ", "1000", USE(useSlowFreq),
                 EFFECT(r.slowFreq = 1000; r.useSlowFreq = r.useSlowClock = r.slowClock = true;
                        r.useFastClock = r.fastClock = false),
                 "ten", Config::kNotANumber},
                {"VEXIL.TDOEDGE", "fall", USE(useTdoEdgeFall),
                 EFFECT(r.tdoEdgeFall = r.useTdoEdgeFall = true), "falling", kBadValue},
                {"VEXIL.TDIEDGE", "fall", USE(useTdiEdgeFall),
                 EFFECT(r.tdiEdgeFall = r.useTdiEdgeFall = true), "falling", kBadValue},
                {.key = "VEXIL.LINKDELAY_MODE",
                 .text = "enable",
                 .use = nullptr,
                 .effect = EFFECT((void)r),
                 .bad = "on",
                 .bad_code = kBadValue,
                 .skips = {"VEXIL.LINKDELAY_VALUE"},
                 .instead = "VEXIL.LINKDLY"},
                {"VEXIL.LINKDELAY_VALUE", "-5", nullptr,
                 EFFECT(r.linkDelta = -5; r.useLinkDelta = true), "-x", kBadValue, kBadValue},
                {"VEXIL.END_DELAY_ONCE", "12", USE(useForceOnceEnd),
                 EFFECT(r.forceOnceEnd = 12; r.useForceOnceEnd = true), "soon", kBadValue,
                 kBadValue},
                {"VEXIL.END_DELAY_MANY", "13", USE(useForceManyEnd),
                 EFFECT(r.forceManyEnd = 13; r.useForceManyEnd = true), "soon", kBadValue,
                 kBadValue},
                {"VEXIL.DLYTDI_POD2EMU", "21", USE(useDelayTdiPodToEmu),
                 EFFECT(r.delayTdiPodToEmu = 21; r.useDelayTdiPodToEmu = true), "ten",
                 Config::kNotANumber},
                {"VEXIL.DLYTDI_TGT2POD", "22", USE(useDelayTdiTgtToPod),
                 EFFECT(r.delayTdiTgtToPod = 22; r.useDelayTdiTgtToPod = true), "ten",
                 Config::kNotANumber},
                {"VEXIL.DLYTCK_EMU2POD", "23", USE(useDelayTckEmuToPod),
                 EFFECT(r.delayTckEmuToPod = 23; r.useDelayTckEmuToPod = true), "ten",
                 Config::kNotANumber},
                {"VEXIL.DLYTCK_POD2EMU", "24", USE(useDelayTckPodToEmu),
                 EFFECT(r.delayTckPodToEmu = 24; r.useDelayTckPodToEmu = true), "ten",
                 Config::kNotANumber},
                {.key = "VEXIL.JTAGBOOT_MODE",
                 .text = "enable",
                 .use = USE(useJtagBootMode),
                 .effect = EFFECT(r.jtagBootMode = 1; r.useJtagBootMode = true),
                 .bad = "on",
                 .bad_code = -220},
                {.key = "VEXIL.JTAGBOOT_VALUE",
                 .text = "11",
                 .use = USE(useJtagBootValue),
                 .effect =
                     EFFECT(r.useJtagBootValue = true; r.jtagBootValue = r.jtagBootMode ? 4 : 0),
                 .bad = "12",
                 .bad_code = -221,
                 .absent = EFFECT(r.jtagBootMode = 0)},
                {.key = "VEXIL.POWERBOOT_MODE",
                 .text = "enable",
                 .use = USE(usePowerBootMode),
                 .effect = EFFECT(r.powerBootMode = 1; r.usePowerBootMode = true),
                 .bad = "on",
                 .bad_code = -222},
                {.key = "VEXIL.POWERBOOT_VALUE",
                 .text = "10",
                 .use = USE(usePowerBootValue),
                 .effect =
                     EFFECT(r.usePowerBootValue = true; r.powerBootValue = r.powerBootMode ? 3 : 0),
                 .bad = "12",
                 .bad_code = -223,
                 .absent = EFFECT(r.powerBootMode = 0)},
                {.key = "VEXIL.EMUOUTPUT_MODE",
                 .text = "enable",
                 .use = USE(useEmuOutputMode),
                 .effect = EFFECT(r.emuOutputMode = 1; r.useEmuOutputMode = true),
                 .bad = "on",
                 .bad_code = -224},
                {.key = "VEXIL.EMUOUTPUT_VALUE",
                 .text = "01",
                 .use = USE(useEmuOutputValue),
                 .effect =
                     EFFECT(r.useEmuOutputValue = true; r.emuOutputValue = r.emuOutputMode ? 2 : 0),
                 .bad = "12",
                 .bad_code = -225,
                 .absent = EFFECT(r.emuOutputMode = 0)},
                {.key = "VEXIL.LOOPBACK_MODE",
                 .text = "enable",
                 .use = USE(usePodLoopMode),
                 .effect = EFFECT(r.podLoopMode = 1; r.usePodLoopMode = true),
                 .bad = "on",
                 .bad_code = -226},
                {.key = "VEXIL.LOOPBACK_VALUE",
                 .text = "total",
                 .use = USE(usePodLoopValue),
                 .effect = EFFECT(r.usePodLoopValue = true; r.podLoopValue = r.podLoopMode ? 3 : 0),
                 .bad = "all",
                 .bad_code = -227,
                 .absent = EFFECT(r.podLoopMode = 0)},
                {"VEXIL.BOOT_PINMAP", "EXTF_EXTE", USE(useBootPinMap),
                 EFFECT(r.bootPinMap = 2; r.useBootPinMap = true), "TRD03", -228},
                {"VEXIL.JTAG_ISOLATE", "enable", USE(useJtagIsolate),
                 EFFECT(r.jtagIsolate = 1; r.useJtagIsolate = true), "on", kBadValue},
            },
        .asked_on_empty = {"VEXIL.NOAMBLE",         "VEXIL.NOCHECK",         "VEXIL.OKSTALL",
                           "VEXIL.FASTCLK",         "VEXIL.SLOWCLK",         "VEXIL.SLOWFRQ",
                           "VEXIL.TDOEDGE",         "VEXIL.TDIEDGE",         "VEXIL.LINKDELAY_MODE",
                           "VEXIL.LINKDLY",         "VEXIL.END_DELAY_ONCE",  "VEXIL.END_DELAY_MANY",
                           "VEXIL.DLYTDI_POD2EMU",  "VEXIL.DLYTDI_TGT2POD",  "VEXIL.DLYTCK_EMU2POD",
                           "VEXIL.DLYTCK_POD2EMU",  "VEXIL.JTAGBOOT_MODE",   "VEXIL.JTAGBOOT_VALUE",
                           "VEXIL.POWERBOOT_MODE",  "VEXIL.POWERBOOT_VALUE", "VEXIL.EMUOUTPUT_MODE",
                           "VEXIL.EMUOUTPUT_VALUE", "VEXIL.LOOPBACK_MODE",   "VEXIL.LOOPBACK_VALUE",
                           "VEXIL.BOOT_PINMAP",     "VEXIL.JTAG_ISOLATE"},
};

Outcome<TBC_Variable> read_tbc(const Config::Keys& keys) {
    return read_config(kFamily, keys);
}

// The record that these keys give, compared with the initial one with `change` applied.
template <typename Change>
void expect_record(const Config::Keys& keys, Change change) {
    const Outcome<TBC_Variable> outcome = read_tbc(keys);
    EXPECT_EQ(outcome.code, 0);
    TBC_Variable expected = expected_after(kFamily, 0);
    change(expected);
    EXPECT_EQ(describe(outcome.record), describe(expected));
}

TEST(TbcVariableTest, InitialIsZeroButForTheSlowFrequencyAndThePinMap) {
    TBC_Variable expected = {};
    expected.slowFreq = 20000;
    expected.bootPinMap = LS_TRD02_TRD01;
    EXPECT_EQ(describe(initial_record(kFamily)), describe(expected));
}

TEST(TbcVariableTest, NullArgumentsAreRefused) {
    check_null_arguments(kFamily);
}
TEST(TbcVariableTest, ContextsAreAskedForFirst) {
    check_contexts(kFamily);
}
TEST(TbcVariableTest, EmptyConfigurationKeepsTheInitialRecord) {
    check_empty(kFamily);
}
TEST(TbcVariableTest, FullConfigurationIsReadInOrder) {
    check_full(kFamily);
}
TEST(TbcVariableTest, HostErrorOfALookupEndsTheReading) {
    check_lookup_errors(kFamily);
}
TEST(TbcVariableTest, HostErrorOfAReadEndsTheReading) {
    check_read_errors(kFamily);
}
TEST(TbcVariableTest, BadTextGivesTheCodeOfItsKey) {
    check_bad_texts(kFamily);
}
TEST(TbcVariableTest, FlagsOfAbsentKeysAreCleared) {
    check_flags_of_absent_keys(kFamily);
}
TEST(TbcVariableTest, EachKeyMayBeAbsent) {
    check_each_absent(kFamily);
}
TEST(TbcVariableTest, AbsentKeysAreNotRead) {
    check_read_errors_though_absent(kFamily);
}

TEST(TbcVariableTest, AbsentKeysOverwriteWhatARecordHeld) {
    RecordingConfig config;
    TBC_Variable record = initial_record(kFamily);
    record.fastClock = record.slowClock = record.tdoEdgeFall = record.tdiEdgeFall = true;
    record.slowFreq = 5;
    record.jtagBootMode = record.jtagBootValue = record.powerBootMode = record.powerBootValue = 1;
    record.emuOutputMode = record.emuOutputValue = record.podLoopMode = record.podLoopValue = 1;
    record.bootPinMap = 2;
    record.jtagIsolate = 1;
    record.noAmble = record.noCheck = record.okStall = true;
    record.forceOnceEnd = record.forceManyEnd = 3;
    record.linkDelta = -1;
    ASSERT_EQ(READ_TbcVariable(config.handle(), config.table(), &record), 0);
    TBC_Variable expected = expected_after(kFamily, 0);
    // These keep what they held.
    expected.noAmble = expected.noCheck = expected.okStall = true;
    expected.forceOnceEnd = expected.forceManyEnd = 3;
    expected.linkDelta = -1;
    EXPECT_EQ(describe(record), describe(expected));
}

// ---- words -------------------------------------------------------------------------------------

TEST(TbcVariableTest, EdgesTakeTheirWords) {
    check_words(kFamily, "VEXIL.TDOEDGE", gTdoEdgeTitle, gTdoEdgeValue, &TBC_Variable::tdoEdgeFall,
                kBadValue);
    check_words(kFamily, "VEXIL.TDIEDGE", gTdiEdgeTitle, gTdiEdgeValue, &TBC_Variable::tdiEdgeFall,
                kBadValue);
}

TEST(TbcVariableTest, DefaultEdgeFallsForTdoAndRisesForTdi) {
    EXPECT_TRUE(read_tbc({{"VEXIL.TDOEDGE", "default"}}).record.tdoEdgeFall);
    EXPECT_TRUE(read_tbc({{"VEXIL.TDOEDGE", "d"}}).record.tdoEdgeFall);
    EXPECT_FALSE(read_tbc({{"VEXIL.TDIEDGE", "default"}}).record.tdiEdgeFall);
}

TEST(TbcVariableTest, PinMapAndIsolationTakeTheirWords) {
    check_words(kFamily, "VEXIL.BOOT_PINMAP", gBootPinMapTitle, gBootPinMapValue,
                &TBC_Variable::bootPinMap, -228);
    check_words(kFamily, "VEXIL.JTAG_ISOLATE", gJtagIsolateTitle, gJtagIsolateValue,
                &TBC_Variable::jtagIsolate, kBadValue);
    EXPECT_EQ(read_tbc({{"VEXIL.JTAG_ISOLATE", "E"}}).record.jtagIsolate, 1u);
    EXPECT_EQ(read_tbc({{"VEXIL.JTAG_ISOLATE", "enabled"}}).code, kBadValue);
}

TEST(TbcVariableTest, EndDelayOfDefaultIsZeroAndCountsAsThere) {
    const char* const words[] = {"default", nullptr};
    check_words(kFamily, "VEXIL.END_DELAY_ONCE", words, nullptr, &TBC_Variable::forceOnceEnd,
                kBadValue);
    check_words(kFamily, "VEXIL.END_DELAY_MANY", words, nullptr, &TBC_Variable::forceManyEnd,
                kBadValue);
    expect_record({{"VEXIL.END_DELAY_ONCE", "Def"}}, EFFECT(r.useForceOnceEnd = true));
    expect_record({{"VEXIL.END_DELAY_MANY", "default"}}, EFFECT(r.useForceManyEnd = true));
    expect_record({{"VEXIL.END_DELAY_MANY", "0xFFFFFFFF"}},
                  EFFECT(r.useForceManyEnd = true; r.forceManyEnd = 0xFFFFFFFFu));
}

TEST(TbcVariableTest, NoTextAtAllIsNoWord) {
    RecordingConfig config;
    config.set_raw("VEXIL.TDOEDGE", nullptr, 4);
    EXPECT_EQ(read_config(kFamily, config).code, kBadValue);
}

TEST(TbcVariableTest, CountedLengthRulesTheComparison) {
    struct {
        const char* text;
        uint32_t length;
        JTI_Error code;
    } const cases[] = {
        {"fall and more", 4, 0}, {"fall", 2, 0},        {"fall", 0, kBadValue},
        {"fall", 9, 0},          {"fal", 9, kBadValue}, {"", 4, kBadValue},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(std::string(item.text) + ", length " + std::to_string(item.length));
        RecordingConfig config;
        config.set_raw("VEXIL.TDOEDGE", item.text, item.length);
        const auto outcome = read_config(kFamily, config);
        EXPECT_EQ(outcome.code, item.code);
        EXPECT_EQ(outcome.record.tdoEdgeFall, item.code == 0);
    }
}

// ---- clock choice ------------------------------------------------------------------------------

TEST(TbcVariableTest, SlowClockWinsOverFastClock) {
    expect_record({{"VEXIL.FASTCLK", "yes"}}, EFFECT(r.fastClock = r.useFastClock = true));
    expect_record({{"VEXIL.FASTCLK", "yes"}, {"VEXIL.SLOWCLK", "no"}},
                  EFFECT(r.fastClock = r.useFastClock = r.useSlowClock = true));
    expect_record({{"VEXIL.FASTCLK", "yes"}, {"VEXIL.SLOWCLK", "yes"}},
                  EFFECT(r.slowClock = r.useSlowClock = true));
    expect_record({{"VEXIL.FASTCLK", "no"}, {"VEXIL.SLOWCLK", "yes"}},
                  EFFECT(r.slowClock = r.useSlowClock = true));
}

TEST(TbcVariableTest, SlowFrequencyForcesTheSlowClock) {
    struct {
        const char* text;
        uint32_t kept;
    } const cases[] = {
        {"0", 250},   {"100", 250}, {"249", 250},
        {"250", 250}, {"251", 251}, {"4294967295", 4294967295u},
    };
    for (const auto& item : cases) {
        for (const char* slow : {"", "no", "yes"}) {
            SCOPED_TRACE(std::string(item.text) + " " + slow);
            Config::Keys keys = {{"VEXIL.FASTCLK", "yes"}, {"VEXIL.SLOWFRQ", item.text}};
            if (*slow != '\0') {
                keys["VEXIL.SLOWCLK"] = slow;
            }
            expect_record(keys, [&](TBC_Variable& r) {
                r.slowFreq = item.kept;
                r.useSlowFreq = r.useSlowClock = r.slowClock = true;
            });
        }
    }
}

// ---- link delay --------------------------------------------------------------------------------

TEST(TbcVariableTest, LinkModeTakesItsWords) {
    for (const std::string& text : texts_for(gLinkModeTitle)) {
        SCOPED_TRACE("mode " + text);
        const auto outcome = read_tbc({{"VEXIL.LINKDELAY_MODE", text},
                                       {"VEXIL.LINKDELAY_VALUE", "7"},
                                       {"VEXIL.LINKDLY", "9"}});
        const int index = matching_word(text, gLinkModeTitle);
        EXPECT_EQ(outcome.code, index < 0 ? kBadValue : 0);
        EXPECT_EQ(outcome.record.linkDelay, index == 1 ? 7u : 0u);
        EXPECT_EQ(outcome.record.useLinkDelay, index == 1);
        EXPECT_EQ(std::ranges::count(outcome.asked, "VEXIL.LINKDELAY_VALUE"), index == 1);
        EXPECT_EQ(std::ranges::count(outcome.asked, "VEXIL.LINKDLY"), 0);
    }
}

TEST(TbcVariableTest, DisabledLinkModeLeavesTheLinkAlone) {
    RecordingConfig config(Config::Keys{{"VEXIL.LINKDELAY_MODE", "disable"},
                                        {"VEXIL.LINKDLY", "9"},
                                        {"VEXIL.LINKDELAY_VALUE", "8"}});
    TBC_Variable record = initial_record(kFamily);
    record.linkAuto = record.useLinkAuto = true;
    record.linkDelta = -3;
    record.linkDelay = 4;
    ASSERT_EQ(READ_TbcVariable(config.handle(), config.table(), &record), 0);
    TBC_Variable expected = expected_after(kFamily, 0);
    expected.linkAuto = expected.useLinkAuto = true;
    expected.linkDelta = -3;
    expected.linkDelay = 4;
    EXPECT_EQ(describe(record), describe(expected));
}

TEST(TbcVariableTest, LinkDelayTextDecides) {
    const struct {
        const char* text;
        JTI_Error code;
        void (*effect)(TBC_Variable&);
    } cases[] = {
        {"default", 0, EFFECT((void)r)},
        {"D", 0, EFFECT((void)r)},
        {"automatic", 0, EFFECT(r.linkAuto = r.useLinkAuto = true)},
        {"AUTO", 0, EFFECT(r.linkAuto = r.useLinkAuto = true)},
        {"a", 0, EFFECT(r.linkAuto = r.useLinkAuto = true)},
        {"automatics", kBadValue, EFFECT((void)r)},
        {"-5", 0, EFFECT(r.linkDelta = -5; r.useLinkDelta = true)},
        {"+5", 0, EFFECT(r.linkDelta = 5; r.useLinkDelta = true)},
        {"-0", 0, EFFECT(r.linkDelta = 0; r.useLinkDelta = true)},
        {"5", 0, EFFECT(r.linkDelay = 5; r.useLinkDelay = true)},
        {"0", 0, EFFECT(r.linkDelay = 0; r.useLinkDelay = true)},
        {"4294967295", 0, EFFECT(r.linkDelay = 4294967295u; r.useLinkDelay = true)},
        {"-2147483649", kBadValue, EFFECT((void)r)},
        {"+", kBadValue, EFFECT((void)r)},
        {"", kBadValue, EFFECT((void)r)},
        {"five", kBadValue, EFFECT((void)r)},
    };
    for (const auto& item : cases) {
        for (const bool older : {false, true}) {
            SCOPED_TRACE(std::string(item.text) + (older ? " older key" : " newer key"));
            RecordingConfig config;
            if (older) {
                config.set("VEXIL.LINKDLY", item.text);
            } else {
                config.set("VEXIL.LINKDELAY_MODE", "enable");
                config.set("VEXIL.LINKDELAY_VALUE", item.text);
            }
            const auto outcome = read_config(kFamily, config);
            EXPECT_EQ(outcome.code, item.code);
            TBC_Variable expected = expected_after(kFamily, 0);
            item.effect(expected);
            EXPECT_EQ(describe(outcome.record), describe(expected));
        }
    }
}

TEST(TbcVariableTest, SignOfTheLinkDelayChoosesTheReadOfTheNumber) {
    using enum RecordingConfig::Read;
    const struct {
        const char* text;
        RecordingConfig::Read read;
    } cases[] = {{"-5", Signed32}, {"+5", Signed32}, {"5", Unsigned32}};
    for (const auto& item : cases) {
        RecordingConfig config(Config::Keys{{"VEXIL.LINKDLY", item.text}});
        EXPECT_EQ(read_config(kFamily, config).code, 0);
        EXPECT_EQ(config.reads_of("VEXIL.LINKDLY"), (std::vector{String, item.read}));

        RecordingConfig failing(Config::Keys{{"VEXIL.LINKDLY", item.text}});
        failing.fail_read("VEXIL.LINKDLY", item.read, kHostError);
        EXPECT_EQ(read_config(kFamily, failing).code, kBadValue);
    }
    for (const char* word : {"default", "automatic"}) {
        RecordingConfig config(Config::Keys{{"VEXIL.LINKDLY", word}});
        EXPECT_EQ(read_config(kFamily, config).code, 0);
        EXPECT_EQ(config.reads_of("VEXIL.LINKDLY"), (std::vector{String}));
    }
}

TEST(TbcVariableTest, OlderLinkKeyFailsAsTheNewerOne) {
    RecordingConfig lookup(Config::Keys{{"VEXIL.LINKDLY", "5"}});
    lookup.fail_lookup("VEXIL.LINKDLY", kHostError);
    EXPECT_EQ(read_config(kFamily, lookup).code, kHostError);
    RecordingConfig text(Config::Keys{{"VEXIL.LINKDLY", "5"}});
    text.fail_read("VEXIL.LINKDLY", RecordingConfig::Read::String, kHostError);
    EXPECT_EQ(read_config(kFamily, text).code, kHostError);
}

TEST(TbcVariableTest, LinkDelayOfNoTextIsReadAsANumber) {
    RecordingConfig config;
    config.set_raw("VEXIL.LINKDLY", nullptr, 3);
    config.fail_read("VEXIL.LINKDLY", RecordingConfig::Read::Unsigned32, kHostError);
    EXPECT_EQ(read_config(kFamily, config).code, kBadValue);
}

TEST(TbcVariableTest, LinkDelayReplacesWhatARecordHeld) {
    RecordingConfig config(Config::Keys{{"VEXIL.LINKDLY", "default"}});
    TBC_Variable record = initial_record(kFamily);
    record.linkAuto = record.useLinkAuto = record.useLinkDelta = record.useLinkDelay = true;
    record.linkDelta = -3;
    record.linkDelay = 4;
    ASSERT_EQ(READ_TbcVariable(config.handle(), config.table(), &record), 0);
    EXPECT_EQ(describe(record), describe(expected_after(kFamily, 0)));
}

// ---- pin groups --------------------------------------------------------------------------------

struct PinGroup {
    const char* mode_key;
    const char* value_key;
    const char* const* mode_titles;
    const uint32_t* mode_values;
    const char* const* value_titles;
    const uint32_t* value_values;
    uint32_t TBC_Variable::*mode;
    uint32_t TBC_Variable::*value;
    bool TBC_Variable::*use_mode;
    bool TBC_Variable::*use_value;
    JTI_Error bad_mode;
    JTI_Error bad_value;
};

const PinGroup kGroups[] = {
    {"VEXIL.JTAGBOOT_MODE", "VEXIL.JTAGBOOT_VALUE", gBootModeTitle, gBootModeValue, gBootValueTitle,
     gBootValueValue, &TBC_Variable::jtagBootMode, &TBC_Variable::jtagBootValue,
     USE(useJtagBootMode), USE(useJtagBootValue), -220, -221},
    {"VEXIL.POWERBOOT_MODE", "VEXIL.POWERBOOT_VALUE", gBootModeTitle, gBootModeValue,
     gBootValueTitle, gBootValueValue, &TBC_Variable::powerBootMode, &TBC_Variable::powerBootValue,
     USE(usePowerBootMode), USE(usePowerBootValue), -222, -223},
    {"VEXIL.EMUOUTPUT_MODE", "VEXIL.EMUOUTPUT_VALUE", gBootModeTitle, gBootModeValue,
     gBootValueTitle, gBootValueValue, &TBC_Variable::emuOutputMode, &TBC_Variable::emuOutputValue,
     USE(useEmuOutputMode), USE(useEmuOutputValue), -224, -225},
    {"VEXIL.LOOPBACK_MODE", "VEXIL.LOOPBACK_VALUE", gLoopModeTitle, gLoopModeValue, gLoopValueTitle,
     gLoopValueValue, &TBC_Variable::podLoopMode, &TBC_Variable::podLoopValue, USE(usePodLoopMode),
     USE(usePodLoopValue), -226, -227},
};

TEST(TbcVariableTest, PinGroupValuesTakeTheirWords) {
    for (const PinGroup& group : kGroups) {
        check_words(kFamily, group.value_key, group.value_titles, group.value_values, group.value,
                    group.bad_value, {{group.mode_key, "enable"}});
        check_words(kFamily, group.mode_key, group.mode_titles, group.mode_values, group.mode,
                    group.bad_mode,
                    {{group.value_key, group.value_titles[2]}, {"VEXIL.LOOPBACK_VALUE", "data"}});
    }
}

// "" stands for an absent key.
TEST(TbcVariableTest, PinGroupIsActiveWithBothOrNotAtAll) {
    for (const PinGroup& group : kGroups) {
        std::vector<std::string> values = {""};
        for (int i = 0; group.value_titles[i] != nullptr; ++i) {
            values.push_back(group.value_titles[i]);
        }
        for (const std::string mode : {"", "disable", "enable"}) {
            for (const std::string& value : values) {
                SCOPED_TRACE(std::string(group.mode_key) + " \"" + mode + "\", value \"" + value +
                             "\"");
                Config::Keys keys;
                if (!mode.empty()) {
                    keys[group.mode_key] = mode;
                }
                if (!value.empty()) {
                    keys[group.value_key] = value;
                }
                const int index = matching_word(value, group.value_titles);
                const uint32_t setting = index < 0 ? 0 : group.value_values[index];
                const bool active = mode == "enable" && setting != 0;
                expect_record(keys, [&](TBC_Variable& r) {
                    r.*group.mode = active ? 1 : 0;
                    r.*group.value = active ? setting : 0;
                    r.*group.use_mode = !mode.empty();
                    r.*group.use_value = !value.empty();
                });
            }
        }
    }
}

TEST(TbcVariableTest, PinGroupModeStaysAfterABadValue) {
    for (const PinGroup& group : kGroups) {
        const auto outcome =
            read_tbc({{group.mode_key, "enable"}, {group.value_key, "no such level"}});
        EXPECT_EQ(outcome.code, group.bad_value);
        EXPECT_EQ(outcome.record.*group.mode, 1u);
        EXPECT_EQ(outcome.record.*group.value, 0u);
        EXPECT_TRUE(outcome.record.*group.use_value);
    }
}

// ---- record on the heap ------------------------------------------------------------------------

TEST(TbcVariableTest, CreateAndDelete) {
    EXPECT_TRUE(READ_TbcCreate(nullptr));
    EXPECT_TRUE(READ_TbcDelete(nullptr));
    TBC_Variable* record = nullptr;
    EXPECT_TRUE(READ_TbcDelete(&record));
    FailingHeap heap(1);
    EXPECT_FALSE(READ_TbcCreate(&record));
    ASSERT_EQ(heap.blocks().size(), 1u);
    EXPECT_EQ(heap.blocks()[0], record);
    EXPECT_FALSE(READ_TbcDelete(&record));
    EXPECT_EQ(record, nullptr);
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_TRUE(READ_TbcCreate(&record));
    EXPECT_EQ(record, nullptr);
}

} // namespace
