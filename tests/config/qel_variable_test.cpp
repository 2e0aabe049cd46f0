#include "config/qel_variable.h"
#include "support/failing_os.h"
#include "support/key_cases.h"

namespace {

using namespace test_support;
using Config = RecordingConfig;

#define EFFECT(statements) [](QEL_Variable& r) { statements; }

constexpr JTI_Error kRange = -339;

KeyCase<QEL_Variable> number(const char* key, const char* text, void (*effect)(QEL_Variable&)) {
    return {.key = key,
            .text = text,
            .use = nullptr,
            .effect = effect,
            .bad = "ten",
            .bad_code = Config::kNotANumber};
}
KeyCase<QEL_Variable> flag(const char* key, const char* text, void (*effect)(QEL_Variable&)) {
    return {.key = key,
            .text = text,
            .use = nullptr,
            .effect = effect,
            .bad = "maybe",
            .bad_code = Config::kNotABoolean};
}

// Every key that a version has, each value another than its default. The version is a case of its
// own, as without it the other keys are those of version 1.
std::vector<KeyCase<QEL_Variable>> cases_of(uint32_t version) {
    std::vector<KeyCase<QEL_Variable>> cases = {number("KELM.POD_SN", "77", EFFECT(r.sn = 77))};
    const auto add = [&](std::initializer_list<KeyCase<QEL_Variable>> more) {
        cases.insert(cases.end(), more);
    };
    if (version != 1) {
        add({number("KELM.POD_EMUVERSION",
                    version == 2   ? "2"
                    : version == 3 ? "3"
                                   : "4",
                    version == 2   ? EFFECT(r.version = 2)
                    : version == 3 ? EFFECT(r.version = 3)
                                   : EFFECT(r.version = 4))});
    } else {
        add({number("KELM.POD_EMUVERSION", "1", EFFECT(r.version = 1))});
    }
    add({number("KELM.POD_TCKDIV", "2", EFFECT(r.tckdiv = 2))});
    if (version != 1) {
        add({number("KELM.POD_TCKEXP", "5", EFFECT(r.tckexp = 5))});
    }
    add({
        flag("KELM.POD_ACLK_ENABLE", "yes", EFFECT(r.aclken = true)),
            flag("KELM.POD_TCKPREDIVENA", "yes",
                 EFFECT(r.prediv = true; r.slowclk = r.version == 1))
    });
    if (version == 1) {
        add({flag("KELM.POD_SLOWCLK", "no", EFFECT(r.slowclk = false))});
    }
    add({flag("KELM.POD_TDOONTCKFALL", "no", EFFECT(r.tdoedge = false)),
         flag("KELM.POD_TDILOAD", "no", EFFECT(r.tdiload = false)),
         flag("KELM.POD_TCKLOAD", "no", EFFECT(r.tckload = false)),
         flag("KELM.POD_SHORTLINKDLY", "yes", EFFECT(r.shortdly = true)),
         number("KELM.POD_ACLK_DELAY", "3", EFFECT(r.aclkdly = 3))});
    if (version >= 2) {
        add({flag("KELM.POD_AW_EN", "no", EFFECT(r.aw = false)),
             number("KELM.POD_TMS_OFS", "4", EFFECT(r.tmsofs = 4)),
             number("KELM.POD_TDO_OFS", "5", EFFECT(r.tdoofs = 5)),
             flag("KELM.POD_NO_TCKR", "yes", EFFECT(r.tckb = true)),
             flag("KELM.POD_LOOPBACK", "yes", EFFECT(r.loopb = true)),
             number("KELM.POD_TCK_BPAS_DLY", "2", EFFECT(r.tckdly = 2))});
    }
    if (version >= 3) {
        add({number("KELM.POD_VCLAMP", "20", EFFECT(r.vclamp = 20)),
             number("KELM.POD_EMU0_MODE", "1", EFFECT(r.e0mode = 1)),
             number("KELM.POD_EMU1_MODE", "2", EFFECT(r.e1mode = 2))});
    }
    return cases;
}

Family<QEL_Variable> family_of(uint32_t version) {
    Family<QEL_Variable> family = {
        .initial = READ_QelInitial,
        .read = READ_QelVariable,
        .cases = cases_of(version),
        .asked_on_empty = {"KELM.POD_SN", "KELM.POD_EMUVERSION", "KELM.POD_TCKDIV",
                           "KELM.POD_ACLK_ENABLE", "KELM.POD_TCKPREDIVENA", "KELM.POD_SLOWCLK",
                           "KELM.POD_TDOONTCKFALL", "KELM.POD_TDILOAD", "KELM.POD_TCKLOAD",
                           "KELM.POD_SHORTLINKDLY", "KELM.POD_ACLK_DELAY"},
        // 100000 / (10 + 3) is 7692.
        .empty_effect = EFFECT(r.slowclk = true),
    };
    return family;
}

class QelVariableOfVersionTest : public testing::TestWithParam<uint32_t> {
protected:
    Family<QEL_Variable> family_ = family_of(GetParam());
    Config::Keys version_ = {{"KELM.POD_EMUVERSION", std::to_string(GetParam())}};

