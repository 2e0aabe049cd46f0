#include "jsc_export.h"
#include "pll/pll_variable.h"
#include "support/failing_os.h"
#include "support/key_cases.h"

namespace {

using namespace test_support;
using Config = RecordingConfig;

#define EFFECT(statements) [](PLL_Variable& r) { statements; }
#define USE(name) &PLL_Variable::name

constexpr JTI_Error kBadNumber = -448;

// What absent keys give, other than the initial record.
void overflow_default(PLL_Variable& record) {
    record.tclkOverFlow = LS_TCLK_OVERFLOW_DEFAULT;
}

const Family<PLL_Variable> kFamily = {
    .initial = READ_PllInitial,
    .read = READ_PllVariable,
    .cases =
        {
            {"VEXIL.TCLK_PROGRAM", "external", USE(useTclkProgram),
             EFFECT(r.tclkProgram = 1; r.useTclkProgram = true), "outer", -300},
            {"VEXIL.TCLK_BEGINNING", "1.0", USE(useTclkBeginning),
             EFFECT(r.tclkBeginning = 0; r.useTclkBeginning = true), "low", -301},
            {"VEXIL.TCLK_FREQUENCY", "12.5", USE(useTclkFrequency),
             EFFECT(r.tclkFrequency = 0x0324; r.useTclkFrequency = true), "100", -302},
            {"VEXIL.TCLK_ADVANCE", "20", USE(useTclkAdvance),
             EFFECT(r.tclkAdvance = 20; r.useTclkAdvance = true), "ten", -303, -303},
            {"VEXIL.TCLK_RETREAT", "21", USE(useTclkRetreat),
             EFFECT(r.tclkRetreat = 21; r.useTclkRetreat = true), "ten", -304, -304},
            {"VEXIL.TCLK_TESTMODE", "continue", USE(useTclkTestMode),
             EFFECT(r.tclkTestMode = 2; r.useTclkTestMode = true), "stop", -308},
            {.key = "VEXIL.TCLK_OVERFLOW",
             .text = "silent",
             .use = USE(useTclkOverFlow),
             .effect = EFFECT(r.tclkOverFlow = 2; r.useTclkOverFlow = true),
             .bad = "loud",
             .bad_code = -309,
             .absent = overflow_default},
            {"VEXIL.TCLK_REFERENCE", "5.0", USE(useTclkReference),
             EFFECT(r.tclkReference = 0x0210; r.useTclkReference = true), "high", -305},
            {"VEXIL.TCLK_INITIAL", "no", USE(useTclkInitial),
             EFFECT(r.tclkInitial = false; r.useTclkInitial = true), "maybe", -306, -306},
            {"VEXIL.TCLK_TERMINAL", "no", USE(useTclkTerminal),
             EFFECT(r.tclkTerminal = false; r.useTclkTerminal = true), "maybe", -307, -307},
            {"VEXIL.TCLK_SCAN_BITS", "2048", USE(useBitsLength),
             EFFECT(r.bitsLength = 2048; r.bitsKnown = r.useBitsLength = true), "many", kBadNumber,
             kBadNumber},
            {"VEXIL.TCLK_PATH_IRSIZE", "38", USE(useIrLength),
             EFFECT(r.irLength = 38; r.irKnown = r.useIrLength = true), "long", kBadNumber,
             kBadNumber},
            {"VEXIL.TCLK_PATH_DRSIZE", "7", USE(useDrLength),
             EFFECT(r.drLength = 7; r.drKnown = r.useDrLength = true), "long", kBadNumber,
             kBadNumber},
        },
    .asked_on_empty = {"VEXIL.TCLK_PROGRAM", "VEXIL.TCLK_BEGINNING", "VEXIL.TCLK_FREQUENCY",
                       "VEXIL.TCLK_ADVANCE", "VEXIL.TCLK_RETREAT", "VEXIL.TCLK_TESTMODE",
                       "VEXIL.TCLK_OVERFLOW", "VEXIL.TCLK_REFERENCE", "VEXIL.TCLK_INITIAL",
                       "VEXIL.TCLK_TERMINAL", "VEXIL.TCLK_SCAN_BITS", "VEXIL.TCLK_PATH_IRSIZE",
                       "VEXIL.TCLK_PATH_DRSIZE"},
    .empty_effect = overflow_default,
};

Outcome<PLL_Variable> read_pll(const Config::Keys& keys) {
    return read_config(kFamily, keys);
}

// The record that these keys give, compared with what an empty configuration gives and `change`.
template <typename Change>
void expect_record(const Config::Keys& keys, Change change) {
    const Outcome<PLL_Variable> outcome = read_pll(keys);
    EXPECT_EQ(outcome.code, 0);
    PLL_Variable expected = expected_after(kFamily, 0);
    overflow_default(expected);
    change(expected);
    EXPECT_EQ(describe(outcome.record), describe(expected));
}

TEST(PllVariableTest, InitialIsTheDefaults) {
    PLL_Variable expected = {};
    expected.tclkProgram = 5;
    expected.tclkBeginning = 0xFF00;
    expected.tclkFrequency = 0x0313;
    expected.tclkAdvance = 12;
    expected.tclkRetreat = 8;
    expected.tclkOverFlow = 1;
    expected.tclkReference = 0x0100;
    expected.tclkInitial = expected.tclkTerminal = true;
    expected.bitsLength = 16384;
    EXPECT_EQ(describe(initial_record(kFamily)), describe(expected));
}

TEST(PllVariableTest, NullArgumentsAreRefused) {
    check_null_arguments(kFamily);
}
TEST(PllVariableTest, ContextsAreAskedForFirst) {
    check_contexts(kFamily);
}
TEST(PllVariableTest, EmptyConfigurationChangesTheOverflowOnly) {
    check_empty(kFamily);
}
TEST(PllVariableTest, FullConfigurationIsReadInOrder) {
    check_full(kFamily);
}
TEST(PllVariableTest, HostErrorOfALookupEndsTheReading) {
    check_lookup_errors(kFamily);
}
TEST(PllVariableTest, HostErrorOfAReadEndsTheReading) {
    check_read_errors(kFamily);
}
TEST(PllVariableTest, BadTextGivesTheCodeOfItsKey) {
    check_bad_texts(kFamily);
}
TEST(PllVariableTest, FlagsOfAbsentKeysAreCleared) {
    check_flags_of_absent_keys(kFamily);
}
TEST(PllVariableTest, EachKeyMayBeAbsent) {
    check_each_absent(kFamily);
}
TEST(PllVariableTest, AbsentKeysAreNotRead) {
    check_read_errors_though_absent(kFamily);
}

TEST(PllVariableTest, AbsentKeysOverwriteAllButTheTwoFlagsAndThePaths) {
    RecordingConfig config;
    PLL_Variable record = initial_record(kFamily);
    record.tclkProgram = record.tclkBeginning = record.tclkFrequency = record.tclkAdvance = 1;
    record.tclkRetreat = record.tclkTestMode = record.tclkReference = record.bitsLength = 1;
    record.tclkOverFlow = 2;
    record.bitsKnown = true;
    record.tclkInitial = record.tclkTerminal = false;
    record.irKnown = record.drKnown = true;
    record.irLength = record.drLength = 9;
    ASSERT_EQ(READ_PllVariable(config.handle(), config.table(), &record), 0);
    PLL_Variable expected = expected_after(kFamily, 0);
    overflow_default(expected);
    expected.tclkInitial = expected.tclkTerminal = false;
    expected.irKnown = expected.drKnown = true;
    expected.irLength = expected.drLength = 9;
    EXPECT_EQ(describe(record), describe(expected));
}

// ---- words -------------------------------------------------------------------------------------

TEST(PllVariableTest, ModesTakeTheirWords) {
    check_words(kFamily, "VEXIL.TCLK_PROGRAM", gTclkProgTitle, gTclkProgValue,
                &PLL_Variable::tclkProgram, -300);
    check_words(kFamily, "VEXIL.TCLK_TESTMODE", gTclkTestModeTitle, gTclkTestModeValue,
                &PLL_Variable::tclkTestMode, -308);
    check_words(kFamily, "VEXIL.TCLK_OVERFLOW", gTclkOverFlowTitle, gTclkOverFlowValue,
                &PLL_Variable::tclkOverFlow, -309);
}

TEST(PllVariableTest, FrequenciesTakeTheirWords) {
    check_words(kFamily, "VEXIL.TCLK_BEGINNING", gTclkFreqTitle, gTclkFreqValue,
                &PLL_Variable::tclkBeginning, -301);
    check_words(kFamily, "VEXIL.TCLK_FREQUENCY", gTclkFreqTitle, gTclkFreqValue,
                &PLL_Variable::tclkFrequency, -302);
    check_words(kFamily, "VEXIL.TCLK_REFERENCE", gTclkReferTitle, gTclkReferValue,
                &PLL_Variable::tclkReference, -305);
}

TEST(PllVariableTest, InitialAndTerminalTakeTheirWord) {
    check_words(kFamily, "VEXIL.TCLK_INITIAL", gTclkInitialTitle, gTclkInitialValue,
                &PLL_Variable::tclkInitial, -306);
    check_words(kFamily, "VEXIL.TCLK_TERMINAL", gTclkTerminalTitle, gTclkTerminalValue,
                &PLL_Variable::tclkTerminal, -307);
}

TEST(PllVariableTest, LengthsTakeTheirWords) {
    check_words(kFamily, "VEXIL.TCLK_SCAN_BITS", gTclkBitsTitle, gTclkBitsValue,
                &PLL_Variable::bitsLength, kBadNumber);
    check_words(kFamily, "VEXIL.TCLK_PATH_IRSIZE", gTclkPathTitle, nullptr, &PLL_Variable::irLength,
                kBadNumber);
    check_words(kFamily, "VEXIL.TCLK_PATH_DRSIZE", gTclkPathTitle, nullptr, &PLL_Variable::drLength,
                kBadNumber);
}

TEST(PllVariableTest, FirstWordInTheTableWins) {
    EXPECT_EQ(read_pll({{"VEXIL.TCLK_PROGRAM", "a"}}).record.tclkProgram, LS_TCLK_PROG_AUTOMATIC);
    EXPECT_EQ(read_pll({{"VEXIL.TCLK_PROGRAM", "m"}}).record.tclkProgram, LS_TCLK_PROG_MINIMUM);
    EXPECT_EQ(read_pll({{"VEXIL.TCLK_PROGRAM", "MA"}}).record.tclkProgram, LS_TCLK_PROG_MAXIMUM);
    EXPECT_EQ(read_pll({{"VEXIL.TCLK_REFERENCE", "1"}}).record.tclkReference, PLL_TCLK_W_ONE);
    EXPECT_EQ(read_pll({{"VEXIL.TCLK_REFERENCE", "10"}}).record.tclkReference, PLL_TCLK_W_TEN);
}

// ---- frequencies -------------------------------------------------------------------------------

TEST(PllVariableTest, FrequencyTextsAreRead) {
    const struct {
        const char* text;
        bool good;
        coord_t coord;
    } cases[] = {
        {"12.5", true, PLL_TCLK_PACK(3, 36)},
        {"10.0MHz", true, PLL_TCLK_W_TEN},
        {"500kHz", true, PLL_TCLK_W_MINIMUM},
        {"250kHz", true, PLL_TCLK_PACK(-2, 0)},
        {"64", true, PLL_TCLK_W_MAXIMUM},
        {"64.5", true, PLL_TCLK_W_MAXIMUM},
        {"65", false, 0},
        {"100", false, 0},
        {"2000kHz", false, 0},
        {"12.", false, 0},
        {"-1", false, 0},
        {" 1", false, 0},
        {"0", false, 0},
        {"fast", false, 0},
    };
    const struct {
        const char* key;
        coord_t PLL_Variable::*field;
        JTI_Error code;
    } keys[] = {
        {"VEXIL.TCLK_BEGINNING", &PLL_Variable::tclkBeginning, -301},
        {"VEXIL.TCLK_FREQUENCY", &PLL_Variable::tclkFrequency, -302},
        {"VEXIL.TCLK_REFERENCE", &PLL_Variable::tclkReference, -305},
    };
    for (const auto& key : keys) {
        for (const auto& item : cases) {
            SCOPED_TRACE(std::string(key.key) + " = " + item.text);
            const auto outcome = read_pll({{key.key, item.text}});
            EXPECT_EQ(outcome.code, item.good ? 0 : key.code);
            EXPECT_EQ(outcome.record.*key.field,
                      item.good ? item.coord : initial_record(kFamily).*key.field);
        }
    }
}

TEST(PllVariableTest, FrequencyLengthBeyondTheTextIsRefused) {
    const struct {
        const char* text;
        uint32_t length;
        JTI_Error code;
    } cases[] = {{"10.5", 4, 0},
                 {"10.5", 5, -302},
                 {"10.5", 4000000000u, -302},
                 {"10.5", 0, -302},
                 {nullptr, 4, -302}};
    for (const auto& item : cases) {
        SCOPED_TRACE(item.length);
        RecordingConfig config;
        config.set_raw("VEXIL.TCLK_FREQUENCY", item.text, item.length);
        EXPECT_EQ(read_config(kFamily, config).code, item.code);
    }
}

TEST(PllVariableTest, SpecificFrequencyLowersTheBeginning) {
    const coord_t low = PLL_TCLK_PACK(-2, 0);
    expect_record({{"VEXIL.TCLK_PROGRAM", "specific"}, {"VEXIL.TCLK_FREQUENCY", "250kHz"}},
                  [&](PLL_Variable& r) {
                      r.tclkProgram = LS_TCLK_PROG_SPECIFIC;
                      r.tclkFrequency = r.tclkBeginning = low;
                      r.useTclkProgram = r.useTclkFrequency = true;
                  });
    const struct {
        const char* what;
        Config::Keys keys;
        coord_t beginning;
    } others[] = {
        {"not below",
         {{"VEXIL.TCLK_PROGRAM", "specific"}, {"VEXIL.TCLK_FREQUENCY", "10.0"}},
         PLL_TCLK_W_MINIMUM},
        {"equal",
         {{"VEXIL.TCLK_PROGRAM", "specific"}, {"VEXIL.TCLK_FREQUENCY", "500kHz"}},
         PLL_TCLK_W_MINIMUM},
        {"other program",
         {{"VEXIL.TCLK_PROGRAM", "automatic"}, {"VEXIL.TCLK_FREQUENCY", "250kHz"}},
         PLL_TCLK_W_MINIMUM},
        {"no program", {{"VEXIL.TCLK_FREQUENCY", "250kHz"}}, PLL_TCLK_W_MINIMUM},
        {"beginning given",
         {{"VEXIL.TCLK_PROGRAM", "specific"},
          {"VEXIL.TCLK_FREQUENCY", "250kHz"},
          {"VEXIL.TCLK_BEGINNING", "1.0"}},
         PLL_TCLK_W_ONE},
        {"no frequency", {{"VEXIL.TCLK_PROGRAM", "specific"}}, PLL_TCLK_W_MINIMUM},
    };
    for (const auto& item : others) {
        const auto outcome = read_pll(item.keys);
        EXPECT_EQ(outcome.code, 0) << item.what;
        EXPECT_EQ(outcome.record.tclkBeginning, item.beginning) << item.what;
    }
}

// ---- numbers -----------------------------------------------------------------------------------

TEST(PllVariableTest, MarginsAreOneTo63) {
    const struct {
        const char* key;
        uint32_t PLL_Variable::*field;
        JTI_Error code;
    } keys[] = {
        {"VEXIL.TCLK_ADVANCE", &PLL_Variable::tclkAdvance, -303},
        {"VEXIL.TCLK_RETREAT", &PLL_Variable::tclkRetreat, -304},
    };
    for (const auto& key : keys) {
        for (const uint32_t value : {1u, 2u, 62u, 63u}) {
            const auto outcome = read_pll({{key.key, std::to_string(value)}});
            EXPECT_EQ(outcome.code, 0) << key.key << value;
            EXPECT_EQ(outcome.record.*key.field, value);
        }
        for (const uint32_t value : {0u, 64u, 0xFFFFFFFFu}) {
            const auto outcome = read_pll({{key.key, std::to_string(value)}});
            EXPECT_EQ(outcome.code, key.code) << key.key << value;
            EXPECT_EQ(outcome.record.*key.field, initial_record(kFamily).*key.field);
        }
    }
}

TEST(PllVariableTest, FlagsTakeABoolean) {
    expect_record({{"VEXIL.TCLK_INITIAL", "no"}},
                  EFFECT(r.tclkInitial = false; r.useTclkInitial = true));
    expect_record({{"VEXIL.TCLK_INITIAL", "yes"}}, EFFECT(r.useTclkInitial = true));
    expect_record({{"VEXIL.TCLK_INITIAL", "def"}}, EFFECT(r.useTclkInitial = true));
    expect_record({{"VEXIL.TCLK_TERMINAL", "no"}},
                  EFFECT(r.tclkTerminal = false; r.useTclkTerminal = true));
    expect_record({{"VEXIL.TCLK_TERMINAL", "yes"}}, EFFECT(r.useTclkTerminal = true));
}

TEST(PllVariableTest, ScanBitsAreCutToWholeWords) {
    const struct {
        const char* text;
        JTI_Error code;
        uint32_t bits;
    } cases[] = {
        {"1023", -272, 16384},       {"1000", -272, 16384}, {"0", -272, 16384},
        {"1024", 0, 1024},           {"1055", 0, 1024},     {"1056", 0, 1056},
        {"524287", 0, 524256},       {"524288", 0, 524288}, {"524289", -272, 16384},
        {"4294967295", -272, 16384}, {"none", 0, 0},        {"longest", 0, 524288},
        {"shortest", 0, 1024},       {"default", 0, 16384}, {"few", kBadNumber, 16384},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.text);
        const auto outcome = read_pll({{"VEXIL.TCLK_SCAN_BITS", item.text}});
        EXPECT_EQ(outcome.code, item.code);
        EXPECT_EQ(outcome.record.bitsLength, item.bits);
        EXPECT_EQ(outcome.record.bitsKnown, item.code == 0);
        EXPECT_TRUE(outcome.record.useBitsLength);
    }
}

