#include "config/zdl_variable.h"
#include "support/failing_os.h"
#include "support/key_cases.h"

namespace {

using namespace test_support;
using Config = RecordingConfig;

#define EFFECT(statements) [](ZDL_Variable& r) { statements; }

constexpr JTI_Error kTooLong = -445;
// The hash of "POD-0042", worked out apart from the driver.
constexpr uint32_t kSerialHash = 0xAFDC92B5;

void set_name(char (&field)[ZDL_NAME_SIZE], const std::string& name) {
    ASSERT_LT(name.size(), sizeof(field));
    std::copy_n(name.c_str(), name.size() + 1, field);
}

const Family<ZDL_Variable> kFamily = {
    .initial = READ_ZdlInitial,
    .read = READ_ZdlVariable,
    .cases =
        {
            {.key = "VEXIL.ECOM_DRVR",
             .text = "/opt/e/libecom.so",
             .use = nullptr,
             .effect = EFFECT(set_name(r.driverNameEcom, "libecom.so"); r.useDrvrEcom = true),
             .always = true,
             .skips = {"VEXIL.ECOM_PORT"}},
            {.key = "VEXIL.ECOM_PORT",
             .text = "240",
             .use = nullptr,
             .effect = EFFECT(r.portAddressEcom = 240; r.usePortEcom = true),
             .bad = "ten",
             .bad_code = Config::kNotANumber,
             .always = true},
            {.key = "KELM.POD_DRVR",
             .text = "/opt/x/libpod.so",
             .use = nullptr,
             .effect = EFFECT(set_name(r.driverNameKelm, "libpod.so"); r.useDrvrKelm = true),
             .always = true,
             .skips = {"KELM.POD_PORT", "KELM.POD_SERIAL"}},
            {.key = "KELM.POD_PORT",
             .text = "3",
             .use = nullptr,
             .effect = EFFECT(r.portAddressKelm = 3; r.usePortKelm = true),
             .bad = "ten",
             .bad_code = Config::kNotANumber,
             .always = true},
            {.key = "KELM.POD_SERIAL",
             .text = "POD-0042",
             .use = nullptr,
             .effect = EFFECT(set_name(r.serialNameKelm, "POD-0042");
                              r.useSerialNameKelm = r.usePortKelm = true;
                              r.portAddressKelm = kSerialHash),
             .always = true},
        },
    .asked_on_empty = {"VEXIL.ECOM_DRVR", "KELM.POD_DRVR"},
    .all_or_nothing = true,
};

Outcome<ZDL_Variable> read_zdl(const Config::Keys& keys) {
    return read_config(kFamily, keys);
}

TEST(ZdlVariableTest, InitialIsEmpty) {
    EXPECT_EQ(describe(initial_record(kFamily)), describe(ZDL_Variable{}));
}

TEST(ZdlVariableTest, NullArgumentsAreRefused) {
    check_null_arguments(kFamily);
}
TEST(ZdlVariableTest, ContextsAreAskedForFirst) {
    check_contexts(kFamily);
}
TEST(ZdlVariableTest, EmptyConfigurationAsksForTheDriversOnly) {
    check_empty(kFamily);
}
TEST(ZdlVariableTest, FullConfigurationIsReadInOrder) {
    check_full(kFamily);
}
TEST(ZdlVariableTest, HostErrorOfALookupLeavesTheRecord) {
    check_lookup_errors(kFamily);
}
TEST(ZdlVariableTest, HostErrorOfAReadLeavesTheRecord) {
    check_read_errors(kFamily);
}
TEST(ZdlVariableTest, BadTextGivesTheHostsCode) {
    check_bad_texts(kFamily);
}
TEST(ZdlVariableTest, EachKeyMayBeAbsent) {
    check_each_absent(kFamily);
}
TEST(ZdlVariableTest, AbsentKeysAreReadAllTheSame) {
    check_read_errors_though_absent(kFamily);
}

TEST(ZdlVariableTest, PathIsCutToTheFileName) {
    const struct {
        const char* path;
        const char* file;
    } cases[] = {
        {"/opt/x/libpod.so", "libpod.so"},
        {"libpod.so", "libpod.so"},
        {"c:pod.dll", "pod.dll"},
        {"c:\\drv\\pod.dll", "pod.dll"},
        {"a\\b/c", "b/c"},
        {"/opt/x/", ""},
        {"", ""},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.path);
        const auto outcome =
            read_zdl({{"VEXIL.ECOM_DRVR", item.path}, {"KELM.POD_DRVR", item.path}});
        EXPECT_EQ(outcome.code, 0);
        EXPECT_STREQ(outcome.record.driverNameEcom, item.file);
        EXPECT_STREQ(outcome.record.driverNameKelm, item.file);
        EXPECT_TRUE(outcome.record.useDrvrEcom);
        EXPECT_TRUE(outcome.record.useDrvrKelm);
    }
}