    Outcome<QEL_Variable> read(const std::string& key, const std::string& text) {
        Config::Keys keys = version_;
        keys[key] = text;
        return read_config(family_, keys);
    }
};

INSTANTIATE_TEST_SUITE_P(All, QelVariableOfVersionTest, testing::Values(1u, 2u, 3u, 4u));

TEST(QelVariableTest, InitialIsTheDefaults) {
    QEL_Variable expected = {};
    expected.tdoedge = expected.tdiload = expected.tckload = expected.aw = true;
    expected.tckdiv = 10;
    expected.tckexp = 1;
    expected.aclkdly = 7;
    expected.version = 1;
    expected.vclamp = 15;
    EXPECT_EQ(describe(initial_record(family_of(1))), describe(expected));
}

TEST(QelVariableTest, NullArgumentsAreRefused) {
    check_null_arguments(family_of(1));
}
TEST(QelVariableTest, ContextsAreAskedForFirst) {
    check_contexts(family_of(1));
}
TEST(QelVariableTest, EmptyConfigurationIsVersionOne) {
    check_empty(family_of(1));
}
TEST_P(QelVariableOfVersionTest, FullConfigurationIsReadInOrder) {
    check_full(family_);
}
TEST_P(QelVariableOfVersionTest, HostErrorOfALookupEndsTheReading) {
    check_lookup_errors(family_);
}
TEST_P(QelVariableOfVersionTest, HostErrorOfAReadEndsTheReading) {
    check_read_errors(family_);
}
TEST_P(QelVariableOfVersionTest, BadTextGivesTheHostsCode) {
    check_bad_texts(family_);
}

TEST_P(QelVariableOfVersionTest, AbsentKeysKeepTheDefaults) {
    const auto outcome = read_config(family_, version_);
    EXPECT_EQ(outcome.code, 0);
    QEL_Variable expected = expected_after(family_, 0);
    expected.version = GetParam();
    expected.slowclk = GetParam() == 1;
    EXPECT_EQ(describe(outcome.record), describe(expected));
    EXPECT_EQ(outcome.asked, first_keys(family_, family_.cases.size()));
}

TEST_P(QelVariableOfVersionTest, EachKeyMayBeAbsent) {
    // Version last: without it the keys are those of version 1.
    for (size_t at = 0; at < family_.cases.size(); ++at) {
        const std::string key = family_.cases[at].key;
        if (key == "KELM.POD_EMUVERSION") {
            continue;
        }
        SCOPED_TRACE(key);
        RecordingConfig config;
        fill(family_, config).remove(key);
        config.fail_read(key, kHostError);
        const auto outcome = read_config(family_, config);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.asked, first_keys(family_, family_.cases.size()));
        QEL_Variable expected = expected_after(family_, 0);
        for (size_t i = 0; i < family_.cases.size(); ++i) {
            if (i != at) {
                family_.cases[i].effect(expected);
            } else if (key == "KELM.POD_TCKPREDIVENA") {
                expected.slowclk = expected.version == 1; // by the adaptive clock
            }
        }
        EXPECT_EQ(describe(outcome.record), describe(expected));
    }
}