TEST(PllVariableTest, PathLengthsAreANumberOrMeasured) {
    const struct {
        const char* key;
        uint32_t PLL_Variable::*length;
        bool PLL_Variable::*known;
        bool PLL_Variable::*use;
        JTI_Error code;
    } keys[] = {
        {"VEXIL.TCLK_PATH_IRSIZE", &PLL_Variable::irLength, USE(irKnown), USE(useIrLength), -273},
        {"VEXIL.TCLK_PATH_DRSIZE", &PLL_Variable::drLength, USE(drKnown), USE(useDrLength), -274},
    };
    for (const auto& key : keys) {
        for (const uint32_t value : {0u, 1u, 524287u, 524288u}) {
            expect_record({{key.key, std::to_string(value)}}, [&](PLL_Variable& r) {
                r.*key.length = value;
                r.*key.known = r.*key.use = true;
            });
        }
        for (const char* word : {"default", "measure", "M"}) {
            expect_record({{key.key, word}}, [&](PLL_Variable& r) { r.*key.use = true; });
        }
        for (const char* text : {"524289", "4294967295"}) {
            const auto outcome = read_pll({{key.key, text}});
            EXPECT_EQ(outcome.code, key.code) << text;
            EXPECT_EQ(outcome.record.*key.length, 0u);
            EXPECT_FALSE(outcome.record.*key.known);
        }
    }
}

TEST(PllVariableTest, WordClearsAKnownPathLength) {
    RecordingConfig config(Config::Keys{{"VEXIL.TCLK_PATH_IRSIZE", "measure"}});
    PLL_Variable record = initial_record(kFamily);
    record.irKnown = true;
    record.irLength = 9;
    ASSERT_EQ(READ_PllVariable(config.handle(), config.table(), &record), 0);
    EXPECT_FALSE(record.irKnown);
    EXPECT_EQ(record.irLength, 0u);
}

TEST(PllVariableTest, CreateAndDelete) {
    EXPECT_EQ(READ_PllCreate(nullptr), 1);
    EXPECT_EQ(READ_PllDelete(nullptr), 1);
    PLL_Variable* record = nullptr;
    EXPECT_EQ(READ_PllDelete(&record), 1);
    FailingHeap heap(1);
    EXPECT_EQ(READ_PllCreate(&record), 0);
    ASSERT_EQ(heap.blocks().size(), 1u);
    EXPECT_EQ(heap.blocks()[0], record);
    EXPECT_EQ(READ_PllDelete(&record), 0);
    EXPECT_EQ(record, nullptr);
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_EQ(READ_PllCreate(&record), 1);
    EXPECT_EQ(record, nullptr);
}

} // namespace