TEST(ZdlVariableTest, TextsHaveAtMost256Characters) {
    const struct {
        const char* key;
        char (ZDL_Variable::*field)[ZDL_NAME_SIZE];
    } cases[] = {
        {"VEXIL.ECOM_DRVR", &ZDL_Variable::driverNameEcom},
        {"KELM.POD_DRVR", &ZDL_Variable::driverNameKelm},
        {"KELM.POD_SERIAL", &ZDL_Variable::serialNameKelm},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.key);
        RecordingConfig good;
        fill(kFamily, good).set(item.key, std::string(256, 'n'));
        const auto accepted = read_config(kFamily, good);
        EXPECT_EQ(accepted.code, 0);
        EXPECT_EQ(accepted.record.*item.field, std::string(256, 'n'));

        RecordingConfig bad;
        fill(kFamily, bad).set(item.key, std::string(257, 'n'));
        const auto refused = read_config(kFamily, bad);
        EXPECT_EQ(refused.code, kTooLong);
        EXPECT_EQ(refused.asked.back(), item.key);
        EXPECT_EQ(describe(refused.record), describe(expected_after(kFamily, 0)));
    }
}

TEST(ZdlVariableTest, LengthCountsThoughTheKeyIsAbsent) {
    for (const char* key : {"VEXIL.ECOM_DRVR", "KELM.POD_DRVR", "KELM.POD_SERIAL"}) {
        RecordingConfig config;
        fill(kFamily, config).set_absent_answer(key, "", 257);
        EXPECT_EQ(read_config(kFamily, config).code, kTooLong) << key;
    }
}

// A length that disagrees with the NUL: what both agree on counts.
TEST(ZdlVariableTest, WrongLengthsNeitherOverflowNorOverread) {
    const struct {
        const char* text;
        uint32_t length;
        const char* kept;
    } cases[] = {
        {"short", 256, "short"}, {"/a/b.so", 200, "b.so"}, {"abcdef", 3, "abc"},
        {"abc", 0, ""},          {nullptr, 9, ""},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.kept);
        RecordingConfig config;
        config.set_raw("VEXIL.ECOM_DRVR", item.text, item.length);
        config.set_raw("KELM.POD_DRVR", item.text, item.length);
        const auto outcome = read_config(kFamily, config);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_STREQ(outcome.record.driverNameEcom, item.kept);
        EXPECT_STREQ(outcome.record.driverNameKelm, item.kept);
    }
    const std::string endless(4000, 'e');
    RecordingConfig config;
    config.set_raw("VEXIL.ECOM_DRVR", endless.c_str(), 256);
    config.set_raw("KELM.POD_DRVR", "p", 1);
    config.set_raw("KELM.POD_SERIAL", endless.c_str(), 10);
    const auto outcome = read_config(kFamily, config);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.record.driverNameEcom, std::string(256, 'e'));
    EXPECT_EQ(outcome.record.serialNameKelm, std::string(10, 'e'));
}

TEST(ZdlVariableTest, EmptySerialKeepsThePort) {
    const auto outcome =
        read_zdl({{"KELM.POD_DRVR", "p"}, {"KELM.POD_PORT", "3"}, {"KELM.POD_SERIAL", ""}});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_TRUE(outcome.record.useSerialNameKelm);
    EXPECT_STREQ(outcome.record.serialNameKelm, "");
    EXPECT_EQ(outcome.record.portAddressKelm, 3u);
    EXPECT_TRUE(outcome.record.usePortKelm);
    const auto alone = read_zdl({{"KELM.POD_DRVR", "p"}, {"KELM.POD_SERIAL", ""}});
    EXPECT_TRUE(alone.record.useSerialNameKelm);
    EXPECT_FALSE(alone.record.usePortKelm);
}