TEST(QelVariableTest, AbsentSerialAndClampAreSetAgain) {
    RecordingConfig config(Config::Keys{{"KELM.POD_EMUVERSION", "3"}});
    QEL_Variable record = initial_record(family_of(3));
    record.sn = 5;
    record.vclamp = 99; // absent: 15 before the limit is looked at
    EXPECT_EQ(READ_QelVariable(config.handle(), config.table(), &record), 0);
    EXPECT_EQ(record.sn, 0u);
    EXPECT_EQ(record.vclamp, 15u);
}

// ---- limits ------------------------------------------------------------------------------------

TEST(QelVariableTest, VersionIsOneToFour) {
    for (const char* text : {"1", "2", "3", "4"}) {
        EXPECT_EQ(read_config(family_of(1), {{"KELM.POD_EMUVERSION", text}}).code, 0) << text;
    }
    for (const char* text : {"0", "5", "4294967295"}) {
        const auto outcome = read_config(family_of(1), {{"KELM.POD_EMUVERSION", text}});
        EXPECT_EQ(outcome.code, kRange) << text;
        EXPECT_EQ(outcome.asked, (std::vector<std::string>{"KELM.POD_SN", "KELM.POD_EMUVERSION"}));
        QEL_Variable expected = expected_after(family_of(1), 0);
        expected.version = static_cast<uint32_t>(std::stoul(text));
        EXPECT_EQ(describe(outcome.record), describe(expected));
    }
}

struct Limit {
    const char* key;
    uint32_t QEL_Variable::*field;
    uint32_t most[4]; // by version; kNoKey where the version has no such key
};
constexpr uint32_t kNoKey = 0xFFFFFFFFu;
const Limit kLimits[] = {
    {"KELM.POD_TCKDIV", &QEL_Variable::tckdiv, {12, 15, 15, 15}},
    {"KELM.POD_TCKEXP", &QEL_Variable::tckexp, {kNoKey, 7, 7, 7}},
    {"KELM.POD_ACLK_DELAY", &QEL_Variable::aclkdly, {7, 7, 7, 7}},
    {"KELM.POD_TMS_OFS", &QEL_Variable::tmsofs, {kNoKey, 7, 7, 7}},
    {"KELM.POD_TDO_OFS", &QEL_Variable::tdoofs, {kNoKey, 7, 7, 7}},
    {"KELM.POD_TCK_BPAS_DLY", &QEL_Variable::tckdly, {kNoKey, 3, 3, 3}},
    {"KELM.POD_VCLAMP", &QEL_Variable::vclamp, {kNoKey, kNoKey, 31, 31}},
    {"KELM.POD_EMU0_MODE", &QEL_Variable::e0mode, {kNoKey, kNoKey, 2, 2}},
    {"KELM.POD_EMU1_MODE", &QEL_Variable::e1mode, {kNoKey, kNoKey, 2, 2}},
};

TEST_P(QelVariableOfVersionTest, NumbersHaveTheirLimits) {
    for (const Limit& limit : kLimits) {
        SCOPED_TRACE(limit.key);
        const uint32_t most = limit.most[GetParam() - 1];
        if (most == kNoKey) {
            const auto outcome = read(limit.key, "4294967295");
            EXPECT_EQ(outcome.code, 0);
            EXPECT_EQ(outcome.record.*limit.field, initial_record(family_).*limit.field);
            EXPECT_EQ(std::ranges::count(outcome.asked, limit.key), 0);
            continue;
        }
        for (uint32_t value = 0; value <= most; ++value) {
            const auto outcome = read(limit.key, std::to_string(value));
            EXPECT_EQ(outcome.code, 0) << value;
            EXPECT_EQ(outcome.record.*limit.field, value);
        }
        for (const uint32_t value : {most + 1, 0xFFFFFFFFu}) {
            const auto outcome = read(limit.key, std::to_string(value));
            EXPECT_EQ(outcome.code, kRange) << value;
            EXPECT_EQ(outcome.record.*limit.field, value) << "stored, then refused";
            EXPECT_EQ(outcome.asked.back(), limit.key);
        }
    }
}

// The record's own value is held to the limit when the key is absent.
TEST_P(QelVariableOfVersionTest, LimitsHoldThoughTheKeyIsAbsent) {
    for (const Limit& limit : kLimits) {
        const uint32_t most = limit.most[GetParam() - 1];
        if (limit.field == &QEL_Variable::vclamp) {
            continue; // absent: 15
        }
        SCOPED_TRACE(limit.key);
        for (const uint32_t value : {7u, 16u}) {
            RecordingConfig config(version_);
            QEL_Variable record = initial_record(family_);
            record.*limit.field = value;
            const bool good = most == kNoKey || value <= most;
            EXPECT_EQ(READ_QelVariable(config.handle(), config.table(), &record),
                      good ? 0 : kRange);
            EXPECT_EQ(record.*limit.field, value);
        }
    }
    RecordingConfig config;
    QEL_Variable record = initial_record(family_);
    record.version = 5;
    EXPECT_EQ(READ_QelVariable(config.handle(), config.table(), &record), kRange);
}

// ---- slow clock --------------------------------------------------------------------------------

TEST(QelVariableTest, SlowClockOfVersionOneFollowsTheDivider) {
    for (uint32_t divider = 0; divider <= 12; ++divider) {
        for (const bool prediv : {false, true}) {
            for (const bool adaptive : {false, true}) {
                SCOPED_TRACE(testing::Message() << divider << prediv << adaptive);
                const auto outcome =
                    read_config(family_of(1), {{"KELM.POD_TCKDIV", std::to_string(divider)},
                                               {"KELM.POD_TCKPREDIVENA", prediv ? "yes" : "no"},
                                               {"KELM.POD_ACLK_ENABLE", adaptive ? "yes" : "no"}});
                EXPECT_EQ(outcome.code, 0);
                // 100000 / 10 is the limit of 10000; 25000 / 3 is below it.
                EXPECT_EQ(outcome.record.slowclk, adaptive || prediv || divider >= 7);
            }
        }
    }
}

TEST(QelVariableTest, SlowClockKeyOverrulesWhatWasComputed) {
    for (const char* divider : {"6", "7"}) {
        for (const char* key : {"no", "yes"}) {
            const auto outcome = read_config(
                family_of(1), {{"KELM.POD_TCKDIV", divider}, {"KELM.POD_SLOWCLK", key}});
            EXPECT_EQ(outcome.code, 0);
            EXPECT_EQ(outcome.record.slowclk, *key == 'y');
        }
    }
}

TEST_P(QelVariableOfVersionTest, SlowClockKeyIsForVersionOneOnly) {
    const auto outcome = read("KELM.POD_SLOWCLK", "no");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_FALSE(outcome.record.slowclk);
    EXPECT_EQ(std::ranges::count(outcome.asked, "KELM.POD_SLOWCLK"), GetParam() == 1);
    const auto adaptive = read("KELM.POD_ACLK_ENABLE", "yes");
    EXPECT_EQ(adaptive.record.slowclk, GetParam() == 1);
}

TEST(QelVariableTest, CreateAndDelete) {
    EXPECT_TRUE(READ_QelCreate(nullptr));
    EXPECT_TRUE(READ_QelDelete(nullptr));
    QEL_Variable* record = nullptr;
    EXPECT_TRUE(READ_QelDelete(&record));
    FailingHeap heap(1);
    EXPECT_FALSE(READ_QelCreate(&record));
    ASSERT_EQ(heap.blocks().size(), 1u);
    EXPECT_EQ(heap.blocks()[0], record);
    EXPECT_FALSE(READ_QelDelete(&record));
    EXPECT_EQ(record, nullptr);
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_TRUE(READ_QelCreate(&record));
    EXPECT_EQ(record, nullptr);
}

} // namespace