TEST(ZdlVariableTest, SerialSetsThePortWithoutAPortKey) {
    const auto outcome = read_zdl({{"KELM.POD_DRVR", "p"}, {"KELM.POD_SERIAL", "POD-0042"}});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.record.portAddressKelm, kSerialHash);
    EXPECT_TRUE(outcome.record.usePortKelm);
}

TEST(ZdlVariableTest, SerialBytesAreHashedAsSigned) {
    // 5381 * 33 = 177573, exclusive-or 0xFFFFFFE9.
    const auto outcome = read_zdl({{"KELM.POD_DRVR", "p"}, {"KELM.POD_SERIAL", "\xE9"}});
    EXPECT_EQ(outcome.record.portAddressKelm, 177573u ^ 0xFFFFFFE9u);
}

TEST(ZdlVariableTest, PortsCountOnlyWithTheirDriver) {
    const auto outcome = read_zdl(
        {{"VEXIL.ECOM_PORT", "5"}, {"KELM.POD_PORT", "3"}, {"KELM.POD_SERIAL", "POD-0042"}});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(describe(outcome.record), describe(expected_after(kFamily, 0)));
    EXPECT_EQ(outcome.asked, kFamily.asked_on_empty);
}

TEST(ZdlVariableTest, AbsentKeysLeaveWhatARecordHeld) {
    RecordingConfig config;
    ZDL_Variable record = initial_record(kFamily);
    record.useDrvrEcom = true;
    set_name(record.driverNameEcom, "old.so");
    record.portAddressKelm = 8;
    ZDL_Variable expected = record;
    expected.found = true;
    ASSERT_EQ(READ_ZdlVariable(config.handle(), config.table(), &record), 0);
    EXPECT_EQ(describe(record), describe(expected));
}

// ---- choice of the driver ----------------------------------------------------------------------

TEST(ZdlPseudoTest, EcomComesBeforeThePod) {
    const struct {
        bool ecom;
        bool pod;
        uint32_t type;
    } cases[] = {{false, false, 0}, {false, true, 1}, {true, false, 2}, {true, true, 2}};
    for (const auto& item : cases) {
        ZDL_Variable record = initial_record(kFamily);
        record.useDrvrEcom = item.ecom;
        record.useDrvrKelm = item.pod;
        ZDL_Variable before = record;
        EXPECT_EQ(Make_ZdlPseudo(&record), 0);
        EXPECT_EQ(record.driverType, item.type);
        if (item.type == SMG_EMULATE_UNKNOWN) {
            EXPECT_EQ(describe(record), describe(before));
        } else {
            const bool ecom = item.type == SMG_EMULATE_PROGRAM;
            EXPECT_EQ(record.pDriverName, ecom ? record.driverNameEcom : record.driverNameKelm);
            EXPECT_EQ(record.pPortAddress,
                      ecom ? &record.portAddressEcom : &record.portAddressKelm);
        }
    }
}

TEST(ZdlPseudoTest, NullIsRefused) {
    EXPECT_EQ(Make_ZdlPseudo(nullptr), eJTI_ERROR_BAD_ARGUMENT);
}

TEST(ZdlVariableTest, CreateAndDelete) {
    EXPECT_TRUE(READ_ZdlCreate(nullptr));
    EXPECT_TRUE(READ_ZdlDelete(nullptr));
    ZDL_Variable* record = nullptr;
    EXPECT_TRUE(READ_ZdlDelete(&record));
    FailingHeap heap(1);
    EXPECT_FALSE(READ_ZdlCreate(&record));
    ASSERT_EQ(heap.blocks().size(), 1u);
    EXPECT_EQ(heap.blocks()[0], record);
    EXPECT_FALSE(READ_ZdlDelete(&record));
    EXPECT_EQ(record, nullptr);
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_TRUE(READ_ZdlCreate(&record));
    EXPECT_EQ(record, nullptr);
}

} // namespace
